#include "qv/platform/menus.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "qv/platform/memory.h"
#include "qv/platform/modules.h"
#include "qv/platform/resource_lists.h"
#include "qv/platform/resources.h"
#include "qv/platform/screen_resources.h"

namespace {

using Text = std::basic_string<WCHAR>;
constexpr UINT kNone = UINT(-1);

HMODULE resources() {
  WCHAR path[500];
  const Text text(path, GetModuleFileNameW(nullptr, path, 500));
  return LoadLibraryW((text.substr(0, text.find_last_of('\\') + 1) + TEXT("contract_resources.LNG")).c_str());
}

Text textOf(HMENU menu, UINT item, UINT flags) {
  WCHAR text[60] = {};
  const int length = GetMenuStringW(menu, item, text, 60, flags);
  EXPECT_EQ(static_cast<size_t>(length), Text(text).size());
  return text;
}

UINT stateAt(HMENU menu, UINT position) {
  return GetMenuState(menu, position, MF_BYPOSITION);
}

class Menu : public testing::Test {
 protected:
  void SetUp() override {
    menu = CreatePopupMenu();
    popup = CreatePopupMenu();
    ASSERT_TRUE(AppendMenuW(menu, MF_STRING, 10, TEXT("Open")));
    ASSERT_TRUE(AppendMenuW(menu, MF_SEPARATOR, 0, nullptr));
    ASSERT_TRUE(AppendMenuW(menu, MF_STRING | MF_POPUP, reinterpret_cast<UINT_PTR>(popup), TEXT("More")));
    ASSERT_TRUE(AppendMenuW(popup, MF_STRING | MF_GRAYED, 20, TEXT("Deep")));
    ASSERT_TRUE(AppendMenuW(popup, MF_STRING | MF_CHECKED, 21, TEXT("Deeper")));
  }
  void TearDown() override { EXPECT_TRUE(DestroyMenu(menu)); }
  HMENU menu = nullptr, popup = nullptr;
};

TEST_F(Menu, ItemsAreAskedByPositionAndByCommand) {
  EXPECT_EQ(3, GetMenuItemCount(menu));
  EXPECT_EQ(10u, GetMenuItemID(menu, 0));
  EXPECT_EQ(kNone, GetMenuItemID(menu, 2));
  EXPECT_EQ(kNone, GetMenuItemID(menu, 3));
  EXPECT_EQ(popup, GetSubMenu(menu, 2));
  EXPECT_EQ(nullptr, GetSubMenu(menu, 0));
  EXPECT_EQ(nullptr, GetSubMenu(menu, 9));
  EXPECT_EQ(0u, stateAt(menu, 0));
  EXPECT_EQ(MF_SEPARATOR, stateAt(menu, 1) & MF_SEPARATOR);
  EXPECT_EQ(2u << 8 | MF_POPUP, stateAt(menu, 2));
  EXPECT_EQ(MF_GRAYED, GetMenuState(menu, 20, MF_BYCOMMAND) & MF_GRAYED) << "commands are looked for below";
  EXPECT_EQ(MF_CHECKED, GetMenuState(menu, 21, MF_BYCOMMAND) & MF_CHECKED);
  EXPECT_EQ(kNone, GetMenuState(menu, 99, MF_BYCOMMAND));
  EXPECT_EQ(TEXT("Deeper"), textOf(menu, 21, MF_BYCOMMAND));
  EXPECT_EQ(TEXT("More"), textOf(menu, 2, MF_BYPOSITION));
  WCHAR text[4];
  EXPECT_EQ(3, GetMenuStringW(menu, 10, text, 4, MF_BYCOMMAND));
  EXPECT_EQ(TEXT("Ope"), Text(text));
  EXPECT_EQ(4, GetMenuStringW(menu, 10, nullptr, 0, MF_BYCOMMAND));
}

TEST_F(Menu, ItemsChangeAndGo) {
  EXPECT_TRUE(ModifyMenuW(menu, 20, MF_BYCOMMAND | MF_CHECKED, 22, TEXT("Renamed")));
  EXPECT_EQ(TEXT("Renamed"), textOf(popup, 0, MF_BYPOSITION));
  EXPECT_EQ(22u, GetMenuItemID(popup, 0));
  EXPECT_EQ(MF_CHECKED, stateAt(popup, 0));
  EXPECT_TRUE(
      ModifyMenuW(menu, 2, MF_BYPOSITION | MF_POPUP, reinterpret_cast<UINT_PTR>(popup), TEXT("Less")));
  EXPECT_EQ(popup, GetSubMenu(menu, 2));
  EXPECT_TRUE(IsMenu(popup));
  EXPECT_TRUE(InsertMenuW(menu, 1, MF_BYPOSITION, 11, TEXT("Between")));
  EXPECT_EQ(TEXT("Between"), textOf(menu, 1, MF_BYPOSITION));
  EXPECT_TRUE(DeleteMenu(menu, 21, MF_BYCOMMAND));
  EXPECT_EQ(1, GetMenuItemCount(popup));
  EXPECT_FALSE(DeleteMenu(menu, 21, MF_BYCOMMAND));
  EXPECT_TRUE(RemoveMenu(menu, 3, MF_BYPOSITION));
  EXPECT_TRUE(IsMenu(popup));
  EXPECT_TRUE(AppendMenuW(menu, MF_POPUP, reinterpret_cast<UINT_PTR>(popup), TEXT("Back")));
  EXPECT_TRUE(DeleteMenu(menu, 3, MF_BYPOSITION));
  EXPECT_FALSE(IsMenu(popup));
  EXPECT_EQ(-1, GetMenuItemCount(popup));
}

TEST_F(Menu, EnablingGivesTheStateBefore) {
  EXPECT_EQ(0, EnableMenuItem(menu, 0, MF_BYPOSITION | MF_GRAYED));
  EXPECT_EQ(static_cast<BOOL>(MF_GRAYED), EnableMenuItem(menu, 10, MF_BYCOMMAND | MF_ENABLED));
  EXPECT_EQ(0, EnableMenuItem(menu, 10, MF_BYCOMMAND));
  EXPECT_EQ(static_cast<BOOL>(MF_GRAYED), EnableMenuItem(menu, 20, MF_BYCOMMAND));
  EXPECT_EQ(-1, EnableMenuItem(menu, 99, MF_BYCOMMAND));
}

TEST(Menus, AreLoadedFromBothForms) {
  const HMODULE module = resources();
  HMENU menu = LoadMenuW(module, MAKEINTRESOURCEW(1));
  ASSERT_EQ(2, GetMenuItemCount(menu));
  EXPECT_EQ(TEXT("&File"), textOf(menu, 0, MF_BYPOSITION));
  EXPECT_EQ(3, GetMenuItemCount(GetSubMenu(menu, 0)));
  EXPECT_EQ(MF_GRAYED, GetMenuState(menu, 100, MF_BYCOMMAND) & MF_GRAYED);
  EXPECT_EQ(MF_SEPARATOR, stateAt(GetSubMenu(menu, 0), 1) & MF_SEPARATOR);
  EXPECT_EQ(TEXT("größer"), textOf(menu, 101, MF_BYCOMMAND));
  EXPECT_EQ(MF_CHECKED, GetMenuState(menu, 102, MF_BYCOMMAND) & MF_CHECKED);
  DestroyMenu(menu);
  const HRSRC found = FindResourceW(module, TEXT("EXTENDED"), MAKEINTRESOURCEW(4));
  menu = LoadMenuIndirectW(LockResource(LoadResource(module, found)));
  ASSERT_EQ(2, GetMenuItemCount(menu));
  EXPECT_EQ(TEXT("Long"), textOf(menu, 0, MF_BYPOSITION));
  EXPECT_EQ(TEXT("b"), textOf(menu, 302, MF_BYCOMMAND));
  EXPECT_EQ(MF_SEPARATOR, stateAt(GetSubMenu(menu, 0), 1) & MF_SEPARATOR);
  EXPECT_EQ(303u, GetMenuItemID(menu, 1));
  DestroyMenu(menu);
  EXPECT_EQ(nullptr, LoadMenuW(module, MAKEINTRESOURCEW(9)));
  FreeLibrary(module);
}

TEST(Accelerators, AreCopiedAndLoaded) {
  ACCEL keys[] = {{FVIRTKEY | FCONTROL, 'A', 1}, {FVIRTKEY | FALT, 'B', 2}};
  HACCEL table = CreateAcceleratorTableW(keys, 2);
  ACCEL copy[3] = {};
  EXPECT_EQ(2, CopyAcceleratorTableW(table, nullptr, 0));
  EXPECT_EQ(1, CopyAcceleratorTableW(table, copy, 1));
  EXPECT_EQ('A', copy[0].key);
  EXPECT_EQ(0, copy[1].key);
  EXPECT_EQ(2, CopyAcceleratorTableW(table, copy, 3));
  EXPECT_EQ(2, copy[1].cmd);
  EXPECT_TRUE(DestroyAcceleratorTable(table));
  EXPECT_EQ(nullptr, CreateAcceleratorTableW(keys, 0));
  const HMODULE module = resources();
  table = LoadAcceleratorsW(module, MAKEINTRESOURCEW(1));
  ASSERT_EQ(2, CopyAcceleratorTableW(table, copy, 3));
  EXPECT_EQ('Q', copy[1].key);
  EXPECT_EQ(FVIRTKEY | FCONTROL, copy[1].fVirt & 0x7f);
  EXPECT_EQ(102, copy[1].cmd);
  EXPECT_EQ(nullptr, LoadAcceleratorsW(module, MAKEINTRESOURCEW(9)));
  FreeLibrary(module);
}

BOOL CALLBACK addName(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR list) {
  auto& names = *reinterpret_cast<std::vector<Text>*>(list);
  if (!IS_INTRESOURCE(name)) {
    names.push_back(name);
  } else {
    names.push_back(Text(1, static_cast<WCHAR>('0' + reinterpret_cast<uintptr_t>(name) % 10)));
  }
  return names.size() < 4;
}

TEST(ResourceLists, NameTextsBeforeNumbers) {
  const HMODULE module = resources();
  std::vector<Text> names;
  const auto list = reinterpret_cast<LONG_PTR>(&names);
  EXPECT_FALSE(EnumResourceNamesW(module, MAKEINTRESOURCEW(10), addName, list)) << "stopped";
  EXPECT_EQ((std::vector<Text>{TEXT("PICTURE"), TEXT("5"), TEXT("7"), TEXT("8")}), names);
  names.clear();
  EXPECT_TRUE(EnumResourceNamesW(module, MAKEINTRESOURCEW(4), addName, list));
  EXPECT_EQ((std::vector<Text>{TEXT("EXTENDED"), TEXT("1")}), names);
  EXPECT_FALSE(EnumResourceNamesW(module, MAKEINTRESOURCEW(99), addName, list));
  names.clear();
  const auto addType = [](HMODULE, LPWSTR type, LONG_PTR to) -> BOOL {
    return addName(nullptr, nullptr, type, to);
  };
  EnumResourceTypesW(module, addType, list);
  EXPECT_EQ((std::vector<Text>{TEXT("SHAPE"), TEXT("4"), TEXT("6"), TEXT("9")}), names);
  FreeLibrary(module);
}

TEST(ScreenResources, AnothersTableIsUsedAndTakenBack) {
  const qv::ScreenResourceCalls& own = qv::screenResourceCalls();
  qv::ScreenResourceCalls other = own;
  qv::setScreenResourceCalls(&other);
  EXPECT_EQ(&other, &qv::screenResourceCalls());
  qv::setScreenResourceCalls(nullptr);
  EXPECT_EQ(&own, &qv::screenResourceCalls());
  EXPECT_EQ(nullptr, own.loadBitmap(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(77)));
}

}  // namespace
