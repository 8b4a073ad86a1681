#include "qv/time/smpte.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr uint32_t kFormats[] = {kSmpte30, kSmpte2997Drop, kSmpte25, kSmpte24, kSmpte2997, kSmpte23976};

constexpr uint32_t baseOf(uint32_t format) {
  return format == kSmpte25 ? 25 : format == kSmpte24 || format == kSmpte23976 ? 24 : 30;
}

_smpteval label(uint32_t format, uint32_t h, uint32_t m, uint32_t s, uint32_t f) {
  return {format, h, m, s, f, 77};
}

std::string shown(const _smpteval& value) {
  char text[64];
  snprintf(text, sizeof text, "%02u:%02u:%02u:%02u", value.hours, value.minutes, value.seconds, value.frames);
  return text;
}

std::string labelOf(uint32_t format, uint32_t count) {
  _smpteval value = {format, 0, 0, 0, 0, 0};
  QVSMPTE_FrameCountToSMPTE(&value, count);
  return shown(value);
}

// Every label of a day in order, by the rule that broadcasters state: all of them, less the frames 0 and 1 of
// each minute whose number is not divisible by ten.
template <typename Visit>
uint32_t visitDay(uint32_t format, Visit visit) {
  uint32_t count = 0;
  for (uint32_t h = 0; h < 24; ++h)
    for (uint32_t m = 0; m < 60; ++m)
      for (uint32_t s = 0; s < 60; ++s)
        for (uint32_t f = 0; f < baseOf(format); ++f) {
          if (format == kSmpte2997Drop && s == 0 && f < 2 && m % 10 != 0) continue;
          visit(count++, label(format, h, m, s, f));
        }
  return count;
}

TEST(Smpte, EveryFrameOfADayInEveryFormat) {
  for (const uint32_t format : kFormats) {
    uint32_t wrongLabels = 0, wrongCounts = 0, wrongTimes = 0, wrongSteps = 0;
    _smpteval stepped = label(format, 0, 0, 0, 0);
    const uint32_t frames = visitDay(format, [&](uint32_t count, const _smpteval& expected) {
      _smpteval value = {format, 99, 99, 99, 99, 77};
      QVSMPTE_FrameCountToSMPTE(&value, count);
      wrongLabels += QVSMPTE_SMPTECompare(&value, &expected) != 0 || value.reserved != 77;
      wrongCounts += QVSMPTE_SMPTEToFrameCount(&expected) != count;
      QVSMPTE_NanoToSMPTE(QVSMPTE_SMPTEToNanos(&expected), &value);
      wrongTimes += QVSMPTE_SMPTECompare(&value, &expected) != 0;
      wrongSteps += QVSMPTE_SMPTECompare(&stepped, &expected) != 0;
      QVSMPTE_IncrementByFrame(&stepped, 0);
    });
    EXPECT_EQ(wrongLabels, 0u) << format;
    EXPECT_EQ(wrongCounts, 0u) << format;
    EXPECT_EQ(wrongTimes, 0u) << format;
    EXPECT_EQ(wrongSteps, 0u) << format;
    EXPECT_EQ(shown(stepped), "00:00:00:00") << format;
    EXPECT_EQ(labelOf(format, frames), "00:00:00:00") << format;
    EXPECT_EQ(labelOf(format, frames + 5), "00:00:00:05") << format;
  }
  EXPECT_EQ(visitDay(kSmpte2997Drop, [](uint32_t, const _smpteval&) {}), 2589408u);
}

TEST(Smpte, DropFrameLabels) {
  for (const uint32_t count : {1799u, 1800u, 17982u, 2589408u, 0x80000000u, UINT32_MAX}) {
    const std::string text = labelOf(kSmpte2997Drop, count % 2589408);
    EXPECT_EQ(labelOf(kSmpte2997Drop, count), text) << count << ": every day is like the first";
    EXPECT_EQ(labelOf(0, count), text) << "an invalid format is labelled as drop frame";
    EXPECT_EQ(labelOf(7, count), text);
  }
  const _smpteval skipped = label(kSmpte2997Drop, 0, 1, 0, 0), first = label(kSmpte2997Drop, 0, 1, 0, 2);
  EXPECT_EQ(QVSMPTE_SMPTEToFrameCount(&skipped), 1800u);
  EXPECT_EQ(QVSMPTE_SMPTEToFrameCount(&first), 1800u);
}

TEST(Smpte, Times) {
  const auto nanos = [](const _smpteval& value) { return QVSMPTE_SMPTEToNanos(&value); };
  EXPECT_EQ(nanos(label(kSmpte24, 0, 0, 1, 0)), 10000000);
  EXPECT_EQ(nanos(label(kSmpte30, 0, 0, 0, 1)), 333334) << "rounded up";
  EXPECT_EQ(nanos(label(kSmpte2997Drop, 1, 0, 0, 0)), 35999964000);
  EXPECT_EQ(nanos(label(kSmpte2997, 1, 0, 0, 0)), 36036000000);
  EXPECT_EQ(nanos(label(9, 1, 2, 3, 4)), 0);

  const _smpteval seventyFifths = label(0, 0, 1, 2, 3);
  EXPECT_EQ(QVSMPTE_SmpteLikeToNanos(75, &seventyFifths), 620400000);
  EXPECT_EQ(QVSMPTE_SmpteLikeToNanos(0, &seventyFifths), INT64_MAX);

  _smpteval value = label(kSmpte25, 0, 0, 0, 0);
  QVSMPTE_NanoToSMPTE(-400000, &value);
  EXPECT_EQ(shown(value), "23:59:59:24") << "one frame before midnight";
  QVSMPTE_NanoToSMPTE(int64_t{1000} * 86400 * 10000000 + 15000000, &value);
  EXPECT_EQ(shown(value), "00:00:01:12") << "far beyond what a 32-bit count holds at this rate";
}

TEST(Smpte, TextToFields) {
  const struct {
    const WCHAR* text;
    uint32_t format;
    const char* fields;
    WCHAR stopped;
  } rows[] = {
      {TEXT("1h2m3s4f"), 1, "01:02:03:04", ' '},  // the "f" has an empty field behind it, the fifth
      {TEXT("12:"), 1, "00:00:12:00", 0},         {TEXT("12 :  "), 1, "00:00:12:00", 0},
      {TEXT("90"), 1, "00:00:03:00", 0},          {TEXT("12:34"), 1, "00:00:13:04", 0},
      {TEXT("00:00:60:30"), 1, "00:01:01:00", 0}, {TEXT("123456789"), 1, "01:23:47:07", ' '},
      {TEXT("99999999"), 4, "04:40:43:03", 0},    {TEXT("25"), 3, "00:00:01:00", 0},
      {TEXT("00:01:00;00"), 2, "00:01:00:00", 0}, {TEXT("99999999"), 0, "99:99:99:99", 0},
  };
  for (const auto& row : rows) {
    _smpteval value = label(row.format, 9, 9, 9, 9);
    EXPECT_EQ(QVSMPTE_TextToSMPTE(row.text, &value), row.stopped) << row.fields;
    EXPECT_EQ(value.format, row.format);
    EXPECT_EQ(value.reserved, 0u);
    EXPECT_EQ(shown(value), row.fields);
  }
}

// The reader as it is described: a copy in which separators become blanks and runs are cut in pairs.
struct Described {
  std::vector<uint32_t> numbers;
  explicit Described(const std::u16string& text) {
    std::string work;
    size_t end = text.size();
    std::string tail;
    while (end > 0 && !(text[end - 1] >= '0' && text[end - 1] <= '9')) {
      --end;
      tail = (text[end] == ' ' ? std::string(" ") : std::string(" 0 ")) + tail;
    }
    for (size_t i = 0; i < end; ++i)
      work += text[i] >= '0' && text[i] <= '9' ? static_cast<char>(text[i]) : ' ';
    for (size_t i = work.size(), run = 0; i-- > 0;) {
      run = work[i] == ' ' ? 0 : run + 1;
      if (run > 2 && run % 2 == 1) work.insert(i + 1, " ");
    }
    work += tail;
    for (size_t i = 0; i < work.size();) {
      size_t used = 0;
      if (work[i] == ' ') {
        ++i;
        continue;
      }
      numbers.push_back(static_cast<uint32_t>(std::stoul(work.substr(i), &used)));
      i += used;
    }
  }
};

TEST(Smpte, AnyTextReadsAsDescribed) {
  static constexpr char16_t kCharacters[] =
      u"0123456789012345678901234567890123456789::;;., +-x\u00e9\u0663\n";
  uint64_t state = 88172645463325252u;
  const auto next = [&state] { return state ^= state << 13, state ^= state >> 7, state ^= state << 17; };
  for (int round = 0; round < 200000; ++round) {
    std::u16string text;
    for (uint64_t length = next() % 16; length > 0; --length)
      text += kCharacters[next() % (std::size(kCharacters) - 1)];
    const Described expected(text);
    uint32_t fields[4] = {};
    for (size_t i = 0; i < 4 && i < expected.numbers.size(); ++i) {
      std::copy(fields + 1, fields + 4, fields);
      fields[3] = expected.numbers[i];
    }
    const std::basic_string<WCHAR> wide(text.begin(), text.end());
    _smpteval value = label(0, 1, 1, 1, 1);
    const WCHAR stopped = QVSMPTE_TextToSMPTE(wide.c_str(), &value);
    const _smpteval wanted = label(0, fields[0], fields[1], fields[2], fields[3]);
    ASSERT_EQ(shown(value), shown(wanted)) << std::string(text.begin(), text.end());
    ASSERT_EQ(stopped, expected.numbers.size() > 4 ? ' ' : 0) << std::string(text.begin(), text.end());
  }
}

TEST(Smpte, SumsWrapAroundMidnight) {
  const auto sum = [](_smpteval a, const _smpteval& b) { return QVSMPTE_AddSMPTE(&a, &b), shown(a); };
  const auto difference = [](_smpteval a, const _smpteval& b) {
    return QVSMPTE_SubtractSMPTE(&a, &b), shown(a);
  };
  const auto frames = [](uint32_t format, uint32_t count) { return label(format, 0, 0, 0, count); };
  EXPECT_EQ(difference(frames(2, 0), frames(2, 1)), "23:59:59:29");
  EXPECT_EQ(difference(label(2, 0, 1, 0, 2), frames(2, 1)), "00:00:59:29");
  EXPECT_EQ(difference(frames(3, 0), label(3, 48, 0, 0, 0)), "00:00:00:00");
  EXPECT_EQ(sum(label(4, 23, 59, 59, 23), frames(4, 1)), "00:00:00:00");
  EXPECT_EQ(sum(label(3, 1, 0, 0, 0), label(1, 0, 0, 0, 26)), "01:00:01:01") << "in the format of a";
  EXPECT_EQ(sum(label(9, 1, 2, 3, 4), label(9, 1, 1, 1, 1)), "00:00:00:00");
}

TEST(Smpte, CompareLooksAtFieldsOnly) {
  const _smpteval a = label(1, 1, 2, 3, 4), later = label(2, 1, 3, 0, 0), same = label(3, 1, 2, 3, 4);
  EXPECT_EQ(QVSMPTE_SMPTECompare(&a, &later), -1);
  EXPECT_EQ(QVSMPTE_SMPTECompare(&later, &a), 1);
  EXPECT_EQ(QVSMPTE_SMPTECompare(&a, &same), 0);
}

TEST(Smpte, Steps) {
  const struct {
    uint32_t format;
    const WCHAR* from;
    const char *next, *previous;
  } rows[] = {
      {2, TEXT("00:00:59:29"), "00:01:00:02", "00:00:59:28"},
      {2, TEXT("00:01:00:02"), "00:01:00:03", "00:01:00:01"},  // a label that doesn't exist
      {2, TEXT("00:10:00:00"), "00:10:00:01", "00:09:59:31"},  // and another
      {2, TEXT("00:01:05:00"), "00:01:05:01", "00:01:04:29"},
      {2, TEXT("00:11:00:00"), "00:11:00:01", "00:10:59:29"},
      {2, TEXT("00:00:00:00"), "00:00:00:01", "23:59:59:31"},
      {5, TEXT("00:10:00:00"), "00:10:00:01", "00:09:59:31"},  // without dropping, but the same
      {1, TEXT("00:10:00:00"), "00:10:00:01", "00:09:59:29"},
      {3, TEXT("00:00:00:00"), "00:00:00:01", "23:59:59:24"},
      {4, TEXT("01:00:00:00"), "01:00:00:01", "00:59:59:23"},
      {6, TEXT("00:59:59:23"), "01:00:00:00", "00:59:59:22"},
  };
  for (const auto& row : rows) {
    _smpteval up = label(row.format, 0, 0, 0, 0);
    QVSMPTE_TextToSMPTE(row.from, &up);
    _smpteval down = up;
    QVSMPTE_IncrementByFrame(&up, 12345);
    QVSMPTE_DeccrementByFrame(&down, 12345);
    EXPECT_EQ(shown(up), row.next) << row.format;
    EXPECT_EQ(shown(down), row.previous) << row.format;
  }
}

TEST(Smpte, StepsLookAtFiveBitsOfTheHours) {
  _smpteval value = label(3, 32 + 5, 59, 59, 24);
  QVSMPTE_IncrementByFrame(&value, 0);
  EXPECT_EQ(shown(value), "06:00:00:00");
  value = label(3, 32, 0, 0, 0);
  QVSMPTE_DeccrementByFrame(&value, 0);
  EXPECT_EQ(shown(value), "23:59:59:24");
}

}  // namespace
