#include "qv/platform/console.h"

#include <algorithm>

#include "qv/platform/detail/console_text.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

constexpr wchar_t kEndOfInput = 26;  // Ctrl-Z
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

void appendUtf8(std::string* line, std::wstring_view text) {
  char bytes[8];
  const int count = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes,
                                        sizeof(bytes), nullptr, nullptr);
  line->append(bytes, static_cast<size_t>(count));
}

// One character of UTF-8, two units where it takes them; false at the end, which Ctrl-Z is.
bool readCharacter(HANDLE console, std::string* character) {
  wchar_t units[2];
  DWORD got = 0;
  if (!ReadConsoleW(console, units, 1, &got, nullptr) || got == 0 || units[0] == kEndOfInput) return false;
  const bool pair =
      IS_HIGH_SURROGATE(units[0]) && ReadConsoleW(console, units + 1, 1, &got, nullptr) && got == 1;
  character->clear();
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
  return isTerminal(stream) ? writeToConsole(handle, utf8) : detail::writeBytes(handle, utf8);
}

bool readLine(std::string* line) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  const auto read = isTerminal(STD_INPUT_HANDLE) ? readCharacter : detail::readByte;
  return detail::readLineFrom([=](std::string* character) { return read(input, character); }, line);
}

}  // namespace qv::platform
