// Messages to the user: a dialog of the toolkit's own, with more button sets than the system's box has, a
// check box for not asking again, a section for details and a link; and a hook that answers instead of the
// user.
//
//   int32_t never = 0;
//   const int32_t answer = QvMsgBox_CustomExF(window, QVMSGBOX_YESALLNO | QVMSGBOX_QUESTION |
//   QVMSGBOX_CHECKBOX,
//                                             nullptr, nullptr, &never, nullptr, TEXT("Delete %s?"), name);
//   if (answer == QVANSWER_YES || answer == QVANSWER_YESTOALL) remove(name);
//
// A process without a user installs the diverter once and gets each message as text, and an answer:
//
//   static const QVMSGBOXNOUI quiet = {writeToLog, nullptr, 0};
//   QvMsgBoxSetNoUIHook(&quiet);
//
// A window of null means the last active popup of the application's main window, QVMSGBOX_NOPARENT none; any
// other is taken as given. Where no window system stands, a box that no hook answers goes to standard error
// as text, and the first button of its set is the answer.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "qv/api.h"
#include "qv/lang/lang.h"
#include "qv/platform/base.h"

// The low four bits of the flags choose the buttons. What is not listed shows "OK" alone.
inline constexpr uint32_t QVMSGBOX_OK = 0;
inline constexpr uint32_t QVMSGBOX_OKCANCEL = 1;
inline constexpr uint32_t QVMSGBOX_ABORTRETRYIGNORE = 2;  // no way out by Cancel
inline constexpr uint32_t QVMSGBOX_YESNOCANCEL = 3;
inline constexpr uint32_t QVMSGBOX_YESNO = 4;  // no way out by Cancel
inline constexpr uint32_t QVMSGBOX_RETRYCANCEL = 5;
inline constexpr uint32_t QVMSGBOX_YESALLNO = 10;      // Yes, Yes to All, No, Cancel
inline constexpr uint32_t QVMSGBOX_YESNODELETE = 11;   // no way out by Cancel
inline constexpr uint32_t QVMSGBOX_YESNONONE = 12;     // Yes, No, No to All, Cancel
inline constexpr uint32_t QVMSGBOX_YESALLNONONE = 13;  // Yes, Yes to All, No, No to All, Cancel
inline constexpr uint32_t QVMSGBOX_BUTTONS = 0xf;      // the field
inline constexpr uint32_t QVMSGBOX_STOP = 0x10;        // the icons
inline constexpr uint32_t QVMSGBOX_QUESTION = 0x20;
inline constexpr uint32_t QVMSGBOX_EXCLAMATION = 0x30;
inline constexpr uint32_t QVMSGBOX_INFORMATION = 0x40;
inline constexpr uint32_t QVMSGBOX_ICONS = 0xf0;       // the field
inline constexpr uint32_t QVMSGBOX_CHECKBOX = 0x1000;  // in the field 0x3000
inline constexpr uint32_t QVMSGBOX_CHECKFIELD = 0x3000;
inline constexpr uint32_t QVMSGBOX_DETAILS = 0xc000;  // both bits

// Answers: the numbers of the buttons, the system's where it has them.
inline constexpr int32_t QVANSWER_OK = 1, QVANSWER_CANCEL = 2, QVANSWER_ABORT = 3, QVANSWER_RETRY = 4;
inline constexpr int32_t QVANSWER_IGNORE = 5, QVANSWER_YES = 6, QVANSWER_NO = 7;
inline constexpr int32_t QVANSWER_YESTOALL = 100, QVANSWER_DELETE = 101, QVANSWER_NOTOALL = 102;

// The window argument of a box that has no parent.
#define QVMSGBOX_NOPARENT (reinterpret_cast<HWND>(static_cast<intptr_t>(-1)))

// Answers a box instead of the user: a button's number, or -1 to let the box be shown. `window` is the box's
// window argument as given, `applicationName` the application's, not the box's own title; the details stand
// in the text, between "<Details>" and "</Details>" on lines of their own. Called on the thread that shows
// the box.
using QVMSGBOXHOOK = int32_t (*)(uint64_t hookData, HWND window, const WCHAR* text,
                                 const WCHAR* applicationName, uint32_t flags);

// What the built-in diverter works with; the caller keeps it as long as the diverter is installed.
struct QVMSGBOXNOUI {
  void (*write)(void* context, const WCHAR* text);  // takes each message; may be null; on any thread
  void* context;                                    // its first argument
  int32_t choice;                                   // which button of a set answers, counted from 0
};
static_assert(sizeof(QVMSGBOXNOUI) == 24);
static_assert(offsetof(QVMSGBOXNOUI, choice) == 16);

// Makes the application known, and the calling thread the one that may change the hooks. instance: owner of
// the dialogs; mainWindow: may be null; applicationName: the title of boxes without one, copied, at most 135
// characters; null for none. A hook that is installed stays. Returns 1. The start-up frame calls it; an
// application calls it again once its main window stands.
QV_API int32_t QvMsgBoxSetAppData(HINSTANCE instance, HWND mainWindow, const WCHAR* applicationName);

// Installs a hook; null takes it off. hookData: its first argument. Returns 1, or 0 with nothing changed from
// any thread but that of QvMsgBoxSetAppData.
QV_API int32_t QvMsgBoxSetHook(QVMSGBOXHOOK hook, uint64_t hookData);

// Installs the diverter in the hook's place, or with null takes it off, if it is the one installed. It writes
// each message and answers with button `choice` of the set: 0 is its first. A set of "OK" alone answers 1
// whatever the choice; a choice beyond any other set is written too, and the box is shown. Results as above.
QV_API int32_t QvMsgBoxSetNoUIHook(const QVMSGBOXNOUI* data);

// The boxes below may be shown from any thread, which waits for the answer. Texts are read during the call
// only; a null text counts as empty. Each gives the answer, or 0 when the box could not be shown.

// The system's own box, centred over its parent. title: null for the application's name; flags: the system's.
QV_API int32_t QvMessageBox(HWND window, const WCHAR* text, const WCHAR* title, uint32_t flags);

// A plain box with the application's name: the system's, or the toolkit's for the sets from 6 on, which the
// system doesn't have. A formatted text is held to 4095 characters. id: of a text in `language`, a format.
QV_API int32_t QvMsgBoxF(HWND window, uint32_t flags, const WCHAR* format, ...);
QV_API int32_t QvMsgBoxNoF(HWND window, uint32_t flags, const WCHAR* text);
QV_API int32_t QvMsgBoxId(HQVLANG language, HWND window, uint32_t flags, uint32_t id, ...);

// The toolkit's dialog. details: shown on demand when the flags have QVMSGBOX_DETAILS; null then gives 0 and
// no box. A formatted text is held to 2047 characters; the NoF forms take theirs as it is, of any length.
QV_API int32_t QvMsgBox_CustomF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* format, ...);
QV_API int32_t QvMsgBox_CustomNoF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* text);

// The same with a title of its own; null for the application's name.
QV_API int32_t QvMsgBox_TitledF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* title,
                                const WCHAR* format, ...);
QV_API int32_t QvMsgBox_TitledNoF(HWND window, uint32_t flags, const WCHAR* details, const WCHAR* title,
                                  const WCHAR* text);

// The same with a check box, when the flags have QVMSGBOX_CHECKBOX. checkBoxText: null for "Do not show this
// message again."; checkState: 0 or 1, what it shows at first and what it was left at, whatever the answer;
// may be null. A hook leaves it alone.
QV_API int32_t QvMsgBox_CustomExF(HWND window, uint32_t flags, const WCHAR* details,
                                  const WCHAR* checkBoxText, int32_t* checkState, const WCHAR* title,
                                  const WCHAR* format, ...);
QV_API int32_t QvMsgBox_CustomExNoF(HWND window, uint32_t flags, const WCHAR* details,
                                    const WCHAR* checkBoxText, int32_t* checkState, const WCHAR* title,
                                    const WCHAR* text);

// The same with a link below the text. linkTarget: the address that a click opens; linkText: what is to be
// clicked. Without both there is no link.
QV_API int32_t QvMsgBox_CustomExLinkF(HWND window, uint32_t flags, const WCHAR* details,
                                      const WCHAR* checkBoxText, int32_t* checkState, const WCHAR* title,
                                      const WCHAR* linkTarget, const WCHAR* linkText, const WCHAR* format,
                                      ...);
