// What stands behind an HQVLANG.
#pragma once

#include "qv/core/list.h"
#include "qv/lang/lang.h"

struct HQVLANG__ {
  HMODULE mainInstance;
  int32_t lockReady;
  CRITICAL_SECTION lock;
  uint32_t ringSize;      // characters
  uint32_t ringReserve;   // characters; the largest request that surely fits
  uint32_t ringPosition;  // next free character
  WCHAR* ring;
  int32_t languageActive;  // the language in force is not English
  HMODULE languageInstance;
  LCID lcid;
  int32_t slot;  // 1-based column of the records; 0: not looked up yet
  tQVLIST* stringCache;
};

namespace qv {

// The kernel's own handle: every message of the toolkit comes through it. Opened at start-up; null before.
extern HQVLANG kernelLanguage;

// Shared by everything that has no text to give.
extern const WCHAR kEmptyText[1];

// Held for as long as it lives; does nothing for a handle whose lock never came up.
class LanguageLock {
 public:
  explicit LanguageLock(HQVLANG language) : language_(language) {
    if (language_->lockReady) EnterCriticalSection(&language_->lock);
  }
  ~LanguageLock() {
    if (language_->lockReady) LeaveCriticalSection(&language_->lock);
  }
  LanguageLock(const LanguageLock&) = delete;
  LanguageLock& operator=(const LanguageLock&) = delete;

 private:
  HQVLANG language_;
};

// A string of a module's resources, in one resource language: `length` characters, not terminated, in a block
// that ends at `end`. `text` is null when the module has no such string.
struct StringResource {
  const WCHAR* text = nullptr;
  uint32_t length = 0;
  const WCHAR* end = nullptr;
};
StringResource findStringResource(HMODULE module, uint32_t number, uint16_t resourceLanguage);

// LCIDs of the records' columns, two zeros behind them.
extern uint32_t kLanguageTable[20];

}  // namespace qv
