#include "qv/platform/stdio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include "qv/platform/files.h"
#include "qv/platform/linux/descriptor.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/text.h"

namespace qv {
namespace {

struct ErrnoRow {
  DWORD error;
  int number;
};
constexpr ErrnoRow kErrnoRows[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_FILENAME_EXCED_RANGE, ENOENT},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_WRITE_PROTECT, EACCES},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_NOT_SAME_DEVICE, EXDEV},
};

int errnoOfLastError() {
  const DWORD error = GetLastError();
  for (const ErrnoRow& row : kErrnoRows) {
    if (row.error == error) return row.number;
  }
  return EINVAL;
}

int failing() {
  errno = errnoOfLastError();
  return -1;
}

// How a mode opens a file.
struct Mode {
  DWORD access = 0;
  DWORD disposition = 0;
  bool appends = false;
  char native[4] = {};
};

bool readMode(LPCWSTR text, Mode& mode) {
  if (!text || !*text) return false;
  mode.native[0] = static_cast<char>(*text);
  switch (*text) {
    case 'r':
      mode.access = GENERIC_READ;
      mode.disposition = OPEN_EXISTING;
      break;
    case 'w':
      mode.access = GENERIC_WRITE;
      mode.disposition = CREATE_ALWAYS;
      break;
    case 'a':
      mode.access = GENERIC_WRITE;
      mode.disposition = OPEN_ALWAYS;
      mode.appends = true;
      break;
    default:
      return false;
  }
  for (++text; *text; ++text) {
    if (*text == '+') {
      mode.access = GENERIC_READ | GENERIC_WRITE;
      mode.native[1] = '+';
    } else if (*text != 'b' && *text != 't') {
      return false;
    }
  }
  return true;
}

// What a stream stands on: a file handle, which knows the share modes. Disk files are written without its
// detours: who writes line by line pays one call of the system's a line.
struct Cookie {
  HANDLE file;
  int disk;  // -1 for what is no disk file
};

// Appending is the system's: lines of several processes don't overwrite each other.
int diskDescriptor(HANDLE file, bool appends) {
  struct stat facts;
  const int descriptor = platform::descriptorOf(file);
  if (descriptor < 0 || fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) return -1;
  if (appends && fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_APPEND) != 0) return -1;
  return descriptor;
}

ssize_t readCookie(void* cookie, char* buffer, size_t size) {
  DWORD read = 0;
  if (ReadFile(static_cast<Cookie*>(cookie)->file, buffer, static_cast<DWORD>(size), &read, nullptr))
    return read;
  return failing();
}

// Fewer bytes than asked for, not -1, tell the C library of a failure.
ssize_t writeCookie(void* cookie, const char* buffer, size_t size) {
  const Cookie& own = *static_cast<Cookie*>(cookie);
  DWORD written = 0;
  if (own.disk >= 0) {
    ssize_t done = 0;
    do {
      done = write(own.disk, buffer, size);
    } while (done < 0 && errno == EINTR);
    return std::max<ssize_t>(done, 0);
  }
  if (!WriteFile(own.file, buffer, static_cast<DWORD>(size), &written, nullptr)) failing();
  return written;
}

int seekCookie(void* cookie, off64_t* position, int whence) {
  LARGE_INTEGER distance, now;
  distance.QuadPart = *position;
  static_assert(SEEK_SET == FILE_BEGIN && SEEK_CUR == FILE_CURRENT && SEEK_END == FILE_END);
  if (!SetFilePointerEx(static_cast<Cookie*>(cookie)->file, distance, &now, static_cast<DWORD>(whence))) {
    return failing();
  }
  *position = now.QuadPart;
  return 0;
}

int closeCookie(void* cookie) {
  const auto own = static_cast<Cookie*>(cookie);
  const bool closed = CloseHandle(own->file);
  delete own;
  return closed ? 0 : failing();
}

FILE* openStream(LPCWSTR path, LPCWSTR modeText, DWORD share) {
  Mode mode;
  if (!path || !readMode(modeText, mode)) {
    errno = EINVAL;
    return nullptr;
  }
  const HANDLE file =
      CreateFileW(path, mode.access, share, nullptr, mode.disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    failing();
    return nullptr;
  }
  const auto cookie = new (std::nothrow) Cookie{file, diskDescriptor(file, mode.appends)};
  FILE* stream =
      cookie ? fopencookie(cookie, mode.native, {readCookie, writeCookie, seekCookie, closeCookie}) : nullptr;
  if (stream) return stream;
  CloseHandle(file);
  delete cookie;
  errno = ENOMEM;
  return nullptr;
}

DWORD shareOf(int mode) {
  if (mode == _SH_DENYRW) return 0;
  if (mode == _SH_DENYWR) return FILE_SHARE_READ;
  if (mode == _SH_DENYRD) return FILE_SHARE_WRITE;
  return FILE_SHARE_READ | FILE_SHARE_WRITE;
}

// Cuts what doesn't fit and remembers it.
class Output {
 public:
  Output(LPWSTR text, size_t room) : text_(text), room_(room) {}
  void put(WCHAR c) {
    if (length_ < room_)
      text_[length_++] = c;
    else
      full_ = true;
  }
  void fill(WCHAR c, size_t count) {
    while (count-- > 0 && !full_) put(c);
  }
  int finish() {
    text_[length_] = 0;
    return full_ ? -1 : static_cast<int>(length_);
  }

 private:
  LPWSTR text_;
  size_t room_;
  size_t length_ = 0;
  bool full_ = false;
};

enum class Size { normal, narrow, tiny, wide, huge };

// One conversion of a format: what stands between "%" and its type.
struct Conversion {
  bool left = false, plus = false, blank = false, alternate = false, zero = false;
  int width = 0;
  int precision = -1;
  Size size = Size::normal;
  WCHAR type = 0;
};

constexpr int kMostDigits = 512;  // of a width or precision, so that a number fits its buffer

int readCount(LPCWSTR& at, va_list& arguments) {
  if (*at == '*') {
    ++at;
    return va_arg(arguments, int);
  }
  int count = 0;
  for (; *at >= '0' && *at <= '9'; ++at) {
    if (count < kMostDigits * 100) count = count * 10 + (*at - '0');
  }
  return count;
}

void readFlags(LPCWSTR& at, Conversion& conversion) {
  for (;; ++at) {
    switch (*at) {
      case '-':
        conversion.left = true;
        break;
      case '+':
        conversion.plus = true;
        break;
      case ' ':
        conversion.blank = true;
        break;
      case '#':
        conversion.alternate = true;
        break;
      case '0':
        conversion.zero = true;
        break;
      default:
        return;
    }
  }
}

struct Prefix {
  std::u16string_view text;
  Size size;
};
// The longer ones first.
constexpr Prefix kPrefixes[] = {
    {u"I64", Size::huge}, {u"I32", Size::normal}, {u"I", Size::huge}, {u"hh", Size::tiny},
    {u"h", Size::narrow}, {u"ll", Size::huge},    {u"l", Size::wide}, {u"w", Size::wide},
    {u"j", Size::huge},   {u"z", Size::huge},     {u"t", Size::huge}, {u"L", Size::normal},
};

LPCWSTR readConversion(LPCWSTR at, Conversion& conversion, va_list& arguments) {
  readFlags(at, conversion);
  conversion.width = readCount(at, arguments);
  if (conversion.width < 0) {
    conversion.left = true;
    conversion.width = conversion.width == INT32_MIN ? 0 : -conversion.width;
  }
  if (*at == '.') conversion.precision = readCount(++at, arguments);
  const std::u16string_view rest = platform::viewOf(at);
  for (const Prefix& prefix : kPrefixes) {
    if (!rest.starts_with(prefix.text)) continue;
    conversion.size = prefix.size;
    at += prefix.text.size();
    break;
  }
  conversion.type = *at;
  return *at ? at + 1 : at;
}

void putPadded(Output& out, const Conversion& conversion, std::u16string_view text) {
  const auto width = static_cast<size_t>(conversion.width);
  const size_t missing = width > text.size() ? width - text.size() : 0;
  if (!conversion.left) out.fill(conversion.zero ? u'0' : u' ', missing);
  for (const WCHAR c : text) out.put(c);
  if (conversion.left) out.fill(u' ', missing);
}

// Through the C library's own conversion of that name.
template <typename T>
void putNumber(Output& out, const Conversion& conversion, const char* length, T value) {
  char pattern[32];
  char digits[2 * kMostDigits + 400];
  const auto flag = [](bool set, const char* text) { return set ? text : ""; };
  snprintf(pattern, sizeof pattern, "%%%s%s%s%s%s*.*%s%c", flag(conversion.left, "-"),
           flag(conversion.plus, "+"), flag(conversion.blank, " "), flag(conversion.alternate, "#"),
           flag(conversion.zero, "0"), length, static_cast<char>(conversion.type));
  const int width = std::min(conversion.width, kMostDigits);
  const int precision = std::min(conversion.precision, kMostDigits);
  snprintf(digits, sizeof digits, pattern, width, precision, value);
  for (const char* c = digits; *c; ++c) out.put(static_cast<WCHAR>(*c));
}

// Most integers ask for nothing special: these skip the C library's reading of a pattern.
template <typename T>
void putPlain(Output& out, T value) {
  char digits[24];
  const char* end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
  for (const char* c = digits; c != end; ++c) out.put(static_cast<WCHAR>(*c));
}

bool isPlain(const Conversion& conversion) {
  return !conversion.plus && !conversion.blank && conversion.width == 0 && conversion.precision < 0 &&
         (conversion.type == 'd' || conversion.type == 'i' || conversion.type == 'u');
}

void putInteger(Output& out, const Conversion& conversion, va_list& arguments) {
  const bool isUnsigned = conversion.type == 'u';
  if (conversion.size == Size::huge) {
    const long long value = va_arg(arguments, long long);
    if (!isPlain(conversion)) return putNumber(out, conversion, "ll", value);
    return isUnsigned ? putPlain(out, static_cast<unsigned long long>(value)) : putPlain(out, value);
  }
  const int value = va_arg(arguments, int);
  const char* length = conversion.size == Size::narrow ? "h" : conversion.size == Size::tiny ? "hh" : "";
  if (*length || !isPlain(conversion)) return putNumber(out, conversion, length, value);
  return isUnsigned ? putPlain(out, static_cast<unsigned>(value)) : putPlain(out, value);
}

void putText(Output& out, const Conversion& conversion, bool narrow, va_list& arguments) {
  const auto limit = static_cast<size_t>(conversion.precision < 0 ? SIZE_MAX : conversion.precision);
  if (narrow) {
    const char* text = va_arg(arguments, const char*);
    if (!text) text = "(null)";
    return putPadded(out, conversion, platform::utf16From({text, strnlen(text, limit)}));
  }
  LPCWSTR text = va_arg(arguments, LPCWSTR);
  if (!text) text = u"(null)";
  size_t length = 0;
  while (length < limit && text[length]) ++length;
  putPadded(out, conversion, {text, length});
}

// False for what is no conversion, and nothing taken.
bool putConversion(Output& out, const Conversion& conversion, va_list& arguments) {
  const bool half = conversion.size == Size::narrow || conversion.size == Size::tiny;
  switch (conversion.type) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      putInteger(out, conversion, arguments);
      return true;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      putNumber(out, conversion, "", va_arg(arguments, double));
      return true;
    case 's':
      putText(out, conversion, half, arguments);
      return true;
    case 'S':
      putText(out, conversion, conversion.size != Size::wide, arguments);
      return true;
    case 'c':
    case 'C': {
      const WCHAR c = static_cast<WCHAR>(va_arg(arguments, int));
      putPadded(out, conversion, {&c, 1});
      return true;
    }
    case 'p': {
      Conversion digits = conversion;
      digits.type = 'X';
      digits.precision = 16;
      putNumber(out, digits, "ll", va_arg(arguments, long long));
      return true;
    }
    case '%':
      out.put(u'%');
      return true;
    default:
      return false;
  }
}

}  // namespace
}  // namespace qv

errno_t _wfopen_s(FILE** stream, LPCWSTR path, LPCWSTR mode) {
  *stream = qv::openStream(path, mode, 0);
  return *stream ? 0 : errno;
}

FILE* _wfsopen(LPCWSTR path, LPCWSTR mode, int share) {
  return qv::openStream(path, mode, qv::shareOf(share));
}

int _wremove(LPCWSTR path) {
  return DeleteFileW(path) ? 0 : qv::failing();
}

int _wrename(LPCWSTR from, LPCWSTR to) {
  return MoveFileExW(from, to, MOVEFILE_COPY_ALLOWED) ? 0 : qv::failing();
}

int _vsnwprintf_s(LPWSTR text, size_t capacity, size_t count, LPCWSTR format, va_list list) {
  if (!text || capacity == 0 || !format) return -1;
  qv::Output out(text, std::min(capacity - 1, count));
  va_list arguments;
  va_copy(arguments, list);
  for (LPCWSTR at = format; *at;) {
    if (*at != '%') {
      out.put(*at++);
      continue;
    }
    qv::Conversion conversion;
    const LPCWSTR end = qv::readConversion(at + 1, conversion, arguments);
    if (!qv::putConversion(out, conversion, arguments)) {
      for (LPCWSTR c = at; c != end; ++c) out.put(*c);
    }
    at = end;
  }
  va_end(arguments);
  return out.finish();
}
