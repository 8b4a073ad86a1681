// The row loops of the YUV conversions in 128-bit vectors.
#define QV_FORM sse2

#include "qv/video/detail/yuv_loops.h"

namespace qv {

const YuvForms kSse2Yuv = sse2::plainYuvForms();

}  // namespace qv
