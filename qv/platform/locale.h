// Locale operations: what a locale says about numbers, names and units, and a number written its way.
//
//   WCHAR point[8];
//   GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, point, 8);   // "." or ","
//
// On Windows these are the SDK's. Elsewhere the values are the ones that Windows gives; a table holds them
// for the locales that the toolkit is translated to and some neighbours, ICU knows the rest. The user's
// locale is the process environment's: LC_ALL, else LC_NUMERIC, else LANG; "C" counts as English (United
// States). The interface language follows LC_ALL, LC_MESSAGES, LANG; the system's locale LANG alone.
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

using LCTYPE = DWORD;

inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
inline constexpr LCID LOCALE_INVARIANT = 0x007f;

inline constexpr LCTYPE LOCALE_NOUSEROVERRIDE = 0x80000000;
inline constexpr LCTYPE LOCALE_RETURN_NUMBER = 0x20000000;

inline constexpr LCTYPE LOCALE_ILANGUAGE = 0x0001;
inline constexpr LCTYPE LOCALE_SLANGUAGE = 0x0002;
inline constexpr LCTYPE LOCALE_SABBREVLANGNAME = 0x0003;
inline constexpr LCTYPE LOCALE_SNATIVELANGNAME = 0x0004;
inline constexpr LCTYPE LOCALE_ICOUNTRY = 0x0005;
inline constexpr LCTYPE LOCALE_SCOUNTRY = 0x0006;
inline constexpr LCTYPE LOCALE_IDEFAULTCODEPAGE = 0x000b;
inline constexpr LCTYPE LOCALE_SLIST = 0x000c;
inline constexpr LCTYPE LOCALE_IMEASURE = 0x000d;
inline constexpr LCTYPE LOCALE_SDECIMAL = 0x000e;
inline constexpr LCTYPE LOCALE_STHOUSAND = 0x000f;
inline constexpr LCTYPE LOCALE_SGROUPING = 0x0010;
inline constexpr LCTYPE LOCALE_IDIGITS = 0x0011;
inline constexpr LCTYPE LOCALE_ILZERO = 0x0012;
inline constexpr LCTYPE LOCALE_STIME = 0x001e;
inline constexpr LCTYPE LOCALE_SNEGATIVESIGN = 0x0051;
inline constexpr LCTYPE LOCALE_SNAME = 0x005c;
inline constexpr LCTYPE LOCALE_SENGLANGUAGE = 0x1001;
inline constexpr LCTYPE LOCALE_SENGCOUNTRY = 0x1002;
inline constexpr LCTYPE LOCALE_IDEFAULTANSICODEPAGE = 0x1004;
inline constexpr LCTYPE LOCALE_INEGNUMBER = 0x1010;

// How a number is written. Grouping is read digit by digit from the point outwards: 3 repeats groups of
// three, 32 is three and then twos, 30 is three once. NegativeOrder: 0 "(1)", 1 "-1", 2 "- 1", 3 "1-", 4 "1
// -".
struct NUMBERFMTW {
  UINT NumDigits;
  UINT LeadingZero;
  UINT Grouping;
  LPWSTR lpDecimalSep;
  LPWSTR lpThousandSep;
  UINT NegativeOrder;
};

// Reads one fact of a locale into `data` (at most `capacity` characters with the terminator; a capacity of 0
// asks for the size). With LOCALE_RETURN_NUMBER a numeric fact fills a DWORD, two characters. Gives the
// characters written with the terminator, or 0: 87 unknown locale, 122 capacity, 1004 unknown fact.
QV_API int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR data, int capacity);

// Writes `value` (an optional "-", digits, at most one ".") by `format`, or by the locale's rules for null,
// rounding half away from zero. Gives the characters written with the terminator (with capacity 0: needed),
// or 0: 87 not a number or bad rules, 122 capacity, 1004 flags beside rules.
QV_API int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR text,
                            int capacity);

// The same for a locale's name ("de-DE"); null is the user's, the empty name the invariant one.
QV_API int GetNumberFormatEx(LPCWSTR localeName, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                             LPWSTR text, int capacity);

// The user's locale, the system's locale, and the language of the user's interface; the same all the time the
// process runs.
QV_API LCID GetUserDefaultLCID();
QV_API LCID GetSystemDefaultLCID();
QV_API LANGID GetUserDefaultUILanguage();

// Resolves the default locales and a language without a country; an unknown value comes back as it is.
QV_API LCID ConvertDefaultLocale(LCID locale);

// The calling thread's locale; the user's until set. Setting an unknown locale fails with 87.
QV_API LCID GetThreadLocale();
QV_API BOOL SetThreadLocale(LCID locale);

#endif
