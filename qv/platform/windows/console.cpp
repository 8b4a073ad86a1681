#include "qv/platform/console.h"

#include <algorithm>

#include "qv/platform/files.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

constexpr size_t kLongestLine = 4096;
constexpr wchar_t kEndOfInput = 26;  // Ctrl-Z, first on its line
// What a console takes at once; a cut inside a character would show as two broken ones.
constexpr size_t kPieceBytes = 8192;

bool writeToConsole(HANDLE console, std::string_view utf8) {
  wchar_t text[kPieceBytes];
  while (!utf8.empty()) {
    size_t size = std::min(utf8.size(), kPieceBytes);
    while (size < utf8.size() && size > 0 && (utf8[size] & 0xc0) == 0x80) --size;
    const int count = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(size), text, kPieceBytes);
    DWORD written = 0;
    if (count <= 0 || !WriteConsoleW(console, text, static_cast<DWORD>(count), &written, nullptr))
      return false;
    utf8.remove_prefix(size);
  }
  return true;
}

bool writeBytes(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min<size_t>(bytes.size(), 1u << 20));
    if (!WriteFile(file, bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

void appendUtf8(std::string* line, std::wstring_view text) {
  char bytes[8];
  const int count = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes,
                                        sizeof(bytes), nullptr, nullptr);
  line->append(bytes, static_cast<size_t>(count));
}

// One character, two units where it takes them; false at the end.
bool readCharacter(HANDLE input, bool console, std::string* character) {
  character->clear();
  DWORD got = 0;
  if (!console) {
    char byte = 0;
    if (!ReadFile(input, &byte, 1, &got, nullptr) || got == 0) return false;
    character->push_back(byte);
    return true;
  }
  wchar_t units[2];
  if (!ReadConsoleW(input, units, 1, &got, nullptr) || got == 0) return false;
  const bool pair =
      IS_HIGH_SURROGATE(units[0]) && ReadConsoleW(input, units + 1, 1, &got, nullptr) && got == 1;
  appendUtf8(character, {units, pair ? 2u : 1u});
  return true;
}

}  // namespace

bool isTerminal(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

bool writeText(DWORD stream, std::string_view utf8) {
  const HANDLE handle = GetStdHandle(stream);
  return isTerminal(stream) ? writeToConsole(handle, utf8) : writeBytes(handle, utf8);
}

// Byte by byte: what stands behind the line belongs to whoever reads next.
bool readLine(std::string* line) {
  line->clear();
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  const bool console = isTerminal(STD_INPUT_HANDLE);
  std::string character;
  bool any = false;
  while (line->size() < kLongestLine && readCharacter(input, console, &character)) {
    if (console && line->empty() && character[0] == kEndOfInput) return false;
    any = true;
    if (character == "\n") break;
    *line += character;
  }
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return any;
}

}  // namespace qv::platform
