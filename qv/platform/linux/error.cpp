#include "qv/platform/base.h"

namespace {
thread_local DWORD lastError = 0;
}

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD error) {
  lastError = error;
}
