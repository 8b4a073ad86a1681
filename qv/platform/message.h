// Patterns with positional inserts, as translators need them where the order of words changes.
//
//   FormatMessageW(FORMAT_MESSAGE_FROM_STRING, TEXT("%2 in %1"), 0, 0, text, 64, &arguments);
//
// Outside Windows only FORMAT_MESSAGE_FROM_STRING is there, with or without FORMAT_MESSAGE_IGNORE_INSERTS.
#pragma once

#include <stdarg.h>

#include "qv/platform/base.h"

#ifndef _WIN32

constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x400;

// Writes the pattern `source` with its inserts filled from `arguments`, each one 64-bit unit.
//   %1 to %99    an insert, wide text; "%1!d!" gives it another type (s S c d i u x X, with flags "-0#",
//                width, precision, and "I64", "l" or "h")
//   %0           the end of the text; %n a line break; %r and %t a carriage return and a tab;
//                %b a blank; %% %. %! the character itself, and so for any other
// `capacity` counts the terminator. Gives the characters without it, or 0: 122 when they didn't fit (the
// buffer is then empty), 87 for a bad pattern, null text or other flags.
QV_API DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR text,
                            DWORD capacity, va_list* arguments);

#endif
