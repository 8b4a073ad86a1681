// The kernel tables behind QvXCHGGetFunctionPointers.
#pragma once

#include "qv/video/kernels.h"

namespace qv {

struct ReadKernels {
  QvXchgKernel read1, readBilinear, readQuad, read4, readVertical, readBilinearAlt;
};
struct WriteKernels {
  QvXchgKernel write1, write4;
};
struct BlendKernels {
  QvXchgKernel blend1, blend4;
  QvXchgMaskKernel blendMask1, blendMask4;
};

// Rows of the read table: the route's own, and one more where widening is exact and interpolation real.
inline constexpr uint32_t kRowPivot16 = 0, kRowBytes = 2, kRowFloat = 4, kRowCount = 6;

// Null where a type has no such route.
const ReadKernels* readKernels(uint32_t row, int32_t type);
const WriteKernels* writeKernels(uint32_t row, int32_t type);

// row: 0 for 16-bit pivots, 2 for bytes, plus 1 for rounding. Null for an operator that does not exist.
const BlendKernels* blendKernels(uint32_t row, int32_t operatorCode);

}  // namespace qv
