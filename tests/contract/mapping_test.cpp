#include "qv/platform/mapping.h"

#include <cstring>

#include "contract/folder.h"

namespace {

using Mapping = ContractFolder;

TEST_F(Mapping, ShowsTheFileAsMemory) {
  Text file = path("data.bin");
  std::string contents(100000, 'x');
  contents.replace(65536, 5, "there");
  write(file, contents);
  HANDLE handle = open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  HANDLE mapping = CreateFileMappingW(handle, nullptr, PAGE_READONLY, 0, 0, nullptr);
  ASSERT_TRUE(mapping);
  EXPECT_TRUE(CloseHandle(handle)) << "the mapping lives on";
  auto whole = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
  auto tail = static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 65536, 100000 - 65536));
  ASSERT_TRUE(whole && tail);
  EXPECT_EQ(0, memcmp(whole, contents.data(), contents.size()));
  EXPECT_EQ("there", std::string(tail, 5));
  struct {
    DWORD access, offset;
    SIZE_T bytes;
    DWORD error;
  } cases[] = {
      {FILE_MAP_READ, 100, 0, ERROR_MAPPED_ALIGNMENT},
      {FILE_MAP_READ, 65536, 200000, ERROR_ACCESS_DENIED},
      {FILE_MAP_WRITE, 0, 0, ERROR_ACCESS_DENIED},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(nullptr, MapViewOfFile(mapping, each.access, 0, each.offset, each.bytes));
    EXPECT_EQ(each.error, GetLastError()) << (&each - cases);
  }
  EXPECT_TRUE(UnmapViewOfFile(whole));
  EXPECT_FALSE(UnmapViewOfFile(whole));
  EXPECT_TRUE(CloseHandle(mapping));
  EXPECT_EQ('t', tail[0]) << "and the view without either handle";
  EXPECT_TRUE(UnmapViewOfFile(tail));
}

TEST_F(Mapping, WritesAndLengthens) {
  Text file = path("data.bin");
  write(file, "");
  HANDLE handle = open(file, GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  EXPECT_EQ(nullptr, CreateFileMappingW(handle, nullptr, PAGE_READWRITE, 0, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_FILE_INVALID}, GetLastError());
  HANDLE mapping = CreateFileMappingW(handle, nullptr, PAGE_READWRITE, 0, 6, nullptr);
  ASSERT_TRUE(mapping);
  auto view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
  ASSERT_TRUE(view);
  memcpy(view, "mapped", 6);
  EXPECT_TRUE(UnmapViewOfFile(view));
  CloseHandle(mapping);
  CloseHandle(handle);
  EXPECT_EQ("mapped", read(file));
  handle = open(file, GENERIC_READ, 0, OPEN_EXISTING);
  EXPECT_EQ(nullptr, CreateFileMappingW(handle, nullptr, PAGE_READONLY, 0, 100, nullptr));
  EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, GetLastError());
  EXPECT_EQ(nullptr, CreateFileMappingW(handle, nullptr, PAGE_READWRITE, 0, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
  CloseHandle(handle);
}

}  // namespace
