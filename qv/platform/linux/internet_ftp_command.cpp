#include "qv/platform/linux/internet_ftp_command.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/internet_transfer.h"

namespace qv::platform {
namespace {

constexpr size_t kReplyLimit = 16384;

// Until the socket can be read or written; false after too long.
bool waitFor(int socket, short events) {
  pollfd waiting = {socket, events, 0};
  int ready = 0;
  do ready = poll(&waiting, 1, static_cast<int>(internetPatience));
  while (ready < 0 && errno == EINTR);
  return ready > 0 || fail(ERROR_INTERNET_TIMEOUT);
}

int codeOf(const std::string& line) {
  int code = 0;
  std::from_chars(line.data(), line.data() + std::min<size_t>(line.size(), 3), code);
  return code;
}

// "229 … (|||54321|)"
bool readExtendedPort(const std::string& reply, unsigned& port) {
  const size_t open = reply.find("(|||");
  return open != reply.npos && sscanf(reply.c_str() + open, "(|||%u|)", &port) == 1;
}

// "227 … (h,h,h,h,p,p)": the address is the server's to name and not ours to believe.
bool readPassivePort(const std::string& reply, unsigned& port) {
  unsigned high = 0, low = 0;
  const size_t digit = reply.find_first_of("0123456789", 4);
  if (digit == reply.npos || sscanf(reply.c_str() + digit, "%*u,%*u,%*u,%*u,%u,%u", &high, &low) != 2)
    return false;
  port = high << 8 | low;
  return high < 256 && low < 256;
}

}  // namespace

FtpCommandData::FtpCommandData() : easy_(curl_easy_init()) {}

FtpCommandData::~FtpCommandData() {
  if (data_ >= 0) ::close(data_);
  curl_easy_cleanup(easy_);
}

bool FtpCommandData::logIn(const Host& host) {
  const std::string url = addressOf(host, "ftp") + "/";
  curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "ftp");
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_CONNECT_ONLY, 1L);
  curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(internetPatience));
  setLogin(easy_, host);
  const CURLcode code = curl_easy_perform(easy_);
  return code == CURLE_OK || fail(internetError(code));
}

int FtpCommandData::control() const {
  curl_socket_t socket = CURL_SOCKET_BAD;
  curl_easy_getinfo(easy_, CURLINFO_ACTIVESOCKET, &socket);
  return socket;
}

bool FtpCommandData::readLine(std::string& line) {
  for (;;) {
    const size_t end = received_.find('\n');
    if (end != received_.npos) {
      line = received_.substr(0, end);
      received_.erase(0, end + 1);
      return true;
    }
    if (received_.size() > kReplyLimit) return fail(ERROR_INTERNET_EXTENDED_ERROR);
    char block[512];
    size_t got = 0;
    const CURLcode code = curl_easy_recv(easy_, block, sizeof(block), &got);
    if (code == CURLE_AGAIN) {
      if (!waitFor(control(), POLLIN)) return false;
    } else if (code != CURLE_OK || got == 0) {
      return fail(ERROR_INTERNET_CONNECTION_ABORTED);
    }
    received_.append(block, got);
  }
}

// Several lines at times: "150-…" goes on until "150 …".
bool FtpCommandData::readReply(int& code) {
  size_t bytes = 0;
  do {
    if (!readLine(reply_)) return false;
    bytes += reply_.size();
    if (bytes > kReplyLimit) return fail(ERROR_INTERNET_EXTENDED_ERROR);
    code = codeOf(reply_);
  } while (code < 100 || (reply_.size() > 3 && reply_[3] == '-'));
  return true;
}

bool FtpCommandData::say(const std::string& line, int& code) {
  const std::string whole = line + "\r\n";
  for (size_t at = 0; at < whole.size();) {
    size_t sent = 0;
    const CURLcode result = curl_easy_send(easy_, whole.data() + at, whole.size() - at, &sent);
    if (result == CURLE_AGAIN) {
      if (!waitFor(control(), POLLOUT)) return false;
    } else if (result != CURLE_OK) {
      return fail(ERROR_INTERNET_CONNECTION_ABORTED);
    }
    at += sent;
  }
  return readReply(code);
}

bool FtpCommandData::expect(const std::string& line, int lowest, int highest) {
  int code = 0;
  if (!say(line, code)) return false;
  return (code >= lowest && code <= highest) || fail(ERROR_INTERNET_EXTENDED_ERROR);
}

bool FtpCommandData::connectData(uint16_t port) {
  sockaddr_storage peer = {};
  socklen_t length = sizeof(peer);
  if (getpeername(control(), reinterpret_cast<sockaddr*>(&peer), &length) != 0)
    return fail(ERROR_INTERNET_CANNOT_CONNECT);
  const bool v6 = peer.ss_family == AF_INET6;
  (v6 ? reinterpret_cast<sockaddr_in6&>(peer).sin6_port : reinterpret_cast<sockaddr_in&>(peer).sin_port) =
      htons(port);
  data_ = socket(peer.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (connect(data_, reinterpret_cast<sockaddr*>(&peer), length) == 0) return true;
  if (errno != EINPROGRESS) return fail(ERROR_INTERNET_CANNOT_CONNECT);
  if (!waitFor(data_, POLLOUT)) return false;
  int error = 0;
  socklen_t size = sizeof(error);
  getsockopt(data_, SOL_SOCKET, SO_ERROR, &error, &size);
  return error == 0 || fail(ERROR_INTERNET_CANNOT_CONNECT);
}

bool FtpCommandData::openData() {
  int code = 0;
  unsigned port = 0;
  if (!say("EPSV", code)) return false;
  bool known = code == 229 && readExtendedPort(reply_, port);
  if (!known) {
    if (!say("PASV", code)) return false;
    known = code == 227 && readPassivePort(reply_, port);
  }
  if (!known || port == 0 || port > 0xffff) return fail(ERROR_INTERNET_EXTENDED_ERROR);
  return connectData(static_cast<uint16_t>(port));
}

bool FtpCommandData::begin(const Host& host, const std::string& command, bool text) {
  return logIn(host) && expect(text ? "TYPE A" : "TYPE I", 200, 299) && openData() &&
         expect(command, 100, 199);
}

bool FtpCommandData::available(DWORD* bytes) {
  char byte = 0;
  if (!bytes) return fail(ERROR_INVALID_PARAMETER);
  if (!waitFor(data_, POLLIN)) return false;
  const ssize_t there = recv(data_, &byte, 1, MSG_PEEK);
  *bytes = there > 0 ? 1 : 0;
  return there >= 0 || fail(ERROR_INTERNET_CONNECTION_RESET);
}

bool FtpCommandData::read(void* buffer, DWORD bytes, DWORD* done) {
  if (!done || (!buffer && bytes)) return fail(ERROR_INVALID_PARAMETER);
  *done = 0;
  if (bytes == 0) return true;
  if (!waitFor(data_, POLLIN)) return false;
  const ssize_t got = recv(data_, buffer, bytes, 0);
  if (got < 0) return fail(ERROR_INTERNET_CONNECTION_RESET);
  *done = static_cast<DWORD>(got);
  if (got > 0) return true;
  // The data has ended; whether it was all of it is the control connection's to say.
  int code = 0;
  return readReply(code) && (code / 100 == 2 || fail(ERROR_INTERNET_EXTENDED_ERROR));
}

bool FtpCommandData::close() {
  if (data_ >= 0) ::close(data_);
  data_ = -1;
  return true;
}

}  // namespace qv::platform
