// The scalers' row kernels in 128-bit vectors.
#define QV_FORM sse2

#include <emmintrin.h>

#include "qv/video/detail/scale_loops.h"

namespace qv {

const ScaleForms kSse2Scale = sse2::plainScale();

}  // namespace qv
