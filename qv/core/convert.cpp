// Numbers to text.
#include "qv/core/convert.h"

#include <algorithm>
#include <cmath>

#include "qv/core/detail/number_text.h"
#include "qv/core/detail/render.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

// Room that every integer fits in, however the locale groups it.
constexpr uint32_t kEnough = 0x7fffffff;

constexpr uint64_t kPowers[] = {10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
constexpr int32_t kMaxPlaces = sizeof kPowers / sizeof *kPowers;
// Beyond this a double has no fraction, and its digits no longer fit an integer.
constexpr double kLargest = 9007199254740992.0;

int32_t finish(TextSink& out, bool fitted) {
  const uint32_t length = out.terminate();
  return fitted ? static_cast<int32_t>(length) : 0;
}

int32_t integerToText(bool negative, uint64_t magnitude, WCHAR* destination, uint32_t capacity,
                      int32_t grouped) {
  if (capacity <= 1) return 0;
  TextSink out(destination, capacity - 1);
  return finish(out, putInteger(out, negative, magnitude, grouped != 0));
}

int32_t signedToText(int64_t value, WCHAR* destination, uint32_t capacity, int32_t grouped) {
  const uint64_t bits = static_cast<uint64_t>(value);
  return integerToText(value < 0, value < 0 ? 0 - bits : bits, destination, capacity, grouped);
}

// Whole part and fraction apart, so that a large number keeps every digit.
bool putSplit(TextSink& out, double magnitude, int32_t places) {
  uint64_t whole = static_cast<uint64_t>(magnitude);
  uint64_t fraction = 0;
  if (places > 0) {
    const uint64_t power = kPowers[places - 1];
    const double rest = magnitude - static_cast<double>(whole);
    fraction = (static_cast<uint64_t>(rest * static_cast<double>(power * 10)) + 5) / 10;
    if (fraction >= power) {
      fraction -= power;
      ++whole;
    }
  } else if (magnitude - static_cast<double>(whole) >= 0.5) {
    ++whole;
  }
  Specification spec;
  spec.terminator = TEXT('u');
  bool fits = renderInteger(out, spec, false, whole);
  if (places <= 0) return fits;
  spec.precision = places;
  fits &= out.put(TEXT('.'));
  return fits & renderInteger(out, spec, false, fraction);
}

bool isAllZero(const TextSink& text) {
  return std::all_of(text.text(), text.text() + text.length(),
                     [](WCHAR c) { return c == TEXT('0') || c == TEXT('.'); });
}

bool putDouble(TextSink& out, double value, int32_t places, bool grouped) {
  ScratchText<kScratchCapacity + 64> digits;
  const double magnitude = std::fabs(value);
  if (magnitude < kLargest) {
    putSplit(digits.sink, magnitude, places);
  } else {
    Specification spec;
    spec.terminator = TEXT('f');
    spec.precision = places;
    renderDouble(digits.sink, spec, magnitude);
  }
  bool fits = !digits.sink.wasCut();
  if (std::signbit(value) && !isAllZero(digits.sink)) fits &= out.put(TEXT('-'));
  if (!grouped) return fits & out.put(digits.sink.text(), digits.sink.length());
  return fits &
         putNumber(out, digits.sink.text(), digits.sink.length(), NumberForm::groupDecimal, kPlacesOfText);
}

int32_t formatTo(const WCHAR* text, WCHAR* destination, uint32_t capacity, NumberForm form, int32_t places) {
  if (capacity == 0) return 0;
  TextSink out(destination, capacity - 1);
  return finish(out, putNumber(out, text, wcslen(text), form, places));
}

}  // namespace
}  // namespace qv

int32_t QvDWordToText(uint32_t value, WCHAR* destination, int32_t grouped) {
  return qv::integerToText(false, value, destination, qv::kEnough, grouped);
}
int32_t QvLongToText(int32_t value, WCHAR* destination, int32_t grouped) {
  return qv::signedToText(value, destination, qv::kEnough, grouped);
}
int32_t QvDWordLongToText(uint64_t value, WCHAR* destination, int32_t grouped) {
  return qv::integerToText(false, value, destination, qv::kEnough, grouped);
}
int32_t QvLongLongToText(int64_t value, WCHAR* destination, int32_t grouped) {
  return qv::signedToText(value, destination, qv::kEnough, grouped);
}

int32_t QvDWordToTextN(uint32_t value, WCHAR* destination, uint32_t capacity, int32_t grouped) {
  return qv::integerToText(false, value, destination, capacity, grouped);
}
int32_t QvLongToTextN(int32_t value, WCHAR* destination, uint32_t capacity, int32_t grouped) {
  return qv::signedToText(value, destination, capacity, grouped);
}
int32_t QvDWordLongToTextN(uint64_t value, WCHAR* destination, uint32_t capacity, int32_t grouped) {
  return qv::integerToText(false, value, destination, capacity, grouped);
}
int32_t QvLongLongToTextN(int64_t value, WCHAR* destination, uint32_t capacity, int32_t grouped) {
  return qv::signedToText(value, destination, capacity, grouped);
}

int32_t QvDoubleToText(WCHAR* destination, double value, int32_t places, int32_t grouped) {
  return QvDoubleToTextN(destination, qv::kEnough, value, places, grouped);
}

int32_t QvDoubleToTextN(WCHAR* destination, uint32_t capacity, double value, int32_t places,
                        int32_t grouped) {
  if (capacity <= 1) return 0;
  qv::TextSink out(destination, capacity - 1);
  return qv::finish(out, qv::putDouble(out, value, std::clamp(places, 0, qv::kMaxPlaces), grouped != 0));
}

int32_t QvFormatNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity) {
  return qv::formatTo(text, destination, capacity, qv::NumberForm::whole, 0);
}
int32_t QvFormatDecimalNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity) {
  return qv::formatTo(text, destination, capacity, qv::NumberForm::decimal, qv::kPlacesOfText);
}
int32_t QvFormatGroupDecimalNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity, int32_t places) {
  return qv::formatTo(text, destination, capacity, qv::NumberForm::groupDecimal, places);
}
