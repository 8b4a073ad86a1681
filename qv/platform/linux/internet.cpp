#include "qv/platform/linux/internet.h"

#include <string_view>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/internet_transfer.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/sync.h"

namespace qv::platform {

Session::Session(std::string agent) : agent_(std::move(agent)), channels_(std::make_shared<ChannelPool>()) {}

bool InternetObject::available(DWORD*) {
  return fail(ERROR_INTERNET_INCORRECT_HANDLE_TYPE);
}

bool InternetObject::read(void*, DWORD, DWORD*) {
  return fail(ERROR_INTERNET_INCORRECT_HANDLE_TYPE);
}

bool InternetObject::write(const void*, DWORD, DWORD*) {
  return fail(ERROR_INTERNET_INCORRECT_HANDLE_TYPE);
}

bool requestText(LPCWSTR text, std::string& utf8) {
  const std::u16string_view given = text ? text : u"";
  for (const char16_t c : given) {
    if (c < u' ' || c == 0x7f) return fail(ERROR_INVALID_PARAMETER);
  }
  utf8 = utf8From(given);
  return true;
}

namespace {

bool fillHost(Host& host, LPCWSTR name, LPCWSTR user, LPCWSTR password) {
  if (!requestText(name, host.name) || !requestText(user, host.user) ||
      !requestText(password, host.password)) {
    return false;
  }
  // The name stands in an address: nothing in it may end it there.
  const bool good = !host.name.empty() && host.name.find_first_of(" /\\@?#%\"<>") == std::string::npos;
  return good || fail(ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HINTERNET InternetOpenW(LPCWSTR agent, DWORD access, LPCWSTR, LPCWSTR, DWORD) {
  std::string name;
  if (access != INTERNET_OPEN_TYPE_PRECONFIG) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  if (!requestText(agent, name)) return nullptr;
  return openHandle(std::make_shared<Session>(std::move(name)));
}

HINTERNET InternetConnectW(HINTERNET session, LPCWSTR name, INTERNET_PORT port, LPCWSTR user,
                           LPCWSTR password, DWORD service, DWORD, DWORD_PTR) {
  Host host{objectOf<Session>(session), {}, port, {}, {}};
  if (!host.session || !fillHost(host, name, user, password)) return nullptr;
  const bool ftp = service == INTERNET_SERVICE_FTP;
  if (!ftp && service != INTERNET_SERVICE_HTTP) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  if (port == INTERNET_INVALID_PORT_NUMBER)
    host.port = ftp ? INTERNET_DEFAULT_FTP_PORT : INTERNET_DEFAULT_HTTP_PORT;
  if (ftp) {
    auto connection = openFtp(std::move(host));
    return connection ? openHandle(std::move(connection)) : nullptr;
  }
  return openHandle(std::make_shared<Connection>(std::move(host)));
}

BOOL InternetCloseHandle(HINTERNET handle) {
  const auto object = objectOf<InternetObject>(handle);
  if (!object) return FALSE;
  const bool good = object->close();
  const DWORD error = good ? ERROR_SUCCESS : GetLastError();
  CloseHandle(handle);
  return good || fail(error);
}

BOOL InternetQueryDataAvailable(HINTERNET file, DWORD* bytes, DWORD, DWORD_PTR) {
  const auto object = objectOf<InternetObject>(file);
  return object && object->available(bytes);
}

BOOL InternetReadFile(HINTERNET file, LPVOID buffer, DWORD bytes, DWORD* read) {
  const auto object = objectOf<InternetObject>(file);
  return object && object->read(buffer, bytes, read);
}

BOOL InternetWriteFile(HINTERNET file, LPCVOID buffer, DWORD bytes, DWORD* written) {
  const auto object = objectOf<InternetObject>(file);
  return object && object->write(buffer, bytes, written);
}
