#include "qv/frame/msgbox.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <string>

#include "qv/core/printf.h"
#include "qv/frame/detail/msgbox.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr int32_t kNotHandled = -1;
constexpr uint32_t kCustomCapacity = 2048;
constexpr uint32_t kPlainCapacity = 4096;
constexpr uint32_t kFirstForeignSet = 6;  // the system's box knows the sets below

struct ButtonText {
  int32_t number;
  const TextRecord& text;
};
const ButtonText kButtons[] = {
    {QVANSWER_OK, kTextOk},
    {QVANSWER_CANCEL, kTextCancel},
    {QVANSWER_ABORT, kTextAbort},
    {QVANSWER_RETRY, kTextRetry},
    {QVANSWER_IGNORE, kTextIgnore},
    {QVANSWER_YES, kTextYes},
    {QVANSWER_NO, kTextNo},
    {QVANSWER_YESTOALL, kTextYesToAll},
    {QVANSWER_DELETE, kTextDeleteButton},
    {QVANSWER_NOTOALL, kTextNoToAll},
};

constexpr int kMostButtons = 5;
// The sets by type, a zero ending each; a row of zeros is no set.
constexpr int32_t kSets[16][kMostButtons + 1] = {
    {QVANSWER_OK},
    {QVANSWER_OK, QVANSWER_CANCEL},
    {QVANSWER_ABORT, QVANSWER_RETRY, QVANSWER_IGNORE},
    {QVANSWER_YES, QVANSWER_NO, QVANSWER_CANCEL},
    {QVANSWER_YES, QVANSWER_NO},
    {QVANSWER_RETRY, QVANSWER_CANCEL},
    {},
    {},
    {},
    {},
    {QVANSWER_YES, QVANSWER_YESTOALL, QVANSWER_NO, QVANSWER_CANCEL},
    {QVANSWER_YES, QVANSWER_NO, QVANSWER_DELETE},
    {QVANSWER_YES, QVANSWER_NO, QVANSWER_NOTOALL, QVANSWER_CANCEL},
    {QVANSWER_YES, QVANSWER_YESTOALL, QVANSWER_NO, QVANSWER_NOTOALL, QVANSWER_CANCEL},
};

// The buttons of a set; empty for what is none.
std::span<const int32_t> setOf(uint32_t flags) {
  const int32_t* numbers = kSets[flags & QVMSGBOX_BUTTONS];
  const int32_t* end = std::find(numbers, numbers + kMostButtons, 0);
  return {numbers, end};
}

std::mutex dataLock;
MsgBoxAppData data;
void (*linkOpener)(HWND, const WCHAR*);

// What stands between the caller's arguments and a box: the text, formatted if it asks for it.
class BoxText {
 public:
  BoxText(const WCHAR* format, uint32_t capacity, va_list arguments) : text_(format ? format : TEXT("")) {
    if (!wcschr(text_, TEXT('$')) && !wcschr(text_, TEXT('%'))) return;
    buffer_[0] = 0;
    // The bounded form: long arguments must not run over the buffer.
    QvNVPrintF(buffer_, capacity, nullptr, text_, arguments);
    text_ = buffer_;
  }
  BoxText(const BoxText&) = delete;
  BoxText& operator=(const BoxText&) = delete;
  const WCHAR* text() const { return text_; }

 private:
  const WCHAR* text_;
  WCHAR buffer_[kPlainCapacity];
};

HWND parentOf(HWND window, const MsgBoxAppData& app) {
  if (window == QVMSGBOX_NOPARENT) return nullptr;
  if (window || !app.mainWindow) return window;
  return messageCalls().activePopup(app.mainWindow);
}

int32_t askHook(const MsgBoxAppData& app, HWND window, const WCHAR* text, uint32_t flags) {
  return app.hook ? app.hook(app.hookData, window, text, app.applicationName, flags) : kNotHandled;
}

int32_t askHookWithDetails(const MsgBoxAppData& app, HWND window, const MsgBoxRequest& request) {
  if (!app.hook || !request.details) return askHook(app, window, request.text, request.flags);
  try {
    std::basic_string<WCHAR> text = request.text;
    text += TEXT("\r\n<Details>\r\n");
    text += request.details;
    text += TEXT("\r\n</Details>");
    return askHook(app, window, text.c_str(), request.flags);
  } catch (const std::bad_alloc&) {
    return askHook(app, window, request.text, request.flags);
  }
}

void followLink(void* context, HWND window) {
  const WCHAR* target = static_cast<const MsgBoxRequest*>(context)->linkTarget;
  if (linkOpener) {
    linkOpener(window, target);
  } else {
    messageCalls().openAddress(target);
  }
}

// A set of this dialog's buttons with their texts in the kernel's language.
struct ButtonRow {
  MessageButton buttons[kMostButtons];
  size_t count = 0;

  explicit ButtonRow(uint32_t flags) {
    for (const int32_t number : setOf(flags)) {
      const auto found = std::find_if(std::begin(kButtons), std::end(kButtons),
                                      [number](const ButtonText& each) { return each.number == number; });
      buttons[count++] = {number, QvGetString(kernelLanguage, found->text)};
    }
  }
};

void fillTexts(MessageDialog& box, const MsgBoxRequest& request, const MsgBoxAppData& app) {
  box.title = request.title ? request.title : app.applicationName;
  box.text = request.text;
  box.details = request.details;
  if ((request.flags & QVMSGBOX_CHECKFIELD) == QVMSGBOX_CHECKBOX) {
    box.checkBox =
        request.checkBoxText ? request.checkBoxText : QvGetString(kernelLanguage, kTextDoNotShowAgain);
    box.checked = request.checkState && *request.checkState != 0;
  }
  if (request.linkTarget && request.linkText) box.link = request.linkText;
  box.showDetails = QvGetString(kernelLanguage, kTextShowDetails);
  box.hideDetails = QvGetString(kernelLanguage, kTextHideDetails);
  // Japanese strokes need a point more.
  constexpr int32_t kJapanese = 17, kLargePoints = 9, kPoints = 8;
  box.face = TEXT("MS Shell Dlg");
  box.points = (QvLang_GetLCID(kernelLanguage) & 0x3ff) == kJapanese ? kLargePoints : kPoints;
}

int32_t runDialog(const MsgBoxAppData& app, HWND window, MsgBoxRequest& request) {
  settleButtons(request);
  const ButtonRow row(request.flags);
  MessageDialog box;
  fillTexts(box, request, app);
  box.instance = app.instance;
  box.parent = parentOf(window, app);
  box.icon = request.flags & QVMSGBOX_ICONS;
  box.noCancel = request.noCancel;
  box.buttons = {row.buttons, row.count};
  box.detailsHeight = request.detailsHeight;
  box.detailsOpen = request.detailsOpen;
  box.context = &request;
  box.closing = [](void* context, int32_t button) {
    return closingAnswer(*static_cast<const MsgBoxRequest*>(context), button);
  };
  box.followLink = followLink;
  const int32_t answer = messageCalls().dialog(box);
  if (box.checkBox && request.checkState) *request.checkState = box.checked ? 1 : 0;
  return answer;
}

// Every box of the toolkit's own ends up here.
int32_t showBox(HWND window, MsgBoxRequest request) {
  if ((request.flags & QVMSGBOX_DETAILS) != QVMSGBOX_DETAILS) {
    request.details = nullptr;
  } else if (!request.details) {
    return 0;
  }
  if (!request.text) request.text = TEXT("");
  const MsgBoxAppData app = msgBoxAppData();
  const int32_t answer = askHookWithDetails(app, window, request);
  return answer != kNotHandled ? answer : runDialog(app, window, request);
}

// The system's box, unless only the toolkit's has these buttons.
int32_t showPlain(HWND window, uint32_t flags, const WCHAR* text) {
  if ((flags & QVMSGBOX_BUTTONS) < kFirstForeignSet) return QvMessageBox(window, text, nullptr, flags);
  MsgBoxRequest request;
  request.flags = flags & (QVMSGBOX_BUTTONS | QVMSGBOX_ICONS);
  request.text = text;
  return showBox(window, request);
}

void divert(const QVMSGBOXNOUI& quiet, const WCHAR* text) {
  if (quiet.write) quiet.write(quiet.context, text);
}

int32_t answerQuietly(uint64_t hookData, HWND, const WCHAR* text, const WCHAR*, uint32_t flags) {
  const QVMSGBOXNOUI& quiet = *reinterpret_cast<const QVMSGBOXNOUI*>(hookData);
  divert(quiet, text);
  const std::span<const int32_t> buttons = setOf(flags);
  if (buttons.size() < 2) return QVANSWER_OK;
  if (quiet.choice >= 0 && static_cast<size_t>(quiet.choice) < buttons.size()) {
    return buttons[static_cast<size_t>(quiet.choice)];
  }
  divert(quiet, TEXT("Invalid Message Box parameter...User intervention is needed!!!!"));
  return kNotHandled;
}

}  // namespace

// A copy, so that no lock is held while a hook or a user takes their time.
MsgBoxAppData msgBoxAppData() {
  const std::lock_guard hold(dataLock);
  return data;
}

void settleButtons(MsgBoxRequest& request) {
  const std::span<const int32_t> buttons = setOf(request.flags);
  if (buttons.empty()) request.flags &= ~QVMSGBOX_BUTTONS;
  // "OK" alone lets Escape stand for it.
  request.noCancel =
      buttons.size() > 1 && std::find(buttons.begin(), buttons.end(), QVANSWER_CANCEL) == buttons.end();
}

int32_t closingAnswer(const MsgBoxRequest& request, int32_t button) {
  if (button != QVANSWER_CANCEL) {
    const bool known = std::any_of(std::begin(kButtons), std::end(kButtons),
                                   [button](const ButtonText& each) { return each.number == button; });
    return known ? button : 0;
  }
  if (request.noCancel) return 0;
  return (request.flags & QVMSGBOX_BUTTONS) == QVMSGBOX_OK ? QVANSWER_OK : QVANSWER_CANCEL;
}

void setLinkOpener(void (*opener)(HWND, const WCHAR*)) {
  linkOpener = opener;
}

void resetMsgBox() {
  const std::lock_guard hold(dataLock);
  data = {};
  linkOpener = nullptr;
}

}  // namespace qv

int32_t QvMsgBoxSetAppData(HINSTANCE instance, HWND mainWindow, const WCHAR* applicationName) {
  const std::lock_guard hold(qv::dataLock);
  qv::data.thread = GetCurrentThreadId();
  qv::data.instance = instance;
  qv::data.mainWindow = mainWindow;
  lstrcpynW(qv::data.applicationName, applicationName ? applicationName : TEXT(""),
            static_cast<int>(std::size(qv::data.applicationName)));
  return 1;
}

int32_t QvMsgBoxSetHook(QVMSGBOXHOOK hook, uint64_t hookData) {
  const std::lock_guard hold(qv::dataLock);
  if (qv::data.thread != GetCurrentThreadId()) return 0;
  qv::data.hook = hook;
  qv::data.hookData = hookData;
  return 1;
}

int32_t QvMsgBoxSetNoUIHook(const QVMSGBOXNOUI* quiet) {
  const std::lock_guard hold(qv::dataLock);
  if (qv::data.thread != GetCurrentThreadId()) return 0;
  if (!quiet && qv::data.hook != qv::answerQuietly) return 1;
  qv::data.hook = quiet ? qv::answerQuietly : nullptr;
  qv::data.hookData = reinterpret_cast<uintptr_t>(quiet);
  return 1;
}

int32_t QvMessageBox(HWND window, const WCHAR* text, const WCHAR* title, uint32_t flags) {
  if (!text) text = TEXT("");
  const qv::MsgBoxAppData app = qv::msgBoxAppData();
  const int32_t answer = qv::askHook(app, window, text, flags);
  if (answer != qv::kNotHandled) return answer;
  return qv::messageCalls().systemBox(qv::parentOf(window, app), text, title ? title : app.applicationName,
                                      flags);
}

// One line a form: va_start has to stand in the variadic function itself.
#define QV_FORMATTED(capacity, last)                \
  va_list arguments;                                \
  va_start(arguments, last);                        \
  const qv::BoxText box(last, capacity, arguments); \
  va_end(arguments)

int32_t QvMsgBoxF(HWND window, uint32_t flags, const WCHAR* format, ...) {
  QV_FORMATTED(qv::kPlainCapacity, format);
  return qv::showPlain(window, flags, box.text());
}

int32_t QvMsgBoxNoF(HWND window, uint32_t flags, const WCHAR* text) {
  return qv::showPlain(window, flags, text);
}

int32_t QvMsgBoxId(HQVLANG language, HWND window, uint32_t flags, uint32_t id, ...) {
  va_list arguments;
  va_start(arguments, id);
  const qv::BoxText box(QvGetString(language, id), qv::kPlainCapacity, arguments);
  va_end(arguments);
  return qv::showPlain(window, flags, box.text());
}

int32_t QvMsgBox_CustomF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* format, ...) {
  QV_FORMATTED(qv::kCustomCapacity, format);
  return QvMsgBox_CustomNoF(window, flags, details, box.text());
}

int32_t QvMsgBox_CustomNoF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* text) {
  return QvMsgBox_TitledNoF(window, flags, details, nullptr, text);
}

int32_t QvMsgBox_TitledF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* title,
                         const WCHAR* format, ...) {
  QV_FORMATTED(qv::kCustomCapacity, format);
  return QvMsgBox_TitledNoF(window, flags, details, title, box.text());
}

int32_t QvMsgBox_TitledNoF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* title,
                           const WCHAR* text) {
  return QvMsgBox_CustomExNoF(window, flags, details, nullptr, nullptr, title, text);
}

int32_t QvMsgBox_CustomExF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* checkBoxText,
                           int32_t* checkState, const WCHAR* title, const WCHAR* format, ...) {
  QV_FORMATTED(qv::kCustomCapacity, format);
  return QvMsgBox_CustomExNoF(window, flags, details, checkBoxText, checkState, title, box.text());
}

int32_t QvMsgBox_CustomExNoF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* checkBoxText,
                             int32_t* checkState, const WCHAR* title, const WCHAR* text) {
  qv::MsgBoxRequest request;
  request.flags = flags;
  request.text = text;
  request.details = details;
  request.checkBoxText = checkBoxText;
  request.checkState = checkState;
  request.title = title;
  return qv::showBox(window, request);
}

int32_t QvMsgBox_CustomExLinkF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* checkBoxText,
                               int32_t* checkState, const WCHAR* title, const WCHAR* linkTarget,
                               const WCHAR* linkText, const WCHAR* format, ...) {
  QV_FORMATTED(qv::kCustomCapacity, format);
  qv::MsgBoxRequest request;
  request.flags = flags;
  request.text = box.text();
  request.details = details;
  request.checkBoxText = checkBoxText;
  request.checkState = checkState;
  request.title = title;
  request.linkTarget = linkTarget;
  request.linkText = linkText;
  return qv::showBox(window, request);
}
#undef QV_FORMATTED
