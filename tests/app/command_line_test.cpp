#include "qv/app/detail/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

struct Row {
  const WCHAR* line;
  std::vector<WText> arguments;
};

const Row kRows[] = {
    {TEXT(""), {}},
    {TEXT(" \t\r\n"), {}},
    {TEXT("  edit  tour.qvjob\t"), {TEXT("edit"), TEXT("tour.qvjob")}},
    {TEXT("a b\fc"), {TEXT("a"), TEXT("b"), TEXT("c")}},
    {TEXT("a\u3000b\u00a0c\u200bd"), {TEXT("a"), TEXT("b"), TEXT("c\u200bd")}},
    {TEXT("\"C:\\my files\\x.exe\" y"), {TEXT("C:\\my files\\x.exe"), TEXT("y")}},
    {TEXT("a\"b c\"d"), {TEXT("ab cd")}},
    {TEXT("\"a\"\"b\""), {TEXT("a\"b")}},
    {TEXT("\"\""), {TEXT("")}},
    {TEXT("\"\" \"\" x"), {TEXT(""), TEXT(""), TEXT("x")}},
    {TEXT("\"\"\"\""), {TEXT("\"")}},
    {TEXT("\"\"\"a b\"\"\" c"), {TEXT("\"a b\""), TEXT("c")}},
    {TEXT("\""), {TEXT("")}},
    {TEXT("x \""), {TEXT("x"), TEXT("")}},
    {TEXT("\"open  end "), {TEXT("open  end ")}},
    {TEXT("C:\\clips\\ \\\"a b\\\""), {TEXT("C:\\clips\\"), TEXT("\\a b\\")}},
    {TEXT("\" \t x \""), {TEXT(" \t x ")}},
};

TEST(CommandLine, SplitsByEveryRule) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(WText(row.line)));
    int32_t count = -1;
    WCHAR** split = qv::splitCommandLine(row.line, count);
    ASSERT_EQ(row.arguments.size(), static_cast<size_t>(count));
    ASSERT_EQ(count == 0, split == nullptr);
    for (int32_t i = 0; i < count; ++i) EXPECT_EQ(row.arguments[static_cast<size_t>(i)], split[i]) << i;
    if (split == nullptr) continue;
    EXPECT_EQ(nullptr, split[count]);
    EXPECT_EQ(WText(row.line).size() * 12 + 8, GlobalSize(split));
    GlobalFree(split);
  }
}

TEST(CommandLine, NullGivesNothing) {
  int32_t count = -1;
  EXPECT_EQ(nullptr, qv::splitCommandLine(nullptr, count));
  EXPECT_EQ(0, count);
}

// As many arguments as a text can hold: the pointers come closest to the text.
TEST(CommandLine, DensestLineKeepsPointersAndTextApart) {
  WText line;
  for (int i = 0; i < 20000; ++i) line += TEXT("x ");
  line.pop_back();
  int32_t count = 0;
  WCHAR** split = qv::splitCommandLine(line.c_str(), count);
  ASSERT_EQ(20000, count);
  for (int32_t i = 0; i < count; ++i) ASSERT_EQ(WText(TEXT("x")), split[i]);
  EXPECT_EQ(nullptr, split[count]);
  GlobalFree(split);
}

}  // namespace
