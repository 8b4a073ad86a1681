#include "qv/platform/mail.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qv/platform/linux/paths.h"
#include "qv/platform/linux/programs.h"
#include "qv/platform/linux/utf.h"

namespace qv {
namespace {

using namespace qv::platform;

std::string_view textOf(const char* text) {
  return text ? text : "";
}

// What begins with a hyphen would be an option there.
bool addRecipient(const MapiRecipDesc& recipient, std::vector<std::string>& arguments) {
  std::string_view address = textOf(recipient.lpszAddress);
  if (address.starts_with("SMTP:")) address.remove_prefix(5);
  if (address.empty()) address = textOf(recipient.lpszName);
  if (address.empty() || address[0] == '-') return false;
  arguments.emplace_back(address);
  return true;
}

bool addFile(const MapiFileDesc& file, std::vector<std::string>& arguments) {
  std::string path;
  if (!nativePath(utf16From(textOf(file.lpszPathName)).c_str(), &path)) return false;
  arguments.insert(arguments.end(), {"--attach", path});
  return true;
}

// xdg-email knows no text for an attachment's name: the file shows its own.
ULONG CALLBACK sendMail(LHANDLE, ULONG_PTR, MapiMessage* message, ULONG, ULONG) {
  std::vector<std::string> arguments = {"xdg-email", "--utf8"};
  if (message->lpszSubject) arguments.insert(arguments.end(), {"--subject", message->lpszSubject});
  for (const MapiFileDesc& file : std::span(message->lpFiles, message->nFileCount)) {
    if (!addFile(file, arguments)) return MAPI_E_FAILURE;
  }
  for (const MapiRecipDesc& recipient : std::span(message->lpRecips, message->nRecipCount)) {
    if (!addRecipient(recipient, arguments)) return MAPI_E_FAILURE;
  }
  const ProgramEnd end = runProgram(arguments, "/", kNoLimit);
  return end.started && end.code == 0 ? SUCCESS_SUCCESS : MAPI_E_FAILURE;
}

MailSend openMail(HMODULE* library) {
  *library = nullptr;
  return sendMail;
}

// There is no window to hold back.
constexpr MailCalls kSystem = {
    openMail, [](HMODULE) {}, [](HWND, BOOL) {}, [](HWND) {}, [](HWND) {}, [](HWND) {}, [] { return HWND(); },
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
