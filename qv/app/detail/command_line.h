// Splits a command line into its arguments.
//
// White space parts arguments; quotes hold white space, and two quotes in quotes are one that stays. A
// backslash is a character like any other, so that C:\clips\ keeps its last one.
//
//   int32_t count = 0;
//   WCHAR** arguments = qv::splitCommandLine(GetCommandLineW(), count);
//   for (int32_t i = 1; i < count; ++i) open(arguments[i]);
//   GlobalFree(arguments);
#pragma once

#include "qv/platform/base.h"

namespace qv {

// text: terminated, or null. count: receives the number of arguments. Returns one block from GlobalAlloc:
// count + 1 pointers, the last one null, and behind them the writable texts that they point to. The caller
// frees it with GlobalFree. Null with count 0 when there is no argument or no memory. Any thread.
WCHAR** splitCommandLine(const WCHAR* text, int32_t& count);

}  // namespace qv
