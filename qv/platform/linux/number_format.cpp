// GetNumberFormatW on plain strings: no float is involved, so any length of number comes out exact.
#include <cstring>
#include <string_view>

#include "qv/platform/linux/locale_rows.h"

namespace qv {
namespace {

constexpr int kMaxSeparator = 16;

struct Parts {
  bool negative = false;
  std::u16string_view whole;
  std::u16string_view fraction;
};

size_t digitsAt(std::u16string_view text) {
  size_t count = 0;
  while (count < text.size() && text[count] >= u'0' && text[count] <= u'9') ++count;
  return count;
}

bool parse(std::u16string_view text, Parts& parts) {
  if (text.starts_with(u'-')) {
    parts.negative = true;
    text.remove_prefix(1);
  }
  parts.whole = text.substr(0, digitsAt(text));
  text.remove_prefix(parts.whole.size());
  while (parts.whole.starts_with(u'0')) parts.whole.remove_prefix(1);
  if (text.starts_with(u'.')) {
    text.remove_prefix(1);
    parts.fraction = text.substr(0, digitsAt(text));
    text.remove_prefix(parts.fraction.size());
  }
  return text.empty();
}

// Writes from the right into a fixed block, and goes on counting when the block is full.
class Backwards {
 public:
  Backwards(LPWSTR text, size_t capacity) : text_(text), capacity_(capacity) {}
  void put(char16_t c) {
    if (count_ < capacity_) text_[capacity_ - 1 - count_] = c;
    ++count_;
  }
  void put(std::u16string_view chars) {
    for (size_t i = chars.size(); i > 0; --i) put(chars[i - 1]);
  }
  size_t count() const { return count_; }

 private:
  LPWSTR text_;
  size_t capacity_;
  size_t count_ = 0;
};

// Hands out group sizes from the point outwards: the digits of `grouping` from the left, the last one
// repeated, a last 0 ending the grouping.
class Groups {
 public:
  explicit Groups(UINT grouping) : rest_(grouping) {
    while (rest_ / divisor_ >= 10) divisor_ *= 10;
    next();
  }
  // True before a digit that opens a new group.
  bool full() {
    if (size_ == 0 || used_ < size_) return false;
    next();
    return true;
  }
  void count() { ++used_; }

 private:
  void next() {
    used_ = 0;
    if (divisor_ == 0) return;
    size_ = rest_ / divisor_ % 10;
    divisor_ /= 10;
  }
  UINT rest_;
  UINT divisor_ = 1;
  UINT size_ = 0;
  UINT used_ = 0;
};

// One digit at a time from the last place to the first, with the carry of rounding on the way.
class Digits {
 public:
  Digits(const Parts& parts, UINT places) : parts_(parts) {
    carry_ = parts.fraction.size() > places && parts.fraction[places] >= u'5';
  }
  char16_t fraction(size_t place) {
    return carried(place < parts_.fraction.size() ? parts_.fraction[place] : u'0');
  }
  char16_t whole(size_t place) { return carried(parts_.whole[place]); }
  bool carry() const { return carry_; }

 private:
  char16_t carried(char16_t digit) {
    if (!carry_) return digit;
    carry_ = digit == u'9';
    return carry_ ? u'0' : static_cast<char16_t>(digit + 1);
  }
  const Parts& parts_;
  bool carry_;
};

void writeWhole(Backwards& out, Digits& digits, const Parts& parts, const NUMBERFMTW& format) {
  const std::u16string_view separator(format.lpThousandSep);
  Groups groups(format.Grouping);
  const auto digit = [&](char16_t c) {
    if (groups.full()) out.put(separator);
    out.put(c);
    groups.count();
  };
  for (size_t i = parts.whole.size(); i > 0; --i) digit(digits.whole(i - 1));
  if (digits.carry())
    digit(u'1');
  else if (parts.whole.empty() && format.LeadingZero)
    digit(u'0');
}

void writeNumber(Backwards& out, const Parts& parts, const NUMBERFMTW& format) {
  constexpr std::u16string_view kBehind[] = {u")", u"", u"", u"-", u" -"};
  constexpr std::u16string_view kBefore[] = {u"(", u"-", u"- ", u"", u""};
  if (parts.negative) out.put(kBehind[format.NegativeOrder]);
  Digits digits(parts, format.NumDigits);
  for (size_t i = format.NumDigits; i > 0; --i) out.put(digits.fraction(i - 1));
  if (format.NumDigits) out.put(std::u16string_view(format.lpDecimalSep));
  writeWhole(out, digits, parts, format);
  if (parts.negative) out.put(kBefore[format.NegativeOrder]);
}

int fail(DWORD error) {
  SetLastError(error);
  return 0;
}

bool isValid(const NUMBERFMTW& format) {
  return format.NumDigits <= 9 && format.LeadingZero <= 1 && format.Grouping <= 9999 &&
         format.NegativeOrder <= 4 && format.lpDecimalSep && format.lpThousandSep;
}

int formatNumber(const WCHAR* value, const NUMBERFMTW& format, LPWSTR text, int capacity) {
  Parts parts;
  if (!value || capacity < 0 || (capacity > 0 && !text) || !isValid(format) || !parse(value, parts))
    return fail(ERROR_INVALID_PARAMETER);
  Backwards out(text, static_cast<size_t>(capacity));
  out.put(u'\0');
  writeNumber(out, parts, format);
  if (capacity == 0) return static_cast<int>(out.count());
  if (out.count() > static_cast<size_t>(capacity)) {
    text[0] = u'\0';
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memmove(text, text + (static_cast<size_t>(capacity) - out.count()), out.count() * sizeof(WCHAR));
  return static_cast<int>(out.count());
}

// "3;2;0" as the number 32, "3;0" as 3, "3" as 30: only a closing 0 repeats the last group.
UINT groupingNumber(const WCHAR* text) {
  UINT value = 0;
  bool repeats = false;
  for (; *text; ++text) {
    if (*text < u'0' || *text > u'9') continue;
    repeats = *text == u'0';
    if (!repeats) value = value * 10 + (*text - u'0');
  }
  return repeats ? value : value * 10;
}

UINT numberFact(LCID locale, LCTYPE type) {
  DWORD value = 0;
  GetLocaleInfoW(locale, type | LOCALE_RETURN_NUMBER, reinterpret_cast<LPWSTR>(&value), 2);
  return value;
}

int formatByLocale(LCID locale, const WCHAR* value, LPWSTR text, int capacity) {
  WCHAR decimal[kMaxSeparator], thousand[kMaxSeparator], grouping[kMaxSeparator];
  if (!GetLocaleInfoW(locale, LOCALE_SDECIMAL, decimal, kMaxSeparator)) return 0;
  GetLocaleInfoW(locale, LOCALE_STHOUSAND, thousand, kMaxSeparator);
  GetLocaleInfoW(locale, LOCALE_SGROUPING, grouping, kMaxSeparator);
  const NUMBERFMTW format = {numberFact(locale, LOCALE_IDIGITS),
                             numberFact(locale, LOCALE_ILZERO),
                             groupingNumber(grouping),
                             decimal,
                             thousand,
                             numberFact(locale, LOCALE_INEGNUMBER)};
  return formatNumber(value, format, text, capacity);
}

}  // namespace
}  // namespace qv

int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR text,
                     int capacity) {
  if (!format) return qv::formatByLocale(locale, value, text, capacity);
  if (flags) return qv::fail(ERROR_INVALID_FLAGS);
  return qv::formatNumber(value, *format, text, capacity);
}

int GetNumberFormatEx(LPCWSTR localeName, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR text,
                      int capacity) {
  const LCID locale = qv::lcidOfLocaleName(localeName);
  if (!locale) return qv::fail(ERROR_INVALID_PARAMETER);
  return GetNumberFormatW(locale, flags, value, format, text, capacity);
}
