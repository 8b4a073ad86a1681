#include "qv/app/workbench/settings_file.h"

#include <gtest/gtest.h>

namespace {

using namespace qv::workbench;

constexpr const char* kHead = "qv-settings 1\napplication \"App\" 1.2\n";

StoredValue stored(const WCHAR* name, uint32_t type, WStringView units) {
  return {name, type, {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WCHAR)}};
}

template <size_t N>
WStringView units(const WCHAR (&text)[N]) {
  return {text, N - 1};
}

TEST(SettingsFile, EveryValueComesBackAsItWas) {
  const struct {
    StoredValue value;
    const char* line;
  } cases[] = {
      {{TEXT("12"), REG_DWORD, std::string("\xf9\xff\xff\xff", 4)}, "12 number -7"},
      {{TEXT("12"), REG_DWORD, "ab"}, "12 raw 4 6162"},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("a \"b\"\\\n\t\x01 ä€\0"))),
       "S1 text \"a \\\"b\\\"\\\\\\n\\t\\u0001 ä€\""},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("\xd83d\xde00\xd83d\0"))), "S1 text \"😀\\ud83d\""},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("\xde00\0"))), "S1 text \"\\ude00\""},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("\0"))), "S1 text \"\""},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("ab"))), "S1 raw 1 61006200"},
      {stored(TEXT("S1"), REG_SZ, units(TEXT("a\0b\0"))), "S1 raw 1 6100000062000000"},
      {stored(TEXT("S1"), REG_EXPAND_SZ, units(TEXT("a\0"))), "S1 raw 2 61000000"},
      {stored(TEXT("Z1"), REG_MULTI_SZ, units(TEXT("a\0b c\0\0"))), "Z1 texts \"a\" \"b c\""},
      {stored(TEXT("Z1"), REG_MULTI_SZ, units(TEXT("\0"))), "Z1 texts"},
      {stored(TEXT("Z1"), REG_MULTI_SZ, units(TEXT("a\0"))), "Z1 raw 7 61000000"},
      {stored(TEXT("Z1"), REG_MULTI_SZ, units(TEXT("\0\0"))), "Z1 raw 7 00000000"},
      {{TEXT("B1"), REG_BINARY, std::string("\0\xff", 2)}, "B1 bytes 00ff"},
      {{TEXT("B1"), REG_BINARY, ""}, "B1 bytes"},
      {{TEXT("a \"name\""), REG_NONE, ""}, "\"a \\\"name\\\"\" raw 0"},
      {{TEXT(""), 0xffffffffu, "x"}, "\"\" raw 4294967295 78"},
      {{TEXT("key"), REG_BINARY, "x"}, "\"key\" bytes 78"},
  };
  for (const auto& each : cases) {
    StoredSettings settings = {
        TEXT("App"), 0x01020000, {{TEXT(""), {each.value}}, {TEXT("a\\b"), {each.value}}}};
    const std::string line = std::string(each.line) + "\n";
    const std::string text = kHead + line + "key \"a\\\\b\"\n" + line;
    EXPECT_EQ(text, printSettings(settings));
    StoredSettings again;
    SettingsFault fault;
    EXPECT_TRUE(parseSettings(text, again, fault)) << each.line;
    EXPECT_EQ(settings, again) << each.line;
  }
}

TEST(SettingsFile, AFaultNamesItsLine) {
  const struct {
    const char* what;
    std::string text;
    uint32_t line;
  } cases[] = {
      {"nothing", "", 1},
      {"another file", "PK\x03\x04", 1},
      {"another version", "qv-settings 2\n", 1},
      {"no application", "# one\n\nqv-settings 1\n", 3},
      {"an application's path", "qv-settings 1\napplication \"a\\\\b\" 1.2\n", 2},
      {"a version too large", "qv-settings 1\napplication \"a\" 256.0\n", 2},
      {"no UTF-8", kHead + std::string("1 number 1\n\xff\n"), 4},
      {"a quote without an end", kHead + std::string("S1 text \"a\n"), 3},
      {"an unknown escape", kHead + std::string("S1 text \"\\x\"\n"), 3},
      {"a short escape", kHead + std::string("S1 text \"\\u12\"\n"), 3},
      {"text without a blank", kHead + std::string("S1 text \"a\"\"b\"\n"), 3},
      {"text without quotes", kHead + std::string("S1 text a\n"), 3},
      {"text with a terminator", kHead + std::string("S1 text \"a\\u0000\"\n"), 3},
      {"an empty text in a list", kHead + std::string("Z1 texts \"a\" \"\"\n"), 3},
      {"a number too large", kHead + std::string("1 number 4294967296\n"), 3},
      {"no number", kHead + std::string("1 number 0x10\n"), 3},
      {"half a byte", kHead + std::string("B1 bytes 123\n"), 3},
      {"no digits", kHead + std::string("B1 bytes 1g\n"), 3},
      {"a type too large", kHead + std::string("B1 raw 4294967296 00\n"), 3},
      {"an unknown type", kHead + std::string("1 colour 5\n"), 3},
      {"a bare name", kHead + std::string("zoom number 5\n"), 3},
      {"a name and nothing", kHead + std::string("1\n"), 3},
      {"an empty part of a key", kHead + std::string("key \"a\\\\\\\\b\"\n"), 3},
      {"a key too deep",
       kHead + std::string("key \"a") +
           [] {
             std::string deep;
             for (int i = 0; i < 32; ++i) deep += "\\\\a";
             return deep;
           }() +
           "\"\n",
       3},
      {"a long part of a key", kHead + std::string("key \"") + std::string(256, 'k') + "\"\n", 3},
      {"a long name", kHead + ("\"" + std::string(16384, 'n') + "\" number 1\n"), 3},
  };
  for (const auto& each : cases) {
    StoredSettings settings;
    SettingsFault fault;
    EXPECT_FALSE(parseSettings(each.text, settings, fault)) << each.what;
    EXPECT_EQ(each.line, fault.line) << each.what;
    EXPECT_GT(fault.sentence.size(), 10u) << each.what;
    EXPECT_TRUE(settings.keys.empty()) << each.what;
  }
}

TEST(SettingsFile, EndsOfLinesAndTheByteOrderMarkDoNotMatter) {
  StoredSettings plain, other;
  SettingsFault fault;
  EXPECT_TRUE(parseSettings("qv-settings 1\napplication \"A\" 3\n\n1 number 5\n", plain, fault));
  EXPECT_TRUE(parseSettings("\xef\xbb\xbfqv-settings 1\r\n#x\r\napplication\t\"A\"  3.0\r\n1 number 5", other,
                            fault));
  EXPECT_EQ(plain, other);
  EXPECT_EQ(0x03000000u, plain.version);
}

}  // namespace
