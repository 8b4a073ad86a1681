#include "qv/platform/calendar.h"

#include <ctime>

void GetLocalTime(SYSTEMTIME* now) {
  timespec time;
  tm parts;
  clock_gettime(CLOCK_REALTIME, &time);
  localtime_r(&time.tv_sec, &parts);
  const auto word = [](long value) { return static_cast<WORD>(value); };
  *now = {word(parts.tm_year + 1900), word(parts.tm_mon + 1),      word(parts.tm_wday),
          word(parts.tm_mday),        word(parts.tm_hour),         word(parts.tm_min),
          word(parts.tm_sec),         word(time.tv_nsec / 1000000)};
}
