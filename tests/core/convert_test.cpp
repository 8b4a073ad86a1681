#include "qv/core/convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "qv/core/detail/language_text.h"
#include "tests/core/text_support.h"

namespace {

using qvtest::LocaleInForce;
using qvtest::Text;

// What a conversion into a buffer gives.
template <typename Convert>
Text converted(Convert convert) {
  WCHAR text[400] = {};
  const int32_t length = convert(text);
  EXPECT_EQ(static_cast<size_t>(length), Text(text).size());
  return text;
}

// ---- Numbers to text

TEST(Convert, Integers) {
  EXPECT_EQ(converted([](WCHAR* t) { return QvDWordToText(0, t, 1); }), TEXT("0"));
  EXPECT_EQ(converted([](WCHAR* t) { return QvDWordToText(UINT32_MAX, t, 1); }), TEXT("4,294,967,295"));
  EXPECT_EQ(converted([](WCHAR* t) { return QvLongToText(INT32_MIN, t, 0); }), TEXT("-2147483648"));
  EXPECT_EQ(converted([](WCHAR* t) { return QvLongLongToText(INT64_MIN, t, 1); }),
            TEXT("-9,223,372,036,854,775,808"));
  EXPECT_EQ(converted([](WCHAR* t) { return QvDWordLongToText(UINT64_MAX, t, 0); }),
            TEXT("18446744073709551615"));
}

TEST(Convert, IntegersAroundEveryPowerOfTen) {
  uint64_t power = 1;
  for (int digits = 1; digits <= 20; ++digits, power *= 10)
    for (const uint64_t value : {power - 1, power, power + 1}) {
      const std::string expected = std::to_string(value);
      EXPECT_EQ(converted([&](WCHAR* t) { return QvDWordLongToText(value, t, 0); }), qvtest::wide(expected));
      EXPECT_EQ(converted([&](WCHAR* t) { return QvDWordLongToText(value, t, 1); }).size(),
                expected.size() + (expected.size() - 1) / 3);
    }
}

TEST(Convert, CapacitiesOfIntegers) {
  WCHAR text[16] = {TEXT('x')};
  EXPECT_EQ(QvLongToTextN(5, text, 1, 0), 0);
  EXPECT_EQ(QvLongToTextN(5, text, 0, 0), 0);
  EXPECT_EQ(text[0], TEXT('x'));
  EXPECT_EQ(QvLongToTextN(0, text, 2, 0), 1);
  EXPECT_EQ(Text(text), TEXT("0"));
  EXPECT_EQ(QvLongToTextN(-1234, text, 6, 1), 0);
  EXPECT_EQ(Text(text), TEXT("-1,23"));
  EXPECT_EQ(QvLongToTextN(-1234, text, 7, 1), 6);
  EXPECT_EQ(QvDWordLongToTextN(12345, text, 5, 0), 0);
}

TEST(Convert, Doubles) {
  struct Row {
    double value;
    int32_t places, grouped;
    const WCHAR* text;
  };
  const Row rows[] = {
      {1234.567, 2, 0, TEXT("1234.57")},
      {1234.567, 2, 1, TEXT("1,234.57")},
      {-0.5, 0, 0, TEXT("-1")},
      {0.999, 2, 0, TEXT("1.00")},
      {-0.001, 2, 0, TEXT("0.00")},
      {-0.06, 1, 0, TEXT("-0.1")},
      {3.25, 12, 0, TEXT("3.25000000")},
      {7, -3, 0, TEXT("7")},
      {0.05, 1, 0, TEXT("0.1")},
      {9007199254740993.0, 1, 1, TEXT("9,007,199,254,740,992.0")},
      {1e22, 2, 1, TEXT("10,000,000,000,000,000,000,000.00")},
  };
  for (const Row& row : rows)
    EXPECT_EQ(converted([&](WCHAR* t) { return QvDoubleToText(t, row.value, row.places, row.grouped); }),
              row.text);
  WCHAR text[8];
  EXPECT_EQ(QvDoubleToTextN(text, 7, 1234.5, 2, 0), 0);
  EXPECT_EQ(QvDoubleToTextN(text, 8, 1234.5, 2, 0), 7);
  EXPECT_EQ(
      converted([](WCHAR* t) { return QvDoubleToText(t, std::numeric_limits<double>::infinity(), 2, 1); }),
      TEXT("inf"));
  EXPECT_EQ(converted([](WCHAR* t) { return QvDoubleToText(t, -1e308, 8, 0); }).size(), 1u + 309 + 9);
}

TEST(Convert, NumberFormatters) {
  struct Row {
    const WCHAR *text, *whole, *decimal, *group;
  };
  const Row rows[] = {
      {TEXT("1234567"), TEXT("1.234.567"), TEXT("1234567"), TEXT("1.234.567")},
      {TEXT("-1234.5"), TEXT("-1.235"), TEXT("-1234,5"), TEXT("-1.234,5")},
      {TEXT("  +999.5x"), TEXT("  +1.000x"), TEXT("  +999,5x"), TEXT("  +999,5x")},
      {TEXT("0"), TEXT("0"), TEXT("0"), TEXT("0")},
      {TEXT("0.25"), TEXT("0"), TEXT("0,25"), TEXT("0,25")},
      {TEXT("007"), TEXT("007"), TEXT("007"), TEXT("007")},
      {TEXT("-0012"), TEXT("-12"), TEXT("-12"), TEXT("-12")},
      {TEXT("99999.5"), TEXT("100.000"), TEXT("99999,5"), TEXT("99.999,5")},
      {TEXT(""), TEXT(""), TEXT(""), TEXT("")},
      {TEXT("inf"), TEXT("inf"), TEXT("inf"), TEXT("inf")},
      {TEXT("-nan"), TEXT("-nan"), TEXT("-nan"), TEXT("-nan")},
      {TEXT("/5"), TEXT("/5"), TEXT("/5"), TEXT("/5")},
  };
  const LocaleInForce german(TEXT("."), TEXT(","));
  for (const Row& row : rows) {
    EXPECT_EQ(converted([&](WCHAR* t) { return QvFormatNumber(row.text, t, 400); }), row.whole);
    EXPECT_EQ(converted([&](WCHAR* t) { return QvFormatDecimalNumber(row.text, t, 400); }), row.decimal);
    EXPECT_EQ(converted([&](WCHAR* t) { return QvFormatGroupDecimalNumber(row.text, t, 400, -1); }),
              row.group);
  }
  const auto places = [](const WCHAR* text, int32_t count) {
    return converted([&](WCHAR* t) { return QvFormatGroupDecimalNumber(text, t, 400, count); });
  };
  EXPECT_EQ(places(TEXT("1999.995"), 2), TEXT("2.000,00"));
  EXPECT_EQ(places(TEXT("1999.994"), 2), TEXT("1.999,99"));
  EXPECT_EQ(places(TEXT("0.095"), 2), TEXT("0,10"));
  EXPECT_EQ(places(TEXT("12"), 12), TEXT("12,000000000000"));
  EXPECT_EQ(places(TEXT("0.1234567890125"), 12), TEXT("0,123456789013"));
  WCHAR text[8];
  EXPECT_EQ(QvFormatNumber(TEXT("1234567"), text, 8), 0);
  EXPECT_EQ(Text(text), TEXT("1.234.5"));
  // A number beyond any double stays as it is, ungrouped.
  const Text endless(5000, TEXT('7'));
  EXPECT_EQ(QvFormatNumber(endless.c_str(), std::vector<WCHAR>(6000).data(), 6000), 5000);
}

// ---- Text to numbers

TEST(Convert, IntegerParsers) {
  const WCHAR* end = nullptr;
  const WCHAR* text = TEXT(" \t-1,234,567.9 rest");
  EXPECT_EQ(QvTextToLongToken(text, &end), -1234567);
  EXPECT_EQ(Text(end), TEXT(" rest"));
  EXPECT_EQ(QvTextToDWordToken(TEXT("-5"), nullptr), 0u);
  EXPECT_EQ(QvTextToDWordToken(TEXT("4294967296"), nullptr), UINT32_MAX);
  EXPECT_EQ(QvTextToLongToken(TEXT("-99999999999"), nullptr), INT32_MIN);
  EXPECT_EQ(QvTextToLongLongToken(TEXT("-9223372036854775808"), nullptr), INT64_MIN);
  EXPECT_EQ(QvTextToDWordLongToken(TEXT("99999999999999999999"), nullptr), UINT64_MAX);
  EXPECT_EQ(QvTextToLongToken(TEXT("10-20"), &end), 10);
  EXPECT_EQ(Text(end), TEXT("-20"));
  // 64 characters are read, no more.
  const Text zeros = Text(64, TEXT('0')) + TEXT("5");
  EXPECT_EQ(QvTextToLongToken(zeros.c_str(), &end), 0);
  EXPECT_EQ(Text(end), TEXT("5"));
}

TEST(Convert, HexParsers) {
  const WCHAR* end = nullptr;
  EXPECT_EQ(QvHexToDWordToken(TEXT(" 0XdeadBEEFg"), &end), 0xdeadbeefu);
  EXPECT_EQ(Text(end), TEXT("g"));
  EXPECT_EQ(QvHexToDWordToken(TEXT("123456789"), nullptr), UINT32_MAX);
  EXPECT_EQ(QvHexToDWordLongToken(TEXT("0x123456789abcdef0"), nullptr), 0x123456789abcdef0u);
  EXPECT_EQ(QvHexToDWordTokenEx(TEXT("zz"), 9, 0, 20, nullptr), 9u);
  EXPECT_EQ(QvHexToDWordLongTokenEx(TEXT("ff"), 0, 0, 20, nullptr), 20u);
}

TEST(Convert, DoubleParsers) {
  const LocaleInForce german(TEXT("."), TEXT(","), 3, TEXT("\u2212"));
  const WCHAR* end = nullptr;
  EXPECT_EQ(QvTextToDoubleToken(TEXT("-1.234,5 m"), &end, 1), -1234.5);
  EXPECT_EQ(Text(end), TEXT(" m"));
  EXPECT_EQ(QvTextToDoubleToken(TEXT("\u22121.234,5"), nullptr, 1), -1234.5);
  EXPECT_EQ(QvTextToDoubleToken(TEXT("1,234.5"), nullptr, 0), 1234.5);
  EXPECT_EQ(QvTextToDoubleToken(TEXT(".5"), nullptr, 0), 0.5);
  EXPECT_EQ(QvTextToDoubleTokenEx(TEXT("1,5"), 0, 0, 1, nullptr, 1), 1.0);
  EXPECT_EQ(QvTextToDoubleTokenEx(TEXT("none"), 0.25, 0, 1, nullptr, 1), 0.25);
}

TEST(Convert, DefaultsAndRanges) {
  EXPECT_EQ(QvTextToDWordTokenEx(TEXT("abc"), 7, 0, 100, nullptr), 7u);
  EXPECT_EQ(QvTextToDWordTokenEx(TEXT("0"), 7, 0, 100, nullptr), 0u);
  EXPECT_EQ(QvTextToDWordTokenEx(TEXT(""), 7, 1, 100, nullptr), 1u);
  EXPECT_EQ(QvTextToLongTokenEx(TEXT("0 dB"), 7, -10, 10, nullptr), 0);
  EXPECT_EQ(QvTextToLongTokenEx(TEXT("-50"), 7, -10, 10, nullptr), -10);
  EXPECT_EQ(QvTextToLongLongTokenEx(TEXT("x"), 500, -10, 10, nullptr), 10);
  EXPECT_EQ(QvTextToDWordLongTokenEx(TEXT("12"), 0, 0, 10, nullptr), 10u);
}

TEST(Convert, WhatWasWrittenReadsBack) {
  const struct {
    const WCHAR *thousand, *decimal;
  } locales[] = {{TEXT(","), TEXT(".")},      {TEXT("."), TEXT(",")}, {TEXT("\u00a0"), TEXT(",")},
                 {TEXT("\u2019"), TEXT(".")}, {TEXT(" "), TEXT(",")}, {TEXT("::"), TEXT("<>")}};
  for (const auto& row : locales) {
    const LocaleInForce locale(row.thousand, row.decimal);
    for (const int64_t value :
         {int64_t{0}, int64_t{-1}, int64_t{1234567}, INT64_MAX, INT64_MIN, int64_t{-1000}}) {
      WCHAR text[80];
      QvLongLongToTextN(value, text, 80, 1);
      EXPECT_EQ(QvTextToLongLongToken(text, nullptr), value);
      QvDoubleToTextN(text, 80, static_cast<double>(value % 1000000) / 4, 2, 1);
      EXPECT_EQ(QvTextToDoubleToken(text, nullptr, 1), static_cast<double>(value % 1000000) / 4);
    }
  }
}

// ---- Colours and codes

TEST(Convert, Colors) {
  struct Row {
    const WCHAR* text;
    COLORREF color;
    const WCHAR* rest;
  };
  const Row rows[] = {
      {TEXT("#102030;"), 0x302010, TEXT(";")},
      {TEXT("RGB(16, 32, 48)"), 0x302010, TEXT("")},
      {TEXT("rgb ( 16 ,32,48 ) x"), 0x302010, TEXT(" x")},
      {TEXT("RGB(300,0,0)"), 0, TEXT("")},
      {TEXT("RGB(1,2)"), kUnreadableColor, TEXT(")")},
      {TEXT("RGB 1,2,3"), kUnreadableColor, TEXT("1,2,3")},
      {TEXT("0x00302010"), 0x302010, TEXT("")},
      {TEXT(" 3153936"), 0x302010, TEXT("")},
      {TEXT("#fffffff"), 0xffffff, TEXT("")},
      {TEXT("#"), kUnreadableColor, TEXT("")},
      {TEXT("#0"), 0, TEXT("")},
      {TEXT("blue"), kUnreadableColor, TEXT("blue")},
      {TEXT(""), kUnreadableColor, TEXT("")},
  };
  for (const Row& row : rows) {
    const WCHAR* end = nullptr;
    EXPECT_EQ(QvTextToColorrefToken(row.text, &end), row.color);
    EXPECT_EQ(Text(end), row.rest);
    EXPECT_EQ(QvTextToColorref(row.text), row.color);
  }
}

TEST(Convert, ColorsReadBackInEveryStyle) {
  const WCHAR* expected[] = {TEXT("0x00302010"), TEXT("#102030"), TEXT("RGB(16,32,48)")};
  for (int32_t style = 0; style < 3; ++style) {
    EXPECT_EQ(converted([&](WCHAR* t) { return QvColorrefToText(t, 400, 0x302010, style); }),
              expected[style]);
    for (const COLORREF color : {0u, 1u, 0xffu, 0xff00u, 0xff0000u, 0xffffffu, 0x302010u}) {
      WCHAR text[32];
      uint32_t length = 0;
      QvColorrefToTextEx(text, 32, &length, color, style);
      EXPECT_EQ(length, Text(text).size());
      EXPECT_EQ(QvTextToColorref(text), color);
    }
  }
  EXPECT_EQ(converted([](WCHAR* t) { return QvColorrefToText(t, 400, 0, 0); }), TEXT("0x00000000"));
}

TEST(Convert, FourCCAndGuid) {
  WCHAR text[40];
  QvFourCCToString(0x1f56'4441, text);
  EXPECT_EQ(Text(text), TEXT("ADV."));
  const GUID guid = {0x3f2504e0, 0x4f89, 0x11d3, {0x9a, 0x0c, 0x03, 0x05, 0xe8, 0x2c, 0x33, 0x01}};
  EXPECT_EQ(QvGuidToString(guid, text, 40), 0);
  EXPECT_EQ(Text(text), TEXT("3f2504e0-4f89-11d3-9a0c-0305e82c3301"));
  GUID read = {};
  EXPECT_EQ(QvGuidFromString(TEXT("3F2504E0-4f89-11D3-9a0c-0305e82c3301 etc"), &read), 0);
  EXPECT_EQ(memcmp(&read, &guid, sizeof guid), 0);
  for (const WCHAR* bad :
       {TEXT(""), TEXT("{3f2504e0-4f89-11d3-9a0c-0305e82c3301}"), TEXT("3f2504e0-4f89-11d3-9a0c-0305e82c33"),
        TEXT("3f2504e0-4f89-11d3-9a0c0305e82c3301")})
    EXPECT_EQ(QvGuidFromString(bad, &read), static_cast<HRESULT>(0x80004005u));
}

// ---- Levels

TEST(Convert, Levels) {
  EXPECT_EQ(Text(QvGetLabeledStringFixed(-125, 1, -1000, TEXT(" dB"))), TEXT("-12.5 dB"));
  EXPECT_EQ(Text(QvGetLabeledStringFixed(-1000, 1, -1000, TEXT(" dB"))), TEXT("-Inf."));
  EXPECT_EQ(Text(QvGetLabeledStringFixed(-5, 0, 0, nullptr)), TEXT("-5"));
  EXPECT_EQ(Text(QvGetLabeledStringFixed(1234567, 12, 0, nullptr)), TEXT("0.001234567"));
  EXPECT_EQ(Text(QvGetdBStringFixed(1234567, 2, 0, 1)), TEXT("12,345.67 dB"));
  EXPECT_EQ(Text(QvGetLabeledStringFixed(5, 0, 0, TEXT(" a label that doesn't fit"))), TEXT("5"));
  EXPECT_EQ(Text(QvGetLabeledStringFixed(5, 0, 0, TEXT("1234567890123456789012"))),
            TEXT("51234567890123456789012"));
  EXPECT_EQ(Text(QvGetdBStringFloat(-6.02f, 2, -90.0f, 1)), TEXT("-6.02 dB"));
  EXPECT_EQ(Text(QvGetdBStringFloat(-90.0f, 2, -90.0f, 1)), TEXT("-Inf."));
  EXPECT_EQ(Text(QvGetLabeledStringFloat(-6.9f, 0, 0, nullptr)), TEXT("-6"));
  EXPECT_EQ(Text(QvGetLabeledStringFloat(1e30f, 0, 0, nullptr)), TEXT("2,147,483,647"));
  const WCHAR* first = QvGetdBStringFixed(1, 0, 0, 0);
  const WCHAR* second = QvGetdBStringFixed(2, 0, 0, 0);
  EXPECT_EQ(Text(first) + Text(second), TEXT("12"));  // the first outlives the second
}

TEST(Convert, LevelsWithoutARing) {
  constexpr qv::LanguageSource kNoRing = {nullptr, [](uint32_t) { return static_cast<WCHAR*>(nullptr); },
                                          nullptr};
  qv::setLanguageSource(&kNoRing);
  EXPECT_EQ(Text(QvGetdBStringFixed(1, 0, 0, 1)), TEXT("Err."));
  qv::setLanguageSource(nullptr);
}

// ---- Names

TEST(Convert, StereoNames) {
  struct Row {
    const WCHAR *name, *left, *right;
  };
  const Row rows[] = {
      {TEXT("Line 1/2"), TEXT("Line 1"), TEXT("Line 2")},
      {TEXT("Out 3/4 Main"), TEXT("Out 3 Main"), TEXT("Out 4 Main")},
      {TEXT("In 1/2/"), TEXT("In 1"), TEXT("In 2")},
      {TEXT("Device 7 Bus 8"), TEXT("Device 7"), TEXT("Device 8")},
      {TEXT("USB 2 Out 9-10"), TEXT("USB 2 Out 9"), TEXT("USB 2 Out 10")},
      {TEXT("S/PDIF"), TEXT("S/PDIF - Left"), TEXT("S/PDIF - Right")},
      {TEXT("A/B/C"), TEXT("A/B/C - Left"), TEXT("A/B/C - Right")},
      {TEXT("Main"), TEXT("Main - Left"), TEXT("Main - Right")},
      {TEXT("Left/Right In"), TEXT("Left In"), TEXT("Right In")},
      {TEXT("Line L/Line R"), TEXT("Line L"), TEXT("Line R")},
      {TEXT("S/PDIF L/R"), TEXT("S/PDIF L"), TEXT("S/PDIF R")},
      {TEXT("Front Left"), nullptr, nullptr},
      {TEXT("far rIGHT"), nullptr, nullptr},
  };
  for (const Row& row : rows) {
    WCHAR left[64] = TEXT("l"), right[64] = TEXT("r");
    EXPECT_EQ(QvChannelizeStereoName(row.name, left, 64, right, 64), row.left != nullptr);
    EXPECT_EQ(Text(left), row.left ? row.left : TEXT("l"));
    EXPECT_EQ(Text(right), row.right ? row.right : TEXT("r"));
  }
  WCHAR left[4], right[4];
  EXPECT_TRUE(QvChannelizeStereoName(TEXT("Line 1/2"), left, 4, right, 1));
  EXPECT_EQ(Text(left) + Text(right), TEXT("Lin"));
  EXPECT_TRUE(QvChannelizeStereoName(Text(5000, TEXT('x')).c_str(), left, 4, right, 4));
}

TEST(Convert, Names) {
  WCHAR text[32] = TEXT(" \t a b \u3000");
  EXPECT_EQ(QvStripWhiteSpace(text), 3);
  EXPECT_EQ(Text(text), TEXT("a b"));
  EXPECT_EQ(QvStringReplaceChars(text, TEXT(' '), TEXT('_')), 3);
  EXPECT_EQ(Text(text), TEXT("a_b"));
  EXPECT_EQ(QvPrepareName(TEXT("  name \t"), text, 32), text);
  EXPECT_EQ(Text(text), TEXT("name"));
  EXPECT_EQ(QvPrepareName(TEXT("name"), text, 3), text);
  EXPECT_EQ(Text(text), TEXT("na"));
  EXPECT_EQ(QvPrepareName(TEXT("   "), text, 32), nullptr);
  EXPECT_EQ(QvFixNameForMenu(text, TEXT("R&B & more"), 32), 12);
  EXPECT_EQ(Text(text), TEXT("R&&B && more"));
  EXPECT_EQ(QvFixNameForMenu(text, TEXT("R&B"), 3), 1);
  EXPECT_EQ(Text(text), TEXT("R"));
}

// ---- Sizes

TEST(Convert, FileSizes) {
  struct Row {
    int64_t size;
    const WCHAR* text;
  };
  const Row rows[] = {
      {-5, TEXT("0 B")},
      {0, TEXT("0 B")},
      {998, TEXT("998 B")},
      {999, TEXT("0.97 KB")},
      {1024, TEXT("1 KB")},
      {2355, TEXT("2.29 KB")},
      {1024 * 23 / 10 * 10, TEXT("22.9 KB")},
      {102400, TEXT("100 KB")},
      {1024 * 250 + 512, TEXT("250 KB")},
      {0xf9c00 - 1, TEXT("998 KB")},
      {0xf9c00, TEXT("0.97 MB")},
      {int64_t{3} << 29, TEXT("1.5 GB")},
      {int64_t{5} << 40, TEXT("5 TB")},
      {int64_t{7} << 50, TEXT("7 PB")},
      {int64_t{3} << 60, TEXT("3 EB")},
      {INT64_MAX, TEXT("> 9 YB")},
  };
  for (const Row& row : rows)
    EXPECT_EQ(converted([&](WCHAR* t) { return QvFormatFileSize(row.size, t, 400, 0); }), row.text)
        << row.size;
  EXPECT_EQ(converted([](WCHAR* t) { return QvFormatFileSize(512, t, 400, 1); }), TEXT("512 bytes"));
  WCHAR text[4];
  EXPECT_EQ(QvFormatFileSize(512, text, 4, 0), 0);
  const LocaleInForce german(TEXT("."), TEXT(","));
  EXPECT_EQ(converted([](WCHAR* t) { return QvFormatFileSize(1536, t, 400, 0); }), TEXT("1,5 KB"));
}

TEST(Convert, ByteSizes) {
  struct Row {
    uint64_t size;
    const WCHAR *tight, *wordy, *spaced;
  };
  const Row rows[] = {
      {0, TEXT("0"), TEXT("0 bytes"), TEXT("0")},
      {1023, TEXT("1023"), TEXT("1023 bytes"), TEXT("1023")},
      {1536, TEXT("1.50KB"), TEXT("1.50 KB"), TEXT("1.50 KB")},
      {1023999, TEXT("1,000.00KB"), TEXT("1,000.00 KB"), TEXT("1,000.00 KB")},
      {1024000, TEXT("1.00MB"), TEXT("1.00 MB"), TEXT("1.00 MB")},
      {1024000000, TEXT("1.00GB"), TEXT("1.00 GB"), TEXT("1.00 GB")},
      {5120000000000, TEXT("5,000.00GB"), TEXT("5,000.00 GB"), TEXT("5,000.00 GB")},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(converted([&](WCHAR* t) { return QvGetByteSizeText(row.size, t); }), row.tight);
    EXPECT_EQ(converted([&](WCHAR* t) { return QvGetByteSizeText2(row.size, t); }), row.wordy);
    EXPECT_EQ(converted([&](WCHAR* t) { return QvGetByteSizeTextWithSpace(row.size, t); }), row.spaced);
  }
}

// ---- The record behind it all

TEST(International, FactsByIndex) {
  WCHAR text[64];
  EXPECT_EQ(QvGetInat(kInatDecimalSeparator, text), 1u);
  EXPECT_EQ(Text(text), TEXT("."));
  EXPECT_EQ(QvGetInat(25, text), 0u);
  EXPECT_EQ(text[0], 0);
  EXPECT_EQ(QvGetInat(kInatCountryNumber, nullptr), 1u);
  EXPECT_EQ(QvGetInatN(kInatEnglishLanguageName, text, 4), 3u);
  EXPECT_EQ(Text(text), TEXT("Eng"));
  EXPECT_EQ(QvGetInatN(kInatEnglishLanguageName, text, 0), 0xffffffffu);
  EXPECT_EQ(QvGetInatN(122, text, 64), 0u);
}

TEST(International, ReadFromALocale) {
  const QVINTERNATIONALS german = qv::readInternationals(0x0407);
  EXPECT_EQ(german.size, 796u);
  EXPECT_EQ(german.languageNumber, 407u);
  EXPECT_EQ(german.countryNumber, 49u);
  EXPECT_EQ(german.grouping, 3u);
  EXPECT_EQ(Text(german.englishLanguageName.text), TEXT("German"));
  EXPECT_EQ(Text(german.thousandSeparator.text) + german.decimalSeparator.text + german.listSeparator.text,
            TEXT(".,;"));
  EXPECT_EQ(Text(german.positiveSign.text), TEXT("-"));
  QVINTERNATIONALS part;
  part.lcid = 77;
  qv::copyInternationals(&part, 4);
  EXPECT_EQ(part.size, 4u);
  EXPECT_EQ(part.lcid, 77u);
}

}  // namespace
