// Files and folders.
//
// Paths are Windows paths on both builds. On Linux one drive, C:, is the root of the file system, both
// slashes separate, and "/tmp/x" and "C:\tmp\x" name one file; the names that come back have drive and
// backslashes. Another drive fails with ERROR_PATH_NOT_FOUND, a share with ERROR_BAD_NETPATH. Names are
// UTF-8 in the file system; Linux keeps their case apart, which no caller may rely on.
//
// Dots and blanks at the end of a path don't count. A name with one of <>:"|?* (also the ":" of a stream) or
// of more than 255 characters gives ERROR_INVALID_NAME, a full path of 260 characters and more
// ERROR_PATH_NOT_FOUND (a folder to be made, from 248 on, ERROR_FILENAME_EXCED_RANGE). The prefix "\\?\"
// lifts the limit and takes the rest as it is. The last names CON, PRN, AUX, NUL, COM1 to COM9 and LPT1 to
// LPT9, with any extension, are devices: on Linux NUL can be opened, of the others there is none.
//
// On Linux a name that holds what Windows names can't (a backslash, a colon, a dot or blank at its end, bytes
// that aren't UTF-8) has the character U+F000 plus the byte in that place, both ways.
//
// A symbolic link has attributes of its own: FILE_ATTRIBUTE_REPARSE_POINT, with DIRECTORY if it leads to a
// folder. Opening and copying follow it; deleting, removing and moving take the link itself.
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
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20, FILE_ATTRIBUTE_NORMAL = 0x80, FILE_ATTRIBUTE_SYSTEM = 4;
constexpr DWORD FILE_ATTRIBUTE_DEVICE = 0x40, FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000u, FILE_FLAG_RANDOM_ACCESS = 0x10000000u;
constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000u, FILE_FLAG_BACKUP_SEMANTICS = 0x02000000u;
constexpr DWORD INVALID_FILE_SIZE = 0xffffffffu, INVALID_SET_FILE_POINTER = 0xffffffffu;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xffffffffu;
constexpr DWORD FILE_BEGIN = 0, FILE_CURRENT = 1, FILE_END = 2;
constexpr DWORD FILE_TYPE_UNKNOWN = 0, FILE_TYPE_DISK = 1, FILE_TYPE_CHAR = 2, FILE_TYPE_PIPE = 3;
constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1, MOVEFILE_COPY_ALLOWED = 2, MOVEFILE_WRITE_THROUGH = 8;
constexpr DWORD STD_INPUT_HANDLE = 0xfffffff6u, STD_OUTPUT_HANDLE = 0xfffffff5u;
constexpr DWORD STD_ERROR_HANDLE = 0xfffffff4u;

enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard };

struct WIN32_FILE_ATTRIBUTE_DATA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
};
static_assert(sizeof(WIN32_FILE_ATTRIBUTE_DATA) == 36);

// Opens or makes a file. `access`: GENERIC_READ, GENERIC_WRITE, both or 0; `share`: what others may do
// meanwhile, held against everyone in this process (on Linux not against other processes); `disposition`: as
// named; `attributes` of a new file, with hints that may be ignored; FILE_FLAG_BACKUP_SEMANTICS opens a
// folder too, for its times. The caller closes. After CREATE_ALWAYS and OPEN_ALWAYS the last error says
// ERROR_ALREADY_EXISTS or 0. INVALID_HANDLE_VALUE on failure: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a
// folder on the way), ERROR_ACCESS_DENIED (also a folder, and writing to a read-only file),
// ERROR_SHARING_VIOLATION, ERROR_FILE_EXISTS, ERROR_INVALID_NAME, ERROR_INVALID_PARAMETER.
QV_API HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD attributes, HANDLE model);

// Reads up to `bytes` bytes at the file position and moves it. A disk file gives fewer only at its end, and
// there true with 0; a pipe gives what is there, and false with ERROR_BROKEN_PIPE when the other side is
// gone. `read` is not null, `overlapped` is null.
QV_API BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, DWORD* read, OVERLAPPED* overlapped);

// Writes all the bytes at the file position and moves it. False on failure: ERROR_DISK_FULL,
// ERROR_ACCESS_DENIED for a handle without write access.
QV_API BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, DWORD* written, OVERLAPPED* overlapped);

// Gives the low half of the size, `high` (null allowed) the high half; INVALID_FILE_SIZE on failure, and
// NO_ERROR as the last error when that is the half itself.
QV_API DWORD GetFileSize(HANDLE file, DWORD* high);

// The size of a file in bytes.
QV_API BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);

// Moves the file position, also beyond the end, and gives it in `position` (null allowed). A place before
// the start gives false and ERROR_NEGATIVE_SEEK, and nothing moves.
QV_API BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method);

// The same with the distance and the position in halves; `high` null: a signed 32-bit distance, and
// ERROR_INVALID_PARAMETER for a position beyond 32 bits. INVALID_SET_FILE_POINTER on failure, and NO_ERROR as
// the last error when that is the half itself.
QV_API DWORD SetFilePointer(HANDLE file, LONG distance, LONG* high, DWORD method);

// Cuts or lengthens the file at the file position; new bytes are zero.
QV_API BOOL SetEndOfFile(HANDLE file);

// Brings what was written to the disk. Wants write access.
QV_API BOOL FlushFileBuffers(HANDLE file);

// The times of a file or folder, each null if not wanted. Linux gives as creation time what the file system
// knows of it, else the earliest of the others.
QV_API BOOL GetFileTime(HANDLE file, FILETIME* created, FILETIME* accessed, FILETIME* written);

// Sets them; null and a time of 0 leave one as it is. Wants write access. The creation time can't be set on
// Linux and is passed over.
QV_API BOOL SetFileTime(HANDLE file, const FILETIME* created, const FILETIME* accessed,
                        const FILETIME* written);

// FILE_ATTRIBUTE_ bits, or INVALID_FILE_ATTRIBUTES with the errors of CreateFileW. A device gives ARCHIVE. On
// Linux READONLY is a file that no one may write; HIDDEN, SYSTEM and ARCHIVE are what SetFileAttributesW
// left, and without that HIDDEN is a leading dot and ARCHIVE every file.
QV_API DWORD GetFileAttributesW(LPCWSTR path);

// Sets READONLY, HIDDEN, SYSTEM and ARCHIVE; FILE_ATTRIBUTE_NORMAL or 0 clears them. What the file system
// can't hold is dropped without a word (Linux: what isn't READONLY of a file, where there are no extended
// attributes; everything of a link). Clearing READONLY lets the owner write again.
QV_API BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes);

// Attributes, times and size without opening; the errors of GetFileAttributesW. `data` is a
// WIN32_FILE_ATTRIBUTE_DATA; a link has size 0.
QV_API BOOL GetFileAttributesExW(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data);

// Makes one folder. False: ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND if the one above is missing,
// ERROR_DIRECTORY for a device's name.
QV_API BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);

// Removes an empty folder, or a link to a folder. False: ERROR_DIR_NOT_EMPTY, ERROR_DIRECTORY for a file,
// ERROR_ACCESS_DENIED for a read-only one.
QV_API BOOL RemoveDirectoryW(LPCWSTR path);

// Deletes a file, or a link to one. False: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED (a folder, a read-only
// file), ERROR_SHARING_VIOLATION when it is open without FILE_SHARE_DELETE.
QV_API BOOL DeleteFileW(LPCWSTR path);

// Renames a file or folder; with MOVEFILE_REPLACE_EXISTING a file that is there gives way in one step, else
// ERROR_ALREADY_EXISTS; with MOVEFILE_COPY_ALLOWED a file may go to another volume, else
// ERROR_NOT_SAME_DEVICE. A file open without FILE_SHARE_DELETE gives ERROR_SHARING_VIOLATION.
QV_API BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);

// The same with MOVEFILE_COPY_ALLOWED.
QV_API BOOL MoveFileW(LPCWSTR from, LPCWSTR to);

// Copies a file with its attributes and last write time. A target that is there is replaced, or with
// `failIfExists` ERROR_FILE_EXISTS; a read-only target and a folder give ERROR_ACCESS_DENIED, a file in
// exclusive use or the source itself ERROR_SHARING_VIOLATION, a full disk ERROR_DISK_FULL. On failure no part
// of a new target stays; on Linux a target that was there is then as it was. Holes stay holes, and a file
// system that can share blocks does.
QV_API BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists);

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
