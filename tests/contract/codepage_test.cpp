#include "qv/platform/codepage.h"

#include <gtest/gtest.h>

#include <cstring>

#include "qv/platform/ansi.h"
#include "qv/platform/com.h"

namespace {

constexpr int kLead = 1, kSingle = 0, kTrail = 2, kNeither = -1;

TEST(CodePage, DoubleBytePagesTellTheirBytes) {
  const int before = _getmbcp();
  const struct {
    int page;
    unsigned char byte;
    int first, second;
  } cases[] = {
      {932, 'a', kSingle, kTrail},  {932, 0x20, kSingle, kNeither}, {932, 0x81, kLead, kTrail},
      {932, 0xb1, kSingle, kTrail}, {932, 0xe0, kLead, kTrail},     {932, 0xfd, kSingle, kNeither},
      {936, 0x81, kLead, kTrail},   {936, 0xfe, kLead, kTrail},
      {949, 0xb0, kLead, kTrail},   {949, 0x30, kSingle, kNeither}, {950, 0xa4, kLead, kTrail},
      {950, 0x40, kSingle, kTrail}, {950, 0x20, kSingle, kNeither},
  };
  for (const auto& each : cases) {
    ASSERT_EQ(0, _setmbcp(each.page));
    EXPECT_EQ(each.page, _getmbcp());
    // What is no lead byte and no trail byte has several numbers, of which nobody may make a difference.
    EXPECT_EQ(each.first == kLead, _mbbtype(each.byte, 0) == kLead) << each.page << ' ' << int{each.byte};
    EXPECT_EQ(each.second == kTrail, _mbbtype(each.byte, 1) == kTrail) << each.page << ' ' << int{each.byte};
  }
  ASSERT_EQ(0, _setmbcp(950));
  EXPECT_EQ(-1, _setmbcp(4));
  EXPECT_EQ(950, _getmbcp());
  _setmbcp(before);
}

TEST(CodePage, TextIsWalkedToItsEnd) {
  const char* text = "a\\b";
  EXPECT_EQ(text + 1, CharNextA(text));
  EXPECT_EQ(text + 2, CharNextA(text + 1));
  EXPECT_EQ(text + 3, CharNextA(text + 3)) << "the terminator is the end";
}

TEST(CodePage, TheDetectorKeepsToItsCapacity) {
  const char* text = "Съешь же ещё этих мягких французских булок";
  const auto bytes = reinterpret_cast<const uint8_t*>(text);
  const auto count = static_cast<int32_t>(strlen(text));
  qv::platform::DetectedCodePage results[3] = {{}, {}, {7, 7, 7}};
  CoInitialize(nullptr);
  for (int32_t capacity : {1, 2}) {
    int32_t found = capacity;
    EXPECT_EQ(0, qv::platform::detectCodePages(bytes, count, results, &found));
    EXPECT_GE(found, 0);
    EXPECT_LE(found, capacity);
    EXPECT_EQ(7u, results[2].codePage);
  }
  CoUninitialize();
}

}  // namespace
