// Small steps on texts of limited room, shared by the path and file functions.
#pragma once

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "qv/files/paths.h"
#include "qv/platform/win32.h"

namespace qv::files {

using qv::kPathCapacity;
using View = std::basic_string_view<WCHAR>;

// Case as the file system folds it: one character at a time.
inline WCHAR upper(WCHAR c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? static_cast<WCHAR>(c - 32) : c;
  return static_cast<WCHAR>(
      reinterpret_cast<ULONG_PTR>(CharUpperW(reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(c)))));
}

inline bool sameCharacter(WCHAR a, WCHAR b) {
  return a == b || upper(a) == upper(b);
}

inline bool sameInAnyCase(View a, View b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), sameCharacter);
}

inline bool startsInAnyCase(View text, View start) {
  return text.size() >= start.size() && sameInAnyCase(text.substr(0, start.size()), start);
}

// The characters before the terminator, at most `capacity`.
inline int32_t lengthWithin(const WCHAR* text, int32_t capacity) {
  int32_t length = 0;
  while (length < capacity && text[length] != 0) ++length;
  return length;
}

// Writes a text that fits whole; else an empty one, and false. The two may overlap.
inline bool write(View text, WCHAR* buffer, int32_t capacity) {
  if (capacity <= 0) return false;
  const bool fits = text.size() < static_cast<size_t>(capacity);
  if (fits) std::char_traits<WCHAR>::move(buffer, text.data(), text.size());
  buffer[fits ? text.size() : 0] = 0;
  return fits;
}

// Writes as much of a text as fits, and gives its terminator. The two may overlap.
inline WCHAR* writeCut(View text, WCHAR* buffer, int32_t capacity) {
  if (capacity <= 0) return buffer;
  const size_t length = std::min(text.size(), static_cast<size_t>(capacity) - 1);
  std::char_traits<WCHAR>::move(buffer, text.data(), length);
  buffer[length] = 0;
  return buffer + length;
}

// Room for any path that the system knows, whatever the caller's capacity is.
inline constexpr uint32_t kLongestPath = 32768;
using PathBlock = std::unique_ptr<WCHAR[]>;
inline PathBlock newPath() {
  return PathBlock(new (std::nothrow) WCHAR[kLongestPath]);
}

}  // namespace qv::files
