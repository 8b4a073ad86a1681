// A folder to work in, for the tests of the file operations.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv/platform/files.h"
#include "qv/platform/modules.h"
#include "qv/platform/system.h"

using Text = std::basic_string<WCHAR>;

inline Text widen(const std::string& text) {
  return Text(text.begin(), text.end());
}

// Each test works in a folder of its own, which is empty at the start and gone at the end.
class ContractFolder : public testing::Test {
 protected:
  void SetUp() override {
    WCHAR temp[300];
    ASSERT_GT(GetTempPathW(300, temp), 3u);
    folder_ = temp + widen("qv-contract-" + std::to_string(GetCurrentProcessId()) + "-" +
                           std::to_string(GetTickCount64()));
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
