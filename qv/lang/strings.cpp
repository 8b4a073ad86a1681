// Texts by number and by record.
#include <algorithm>
#include <atomic>
#include <cstring>

#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"

namespace qv {
namespace {

constexpr uintptr_t kFirstAddress = 0x10000;
constexpr int32_t kLongestText = 1024;
constexpr uint16_t kEnglishResources = 1033;

// An entry of the cache: the number, then the text with its terminator.
struct CachedString {
  uint32_t number;
  WCHAR text[1];
};

// QvList compares key first: the key is the number itself.
int32_t CALLBACK compareNumber(int64_t, const void* key, const void* item) {
  const uint32_t wanted = *static_cast<const uint32_t*>(key);
  const uint32_t number = static_cast<const CachedString*>(item)->number;
  return wanted < number ? -1 : wanted > number ? 1 : 0;
}

bool isRecordAddress(uintptr_t address) {
  return address >= kFirstAddress && address % 4 == 0 &&
         *reinterpret_cast<const uint16_t*>(address) == kRecordMarker;
}

// The column whose language is the handle's, 1 (English) when there is none.
int32_t findSlot(LCID lcid) {
  const LCID wanted = QvLang_GetConditionedLCID(lcid);
  const uint32_t* first = kLanguageTable;
  const uint32_t* end = first + kLanguageCount;
  const uint32_t* found =
      std::find_if(first, end, [wanted](LCID own) { return QvLang_GetConditionedLCID(own) == wanted; });
  return found == end ? 1 : static_cast<int32_t>(found - first) + 1;
}

int32_t slotOf(HQVLANG language) {
  if (language == nullptr) return 1;
  // Threads may look it up at once: they find the same.
  const std::atomic_ref<int32_t> kept(language->slot);
  int32_t slot = kept.load(std::memory_order_relaxed);
  if (slot != 0) return slot;
  slot = findSlot(language->lcid != 0 ? language->lcid : GetUserDefaultUILanguage());
  kept.store(slot, std::memory_order_relaxed);
  return slot;
}

// A numeric entry counts only when the resource compiler stored the string with its own terminator, since the
// record then keeps its address. The resource language is the one behind the slot's own in the table.
const WCHAR* resolveNumber(HQVLANG language, uint32_t number, int32_t slot) {
  if (language == nullptr || language->languageInstance == nullptr) return nullptr;
  const auto resourceLanguage = static_cast<uint16_t>(kLanguageTable[slot]);
  const StringResource found = findStringResource(language->languageInstance, number, resourceLanguage);
  if (found.text == nullptr) return nullptr;
  const WCHAR* last = found.text + found.length;
  if (found.length != 0 && last[-1] == 0) --last;
  return last < found.end && *last == 0 ? found.text : nullptr;
}

int32_t readNumber(HMODULE module, uint32_t number, uint16_t resourceLanguage, WCHAR* text,
                   int32_t capacity) {
  const StringResource found = findStringResource(module, number, resourceLanguage);
  if (found.text == nullptr || found.length == 0) return 0;
  const uint32_t room = static_cast<uint32_t>(capacity);
  const uint32_t copied = std::min(found.length, room - 1);
  std::copy_n(found.text, copied, text);
  text[copied] = 0;
  return static_cast<int32_t>(std::min(found.length, room));
}

int32_t readString(HQVLANG language, uint32_t number, WCHAR* text, int32_t capacity) {
  if (language->languageInstance != nullptr && language->languageActive != 0) {
    const uint16_t own = static_cast<uint16_t>(language->lcid);
    const int32_t length = readNumber(language->languageInstance, number, own, text, capacity);
    if (length != 0) return length;
  }
  if (language->mainInstance == language->languageInstance) {
    return readNumber(language->mainInstance, number, kEnglishResources, text, capacity);
  }
  return LoadStringW(language->mainInstance, number, text, capacity);
}

// Translators mark texts with "^*"; the mark is no part of the text.
int32_t removeMark(WCHAR* text, int32_t length) {
  if (text[0] != '^' || text[1] != '*') return length;
  memmove(text, text + 2, (static_cast<size_t>(lstrlenW(text)) - 1) * sizeof(WCHAR));
  return length - 2;
}

const WCHAR* cacheString(HQVLANG language, uint32_t number) {
  WCHAR text[kLongestText];
  if (QvLoadString(language, number, text, kLongestText) == 0) return kEmptyText;
  const size_t length = static_cast<size_t>(lstrlenW(text));
  constexpr size_t kOverhead = 8;
  alignas(CachedString) uint8_t entry[sizeof(text) + kOverhead] = {};
  const auto cached = reinterpret_cast<CachedString*>(entry);
  cached->number = number;
  std::copy_n(text, length + 1, cached->text);
  const int32_t index =
      QvList_FindSortedInsertIndexRange(language->stringCache, &number, 0, -1, compareNumber);
  int32_t inserted = -1;
  QvList_AllocAndInsertItem(language->stringCache, entry, (length + 1) * sizeof(WCHAR) + kOverhead, index,
                            &inserted);
  if (inserted < 0) return kEmptyText;
  return static_cast<CachedString* const*>(language->stringCache->data)[inserted]->text;
}

}  // namespace

StringResource findStringResource(HMODULE module, uint32_t number, uint16_t resourceLanguage) {
  const auto block = static_cast<uint16_t>((number >> 4) + 1);
  const HRSRC found = FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(block), resourceLanguage);
  if (found == nullptr) return {};
  const auto* at = static_cast<const WCHAR*>(LockResource(LoadResource(module, found)));
  const WCHAR* end = at == nullptr ? nullptr : at + SizeofResource(module, found) / sizeof(WCHAR);
  // Sixteen strings a block, each a length and that many characters. The block may lie.
  for (uint32_t skip = number & 15; at < end; --skip) {
    const uint32_t length = *at++;
    if (length > static_cast<size_t>(end - at)) return {};
    if (skip == 0) return {at, length, end};
    at += length;
  }
  return {};
}

}  // namespace qv

using namespace qv;

const WCHAR* QvGetString(HQVLANG language, QVLANGSTRINGID record) {
  const auto own = reinterpret_cast<TextRecord*>(const_cast<const WCHAR**>(record));
  const int32_t count = own->count & 0xff;
  const int32_t slot = std::max(1, std::min(slotOf(language), count));
  // Threads may resolve an entry at once: they find the same address.
  const std::atomic_ref<const WCHAR*> entry(own->entries[slot - 1]);
  const WCHAR* kept = entry.load(std::memory_order_relaxed);
  const auto value = reinterpret_cast<uintptr_t>(kept);
  if (value >= kFirstAddress) return kept;
  const WCHAR* text = resolveNumber(language, static_cast<uint32_t>(value), slot);
  if (text == nullptr) text = own->entries[0];
  if (reinterpret_cast<uintptr_t>(text) < kFirstAddress) return kEmptyText;  // English itself has no text
  entry.store(text, std::memory_order_relaxed);
  return text;
}

const WCHAR* QvGetString(HQVLANG language, uint32_t number) {
  if (language == nullptr || language->stringCache == nullptr) return kEmptyText;
  const LanguageLock lock(language);
  const int32_t index = QvList_FindSortedItemRange(language->stringCache, &number, 0, -1, compareNumber);
  if (index < 0) return cacheString(language, number);
  return static_cast<CachedString* const*>(language->stringCache->data)[index]->text;
}

const WCHAR* QvGetStringSmart(HQVLANG language, const WCHAR* text) {
  const auto value = reinterpret_cast<uintptr_t>(text);
  if (value == 0) return nullptr;
  if (value < kFirstAddress) return QvGetString(language, static_cast<uint32_t>(value));
  return isRecordAddress(value) ? QvGetString(language, reinterpret_cast<QVLANGSTRINGID>(text)) : text;
}

bool IsQVLANGSTRINGID(HQVLANG, const WCHAR* text) {
  return isRecordAddress(reinterpret_cast<uintptr_t>(text));
}

int32_t QvLoadString(HQVLANG language, uint32_t number, WCHAR* text, int32_t capacity) {
  if (text == nullptr || capacity < 1) return 0;
  text[0] = 0;
  if (language == nullptr) return 0;
  const int32_t length = readString(language, number, text, capacity);
  return length == 0 ? 0 : removeMark(text, length);
}

int32_t QvLoadString(HQVLANG language, QVLANGSTRINGID record, WCHAR* text, int32_t capacity) {
  if (text == nullptr || capacity < 1) return 0;
  lstrcpynW(text, QvGetString(language, record), capacity);
  return removeMark(text, lstrlenW(text));
}
