#include "qv/platform/exceptions.h"

#include <atomic>

namespace qv::platform {
namespace {

constexpr ULONG_PTR kEnough = 64 * 1024;

LPTOP_LEVEL_EXCEPTION_FILTER filterInForce;
HANDLE overflowed, answered;
std::atomic<EXCEPTION_POINTERS*> pending{nullptr};

// Waits for the whole life of the process: a thread that has used up its stack can't start another one.
DWORD WINAPI reportOverflows(LPVOID) {
  for (;;) {
    WaitForSingleObject(overflowed, INFINITE);
    EXCEPTION_POINTERS* exception = pending.load();
    if (filterInForce(exception) == EXCEPTION_EXECUTE_HANDLER) {
      TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    }
    SetEvent(answered);
  }
}

bool hasRoom() {
  ULONG_PTR low = 0, high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  return reinterpret_cast<ULONG_PTR>(&low) - low >= kEnough;
}

// A thread that kept stack for its filter comes to it in the usual way. For the others this is the only
// moment at which anything can still be called.
LONG CALLBACK onOverflow(EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  if (code != EXCEPTION_STACK_OVERFLOW || hasRoom()) return EXCEPTION_CONTINUE_SEARCH;
  pending.store(exception);
  SetEvent(overflowed);
  WaitForSingleObject(answered, INFINITE);
  return EXCEPTION_CONTINUE_SEARCH;
}

bool startReporter() {
  overflowed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  answered = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const HANDLE thread = CreateThread(nullptr, 0, reportOverflows, nullptr, 0, nullptr);
  if (!overflowed || !answered || !thread) return false;
  CloseHandle(thread);
  return AddVectoredExceptionHandler(1, onOverflow) != nullptr;
}

}  // namespace

void catchFaults(LPTOP_LEVEL_EXCEPTION_FILTER filter) {
  filterInForce = filter;
  ULONG stack = kFilterStack;
  SetThreadStackGuarantee(&stack);
  SetUnhandledExceptionFilter(filter);
  static const bool started = startReporter();
  static_cast<void>(started);
}

}  // namespace qv::platform
