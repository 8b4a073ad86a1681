// The processor itself, the same code on both builds: CPUID, the MXCSR register, and a call that survives
// processor faults.
//
//   uint32_t regs[4];  // eax, ebx, ecx, edx
//   qv::platform::cpuid(1, 0, regs);
//   DWORD fault = qv::platform::guardedCall(trySse, nullptr);
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

namespace qv::platform {

// Reads a CPUID leaf into eax, ebx, ecx, edx. Any leaf may be asked; one above the highest has no meaning.
QV_API void cpuid(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]);

// The calling thread's SSE control and status register.
QV_API uint32_t readMxcsr();

// Sets it; a bit that the processor lacks faults.
QV_API void writeMxcsr(uint32_t value);

// Extended control register 0: which registers the system saves for each thread (bits 1 and 2: SSE and AVX).
// Faults unless CPUID leaf 1 shows OSXSAVE.
inline uint64_t readXcr0() {
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (static_cast<uint64_t>(high) << 32) | low;
}

// Calls fn(context) and gives 0, or the exception code if the processor faulted in it: 0xc000001d illegal
// instruction, 0xc0000005 access violation, 0xc0000094 integer divide by zero, 0xc000008d to 0xc0000093 and
// 0xc00002b5 floating point. After a fault the function is left where it was, with none of its destructors
// run, and MXCSR is what it was before the call; without one, MXCSR is as the function left it. Calls may
// nest; each thread is guarded for itself. Not for code that takes locks or memory.
QV_API DWORD guardedCall(void (*fn)(void* context), void* context);

}  // namespace qv::platform
