// Numbers in the bytes of files, lowest byte first or highest byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qv::workbench {

// The number whose lowest byte stands at `at`.
template <class T>
T little(const char* at) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<T>(value | static_cast<T>(static_cast<uint8_t>(at[i])) << (8 * i));
  }
  return value;
}

// The number whose highest byte stands at `at`.
template <class T>
T big(const char* at) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<T>(static_cast<uint64_t>(value) << 8 | static_cast<uint8_t>(at[i]));
  }
  return value;
}

template <class T>
void appendLittle(std::string& bytes, T value) {
  for (size_t i = 0; i < sizeof(T); ++i)
    bytes.push_back(static_cast<char>(static_cast<uint64_t>(value) >> (8 * i)));
}

template <class T>
void appendBig(std::string& bytes, T value) {
  for (size_t i = sizeof(T); i-- > 0;)
    bytes.push_back(static_cast<char>(static_cast<uint64_t>(value) >> (8 * i)));
}

}  // namespace qv::workbench
