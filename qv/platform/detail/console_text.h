// What the two systems' consoles share: bytes written to the last, and lines put together.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "qv/platform/files.h"

namespace qv::platform {
namespace detail {

inline constexpr size_t kLongestLine = 4096;  // bytes of UTF-8

inline bool writeBytes(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min<size_t>(bytes.size(), 1u << 20));
    if (!WriteFile(file, bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

inline bool readByte(HANDLE file, std::string* byte) {
  char one = 0;
  DWORD got = 0;
  if (!ReadFile(file, &one, 1, &got, nullptr) || got == 0) return false;
  byte->assign(1, one);
  return true;
}

// A line without its end, from next(&character), which gives false at the end of the input. Character by
// character: what stands behind the line belongs to whoever reads next.
template <typename Next>
bool readLineFrom(const Next& next, std::string* line) {
  line->clear();
  std::string character;
  bool any = false;
  while (line->size() < kLongestLine && next(&character)) {
    any = true;
    if (character == "\n") break;
    *line += character;
  }
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return any;
}

}  // namespace detail
}  // namespace qv::platform
