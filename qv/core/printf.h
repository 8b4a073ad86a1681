// The formatter: one grammar for all text of the toolkit.
//
//   WCHAR text[64];
//   QvCchPrintF(text, 64, nullptr, TEXT("$d of $d files, %.1f%%"), 1234, 5000, 24.7);
//   // "1,234 of 5,000 files, 24.7%" in English, "1.234 of 5.000 files, 24.7%" in German
//
// "%" introduces the machine-neutral rendering of a conversion, "$" the locale's: digits grouped, the
// locale's decimal point. Flags, width and precision are the C library's. The conversions:
//   d i u o x X   a 32-bit integer; with "I64" a 64-bit one, with "I" alone one as wide as a pointer
//   e E f g G     a double
//   z             a 32-bit fixed-point integer: "%.2z" of 1234 is 12.34 with the locale's point
//   c s           a WCHAR; wide text (8-bit with "h")
//   * , :         no argument: the locale's decimal, list and time separator
//   !, !. !:      no argument: timecode separators; &. &: those of musical positions
// "$$" is "$", "%%" and "$%" are "%". "$(Name)" stands for a token's value, "$(12345.5)" for a number written
// the locale's way. What is unknown, unclosed or unfinished stays visible as text: a format's content never
// makes formatting fail. Nothing is allocated.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"

// Formats into a buffer of limited room.
//   destination  receives the text, always terminated; the caller's
//   capacity     characters of `destination` with the terminator. 1 gives an empty text and success.
//   length       receives the final length without the terminator; may be null
//   format       may be null or empty: an empty text
// 0; 0x8004e03c when a text did not fit (and for a capacity of 0, where nothing is written); 0x8007007a when
// a rendering was cut; 0x80070057 when %c or %s would have more than 0x7ffffffe characters of room. What fits
// is there in each case, and a surrogate pair is never split by a cut. Literal characters that don't fit are
// left out without a word. Any thread.
QV_API HRESULT QvNVPrintF(WCHAR* destination, uint32_t capacity, uint32_t* length, const WCHAR* format,
                          va_list arguments);
QV_API HRESULT QvCchPrintF(WCHAR* destination, uint32_t capacity, uint32_t* length, const WCHAR* format, ...);

// Formats into a buffer that the caller knows to be large enough, as a rule 4096 characters. One %c or %s
// gives at most 1023 characters. Gives the length. Any thread.
QV_API int32_t QvVPrintF(WCHAR* destination, const WCHAR* format, va_list arguments);
QV_API int32_t QvPrintF(WCHAR* destination, const WCHAR* format, ...);

// Defines a token, replacing one of the same name; names match in any case.
//   name, value  copied; not null
// 1, or 0 when memory ran out or the toolkit isn't up. Any thread, also while others format.
QV_API int32_t QvPrintF_AddToken(const WCHAR* name, const WCHAR* value);

// Removes a token; true if it existed. Any thread.
QV_API bool QvPrintF_DeleteToken(const WCHAR* name);
