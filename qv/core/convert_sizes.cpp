// Levels and sizes.
#include <algorithm>
#include <cmath>

#include "qv/core/convert.h"
#include "qv/core/detail/language_text.h"
#include "qv/core/printf.h"
#include "qv/core/printf_window.h"
#include "qv/lang/international.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

// ---- Levels

constexpr uint32_t kLabelledCapacity = 24;
constexpr int32_t kMaxPlaces = 9;

// "$.3z" for three places, "$d" for none.
struct LevelPattern {
  WCHAR text[5];
  LevelPattern(int32_t places, WCHAR terminator) : text{TEXT('$'), TEXT('d'), 0, 0, 0} {
    if (places < 1) return;
    text[1] = TEXT('.');
    text[2] = static_cast<WCHAR>(TEXT('0') + std::min(places, kMaxPlaces));
    text[3] = terminator;
  }
};

const WCHAR* withLabel(WCHAR* text, uint32_t length, const WCHAR* label) {
  if (label && length + wcslen(label) < kLabelledCapacity)
    std::copy(label, label + wcslen(label) + 1, text + length);
  return text;
}

template <typename Value>
const WCHAR* labelled(Value value, const LevelPattern& pattern, const WCHAR* label) {
  WCHAR* text = temporaryText(kLabelledCapacity);
  if (!text) return languageText(LanguageText::error);
  uint32_t length = 0;
  QvCchPrintF(text, kLabelledCapacity, &length, pattern.text, value);
  return withLabel(text, length, label);
}

int32_t truncated(float value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483648.0f) return INT32_MAX;
  return value <= -2147483648.0f ? INT32_MIN : static_cast<int32_t>(value);
}

const WCHAR* decibelLabel(int32_t wanted) {
  return wanted ? languageText(LanguageText::decibels) : nullptr;
}

// ---- File sizes

struct SizeRow {
  int64_t below;
  double divisor;
  LanguageText unit;
};

// Units change at 999 of the smaller one, so that three digits always do.
constexpr SizeRow kSizeRows[] = {
    {0xf9c00, 0x1p10, LanguageText::sizeKB},           {0x3e700000, 0x1p20, LanguageText::sizeMB},
    {0xf9c0000000, 0x1p30, LanguageText::sizeGB},      {0x3e70000000000, 0x1p40, LanguageText::sizeTB},
    {0xf9c000000000000, 0x1p50, LanguageText::sizePB}, {0x7000000000000000, 0x1p60, LanguageText::sizeEB},
};

// Down to a whole number, forgiving a value that lies a hair under one.
double floorish(double value) {
  return std::nearbyint(value - 0.499999985);
}

double cutTo(double value, double unit) {
  return std::trunc(value * unit + 0.01) / unit;
}

constexpr uint32_t kNumberCapacity = 32;

void putSizeNumber(WCHAR* text, double value) {
  if (value < 100) {
    QvCchPrintF(text, kNumberCapacity, nullptr, TEXT("$.4g"), cutTo(value, value >= 10 ? 10 : 100));
    return;
  }
  QvCchPrintF(text, kNumberCapacity, nullptr, TEXT("$.0f"), floorish(value));
  if (text[3] == internationals().decimalSeparator.text[0]) text[3] = 0;
}

int32_t composeSize(WCHAR* destination, uint32_t capacity, LanguageText unit, const WCHAR* number) {
  return static_cast<int32_t>(QvComposeStr(destination, capacity, languageText(unit), number));
}

// ---- Byte sizes

struct ByteUnit {
  uint64_t below;
  double divisor;
  const WCHAR* pattern;
  const WCHAR* spacedPattern;
};
constexpr ByteUnit kByteUnits[] = {
    {0xfa000, 1024.0, TEXT("$.2fKB"), TEXT("$.2f KB")},
    {0x3d090000, 1024000.0, TEXT("$.2fMB"), TEXT("$.2f MB")},
    {UINT64_MAX, 1024000000.0, TEXT("$.2fGB"), TEXT("$.2f GB")},
};
constexpr uint32_t kByteTextCapacity = 64;

int32_t byteSizeText(uint64_t size, WCHAR* destination, const WCHAR* bytes, bool spaced) {
  uint32_t length = 0;
  if (size < 1024) {
    QvCchPrintF(destination, kByteTextCapacity, &length, bytes, static_cast<int32_t>(size));
    return static_cast<int32_t>(length);
  }
  const ByteUnit* unit = kByteUnits;
  while (size >= unit->below && unit->below != UINT64_MAX) ++unit;
  const double value = std::max(static_cast<double>(size) / unit->divisor, 0.01);
  QvCchPrintF(destination, kByteTextCapacity, &length, spaced ? unit->spacedPattern : unit->pattern, value);
  return static_cast<int32_t>(length);
}

}  // namespace
}  // namespace qv

const WCHAR* QvGetLabeledStringFixed(int32_t value, int32_t places, int32_t floor, const WCHAR* label) {
  if (floor != 0 && value <= floor) return qv::languageText(qv::LanguageText::minusInfinity);
  return qv::labelled(value, qv::LevelPattern(places, TEXT('z')), label);
}

const WCHAR* QvGetLabeledStringFloat(float value, int32_t places, float floor, const WCHAR* label) {
  if (floor != 0 && floor >= value) return qv::languageText(qv::LanguageText::minusInfinity);
  const qv::LevelPattern pattern(places, TEXT('f'));
  if (places < 1) return qv::labelled(qv::truncated(value), pattern, label);
  return qv::labelled(static_cast<double>(value), pattern, label);
}

const WCHAR* QvGetdBStringFixed(int32_t value, int32_t places, int32_t floor, int32_t labelled) {
  return QvGetLabeledStringFixed(value, places, floor, qv::decibelLabel(labelled));
}

const WCHAR* QvGetdBStringFloat(float value, int32_t places, float floor, int32_t labelled) {
  return QvGetLabeledStringFloat(value, places, floor, qv::decibelLabel(labelled));
}

int32_t QvFormatFileSize(int64_t size, WCHAR* destination, uint32_t capacity, int32_t longForm) {
  using qv::LanguageText;
  WCHAR number[qv::kNumberCapacity];
  size = std::max<int64_t>(size, 0);
  if (size < 999) {
    QvCchPrintF(number, qv::kNumberCapacity, nullptr, TEXT("%d"), static_cast<int32_t>(size));
    return qv::composeSize(destination, capacity, longForm ? LanguageText::sizeBytes : LanguageText::sizeB,
                           number);
  }
  for (const qv::SizeRow& row : qv::kSizeRows) {
    if (size >= row.below) continue;
    qv::putSizeNumber(number, static_cast<double>(size) / row.divisor);
    return qv::composeSize(destination, capacity, row.unit, number);
  }
  return qv::composeSize(destination, capacity, LanguageText::sizeBeyond, number);
}

int32_t QvGetByteSizeText(uint64_t size, WCHAR* destination) {
  return qv::byteSizeText(size, destination, TEXT("%d"), false);
}
int32_t QvGetByteSizeText2(uint64_t size, WCHAR* destination) {
  return qv::byteSizeText(size, destination, TEXT("%d bytes"), true);
}
int32_t QvGetByteSizeTextWithSpace(uint64_t size, WCHAR* destination) {
  return qv::byteSizeText(size, destination, TEXT("%d"), true);
}
