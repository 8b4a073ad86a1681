#include "qv/platform/screen.h"

#include <atomic>
#include <string_view>
#include <utility>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

// The one monitor of a machine without a screen, and what it answers.
constexpr LONG kWidth = 1920, kHeight = 1080;
constexpr std::u16string_view kDriver = u"DISPLAY";
constexpr std::u16string_view kDevice = u"\\\\.\\DISPLAY1";

struct Capability {
  int index;
  int value;
};
constexpr Capability kCapabilities[] = {
    {HORZRES, kWidth}, {VERTRES, kHeight}, {BITSPIXEL, 32}, {PLANES, 1}, {LOGPIXELSX, 96}, {LOGPIXELSY, 96},
};

// Contexts carry nothing but which operation gave them, so one of each kind serves all.
char windowContext, deviceContext, monitor;

HDC windowDc() {
  return reinterpret_cast<HDC>(&windowContext);
}
HDC deviceDc() {
  return reinterpret_cast<HDC>(&deviceContext);
}
HMONITOR onlyMonitor() {
  return reinterpret_cast<HMONITOR>(&monitor);
}

// The numbers of the system's cursors; a cursor's handle stands for its number.
constexpr uintptr_t kCursors[] = {32512, 32513, 32514, 32515, 32516, 32642, 32643,
                                  32644, 32645, 32646, 32648, 32649, 32650, 32651};
constexpr uintptr_t kCursorBase = 0x10000;

thread_local HCURSOR currentCursor = nullptr;

std::atomic<DWORD> processLayout{0};

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HDC GetDC(HWND window) {
  return window ? nullptr : windowDc();
}

int ReleaseDC(HWND, HDC context) {
  return context == windowDc();
}

HDC CreateDCW(LPCWSTR driver, LPCWSTR device, LPCWSTR, const DEVMODEW*) {
  bool known = driver ? viewOf(driver) == kDriver : device != nullptr;
  return known && (!device || viewOf(device) == kDevice) ? deviceDc() : nullptr;
}

BOOL DeleteDC(HDC context) {
  return context == deviceDc();
}

int GetDeviceCaps(HDC context, int index) {
  if (context != windowDc() && context != deviceDc()) return 0;
  for (const Capability& row : kCapabilities) {
    if (row.index == index) return row.value;
  }
  return 0;
}

BOOL EnumDisplayMonitors(HDC, const RECT*, MONITORENUMPROC callback, LPARAM parameter) {
  RECT place{0, 0, kWidth, kHeight};
  return callback(onlyMonitor(), nullptr, &place, parameter);
}

BOOL GetMonitorInfoW(HMONITOR asked, MONITORINFO* info) {
  if (asked != onlyMonitor()) return fail(ERROR_INVALID_MONITOR_HANDLE);
  if (info->cbSize != sizeof(MONITORINFO) && info->cbSize != sizeof(MONITORINFOEXW)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  info->rcMonitor = info->rcWork = {0, 0, kWidth, kHeight};
  info->dwFlags = MONITORINFOF_PRIMARY;
  if (info->cbSize == sizeof(MONITORINFOEXW)) {
    giveText(kDevice, static_cast<MONITORINFOEXW*>(info)->szDevice, CCHDEVICENAME);
  }
  return TRUE;
}

HCURSOR LoadCursorW(HINSTANCE instance, LPCWSTR name) {
  auto number = reinterpret_cast<uintptr_t>(name);
  for (uintptr_t known : kCursors) {
    if (!instance && known == number) return reinterpret_cast<HCURSOR>(kCursorBase + number);
  }
  return failWith(ERROR_RESOURCE_NAME_NOT_FOUND, static_cast<HCURSOR>(nullptr));
}

HCURSOR SetCursor(HCURSOR cursor) {
  return std::exchange(currentCursor, cursor);
}

HCURSOR GetCursor() {
  return currentCursor;
}

BOOL SetProcessDefaultLayout(DWORD layout) {
  if (layout > LAYOUT_RTL) return fail(ERROR_INVALID_PARAMETER);
  processLayout.store(layout);
  return TRUE;
}

BOOL GetProcessDefaultLayout(DWORD* layout) {
  *layout = processLayout.load();
  return TRUE;
}
