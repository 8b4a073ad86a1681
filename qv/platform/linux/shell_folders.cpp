#include "qv/platform/shell_folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "qv/platform/linux/paths.h"
#include "qv/platform/linux/utf.h"

namespace {

using namespace qv::platform;

std::string homeFolder() {
  const char* home = getenv("HOME");
  if (home != nullptr && home[0] == '/') return home;
  char text[4096];
  passwd entry;
  passwd* found = nullptr;
  const bool known = getpwuid_r(geteuid(), &entry, text, sizeof text, &found) == 0 && found != nullptr;
  return known ? entry.pw_dir : "/";
}

// A list counts by its first folder; what isn't absolute doesn't count at all.
std::string baseFolder(const char* variable, const std::string& otherwise) {
  const char* value = getenv(variable);
  const std::string_view list = value != nullptr ? value : "";
  return list.starts_with('/') ? std::string(list.substr(0, list.find(':'))) : otherwise;
}

std::string configFolder() {
  return baseFolder("XDG_CONFIG_HOME", homeFolder() + "/.config");
}

// ---- user-dirs.dirs: lines as XDG_MUSIC_DIR="$HOME/Musik" -------------------------------------------------

// What stands between double quotes; a backslash takes the next character as it is.
std::string unquoted(std::string_view text) {
  std::string value;
  if (!text.starts_with('"')) return value;
  for (size_t at = 1; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\' && at + 1 < text.size()) ++at;
    value += text[at];
  }
  return value;
}

std::string withoutSlashAtEnd(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The folder that a line names; empty when the line is about something else.
std::string folderOfLine(std::string_view line, std::string_view name) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  if (!line.starts_with(name)) return {};
  line.remove_prefix(name.size());
  if (!line.starts_with("=")) return {};
  const std::string value = unquoted(line.substr(1));
  if (value.starts_with('/')) return withoutSlashAtEnd(value);
  if (value == "$HOME" || value.starts_with("$HOME/"))
    return withoutSlashAtEnd(homeFolder() + value.substr(5));
  return {};
}

std::string userFolder(const char* name, const char* otherwise, bool moved) {
  std::string folder = homeFolder() + "/" + otherwise;
  if (!moved) return folder;
  std::ifstream file(configFolder() + "/user-dirs.dirs");
  for (std::string line; std::getline(file, line);) {
    const std::string named = folderOfLine(line, name);
    if (!named.empty()) folder = named;
  }
  return folder;
}

// ---- the folders ----------------------------------------------------------------------------------------

enum class Kind { kUser, kHome, kConfig, kData, kCache, kEverybody };

struct Folder {
  int number;
  Kind kind;
  const char* name;       // of the user's folder in user-dirs.dirs
  const char* otherwise;  // its name in the home folder
  const char* tail;
};

constexpr Folder kFolders[] = {
    {CSIDL_DESKTOP, Kind::kUser, "XDG_DESKTOP_DIR", "Desktop", ""},
    {CSIDL_DESKTOPDIRECTORY, Kind::kUser, "XDG_DESKTOP_DIR", "Desktop", ""},
    {CSIDL_PERSONAL, Kind::kUser, "XDG_DOCUMENTS_DIR", "Documents", ""},
    {CSIDL_MYDOCUMENTS, Kind::kUser, "XDG_DOCUMENTS_DIR", "Documents", ""},
    {CSIDL_MYMUSIC, Kind::kUser, "XDG_MUSIC_DIR", "Music", ""},
    {CSIDL_MYVIDEO, Kind::kUser, "XDG_VIDEOS_DIR", "Videos", ""},
    {CSIDL_MYPICTURES, Kind::kUser, "XDG_PICTURES_DIR", "Pictures", ""},
    {CSIDL_TEMPLATES, Kind::kUser, "XDG_TEMPLATES_DIR", "Templates", ""},
    {CSIDL_COMMON_DOCUMENTS, Kind::kUser, "XDG_PUBLICSHARE_DIR", "Public", ""},
    {CSIDL_COMMON_DESKTOPDIRECTORY, Kind::kUser, "XDG_PUBLICSHARE_DIR", "Public", "/Desktop"},
    {CSIDL_COMMON_MUSIC, Kind::kUser, "XDG_PUBLICSHARE_DIR", "Public", "/Music"},
    {CSIDL_COMMON_PICTURES, Kind::kUser, "XDG_PUBLICSHARE_DIR", "Public", "/Pictures"},
    {CSIDL_COMMON_VIDEO, Kind::kUser, "XDG_PUBLICSHARE_DIR", "Public", "/Videos"},
    {CSIDL_PROFILE, Kind::kHome, nullptr, nullptr, ""},
    {CSIDL_APPDATA, Kind::kConfig, nullptr, nullptr, ""},
    {CSIDL_LOCAL_APPDATA, Kind::kData, nullptr, nullptr, ""},
    {CSIDL_FONTS, Kind::kData, nullptr, nullptr, "/fonts"},
    {CSIDL_INTERNET_CACHE, Kind::kCache, nullptr, nullptr, ""},
    {CSIDL_COMMON_APPDATA, Kind::kEverybody, nullptr, nullptr, ""},
};

std::string baseOf(const Folder& folder, bool moved) {
  switch (folder.kind) {
    case Kind::kUser:
      return userFolder(folder.name, folder.otherwise, moved);
    case Kind::kConfig:
      return configFolder();
    case Kind::kData:
      return baseFolder("XDG_DATA_HOME", homeFolder() + "/.local/share");
    case Kind::kCache:
      return baseFolder("XDG_CACHE_HOME", homeFolder() + "/.cache");
    case Kind::kEverybody:
      return baseFolder("XDG_DATA_DIRS", "/usr/local/share");
    default:
      return homeFolder();
  }
}

// The convention has the base directories made by whoever comes first.
bool isMadeUnasked(Kind kind) {
  return kind == Kind::kConfig || kind == Kind::kData || kind == Kind::kCache;
}

bool isFolder(const std::string& path) {
  struct stat facts;
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

HRESULT makeFolder(const std::string& path) {
  for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    mkdir(path.substr(0, at).c_str(), 0700);
  }
  if (mkdir(path.c_str(), 0700) == 0 || isFolder(path)) return S_OK;
  return HRESULT_FROM_WIN32(errorOfPath(path));
}

HRESULT provide(const Folder& folder, const std::string& path, int flags) {
  if ((flags & CSIDL_FLAG_DONT_VERIFY) != 0 || isFolder(path)) return S_OK;
  if ((flags & CSIDL_FLAG_CREATE) != 0 || isMadeUnasked(folder.kind)) return makeFolder(path);
  return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
}

bool givePath(std::u16string_view text, LPWSTR path) {
  if (text.size() >= MAX_PATH) text = {};
  std::copy(text.begin(), text.end(), path);
  path[text.size()] = 0;
  return !text.empty();
}

// ---- joining --------------------------------------------------------------------------------------------

std::u16string withoutDots(std::u16string_view path) {
  std::vector<std::u16string_view> names;
  while (true) {
    const size_t end = path.find(u'\\');
    const std::u16string_view name = path.substr(0, end);
    const bool isRoot = names.size() == 1 && (names[0].empty() || names[0].ends_with(u':'));
    if (name == u"..") {
      if (!names.empty() && !isRoot) names.pop_back();
    } else if (name != u".") {
      names.push_back(name);
    }
    if (end == path.npos) break;
    path.remove_prefix(end + 1);
  }
  std::u16string result;
  for (size_t i = 0; i < names.size(); ++i) result.append(i == 0 ? u"" : u"\\").append(names[i]);
  return result.empty() || (result.ends_with(u':') && names.size() == 1) ? result + u'\\' : result;
}

bool isFull(std::u16string_view path) {
  return path.starts_with(u"\\\\") || (path.size() > 1 && path[1] == ':');
}

std::u16string joined(std::u16string_view path, std::u16string_view more) {
  if (!more.starts_with(u"\\\\")) more.remove_prefix(std::min(more.find_first_not_of(u'\\'), more.size()));
  if (path.empty() || isFull(more)) return std::u16string(more);
  const bool separated = more.empty() || path.ends_with(u'\\');
  return std::u16string(path).append(separated ? u"" : u"\\").append(more);
}

}  // namespace

HRESULT SHGetFolderPathW(HWND, int folder, HANDLE, DWORD type, LPWSTR path) {
  if (path == nullptr) return E_INVALIDARG;
  *path = 0;
  const auto row = std::find_if(std::begin(kFolders), std::end(kFolders),
                                [folder](const Folder& each) { return each.number == (folder & 0xff); });
  if (row == std::end(kFolders) || type > SHGFP_TYPE_DEFAULT) return E_INVALIDARG;
  const std::string native = baseOf(*row, type == SHGFP_TYPE_CURRENT) + row->tail;
  const HRESULT status = provide(*row, native, folder);
  if (FAILED(status)) return status;
  return givePath(windowsPath(native), path) ? S_OK : HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
}

BOOL SHGetSpecialFolderPathW(HWND window, LPWSTR path, int folder, BOOL create) {
  const int flags = create ? CSIDL_FLAG_CREATE : 0;
  return SUCCEEDED(SHGetFolderPathW(window, folder | flags, nullptr, SHGFP_TYPE_CURRENT, path));
}

BOOL PathAppendW(LPWSTR path, LPCWSTR more) {
  if (path == nullptr || more == nullptr) return FALSE;
  return givePath(withoutDots(joined(path, more)), path);
}
