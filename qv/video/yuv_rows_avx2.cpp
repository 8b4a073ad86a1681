// The row loops of the YUV conversions in 256-bit vectors.
#define QV_FORM avx2

#include "qv/video/detail/yuv_loops.h"

namespace qv {

const YuvForms kAvx2Yuv = avx2::plainYuvForms();

}  // namespace qv
