#include "qv/time/positions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "qv/core/detail/tokens.h"
#include "qv/lang/international.h"
#include "tests/core/text_support.h"

namespace {

using qvtest::Text;

constexpr int64_t kSecond = 10000000;
constexpr int64_t kHour = 3600 * kSecond;

_qvposfmt formatOf(int32_t format) {
  return {format, 48000, 25.0, 120.0, 0, 4, 4, 960};
}

Text written(const _qvposfmt& format, int64_t nanos, uint32_t flags = 0, const WCHAR* pattern = nullptr) {
  WCHAR text[256];
  const int32_t length = QvNanoTimeToTextFormat(text, &format, nanos, pattern, flags);
  EXPECT_EQ(static_cast<size_t>(length), Text(text).size());
  return text;
}

int64_t read(const _qvposfmt& format, const Text& text, uint32_t flags = 0) {
  return QvTextToNanoTimeToken2(text.c_str(), &format, 0, 0, 0, flags, nullptr);
}

// The separators of positions are tokens, which start-up defines.
class Positions : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(qv::initializeTokens());
    qv::defineSeparatorTokens();
  }
  static void TearDownTestSuite() { qv::terminateTokens(); }
};

TEST_F(Positions, TextsOfEveryFormat) {
  const int64_t time = kHour + 2 * 60 * kSecond + 3 * kSecond + kSecond / 2;
  const struct {
    int32_t format;
    const WCHAR *text, *shortText;
  } rows[] = {
      {0, TEXT("178,728,000"), TEXT("178,728,000")},
      {1, TEXT("01:02:03.500"), TEXT("01:02:03")},
      {2, TEXT("3,723.500"), TEXT("3,723")},
      {3, TEXT("01:02:03.13"), TEXT("01:02:03")},
      {4, TEXT("93,087.500"), TEXT("93,087")},
      {5, TEXT("1,862.4.000"), TEXT("1,862.4")},
      {6, TEXT("01:01:59:23"), TEXT("01:01:59:23")},
      {7, TEXT("01:02:03:15"), TEXT("01:02:03:15")},
      {8, TEXT("01:02:03;15"), TEXT("01:02:03;15")},
      {9, TEXT("01:02:03:12"), TEXT("01:02:03:12")},
      {10, TEXT("01:02:03:12"), TEXT("01:02:03:12")},
      {11, TEXT("37,235,000,000"), TEXT("37,235,000,000")},
      {12, TEXT("3,723,500,000"), TEXT("3,723,500,000")},
      {13, TEXT("1,861.3.000"), TEXT("1,861.3")},
      {14, TEXT("7,447.000"), TEXT("7,447")},
      {15, TEXT("2,327+7"), TEXT("2,327+7")},
      {16, TEXT("5,817+15"), TEXT("5,817+15")},
      {17, TEXT("01:02:03:38"), TEXT("01:02:03")},
      {18, TEXT("01:01:59:18"), TEXT("01:01:59:18")},
      {19, TEXT("1:02:03"), TEXT("1:02:03")},
      {20, TEXT("37,235,000,000"), TEXT("37,235,000,000")},
      {-1, TEXT("37,235,000,000"), TEXT("37,235,000,000")},
  };
  for (const auto& row : rows) {
    const _qvposfmt format = formatOf(row.format);
    EXPECT_EQ(written(format, time), row.text) << row.format;
    EXPECT_EQ(written(format, time, kPositionShort), row.shortText) << row.format;
    EXPECT_EQ(written(format, -time), TEXT("-") + Text(row.text)) << row.format;
  }
}

TEST_F(Positions, TextsAtTheirEdges) {
  const struct {
    int32_t format;
    int64_t nanos;
    uint32_t flags;
    const WCHAR *pattern, *text;
  } rows[] = {
      {8, int64_t{17982} * 1001 * kSecond / 30000, 0, nullptr, TEXT("00:10:00;00")},
      {5, 0, 0, nullptr, TEXT("1.1.000")},
      {5, 0, kPositionDistance, nullptr, TEXT("0.0.000")},
      {5, 0, kPositionDistance | kPositionShort, nullptr, TEXT("0.0")},
      {13, 0, 0, nullptr, TEXT("0.0.000")},
      {19, 59 * kSecond, 0, nullptr, TEXT("0:59")},
      {19, 10 * 60 * kSecond - 1, 0, nullptr, TEXT("10:00")},
      {19, 600 * kSecond - 5001, 0, nullptr, TEXT("9:59")},
      {19, 600 * kSecond, 0, TEXT("ignored"), TEXT("10:00")},
      {19, kHour, 0, nullptr, TEXT("1:00:00")},
      {19, 25 * kHour, 0, nullptr, TEXT("1:00:00")},
      {2, 19 * kSecond / 10, 0, TEXT("$.0f"), TEXT("1")},
      {2, 19 * kSecond / 10, 0, TEXT("%.0f"), TEXT("2")},
      {14, 19 * kSecond / 10, 0, TEXT("$.0f"), TEXT("3")},
      {4, kSecond - 1, 0, TEXT("$.0f"), TEXT("25")},
      {4, kSecond - 10000, 0, TEXT("$.0f"), TEXT("24")},
      {12, 14, 0, nullptr, TEXT("1")},
      {12, 15, 0, nullptr, TEXT("2")},
      {12, INT64_MAX, 0, nullptr, TEXT("922,337,203,685,477,581")},
      {11, INT64_MIN, 0, nullptr, TEXT("-9,223,372,036,854,775,807")},
      {1, 9995000, 0, nullptr, TEXT("00:00:01.000")},
      {1, 9994999, 0, nullptr, TEXT("00:00:00.999")},
      {3, 24 * kHour + kSecond / 25, 0, TEXT("%u|%u|%u|%u"), TEXT("0|0|0|1")},
      {1, -5000000, 0, nullptr, TEXT("-00:00:00.500")},
  };
  for (const auto& row : rows)
    EXPECT_EQ(written(formatOf(row.format), row.nanos, row.flags, row.pattern), row.text) << row.format;

  _qvposfmt format = formatOf(1);
  format.rulerOffset = 10 * kSecond;
  EXPECT_EQ(written(format, 9 * kSecond), TEXT("-00:00:01.000"));
  EXPECT_EQ(written(format, 9 * kSecond, kPositionDistance), TEXT("00:00:09.000"));
  format.rulerOffset = INT64_MAX;
  format.format = 11;
  EXPECT_EQ(written(format, -5), TEXT("-9,223,372,036,854,775,807"));
}

TEST_F(Positions, OwnLayoutsAreTheirPatterns) {
  const WCHAR* label = TEXT("%02u:%02u:%02u:%02u");
  const WCHAR* clock = TEXT("%02u$:%02u$:%02u");
  const struct {
    int32_t format;
    const WCHAR *pattern, *shortPattern;
  } rows[] = {{0, TEXT("$I64d"), TEXT("$I64d")},
              {1, TEXT("%02u$:%02u$:%02u$*%03u"), clock},
              {2, TEXT("$.3f"), TEXT("$.0f")},
              {3, TEXT("%02u$:%02u$:%02u$*%02u"), clock},
              {4, TEXT("$.3f"), TEXT("$.0f")},
              {5, TEXT("$u$&:%u$&.%03u"), TEXT("$u$&:%u")},
              {7, label, label},
              {8, TEXT("%02u:%02u:%02u;%02u"), TEXT("%02u:%02u:%02u;%02u")},
              {11, TEXT("$I64d"), TEXT("$I64d")},
              {12, TEXT("$I64d"), TEXT("$I64d")},
              {13, TEXT("$u$&:%u$&.%03u"), TEXT("$u$&:%u")},
              {14, TEXT("$.3f"), TEXT("$.0f")},
              {15, TEXT("$I64d+$I64d"), TEXT("$I64d+$I64d")},
              {17, label, clock}};
  const qvtest::LocaleInForce hindi(TEXT(","), TEXT("."), 32);
  for (const auto& row : rows) {
    _qvposfmt format = formatOf(row.format);
    for (const double rate : {25.0, 29.97, 1200.0})
      for (int64_t nanos = -3; nanos < int64_t{1} << 60; nanos = nanos * 3 + 1234567) {
        format.frameRate = format.tempo = rate;
        ASSERT_EQ(written(format, nanos), written(format, nanos, 0, row.pattern)) << row.format;
        ASSERT_EQ(written(format, nanos, 1), written(format, nanos, 1, row.shortPattern)) << row.format;
      }
  }
}

TEST_F(Positions, NoRatesAtAllAreSafe) {
  for (int32_t kind = -1; kind <= 20; ++kind) {
    _qvposfmt format = {kind, 0, 0, 0, 0, 0, 0, 0};
    for (const double rate : {0.0, -1.0, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
      format.frameRate = format.tempo = rate;
      for (const int64_t nanos : {int64_t{0}, int64_t{1}, INT64_MAX, INT64_MIN}) {
        const Text text = written(format, nanos);
        EXPECT_LT(text.size(), 80u);
        read(format, text);
      }
    }
  }
}

TEST_F(Positions, BoundedTextIsTheBeginningOfTheWhole) {
  for (int32_t kind = 0; kind < 20; ++kind)
    for (const uint32_t flags : {0u, kPositionShort, kPositionDistance})
      for (const int64_t nanos : {int64_t{-123456789012}, int64_t{0}, int64_t{864123456789}}) {
        const _qvposfmt format = formatOf(kind);
        const Text whole = written(format, nanos, flags);
        for (uint32_t capacity = 0; capacity <= whole.size() + 2; ++capacity) {
          WCHAR text[64];
          std::fill(std::begin(text), std::end(text), TEXT('#'));
          const int32_t length = QvNanoTimeToTextExN(text, capacity, &format, nanos, flags);
          ASSERT_EQ(text[capacity], TEXT('#')) << kind;
          if (capacity == 0) continue;
          ASSERT_EQ(Text(text).size(), static_cast<size_t>(length)) << kind;
          ASSERT_TRUE(whole.starts_with(text)) << kind;
          ASSERT_TRUE(capacity <= whole.size() || whole == text) << kind << " " << capacity;
        }
      }
}

TEST_F(Positions, ReadingTexts) {
  const struct {
    int32_t format;
    const WCHAR* text;
    uint32_t flags;
    int64_t nanos;
  } rows[] = {
      {0, TEXT("48,000"), 0, kSecond},
      {0, TEXT("-1"), 0, -208},
      {0, TEXT("99999999999999999999"), 0, int64_t{1} << 61},
      {1, TEXT("  -1:02:03.5"), 0, -(kHour + 123 * kSecond + kSecond / 2)},
      {1, TEXT("7"), 0, 7 * kSecond},
      {1, TEXT("1:02:03"), kPositionShort, kHour + 123 * kSecond},
      {1, TEXT("1:02:03"), 0, 62 * kSecond + 300000},
      {2, TEXT("1.001"), 0, 10010000},  // whose nearest double lies below
      {2, TEXT("-3,723.5"), 0, -37235000000},
      {2, TEXT("1e9"), 0, kSecond},
      {2, TEXT("999999999999999"), 0, static_cast<int64_t>(230584300921e7)},
      {3, TEXT("00:00:01:12"), 0, 14800000},
      {3, TEXT("12"), 0, 4800000},
      {3, TEXT("0:12"), kPositionShort, 12 * kSecond},
      {4, TEXT("37.5"), 0, 15000000},
      {5, TEXT("1.1.000"), 0, 0},
      {5, TEXT("2.1.480"), 0, 2 * kSecond + kSecond / 4},
      {5, TEXT("2.1.480"), kPositionDistance, 4 * kSecond + kSecond / 2 + kSecond / 4},
      {5, TEXT("480"), 0, kSecond / 4},
      {5, TEXT("3.2"), kPositionShort, 4 * kSecond + kSecond / 2},
      {5, TEXT("1,001.1.000"), 0, 2000 * kSecond},
      {13, TEXT("2.1.480"), 0, 4 * kSecond + kSecond / 2 + kSecond / 4},
      {7, TEXT("01020304"), 0, kHour + 123 * kSecond + 1333334},
      {8, TEXT("00:01:00;00"), 0, 600600000},
      {9, TEXT("-12"), 0, -4800000},
      {11, TEXT("-9,223"), 0, -9223},
      {12, TEXT("5"), 0, 50},
      {12, TEXT("9223372036854775807"), 0, INT64_MAX / 10 * 10},
      {14, TEXT("5.5"), 0, 0},
      {15, TEXT("2+10"), 0, 36000000},
      {16, TEXT("2+10"), 0, 16800000},
      {16, TEXT("1,234+05"), 0, (int64_t{1234} * 16 + 5) * 400000},
      {16, TEXT("1,23+05"), 0, (int64_t{1} * 16 + 23) * 400000},  // no group has two digits
      {17, TEXT("00:00:01:15"), 0, kSecond + kSecond / 5},
      {19, TEXT("1:00"), 0, 0},
      {20, TEXT("55"), 0, 55},
  };
  for (const auto& row : rows)
    EXPECT_EQ(read(formatOf(row.format), row.text, row.flags), row.nanos) << row.format << " " << row.nanos;

  _qvposfmt film = formatOf(kPositionFeet40);
  film.frameRate = 24;
  EXPECT_EQ(read(film, TEXT("2+10")), 37500000);
}

TEST_F(Positions, TimesInMilliseconds) {
  const struct {
    const WCHAR* text;
    int32_t shortForm;
    int64_t milliseconds;
    int end;
  } rows[] = {
      {TEXT("7"), 0, 7000, 1},
      {TEXT("0:7"), 0, 700, 3},
      {TEXT("0:07"), 0, 70, 4},
      {TEXT("0:0071"), 0, 7, 6},
      {TEXT("1:2:3:4"), 0, 3723400, 7},
      {TEXT("1:2:3:4:5"), 0, 3723400, 7},
      {TEXT("1:2:3:4"), 1, 3723000, 5},
      {TEXT(":7"), 0, 700, 2},
      {TEXT("7:"), 0, 7000, 2},
      {TEXT("5:"), 1, 300000, 2},
      {TEXT(""), 0, 0, 0},
      {TEXT("00:00:01,25  "), 0, 1250, 13},
  };
  for (const auto& row : rows) {
    const WCHAR* end = nullptr;
    EXPECT_EQ(QvTextToTimeToken(row.text, nullptr, row.shortForm, &end), row.milliseconds);
    EXPECT_EQ(end - row.text, row.end) << row.milliseconds;
  }
}

TEST_F(Positions, DefaultsRangesAndEnds) {
  const _qvposfmt seconds = formatOf(2), samples = formatOf(0), time = formatOf(1);
  const auto inRange = [](const _qvposfmt& format, const WCHAR* text, const WCHAR** end) {
    return QvTextToNanoTimeTokenEx(text, &format, 0, 77, 10, 5 * kSecond, end);
  };
  const WCHAR* end = nullptr;
  for (int32_t kind = 0; kind < 20; ++kind) {
    const WCHAR* empty = TEXT(" ");
    EXPECT_EQ(inRange(formatOf(kind), empty, &end), 77) << kind;
    EXPECT_EQ(*end, 0);
    EXPECT_EQ(inRange(formatOf(kind), TEXT(" -"), nullptr), 77) << "the sign is not applied";
  }
  EXPECT_EQ(inRange(seconds, TEXT("abc"), &end), 77);
  EXPECT_EQ(*end, TEXT('a'));
  EXPECT_EQ(inRange(seconds, TEXT("0"), &end), 10);
  EXPECT_EQ(inRange(seconds, TEXT("0  "), &end), 10);
  EXPECT_EQ(inRange(seconds, TEXT("2 s"), &end), 2 * kSecond);
  EXPECT_EQ(*end, TEXT(' '));
  EXPECT_EQ(inRange(seconds, TEXT("9"), nullptr), 5 * kSecond);
  EXPECT_EQ(inRange(samples, TEXT("-9"), nullptr), 10);
  EXPECT_EQ(inRange(time, TEXT("1:2:3:4:x"), &end), 5 * kSecond);
  EXPECT_EQ(*end, TEXT(':'));
  EXPECT_EQ(QvTextToNanoTimeToken(TEXT("x"), &seconds, 0, &end), 0) << "no range, no default";
}

TEST_F(Positions, MeasuresAndTicksAsText) {
  const _qvposfmt four = formatOf(5);
  _qvposfmt six = formatOf(5);
  six.beatNote = 8, six.beatsPerMeasure = 6;
  const struct {
    const _qvposfmt& format;
    int64_t ticks;
    int32_t base, shortForm, divisor;
    const WCHAR* text;
  } rows[] = {
      {four, 0, 1, 0, 1, TEXT("1.1.000")},
      {four, 0, 0, 0, 1, TEXT("0.0.000")},
      {four, 3840 + 961, 1, 0, 1, TEXT("2.2.001")},
      {four, 3840 + 961, 1, 1, 1, TEXT("2.2")},
      {four, -1, 1, 0, 1, TEXT("-1.4.959")},
      {four, -1, 0, 0, 1, TEXT("-1.3.959")},
      {four, -3841, 1, 0, 1, TEXT("-2.4.959")},
      {four, 480, 1, 0, 10, TEXT("1.1.048")},
      {four, 480, 1, 0, 0, TEXT("1.1.480")},
      {six, 1440, 1, 0, 1, TEXT("1.4.000")},
      {four, INT64_MIN, 0, 1, 1, TEXT("-2147483648.1")},
  };
  WCHAR text[64];
  for (const auto& row : rows) {
    QvTicksToText(text, &row.format, row.ticks, row.base, row.shortForm, row.divisor);
    EXPECT_EQ(Text(text), row.text);
  }
  QvMeasuresAndTicksToText(text, &six, 3, -480, 1, 0, 1);
  EXPECT_EQ(Text(text), TEXT("3.6.000")) << "a borrowed measure has six eighths";

  for (const int32_t base : {0, 1})
    for (int64_t ticks = -9000; ticks < 9000; ticks += 7) {
      QvTicksToText(text, &four, ticks, base, 0, 1);
      ASSERT_EQ(QvTextToTicks(text, &four, base, 1), ticks) << base;
    }
}

TEST_F(Positions, MeasuresAndTicksFromText) {
  const _qvposfmt format = formatOf(5);
  int32_t measures, beats, ticks;
  const auto fields = [&] {
    return std::to_string(measures) + " " + std::to_string(beats) + " " + std::to_string(ticks);
  };
  EXPECT_EQ(QvTextToMeasuresBeatsTicks(TEXT("2"), &format, 1, 1, &measures, &beats, &ticks), 3840);
  EXPECT_EQ(fields(), "1 0 0");
  EXPECT_EQ(QvTextToMeasuresBeatsTicks(TEXT(" -2.3.5"), &format, 1, 10, &measures, &beats, &ticks),
            -2 * 3840 + 2 * 960 + 50);
  EXPECT_EQ(fields(), "-2 2 5");
  EXPECT_EQ(QvTextToMeasuresBeatsTicks(TEXT("0.0.7"), &format, 1, 1, &measures, &beats, &ticks), 7);
  EXPECT_EQ(QvTextToBeatsTicks(TEXT("3.20"), &format, 2, &beats, &ticks), 3 * 960 + 40);
  const int64_t most = INT32_MAX;
  EXPECT_EQ(QvTextToTicks(TEXT("99999999999.9999999999.9999999999"), &format, 0, INT32_MAX),
            most * 5 * 960 + most * most);

  QvNanoTimeToMeasures(kHour + kSecond / 2, &format, &measures, &beats, &ticks);
  EXPECT_EQ(fields(), "1800 1 0");
  QvNanoTimeToMeasures(-kSecond * 5 / 2 - 1000000, &format, &measures, &beats, &ticks);
  EXPECT_EQ(fields(), "-1 -1 -191");
}

// ---- What was written reads back

int64_t ceiling(uint64_t a, uint64_t b) {
  return static_cast<int64_t>((a + b - 1) / b);
}
int64_t nearest(uint64_t a, uint64_t b) {
  return static_cast<int64_t>((2 * a + b) / (2 * b));
}

TEST_F(Positions, EveryFormatReadsBackItsGridInTenLocales) {
  const QVINTERNATIONALS before = qv::internationals();
  // English, German, Swiss German, French, Hindi, Swedish, Japanese, Russian, Portuguese, Polish.
  for (const LCID locale : {0x0409, 0x0407, 0x0807, 0x040c, 0x0439, 0x041d, 0x0411, 0x0419, 0x0816, 0x0415}) {
    qv::setInternationals(qv::readInternationals(static_cast<LCID>(locale)));
    const struct {
      int32_t format;
      uint64_t points;  // of the grid
      std::function<int64_t(uint64_t)> at;
    } rows[] = {
        {0, 48000ull * 1000000, [](uint64_t k) { return nearest(k * 10000000, 48000); }},
        {1, 86400000, [](uint64_t k) { return static_cast<int64_t>(k * 10000); }},
        {2, 100000000000, [](uint64_t k) { return static_cast<int64_t>(k * 10000); }},
        {3, 86400 * 25, [](uint64_t k) { return static_cast<int64_t>(k * 400000); }},
        {4, 100000000000, [](uint64_t k) { return static_cast<int64_t>(k * 400); }},
        {5, 3840 * 100000, [](uint64_t k) { return static_cast<int64_t>(k * 5000000 / 960); }},
        {6, 2592000, [](uint64_t k) { return ceiling(k * 10010000, 30); }},
        {7, 2592000, [](uint64_t k) { return ceiling(k * 10000000, 30); }},
        {8, 2589408, [](uint64_t k) { return ceiling(k * 10010000, 30); }},
        {9, 2160000, [](uint64_t k) { return static_cast<int64_t>(k * 400000); }},
        {10, 2073600, [](uint64_t k) { return ceiling(k * 10000000, 24); }},
        {11, UINT64_MAX / 4, [](uint64_t k) { return static_cast<int64_t>(k); }},
        {12, UINT64_MAX / 40, [](uint64_t k) { return static_cast<int64_t>(k * 10); }},
        {13, 3840 * 100000, [](uint64_t k) { return static_cast<int64_t>(k * 5000000 / 960); }},
        {15, 25 * 86400 * 1000ull, [](uint64_t k) { return static_cast<int64_t>(k * 400000); }},
        {16, 25 * 86400 * 1000ull, [](uint64_t k) { return static_cast<int64_t>(k * 400000); }},
        {17, 86400 * 75, [](uint64_t k) { return ceiling(k * 10000000, 75); }},
        {18, 2073600, [](uint64_t k) { return ceiling(k * 10010000, 24); }},
    };
    uint64_t state = 88172645463325252u;
    const auto next = [&state] { return state ^= state << 13, state ^= state >> 7, state ^= state << 17; };
    for (const auto& row : rows) {
      const _qvposfmt format = formatOf(row.format);
      for (int i = 0; i < 2000; ++i) {
        // Small and large ones alike.
        const uint64_t point = next() % (row.points >> next() % 20);
        const int64_t nanos = row.at(point) * (i % 3 == 0 ? -1 : 1);
        const Text text = written(format, nanos);
        ASSERT_EQ(read(format, text), nanos)
            << locale << " format " << row.format << ": " << std::string(text.begin(), text.end());
      }
    }
  }
  qv::setInternationals(before);
}

TEST_F(Positions, OtherTimesReadBackAsThePointThatWasShown) {
  uint64_t state = 88172645463325252u;
  const auto next = [&state] { return state ^= state << 13, state ^= state >> 7, state ^= state << 17; };
  const double rates[] = {24, 25, 30000.0 / 1001.0, 24000.0 / 1001.0, 50, 60};
  const double tempos[] = {60, 90.5, 120, 133.33};
  for (int32_t kind = 0; kind < 19; ++kind) {
    if (kind == kPositionBeats) continue;
    for (int i = 0; i < 20000; ++i) {
      _qvposfmt format = formatOf(kind);
      format.sampleRate = next() % 2 ? 44100 : 192000;
      format.frameRate = rates[next() % 6];
      format.tempo = tempos[next() % 4];
      format.beatsPerMeasure = static_cast<uint16_t>(2 + next() % 6);
      format.ticksPerBeat = next() % 2 ? 480 : 960;
      const uint32_t flags = next() % 2 ? kPositionDistance : 0;
      const int64_t nanos = static_cast<int64_t>(next() % (23 * kHour >> next() % 20));
      const Text text = written(format, nanos, flags);
      const int64_t shown = read(format, text, flags);
      ASSERT_EQ(written(format, shown, flags), text) << kind;
      ASSERT_EQ(read(format, written(format, shown, flags), flags), shown) << kind;
      ASSERT_LE(std::abs(shown - nanos), kSecond / 23) << kind << ": a frame is the coarsest step";
    }
  }
}

}  // namespace
