// Any bytes are what a server says: the request ends, the body is no longer than what came, and where a
// length was announced and reached, it is exactly that.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "qv/platform/internet.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

constexpr size_t kLongest = 60000;  // fits a socket's own buffer

int nextSocket = -1;

}  // namespace

// The library's connections end in this process: no network, no port, and a redirection finds nobody.
extern "C" __attribute__((visibility("default"))) int socket(int family, int, int) noexcept {
  const int given = family == AF_INET ? std::exchange(nextSocket, -1) : -1;
  if (given < 0) errno = EAFNOSUPPORT;
  return given;
}
extern "C" __attribute__((visibility("default"))) int connect(int, const sockaddr*, socklen_t) {
  return 0;
}

namespace {

// What it says, and then its end.
class Peer {
 public:
  explicit Peer(std::string_view says) {
    int pair[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0);
    nextSocket = pair[0];
    own_ = pair[1];
    require(send(own_, says.data(), says.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(says.size()));
    shutdown(own_, SHUT_WR);
  }
  ~Peer() {
    close(own_);
    if (nextSocket >= 0) close(std::exchange(nextSocket, -1));
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

 private:
  int own_;
};

class Handle {
 public:
  explicit Handle(HINTERNET handle) : handle_(handle) { require(handle != nullptr); }
  ~Handle() { InternetCloseHandle(handle_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HINTERNET get() const { return handle_; }

 private:
  const HINTERNET handle_;
};

// The bytes of the body, or -1.
int64_t readBody(HINTERNET request, DWORD piece) {
  std::string block(piece, 0);
  for (int64_t all = 0;;) {
    DWORD there = 0, got = 0;
    if (!InternetQueryDataAvailable(request, &there, 0, 0)) return -1;
    if (!InternetReadFile(request, block.data(), piece, &got)) return -1;
    require((got == 0) == (there == 0) && got <= std::min(piece, std::max(there, 1u)));
    if (got == 0) return all;
    all += got;
  }
}

bool isEncoded(HINTERNET request) {
  std::u16string raw(200000, 0);
  auto bytes = static_cast<DWORD>(raw.size() * sizeof(WCHAR));
  require(HttpQueryInfoW(request, HTTP_QUERY_RAW_HEADERS, raw.data(), &bytes, nullptr));
  std::string lower;
  for (size_t i = 0; i < bytes / sizeof(WCHAR); ++i) {
    lower += raw[i] < 0x80 ? static_cast<char>(tolower(raw[i])) : '?';
  }
  return lower.find("transfer-encoding") != lower.npos;
}

void receive(HINTERNET request, size_t said, DWORD piece) {
  DWORD status = 0, length = 0, bytes = sizeof(DWORD);
  require(HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &bytes, nullptr));
  const bool known =
      HttpQueryInfoW(request, HTTP_QUERY_CONTENT_LENGTH | HTTP_QUERY_FLAG_NUMBER, &length, &bytes, nullptr);
  const bool encoded = isEncoded(request);
  const int64_t got = readBody(request, piece);
  require(got <= static_cast<int64_t>(said));
  // Neither of these has a body, whatever length they name.
  const bool empty = status == 204 || status == 304 || status / 100 == 1;
  if (got >= 0 && known && !encoded && !empty) require(got == static_cast<int64_t>(length));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // No name is looked up on behalf of a redirection.
  for (const char* const name : {"http_proxy", "https_proxy", "all_proxy"})
    setenv(name, "http://127.0.0.1:9", 1);
  unsetenv("no_proxy");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int prepared = LLVMFuzzerInitialize(nullptr, nullptr);
  if (size == 0 || size > kLongest) return prepared;
  const std::string_view says(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Peer peer(says);
  const Handle session(InternetOpenW(u"fuzz", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
  const Handle host(
      InternetConnectW(session.get(), u"127.0.0.1", 8, u"me", u"secret", INTERNET_SERVICE_HTTP, 0, 0));
  const bool post = data[0] & 1;
  const Handle request(
      HttpOpenRequestW(host.get(), post ? u"POST" : u"GET", u"/", nullptr, nullptr, nullptr, 0, 0));
  std::string body = "body";
  if (HttpSendRequestW(request.get(), nullptr, 0, post ? body.data() : nullptr, post ? 4 : 0)) {
    receive(request.get(), says.size(), data[0] / 2u * 97 + 1);
  }
  return 0;
}
