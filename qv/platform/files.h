// Files and folders.
//
// Paths are Windows paths on both builds. On Linux one drive, C:, is the root of the file system, both
// slashes separate, and "/tmp/x" and "C:\tmp\x" name one file; the names that come back have drive and
// backslashes. Another drive fails with ERROR_PATH_NOT_FOUND, a share with ERROR_BAD_NETPATH. Names are
// UTF-8 in the file system; Linux keeps their case apart, which no caller may rely on.
//
//   HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
//   if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
#pragma once

#include "qv/platform/base.h"
#include "qv/platform/sync.h"

#ifndef _WIN32

struct OVERLAPPED;

constexpr DWORD GENERIC_READ = 0x80000000u, GENERIC_WRITE = 0x40000000u;
constexpr DWORD FILE_SHARE_READ = 1, FILE_SHARE_WRITE = 2, FILE_SHARE_DELETE = 4;
constexpr DWORD CREATE_NEW = 1, CREATE_ALWAYS = 2, OPEN_EXISTING = 3, OPEN_ALWAYS = 4, TRUNCATE_EXISTING = 5;
constexpr DWORD FILE_ATTRIBUTE_READONLY = 1, FILE_ATTRIBUTE_HIDDEN = 2, FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20, FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000u, FILE_FLAG_RANDOM_ACCESS = 0x10000000u;
constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000u;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xffffffffu;
constexpr DWORD FILE_BEGIN = 0, FILE_CURRENT = 1, FILE_END = 2;
constexpr DWORD FILE_TYPE_UNKNOWN = 0, FILE_TYPE_DISK = 1, FILE_TYPE_CHAR = 2, FILE_TYPE_PIPE = 3;
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1, MOVEFILE_COPY_ALLOWED = 2, MOVEFILE_WRITE_THROUGH = 8;
constexpr DWORD STD_INPUT_HANDLE = 0xfffffff6u, STD_OUTPUT_HANDLE = 0xfffffff5u;
constexpr DWORD STD_ERROR_HANDLE = 0xfffffff4u;

// Opens or makes a file. `access`: GENERIC_READ, GENERIC_WRITE, both or 0; `share`: what others may do
// meanwhile, held against everyone in this process (on Linux not against other processes); `disposition`: as
// named; `attributes` of a new file, with hints that may be ignored. The caller closes. After CREATE_ALWAYS
// and OPEN_ALWAYS the last error says ERROR_ALREADY_EXISTS or 0. INVALID_HANDLE_VALUE on failure:
// ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a folder on the way), ERROR_ACCESS_DENIED (also a folder, and
// writing to a read-only file), ERROR_SHARING_VIOLATION, ERROR_FILE_EXISTS, ERROR_INVALID_NAME,
// ERROR_INVALID_PARAMETER.
QV_API HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD attributes, HANDLE model);

// Reads up to `bytes` bytes at the file position and moves it. A disk file gives fewer only at its end, and
// there true with 0; a pipe gives what is there, and false with ERROR_BROKEN_PIPE when the other side is
// gone. `read` is not null, `overlapped` is null.
QV_API BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, DWORD* read, OVERLAPPED* overlapped);

// Writes all the bytes at the file position and moves it. False on failure: ERROR_DISK_FULL,
// ERROR_ACCESS_DENIED for a handle without write access.
QV_API BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, DWORD* written, OVERLAPPED* overlapped);

// The size of a file in bytes.
QV_API BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);

// Moves the file position, also beyond the end, and gives it in `position` (null allowed). A place before
// the start gives false and ERROR_NEGATIVE_SEEK, and nothing moves.
QV_API BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method);

// Cuts or lengthens the file at the file position; new bytes are zero.
QV_API BOOL SetEndOfFile(HANDLE file);

// Brings what was written to the disk. Wants write access.
QV_API BOOL FlushFileBuffers(HANDLE file);

// FILE_ATTRIBUTE_ bits, or INVALID_FILE_ATTRIBUTES with the errors of CreateFileW. Linux knows DIRECTORY,
// READONLY (no one may write) and HIDDEN (a leading dot); a file with neither is ARCHIVE.
QV_API DWORD GetFileAttributesW(LPCWSTR path);

// Makes one folder. False: ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND if the one above is missing.
QV_API BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);

// Removes an empty folder. False: ERROR_DIR_NOT_EMPTY, ERROR_DIRECTORY for a file.
QV_API BOOL RemoveDirectoryW(LPCWSTR path);

// Deletes a file. False: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED (a folder, a read-only file),
// ERROR_SHARING_VIOLATION when it is open without FILE_SHARE_DELETE.
QV_API BOOL DeleteFileW(LPCWSTR path);

// Renames a file or folder; with MOVEFILE_REPLACE_EXISTING a file that is there gives way in one step, else
// ERROR_ALREADY_EXISTS; with MOVEFILE_COPY_ALLOWED a file may go to another volume, else
// ERROR_NOT_SAME_DEVICE. A file open without FILE_SHARE_DELETE gives ERROR_SHARING_VIOLATION.
QV_API BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);

// The process's own handle of this stream (STD_OUTPUT_HANDLE and its like); not to be closed. Null if the
// process has none.
QV_API HANDLE GetStdHandle(DWORD which);

// What the handle is: disk, character device or pipe; FILE_TYPE_UNKNOWN for what is no file.
QV_API DWORD GetFileType(HANDLE file);

// The current folder, without a slash at the end unless it is a root: the characters without the terminator,
// or the capacity that it takes if that is too small.
QV_API DWORD GetCurrentDirectoryW(DWORD capacity, LPWSTR path);

// Sets the current folder of the process.
QV_API BOOL SetCurrentDirectoryW(LPCWSTR path);

// Makes a path full: current folder added, "." and ".." resolved, slashes made backslashes; the file need
// not exist. Results as for GetCurrentDirectoryW; `filePart` (null allowed) points to the last name, or is
// null if the path ends in a slash.
QV_API DWORD GetFullPathNameW(LPCWSTR path, DWORD capacity, LPWSTR full, LPWSTR* filePart);

// The long form of a path whose names may be short ones; the file has to exist. Results as for
// GetCurrentDirectoryW, and 0 with the errors of GetFileAttributesW. On Linux, which has no short names, the
// path as it is.
QV_API DWORD GetLongPathNameW(LPCWSTR path, LPWSTR longPath, DWORD capacity);

// The folder for temporary files, with a backslash at the end. Results as for GetCurrentDirectoryW.
QV_API DWORD GetTempPathW(DWORD capacity, LPWSTR path);

#endif
