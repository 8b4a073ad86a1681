#include "qv/platform/volume_path.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/platform/win32.h"

namespace {

using Text = std::basic_string<WCHAR>;

TEST(VolumePath, ToTheRootOfTheVolume) {
  WCHAR temp[260] = {}, volume[260] = {}, other[260] = {};
  ASSERT_NE(0u, GetTempPathW(260, temp));
  ASSERT_TRUE(GetVolumePathNameW(temp, volume, 260));
  const Text root = volume;
  EXPECT_TRUE(root.starts_with(TEXT("C:\\")) && root.ends_with(TEXT("\\")));
  EXPECT_TRUE(GetVolumePathNameW((Text(temp) + TEXT("none\\of these\\x")).c_str(), other, 260));
  EXPECT_EQ(root, other) << "what isn't there yet will lie on the same volume";
  EXPECT_TRUE(GetVolumePathNameW(volume, other, 260));
  EXPECT_EQ(root, other);
  EXPECT_FALSE(GetVolumePathNameW(temp, other, 1));
}

}  // namespace
