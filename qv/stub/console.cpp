#include "qv/stub/console.h"

#include <cstdarg>

#include "qv/core/printf.h"
#include "qv/platform/console.h"

namespace qv::stub {
namespace {

constexpr int32_t kLineCapacity = 2048;

void write(DWORD stream, const WCHAR* format, va_list arguments) {
  WCHAR text[kLineCapacity] = {};
  QvNVPrintF(text, kLineCapacity, nullptr, format, arguments);
  char bytes[3 * kLineCapacity];
  const int32_t length =
      WideCharToMultiByte(CP_UTF8, 0, text, lstrlenW(text), bytes, sizeof(bytes), nullptr, nullptr);
  platform::writeText(stream, {bytes, static_cast<size_t>(length)});
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
  std::string line;
  const bool any = platform::readLine(&line);
  while (!line.empty() && line.back() == ' ') line.pop_back();
  answer.assign(line.size(), 0);
  const auto size = static_cast<int32_t>(line.size());
  if (size > 0) {
    const int32_t count = MultiByteToWideChar(CP_UTF8, 0, line.data(), size, answer.data(), size);
    answer.resize(static_cast<size_t>(count));
  }
  return any;
}

bool isWatched() {
  return platform::isTerminal(STD_ERROR_HANDLE);
}

}  // namespace qv::stub
