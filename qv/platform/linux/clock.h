// Between the system's clock and counts of 100 ns since 1601.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>

#include "qv/platform/base.h"

namespace qv::platform {

constexpr int64_t kTicksPerSecond = 10'000'000, kSecondsTo1970 = 11'644'473'600;

inline FILETIME fileTimeOf(int64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

inline int64_t ticksOf(const FILETIME& time) {
  return static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

// Times before 1601 are as early as can be told.
inline FILETIME fileTimeOf(int64_t seconds, int64_t nanoseconds) {
  int64_t since1601 = seconds + kSecondsTo1970;
  return fileTimeOf(since1601 < 0 ? 0 : since1601 * kTicksPerSecond + nanoseconds / 100);
}

inline FILETIME fileTimeOf(const struct statx_timestamp& time) {
  return fileTimeOf(time.tv_sec, time.tv_nsec);
}

inline timespec timespecOf(const FILETIME& time) {
  int64_t ticks = ticksOf(time);
  return {ticks / kTicksPerSecond - kSecondsTo1970, ticks % kTicksPerSecond * 100};
}

}  // namespace qv::platform
