#include "qv/core/detail/number_text.h"

#include <algorithm>

#include "qv/core/detail/render.h"
#include "qv/lang/international.h"
#include "qv/platform/locale.h"

namespace qv {
namespace {

// The longest double has 309 digits before the point; what is longer stays ungrouped.
constexpr size_t kMaxWhole = 310;
constexpr size_t kMaxGrouped = 1024;

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

struct Span {
  const WCHAR* text = nullptr;
  size_t length = 0;
};

struct NumberParts {
  size_t prefix = 0;  // characters before the number
  bool found = false;
  bool negative = false;
  bool leadingZero = false;
  Span whole;  // without leading zeros
  Span fraction;
  size_t end = 0;
};

bool startsNumber(const WCHAR* text, size_t at, size_t length) {
  const WCHAR c = text[at];
  if (c == TEXT('0')) return at + 1 < length && text[at + 1] == TEXT('.');
  return isDigit(c) || (c >= TEXT('-') && c <= TEXT('/'));
}

size_t digitsFrom(const WCHAR* text, size_t at, size_t length) {
  while (at < length && isDigit(text[at])) ++at;
  return at;
}

NumberParts findNumber(const WCHAR* text, size_t length) {
  NumberParts parts;
  size_t at = 0;
  while (at < length && !startsNumber(text, at, length)) ++at;
  parts.prefix = at;
  if (at < length && text[at] == TEXT('-')) {
    parts.negative = true;
    ++at;
  }
  const size_t wholeEnd = digitsFrom(text, at, length);
  size_t first = at;
  while (first < wholeEnd && text[first] == TEXT('0')) ++first;
  parts.whole = {text + first, wholeEnd - first};
  parts.found = wholeEnd > at;
  parts.end = wholeEnd;
  if (wholeEnd < length && text[wholeEnd] == TEXT('.')) {
    parts.end = digitsFrom(text, wholeEnd + 1, length);
    parts.fraction = {text + wholeEnd + 1, parts.end - wholeEnd - 1};
    parts.found |= parts.fraction.length > 0;
  }
  return parts;
}

// Groups of three with a separator of one character, as nearly every locale has them.
bool putInThrees(TextSink& out, const WCHAR* digits, size_t length, WCHAR separator) {
  WCHAR grouped[kMaxWhole / 3 * 4 + 8];
  size_t first = length % 3 == 0 ? 3 : length % 3;
  WCHAR* at = grouped;
  for (size_t i = 0; i < first; ++i) *at++ = digits[i];
  for (size_t i = first; i < length; i += 3) {
    *at++ = separator;
    *at++ = digits[i];
    *at++ = digits[i + 1];
    *at++ = digits[i + 2];
  }
  return out.put(grouped, static_cast<size_t>(at - grouped));
}

bool putByLocale(TextSink& out, const WCHAR* digits, size_t length, const QVINTERNATIONALS& inat) {
  WCHAR terminated[kMaxWhole + 2];
  std::copy(digits, digits + length, terminated);
  terminated[length] = 0;
  NUMBERFMTW format = {};
  format.LeadingZero = 1;
  format.Grouping = inat.grouping;
  format.lpDecimalSep = const_cast<WCHAR*>(inat.decimalSeparator.text);
  format.lpThousandSep = const_cast<WCHAR*>(inat.thousandSeparator.text);
  format.NegativeOrder = 1;
  WCHAR grouped[kMaxGrouped];
  const int count = GetNumberFormatW(LOCALE_USER_DEFAULT, 0, terminated, &format, grouped, kMaxGrouped);
  return count > 0 ? out.put(grouped, static_cast<size_t>(count - 1)) : out.put(digits, length);
}

bool putGrouped(TextSink& out, const WCHAR* digits, size_t length) {
  const QVINTERNATIONALS& inat = internationals();
  if (inat.grouping == 0) return out.put(digits, length);
  if (inat.grouping != 3) return putByLocale(out, digits, length, inat);
  if (length <= 3) return out.put(digits, length);
  if (inat.thousandSeparator.length != 1) return putByLocale(out, digits, length, inat);
  return putInThrees(out, digits, length, inat.thousandSeparator.text[0]);
}

// How rounding to `places` changes the digits: up at place `at`, zeros behind it.
struct Rounding {
  size_t kept;   // places that stay as they are
  bool up;       // the digit behind them goes up by one (the last whole digit if there is none)
  bool carries;  // out of the fraction into the whole part
};

Rounding roundTo(const Span& fraction, size_t places) {
  if (fraction.length <= places || fraction.text[places] < TEXT('5'))
    return {std::min(fraction.length, places), false, false};
  size_t at = places;
  while (at > 0 && fraction.text[at - 1] == TEXT('9')) --at;
  return at > 0 ? Rounding{at - 1, true, false} : Rounding{0, false, true};
}

bool putWhole(TextSink& out, const NumberParts& parts, bool carry, bool grouped) {
  const Span& whole = parts.whole;
  if (whole.length > kMaxWhole) return out.put(whole.text, whole.length);
  WCHAR digits[kMaxWhole + 1];
  digits[0] = TEXT('0');
  std::copy(whole.text, whole.text + whole.length, digits + 1);
  if (carry) {
    size_t at = whole.length;
    while (digits[at] == TEXT('9')) digits[at--] = TEXT('0');
    ++digits[at];
  }
  const size_t skip = digits[0] == TEXT('0') && whole.length > 0 ? 1 : 0;
  const size_t count = whole.length + 1 - skip;
  return grouped ? putGrouped(out, digits + skip, count) : out.put(digits + skip, count);
}

bool putFraction(TextSink& out, const Span& fraction, size_t places, const Rounding& rounding) {
  const auto& point = internationals().decimalSeparator;
  bool fits = out.put(point.text, point.length);
  fits &= out.put(fraction.text, rounding.kept);
  size_t written = rounding.kept;
  if (rounding.up) {
    fits &= out.put(static_cast<WCHAR>(fraction.text[rounding.kept] + 1));
    ++written;
  }
  return fits & out.fill(TEXT('0'), places - written);
}

bool putParts(TextSink& out, const NumberParts& parts, NumberForm form, size_t places) {
  const Rounding rounding = roundTo(parts.fraction, places);
  const bool zeroWanted = places == 0 || internationals().leadingZero != 0;
  bool fits = !parts.negative || out.put(TEXT('-'));
  if (parts.whole.length || rounding.carries || zeroWanted)
    fits &= putWhole(out, parts, rounding.carries, form != NumberForm::decimal);
  if (places) fits &= putFraction(out, parts.fraction, places, rounding);
  return fits;
}

}  // namespace

bool putNumber(TextSink& out, const WCHAR* text, size_t length, NumberForm form, int32_t places) {
  const NumberParts parts = findNumber(text, length);
  if (!parts.found) return out.put(text, length);
  size_t wanted = parts.fraction.length;
  if (form == NumberForm::whole)
    wanted = 0;
  else if (form == NumberForm::groupDecimal && places >= 0)
    wanted = static_cast<size_t>(places);
  bool fits = out.put(text, parts.prefix);
  fits &= putParts(out, parts, form, wanted);
  return fits & out.put(text + parts.end, length - parts.end);
}

bool putInteger(TextSink& out, bool negative, uint64_t magnitude, bool grouped) {
  if (!grouped) {
    const uint32_t count = digitCount(magnitude) + (negative ? 1 : 0);
    if (WCHAR* place = out.reserve(count)) {
      writeDigits(magnitude, place + count);
      if (negative) *place = TEXT('-');
      return true;
    }
  }
  WCHAR digits[24];
  WCHAR* const end = digits + 24;
  const WCHAR* at = writeDigits(magnitude, end);
  bool fits = !negative || out.put(TEXT('-'));
  const size_t length = static_cast<size_t>(end - at);
  return fits & (grouped ? putGrouped(out, at, length) : out.put(at, length));
}

}  // namespace qv
