// Single files and folders: what is there, how large and how old, what can be done with it, and new ones.
//
//   if (!QvCreateDirectory(folder, nullptr)) return kCannotCreateFile;
//   WCHAR path[260];
//   HRESULT status = QvCreateTempFileAndNameEx(folder, TEXT("take "), TEXT(".wav"), TEXT("%03d"), path, 260);
//   // "...\take 001.wav", or the first number that was free; the file is there
//
// Paths are Windows paths on both builds and never null unless said otherwise; capacities count the
// terminator. Nothing keeps state: any thread may call. What a failure leaves is said with each function;
// where a status is a system error it is that error as an HRESULT.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"
#include "qv/platform/files.h"
#include "qv/platform/stream.h"

// ---- What is there

// 1 when a plain file is there: no folder, no device, and with `hideHidden` nonzero no hidden one.
QV_API int32_t QvDoesFileExist(const WCHAR* path, int32_t hideHidden);

// 1 when the file is there and opens for writing; it is left as it is.
QV_API int32_t QvIsFileWritable(const WCHAR* path);

// 1 when the file is a program or library of Windows. `file`: open for reading, with a position; afterwards
// it stands at its start. `machine`, `subsystem` (null allowed): receive the two words of its header, and
// keep what they hold when it is none. One thread a handle.
QV_API int32_t QvIsFileExecutable(HANDLE file, uint16_t* machine, uint16_t* subsystem);

// The same by name: 0, 0x8004e00b for another file, the system error when it can't be opened.
QV_API HRESULT QvGetFileExecutableInfo(const WCHAR* path, uint16_t* machine, uint16_t* subsystem);

// The size in bytes: 0, 0x80070057 for a null `size`, or the system error with `size` 0.
QV_API HRESULT QvGetFileSizeByName(const WCHAR* path, uint64_t* size);

// ---- Space

// The space on the disk of a path, free for the caller or in all, in units of `unit` bytes (0: 1) and at most
// 0xffffffff. A path without a root or on a disk that doesn't answer gives 0, of a share 0xffffffff.
QV_API uint32_t QvGetDiskFreeSpace(const WCHAR* path, uint32_t unit);
QV_API uint32_t QvGetDiskTotalSpace(const WCHAR* path, uint32_t unit);

// ---- Times

// Date and time of two 32-bit words. `date`: month in bits 24 to 31, day in 16 to 23, year in 0 to 15.
// `time`: hour, minute, second and hundredths, a byte each, from high to low.
struct QVDATETIME {
  uint32_t date;
  uint32_t time;
};
static_assert(sizeof(QVDATETIME) == 8 && offsetof(QVDATETIME, time) == 4);

// The time now, as the user's clock shows it. `now`: not null.
QV_API void QvGetDateTime(QVDATETIME* now);

// When the file was last written, on the user's clock or in UTC: the DOS date in bits 16 to 31, the DOS time
// (two-second steps) in bits 0 to 15; 0 on failure.
QV_API uint32_t QvDosGetDateTime(const WCHAR* path);
QV_API uint32_t QvDosGetDateTimeUTC(const WCHAR* path);

// ---- New files and folders

// Makes a folder and those above it; 1 when it is there at the end. Needs a root that is there, of three
// characters at least; 0 also for a path of 260 characters or more, and for one with two backslashes in a row
// behind its root. `security`: of the new folders, null for the usual.
QV_API int32_t QvCreateDirectory(const WCHAR* path, SECURITY_ATTRIBUTES* security);

// Makes an empty file with a name of its own, "folder\prefix1suffix" or the next number that is free, and
// writes its path. `format`: prints the number, at most 39 characters; null for "%d". Any of `folder`,
// `prefix` and `suffix` may be null, not all three. The caller deletes the file. 0, or with an empty text:
// 0x80070057 (nothing to build a name from, no buffer), 0x80004005 (doesn't fit, or `format` ignores the
// number), or the toolkit's status for the system error.
QV_API HRESULT QvCreateTempFileAndNameEx(const WCHAR* folder, const WCHAR* prefix, const WCHAR* suffix,
                                         const WCHAR* format, WCHAR* buffer, int32_t capacity);

// The same in the usual numbers. `prefix`: with the folder in front of it.
QV_API HRESULT QvCreateTempFileAndName(const WCHAR* prefix, const WCHAR* suffix, WCHAR* buffer,
                                       int32_t capacity);

// Writes the path of a folder that isn't there yet: "folder\name", else "folder\name1" and on. It is not
// made; a file of that name counts as free. 0, 0x80070057 (a null, fewer than 260 characters of room), or
// 0x80004005 with an empty text after 65,536 tries or if it doesn't fit.
QV_API HRESULT QvGetUniqueSubFolder(const WCHAR* folder, const WCHAR* name, WCHAR* buffer, int32_t capacity);

// 1 when a file can be made in the folder. One is made for the test, and deleted.
QV_API int32_t QvIsDirectoryWritable(const WCHAR* folder);

// ---- Reading

// As ReadFile, for tables of functions that read.
QV_API BOOL QvReadFile(HANDLE file, void* buffer, DWORD bytes, DWORD* read, OVERLAPPED* overlapped);

// As IStream::Read, likewise. `read`: null allowed where the stream allows it.
QV_API HRESULT QvReadIStream(IStream* stream, void* buffer, ULONG bytes, ULONG* read);
