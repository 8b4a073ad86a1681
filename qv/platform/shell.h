// Addresses and files given to whatever program the user has for them.
//
//   const HINSTANCE code = ShellExecuteW(nullptr, TEXT("open"), TEXT("https://example.org/"), nullptr,
//   nullptr,
//                                        SW_SHOWDEFAULT);
//   const bool started = reinterpret_cast<intptr_t>(code) > 32;
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <shellapi.h>

#else

constexpr int SW_SHOWDEFAULT = 10;
constexpr int SE_ERR_FNF = 2, SE_ERR_NOASSOC = 31;

// Opens an address or a file with its program: above 32 when that went off, else why not. On Linux it is
// xdg-open, found along the PATH and run without a shell: `verb` is null or "open", `parameters` null, and
// what begins with a hyphen is refused, since it would be an option there. An opener that fails at once gives
// SE_ERR_NOASSOC; one that takes longer than half a second is left to itself. Any thread.
QV_API HINSTANCE ShellExecuteW(HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder,
                               int show);

// The system's folder, "C:\" on Linux, and its length; too small a capacity gives the one that it takes.
QV_API UINT GetWindowsDirectoryW(LPWSTR folder, UINT capacity);

#endif
