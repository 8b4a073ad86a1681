// Texts and files of the tests against servers.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "qv/platform/files.h"

namespace qv::test {

using Text = std::basic_string<WCHAR>;

inline Text wide(std::string_view text) {
  return Text(text.begin(), text.end());
}

inline std::string narrow(const WCHAR* text) {
  std::string out;
  for (; text && *text; ++text) out += static_cast<char>(*text);
  return out;
}

// The bytes that the servers send.
inline std::string pattern(size_t size) {
  std::string text(size, 0);
  for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>((i % 65536) * 7 + (i % 65536 >> 8));
  return text;
}

// A file of the test's own folder.
inline std::string fileName(std::string_view name) {
  const char* const folder = getenv("QV_TEST_FOLDER");
  return std::string(folder ? folder : ".") + "/" + std::string(name);
}

inline bool exists(const std::string& file) {
  return GetFileAttributesW(wide(file).c_str()) != INVALID_FILE_ATTRIBUTES;
}

inline void putFile(const std::string& name, std::string_view bytes) {
  FILE* const file = fopen(name.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  fwrite(bytes.data(), 1, bytes.size(), file);
  fclose(file);
}

inline std::string fileBytes(const std::string& name) {
  std::string text;
  FILE* const file = fopen(name.c_str(), "rb");
  for (int c = file ? fgetc(file) : EOF; c != EOF; c = fgetc(file)) text += static_cast<char>(c);
  if (file) fclose(file);
  return text;
}

}  // namespace qv::test
