// What the Linux locale operations share: one row a locale that is known by heart, and a locale resolved.
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/locale.h"

namespace qv {

struct LocaleRow {
  LCID lcid;
  std::string_view name;  // as Windows spells it
  const char* icu;
  std::string_view abbreviation;
  uint32_t dialling;
  const char16_t* thousand;
  const char16_t* decimal;
  const char16_t* grouping;
  const char16_t* list;
  const char16_t* time;
  uint32_t measure;  // 0 metric, 1 U.S.
  uint32_t negativeOrder;
  uint32_t ansiCodePage;
  uint32_t oemCodePage;
  const char16_t* country;  // the English name where ICU says it otherwise, else null
};

struct LocaleFacts {
  LCID lcid;
  const LocaleRow* row;  // null: ask ICU
  std::string icu;
};

// Resolves defaults and neutral languages; false when nothing is known of the locale.
bool readLocaleFacts(LCID locale, LocaleFacts& facts);

// The locale of a name as Windows spells it; null is the user's, 0 an unknown name.
LCID lcidOfLocaleName(const WCHAR* name);

}  // namespace qv
