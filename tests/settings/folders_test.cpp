#include "qv/settings/folders.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qv/frame/status.h"
#include "qv/platform/files.h"
#include "qv/settings/metric.h"

namespace {

using namespace qv;
using Text = std::basic_string<WCHAR>;

constexpr const WCHAR* kShared = TEXT("Software\\Halden Media Works\\Shared Information");
constexpr const WCHAR* kComponents = TEXT("SharedComponentsFolder");

// What the call left in a buffer of its capacity; a text that was not terminated would show.
template <typename Call>
std::pair<HRESULT, Text> given(uint32_t capacity, Call call) {
  Text buffer(600, '?');
  const HRESULT status = call(buffer.data(), capacity);
  EXPECT_EQ('?', buffer[capacity]);
  return {status, Text(buffer.c_str())};
}

using Given = std::pair<HRESULT, Text>;

class SharedFolders : public testing::Test {
 protected:
  void SetUp() override { QvRegDeleteKey(HKEY_LOCAL_MACHINE, kShared); }
  void TearDown() override { QvRegDeleteKey(HKEY_LOCAL_MACHINE, kShared); }
};

TEST_F(SharedFolders, ComeWithABackslashOrNotAtAll) {
  const struct {
    Text stored;
    uint32_t capacity;
    Given expected;
  } cases[] = {
      {TEXT("C:\\Shared"), 260, {kOk, TEXT("C:\\Shared\\")}},
      {TEXT("C:\\Shared\\"), 260, {kOk, TEXT("C:\\Shared\\")}},
      {TEXT("C:\\Shared"), 11, {kOk, TEXT("C:\\Shared\\")}},
      {TEXT("C:\\Shared"), 10, {kGeneralFailure, TEXT("")}},
      {TEXT(""), 260, {kGeneralFailure, TEXT("")}},
      {Text(259, 'x'), 300, {kOk, Text(259, 'x') + TEXT("\\")}},
      {Text(260, 'x'), 300, {kGeneralFailure, TEXT("")}},
  };
  EXPECT_EQ(Given(kGeneralFailure, TEXT("")), given(260, QvGetSharedComponentsFolder)) << "no key";
  for (const auto& each : cases) {
    EXPECT_EQ(kOk, QvSetSharedInformationValue(each.stored.c_str(), kComponents));
    EXPECT_EQ(each.expected, given(each.capacity, QvGetSharedComponentsFolder)) << (&each - cases);
  }
  WCHAR buffer[4];
  EXPECT_EQ(kInvalidArgument, QvGetSharedComponentsFolder(nullptr, 4));
  EXPECT_EQ(kInvalidArgument, QvGetSharedComponentsFolder(buffer, 0));
  EXPECT_EQ(kInvalidArgument, QvGetSharedInformationFolder(buffer, 4, nullptr));
  EXPECT_EQ(kInvalidArgument, QvSetSharedInformationValue(nullptr, kComponents));
  EXPECT_EQ(kInvalidArgument, QvSetSharedInformationValue(TEXT("x"), nullptr));
}

Given contentFolder(uint32_t index, uint32_t capacity = 260) {
  return given(capacity, [index](WCHAR* buffer, uint32_t size) {
    return QvGetSpecialHaldenFolder(buffer, size, index);
  });
}

TEST_F(SharedFolders, ContentFoldersFallBackToTheComponents) {
  EXPECT_EQ(Given(kGeneralFailure, TEXT("")), contentFolder(0));
  ASSERT_EQ(kOk, QvSetSharedInformationValue(TEXT("C:\\Shared"), kComponents));
  EXPECT_EQ(Given(kOk, TEXT("C:\\Shared\\Brimmel Themes\\")), contentFolder(0));
  EXPECT_EQ(Given(kOk, TEXT("C:\\Shared\\Brimmel Transitions\\")), contentFolder(1));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), contentFolder(2));
  EXPECT_EQ(Given(kGeneralFailure, TEXT("")), contentFolder(0, 25)) << "one character short";
  EXPECT_EQ(kOk, QvSetSpecialHaldenFolder(TEXT("D:\\Themes"), 0));
  EXPECT_EQ(kOk, QvSetSpecialHaldenFolder(TEXT("D:\\Transitions"), 1));
  EXPECT_EQ(kInvalidArgument, QvSetSpecialHaldenFolder(TEXT("D:\\Nothing"), 2));
  EXPECT_EQ(Given(kOk, TEXT("D:\\Themes\\")), contentFolder(0));
  EXPECT_EQ(Given(kOk, TEXT("D:\\Transitions\\")), contentFolder(1));
}

TEST_F(SharedFolders, DefaultNamesAreTwo) {
  const auto name = [](uint32_t index, uint32_t capacity) {
    return given(capacity, [index](WCHAR* buffer, uint32_t size) {
      return QvGetSpecialHaldenDefaultFolderName(buffer, size, index);
    });
  };
  EXPECT_EQ(Given(kOk, TEXT("Brimmel Themes")), name(0, 15));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), name(2, 260));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), name(0, 14));
}

TEST_F(SharedFolders, TheLocaleIsWrittenAndNotRead) {
  EXPECT_EQ(kOk, QvSetLocale(1031));
  EXPECT_EQ(0u, QvGetLocale());
  HKEY key = nullptr;
  DWORD value = 0, type = 0, size = sizeof(value);
  ASSERT_EQ(ERROR_SUCCESS, static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kShared, 0, KEY_READ, &key)));
  EXPECT_EQ(0, RegQueryValueExW(key, TEXT("Locale"), nullptr, &type, reinterpret_cast<BYTE*>(&value), &size));
  RegCloseKey(key);
  EXPECT_EQ(REG_DWORD, type);
  EXPECT_EQ(1031u, value);
}

bool isFolder(const Text& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

TEST(SpecialFolders, AreMadeBelowTheUsersOwn) {
  WCHAR base[MAX_PATH] = {};
  ASSERT_EQ(S_OK, SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, base));
  const Text folder = Text(base) + TEXT("\\Folder Test");
  EXPECT_EQ(Given(kOk, folder + TEXT("\\2.5\\")), given(260, [](WCHAR* buffer, uint32_t size) {
              return QvGetSpecialFolderVer(buffer, size, CSIDL_APPDATA, TEXT("Folder Test"), 2, 5);
            }));
  EXPECT_TRUE(isFolder(folder + TEXT("\\2.5")));
  EXPECT_TRUE(RemoveDirectoryW((folder + TEXT("\\2.5")).c_str()));
  const auto plain = [](int32_t number, const WCHAR* subfolder) {
    return [=](WCHAR* buffer, uint32_t size) {
      return QvGetSpecialFolderNoVer(buffer, size, number, subfolder);
    };
  };
  EXPECT_EQ(Given(kOk, folder + TEXT("\\")), given(260, plain(CSIDL_APPDATA, TEXT("Folder Test"))));
  EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), given(259, plain(CSIDL_APPDATA, TEXT("Folder Test"))));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), given(260, plain(CSIDL_APPDATA, nullptr)));
  EXPECT_EQ(Given(kInvalidArgument, TEXT("")), given(260, plain(0xee, TEXT("Folder Test"))))
      << "the system's answer";
  EXPECT_EQ(Given(kGeneralFailure, TEXT("")), given(260, plain(CSIDL_APPDATA, Text(250, 'x').c_str())));
  EXPECT_EQ(Given(kGeneralFailure, TEXT("")), given(260, plain(CSIDL_APPDATA, Text(300, 'x').c_str())));
  EXPECT_FALSE(isFolder(folder));
}

TEST(SpecialFolders, SomeAreForTheEyesOfUsers) {
  for (int32_t number = 0; number < 80; ++number) {
    const bool visible =
        Text(TEXT("\x05\x0c\x10\x19\x28\x2e\x35\x36\x37")).find(static_cast<WCHAR>(number)) != Text::npos;
    EXPECT_EQ(visible && number != 0 ? 0 : 1, QvIsHiddenFolderByDefault(number)) << number;
    EXPECT_EQ(QvIsHiddenFolderByDefault(number), QvIsHiddenFolderByDefault(number | 0x8000)) << number;
  }
}

TEST(PresetFolder, IsTheUsersDocumentsUntilItIsSet) {
  constexpr const WCHAR* kApplication = TEXT("Preset Test");
  constexpr uint32_t kVersion = 0x03010000;
  const auto preset = [](uint32_t capacity) {
    return given(capacity, [](WCHAR* buffer, uint32_t size) {
      return QvGetPresetFolder(buffer, size, kVersion, kApplication);
    });
  };
  QvRegDeleteKey(HKEY_CURRENT_USER, TEXT("Software\\Halden Media Works\\Preset Test"));
  WCHAR documents[MAX_PATH] = {};
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, documents, CSIDL_PERSONAL, TRUE));
  EXPECT_EQ(Given(kOk, documents), preset(260));
  EXPECT_EQ(kOk, QvSetPresetFolder(TEXT("D:\\Presets"), kVersion, kApplication));
  EXPECT_EQ(Given(kOk, TEXT("D:\\Presets")), preset(260));
  EXPECT_EQ(Given(kOk, TEXT("D:\\Presets")), preset(11)) << "with its terminator it just fits";
  EXPECT_EQ(Given(kOk, TEXT("")), preset(5)) << "neither folder fits";
  EXPECT_EQ(kNothing, QvSetPresetFolder(TEXT("D:\\Presets"), kVersion, Text(300, 'x').c_str()));
  EXPECT_EQ(kGeneralFailure, QvSetPresetFolder(nullptr, kVersion, kApplication));
  QvRegDeleteKey(HKEY_CURRENT_USER, TEXT("Software\\Halden Media Works\\Preset Test"));
}

}  // namespace
