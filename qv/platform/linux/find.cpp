#include "qv/platform/find.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "qv/platform/linux/attributes.h"
#include "qv/platform/linux/name_pattern.h"
#include "qv/platform/linux/open_files.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

void fill(const Entry& entry, DWORD attributes, std::u16string_view name, WIN32_FIND_DATAW* found) {
  WIN32_FILE_ATTRIBUTE_DATA data = dataOf(entry, attributes);
  static_assert(offsetof(WIN32_FIND_DATAW, dwReserved0) == sizeof data);
  memcpy(static_cast<void*>(found), &data, sizeof data);
  found->dwReserved0 = isLink(entry) ? IO_REPARSE_TAG_SYMLINK : 0;
  found->dwReserved1 = 0;
  name.copy(found->cFileName, std::size(found->cFileName) - 1);
  found->cFileName[name.size()] = 0;
  found->cAlternateFileName[0] = 0;
}

// A listing under way: an open folder and the two names that stand for folders, or a single name.
class Search : public Object {
 public:
  // Takes the folder over.
  Search(DIR* folder, NamePattern pattern, bool root)
      : folder_(folder),
        pattern_(std::move(pattern)),
        dots_(root ? 2 : 0),
        keeps_(keepsAttributes(dirfd(folder))),
        keeperPath_("/proc/self/fd/" + std::to_string(dirfd(folder)) + "/") {}
  // A listing of one name, which was given already.
  Search() : folder_(nullptr), pattern_(u"*"), dots_(2), keeps_(false) {}
  ~Search() override {
    if (folder_) closedir(folder_);
  }

  bool next(WIN32_FIND_DATAW* found) {
    static constexpr const char* kDots[] = {".", ".."};
    while (dots_ < 2) {
      if (give(kDots[dots_++], DT_DIR, found)) return true;
    }
    while (const dirent* each = folder_ ? readdir(folder_) : nullptr) {
      bool dots = strcmp(each->d_name, ".") == 0 || strcmp(each->d_name, "..") == 0;
      if (!dots && give(each->d_name, each->d_type, found)) return true;
    }
    return false;
  }

 private:
  bool give(const char* name, unsigned char kind, WIN32_FIND_DATAW* found) {
    bool dots = strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
    std::u16string shown = dots ? std::u16string(name, name + strlen(name)) : nameFromNative(name);
    if (!pattern_.matches(shown)) return false;
    Entry entry;
    if (!readEntry(dirfd(folder_), name, &entry)) {
      if (errno == ENOENT) return false;
      // The folder shows names and nothing else.
      entry = {};
      entry.facts.stx_mode = static_cast<uint16_t>(DTTOIF(kind) | 0600);
    }
    bool dotted = !dots && name[0] == '.';
    DWORD attributes =
        keeps_ ? attributesOf(entry, dotted, (keeperPath_ + name).c_str()) : plainAttributes(entry, dotted);
    fill(entry, attributes, shown, found);
    return true;
  }

  DIR* const folder_;
  const NamePattern pattern_;
  int dots_;
  const bool keeps_;
  const std::string keeperPath_;
};

// The place of a path's last part.
size_t lastPart(std::u16string_view path) {
  size_t slash = path.find_last_of(u"\\/");
  if (slash != path.npos) return slash + 1;
  return path.size() >= 2 && path[1] == ':' ? 2 : 0;
}

HANDLE findOne(LPCWSTR path, WIN32_FIND_DATAW* found) {
  std::string native;
  Entry entry;
  if (!nativePath(path, &native)) return INVALID_HANDLE_VALUE;
  if (native.back() == '/') return failWith(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (!readEntry(AT_FDCWD, native.c_str(), &entry))
    return failWith(errorOfPath(native), INVALID_HANDLE_VALUE);
  std::string name = native.substr(native.find_last_of('/') + 1);
  DWORD attributes = attributesOf(entry, isDotted(native), native.c_str());
  fill(entry, attributes, nameFromNative(name), found);
  return openHandle(std::make_shared<Search>());
}

DIR* openFolder(const std::u16string& path, std::string* native) {
  if (!nativePath(path.c_str(), native)) return nullptr;
  DIR* folder = opendir(native->c_str());
  if (folder) return folder;
  int error = errno;
  struct stat facts;
  bool file =
      error == ENOTDIR && stat(native->substr(0, native->find_last_not_of('/') + 1).c_str(), &facts) == 0;
  errno = error;
  DWORD reason = errorOfPath(*native);
  return failWith(file                             ? ERROR_DIRECTORY
                  : reason == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND
                                                   : reason,
                  nullptr);
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HANDLE FindFirstFileW(LPCWSTR path, WIN32_FIND_DATAW* found) {
  std::u16string_view text = viewOf(path);
  size_t start = lastPart(text);
  std::u16string_view last = text.substr(start);
  if (text.empty()) return failWith(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (last.find_first_of(u"*?") == last.npos) return findOne(path, found);
  if (last.size() > kMaxName || last.find_first_of(u":|<>\"") != last.npos) {
    return failWith(ERROR_INVALID_NAME, INVALID_HANDLE_VALUE);
  }
  std::string native;
  std::u16string folderPath = start ? std::u16string(text.substr(0, start)) : u".\\";
  if (start == 2 && text[1] == ':') folderPath += u".\\";
  DIR* folder = openFolder(folderPath, &native);
  if (!folder) return INVALID_HANDLE_VALUE;
  auto search = std::make_shared<Search>(folder, NamePattern(last), native == "/");
  if (!search->next(found)) return failWith(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  return openHandle(std::move(search));
}

BOOL FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* found) {
  auto search = objectOf<Search>(handle);
  if (!search) return FALSE;
  return search->next(found) || fail(ERROR_NO_MORE_FILES);
}

BOOL FindClose(HANDLE handle) {
  return objectOf<Search>(handle) && CloseHandle(handle);
}
