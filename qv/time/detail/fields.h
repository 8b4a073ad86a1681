// The numbers of a text that has anything between them: "01:02:03.5", "1.1.000", "2+10".
#pragma once

#include "qv/platform/base.h"

namespace qv::time {

inline constexpr uint32_t kMaxFields = 4;

struct Field {
  int32_t value = 0;
  uint32_t thousandths = 0;  // the digits as a fraction, cut behind the third
};

struct Fields {
  Field fields[kMaxFields];
  uint32_t count = 0;
  bool separated = false;      // something stood before the last number, or behind it
  const WCHAR* end = nullptr;  // the text's end, or behind the last number that was taken

  // From the right: 0 is the last field; a short text has zeros in front.
  int64_t fromRight(uint32_t index) const { return index < count ? fields[count - 1 - index].value : 0; }
  int64_t fromLeft(uint32_t index) const { return index < count ? fields[index].value : 0; }
};

// Whether the first number may have been written with the locale's group separator. That looks like a
// separator of fields, so it counts only where there are more numbers than fields.
enum class FirstField { plain, grouped };

// Takes up to `wanted` numbers; what a field can't hold becomes its limit. A separator behind the last
// number, blanks apart, stands for a number of zero.
Fields readFields(const WCHAR* text, uint32_t wanted, FirstField first = FirstField::plain);

}  // namespace qv::time
