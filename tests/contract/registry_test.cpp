#include "qv/platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Text = std::basic_string<WCHAR>;

// The codes as the operations give them: signed.
constexpr LSTATUS kMissing = ERROR_FILE_NOT_FOUND, kBadHandle = ERROR_INVALID_HANDLE, kMore = ERROR_MORE_DATA,
                  kBadParameter = ERROR_INVALID_PARAMETER, kNoMore = ERROR_NO_MORE_ITEMS,
                  kDenied = ERROR_ACCESS_DENIED, kDeleted = ERROR_KEY_DELETED;

constexpr const WCHAR* kRoot = TEXT("Software\\Registry Contract");

class Registry : public testing::Test {
 protected:
  void SetUp() override {
    RegDeleteTreeW(HKEY_CURRENT_USER, kRoot);
    ASSERT_EQ(
        0, RegCreateKeyExW(HKEY_CURRENT_USER, kRoot, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root, nullptr));
  }
  void TearDown() override {
    EXPECT_EQ(0, RegCloseKey(root));
    RegDeleteTreeW(HKEY_CURRENT_USER, kRoot);
  }

  HKEY create(HKEY key, const WCHAR* path, REGSAM access = KEY_ALL_ACCESS) {
    HKEY made = nullptr;
    EXPECT_EQ(0, RegCreateKeyExW(key, path, 0, nullptr, 0, access, nullptr, &made, nullptr));
    return made;
  }
  LSTATUS open(HKEY key, const WCHAR* path) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExW(key, path, 0, KEY_READ, &opened);
    if (status == 0) RegCloseKey(opened);
    return status;
  }
  LSTATUS write(HKEY key, const WCHAR* name, const std::string& data, DWORD type = REG_BINARY) {
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                          static_cast<DWORD>(data.size()));
  }
  std::string read(HKEY key, const WCHAR* name, DWORD* type = nullptr) {
    BYTE data[500];
    DWORD size = sizeof data;
    const LSTATUS status = RegQueryValueExW(key, name, nullptr, type, data, &size);
    return status != 0 ? "error " + std::to_string(status) : std::string(reinterpret_cast<char*>(data), size);
  }

  HKEY root = nullptr;
};

TEST_F(Registry, KeysAreMadeWithThoseAboveThem) {
  DWORD what = 0;
  HKEY key = nullptr;
  EXPECT_EQ(kMissing, open(root, TEXT("a\\b\\c")));
  EXPECT_EQ(0, RegCreateKeyExW(root, TEXT("a\\b\\c"), 0, nullptr, 0, KEY_READ, nullptr, &key, &what));
  EXPECT_EQ(REG_CREATED_NEW_KEY, what);
  RegCloseKey(key);
  EXPECT_EQ(0, RegCreateKeyExW(root, TEXT("A\\B"), 0, nullptr, 0, KEY_READ, nullptr, &key, &what));
  EXPECT_EQ(REG_OPENED_EXISTING_KEY, what);
  EXPECT_EQ(0, open(key, TEXT("c")));
  HKEY whole = nullptr;
  EXPECT_EQ(0, RegCreateKeyW(root, TEXT("a\\b"), &whole));
  EXPECT_EQ(0, write(whole, TEXT("value"), "x")) << "with every access";
  EXPECT_EQ(0, RegCloseKey(whole));
  EXPECT_EQ(0, open(key, TEXT("")));
  EXPECT_EQ(0, open(key, nullptr));
  EXPECT_EQ(kMissing, open(key, TEXT("d")));
  RegCloseKey(key);
  EXPECT_EQ(0, open(HKEY_CURRENT_USER, TEXT("Software\\Registry Contract\\a\\b\\c")));
  EXPECT_EQ(kBadHandle, open(nullptr, TEXT("a")));
  EXPECT_EQ(0, RegCloseKey(HKEY_CURRENT_USER));
  EXPECT_EQ(0, open(HKEY_CURRENT_USER, TEXT("Software"))) << "a predefined key stays";
}

TEST_F(Registry, ValuesKeepTypeAndBytes) {
  const struct {
    const WCHAR* name;
    DWORD type;
    std::string data;
  } cases[] = {
      {TEXT("number"), REG_DWORD, std::string("\1\2\3\4", 4)},
      {TEXT("wide number"), REG_QWORD, std::string("\1\2\3\4\5\6\7\0", 8)},
      {TEXT("text"), REG_SZ, std::string("a\0b\0\0\0", 6)},
      {TEXT("texts"), REG_MULTI_SZ, std::string("a\0\0\0\0\0", 6)},
      {TEXT("bytes"), REG_BINARY, std::string("\0\xff\0", 3)},
      {TEXT("empty"), REG_BINARY, ""},
      {TEXT("none"), REG_NONE, "x"},
      {TEXT(""), REG_BINARY, "unnamed"},
      {TEXT("with\\backslash"), REG_BINARY, "allowed in a value's name"},
  };
  for (const auto& each : cases) EXPECT_EQ(0, write(root, each.name, each.data, each.type));
  for (const auto& each : cases) {
    DWORD type = 99;
    EXPECT_EQ(each.data, read(root, each.name, &type)) << (&each - cases);
    EXPECT_EQ(each.type, type) << (&each - cases);
  }
  EXPECT_EQ("unnamed", read(root, nullptr));
  EXPECT_EQ(0, write(root, TEXT("TEXT"), "other", REG_BINARY));
  DWORD type = 0;
  EXPECT_EQ("other", read(root, TEXT("text"), &type)) << "replaced as a whole";
  EXPECT_EQ(REG_BINARY, type);
  EXPECT_EQ("error 2", read(root, TEXT("missing")));
}

TEST_F(Registry, ASmallBufferLearnsTheSize) {
  ASSERT_EQ(0, write(root, TEXT("value"), "0123456789"));
  BYTE data[10] = {'x'};
  for (DWORD capacity = 0; capacity < 10; ++capacity) {
    DWORD size = capacity;
    EXPECT_EQ(kMore, RegQueryValueExW(root, TEXT("value"), nullptr, nullptr, data, &size));
    EXPECT_EQ(10u, size);
    EXPECT_EQ('x', data[0]);
  }
  DWORD size = 0;
  EXPECT_EQ(0, RegQueryValueExW(root, TEXT("value"), nullptr, nullptr, nullptr, &size));
  EXPECT_EQ(10u, size);
  EXPECT_EQ(0, RegQueryValueExW(root, TEXT("value"), nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(kBadParameter, RegQueryValueExW(root, TEXT("value"), nullptr, nullptr, data, nullptr));
}

TEST_F(Registry, NamesAreComparedWithoutCaseBeyondAscii) {
  const struct {
    const WCHAR* made;
    const WCHAR* asked;
    bool same;
  } cases[] = {
      {TEXT("Größe"), TEXT("GRÖßE"), true},   {TEXT("Ключ"), TEXT("кЛЮЧ"), true},
      {TEXT("Ελλάς"), TEXT("ΕΛΛΆς"), true},   {TEXT("設定"), TEXT("設定"), true},
      {TEXT("Größe"), TEXT("Grosse"), false}, {TEXT("é"), TEXT("e"), false},
  };
  for (const auto& each : cases) {
    const HKEY key = create(root, each.made);
    EXPECT_EQ(0, write(key, each.made, "value"));
    EXPECT_EQ(each.same ? 0 : kMissing, open(root, each.asked)) << (&each - cases);
    EXPECT_EQ(each.same ? "value" : "error 2", read(key, each.asked)) << (&each - cases);
    RegCloseKey(key);
    EXPECT_EQ(0, RegDeleteKeyW(root, each.made));
  }
}

TEST_F(Registry, ListsInTheOrderOfNames) {
  for (const WCHAR* name : {TEXT("ada"), TEXT("Bert"), TEXT("cleo")}) {
    EXPECT_EQ(0, write(root, name, "12"));
  }
  for (const WCHAR* name : {TEXT("cleo"), TEXT("ada"), TEXT("Bert")}) RegCloseKey(create(root, name));
  const Text expected[] = {TEXT("ada"), TEXT("Bert"), TEXT("cleo")};
  for (DWORD i = 0; i < 3; ++i) {
    WCHAR name[20];
    BYTE data[4];
    DWORD length = 20, type = 0, size = sizeof data;
    EXPECT_EQ(0, RegEnumKeyExW(root, i, name, &length, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(expected[i], Text(name, length));
    length = 20;
    EXPECT_EQ(0, RegEnumValueW(root, i, name, &length, nullptr, &type, data, &size));
    EXPECT_EQ(expected[i], Text(name, length));
    EXPECT_EQ(REG_BINARY, type);
    EXPECT_EQ(2u, size);
  }
  WCHAR name[20];
  DWORD length = 20;
  EXPECT_EQ(kNoMore, RegEnumKeyExW(root, 3, name, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(kNoMore, RegEnumValueW(root, 3, name, &length, nullptr, nullptr, nullptr, nullptr));
  length = 3;
  EXPECT_EQ(kMore, RegEnumKeyExW(root, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
  length = 4;
  EXPECT_EQ(0, RegEnumKeyExW(root, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(3u, length);
}

TEST_F(Registry, DeletesValuesKeysAndTrees) {
  RegCloseKey(create(root, TEXT("a\\b\\c")));
  ASSERT_EQ(0, write(root, TEXT("value"), "x"));
  EXPECT_EQ(0, RegDeleteValueW(root, TEXT("VALUE")));
  EXPECT_EQ(kMissing, RegDeleteValueW(root, TEXT("value")));
  EXPECT_EQ(kDenied, RegDeleteKeyW(root, TEXT("a"))) << "it has sub-keys";
  EXPECT_EQ(0, open(root, TEXT("a\\b\\c")));
  EXPECT_EQ(0, RegDeleteKeyW(root, TEXT("a\\b\\c")));
  EXPECT_EQ(kMissing, RegDeleteKeyW(root, TEXT("a\\b\\c")));
  EXPECT_EQ(0, RegDeleteTreeW(root, TEXT("a")));
  EXPECT_EQ(kMissing, open(root, TEXT("a")));
  EXPECT_EQ(kMissing, RegDeleteTreeW(root, TEXT("a")));
  RegCloseKey(create(root, TEXT("d\\e")));
  ASSERT_EQ(0, write(root, TEXT("value"), "x"));
  EXPECT_EQ(0, RegDeleteTreeW(root, nullptr));
  EXPECT_EQ(kMissing, open(root, TEXT("d")));
  EXPECT_EQ("error 2", read(root, TEXT("value")));
  EXPECT_EQ(0, write(root, TEXT("value"), "y")) << "the key itself stays";
}

TEST_F(Registry, AHandleOfADeletedKeyLeadsNowhere) {
  const HKEY key = create(root, TEXT("gone"));
  ASSERT_EQ(0, write(key, TEXT("value"), "x"));
  ASSERT_EQ(0, RegDeleteKeyW(root, TEXT("gone")));
  const HKEY other = create(root, TEXT("new"));
  ASSERT_EQ(0, write(other, TEXT("value"), "another key's"));
  EXPECT_EQ("error 1018", read(key, TEXT("value")));
  EXPECT_EQ(kDeleted, write(key, TEXT("value"), "z"));
  EXPECT_EQ("another key's", read(other, TEXT("value")));
  RegCloseKey(key);
  RegCloseKey(other);
}

TEST_F(Registry, AHandleAllowsWhatItWasOpenedFor) {
  const HKEY reader = create(root, TEXT("key"), KEY_READ), writer = create(root, TEXT("key"), KEY_WRITE);
  WCHAR name[20];
  DWORD length = 20;
  EXPECT_EQ(kDenied, write(reader, TEXT("value"), "x"));
  EXPECT_EQ(kDenied, RegDeleteValueW(reader, TEXT("value")));
  EXPECT_EQ(0, write(writer, TEXT("value"), "x"));
  EXPECT_EQ("error 5", read(writer, TEXT("value")));
  EXPECT_EQ(kDenied, RegEnumKeyExW(writer, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ("x", read(reader, TEXT("value")));
  HKEY below = nullptr;
  // Making keys asks the key's security, not what the handle was opened for.
  EXPECT_EQ(0, RegCreateKeyExW(reader, TEXT("below"), 0, nullptr, 0, KEY_READ, nullptr, &below, nullptr));
  RegCloseKey(below);
  EXPECT_EQ(0, RegFlushKey(writer));
  RegCloseKey(reader);
  RegCloseKey(writer);
}

TEST_F(Registry, TheMachinesHiveIsAnother) {
  HKEY key = nullptr;
  ASSERT_EQ(
      0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRoot, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
  EXPECT_EQ(0, write(key, TEXT("value"), "machine's"));
  EXPECT_EQ("error 2", read(root, TEXT("value")));
  EXPECT_EQ(0, RegCloseKey(key));
  EXPECT_EQ(0, RegDeleteTreeW(HKEY_LOCAL_MACHINE, kRoot));
}

}  // namespace
