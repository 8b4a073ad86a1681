// Lines to and from the person who started the program.
#pragma once

#include <string>

#include "qv/platform/win32.h"

namespace qv::stub {

using Text = std::basic_string<WCHAR>;

// Writes formatted text (see qv/core/printf.h), at most 2047 characters, as UTF-8, or as a terminal shows it.
void say(const WCHAR* format, ...);
// The same to standard error.
void complain(const WCHAR* format, ...);
// One line from standard input without its end; false when there is none.
bool ask(Text& answer);
// Whether standard error is a terminal, on which progress can be shown.
bool isWatched();

}  // namespace qv::stub
