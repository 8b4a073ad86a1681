#include "qv/app/workbench/settings_file.h"

#include <cstring>

namespace qv::workbench {
namespace {

constexpr size_t kLongestKeyName = 255;
constexpr size_t kLongestValueName = 16383;
constexpr size_t kDeepestKey = 32;
constexpr const WCHAR* kMark = TEXT("qv-settings");
constexpr const WCHAR* kHexDigits = TEXT("0123456789abcdef");

// ---- bytes and texts ------------------------------------------------------------------------------------

int hexValue(WCHAR c) {
  if (c >= '0' && c <= '9') return c - '0';
  const WCHAR lower = c | 32;
  return c < 0x80 && lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

WString hexOf(std::string_view bytes) {
  WString text;
  text.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    text += kHexDigits[static_cast<unsigned char>(byte) >> 4];
    text += kHexDigits[byte & 15];
  }
  return text;
}

WString unitsOf(std::string_view bytes) {
  WString units(bytes.size() / sizeof(WCHAR), 0);
  memcpy(units.data(), bytes.data(), units.size() * sizeof(WCHAR));
  return units;
}

std::string bytesOfUnits(WStringView units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WCHAR)};
}

std::vector<WString> splitTexts(WStringView units) {
  std::vector<WString> texts;
  while (!units.empty() && units[0] != 0) {
    const size_t end = std::min(units.find(WCHAR(0)), units.size());
    texts.emplace_back(units.substr(0, end));
    units.remove_prefix(std::min(end + 1, units.size()));
  }
  return texts;
}

// ---- quotes ---------------------------------------------------------------------------------------------

struct Escape {
  WCHAR letter;
  WCHAR character;
};
constexpr Escape kEscapes[] = {{'"', '"'}, {'\\', '\\'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}};

// Whether a unit would not survive as it is: control characters, halves of pairs, and what editors put in
// front.
bool wantsEscape(WStringView text, size_t at) {
  const WCHAR c = text[at];
  if (c < 32 || c == 0x7f || c == 0xfeff) return true;
  if (c >= 0xd800 && c < 0xdc00) return at + 1 == text.size() || (text[at + 1] & 0xfc00) != 0xdc00;
  return c >= 0xdc00 && c < 0xe000 && (at == 0 || (text[at - 1] & 0xfc00) != 0xd800);
}

WString quoted(WStringView text) {
  WString result(1, '"');
  for (size_t at = 0; at < text.size(); ++at) {
    WCHAR letter = 0;
    for (const Escape& escape : kEscapes) {
      if (escape.character == text[at]) letter = escape.letter;
    }
    if (letter != 0) {
      result.append(1, '\\').append(1, letter);
    } else if (wantsEscape(text, at)) {
      result.append(TEXT("\\u"));
      for (int shift = 12; shift >= 0; shift -= 4) result += kHexDigits[text[at] >> shift & 15];
    } else {
      result += text[at];
    }
  }
  return result += '"';
}

// One escape behind its backslash; false when there is no such one.
bool takeEscape(WStringView& line, WString& text) {
  if (line.empty()) return false;
  const WCHAR letter = line[0];
  line.remove_prefix(1);
  for (const Escape& escape : kEscapes) {
    if (escape.letter != letter) continue;
    text += escape.character;
    return true;
  }
  if (letter != 'u' || line.size() < 4) return false;
  int unit = 0;
  for (size_t i = 0; i < 4; ++i) {
    if (hexValue(line[i]) < 0) return false;
    unit = unit << 4 | hexValue(line[i]);
  }
  line.remove_prefix(4);
  text += static_cast<WCHAR>(unit);
  return true;
}

bool takeQuoted(WStringView& line, WString& text) {
  line.remove_prefix(1);
  while (!line.empty() && line[0] != '"') {
    const WCHAR c = line[0];
    line.remove_prefix(1);
    if (c != '\\') {
      text += c;
    } else if (!takeEscape(line, text)) {
      return false;
    }
  }
  if (line.empty()) return false;
  line.remove_prefix(1);
  return true;
}

// ---- lines ----------------------------------------------------------------------------------------------

struct Word {
  WString text;
  bool quoted = false;
  bool is(const WCHAR* bare) const { return !quoted && text == bare; }
};
using Words = std::vector<Word>;

bool isBlank(WCHAR c) {
  return c == ' ' || c == '\t';
}

// Splits a line; the sentence says what stops it.
const WCHAR* splitWords(WStringView line, Words& words) {
  while (true) {
    while (!line.empty() && isBlank(line[0])) line.remove_prefix(1);
    if (line.empty()) return nullptr;
    Word& word = words.emplace_back();
    word.quoted = line[0] == '"';
    if (word.quoted) {
      if (!takeQuoted(line, word.text))
        return TEXT("A quoted text has no end, or an escape that there is not.");
      if (!line.empty() && !isBlank(line[0])) return TEXT("A blank is missing behind a quoted text.");
      continue;
    }
    size_t end = 0;
    while (end < line.size() && !isBlank(line[end]) && line[end] != '"') ++end;
    word.text = line.substr(0, end);
    line.remove_prefix(end);
    if (!line.empty() && line[0] == '"') return TEXT("A blank is missing before a quoted text.");
  }
}

// A name that a metric has: perhaps a letter, then digits.
bool isPlainName(WStringView name) {
  if (!name.empty() && (name[0] == 'S' || name[0] == 'B' || name[0] == 'Z')) name.remove_prefix(1);
  return !name.empty() && name.size() <= 10 &&
         name.find_first_not_of(TEXT("0123456789")) == WStringView::npos;
}

bool isKeyPath(WStringView path) {
  size_t depth = 0;
  while (true) {
    const size_t end = std::min(path.find('\\'), path.size());
    if (end == 0 || end > kLongestKeyName || ++depth > kDeepestKey) return false;
    if (path.substr(0, end).find(WCHAR(0)) != WStringView::npos) return false;
    if (end == path.size()) return true;
    path.remove_prefix(end + 1);
  }
}

// ---- the types ------------------------------------------------------------------------------------------

// Each reads the words behind its own; the sentence says what is wrong with them.
const WCHAR* readNumber(const Words& words, StoredValue& value) {
  int64_t number = 0;
  if (words.size() != 3 || words[2].quoted || !parseInteger(words[2].text, number) || number < INT32_MIN ||
      number > UINT32_MAX) {
    return TEXT("A number has 32 bits and decimal digits.");
  }
  const auto low = static_cast<uint32_t>(number);
  value.bytes.assign(reinterpret_cast<const char*>(&low), sizeof(low));
  return nullptr;
}

const WCHAR* readText(const Words& words, StoredValue& value) {
  if (words.size() != 3 || !words[2].quoted) return TEXT("A text stands in one pair of quotes.");
  if (words[2].text.find(WCHAR(0)) != WString::npos)
    return TEXT("A text has no character 0 in it; raw can say that.");
  value.bytes = bytesOfText(words[2].text);
  return nullptr;
}

const WCHAR* readTexts(const Words& words, StoredValue& value) {
  std::vector<WString> texts;
  for (size_t i = 2; i < words.size(); ++i) {
    const WString& text = words[i].text;
    if (!words[i].quoted) return TEXT("Each text stands in a pair of quotes.");
    if (text.empty() || text.find(WCHAR(0)) != WString::npos) {
      return TEXT("Texts in a list are not empty and have no character 0 in them; raw can say that.");
    }
    texts.push_back(text);
  }
  value.bytes = bytesOfTexts(texts);
  return nullptr;
}

const WCHAR* readHexAt(const Words& words, size_t at, std::string& bytes) {
  const bool good =
      words.size() <= at || (words.size() == at + 1 && !words[at].quoted && parseHex(words[at].text, bytes));
  return good ? nullptr : TEXT("Bytes are hexadecimal digits, two a byte, without blanks.");
}

const WCHAR* readBytes(const Words& words, StoredValue& value) {
  return readHexAt(words, 2, value.bytes);
}

const WCHAR* readRaw(const Words& words, StoredValue& value) {
  int64_t type = 0;
  if (words.size() < 3 || words[2].quoted || !parseInteger(words[2].text, type) || type < 0 ||
      type > UINT32_MAX) {
    return TEXT("Behind raw stands the number of the registry's type.");
  }
  value.type = static_cast<uint32_t>(type);
  return readHexAt(words, 3, value.bytes);
}

struct Type {
  const WCHAR* name;
  uint32_t registryType;
  const WCHAR* (*read)(const Words& words, StoredValue& value);
};
constexpr Type kTypes[] = {
    {TEXT("number"), REG_DWORD, readNumber},  {TEXT("text"), REG_SZ, readText},
    {TEXT("texts"), REG_MULTI_SZ, readTexts}, {TEXT("bytes"), REG_BINARY, readBytes},
    {TEXT("raw"), REG_NONE, readRaw},
};
constexpr const Type& kRaw = kTypes[4];

// Whether the readable form of its type says all there is to a value.
bool saysAll(const StoredValue& value) {
  switch (value.type) {
    case REG_DWORD:
      return value.bytes.size() == sizeof(uint32_t);
    case REG_SZ: {
      const WString units = unitsOf(value.bytes);
      return !units.empty() && value.bytes == bytesOfText(units.c_str());
    }
    case REG_MULTI_SZ:
      return value.bytes == bytesOfTexts(splitTexts(unitsOf(value.bytes)));
    default:
      return value.type == REG_BINARY;
  }
}

const Type& typeRow(const StoredValue& value) {
  for (const Type& type : kTypes) {
    if (type.registryType == value.type && saysAll(value)) return type;
  }
  return kRaw;
}

// ---- reading --------------------------------------------------------------------------------------------

class Reader {
 public:
  explicit Reader(StoredSettings& settings) : settings_(settings) {}

  // Takes one line; the sentence says what is wrong with it.
  const WCHAR* take(std::string_view bytes) {
    if (bytes.ends_with('\r')) bytes.remove_suffix(1);
    if (bytes.starts_with('#')) return nullptr;
    WString line;
    if (!decodeUtf8(bytes, line)) return TEXT("The line is not valid UTF-8 text.");
    Words words;
    if (const WCHAR* fault = splitWords(line, words); fault != nullptr) return fault;
    if (words.empty()) return nullptr;
    if (!marked_) return takeMark(words);
    if (settings_.application.empty()) return takeApplication(words);
    return words[0].is(TEXT("key")) ? takeKey(words) : takeValue(words);
  }

  // What is still missing at the end.
  const WCHAR* finish() const {
    return settings_.application.empty() ? TEXT("The file names no application.") : nullptr;
  }

 private:
  const WCHAR* takeMark(const Words& words) {
    marked_ = words.size() == 2 && words[0].is(kMark) && words[1].is(TEXT("1"));
    return marked_ ? nullptr : TEXT("The file does not begin with: qv-settings 1");
  }

  const WCHAR* takeApplication(const Words& words) {
    if (words.size() != 3 || !words[0].is(TEXT("application")) || !words[1].quoted || words[2].quoted) {
      return TEXT("The second line is: application \"NAME\" VERSION");
    }
    const WString& name = words[1].text;
    if (!isKeyPath(name) || name.find('\\') != WString::npos)
      return TEXT("This is no name of an application.");
    if (!parseVersion(words[2].text, settings_.version)) {
      return kVersionUsage;
    }
    settings_.application = name;
    settings_.keys.emplace_back();
    return nullptr;
  }

  const WCHAR* takeKey(const Words& words) {
    const bool good =
        words.size() == 2 && words[1].quoted && (words[1].text.empty() || isKeyPath(words[1].text));
    if (!good) return TEXT("A sub-key is one quoted path without empty parts.");
    settings_.keys.push_back({words[1].text, {}});
    return nullptr;
  }

  const WCHAR* takeValue(const Words& words) {
    StoredValue value;
    value.name = words[0].text;
    const bool named =
        words[0].quoted ? value.name.size() <= kLongestValueName && value.name.find(WCHAR(0)) == WString::npos
                        : isPlainName(value.name);
    if (!named) return TEXT("A name is S, B, Z or nothing and digits; any other stands in quotes.");
    for (const Type& type : kTypes) {
      if (words.size() < 2 || !words[1].is(type.name)) continue;
      value.type = type.registryType;
      if (const WCHAR* fault = type.read(words, value); fault != nullptr) return fault;
      settings_.keys.back().values.push_back(std::move(value));
      return nullptr;
    }
    return TEXT("The type is number, text, texts, bytes or raw.");
  }

  StoredSettings& settings_;
  bool marked_ = false;
};

WString widen(const std::string& digits) {
  return {digits.begin(), digits.end()};
}

}  // namespace

bool parseSettings(std::string_view text, StoredSettings& settings, SettingsFault& fault) {
  settings = {};
  fault = {};
  if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
  Reader reader(settings);
  const WCHAR* sentence = nullptr;
  while (!text.empty() && sentence == nullptr) {
    const size_t end = std::min(text.find('\n'), text.size());
    ++fault.line;
    sentence = reader.take(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (sentence == nullptr) sentence = reader.finish();
  if (sentence == nullptr) {
    fault = {};
    return true;
  }
  settings = {};
  fault = {std::max(fault.line, 1u), sentence};
  return false;
}

std::string printSettings(const StoredSettings& settings) {
  WString version =
      widen(std::to_string(settings.version >> 24) + "." + std::to_string(settings.version >> 16 & 255));
  std::string text = "qv-settings 1\napplication " + encodeUtf8(quoted(settings.application)) + " " +
                     encodeUtf8(version) + "\n";
  const WString* current = nullptr;
  for (const StoredKey& key : settings.keys) {
    if (current != nullptr || !key.path.empty()) text += "key " + encodeUtf8(quoted(key.path)) + "\n";
    current = &key.path;
    for (const StoredValue& value : key.values) {
      const WString name = isPlainName(value.name) ? value.name : quoted(value.name);
      text += encodeUtf8(name + TEXT(" ") + typeOf(value));
      const WString data = dataOf(value);
      if (!data.empty()) text += " " + encodeUtf8(data);
      text += "\n";
    }
  }
  return text;
}

WString typeOf(const StoredValue& value) {
  const Type& type = typeRow(value);
  return &type == &kRaw ? WString(type.name) + TEXT(" ") + widen(std::to_string(value.type))
                        : WString(type.name);
}

WString dataOf(const StoredValue& value) {
  const Type& type = typeRow(value);
  if (type.read == readNumber) {
    int32_t number = 0;
    memcpy(&number, value.bytes.data(), sizeof(number));
    return widen(std::to_string(number));
  }
  if (type.read == readText) return quoted(unitsOf(value.bytes).c_str());
  if (type.read != readTexts) return hexOf(value.bytes);
  WString data;
  for (const WString& text : splitTexts(unitsOf(value.bytes))) {
    if (!data.empty()) data += ' ';
    data += quoted(text);
  }
  return data;
}

std::string bytesOfText(WStringView text) {
  return bytesOfUnits(WString(text) + WCHAR(0));
}

std::string bytesOfTexts(const std::vector<WString>& texts) {
  WString units;
  for (const WString& text : texts) units.append(text).append(1, 0);
  return bytesOfUnits(units.append(1, 0));
}

bool parseHex(WStringView digits, std::string& bytes) {
  bytes.clear();
  if (digits.size() % 2 != 0) return false;
  for (size_t at = 0; at < digits.size(); at += 2) {
    const int high = hexValue(digits[at]);
    const int low = hexValue(digits[at + 1]);
    if (high < 0 || low < 0) return false;
    bytes += static_cast<char>(high << 4 | low);
  }
  return true;
}

bool parseVersion(WStringView text, uint32_t& version) {
  const size_t point = std::min(text.find('.'), text.size());
  int64_t major = 0;
  int64_t minor = 0;
  if (!parseInteger(text.substr(0, point), major) || major < 0 || major > 255) return false;
  if (point < text.size() && (!parseInteger(text.substr(point + 1), minor) || minor < 0 || minor > 255))
    return false;
  version = static_cast<uint32_t>(major) << 24 | static_cast<uint32_t>(minor) << 16;
  return true;
}

}  // namespace qv::workbench
