// Files as memory.
//
//   HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
//   void* view = mapping ? MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0) : nullptr;
//   ...
//   UnmapViewOfFile(view);
//   CloseHandle(mapping);
//
// Nobody may cut a file shorter while it is mapped: Windows refuses that, elsewhere reading what is gone ends
// the process.
#pragma once

#include "qv/platform/files.h"
#include "qv/platform/pages.h"

#ifndef _WIN32

constexpr DWORD ERROR_INVALID_ADDRESS = 487, ERROR_FILE_INVALID = 1006, ERROR_MAPPED_ALIGNMENT = 1132;
constexpr DWORD FILE_MAP_WRITE = 2, FILE_MAP_READ = 4;

// A mapping of a file that was opened for reading: PAGE_READONLY, or with write access PAGE_READWRITE. A size
// of 0 is the file's; a larger one lengthens a writable file. `name` is null. The caller closes; file and
// mapping may be closed while views stand. Null on failure: ERROR_FILE_INVALID for an empty file and size 0,
// ERROR_ACCESS_DENIED for a handle that may not do that, ERROR_NOT_ENOUGH_MEMORY for a size beyond the end of
// a file that is only read.
QV_API HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection, DWORD sizeHigh,
                                 DWORD sizeLow, LPCWSTR name);

// A view of `bytes` bytes, 0 for all to the end, from an offset that is a multiple of the system's allocation
// granularity. Null on failure: ERROR_MAPPED_ALIGNMENT, ERROR_ACCESS_DENIED (beyond the end, or writing to a
// mapping for reading).
QV_API LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);

// Ends the view that starts at this address. False with ERROR_INVALID_ADDRESS if there is none.
QV_API BOOL UnmapViewOfFile(LPCVOID view);

#endif
