// The time of day as people read it.
//
//   SYSTEMTIME now;
//   GetLocalTime(&now);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

struct SYSTEMTIME {
  WORD wYear, wMonth, wDayOfWeek, wDay;  // months from 1, days of the week from Sunday, 0
  WORD wHour, wMinute, wSecond, wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

// Now, in the process's time zone.
QV_API void GetLocalTime(SYSTEMTIME* now);

#endif
