// The transfer curve inside the pixel loops.
#pragma once

#include "qv/video/kernels.h"

namespace qv {

// The curve's exact value. Not inlined on purpose: pow is the same code for every vector form.
float bend(const QvGammaCurve& curve, float x);

// The curve's value by its table: the straight line between two entries. Values outside 0..1 are exact.
float bendByTable(const QvGammaCurve& curve, float x);

inline const QvGammaCurve* activeOrNull(const QvGammaCurve& curve) {
  return curve.active != 0 ? &curve : nullptr;
}

}  // namespace qv
