// The kernel's own language, as start-up brings it up and takes it down.
#pragma once

#include "qv/lang/lang.h"

namespace qv {

// Opens the kernel's handle for `module` unless it is open, and lets the formatter draw its texts from it. Main
// thread. Gives the status of QvLang_Open.
HRESULT startKernelLanguage(HMODULE module);

// Closes it; the formatter goes back to its own English. No other thread may be formatting.
void stopKernelLanguage();

}  // namespace qv
