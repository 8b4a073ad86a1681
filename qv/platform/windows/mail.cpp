#include "qv/platform/mail.h"

#include "qv/platform/modules.h"

namespace qv {
namespace {

MailSend openMail(HMODULE* library) {
  *library = LoadLibraryW(TEXT("MAPI32.DLL"));
  if (!*library) return nullptr;
  const auto send = reinterpret_cast<MailSend>(GetProcAddress(*library, "MAPISendMail"));
  if (!send) FreeLibrary(*library);
  return send;
}

void capture(HWND window) {
  if (window) {
    SetCapture(window);
  } else {
    ReleaseCapture();
  }
}

constexpr MailCalls kSystem = {
    openMail,
    [](HMODULE library) { FreeLibrary(library); },
    [](HWND window, BOOL enabled) { EnableWindow(window, enabled); },
    capture,
    [](HWND window) { SetActiveWindow(window); },
    [](HWND window) { SetFocus(window); },
    [] { return GetDesktopWindow(); },
};

const MailCalls* inForce = &kSystem;

}  // namespace

const MailCalls& mailCalls() {
  return *inForce;
}

void setMailCalls(const MailCalls* calls) {
  inForce = calls ? calls : &kSystem;
}

}  // namespace qv
