#include "qv/platform/profile.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using WText = std::basic_string<WCHAR>;

TEST(Profile, GivesTheDefaultCutToTheCapacity) {
  WCHAR text[20];
  EXPECT_EQ(7u, GetProfileStringW(TEXT("qv no such"), TEXT("entry"), TEXT("default"), text, 20));
  EXPECT_EQ(TEXT("default"), WText(text));
  EXPECT_EQ(3u, GetProfileStringW(TEXT("qv no such"), TEXT("entry"), TEXT("default"), text, 4));
  EXPECT_EQ(TEXT("def"), WText(text));
}

}  // namespace
