// What the text tests share: formatted text as a string, and a locale in force for a while.
#pragma once

#include <string>

#include "qv/core/printf.h"
#include "qv/lang/international.h"

namespace qvtest {

using Text = std::basic_string<WCHAR>;

template <typename... Arguments>
Text printed(const WCHAR* format, Arguments... arguments) {
  WCHAR text[1024];
  QvCchPrintF(text, 1024, nullptr, format, arguments...);
  return text;
}

// Widens 8-bit text for comparison.
inline Text wide(const std::string& text) {
  return Text(text.begin(), text.end());
}

template <size_t N>
void set(QVINATTEXT<N>& field, const WCHAR* text) {
  field = {};
  for (; text[field.length]; ++field.length) field.text[field.length] = text[field.length];
}

// Separators as Windows documents them for a locale; the record in force comes back at the end.
class LocaleInForce {
 public:
  LocaleInForce(const WCHAR* thousand, const WCHAR* decimal, uint32_t grouping = 3,
                const WCHAR* negative = TEXT("-"))
      : before_(qv::internationals()) {
    QVINTERNATIONALS record = before_;
    set(record.thousandSeparator, thousand);
    set(record.decimalSeparator, decimal);
    set(record.negativeSign, negative);
    record.grouping = grouping;
    qv::setInternationals(record);
  }
  ~LocaleInForce() { qv::setInternationals(before_); }
  LocaleInForce(const LocaleInForce&) = delete;
  LocaleInForce& operator=(const LocaleInForce&) = delete;

 private:
  QVINTERNATIONALS before_;
};

}  // namespace qvtest
