#include "qv/platform/files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contract/folder.h"

namespace {

using Files = ContractFolder;

TEST_F(Files, DispositionsDecideWhatHappens) {
  struct {
    DWORD disposition;
    bool exists, opens;
    DWORD error;
    const char* contents;
  } cases[] = {
      {CREATE_NEW, false, true, 777, ""},
      {CREATE_NEW, true, false, ERROR_FILE_EXISTS, "old"},
      {CREATE_ALWAYS, false, true, 0, ""},
      {CREATE_ALWAYS, true, true, ERROR_ALREADY_EXISTS, ""},
      {OPEN_EXISTING, false, false, ERROR_FILE_NOT_FOUND, nullptr},
      {OPEN_EXISTING, true, true, 777, "old"},
      {OPEN_ALWAYS, false, true, 0, ""},
      {OPEN_ALWAYS, true, true, ERROR_ALREADY_EXISTS, "old"},
      {TRUNCATE_EXISTING, false, false, ERROR_FILE_NOT_FOUND, nullptr},
      {TRUNCATE_EXISTING, true, true, 777, ""},
      {99, true, false, ERROR_INVALID_PARAMETER, "old"},
  };
  Text file = path("disposition.txt");
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    DeleteFileW(file.c_str());
    if (each.exists) write(file, "old");
    HANDLE handle = open(file, GENERIC_READ | GENERIC_WRITE, 0, each.disposition);
    DWORD error = GetLastError();
    EXPECT_EQ(each.opens, handle != INVALID_HANDLE_VALUE);
    if (each.error != 777) {
      EXPECT_EQ(each.error, error);
    }
    if (each.opens) {
      EXPECT_TRUE(CloseHandle(handle));
    }
    if (each.contents) {
      EXPECT_EQ(each.contents, read(file));
    }
    if (!each.contents) {
      EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(file.c_str()));
    }
  }
}

TEST_F(Files, OpeningSaysWhyNot) {
  Text file = path("there.txt");
  write(file, "x");
  struct {
    Text path;
    DWORD error;
  } cases[] = {
      {folder_ + TEXT("\\missing.txt"), ERROR_FILE_NOT_FOUND},
      {folder_ + TEXT("\\missing\\x.txt"), ERROR_PATH_NOT_FOUND},
      {folder_ + TEXT("\\what?.txt"), ERROR_INVALID_NAME},
      {folder_ + TEXT("\\a*b"), ERROR_INVALID_NAME},
      {folder_, ERROR_ACCESS_DENIED},
      {TEXT(""), ERROR_PATH_NOT_FOUND},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(each.path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING));
    EXPECT_EQ(each.error, GetLastError()) << (&each - cases);
  }
}

TEST_F(Files, OtherDrivesAndSharesAreNotThere) {
  for (const Text& file : {Text(TEXT("Q:\\x.txt")), Text(TEXT("\\\\no-such-server.invalid\\share\\x.txt"))}) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING));
    DWORD error = GetLastError();
    EXPECT_TRUE(error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_BAD_NETPATH)
        << error;
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(file.c_str()));
  }
}

TEST_F(Files, ShareModesHoldWithinTheProcess) {
  constexpr DWORD kRead = GENERIC_READ, kWrite = GENERIC_WRITE, kBoth = kRead | kWrite;
  constexpr DWORD kShareRead = FILE_SHARE_READ, kShareWrite = FILE_SHARE_WRITE;
  struct {
    DWORD firstAccess, firstShare, access, share;
    bool opens;
  } cases[] = {
      {kRead, kShareRead, kRead, kShareRead, true},
      {kRead, 0, kRead, kShareRead, false},
      {kRead, kShareRead, kRead, 0, false},
      {kRead, kShareRead, kWrite, kShareRead, false},
      {kRead, kShareRead | kShareWrite, kWrite, kShareRead, true},
      {kWrite, kShareRead, kRead, kShareRead, false},
      {kWrite, kShareRead, kRead, kShareRead | kShareWrite, true},
      {kBoth, kShareRead | kShareWrite, kBoth, kShareRead | kShareWrite, true},
      {kBoth, kShareWrite, kRead, kShareRead | kShareWrite, false},
      {kRead, 0, 0, 0, true},
  };
  Text file = path("shared.txt");
  write(file, "x");
  for (const auto& each : cases) {
    HANDLE first = open(file, each.firstAccess, each.firstShare, OPEN_EXISTING);
    ASSERT_NE(INVALID_HANDLE_VALUE, first);
    HANDLE second = open(file, each.access, each.share, OPEN_EXISTING);
    EXPECT_EQ(each.opens, second != INVALID_HANDLE_VALUE) << (&each - cases);
    if (!each.opens) {
      EXPECT_EQ(ERROR_SHARING_VIOLATION, GetLastError()) << (&each - cases);
    }
    if (each.opens) CloseHandle(second);
    CloseHandle(first);
  }
  HANDLE holder = open(file, kRead, kShareRead, OPEN_EXISTING);
  EXPECT_FALSE(DeleteFileW(file.c_str()));
  EXPECT_EQ(ERROR_SHARING_VIOLATION, GetLastError());
  EXPECT_FALSE(MoveFileExW(file.c_str(), path("elsewhere.txt").c_str(), 0));
  EXPECT_EQ(ERROR_SHARING_VIOLATION, GetLastError());
  EXPECT_EQ(INVALID_HANDLE_VALUE, open(file, kWrite, kShareRead, CREATE_ALWAYS)) << "and nothing is cut off";
  CloseHandle(holder);
  EXPECT_EQ("x", read(file));
}

TEST_F(Files, ReadWriteSeekAndCut) {
  Text file = path("data.bin");
  HANDLE handle = open(file, GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
  ASSERT_NE(INVALID_HANDLE_VALUE, handle);
  DWORD count = 0;
  char buffer[32];
  EXPECT_TRUE(WriteFile(handle, "0123456789", 10, &count, nullptr));
  struct {
    LONGLONG distance;
    DWORD method;
    bool ok;
    LONGLONG position;
  } seeks[] = {
      {3, FILE_BEGIN, true, 3},     {2, FILE_CURRENT, true, 5}, {-4, FILE_END, true, 6},
      {-7, FILE_CURRENT, false, 6}, {-1, FILE_BEGIN, false, 6}, {0, FILE_CURRENT, true, 6},
      {20, FILE_BEGIN, true, 20},
  };
  for (const auto& each : seeks) {
    LARGE_INTEGER distance, position{};
    distance.QuadPart = each.distance;
    EXPECT_EQ(each.ok, SetFilePointerEx(handle, distance, &position, each.method) != FALSE);
    if (each.ok) {
      EXPECT_EQ(each.position, position.QuadPart);
    }
    if (!each.ok) {
      EXPECT_EQ(ERROR_NEGATIVE_SEEK, GetLastError());
    }
  }
  EXPECT_TRUE(ReadFile(handle, buffer, 5, &count, nullptr)) << "beyond the end";
  EXPECT_EQ(0u, count);
  LARGE_INTEGER size, six;
  six.QuadPart = 6;
  EXPECT_TRUE(GetFileSizeEx(handle, &size));
  EXPECT_EQ(10, size.QuadPart) << "seeking alone doesn't lengthen";
  EXPECT_TRUE(SetFilePointerEx(handle, six, nullptr, FILE_BEGIN));
  EXPECT_TRUE(ReadFile(handle, buffer, 32, &count, nullptr));
  EXPECT_EQ("6789", std::string(buffer, count));
  EXPECT_TRUE(SetFilePointerEx(handle, six, nullptr, FILE_BEGIN));
  EXPECT_TRUE(SetEndOfFile(handle));
  six.QuadPart = 9;
  EXPECT_TRUE(SetFilePointerEx(handle, six, nullptr, FILE_BEGIN));
  EXPECT_TRUE(WriteFile(handle, "x", 1, &count, nullptr));
  EXPECT_TRUE(FlushFileBuffers(handle));
  EXPECT_EQ(FILE_TYPE_DISK, GetFileType(handle));
  CloseHandle(handle);
  EXPECT_EQ(std::string("012345\0\0\0x", 10), read(file));
  EXPECT_FALSE(GetFileSizeEx(handle, &size));
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
}

TEST_F(Files, AHandleDoesOnlyWhatItWasOpenedFor) {
  Text file = path("access.txt");
  write(file, "x");
  DWORD count = 0;
  char byte = 0;
  HANDLE reader = open(file, GENERIC_READ, 7, OPEN_EXISTING);
  HANDLE writer = open(file, GENERIC_WRITE, 7, OPEN_EXISTING);
  EXPECT_FALSE(WriteFile(reader, "y", 1, &count, nullptr));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_FALSE(SetEndOfFile(reader));
  EXPECT_FALSE(ReadFile(writer, &byte, 1, &count, nullptr));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(nullptr, 0));
  CloseHandle(reader);
  CloseHandle(writer);
  EXPECT_EQ("x", read(file));
}

TEST_F(Files, FoldersAndAttributes) {
  Text folder = folder_ + TEXT("\\inner"), file = path("plain.txt");
  write(file, "x");
  EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
  EXPECT_FALSE(CreateDirectoryW(folder.c_str(), nullptr));
  EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
  EXPECT_FALSE(CreateDirectoryW((folder_ + TEXT("\\no\\inner")).c_str(), nullptr));
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
  EXPECT_TRUE(GetFileAttributesW(folder.c_str()) & FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, GetFileAttributesW(file.c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((folder + TEXT("\\x")).c_str()));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesW((folder_ + TEXT("\\no\\x")).c_str()));
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());

  EXPECT_FALSE(DeleteFileW(folder.c_str()));
  EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
  EXPECT_FALSE(RemoveDirectoryW(file.c_str()));
  EXPECT_EQ(ERROR_DIRECTORY, GetLastError());
  EXPECT_FALSE(RemoveDirectoryW(folder_.c_str()));
  EXPECT_EQ(ERROR_DIR_NOT_EMPTY, GetLastError());
  EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
  EXPECT_FALSE(DeleteFileW(folder.c_str()));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
}

TEST_F(Files, MovingReplacesOnlyWhenAsked) {
  Text from = path("from.txt"), to = path("to.txt");
  write(from, "new");
  write(to, "old");
  EXPECT_FALSE(MoveFileExW(from.c_str(), to.c_str(), 0));
  EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
  EXPECT_EQ("old", read(to));
  EXPECT_TRUE(MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING));
  EXPECT_EQ("new", read(to));
  EXPECT_FALSE(MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  EXPECT_FALSE(MoveFileExW(to.c_str(), (folder_ + TEXT("\\no\\x")).c_str(), 0));
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
  EXPECT_TRUE(MoveFileExW(to.c_str(), from.c_str(), 0));
  EXPECT_EQ("new", read(from));
}

TEST_F(Files, AttributesThatCanBeSet) {
  constexpr DWORD kReadOnly = FILE_ATTRIBUTE_READONLY, kHidden = FILE_ATTRIBUTE_HIDDEN,
                  kSystem = FILE_ATTRIBUTE_SYSTEM, kArchive = FILE_ATTRIBUTE_ARCHIVE;
  Text file = path("attributes.txt");
  write(file, "x");
  for (DWORD wanted : {kReadOnly, kHidden, kSystem | kArchive, kReadOnly | kHidden | kSystem, kArchive,
                       DWORD{FILE_ATTRIBUTE_NORMAL}, DWORD{0}}) {
    EXPECT_TRUE(SetFileAttributesW(file.c_str(), wanted)) << wanted;
    constexpr DWORD kCounts = kReadOnly | kHidden | kSystem;
    EXPECT_EQ(wanted & kCounts, GetFileAttributesW(file.c_str()) & kCounts) << wanted;
  }
  EXPECT_TRUE(SetFileAttributesW(file.c_str(), kReadOnly));
  EXPECT_FALSE(DeleteFileW(file.c_str()));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
  EXPECT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL));
  write(file, "y");
  EXPECT_FALSE(SetFileAttributesW((folder_ + TEXT("\\missing")).c_str(), kHidden));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

TEST_F(Files, TimesSizesAndPositionsInHalves) {
  Text file = path("times.bin");
  write(file, "12345");
  HANDLE handle = open(file, GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  const FILETIME written = {0x12345678, 0x01d00000}, accessed = {0x87654320, 0x01d10000}, none = {0, 0};
  EXPECT_TRUE(SetFileTime(handle, nullptr, &accessed, &written));
  EXPECT_TRUE(SetFileTime(handle, nullptr, nullptr, &none)) << "0 changes nothing";
  FILETIME times[3] = {};
  EXPECT_TRUE(GetFileTime(handle, &times[0], &times[1], &times[2]));
  EXPECT_EQ(accessed.dwLowDateTime, times[1].dwLowDateTime);
  EXPECT_EQ(accessed.dwHighDateTime, times[1].dwHighDateTime);
  EXPECT_EQ(written.dwLowDateTime, times[2].dwLowDateTime);
  EXPECT_EQ(written.dwHighDateTime, times[2].dwHighDateTime);
  EXPECT_NE(0u, times[0].dwHighDateTime);

  DWORD high = 7;
  EXPECT_EQ(5u, GetFileSize(handle, &high));
  EXPECT_EQ(0u, high);
  LONG upper = 1;
  EXPECT_EQ(3u, SetFilePointer(handle, -2, nullptr, FILE_END));
  EXPECT_EQ(16u, SetFilePointer(handle, 16, &upper, FILE_BEGIN));
  EXPECT_EQ(1, upper);
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(handle, -1, nullptr, FILE_BEGIN));
  EXPECT_EQ(DWORD{ERROR_NEGATIVE_SEEK}, GetLastError());
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(handle, -1, &(upper = 0), FILE_BEGIN));
  EXPECT_EQ(DWORD{NO_ERROR}, GetLastError()) << "4294967295 is a place";
  CloseHandle(handle);
  EXPECT_EQ(INVALID_FILE_SIZE, GetFileSize(handle, &high));
}

TEST_F(Files, CopyingTakesContentsAndFacts) {
  Text from = path("from.txt"), to = path("to.txt");
  write(from, "contents");
  HANDLE handle = open(from, GENERIC_WRITE, 0, OPEN_EXISTING);
  const FILETIME written = {0x12345678, 0x01d00000};
  EXPECT_TRUE(SetFileTime(handle, nullptr, nullptr, &written));
  CloseHandle(handle);
  EXPECT_TRUE(SetFileAttributesW(from.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_TRUE(CopyFileW(from.c_str(), to.c_str(), TRUE)) << GetLastError();
  EXPECT_EQ("contents", read(to));
  EXPECT_EQ(DWORD{FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE},
            GetFileAttributesW(to.c_str()));
  WIN32_FILE_ATTRIBUTE_DATA facts{};
  EXPECT_TRUE(GetFileAttributesExW(to.c_str(), GetFileExInfoStandard, &facts));
  EXPECT_EQ(written.dwLowDateTime, facts.ftLastWriteTime.dwLowDateTime);
  EXPECT_EQ(written.dwHighDateTime, facts.ftLastWriteTime.dwHighDateTime);
  EXPECT_EQ(8u, facts.nFileSizeLow);
  EXPECT_TRUE(SetFileAttributesW(from.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_TRUE(SetFileAttributesW(to.c_str(), FILE_ATTRIBUTE_NORMAL));
  write(to, "something longer than that");
  EXPECT_TRUE(CopyFileW(from.c_str(), to.c_str(), FALSE));
  EXPECT_EQ("contents", read(to));
}

TEST_F(Files, CopyingSaysWhyNot) {
  Text from = path("from.txt"), to = path("to.txt");
  write(from, "new");
  write(to, "old");
  struct {
    Text from, to;
    BOOL failIfExists;
    DWORD error;
  } cases[] = {
      {from, to, TRUE, ERROR_FILE_EXISTS},
      {folder_ + TEXT("\\missing"), to, FALSE, ERROR_FILE_NOT_FOUND},
      {folder_ + TEXT("\\no\\x"), to, FALSE, ERROR_PATH_NOT_FOUND},
      {from, folder_ + TEXT("\\no\\x"), FALSE, ERROR_PATH_NOT_FOUND},
      {folder_, to, FALSE, ERROR_ACCESS_DENIED},
      {from, folder_, FALSE, ERROR_ACCESS_DENIED},
      {from, from, FALSE, ERROR_SHARING_VIOLATION},
      {from, folder_ + TEXT("\\what?"), FALSE, ERROR_INVALID_NAME},
  };
  for (const auto& each : cases) {
    EXPECT_FALSE(CopyFileW(each.from.c_str(), each.to.c_str(), each.failIfExists)) << (&each - cases);
    EXPECT_EQ(each.error, GetLastError()) << (&each - cases);
  }
  for (const Text& held : {from, to}) {
    HANDLE handle = open(held, GENERIC_READ, 0, OPEN_EXISTING);
    EXPECT_FALSE(CopyFileW(from.c_str(), to.c_str(), FALSE));
    EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, GetLastError());
    CloseHandle(handle);
  }
  EXPECT_EQ("old", read(to));
}

TEST_F(Files, FoldersOpenForTheirTimes) {
  EXPECT_EQ(INVALID_HANDLE_VALUE, open(folder_, GENERIC_READ, 7, OPEN_EXISTING));
  HANDLE handle = CreateFileW(folder_.c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, handle);
  FILETIME written{};
  EXPECT_TRUE(GetFileTime(handle, nullptr, nullptr, &written));
  EXPECT_NE(0u, written.dwHighDateTime);
  EXPECT_TRUE(CloseHandle(handle));
}

TEST_F(Files, LongPathsWantThePrefix) {
  Text folder = TEXT("\\\\?\\") + folder_;
  std::vector<Text> folders;
  for (int depth = 0; depth < 3; ++depth) {
    folder += TEXT("\\") + Text(120, WCHAR{'d'});
    EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr)) << GetLastError();
    folders.push_back(folder);
  }
  Text file = folder + TEXT("\\x.txt");
  write(file, "deep");
  EXPECT_EQ("deep", read(file));
  EXPECT_TRUE(DeleteFileW(file.c_str()));
  for (; !folders.empty(); folders.pop_back()) EXPECT_TRUE(RemoveDirectoryW(folders.back().c_str()));
}

TEST_F(Files, NamesMayHoldAnyLanguage) {
  made_.push_back(folder_ + TEXT("\\Größe жук 音 🎬.txt"));
  write(made_.back(), "x");
  EXPECT_EQ("x", read(made_.back()));
  EXPECT_TRUE(DeleteFileW(made_.back().c_str()));
}

TEST_F(Files, EitherSlashAndDotsNameTheSameFile) {
  Text file = path("one.txt");
  write(file, "x");
  Text slashed = file;
  for (WCHAR& c : slashed) c = c == '\\' ? WCHAR{'/'} : c;
  EXPECT_EQ("x", read(slashed));
  EXPECT_EQ("x", read(folder_ + TEXT("\\.\\no\\..\\one.txt"))) << "dots go by the names alone";
  EXPECT_EQ("x", read(folder_ + TEXT("\\\\one.txt")));
  EXPECT_EQ("x", read(file + TEXT(" ."))) << "dots and blanks at the end don't count";
  EXPECT_EQ("x", read(TEXT("\\\\?\\") + file));
}

TEST_F(Files, FullPathsAndTheCurrentFolder) {
  std::vector<WCHAR> before(1000), now(1000);
  ASSERT_GT(GetCurrentDirectoryW(1000, before.data()), 0u);
  EXPECT_FALSE(SetCurrentDirectoryW((folder_ + TEXT("\\no")).c_str()));
  ASSERT_TRUE(SetCurrentDirectoryW(folder_.c_str()));
  auto length = static_cast<DWORD>(folder_.size());
  EXPECT_EQ(length, GetCurrentDirectoryW(1000, now.data()));
  EXPECT_EQ(folder_, Text(now.data()));
  EXPECT_EQ(length + 1, GetCurrentDirectoryW(length, now.data()));
  struct {
    Text path, full, part;
  } cases[] = {
      {TEXT("x.txt"), folder_ + TEXT("\\x.txt"), TEXT("x.txt")},
      {TEXT("a/../b/./c"), folder_ + TEXT("\\b\\c"), TEXT("c")},
      {TEXT("a\\"), folder_ + TEXT("\\a\\"), TEXT("")},
      {TEXT("C:\\..\\..\\x"), TEXT("C:\\x"), TEXT("x")},
      {TEXT("C:/"), TEXT("C:\\"), TEXT("")},
      {TEXT("C:\\a\\\\b. ."), TEXT("C:\\a\\b"), TEXT("b")},
  };
  for (const auto& each : cases) {
    WCHAR full[1000];
    LPWSTR part = nullptr;
    DWORD result = GetFullPathNameW(each.path.c_str(), 1000, full, &part);
    EXPECT_EQ(each.full, Text(full)) << (&each - cases);
    EXPECT_EQ(each.full.size(), result);
    EXPECT_EQ(each.part, Text(part ? part : TEXT(""))) << (&each - cases);
    EXPECT_EQ(each.full.size() + 1, GetFullPathNameW(each.path.c_str(), 2, full, nullptr));
  }
  SetCurrentDirectoryW(before.data());
}

TEST_F(Files, LongFormOfAPathThatExists) {
  Text file = path("A longer name than eight.text");
  write(file, "x");
  WCHAR longForm[1000] = {};
  EXPECT_EQ(file.size(), GetLongPathNameW(file.c_str(), longForm, 1000));
  EXPECT_EQ(file, Text(longForm));
  EXPECT_EQ(file.size() + 1, GetLongPathNameW(file.c_str(), longForm, static_cast<DWORD>(file.size())));
  EXPECT_EQ(0u, GetLongPathNameW((file + TEXT("x")).c_str(), longForm, 1000));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

TEST(Streams, TheProcessHasItsOwn) {
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  ASSERT_TRUE(output);
  EXPECT_EQ(output, GetStdHandle(STD_OUTPUT_HANDLE));
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(output, "", 0, &written, nullptr));
  EXPECT_EQ(INVALID_HANDLE_VALUE, GetStdHandle(7));
  EXPECT_EQ(FILE_TYPE_UNKNOWN, GetFileType(nullptr));
}

}  // namespace
