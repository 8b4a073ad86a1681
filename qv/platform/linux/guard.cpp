#include "qv/platform/linux/guard.h"

#include <setjmp.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "qv/platform/processor.h"

namespace qv::platform {
namespace {

// One guarded call under way; the innermost of the thread stands first.
struct Frame {
  sigjmp_buf place;
  Frame* outer;
};
thread_local Frame* innermost = nullptr;

constexpr DWORD kAccessViolation = 0xc0000005, kInPageError = 0xc0000006, kIllegalInstruction = 0xc000001d;
constexpr DWORD kUnknownFloatFault = 0xc00002b5;

struct FloatFault {
  int code;
  DWORD exception;
};
constexpr FloatFault kFloatFaults[] = {
    {FPE_INTDIV, 0xc0000094}, {FPE_INTOVF, 0xc0000095}, {FPE_FLTDIV, 0xc000008e}, {FPE_FLTOVF, 0xc0000091},
    {FPE_FLTUND, 0xc0000093}, {FPE_FLTRES, 0xc000008f}, {FPE_FLTINV, 0xc0000090},
};

DWORD floatFault(int code) {
  auto row = std::find_if(std::begin(kFloatFaults), std::end(kFloatFaults),
                          [&](const FloatFault& each) { return each.code == code; });
  return row == std::end(kFloatFaults) ? kUnknownFloatFault : row->exception;
}

constexpr int kSignals[] = {SIGILL, SIGSEGV, SIGBUS, SIGFPE};
struct sigaction previous[std::size(kSignals)];

DWORD exceptionOf(int signal, int code) {
  if (signal == SIGILL) return kIllegalInstruction;
  if (signal == SIGFPE) return floatFault(code);
  return signal == SIGBUS ? kInPageError : kAccessViolation;
}

// Outside a guarded call the signal is whoever's it was; the default action takes it when the faulting
// instruction runs again.
void passOn(int signal, siginfo_t* info, void* context) {
  size_t index = static_cast<size_t>(std::find(std::begin(kSignals), std::end(kSignals), signal) - kSignals);
  const struct sigaction& before = previous[index];
  if (before.sa_flags & SA_SIGINFO) {
    before.sa_sigaction(signal, info, context);
  } else if (before.sa_handler == SIG_DFL || before.sa_handler == SIG_IGN) {
    sigaction(signal, &before, nullptr);
  } else {
    before.sa_handler(signal);
  }
}

std::atomic<UnguardedFault> unguarded{nullptr};

void onSignal(int signal, siginfo_t* info, void* context) {
  // A signal that another process sent has no fault to leave.
  if (info->si_code <= 0) return passOn(signal, info, context);
  const DWORD code = exceptionOf(signal, info->si_code);
  if (innermost) siglongjmp(innermost->place, static_cast<int>(code));
  const UnguardedFault handler = unguarded.load();
  if (!handler || !handler(code, info, context)) passOn(signal, info, context);
}

void install() {
  static const bool installed = [] {
    struct sigaction action = {};
    action.sa_sigaction = onSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &action, &previous[i]);
    return true;
  }();
  static_cast<void>(installed);
}

}  // namespace

void setUnguardedFault(UnguardedFault handler) {
  install();
  unguarded.store(handler);
}

DWORD guardedCall(void (*fn)(void* context), void* context) {
  install();
  const uint32_t mxcsr = readMxcsr();
  Frame frame;
  frame.outer = innermost;
  // With the signal mask: the jump leaves the handler for good, in which the signal is blocked.
  int fault = sigsetjmp(frame.place, 1);
  if (fault == 0) {
    innermost = &frame;
    fn(context);
  } else {
    writeMxcsr(mxcsr);
  }
  innermost = frame.outer;
  return static_cast<DWORD>(fault);
}

}  // namespace qv::platform
