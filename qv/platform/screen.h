// Screen facts and the cursor.
//
// Linux answers for a machine without a screen: one virtual monitor of 1920 by 1080, 32 bits a pixel, 96 dots
// an inch, so that code that only asks takes the path that it takes on any desktop of today. Nothing is
// drawn: a device context there answers questions.
//
//   HDC screen = GetDC(nullptr);
//   int bits = GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES);
//   ReleaseDC(nullptr, screen);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

struct DEVMODEW;
struct HCURSOR__;
using HCURSOR = HCURSOR__*;
using MONITORENUMPROC = BOOL (*)(HMONITOR monitor, HDC context, RECT* place, LPARAM parameter);

constexpr int HORZRES = 8, VERTRES = 10, BITSPIXEL = 12, PLANES = 14, LOGPIXELSX = 88, LOGPIXELSY = 90;
constexpr DWORD MONITORINFOF_PRIMARY = 1;
constexpr size_t CCHDEVICENAME = 32;
#define IDC_ARROW MAKEINTRESOURCEW(32512)
#define IDC_IBEAM MAKEINTRESOURCEW(32513)
#define IDC_WAIT MAKEINTRESOURCEW(32514)

struct MONITORINFO {
  DWORD cbSize;
  RECT rcMonitor;
  RECT rcWork;
  DWORD dwFlags;
};
struct MONITORINFOEXW : MONITORINFO {
  WCHAR szDevice[CCHDEVICENAME];
};
static_assert(sizeof(MONITORINFO) == 40 && sizeof(MONITORINFOEXW) == 104);

// A device context of the screen (`window` null); the caller gives it back with ReleaseDC. Null on failure.
QV_API HDC GetDC(HWND window);

// Gives a context of GetDC back: 1, or 0 if it is none.
QV_API int ReleaseDC(HWND window, HDC context);

// A device context of a monitor: driver "DISPLAY", device as GetMonitorInfoW names it or null, the rest
// null. The caller deletes it with DeleteDC. Null if there is no such device.
QV_API HDC CreateDCW(LPCWSTR driver, LPCWSTR device, LPCWSTR port, const DEVMODEW* mode);

// Deletes a context of CreateDCW; false if it is none.
QV_API BOOL DeleteDC(HDC context);

// One fact about the device: BITSPIXEL, PLANES, HORZRES, VERTRES (pixels), LOGPIXELSX, LOGPIXELSY (dots an
// inch). 0 for what is not known.
QV_API int GetDeviceCaps(HDC context, int index);

// Calls back once a monitor (context null, its place on the desktop) until the callback gives false; true if
// it went through. `context` and `clip` are null.
QV_API BOOL EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC callback, LPARAM parameter);

// Fills in a monitor's place, work area, flags, and its device name if `cbSize` is that of MONITORINFOEXW.
// False for what is no monitor or a size that is neither.
QV_API BOOL GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info);

// A system cursor by its number (`instance` null), the same handle each time, not to be destroyed; null for
// an unknown one.
QV_API HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name);

// Makes this the calling thread's cursor (null: none) and gives the one before.
QV_API HCURSOR SetCursor(HCURSOR cursor);

// The calling thread's cursor.
QV_API HCURSOR GetCursor();

// The reading direction of windows made from now on: 0 left to right, LAYOUT_RTL right to left. On Linux it is
// only kept: no windows exist. True, or false for any other value.
constexpr DWORD LAYOUT_RTL = 1;
QV_API BOOL SetProcessDefaultLayout(DWORD layout);
QV_API BOOL GetProcessDefaultLayout(DWORD* layout);

#endif
