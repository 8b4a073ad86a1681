#include "qv/files/filetext.h"

#include "qv/core/printf.h"
#include "qv/core/printf_window.h"
#include "qv/files/detail/text.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"
#include "qv/platform/path_text.h"

namespace qv::files {
namespace {

constexpr View kDots = TEXT("...");
constexpr HRESULT kNoWindow = 0x0004e001;
constexpr int32_t kWindowMargin = 4;

// ---- Free space

constexpr uint32_t kTenthOfMegabyte = 102400;
constexpr uint32_t kGigabytesFrom = 10000;  // tenths of a megabyte
constexpr uint32_t kUnknown = 0xffffffffu;

// ---- Measuring

// The screen, with a font of somebody's selected into it.
class ScreenFont {
 public:
  explicit ScreenFont(HFONT font) : context_(windowCalls().screen()) {
    if (context_ != nullptr && font != nullptr) before_ = windowCalls().selectFont(context_, font);
  }
  ~ScreenFont() {
    if (before_ != nullptr) windowCalls().selectFont(context_, before_);
    if (context_ != nullptr) windowCalls().releaseScreen(context_);
  }
  ScreenFont(const ScreenFont&) = delete;
  ScreenFont& operator=(const ScreenFont&) = delete;
  HDC context() const { return context_; }

 private:
  const HDC context_;
  HFONT before_ = nullptr;
};

HFONT fontOf(HWND window) {
  constexpr UINT kGetFont = 0x0031;  // WM_GETFONT
  return reinterpret_cast<HFONT>(windowCalls().send(window, kGetFont, 0, 0));
}

int32_t clientWidth(HWND window) {
  RECT client = {};
  return windowCalls().clientRect(window, &client) ? client.right - client.left : 0;
}

// In pixels; -1 if it can't be measured.
int32_t widthOf(HDC context, View text) {
  SIZE size = {};
  const bool measured =
      windowCalls().measure(context, text.data(), static_cast<int>(text.size()), &size) != 0;
  return measured ? size.cx : -1;
}

// ---- Paths

// How much of the path's head stays before the dots and the tail; npos if the path has to stay whole.
size_t headFor(HDC context, View path, size_t tailAt, size_t room, int32_t width) {
  const View tail = path.substr(tailAt);
  const int32_t whole = widthOf(context, path);
  if (whole < 0 || whole <= width) return View::npos;
  const int32_t left = width - widthOf(context, kDots) - widthOf(context, tail);
  if (left < 0) return View::npos;
  size_t head = tailAt;
  const auto tooLong = [&] { return head + kDots.size() + tail.size() > room; };
  while (head > 0 && (tooLong() || widthOf(context, path.substr(0, head)) > left)) --head;
  return tooLong() ? View::npos : head;
}

// Null texts and an empty path are the same for all styles.
bool takesPath(const WCHAR* path, WCHAR* text, int32_t capacity, HRESULT* status) {
  *status = path != nullptr && text != nullptr ? kOk : kInvalidArgument;
  if (FAILED(*status) || *path != 0) return !FAILED(*status);
  if (capacity >= 2) *text = 0;
  return false;
}

struct Style {
  void (*write)(HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity);
};

void writeEllipsis(HDC context, int32_t width, View shown, WCHAR* text, int32_t capacity) {
  writeCut(shown, text, capacity);
  QvCalcStringEllipsis(context, text, capacity, width);
}

constexpr Style kStyles[] = {
    {[](HDC, int32_t, const WCHAR* path, WCHAR* text, int32_t capacity) {
      writeCut(QvGetFileNamePtrW(path), text, capacity);
    }},
    {[](HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity) {
      QvCalcPathEllipsisEx(context, path, text, capacity, width);
    }},
    {[](HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity) {
      writeEllipsis(context, width, QvGetFileNamePtrW(path), text, capacity);
    }},
    {[](HDC, int32_t, const WCHAR*, WCHAR*, int32_t) {}},
    {[](HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity) {
      constexpr int32_t kCopy = 256;
      WCHAR copy[kCopy];
      writeEllipsis(context, width, path, copy, kCopy);
      writeCut(copy, text, capacity);
    }},
};

// Whether "head...\name" is narrow enough.
bool fits(HDC context, View text, int32_t width) {
  constexpr UINT kMeasureOnly = 1040;
  constexpr LONG kWide = 0x7fffff;  // so that nothing is broken into lines
  RECT box = {0, 0, kWide, 0};
  windowCalls().drawText(context, text.data(), static_cast<int>(text.size()), &box, kMeasureOnly);
  return box.right - box.left <= width;
}

}  // namespace
}  // namespace qv::files

using namespace qv::files;

WCHAR* QvFormatDiskFreeSpace(const WCHAR* path, WCHAR* text) {
  constexpr uint32_t kCapacity = 64;
  const HQVLANG language = qv::kernelLanguage;
  const uint32_t free = *path != 0 ? QvGetDiskFreeSpace(path, kTenthOfMegabyte) : kUnknown;
  if (free == kUnknown) {
    QvCchPrintF(text, kCapacity, nullptr, TEXT("%s"), QvGetString(language, qv::kTextUnknownMegabytes));
    return text;
  }
  const bool large = free >= kGigabytesFrom;
  const WCHAR* pattern = QvGetString(language, large ? qv::kTextGigabytes : qv::kTextMegabytes);
  QvCchPrintF(text, kCapacity, nullptr, pattern, large ? free >> 10 : free);
  return text;
}

int32_t QvFilenameLogicalCompare(const WCHAR* a, const WCHAR* b) {
  return StrCmpLogicalW(a, b);
}

int32_t QvCalcPathEllipsisEx(HDC context, const WCHAR* path, WCHAR* text, int32_t capacity, int32_t width) {
  const View whole = path;
  const size_t tailAt = whole.find_last_of(TEXT("\\/"));
  const size_t head = tailAt == View::npos || capacity <= 0
                          ? View::npos
                          : headFor(context, whole, tailAt, static_cast<size_t>(capacity) - 1, width);
  if (head == View::npos) {
    writeCut(whole, text, capacity);
    return 0;
  }
  WCHAR* end = writeCut(whole.substr(0, head), text, capacity);
  end = writeCut(kDots, end, capacity - static_cast<int32_t>(end - text));
  writeCut(whole.substr(tailAt), end, capacity - static_cast<int32_t>(end - text));
  return 0;
}

int32_t QvCalcPathEllipsis(HDC context, WCHAR* text, int32_t capacity, int32_t width) {
  constexpr int32_t kCopy = 1300;
  WCHAR copy[kCopy];
  writeCut(text, copy, kCopy);
  QvCalcPathEllipsisEx(context, copy, text, capacity, width);
  return 1;
}

HRESULT QvCalcPathEllipsisExCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity,
                                int32_t margin) {
  const ScreenFont screen(fontOf(window));
  if (screen.context() == nullptr) return qv::kGeneralFailure;
  QvCalcPathEllipsisEx(screen.context(), path, text, capacity, clientWidth(window) - margin);
  return qv::kOk;
}

HRESULT QvFilenameFormat(HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity,
                         uint32_t style) {
  HRESULT status = qv::kOk;
  if (style >= std::size(kStyles)) return qv::kInvalidArgument;
  if (takesPath(path, text, capacity, &status)) kStyles[style].write(context, width, path, text, capacity);
  return status;
}

HRESULT QvFilenameFormatForCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity,
                               uint32_t style) {
  if (window == nullptr) return kNoWindow;
  return QvFilenameFormatForWidth(fontOf(window), clientWidth(window) - kWindowMargin, path, text, capacity,
                                  style);
}

HRESULT QvFilenameFormatForWidth(HFONT font, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity,
                                 uint32_t style) {
  const ScreenFont screen(font);
  if (screen.context() == nullptr) return qv::kGeneralFailure;
  return QvFilenameFormat(screen.context(), width, path, text, capacity, style);
}

HRESULT QvFitPathToCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity, int32_t margin) {
  if (capacity < qv::kPathCapacity) return qv::kInvalidArgument;
  const ScreenFont screen(fontOf(window));
  if (screen.context() == nullptr) return qv::kGeneralFailure;
  const int32_t width = clientWidth(window) - margin;
  const View whole = path;
  const size_t nameAt = static_cast<size_t>(QvGetFileNamePtrW(path) - path);
  if (nameAt == 0 || fits(screen.context(), whole, width)) {
    writeCut(whole, text, capacity);
    return qv::kOk;
  }
  const PathBlock line = newPath();
  if (!line) return qv::kOutOfMemory;
  size_t head = nameAt;
  int32_t length = 0;
  do {
    head /= 2;
    length = 0;
    for (const View part : {whole.substr(0, head), View(TEXT("...\\")), whole.substr(nameAt)})
      length = static_cast<int32_t>(
          writeCut(part, line.get() + length, static_cast<int32_t>(kLongestPath) - length) - line.get());
  } while (head > 0 && !fits(screen.context(), View(line.get(), static_cast<size_t>(length)), width));
  writeCut(line.get(), text, capacity);
  return qv::kOk;
}
