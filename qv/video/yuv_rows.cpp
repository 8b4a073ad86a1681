// The plain form of the row loops, and the choice between the forms.
#include "qv/video/detail/yuv_rows.h"

#include <atomic>

#include "qv/frame/cpu.h"
#include "qv/frame/detail/cpu.h"
#include "qv/video/detail/yuv_loops.h"

namespace qv {
namespace {

std::atomic<const YuvForms*> chosen;

const YuvForms* choose() {
  if (QvGetCPUSupport(QVCPU_SSE2) == 0) return &kScalarYuv;
  return cpuHasAvx2() ? &kAvx2Yuv : &kSse2Yuv;
}

}  // namespace

const YuvForms kScalarYuv = scalar::plainYuvForms();

// Two threads that come first at the same time choose the same.
const YuvForms& yuvForms() {
  const YuvForms* forms = chosen.load(std::memory_order_relaxed);
  if (forms == nullptr) {
    forms = choose();
    chosen.store(forms, std::memory_order_relaxed);
  }
  return *forms;
}

void forgetYuvForms() {
  chosen.store(nullptr, std::memory_order_relaxed);
}

}  // namespace qv
