// International data: how the user's locale writes numbers, names and time, read once at start-up.
//
//   WCHAR point[8];
//   int32_t length = QvGetInatN(kInatDecimalSeparator, point, 8);   // "," in Germany
//
// The record is plain data and stands below the formatter, which asks it for separators. It holds English
// (United States) values until QvLang_GetInternationals(nullptr, 0) loads the locale's. Reading is free of
// locks: the record changes at start-up only.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"

// A text field of the record: NUL-terminated, and its length without the NUL.
template <size_t Capacity>
struct QVINATTEXT {
  WCHAR text[Capacity];
  uint32_t length;
};

struct QVINTERNATIONALS {
  uint32_t size;
  uint32_t lcid;  // the system's default locale; everything else is the user's
  uint32_t languageNumber;
  QVINATTEXT<64> languageName;
  QVINATTEXT<64> englishLanguageName;
  uint32_t countryNumber;
  QVINATTEXT<64> countryName;
  QVINATTEXT<64> englishCountryName;
  QVINATTEXT<8> negativeSign;
  QVINATTEXT<8> positiveSign;  // "-", as it always was
  QVINATTEXT<8> thousandSeparator;
  QVINATTEXT<8> decimalSeparator;  // never equal to the thousand separator
  uint32_t grouping;
  uint32_t digits;
  uint32_t leadingZero;
  QVINATTEXT<8> timeSeparator;
  QVINATTEXT<8> listSeparator;
  uint32_t measure;
  QVINATTEXT<8> timecodeWholeSeparator;
  QVINATTEXT<8> timecodeNonDropSeparator;
  QVINATTEXT<8> timecodeDropSeparator;
  QVINATTEXT<4> languageId;
  QVINATTEXT<8> musicalMeasureSeparator;
  QVINATTEXT<8> musicalBeatSeparator;
  uint32_t reserved;
};
static_assert(sizeof(QVINTERNATIONALS) == 796);
static_assert(offsetof(QVINTERNATIONALS, languageName) == 12);
static_assert(offsetof(QVINTERNATIONALS, countryNumber) == 276);
static_assert(offsetof(QVINTERNATIONALS, negativeSign) == 544);
static_assert(offsetof(QVINTERNATIONALS, grouping) == 624);
static_assert(offsetof(QVINTERNATIONALS, measure) == 676);
static_assert(offsetof(QVINTERNATIONALS, languageId) == 740);
static_assert(offsetof(QVINTERNATIONALS, musicalBeatSeparator) == 772);

// Indices of QvGetInat.
inline constexpr uint32_t kInatLcid = 0;
inline constexpr uint32_t kInatLanguageNumber = 1;
inline constexpr uint32_t kInatLanguageName = 2;
inline constexpr uint32_t kInatEnglishLanguageName = 3;
inline constexpr uint32_t kInatCountryNumber = 4;
inline constexpr uint32_t kInatDecimalSeparator = 24;
inline constexpr uint32_t kInatListSeparator = 40;
inline constexpr uint32_t kInatTimeSeparator = 60;
inline constexpr uint32_t kInatTimecodeWhole = 100;
inline constexpr uint32_t kInatTimecodeNonDrop = 101;
inline constexpr uint32_t kInatTimecodeDrop = 102;
inline constexpr uint32_t kInatMusicalMeasure = 120;
inline constexpr uint32_t kInatMusicalBeat = 121;

// One fact of the record.
//   index  a kInat value; any other gives 0 and an empty text
//   text   receives a text fact, up to 64 characters with the NUL; cleared first. Null only for a number.
// Gives the number, or the text's length. Any thread.
QV_API uint32_t QvGetInat(uint32_t index, WCHAR* text);

// The same into at most `capacity` characters with the NUL; a capacity of 0 copies nothing and gives
// 0xffffffff for a text fact. Gives the copied length for a text.
QV_API uint32_t QvGetInatN(uint32_t index, WCHAR* text, uint32_t capacity);

// Loads or hands out the record.
//   record  null: reads the user's locale anew, and defines the tokens of the timecode and musical separators
//           and their labels in the kernel's language. Otherwise receives min(size, 796) bytes, the first
//           field (if there) saying how many; the caller owns it.
//   size    bytes of `record`
// Gives 0. Loading belongs to start-up: no other thread may be formatting. Copying: any thread.
QV_API HRESULT QvLang_GetInternationals(QVINTERNATIONALS* record, uint32_t size);

// Puts the three-letter language id of the record in force.
//   text  up to 3 characters of it are taken; null or empty: "ENU"
// Gives 0. Belongs to start-up, as loading does.
QV_API HRESULT QvSetLangID(const WCHAR* text);

namespace qv {

// The record in force.
const QVINTERNATIONALS& internationals();

// Puts a record in force, as tests of other locales do; start-up's rule about other threads applies.
void setInternationals(const QVINTERNATIONALS& record);

// The record of a locale: the number and name facts of `locale`, the separators that never change, "ENU" as
// language id. A decimal separator that can't be told from the thousand separator is replaced.
QVINTERNATIONALS readInternationals(LCID locale);

// Copies min(size, 796) bytes of the record in force.
void copyInternationals(QVINTERNATIONALS* record, uint32_t size);

}  // namespace qv
