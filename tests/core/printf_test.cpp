#include "qv/core/printf.h"

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "qv/core/detail/tokens.h"
#include "qv/core/printf_window.h"
#include "tests/core/text_support.h"

namespace {

using qvtest::LocaleInForce;
using qvtest::printed;
using qvtest::Text;
using qvtest::wide;

constexpr HRESULT kTextTooLong = static_cast<HRESULT>(0x8004e03cu);
constexpr HRESULT kRenderingCut = static_cast<HRESULT>(0x8007007au);

class Formatter : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qv::initializeTokens());
    qv::defineSeparatorTokens();
  }
  void TearDown() override { qv::terminateTokens(); }
};

TEST_F(Formatter, LiteralsAndConversions) {
  EXPECT_EQ(printed(TEXT("")), TEXT(""));
  EXPECT_EQ(printed(TEXT("$$ %% $%")), TEXT("$ % %"));
  EXPECT_EQ(printed(TEXT("$d %d"), 1234567, 1234567), TEXT("1,234,567 1234567"));
  EXPECT_EQ(printed(TEXT("$.2f %.2f"), 1234.5, 1234.5), TEXT("1,234.50 1234.50"));
  EXPECT_EQ(printed(TEXT("$I64d %I64d %I32d"), int64_t{5000000000}, INT64_MIN, 7),
            TEXT("5,000,000,000 -9223372036854775808 7"));
  EXPECT_EQ(printed(TEXT("%Iu $Iu"), UINT64_MAX, UINT64_MAX),
            TEXT("18446744073709551615 18,446,744,073,709,551,615"));
  EXPECT_EQ(printed(TEXT("$x $o $X"), 0xabcdef, 8, 0xabcdef), TEXT("abcdef 10 ABCDEF"));
  EXPECT_EQ(printed(TEXT("$10d|$06d|$-12d|$+d"), 1234567, 1234, 1234567, 1234567),
            TEXT("   1,234,567|001,234|1,234,567     |+1,234,567"));
  EXPECT_EQ(printed(TEXT("$g $g $G"), 1234.5, 1e20, 0.25), TEXT("1234.5 1e+20 0.25"));
  EXPECT_EQ(printed(TEXT("$e"), 1234.5), TEXT("1.234500e+03"));
  EXPECT_EQ(printed(TEXT("%c%5c|%-3c|%.2s|%5s|%-5s|"), TEXT('a'), TEXT('b'), TEXT('c'), TEXT("xyz"),
                    TEXT("q"), TEXT("r")),
            TEXT("a    b|c  |xy|    q|r    |"));
  EXPECT_EQ(printed(TEXT("%s %hs"), static_cast<const WCHAR*>(nullptr), "narrow"), TEXT("(null) narrow"));
}

TEST_F(Formatter, ArgumentsOfEveryClassKeepTheirOrder) {
  EXPECT_EQ(
      printed(TEXT("%d %.1f %s %I64d %.1f %c %u %.1f %d %.1f %s %.1f %I64u %.1f %d %.1f %s %.1f %d %.1f"), 1,
              1.5, TEXT("two"), int64_t{3} << 40, 2.5, TEXT('x'), 4u, 3.5, -5, 4.5, TEXT("six"), 5.5,
              uint64_t{7} << 40, 6.5, 8, 7.5, TEXT("nine"), 8.5, 10, 9.5),
      TEXT("1 1.5 two 3298534883328 2.5 x 4 3.5 -5 4.5 six 5.5 7696581394432 6.5 8 7.5 nine 8.5 10 9.5"));
}

TEST_F(Formatter, FixedPoint) {
  EXPECT_EQ(printed(TEXT("%.2z $.3z %z $z %.0z %5z|"), 1234, 1234567, 7, 1234, 5, 6),
            TEXT("12.34 1,234.567 7 1,234 5     6|"));
  EXPECT_EQ(printed(TEXT("%.9z %.1z"), INT32_MIN, -5), TEXT("-2.147483648 -0.5"));
  EXPECT_EQ(printed(TEXT("%.20z"), 1), TEXT("0.00000000000000000001"));
  const LocaleInForce german(TEXT("."), TEXT(","));
  EXPECT_EQ(printed(TEXT("%.2z $.2z"), 123456, 123456), TEXT("1234,56 1.234,56"));
}

TEST_F(Formatter, WhatIsNoConversionStaysVisible) {
  EXPECT_EQ(printed(TEXT("cost $")), TEXT("cost %"));
  EXPECT_EQ(printed(TEXT("%l")), TEXT("%l"));
  EXPECT_EQ(printed(TEXT("100%p")), TEXT("100%p"));
  EXPECT_EQ(printed(TEXT("%p, more")), TEXT(", more"));  // the scan reaches the list separator
  EXPECT_EQ(printed(TEXT("$(NoSuchToken) $(open")), TEXT("$(NoSuchToken) $(open"));
  EXPECT_EQ(printed(TEXT("$(12345.5) $(-1234567) $(12 $(.5)")), TEXT("12,345.5 -1,234,567 $(12 0.5"));
  const Text longSpecification = Text(TEXT("%")) + Text(300, TEXT('l')) + TEXT("d");
  EXPECT_EQ(printed(longSpecification.c_str()), longSpecification);
  const Text longName = Text(TEXT("$(")) + Text(300, TEXT('n')) + TEXT(")");
  EXPECT_EQ(printed(longName.c_str()), longName);
}

TEST_F(Formatter, SeparatorsOfTheLocale) {
  EXPECT_EQ(printed(TEXT("a%*b$,c$:d")), TEXT("a.b,c:d"));
  EXPECT_EQ(printed(TEXT("1$!:2$!.3$!,4$!x5$&:6$&.7$&x")), TEXT("1:2.3,4x5.6.7x"));
  EXPECT_EQ(printed(TEXT("$(SMPTE.Label.Drop) $(MusicTime.Label.Full)")),
            TEXT("hr:mn:sc,fr measures.beats.ticks"));
  ASSERT_TRUE(QvPrintF_DeleteToken(TEXT("smpte.drop")));
  EXPECT_EQ(printed(TEXT("$!,")), TEXT(","));
}

TEST_F(Formatter, Tokens) {
  EXPECT_EQ(QvPrintF_AddToken(TEXT("AppName"), TEXT("First")), 1);
  EXPECT_EQ(QvPrintF_AddToken(TEXT("APPNAME"), TEXT("Second")), 1);
  EXPECT_EQ(QvPrintF_AddToken(TEXT("Empty"), TEXT("")), 1);
  EXPECT_EQ(printed(TEXT("<$(appname)$(Empty)>")), TEXT("<Second>"));
  EXPECT_TRUE(QvPrintF_DeleteToken(TEXT("appName")));
  EXPECT_FALSE(QvPrintF_DeleteToken(TEXT("appName")));
  EXPECT_EQ(printed(TEXT("$(AppName)")), TEXT("$(AppName)"));
  for (int i = 0; i < 100; ++i)
    QvPrintF_AddToken(printed(TEXT("T%d"), i * 37 % 100).c_str(), printed(TEXT("%d"), i * 37 % 100).c_str());
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(printed(printed(TEXT("$$(t%d)"), i).c_str()), printed(TEXT("%d"), i));
}

TEST_F(Formatter, NoTableNoTokens) {
  qv::terminateTokens();
  EXPECT_EQ(QvPrintF_AddToken(TEXT("A"), TEXT("b")), 0);
  EXPECT_FALSE(QvPrintF_DeleteToken(TEXT("A")));
  EXPECT_EQ(printed(TEXT("$(A)$!:")), TEXT("$(A):"));
}

// Windows documents these separators; a sign behind or a sign of its own never shows.
TEST_F(Formatter, NumbersInTenLocales) {
  struct Row {
    const WCHAR *thousand, *decimal;
    uint32_t grouping;
    const WCHAR *negative, *integer, *real;
  };
  const Row rows[] = {
      {TEXT(","), TEXT("."), 3, TEXT("-"), TEXT("-1,234,567"), TEXT("-98,765,432.10")},
      {TEXT("."), TEXT(","), 3, TEXT("-"), TEXT("-1.234.567"), TEXT("-98.765.432,10")},
      {TEXT("\u00a0"), TEXT(","), 3, TEXT("-"), TEXT("-1\u00a0234\u00a0567"),
       TEXT("-98\u00a0765\u00a0432,10")},
      {TEXT("\u2019"), TEXT("."), 3, TEXT("-"), TEXT("-1\u2019234\u2019567"),
       TEXT("-98\u2019765\u2019432.10")},
      {TEXT(","), TEXT("."), 32, TEXT("-"), TEXT("-12,34,567"), TEXT("-9,87,65,432.10")},
      {TEXT(","), TEXT("."), 4, TEXT("-"), TEXT("-123,4567"), TEXT("-9876,5432.10")},
      {TEXT(" "), TEXT(","), 0, TEXT("-"), TEXT("-1234567"), TEXT("-98765432,10")},
      {TEXT("."), TEXT(","), 30, TEXT("\u2212"), TEXT("-1234.567"), TEXT("-98765.432,10")},
      {TEXT("::"), TEXT("<>"), 3, TEXT("minus"), TEXT("-1::234::567"), TEXT("-98::765::432<>10")},
      {TEXT("\u066c"), TEXT("\u066b"), 3, TEXT("-"), TEXT("-1\u066c234\u066c567"),
       TEXT("-98\u066c765\u066c432\u066b10")},
  };
  for (const Row& row : rows) {
    const LocaleInForce locale(row.thousand, row.decimal, row.grouping, row.negative);
    EXPECT_EQ(printed(TEXT("$d"), -1234567), row.integer);
    EXPECT_EQ(printed(TEXT("$.2f"), -98765432.1), row.real);
    EXPECT_EQ(printed(TEXT("%d %.2f"), -1234567, -98765432.1), TEXT("-1234567 -98765432.10"));
  }
}

// ---- Limits

TEST_F(Formatter, StatusesOfTheBoundedForm) {
  WCHAR text[400];
  uint32_t length = 99;
  EXPECT_EQ(QvCchPrintF(text, 1, &length, TEXT("%d"), 5), 0);
  EXPECT_EQ(text[0], 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(QvCchPrintF(text, 3, &length, TEXT("abcdef")), 0);  // a literal that doesn't fit is no error
  EXPECT_EQ(Text(text), TEXT("ab"));
  EXPECT_EQ(QvCchPrintF(text, 4, &length, TEXT("%d"), 12345), kTextTooLong);
  EXPECT_EQ(Text(text), TEXT("123"));
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(QvCchPrintF(text, 4, nullptr, TEXT("$d"), 12345), kTextTooLong);
  EXPECT_EQ(Text(text), TEXT("12,"));
  EXPECT_EQ(QvCchPrintF(text, 4, nullptr, TEXT("%s"), TEXT("12345")), kRenderingCut);
  EXPECT_EQ(QvCchPrintF(text, 4, nullptr, TEXT("$(NoSuch)")), kTextTooLong);
  EXPECT_EQ(QvCchPrintF(text, 4, nullptr, TEXT("%llllll")), kTextTooLong);
  EXPECT_EQ(QvCchPrintF(text, 400, &length, TEXT("%300d|"), 5), kRenderingCut);
  EXPECT_EQ(length, 260u);
  EXPECT_EQ(Text(text), Text(259, TEXT(' ')) + TEXT("|"));
  EXPECT_EQ(QvCchPrintF(text, 0, &length, TEXT("x")), kTextTooLong);
  EXPECT_EQ(QvCchPrintF(text, 0xffffffff, nullptr, TEXT("a%sb"), TEXT("text")),
            static_cast<HRESULT>(0x80070057u));
  EXPECT_EQ(Text(text), TEXT("ab"));
}

TEST_F(Formatter, EveryCapacityCutsCleanly) {
  QvPrintF_AddToken(TEXT("Clef"), TEXT("\U0001d11e\U0001d122"));
  constexpr const WCHAR* kFormat =
      TEXT("\U0001d11e%d$I64d%s$(Clef)%.2f|$.2f%x%c%-9d$(Nope\U0001d11e)$(1234.5)%.2z$z$!:\U0001d122%k");
  const auto print = [&](WCHAR* text, uint32_t capacity, uint32_t* length) {
    return QvCchPrintF(text, capacity, length, kFormat, 42, int64_t{1} << 40, TEXT("\U0001d11eab"), 1.25,
                       12345.678, 0xbeef, TEXT('c'), 7, 1234, 56789);
  };
  WCHAR whole[512];
  uint32_t wholeLength = 0;
  ASSERT_EQ(print(whole, 512, &wholeLength), 0);
  constexpr WCHAR kGuard = 0x7e7e;
  for (uint32_t capacity = 0; capacity <= wholeLength + 1; ++capacity) {
    std::vector<WCHAR> text(capacity + 4, kGuard);
    uint32_t length = 0;
    print(text.data(), capacity, &length);
    for (uint32_t i = capacity; i < capacity + 4; ++i) ASSERT_EQ(text[i], kGuard) << capacity;
    if (!capacity) continue;
    ASSERT_LT(length, capacity);
    ASSERT_EQ(text[length], 0);
    ASSERT_EQ(Text(text.data()), Text(whole, length)) << capacity;
    ASSERT_FALSE(length && (text[length - 1] & 0xfc00) == 0xd800) << capacity;
  }
}

TEST_F(Formatter, HostileWidthsAndPrecisionsAreBounded) {
  for (const WCHAR* size : {TEXT("2147483647"), TEXT("4294967296"), TEXT("99999999999999999999")}) {
    for (const WCHAR* pattern :
         {TEXT("%%%sd"), TEXT("%%.%sd"), TEXT("%%-%sx"), TEXT("%%0%sd"), TEXT("$$%su")})
      EXPECT_EQ(printed(printed(pattern, size).c_str(), 5).size(), 259u);
    for (const WCHAR* pattern :
         {TEXT("%%%sf"), TEXT("%%.%sf"), TEXT("%%.%se"), TEXT("%%#.%sg"), TEXT("$$.%sf")})
      EXPECT_GE(printed(printed(pattern, size).c_str(), 5.0).size(), 259u);
    EXPECT_EQ(printed(printed(TEXT("%%.%sz"), size).c_str(), 5).size(), 259u);
    EXPECT_EQ(printed(printed(TEXT("%%%ss"), size).c_str(), TEXT("x")).size(), 1023u);
  }
  WCHAR text[4096];
  EXPECT_EQ(QvPrintF(text, TEXT("%2000000000s"), TEXT("x")), 1023);
  EXPECT_EQ(QvPrintF(text, TEXT("%s|%d $d"), TEXT("x"), 1, 2000), 9);
  EXPECT_EQ(QvPrintF(text, TEXT("")), 0);
}

// ---- The C library as the judge

class Random {
 public:
  int below(int limit) { return static_cast<int>(engine_() % static_cast<uint64_t>(limit)); }
  bool chance(int percent) { return below(100) < percent; }
  uint64_t bits() { return engine_(); }
  int64_t integer() {
    const uint64_t any = bits() >> below(64);
    return static_cast<int64_t>(chance(50) ? any : 0 - any);
  }
  double real() {
    const int kind = below(5);
    if (kind == 0) return std::bit_cast<double>(bits());
    if (kind == 1) return static_cast<double>(integer() % 100000) / std::ldexp(1.0, below(12));  // ties
    if (kind == 2) return static_cast<double>(integer() % 100000000) / 1000.0;
    if (kind == 3) return std::ldexp(static_cast<double>(bits() >> 11), below(160) - 130);
    return kSpecial[below(static_cast<int>(std::size(kSpecial)))];
  }

 private:
  static constexpr double kSpecial[] = {0.0,     -0.0, 0.5,      1.5,  2.5,     0.05,   0.125,
                                        9.995,   99.5, 999999.5, 1e15, 1e16,    0x1p64, 5e-324,
                                        DBL_MAX, 9.5,  1e-5,     1e-4, HUGE_VAL};
  std::mt19937_64 engine_{20240611};
};

std::string flagsFor(Random& random, char terminator) {
  const bool text = terminator == 'c' || terminator == 's';
  const bool isUnsigned = std::string("uoxX").find(terminator) != std::string::npos;
  const bool alternative = std::string("oxXeEfgG").find(terminator) != std::string::npos;
  std::string flags;
  if (random.chance(25)) flags += '-';
  if (!text && random.chance(25)) flags += '0';
  if (!text && !isUnsigned && random.chance(20)) flags += '+';
  if (!text && !isUnsigned && random.chance(20)) flags += ' ';
  if (alternative && random.chance(25)) flags += '#';
  return flags;
}

std::string specificationFor(Random& random, char terminator) {
  std::string text = flagsFor(random, terminator);
  if (random.chance(50)) text += std::to_string(1 + random.below(random.chance(5) ? 400 : 40));
  if (terminator != 'c' && random.chance(50)) {
    text += '.';
    if (random.chance(90)) text += std::to_string(random.below(random.chance(5) ? 400 : 25));
  }
  return text;
}

template <typename Ours, typename Theirs>
void compare(const std::string& literal, const std::string& specification, const std::string& size,
             const std::string& cSize, char terminator, Ours ours, Theirs theirs) {
  const std::string format = literal + "%" + specification + size + terminator + literal;
  const std::string cFormat = literal + "%" + specification + cSize + terminator + literal;
  WCHAR text[1024];
  char expected[4096];
  const HRESULT status = QvCchPrintF(text, 1024, nullptr, wide(format).c_str(), ours);
  const int length = std::snprintf(expected, sizeof expected, cFormat.c_str(), theirs);
  const size_t rendered = static_cast<size_t>(length) - 2 * literal.size();
  Text want = wide(expected);
  const bool inScratch = terminator != 's' && terminator != 'c';
  if (inScratch && rendered > 259) want = wide(literal) + want.substr(literal.size(), 259) + wide(literal);
  ASSERT_EQ(Text(text), want) << format;
  ASSERT_EQ(status, inScratch && rendered > 259 ? kRenderingCut : 0) << format;
}

void compareInteger(Random& random, const std::string& literal, char terminator) {
  const std::string specification = specificationFor(random, terminator);
  const int64_t value = random.integer();
  if (terminator == 'o' && (value & 0xff) == 0) return;  // mingw-w64 drops the "0" of "%#.0o"
  const int size = random.below(4), small = static_cast<int>(value);
  if (size == 0)
    return compare(literal, specification, "I64", "ll", terminator, value, static_cast<long long>(value));
  static constexpr const char* kSizes[] = {"", "h", "hh", ""};
  const char* const ours = size == 3 && random.chance(10) ? "I32" : kSizes[size];
  compare(literal, specification, ours, kSizes[size], terminator, small, small);
}

// No judge where a C library is known to slip; WhereCLibrariesSlip holds such cases. glibc loses the zeros of
// "%#g" when rounding carries into a new power of ten, mingw-w64 the padding of "%g" of a round integer.
bool judgeSlips(const std::string& specification, double value) {
  const size_t point = specification.find('.');
  const int digits =
      point == std::string::npos ? 6 : std::max(1, std::atoi(specification.c_str() + point + 1));
  char general[600], rounded[600], exact[64];
  std::snprintf(general, sizeof general, "%.*g", digits, value);
  std::snprintf(rounded, sizeof rounded, "%.*e", digits - 1, value);
  std::snprintf(exact, sizeof exact, "%.25e", value);
  const bool roundInteger = std::string(general).find_first_of(".e") == std::string::npos &&
                            general[std::strlen(general) - 1] == '0';
  return roundInteger || std::string(std::strchr(rounded, 'e')) != std::strchr(exact, 'e');
}

void compareReal(Random& random, const std::string& literal, char terminator) {
  const double value = random.real();
  if (std::isnan(value)) return;  // the sign of no number is the library's own affair
  const std::string specification = specificationFor(random, terminator);
  if ((terminator == 'g' || terminator == 'G') && std::isfinite(value) && judgeSlips(specification, value))
    return;
  compare(literal, specification, "", "", terminator, value, value);
}

void compareText(Random& random, const std::string& literal) {
  const std::string value(static_cast<size_t>(random.below(30)), static_cast<char>('a' + random.below(26)));
  compare(literal, specificationFor(random, 's'), "", "", 's', wide(value).c_str(), value.c_str());
}

TEST_F(Formatter, AMillionRandomFormatsAgreeWithTheCLibrary) {
  constexpr char kTerminators[] = "diuoxXeEfgGcs";
  Random random;
  for (int i = 0; i < 1000000 && !HasFatalFailure(); ++i) {
    const char terminator = kTerminators[random.below(static_cast<int>(sizeof kTerminators) - 1)];
    const std::string literal(static_cast<size_t>(random.below(4)),
                              static_cast<char>('A' + random.below(26)));
    if (std::string("eEfgG").find(terminator) != std::string::npos) {
      compareReal(random, literal, terminator);
    } else if (terminator == 's') {
      compareText(random, literal);
    } else if (terminator == 'c') {
      const int value = 'a' + random.below(26);
      compare(literal, specificationFor(random, 'c'), "", "", 'c', value, value);
    } else {
      compareInteger(random, literal, terminator);
    }
  }
}

TEST_F(Formatter, WhereCLibrariesSlip) {
  EXPECT_EQ(printed(TEXT("%#.6g %#.3g %#G"), 999999.5, 999.5, 999999.5),
            TEXT("1.00000e+06 1.00e+03 1.00000E+06"));
  EXPECT_EQ(printed(TEXT("%20.18g|%-7.4g|%06.4g"), 1e15, 3200.0, 3200.0),
            TEXT("    1000000000000000|3200   |003200"));
  EXPECT_EQ(printed(TEXT("%#.0o|%#o|%#5.o|%.0d|%.0x"), 0, 0, 0, 0, 0), TEXT("0|0|    0||"));
}

// ---- Windows

// A window that remembers its text, and a face whose characters are ten pixels wide.
struct FakeWindow {
  Text text;
  int sets = 0;
  std::vector<Text> appended;
  bool failing = false;
} fake;

constexpr qv::WindowCalls kFakeCalls = {
    [](HWND, LPCWSTR text) -> BOOL {
      if (fake.failing) return FALSE;
      fake.text = text;
      ++fake.sets;
      return TRUE;
    },
    [](HWND, int) { return reinterpret_cast<HWND>(&fake); },
    [](HWND) { return static_cast<int>(fake.text.size()); },
    [](HWND, LPWSTR text, int capacity) {
      const size_t length = fake.text.copy(text, static_cast<size_t>(capacity) - 1);
      text[length] = 0;
      return static_cast<int>(length);
    },
    [](HWND, UINT message, WPARAM, LPARAM text) -> LRESULT {
      if (message == 0x00c2) fake.appended.push_back(reinterpret_cast<const WCHAR*>(text));
      if (message == 0x0030) ++fake.sets;
      return 0;
    },
    [](HWND window) { return window; },
    [](HWND) { return HWND(); },
    [](HDC, LPCWSTR, int count, SIZE* size) -> BOOL {
      size->cx = 10 * count;
      return !fake.failing;
    },
    [] { return UINT{932}; },
};

class WindowTexts : public Formatter {
 protected:
  void SetUp() override {
    Formatter::SetUp();
    fake = {};
    qv::setWindowCalls(&kFakeCalls);
  }
  void TearDown() override {
    qv::setWindowCalls(nullptr);
    Formatter::TearDown();
  }
  HWND window_ = reinterpret_cast<HWND>(&fake);
};

TEST_F(WindowTexts, Setters) {
  EXPECT_EQ(QvSetWindowTextF(window_, TEXT("$d!"), 1234), 6);
  EXPECT_EQ(fake.text, TEXT("1,234!"));
  EXPECT_EQ(QvSetDlgItemTextNoF(window_, 1, TEXT("100% $")), 6);
  EXPECT_EQ(fake.text, TEXT("100% $"));
  EXPECT_EQ(QvSetDlgItemTextF(window_, 1, nullptr), 0);
  EXPECT_EQ(QvSetWindowTextNoF(window_, Text(8000, TEXT('x')).c_str()), 4095);
  fake.failing = true;
  EXPECT_EQ(QvSetWindowTextF(window_, TEXT("text")), 0);
}

TEST_F(WindowTexts, NoFlashSetsOnlyWhatChanged) {
  EXPECT_EQ(QvSetDlgItemTextNoFlashF(window_, 1, TEXT("%d"), 7), 1);
  EXPECT_EQ(QvSetDlgItemTextNoFlashF(window_, 1, TEXT("%d"), 7), 1);
  EXPECT_EQ(QvSetDlgItemTextNoFlashNoF(window_, 1, TEXT("7")), 1);
  EXPECT_EQ(fake.sets, 1);
  EXPECT_EQ(QvSetDlgItemTextNoFlashF(window_, 1, TEXT("%d"), 8), 1);
  EXPECT_EQ(fake.sets, 2);
  fake.text = Text(9000, TEXT('x'));
  QvSetDlgItemTextNoFlashNoF(window_, 1, TEXT("8"));
  EXPECT_EQ(fake.sets, 3);
}

TEST_F(WindowTexts, EditAndFont) {
  EXPECT_EQ(QvMEditPrintF(window_, TEXT("a%d"), 5), 2);
  EXPECT_EQ(QvMEditPrintF(window_, TEXT("~~b")), 1);
  EXPECT_EQ(fake.appended, (std::vector<Text>{TEXT("a5"), TEXT("\r\n"), TEXT("b")}));
  EXPECT_EQ(QvMEditPrintF(window_, nullptr), 0);
  fake.sets = 0;
  EXPECT_EQ(QvDlgInitFont(window_, nullptr), 1);
  EXPECT_EQ(fake.sets, 1);
}

TEST_F(WindowTexts, Ellipsis) {
  struct Row {
    const WCHAR* text;
    int32_t capacity, width;
    bool tail;
    const WCHAR* tailText;
    bool head;
    const WCHAR* headText;
  };
  const Row rows[] = {
      {TEXT("abcdefghij"), 64, 102, false, TEXT("abcdefghij"), true, TEXT("abcdefghij")},
      {TEXT("abcdefghij"), 64, 101, true, TEXT("abcdef..."), true, TEXT("...efghij")},
      {TEXT("abcdefghij"), 64, 42, true, TEXT("a..."), true, TEXT("...j")},
      {TEXT("abcdefghij"), 64, 31, false, TEXT("abcdefghij"), false, TEXT("abcdefghij")},
      {TEXT("abcdefghij"), 7, 101, true, TEXT("abc..."), true, TEXT("...hij")},
      {TEXT("abcdefghij"), -5, 101, false, TEXT("abcdefghij"), false, TEXT("abcdefghij")},
      {TEXT("ab\U0001d11e\U0001d122"), 64, 57, true, TEXT("ab..."), true, TEXT("...\U0001d122")},
      {TEXT(""), 64, 1, false, TEXT(""), false, TEXT("")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    Text tail = row.text, head = row.text;
    tail.resize(64);
    head.resize(64);
    EXPECT_EQ(QvCalcStringEllipsis(nullptr, tail.data(), row.capacity, row.width), row.tail);
    EXPECT_EQ(Text(tail.c_str()), row.tailText);
    EXPECT_EQ(QvCalcStringEllipsisFromEnd(nullptr, head.data(), row.capacity, row.width), row.head);
    EXPECT_EQ(Text(head.c_str()), row.headText);
  }
  Text longText(2000, TEXT('x'));
  EXPECT_TRUE(QvCalcStringEllipsis(nullptr, longText.data(), 2001, 10002));
  EXPECT_EQ(Text(longText.c_str()).size(), 1000u);
  fake.failing = true;
  EXPECT_FALSE(QvCalcStringEllipsisFromEnd(nullptr, longText.data(), 2001, 10));
}

TEST_F(WindowTexts, ComposeStr) {
  WCHAR text[32];
  EXPECT_EQ(QvComposeStr(text, 32, TEXT("%2 of %1"), TEXT("ten"), TEXT("three")), 12u);
  EXPECT_EQ(Text(text), TEXT("three of ten"));
  EXPECT_EQ(QvComposeStr(text, 32, TEXT("%1!d!%% %2!04x! %3!5s!|"), 7, 0xabu, TEXT("x")), 14u);
  EXPECT_EQ(Text(text), TEXT("7% 00ab     x|"));
  EXPECT_EQ(QvComposeStr(text, 5, TEXT("%1"), TEXT("too long")), 0u);
  EXPECT_EQ(QvComposeStr(text, 32, TEXT("end%0 unseen")), 3u);
}

}  // namespace
