// The locale's way of writing a number that stands as text.
#pragma once

#include "qv/core/detail/text_sink.h"

namespace qv {

// Which of the locale's rules a number takes.
enum class NumberForm {
  whole,         // grouped, rounded to no places
  decimal,       // the locale's point, not grouped
  groupDecimal,  // both
};

inline constexpr int32_t kPlacesOfText = -1;

// Copies what stands before the number, writes the number in the locale's form and copies what follows.
// A text without a number is copied as it is. `places`: kPlacesOfText, or rounded half away from zero to so
// many (ignored for `whole`). Answers whether everything fitted.
bool putNumber(TextSink& out, const WCHAR* text, size_t length, NumberForm form, int32_t places);

// The digits of an integer, grouped or plain.
bool putInteger(TextSink& out, bool negative, uint64_t magnitude, bool grouped);

}  // namespace qv
