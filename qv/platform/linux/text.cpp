#include "qv/platform/text.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "qv/platform/characters.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

constexpr uint32_t kReplacement = 0xfffd;

// One character of a text in some encoding: its code, the units it takes, and whether it was well formed.
struct Decoded {
  uint32_t code;
  size_t units;
  bool valid;
};

constexpr Decoded kMalformedUnit{kReplacement, 1, false};

// What may follow a lead byte of UTF-8: how many bytes, and the range of the first of them, which is what
// keeps overlong forms, surrogates and codes above U+10FFFF out.
struct LeadByte {
  uint8_t first, last, following, low, high;
};
constexpr LeadByte kLeadBytes[] = {
    {0xc2, 0xdf, 1, 0x80, 0xbf}, {0xe0, 0xe0, 2, 0xa0, 0xbf}, {0xe1, 0xec, 2, 0x80, 0xbf},
    {0xed, 0xed, 2, 0x80, 0x9f}, {0xee, 0xef, 2, 0x80, 0xbf}, {0xf0, 0xf0, 3, 0x90, 0xbf},
    {0xf1, 0xf3, 3, 0x80, 0xbf}, {0xf4, 0xf4, 3, 0x80, 0x8f},
};

// A malformed sequence counts as one character as far as its bytes may follow each other; so does a lead byte
// with a following byte that makes an overlong form, a surrogate or too high a code. That is what the
// platform's own conversion does.
Decoded decodeMultiByte(std::string_view text) {
  auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const LeadByte* lead = std::find_if(std::begin(kLeadBytes), std::end(kLeadBytes), [&](const LeadByte& row) {
    return byte(0) >= row.first && byte(0) <= row.last;
  });
  if (lead == std::end(kLeadBytes)) return kMalformedUnit;
  uint32_t code = byte(0) & (0x3fu >> lead->following);
  for (size_t i = 1; i <= lead->following; ++i) {
    if (i >= text.size() || (byte(i) & 0xc0) != 0x80) return {kReplacement, i, false};
    if (i == 1 && (byte(i) < lead->low || byte(i) > lead->high)) return {kReplacement, 2, false};
    code = code << 6 | (byte(i) & 0x3f);
  }
  return {code, size_t{1} + lead->following, true};
}

Decoded decode(std::string_view text) {
  auto first = static_cast<uint8_t>(text[0]);
  return first < 0x80 ? Decoded{first, 1, true} : decodeMultiByte(text);
}

Decoded decode(std::u16string_view text) {
  char16_t first = text[0];
  if (first < 0xd800 || first > 0xdfff) return {first, 1, true};
  bool paired = first < 0xdc00 && text.size() > 1 && text[1] >= 0xdc00 && text[1] <= 0xdfff;
  if (!paired) return kMalformedUnit;
  return {0x10000 + ((first - 0xd800u) << 10) + (text[1] - 0xdc00u), 2, true};
}

size_t encode(uint32_t code, char16_t* out) {
  if (code < 0x10000) return out[0] = static_cast<char16_t>(code), 1;
  out[0] = static_cast<char16_t>(0xd800 + ((code - 0x10000) >> 10));
  out[1] = static_cast<char16_t>(0xdc00 + ((code - 0x10000) & 0x3ff));
  return 2;
}

size_t encode(uint32_t code, char* out) {
  auto put = [&](size_t i, uint32_t byte) { out[i] = static_cast<char>(byte); };
  auto rest = [&](int shift) { return 0x80 | ((code >> shift) & 0x3f); };
  if (code < 0x80) return put(0, code), 1;
  if (code < 0x800) return put(0, 0xc0 | code >> 6), put(1, rest(0)), 2;
  if (code < 0x10000) return put(0, 0xe0 | code >> 12), put(1, rest(6)), put(2, rest(0)), 3;
  return put(0, 0xf0 | code >> 18), put(1, rest(12)), put(2, rest(6)), put(3, rest(0)), 4;
}

template <typename To, typename From>
std::basic_string<To> convertAll(std::basic_string_view<From> source) {
  std::basic_string<To> out;
  out.reserve(source.size());
  while (!source.empty()) {
    Decoded next = decode(source);
    To units[4];
    out.append(units, encode(next.code, units));
    source.remove_prefix(next.units);
  }
  return out;
}

// Converts into a buffer, or only counts if the capacity is 0. Gives 0 with the last error on failure.
template <typename To, typename From>
int convertInto(std::basic_string_view<From> source, To* target, size_t capacity, bool strict) {
  size_t length = 0;
  while (!source.empty()) {
    Decoded next = decode(source);
    if (strict && !next.valid) return failWith(ERROR_NO_UNICODE_TRANSLATION, 0);
    To units[4];
    size_t count = encode(next.code, units);
    if (capacity > 0) {
      if (capacity - length < count) return failWith(ERROR_INSUFFICIENT_BUFFER, 0);
      std::copy_n(units, count, target + length);
    }
    length += count;
    source.remove_prefix(next.units);
  }
  return static_cast<int>(length);
}

// What both directions demand of their arguments.
DWORD checkConversion(UINT page, const void* source, int count, const void* target, int capacity) {
  if (page != CP_UTF8 && page != CP_ACP) return ERROR_INVALID_PARAMETER;
  if (!source || count == 0 || capacity < 0) return ERROR_INVALID_PARAMETER;
  if (capacity > 0 && (!target || target == source)) return ERROR_INVALID_PARAMETER;
  return ERROR_SUCCESS;
}

// Unicode's simple case mappings and classes. The locale of this name is part of the C library; without it
// only ASCII has case.
locale_t unicodeLocale() {
  static const locale_t locale = [] {
    locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return made ? made : newlocale(LC_CTYPE_MASK, "C", nullptr);
  }();
  return locale;
}

WCHAR mapped(WCHAR c, wint_t (*map)(wint_t, locale_t), wint_t (*back)(wint_t, locale_t)) {
  wint_t other = map(c, unicodeLocale());
  // Only pairs that go both ways: the micro sign, say, stays what it is rather than become a Greek letter.
  return other <= 0xffff && back(other, unicodeLocale()) == c ? static_cast<WCHAR>(other) : c;
}

WCHAR upper(WCHAR c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? static_cast<WCHAR>(c - 32) : c;
  return mapped(c, towupper_l, towlower_l);
}

WCHAR lower(WCHAR c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + 32) : c;
  return mapped(c, towlower_l, towupper_l);
}

WCHAR lowerAscii(WCHAR c) {
  return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + 32) : c;
}

// The difference of the first characters that differ after `map`, within `count` characters.
template <typename Map>
int compareMapped(const WCHAR* a, const WCHAR* b, size_t count, Map map) {
  for (; count > 0; --count, ++a, ++b) {
    int difference = map(*a) - map(*b);
    if (difference != 0 || *a == 0) return difference;
  }
  return 0;
}

constexpr size_t kNoLimit = static_cast<size_t>(-1);

// Null stands before all text, the empty one too.
int compareNull(LPCWSTR a, LPCWSTR b) {
  return (a != nullptr) - (b != nullptr);
}

int sign(int value) {
  return (value > 0) - (value < 0);
}

// Those entry points that take either a text or one character in the pointer's place.
template <typename Map>
LPWSTR mapTextOrCharacter(LPWSTR text, Map map) {
  auto value = reinterpret_cast<uintptr_t>(text);
  if (value < 0x10000) return reinterpret_cast<LPWSTR>(uintptr_t{map(static_cast<WCHAR>(value))});
  for (LPWSTR c = text; *c; ++c) *c = map(*c);
  return text;
}

template <typename Map>
DWORD mapBuffer(LPWSTR text, DWORD count, Map map) {
  if (!text) return 0;
  std::transform(text, text + count, text, map);
  return count;
}

bool isAlpha(WCHAR c) {
  return iswalpha_l(c, unicodeLocale()) && !iswdigit_l(c, unicodeLocale());
}

const WCHAR* orNull(std::u16string_view text, size_t place) {
  return place == text.npos ? nullptr : text.data() + place;
}

}  // namespace

std::u16string utf16From(std::string_view text) {
  return convertAll<char16_t>(text);
}

std::string utf8From(std::u16string_view text) {
  return convertAll<char>(text);
}

}  // namespace qv::platform

using namespace qv::platform;

int lstrlenW(LPCWSTR text) {
  return static_cast<int>(viewOf(text).size());
}

LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int capacity) {
  if (!target || !source) return nullptr;
  if (capacity <= 0) return target;
  WCHAR* out = target;
  while (--capacity > 0 && *source) *out++ = *source++;
  *out = 0;
  return target;
}

int lstrcmpiW(LPCWSTR a, LPCWSTR b) {
  if (!a || !b) return compareNull(a, b);
  return sign(compareMapped(a, b, kNoLimit, lower));
}

int lstrcmpW(LPCWSTR a, LPCWSTR b) {
  int order = lstrcmpiW(a, b);
  if (order != 0 || !a || !b) return order;
  // Equal but for case: lower case, which has the higher codes, comes first.
  return -sign(compareMapped(a, b, kNoLimit, [](WCHAR c) { return c; }));
}

int _wcsicmp(const WCHAR* a, const WCHAR* b) {
  return compareMapped(a, b, kNoLimit, lowerAscii);
}

int _wcsnicmp(const WCHAR* a, const WCHAR* b, size_t count) {
  return compareMapped(a, b, count, lowerAscii);
}

size_t wcslen(const WCHAR* text) {
  return std::u16string_view(text).size();
}

int wcscmp(const WCHAR* a, const WCHAR* b) {
  return std::u16string_view(a).compare(b);
}

int wcsncmp(const WCHAR* a, const WCHAR* b, size_t count) {
  return compareMapped(a, b, count, [](WCHAR c) { return c; });
}

const WCHAR* wcschr(const WCHAR* text, WCHAR c) {
  std::u16string_view all(text, wcslen(text) + 1);  // The terminator can be found too.
  return orNull(all, all.find(c));
}

WCHAR* wcschr(WCHAR* text, WCHAR c) {
  return const_cast<WCHAR*>(wcschr(static_cast<const WCHAR*>(text), c));
}

const WCHAR* wcsrchr(const WCHAR* text, WCHAR c) {
  std::u16string_view all(text, wcslen(text) + 1);
  return orNull(all, all.rfind(c));
}

WCHAR* wcsrchr(WCHAR* text, WCHAR c) {
  return const_cast<WCHAR*>(wcsrchr(static_cast<const WCHAR*>(text), c));
}

const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part) {
  std::u16string_view all(text);
  return orNull(all, all.find(part));
}

WCHAR* wcsstr(WCHAR* text, const WCHAR* part) {
  return const_cast<WCHAR*>(wcsstr(static_cast<const WCHAR*>(text), part));
}

int _wtoi(const WCHAR* text) {
  if (!text) return 0;
  while (isWhiteSpace(*text)) ++text;
  bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = std::min<int64_t>(value * 10 + (*text - '0'), int64_t{INT32_MAX} + 1);
  }
  return static_cast<int>(negative ? -value : std::min<int64_t>(value, INT32_MAX));
}

LPWSTR CharUpperW(LPWSTR text) {
  return mapTextOrCharacter(text, upper);
}

LPWSTR CharLowerW(LPWSTR text) {
  return mapTextOrCharacter(text, lower);
}

DWORD CharUpperBuffW(LPWSTR text, DWORD count) {
  return mapBuffer(text, count, upper);
}

DWORD CharLowerBuffW(LPWSTR text, DWORD count) {
  return mapBuffer(text, count, lower);
}

BOOL IsCharAlphaW(WCHAR c) {
  return isAlpha(c);
}

BOOL IsCharAlphaNumericW(WCHAR c) {
  return isAlpha(c) || iswdigit_l(c, unicodeLocale());
}

BOOL IsCharUpperW(WCHAR c) {
  return iswupper_l(c, unicodeLocale()) != 0;
}

BOOL IsCharLowerW(WCHAR c) {
  return iswlower_l(c, unicodeLocale()) != 0;
}

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int bytes, LPWSTR target, int capacity) {
  if (DWORD error = checkConversion(codePage, source, bytes, target, capacity)) return failWith(error, 0);
  DWORD allowed = MB_ERR_INVALID_CHARS | (codePage == CP_ACP ? MB_PRECOMPOSED : 0);
  if (flags & ~allowed) return failWith(ERROR_INVALID_FLAGS, 0);
  std::string_view text(source, bytes < 0 ? std::strlen(source) + 1 : static_cast<size_t>(bytes));
  return convertInto(text, target, static_cast<size_t>(capacity), flags & MB_ERR_INVALID_CHARS);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int count, LPSTR target, int capacity,
                        LPCSTR defaultChar, BOOL* usedDefault) {
  if (DWORD error = checkConversion(codePage, source, count, target, capacity)) return failWith(error, 0);
  if (defaultChar || usedDefault) return failWith(ERROR_INVALID_PARAMETER, 0);
  if (flags & ~WC_ERR_INVALID_CHARS) return failWith(ERROR_INVALID_FLAGS, 0);
  std::u16string_view text(source, count < 0 ? wcslen(source) + 1 : static_cast<size_t>(count));
  return convertInto(text, target, static_cast<size_t>(capacity), flags & WC_ERR_INVALID_CHARS);
}

int MulDiv(int number, int numerator, int denominator) {
  if (denominator == 0) return -1;
  int64_t product = int64_t{number} * numerator;
  int64_t divisor = denominator;
  if (divisor < 0) product = -product, divisor = -divisor;
  int64_t half = divisor / 2;
  int64_t result = (product >= 0 ? product + half : product - half) / divisor;
  return result >= -INT32_MAX && result <= INT32_MAX ? static_cast<int>(result) : -1;
}
