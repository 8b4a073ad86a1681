#include "qv/platform/locale.h"

#include <unicode/uloc.h>
#include <unicode/ulocdata.h>
#include <unicode/unum.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "qv/platform/linux/locale_rows.h"

namespace qv {
namespace {

constexpr LCID kEnglish = 0x0409;

// What Windows says where ICU's data say something else or nothing: the separators of Windows's own
// tradition (no narrow no-break space, no U+2212), dialling codes, three-letter names and code pages.
// clang-format off
constexpr LocaleRow kRows[] = {
    // lcid   name             icu id        abbr  dial thousand    decimal  grouping  list    time   metric neg  ansi  oem  country
    {0x0409, "en-US",         "en_US",       "ENU", 1,   u",",      u".", u"3;0",   u",", u":", 1, 1, 1252, 437, nullptr},
    {0x0411, "ja-JP",         "ja_JP",       "JPN", 81,  u",",      u".", u"3;0",   u",", u":", 0, 1, 932,  932, nullptr},
    {0x0407, "de-DE",         "de_DE",       "DEU", 49,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x040a, "es-ES_tradnl",  "es_ES",       "ESP", 34,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x040c, "fr-FR",         "fr_FR",       "FRA", 33,  u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0804, "zh-CN",         "zh_Hans_CN",  "CHS", 86,  u",",      u".", u"3;0",   u",", u":", 0, 1, 936,  936, nullptr},
    {0x0404, "zh-TW",         "zh_Hant_TW",  "CHT", 886, u",",      u".", u"3;0",   u",", u":", 0, 1, 950,  950, nullptr},
    {0x0406, "da-DK",         "da_DK",       "DAN", 45,  u".",      u",", u"3;0",   u";", u".", 0, 1, 1252, 850, nullptr},
    {0x040b, "fi-FI",         "fi_FI",       "FIN", 358, u"\u00a0", u",", u"3;0",   u";", u".", 0, 1, 1252, 850, nullptr},
    {0x0410, "it-IT",         "it_IT",       "ITA", 39,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0412, "ko-KR",         "ko_KR",       "KOR", 82,  u",",      u".", u"3;0",   u",", u":", 0, 1, 949,  949, u"Korea"},
    {0x0413, "nl-NL",         "nl_NL",       "NLD", 31,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0414, "nb-NO",         "nb_NO",       "NOR", 47,  u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0416, "pt-BR",         "pt_BR",       "PTB", 55,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0816, "pt-PT",         "pt_PT",       "PTG", 351, u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0419, "ru-RU",         "ru_RU",       "RUS", 7,   u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1251, 866, nullptr},
    {0x041d, "sv-SE",         "sv_SE",       "SVE", 46,  u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0415, "pl-PL",         "pl_PL",       "PLK", 48,  u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1250, 852, nullptr},
    {0x0c0a, "es-ES",         "es_ES",       "ESN", 34,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0809, "en-GB",         "en_GB",       "ENG", 44,  u",",      u".", u"3;0",   u",", u":", 0, 1, 1252, 850, nullptr},
    {0x0807, "de-CH",         "de_CH",       "DES", 41,  u"\u2019", u".", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0c0c, "fr-CA",         "fr_CA",       "FRC", 1,   u"\u00a0", u",", u"3;0",   u";", u":", 0, 1, 1252, 850, nullptr},
    {0x0439, "hi-IN",         "hi_IN",       "HIN", 91,  u",",      u".", u"3;2;0", u",", u":", 0, 1, 0,    1,   nullptr},
    {0x041f, "tr-TR",         "tr_TR",       "TRK", 90,  u".",      u",", u"3;0",   u";", u":", 0, 1, 1254, 857, u"Turkey"},
    {0x0401, "ar-SA",         "ar_SA",       "ARA", 966, u",",      u".", u"3;0",   u";", u":", 0, 3, 1256, 720, nullptr},
    {0x040d, "he-IL",         "he_IL",       "HEB", 972, u",",      u".", u"3;0",   u",", u":", 0, 1, 1255, 862, nullptr},
    {0x007f, "",              "en_US_POSIX", "IVL", 1,   u",",      u".", u"3;0",   u",", u":", 0, 1, 1252, 437, nullptr},
};
// clang-format on

const LocaleRow* findRow(LCID locale) {
  for (const LocaleRow& row : kRows)
    if (row.lcid == locale) return &row;
  return nullptr;
}

// A language alone stands for its main country, as 7 stands for German (Germany).
LCID withCountry(LCID locale) {
  return locale != LOCALE_INVARIANT && (locale >> 10) == 0 && (locale & 0x3ff) != 0 ? locale | 0x400 : locale;
}

LCID lcidOfName(std::string_view name) {
  std::string plain(name.substr(0, name.find_first_of(".@")));
  if (plain.empty() || plain == "C" || plain == "POSIX") return kEnglish;
  for (char& c : plain)
    if (c == '_') c = '-';
  // The modern sort of Spanish is what a plain "es-ES" means; its row carries that very name.
  for (const LocaleRow& row : kRows)
    if (row.name == plain) return row.lcid;
  const LCID lcid = withCountry(uloc_getLCID(plain.c_str()));
  return lcid ? lcid : kEnglish;
}

LCID lcidOfEnvironment(std::initializer_list<const char*> variables) {
  for (const char* variable : variables)
    if (const char* value = std::getenv(variable); value && *value) return lcidOfName(value);
  return kEnglish;
}

thread_local LCID threadLocale = 0;

std::string icuNameOf(LCID locale) {
  if (const LocaleRow* row = findRow(locale)) return row->icu;
  char name[ULOC_FULLNAME_CAPACITY];
  UErrorCode error = U_ZERO_ERROR;
  const int32_t length = uloc_getLocaleForLCID(locale, name, sizeof name, &error);
  return U_SUCCESS(error) && length > 0 ? std::string(name, static_cast<size_t>(length)) : std::string();
}

std::u16string upTo(const char16_t* buffer, int32_t length, UErrorCode error) {
  return U_SUCCESS(error) && length > 0 ? std::u16string(buffer, static_cast<size_t>(length))
                                        : std::u16string();
}

std::u16string display(int32_t (*read)(const char*, const char*, UChar*, int32_t, UErrorCode*),
                       const std::string& locale, const std::string& in) {
  char16_t buffer[256];
  UErrorCode error = U_ZERO_ERROR;
  const int32_t length = read(locale.c_str(), in.c_str(), buffer, 256, &error);
  return upTo(buffer, length, error);
}

// Script and language without the country: "Chinese (Simplified)", "Norwegian Bokmål".
std::u16string languageName(const std::string& locale, const std::string& in) {
  const size_t cut = locale.rfind('_');
  return display(uloc_getDisplayName, cut == std::string::npos ? locale : locale.substr(0, cut), in);
}

bool isEnglish(const std::string& locale) {
  return locale.starts_with("en");
}

std::u16string countryName(const LocaleFacts& facts, const std::string& in) {
  if (facts.row && facts.row->country && isEnglish(in)) return facts.row->country;
  return display(uloc_getDisplayCountry, facts.icu, in);
}

std::u16string fullName(const LocaleFacts& facts, const std::string& in) {
  if (facts.row && facts.row->country && isEnglish(in))
    return languageName(facts.icu, in) + u" (" + facts.row->country + u")";
  return display(uloc_getDisplayName, facts.icu, in);
}

std::u16string number(uint32_t value, int width = 1, int base = 10) {
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
  std::u16string text(digits, end);
  while (static_cast<int>(text.size()) < width) text.insert(text.begin(), u'0');
  return text;
}

std::u16string symbolOf(const std::string& locale, UNumberFormatSymbol which) {
  UErrorCode error = U_ZERO_ERROR;
  UNumberFormat* format = unum_open(UNUM_DECIMAL, nullptr, 0, locale.c_str(), nullptr, &error);
  char16_t buffer[16];
  const int32_t length = U_SUCCESS(error) ? unum_getSymbol(format, which, buffer, 16, &error) : 0;
  const std::u16string text = upTo(buffer, length, error);
  if (format) unum_close(format);
  return text == u"\u202f" ? u"\u00a0" : text == u"\u066b" ? u"." : text == u"\u066c" ? u"," : text;
}

std::u16string groupingOf(const std::string& locale) {
  UErrorCode error = U_ZERO_ERROR;
  UNumberFormat* format = unum_open(UNUM_DECIMAL, nullptr, 0, locale.c_str(), nullptr, &error);
  if (U_FAILURE(error)) return u"3;0";
  const int32_t second = unum_getAttribute(format, UNUM_SECONDARY_GROUPING_SIZE);
  unum_close(format);
  return second == 2 ? u"3;2;0" : u"3;0";
}

std::u16string listSeparatorOf(const std::string& locale) {
  return symbolOf(locale, UNUM_DECIMAL_SEPARATOR_SYMBOL) == u"," ? u";" : u",";
}

std::u16string measureOf(const std::string& locale) {
  UErrorCode error = U_ZERO_ERROR;
  return ulocdata_getMeasurementSystem(locale.c_str(), &error) == UMS_US ? u"1" : u"0";
}

std::u16string threeLetters(const std::string& locale) {
  std::u16string text;
  for (const char* c = uloc_getISO3Language(locale.c_str()); *c; ++c)
    text += static_cast<char16_t>(*c >= 'a' && *c <= 'z' ? *c - 32 : *c);
  return text;
}

std::u16string tagOf(const std::string& locale) {
  std::u16string text(locale.begin(), locale.end());
  for (char16_t& c : text)
    if (c == u'_') c = u'-';
  return text;
}

std::string interfaceLanguage() {
  return icuNameOf(GetUserDefaultUILanguage());
}

using Facts = const LocaleFacts&;
struct Fact {
  LCTYPE type;
  bool numeric;
  std::u16string (*read)(Facts);
};

// One row a fact; a locale without a row of its own is answered from ICU.
constexpr Fact kFacts[] = {
    {LOCALE_ILANGUAGE, true, [](Facts f) { return number(f.lcid, 4, 16); }},
    {LOCALE_SLANGUAGE, false, [](Facts f) { return fullName(f, interfaceLanguage()); }},
    {LOCALE_SABBREVLANGNAME, false,
     [](Facts f) { return f.row ? tagOf(std::string(f.row->abbreviation)) : threeLetters(f.icu); }},
    {LOCALE_SNATIVELANGNAME, false, [](Facts f) { return languageName(f.icu, f.icu); }},
    {LOCALE_ICOUNTRY, true, [](Facts f) { return number(f.row ? f.row->dialling : 0); }},
    {LOCALE_SCOUNTRY, false, [](Facts f) { return countryName(f, interfaceLanguage()); }},
    {LOCALE_IDEFAULTCODEPAGE, true, [](Facts f) { return number(f.row ? f.row->oemCodePage : 1); }},
    {LOCALE_SLIST, false, [](Facts f) { return f.row ? f.row->list : listSeparatorOf(f.icu); }},
    {LOCALE_IMEASURE, true, [](Facts f) { return f.row ? number(f.row->measure) : measureOf(f.icu); }},
    {LOCALE_SDECIMAL, false,
     [](Facts f) { return f.row ? f.row->decimal : symbolOf(f.icu, UNUM_DECIMAL_SEPARATOR_SYMBOL); }},
    {LOCALE_STHOUSAND, false,
     [](Facts f) { return f.row ? f.row->thousand : symbolOf(f.icu, UNUM_GROUPING_SEPARATOR_SYMBOL); }},
    {LOCALE_SGROUPING, false, [](Facts f) { return f.row ? f.row->grouping : groupingOf(f.icu); }},
    {LOCALE_IDIGITS, true, [](Facts) { return number(2); }},
    {LOCALE_ILZERO, true, [](Facts) { return number(1); }},
    {LOCALE_STIME, false, [](Facts f) { return std::u16string(f.row ? f.row->time : u":"); }},
    {LOCALE_SNEGATIVESIGN, false, [](Facts) { return std::u16string(u"-"); }},
    {LOCALE_SNAME, false, [](Facts f) { return tagOf(f.row ? std::string(f.row->name) : f.icu); }},
    {LOCALE_SENGLANGUAGE, false, [](Facts f) { return languageName(f.icu, "en"); }},
    {LOCALE_SENGCOUNTRY, false, [](Facts f) { return countryName(f, "en"); }},
    {LOCALE_IDEFAULTANSICODEPAGE, true, [](Facts f) { return number(f.row ? f.row->ansiCodePage : 0); }},
    {LOCALE_INEGNUMBER, true, [](Facts f) { return number(f.row ? f.row->negativeOrder : 1); }},
};

int fail(DWORD error) {
  SetLastError(error);
  return 0;
}

int give(const std::u16string& text, LPWSTR data, int capacity) {
  const int needed = static_cast<int>(text.size()) + 1;
  if (capacity == 0) return needed;
  if (capacity < needed) return fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(data, text.c_str(), static_cast<size_t>(needed) * sizeof(WCHAR));
  return needed;
}

int giveNumber(const std::u16string& text, int base, LPWSTR data, int capacity) {
  if (capacity == 0) return 2;
  if (capacity < 2) return fail(ERROR_INSUFFICIENT_BUFFER);
  const DWORD value =
      static_cast<DWORD>(std::strtoul(std::string(text.begin(), text.end()).c_str(), nullptr, base));
  std::memcpy(data, &value, sizeof value);
  return 2;
}

const Fact* findFact(LCTYPE type) {
  for (const Fact& fact : kFacts)
    if (fact.type == (type & 0xffff)) return &fact;
  return nullptr;
}

}  // namespace

bool readLocaleFacts(LCID locale, LocaleFacts& facts) {
  facts.lcid = ConvertDefaultLocale(locale);
  facts.row = findRow(facts.lcid);
  facts.icu = icuNameOf(facts.lcid);
  return !facts.icu.empty();
}

LCID lcidOfLocaleName(const WCHAR* name) {
  if (!name) return LOCALE_USER_DEFAULT;
  std::string plain;
  for (; *name; ++name) {
    if (*name > 0x7e) return 0;
    plain += static_cast<char>(*name);
  }
  if (plain.empty()) return LOCALE_INVARIANT;
  for (const LocaleRow& row : kRows)
    if (row.name == plain) return row.lcid;
  return withCountry(uloc_getLCID(plain.c_str()));
}

}  // namespace qv

int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR data, int capacity) {
  if (capacity < 0 || (capacity > 0 && !data)) return qv::fail(ERROR_INVALID_PARAMETER);
  const qv::Fact* fact = qv::findFact(type);
  const bool asNumber = (type & LOCALE_RETURN_NUMBER) != 0;
  if (!fact || (asNumber && !fact->numeric)) return qv::fail(ERROR_INVALID_FLAGS);
  qv::LocaleFacts facts;
  if (!qv::readLocaleFacts(locale, facts)) return qv::fail(ERROR_INVALID_PARAMETER);
  const std::u16string text = fact->read(facts);
  if (!asNumber) return qv::give(text, data, capacity);
  return qv::giveNumber(text, fact->type == LOCALE_ILANGUAGE ? 16 : 10, data, capacity);
}

LCID GetUserDefaultLCID() {
  return qv::lcidOfEnvironment({"LC_ALL", "LC_NUMERIC", "LANG"});
}

LCID GetSystemDefaultLCID() {
  return qv::lcidOfEnvironment({"LANG"});
}

LANGID GetUserDefaultUILanguage() {
  return static_cast<LANGID>(qv::lcidOfEnvironment({"LC_ALL", "LC_MESSAGES", "LANG"}));
}

LCID ConvertDefaultLocale(LCID locale) {
  switch (locale) {
    case 0:
    case LOCALE_USER_DEFAULT:
      return GetUserDefaultLCID();
    case LOCALE_SYSTEM_DEFAULT:
      return GetSystemDefaultLCID();
    default:
      return qv::withCountry(locale);
  }
}

LCID GetThreadLocale() {
  return qv::threadLocale ? qv::threadLocale : GetUserDefaultLCID();
}

BOOL SetThreadLocale(LCID locale) {
  qv::LocaleFacts facts;
  if (!qv::readLocaleFacts(locale, facts)) return qv::fail(ERROR_INVALID_PARAMETER);
  qv::threadLocale = facts.lcid;
  return TRUE;
}
