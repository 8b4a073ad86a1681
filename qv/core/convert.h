// Conversions between values and text: numbers, colours, levels, sizes, names, GUIDs.
//
//   WCHAR text[32];
//   QvLongToTextN(1234567, text, 32, 1);                        // "1,234,567", "1.234.567" in German
//   const WCHAR* end = nullptr;
//   int32_t value = QvTextToLongToken(text, &end);              // 1234567 again
//   int32_t percent = QvTextToLongTokenEx(TEXT("x"), 50, 0, 100, &end);   // 50: the text is no number
//
// Grouping and decimal point come from the international record. Parsers read one number at the front of a
// text and give back where they stopped; their Ex forms use a default for a text that is no number, and hold
// the value within a range. "Capacity" counts characters with the terminator; a text that doesn't fit is cut,
// terminated and never ends in half a surrogate pair. All of these may be called from any thread.
#pragma once

#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"

// ---- Numbers to text
// ---------------------------------------------------------------------------------------

// An integer's digits, "-" in front of a negative one, grouped the locale's way if `grouped` is not 0.
// `destination` has room for the whole text (80 characters always do). Gives the length.
QV_API int32_t QvDWordToText(uint32_t value, WCHAR* destination, int32_t grouped);
QV_API int32_t QvLongToText(int32_t value, WCHAR* destination, int32_t grouped);
QV_API int32_t QvDWordLongToText(uint64_t value, WCHAR* destination, int32_t grouped);
QV_API int32_t QvLongLongToText(int64_t value, WCHAR* destination, int32_t grouped);

// The same into `capacity` characters. 0 when it didn't fit; a capacity of 0 or 1 gives 0 and writes nothing.
QV_API int32_t QvDWordToTextN(uint32_t value, WCHAR* destination, uint32_t capacity, int32_t grouped);
QV_API int32_t QvLongToTextN(int32_t value, WCHAR* destination, uint32_t capacity, int32_t grouped);
QV_API int32_t QvDWordLongToTextN(uint64_t value, WCHAR* destination, uint32_t capacity, int32_t grouped);
QV_API int32_t QvLongLongToTextN(int64_t value, WCHAR* destination, uint32_t capacity, int32_t grouped);

// A number with `places` decimals (held to 0..8), half of the last place added before cutting; with `grouped`
// the locale's way, else with ".". Gives the length; the N form 0 when it didn't fit. The unbounded form's
// `destination` has room for the number (the largest has 309 digits before the point).
QV_API int32_t QvDoubleToText(WCHAR* destination, double value, int32_t places, int32_t grouped);
QV_API int32_t QvDoubleToTextN(WCHAR* destination, uint32_t capacity, double value, int32_t places,
                               int32_t grouped);

// A machine-neutral number that stands as text, written the locale's way: what stands before it is copied,
// then the number, "-" in front of a negative one whatever the locale says.
//   QvFormatNumber              grouped, rounded to a whole number, half away from zero
//   QvFormatDecimalNumber       the locale's point, not grouped, the text's decimals
//   QvFormatGroupDecimalNumber  both; `places` decimals, or -1 for the text's
// Text that holds no number is copied. Gives the length with what stands before, 0 when it didn't fit.
QV_API int32_t QvFormatNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity);
QV_API int32_t QvFormatDecimalNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity);
QV_API int32_t QvFormatGroupDecimalNumber(const WCHAR* text, WCHAR* destination, uint32_t capacity,
                                          int32_t places);

// ---- Text to numbers
// ---------------------------------------------------------------------------------------

// One number as the locale writes it: white space and group separators are passed over, a fraction is read
// and dropped, what the type can't hold becomes its limit. `end` (may be null) receives the place behind the
// number. A text without a number gives 0.
QV_API uint32_t QvTextToDWordToken(const WCHAR* text, const WCHAR** end);
QV_API uint64_t QvTextToDWordLongToken(const WCHAR* text, const WCHAR** end);
QV_API int32_t QvTextToLongToken(const WCHAR* text, const WCHAR** end);
QV_API int64_t QvTextToLongLongToken(const WCHAR* text, const WCHAR** end);

// White space, an optional "0x", hexadecimal digits.
QV_API uint32_t QvHexToDWordToken(const WCHAR* text, const WCHAR** end);
QV_API uint64_t QvHexToDWordLongToken(const WCHAR* text, const WCHAR** end);

// A number with decimals; `locale` 0 reads "." as the point and drops ",", otherwise the locale's own.
QV_API double QvTextToDoubleToken(const WCHAR* text, const WCHAR** end, int32_t locale);

// The same with a default for text that is no number (the value is 0 and the text goes on, not with a blank,
// where reading stopped); the result is held between `low` and `high`, the default too.
QV_API uint32_t QvTextToDWordTokenEx(const WCHAR* text, uint32_t fallback, uint32_t low, uint32_t high,
                                     const WCHAR** end);
QV_API uint64_t QvTextToDWordLongTokenEx(const WCHAR* text, uint64_t fallback, uint64_t low, uint64_t high,
                                         const WCHAR** end);
QV_API int32_t QvTextToLongTokenEx(const WCHAR* text, int32_t fallback, int32_t low, int32_t high,
                                   const WCHAR** end);
QV_API int64_t QvTextToLongLongTokenEx(const WCHAR* text, int64_t fallback, int64_t low, int64_t high,
                                       const WCHAR** end);
QV_API uint32_t QvHexToDWordTokenEx(const WCHAR* text, uint32_t fallback, uint32_t low, uint32_t high,
                                    const WCHAR** end);
QV_API uint64_t QvHexToDWordLongTokenEx(const WCHAR* text, uint64_t fallback, uint64_t low, uint64_t high,
                                        const WCHAR** end);
QV_API double QvTextToDoubleTokenEx(const WCHAR* text, double fallback, double low, double high,
                                    const WCHAR** end, int32_t locale);

// ---- Colours and codes
// -------------------------------------------------------------------------------------

// What a colour text that can't be read gives.
inline constexpr COLORREF kUnreadableColor = 0xf000f0;

// "RGB(16, 32, 48)", "#102030" (red first), "0x302010" or a plain number (the COLORREF itself). A part above
// 255 gives 0; what can't be read gives kUnreadableColor.
QV_API COLORREF QvTextToColorrefToken(const WCHAR* text, const WCHAR** end);
QV_API COLORREF QvTextToColorref(const WCHAR* text);

// The styles of colour text.
inline constexpr int32_t kColorTextNumber = 0;  // 0x00302010
inline constexpr int32_t kColorTextHtml = 1;    // #102030
inline constexpr int32_t kColorTextRgb = 2;     // RGB(16,32,48)

// Gives the length, which also goes to `length` if that is not null. An unknown style counts as the number.
QV_API int32_t QvColorrefToText(WCHAR* destination, uint32_t capacity, COLORREF color, int32_t style);
QV_API int32_t QvColorrefToTextEx(WCHAR* destination, uint32_t capacity, uint32_t* length, COLORREF color,
                                  int32_t style);

// The four characters of a code, low byte first, "." for what doesn't print. `text` holds 5 characters.
QV_API void QvFourCCToString(uint32_t code, WCHAR* text);

// "3f2504e0-4f89-11d3-9a0c-0305e82c3301", no braces. Always 0.
QV_API HRESULT QvGuidToString(const GUID& guid, WCHAR* destination, uint32_t capacity);
// The reverse; 0x80004005 unless all eleven fields are there, and then `guid` holds what was read.
QV_API HRESULT QvGuidFromString(const WCHAR* text, GUID* guid);

// ---- Levels
// ------------------------------------------------------------------------------------------------

// A value with its label, as short-lived text of at most 23 characters: good until the kernel's ring wraps
// around, nobody frees it. `places` (held to 9) puts the point into a fixed value and sets the decimals of a
// float one; below 1 the value is whole. A `floor` that is not 0 and not below the value gives "-Inf." in the
// user's language. `label` may be null. Without a ring the text says "Err.".
QV_API const WCHAR* QvGetLabeledStringFixed(int32_t value, int32_t places, int32_t floor, const WCHAR* label);
QV_API const WCHAR* QvGetLabeledStringFloat(float value, int32_t places, float floor, const WCHAR* label);

// The same with the language's " dB" as the label if `labelled` is not 0.
QV_API const WCHAR* QvGetdBStringFixed(int32_t value, int32_t places, int32_t floor, int32_t labelled);
QV_API const WCHAR* QvGetdBStringFloat(float value, int32_t places, float floor, int32_t labelled);

// ---- Names
// -------------------------------------------------------------------------------------------------

// The display names of a stereo device's two channels: "Line 1/2" gives "Line 1" and "Line 2", "Main" gives
// "Main - Left" and "Main - Right". False, with nothing written, for a name that already speaks of sides.
// Names are taken up to 259 characters.
QV_API bool QvChannelizeStereoName(const WCHAR* name, WCHAR* left, uint32_t leftCapacity, WCHAR* right,
                                   uint32_t rightCapacity);

// Replaces one character by another in place. Gives the length.
QV_API int32_t QvStringReplaceChars(WCHAR* text, WCHAR from, WCHAR to);
QV_API int32_t QvStringReplaceCharsW(WCHAR* text, WCHAR from, WCHAR to);

// Removes white space at both ends, in place. Gives the new length.
QV_API int32_t QvStripWhiteSpace(WCHAR* text);

// Copies a name without blanks at its ends. Gives `destination`, or null when nothing is left.
QV_API WCHAR* QvPrepareName(const WCHAR* text, WCHAR* destination, uint32_t capacity);

// Doubles each "&", so that a menu shows the name as it is. Gives the length.
QV_API int32_t QvFixNameForMenu(WCHAR* destination, const WCHAR* text, uint32_t capacity);

// ---- Sizes
// -------------------------------------------------------------------------------------------------

// A size in bytes with three digits at most and its unit in the user's language; units change at 999 of the
// smaller one. A negative size counts as 0; `longForm` spells "bytes" out. Gives the length, 0 when it didn't
// fit.
QV_API int32_t QvFormatFileSize(int64_t size, WCHAR* destination, uint32_t capacity, int32_t longForm);

// "512", "1.50KB"; "512 bytes", "1.50 KB"; "512", "1.50 KB". `destination` has room for 64 characters. Gives
// the length. Kilobytes count 1024 bytes, megabytes and gigabytes a thousand of the next smaller unit.
QV_API int32_t QvGetByteSizeText(uint64_t size, WCHAR* destination);
QV_API int32_t QvGetByteSizeText2(uint64_t size, WCHAR* destination);
QV_API int32_t QvGetByteSizeTextWithSpace(uint64_t size, WCHAR* destination);
