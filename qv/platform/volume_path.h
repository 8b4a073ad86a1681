// Which volume a path lies on.
//
//   WCHAR volume[260];
//   if (GetVolumePathNameW(path, volume, 260)) use(volume);   // "C:\", or the folder that a disk is mounted
//   on
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

// The root of the volume that holds a path, with a backslash at its end; what of the path isn't there yet
// counts as lying in the folder above it. False: ERROR_FILENAME_EXCED_RANGE if it doesn't fit (another error
// on some systems), and the errors of GetFullPathNameW for a drive or a share that isn't there.
QV_API BOOL GetVolumePathNameW(LPCWSTR path, LPWSTR volume, DWORD capacity);

#endif
