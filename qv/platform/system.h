// What the machine and the system are, clocks, and the environment.
//
//   SYSTEM_INFO info;
//   GetSystemInfo(&info);
//   use(info.dwNumberOfProcessors);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

constexpr WORD PROCESSOR_ARCHITECTURE_INTEL = 0, PROCESSOR_ARCHITECTURE_AMD64 = 9;
constexpr DWORD PROCESSOR_INTEL_486 = 486, PROCESSOR_INTEL_PENTIUM = 586, PROCESSOR_AMD_X8664 = 8664;
constexpr DWORD VER_MINORVERSION = 1, VER_MAJORVERSION = 2, VER_BUILDNUMBER = 4, VER_PLATFORMID = 8;
constexpr DWORD VER_SERVICEPACKMINOR = 0x10, VER_SERVICEPACKMAJOR = 0x20;
constexpr BYTE VER_EQUAL = 1, VER_GREATER = 2, VER_GREATER_EQUAL = 3, VER_LESS = 4, VER_LESS_EQUAL = 5;

struct SYSTEM_INFO {
  union {
    DWORD dwOemId;
    struct {
      WORD wProcessorArchitecture;
      WORD wReserved;
    };
  };
  DWORD dwPageSize;
  LPVOID lpMinimumApplicationAddress;
  LPVOID lpMaximumApplicationAddress;
  DWORD_PTR dwActiveProcessorMask;
  DWORD dwNumberOfProcessors;
  DWORD dwProcessorType;
  DWORD dwAllocationGranularity;
  WORD wProcessorLevel;
  WORD wProcessorRevision;
};
static_assert(sizeof(SYSTEM_INFO) == 48);

struct OSVERSIONINFOEXW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  WCHAR szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  BYTE wProductType;
  BYTE wReserved;
};
static_assert(sizeof(OSVERSIONINFOEXW) == 284);

// The machine as this process sees it: page size, number of processors (at least 1), and on this processor
// family type 8664 and architecture 9.
QV_API void GetSystemInfo(SYSTEM_INFO* info);

// The machine itself; for a 64-bit process the same.
QV_API void GetNativeSystemInfo(SYSTEM_INFO* info);

// Adds to a condition mask how one member (a VER_ bit) is compared; give the bits in the order major, minor,
// service pack.
QV_API ULONGLONG VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition);

// Whether the system's version meets the conditions; major, minor and service pack are compared as one
// figure, the most significant first. False with ERROR_OLD_WIN_VERSION if not, ERROR_BAD_ARGUMENTS for no
// type or a member without a condition. Linux answers as Windows 10.0 without service pack, and knows those
// four members only.
QV_API BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD types, ULONGLONG mask);

// Whether a process is a 32-bit one on a 64-bit system. On Linux never.
QV_API BOOL IsWow64Process(HANDLE process, BOOL* wow64);

// A clock that never runs backwards, the same for all threads; true. Its rate is the frequency's.
QV_API BOOL QueryPerformanceCounter(LARGE_INTEGER* count);

// Counts per second, the same all the time the system runs; true. 10,000,000 on Linux.
QV_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);

// Milliseconds since the system's start, in 32 bits: back to 0 after 49.7 days.
QV_API DWORD GetTickCount();

// Milliseconds since the system's start.
QV_API ULONGLONG GetTickCount64();

// The value of an environment variable: the number of characters without the terminator. If the capacity is
// too small, the capacity that it takes. 0 with ERROR_ENVVAR_NOT_FOUND if there is none; case is ignored.
QV_API DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR value, DWORD capacity);

#endif
