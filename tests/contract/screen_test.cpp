#include "qv/platform/screen.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<HMONITOR> monitors() {
  std::vector<HMONITOR> found;
  auto collect = [](HMONITOR monitor, HDC, RECT*, LPARAM out) -> BOOL {
    reinterpret_cast<std::vector<HMONITOR>*>(out)->push_back(monitor);
    return TRUE;
  };
  EXPECT_TRUE(EnumDisplayMonitors(nullptr, nullptr, collect, reinterpret_cast<LPARAM>(&found)));
  return found;
}

TEST(Screen, AnswersThroughADeviceContext) {
  HDC screen = GetDC(nullptr);
  ASSERT_TRUE(screen);
  EXPECT_GE(GetDeviceCaps(screen, BITSPIXEL) * GetDeviceCaps(screen, PLANES), 16);
  EXPECT_GT(GetDeviceCaps(screen, HORZRES), 0);
  EXPECT_GT(GetDeviceCaps(screen, VERTRES), 0);
  EXPECT_EQ(96, GetDeviceCaps(screen, LOGPIXELSX));
  EXPECT_EQ(96, GetDeviceCaps(screen, LOGPIXELSY));
  EXPECT_EQ(1, ReleaseDC(nullptr, screen));
  EXPECT_EQ(0, ReleaseDC(nullptr, nullptr));
  EXPECT_EQ(0, GetDeviceCaps(nullptr, BITSPIXEL));
}

TEST(Screen, EveryMonitorHasInformationAndAContext) {
  int primaries = 0;
  for (HMONITOR monitor : monitors()) {
    MONITORINFOEXW info{};
    info.cbSize = sizeof info;
    ASSERT_TRUE(GetMonitorInfoW(monitor, &info));
    EXPECT_LT(info.rcMonitor.left, info.rcMonitor.right);
    EXPECT_LT(info.rcMonitor.top, info.rcMonitor.bottom);
    EXPECT_LE(info.rcWork.bottom, info.rcMonitor.bottom);
    primaries += (info.dwFlags & MONITORINFOF_PRIMARY) != 0;
    HDC device = CreateDCW(TEXT("DISPLAY"), info.szDevice, nullptr, nullptr);
    ASSERT_TRUE(device);
    EXPECT_GE(GetDeviceCaps(device, BITSPIXEL), 16);
    EXPECT_TRUE(DeleteDC(device));
    info.cbSize = 7;
    EXPECT_FALSE(GetMonitorInfoW(monitor, &info));
  }
  EXPECT_EQ(1, primaries);
  auto stop = [](HMONITOR, HDC, RECT*, LPARAM) -> BOOL { return FALSE; };
  EXPECT_FALSE(EnumDisplayMonitors(nullptr, nullptr, stop, 0));
  MONITORINFO info{};
  info.cbSize = sizeof info;
  EXPECT_FALSE(GetMonitorInfoW(reinterpret_cast<HMONITOR>(0x1234567), &info));
  EXPECT_FALSE(CreateDCW(nullptr, nullptr, nullptr, nullptr));
}

TEST(Screen, KeepsTheCursor) {
  HCURSOR arrow = LoadCursorW(nullptr, IDC_ARROW);
  ASSERT_TRUE(arrow);
  EXPECT_EQ(arrow, LoadCursorW(nullptr, IDC_ARROW));
  EXPECT_NE(arrow, LoadCursorW(nullptr, IDC_WAIT));
  EXPECT_FALSE(LoadCursorW(nullptr, MAKEINTRESOURCEW(12)));
  SetCursor(arrow);
  EXPECT_EQ(arrow, GetCursor());
  EXPECT_EQ(arrow, SetCursor(nullptr));
  EXPECT_FALSE(GetCursor());
}

}  // namespace
