// What the locale operations promise, on both builds. Values are the ones that Windows documents for its
// locales; GetNumberFormatW is asked with explicit rules, as the toolkit asks it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "qv/platform/locale.h"

namespace {

using Text = std::basic_string<WCHAR>;

Text fact(LCID locale, LCTYPE type) {
  WCHAR text[128] = {};
  return GetLocaleInfoW(locale, type, text, 128) ? Text(text) : Text(TEXT("(failed)"));
}

TEST(LocaleContract, ValuesOfTheToolkitsLocales) {
  struct Row {
    LCID locale;
    const WCHAR *thousand, *decimal, *grouping, *list, *abbreviation, *country;
  };
  const Row rows[] = {
      {0x0409, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("ENU"), TEXT("1")},
      {0x0411, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("JPN"), TEXT("81")},
      {0x0407, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("DEU"), TEXT("49")},
      {0x040a, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("ESP"), TEXT("34")},
      {0x040c, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("FRA"), TEXT("33")},
      {0x0804, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("CHS"), TEXT("86")},
      {0x0404, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("CHT"), TEXT("886")},
      {0x0406, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("DAN"), TEXT("45")},
      {0x040b, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("FIN"), TEXT("358")},
      {0x0410, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("ITA"), TEXT("39")},
      {0x0412, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("KOR"), TEXT("82")},
      {0x0413, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("NLD"), TEXT("31")},
      {0x0414, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("NOR"), TEXT("47")},
      {0x0416, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("PTB"), TEXT("55")},
      {0x0816, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("PTG"), TEXT("351")},
      {0x0419, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("RUS"), TEXT("7")},
      {0x041d, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("SVE"), TEXT("46")},
      {0x0415, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("PLK"), TEXT("48")},
      {0x0809, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("ENG"), TEXT("44")},
      {0x0807, TEXT("\u2019"), TEXT("."), TEXT("3;0"), TEXT(";"), TEXT("DES"), TEXT("41")},
      {0x0c0c, TEXT("\u00a0"), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("FRC"), TEXT("1")},
      {0x0439, TEXT(","), TEXT("."), TEXT("3;2;0"), TEXT(","), TEXT("HIN"), TEXT("91")},
      {0x041f, TEXT("."), TEXT(","), TEXT("3;0"), TEXT(";"), TEXT("TRK"), TEXT("90")},
      {0x0401, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(";"), TEXT("ARA"), TEXT("966")},
      {0x040d, TEXT(","), TEXT("."), TEXT("3;0"), TEXT(","), TEXT("HEB"), TEXT("972")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.locale);
    EXPECT_EQ(fact(row.locale, LOCALE_STHOUSAND), row.thousand);
    EXPECT_EQ(fact(row.locale, LOCALE_SDECIMAL), row.decimal);
    EXPECT_EQ(fact(row.locale, LOCALE_SGROUPING), row.grouping);
    EXPECT_EQ(fact(row.locale, LOCALE_SLIST), row.list);
    EXPECT_EQ(fact(row.locale, LOCALE_SABBREVLANGNAME), row.abbreviation);
    EXPECT_EQ(fact(row.locale, LOCALE_ICOUNTRY), row.country);
    EXPECT_EQ(fact(row.locale, LOCALE_SNEGATIVESIGN), TEXT("-"));
    EXPECT_EQ(fact(row.locale, LOCALE_IMEASURE), row.locale == 0x0409 ? TEXT("1") : TEXT("0"));
  }
}

TEST(LocaleContract, NamesAndNumbers) {
  EXPECT_EQ(fact(0x0407, LOCALE_SENGLANGUAGE), TEXT("German"));
  EXPECT_EQ(fact(0x0407, LOCALE_SENGCOUNTRY), TEXT("Germany"));
  EXPECT_EQ(fact(0x0407, LOCALE_SNAME), TEXT("de-DE"));
  EXPECT_EQ(fact(0x0412, LOCALE_SENGCOUNTRY), TEXT("Korea"));
  EXPECT_EQ(fact(0x0415, LOCALE_ILANGUAGE), TEXT("0415"));
  EXPECT_EQ(fact(0x0415, LOCALE_IDEFAULTANSICODEPAGE), TEXT("1250"));
  DWORD page = 0;
  EXPECT_EQ(GetLocaleInfoW(0x0411, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                           reinterpret_cast<LPWSTR>(&page), 2),
            2);
  EXPECT_EQ(page, 932u);
}

TEST(LocaleContract, FailuresOfGetLocaleInfo) {
  WCHAR text[8] = {};
  EXPECT_EQ(GetLocaleInfoW(0x0409, LOCALE_SDECIMAL, nullptr, 0), 2);
  EXPECT_EQ(GetLocaleInfoW(0x0409, LOCALE_SENGCOUNTRY, text, 8), 0);
  EXPECT_EQ(GetLastError(), 122u);
  EXPECT_EQ(GetLocaleInfoW(0x9999, LOCALE_SDECIMAL, text, 8), 0);
  EXPECT_EQ(GetLastError(), 87u);
  EXPECT_EQ(GetLocaleInfoW(0x0409, 0x6fff, text, 8), 0);
  EXPECT_EQ(GetLastError(), 1004u);
}

Text formatted(const WCHAR* value, UINT places, UINT grouping, UINT leadingZero = 1, UINT negativeOrder = 1) {
  WCHAR point[] = TEXT("."), comma[] = TEXT(","), text[80] = {};
  const NUMBERFMTW format = {places, leadingZero, grouping, point, comma, negativeOrder};
  return GetNumberFormatW(0x0409, 0, value, &format, text, 80) ? Text(text) : Text(TEXT("(failed)"));
}

TEST(LocaleContract, NumberFormat) {
  struct Row {
    const WCHAR* value;
    UINT places, grouping, leadingZero, negativeOrder;
    const WCHAR* text;
  };
  const Row rows[] = {
      {TEXT("1234567"), 0, 3, 1, 1, TEXT("1,234,567")},
      {TEXT("1234567890"), 0, 32, 1, 1, TEXT("1,23,45,67,890")},
      {TEXT("1234567890"), 0, 30, 1, 1, TEXT("1234567,890")},
      {TEXT("1234567"), 0, 0, 1, 1, TEXT("1234567")},
      {TEXT("0001234.5"), 1, 3, 1, 1, TEXT("1,234.5")},
      {TEXT("999.994"), 2, 3, 1, 1, TEXT("999.99")},
      {TEXT("99.995"), 2, 3, 1, 1, TEXT("100.00")},
      {TEXT("0.5"), 2, 3, 0, 1, TEXT(".50")},
      {TEXT("0.5"), 0, 3, 1, 1, TEXT("1")},
      {TEXT("-0.001"), 2, 3, 1, 1, TEXT("-0.00")},
      {TEXT("5."), 1, 3, 1, 1, TEXT("5.0")},
      {TEXT("-1234.5"), 1, 3, 1, 0, TEXT("(1,234.5)")},
      {TEXT("-1234.5"), 1, 3, 1, 1, TEXT("-1,234.5")},
      {TEXT("-1234.5"), 1, 3, 1, 2, TEXT("- 1,234.5")},
      {TEXT("-1234.5"), 1, 3, 1, 3, TEXT("1,234.5-")},
      {TEXT("-1234.5"), 1, 3, 1, 4, TEXT("1,234.5 -")},
      {TEXT("12345678901234567890123"), 0, 3, 1, 1, TEXT("12,345,678,901,234,567,890,123")},
      {TEXT("+1"), 0, 3, 1, 1, TEXT("(failed)")},
      {TEXT(" 1"), 0, 3, 1, 1, TEXT("(failed)")},
      {TEXT("1.2.3"), 0, 3, 1, 1, TEXT("(failed)")},
      {TEXT("-1"), 0, 3, 1, 5, TEXT("(failed)")},
  };
  for (const Row& row : rows)
    EXPECT_EQ(formatted(row.value, row.places, row.grouping, row.leadingZero, row.negativeOrder), row.text);
}

TEST(LocaleContract, NumberFormatCapacity) {
  WCHAR point[] = TEXT("."), comma[] = TEXT(","), text[10] = {};
  const NUMBERFMTW format = {0, 1, 3, point, comma, 1};
  EXPECT_EQ(GetNumberFormatW(0x0409, 0, TEXT("1234567"), &format, nullptr, 0), 10);
  EXPECT_EQ(GetNumberFormatW(0x0409, 0, TEXT("1234567"), &format, text, 9), 0);
  EXPECT_EQ(GetLastError(), 122u);
  EXPECT_EQ(GetNumberFormatW(0x0409, 0, TEXT("1234567"), &format, text, 10), 10);
}

TEST(LocaleContract, ThreadLocale) {
  ASSERT_TRUE(SetThreadLocale(0x0407));
  EXPECT_EQ(GetThreadLocale(), 0x0407u);
  EXPECT_FALSE(SetThreadLocale(0x9999));
  EXPECT_EQ(GetThreadLocale(), 0x0407u);
  EXPECT_EQ(ConvertDefaultLocale(0x0007), 0x0407u);
  EXPECT_EQ(ConvertDefaultLocale(LOCALE_USER_DEFAULT), GetUserDefaultLCID());
  SetThreadLocale(GetUserDefaultLCID());
}

}  // namespace
