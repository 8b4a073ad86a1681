#include "qv/lang/international.h"

#include <algorithm>
#include <cstring>

#include "qv/platform/locale.h"

namespace qv {
namespace {

template <size_t N>
constexpr QVINATTEXT<N> fixedText(const WCHAR* text) {
  QVINATTEXT<N> field{};
  for (; text[field.length]; ++field.length) field.text[field.length] = text[field.length];
  return field;
}

// The facts that no locale changes.
constexpr QVINTERNATIONALS fixedFacts() {
  QVINTERNATIONALS record{};
  record.size = sizeof(QVINTERNATIONALS);
  record.positiveSign = fixedText<8>(TEXT("-"));
  record.timecodeWholeSeparator = fixedText<8>(TEXT(":"));
  record.timecodeNonDropSeparator = fixedText<8>(TEXT("."));
  record.timecodeDropSeparator = fixedText<8>(TEXT(","));
  record.languageId = fixedText<4>(TEXT("ENU"));
  record.musicalMeasureSeparator = fixedText<8>(TEXT("."));
  record.musicalBeatSeparator = fixedText<8>(TEXT("."));
  return record;
}

// What is in force before the locale was read, so that text made early is sane.
constexpr QVINTERNATIONALS englishFacts() {
  QVINTERNATIONALS record = fixedFacts();
  record.lcid = 0x0409;
  record.languageNumber = 409;
  record.languageName = fixedText<64>(TEXT("English (United States)"));
  record.englishLanguageName = fixedText<64>(TEXT("English"));
  record.countryNumber = 1;
  record.countryName = fixedText<64>(TEXT("United States"));
  record.englishCountryName = fixedText<64>(TEXT("United States"));
  record.negativeSign = fixedText<8>(TEXT("-"));
  record.thousandSeparator = fixedText<8>(TEXT(","));
  record.decimalSeparator = fixedText<8>(TEXT("."));
  record.grouping = 3;
  record.digits = 2;
  record.leadingZero = 1;
  record.timeSeparator = fixedText<8>(TEXT(":"));
  record.listSeparator = fixedText<8>(TEXT(","));
  record.measure = 1;
  return record;
}

constinit QVINTERNATIONALS inForce = englishFacts();

template <size_t N>
void readText(LCID locale, LCTYPE type, QVINATTEXT<N>& field) {
  const int count = GetLocaleInfoW(locale, type, field.text, static_cast<int>(N));
  field.length = count > 0 ? static_cast<uint32_t>(count - 1) : 0;
}

// The leading decimal number of a text fact: "3;0" is 3.
uint32_t readNumber(LCID locale, LCTYPE type) {
  WCHAR text[32] = {};
  GetLocaleInfoW(locale, type, text, 32);
  uint32_t value = 0;
  for (const WCHAR* c = text; *c >= TEXT('0') && *c <= TEXT('9'); ++c)
    value = value * 10 + static_cast<uint32_t>(*c - TEXT('0'));
  return value;
}

void tellSeparatorsApart(QVINTERNATIONALS& record) {
  const auto& thousand = record.thousandSeparator;
  if (std::memcmp(thousand.text, record.decimalSeparator.text, thousand.length * sizeof(WCHAR)) != 0) return;
  record.decimalSeparator = fixedText<8>(thousand.text[0] == TEXT('.') ? TEXT(",") : TEXT("."));
}

// One row an index: where the fact stands, and how many characters it can hold (0: a number).
struct Fact {
  uint32_t index;
  uint32_t offset;
  uint32_t characters;
};

#define QV_NUMBER(index, field) \
  { index, offsetof(QVINTERNATIONALS, field), 0 }
#define QV_TEXT(index, field) \
  { index, offsetof(QVINTERNATIONALS, field), sizeof(QVINTERNATIONALS::field.text) / sizeof(WCHAR) }
constexpr Fact kFacts[] = {
    QV_NUMBER(kInatLcid, lcid),
    QV_NUMBER(kInatLanguageNumber, languageNumber),
    QV_TEXT(kInatLanguageName, languageName),
    QV_TEXT(kInatEnglishLanguageName, englishLanguageName),
    QV_NUMBER(kInatCountryNumber, countryNumber),
    QV_TEXT(kInatDecimalSeparator, decimalSeparator),
    QV_TEXT(kInatListSeparator, listSeparator),
    QV_TEXT(kInatTimeSeparator, timeSeparator),
    QV_TEXT(kInatTimecodeWhole, timecodeWholeSeparator),
    QV_TEXT(kInatTimecodeNonDrop, timecodeNonDropSeparator),
    QV_TEXT(kInatTimecodeDrop, timecodeDropSeparator),
    QV_TEXT(kInatMusicalMeasure, musicalMeasureSeparator),
    QV_TEXT(kInatMusicalBeat, musicalBeatSeparator),
};
#undef QV_TEXT
#undef QV_NUMBER

const Fact* findFact(uint32_t index) {
  for (const Fact& fact : kFacts)
    if (fact.index == index) return &fact;
  return nullptr;
}

const char* placeOf(const Fact& fact) {
  return reinterpret_cast<const char*>(&inForce) + fact.offset;
}

uint32_t numberAt(const char* place) {
  uint32_t value;
  std::memcpy(&value, place, sizeof value);
  return value;
}

uint32_t lengthOf(const Fact& fact) {
  return numberAt(placeOf(fact) + fact.characters * sizeof(WCHAR));
}

}  // namespace

const QVINTERNATIONALS& internationals() {
  return inForce;
}

void setInternationals(const QVINTERNATIONALS& record) {
  inForce = record;
}

QVINTERNATIONALS readInternationals(LCID locale) {
  QVINTERNATIONALS record = fixedFacts();
  record.lcid = GetSystemDefaultLCID();
  record.languageNumber = readNumber(locale, LOCALE_ILANGUAGE);
  readText(locale, LOCALE_SLANGUAGE, record.languageName);
  readText(locale, LOCALE_SENGLANGUAGE, record.englishLanguageName);
  record.countryNumber = readNumber(locale, LOCALE_ICOUNTRY);
  readText(locale, LOCALE_SCOUNTRY, record.countryName);
  readText(locale, LOCALE_SENGCOUNTRY, record.englishCountryName);
  readText(locale, LOCALE_SNEGATIVESIGN, record.negativeSign);
  readText(locale, LOCALE_STHOUSAND, record.thousandSeparator);
  readText(locale, LOCALE_SDECIMAL, record.decimalSeparator);
  record.grouping = readNumber(locale, LOCALE_SGROUPING);
  record.digits = readNumber(locale, LOCALE_IDIGITS);
  record.leadingZero = readNumber(locale, LOCALE_ILZERO);
  readText(locale, LOCALE_STIME, record.timeSeparator);
  readText(locale, LOCALE_SLIST, record.listSeparator);
  record.measure = readNumber(locale, LOCALE_IMEASURE);
  tellSeparatorsApart(record);
  return record;
}

void copyInternationals(QVINTERNATIONALS* record, uint32_t size) {
  const uint32_t bytes = std::min<uint32_t>(size, sizeof(QVINTERNATIONALS));
  std::memcpy(record, &inForce, bytes);
  if (bytes >= sizeof record->size) record->size = bytes;
}

}  // namespace qv

uint32_t QvGetInat(uint32_t index, WCHAR* text) {
  if (text) text[0] = 0;
  const qv::Fact* fact = qv::findFact(index);
  if (!fact) return 0;
  if (!fact->characters) return qv::numberAt(qv::placeOf(*fact));
  const uint32_t length = qv::lengthOf(*fact);
  std::memcpy(text, qv::placeOf(*fact), (length + 1) * sizeof(WCHAR));
  return length;
}

uint32_t QvGetInatN(uint32_t index, WCHAR* text, uint32_t capacity) {
  if (text && capacity) text[0] = 0;
  const qv::Fact* fact = index <= kInatMusicalBeat ? qv::findFact(index) : nullptr;
  if (!fact) return 0;
  if (!fact->characters) return qv::numberAt(qv::placeOf(*fact));
  if (!capacity || !text) return 0xffffffffu;
  const uint32_t length = std::min(qv::lengthOf(*fact), capacity - 1);
  std::memcpy(text, qv::placeOf(*fact), length * sizeof(WCHAR));
  text[length] = 0;
  return length;
}

HRESULT QvSetLangID(const WCHAR* text) {
  auto& id = qv::inForce.languageId;
  const WCHAR* source = text && *text ? text : TEXT("ENU");
  id.length = 0;
  while (id.length < 3 && source[id.length]) {
    id.text[id.length] = source[id.length];
    ++id.length;
  }
  id.text[id.length] = 0;
  return 0;
}
