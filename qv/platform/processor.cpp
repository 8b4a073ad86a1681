#include "qv/platform/processor.h"

#include <xmmintrin.h>
#ifdef _MSC_VER
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace qv::platform {

void cpuid(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]) {
#ifdef _MSC_VER
  __cpuidex(reinterpret_cast<int*>(regs), static_cast<int>(leaf), static_cast<int>(subleaf));
#else
  __cpuid_count(leaf, subleaf, regs[0], regs[1], regs[2], regs[3]);
#endif
}

uint32_t readMxcsr() {
  return _mm_getcsr();
}

void writeMxcsr(uint32_t value) {
  _mm_setcsr(value);
}

}  // namespace qv::platform
