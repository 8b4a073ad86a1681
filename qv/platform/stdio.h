// C files under wide names, and the run-time's bounded wide formatting.
//
// The streams are the C library's own: fputs, fflush, ftell and fclose work on them. Outside Windows they
// hold the share modes of qv/platform/files.h, and text mode changes no byte; on Windows it writes CR LF for
// a line feed.
//
//   FILE* file = _wfsopen(path, TEXT("a+t"), _SH_DENYWR);
#pragma once

#include <stdarg.h>
#include <stdio.h>

#include "qv/platform/base.h"

#ifdef _WIN32

#include <share.h>

#else

constexpr int _SH_DENYRW = 0x10, _SH_DENYWR = 0x20, _SH_DENYRD = 0x30, _SH_DENYNO = 0x40;
constexpr size_t _TRUNCATE = static_cast<size_t>(-1);
using errno_t = int;

// Opens a file for this process alone: 0, or the reason as errno has it, with a null stream. `mode`: "r", "w"
// or "a", then any of "+", "b", "t". A file opened to append is written at its end, wherever it was read.
QV_API errno_t _wfopen_s(FILE** stream, LPCWSTR path, LPCWSTR mode);

// Opens a file; `share` says what others may do meanwhile. Null on failure, with errno.
QV_API FILE* _wfsopen(LPCWSTR path, LPCWSTR mode, int share);

// Deletes a file: 0, or -1 with errno.
QV_API int _wremove(LPCWSTR path);

// Renames a file; there must be none of the new name: 0, or -1 with errno.
QV_API int _wrename(LPCWSTR from, LPCWSTR to);

// Formats into `capacity` characters, at most `count` of them; with _TRUNCATE what doesn't fit is cut and the
// result is -1, else the length. Formats are the C library's, with "I64", "I32" and "I" for integers; "%s"
// and "%c" are wide, "%hs", "%S" and "%hc" are 8-bit; "%p" has 16 digits. "%n" and unknown conversions are
// written as they stand.
QV_API int _vsnwprintf_s(LPWSTR text, size_t capacity, size_t count, LPCWSTR format, va_list arguments);

#endif
