#include "qv/files/files.h"

#include <cstring>
#include <ctime>
#include <vector>

#include "files/folders.h"

namespace qv::test {
namespace {

constexpr HRESULT kSystemNotFound = static_cast<HRESULT>(0x80070002u);

TEST(Files, WhatIsThere) {
  Folder folder;
  folder.write("a.wav", "x");
  folder.write("shut.wav", "x");
  folder.write("secret.wav", "x");
  folder.makeReadOnly("shut.wav");
  ASSERT_TRUE(SetFileAttributesW(folder.path("secret.wav").c_str(), FILE_ATTRIBUTE_HIDDEN));
  // The emulator lets its root write to read-only files.
  const int32_t mayWriteAll =
      !kMadeUpPaths && std::ofstream(folder.nativePath("shut.wav"), std::ios::app).good();
  const struct {
    const char* name;
    int32_t exists, shown, writable;
  } rows[] = {{"a.wav", 1, 1, 1},
              {"shut.wav", 1, 1, mayWriteAll},
              {"secret.wav", 1, 0, 1},
              {"none.wav", 0, 0, 0},
              {"", 0, 0, 0}};
  for (const auto& row : rows) {
    const WText path = folder.path(row.name);
    EXPECT_EQ(row.exists, QvDoesFileExist(path.c_str(), 0)) << row.name;
    EXPECT_EQ(row.shown, QvDoesFileExist(path.c_str(), 1)) << row.name;
    EXPECT_EQ(row.writable, QvIsFileWritable(path.c_str())) << row.name;
  }
  EXPECT_EQ("x", folder.content()["a.wav"]) << "a look must not change the file";
}

TEST(Files, Sizes) {
  Folder folder;
  folder.write("five", "12345");
  uint64_t size = 7;
  EXPECT_EQ(kOk, QvGetFileSizeByName(folder.path("five").c_str(), &size));
  EXPECT_EQ(5u, size);
  EXPECT_EQ(kSystemNotFound, QvGetFileSizeByName(folder.path("none").c_str(), &size));
  EXPECT_EQ(0u, size);
  EXPECT_EQ(kInvalidArgument, QvGetFileSizeByName(folder.path("five").c_str(), nullptr));
  fs::resize_file(folder.nativePath("five"), (uint64_t{5} << 30) + 3);
  EXPECT_EQ(kOk, QvGetFileSizeByName(folder.path("five").c_str(), &size));
  EXPECT_EQ((uint64_t{5} << 30) + 3, size);
}

// A DOS header, whose word at 60 leads to the other one.
std::string program(uint32_t offset, size_t size, const char* magic = "MZ") {
  std::string bytes(size, '\1');
  bytes.replace(0, 2, magic);
  std::memcpy(bytes.data() + 60, &offset, 4);
  if (offset + 24ull <= size)
    bytes.replace(offset, 6, std::string("PE\0\0\x64\x86", 6)).replace(offset + 22, 2, "\2\x20");
  return bytes;
}

TEST(Files, Programs) {
  Folder folder;
  const struct {
    std::string bytes;
    bool good;
  } rows[] = {
      {program(64, 88), true},          {program(64, 87), false},  // no room for the header
      {program(4096 - 24, 5000), true},                            // just within the first read
      {program(4096 - 23, 5000), true},                            // just not
      {program(4096, 5000), true},      {program(70000, 70024), true},
      {program(70000, 70023), false},   {program(0xfffffff0u, 5000), false},     // far behind the end
      {program(64, 88, "ZM"), false},   {program(64, 88).substr(0, 63), false},  // too short for a DOS header
      {std::string(), false},
  };
  for (const auto& row : rows) {
    folder.write("program", row.bytes);
    uint16_t machine = 1, subsystem = 2;
    const HRESULT status = QvGetFileExecutableInfo(folder.path("program").c_str(), &machine, &subsystem);
    EXPECT_EQ(row.good ? kOk : kBadFormat, status) << row.bytes.size();
    EXPECT_EQ(row.good ? 0x8664 : 1, machine);
    EXPECT_EQ(row.good ? 0x2002 : 2, subsystem);
    EXPECT_EQ(status, QvGetFileExecutableInfo(folder.path("program").c_str(), nullptr, nullptr));
  }
  EXPECT_EQ(kSystemNotFound, QvGetFileExecutableInfo(folder.path("none").c_str(), nullptr, nullptr));

  const HANDLE file = CreateFileW(folder.path("program").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  LARGE_INTEGER position = {};
  EXPECT_EQ(0, QvIsFileExecutable(file, nullptr, nullptr));
  EXPECT_TRUE(SetFilePointerEx(file, position, &position, FILE_CURRENT));
  EXPECT_EQ(0, position.QuadPart) << "the file is left at its start";
  CloseHandle(file);
}

TEST(Files, Space) {
  Folder folder;
  const WText path = folder.path("x");
  const fs::space_info space = fs::space(folder.nativePath());
  const auto isClose = [](uint32_t value, uintmax_t bytes) {
    return std::abs(static_cast<double>(value) - static_cast<double>(bytes >> 20)) <= 4096;
  };
  EXPECT_TRUE(isClose(QvGetDiskTotalSpace(path.c_str(), 1 << 20), space.capacity));
  EXPECT_TRUE(isClose(QvGetDiskFreeSpace(path.c_str(), 1 << 20), space.available));
  if (space.available > 0xffffffffu) {
    EXPECT_EQ(0xffffffffu, QvGetDiskFreeSpace(path.c_str(), 0));
    EXPECT_EQ(0xffffffffu, QvGetDiskFreeSpace(path.c_str(), 1));
  }
  EXPECT_EQ(0xffffffffu, QvGetDiskFreeSpace(TEXT("\\\\no-such-server\\share\\x"), 1 << 20));
  EXPECT_EQ(0xffffffffu, QvGetDiskFreeSpace(TEXT("\\\\no-such-server\\share"), 1 << 20));
  for (const WCHAR* none : {TEXT("C:"), TEXT("x"), TEXT(""), TEXT("Q:\\x")}) {
    EXPECT_EQ(0u, QvGetDiskFreeSpace(none, 1 << 20)) << narrow(none);
    EXPECT_EQ(0u, QvGetDiskTotalSpace(none, 1 << 20)) << narrow(none);
  }
}

TEST(Files, Times) {
  Folder folder;
  folder.write("a", "x");
  // 2021-03-04 05:06:08 UTC: (41 years, month 3, day 4), (5 hours, 6 minutes, 4 times two seconds)
  const auto time = std::chrono::system_clock::from_time_t(1614834368);
  fs::last_write_time(folder.nativePath("a"), std::chrono::file_clock::from_sys(time));
  EXPECT_EQ(((41u << 9 | 3u << 5 | 4u) << 16) | (5u << 11 | 6u << 5 | 4u),
            QvDosGetDateTimeUTC(folder.path("a").c_str()));
  EXPECT_NE(0u, QvDosGetDateTime(folder.path("a").c_str()));
  EXPECT_EQ(0u, QvDosGetDateTimeUTC(folder.path("none").c_str()));
  EXPECT_EQ(0u, QvDosGetDateTime(folder.path("none").c_str()));
}

TEST(Files, Now) {
  const auto asWords = [](std::time_t at) {
    const std::tm now = *std::localtime(&at);
    return std::pair(
        uint32_t(now.tm_mon + 1) << 24 | uint32_t(now.tm_mday) << 16 | uint32_t(now.tm_year + 1900),
        uint32_t(now.tm_hour) << 16 | uint32_t(now.tm_min) << 8 | uint32_t(now.tm_sec));
  };
  const std::time_t before = std::time(nullptr);
  QVDATETIME now = {};
  QvGetDateTime(&now);
  const std::pair<uint32_t, uint32_t> words = {now.date, now.time >> 8};
  EXPECT_LE(asWords(before), words);
  EXPECT_GE(asWords(std::time(nullptr)), words);
  EXPECT_LT(now.time & 0xff, 100u);
}

TEST(Files, NewFolders) {
  Folder folder;
  folder.write("file", "x");
  const struct {
    WText path;
    int32_t made;
  } rows[] = {
      {folder.path("a\\b\\c"), 1}, {folder.path("a\\b\\c\\"), 1},
      {folder.path("a\\b"), 1},    {folder.path("a\\\\d"), 0},
      {folder.path("file"), 0},    {folder.path("file\\e"), 0},
      {TEXT("Q:\\x"), 0},          {TEXT("C:x"), 0},
      {TEXT("x\\y"), 0},           {TEXT(""), 0},
      {TEXT("C:\\"), 1},           {folder.path(std::string(250, 'x')), 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(row.made, QvCreateDirectory(row.path.c_str(), nullptr)) << narrow(row.path);
  EXPECT_EQ((Content{{"file", "x"}, {"a", "/"}, {"a/b", "/"}, {"a/b/c", "/"}}), folder.content());
}

TEST(Files, NumberedFiles) {
  Folder folder;
  folder.write("take 001.wav", "x");
  folder.write("take 002.wav", "x");
  folder.makeFolder("take 003.wav");
  WCHAR path[260];
  EXPECT_EQ(kOk,
            QvCreateTempFileAndNameEx(folder.path(), TEXT("take "), TEXT(".wav"), TEXT("%03d"), path, 260));
  EXPECT_EQ(folder.path("take 004.wav"), path);
  EXPECT_EQ(kOk, QvCreateTempFileAndName(folder.path("t").c_str(), nullptr, path, 260));
  EXPECT_EQ(folder.path("t1"), path);
  EXPECT_EQ(kOk, QvCreateTempFileAndNameEx((folder.path("")).c_str(), nullptr, nullptr, nullptr, path, 260));
  EXPECT_EQ(folder.path("1"), path);
  EXPECT_TRUE(fs::is_regular_file(folder.nativePath("t1")));

  const auto length = static_cast<int32_t>(folder.path("u1").size());
  EXPECT_EQ(kOk, QvCreateTempFileAndNameEx(folder.path(), TEXT("u"), nullptr, nullptr, path, length + 1));
  EXPECT_EQ(kGeneralFailure,
            QvCreateTempFileAndNameEx(folder.path(), TEXT("v"), nullptr, nullptr, path, length));
  EXPECT_EQ(0, path[0]);
  EXPECT_EQ(kGeneralFailure,
            QvCreateTempFileAndNameEx(folder.path(), TEXT("u"), nullptr, TEXT("1"), path, 260));
  EXPECT_EQ(kNotFound,
            QvCreateTempFileAndNameEx(folder.path("none").c_str(), nullptr, nullptr, nullptr, path, 260));
  EXPECT_EQ(0, path[0]);
  EXPECT_EQ(kInvalidArgument, QvCreateTempFileAndNameEx(nullptr, nullptr, nullptr, nullptr, path, 260));
  EXPECT_EQ(kInvalidArgument, QvCreateTempFileAndName(TEXT("x"), nullptr, nullptr, 260));
}

TEST(Files, AFreeFolder) {
  Folder folder;
  folder.makeFolder("a");
  folder.makeFolder("b");
  folder.makeFolder("b1");
  folder.write("c", "x");
  WCHAR path[300];
  for (const auto& [name, free] : {std::pair{"a", "a1"}, {"b", "b2"}, {"c", "c"}, {"d", "d"}}) {
    EXPECT_EQ(kOk, QvGetUniqueSubFolder(folder.path(), wide(name).c_str(), path, 260));
    EXPECT_EQ(folder.path(free), path);
  }
  EXPECT_EQ(kInvalidArgument, QvGetUniqueSubFolder(folder.path(), TEXT("a"), path, 259));
  EXPECT_EQ(kInvalidArgument, QvGetUniqueSubFolder(nullptr, TEXT("a"), path, 260));
  EXPECT_EQ(kGeneralFailure, QvGetUniqueSubFolder(folder.path(), WText(260, 'x').c_str(), path, 260));
  EXPECT_EQ(0, path[0]);
}

TEST(Files, ATestFileComesAndGoes) {
  Folder folder;
  EXPECT_EQ(1, QvIsDirectoryWritable(folder.path()));
  EXPECT_EQ(Content(), folder.content());
  EXPECT_EQ(0, QvIsDirectoryWritable(folder.path("none").c_str()));
}

TEST(Files, ReadersAreForwarded) {
  Folder folder;
  folder.write("a", "hello");
  const HANDLE file = CreateFileW(folder.path("a").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  char text[8] = {};
  DWORD got = 0;
  EXPECT_TRUE(QvReadFile(file, text, 8, &got, nullptr));
  EXPECT_STREQ("hello", text);
  CloseHandle(file);
  IStream* stream = nullptr;
  ULONG count = 0;
  const LARGE_INTEGER start = {};
  ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
  EXPECT_EQ(S_OK, stream->Write("stream", 6, nullptr));
  EXPECT_EQ(S_OK, stream->Seek(start, 0, nullptr));
  EXPECT_EQ(S_OK, QvReadIStream(stream, text, 3, &count));
  EXPECT_EQ(3u, count);
  EXPECT_STREQ("strlo", text);
  stream->Release();
}

}  // namespace
}  // namespace qv::test
