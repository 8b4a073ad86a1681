// Inside the toolkit: what a box of the toolkit's own consists of, and how it ends.
#pragma once

#include "qv/frame/msgbox.h"
#include "qv/platform/message_calls.h"

namespace qv {

// The application as the boxes know it.
struct MsgBoxAppData {
  uint32_t thread;  // the only one that may change the hooks
  HINSTANCE instance;
  HWND mainWindow;
  QVMSGBOXHOOK hook;
  uint64_t hookData;
  WCHAR applicationName[136];
};
static_assert(sizeof(MsgBoxAppData) == 312 && offsetof(MsgBoxAppData, applicationName) == 40);

// A copy of what stands. Any thread.
MsgBoxAppData msgBoxAppData();

struct MsgBoxRequest {
  uint32_t flags = 0;
  const WCHAR* text = nullptr;
  const WCHAR* details = nullptr;
  int32_t detailsHeight = 0;
  bool detailsOpen = false;
  bool noCancel = false;
  const WCHAR* checkBoxText = nullptr;
  int32_t* checkState = nullptr;
  const WCHAR* title = nullptr;
  const WCHAR* linkTarget = nullptr;
  const WCHAR* linkText = nullptr;
};

// The flags and the way out that the set of buttons allows: unknown sets become "OK" alone.
void settleButtons(MsgBoxRequest& request);

// The answer with which a button ends the box; 0 when the box stays.
int32_t closingAnswer(const MsgBoxRequest& request, int32_t button);

// Who opens the links of boxes; null puts the platform's browser call back.
void setLinkOpener(void (*opener)(HWND window, const WCHAR* address));

// As at load: no application, no hook.
void resetMsgBox();

}  // namespace qv
