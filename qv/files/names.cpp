// Name parts: places in a path, and paths put together.
#include "qv/files/detail/text.h"
#include "qv/files/paths.h"
#include "qv/platform/ansi.h"
#include "qv/platform/characters.h"

namespace qv::files {
namespace {

constexpr int32_t kFolderCopy = 520;
constexpr View kForbidden = TEXT("\n\r\"*/:<>?\\|");

bool isSeparator(WCHAR c) {
  return c == '\\' || c == ':';
}

// One character on, which in 8-bit text may be two bytes.
const WCHAR* next(const WCHAR* at) {
  return at + 1;
}
const char* next(const char* at) {
  return CharNextA(at);
}

bool isBlank(WCHAR c) {
  return platform::isWhiteSpace(c);
}
bool isBlank(char c) {
  return (c >= '\t' && c <= '\r') || c == ' ';
}

template <typename Char>
const Char* namePart(const Char* path) {
  const Char* name = path;
  for (const Char* at = path; *at != 0; at = next(at))
    if (*at == '\\' || *at == ':') name = at + 1;
  return name;
}

template <typename Char>
const Char* extensionPart(const Char* name) {
  const Char* dot = nullptr;
  const Char* at = name;
  for (; *at != 0; at = next(at)) {
    if (*at == '.') {
      dot = at;
    } else if (isBlank(*at)) {
      dot = nullptr;
    }
  }
  return dot != nullptr ? dot : at;
}

bool isFault(WCHAR c, bool last) {
  return kForbidden.find(c) != View::npos || (last && (c == ' ' || c == '.'));
}

View withoutDot(const WCHAR* extension) {
  return extension + (*extension == '.');
}

// The end of the share's name in "\\server\share\", or null.
const WCHAR* shareEnd(const WCHAR* path) {
  const WCHAR* server = wcschr(path + 2, '\\');
  return server != nullptr ? wcschr(server + 1, '\\') : nullptr;
}

View rootOf(const WCHAR* path) {
  const bool share = path[0] == '\\' && path[1] == '\\';
  const WCHAR* end = share ? shareEnd(path) : wcschr(path, '\\');
  return end != nullptr ? View(path, static_cast<size_t>(end + 1 - path)) : View();
}

int32_t writePart(View part, WCHAR* buffer, int32_t capacity) {
  const auto length = static_cast<int32_t>(part.size());
  write(part, buffer, capacity);
  return length;
}

// Puts ".extension" at a place of the path; false, and nothing changed, where it doesn't fit.
bool putExtension(WCHAR* path, int32_t capacity, WCHAR* at, View extension) {
  const auto room = static_cast<size_t>(capacity - (at - path));
  if (extension.size() + 2 > room) return false;
  *at = '.';
  return write(extension, at + 1, static_cast<int32_t>(room) - 1);
}

bool lowBytesEqual(WCHAR a, WCHAR b) {
  return static_cast<uint8_t>(a) == static_cast<uint8_t>(b);
}

// What a pattern may still ask for when the name is used up.
bool endsWithName(const WCHAR* pattern) {
  return *pattern == 0 || *pattern == '*' || (*pattern == '.' && pattern[1] == 0);
}

}  // namespace
}  // namespace qv::files

using qv::files::View;

const char* QvGetFileNamePtrA(const char* path) {
  return qv::files::namePart(path);
}
const WCHAR* QvGetFileNamePtrW(const WCHAR* path) {
  return qv::files::namePart(path);
}

const char* QvGetFileNameExtensionPtrA(const char* name) {
  return qv::files::extensionPart(name);
}
const WCHAR* QvGetFileNameExtensionPtrW(const WCHAR* name) {
  return qv::files::extensionPart(name);
}

int32_t QvValidateFileName(WCHAR* name, int32_t repair) {
  int32_t valid = 1;
  for (; *name != 0; ++name) {
    if (!qv::files::isFault(*name, name[1] == 0)) continue;
    valid = 0;
    if (!repair) break;
    *name = '_';
  }
  return valid;
}

int32_t QvAddSlashToPathName(WCHAR* path, int32_t capacity) {
  const int32_t length = qv::files::lengthWithin(path, capacity);
  if (length == 0 || length >= capacity) return 0;
  if (path[length - 1] == '\\') return length;
  if (length + 2 > capacity) return 0;
  path[length] = '\\';
  path[length + 1] = 0;
  return length + 1;
}

int32_t QvRemoveSlashFromPathNameEnd(WCHAR* path, int32_t capacity) {
  int32_t length = qv::files::lengthWithin(path, capacity);
  if (length >= capacity) return 0;
  if (length > 0 && path[length - 1] == '\\') path[--length] = 0;
  return length;
}

int32_t QvAddExtensionToPathName(WCHAR* path, int32_t capacity, const WCHAR* extension) {
  const int32_t length = qv::files::lengthWithin(path, capacity);
  if (length >= capacity) return length;
  WCHAR* old = QvGetFileNameExtensionPtrW(QvGetFileNamePtrW(path));
  const View wanted = qv::files::withoutDot(extension);
  if (*old == '.' && qv::files::sameInAnyCase(old + 1, wanted)) return length;
  if (!qv::files::putExtension(path, capacity, old, wanted)) return length;
  return static_cast<int32_t>(old - path + 1 + static_cast<ptrdiff_t>(wanted.size()));
}

void QvReplaceExtensionOnPathName(WCHAR* path, int32_t capacity, const WCHAR* extension) {
  if (qv::files::lengthWithin(path, capacity) >= capacity) return;
  WCHAR* name = QvGetFileNamePtrW(path);
  if (*name == 0) return;
  WCHAR* at = QvGetFileNameExtensionPtrW(name);
  if (*extension != '.' && at - path + 1 < capacity) *at++ = '.';
  qv::files::writeCut(extension, at, capacity - static_cast<int32_t>(at - path));
}

int32_t QvAppendToPathName(WCHAR* path, int32_t capacity, const WCHAR* part, const WCHAR* extension) {
  const int32_t before = qv::files::lengthWithin(path, capacity);
  const View name = part + (*part == '\\');
  const bool slash = before > 0 && before < capacity && path[before - 1] != '\\';
  const int64_t after = int64_t{before} + slash + static_cast<int64_t>(name.size());
  if (after >= capacity) return 0;
  if (slash) path[before] = '\\';
  qv::files::write(name, path + before + slash, capacity - before - slash);
  if (extension == nullptr) return static_cast<int32_t>(after);

  WCHAR* old = QvGetFileNameExtensionPtrW(QvGetFileNamePtrW(path));
  const View wanted = qv::files::withoutDot(extension);
  if (old - path + static_cast<int64_t>(wanted.size()) + 2 <= capacity)
    return QvAddExtensionToPathName(path, capacity, extension);
  path[before] = 0;
  return 0;
}

WCHAR* QvGetFileNameWithoutPathOrExtension(const WCHAR* path, WCHAR* buffer, int32_t capacity) {
  const WCHAR* name = QvGetFileNamePtrW(path);
  const WCHAR* end = QvGetFileNameExtensionPtrW(name);
  return qv::files::writeCut(View(name, static_cast<size_t>(end - name)), buffer, capacity);
}

int32_t QvGetPathNameFromFilePath(const WCHAR* path, WCHAR* buffer, int32_t capacity) {
  int32_t length = qv::files::lengthWithin(path, qv::files::kFolderCopy - 1);
  while (length > 0 && !qv::files::isSeparator(path[length - 1])) --length;
  return qv::files::writePart(View(path, static_cast<size_t>(length)), buffer, capacity);
}

int32_t QvGetRootPathFromFilePath(const WCHAR* path, WCHAR* buffer, int32_t capacity) {
  return qv::files::writePart(qv::files::rootOf(path), buffer, capacity);
}

int32_t QvDirectoryUpOneLevel(WCHAR* path, int32_t capacity) {
  constexpr int32_t kShortest = 4;
  const int32_t length = qv::files::lengthWithin(path, capacity);
  if (length >= capacity || length >= qv::kPathCapacity || length < kShortest) return 0;
  const View text(path, static_cast<size_t>(length));
  const size_t last = text.substr(0, text.size() - (text.back() == '\\')).rfind('\\');
  if (last == View::npos) return 0;
  path[last + 1] = 0;
  return 1;
}

int32_t QvIsMatchWildCard(const WCHAR* pattern, const WCHAR* name) {
  if (pattern[0] == '*' && pattern[1] == 0) return 1;
  for (;; ++pattern) {
    if (*name == 0) return qv::files::endsWithName(pattern) ? 1 : 0;
    if (*pattern == 0) return name[0] == '.' && name[1] == 0 ? 1 : 0;
    if (*pattern == '*') {
      const WCHAR stop = pattern[1];
      while (*name != 0 && *name != '.' && (stop == 0 || !qv::files::lowBytesEqual(*name, stop))) ++name;
    } else if (*pattern == '?' || qv::files::lowBytesEqual(*pattern, *name)) {
      ++name;
    } else {
      return 0;
    }
  }
}
