#include "qv/platform/find.h"

#include <algorithm>

#include "contract/folder.h"

namespace {

// What a pattern finds in a folder, each name once, sorted; or the reason why it can't.
class Find : public ContractFolder {
 protected:
  void TearDown() override {
    RemoveDirectoryW((folder_ + TEXT("\\sub")).c_str());
    ContractFolder::TearDown();
  }
  std::string list(const Text& pattern) {
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return "error " + std::to_string(GetLastError());
    std::vector<std::string> names;
    do names.emplace_back(found.cFileName, found.cFileName + Text(found.cFileName).size());
    while (FindNextFileW(search, &found));
    EXPECT_EQ(DWORD{ERROR_NO_MORE_FILES}, GetLastError());
    EXPECT_TRUE(FindClose(search));
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : " ") + name;
    return all;
  }
};

TEST_F(Find, PatternsMatchAsTheyDo) {
  for (const char* name : {"a.wav", "b.WAV", "abc.tar.gz", "noext", "x.w"}) write(path(name), name);
  ASSERT_TRUE(CreateDirectoryW((folder_ + TEXT("\\sub")).c_str(), nullptr));
  constexpr const char* kAll = ". .. a.wav abc.tar.gz b.WAV noext sub x.w";
  struct {
    const char* pattern;
    const char* names;
  } cases[] = {
      {"*", kAll},
      {"*.*", kAll},
      {"*.wav", "a.wav b.WAV"},
      {"?.wav", "a.wav b.WAV"},
      {"A*", "a.wav abc.tar.gz"},
      {"*.gz", "abc.tar.gz"},
      {"*.tar", "error 2"},
      {"abc*gz", "abc.tar.gz"},
      {"*c.t*", "abc.tar.gz"},
      {"noext*", "noext"},
      {"noext.*", "noext"},
      {"s?b", "sub"},
      {"a.wav", "a.wav"},
      {"missing", "error 2"},
      {"*.zip", "error 2"},
      {"", "error 2"},
      {"sub", "sub"},
      {"sub\\*", ". .."},
      {"sub\\x*", "error 2"},
      {"missing\\*", "error 3"},
      {"s*\\x", "error 123"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.names, list(folder_ + TEXT("\\") + widen(each.pattern))) << each.pattern;
  }
}

TEST_F(Find, GivesWhatTheFileIs) {
  Text file = path("Take one.wav"), folder = folder_ + TEXT("\\sub");
  write(file, "12345");
  ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
  WIN32_FILE_ATTRIBUTE_DATA facts;
  ASSERT_TRUE(GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &facts));
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW((folder_ + TEXT("\\t*")).c_str(), &found);
  ASSERT_NE(INVALID_HANDLE_VALUE, search);
  EXPECT_EQ(Text(TEXT("Take one.wav")), found.cFileName);
  EXPECT_EQ(DWORD{FILE_ATTRIBUTE_ARCHIVE}, found.dwFileAttributes);
  EXPECT_EQ(5u, found.nFileSizeLow);
  EXPECT_EQ(0u, found.nFileSizeHigh);
  EXPECT_EQ(facts.ftLastWriteTime.dwLowDateTime, found.ftLastWriteTime.dwLowDateTime);
  EXPECT_EQ(facts.ftLastWriteTime.dwHighDateTime, found.ftLastWriteTime.dwHighDateTime);
  EXPECT_TRUE(FindClose(search));
  search = FindFirstFileW(folder.c_str(), &found);
  ASSERT_NE(INVALID_HANDLE_VALUE, search);
  EXPECT_EQ(Text(TEXT("sub")), found.cFileName);
  EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY}, found.dwFileAttributes);
  EXPECT_FALSE(FindNextFileW(search, &found)) << "one name is one entry";
  EXPECT_TRUE(FindClose(search));
  EXPECT_FALSE(FindClose(INVALID_HANDLE_VALUE));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST_F(Find, SeesAttributesThatWereSet) {
  Text hidden = path("hidden.txt"), locked = path("locked.txt");
  write(hidden, "x");
  write(locked, "x");
  EXPECT_TRUE(SetFileAttributesW(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
  EXPECT_TRUE(SetFileAttributesW(locked.c_str(), FILE_ATTRIBUTE_READONLY));
  for (const Text& pattern : {folder_ + TEXT("\\h*"), hidden, folder_ + TEXT("\\l*")}) {
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    DWORD wanted =
        found.cFileName[0] == 'l' ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    EXPECT_EQ(wanted, found.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_ARCHIVE});
    EXPECT_EQ(found.dwFileAttributes, GetFileAttributesW((folder_ + TEXT("\\") + found.cFileName).c_str()));
    FindClose(search);
  }
  EXPECT_TRUE(SetFileAttributesW(locked.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_TRUE(SetFileAttributesW(hidden.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(Find, DeletingWhatWasListedLeavesNothingOut) {
  constexpr int kCount = 700;
  for (int i = 0; i < kCount; ++i) write(folder_ + TEXT("\\") + widen("file " + std::to_string(i)), "");
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW((folder_ + TEXT("\\*.*")).c_str(), &found);
  ASSERT_NE(INVALID_HANDLE_VALUE, search);
  int deleted = 0;
  do {
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
    deleted += DeleteFileW((folder_ + TEXT("\\") + found.cFileName).c_str());
  } while (FindNextFileW(search, &found));
  FindClose(search);
  EXPECT_EQ(kCount, deleted);
}

TEST(FindElsewhere, RootsHaveNoDotsAndMissingDrivesNothing) {
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(TEXT("C:\\*"), &found);
  ASSERT_NE(INVALID_HANDLE_VALUE, search);
  do EXPECT_NE(Text(TEXT("..")), found.cFileName);
  while (FindNextFileW(search, &found));
  FindClose(search);
  for (const WCHAR* path : {TEXT("Q:\\*"), TEXT("")}) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(path, &found));
    EXPECT_TRUE(GetLastError() == ERROR_PATH_NOT_FOUND || GetLastError() == ERROR_FILE_NOT_FOUND)
        << GetLastError();
  }
}

}  // namespace
