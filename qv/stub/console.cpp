#include "qv/stub/console.h"

#include <cstdarg>

#include "qv/core/printf.h"

namespace qv::stub {
namespace {

constexpr int32_t kLineCapacity = 2048;
constexpr size_t kLongestAnswer = 4096;

void write(DWORD stream, const WCHAR* format, va_list arguments) {
  WCHAR text[kLineCapacity] = {};
  QvNVPrintF(text, kLineCapacity, nullptr, format, arguments);
  char bytes[3 * kLineCapacity];
  const int32_t length =
      WideCharToMultiByte(CP_UTF8, 0, text, lstrlenW(text), bytes, sizeof(bytes), nullptr, nullptr);
  DWORD written = 0;
  WriteFile(GetStdHandle(stream), bytes, static_cast<DWORD>(length), &written, nullptr);
}

}  // namespace

void say(const WCHAR* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(STD_OUTPUT_HANDLE, format, arguments);
  va_end(arguments);
}

void complain(const WCHAR* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(STD_ERROR_HANDLE, format, arguments);
  va_end(arguments);
}

bool ask(Text& answer) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  std::string line;
  char byte = 0;
  DWORD got = 0;
  // Byte by byte: what stands behind the line belongs to the next question.
  bool any = false;
  while (ReadFile(input, &byte, 1, &got, nullptr) && got == 1) {
    any = true;
    if (byte == '\n' || line.size() == kLongestAnswer) break;
    line += byte;
  }
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  answer.assign(line.size(), 0);
  const auto size = static_cast<int32_t>(line.size());
  if (size > 0) answer.resize(MultiByteToWideChar(CP_UTF8, 0, line.data(), size, answer.data(), size));
  return any;
}

bool isWatched() {
  const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
  return stream != nullptr && GetFileType(stream) == FILE_TYPE_CHAR;
}

}  // namespace qv::stub
