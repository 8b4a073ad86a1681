// The last error for a failing operation, in one expression.
#pragma once

#include <string_view>

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

// Gives a text to a caller's buffer the way most operations do: the characters without the terminator, or the
// capacity that it takes if this one is too small.
inline DWORD giveText(std::u16string_view text, LPWSTR buffer, DWORD capacity) {
  auto length = static_cast<DWORD>(text.size());
  if (!buffer || capacity <= length) return length + 1;
  text.copy(buffer, length);
  buffer[length] = 0;
  return length;
}

}  // namespace qv::platform
