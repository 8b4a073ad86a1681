// Volumes: their room and their kind.
//
//   ULARGE_INTEGER free;
//   if (GetDiskFreeSpaceExW(folder, &free, nullptr, nullptr)) use(free.QuadPart);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

constexpr DWORD ERROR_BAD_LENGTH = 24, ERROR_DIR_NOT_ROOT = 144;
constexpr DWORD FILE_CASE_SENSITIVE_SEARCH = 1, FILE_CASE_PRESERVED_NAMES = 2, FILE_UNICODE_ON_DISK = 4;

// Bytes free to the caller, in all, and free on the volume that holds a folder (null: the current one); each
// may be null. False with the errors of GetFileAttributesW, or ERROR_DIRECTORY for a file.
QV_API BOOL GetDiskFreeSpaceExW(LPCWSTR folder, ULARGE_INTEGER* available, ULARGE_INTEGER* total,
                                ULARGE_INTEGER* free);

// What is known of the volume with this root ("C:\\", on Linux also the folder that it is mounted on, with a
// backslash at its end; null: the current folder's): label, serial number, longest name, FILE_ flags and the
// kind of file system. All may be null; capacities in characters. Linux knows no labels and calls its own
// file systems "NTFS", which tells callers that large files have a place there; "FAT32" and "exFAT" are
// those. False: ERROR_INVALID_NAME without the backslash, ERROR_DIR_NOT_ROOT for another folder,
// ERROR_PATH_NOT_FOUND, ERROR_BAD_LENGTH for a small buffer.
QV_API BOOL GetVolumeInformationW(LPCWSTR root, LPWSTR label, DWORD labelCapacity, DWORD* serial,
                                  DWORD* longestName, DWORD* flags, LPWSTR kind, DWORD kindCapacity);

#endif
