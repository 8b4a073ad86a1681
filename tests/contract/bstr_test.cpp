#include "qv/platform/bstr.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Bstr, CarriesItsLength) {
  const WCHAR raw[] = {'a', 0, 'b', 0};
  BSTR copy = SysAllocString(TEXT("take"));
  BSTR withZeros = SysAllocStringLen(raw, 3);
  BSTR empty = SysAllocString(TEXT(""));
  ASSERT_TRUE(copy && withZeros && empty);
  EXPECT_EQ(4u, SysStringLen(copy));
  EXPECT_EQ(std::basic_string<WCHAR>(TEXT("take")), copy);
  EXPECT_EQ(3u, SysStringLen(withZeros));
  EXPECT_EQ('b', withZeros[2]);
  EXPECT_EQ(0, withZeros[3]);
  EXPECT_EQ(0u, SysStringLen(empty));
  SysFreeString(copy);
  SysFreeString(withZeros);
  SysFreeString(empty);
}

TEST(Bstr, NullIsNoString) {
  EXPECT_EQ(nullptr, SysAllocString(nullptr));
  EXPECT_EQ(0u, SysStringLen(nullptr));
  SysFreeString(nullptr);
}

TEST(Bstr, RoomMayBeFilledLater) {
  BSTR room = SysAllocStringLen(nullptr, 5);
  ASSERT_TRUE(room);
  EXPECT_EQ(5u, SysStringLen(room));
  EXPECT_EQ(0, room[5]);
  SysFreeString(room);
}

}  // namespace
