// A pixel that is covered in part.
#pragma once

#include "qv/video/kernels.h"

namespace qv {

// Mixes a new pixel (pivot 0) with the old one in the route that both contexts have. cover: 0 to 16384.
void QvBlendCoverage(QvXchgContext* pixel, const QvXchgContext& old, uint32_t cover);

}  // namespace qv
