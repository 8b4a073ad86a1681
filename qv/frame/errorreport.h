// The crash reporter: a module of its own that an application may bring along.
//
// The toolkit tells it when the process starts and stops, when a fault is expected and handled (a processor
// probe), and when an exception reached the top. Without a reporter these calls do nothing.
//
//   QVERRORREPORT reporter = {};
//   reporter.initialize = [](int32_t) { installDumpWriter(); };
//   ErrorReport_SetFunctions(&reporter);  // before the entry routine runs
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// The reporter's functions; each may be null.
struct QVERRORREPORT {
  void (*initialize)(int32_t mode);
  void (*shutdown)();
  void (*startTrapBypass)();
  void (*endTrapBypass)();
  void (*unmanagedException)(void* exception);  // the platform's exception pointers
};
static_assert(sizeof(QVERRORREPORT) == 40);
static_assert(offsetof(QVERRORREPORT, unmanagedException) == 32);

// Takes the reporter's functions over. functions: copied, the caller keeps the record; null takes the
// reporter away. To be called before other threads exist.
QV_API void ErrorReport_SetFunctions(const QVERRORREPORT* functions);

// Starts the reporter. mode: handed on unchanged; the entry routine gives 1. Main thread.
QV_API void ErrorReport_Initialize(int32_t mode);

// Ends the reporter. Main thread, last of all but COM.
QV_API void ErrorReport_Shutdown();

// From here to the End call a fault of the calling thread is expected and handled, and is no crash. The
// pairs don't nest. Any thread.
QV_API void ErrorReport_StartTrapBypass();
QV_API void ErrorReport_EndTrapBypass();

// Tells the reporter of an exception that nobody handled, before it is shown. exception: the platform's
// exception pointers, valid during the call only; may be null. Any thread.
QV_API void ErrorReport_UnmanagedException(void* exception);
