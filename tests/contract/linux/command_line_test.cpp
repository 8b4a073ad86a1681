#include "qv/platform/linux/command_line.h"

#include <gtest/gtest.h>

#include <vector>

#include "qv/app/detail/command_line.h"
#include "qv/platform/memory.h"
#include "qv/platform/text.h"

namespace {

using Arguments = std::vector<std::u16string>;

Arguments splitAgain(const std::u16string& line) {
  int32_t count = 0;
  WCHAR** split = qv::splitCommandLine(line.c_str(), count);
  Arguments arguments(split, split + count);
  GlobalFree(split);
  return arguments;
}

// One argument of every short text over the characters that matter, between two plain ones.
TEST(CommandLine, SplittingGivesTheArgumentsBack) {
  const std::string alphabet[] = {"a", " ", "\"", "\\", "\t", "é", "\u3000"};
  std::vector<std::string> texts = {""};
  for (size_t first = 0; texts[first].size() < 12 && texts.size() < 3000; ++first) {
    for (const std::string& next : alphabet) texts.push_back(texts[first] + next);
  }
  for (const std::string& text : texts) {
    std::string kernel = std::string("workbench") + '\0' + text + '\0' + "last" + '\0';
    WCHAR wide[64];
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, wide, 64);
    ASSERT_EQ((Arguments{u"workbench", wide, u"last"}), splitAgain(qv::platform::commandLineFrom(kernel)))
        << text;
  }
}

TEST(CommandLine, PlainArgumentsStayAsTheyAre) {
  EXPECT_EQ(u"a C:\\x\\ b=c", qv::platform::commandLineFrom(std::string("a\0C:\\x\\\0b=c\0", 11)));
}

}  // namespace
