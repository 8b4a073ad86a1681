// Where the desktop convention puts the folders.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "qv/platform/shell_folders.h"

namespace {

namespace fs = std::filesystem;

// The variables of the convention, set for a test and put back.
class Environment {
 public:
  explicit Environment(const std::string& home) {
    for (size_t i = 0; i < kCount; ++i) {
      const char* value = getenv(kNames[i]);
      had_[i] = value != nullptr;
      before_[i] = had_[i] ? value : "";
      unsetenv(kNames[i]);
    }
    setenv("HOME", home.c_str(), 1);
  }
  ~Environment() {
    for (size_t i = 0; i < kCount; ++i) {
      if (had_[i]) {
        setenv(kNames[i], before_[i].c_str(), 1);
      } else {
        unsetenv(kNames[i]);
      }
    }
  }

 private:
  static constexpr size_t kCount = 5;
  static constexpr const char* kNames[kCount] = {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                                 "XDG_DATA_DIRS"};
  bool had_[kCount];
  std::string before_[kCount];
};

// The folder below the home folder, with slashes; "missing" or "none" otherwise.
std::string folder(int number, const std::string& home) {
  WCHAR path[MAX_PATH];
  const HRESULT status = SHGetFolderPathW(nullptr, number, nullptr, SHGFP_TYPE_CURRENT, path);
  if (status == HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)) return "missing";
  if (FAILED(status)) return "none";
  const std::u16string wide = path;
  std::string text(wide.begin() + 2, wide.end());
  for (char& c : text) c = c == '\\' ? '/' : c;
  return text.starts_with(home) ? "~" + text.substr(home.size()) : text;
}

TEST(ShellFoldersOnLinux, FollowTheConvention) {
  char pattern[] = "/tmp/qv-home-XXXXXX";
  const std::string home = mkdtemp(pattern);
  const Environment environment(home);
  constexpr int kAnyway = CSIDL_FLAG_DONT_VERIFY;
  EXPECT_EQ("missing", folder(CSIDL_PERSONAL, home));
  EXPECT_EQ("~/Documents", folder(CSIDL_PERSONAL | CSIDL_FLAG_CREATE, home));
  EXPECT_EQ("~/Documents", folder(CSIDL_MYDOCUMENTS, home));
  EXPECT_EQ("~/Public/Videos", folder(CSIDL_COMMON_VIDEO | kAnyway, home));
  EXPECT_EQ("~", folder(CSIDL_PROFILE, home));
  EXPECT_EQ("~/.config", folder(CSIDL_APPDATA, home)) << "made unasked";
  EXPECT_EQ("~/.local/share", folder(CSIDL_LOCAL_APPDATA, home));
  EXPECT_EQ("~/.local/share/fonts", folder(CSIDL_FONTS, home));
  EXPECT_EQ("~/.cache", folder(CSIDL_INTERNET_CACHE, home));
  EXPECT_EQ("/usr/local/share", folder(CSIDL_COMMON_APPDATA | kAnyway, home));

  std::ofstream(home + "/.config/user-dirs.dirs") << "# made by hand\n"
                                                     "XDG_DOCUMENTS_DIR=\"$HOME/My \\\"Papers\\\"/\"\n"
                                                     "  XDG_MUSIC_DIR=\"/srv/music\"\n"
                                                     "XDG_VIDEOS_DIR=\"films\"\n"
                                                     "XDG_PICTURES_DIR=$HOME/Bilder\n"
                                                     "XDG_PUBLICSHARE_DIR=\"$HOMELESS/x\"\n"
                                                     "XDG_TEMPLATES_DIR=\"$HOME\"";
  EXPECT_EQ("~/My \"Papers\"", folder(CSIDL_PERSONAL | kAnyway, home));
  EXPECT_EQ("/srv/music", folder(CSIDL_MYMUSIC | kAnyway, home));
  EXPECT_EQ("~/Videos", folder(CSIDL_MYVIDEO | kAnyway, home))
      << "neither absolute nor below the home folder";
  EXPECT_EQ("~/Pictures", folder(CSIDL_MYPICTURES | kAnyway, home)) << "without quotes";
  EXPECT_EQ("~/Public", folder(CSIDL_COMMON_DOCUMENTS | kAnyway, home));
  EXPECT_EQ("~", folder(CSIDL_TEMPLATES, home));
  WCHAR path[MAX_PATH];
  EXPECT_EQ(S_OK, SHGetFolderPathW(nullptr, CSIDL_MYDOCUMENTS, nullptr, SHGFP_TYPE_DEFAULT, path));

  setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
  setenv("XDG_DATA_DIRS", "/opt/share:/usr/share", 1);
  setenv("XDG_CACHE_HOME", "relative", 1);
  EXPECT_EQ("~/data", folder(CSIDL_LOCAL_APPDATA, home));
  EXPECT_EQ("/opt/share", folder(CSIDL_COMMON_APPDATA | kAnyway, home));
  EXPECT_EQ("~/.cache", folder(CSIDL_INTERNET_CACHE, home));
  std::ofstream(home + "/in the way") << "x";
  setenv("XDG_DATA_HOME", (home + "/in the way/data").c_str(), 1);
  EXPECT_EQ("missing", folder(CSIDL_LOCAL_APPDATA, home));
  fs::remove_all(home);
}

}  // namespace
