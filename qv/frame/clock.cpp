#include "qv/frame/clock.h"

#include "qv/frame/detail/clock.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

bool realFrequency(int64_t& countsPerSecond) {
  LARGE_INTEGER value = {};
  const bool known = QueryPerformanceFrequency(&value) != 0;
  countsPerSecond = value.QuadPart;
  return known;
}

int64_t realCounter() {
  LARGE_INTEGER value = {};
  QueryPerformanceCounter(&value);
  return value.QuadPart;
}

uint32_t realTick() {
  return GetTickCount();
}

constexpr ClockPort kRealPort = {realFrequency, realCounter, realTick};
ClockPort port = kRealPort;

extern ClockState state;

// Differences are taken in unsigned arithmetic: a counter may wrap, a base word may hold anything.
int64_t difference(int64_t now, int64_t base) {
  return static_cast<int64_t>(static_cast<uint64_t>(now) - static_cast<uint64_t>(base));
}

int64_t toMillisec(int64_t counts) {
  return counts / static_cast<int64_t>(state.countsPerMillisec);
}

// Counts per microsecond is a whole number, which is far off for a slow counter; the rescale mends that, over
// the 32 bits that MulDiv has.
int64_t toMicrosec(int64_t counts) {
  const int64_t value = counts / static_cast<int64_t>(state.countsPerMicrosec);
  if (state.rescaleRate == 0) return value;
  return MulDiv(static_cast<int32_t>(value), 1000000, static_cast<int32_t>(state.rescaleRate));
}

int64_t fineElapsedRaw(int64_t* base) {
  return difference(port.counter(), *base);
}
int64_t fineElapsedMicrosec(int64_t* base) {
  return toMicrosec(fineElapsedRaw(base));
}
int64_t fineElapsedMillisec(int64_t* base) {
  return toMillisec(fineElapsedRaw(base));
}

int64_t fineAdvance(int64_t* base) {
  const int64_t now = port.counter();
  const int64_t counts = difference(now, *base);
  *base = now;
  return counts;
}
int64_t fineDeltaRaw(int64_t* base) {
  return static_cast<uint32_t>(fineAdvance(base));
}
int64_t fineDeltaMicrosec(int64_t* base) {
  return toMicrosec(fineAdvance(base));
}
int64_t fineDeltaMillisec(int64_t* base) {
  return toMillisec(fineAdvance(base));
}

uint32_t ticksSince(int64_t* base) {
  return port.tick() - static_cast<uint32_t>(*base);
}
int64_t coarseElapsedRaw(int64_t* base) {
  return ticksSince(base);
}
int64_t coarseElapsedMicrosec(int64_t* base) {
  return ticksSince(base) * 1000u;
}

uint32_t coarseAdvance(int64_t* base) {
  const uint32_t now = port.tick();
  const uint32_t ticks = now - static_cast<uint32_t>(*base);
  *base = now;
  return ticks;
}
int64_t coarseDeltaRaw(int64_t* base) {
  return coarseAdvance(base);
}
int64_t coarseDeltaMicrosec(int64_t* base) {
  return coarseAdvance(base) * 1000u;
}

constexpr ClockOperations kFine = {fineElapsedRaw, fineElapsedMicrosec, fineElapsedMillisec,
                                   fineDeltaRaw,   fineDeltaMicrosec,   fineDeltaMillisec};
constexpr ClockOperations kCoarse = {coarseElapsedRaw, coarseElapsedMicrosec, coarseElapsedRaw,
                                     coarseDeltaRaw,   coarseDeltaMicrosec,   coarseDeltaRaw};

ClockState state = {.operations = kCoarse};

// Everything in 32 bits, on the low half of the frequency. A counter slower than the tick count would leave
// no whole number of counts to the millisecond; the tick count serves better.
bool takeFineCounter() {
  int64_t frequency = 0;
  if (!port.frequency(frequency)) return false;
  const uint32_t perSecond = static_cast<uint32_t>(frequency);
  if (perSecond < 1000) return false;
  state.countsPerSecond = perSecond;
  state.granularity = 1000;
  state.fineChosen = true;
  state.countsPerMillisec = perSecond / 1000;
  state.countsPerMicrosec = state.countsPerMillisec / 1000;
  if (state.countsPerMicrosec == 0) state.countsPerMicrosec = 1;
  state.rescaleRate = perSecond / state.countsPerMicrosec;
  if (state.rescaleRate == 1000000) state.rescaleRate = 0;
  return true;
}

}  // namespace

void chooseClock(int32_t mode) {
  if (mode == 0 || state.fineChosen) return;
  if (takeFineCounter()) state.operations = kFine;
  state.operations.deltaRaw(&state.processBase);
}

const ClockState& clockState() {
  return state;
}
ClockPort& clockPort() {
  return port;
}

void resetClock() {
  state = {.operations = kCoarse};
  port = kRealPort;
}

}  // namespace qv

using qv::state;

void QvTimer_LateInitialize() {
  state.lateInitialized = true;
}

int64_t QvGetMillisec() {
  return state.operations.elapsedMillisec(&state.processBase);
}
int64_t QvGetMicrosec() {
  return state.operations.elapsedMicrosec(&state.processBase);
}
int64_t QvGetMillisecEx(int64_t* base) {
  return state.operations.elapsedMillisec(base);
}
int64_t QvGetMicrosecEx(int64_t* base) {
  return state.operations.elapsedMicrosec(base);
}
int64_t QvDeltaMillisecEx(int64_t* base) {
  return state.operations.deltaMillisec(base);
}
int64_t QvDeltaMicrosecEx(int64_t* base) {
  return state.operations.deltaMicrosec(base);
}
