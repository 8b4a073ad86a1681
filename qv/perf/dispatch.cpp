// Which kernels run. The decision is a table of bits, taken once; calls only index with it.
#include <atomic>

#include "qv/frame/detail/cpu.h"
#include "qv/perf/detail/kernels.h"

namespace qv::perf {
namespace {

// The middle rows differ in nothing that these kernels could use.
constexpr const Kernels* kRows[kDispatchRows] = {&kScalarKernels, &kSse2Kernels, &kSse2Kernels, &kSse2Kernels,
                                                 &kAvxKernels};

std::atomic<int> row{0};

constexpr uint32_t kMovbeBit = 1u << 22;  // CPUID leaf 1, ECX

// The public word's bits and those of the primitives' own word.
constexpr struct {
  uint32_t word;
  uint32_t feature;
} kFeatures[] = {
    {QVCPU_SSE2, kFeatureSse2},
    {QVCPU_SSE3, kFeatureSse3},
    {QVCPU_SSSE3, kFeatureSsse3},
    {QVCPU_SSE4_1, kFeatureSse41},
};

}  // namespace

// Through the allow mask, so that a restricted process gets the kernels of the lesser machine. MOVBE has no
// bit in the public word; it came with SSSE3 and goes with it.
uint32_t readFeatures(bool* identified) {
  uint32_t highest[4] = {}, leaf[4] = {};
  cpuPort().cpuid(0, 0, highest);
  *identified = highest[0] >= 1;
  if (!*identified) return 0;
  cpuPort().cpuid(1, 0, leaf);
  uint32_t features = 0;
  for (const auto& bit : kFeatures) {
    if (QvGetCPUSupport(bit.word) & bit.word) features |= bit.feature;
  }
  if ((features & kFeatureSsse3) && (leaf[2] & kMovbeBit)) features |= kFeatureMovbe;
  if (cpuHasAvx()) features |= kFeatureAvx;
  return features;
}

Dispatch chooseDispatch(uint32_t features) {
  if (features & kFeatureSse41) return {3, 0};
  const bool movbe = features & kFeatureMovbe, ssse3 = features & kFeatureSsse3;
  if (ssse3) return {2, movbe ? 1 : 0};
  return {features & kFeatureSse3 ? 1 : 0, 0};
}

int widestRow(Dispatch dispatch, uint32_t features) {
  return dispatch.index == 3 && (features & kFeatureAvx) ? kWideVectorIndex : dispatch.index;
}

const Kernels& kernels() {
  return *kRows[row.load(std::memory_order_relaxed)];
}

int currentRow() {
  return row.load(std::memory_order_relaxed);
}

void setRow(int index) {
  row.store(index, std::memory_order_relaxed);
}

}  // namespace qv::perf
