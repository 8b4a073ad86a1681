// Windows path names on a system that has none: drive C: is the root of the file system.
//
// A name of the system's may hold what no Windows name can: a backslash, a colon, a dot at its end, bytes
// that aren't UTF-8. Each such byte is shown as the character U+F000 plus its value, and taken back from
// there, so that whatever a listing gives can be opened and no name can pass for a path.
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/base.h"

namespace qv::platform {

// The longest name in a path, and the limit of a folder to be made: it has to hold a short name of twelve.
constexpr size_t kMaxName = 255, kMaxFolderPath = MAX_PATH - 12;

// One name of the system's (no path, neither "." nor "..") as Windows sees it, and back.
std::u16string nameFromNative(std::string_view name);
std::string nativeFromName(std::u16string_view name);

// A path of the system's as a Windows path: "/tmp/x" is "C:\tmp\x".
std::u16string windowsPath(std::string_view native);

// Makes a path full: drive, current folder, no "." and "..", backslashes. A slash at the end stays, and so
// does the prefix of a verbatim path; a device's name gives "\\.\NUL" and its like. False with the last error
// for a drive or a share that isn't there.
bool fullPath(std::u16string_view path, std::u16string* full);

// The system's name for a Windows path. False with the last error, also for a name that can't be, for a
// device and for a full path of `limit` characters and more without the verbatim prefix.
bool nativePath(LPCWSTR path, std::string* native, size_t limit = MAX_PATH);

// Whether a path means this device, or with no name any device.
bool isDevice(LPCWSTR path, std::u16string_view name = {});

// The folder that a path of the system's is in.
std::string folderOf(std::string path);

// The error that fits errno after an operation on this path: a missing file differs from a missing folder on
// the way to it.
DWORD errorOfPath(const std::string& native);

}  // namespace qv::platform
