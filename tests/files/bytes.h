// Whole files as bytes, through the toolkit's own file operations.
#pragma once

#include <vector>

#include "tests/files/folders.h"

namespace qv::test {

using Bytes = std::vector<uint8_t>;

inline bool readAll(const WText& path, Bytes* bytes) {
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER size;
  GetFileSizeEx(file, &size);
  bytes->resize(static_cast<size_t>(size.QuadPart));
  DWORD done = 0;
  const BOOL good = ReadFile(file, bytes->data(), static_cast<DWORD>(bytes->size()), &done, nullptr);
  CloseHandle(file);
  return good && done == bytes->size();
}

inline Bytes contentsOf(const WText& path) {
  Bytes bytes;
  EXPECT_TRUE(readAll(path, &bytes)) << narrow(path);
  return bytes;
}

// Folders on the way are made.
inline void writeAll(const WText& path, const Bytes& bytes) {
  WCHAR folder[260];
  QvGetPathNameFromFilePath(path.c_str(), folder, 260);
  QvCreateDirectory(folder, nullptr);
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE) << narrow(path);
  DWORD done = 0;
  EXPECT_TRUE(bytes.empty() ||
              WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr));
  CloseHandle(file);
}

// A name in a folder of the test's own.
inline WText operator/(const Folder& folder, const std::string& name) {
  return folder.path(name);
}

}  // namespace qv::test
