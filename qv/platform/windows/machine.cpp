#include "qv/platform/machine.h"

namespace qv::platform {

// The version that GetVersionExW gives is the one that the program says it knows; the kernel's own call tells
// the truth, and only the kernel library itself exports it.
void systemVersion(OSVERSIONINFOEXW* version) {
  *version = {};
  version->dwOSVersionInfoSize = sizeof *version;
  using RtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOEXW*);
  const auto ask =
      reinterpret_cast<RtlGetVersion>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion"));
  if (ask != nullptr) ask(version);
}

bool screenMode(ScreenMode* mode) {
  const HDC screen = GetDC(nullptr);
  if (screen == nullptr) return false;
  *mode = {GetDeviceCaps(screen, HORZRES), GetDeviceCaps(screen, VERTRES), GetDeviceCaps(screen, BITSPIXEL)};
  ReleaseDC(nullptr, screen);
  return true;
}

}  // namespace qv::platform
