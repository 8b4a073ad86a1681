// What a file handle stands on, for families that talk to the system themselves.
#pragma once

#include "qv/platform/base.h"

namespace qv::platform {

// The descriptor of an open file, which stays the handle's; -1 for what is no file.
int descriptorOf(HANDLE file);

}  // namespace qv::platform
