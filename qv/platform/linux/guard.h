// Processor faults as signals: who hears of the ones that no guarded call (processor.h) expects.
#pragma once

#include <signal.h>

#include "qv/platform/base.h"

namespace qv::platform {

// A fault with its exception code, on the thread that had it. True runs the instruction again, false leaves
// it to whoever had the signal before.
using UnguardedFault = bool (*)(DWORD code, siginfo_t* info, void* context);
void setUnguardedFault(UnguardedFault handler);

}  // namespace qv::platform
