#include "qv/core/detail/tokens.h"

#include "qv/core/list.h"
#include "qv/core/printf.h"

namespace qv {
namespace {

// One allocation: this header, the name, the value.
struct Token {
  uint64_t reserved;
  const WCHAR* name;
  uint64_t valueLength;
  const WCHAR* value;
};

tQVLIST* tokens = nullptr;

// Holds the table, so that a search and what follows it are one step.
class TokenLock {
 public:
  TokenLock() { EnterCriticalSection(&tokens->lock); }
  ~TokenLock() { LeaveCriticalSection(&tokens->lock); }
  TokenLock(const TokenLock&) = delete;
  TokenLock& operator=(const TokenLock&) = delete;
};

// A character that no locale is needed to fold; 0 for anything else.
WCHAR plainCharacter(WCHAR c) {
  if (c >= 'A' && c <= 'Z') return static_cast<WCHAR>(c + 32);
  return c < 0x80 ? c : WCHAR{0};
}

bool isPlain(const WCHAR* name) {
  while (plainCharacter(*name) != 0) ++name;
  return *name == 0;
}

// Plain names first, in their own order; the rest as the locale has it, which costs a hundred times as much.
int32_t CALLBACK compareName(int64_t, const void* key, const void* item) {
  auto a = static_cast<const WCHAR*>(key), b = static_cast<const Token*>(item)->name;
  const bool plainA = isPlain(a), plainB = isPlain(b);
  if (plainA != plainB) return plainA ? -1 : 1;
  if (!plainA) return lstrcmpiW(a, b);
  for (; *a != 0 && plainCharacter(*a) == plainCharacter(*b); ++a, ++b) {
  }
  return int32_t{plainCharacter(*a)} - plainCharacter(*b);
}

int32_t find(const WCHAR* name) {
  return QvList_FindSortedItemRange(tokens, name, 0, -1, compareName);
}

void* alignTo4(void* place) {
  return reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(place) + 3) & ~uintptr_t{3});
}

void fill(Token* token, const WCHAR* name, size_t nameLength, const WCHAR* value, size_t valueLength) {
  WCHAR* nameText = reinterpret_cast<WCHAR*>(token + 1);
  std::memcpy(nameText, name, (nameLength + 1) * sizeof(WCHAR));
  WCHAR* valueText = static_cast<WCHAR*>(alignTo4(nameText + nameLength + 1));
  std::memcpy(valueText, value, (valueLength + 1) * sizeof(WCHAR));
  *token = {0, nameText, valueLength, valueText};
}

bool add(const WCHAR* name, const WCHAR* value) {
  const TokenLock held;
  const int32_t old = find(name);
  if (old >= 0) QvList_DeleteList(tokens, old, 1, 0);
  const int32_t index = QvList_FindSortedInsertIndexRange(tokens, name, 0, -1, compareName);
  const size_t nameLength = wcslen(name), valueLength = wcslen(value);
  void* block = nullptr;
  const uint64_t size = sizeof(Token) + (nameLength + 1 + valueLength + 1) * sizeof(WCHAR) + 3;
  if (FAILED(QvList_AllocItem(tokens, size, &block))) return false;
  fill(static_cast<Token*>(block), name, nameLength, value, valueLength);
  if (SUCCEEDED(QvList_InsertList(tokens, index, nullptr, -1))) return true;
  QvList_DeleteList(tokens, -1, -1, 0);
  return false;
}

}  // namespace

bool initializeTokens() {
  if (tokens) return true;
  return SUCCEEDED(QvList_CreateExZ(&tokens, 0, 16, 16, kListLocked | kListHeap, 0, 0, 0));
}

void terminateTokens() {
  QvList_Destroy(tokens);
  tokens = nullptr;
}

TokenResult putToken(TextSink& out, const WCHAR* name) {
  if (!tokens) return TokenResult::missing;
  const TokenLock held;
  const int32_t index = find(name);
  if (index < 0) return TokenResult::missing;
  const Token* token = static_cast<const Token*>(listPointers(tokens)[index]);
  return out.put(token->value, token->valueLength) ? TokenResult::fitted : TokenResult::cut;
}

}  // namespace qv

int32_t QvPrintF_AddToken(const WCHAR* name, const WCHAR* value) {
  return qv::tokens && qv::add(name, value) ? 1 : 0;
}

bool QvPrintF_DeleteToken(const WCHAR* name) {
  if (!qv::tokens) return false;
  const qv::TokenLock held;
  const int32_t index = qv::find(name);
  if (index >= 0) QvList_DeleteList(qv::tokens, index, 1, 1);
  return index >= 0;
}
