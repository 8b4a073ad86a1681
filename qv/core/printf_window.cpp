#include "qv/core/printf_window.h"

#include <algorithm>
#include <memory>
#include <new>

#include "qv/core/detail/language_text.h"
#include "qv/core/detail/text_sink.h"
#include "qv/core/printf.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr uint32_t kTextCapacity = 4096;
constexpr uint32_t kEditCapacity = 2048;
constexpr int kMaxCompared = 8192;

constexpr UINT kSetFont = 0x0030;       // WM_SETFONT
constexpr UINT kSetSelection = 0x00b1;  // EM_SETSEL
constexpr UINT kReplace = 0x00c2;       // EM_REPLACESEL
constexpr UINT kWestern = 1252;

HFONT (*dialogFont)() = nullptr;

// A format as the window shall show it; formats that need no formatting are not copied.
class WindowText {
 public:
  WindowText(const WCHAR* format, va_list arguments) : text_(format) {
    if (!wcschr(format, TEXT('$')) && !wcschr(format, TEXT('%'))) return;
    // The bounded form: a long argument must not run over the buffer.
    QvNVPrintF(buffer_, kTextCapacity, nullptr, format, arguments);
    text_ = buffer_;
  }
  WindowText(const WindowText&) = delete;
  WindowText& operator=(const WindowText&) = delete;
  const WCHAR* text() const { return text_; }

 private:
  const WCHAR* text_;
  WCHAR buffer_[kTextCapacity];
};

int32_t setText(HWND window, const WCHAR* text) {
  return windowCalls().setText(window, text) ? static_cast<int32_t>(wcslen(text)) : 0;
}

bool showsAlready(HWND window, const WCHAR* text) {
  WCHAR shown[kMaxCompared];
  if (!window || windowCalls().textLength(window) >= kMaxCompared) return false;
  shown[0] = 0;
  windowCalls().text(window, shown, kMaxCompared);
  return lstrcmpW(shown, text) == 0;
}

int32_t setItemNoFlash(HWND dialog, int32_t item, const WCHAR* text) {
  const HWND window = windowCalls().dialogItem(dialog, item);
  return showsAlready(window, text) ? static_cast<int32_t>(wcslen(text)) : setText(window, text);
}

int32_t format(HWND window, const WCHAR* format, va_list arguments) {
  const WindowText text(format, arguments);
  return setText(window, text.text());
}

void appendToEdit(HWND edit, const WCHAR* text) {
  windowCalls().send(edit, kSetSelection, static_cast<WPARAM>(-1), -1);
  windowCalls().send(edit, kReplace, 0, reinterpret_cast<LPARAM>(text));
}

// ---- Ellipsis

constexpr WCHAR kDots[] = TEXT("...");
constexpr int32_t kDotCount = 3;
constexpr int32_t kMargin = 2;
constexpr uint32_t kStackCopy = 521;

bool measure(HDC context, const WCHAR* text, int32_t length, int32_t& width) {
  SIZE size = {};
  if (!windowCalls().measure(context, text, length, &size)) return false;
  width = static_cast<int32_t>(size.cx);
  return true;
}

// Working space of `length` characters: on the stack for any usual text.
class Copy {
 public:
  explicit Copy(size_t length)
      : text_(length < kStackCopy ? stack_ : (owned_.reset(new (std::nothrow) WCHAR[length]), owned_.get())) {
  }
  WCHAR* get() { return text_; }

 private:
  WCHAR stack_[kStackCopy];
  std::unique_ptr<WCHAR[]> owned_;
  WCHAR* text_;
};

enum class End { head, tail };
enum class Fit { failed, fits, shortened };

// What is left of a text of `length` characters when the end that goes has lost enough of it.
struct Rest {
  int32_t start;
  int32_t length;
};

// Takes a character off; a surrogate pair goes whole.
void takeOff(const WCHAR* text, End end, Rest& rest) {
  if (end == End::tail) {
    --rest.length;
    if (rest.length && isLowSurrogate(text[rest.length]) && isHighSurrogate(text[rest.length - 1]))
      --rest.length;
    return;
  }
  const bool pair =
      rest.length > 1 && isHighSurrogate(text[rest.start]) && isLowSurrogate(text[rest.start + 1]);
  rest.start += pair ? 2 : 1;
  rest.length -= pair ? 2 : 1;
}

bool findRest(HDC context, const WCHAR* text, int32_t capacity, int32_t limit, End end, Rest& rest) {
  int32_t dots = 0, width = 0;
  if (!measure(context, kDots, kDotCount, dots)) return false;
  do {
    if (rest.length == 0) return false;
    takeOff(text, end, rest);
    if (!measure(context, text + rest.start, rest.length, width)) return false;
  } while (width + dots > limit || rest.length + kDotCount >= capacity);
  return true;
}

Fit shorten(HDC context, WCHAR* text, int32_t capacity, int32_t width, End end) {
  const int32_t length = static_cast<int32_t>(wcslen(text));
  const int32_t limit = width - kMargin;
  Copy copy(static_cast<size_t>(length) + kDotCount + 1);
  if (!copy.get()) return Fit::failed;
  int32_t whole = 0;
  if (!measure(context, text, length, whole)) return Fit::failed;
  if (whole <= limit) return Fit::fits;
  Rest rest = {0, length};
  if (!findRest(context, text, std::max(capacity, 0), limit, end, rest)) return Fit::failed;
  WCHAR* at = copy.get();
  if (end == End::head) at = std::copy(kDots, kDots + kDotCount, at);
  at = std::copy(text + rest.start, text + rest.start + rest.length, at);
  if (end == End::tail) at = std::copy(kDots, kDots + kDotCount, at);
  *at++ = 0;
  std::copy(copy.get(), at, text);
  return Fit::shortened;
}

}  // namespace

void setDialogFontSource(HFONT (*source)()) {
  dialogFont = source;
}

}  // namespace qv

uint32_t QvComposeStr(WCHAR* destination, uint32_t capacity, const WCHAR* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_STRING, format, 0, 0, destination, capacity, &arguments);
  va_end(arguments);
  return length;
}

int32_t QvSetWindowTextF(HWND window, const WCHAR* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int32_t length = qv::format(window, format, arguments);
  va_end(arguments);
  return length;
}

int32_t QvSetDlgItemTextF(HWND dialog, int32_t item, const WCHAR* format, ...) {
  if (!format) return 0;
  va_list arguments;
  va_start(arguments, format);
  const int32_t length = qv::format(qv::windowCalls().dialogItem(dialog, item), format, arguments);
  va_end(arguments);
  return length;
}

int32_t QvSetWindowTextNoF(HWND window, const WCHAR* text) {
  return QvSetWindowTextF(window, TEXT("%s"), text);
}

int32_t QvSetDlgItemTextNoF(HWND dialog, int32_t item, const WCHAR* text) {
  return QvSetDlgItemTextF(dialog, item, TEXT("%s"), text);
}

int32_t QvSetDlgItemTextNoFlashF(HWND dialog, int32_t item, const WCHAR* format, ...) {
  if (!format) return 0;
  va_list arguments;
  va_start(arguments, format);
  const qv::WindowText text(format, arguments);
  va_end(arguments);
  return qv::setItemNoFlash(dialog, item, text.text());
}

int32_t QvSetDlgItemTextNoFlashNoF(HWND dialog, int32_t item, const WCHAR* text) {
  return QvSetDlgItemTextNoFlashF(dialog, item, TEXT("%s"), text);
}

int32_t QvSetWindowTextId(HQVLANG language, HWND window, uint32_t id, ...) {
  va_list arguments;
  va_start(arguments, id);
  const int32_t length = qv::format(window, qv::languageString(language, id), arguments);
  va_end(arguments);
  return length;
}

int32_t QvSetDlgItemTextId(HQVLANG language, HWND dialog, int32_t item, uint32_t id, ...) {
  va_list arguments;
  va_start(arguments, id);
  const HWND window = qv::windowCalls().dialogItem(dialog, item);
  const int32_t length = qv::format(window, qv::languageString(language, id), arguments);
  va_end(arguments);
  return length;
}

int32_t QvMEditPrintF(HWND edit, const WCHAR* format, ...) {
  if (!format) {
    qv::windowCalls().setText(edit, TEXT(""));
    return 0;
  }
  const WCHAR* plain = format;
  while (*plain == TEXT('~')) ++plain;
  WCHAR text[qv::kEditCapacity];
  uint32_t length = 0;
  va_list arguments;
  va_start(arguments, format);
  QvNVPrintF(text, qv::kEditCapacity, &length, plain, arguments);
  va_end(arguments);
  qv::appendToEdit(edit, text);
  if (plain == format) qv::appendToEdit(edit, TEXT("\r\n"));
  return static_cast<int32_t>(length);
}

int32_t QvDlgInitFont(HWND dialog, HFONT font) {
  const qv::WindowCalls& calls = qv::windowCalls();
  if (calls.ansiCodePage() == qv::kWestern) return 0;
  if (!font && qv::dialogFont) font = qv::dialogFont();
  for (HWND child = calls.firstChild(dialog); child; child = calls.nextSibling(child))
    calls.send(child, qv::kSetFont, reinterpret_cast<WPARAM>(font), 1);
  return 1;
}

bool QvCalcStringEllipsis(HDC context, WCHAR* text, int32_t capacity, int32_t width) {
  return qv::shorten(context, text, capacity, width, qv::End::tail) == qv::Fit::shortened;
}

bool QvCalcStringEllipsisFromEnd(HDC context, WCHAR* text, int32_t capacity, int32_t width) {
  return qv::shorten(context, text, capacity, width, qv::End::head) != qv::Fit::failed;
}

int32_t QvBeep(int32_t sound) {
  constexpr const WCHAR* kSounds[] = {TEXT("SystemDefault"), TEXT("SystemExclamation"),
                                      TEXT("SystemAsterisk"), TEXT("SystemQuestion"),
                                      TEXT("Harrowgate_DoneProcessing")};
  const bool known = sound >= 0 && sound < static_cast<int32_t>(sizeof kSounds / sizeof *kSounds);
  return sndPlaySoundW(kSounds[known ? sound : 0], SND_ASYNC);
}
