// Text to numbers, and colours.
#include <algorithm>
#include <charconv>
#include <limits>

#include "qv/core/convert.h"
#include "qv/core/printf.h"
#include "qv/lang/international.h"
#include "qv/platform/characters.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

using platform::isWhiteSpace;

constexpr size_t kMaxCleaned = 64;

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

const WCHAR* skipWhiteSpace(const WCHAR* text) {
  while (isWhiteSpace(*text)) ++text;
  return text;
}

template <size_t N>
size_t matches(const WCHAR* text, const QVINATTEXT<N>& separator) {
  uint32_t i = 0;
  while (i < separator.length && text[i] == separator.text[i]) ++i;
  return i == separator.length ? i : 0;
}

// A number's characters without what only serves the eye.
struct Cleaned {
  char text[kMaxCleaned];
  size_t length = 0;

  const char* end() const { return text + length; }
  bool negative() const { return length && text[0] == '-'; }
  bool full() const { return length == kMaxCleaned; }
  void add(char c) { text[length++] = c; }
};

// How many characters stand for the same thing as `as` at this place; 0 for a place where the number ends.
struct Step {
  size_t taken;
  char as;  // 0: dropped
};

Step localeStep(const WCHAR* at) {
  const QVINTERNATIONALS& inat = internationals();
  if (isDigit(*at)) return {1, static_cast<char>(*at)};
  if (const size_t point = matches(at, inat.decimalSeparator)) return {point, '.'};
  return {matches(at, inat.thousandSeparator), 0};
}

Step plainStep(const WCHAR* at) {
  if (isDigit(*at) || *at == TEXT('.')) return {1, static_cast<char>(*at)};
  return {*at == TEXT(',') ? size_t{1} : 0, 0};
}

size_t signAt(const WCHAR* at, bool locale) {
  if (*at == TEXT('-')) return 1;
  return locale ? matches(at, internationals().negativeSign) : 0;
}

const WCHAR* clean(const WCHAR* text, bool locale, Cleaned& cleaned) {
  const WCHAR* at = skipWhiteSpace(text);
  if (const size_t sign = signAt(at, locale)) {
    cleaned.add('-');
    at += sign;
  }
  while (*at && !cleaned.full()) {
    const Step step = locale ? localeStep(at) : plainStep(at);
    if (!step.taken) break;
    if (step.as) cleaned.add(step.as);
    at += step.taken;
  }
  return at;
}

// The whole part, held within the type.
template <typename Integer>
Integer wholeValue(const Cleaned& cleaned) {
  using Limits = std::numeric_limits<Integer>;
  const char* digits = cleaned.text + (cleaned.negative() ? 1 : 0);
  uint64_t magnitude = 0;
  const auto result = std::from_chars(digits, cleaned.end(), magnitude);
  if (result.ec == std::errc::result_out_of_range) magnitude = UINT64_MAX;
  if (!cleaned.negative())
    return magnitude > static_cast<uint64_t>(Limits::max()) ? Limits::max() : static_cast<Integer>(magnitude);
  const uint64_t lowest = 0 - static_cast<uint64_t>(static_cast<int64_t>(Limits::min()));
  if (Limits::min() == 0 || magnitude >= lowest) return Limits::min();
  return static_cast<Integer>(0 - magnitude);
}

double doubleValue(const Cleaned& cleaned) {
  double value = 0;
  std::from_chars(cleaned.text, cleaned.end(), value, std::chars_format::fixed);
  return value;
}

template <typename Integer>
Integer textToInteger(const WCHAR* text, const WCHAR** end) {
  Cleaned cleaned;
  const WCHAR* stopped = clean(text, true, cleaned);
  if (end) *end = stopped;
  return wholeValue<Integer>(cleaned);
}

int hexDigit(WCHAR c) {
  if (isDigit(c)) return c - TEXT('0');
  const WCHAR lower = c | 0x20;
  return lower >= TEXT('a') && lower <= TEXT('f') ? lower - TEXT('a') + 10 : -1;
}

bool hasHexPrefix(const WCHAR* text) {
  return text[0] == TEXT('0') && (text[1] | 0x20) == TEXT('x');
}

template <typename Integer>
Integer hexToInteger(const WCHAR* text, const WCHAR** end) {
  const WCHAR* at = skipWhiteSpace(text);
  if (hasHexPrefix(at)) at += 2;
  Integer value = 0;
  for (int digit; (digit = hexDigit(*at)) >= 0; ++at) {
    const bool full = (value >> (std::numeric_limits<Integer>::digits - 4)) != 0;
    value = full ? std::numeric_limits<Integer>::max()
                 : static_cast<Integer>(value << 4 | static_cast<Integer>(digit));
  }
  if (end) *end = at;
  return value;
}

// `parse` with a default for what is no number, and within a range.
template <typename Value, typename Parse>
Value parseHeld(Parse parse, Value fallback, Value low, Value high, const WCHAR** end) {
  const WCHAR* stopped = nullptr;
  Value value = parse(&stopped);
  if (value == 0 && *stopped && !isWhiteSpace(*stopped)) value = fallback;
  if (end) *end = stopped;
  return value < low ? low : value > high ? high : value;
}

// ---- Colours

bool isColorWord(const WCHAR* text) {
  return (text[0] | 0x20) == TEXT('r') && (text[1] | 0x20) == TEXT('g') && (text[2] | 0x20) == TEXT('b');
}

constexpr COLORREF swapRedAndBlue(COLORREF color) {
  return (color & 0xff00) | (color >> 16 & 0xff) | (color & 0xff) << 16;
}

// A decimal part of "RGB(…)"; -1 when there is none.
int64_t colorPart(const WCHAR*& at) {
  at = skipWhiteSpace(at);
  if (!isDigit(*at)) return -1;
  int64_t value = 0;
  for (; isDigit(*at); ++at) value = std::min<int64_t>(value * 10 + (*at - TEXT('0')), 0xffff);
  at = skipWhiteSpace(at);
  return value;
}

COLORREF parseRgb(const WCHAR* text, const WCHAR** end) {
  const WCHAR* at = skipWhiteSpace(text + 3);
  *end = at;
  COLORREF color = 0;
  bool inRange = true;
  for (int i = 0; i < 3; ++i) {
    if (*at != (i == 0 ? TEXT('(') : TEXT(','))) return kUnreadableColor;
    ++at;
    const int64_t part = colorPart(at);
    *end = at;
    if (part < 0) return kUnreadableColor;
    inRange &= part <= 255;
    color |= static_cast<COLORREF>(part & 0xff) << (8 * i);
  }
  if (*at != TEXT(')')) return kUnreadableColor;
  *end = at + 1;
  return inRange ? color : 0;
}

COLORREF parseHtml(const WCHAR* text, const WCHAR** end) {
  if (hexDigit(text[1]) < 0) {
    *end = text + 1;
    return kUnreadableColor;
  }
  return swapRedAndBlue(QvHexToDWordTokenEx(text + 1, kUnreadableColor, 0, 0xffffff, end));
}

COLORREF parseColor(const WCHAR* text, const WCHAR** end) {
  const WCHAR* at = skipWhiteSpace(text);
  if (isColorWord(at)) return parseRgb(at, end);
  if (*at == TEXT('#')) return parseHtml(at, end);
  if (hasHexPrefix(at) && hexDigit(at[2]) >= 0) return QvHexToDWordToken(at, end);
  if (isDigit(*at)) return QvTextToDWordToken(at, end);
  *end = at;
  return kUnreadableColor;
}

}  // namespace
}  // namespace qv

uint32_t QvTextToDWordToken(const WCHAR* text, const WCHAR** end) {
  return qv::textToInteger<uint32_t>(text, end);
}
uint64_t QvTextToDWordLongToken(const WCHAR* text, const WCHAR** end) {
  return qv::textToInteger<uint64_t>(text, end);
}
int32_t QvTextToLongToken(const WCHAR* text, const WCHAR** end) {
  return qv::textToInteger<int32_t>(text, end);
}
int64_t QvTextToLongLongToken(const WCHAR* text, const WCHAR** end) {
  return qv::textToInteger<int64_t>(text, end);
}
uint32_t QvHexToDWordToken(const WCHAR* text, const WCHAR** end) {
  return qv::hexToInteger<uint32_t>(text, end);
}
uint64_t QvHexToDWordLongToken(const WCHAR* text, const WCHAR** end) {
  return qv::hexToInteger<uint64_t>(text, end);
}

double QvTextToDoubleToken(const WCHAR* text, const WCHAR** end, int32_t locale) {
  qv::Cleaned cleaned;
  const WCHAR* stopped = qv::clean(text, locale != 0, cleaned);
  if (end) *end = stopped;
  return qv::doubleValue(cleaned);
}

uint32_t QvTextToDWordTokenEx(const WCHAR* text, uint32_t fallback, uint32_t low, uint32_t high,
                              const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvTextToDWordToken(text, at); }, fallback, low, high,
                       end);
}
uint64_t QvTextToDWordLongTokenEx(const WCHAR* text, uint64_t fallback, uint64_t low, uint64_t high,
                                  const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvTextToDWordLongToken(text, at); }, fallback, low,
                       high, end);
}
int32_t QvTextToLongTokenEx(const WCHAR* text, int32_t fallback, int32_t low, int32_t high,
                            const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvTextToLongToken(text, at); }, fallback, low, high,
                       end);
}
int64_t QvTextToLongLongTokenEx(const WCHAR* text, int64_t fallback, int64_t low, int64_t high,
                                const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvTextToLongLongToken(text, at); }, fallback, low, high,
                       end);
}
uint32_t QvHexToDWordTokenEx(const WCHAR* text, uint32_t fallback, uint32_t low, uint32_t high,
                             const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvHexToDWordToken(text, at); }, fallback, low, high,
                       end);
}
uint64_t QvHexToDWordLongTokenEx(const WCHAR* text, uint64_t fallback, uint64_t low, uint64_t high,
                                 const WCHAR** end) {
  return qv::parseHeld([=](const WCHAR** at) { return QvHexToDWordLongToken(text, at); }, fallback, low, high,
                       end);
}
double QvTextToDoubleTokenEx(const WCHAR* text, double fallback, double low, double high, const WCHAR** end,
                             int32_t locale) {
  return qv::parseHeld([=](const WCHAR** at) { return QvTextToDoubleToken(text, at, locale); }, fallback, low,
                       high, end);
}

COLORREF QvTextToColorrefToken(const WCHAR* text, const WCHAR** end) {
  const WCHAR* stopped = text;
  const COLORREF color = qv::parseColor(text, &stopped);
  if (end) *end = stopped;
  return color;
}

COLORREF QvTextToColorref(const WCHAR* text) {
  return QvTextToColorrefToken(text, nullptr);
}

int32_t QvColorrefToText(WCHAR* destination, uint32_t capacity, COLORREF color, int32_t style) {
  return QvColorrefToTextEx(destination, capacity, nullptr, color, style);
}

int32_t QvColorrefToTextEx(WCHAR* destination, uint32_t capacity, uint32_t* length, COLORREF color,
                           int32_t style) {
  const uint32_t red = color & 0xff, green = color >> 8 & 0xff, blue = color >> 16 & 0xff;
  uint32_t written = 0;
  if (style == kColorTextHtml)
    QvCchPrintF(destination, capacity, &written, TEXT("#%02x%02x%02x"), red, green, blue);
  else if (style == kColorTextRgb)
    QvCchPrintF(destination, capacity, &written, TEXT("RGB(%d,%d,%d)"), red, green, blue);
  else  // "%#010x" leaves the prefix of a zero out
    QvCchPrintF(destination, capacity, &written, color ? TEXT("%#010x") : TEXT("0x%08x"), color);
  if (length) *length = written;
  return static_cast<int32_t>(written);
}
