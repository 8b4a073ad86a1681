#include "qv/platform/times.h"

#include <ctime>

#include "qv/platform/linux/clock.h"
#include "qv/platform/linux/failure.h"

namespace qv::platform {
namespace {

constexpr int64_t kTicksPerMillisecond = kTicksPerSecond / 1000, kSecondsPerDay = 86400;

timespec now() {
  timespec time;
  clock_gettime(CLOCK_REALTIME, &time);
  return time;
}

bool isLeap(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int daysIn(int64_t year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kDays[month - 1] + (month == 2 && isLeap(year));
}

// Days before January 1 of a year, since 1601.
int64_t daysBefore(int64_t year) {
  int64_t years = year - 1601;
  return years * 365 + years / 4 - years / 100 + years / 400;
}

bool isInCalendar(const SYSTEMTIME& fields) {
  bool date = fields.wYear >= 1601 && fields.wYear <= 30827 && fields.wMonth >= 1 && fields.wMonth <= 12 &&
              fields.wDay >= 1 && fields.wDay <= daysIn(fields.wYear, fields.wMonth);
  return date && fields.wHour < 24 && fields.wMinute < 60 && fields.wSecond < 60 &&
         fields.wMilliseconds < 1000;
}

SYSTEMTIME fieldsOf(int64_t ticks) {
  int64_t milliseconds = ticks / kTicksPerMillisecond;
  int64_t seconds = milliseconds / 1000, days = seconds / kSecondsPerDay;
  int64_t year = 1601 + days * 400 / 146097;
  while (daysBefore(year + 1) <= days) ++year;
  while (daysBefore(year) > days) --year;
  int day = static_cast<int>(days - daysBefore(year)), month = 1;
  while (day >= daysIn(year, month)) day -= daysIn(year, month++);
  int64_t ofDay = seconds % kSecondsPerDay;
  auto word = [](int64_t value) { return static_cast<WORD>(value); };
  return {word(year),         word(month),           word((days + 1) % 7), word(day + 1),
          word(ofDay / 3600), word(ofDay / 60 % 60), word(ofDay % 60),     word(milliseconds % 1000)};
}

// How far the user's clock is ahead of UTC at this moment.
int64_t ticksAhead() {
  static const bool known = (tzset(), true);
  time_t seconds = now().tv_sec;
  tm local{};
  return known && localtime_r(&seconds, &local) ? local.tm_gmtoff * kTicksPerSecond : 0;
}

BOOL shift(const FILETIME* time, int64_t by, FILETIME* shifted) {
  int64_t ticks;
  if (__builtin_add_overflow(ticksOf(*time), by, &ticks) || ticks < 0) return fail(ERROR_INVALID_PARAMETER);
  *shifted = fileTimeOf(ticks);
  return TRUE;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

void GetSystemTimeAsFileTime(FILETIME* time) {
  timespec present = now();
  *time = fileTimeOf(present.tv_sec, present.tv_nsec);
}

void GetSystemTime(SYSTEMTIME* time) {
  FILETIME present;
  GetSystemTimeAsFileTime(&present);
  *time = fieldsOf(ticksOf(present));
}

void GetLocalTime(SYSTEMTIME* time) {
  FILETIME present;
  GetSystemTimeAsFileTime(&present);
  *time = fieldsOf(ticksOf(present) + ticksAhead());
}

BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* fields) {
  if (ticksOf(*time) < 0) return fail(ERROR_INVALID_PARAMETER);
  *fields = fieldsOf(ticksOf(*time));
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* fields, FILETIME* time) {
  if (!isInCalendar(*fields)) return fail(ERROR_INVALID_PARAMETER);
  int64_t days = daysBefore(fields->wYear) + fields->wDay - 1;
  for (int month = 1; month < fields->wMonth; ++month) days += daysIn(fields->wYear, month);
  int64_t seconds = days * kSecondsPerDay + fields->wHour * 3600 + fields->wMinute * 60 + fields->wSecond;
  int64_t ticks;
  bool beyond = __builtin_mul_overflow(seconds, kTicksPerSecond, &ticks) ||
                __builtin_add_overflow(ticks, fields->wMilliseconds * kTicksPerMillisecond, &ticks);
  if (beyond) return fail(ERROR_INVALID_PARAMETER);
  *time = fileTimeOf(ticks);
  return TRUE;
}

BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* local) {
  return shift(time, ticksAhead(), local);
}

BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* time) {
  return shift(local, -ticksAhead(), time);
}

BOOL FileTimeToDosDateTime(const FILETIME* time, WORD* dosDate, WORD* dosTime) {
  SYSTEMTIME fields;
  if (!FileTimeToSystemTime(time, &fields)) return FALSE;
  if (fields.wYear < 1980 || fields.wYear > 2107) return fail(ERROR_INVALID_PARAMETER);
  *dosDate = static_cast<WORD>((fields.wYear - 1980) << 9 | fields.wMonth << 5 | fields.wDay);
  *dosTime = static_cast<WORD>(fields.wHour << 11 | fields.wMinute << 5 | fields.wSecond / 2);
  return TRUE;
}

BOOL DosDateTimeToFileTime(WORD dosDate, WORD dosTime, FILETIME* time) {
  auto bits = [](int value, int from, int count) {
    return static_cast<WORD>(value >> from & ((1 << count) - 1));
  };
  SYSTEMTIME fields{};
  fields.wYear = static_cast<WORD>(1980 + bits(dosDate, 9, 7));
  fields.wMonth = bits(dosDate, 5, 4);
  fields.wDay = bits(dosDate, 0, 5);
  fields.wHour = bits(dosTime, 11, 5);
  fields.wMinute = bits(dosTime, 5, 6);
  fields.wSecond = static_cast<WORD>(bits(dosTime, 0, 5) * 2);
  return SystemTimeToFileTime(&fields, time);
}

LONG CompareFileTime(const FILETIME* a, const FILETIME* b) {
  auto one = static_cast<uint64_t>(ticksOf(*a)), other = static_cast<uint64_t>(ticksOf(*b));
  return one < other ? -1 : one > other;
}
