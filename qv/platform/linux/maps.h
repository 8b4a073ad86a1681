// The process's own mappings, read from the system with the stack alone: a fault may be asking.
#pragma once

#include "qv/platform/exceptions.h"

namespace qv::platform {

// What lies at an address; false beyond the user's addresses.
bool findMapping(uintptr_t address, MEMORY_BASIC_INFORMATION* information);

// The file whose mapping begins at an address: the length of its path, 0 if there is none, or if it doesn't
// fit. Not terminated.
size_t mappedFile(uintptr_t base, char* path, size_t capacity);

}  // namespace qv::platform
