#include "qv/platform/message_calls.h"

#include <new>
#include <string>

#include "qv/platform/files.h"
#include "qv/platform/text.h"

namespace qv {
namespace {

using Text = std::basic_string<WCHAR>;

void writeLine(const Text& text) {
  const int count = static_cast<int>(text.size());
  std::string bytes(static_cast<size_t>(count) * 3, '\0');
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), count, bytes.data(),
                                       static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<size_t>(size));
  bytes += '\n';
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
            nullptr);
}

Text titled(const WCHAR* title, const WCHAR* text) {
  Text line;
  if (title && *title) line.append(title).append(TEXT(": "));
  return line.append(text);
}

// No one is there to press it: the first button answers, and whoever reads along sees which that was.
int32_t writeDialog(MessageDialog& box) {
  if (box.buttons.empty()) return 0;
  const MessageButton& first = box.buttons.front();
  try {
    Text line = titled(box.title, box.text);
    if (box.details) line.append(TEXT("\n")).append(box.details);
    line += TEXT(" [");
    for (const WCHAR* c = first.text; *c; ++c) {
      if (*c != '&') line += *c;
    }
    writeLine(line += ']');
  } catch (const std::bad_alloc&) {
    // The answer stands, said or not.
  }
  return box.closing(box.context, first.number);
}

// The first button of the system's sets 0 to 6.
int32_t writeSystemBox(HWND, const WCHAR* text, const WCHAR* title, uint32_t flags) {
  constexpr int32_t kFirst[] = {1, 1, 3, 6, 6, 4, 2};
  const uint32_t type = flags & 0xf;
  if (type >= std::size(kFirst)) return 0;
  try {
    writeLine(titled(title, text));
  } catch (const std::bad_alloc&) {
    // As above.
  }
  return kFirst[type];
}

constexpr MessageCalls kNone = {
    writeDialog,
    writeSystemBox,
    [](HWND window) { return window; },
    [](const WCHAR*) {},
};

const MessageCalls* inForce = &kNone;

}  // namespace

const MessageCalls& messageCalls() {
  return *inForce;
}

void setMessageCalls(const MessageCalls* calls) {
  inForce = calls ? calls : &kNone;
}

}  // namespace qv
