#include "qv/platform/shell_folders.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/platform/files.h"

namespace {

using Text = std::basic_string<WCHAR>;

bool isFolder(const WCHAR* path) {
  const DWORD attributes = GetFileAttributesW(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

TEST(ShellFolders, AreFullPathsThatExist) {
  for (const int folder :
       {CSIDL_APPDATA, CSIDL_LOCAL_APPDATA, CSIDL_PROFILE, CSIDL_PERSONAL | CSIDL_FLAG_CREATE,
        CSIDL_MYMUSIC | CSIDL_FLAG_CREATE, CSIDL_COMMON_DOCUMENTS | CSIDL_FLAG_CREATE}) {
    WCHAR path[MAX_PATH] = {};
    EXPECT_EQ(S_OK, SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path)) << folder;
    EXPECT_TRUE(isFolder(path)) << folder;
    EXPECT_EQ(TEXT(":\\"), Text(path).substr(1, 2)) << folder;
    EXPECT_NE('\\', path[Text(path).size() - 1]) << folder;
  }
  WCHAR created[MAX_PATH] = {}, found[MAX_PATH] = {};
  EXPECT_TRUE(SHGetSpecialFolderPathW(nullptr, created, CSIDL_PERSONAL, TRUE));
  EXPECT_EQ(S_OK, SHGetFolderPathW(nullptr, CSIDL_PERSONAL, nullptr, SHGFP_TYPE_CURRENT, found));
  EXPECT_EQ(Text(created), found);
}

TEST(ShellFolders, ANumberWithoutAFolderFails) {
  WCHAR path[MAX_PATH] = {};
  EXPECT_EQ(E_INVALIDARG, SHGetFolderPathW(nullptr, 0xee, nullptr, SHGFP_TYPE_CURRENT, path));
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, path, 0xee, FALSE));
}

TEST(ShellFolders, NamesGoBehindPaths) {
  const struct {
    const WCHAR* path;
    const WCHAR* more;
    const WCHAR* expected;
  } cases[] = {
      {TEXT("C:\\a"), TEXT("b"), TEXT("C:\\a\\b")},
      {TEXT("C:\\a\\"), TEXT("b\\"), TEXT("C:\\a\\b\\")},
      {TEXT("C:\\a"), TEXT("\\b\\1.2\\"), TEXT("C:\\a\\b\\1.2\\")},
      {TEXT("C:\\a\\b"), TEXT("..\\c"), TEXT("C:\\a\\c")},
      {TEXT("C:\\a"), TEXT(".\\c"), TEXT("C:\\a\\c")},
      {TEXT("C:\\a"), TEXT("..\\..\\.."), TEXT("C:\\")},
      {TEXT("C:\\a"), TEXT(""), TEXT("C:\\a")},
      {TEXT("C:\\a"), TEXT("\\"), TEXT("C:\\a")},
      {TEXT("C:\\a"), TEXT("D:\\b"), TEXT("D:\\b")},
      {TEXT(""), TEXT("b"), TEXT("b")},
  };
  for (const auto& each : cases) {
    WCHAR path[MAX_PATH] = {};
    Text(each.path).copy(path, MAX_PATH);
    EXPECT_TRUE(PathAppendW(path, each.more)) << (&each - cases);
    EXPECT_EQ(Text(each.expected), path) << (&each - cases);
  }
}

TEST(ShellFolders, ANameThatDoesNotFitIsRefused) {
  WCHAR path[MAX_PATH] = {};
  Text(TEXT("C:\\a")).copy(path, MAX_PATH);
  EXPECT_FALSE(PathAppendW(path, nullptr));
  EXPECT_TRUE(PathAppendW(path, Text(254, 'b').c_str()));
  EXPECT_EQ(259u, Text(path).size());
  EXPECT_FALSE(PathAppendW(path, TEXT("b")));
}

}  // namespace
