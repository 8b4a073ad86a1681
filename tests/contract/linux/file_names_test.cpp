// What only Linux has to provide: Windows's rules on a file system that knows none of them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "contract/folder.h"
#include "qv/platform/find.h"
#include "qv/platform/times.h"

namespace {

class FileNames : public ContractFolder {
 protected:
  void SetUp() override {
    ContractFolder::SetUp();
    native_ = "/tmp/" + std::string(folder_.begin() + folder_.find_last_of(u'\\') + 1, folder_.end());
    if (const char* temp = getenv("TMPDIR")) native_ = temp + native_.substr(4);
  }
  void TearDown() override { EXPECT_EQ(0, system(("rm -rf '" + native_ + "'").c_str())); }
  DWORD errorOf(const Text& name) {
    return GetFileAttributesW(name.c_str()) == INVALID_FILE_ATTRIBUTES ? GetLastError() : 0;
  }
  Text in(const Text& name) { return folder_ + TEXT("\\") + name; }

  std::string native_;
};

TEST_F(FileNames, ThatCannotBe) {
  Text component(256, WCHAR{'x'});
  struct {
    Text path;
    DWORD error;
  } cases[] = {
      {in(TEXT("a:b")), ERROR_INVALID_NAME},
      {in(TEXT("a.txt:stream")), ERROR_INVALID_NAME},
      {in(component), ERROR_PATH_NOT_FOUND},
      {TEXT("\\\\?\\") + in(component), ERROR_INVALID_NAME},
      {in(Text(250, WCHAR{'x'})), ERROR_PATH_NOT_FOUND},
      {TEXT("\\\\?\\") + in(Text(250, WCHAR{'x'})), ERROR_FILE_NOT_FOUND},
      {TEXT("\\\\?\\") + in(TEXT("..\\x")), ERROR_INVALID_NAME},
      {TEXT("\\\\?\\") + in(TEXT("a/b")), ERROR_INVALID_NAME},
      {in(TEXT("\xf02e\xf02e\\x")), ERROR_INVALID_NAME},
      {in(TEXT("a\xf02f"
               "b")),
       ERROR_FILE_NOT_FOUND},
      {TEXT("D:\\x"), ERROR_PATH_NOT_FOUND},
      {TEXT("\\\\server\\share\\x"), ERROR_BAD_NETPATH},
  };
  for (const auto& each : cases) EXPECT_EQ(each.error, errorOf(each.path)) << (&each - cases);
  EXPECT_FALSE(CreateDirectoryW(in(Text(247 - folder_.size(), WCHAR{'x'})).c_str(), nullptr));
  EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, GetLastError());
  EXPECT_TRUE(CreateDirectoryW(in(Text(246 - folder_.size(), WCHAR{'x'})).c_str(), nullptr));
}

TEST_F(FileNames, OfDevices) {
  for (const WCHAR* name : {TEXT("con"), TEXT("Aux.txt"), TEXT("NUL"), TEXT("com1 .x"), TEXT("LPT9.")}) {
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, GetFileAttributesW(in(name).c_str()));
    EXPECT_FALSE(CreateDirectoryW(in(name).c_str(), nullptr));
    EXPECT_EQ(ERROR_DIRECTORY, GetLastError());
    EXPECT_FALSE(DeleteFileW(in(name).c_str()));
  }
  for (const WCHAR* name : {TEXT("con1"), TEXT("com0"), TEXT("null"), TEXT("x.con")}) {
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, errorOf(in(name)));
  }
  HANDLE nothing = open(in(TEXT("nul")), GENERIC_WRITE, 0, OPEN_EXISTING);
  ASSERT_NE(INVALID_HANDLE_VALUE, nothing);
  EXPECT_TRUE(CloseHandle(nothing));
  EXPECT_EQ(INVALID_HANDLE_VALUE, open(in(TEXT("con.wav")), GENERIC_WRITE, 0, CREATE_ALWAYS));
}

// Each of these would name another file, or a path, if it were shown as it is.
TEST_F(FileNames, ThatWindowsCouldNotHoldComeBack) {
  const char* names[] = {"a\\..\\..\\b",
                         "c:d",
                         "dot.",
                         "blank ",
                         "star*",
                         "\xff\xfe"
                         "bad",
                         "\xc0\xaf",
                         "\x01",
                         "\xef\x80\xae\xef\x80\xae",
                         "Größe 🎬"};
  for (const char* name : names) close(::open((native_ + "/" + name).c_str(), O_CREAT | O_WRONLY, 0644));
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(in(TEXT("*")).c_str(), &found);
  ASSERT_NE(INVALID_HANDLE_VALUE, search);
  size_t deleted = 0;
  do {
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
    EXPECT_TRUE(DeleteFileW(in(found.cFileName).c_str())) << GetLastError();
    ++deleted;
  } while (FindNextFileW(search, &found));
  FindClose(search);
  EXPECT_EQ(std::size(names), deleted);
  EXPECT_EQ(0, rmdir(native_.c_str()));
}

TEST_F(FileNames, LinksAreTakenForThemselves) {
  ASSERT_EQ(0, mkdir((native_ + "/real").c_str(), 0755));
  write(in(TEXT("real\\inside.txt")), "x");
  struct {
    const char *target, *name;
    const WCHAR* path;
    bool folder;
  } links[] = {
      {"real", "folder", TEXT("folder"), true},
      {"real/inside.txt", "file", TEXT("file"), false},
      {"nowhere", "broken", TEXT("broken"), false},
  };
  for (const auto& each : links) {
    ASSERT_EQ(0, symlink(each.target, (native_ + "/" + each.name).c_str()));
    Text path = in(each.path);
    DWORD kind = each.folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
    EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | kind, GetFileAttributesW(path.c_str())) << each.name;
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((path + TEXT("*")).c_str(), &found);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    EXPECT_EQ(FILE_ATTRIBUTE_REPARSE_POINT | kind, found.dwFileAttributes);
    EXPECT_EQ(IO_REPARSE_TAG_SYMLINK, found.dwReserved0);
    FindClose(search);
    EXPECT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE((each.folder ? DeleteFileW : RemoveDirectoryW)(path.c_str()));
    Text moved = path + TEXT(".moved");
    EXPECT_TRUE(MoveFileExW(path.c_str(), moved.c_str(), 0)) << each.name;
    EXPECT_TRUE(
        (each.folder ? RemoveDirectoryW(moved.append(TEXT("\\")).c_str()) : DeleteFileW(moved.c_str())))
        << each.name << GetLastError();
  }
  EXPECT_EQ("x", read(in(TEXT("real\\inside.txt"))));
  EXPECT_FALSE(GetFileAttributesW(in(TEXT("real\\inside.txt")).c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(FileNames, KeepArchiveUntilTheyAreWritten) {
  Text file = in(TEXT("a.txt"));
  write(file, "x");
  EXPECT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(FILE_ATTRIBUTE_NORMAL, GetFileAttributesW(file.c_str()));
  HANDLE handle = open(file, GENERIC_WRITE, 0, OPEN_EXISTING);
  DWORD written;
  EXPECT_TRUE(WriteFile(handle, "y", 1, &written, nullptr));
  CloseHandle(handle);
  EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, GetFileAttributesW(file.c_str()));
}

TEST_F(FileNames, HandlesAndReadOnlyFilesRefuseEvenRoot) {
  Text file = in(TEXT("a.txt")), source = in(TEXT("source.txt"));
  write(file, "x");
  write(source, "new");
  FILETIME time = {0x12345678, 0x01d00000};
  LONG upper = 1;
  HANDLE handle = open(file, GENERIC_READ, 7, OPEN_EXISTING);
  EXPECT_FALSE(SetFileTime(handle, nullptr, nullptr, &time));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_EQ(16u, SetFilePointer(handle, 16, &upper, FILE_BEGIN));
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(handle, 16, nullptr, FILE_CURRENT));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
  CloseHandle(handle);
  EXPECT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(INVALID_HANDLE_VALUE, open(file, GENERIC_WRITE, 0, OPEN_EXISTING));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_FALSE(CopyFileW(source.c_str(), file.c_str(), FALSE));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_EQ("x", read(file));
}

TEST_F(FileNames, PatternsStandForNothingAtTheEnd) {
  for (const WCHAR* name : {TEXT("noext"), TEXT("x.w")}) write(in(name), "x");
  WIN32_FIND_DATAW found;
  for (const WCHAR* pattern : {TEXT("noext???"), TEXT("x.w??"), TEXT("x?.w"), TEXT("n*.")}) {
    HANDLE search = FindFirstFileW(in(pattern).c_str(), &found);
    EXPECT_NE(INVALID_HANDLE_VALUE, search);
    FindClose(search);
  }
  EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(in(TEXT("x*.")).c_str(), &found));
  EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(in(TEXT("x.w\\*")).c_str(), &found));
  EXPECT_EQ(ERROR_DIRECTORY, GetLastError());
}

TEST_F(FileNames, ACopyThatFindsNoRoomLeavesNothing) {
  write(in(TEXT("big")), std::string(300000, 'x'));
  write(in(TEXT("old")), "old");
  rlimit before, low;
  getrlimit(RLIMIT_FSIZE, &before);
  low = before;
  low.rlim_cur = 100000;
  auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &low);
  for (const WCHAR* target : {TEXT("new"), TEXT("old")}) {
    EXPECT_FALSE(CopyFileW(in(TEXT("big")).c_str(), in(target).c_str(), FALSE));
    EXPECT_EQ(ERROR_DISK_FULL, GetLastError());
  }
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ("old", read(in(TEXT("old"))));
  for (const char* name : {"big", "old"}) unlink((native_ + "/" + name).c_str());
  EXPECT_EQ(0, rmdir(native_.c_str())) << "something was left";
}

TEST_F(FileNames, ACopyKeepsItsHoles) {
  int file = ::open((native_ + "/sparse").c_str(), O_CREAT | O_RDWR, 0640);
  EXPECT_EQ(4, pwrite(file, "data", 4, 8 << 20));
  EXPECT_EQ(0, ftruncate(file, 16 << 20));
  close(file);
  EXPECT_TRUE(CopyFileW(in(TEXT("sparse")).c_str(), in(TEXT("copy")).c_str(), TRUE));
  struct stat facts;
  ASSERT_EQ(0, stat((native_ + "/copy").c_str(), &facts));
  EXPECT_EQ(16 << 20, facts.st_size);
  EXPECT_LT(facts.st_blocks, 1000);
  EXPECT_EQ(0640u, facts.st_mode & 0777);
  char data[4];
  file = ::open((native_ + "/copy").c_str(), O_RDONLY);
  EXPECT_EQ(4, pread(file, data, 4, 8 << 20));
  EXPECT_EQ("data", std::string(data, 4));
  close(file);
}

TEST(FileTimes, DaysThatNoMonthHas) {
  for (SYSTEMTIME each : {SYSTEMTIME{2023, 2, 0, 29, 0, 0, 0, 0}, SYSTEMTIME{1900, 2, 0, 29, 0, 0, 0, 0},
                          SYSTEMTIME{2023, 4, 0, 31, 0, 0, 0, 0}}) {
    FILETIME time;
    EXPECT_FALSE(SystemTimeToFileTime(&each, &time));
  }
}

}  // namespace
