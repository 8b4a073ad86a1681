#include "qv/platform/installer.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using WText = std::basic_string<WCHAR>;

TEST(Installer, ListsEachProductOnceUntilThereAreNoMore) {
  std::set<WText> codes;
  WCHAR code[39] = {};
  DWORD index = 0;
  UINT error = ERROR_SUCCESS;
  while ((error = MsiEnumProductsW(index, code)) == ERROR_SUCCESS && ++index < 100000) {
    EXPECT_EQ(38u, WText(code).size());
    EXPECT_TRUE(codes.insert(code).second) << "twice at " << index;
  }
  EXPECT_EQ(UINT{ERROR_NO_MORE_ITEMS}, error);
  EXPECT_EQ(UINT{ERROR_INVALID_PARAMETER}, MsiEnumProductsW(0, nullptr));
}

TEST(Installer, TellsTheFactsOfAProduct) {
  WCHAR code[39] = {};
  if (MsiEnumProductsW(0, code) != ERROR_SUCCESS) GTEST_SKIP() << "nothing is installed here";
  for (const WCHAR* property : {TEXT("InstalledProductName"), TEXT("VersionString"), TEXT("Publisher")}) {
    DWORD length = 0;
    ASSERT_EQ(UINT{ERROR_SUCCESS}, MsiGetProductInfoW(code, property, nullptr, &length));
    ASSERT_GT(length, 0u);
    WText text(length + 1, 'x');
    DWORD capacity = length;
    EXPECT_EQ(UINT{ERROR_MORE_DATA}, MsiGetProductInfoW(code, property, text.data(), &capacity));
    EXPECT_EQ(length, capacity);
    ++capacity;
    EXPECT_EQ(UINT{ERROR_SUCCESS}, MsiGetProductInfoW(code, property, text.data(), &capacity));
    EXPECT_EQ(length, capacity);
    EXPECT_EQ(length, WText(text.c_str()).size());
  }
  DWORD capacity = 0;
  EXPECT_EQ(UINT{ERROR_UNKNOWN_PROPERTY}, MsiGetProductInfoW(code, TEXT("Colour"), nullptr, &capacity));
}

TEST(Installer, RefusesAProductThatIsNone) {
  WCHAR text[10];
  DWORD capacity = 10;
  EXPECT_EQ(UINT{ERROR_UNKNOWN_PRODUCT}, MsiGetProductInfoW(TEXT("{00000000-0000-0000-0000-000000000001}"),
                                                            TEXT("VersionString"), text, &capacity));
}

}  // namespace
