// A job file is whatever a user's editor left behind: the reader must give the line and the reason for each
// thing that it cannot read, and never more memory than the text is worth.
#include "qv/app/workbench/job_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

// Gives the text in pieces of `piece` bytes, so that lines fall across reads.
std::vector<Step> readText(std::string text, size_t piece = 7) {
  size_t at = 0;
  return readSteps([&](char* buffer, size_t capacity) {
    const size_t size = std::min({piece, capacity, text.size() - at});
    std::copy_n(text.data() + at, size, buffer);
    at += size;
    return static_cast<int64_t>(size);
  });
}

// A step in one line: words in angle brackets, options behind them, or the fault.
std::string show(const Step& step) {
  if (step.fault != 0) return "fault";
  std::string text;
  for (const WString& word : step.words) text += "<" + encodeUtf8(word) + ">";
  for (const Option& option : step.options) text += " " + encodeUtf8(option.key) + ":" + encodeUtf8(option.value);
  return text;
}

struct LineCase {
  const char* line;
  const char* shown;
};

TEST(JobFile, SplitsLinesAsPeopleWriteThem) {
  const LineCase cases[] = {
      {"lines a.txt sort", "<lines><a.txt><sort>"},
      {"  lines\t\"a b.txt\"  sort \t", "<lines><a b.txt><sort>"},
      {"lines \"\"", "<lines><>"},
      {"say \"he said \"\"no\"\"\"", "<say><he said \"no\">"},
      {"set out=x", "<set> out:x"},
      {"lines a find=\"two words\" kind=heap", "<lines><a> find:two words kind:heap"},
      {"lines \"a=b\" c", "<lines><a=b><c>"},
      {"lines =x A=y 1=z", "<lines><=x><A=y><1=z>"},
      {"lines find==x", "<lines> find:=x"},
      {"lines a # not a word", "<lines><a>"},
      {"lines a#b", "<lines><a#b>"},
      {"lines \"# kept\"", "<lines><# kept>"},
      {"lines \xc3\xbc\xe3\x83\x96", "<lines><\xc3\xbc\xe3\x83\x96>"},
      {"lines \"open", "fault"},
      {"lines x\"", "fault"},
      {"lines \xff", "fault"},
      {"lines \xc0\xaf", "fault"},
      {"lines \xed\xa0\x80", "fault"},
  };
  for (const LineCase& c : cases) {
    Step step;
    parseLine(c.line, step);
    EXPECT_EQ(show(step), c.shown) << c.line;
  }
}

TEST(JobFile, NumbersLinesAndLeavesOutTheEmptyOnes) {
  const std::string text = "\xef\xbb\xbf# head\r\n\r\ncpu\r\n   \n# more\nos a\nclock";
  for (const size_t piece : {1, 2, 3, 64}) {
    const auto steps = readText(text, piece);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].line, 3u);
    EXPECT_EQ(show(steps[0]), "<cpu>");
    EXPECT_EQ(steps[1].line, 6u);
    EXPECT_EQ(show(steps[1]), "<os><a>");
    EXPECT_EQ(steps[2].line, 7u);
  }
}

TEST(JobFile, AHundredMegabyteLineCostsNoMemoryAndTheNextOneIsRead) {
  constexpr size_t kHuge = 100u << 20;
  size_t given = 0;
  const std::string tail = "\ncpu\n";
  const auto steps = readSteps([&](char* buffer, size_t capacity) -> int64_t {
    if (given < kHuge) {
      const size_t size = std::min(capacity, kHuge - given);
      std::fill_n(buffer, size, 'x');
      given += size;
      return static_cast<int64_t>(size);
    }
    const size_t size = std::min(capacity, kHuge + tail.size() - given);
    std::copy_n(tail.data() + (given - kHuge), size, buffer);
    given += size;
    return static_cast<int64_t>(size);
  });
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(steps[0].fault, kBadFormat);
  EXPECT_EQ(steps[0].line, 1u);
  EXPECT_EQ(show(steps[1]), "<cpu>");
}

TEST(JobFile, TheLongestLineIsStillRead) {
  const std::string longest = "lines " + std::string(kMaxLineBytes - 6, 'x');
  EXPECT_EQ(readText(longest + "\n", 4096).at(0).fault, 0);
  EXPECT_EQ(readText(longest + "x\n", 4096).at(0).fault, kBadFormat);
}

TEST(JobFile, AFailedReadIsTheLastStep) {
  bool first = true;
  const auto steps = readSteps([&](char* buffer, size_t) -> int64_t {
    if (!first) return kReadFailed;
    first = false;
    std::copy_n("cpu\nos", 6, buffer);
    return 6;
  });
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(steps[1].fault, kReadFailed);
  EXPECT_EQ(steps[1].line, 2u);
}

TEST(JobFile, TheLastValueOfAnOptionCounts) {
  Step step;
  parseLine("lines a kind=heap kind=inline", step);
  ASSERT_NE(step.option(TEXT("kind")), nullptr);
  EXPECT_EQ(encodeUtf8(*step.option(TEXT("kind"))), "inline");
  EXPECT_EQ(step.option(TEXT("out")), nullptr);
}

}  // namespace
}  // namespace qv::workbench
