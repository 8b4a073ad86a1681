// What a person at the terminal asks of the program, Ctrl-C, and the words between the two.
//
//   std::atomic<bool> asked;
//   BOOL WINAPI onKey(DWORD event) { return event == CTRL_C_EVENT ? asked = true : FALSE; }
//   …
//   SetConsoleCtrlHandler(onKey, TRUE);
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/base.h"

#ifndef _WIN32

constexpr DWORD CTRL_C_EVENT = 0, CTRL_BREAK_EVENT = 1;

using PHANDLER_ROUTINE = BOOL(WINAPI*)(DWORD event);

// Adds a handler, or takes the one added last of that address away; it is called on a thread of its own with
// CTRL_C_EVENT (on Linux SIGINT) or CTRL_BREAK_EVENT (SIGQUIT). The one added last is asked first; the first
// to give true ends the matter, and when none does the program ends as it would without them. False with
// ERROR_INVALID_PARAMETER for null and for a handler that isn't there. Any thread.
QV_API BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add);

#endif

namespace qv::platform {

// Whether one of the standard streams (STD_INPUT_HANDLE and its like) is a terminal, with a person before it.
// Any thread.
bool isTerminal(DWORD stream);

// Text to standard output or standard error, as UTF-8; a terminal shows it whatever its code page is. False
// when not all of it went out. Any thread; lines of several may mix.
bool writeText(DWORD stream, std::string_view utf8);

// The next line of standard input, without its end, of at most 4,096 bytes of UTF-8: what is longer comes
// with the next call. False when the input is at its end. One thread at a time.
bool readLine(std::string* line);

}  // namespace qv::platform
