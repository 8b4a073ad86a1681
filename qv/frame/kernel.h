// The kernel frame: brings the toolkit up, keeps what the whole process shares, and takes it down.
//
// The entry routine (qv/app/entry.h) does this for programs that run one job. A program with a message loop
// of its own does it by hand:
//
//   QvKernel_EarlyInitialize(instance, 0);
//   ...
//   QvKernel_LateTerminate();
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// Flags of QvKernel_EarlyInitialize.
inline constexpr uint32_t QVKERNEL_NODELEGATE =
    0x01;  // the toolkit's own palette, whatever the next bit says
inline constexpr uint32_t QVKERNEL_UIDELEGATE = 0x20;  // interface colours come from the app kernel's module

// Brings the toolkit up: error mode, clock, processor, shared state, and the services above them. May be
// called again; what stands stays as it is. module: the application's, owner of the windows that the toolkit
// makes by itself; may be null. Returns 1, or 0 when a service failed that others need; the toolkit then
// still has its clock. This is a truth value and no status. Main thread, before there are others.
QV_API int32_t QvKernel_EarlyInitialize(HMODULE module, uint32_t flags);

// Takes the toolkit down. For applications that stay in memory: a process that ends leaves this to the
// system. Returns 1. Main thread, after the others have ended.
QV_API int32_t QvKernel_LateTerminate();

// The module that QvKernel_EarlyInitialize was given; null before and after. Any thread.
QV_API HMODULE QvKernel_GetAppKernel();

// Writes the file name of that module. path: not null; capacity: in characters. Returns 0, or a status with
// an empty path when it has no file or the name doesn't fit. Any thread.
QV_API HRESULT QvKernel_GetAppKernelPathName(WCHAR* path, int32_t capacity);

// Keeps a value for the application's splash screen; the toolkit doesn't look at it. Main thread.
QV_API void QvKernel_SetSplash(uint64_t splash);

// Follows a change of the user's settings. window: the one that got the message, may be null; message:
// WM_SYSCOLORCHANGE and WM_DISPLAYCHANGE act, others do nothing. Main thread.
QV_API void QvKernel_UserPrefChanges(HWND window, uint32_t message);
