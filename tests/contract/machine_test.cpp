#include "qv/platform/machine.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Machine, MemoryIsSomeAndNotMoreFreeThanThereIs) {
  MEMORYSTATUSEX status = {};
  EXPECT_FALSE(GlobalMemoryStatusEx(&status)) << "the size is missing";
  status.dwLength = sizeof status;
  ASSERT_TRUE(GlobalMemoryStatusEx(&status));
  EXPECT_GT(status.ullTotalPhys, 16u << 20);
  EXPECT_LE(status.ullAvailPhys, status.ullTotalPhys);
  EXPECT_GE(status.ullTotalPageFile, status.ullTotalPhys / 2);
  EXPECT_GE(status.ullTotalVirtual, uint64_t{1} << 46);
  EXPECT_LE(status.dwMemoryLoad, 100u);
}

TEST(Machine, VersionAndScreenAreTold) {
  OSVERSIONINFOEXW version = {};
  qv::platform::systemVersion(&version);
  EXPECT_GT(version.dwMajorVersion, 0u);
  qv::platform::ScreenMode mode = {};
  if (qv::platform::screenMode(&mode)) {
    EXPECT_GT(mode.width, 0);
    EXPECT_GT(mode.height, 0);
  }
}

TEST(Machine, AdaptersEndAndAtMostOneIsPrimary) {
  DISPLAY_DEVICEW adapter = {};
  adapter.cb = sizeof adapter;
  int primary = 0;
  DWORD index = 0;
  for (; index < 100 && EnumDisplayDevicesW(nullptr, index, &adapter, 0); ++index) {
    primary += (adapter.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) != 0;
  }
  EXPECT_LT(index, 100u);
  EXPECT_LE(primary, 1);
}

}  // namespace
