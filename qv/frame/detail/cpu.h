// Inside the toolkit: what the processor itself says, for kernels that need more than the public word has.
//
//   static const auto row = qv::cpuHasAvx2() ? blendRowAvx2 : blendRow;
#pragma once

#include "qv/frame/cpu.h"

namespace qv {

// The features that CPUID reports, within the allow mask, whether or not the system can use them.
// mask: the bits asked for; 0 means all. Any thread.
uint32_t rawCpuSupport(uint32_t mask);

// Whether AVX, or AVX2, code may run: the processor has it, the system saves the wide registers, and the
// allow mask leaves QVCPU_AVX in. Any thread.
bool cpuHasAvx();
bool cpuHasAvx2();

// The processor's name, stripped of white space and unprintable characters. capacity: at least 49. Fails
// with kGeneralFailure and an unchanged buffer when the processor doesn't tell it. Any thread.
HRESULT cpuBrand(WCHAR* text, int32_t capacity);

// The maker's twelve characters. capacity: at least 13. Failure and threads as above.
HRESULT cpuVendor(WCHAR* text, int32_t capacity);

// Detects if nobody did; the word then has the allow mask and the class override worked in, whereas the
// first query keeps the word as found and masks each answer. For start-up.
void detectCpu();

// The machine that detection looks at. Tests put another one in its place.
struct CpuPort {
  void (*systemInfo)(uint32_t& processorType, uint32_t& processorCount);
  void (*cpuid)(uint32_t leaf, uint32_t subleaf, uint32_t registers[4]);  // EAX, EBX, ECX, EDX
  uint64_t (*enabledState)();       // extended control register 0; asked only if CPUID shows OSXSAVE
  uint32_t (*tryVectorRegister)();  // runs one SSE instruction; 0 or the exception's code
  uint32_t (*flushDenormals)();     // for the calling thread; 0 or the exception's code
};
CpuPort& cpuPort();

// As at load: nothing detected, all allowed, the real machine.
void resetCpu();

}  // namespace qv
