// The toolkit's own texts: compiled-in records, each a row of 18 translations.
//
//   const WCHAR* text = QvGetString(language, kTextCancel);   // "Abbrechen" in German
//
// A record needs no file at run time. Its rows stand in tables/*.inc, 18 columns side by side; the texts go
// to read-only sections of their own, the records to a writable one, because an entry that is a number of a
// string resource is replaced by the address of its text when it is first resolved.
#pragma once

#include "qv/lang/lang.h"

namespace qv {

inline constexpr uint16_t kRecordMarker = 0xfffe;
inline constexpr int32_t kLanguageCount = 18;

// One record. An entry is the address of a text, or a string-resource number below 0x10000.
struct TextRecord {
  uint16_t marker;
  uint16_t count;
  uint32_t reserved;
  const WCHAR* entries[kLanguageCount];
  const WCHAR* terminator;

  // As the string functions take it.
  operator QVLANGSTRINGID() const { return reinterpret_cast<QVLANGSTRINGID>(this); }
};
static_assert(sizeof(TextRecord) == 160 && offsetof(TextRecord, entries) == 8 &&
              offsetof(TextRecord, terminator) == 152);

#define QV_TEXT_ROW(name, ...) extern TextRecord name;
#include "qv/lang/tables/colour.inc"
#include "qv/lang/tables/envelope.inc"
#include "qv/lang/tables/kernel.inc"
#include "qv/lang/tables/pan.inc"
#undef QV_TEXT_ROW

// All records, in no particular order of meaning, for tools and tests.
struct NamedRecord {
  const char* name;
  const TextRecord* record;
};
QV_API const NamedRecord* textRecords(int32_t* count);

}  // namespace qv
