// Patterns with positional inserts, on both builds.
#include "qv/platform/message.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Text = std::basic_string<WCHAR>;

Text composed(DWORD capacity, const WCHAR* pattern, ...) {
  WCHAR text[64] = TEXT("?");
  va_list arguments;
  va_start(arguments, pattern);
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_STRING, pattern, 0, 0, text, capacity, &arguments);
  va_end(arguments);
  if (!length) return TEXT("(failed)");
  EXPECT_EQ(length, Text(text).size());
  return text;
}

TEST(MessageContract, Inserts) {
  EXPECT_EQ(composed(64, TEXT("%2 of %1, %1"), TEXT("ten"), TEXT("three")), TEXT("three of ten, ten"));
  EXPECT_EQ(composed(64, TEXT("%1!d! %2!5u!|%3!-5s!|%4!08x!"), -7, 12u, TEXT("ab"), 0xbeefu),
            TEXT("-7    12|ab   |0000beef"));
  EXPECT_EQ(composed(64, TEXT("%1!I64d! %2!c!"), int64_t{5000000000}, TEXT('z')), TEXT("5000000000 z"));
  EXPECT_EQ(composed(64, TEXT("100%% a%nb%tc%0 unseen")), TEXT("100% a\r\nb\tc"));
}

TEST(MessageContract, RoomRunsOut) {
  EXPECT_EQ(composed(5, TEXT("%1"), TEXT("four")), TEXT("four"));
  EXPECT_EQ(composed(4, TEXT("%1"), TEXT("four")), TEXT("(failed)"));
  EXPECT_EQ(GetLastError(), 122u);
}

}  // namespace
