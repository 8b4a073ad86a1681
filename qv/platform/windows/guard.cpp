#include <mutex>

#include "qv/platform/processor.h"

// It returns a second time when a handler resumes at the captured place.
extern "C" __declspec(dllimport) void NTAPI RtlCaptureContext(PCONTEXT context)
    __attribute__((returns_twice));

namespace qv::platform {
namespace {

// One guarded call under way; the innermost of the thread stands first.
struct Frame {
  CONTEXT place;
  volatile DWORD fault;
  Frame* outer;
};
thread_local Frame* innermost = nullptr;

bool isProcessorFault(DWORD code) {
  constexpr DWORD kFloatMultipleFaults = 0xc00002b4, kFloatMultipleTraps = 0xc00002b5;
  return code == EXCEPTION_ACCESS_VIOLATION || code == EXCEPTION_IN_PAGE_ERROR ||
         code == EXCEPTION_ILLEGAL_INSTRUCTION || code == EXCEPTION_PRIV_INSTRUCTION ||
         (code >= EXCEPTION_FLT_DENORMAL_OPERAND && code <= EXCEPTION_INT_OVERFLOW) ||
         code == kFloatMultipleFaults || code == kFloatMultipleTraps;
}

// Vectored handlers come before every other one, whatever compiled the faulting code.
LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
  Frame* frame = innermost;
  DWORD code = exception->ExceptionRecord->ExceptionCode;
  if (!frame || !isProcessorFault(code)) return EXCEPTION_CONTINUE_SEARCH;
  frame->fault = code;
  *exception->ContextRecord = frame->place;
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DWORD guardedCall(void (*fn)(void* context), void* context) {
  static std::once_flag once;
  std::call_once(once, [] { AddVectoredExceptionHandler(1, onException); });
  Frame frame;
  frame.fault = 0;
  frame.outer = innermost;
  RtlCaptureContext(&frame.place);
  if (frame.fault == 0) {
    innermost = &frame;
    fn(context);
  }
  innermost = frame.outer;
  return frame.fault;
}

}  // namespace qv::platform
