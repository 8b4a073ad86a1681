// The steps that all requests share: the address, the request, and reading the response.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "qv/net/detail/http_work.h"
#include "qv/net/detail/local_file.h"
#include "qv/platform/pages.h"

namespace qv::net {

inline constexpr HRESULT kNotHttp = static_cast<HRESULT>(0x8004e0f2u);
inline constexpr HRESULT kBadAcceptTypes = static_cast<HRESULT>(0x8004e0f3u);
constexpr uint32_t kNoContent = 204, kNotModified = 304;  // without a body, whatever length they name

struct CrackedUrl {
  INTERNET_SCHEME scheme;
  INTERNET_PORT port;
  std::vector<WCHAR> host, user, password, path, extra;
};

namespace {

// Whether nothing in the header lines can begin a line, but their own ends.
bool areLinesWhole(const Text& headers) {
  for (size_t i = 0; i < headers.size(); ++i) {
    if (headers.compare(i, 2, TEXT("\r\n")) == 0) {
      ++i;
    } else if (isControl(headers[i]) && headers[i] != '\t') {
      return false;
    }
  }
  return true;
}

HRESULT crackUrlApart(const Text& url, CrackedUrl& parts) {
  const auto room = static_cast<DWORD>(url.size() + 1);
  URL_COMPONENTSW components = {};
  components.dwStructSize = sizeof(components);
  const auto give = [room](std::vector<WCHAR>& part, LPWSTR& text, DWORD& length) {
    part.resize(room);
    text = part.data();
    length = room;
  };
  give(parts.host, components.lpszHostName, components.dwHostNameLength);
  give(parts.user, components.lpszUserName, components.dwUserNameLength);
  give(parts.password, components.lpszPassword, components.dwPasswordLength);
  give(parts.path, components.lpszUrlPath, components.dwUrlPathLength);
  give(parts.extra, components.lpszExtraInfo, components.dwExtraInfoLength);
  if (!isOneLine(url) || !InternetCrackUrlW(url.c_str(), 0, 0, &components)) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("InternetCrackUrl failed on %s  GLE=%d"), url.c_str(), GetLastError());
    return kGeneralFailure;
  }
  parts.scheme = components.nScheme;
  parts.port = components.nPort;
  return kOk;
}

// Cuts the text at its commas, in place; empty ones are left out. False when there is no type at all.
bool parseAcceptTypes(Text& text, std::vector<LPCWSTR>& types) {
  WCHAR* start = text.data();
  for (WCHAR* at = start;; ++at) {
    const bool end = *at == 0;
    if (!end && *at != ',') continue;
    *at = 0;
    if (*start) types.push_back(start);
    start = at + 1;
    if (end) break;
  }
  const bool found = !types.empty();
  types.push_back(nullptr);
  return found;
}

bool isHttp(INTERNET_SCHEME scheme) {
  return scheme == INTERNET_SCHEME_HTTP || scheme == INTERNET_SCHEME_HTTPS;
}

// With two terminators: not every system counts the one behind the last line as the list's.
WCHAR* copyOf(const Text& text) {
  auto* const copy = new WCHAR[text.size() + 2]();
  text.copy(copy, text.size());
  return copy;
}

}  // namespace

HRESULT HttpWork::connect(HINTERNET session, CrackedUrl& url) {
  const HRESULT status = crackUrlApart(arguments.url, url);
  if (status != kOk) return status;
  if (!isHttp(url.scheme)) return kNotHttp;
  if (!connection.set(InternetConnectW(session, url.host.data(), url.port, url.user.data(),
                                       url.password.data(), INTERNET_SERVICE_HTTP, 0,
                                       reinterpret_cast<DWORD_PTR>(&client)))) {
    QV_NET_LOG(LOGFLAG_ERRORS,
               TEXT("InternetConnect failed to host '%s' port %d username '%s' password '%s' GLE=%d"),
               url.host.data(), url.port, url.user.data(), url.password.data(), GetLastError());
  }
  return kOk;
}

HRESULT HttpWork::openRequest(const WCHAR* verb, const CrackedUrl& url) {
  std::vector<LPCWSTR> types;
  if (!parseAcceptTypes(arguments.acceptTypes, types)) return kBadAcceptTypes;
  const Text target = Text(url.path.data()) + url.extra.data();
  const Text object = target.substr(0, target.find('#'));  // what follows is the client's own
  DWORD flags = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE;
  if (url.scheme == INTERNET_SCHEME_HTTPS) flags |= INTERNET_FLAG_SECURE;
  if (!request.set(HttpOpenRequestW(connection.get(), verb, object.c_str(), TEXT("HTTP/1.1"), nullptr,
                                    types.data(), flags, reinterpret_cast<DWORD_PTR>(&client)))) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpOpenRequest failed to %s GLE=%d"), object.c_str(), GetLastError());
    return kGeneralFailure;
  }
  const Text& headers = arguments.headers;
  if (!headers.empty() && (!areLinesWhole(headers) ||
                           !HttpAddRequestHeadersW(request.get(), headers.c_str(), static_cast<DWORD>(-1),
                                                   HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE))) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpAddRequestHeaders failed with '%s' GLE=%d"), headers.c_str(),
               GetLastError());
    return kGeneralFailure;
  }
  return kOk;
}

HRESULT HttpWork::open(HINTERNET session, const WCHAR* verb) {
  CrackedUrl url;
  HRESULT status = connect(session, url);
  if (status != kOk || !connection.get()) return status;
  if (isCancelled()) return kCancelled;
  status = openRequest(verb, url);
  if (status != kOk) return status;
  response.reset(new CQvInetHttpResponse);
  if (!arguments.responseFile.empty()) response->fileName = copyOf(arguments.responseFile);
  return kOk;
}

HRESULT HttpWork::send() {
  std::vector<uint8_t>& data = arguments.data;
  if (!HttpSendRequestW(request.get(), nullptr, 0, data.empty() ? nullptr : data.data(),
                        static_cast<DWORD>(data.size()))) {
    const DWORD error = GetLastError();
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpSendRequest failed GLE=%d"), error);
    return error == ERROR_INTERNET_TIMEOUT ? kServerSilent : kCannotConnect;
  }
  return isCancelled() ? kCancelled : kOk;
}

HRESULT HttpWork::run(HINTERNET session, uint32_t command) {
  HRESULT status = open(session, command == kHttpGet ? TEXT("GET") : TEXT("POST"));
  if (status != kOk || !connection.get()) return status;
  const bool isForm = command == kHttpPostMultipart;
  status = isForm ? sendForm() : send();
  return status == kOk ? fillResponse(!isForm) : status;
}

// ---- The response

namespace {

enum class Header { Found, Missing, Failed };

// A text of the header, into as large a buffer as it takes.
Header queryText(HINTERNET request, DWORD what, DWORD characters, WCHAR*& text) {
  DWORD bytes = characters * sizeof(WCHAR);
  for (;;) {
    // Two more, since the size that is asked for need not count the terminators.
    std::vector<WCHAR> buffer(bytes / sizeof(WCHAR) + 2);
    if (HttpQueryInfoW(request, what, buffer.data(), &bytes, nullptr)) {
      text = copyOf(Text(buffer.data(), bytes / sizeof(WCHAR)));
      return Header::Found;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER) {
      return error == ERROR_HTTP_HEADER_NOT_FOUND ? Header::Missing : Header::Failed;
    }
  }
}

bool queryNumber(HINTERNET request, DWORD what, uint32_t& number) {
  DWORD bytes = sizeof(number);
  return HttpQueryInfoW(request, what | HTTP_QUERY_FLAG_NUMBER, &number, &bytes, nullptr);
}

using TextView = std::basic_string_view<WCHAR>;

// What stands behind a name, which is in lower case and ends with its colon; null when it is another line.
const WCHAR* valueOf(const WCHAR* line, TextView name) {
  const auto lower = [](WCHAR c) { return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + 32) : c; };
  return std::ranges::equal(TextView(line).substr(0, name.size()), name, {}, lower) ? line + name.size()
                                                                                    : nullptr;
}

// Plain digits between blanks, up to 2^63 - 1.
bool readDigits(const WCHAR* text, uint64_t& number) {
  number = 0;
  const WCHAR* at = text;
  while (*at == ' ' || *at == '\t') ++at;
  const WCHAR* const first = at;
  for (; *at >= '0' && *at <= '9'; ++at) {
    number = number * 10 + static_cast<uint64_t>(*at - '0');
    if (number > INT64_MAX) return false;
  }
  const bool any = at > first;
  while (*at == ' ' || *at == '\t') ++at;
  return any && *at == 0;
}

// How long the body will be, by the header's lines: the system's own number has 32 bits, and not every system
// looks at what it reads. False for lengths that no honest server sends. Nothing when nobody says, or when
// the body says itself where it ends: a length beside that means nothing.
bool readBodyLength(const WCHAR* rawHeaders, std::optional<uint64_t>& length) {
  bool encoded = false;
  for (const WCHAR* line = rawHeaders; *line; line += TextView(line).size() + 1) {
    encoded = encoded || valueOf(line, TEXT("transfer-encoding:"));
    const WCHAR* const digits = valueOf(line, TEXT("content-length:"));
    uint64_t number = 0;
    if (!digits) continue;
    if (!readDigits(digits, number) || length.value_or(number) != number) return false;
    length = number;
  }
  if (encoded) length.reset();
  return true;
}

}  // namespace

HRESULT HttpWork::readHeader() {
  // A server that closes without a word counts as status 0 in places.
  if (!queryNumber(request.get(), HTTP_QUERY_STATUS_CODE, response->statusCode) ||
      response->statusCode == 0) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpQueryInfo failed getting status code GLE=%d"), GetLastError());
    return kGeneralFailure;
  }
  if (queryText(request.get(), HTTP_QUERY_RAW_HEADERS, 512, response->rawHeaders) != Header::Found) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpQueryInfo failed getting raw headers GLE=%d"), GetLastError());
    return kGeneralFailure;
  }
  if (queryText(request.get(), HTTP_QUERY_CONTENT_TYPE, 128, response->contentType) != Header::Found) {
    QV_NET_LOG(LOGFLAG_INFORMATION, TEXT("HttpQueryInfo could not get content type"));
    response->contentType = copyOf({});
  }
  return kOk;
}

HRESULT HttpWork::fillBody(bool showProgress) {
  if (!queryNumber(request.get(), HTTP_QUERY_CONTENT_LENGTH, response->contentLength)) {
    QV_NET_LOG(LOGFLAG_INFORMATION,
               TEXT("HttpQueryInfo failed for content length - trying to work ahead anyway."));
  }
  std::optional<uint64_t> length;
  if (!readBodyLength(response->rawHeaders, length)) return kGeneralFailure;
  if (response->statusCode == kNoContent || response->statusCode == kNotModified) length = 0;
  if (showProgress) setTotal(static_cast<int64_t>(length.value_or(0)));
  return response->fileName ? readToFile(showProgress, length) : readToMemory(showProgress, length);
}

HRESULT HttpWork::fillResponse(bool showProgress) {
  HRESULT status = readHeader();
  if (status == kOk) status = fillBody(showProgress);
  if (status != kOk) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("FillResponse() failing with hr=%x, status=%d"), status,
               response->statusCode);
    response.reset();
  }
  return status;
}

namespace {

// A body, piece by piece, to its announced length or to its end.
class BodyReader {
 public:
  BodyReader(HttpWork& work, bool showProgress, std::optional<uint64_t> length)
      : work_(work), showProgress_(showProgress), known_(length), length_(length.value_or(0)) {}

  uint64_t bytesRead() const { return read_; }
  bool hasEnded() const { return ended_ || (known_ && read_ >= length_); }
  // What the response's own field can say of it.
  uint32_t lengthField() const { return static_cast<uint32_t>(std::min<uint64_t>(read_, UINT32_MAX)); }
  // At most this many are still to come, as far as it is known.
  uint64_t rest() const { return known_ ? length_ - read_ : UINT64_MAX; }

  // How much can be read now; 0 when the body has ended.
  HRESULT available(uint32_t& bytes) {
    DWORD there = 0;
    bytes = 0;
    if (work_.isCancelled()) return kCancelled;
    if (!InternetQueryDataAvailable(work_.request.get(), &there, 0, 0)) {
      QV_NET_LOG(LOGFLAG_ERRORS, TEXT("InternetQueryDataAvailable failed GLE=%d"), GetLastError());
      return kGeneralFailure;
    }
    // Some systems take a body that was cut short for a whole one.
    if (there == 0 && known_) return kGeneralFailure;
    ended_ = there == 0;
    bytes = static_cast<uint32_t>(std::min<uint64_t>(there, rest()));
    return kOk;
  }

  // Exactly so many, of those that are available.
  HRESULT read(uint8_t* to, uint32_t bytes) {
    while (bytes > 0) {
      if (work_.isCancelled()) return kCancelled;
      DWORD done = 0;
      if (!InternetReadFile(work_.request.get(), to, bytes, &done) || done == 0) {
        QV_NET_LOG(LOGFLAG_ERRORS, TEXT("InternetReadFile failed - tried to read up to %d bytes - GLE=%d"),
                   bytes, GetLastError());
        return kGeneralFailure;
      }
      to += done;
      bytes -= done;
      read_ += done;
      if (showProgress_) work_.addProgress(done);
    }
    return kOk;
  }

 private:
  HttpWork& work_;
  const bool showProgress_, known_;
  const uint64_t length_;
  uint64_t read_ = 0;
  bool ended_ = false;
};

// A block that grows with what has arrived: what a server announces costs nothing before it comes.
class GrowingBlock {
 public:
  ~GrowingBlock() { free(bytes_); }
  GrowingBlock() = default;
  GrowingBlock(const GrowingBlock&) = delete;
  GrowingBlock& operator=(const GrowingBlock&) = delete;

  // Room for `size` bytes and a terminator; `expected` is how many it may become.
  bool reserve(uint64_t size, uint64_t expected) {
    if (size < capacity_) return true;
    const uint64_t wanted = std::min(std::max<uint64_t>(2 * size, kFirstStep), std::max(size, expected)) + 1;
    if (wanted > UINT32_MAX) return false;
    auto* const larger = static_cast<uint8_t*>(realloc(bytes_, wanted));
    if (!larger) return false;
    bytes_ = larger;
    capacity_ = wanted;
    return true;
  }
  uint8_t* bytes() const { return bytes_; }
  uint8_t* release() { return std::exchange(bytes_, nullptr); }

 private:
  static constexpr uint64_t kFirstStep = 8 << 20;
  uint8_t* bytes_ = nullptr;
  uint64_t capacity_ = 0;
};

}  // namespace

HRESULT HttpWork::readToMemory(bool showProgress, std::optional<uint64_t> length) {
  constexpr uint32_t kManyPages = 64 * 1024;
  BodyReader body(*this, showProgress, length);
  GrowingBlock block;
  while (!body.hasEnded()) {
    uint32_t there = 0;
    HRESULT status = body.available(there);
    if (status != kOk) return status;
    if (there == 0) break;
    const uint64_t size = body.bytesRead() + there;
    if (!block.reserve(size, length.value_or(2 * size))) return kOutOfMemory;
    uint8_t* const to = block.bytes() + body.bytesRead();
    if (there >= kManyPages) platform::prefaultPages(to, there);
    status = body.read(to, there);
    if (status != kOk) return status;
  }
  response->contentLength = body.lengthField();
  if (response->contentLength == 0) return kOk;
  block.bytes()[response->contentLength] = 0;
  response->body = block.release();
  return kOk;
}

namespace {

// A file that goes again unless it is kept.
class ResponseFile {
 public:
  explicit ResponseFile(const WCHAR* name) : name_(name), file_(LocalFile::toWrite(name)) {}
  ~ResponseFile() {
    if (!isOpen() || kept_) return;
    file_.close();
    DeleteFileW(name_);
  }
  ResponseFile(const ResponseFile&) = delete;
  ResponseFile& operator=(const ResponseFile&) = delete;

  bool isOpen() const { return file_.isOpen(); }
  void keep() { kept_ = true; }
  HRESULT write(const uint8_t* bytes, uint32_t size) {
    DWORD left = 0;
    if (file_.write(bytes, size, left)) return kOk;
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("WriteFile failed - tried to write %d bytes - GLE=%d"), left,
               GetLastError());
    return kWriteFailed;
  }

 private:
  const WCHAR* const name_;
  LocalFile file_;
  bool kept_ = false;
};

}  // namespace

HRESULT HttpWork::readToFile(bool showProgress, std::optional<uint64_t> length) {
  BodyReader body(*this, showProgress, length);
  ResponseFile file(response->fileName);
  if (!file.isOpen()) return kCannotOpenFile;
  uint8_t buffer[64 * 1024];
  uint32_t filled = 0;
  while (!body.hasEnded()) {
    uint32_t there = 0;
    HRESULT status = body.available(there);
    if (status != kOk) return status;
    there = std::min<uint32_t>(there, sizeof(buffer) - filled);
    status = body.read(buffer + filled, there);
    if (status != kOk) return status;
    filled += there;
    if (filled < sizeof(buffer)) continue;
    status = file.write(buffer, filled);
    if (status != kOk) return status;
    filled = 0;
  }
  const HRESULT status = file.write(buffer, filled);
  if (status != kOk) return status;
  response->contentLength = body.lengthField();
  if (body.bytesRead() > 0) file.keep();
  return kOk;
}

}  // namespace qv::net
