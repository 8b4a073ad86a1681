#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

#include "qv/platform/internet.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

using View = std::u16string_view;

struct Scheme {
  View name;
  INTERNET_SCHEME number;
  INTERNET_PORT port;
};
constexpr Scheme kSchemes[] = {
    {u"http", INTERNET_SCHEME_HTTP, INTERNET_DEFAULT_HTTP_PORT},
    {u"https", INTERNET_SCHEME_HTTPS, INTERNET_DEFAULT_HTTPS_PORT},
    {u"ftp", INTERNET_SCHEME_FTP, INTERNET_DEFAULT_FTP_PORT},
};

bool isLetter(char16_t c) {
  return (c | 0x20) >= u'a' && (c | 0x20) <= u'z';
}

bool isSchemeCharacter(char16_t c) {
  return isLetter(c) || (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
}

bool sameWord(View a, View lower) {
  return std::ranges::equal(a, lower, {}, [](char16_t c) -> char16_t { return isLetter(c) ? c | 0x20 : c; });
}

struct Parts {
  View scheme, user, password, host, path, extra;
  INTERNET_SCHEME number = INTERNET_SCHEME_UNKNOWN;
  INTERNET_PORT port = INTERNET_INVALID_PORT_NUMBER;
};

// Takes what stands before the separator away from `text`; all of it, or nothing, when there is none.
View cutBefore(View& text, size_t separator) {
  const View before = text.substr(0, separator);
  text.remove_prefix(std::min(text.size(), separator + 1));
  return before;
}

bool readPort(View text, INTERNET_PORT& port) {
  const std::string digits = utf8From(text);
  if (digits.empty()) return true;
  unsigned value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size() || value > 0xffff) return false;
  port = static_cast<INTERNET_PORT>(value);
  return true;
}

// user:password@host:port, the host perhaps an IPv6 address in brackets.
bool readAuthority(View authority, Parts& parts) {
  if (const size_t at = authority.rfind(u'@'); at != View::npos) {
    View login = cutBefore(authority, at);
    const size_t colon = login.find(u':');
    parts.user = colon == View::npos ? login : cutBefore(login, colon);
    if (colon != View::npos) parts.password = login;
  }
  const size_t bracket = authority.rfind(u']');
  const size_t colon = authority.find(u':', bracket == View::npos ? 0 : bracket);
  parts.host = authority.substr(0, colon);
  return colon == View::npos || readPort(authority.substr(colon + 1), parts.port);
}

DWORD crack(View url, Parts& parts) {
  const size_t colon = url.find(u':');
  if (colon == View::npos || colon == 0 || !isLetter(url[0])) return ERROR_INTERNET_UNRECOGNIZED_SCHEME;
  parts.scheme = cutBefore(url, colon);
  if (!std::ranges::all_of(parts.scheme, isSchemeCharacter)) return ERROR_INTERNET_UNRECOGNIZED_SCHEME;
  for (const Scheme& scheme : kSchemes) {
    if (!sameWord(parts.scheme, scheme.name)) continue;
    parts.number = scheme.number;
    parts.port = scheme.port;
  }
  if (url.starts_with(u"//")) {
    url.remove_prefix(2);
    const size_t end = std::min(url.find_first_of(u"/?#"), url.size());
    if (!readAuthority(url.substr(0, end), parts)) return ERROR_INTERNET_INVALID_URL;
    url.remove_prefix(end);
  } else if (parts.number != INTERNET_SCHEME_UNKNOWN) {
    return ERROR_INTERNET_INVALID_URL;
  }
  const size_t extra = std::min(url.find_first_of(u"?#"), url.size());
  parts.path = url.substr(0, extra);
  parts.extra = url.substr(extra);
  return ERROR_SUCCESS;
}

bool give(View part, LPWSTR& text, DWORD& length) {
  const auto characters = static_cast<DWORD>(part.size());
  if (text) {
    if (length <= characters) {
      length = characters + 1;
      return false;
    }
    part.copy(text, characters);
    text[characters] = 0;
  } else if (length != 0) {
    text = const_cast<LPWSTR>(part.data());  // NOLINT: the form is the platform's
  }
  length = characters;
  return true;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

BOOL InternetCrackUrlW(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTSW* out) {
  if (!url || !out || out->dwStructSize != sizeof(*out) || flags != 0) return fail(ERROR_INVALID_PARAMETER);
  const View whole = length ? View(url, length) : View(url);
  Parts parts;
  if (const DWORD error = crack(whole.substr(0, whole.find(u'\0')), parts)) return fail(error);
  out->nScheme = parts.number;
  out->nPort = parts.port;
  const bool fits[] = {give(parts.scheme, out->lpszScheme, out->dwSchemeLength),
                       give(parts.host, out->lpszHostName, out->dwHostNameLength),
                       give(parts.user, out->lpszUserName, out->dwUserNameLength),
                       give(parts.password, out->lpszPassword, out->dwPasswordLength),
                       give(parts.path, out->lpszUrlPath, out->dwUrlPathLength),
                       give(parts.extra, out->lpszExtraInfo, out->dwExtraInfoLength)};
  return std::ranges::all_of(fits, std::identity()) || fail(ERROR_INSUFFICIENT_BUFFER);
}
