// The system behind the module and long-path functions. Tests put another one in its place.
#pragma once

#include "qv/platform/base.h"

namespace qv::files {

struct Port {
  uint32_t (*moduleFileName)(HMODULE module, WCHAR* path, uint32_t capacity);
  uint32_t (*longPathName)(const WCHAR* path, WCHAR* longPath, uint32_t capacity);
};
Port& filesPort();

// The real system again.
void resetFilesPort();

}  // namespace qv::files
