#include "qv/platform/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "qv/platform/characters.h"

namespace {

using Text = std::basic_string<WCHAR>;

int sign(int value) {
  return (value > 0) - (value < 0);
}

TEST(Text, LengthAndCopy) {
  EXPECT_EQ(0, lstrlenW(nullptr));
  EXPECT_EQ(3, lstrlenW(TEXT("abc")));
  WCHAR buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(buffer, lstrcpynW(buffer, TEXT("abcdef"), 3));
  EXPECT_EQ(TEXT("ab"), Text(buffer));
  EXPECT_EQ('x', buffer[3]);
  lstrcpynW(buffer, TEXT("abc"), 1);
  EXPECT_EQ(0, buffer[0]);
  EXPECT_FALSE(lstrcpynW(buffer, nullptr, 4));
}

TEST(Text, ComparesByLocale) {
  struct {
    LPCWSTR a, b;
    int exact, ignoringCase;
  } cases[] = {
      {TEXT("a"), TEXT("a"), 0, 0},     {TEXT("a"), TEXT("B"), -1, -1},    {TEXT("B"), TEXT("a"), 1, 1},
      {TEXT("a"), TEXT("A"), -1, 0},    {TEXT("AB"), TEXT("ab"), 1, 0},    {TEXT("a"), TEXT("ab"), -1, -1},
      {TEXT("Abc"), TEXT("abb"), 1, 1}, {TEXT(""), TEXT("a"), -1, -1},     {TEXT("1"), TEXT("a"), -1, -1},
      {nullptr, TEXT(""), -1, -1},      {TEXT(""), nullptr, 1, 1},         {nullptr, nullptr, 0, 0},
      {TEXT("é"), TEXT("É"), -1, 0},    {TEXT("жук"), TEXT("ЖУК"), -1, 0}, {TEXT("ABC"), TEXT("abd"), -1, -1},
  };
  for (const auto& each : cases) {
    size_t row = static_cast<size_t>(&each - cases);
    EXPECT_EQ(each.exact, sign(lstrcmpW(each.a, each.b))) << "row " << row;
    EXPECT_EQ(each.ignoringCase, sign(lstrcmpiW(each.a, each.b))) << "row " << row;
  }
}

TEST(Text, ComparesByCode) {
  EXPECT_EQ(0, _wcsicmp(TEXT("Ab"), TEXT("aB")));
  EXPECT_NE(0, _wcsicmp(TEXT("é"), TEXT("É"))) << "letters of ASCII only";
  EXPECT_LT(_wcsicmp(TEXT("_"), TEXT("A")), 0) << "capitals count as small letters";
  EXPECT_EQ(0, _wcsnicmp(TEXT("ABx"), TEXT("aby"), 2));
  EXPECT_GT(_wcsnicmp(TEXT("aby"), TEXT("ABX"), 3), 0);
  EXPECT_LT(wcscmp(TEXT("B"), TEXT("a")), 0);
  EXPECT_EQ(0, wcsncmp(TEXT("abc"), TEXT("abd"), 2));
  EXPECT_EQ(2u, wcslen(TEXT("ab")));
}

TEST(Text, Searches) {
  const WCHAR* text = TEXT("abcabc");
  EXPECT_EQ(text + 1, wcschr(text, 'b'));
  EXPECT_EQ(text + 4, wcsrchr(text, 'b'));
  EXPECT_EQ(text + 2, wcsstr(text, TEXT("ca")));
  EXPECT_EQ(text, wcsstr(text, TEXT("")));
  EXPECT_EQ(text + 6, wcschr(text, 0));
  EXPECT_FALSE(wcschr(text, 'x'));
  EXPECT_FALSE(wcsrchr(text, 'x'));
  EXPECT_FALSE(wcsstr(text, TEXT("cb")));
}

TEST(Text, ReadsIntegers) {
  struct {
    LPCWSTR text;
    int value;
  } cases[] = {
      {TEXT("12"), 12},
      {TEXT(" \t\r\n+5x"), 5},
      {TEXT("-7"), -7},
      {TEXT("--7"), 0},
      {TEXT(""), 0},
      {TEXT("x"), 0},
      {TEXT("- 7"), 0},
      {TEXT("2147483647"), INT_MAX},
      {TEXT("-2147483648"), INT_MIN},
      {TEXT("007"), 7},
      {TEXT("\x3000\x2003"), 0},
      {TEXT("0x10"), 0},
  };
  for (const auto& each : cases) EXPECT_EQ(each.value, _wtoi(each.text));
}

TEST(Text, MulDivRoundsHalvesAwayFromZero) {
  struct {
    int number, numerator, denominator, result;
  } cases[] = {
      {1, 1, 2, 1},
      {-1, 1, 2, -1},
      {3, 1, -2, -2},
      {-3, 1, -2, 2},
      {4, 1, 3, 1},
      {5, 1, 3, 2},
      {-4, 1, 3, -1},
      {5, 1, 0, -1},
      {INT_MAX, 2, 1, -1},
      {INT_MIN, 1, -1, -1},
      {INT_MIN, 1, 1, -1},
      {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
      {-INT_MAX, 1, 1, -INT_MAX},
      {48000, 1001, 1000, 48048},
      {0, 5, 7, 0},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.result, MulDiv(each.number, each.numerator, each.denominator))
        << each.number << " * " << each.numerator << " / " << each.denominator;
  }
}

WCHAR upperOf(WCHAR c) {
  return static_cast<WCHAR>(reinterpret_cast<uintptr_t>(CharUpperW(reinterpret_cast<LPWSTR>(uintptr_t{c}))));
}
WCHAR lowerOf(WCHAR c) {
  return static_cast<WCHAR>(reinterpret_cast<uintptr_t>(CharLowerW(reinterpret_cast<LPWSTR>(uintptr_t{c}))));
}

// The sum over all characters was made with this very loop on the Windows build.
TEST(Text, CaseIsTheSameOnEveryBuild) {
  uint64_t sum = 0;
  int pairs = 0;
  for (uint32_t c = 1; c < 0x10000; ++c) {
    WCHAR upper = upperOf(static_cast<WCHAR>(c)), lower = lowerOf(static_cast<WCHAR>(c));
    if (upper != c) {
      ++pairs;
      EXPECT_EQ(c, lowerOf(upper));
    }
    sum = sum * 31 + upper * 65536u + lower;
  }
  EXPECT_EQ(1163, pairs);
  EXPECT_EQ(0xae11ebd484581a0du, sum);

  WCHAR text[] = TEXT("aé\0ßж");
  EXPECT_EQ(text, CharUpperW(text));
  EXPECT_EQ(Text(TEXT("AÉ")), text);
  EXPECT_EQ(5u, CharUpperBuffW(text, 5));
  EXPECT_EQ(Text(TEXT("AÉ\0ßЖ"), 5), Text(text, 5));
  EXPECT_EQ(1u, CharLowerBuffW(text, 1));
  EXPECT_EQ(Text(TEXT("aÉ")), text);
  EXPECT_EQ(Text(TEXT("aé")), CharLowerW(text));
}

TEST(Text, KnowsLetters) {
  struct {
    WCHAR c;
    bool alpha, alphaNumeric, upper, lower;
  } cases[] = {
      {'a', true, true, false, true},    {'Z', true, true, true, false},    {'7', false, true, false, false},
      {'_', false, false, false, false}, {0xe9, true, true, false, true},   {0x416, true, true, true, false},
      {0x3b1, true, true, false, true},  {' ', false, false, false, false}, {0x5d0, true, true, false, false},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.alpha, IsCharAlphaW(each.c) != 0) << int{each.c};
    EXPECT_EQ(each.alphaNumeric, IsCharAlphaNumericW(each.c) != 0) << int{each.c};
    EXPECT_EQ(each.upper, IsCharUpperW(each.c) != 0) << int{each.c};
    EXPECT_EQ(each.lower, IsCharLowerW(each.c) != 0) << int{each.c};
  }
}

TEST(Text, WhiteSpaceIsTheRunTimes) {
  std::string found;
  for (uint32_t c = 0; c < 0x10000; ++c) {
    if (qv::platform::isWhiteSpace(static_cast<WCHAR>(c))) found += std::to_string(c) + " ";
  }
  EXPECT_EQ(
      "9 10 11 12 13 32 160 5760 8192 8193 8194 8195 8196 8197 8198 8199 8200 8201 8202 8232 8233 8239 "
      "8287 12288 ",
      found);
}

// Both directions: the argument checks, which are the same, then what is converted.
TEST(CodePages, CheckTheirArguments) {
  WCHAR wide[8];
  char narrow[8];
  struct {
    UINT page;
    DWORD flags;
    bool source;
    int count;
    bool target;
    int capacity;
    int result;
    DWORD error;
  } cases[] = {
      {CP_UTF8, 0, true, -1, true, 8, 3, 0},
      {CP_UTF8, 0, true, 2, true, 2, 2, 0},
      {CP_UTF8, 0, true, 2, false, 0, 2, 0},
      {CP_ACP, 0, true, 2, true, 8, 2, 0},
      {CP_UTF8, 0, true, 2, true, 1, 0, ERROR_INSUFFICIENT_BUFFER},
      {CP_UTF8, 0, true, -1, true, 2, 0, ERROR_INSUFFICIENT_BUFFER},
      {CP_UTF8, 0, true, 0, true, 8, 0, ERROR_INVALID_PARAMETER},
      {CP_UTF8, 0, false, 2, true, 8, 0, ERROR_INVALID_PARAMETER},
      {CP_UTF8, 0, true, 2, false, 4, 0, ERROR_INVALID_PARAMETER},
      {CP_UTF8, 0, true, 2, true, -1, 0, ERROR_INVALID_PARAMETER},
      {CP_UTF8, 0x11, true, 2, true, 8, 0, ERROR_INVALID_FLAGS},
      {12345, 0, true, 2, true, 8, 0, ERROR_INVALID_PARAMETER},
  };
  for (const auto& each : cases) {
    SetLastError(0);
    EXPECT_EQ(each.result, MultiByteToWideChar(each.page, each.flags, each.source ? "ab" : nullptr,
                                               each.count, each.target ? wide : nullptr, each.capacity));
    EXPECT_EQ(each.error, GetLastError());
    SetLastError(0);
    EXPECT_EQ(each.result,
              WideCharToMultiByte(each.page, each.flags, each.source ? TEXT("ab") : nullptr, each.count,
                                  each.target ? narrow : nullptr, each.capacity, nullptr, nullptr));
    EXPECT_EQ(each.error, GetLastError());
  }
}

TEST(CodePages, ConvertUtf8) {
  struct {
    std::string bytes;
    Text text;
  } good[] = {
      {"a", TEXT("a")},
      {"\x7f\xc2\x80\xdf\xbf", TEXT("\x7f\x80\x7ff")},
      {"\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf", TEXT("\x800\xd7ff\xe000\xffff")},
      {"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", TEXT("\xd800\xdc00\xdbff\xdfff")},
      {std::string("a\0b", 3), Text(TEXT("a\0b"), 3)},
  };
  for (const auto& each : good) {
    WCHAR wide[16];
    char narrow[16];
    int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, each.bytes.data(),
                                     static_cast<int>(each.bytes.size()), wide, 16);
    EXPECT_EQ(each.text, Text(wide, static_cast<size_t>(length)));
    int bytes = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, each.text.data(),
                                    static_cast<int>(each.text.size()), narrow, 16, nullptr, nullptr);
    EXPECT_EQ(each.bytes, std::string(narrow, static_cast<size_t>(bytes)));
  }
}

TEST(CodePages, ReplaceOrRefuseMalformedText) {
  struct {
    const char* bytes;
    Text text;
  } bytes[] = {
      {"\xff", TEXT("\xfffd")},
      {"\x80\x80", TEXT("\xfffd\xfffd")},
      {"a\xc3", TEXT("a\xfffd")},
      {"\xc3(", TEXT("\xfffd(")},
      {"\xe2\x82", TEXT("\xfffd")},
      {"\xe2\x82(", TEXT("\xfffd(")},
      {"\xf0\x9f\x98x", TEXT("\xfffdx")},
      {"\xc0\xaf", TEXT("\xfffd\xfffd")},
      {"\xe0\x80\xaf", TEXT("\xfffd\xfffd")},
      {"\xed\xa0\x80", TEXT("\xfffd\xfffd")},
      {"\xf4\x90\x80\x80", TEXT("\xfffd\xfffd\xfffd")},
      {"\xf8\x88\x80\x80\x80", TEXT("\xfffd\xfffd\xfffd\xfffd\xfffd")},
  };
  for (const auto& each : bytes) {
    WCHAR wide[16];
    int length = MultiByteToWideChar(CP_UTF8, 0, each.bytes, -1, wide, 16);
    ASSERT_GT(length, 0);
    EXPECT_EQ(each.text, Text(wide, static_cast<size_t>(length) - 1));
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, each.bytes, -1, wide, 16));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, GetLastError());
  }
  struct {
    Text text;
    const char* bytes;
  } surrogates[] = {
      {TEXT("\xd800"), "\xef\xbf\xbd"},
      {TEXT("\xdc00\xd800"), "\xef\xbf\xbd\xef\xbf\xbd"},
      {Text({0xd83d, 'x'}), "\xef\xbf\xbdx"},
  };
  for (const auto& each : surrogates) {
    char narrow[16];
    WideCharToMultiByte(CP_UTF8, 0, each.text.c_str(), -1, narrow, 16, nullptr, nullptr);
    EXPECT_STREQ(each.bytes, narrow);
    EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, each.text.c_str(), -1, narrow, 16,
                                     nullptr, nullptr));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, GetLastError());
  }
}

}  // namespace
