// How a message reaches the user, as a table: on Windows a dialog, elsewhere standard error until a window
// system puts its own in place, and a test's own wherever it wants to watch.
//
//   qv::MessageDialog box;
//   box.text = TEXT("Delete the take?");
//   box.buttons = buttons;
//   const int32_t answer = qv::messageCalls().dialog(box);
#pragma once

#include <span>

#include "qv/platform/base.h"

namespace qv {

struct MessageButton {
  int32_t number;
  const WCHAR* text;  // "&" before its access key
};

// All that a message dialog shows. Texts are not null unless a line says so, and stay the caller's.
struct MessageDialog {
  HINSTANCE instance = nullptr;
  HWND parent = nullptr;
  const WCHAR* title = nullptr;
  const WCHAR* text = nullptr;
  const WCHAR* details = nullptr;   // null: no details section
  const WCHAR* checkBox = nullptr;  // null: no check box
  const WCHAR* link = nullptr;      // null: no link
  uint32_t icon = 0;                // 0x10 hand, 0x20 question, 0x30 exclamation, 0x40 asterisk; 0 none
  bool noCancel = false;            // can't be left but by a button
  std::span<const MessageButton> buttons;
  const WCHAR* showDetails = nullptr;  // the details button's two texts
  const WCHAR* hideDetails = nullptr;
  int32_t detailsHeight = 0;  // dialog units; 0: a height that suits
  bool detailsOpen = false;
  bool checked = false;  // in: at first; out: as it was left
  const WCHAR* face = nullptr;
  int32_t points = 0;

  void* context = nullptr;
  // The answer with which a button, or 2 for the way out by keyboard or frame, ends the dialog; 0 keeps it
  // open.
  int32_t (*closing)(void* context, int32_t number) = nullptr;
  void (*followLink)(void* context, HWND window) = nullptr;
};

struct MessageCalls {
  int32_t (*dialog)(MessageDialog& box);  // the answer; 0 if it could not be shown
  int32_t (*systemBox)(HWND parent, const WCHAR* text, const WCHAR* title,
                       uint32_t flags);       // MessageBoxW, centred
  HWND (*activePopup)(HWND window);           // GetLastActivePopup
  void (*openAddress)(const WCHAR* address);  // in the user's browser
};

// The table in use.
const MessageCalls& messageCalls();

// Null puts the platform's back. Start-up's and tests': no other thread may be showing messages.
void setMessageCalls(const MessageCalls* calls);

}  // namespace qv
