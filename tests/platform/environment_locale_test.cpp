// The user's locale comes from the process environment.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

#include "qv/platform/locale.h"

namespace {

class Environment {
 public:
  explicit Environment(const std::map<std::string, std::string>& values) {
    for (const char* name : {"LC_ALL", "LC_NUMERIC", "LC_MESSAGES", "LANG"}) {
      if (const char* value = std::getenv(name)) before_[name] = value;
      unsetenv(name);
    }
    for (const auto& [name, value] : values) setenv(name.c_str(), value.c_str(), 1);
  }
  ~Environment() {
    for (const char* name : {"LC_ALL", "LC_NUMERIC", "LC_MESSAGES", "LANG"}) unsetenv(name);
    for (const auto& [name, value] : before_) setenv(name.c_str(), value.c_str(), 1);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  std::map<std::string, std::string> before_;
};

TEST(EnvironmentLocale, WhoSpeaksFirst) {
  const struct {
    std::map<std::string, std::string> values;
    LCID user, system;
    LANGID language;
  } rows[] = {
      {{}, 0x0409, 0x0409, 0x0409},
      {{{"LANG", "de_DE.UTF-8"}}, 0x0407, 0x0407, 0x0407},
      {{{"LANG", "de_DE.UTF-8"}, {"LC_NUMERIC", "sv_SE"}}, 0x041d, 0x0407, 0x0407},
      {{{"LANG", "de_DE"}, {"LC_MESSAGES", "pt_BR.UTF-8@x"}, {"LC_ALL", ""}}, 0x0407, 0x0407, 0x0416},
      {{{"LANG", "de_DE"}, {"LC_NUMERIC", "sv_SE"}, {"LC_ALL", "C.UTF-8"}}, 0x0409, 0x0407, 0x0409},
      {{{"LANG", "es_ES"}}, 0x0c0a, 0x0c0a, 0x0c0a},
      {{{"LANG", "zh_TW.UTF-8"}}, 0x0404, 0x0404, 0x0404},
      {{{"LANG", "pl"}}, 0x0415, 0x0415, 0x0415},
      {{{"LANG", "POSIX"}}, 0x0409, 0x0409, 0x0409},
      {{{"LANG", "cs_CZ.UTF-8"}}, 0x0405, 0x0405, 0x0405},  // beyond the table
  };
  for (const auto& row : rows) {
    const Environment environment(row.values);
    EXPECT_EQ(GetUserDefaultLCID(), row.user);
    EXPECT_EQ(GetSystemDefaultLCID(), row.system);
    EXPECT_EQ(GetUserDefaultUILanguage(), row.language);
  }
}

TEST(EnvironmentLocale, LocalesBeyondTheTableComeFromIcu) {
  const std::map<std::string, std::string> czech = {{"LANG", "cs_CZ.UTF-8"}};
  const Environment environment(czech);
  WCHAR text[64];
  ASSERT_GT(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, text, 64), 0);
  EXPECT_EQ(std::u16string(text), u"\u00a0");
  ASSERT_GT(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, text, 64), 0);
  EXPECT_EQ(std::u16string(text), u",");
  ASSERT_GT(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SENGLANGUAGE, text, 64), 0);
  EXPECT_EQ(std::u16string(text), u"Czech");
}

TEST(EnvironmentLocale, NumbersByTheLocalesOwnRules) {
  const struct {
    LCID locale;
    const WCHAR* text;
  } rows[] = {{0x0409, u"-1,234,567.89"}, {0x0407, u"-1.234.567,89"}, {0x0807, u"-1\u2019234\u2019567.89"},
              {0x0439, u"-12,34,567.89"}, {0x0401, u"1,234,567.89-"}, {0x040c, u"-1\u00a0234\u00a0567,89"}};
  for (const auto& row : rows) {
    WCHAR text[64] = {};
    ASSERT_GT(GetNumberFormatW(row.locale, 0, u"-1234567.891", nullptr, text, 64), 0);
    EXPECT_EQ(std::u16string(text), row.text);
  }
}

}  // namespace
