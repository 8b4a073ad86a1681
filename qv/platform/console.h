// What a person at the terminal asks of the program: Ctrl-C.
//
//   std::atomic<bool> asked;
//   BOOL WINAPI onKey(DWORD event) { return event == CTRL_C_EVENT ? asked = true : FALSE; }
//   …
//   SetConsoleCtrlHandler(onKey, TRUE);
#pragma once

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
