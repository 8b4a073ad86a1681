// Windows path names on a system that has none: drive C: is the root of the file system.
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/base.h"

namespace qv::platform {

// A path of the system's as a Windows path: "/tmp/x" is "C:\tmp\x".
std::u16string windowsPath(std::string_view native);

// Makes a path full: drive, current folder, no "." and "..", backslashes. A slash at the end stays. False
// with the last error for a drive or a share that isn't there.
bool fullPath(std::u16string_view path, std::u16string* full);

// The system's name for a Windows path. False with the last error, also for a name that can't be.
bool nativePath(LPCWSTR path, std::string* native);

// The error that fits errno after an operation on this path: a missing file differs from a missing folder on
// the way to it.
DWORD errorOfPath(const std::string& native);

}  // namespace qv::platform
