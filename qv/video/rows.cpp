// The plain form of the row loops, and the choice between the forms.
#include "qv/video/detail/rows.h"

#include "qv/frame/cpu.h"
#include "qv/frame/detail/cpu.h"
#include "qv/video/detail/rows_loops.h"

namespace qv {

const RowForms kScalarRows = scalar::plainForms();

const RowForms& rowForms() {
  if (QvGetCPUSupport(QVCPU_SSE2) == 0) return kScalarRows;
  return cpuHasAvx2() ? kAvx2Rows : kSse2Rows;
}

}  // namespace qv
