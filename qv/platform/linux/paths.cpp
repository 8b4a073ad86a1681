#include "qv/platform/linux/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <vector>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

bool isSlash(WCHAR c) {
  return c == '\\' || c == '/';
}

bool isLetter(WCHAR c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool mayStandInName(WCHAR c) {
  return c >= 32 && std::u16string_view(u"<>:\"|?*").find(c) == std::u16string_view::npos;
}

std::string currentFolder() {
  char path[PATH_MAX];
  return getcwd(path, sizeof path) ? path : "/";
}

using Names = std::vector<std::u16string_view>;

// Adds the names of a path one after the other; ".." takes the last one away and stops at the root.
void walk(std::u16string_view path, Names* names) {
  while (!path.empty()) {
    auto end = std::find_if(path.begin(), path.end(), isSlash);
    auto name = path.substr(0, static_cast<size_t>(end - path.begin()));
    path.remove_prefix(std::min(path.size(), name.size() + 1));
    if (name == u"..") {
      if (!names->empty()) names->pop_back();
    } else if (!name.empty() && name != u".") {
      names->push_back(name);
    }
  }
}

// Dots and blanks at the end of a path don't count.
void trimEnd(Names* names) {
  if (names->empty()) return;
  auto& last = names->back();
  size_t end = last.find_last_not_of(u". ");
  last = last.substr(0, end == last.npos ? 0 : end + 1);
  if (last.empty()) names->pop_back();
}

// What stands before the names: a share, a drive, a slash or nothing.
struct Start {
  size_t length = 0;
  bool fromRoot = false;
  DWORD error = ERROR_SUCCESS;
};

Start driveOf(std::u16string_view path) {
  Start start;
  if (path.size() >= 2 && path[1] == ':' && isLetter(path[0])) {
    start.length = 2;
    if ((path[0] | 32) != 'c') start.error = ERROR_PATH_NOT_FOUND;
  }
  start.fromRoot = path.size() > start.length && isSlash(path[start.length]);
  return start;
}

Start startOf(std::u16string_view path) {
  if (path.starts_with(u"\\\\?\\") && path.size() > 5 && path[5] == ':') {
    Start start = driveOf(path.substr(4));
    start.length += 4;
    return start;
  }
  if (path.size() >= 2 && isSlash(path[0]) && isSlash(path[1])) return {2, true, ERROR_BAD_NETPATH};
  return driveOf(path);
}

bool isFolder(const std::string& path) {
  struct stat facts;
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

std::string folderOf(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  size_t slash = path.find_last_of('/');
  return slash == path.npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
}

struct ErrnoRow {
  int number;
  DWORD error;
};
constexpr ErrnoRow kErrnoRows[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {ELOOP, ERROR_PATH_NOT_FOUND},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_WRITE_PROTECT},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {EPIPE, ERROR_BROKEN_PIPE},
    {ESPIPE, ERROR_INVALID_FUNCTION},
};

}  // namespace

std::u16string windowsPath(std::string_view native) {
  std::u16string path = u"C:" + utf16From(native);
  std::replace(path.begin(), path.end(), u'/', u'\\');
  return path;
}

bool fullPath(std::u16string_view path, std::u16string* full) {
  Start start = startOf(path);
  if (start.error) return fail(start.error);
  std::u16string_view rest = path.substr(start.length);
  std::u16string current = utf16From(currentFolder());
  Names names;
  if (!start.fromRoot) walk(current, &names);
  walk(rest, &names);
  bool slashAtEnd = !rest.empty() && isSlash(rest.back());
  if (!slashAtEnd) trimEnd(&names);

  *full = u"C:";
  for (auto name : names) full->append(u"\\").append(name);
  if (names.empty() || slashAtEnd) full->append(u"\\");
  return true;
}

bool nativePath(LPCWSTR path, std::string* native) {
  std::u16string full;
  if (viewOf(path).empty()) return fail(ERROR_PATH_NOT_FOUND);
  if (!fullPath(path, &full)) return false;
  std::u16string names = full.substr(2);
  if (!std::all_of(names.begin(), names.end(), mayStandInName)) return fail(ERROR_INVALID_NAME);
  std::replace(names.begin(), names.end(), u'\\', u'/');
  *native = utf8From(names);
  return true;
}

DWORD errorOfPath(const std::string& native) {
  int number = errno;
  auto row = std::find_if(std::begin(kErrnoRows), std::end(kErrnoRows),
                          [&](const ErrnoRow& each) { return each.number == number; });
  DWORD error = row == std::end(kErrnoRows) ? ERROR_GEN_FAILURE : row->error;
  bool onTheWay = error == ERROR_FILE_NOT_FOUND && !native.empty() && !isFolder(folderOf(native));
  return onTheWay ? ERROR_PATH_NOT_FOUND : error;
}

}  // namespace qv::platform
