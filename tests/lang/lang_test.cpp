#include "qv/lang/lang.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/detail/startup.h"
#include "qv/lang/international.h"
#include "qv/lang/texts.h"
#include "qv/platform/codepage.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/registry.h"

namespace {

using Text = std::basic_string<WCHAR>;
using qv::TextRecord;

// The kernel's handle and another one, as a program has them; both find lang_test.LNG.
class Lang : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(qv::initializeTokens());
    ASSERT_EQ(0, qv::startKernelLanguage(nullptr));
    ASSERT_EQ(0, QvLang_Open(&language, nullptr, 0, 2048));
    ASSERT_NE(language->languageInstance, language->mainInstance)
        << "lang_test.LNG is not beside the program";
  }
  void TearDown() override {
    EXPECT_EQ(0, QvLang_Close(language));
    qv::stopKernelLanguage();
    qv::terminateTokens();
    SetThreadLocale(LOCALE_USER_DEFAULT);
    QvLang_DisableProcessMirroring();
  }

  // A handle in a language by itself, as its LCID alone decides.
  void setLcid(LCID lcid) {
    language->lcid = lcid;
    language->slot = 0;
  }

  Text load(uint32_t number) {
    WCHAR text[64];
    const int32_t length = QvLoadString(language, number, text, 64);
    EXPECT_EQ(length, lstrlenW(text)) << number;
    return text;
  }

  HQVLANG language = nullptr;
};

const WCHAR* numbered(uintptr_t number) {
  return reinterpret_cast<const WCHAR*>(number);
}

TextRecord plainRecord() {
  static const WCHAR* const kTexts[] = {TEXT("1"),  TEXT("2"),  TEXT("3"),  TEXT("4"),  TEXT("5"),
                                        TEXT("6"),  TEXT("7"),  TEXT("8"),  TEXT("9"),  TEXT("10"),
                                        TEXT("11"), TEXT("12"), TEXT("13"), TEXT("14"), TEXT("15"),
                                        TEXT("16"), TEXT("17"), TEXT("18")};
  TextRecord record{qv::kRecordMarker, 18, 0, {}, nullptr};
  std::copy(std::begin(kTexts), std::end(kTexts), record.entries);
  return record;
}

// ---- Handles ----------------------------------------------------------------------------------------------

TEST_F(Lang, OpensOnceAndClosesNull) {
  const HQVLANG before = language;
  EXPECT_EQ(0x0004e001, QvLang_Open(&language, nullptr, 0x407, 0));
  EXPECT_EQ(before, language);
  EXPECT_EQ(0u, QvLang_GetLCID(language));
  EXPECT_EQ(0, QvLang_Close(nullptr));
  EXPECT_EQ(0u, QvLang_GetLCID(nullptr));
  EXPECT_EQ(nullptr, QvLang_InstFromLang(nullptr));
}

TEST_F(Lang, RingIsAsAskedButNotSmall) {
  const struct { uint32_t asked, size; } cases[] = {{0, 8192}, {1, 2048}, {2048, 2048}, {5000, 5000}};
  for (const auto& each : cases) {
    HQVLANG opened = nullptr;
    ASSERT_EQ(0, QvLang_Open(&opened, nullptr, 0x40c, each.asked));
    EXPECT_EQ(each.size, opened->ringSize);
    EXPECT_EQ(0x40cu, QvLang_GetLCID(opened));
    QvLang_Close(opened);
  }
}

TEST_F(Lang, OpeningWithoutMemoryLeavesNothing) {
  for (int64_t n = 1; n <= 2; ++n) {
    HQVLANG opened = nullptr;
    qv::platform::failAllocation(n);
    EXPECT_EQ(E_OUTOFMEMORY, QvLang_Open(&opened, nullptr, 0, 0)) << n;
    EXPECT_TRUE(qv::platform::allocationFailed());
    EXPECT_EQ(nullptr, opened);
  }
}

TEST_F(Lang, AModuleOfTextsAloneServesItself) {
  HQVLANG opened = nullptr;
  ASSERT_EQ(0, QvLang_Open(&opened, language->languageInstance, 0x407, 0));
  EXPECT_EQ(opened->mainInstance, opened->languageInstance);
  EXPECT_EQ(Text(TEXT("Open")), QvGetString(opened, 100)) << "English until a language is made active";
  QvLang_Close(opened);
  EXPECT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  EXPECT_EQ(Text(TEXT("Öffnen")), QvGetString(language, 100)) << "the other opening is still good";
}

// ---- Languages --------------------------------------------------------------------------------------------

TEST_F(Lang, ConditionsToTheMainCountry) {
  const struct {
    LCID lcid, conditioned;
  } cases[] = {
      {0x0404, 0x0404},     {0x0c04, 0x0404},     {0x1404, 0x0404}, {0x0804, 0x0804}, {0x1004, 0x0804},
      {0x1c04, 0x0804},     {0x0004, 0x0804},     {0x0816, 0x0816}, {0x0416, 0x0416}, {0x0016, 0x0016},
      {0x0c07, 0x0407},     {0x0809, 0x0409},     {0x080a, 0x040a}, {0x041f, 0x041f}, {0x0000, 0x0400},
      {0x00010407, 0x0407}, {0x00010804, 0x0804},
  };
  for (const auto& each : cases)
    EXPECT_EQ(each.conditioned, QvLang_GetConditionedLCID(each.lcid)) << each.lcid;
}

TEST_F(Lang, RecordsFollowTheSlot) {
  const struct {
    LCID lcid;
    const WCHAR* text;
  } cases[] = {
      {0x0409, TEXT("1")},  {0x0809, TEXT("1")},  {0x0411, TEXT("2")},  {0x0c07, TEXT("3")},
      {0x0c0a, TEXT("4")},  {0x0c0c, TEXT("5")},  {0x1004, TEXT("6")},  {0x0c04, TEXT("7")},
      {0x0406, TEXT("8")},  {0x040b, TEXT("9")},  {0x0810, TEXT("10")}, {0x0412, TEXT("11")},
      {0x0813, TEXT("12")}, {0x0414, TEXT("13")}, {0x0416, TEXT("14")}, {0x0816, TEXT("15")},
      {0x0419, TEXT("16")}, {0x081d, TEXT("17")}, {0x0415, TEXT("18")}, {0x041f, TEXT("1")},
      {0x0c16, TEXT("1")},
  };
  const TextRecord record = plainRecord();
  for (const auto& each : cases) {
    setLcid(each.lcid);
    EXPECT_EQ(Text(each.text), QvGetString(language, record)) << each.lcid;
  }
  setLcid(0);
  const Text byUser = QvGetString(language, record);
  setLcid(GetUserDefaultUILanguage());
  EXPECT_EQ(byUser, QvGetString(language, record));
  EXPECT_EQ(Text(TEXT("1")), QvGetString(nullptr, record));
}

TEST_F(Lang, AShortRecordLimitsTheSlot) {
  TextRecord record = plainRecord();
  setLcid(0x0415);
  record.count = 0x0705;  // only the low byte counts
  EXPECT_EQ(Text(TEXT("5")), QvGetString(language, record));
  record.count = 0;
  EXPECT_EQ(Text(TEXT("1")), QvGetString(language, record));
}

TEST_F(Lang, EveryOwnRecordIsWhole) {
  int32_t count = 0;
  const qv::NamedRecord* records = qv::textRecords(&count);
  ASSERT_GT(count, 300);
  std::set<const TextRecord*> seen;
  for (const qv::NamedRecord* each = records; each != records + count; ++each) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(each->record);
    EXPECT_TRUE(seen.insert(each->record).second) << each->name;
    EXPECT_EQ(0, memcmp(bytes, "\xfe\xff\x12\0\0\0\0\0", 8)) << each->name;
    EXPECT_EQ(nullptr, each->record->terminator) << each->name;
    EXPECT_TRUE(IsQVLANGSTRINGID(nullptr, reinterpret_cast<const WCHAR*>(each->record))) << each->name;
    for (const WCHAR* entry : each->record->entries) {
      ASSERT_GE(reinterpret_cast<uintptr_t>(entry), 0x10000u) << each->name;
    }
  }
  setLcid(0x0407);
  EXPECT_EQ(Text(TEXT("Hardwaremischpult")), QvGetString(language, qv::kTextHardwareMixer));
  WCHAR name[5];
  EXPECT_EQ(4, QvLoadString(language, qv::kTextHardwareMixer, name, 5));
  EXPECT_EQ(Text(TEXT("Hard")), name);
}

TEST_F(Lang, UpdatingChangesBothHandles) {
  EXPECT_EQ(0, QvLang_UpdateKernelLCID(nullptr, 0x407, 0));
  EXPECT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  EXPECT_EQ(0x407u, QvLang_GetLCID(language));
  EXPECT_EQ(0x407u, QvLang_GetLCID(qv::kernelLanguage));
  EXPECT_EQ(Text(TEXT("Hardwaremischpult")), QvGetString(qv::kernelLanguage, qv::kTextHardwareMixer));
  EXPECT_EQ(language->languageInstance, QvLang_InstFromLang(language));
  EXPECT_NE(0, qv::kernelLanguage->languageActive);
  EXPECT_EQ(1, QvLang_UpdateKernelLCID(language, 0, 0));
  EXPECT_EQ(1033u, QvLang_GetLCID(language));
  EXPECT_EQ(Text(TEXT("Hardware Mixer")), QvGetString(language, qv::kTextHardwareMixer));
  EXPECT_EQ(language->mainInstance, QvLang_InstFromLang(language));
  EXPECT_EQ(0, qv::kernelLanguage->languageActive);
}

TEST_F(Lang, ChangesTheModuleOfBothHandles) {
  const HMODULE before = language->languageInstance, kernels = qv::kernelLanguage->languageInstance;
  const HMODULE other = GetModuleHandleW(nullptr);
  EXPECT_EQ(0, QvLang_ChangeLangInst(nullptr, other));
  EXPECT_EQ(1, QvLang_ChangeLangInst(language, nullptr));
  EXPECT_EQ(before, language->languageInstance);
  EXPECT_EQ(1, QvLang_ChangeLangInst(language, other));
  EXPECT_EQ(other, language->languageInstance);
  EXPECT_EQ(other, qv::kernelLanguage->languageInstance);
  language->languageInstance = before;
  qv::kernelLanguage->languageInstance = kernels;
}

TEST_F(Lang, TurnsTheReadingDirection) {
  const struct {
    LCID lcid;
    int32_t rightToLeft;
  } cases[] = {{0x0401, 1}, {0x0409, 0}, {0x040d, 1}, {0x0420, 1}, {0x0429, 1}, {0x0411, 0},
               {0x0801, 1}, {0x042a, 0}, {0x0441, 0}, {0x044d, 0}, {0, 0}};
  for (const auto& each : cases) {
    DWORD layout = 9;
    ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, each.lcid, 0));
    EXPECT_EQ(each.rightToLeft, QvLang_UseRTL(language)) << each.lcid;
    ASSERT_TRUE(GetProcessDefaultLayout(&layout));
    EXPECT_EQ(static_cast<DWORD>(each.rightToLeft), layout) << each.lcid;
  }
  EXPECT_EQ(0, QvLang_UseRTL(nullptr));
}

TEST_F(Lang, NamesTheLanguage) {
  const struct {
    LCID lcid;
    const WCHAR* abbreviation;
    const WCHAR* help;
  } cases[] = {
      {0x0409, TEXT("ENU"), TEXT("")},      {0x0809, TEXT("ENU"), TEXT("")},
      {0x0c07, TEXT("DEU"), TEXT("de-DE")}, {0x0411, TEXT("JPN"), TEXT("ja-JP")},
      {0x0404, TEXT("CHT"), TEXT("zh-CN")}, {0x0804, TEXT("CHS"), TEXT("zh-CN")},
      {0x0816, TEXT("PTG"), TEXT("pt-BR")}, {0x0416, TEXT("PTB"), TEXT("pt-BR")},
      {0x040c, TEXT("FRA"), TEXT("fr-FR")}, {0x0412, TEXT("KOR"), TEXT("ko-KR")},
      {0x0415, TEXT("PLK"), TEXT("pl-PL")}, {0x0419, TEXT("RUS"), TEXT("ru-RU")},
      {0x040a, TEXT("ESP"), TEXT("es-ES")}, {0x0410, TEXT("ITA"), TEXT("")},
      {0x041d, TEXT("SVE"), TEXT("")},
  };
  WCHAR text[16];
  for (const auto& each : cases) {
    setLcid(each.lcid);
    EXPECT_EQ(1, QvLang_GetLangAbbrev(language, text, 16)) << each.lcid;
    EXPECT_EQ(Text(each.abbreviation), text);
    EXPECT_EQ(*each.help ? 0 : 1, QvLang_GetLangllCC(language, text, 16)) << each.lcid;
    EXPECT_EQ(Text(each.help), text);
  }
  EXPECT_EQ(0, QvLang_GetLangAbbrev(language, text, 2)) << "no room";
  EXPECT_EQ(Text(), text);
  text[0] = 'x';
  EXPECT_EQ(0, QvLang_GetLangAbbrev(nullptr, text, 16));
  EXPECT_EQ('x', text[0]);
  EXPECT_EQ(1, QvLang_GetLangllCC(language, text, 0));
  EXPECT_EQ('x', text[0]);
  EXPECT_EQ(1, QvLang_GetLangllCC(nullptr, text, 16));
  EXPECT_EQ(Text(), text);
}

TEST_F(Lang, OrdersNames) {
  WCHAR text[32];
  setLcid(0x0411);
  EXPECT_EQ(10, QvLang_LocalizeUserName(language, TEXT("Hanako"), TEXT("Abe"), text, 32));
  EXPECT_EQ(Text(TEXT("Abe Hanako")), text);
  EXPECT_EQ(6, QvLang_LocalizeUserName(language, TEXT("Hanako"), TEXT("Abe"), text, 7));
  EXPECT_EQ(Text(TEXT("Abe Ha")), text);
  setLcid(0x0811);
  EXPECT_EQ(0, QvLang_IsNameOrderReversed(language)) << "Japanese of Japan only";
  EXPECT_EQ(10, QvLang_LocalizeUserName(nullptr, TEXT("Hanako"), TEXT("Abe"), text, 32));
  EXPECT_EQ(Text(TEXT("Hanako Abe")), text);
}

TEST_F(Lang, SetsTheThreadsLocale) {
  setLcid(0x0407);
  QvLang_UpdateThreadLocale(language);
  EXPECT_EQ(0x0407u, GetThreadLocale());
}

// ---- Texts by number --------------------------------------------------------------------------------------

TEST_F(Lang, NumbersComeFromTheActiveModuleOnly) {
  language->lcid = 0x407;
  EXPECT_EQ(Text(), QvGetString(language, 100)) << "an LCID alone makes no language active";
  EXPECT_EQ(qv::kEmptyText, QvGetString(language, 100));
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  const WCHAR* german = QvGetString(language, 100);
  EXPECT_EQ(Text(TEXT("Öffnen")), german);
  EXPECT_EQ(german, QvGetString(language, 100)) << "kept";
  EXPECT_EQ(german, QvGetStringSmart(language, numbered(100)));
  EXPECT_EQ(Text(), QvGetString(language, 102))
      << "what only English has, the main instance would have to have";
  EXPECT_EQ(qv::kEmptyText, QvGetString(language, 9999));
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x411, 0));
  EXPECT_EQ(Text(TEXT("開く")), QvGetString(language, 100)) << "the cache went with the language";
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x409, 0));
  EXPECT_EQ(Text(), QvGetString(language, 100)) << "English reads the main instance";
  EXPECT_EQ(qv::kEmptyText, QvGetString(nullptr, 100));
}

TEST_F(Lang, CacheKeepsManyNumbersApart) {
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  const uint32_t numbers[] = {105, 100, 104, 101};
  std::vector<const WCHAR*> first;
  for (const uint32_t number : numbers) first.push_back(QvGetString(language, number));
  for (size_t i = 0; i < first.size(); ++i)
    EXPECT_EQ(first[i], QvGetString(language, numbers[i])) << numbers[i];
  EXPECT_EQ(std::set<const WCHAR*>(first.begin(), first.end()).size(), first.size());
  EXPECT_EQ(1023, lstrlenW(first[0])) << "cut";
}

TEST_F(Lang, TheTranslatorsMarkGoes) {
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  EXPECT_EQ(Text(TEXT("Markiert")), load(101));
  EXPECT_EQ(Text(), load(103));
  EXPECT_EQ(Text(TEXT("^")), load(104));
  EXPECT_EQ(Text(), load(4242));
  EXPECT_EQ(Text(), load(0x12345678));
  TextRecord record = plainRecord();
  record.entries[0] = record.entries[2] = TEXT("^*marked");
  WCHAR text[16];
  EXPECT_EQ(6, QvLoadString(language, record, text, 16));
  EXPECT_EQ(Text(TEXT("marked")), text);
  // A text that is cut says the capacity, less the mark.
  EXPECT_EQ(3, QvLoadString(language, 100, text, 3));
  EXPECT_EQ(Text(TEXT("Öf")), text);
}

TEST_F(Lang, NumericEntriesTakeTheNextColumnsLanguage) {
  TextRecord record = plainRecord();
  const struct {
    LCID lcid;
    int32_t slot;
    uintptr_t number;
    const WCHAR* text;
  } cases[] = {
      {0x0407, 3, 200, TEXT("behind German")},
      {0x0409, 1, 210, TEXT("behind English")},
      {0x0415, 18, 220, TEXT("of no language")},
      {0x0407, 3, 201, TEXT("1")},  // no terminator of its own: English
      {0x0407, 3, 202, TEXT("and its neighbour")},
      {0x0407, 3, 203, TEXT("before a gap")},  // the gap's length is the terminator
      {0x0407, 3, 9999, TEXT("1")},
      {0x040a, 4, 200, TEXT("1")},  // the text is there, but Spanish looks in French
  };
  for (const auto& each : cases) {
    record = plainRecord();
    record.entries[each.slot - 1] = numbered(each.number);
    setLcid(each.lcid);
    const WCHAR* text = QvGetString(language, record);
    EXPECT_EQ(Text(each.text), text) << each.number;
    EXPECT_EQ(text, record.entries[each.slot - 1]) << "the record keeps the address";
  }
  setLcid(0x0407);
  record.entries[0] = record.entries[2] = numbered(9999);
  EXPECT_EQ(Text(), QvGetString(language, record)) << "no English either";
}

TEST_F(Lang, SmartLookUpTellsThreeKindsApart) {
  alignas(8) WCHAR looksLikeOne[96] = {0xfffe, 0};
  const TextRecord record = plainRecord();
  const auto address = reinterpret_cast<const WCHAR*>(&record);
  setLcid(0x0411);
  EXPECT_EQ(nullptr, QvGetStringSmart(language, nullptr));
  EXPECT_EQ(Text(TEXT("2")), QvGetStringSmart(language, address));
  EXPECT_EQ(looksLikeOne + 1, QvGetStringSmart(language, looksLikeOne + 1));
  EXPECT_TRUE(IsQVLANGSTRINGID(language, looksLikeOne)) << "aligned and marked: taken for a record";
  looksLikeOne[1] = 0xfffe;
  EXPECT_EQ(looksLikeOne + 1, QvGetStringSmart(language, looksLikeOne + 1)) << "2-aligned: a text";
  const auto odd = reinterpret_cast<const WCHAR*>(reinterpret_cast<const char*>(looksLikeOne) + 1);
  EXPECT_EQ(odd, QvGetStringSmart(language, odd));
  EXPECT_FALSE(IsQVLANGSTRINGID(language, nullptr));
  EXPECT_FALSE(IsQVLANGSTRINGID(language, numbered(0xfffc)));
  alignas(8) const WCHAR plain[] = TEXT("plain");
  EXPECT_EQ(plain, QvGetStringSmart(language, plain));
}

TEST_F(Lang, ListsTheLanguagesOfAVersion) {
  WCHAR text[32] = {'x'};
  EXPECT_EQ(0, QvEnumResourceLanguages(language, 1, text, 32)) << "no active module";
  EXPECT_EQ(Text(), text);
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  EXPECT_EQ(7, QvEnumResourceLanguages(language, 1, text, 32));
  EXPECT_EQ(Text(TEXT("DEU,ENU")), text);
  EXPECT_EQ(4, QvEnumResourceLanguages(language, 1, text, 5));
  EXPECT_EQ(0, QvEnumResourceLanguages(language, 2, text, 32));
}

TEST_F(Lang, ManyThreadsReadAtOnce) {
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  TextRecord record = plainRecord();
  record.entries[2] = numbered(200);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        EXPECT_EQ(Text(TEXT("Öffnen")), QvGetString(language, 100));
        EXPECT_EQ(Text(TEXT("behind German")), QvGetString(language, record));
        EXPECT_EQ(Text(TEXT("Markiert")), QvGetString(language, 101));
        EXPECT_NE(nullptr, QvGetTempStringBuffer(language, 100));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// ---- Short-lived text -------------------------------------------------------------------------------------

TEST_F(Lang, TheRingAdvancesAndWraps) {
  WCHAR* const start = language->ring;
  EXPECT_EQ(start, QvGetTempStringBuffer(language, 11));
  // Each step is the position, the request and two more, rounded down to even.
  EXPECT_EQ(start + 12, QvGetTempStringBuffer(language, 10));
  EXPECT_EQ(start + 36, QvGetTempStringBuffer(language, 0));
  EXPECT_EQ(start + 74, QvGetTempStringBuffer(language, 1000));
  EXPECT_EQ(start, QvGetTempStringBuffer(language, 1)) << "the reserve isn't left any more";
  language->ringPosition = 1024;
  start[1024] = 'x';
  EXPECT_EQ(start + 1024, QvGetTempStringBuffer(language, 0)) << "the reserve is just left";
  EXPECT_EQ(0, start[1024]);
  EXPECT_EQ(nullptr, QvGetTempStringBuffer(nullptr, 1));
}

TEST_F(Lang, ConvertsBetweenWideAndEightBits) {
  EXPECT_STREQ("plain", QvGetMultiByteFromPrintString(language, TEXT("plain")));
  EXPECT_EQ(Text(TEXT("plain")), QvGetPrintFromMultiByteString(language, "plain"));
  EXPECT_STREQ("", QvGetMultiByteFromPrintString(language, TEXT("")));
  EXPECT_EQ(Text(), QvGetPrintFromMultiByteString(language, ""));
  EXPECT_STREQ("", QvGetMultiByteFromPrintString(nullptr, TEXT("plain")));
  EXPECT_EQ(Text(), QvGetPrintFromMultiByteString(nullptr, "plain"));
  const WCHAR* plain = TEXT("plain");
  EXPECT_EQ(plain, QvGetPrintFromWideString(language, plain));
  EXPECT_EQ(plain, QvGetWideFromPrintString(language, plain));
  EXPECT_EQ(qv::kEmptyText, QvGetPrintFromWideString(nullptr, plain));
  // What the process's page holds comes back whole; that depends on the page.
  for (const WCHAR* text : {TEXT("Größe"), TEXT("日本語テキスト")}) {
    char expected[64];
    WCHAR back[64];
    ASSERT_GT(WideCharToMultiByte(CP_ACP, 0, text, -1, expected, 64, nullptr, nullptr), 0);
    ASSERT_GT(MultiByteToWideChar(CP_ACP, 0, expected, -1, back, 64), 0);
    const char* bytes = QvGetMultiByteFromPrintString(language, text);
    EXPECT_STREQ(expected, bytes);
    EXPECT_EQ(Text(back), QvGetPrintFromMultiByteString(language, bytes));
  }
}

// ---- 8-bit text -------------------------------------------------------------------------------------------

int32_t hasPair(const char* bytes, int32_t count) {
  return QvLang_DetectMultiByteCharacters(reinterpret_cast<const uint8_t*>(bytes), count);
}

TEST_F(Lang, FindsDoubleByteCharacters) {
  const int before = _getmbcp();
  ASSERT_EQ(0, _setmbcp(0));
  EXPECT_EQ(0, hasPair("\x82\xa0", 2)) << "a process without such a page";
  ASSERT_EQ(0, _setmbcp(932));
  EXPECT_EQ(932, _getmbcp());
  const struct {
    const char* bytes;
    int32_t count, found;
  } cases[] = {{"\x82\xa0", 2, 1}, {"ab\x82\xa0", 4, 1},  {"ab\x82\xa0", 3, 0},      {"abc", 3, 0},
               {"", 2, 0},         {"\x82", 1, 0},        {"\x82\x20", 2, 0},        {"\x82\0\xa0", 3, 0},
               {"\xb1\xb2", 2, 0}, {"a\0\x82\xa0", 4, 0}, {"\x82\x20\x82\xa0", 4, 1}};
  for (const auto& each : cases) EXPECT_EQ(each.found, hasPair(each.bytes, each.count)) << (&each - cases);
  EXPECT_EQ(0, QvLang_DetectMultiByteCharacters(nullptr, 10));
  EXPECT_EQ(-1, _setmbcp(12345));
  EXPECT_EQ(932, _getmbcp());
  _setmbcp(before);
}

struct Sample {
  uint32_t codePage;
  int times;  // how often in a row: a short text alone says little
  const char* once;
};

const Sample kSamples[] = {
    {1251, 1,
     "\302\361\345 \353\376\344\350 \360\356\346\344\340\376\362\361\377 \361\342\356\341\356\344\355\373"
     "\354\350 \350 \360\340\342\355\373\354\350 \342 \361\342\356\270\354 \344\356\361\362\356\350\355\361"
     "\362\342\345 \350 \357\360\340\342\340\365. \316\355\350 \355\340\344\345\353\345\355\373 \360\340"
     "\347\363\354\356\354 \350 \361\356\342\345\361\362\374\376."},
    {28595, 1,
     "\262\341\325 \333\356\324\330 \340\336\326\324\320\356\342\341\357 \341\322\336\321\336\324\335\353"
     "\334\330 \330 \340\320\322\335\353\334\330 \322 \341\322\336\361\334 \324\336\341\342\336\330\335\341"
     "\342\322\325 \330 \337\340\320\322\320\345. \276\335\330 \335\320\324\325\333\325\335\353 \340\320"
     "\327\343\334\336\334 \330 \341\336\322\325\341\342\354\356."},
    {932, 2,
     "\220F\202\315\223\365\202\326\202\307\216U\202\350\202\312\202\351\202\360\201A\211\344\202\252\220"
     "\242\222N\202\274\217\355\202\310\202\347\202\336\201B\227L\210\327\202\314\211\234\216R\215\241\223"
     "\372\211z\202\246\202\304\201A\220\363\202\253\226\262\214\251\202\266\220\214\202\320\202\340\202"
     "\271\202\270\201B"},
    {65001, 1,
     "Gr\303\274\303\237e aus K\303\266ln, \303\247\303\240 et l\303\240, \305\276lu\305\245ou\304\215k\303"
     "\275 k\305\257\305\210."},
    {1252, 1,
     "Der Verk\344ufer f\374hrte uns \374ber die gro\337e Br\374cke, w\344hrend die Glocken l\344uteten. Le"
     "s \351l\350ves \351taient tr\350s fatigu\351s apr\350s leur journ\351e \340 l \351cole."},
    {949, 2,
     "\270\360\265\347 \261\271\271\316\300\272 \275\305\303\274\300\307 \300\332\300\257\270\246 \260\241"
     "\301\370\264\331. \270\360\265\347 \261\271\271\316\300\272 \271\375 \276\325\277\241 \306\362\265"
     "\356\307\317\264\331."},
    {950, 2,
     "\244H\244H\245\315\246\323\246\333\245\321\241A\246b\264L\304Y\251M\305v\247Q\244W\244@\253\337\245"
     "\255\265\245\241C\245L\255\314\275\341\246\263\262z\251\312\251M\250}\244\337\241C"},
};

HRESULT detect(const Sample& sample, uint32_t* codePage) {
  std::string bytes;
  for (int i = 0; i < sample.times; ++i) bytes += sample.once;
  return QvLang_DetectPossibleCodepage(reinterpret_cast<const uint8_t*>(bytes.data()),
                                       static_cast<int32_t>(bytes.size()), codePage);
}

// Wine carries a detector that finds nothing in anything.
bool detectorAnswers() {
  qv::platform::DetectedCodePage results[10];
  const auto bytes = reinterpret_cast<const uint8_t*>(kSamples[0].once);
  int32_t found = 10, size = static_cast<int32_t>(strlen(kSamples[0].once));
  return qv::platform::detectCodePages(bytes, size, results, &found) == 0 && found > 0;
}

TEST_F(Lang, GuessesTheCodePage) {
  constexpr HRESULT kNotSure = static_cast<HRESULT>(0x8004e1fdu);
  uint32_t codePage = 99;
  CoInitialize(nullptr);
  EXPECT_EQ(kNotSure, detect({0, 1, ""}, &codePage));
  EXPECT_EQ(0u, codePage);
  const bool answers = detectorAnswers();
  ASSERT_TRUE(answers || !QV_TEST_OWN_DETECTOR);
  if (!answers) std::cout << "Wine's MLang finds nothing: only the status is checked\n";
  // A pangram has no language's usual letters.
  const char pangram[] =
      "\361\372\345\370\374 \346\345 \345\371\270 \375\362\350\365 \354\377\343\352\350\365";
  EXPECT_EQ(kNotSure, detect({0, 1, pangram}, &codePage));
  for (const Sample& sample : kSamples) {
    codePage = 99;
    EXPECT_EQ(answers ? 0 : kNotSure, detect(sample, &codePage)) << sample.codePage;
    EXPECT_EQ(answers ? sample.codePage : 0, codePage);
  }
  CoUninitialize();
}

// ---- International data -----------------------------------------------------------------------------------

Text printed(const WCHAR* format) {
  WCHAR text[128];
  QvCchPrintF(text, 128, nullptr, format);
  return text;
}

TEST_F(Lang, LoadingRebuildsTheTokens) {
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x407, 0));
  ASSERT_EQ(0, QvLang_GetInternationals(nullptr, 0));
  EXPECT_EQ(Text(TEXT(": . , . .")),
            printed(TEXT("$(SMPTE.Whole) $(SMPTE.NonDrop) $(SMPTE.Drop) $(m.b) $(b.t)")));
  EXPECT_EQ(Text(TEXT("Std:Min:Sek.Fr Std:Min:Sek,Fr")),
            printed(TEXT("$(SMPTE.Label.NonDrop) $(SMPTE.Label.Drop)")));
  const Text before = printed(TEXT("$(SMPTE.Label.Drop.Full)$(MusicTime.Label)$(MusicTime.Label.Full)"));
  EXPECT_EQ(Text::npos, before.find('%'));
  ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, 0x409, 0));
  EXPECT_EQ(Text(TEXT("Std:Min:Sek,Fr")), printed(TEXT("$(SMPTE.Label.Drop)"))) << "built by loading only";
  ASSERT_EQ(0, QvLang_GetInternationals(nullptr, 0));
  EXPECT_EQ(Text(TEXT("hr:mn:sc,fr hours:minutes:seconds.frames measures.beats.ticks")),
            printed(TEXT("$(SMPTE.Label.Drop) $(SMPTE.Label.NonDrop.Full) $(MusicTime.Label.Full)")));
}

TEST_F(Lang, CopiesThePartThatFits) {
  std::vector<uint8_t> room(2000, 0xee);
  const auto record = reinterpret_cast<QVINTERNATIONALS*>(room.data());
  ASSERT_EQ(0, QvLang_GetInternationals(record, 2000));
  EXPECT_EQ(796u, record->size);
  EXPECT_EQ(0xee, room[796]);
  EXPECT_EQ(Text(TEXT("-")), record->positiveSign.text);
  EXPECT_EQ(1u, record->positiveSign.length);
  EXPECT_EQ(GetSystemDefaultLCID(), record->lcid);
  std::fill(room.begin(), room.end(), uint8_t{0xee});
  ASSERT_EQ(0, QvLang_GetInternationals(record, 10));
  EXPECT_EQ(10u, record->size);
  EXPECT_EQ(0xee, room[10]);
}

TEST_F(Lang, KeepsThreeLettersOfALanguageId) {
  const struct {
    const WCHAR* given;
    const WCHAR* kept;
  } cases[] = {{TEXT("DEUTSCH"), TEXT("DEU")},
               {TEXT("JP"), TEXT("JP")},
               {TEXT(""), TEXT("ENU")},
               {nullptr, TEXT("ENU")}};
  for (const auto& each : cases) {
    EXPECT_EQ(0, QvSetLangID(each.given));
    EXPECT_EQ(Text(each.kept), qv::internationals().languageId.text);
    EXPECT_EQ(Text(each.kept).size(), qv::internationals().languageId.length);
  }
}

// ---- The stored choice ------------------------------------------------------------------------------------

constexpr const WCHAR* kApplication = TEXT("Language Test");
constexpr const WCHAR* kVendor = TEXT("Language Test Vendor");
constexpr const WCHAR* kOwnKey = TEXT("Software\\Halden Media Works\\Language Test");
constexpr const WCHAR* kVendorsKey = TEXT("Software\\Language Test Vendor");

class Stored : public testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }
  static void clear() {
    for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegDeleteTreeW(hive, kOwnKey);
      RegDeleteTreeW(hive, kVendorsKey);
    }
  }

  static DWORD read(const WCHAR* path) {
    HKEY key = nullptr;
    DWORD value = 0, type = 0, size = sizeof value;
    EXPECT_EQ(0, RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key));
    EXPECT_EQ(0,
              RegQueryValueExW(key, TEXT("ULangID"), nullptr, &type, reinterpret_cast<BYTE*>(&value), &size));
    EXPECT_EQ(REG_DWORD, type);
    RegCloseKey(key);
    return value;
  }

  static void write(HKEY hive, const WCHAR* path, DWORD type, const void* data, DWORD size) {
    HKEY key = nullptr;
    ASSERT_EQ(0, RegCreateKeyExW(hive, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    ASSERT_EQ(0, RegSetValueExW(key, TEXT("ULangID"), 0, type, static_cast<const BYTE*>(data), size));
    RegCloseKey(key);
  }
};

TEST_F(Stored, ComesBackUnderItsVersion) {
  LCID lcid = 77;
  EXPECT_EQ(0, QvLang_LoadUserLCIDMetric(kApplication, 0x020b0000, &lcid, 0));
  EXPECT_EQ(77u, lcid);
  EXPECT_EQ(1, QvLang_SaveUserLCIDMetric(kApplication, 0x020b0007, 0xc407, 0));
  EXPECT_EQ(0xc407u, read(TEXT("Software\\Halden Media Works\\Language Test\\2.11\\Lang")));
  EXPECT_EQ(1, QvLang_LoadUserLCIDMetric(kApplication, 0x020b1234, &lcid, 0));
  EXPECT_EQ(0xc407u, lcid);
  EXPECT_EQ(0, QvLang_LoadUserLCIDMetric(kApplication, 0x030b0000, &lcid, 0));
  EXPECT_EQ(0, QvLang_LoadUserLCIDMetric(kApplication, 0x020b0000, &lcid, 1)) << "another key";
  EXPECT_EQ(1, QvLang_SaveUserLCIDMetric(kApplication, 0x020b0000, 0x411, 1));
  EXPECT_EQ(0x411u, read(TEXT("Software\\Halden Media Works\\Language Test\\Lang")));
  EXPECT_EQ(1, QvLang_LoadUserLCIDMetric(kApplication, 0x00050000, &lcid, 0)) << "major 0 is no version";
  EXPECT_EQ(0x411u, lcid);
  EXPECT_EQ(1, QvLang_SaveUserLCIDMetricAppReg(kApplication, 0xff000000, 0x40c, kVendor));
  EXPECT_EQ(0x40cu, read(TEXT("Software\\Language Test Vendor\\Language Test\\255.0\\Lang")));
  EXPECT_EQ(1, QvLang_LoadUserLCIDMetricAppReg(kApplication, 0xff000000, &lcid, kVendor));
  EXPECT_EQ(0x40cu, lcid);
}

TEST_F(Stored, TheMachinesChoiceServesWhereTheUserHasNone) {
  const DWORD machines = 0x40b;
  constexpr const WCHAR* path = TEXT("Software\\Language Test Vendor\\Language Test\\Lang");
  write(HKEY_LOCAL_MACHINE, path, REG_DWORD, &machines, sizeof machines);
  LCID lcid = 0;
  EXPECT_EQ(1, QvLang_LoadUserLCIDMetricAppReg(kApplication, 0, &lcid, kVendor));
  EXPECT_EQ(machines, lcid);
  EXPECT_EQ(1, QvLang_SaveUserLCIDMetricAppReg(kApplication, 0, 0x410, kVendor));
  EXPECT_EQ(1, QvLang_LoadUserLCIDMetricAppReg(kApplication, 0, &lcid, kVendor));
  EXPECT_EQ(0x410u, lcid) << "the user's comes first";
}

TEST_F(Stored, AValueTooLongForALanguageIsNone) {
  const char text[] = "not a language";
  write(HKEY_CURRENT_USER, TEXT("Software\\Language Test Vendor\\Language Test\\Lang"), REG_BINARY, text,
        sizeof text);
  LCID lcid = 77;
  EXPECT_EQ(0, QvLang_LoadUserLCIDMetricAppReg(kApplication, 0, &lcid, kVendor));
  EXPECT_EQ(77u, lcid);
  const Text endless(300, 'x');
  EXPECT_EQ(0, QvLang_SaveUserLCIDMetricAppReg(endless.c_str(), 0, 0x407, kVendor)) << "no key of a cut name";
}

}  // namespace
