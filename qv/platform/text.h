// Text helpers: UTF-16 strings, case, code pages, and MulDiv.
//
// Case is Unicode's simple mapping as far as it goes both ways, the same in every locale; what has no partner
// there (micro sign, dotless i, sharp s, a surrogate) stays as it is.
//
//   int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <wchar.h>

#else

constexpr UINT CP_ACP = 0, CP_UTF8 = 65001;
constexpr DWORD MB_PRECOMPOSED = 1, MB_ERR_INVALID_CHARS = 8, WC_ERR_INVALID_CHARS = 0x80;

// Characters before the terminator; 0 for null.
QV_API int lstrlenW(LPCWSTR text);

// Copies up to `capacity` - 1 characters and always terminates; gives `target`, or null if a pointer is
// null. A capacity of 0 or less copies nothing.
QV_API LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int capacity);

// Compares by the user's locale: negative, 0 or positive. Rely on this: equal texts give 0, the order is
// total, letters stand in alphabetical order whatever their case, and texts that differ in case only are
// neighbours but not equal, lower case first. Null comes before all text.
QV_API int lstrcmpW(LPCWSTR a, LPCWSTR b);

// The same, and texts that differ in case only are equal.
QV_API int lstrcmpiW(LPCWSTR a, LPCWSTR b);

// Compares character codes with A to Z as a to z, no locale: negative, 0 or positive.
QV_API int _wcsicmp(const WCHAR* a, const WCHAR* b);

// The same over at most `count` characters.
QV_API int _wcsnicmp(const WCHAR* a, const WCHAR* b, size_t count);

// The run-time's string functions for WCHAR: length, order and difference by code, and searches that give
// null if nothing was found.
QV_API size_t wcslen(const WCHAR* text);
QV_API int wcscmp(const WCHAR* a, const WCHAR* b);
QV_API int wcsncmp(const WCHAR* a, const WCHAR* b, size_t count);
QV_API const WCHAR* wcschr(const WCHAR* text, WCHAR c);
QV_API WCHAR* wcschr(WCHAR* text, WCHAR c);
QV_API const WCHAR* wcsrchr(const WCHAR* text, WCHAR c);
QV_API WCHAR* wcsrchr(WCHAR* text, WCHAR c);
QV_API const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part);
QV_API WCHAR* wcsstr(WCHAR* text, const WCHAR* part);

// The decimal number at the start, after white space and a sign; 0 if there is none. Of a number that does
// not fit, nothing but that it returns.
QV_API int _wtoi(const WCHAR* text);

// Converts a text to upper case in place and gives it back; a value of one character (below 65536) in the
// pointer's place gives that character's upper case.
QV_API LPWSTR CharUpperW(LPWSTR text);

// Converts to lower case, in the same two ways.
QV_API LPWSTR CharLowerW(LPWSTR text);

// Converts `count` characters to upper case in place, terminators included; gives the count.
QV_API DWORD CharUpperBuffW(LPWSTR text, DWORD count);

// Converts `count` characters to lower case in place; gives the count.
QV_API DWORD CharLowerBuffW(LPWSTR text, DWORD count);

// Whether the character is a letter of some script. For Latin, Greek and Cyrillic letters both builds agree;
// for combining signs and letter-like numbers they may not.
QV_API BOOL IsCharAlphaW(WCHAR c);

// Whether it is a letter or a digit.
QV_API BOOL IsCharAlphaNumericW(WCHAR c);

// Whether it is an upper case letter.
QV_API BOOL IsCharUpperW(WCHAR c);

// Whether it is a lower case letter.
QV_API BOOL IsCharLowerW(WCHAR c);

// Converts bytes of a code page to UTF-16 and gives the number of characters. `bytes` -1: up to and with the
// terminator. `capacity` 0: only counts. CP_UTF8, and CP_ACP, which is UTF-8 on Linux and at least ASCII
// everywhere. Malformed input gives U+FFFD, one or more, or with MB_ERR_INVALID_CHARS a failure. 0 on
// failure: ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION, ERROR_INVALID_FLAGS (other flags with
// UTF-8), or ERROR_INVALID_PARAMETER (null or equal pointers, no bytes, unknown page).
QV_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int bytes, LPWSTR target,
                               int capacity);

// Converts UTF-16 to bytes of a code page and gives the number of bytes; lengths, pages and failures as
// above. A lone surrogate gives U+FFFD, or with WC_ERR_INVALID_CHARS a failure. The last two are null.
QV_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int count, LPSTR target,
                               int capacity, LPCSTR defaultChar, BOOL* usedDefault);

// number * numerator / denominator over a 64-bit product, rounded to the nearest, halves away from zero; -1
// if the denominator is 0 or the result doesn't fit into 32 bits and its negative too.
QV_API int MulDiv(int number, int numerator, int denominator);

#endif
