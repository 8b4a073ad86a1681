// What text formatting needs from the language tables, which stand above it.
//
//   const WCHAR* label = languageText(LanguageText::decibels);   // " dB" in the user's language
//
// Until the language tables join with setLanguageSource() the texts are English and short-lived text comes
// from a ring of this file's own.
#pragma once

#include <cstdint>

#include "qv/platform/base.h"

struct HQVLANG__;

namespace qv {

enum class LanguageText {
  decibels,
  left,
  right,
  minusInfinity,
  error,
  sizeB,
  sizeBytes,
  sizeKB,
  sizeMB,
  sizeGB,
  sizeTB,
  sizePB,
  sizeEB,
  sizeBeyond,
  timecodeLabel,
  timecodeFullLabel,
  musicLabel,
  musicFullLabel,
  count
};

// The language tables' side. A null member keeps the fallback.
struct LanguageSource {
  // A text of the kernel's language; null keeps the English one.
  const WCHAR* (*text)(LanguageText id);
  // Short-lived text of the kernel's ring, `characters` below 1024; null when there is no ring.
  WCHAR* (*temporary)(uint32_t characters);
  // A text by number from a language handle; never null.
  const WCHAR* (*string)(HQVLANG__* language, uint32_t number);
};

// Start-up's: no other thread may be formatting. Null restores the fallback.
void setLanguageSource(const LanguageSource* source);

const WCHAR* languageText(LanguageText id);
WCHAR* temporaryText(uint32_t characters);
const WCHAR* languageString(HQVLANG__* language, uint32_t number);

}  // namespace qv
