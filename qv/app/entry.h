// The entry routine: brings the toolkit up in a fixed order, runs the application's one job, goes down again.
//
//   static void* create(const QVAPP*) { return new (std::nothrow) Job; }
//   static int32_t run(void* job, const WCHAR* file) { return static_cast<Job*>(job)->render(file); }
//   static void release(void* job) { delete static_cast<Job*>(job); }
//
//   int main() {
//     QVJOB job = {};
//     job.displayName = TEXT("Renderer");
//     job.create = create;
//     job.run = run;
//     job.release = release;
//     return QvApp_Main(GetModuleHandleW(nullptr), &job);
//   }
#pragma once

#include "qv/api.h"
#include "qv/lang/lang.h"
#include "qv/platform/base.h"

// What the running application is. The toolkit owns the one record, which lives as long as the process.
struct QVAPP {
  HMODULE module;
  HQVLANG language;            // the application's own handle; null when it could not be opened
  WCHAR modulePath[MAX_PATH];  // the program's folder, with its separator; empty if it is longer than this
  int32_t cancelled;           // set by the job when the user stopped it
};
static_assert(sizeof(QVAPP) == 544);
static_assert(offsetof(QVAPP, modulePath) == 16);
static_assert(offsetof(QVAPP, cancelled) == 536);

// The application's job.
struct QVJOB {
  // The name under which the application shows itself; not null, lives as long as the process.
  const WCHAR* displayName;
  // Makes the job's context, which the other functions are given. Null on failure. Not null itself.
  void* (*create)(QVAPP* app);
  // Gets ready; a negative status means that nothing runs, and the context is released. May be null.
  HRESULT (*prepare)(void* context);
  // Does the work on the first argument of the command line. Its result is the exit code. Not null itself.
  int32_t (*run)(void* context, const WCHAR* argument);
  // Gives back a context whose prepare failed. One that got ready stays, with all else, to the end of the
  // process: what has to be flushed or closed is run's to do. May be null.
  void (*release)(void* context);
};
static_assert(sizeof(QVJOB) == 40);
static_assert(offsetof(QVJOB, release) == 32);

// Runs the process: the program's main calls it and returns its result. module: the program's own; job: not
// null, lives as long as the process. Returns the exit code: a negative status when COM did not start, 0 when
// the job's context could not be made, 1 when the job could not get ready, 2 when the command line has no
// argument for it, 0x8004e00c when it was cancelled, else the job's result. Main thread, once.
//
// A processor fault that nobody handles, on whichever thread, is shown as an error message with its description
// as details, and ends the process with the exception's code as exit code.
//
// The way out is short: nothing of the toolkit is taken down, the end of the process does that.
QV_API int32_t QvApp_Main(HMODULE module, const QVJOB* job);
