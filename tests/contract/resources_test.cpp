#include "qv/platform/resources.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "qv/platform/locale.h"
#include "qv/platform/modules.h"

namespace {

using Text = std::basic_string<WCHAR>;

Text modulePath() {
  WCHAR path[500];
  Text text(path, GetModuleFileNameW(nullptr, path, 500));
  return text.substr(0, text.find_last_of('\\') + 1) + TEXT("contract_resources.LNG");
}

class Resources : public testing::Test {
 protected:
  void SetUp() override {
    SetThreadLocale(0x409);
    module = LoadLibraryW(modulePath().c_str());
    ASSERT_TRUE(module) << GetLastError();
  }
  void TearDown() override {
    EXPECT_TRUE(FreeLibrary(module));
    SetThreadLocale(LOCALE_USER_DEFAULT);
  }

  // The bytes of a resource; the error's number when there is none.
  std::string bytes(LPCWSTR type, LPCWSTR name, WORD language) {
    SetLastError(0);
    const HRSRC found = FindResourceExW(module, type, name, language);
    if (!found) return std::to_string(GetLastError());
    const auto data = static_cast<const char*>(LockResource(LoadResource(module, found)));
    return std::string(data, SizeofResource(module, found));
  }

  HMODULE module = nullptr;
};

constexpr WORD kFrench = 0x40c, kGerman = 0x407, kEnglish = 0x409, kJapanese = 0x411;

TEST_F(Resources, AreFoundByTypeNameAndLanguage) {
  const LPCWSTR data = MAKEINTRESOURCEW(10), shape = TEXT("SHAPE");
  const struct {
    LPCWSTR type, name;
    WORD language;
    std::string bytes;
  } cases[] = {
      {data, MAKEINTRESOURCEW(5), kFrench, "french"},
      {data, MAKEINTRESOURCEW(5), kEnglish, "english"},
      {data, MAKEINTRESOURCEW(5), kGerman, "german"},  // through the neutral form
      {data, MAKEINTRESOURCEW(5), 0xc07, "german"},
      {data, MAKEINTRESOURCEW(5), 0xc0c, "1815"},  // another country's is none
      {data, MAKEINTRESOURCEW(5), kJapanese, "1815"},
      {data, MAKEINTRESOURCEW(8), kJapanese, "neutral"},
      {data, MAKEINTRESOURCEW(8), 0, "neutral"},
      {data, MAKEINTRESOURCEW(5), 0, "english"},      // the thread's
      {data, MAKEINTRESOURCEW(9), 0, "only french"},  // any
      {data, MAKEINTRESOURCEW(6), 0, "1814"},
      {data, TEXT("PICTURE"), 0, "named"},
      {data, TEXT("picture"), kEnglish, "named"},
      {data, TEXT("PICTURES"), 0, "1814"},
      {shape, MAKEINTRESOURCEW(300), 0, std::string("\1\0\2\0", 4)},
      {TEXT("shape"), MAKEINTRESOURCEW(300), 0, std::string("\1\0\2\0", 4)},
      {TEXT("form"), MAKEINTRESOURCEW(300), 0, "1813"},
      {MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(5), 0, "1813"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.bytes, bytes(each.type, each.name, each.language)) << (&each - cases);
  }
  EXPECT_EQ(FindResourceExW(module, data, MAKEINTRESOURCEW(7), 0),
            FindResourceW(module, MAKEINTRESOURCEW(7), data));
}

TEST_F(Resources, TheThreadsLanguageComesFirst) {
  SetThreadLocale(kFrench);
  EXPECT_EQ("french", bytes(MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(5), 0));
}

BOOL CALLBACK collect(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR list) {
  auto& languages = *reinterpret_cast<std::vector<WORD>*>(list);
  languages.push_back(language);
  return languages.size() < 3;
}

TEST_F(Resources, LanguagesAreListedInOrder) {
  std::vector<WORD> languages;
  const auto list = reinterpret_cast<LONG_PTR>(&languages);
  EnumResourceLanguagesW(module, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(5), collect, list);
  EXPECT_EQ((std::vector<WORD>{0x007, kEnglish, kFrench}), languages);
  languages.clear();
  EXPECT_TRUE(EnumResourceLanguagesW(module, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(7), collect, list));
  EXPECT_EQ(std::vector<WORD>{kEnglish}, languages);
  EXPECT_FALSE(EnumResourceLanguagesW(module, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(6), collect, list));
  EXPECT_EQ(ERROR_RESOURCE_NAME_NOT_FOUND, GetLastError());
}

TEST_F(Resources, StringsAreCutToTheCapacity) {
  const struct {
    UINT number;
    int capacity;
    const WCHAR* text;
  } cases[] = {{0, 50, TEXT("first")},   {15, 50, TEXT("last of its block")},
               {17, 50, TEXT("größer")}, {17, 4, TEXT("grö")},
               {17, 7, TEXT("größer")},  {17, 1, TEXT("")},
               {1, 50, TEXT("")},        {16, 50, TEXT("")},
               {4000, 50, TEXT("")}};
  for (const auto& each : cases) {
    WCHAR text[50] = {'x'};
    const Text expected = each.text;
    EXPECT_EQ(static_cast<int>(expected.size()), LoadStringW(module, each.number, text, each.capacity));
    if (!expected.empty()) {
      EXPECT_EQ(expected, text);
    }
  }
}

TEST_F(Resources, TheModuleIsCountedAndHasAName) {
  const auto text =
      LockResource(LoadResource(module, FindResourceW(module, MAKEINTRESOURCEW(7), MAKEINTRESOURCEW(10))));
  const HMODULE again = LoadLibraryW(modulePath().c_str());
  EXPECT_EQ(module, again);
  EXPECT_TRUE(FreeLibrary(again));
  EXPECT_EQ(0, memcmp(text, "seven", 5)) << "still there";
  WCHAR path[500];
  EXPECT_EQ(modulePath(), Text(path, GetModuleFileNameW(module, path, 500)));
}

}  // namespace
