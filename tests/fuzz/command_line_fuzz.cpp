// Any text is a command line. The judge deletes, keeps and cuts character by character in a string of its
// own; AddressSanitizer holds the split to its block.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "qv/app/detail/command_line.h"
#include "qv/platform/win32.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

bool isSpace(WCHAR c) {
  constexpr std::basic_string_view<WCHAR> kSpaces = TEXT(
      "\t\n\v\f\r \u00a0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200a\u2028")
      TEXT("\u2029\u202f\u205f\u3000");
  return kSpaces.find(c) != kSpaces.npos;
}

// Deletes the quotes of one argument where they stand and gives the end of the argument.
size_t unquote(Text& line, size_t at) {
  bool quoted = false;
  while (at < line.size()) {
    if (line[at] == '"') {
      line.erase(at, 1);
      if (quoted && at < line.size() && line[at] == '"') {
        ++at;
      } else {
        quoted = !quoted;
      }
    } else if (isSpace(line[at]) && !quoted) {
      break;
    } else {
      ++at;
    }
  }
  return at;
}

std::vector<Text> slowSplit(Text line) {
  std::vector<Text> arguments;
  size_t at = 0;
  for (;;) {
    while (at < line.size() && isSpace(line[at])) ++at;
    if (at == line.size()) return arguments;
    const size_t end = unquote(line, at);
    arguments.push_back(line.substr(at, end - at));
    at = end;
  }
}

void checkBlock(WCHAR** split, size_t count, size_t length) {
  const auto* first = reinterpret_cast<const char*>(split);
  const auto* end = first + length * 12 + 8;
  const auto* pointersEnd = reinterpret_cast<const char*>(split + count + 1);
  require(split[count] == nullptr);
  for (size_t i = 0; i < count; ++i) {
    const auto* text = reinterpret_cast<const char*>(split[i]);
    require(text >= pointersEnd && text < end);
    require(i == 0 || split[i] > split[i - 1]);
  }
}

// The first byte says how the others become characters: two bytes each, or one each out of a few that matter.
Text lineOf(const uint8_t* data, size_t size) {
  constexpr WCHAR kLetters[] = {'"', ' ', 'a', '\t', '\\', 0x3000, '"', 'b'};
  Text line;
  if (data[0] % 2 == 0) {
    for (size_t i = 1; i < size; ++i) line += kLetters[data[i] % 8];
  } else {
    line.resize((size - 1) / sizeof(WCHAR));
    memcpy(line.data(), data + 1, line.size() * sizeof(WCHAR));
  }
  return line.substr(0, line.find(WCHAR{0}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Text line = lineOf(data, size);
  const std::vector<Text> expected = slowSplit(line);
  int32_t count = -1;
  WCHAR** split = qv::splitCommandLine(line.c_str(), count);
  require(static_cast<size_t>(count) == expected.size());
  require((split == nullptr) == expected.empty());
  if (split == nullptr) return 0;
  checkBlock(split, expected.size(), line.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    require(expected[i] == split[i]);
    split[i][0] = 0;  // the text is the caller's to change
  }
  GlobalFree(split);
  return 0;
}
