// Listing folders.
//
// A listing gives each name of a folder once, in the file system's order, and costs the same for each however
// many there are; deleting what was given doesn't disturb it. On Linux a listing looks for attributes kept in
// extended attributes only in folders where SetFileAttributesW left some.
//
//   WIN32_FIND_DATAW found;
//   HANDLE search = FindFirstFileW(TEXT("C:\\takes\\*.wav"), &found);
//   if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
//   do use(found.cFileName);
//   while (FindNextFileW(search, &found));
//   FindClose(search);
#pragma once

#include "qv/platform/files.h"

#ifndef _WIN32

constexpr DWORD IO_REPARSE_TAG_SYMLINK = 0xa000000cu;

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[260];
  WCHAR cAlternateFileName[14];
};
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

// Starts a listing and gives its first name. The last part of `path` is a name or a pattern: "*" stands for
// any characters, "?" for one (at the end of the name or before a dot also for none), "*.*" for every name,
// and case doesn't count. The other parts name a folder. "." and ".." are listed like other names, but not of
// a root. A link is listed as itself: FILE_ATTRIBUTE_REPARSE_POINT, dwReserved0 IO_REPARSE_TAG_SYMLINK, size
// 0. INVALID_HANDLE_VALUE on failure: ERROR_FILE_NOT_FOUND if nothing matches, ERROR_PATH_NOT_FOUND,
// ERROR_DIRECTORY if the folder is a file, ERROR_INVALID_NAME. One thread at a time.
QV_API HANDLE FindFirstFileW(LPCWSTR path, WIN32_FIND_DATAW* found);

// The next name; false with ERROR_NO_MORE_FILES behind the last.
QV_API BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found);

// Ends a listing. CloseHandle is not for these handles.
QV_API BOOL FindClose(HANDLE search);

#endif
