// File names as text: their order for people, their parts, and steps through 8-bit ones.
//
//   std::sort(names, names + count, [](LPCWSTR a, LPCWSTR b) { return StrCmpLogicalW(a, b) < 0; });
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <shlwapi.h>
#include <wchar.h>

#else

// Compares as people sort names: case doesn't count, runs of digits compare as numbers of any length, and a
// digit comes before anything else. Negative, 0 or positive.
QV_API int StrCmpLogicalW(LPCWSTR a, LPCWSTR b);

// Takes a path apart: drive with its colon, folder with its last separator, name, extension with its dot (the
// last in the name). Each part may be null with capacity 0. 0, or EINVAL for such a mismatch and a null path,
// or ERANGE for a part that doesn't fit; all parts are then empty.
QV_API int _wsplitpath_s(const WCHAR* path, WCHAR* drive, size_t driveCapacity, WCHAR* folder,
                         size_t folderCapacity, WCHAR* name, size_t nameCapacity, WCHAR* extension,
                         size_t extensionCapacity);

#endif
