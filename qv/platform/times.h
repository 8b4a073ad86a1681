// Points in time: the system's count of 100 ns since 1601, calendar fields, and the two words of DOS.
//
//   FILETIME now;
//   GetSystemTimeAsFileTime(&now);
//   SYSTEMTIME fields;
//   FileTimeToSystemTime(&now, &fields);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

// Now, in the user's time zone and in UTC. Sunday is day 0 of the week, January month 1.
QV_API void GetLocalTime(SYSTEMTIME* time);
QV_API void GetSystemTime(SYSTEMTIME* time);

// Now, in UTC.
QV_API void GetSystemTimeAsFileTime(FILETIME* time);

// Calendar fields of a count, cut to milliseconds; false with ERROR_INVALID_PARAMETER for one beyond 63 bits.
QV_API BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* fields);

// The count for calendar fields, whose day of the week doesn't matter; false with ERROR_INVALID_PARAMETER for
// a date that isn't in the calendar of 1601 to 30827.
QV_API BOOL SystemTimeToFileTime(const SYSTEMTIME* fields, FILETIME* time);

// Between UTC and the user's time zone, by the difference that holds today, whatever the date.
QV_API BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* local);
QV_API BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* time);

// The two words of DOS: year from 1980, month, day in 7, 4 and 5 bits; hours, minutes, seconds in twos in 5,
// 6 and 5. False with ERROR_INVALID_PARAMETER for a year before 1980 or after 2107. Odd seconds are cut.
QV_API BOOL FileTimeToDosDateTime(const FILETIME* time, WORD* dosDate, WORD* dosTime);

// And back; on Linux a day that isn't in the calendar gives false with ERROR_INVALID_PARAMETER.
QV_API BOOL DosDateTimeToFileTime(WORD dosDate, WORD dosTime, FILETIME* time);

// -1, 0 or 1: which of two counts is earlier.
QV_API LONG CompareFileTime(const FILETIME* a, const FILETIME* b);

#endif
