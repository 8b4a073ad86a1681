// Inside the toolkit: the choice of the clock and the table behind the exported functions.
#pragma once

#include "qv/frame/clock.h"

namespace qv {

// Chooses the fine counter if the machine has one. Does nothing with mode 0 or once it is chosen.
void chooseClock(int32_t mode);
inline constexpr int32_t kClockMode = 4;

// Time since a base word, in counts, microseconds and milliseconds; the second three move the base to now.
struct ClockOperations {
  int64_t (*elapsedRaw)(int64_t* base);
  int64_t (*elapsedMicrosec)(int64_t* base);
  int64_t (*elapsedMillisec)(int64_t* base);
  int64_t (*deltaRaw)(int64_t* base);  // low 32 bits only
  int64_t (*deltaMicrosec)(int64_t* base);
  int64_t (*deltaMillisec)(int64_t* base);
};

struct ClockState {
  uint32_t countsPerSecond = 1000;
  uint32_t rescaleRate = 0;  // 0: counts per microsecond needs no correction
  uint32_t countsPerMillisec = 1;
  uint32_t countsPerMicrosec = 0;
  uint32_t granularity = 1;
  bool fineChosen = false;
  bool lateInitialized = false;
  int64_t processBase = 0;
  ClockOperations operations;
};
const ClockState& clockState();

// The counters that the clock reads. Tests put others in their place.
struct ClockPort {
  bool (*frequency)(int64_t& countsPerSecond);
  int64_t (*counter)();
  uint32_t (*tick)();  // milliseconds
};
ClockPort& clockPort();

// As at load: the coarse clock, the real counters.
void resetClock();

}  // namespace qv
