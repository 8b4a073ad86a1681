// Facts about the machine that only reports ask for: memory, display adapters, the system's version.
//
//   MEMORYSTATUSEX memory = {};
//   memory.dwLength = sizeof memory;
//   if (GlobalMemoryStatusEx(&memory)) show(memory.ullTotalPhys >> 20);
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"
#include "qv/platform/system.h"

#ifndef _WIN32

struct MEMORYSTATUSEX {
  DWORD dwLength;
  DWORD dwMemoryLoad;
  DWORDLONG ullTotalPhys;
  DWORDLONG ullAvailPhys;
  DWORDLONG ullTotalPageFile;
  DWORDLONG ullAvailPageFile;
  DWORDLONG ullTotalVirtual;
  DWORDLONG ullAvailVirtual;
  DWORDLONG ullAvailExtendedVirtual;
};
static_assert(sizeof(MEMORYSTATUSEX) == 64);

constexpr DWORD DISPLAY_DEVICE_ATTACHED_TO_DESKTOP = 1, DISPLAY_DEVICE_PRIMARY_DEVICE = 4;
struct DISPLAY_DEVICEW {
  DWORD cb;
  WCHAR DeviceName[32];
  WCHAR DeviceString[128];
  DWORD StateFlags;
  WCHAR DeviceID[128];
  WCHAR DeviceKey[128];
};
static_assert(sizeof(DISPLAY_DEVICEW) == 840);

// Memory in bytes: physical, what may be committed in all (with swap space), and the process's addresses.
// `dwLength` is the record's size, else false with ERROR_INVALID_PARAMETER.
QV_API BOOL GlobalMemoryStatusEx(MEMORYSTATUSEX* status);

// The index-th display adapter (`device` null, flags 0): name, flags, and where it is a PCI device an id
// PCI\VEN_xxxx&DEV_yyyy. The one that the system boots on is the primary one. `cb` is the record's size.
// False behind the last; Linux knows PCI adapters only, and a machine may have none.
QV_API BOOL EnumDisplayDevicesW(LPCWSTR device, DWORD index, DISPLAY_DEVICEW* adapter, DWORD flags);

#endif

namespace qv::platform {

// The true version of the system, whatever the program says it was made for: major, minor, build, and the
// service pack's text. Linux gives the kernel's and in the text's place the distribution's name. Any thread.
QV_API void systemVersion(OSVERSIONINFOEXW* version);

// What the primary screen shows; 0 for what isn't known.
struct ScreenMode {
  int32_t width, height;  // pixels
  int32_t bits;           // a pixel's
};

// The mode of the primary screen. False, and nothing written, when there is none: unlike GetDC, which on
// Linux stands for a screen that isn't there, this tells. Any thread.
QV_API bool screenMode(ScreenMode* mode);

}  // namespace qv::platform
