// The registry: a tree of keys with named, typed values, one hive for the user and one for the machine.
//
//   HKEY key = nullptr;
//   if (RegOpenKeyExW(HKEY_CURRENT_USER, TEXT("Software\\Example"), 0, KEY_READ, &key) == ERROR_SUCCESS) {
//     DWORD value = 0, size = sizeof(value);
//     RegQueryValueExW(key, TEXT("Count"), nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
//     RegCloseKey(key);
//   }
//
// On Linux a hive is a SQLite database: the user's is qv/user.registry in the user's configuration folder
// (XDG_CONFIG_HOME, else ~/.config); the machine's is qv/machine.registry beside it, or for root in the
// system's configuration folder (the first of XDG_CONFIG_DIRS, else /etc/xdg). Several processes may use them
// at once, and a process that is killed leaves the last complete value. A damaged database is set aside under
// the name ….damaged, never overwritten: the operation that meets it gives ERROR_REGISTRY_CORRUPT, later ones
// work on a new one. All operations give a system error code, 0 for success, and may be called from any
// thread.
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

struct HKEY__;
using HKEY = HKEY__*;
using REGSAM = DWORD;
using LSTATUS = LONG;

#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000001u)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000002u)))

inline constexpr REGSAM KEY_QUERY_VALUE = 1, KEY_SET_VALUE = 2, KEY_CREATE_SUB_KEY = 4,
                        KEY_ENUMERATE_SUB_KEYS = 8, KEY_READ = 0x20019, KEY_WRITE = 0x20006,
                        KEY_ALL_ACCESS = 0xf003f;
inline constexpr DWORD REG_NONE = 0, REG_SZ = 1, REG_EXPAND_SZ = 2, REG_BINARY = 3, REG_DWORD = 4,
                       REG_MULTI_SZ = 7, REG_QWORD = 11;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0, REG_CREATED_NEW_KEY = 1, REG_OPENED_EXISTING_KEY = 2;
inline constexpr DWORD ERROR_REGISTRY_CORRUPT = 1015, ERROR_REGISTRY_IO_FAILED = 1016,
                       ERROR_KEY_DELETED = 1018;

// Opens a key below `key` (a predefined or an open one), making it and those above it where they are missing.
// `access` is what the new handle allows to values and to listing; making and deleting keys hangs on no handle's
// access. `disposition` (null allowed) tells which it was. Class, options and security are not looked at. The
// caller closes the handle. 161 for a path with an empty or over-long part.
QV_API LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                               REGSAM access, void* security, HKEY* opened, DWORD* disposition);
// The same with every access, in fewer words.
QV_API LSTATUS RegCreateKeyW(HKEY key, LPCWSTR path, HKEY* opened);
// The same for a key that must exist; 2 when it does not. A null or empty path opens `key` once more.
QV_API LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD options, REGSAM access, HKEY* opened);
// Ends a handle; a predefined one stays.
QV_API LSTATUS RegCloseKey(HKEY key);
// Reads a value: its type and its bytes, each optional. `size` holds the capacity and receives the bytes that
// the value has. 2 when there is none; 234 with `data` untouched when the capacity is too small.
QV_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* size);
// Writes a value whole; a null name is the key's unnamed value.
QV_API LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size);
QV_API LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);
// Deletes a key without sub-keys, with its values; 5 when it has sub-keys.
QV_API LSTATUS RegDeleteKeyW(HKEY key, LPCWSTR path);
// Deletes a key with all that is below it; a null path empties `key` and leaves it.
QV_API LSTATUS RegDeleteTreeW(HKEY key, LPCWSTR path);
// The index-th sub-key, or value, in the order of names: 259 behind the last, 234 when a capacity (in
// characters with the terminator) is too small. Class and time may be null and stay untouched.
QV_API LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameCapacity, DWORD* reserved,
                             LPWSTR keyClass, DWORD* classCapacity, FILETIME* lastWrite);
QV_API LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameCapacity, DWORD* reserved,
                             DWORD* type, BYTE* data, DWORD* size);
// Returns when everything written so far would survive the loss of power.
QV_API LSTATUS RegFlushKey(HKEY key);

#endif
