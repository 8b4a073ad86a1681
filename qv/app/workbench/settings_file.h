// Settings as readable text, one value a line, which brings back exactly what was stored:
//
//   qv-settings 1
//   application "Cutter" 2.1
//   12 number 7
//   S3 text "a line\nand a \"word\""
//   Z4 texts "one" "two"
//   B5 bytes 00ff12
//   "a name" raw 11 0102030405060708       any registry type, for what the four above can't say
//   key "List"                             what follows stands in this sub-key; "" leads back
//
// UTF-8; a # at the start of a line makes it a comment. In quotes \" \\ \n \r \t and \u with four hexadecimal
// digits (one UTF-16 unit) stand for characters. Names of a letter S, B, Z or none and digits need no quotes.
// The whole file is read before anything is done with it, and a fault names its line.
#pragma once

#include <vector>

#include "qv/app/workbench/text.h"

namespace qv::workbench {

inline constexpr size_t kMaxSettingsBytes = 64u << 20;

struct StoredValue {
  WString name;
  uint32_t type = 0;  // REG_
  std::string bytes;
  bool operator==(const StoredValue&) const = default;
};

struct StoredKey {
  WString path;  // below the metrics; empty for themselves
  std::vector<StoredValue> values;
  bool operator==(const StoredKey&) const = default;
};

struct StoredSettings {
  WString application;
  uint32_t version = 0;  // as the metric store takes it
  std::vector<StoredKey> keys;
  bool operator==(const StoredSettings&) const = default;
};

struct SettingsFault {
  uint32_t line = 0;  // 1-based; 0 for none
  WString sentence;
};

// False with the first fault, and nothing in `settings`.
bool parseSettings(std::string_view text, StoredSettings& settings, SettingsFault& fault);
std::string printSettings(const StoredSettings& settings);

// A value's type and data as they stand in a line: `text` and `"abc"`.
WString typeOf(const StoredValue& value);
WString dataOf(const StoredValue& value);

// The bytes of a text, and of many texts, as the registry keeps them.
std::string bytesOfText(WStringView text);
std::string bytesOfTexts(const std::vector<WString>& texts);

// Hexadecimal digits, two a byte; false for anything else.
bool parseHex(WStringView digits, std::string& bytes);

// MAJOR.MINOR or MAJOR, each at most 255; a major number of 0 means no version.
bool parseVersion(WStringView text, uint32_t& version);
inline constexpr const WCHAR* kVersionUsage = TEXT("A version is MAJOR.MINOR, each at most 255; 0 means none.");

}  // namespace qv::workbench
