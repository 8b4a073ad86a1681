// The plain form of the scalers' row kernels, the cubic weights, and the choice between the forms.
#include "qv/video/detail/scale_forms.h"

#include "qv/frame/cpu.h"
#include "qv/frame/detail/cpu.h"
#define QV_FORM scalar
#include "qv/video/detail/scale_loops.h"

namespace qv {
namespace {

// Cubic convolution with a = -0.5, at distance d from the pixel.
double nearTap(double d) {
  return (1.5 * d - 2.5) * d * d + 1;
}
double farTap(double d) {
  return (-4 - (0.5 * d - 2.5) * d) * d + 2;
}

struct BuiltTables : CubicTables {
  BuiltTables() {
    for (int phase = 0; phase < 4096; ++phase) {
      const double t = phase / 4096.0;  // exact, and so is all that follows, up to the rounding to float
      const double weights[4] = {farTap(1 + t), nearTap(t), nearTap(1 - t), farTap(2 - t)};
      for (int tap = 0; tap < 4; ++tap) {
        real[phase][tap] = static_cast<float>(weights[tap]);
        whole[phase][tap] = static_cast<int16_t>(real[phase][tap] * 16384.0f);
      }
    }
  }
};

}  // namespace

const ScaleForms kScalarScale = scalar::plainScale();

const CubicTables& cubicTables() {
  static const BuiltTables tables;
  return tables;
}

const ScaleForms& scaleForms() {
  if (QvGetCPUSupport(QVCPU_SSE2) == 0) return kScalarScale;
  return cpuHasAvx2() ? kAvx2Scale : kSse2Scale;
}

}  // namespace qv
