// Walking 8-bit text of the process's code page.
//
//   for (const char* at = text; *at != 0; at = CharNextA(at)) ...
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

// The next character, or the text itself at its terminator. A pair of the process's double-byte code page
// (_getmbcp) is one character; without such a page a character is a byte, of UTF-8 too.
QV_API LPSTR CharNextA(LPCSTR text);

#endif
