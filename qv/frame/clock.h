// The process clock: milliseconds and microseconds since start-up, or since a moment of the caller's own.
//
//   int64_t base = 0;
//   QvDeltaMicrosecEx(&base);                      // base becomes now
//   render();
//   const int64_t took = QvDeltaMicrosecEx(&base); // and starts the next interval
//
// Start-up chooses the system's fine counter if there is one. Before that, and without one, the coarse tick
// count serves, whose times wrap at 32 bits. A base word belongs to the clock that set it and means nothing
// to anyone else.
//
// The choice is made before the process has a second thread. The functions are then safe on any thread, those
// with a base word if each thread has its own.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// Marks the end of start-up for the clock. Main thread.
QV_API void QvTimer_LateInitialize();

// Milliseconds, or microseconds, since the clock was chosen. Any thread.
QV_API int64_t QvGetMillisec();
QV_API int64_t QvGetMicrosec();

// Milliseconds, or microseconds, since the base, which stays. base: not null. Any thread.
QV_API int64_t QvGetMillisecEx(int64_t* base);
QV_API int64_t QvGetMicrosecEx(int64_t* base);

// The same, and the base becomes now. base: not null, changed by no other thread meanwhile. Any thread.
QV_API int64_t QvDeltaMillisecEx(int64_t* base);
QV_API int64_t QvDeltaMicrosecEx(int64_t* base);
