#include "qv/platform/files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv/platform/modules.h"

namespace {

using Text = std::basic_string<WCHAR>;

Text widen(const std::string& text) {
  return Text(text.begin(), text.end());
}

// Each test works in a folder of its own, which is empty at the start and gone at the end.
class Files : public testing::Test {
 protected:
  void SetUp() override {
    WCHAR temp[300];
    ASSERT_GT(GetTempPathW(300, temp), 3u);
    folder_ = temp + widen("qv-contract-" + std::to_string(GetCurrentProcessId()));
    ASSERT_TRUE(CreateDirectoryW(folder_.c_str(), nullptr)) << GetLastError();
  }
  void TearDown() override {
    for (const Text& name : made_) DeleteFileW(name.c_str());
    EXPECT_TRUE(RemoveDirectoryW(folder_.c_str())) << "left behind: " << GetLastError();
  }

  Text path(const char* name) {
    Text whole = folder_ + TEXT("\\") + widen(name);
    made_.push_back(whole);
    return whole;
  }
  HANDLE open(const Text& file, DWORD access, DWORD share, DWORD disposition) {
    SetLastError(777);
    return CreateFileW(file.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  }
  void write(const Text& file, const std::string& contents) {
    HANDLE handle = open(file, GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_NE(INVALID_HANDLE_VALUE, handle) << GetLastError();
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(handle, contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
    EXPECT_EQ(contents.size(), written);
    CloseHandle(handle);
  }
  std::string read(const Text& file) {
    HANDLE handle = open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    if (handle == INVALID_HANDLE_VALUE) return "error " + std::to_string(GetLastError());
    std::string contents(1000, '?');
    DWORD count = 0;
    EXPECT_TRUE(ReadFile(handle, contents.data(), 1000, &count, nullptr));
    CloseHandle(handle);
    return contents.substr(0, count);
  }

  Text folder_;
  std::vector<Text> made_;
};

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
