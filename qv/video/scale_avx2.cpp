// The scalers' row kernels in 256-bit vectors.
#define QV_FORM avx2

#include <immintrin.h>

#include "qv/video/detail/scale_loops.h"

namespace qv {

const ScaleForms kAvx2Scale = avx2::plainScale();

}  // namespace qv
