// Modules, the process and its command line.
//
// A module is an executable or a library that it loaded. Path names are Windows path names on both builds
// (see files.h).
//
//   HMODULE module = LoadLibraryW(TEXT("C:/plugins/example.so"));
//   auto entry = reinterpret_cast<int (*)()>(GetProcAddress(module, "ExampleEntry"));
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <winver.h>

// What the name of a module file ends in.
#define QV_MODULE_SUFFIX TEXT(".dll")

#else

#define QV_MODULE_SUFFIX TEXT(".so")

constexpr UINT SEM_FAILCRITICALERRORS = 1, SEM_NOGPFAULTERRORBOX = 2, SEM_NOOPENFILEERRORBOX = 0x8000;

// The handle of a module that is loaded, with no reference taken: the executable for null, else the module
// of this file name (case and path are ignored unless a path is given). Null with ERROR_MOD_NOT_FOUND.
QV_API HMODULE GetModuleHandleW(LPCWSTR name);

// The address of what the module itself exports under this (linker's) name; nothing that it merely uses.
// Null with ERROR_PROC_NOT_FOUND.
QV_API FARPROC GetProcAddress(HMODULE module, LPCSTR name);

// Loads a module by path, either slash, or takes one more reference to it. A bare name is looked for beside
// the executable and then where the system looks. Null with ERROR_MOD_NOT_FOUND (no such file, or one that
// it needs is missing), ERROR_PROC_NOT_FOUND (it wants what nobody exports), ERROR_BAD_EXE_FORMAT.
QV_API HMODULE LoadLibraryW(LPCWSTR path);

// Gives one reference back; the last one unloads.
QV_API BOOL FreeLibrary(HMODULE module);

// The full path of the module (null: the executable); the number of characters without the terminator. If
// the capacity is too small: what fits (terminated for sure only on
// a success), the capacity as result and ERROR_INSUFFICIENT_BUFFER.
QV_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD capacity);

// The command line of the process; the text lives as long as the process. On Linux it is put together from
// the arguments: one that is empty or holds white space or a quote stands in quotes, with its own quotes
// doubled, so that the entry routine's split gives the same arguments back.
QV_API LPWSTR GetCommandLineW();

// Sets the process's error mode and gives the one before. On Linux it is only kept: no system box exists.
QV_API UINT SetErrorMode(UINT mode);

// The process's error mode.
QV_API UINT GetErrorMode();

// The size in bytes of a file's version resource; `ignored` (null allowed) becomes 0. 0 on failure: with
// ERROR_RESOURCE_TYPE_NOT_FOUND (or DATA_NOT_FOUND, if it has no resources at all) for a file without one,
// which on Linux is every file, or a file error.
QV_API DWORD GetFileVersionInfoSizeW(LPCWSTR path, DWORD* ignored);

// Reads a file's version resource into a block of that size. On Linux it fails as above.
QV_API BOOL GetFileVersionInfoW(LPCWSTR path, DWORD ignored, DWORD bytes, LPVOID block);

// Looks a value up in a version resource; the address points into the block. On Linux there is no such
// block, and it fails with ERROR_RESOURCE_DATA_NOT_FOUND.
QV_API BOOL VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID* value, UINT* length);

// Ends the process with this exit code, of which a Linux parent sees the low eight bits.
[[noreturn]] QV_API void ExitProcess(UINT exitCode);

// The process's id, never 0.
QV_API DWORD GetCurrentProcessId();

// A pseudo handle for the process, for operations that take a process.
QV_API HANDLE GetCurrentProcess();

#endif
