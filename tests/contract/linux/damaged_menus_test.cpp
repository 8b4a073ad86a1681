// A damaged menu resource is refused, whatever it lacks, and nothing is read beyond it.
#include <gtest/gtest.h>

#include <cstring>

#include "qv/platform/linux/resource_file.h"
#include "qv/platform/menus.h"
#include "qv/platform/resources.h"

namespace {

template <typename T>
void put(std::vector<uint8_t>& bytes, T value) {
  const auto* data = reinterpret_cast<const uint8_t*>(&value);
  bytes.insert(bytes.end(), data, data + sizeof value);
}

std::vector<uint8_t> fileWith(const std::vector<uint8_t>& menu) {
  std::vector<uint8_t> bytes;
  for (const uint32_t word : {0u, 32u, 0xffffu, 0xffffu, 0u, 0u, 0u, 0u}) put(bytes, word);
  for (const uint32_t word : {static_cast<uint32_t>(menu.size()), 32u, 0x4ffffu, 0x1ffffu, 0u, 0u, 0u, 0u})
    put(bytes, word);
  bytes.insert(bytes.end(), menu.begin(), menu.end());
  return bytes;
}

// What a menu of these bytes comes to: its items, or -1.
int itemsOf(const std::vector<uint8_t>& menu) {
  const HMODULE module = qv::platform::openResourceBytes(fileWith(menu));
  EXPECT_NE(nullptr, module);
  const HMENU named = LoadMenuW(module, MAKEINTRESOURCEW(1));
  const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(4));
  const HMENU indirect = LoadMenuIndirectW(LockResource(LoadResource(module, found)));
  const int items = named == nullptr ? -1 : GetMenuItemCount(named);
  EXPECT_TRUE(menu.empty() || (named == nullptr) == (indirect == nullptr)) << menu.size();
  if (named) DestroyMenu(named);
  if (indirect) DestroyMenu(indirect);
  qv::platform::closeResourceFile(module);
  return items;
}

TEST(DamagedMenus, CutShortAreRefused) {
  std::vector<uint8_t> menu;
  for (const int word : {0, 0, 0x10, int{'P'}, 0, 0x80, 7, int{'a'}, 0, 0x80, 8, int{'b'}, 0})
    put(menu, static_cast<uint16_t>(word));
  EXPECT_EQ(2, itemsOf(menu));
  while (menu.size() > 1) {
    menu.resize(menu.size() - 1);
    EXPECT_EQ(-1, itemsOf(menu)) << menu.size();
  }
}

TEST(DamagedMenus, PopUpsDoNotNestForEver) {
  std::vector<uint8_t> menu(4);
  for (int i = 0; i < 100000; ++i) {
    for (const int word : {0x90, int{'P'}, 0}) put(menu, static_cast<uint16_t>(word));
  }
  EXPECT_EQ(-1, itemsOf(menu));
  menu[0] = 2;
  EXPECT_EQ(-1, itemsOf(menu)) << "of no known form";
}

}  // namespace
