#include "qv/net/handoff.h"

#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/resources.h"
#include "qv/platform/mail.h"
#include "qv/platform/screen.h"
#include "qv/platform/shell.h"
#include "qv/platform/text.h"

const WCHAR* Internet_WebPages[QVINET_PAGES];
WCHAR Internet_SupportName[QVINET_CONTACT];
WCHAR Internet_SupportAddress[QVINET_CONTACT];

namespace qv {
namespace {

// A text in the system's code page; null stays null.
template <int Capacity>
class Narrow {
 public:
  explicit Narrow(const WCHAR* text)
      : given_(text != nullptr),
        fits_(!given_ || WideCharToMultiByte(CP_ACP, 0, text, -1, bytes_, Capacity, nullptr, nullptr) > 0) {}
  bool fits() const { return fits_; }
  char* get() { return given_ ? bytes_ : nullptr; }

 private:
  char bytes_[Capacity] = {};
  bool given_;
  bool fits_;
};
using NarrowPath = Narrow<260>;
using NarrowText = Narrow<255>;

// The window of the caller, out of the user's reach as long as the mail program has the word. By hand, since
// that program's window is no child of ours that the system would hold us back for.
class Held {
 public:
  explicit Held(HWND window)
      : calls_(mailCalls()),
        window_(window),
        cursor_(SetCursor(QvLoadCursor(kernelLanguage, MAKEINTRESOURCEW(32514)))) {
    calls_.enable(window_, FALSE);
    calls_.capture(window_);
    calls_.focus(nullptr);
  }
  // Another window has to be active in between for the activation to be one.
  ~Held() {
    calls_.capture(nullptr);
    calls_.enable(window_, TRUE);
    calls_.activate(calls_.desktop());
    calls_.activate(window_);
    calls_.focus(window_);
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  HCURSOR cursor() const { return cursor_; }  // the one before

 private:
  const MailCalls& calls_;
  const HWND window_;
  const HCURSOR cursor_;
};

HRESULT send(HWND window, MapiMessage& message) {
  HMODULE library = nullptr;
  const MailSend sendMail = mailCalls().open(&library);
  if (!sendMail) return kGeneralFailure;
  ULONG result;
  HCURSOR cursor;
  {
    const Held held(window);
    cursor = held.cursor();
    result = sendMail(0, reinterpret_cast<ULONG_PTR>(window), &message, MAPI_LOGON_UI | MAPI_DIALOG, 0);
  }
  mailCalls().close(library);
  SetCursor(cursor);
  return result < 4 && result != MAPI_E_FAILURE ? kOk : kGeneralFailure;
}

bool isNumber(const WCHAR* address) {
  return reinterpret_cast<uintptr_t>(address) <= 0xffff;
}

// A small number stands for a page of the product's.
const WCHAR* pageOf(const WCHAR* address) {
  if (!isNumber(address)) return address;
  const auto number = reinterpret_cast<uintptr_t>(address);
  const bool known = number >= QVINET_PAGE_FIRST && number <= QVINET_PAGE_PRIVACY;
  return known ? Internet_WebPages[number - QVINET_PAGE_FIRST] : nullptr;
}

}  // namespace
}  // namespace qv

HRESULT Internet_MailFile(HWND window, const WCHAR* path, const WCHAR* name, const WCHAR* subject) {
  qv::NarrowPath file(path);
  qv::NarrowText shown(name), title(subject);
  if (!path || !file.fits() || !shown.fits() || !title.fits()) return qv::kGeneralFailure;
  constexpr ULONG kNowhereInTheText = ~ULONG{0};
  MapiFileDesc attachment = {};
  attachment.nPosition = kNowhereInTheText;
  attachment.lpszPathName = file.get();
  attachment.lpszFileName = shown.get();
  MapiMessage message = {};
  message.lpszSubject = title.get();
  message.nFileCount = 1;
  message.lpFiles = &attachment;
  return qv::send(window, message);
}

HRESULT Internet_SendMail(HWND window, const WCHAR* subject, const WCHAR* name, const WCHAR* address) {
  qv::NarrowText title(subject), who(name), where(address);
  if (!title.fits() || !who.fits() || !where.fits()) return qv::kGeneralFailure;
  MapiRecipDesc recipient = {};
  recipient.ulRecipClass = MAPI_TO;
  recipient.lpszName = who.get();
  recipient.lpszAddress = where.get();
  MapiMessage message = {};
  message.lpszSubject = title.get();
  message.nRecipCount = 1;
  message.lpRecips = &recipient;
  return qv::send(window, message);
}

HRESULT Internet_SendFeedback(HWND window, const WCHAR* subject) {
  return Internet_SendMail(window, subject, Internet_SupportName, Internet_SupportAddress);
}

HINSTANCE Internet_BrowseWebPage(HWND, const WCHAR* address) {
  const WCHAR* const page = qv::pageOf(address);
  if (!page) return reinterpret_cast<HINSTANCE>(static_cast<intptr_t>(SE_ERR_FNF));
  // From the system's folder, so that the browser doesn't hold the application's.
  WCHAR folder[MAX_PATH] = {};
  GetWindowsDirectoryW(folder, MAX_PATH);
  return ShellExecuteW(qv::mailCalls().desktop(), TEXT("open"), page, nullptr, folder, SW_SHOWDEFAULT);
}
