// Where the system looks for libraries that a program loads by name.
//
//   SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);  // first thing in main
//
// A program that people download and start in the folder of their downloads must not take a library that lies
// beside it there for one of the system's.
#pragma once

#include "qv/platform/win32.h"

#ifndef _WIN32

constexpr DWORD LOAD_LIBRARY_SEARCH_APPLICATION_DIR = 0x200, LOAD_LIBRARY_SEARCH_SYSTEM32 = 0x800;

// On Linux the loader looks into a program's own folder only where its run path says so, which programs of
// the toolkit don't: nothing is left to do. TRUE; FALSE with ERROR_INVALID_PARAMETER for 0. Any thread.
QV_API BOOL SetDefaultDllDirectories(DWORD flags);

#endif
