#include "qv/platform/linux/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <vector>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

bool isSlash(WCHAR c) {
  return c == '\\' || c == '/';
}

bool isLetter(WCHAR c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// What no Windows name can hold.
bool isSpecial(WCHAR c) {
  return c < 32 || std::u16string_view(u"<>:\"|?*\\/").find(c) != std::u16string_view::npos;
}

// Where a byte that has no place in a Windows name is shown: at U+F000 and its value.
constexpr WCHAR kEscapes = 0xf000;

bool isEscape(WCHAR c) {
  auto byte = static_cast<WCHAR>(c - kEscapes);
  if (c <= kEscapes || byte > 0xff || byte == '/') return false;
  return byte >= 0x80 || byte == '.' || byte == ' ' || isSpecial(byte);
}

// The length of the UTF-8 character at the start, 0 if there is none.
size_t characterLength(std::string_view text) {
  auto at = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = at(0);
  size_t length = lead < 0x80 ? 1 : lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
  if (length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xc0) != 0x80) return 0;
  }
  bool overlong = (lead == 0xe0 && at(1) < 0xa0) || (lead == 0xf0 && at(1) < 0x90);
  bool beyond = (lead == 0xed && at(1) > 0x9f) || (lead == 0xf4 && at(1) > 0x8f);
  return overlong || beyond ? 0 : length;
}

bool isPlain(std::string_view name) {
  bool plain = std::all_of(name.begin(), name.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x80 && !isSpecial(static_cast<WCHAR>(c));
  });
  return plain && name.back() != '.' && name.back() != ' ';
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
    // One dot at the end of a folder's name doesn't count.
    bool dotted = name.ends_with(u'.') && name.find_first_not_of(u'.') != name.npos;
    if (end != path.end() && dotted) name.remove_suffix(1);
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
  bool verbatim = false;
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

constexpr std::u16string_view kVerbatim = u"\\\\?\\", kDevices = u"\\\\.\\";

Start startOf(std::u16string_view path) {
  if (path.starts_with(kVerbatim) && path.size() > 6 && path[5] == ':' && path[6] == '\\') {
    Start start = driveOf(path.substr(4));
    start.length += 4;
    start.verbatim = true;
    return start;
  }
  if (path.starts_with(kDevices)) return {4, true, false, ERROR_FILE_NOT_FOUND};
  if (path.size() >= 2 && isSlash(path[0]) && isSlash(path[1])) return {2, true, false, ERROR_BAD_NETPATH};
  return driveOf(path);
}

std::u16string upperOf(std::u16string_view text) {
  std::u16string upper(text);
  CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
  return upper;
}

// The device that a path's last name means, whatever its folder and extension; empty for a file.
std::u16string deviceIn(std::u16string_view path) {
  bool pathOfFiles =
      !path.starts_with(kVerbatim) && !(path.size() >= 2 && isSlash(path[0]) && isSlash(path[1]));
  if (!pathOfFiles) return {};
  path.remove_prefix(driveOf(path).length);
  path.remove_prefix(path.find_last_of(u"\\/") + 1);
  path = path.substr(0, path.find_first_of(u".:"));
  path = path.substr(0, path.find_last_not_of(u' ') + 1);
  if (path.size() < 3 || path.size() > 7) return {};
  std::u16string name = upperOf(path);
  for (auto device : {u"CON", u"PRN", u"AUX", u"NUL", u"CONIN$", u"CONOUT$"}) {
    if (name == device) return name;
  }
  bool port = name.size() == 4 && (name.starts_with(u"COM") || name.starts_with(u"LPT"));
  return port && std::u16string_view(u"123456789\u00b9\u00b2\u00b3").find(name[3]) != name.npos
             ? name
             : std::u16string();
}

// Adds the system's form of one name to a path. False with the last error.
bool addName(std::u16string_view name, std::string* native) {
  if (name.size() > kMaxName || std::any_of(name.begin(), name.end(), isSpecial))
    return fail(ERROR_INVALID_NAME);
  std::string form = nativeFromName(name);
  if (form == "." || form == "..") return fail(ERROR_INVALID_NAME);
  native->append("/").append(form);
  return true;
}

bool addNames(std::u16string_view names, std::string* native) {
  while (!names.empty()) {
    names.remove_prefix(1);
    auto name = names.substr(0, names.find(u'\\'));
    if (!name.empty() && !addName(name, native)) return false;
    if (name.empty() && names.empty()) native->append("/");
    names.remove_prefix(name.size());
  }
  return true;
}

bool isFolder(const std::string& path) {
  struct stat facts;
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
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

std::u16string nameFromNative(std::string_view name) {
  if (name.empty() || isPlain(name)) return std::u16string(name.begin(), name.end());
  std::u16string text;
  auto escape = [&](std::string_view bytes) {
    for (char c : bytes) text += static_cast<WCHAR>(kEscapes + static_cast<unsigned char>(c));
  };
  while (!name.empty()) {
    size_t length = characterLength(name);
    auto bytes = name.substr(0, std::max<size_t>(length, 1));
    std::u16string character = length ? utf16From(bytes) : u"";
    bool last = bytes.size() == name.size();
    bool trimmed = last && (character == u"." || character == u" ");
    if (!length || isSpecial(character[0]) || isEscape(character[0]) || trimmed) {
      escape(bytes);
    } else {
      text += character;
    }
    name.remove_prefix(bytes.size());
  }
  return text;
}

std::string nativeFromName(std::u16string_view name) {
  std::string native;
  while (!name.empty()) {
    auto escape = std::find_if(name.begin(), name.end(), isEscape);
    auto plain = name.substr(0, static_cast<size_t>(escape - name.begin()));
    native += utf8From(plain);
    if (escape != name.end()) native += static_cast<char>(*escape - kEscapes);
    name.remove_prefix(std::min(name.size(), plain.size() + 1));
  }
  return native;
}

std::u16string windowsPath(std::string_view native) {
  std::u16string path = u"C:";
  while (!native.empty()) {
    path += u'\\';
    native.remove_prefix(1);
    auto name = native.substr(0, native.find('/'));
    path += nameFromNative(name);
    native.remove_prefix(name.size());
  }
  return path;
}

bool fullPath(std::u16string_view path, std::u16string* full) {
  if (std::u16string device = deviceIn(path); !device.empty()) {
    *full = std::u16string(kDevices) + device;
    return true;
  }
  Start start = startOf(path);
  if (start.error) return fail(start.error);
  std::u16string_view rest = path.substr(start.length);
  std::u16string current;
  Names names;
  if (!start.fromRoot) {
    current = windowsPath(currentFolder());
    walk(std::u16string_view(current).substr(2), &names);
  }
  walk(rest, &names);
  bool slashAtEnd = !rest.empty() && isSlash(rest.back());
  if (!slashAtEnd && !start.verbatim) trimEnd(&names);

  *full = start.verbatim ? u"\\\\?\\C:" : u"C:";
  for (auto name : names) full->append(u"\\").append(name);
  if (names.empty() || slashAtEnd) full->append(u"\\");
  return true;
}

bool nativePath(LPCWSTR path, std::string* native, size_t limit) {
  std::u16string full;
  std::u16string_view text = viewOf(path);
  if (text.empty()) return fail(ERROR_PATH_NOT_FOUND);
  native->clear();
  Start start = startOf(text);
  // What stands behind the prefix goes to the system as it is: no dots, no slashes, no limit.
  if (start.verbatim) return start.error ? fail(start.error) : addNames(text.substr(start.length), native);
  if (!fullPath(text, &full)) return false;
  if (full.starts_with(kDevices)) return fail(ERROR_FILE_NOT_FOUND);
  if (full.size() >= limit)
    return fail(limit == MAX_PATH ? ERROR_PATH_NOT_FOUND : ERROR_FILENAME_EXCED_RANGE);
  return addNames(std::u16string_view(full).substr(2), native);
}

bool isDevice(LPCWSTR path, std::u16string_view name) {
  std::u16string device = deviceIn(viewOf(path));
  return !device.empty() && (name.empty() || device == name);
}

std::string folderOf(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  size_t slash = path.find_last_of('/');
  return slash == path.npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
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
