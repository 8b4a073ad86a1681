#include <algorithm>
#include <charconv>
#include <ctime>

#include "qv/platform/files.h"
#include "qv/platform/linux/internet_ftp.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

using View = std::string_view;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool readNumber(View text, uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool setName(View name, WIN32_FIND_DATAW& found) {
  const std::u16string text = utf16From(name);
  const bool bad =
      std::ranges::any_of(text, [](char16_t c) { return c < u' ' || c == 0x7f || c == u'/' || c == u'\\'; });
  if (bad || text.empty() || text == u"." || text == u".." || text.size() >= MAX_PATH) return false;
  text.copy(found.cFileName, text.size());
  found.cFileName[text.size()] = 0;
  return true;
}

void setSize(uint64_t size, WIN32_FIND_DATAW& found) {
  found.nFileSizeHigh = static_cast<DWORD>(size >> 32);
  found.nFileSizeLow = static_cast<DWORD>(size);
}

// "20240517093012", in UTC.
void setTime(View digits, WIN32_FIND_DATAW& found) {
  constexpr uint64_t kUnixEpoch = 116444736000000000;
  if (digits.size() < 14 || !std::ranges::all_of(digits.substr(0, 14), isDigit)) return;
  const auto field = [&](size_t at, size_t count) {
    int value = 0;
    std::from_chars(digits.data() + at, digits.data() + at + count, value);
    return value;
  };
  tm time = {};
  time.tm_year = field(0, 4) - 1900, time.tm_mon = field(4, 2) - 1, time.tm_mday = field(6, 2);
  time.tm_hour = field(8, 2), time.tm_min = field(10, 2), time.tm_sec = field(12, 2);
  const int64_t seconds = timegm(&time);
  if (seconds < -11644473600) return;
  const uint64_t ticks = kUnixEpoch + static_cast<uint64_t>(seconds) * 10'000'000;
  found.ftLastWriteTime = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// The next word, taken off the text with the blanks before it.
View nextWord(View& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const View word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

// -rw-r--r-- 1 user group 1234 Jan 31 09:30 name
bool parseUnixLine(View line, WIN32_FIND_DATAW& found) {
  const View rights = nextWord(line);
  if (rights.size() < 10 || View("-dl").find(rights[0]) == View::npos) return false;
  nextWord(line), nextWord(line), nextWord(line);
  uint64_t size = 0;
  if (!readNumber(nextWord(line), size)) return false;
  nextWord(line), nextWord(line), nextWord(line);
  if (line.empty()) return false;
  View name = line.substr(1);
  if (rights[0] == 'l') name = name.substr(0, name.find(" -> "));
  found.dwFileAttributes = rights[0] == 'd' ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
  setSize(rights[0] == '-' ? size : 0, found);
  return setName(name, found);
}

// 01-31-24  09:30AM  <DIR>  name
bool parseWindowsLine(View line, WIN32_FIND_DATAW& found) {
  const View date = nextWord(line), time = nextWord(line), size = nextWord(line);
  if (date.size() < 8 || !isDigit(date[0]) || time.find(':') == View::npos) return false;
  uint64_t bytes = 0;
  const bool folder = size == "<DIR>";
  if (!folder && !readNumber(size, bytes)) return false;
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  found.dwFileAttributes = folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
  setSize(bytes, found);
  return setName(line, found);
}

bool sameWord(View a, View lower) {
  return std::ranges::equal(a, lower, {},
                            [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

}  // namespace

bool parseMachineLine(View line, WIN32_FIND_DATAW& found) {
  found = {};
  found.dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
  const size_t blank = line.find(' ');
  if (blank == View::npos) return false;
  View facts = line.substr(0, blank);
  while (!facts.empty()) {
    const size_t end = std::min(facts.find(';'), facts.size());
    const View fact = facts.substr(0, end);
    facts.remove_prefix(std::min(end + 1, facts.size()));
    const size_t equals = std::min(fact.find('='), fact.size());
    const View name = fact.substr(0, equals), value = fact.substr(std::min(equals + 1, fact.size()));
    uint64_t size = 0;
    if (sameWord(name, "type") && (sameWord(value, "cdir") || sameWord(value, "pdir"))) return false;
    if (sameWord(name, "type") && sameWord(value, "dir")) found.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    if (sameWord(name, "size") && readNumber(value, size)) setSize(size, found);
    if (sameWord(name, "modify")) setTime(value, found);
  }
  return setName(line.substr(blank + 1), found);
}

bool parseHumanLine(View line, WIN32_FIND_DATAW& found) {
  found = {};
  return parseUnixLine(line, found) || parseWindowsLine(line, found);
}

}  // namespace qv::platform
