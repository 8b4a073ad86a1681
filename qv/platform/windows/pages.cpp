#include "qv/platform/pages.h"

namespace qv::platform {

// PrefetchVirtualMemory brings in what lies on a disk only.
void prefaultPages(void*, SIZE_T) {}

}  // namespace qv::platform
