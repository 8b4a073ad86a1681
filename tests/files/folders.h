// Folders of a test's own, and a second pair of eyes on what is in them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"
#include "qv/frame/status.h"
#include "qv/platform/win32.h"

namespace qv::test {

namespace fs = std::filesystem;
using WText = std::basic_string<WCHAR>;

// Where Windows paths are made up: drive C: is the root.
inline constexpr bool kMadeUpPaths = fs::path::preferred_separator == '/';

inline WText wide(const std::string& text) {
  return WText(text.begin(), text.end());
}

inline std::string narrow(const WText& text) {
  return std::string(text.begin(), text.end());
}

// The run-time's own name of a path of ours.
inline fs::path native(const WText& path) {
  std::string text = narrow(path);
  if (kMadeUpPaths) {
    text.erase(0, 2);
    std::replace(text.begin(), text.end(), '\\', '/');
  }
  return text;
}

// A folder under the temporary one, or under another; gone afterwards.
class Folder {
 public:
  explicit Folder(WText above = WText()) {
    WCHAR path[300];
    if (above.empty()) {
      QvGetTempPath(300, path);
      above = path;
    }
    // With the process in its name: two that look for a free name at once would find the same.
    const WText name = TEXT("qv files ") + wide(std::to_string(GetCurrentProcessId())) + TEXT("-");
    EXPECT_EQ(kOk, QvGetUniqueSubFolder(above.c_str(), name.c_str(), path, 300));
    path_ = path;
    good_ = fs::create_directories(nativePath());
  }
  ~Folder() {
    std::error_code ignored;
    const fs::path all = nativePath();
    for (const auto& entry : fs::recursive_directory_iterator(all, ignored))
      if (!entry.is_symlink()) fs::permissions(entry, fs::perms::owner_write, fs::perm_options::add, ignored);
    fs::remove_all(all, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  bool good() const { return good_; }
  fs::path nativePath() const { return native(path_); }
  const WCHAR* path() const { return path_.c_str(); }
  // A name in it; backslashes separate.
  WText path(const std::string& name) const { return path_ + TEXT("\\") + wide(name); }
  fs::path nativePath(const std::string& name) const { return native(path(name)); }

  void write(const std::string& name, const std::string& content) const {
    fs::create_directories(nativePath(name).parent_path());
    std::ofstream(nativePath(name), std::ios::binary) << content;
  }
  void makeFolder(const std::string& name) const { fs::create_directories(nativePath(name)); }
  void makeReadOnly(const std::string& name) const {
    EXPECT_TRUE(SetFileAttributesW(path(name).c_str(), FILE_ATTRIBUTE_READONLY));
  }

  // Every name below with its content; a folder's is "/".
  std::map<std::string, std::string> content() const {
    std::map<std::string, std::string> found;
    std::error_code error;
    if (!fs::exists(nativePath(), error)) return found;
    for (const auto& entry : fs::recursive_directory_iterator(nativePath())) {
      const std::string name = entry.path().lexically_relative(nativePath()).generic_string();
      found[name] = entry.is_symlink() ? "->" : entry.is_directory() ? "/" : read(entry.path());
    }
    return found;
  }

 private:
  static std::string read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  WText path_;
  bool good_ = false;
};

using Content = std::map<std::string, std::string>;

// A folder on another disk than the temporary one's; empty where there is none. Under the emulator it is the
// host's memory disk.
inline WText otherVolume() {
  for (const char* path : {"C:\\dev\\shm", "Z:\\dev\\shm"}) {
    if (kMadeUpPaths == (path[0] == 'C') && QvIsDirectoryWritable(wide(path).c_str())) return wide(path);
  }
  return WText();
}

// A file held open, so that nobody may delete it.
class HeldFile {
 public:
  explicit HeldFile(const WText& path)
      : handle_(
            CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)) {
    EXPECT_NE(INVALID_HANDLE_VALUE, handle_);
  }
  ~HeldFile() { CloseHandle(handle_); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

 private:
  HANDLE handle_;
};

}  // namespace qv::test
