// Names, codes and GUIDs.
#include <algorithm>
#include <optional>
#include <string_view>

#include "qv/core/convert.h"
#include "qv/core/detail/language_text.h"
#include "qv/core/detail/text_sink.h"
#include "qv/core/printf.h"
#include "qv/platform/characters.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

using platform::isWhiteSpace;
using View = std::basic_string_view<WCHAR>;

constexpr size_t kMaxName = 259;

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

// ---- Stereo names

// A destination of either channel, written in pieces.
void putPieces(WCHAR* destination, uint32_t capacity, std::initializer_list<View> pieces) {
  if (!destination || !capacity) return;
  TextSink out(destination, capacity - 1);
  for (const View piece : pieces) out.put(piece.data(), piece.size());
  out.terminate();
}

struct Channels {
  WCHAR* left;
  uint32_t leftCapacity;
  WCHAR* right;
  uint32_t rightCapacity;
  void put(std::initializer_list<View> leftPieces, std::initializer_list<View> rightPieces) const {
    putPieces(left, leftCapacity, leftPieces);
    putPieces(right, rightCapacity, rightPieces);
  }
};

struct Number {
  size_t start;
  size_t end;
  uint64_t value;
};

std::optional<Number> nextNumber(View name, size_t from) {
  size_t start = from;
  while (start < name.size() && !isDigit(name[start])) ++start;
  if (start == name.size()) return std::nullopt;
  Number number = {start, start, 0};
  for (; number.end < name.size() && isDigit(name[number.end]); ++number.end)
    number.value = std::min<uint64_t>(number.value * 10 + static_cast<uint64_t>(name[number.end] - TEXT('0')),
                                      1ull << 40);
  return number;
}

bool isSlashAt(View name, size_t at) {
  return at < name.size() && name[at] == TEXT('/');
}

bool splitAtPair(View name, const Channels& channels) {
  std::optional<Number> first = nextNumber(name, 0);
  while (first) {
    const std::optional<Number> second = nextNumber(name, first->end);
    if (second && second->value == first->value + 1) {
      const size_t length =
          isSlashAt(name, first->end) && isSlashAt(name, second->end) ? second->end : name.size();
      channels.put({name.substr(0, first->end), name.substr(second->end, length - second->end)},
                   {name.substr(0, first->start), name.substr(second->start, length - second->start)});
      return true;
    }
    first = second;
  }
  return false;
}

// The slash of "S/PDIF" belongs to a word.
bool isOwnSlash(View name, size_t at) {
  return name[at] == TEXT('/') &&
         !(at > 0 && name[at - 1] == TEXT('S') && name.substr(at + 1, 4) == TEXT("PDIF"));
}

// In any case of letters, as a person reads it.
bool holdsWord(View name, View word) {
  const auto same = [](WCHAR a, WCHAR b) {
    WCHAR pair[] = {a, b};
    CharUpperBuffW(pair, 2);
    return pair[0] == pair[1];
  };
  return std::search(name.begin(), name.end(), word.begin(), word.end(), same) != name.end();
}

bool addSides(View name, const Channels& channels) {
  const View left = languageText(LanguageText::left), right = languageText(LanguageText::right);
  if (holdsWord(name, left) || holdsWord(name, right)) return false;
  channels.put({name, TEXT(" - "), left}, {name, TEXT(" - "), right});
  return true;
}

constexpr size_t kCommonStart = 3;

void splitAtSlash(View name, size_t slash, const Channels& channels) {
  View behind = name.substr(slash + 1);
  if (behind.size() > kCommonStart && name.substr(0, kCommonStart) == behind.substr(0, kCommonStart)) {
    const auto differs = std::mismatch(behind.begin(), behind.end(), name.begin(), name.end()).first;
    behind.remove_prefix(static_cast<size_t>(differs - behind.begin()));
  }
  const size_t blank = behind.find(TEXT(' '));
  const View tail = blank == View::npos ? View() : behind.substr(blank);
  const size_t before = name.substr(0, slash).rfind(TEXT(' '));
  channels.put({name.substr(0, slash), tail},
               {name.substr(0, before == View::npos ? 0 : before + 1), behind});
}

bool channelize(View name, const Channels& channels) {
  if (splitAtPair(name, channels)) return true;
  size_t first = View::npos, last = View::npos;
  for (size_t at = 0; at < name.size(); ++at) {
    if (!isOwnSlash(name, at)) continue;
    if (first == View::npos) first = at;
    last = at;
  }
  if (first == View::npos || first != last) return addSides(name, channels);
  splitAtSlash(name, first, channels);
  return true;
}

// ---- GUIDs

int hexValue(WCHAR c) {
  if (isDigit(c)) return c - TEXT('0');
  const WCHAR lower = c | 0x20;
  return lower >= TEXT('a') && lower <= TEXT('f') ? lower - TEXT('a') + 10 : -1;
}

// Up to `width` hexadecimal digits behind white space; false when there is none.
bool readHex(const WCHAR*& at, int width, uint32_t& value) {
  while (isWhiteSpace(*at)) ++at;
  value = 0;
  int count = 0;
  for (int digit; count < width && (digit = hexValue(*at)) >= 0; ++at, ++count)
    value = value << 4 | static_cast<uint32_t>(digit);
  return count > 0;
}

// One row a field: its digits, and whether a dash stands before it.
constexpr struct {
  int width;
  bool dash;
} kGuidFields[] = {{8, false}, {4, true},  {4, true},  {2, true},  {2, false}, {2, true},
                   {2, false}, {2, false}, {2, false}, {2, false}, {2, false}};

void storeField(GUID& guid, size_t field, uint32_t value) {
  if (field == 0)
    guid.Data1 = value;
  else if (field == 1)
    guid.Data2 = static_cast<uint16_t>(value);
  else if (field == 2)
    guid.Data3 = static_cast<uint16_t>(value);
  else
    guid.Data4[field - 3] = static_cast<uint8_t>(value);
}

}  // namespace
}  // namespace qv

void QvFourCCToString(uint32_t code, WCHAR* text) {
  for (int i = 0; i < 4; ++i) {
    const uint32_t character = code >> (8 * i) & 0xff;
    text[i] = character >= 0x20 && character <= 0x7e ? static_cast<WCHAR>(character) : TEXT('.');
  }
  text[4] = 0;
}

HRESULT QvGuidToString(const GUID& guid, WCHAR* destination, uint32_t capacity) {
  const uint8_t* b = guid.Data4;
  QvCchPrintF(destination, capacity, nullptr, TEXT("%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x"),
              static_cast<uint32_t>(guid.Data1), guid.Data2, guid.Data3, b[0], b[1], b[2], b[3], b[4], b[5],
              b[6], b[7]);
  return 0;
}

HRESULT QvGuidFromString(const WCHAR* text, GUID* guid) {
  constexpr HRESULT kUnreadable = static_cast<HRESULT>(0x80004005u);
  const WCHAR* at = text;
  for (size_t field = 0; field < sizeof qv::kGuidFields / sizeof *qv::kGuidFields; ++field) {
    uint32_t value = 0;
    if (qv::kGuidFields[field].dash && *at++ != TEXT('-')) return kUnreadable;
    if (!qv::readHex(at, qv::kGuidFields[field].width, value)) return kUnreadable;
    qv::storeField(*guid, field, value);
  }
  return 0;
}

bool QvChannelizeStereoName(const WCHAR* name, WCHAR* left, uint32_t leftCapacity, WCHAR* right,
                            uint32_t rightCapacity) {
  // A copy: a destination may be the name itself.
  WCHAR copy[qv::kMaxName + 1];
  qv::TextSink out(copy, qv::kMaxName);
  out.put(name, wcslen(name));
  out.terminate();
  return qv::channelize({copy, out.length()}, {left, leftCapacity, right, rightCapacity});
}

int32_t QvStringReplaceCharsW(WCHAR* text, WCHAR from, WCHAR to) {
  WCHAR* at = text;
  for (; *at; ++at)
    if (*at == from) *at = to;
  return static_cast<int32_t>(at - text);
}

int32_t QvStringReplaceChars(WCHAR* text, WCHAR from, WCHAR to) {
  return QvStringReplaceCharsW(text, from, to);
}

int32_t QvStripWhiteSpace(WCHAR* text) {
  const WCHAR* start = text;
  while (qv::isWhiteSpace(*start)) ++start;
  const WCHAR* end = start + wcslen(start);
  while (end > start && qv::isWhiteSpace(end[-1])) --end;
  const size_t length = static_cast<size_t>(end - start);
  std::copy(start, end, text);
  text[length] = 0;
  return static_cast<int32_t>(length);
}

WCHAR* QvPrepareName(const WCHAR* text, WCHAR* destination, uint32_t capacity) {
  if (capacity == 0) return nullptr;
  while (qv::isWhiteSpace(*text)) ++text;
  qv::TextSink out(destination, capacity - 1);
  out.put(text, wcslen(text));
  uint32_t length = out.terminate();
  while (length && qv::isWhiteSpace(destination[length - 1])) --length;
  destination[length] = 0;
  return length ? destination : nullptr;
}

int32_t QvFixNameForMenu(WCHAR* destination, const WCHAR* text, uint32_t capacity) {
  if (capacity == 0) return 0;
  qv::TextSink out(destination, capacity - 1);
  for (; *text; ++text) {
    // Half of a doubled sign would underline the next character.
    if (*text == TEXT('&') && out.room() < 2) break;
    if (*text == TEXT('&')) out.put(*text);
    if (!out.put(*text)) break;
  }
  return static_cast<int32_t>(out.terminate());
}
