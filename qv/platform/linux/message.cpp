#include "qv/platform/message.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace qv {
namespace {

constexpr int kMaxInserts = 99;
constexpr int kMaxSpecification = 32;

bool isDigit(WCHAR c) {
  return c >= u'0' && c <= u'9';
}

// Positional arguments come in any order, the list only in one: what was fetched is kept.
class Inserts {
 public:
  explicit Inserts(va_list* list) : list_(list) {}
  uint64_t operator[](int number) {
    while (count_ < number) values_[count_++] = list_ ? va_arg(*list_, uint64_t) : 0;
    return values_[number - 1];
  }

 private:
  va_list* list_;
  uint64_t values_[kMaxInserts];
  int count_ = 0;
};

// Room that runs out is remembered: the operation then gives nothing at all.
class Output {
 public:
  Output(LPWSTR text, DWORD capacity) : text_(text), capacity_(capacity) {}
  void put(WCHAR c) {
    if (length_ < capacity_) text_[length_] = c;
    ++length_;
  }
  void put(const WCHAR* text, size_t count) {
    for (size_t i = 0; i < count; ++i) put(text[i]);
  }
  DWORD finish() {
    if (length_ < capacity_) {
      text_[length_] = 0;
      return length_;
    }
    text_[0] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }

 private:
  LPWSTR text_;
  DWORD capacity_;
  DWORD length_ = 0;
};

// "-08.3I64d" between exclamation marks, as far as inserts use it.
struct Specification {
  bool left = false, zero = false, alternate = false, wide = false, half = false;
  int width = 0;
  int precision = -1;
  WCHAR type = u's';
};

const WCHAR* readNumber(const WCHAR* at, int& number) {
  number = 0;
  for (; isDigit(*at); ++at) number = std::min(number * 10 + (*at - u'0'), 9999);
  return at;
}

// Behind the first "!"; gives the place behind the second, or null when there is none.
const WCHAR* readSpecification(const WCHAR* at, Specification& spec) {
  for (;; ++at) {
    if (*at == u'-')
      spec.left = true;
    else if (*at == u'0')
      spec.zero = true;
    else if (*at == u'#')
      spec.alternate = true;
    else
      break;
  }
  at = readNumber(at, spec.width);
  if (*at == u'.') at = readNumber(at + 1, spec.precision);
  for (; *at && *at != u'!'; ++at) {
    if (*at == u'I') spec.wide = at[1] == u'6';
    if (*at == u'h') spec.half = true;
    spec.type = *at;
  }
  return *at == u'!' ? at + 1 : nullptr;
}

void putPadded(Output& out, const Specification& spec, const WCHAR* text, size_t length) {
  const size_t missing =
      static_cast<size_t>(spec.width) > length ? static_cast<size_t>(spec.width) - length : 0;
  for (size_t i = 0; i < missing && !spec.left; ++i) out.put(u' ');
  out.put(text, length);
  for (size_t i = 0; i < missing && spec.left; ++i) out.put(u' ');
}

size_t lengthOf(const WCHAR* text, int precision) {
  size_t length = 0;
  while ((precision < 0 || length < static_cast<size_t>(precision)) && text[length]) ++length;
  return length;
}

void putText(Output& out, const Specification& spec, const WCHAR* text) {
  if (!text) text = u"(null)";
  putPadded(out, spec, text, lengthOf(text, spec.precision));
}

void putNarrow(Output& out, const Specification& spec, const char* text) {
  if (!text) text = "(null)";
  for (size_t i = 0; text[i] && (spec.precision < 0 || i < static_cast<size_t>(spec.precision)); ++i)
    out.put(static_cast<unsigned char>(text[i]));
}

void putInteger(Output& out, const Specification& spec, uint64_t value) {
  const bool isSigned = spec.type == u'd' || spec.type == u'i';
  if (!spec.wide)
    value = isSigned ? static_cast<uint64_t>(static_cast<int32_t>(value)) : static_cast<uint32_t>(value);
  char pattern[kMaxSpecification], precision[8] = "", digits[128];
  if (spec.precision >= 0) std::snprintf(precision, sizeof precision, ".%d", std::min(spec.precision, 100));
  std::snprintf(pattern, sizeof pattern, "%%%s%s%s%d%sll%c", spec.left ? "-" : "", spec.zero ? "0" : "",
                spec.alternate ? "#" : "", std::min(spec.width, 100), precision,
                static_cast<char>(spec.type));
  const int length = std::snprintf(digits, sizeof digits, pattern, static_cast<long long>(value));
  for (int i = 0; i < std::min(length, 127); ++i) out.put(static_cast<WCHAR>(digits[i]));
}

bool putInsert(Output& out, const Specification& spec, uint64_t value) {
  switch (spec.type) {
    case u's':
      if (spec.half)
        putNarrow(out, spec, reinterpret_cast<const char*>(value));
      else
        putText(out, spec, reinterpret_cast<const WCHAR*>(value));
      return true;
    case u'S':
      putNarrow(out, spec, reinterpret_cast<const char*>(value));
      return true;
    case u'c': {
      const WCHAR c = static_cast<WCHAR>(value);
      putPadded(out, spec, &c, 1);
      return true;
    }
    case u'd':
    case u'i':
    case u'u':
    case u'x':
    case u'X':
      putInteger(out, spec, value);
      return true;
    default:
      return false;
  }
}

// Behind "%" at an insert's number; gives the place behind the insert, or null for a bad one.
const WCHAR* insert(Output& out, const WCHAR* at, Inserts& inserts) {
  int number = *at++ - u'0';
  if (isDigit(*at)) number = number * 10 + (*at++ - u'0');
  Specification spec;
  if (*at == u'!') at = readSpecification(at + 1, spec);
  return at && putInsert(out, spec, inserts[number]) ? at : nullptr;
}

WCHAR escaped(WCHAR c) {
  switch (c) {
    case u'r':
      return u'\r';
    case u't':
      return u'\t';
    case u'b':
      return u' ';
    default:
      return c;
  }
}

// One "%" sequence; gives the place behind it, or null for a bad pattern.
const WCHAR* sequence(Output& out, const WCHAR* at, bool ignoreInserts, Inserts& inserts) {
  const WCHAR c = *at;
  if (c == 0) return nullptr;
  if (c >= u'1' && c <= u'9') {
    if (!ignoreInserts) return insert(out, at, inserts);
    out.put(u'%');
    out.put(c);
  } else if (c == u'n') {
    out.put(u"\r\n", 2);
  } else {
    out.put(escaped(c));
  }
  return at + 1;
}

DWORD fail(DWORD error) {
  SetLastError(error);
  return 0;
}

}  // namespace
}  // namespace qv

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD, DWORD, LPWSTR text, DWORD capacity,
                     va_list* arguments) {
  const DWORD known = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_IGNORE_INSERTS;
  if (!(flags & FORMAT_MESSAGE_FROM_STRING) || (flags & ~known) || !source || !text)
    return qv::fail(ERROR_INVALID_PARAMETER);
  if (capacity == 0) return qv::fail(ERROR_INSUFFICIENT_BUFFER);
  qv::Output out(text, capacity);
  qv::Inserts inserts(arguments);
  for (const WCHAR* at = static_cast<const WCHAR*>(source); *at;) {
    if (*at != u'%') {
      out.put(*at++);
      continue;
    }
    if (at[1] == u'0') break;
    at = qv::sequence(out, at + 1, (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0, inserts);
    if (!at) return qv::fail(ERROR_INVALID_PARAMETER);
  }
  return out.finish();
}
