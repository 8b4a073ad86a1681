#include "qv/platform/com.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Com, CountsStartsAndKeepsItsKind) {
  EXPECT_EQ(S_OK, CoInitialize(nullptr));
  EXPECT_EQ(S_FALSE, CoInitialize(nullptr));
  EXPECT_EQ(S_FALSE, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  EXPECT_EQ(RPC_E_CHANGED_MODE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
  for (int i = 0; i < 3; ++i) CoUninitialize();
  EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED)) << "free to choose again";
  EXPECT_EQ(RPC_E_CHANGED_MODE, CoInitialize(nullptr));
  CoUninitialize();
  EXPECT_EQ(S_OK, CoInitialize(nullptr));
  CoUninitialize();
}

TEST(Com, MakesRandomIds) {
  GUID a, b;
  ASSERT_EQ(S_OK, CoCreateGuid(&a));
  ASSERT_EQ(S_OK, CoCreateGuid(&b));
  EXPECT_NE(0, std::memcmp(&a, &b, sizeof a));
  EXPECT_EQ(4, a.Data3 >> 12);
  EXPECT_EQ(2, a.Data4[0] >> 6);
}

}  // namespace
