// Threads, critical sections, events, semaphores, waits and interlocked operations.
//
// An object lives as long as a handle to it is open; every handle goes back through CloseHandle. Named
// objects are one per name and user on the machine and go with the last handle of the last process, even if
// that process was killed.
//
//   HANDLE ready = CreateEventW(nullptr, FALSE, FALSE, nullptr);
//   HANDLE thread = CreateThread(nullptr, 0, work, &ready, 0, nullptr);
//   WaitForSingleObject(ready, INFINITE);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);

// Opaque: 40 bytes, aligned to 8; it neither moves nor is copied while it is in use.
struct CRITICAL_SECTION {
  void* opaque[5];
};
static_assert(sizeof(CRITICAL_SECTION) == 40);

constexpr DWORD WAIT_OBJECT_0 = 0, WAIT_TIMEOUT = 258, WAIT_FAILED = 0xffffffffu;
constexpr DWORD STILL_ACTIVE = 259, MAXIMUM_WAIT_OBJECTS = 64;
constexpr DWORD SYNCHRONIZE = 0x00100000, EVENT_MODIFY_STATE = 2, SEMAPHORE_MODIFY_STATE = 2;
constexpr DWORD EVENT_ALL_ACCESS = 0x1f0003, SEMAPHORE_ALL_ACCESS = 0x1f0003;
constexpr DWORD STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000;

// Starts a thread in `start` with `parameter`. `stackSize` in bytes, 0 for the usual one; `flags` 0 or
// STACK_SIZE_PARAM_IS_A_RESERVATION; `id` may be null. The handle is signalled when the thread has ended and
// its thread-local objects are gone; closing it doesn't end the thread. Null on failure.
QV_API HANDLE CreateThread(SECURITY_ATTRIBUTES* security, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD flags, DWORD* id);

// Ends the calling thread, one that CreateThread made, with this exit code. No frame between it and the
// start routine may be noexcept or swallow foreign exceptions; rely on no destructor of such a frame.
[[noreturn]] QV_API void ExitThread(DWORD exitCode);

// A pseudo handle for the calling thread, for operations that take a thread; closing it does nothing.
QV_API HANDLE GetCurrentThread();

// The calling thread's id: never 0, and not another live thread's.
QV_API DWORD GetCurrentThreadId();

// The exit code of a thread that has ended, STILL_ACTIVE before.
QV_API BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode);

// Gives the processor up for at least this many milliseconds; 0 only yields.
QV_API void Sleep(DWORD milliseconds);

// Yields to another thread that is ready to run on this processor; false if there was none, where known.
QV_API BOOL SwitchToThread();

// Makes a critical section, a lock that its owner may enter again; each Enter wants a Leave. Never fails.
QV_API void InitializeCriticalSection(CRITICAL_SECTION* section);

// The same, with a spin count that is a hint. True.
QV_API BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD spinCount);

// Waits until the section is the calling thread's.
QV_API void EnterCriticalSection(CRITICAL_SECTION* section);

// Enters if that needs no wait; false if another thread is inside.
QV_API BOOL TryEnterCriticalSection(CRITICAL_SECTION* section);

// Undoes one Enter of the calling thread; the last one lets others in.
QV_API void LeaveCriticalSection(CRITICAL_SECTION* section);

// Ends a section that no thread is in.
QV_API void DeleteCriticalSection(CRITICAL_SECTION* section);

// Makes an event, or opens the one of this name. `manualReset` false: one waiting thread gets through and
// the event resets itself. `security` is null; `name` (case matters, up to 260 characters, "Local\" or
// "Global\" may lead) may be null. The last error is ERROR_ALREADY_EXISTS when the name was there, and then
// the first two choices have no effect; ERROR_SUCCESS when it was not. Null on failure: ERROR_INVALID_HANDLE
// when the name is another kind's.
QV_API HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCWSTR name);

// Opens an event that exists, in this process or another. Null with ERROR_FILE_NOT_FOUND if none does.
QV_API HANDLE OpenEventW(DWORD access, BOOL inheritHandle, LPCWSTR name);

// Signals an event; one that is signalled already stays so.
QV_API BOOL SetEvent(HANDLE event);

// Takes an event's signal away.
QV_API BOOL ResetEvent(HANDLE event);

// Makes a semaphore, or opens the one of this name; names and last errors as for CreateEventW.
// 0 <= `initialCount` <= `maximumCount`, `maximumCount` at least 1, else ERROR_INVALID_PARAMETER.
QV_API HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initialCount, LONG maximumCount,
                               LPCWSTR name);

// Opens a semaphore that exists, in this process or another. Null with ERROR_FILE_NOT_FOUND if none does.
QV_API HANDLE OpenSemaphoreW(DWORD access, BOOL inheritHandle, LPCWSTR name);

// Adds `count` (at least 1) and gives the count before in `previous` (null allowed). False, with nothing
// changed, when that would pass the maximum (ERROR_TOO_MANY_POSTS).
QV_API BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previous);

// Waits for a thread's end, an event or a semaphore: WAIT_OBJECT_0, or WAIT_TIMEOUT after so many
// milliseconds (0 only looks, INFINITE waits for ever). A wait that succeeds resets an automatic event and
// takes one from a semaphore; what happened before the signal is seen after the wait. WAIT_FAILED for a
// handle that is none (ERROR_INVALID_HANDLE).
QV_API DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);

// Waits for one of up to 64 objects (WAIT_OBJECT_0 + its index, the lowest that is ready), or with `waitAll`
// for all of them; all are then taken, or none is. WAIT_TIMEOUT and WAIT_FAILED as above.
QV_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD milliseconds);

// Closes a handle of any kind. False with ERROR_INVALID_HANDLE for what is none, or is closed already.
QV_API BOOL CloseHandle(HANDLE object);

// The interlocked operations are atomic and full barriers. Increment and Decrement give the new value, the
// others the old one; the place is aligned to its size.
inline LONG InterlockedIncrement(volatile LONG* place) {
  return __atomic_add_fetch(place, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(volatile LONG* place) {
  return __atomic_sub_fetch(place, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchange(volatile LONG* place, LONG value) {
  return __atomic_exchange_n(place, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchangeAdd(volatile LONG* place, LONG value) {
  return __atomic_fetch_add(place, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedAnd(volatile LONG* place, LONG value) {
  return __atomic_fetch_and(place, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedOr(volatile LONG* place, LONG value) {
  return __atomic_fetch_or(place, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedCompareExchange(volatile LONG* place, LONG value, LONG comparand) {
  __atomic_compare_exchange_n(place, &comparand, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline LONG64 InterlockedIncrement64(volatile LONG64* place) {
  return __atomic_add_fetch(place, 1, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedDecrement64(volatile LONG64* place) {
  return __atomic_sub_fetch(place, 1, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedExchange64(volatile LONG64* place, LONG64 value) {
  return __atomic_exchange_n(place, value, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedExchangeAdd64(volatile LONG64* place, LONG64 value) {
  return __atomic_fetch_add(place, value, __ATOMIC_SEQ_CST);
}
inline LONG64 InterlockedCompareExchange64(volatile LONG64* place, LONG64 value, LONG64 comparand) {
  __atomic_compare_exchange_n(place, &comparand, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}
inline PVOID InterlockedExchangePointer(PVOID volatile* place, PVOID value) {
  return __atomic_exchange_n(place, value, __ATOMIC_SEQ_CST);
}
inline PVOID InterlockedCompareExchangePointer(PVOID volatile* place, PVOID value, PVOID comparand) {
  __atomic_compare_exchange_n(place, &comparand, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return comparand;
}

#endif
