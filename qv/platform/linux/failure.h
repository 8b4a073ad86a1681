// The last error for a failing operation, in one expression.
#pragma once

#include "qv/platform/base.h"

namespace qv::platform {

// Sets the last error and gives `result`: return failWith(ERROR_INVALID_HANDLE, nullptr);
template <typename T>
inline T failWith(DWORD error, T result) {
  SetLastError(error);
  return result;
}

inline BOOL fail(DWORD error) {
  return failWith(error, FALSE);
}

// The error of this layer that fits an errno of the C library's.
DWORD errorFromErrno(int error);

}  // namespace qv::platform
