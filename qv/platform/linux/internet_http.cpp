#include "qv/platform/linux/internet_http.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/internet_transfer.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

constexpr size_t kHeaderLimit = 256 * 1024;
constexpr long kRedirectLimit = 20;
constexpr size_t kStatusDigits = 3;
constexpr int kLeastStatus = 100;

char lowerOf(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool sameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, lowerOf, lowerOf);
}

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

// ---- The response's header

bool ResponseHeader::addLine(std::string_view line) {
  bytes_ += line.size();
  if (bytes_ > kHeaderLimit) return false;
  const bool isTrailer = final_ || (!open_ && !lines_.empty() && !line.starts_with("HTTP/"));
  if (isTrailer) return true;  // it says nothing that the header didn't
  const bool continues = open_ && (line.starts_with(' ') || line.starts_with('\t'));
  line = trimmed(line);
  if (!open_) return begin(line);
  if (continues) return line.empty() || addContinuation(line);
  if (!line.empty()) return addField(line);
  const bool interim = status_ / 100 == 1;
  final_ = !interim && !(follows_ && isRedirection());
  open_ = false;
  return true;
}

// "HTTP/1.1 200 OK"; only the number means something.
bool ResponseHeader::begin(std::string_view line) {
  const size_t bytes = bytes_;
  *this = ResponseHeader(follows_);
  bytes_ = bytes;
  open_ = true;
  lines_.emplace_back(line);
  const size_t blank = std::min(line.find(' '), line.size());
  const std::string_view number = trimmed(line.substr(blank)).substr(0, kStatusDigits);
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), status_);
  const bool whole =
      error == std::errc() && number.size() == kStatusDigits && end == number.data() + number.size();
  return line.starts_with("HTTP/") && whole && status_ >= kLeastStatus;
}

bool ResponseHeader::addField(std::string_view line) {
  lines_.emplace_back(line);
  const size_t colon = line.find(':');
  if (colon == line.npos) return true;
  const std::string_view name = line.substr(0, colon), value = trimmed(line.substr(colon + 1));
  if (sameName(name, "content-length")) return setLength(value);
  if (sameName(name, "content-type")) contentType_ = value;
  if (sameName(name, "location")) hasLocation_ = true;
  return true;
}

// A line that begins with a blank goes on with the field before it, and is none itself (RFC 7230, 3.2.4).
bool ResponseHeader::addContinuation(std::string_view line) {
  const std::string whole = lines_.back() + ' ' + std::string(line);
  const bool isField = lines_.size() > 1;
  lines_.pop_back();
  if (isField) return addField(whole);
  lines_.push_back(whole);
  return true;
}

bool ResponseHeader::setLength(std::string_view digits) {
  uint64_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  const bool whole = error == std::errc() && end == digits.data() + digits.size() && length <= INT64_MAX;
  if (!whole || (contentLength_ && *contentLength_ != length)) return false;
  contentLength_ = length;
  return true;
}

bool ResponseHeader::isRedirection() const {
  constexpr int kFollowed[] = {301, 302, 303, 307, 308};
  return hasLocation_ && std::ranges::find(kFollowed, status_) != std::end(kFollowed);
}

namespace {

// ---- The request

// What stands between the host and the end of the line: percent-encoded where a request line can't hold it,
// and without a fragment, which is the client's own.
std::string targetOf(std::string_view object) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string target;
  for (const char c : object.substr(0, object.find('#'))) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte < 0x7f && std::string_view("\"<>").find(c) == std::string_view::npos) {
      target += c;
    } else {
      target += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return target.starts_with('/') ? target : "/" + target;
}

class HttpRequest : public InternetObject {
 public:
  struct Line {
    std::string verb, target, accept;
    bool secure;
  };
  HttpRequest(std::shared_ptr<Connection> connection, Line line)
      : connection_(std::move(connection)), line_(std::move(line)) {}

  void replaceHeader(std::string_view name, std::string_view value);
  bool send(const void* body, uint64_t bytes);
  bool beginSending(uint64_t bytes);
  bool endSending();
  const ResponseHeader* header() const { return header_.isFinal() ? &header_ : nullptr; }

  bool available(DWORD* bytes) override;
  bool read(void* buffer, DWORD bytes, DWORD* done) override;
  bool write(const void* buffer, DWORD bytes, DWORD* done) override;
  bool close() override {
    transfer_.reset();
    return true;
  }

 private:
  static size_t onHeader(char* data, size_t size, size_t count, void* self);
  bool prepare();
  void setHeaders();
  bool waitForHeader();
  bool isState(bool good) const { return good || fail(ERROR_INTERNET_INCORRECT_HANDLE_STATE); }

  const std::shared_ptr<Connection> connection_;
  const Line line_;
  std::vector<std::array<std::string, 2>> headers_;
  LineList list_;
  std::unique_ptr<Transfer> transfer_;
  ResponseHeader header_;
  uint64_t announced_ = 0;
  bool sending_ = false;
};

void HttpRequest::replaceHeader(std::string_view name, std::string_view value) {
  std::erase_if(headers_, [&](const auto& header) { return sameName(header[0], name); });
  headers_.push_back({std::string(name), std::string(value)});
}

void HttpRequest::setHeaders() {
  // A length would not wait for the server's leave, and a type of libcurl's own would be a lie.
  list_.add("Expect:");
  list_.add("Content-Type:");
  list_.add(line_.accept.empty() ? "Accept:" : "Accept: " + line_.accept);
  for (const auto& [name, value] : headers_) list_.add(value.empty() ? name + ";" : name + ": " + value);
  curl_easy_setopt(transfer_->easy(), CURLOPT_HTTPHEADER, list_.get());
}

bool HttpRequest::prepare() {
  if (!isState(!transfer_)) return false;
  const Host& host = connection_->host();
  transfer_ = std::make_unique<Transfer>(host.session->channels());
  CURL* const easy = transfer_->easy();
  const std::string url = addressOf(host, line_.secure ? "https" : "http") + line_.target;
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kRedirectLimit);
  curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(easy, CURLOPT_USERAGENT, host.session->agent().c_str());
  curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, onHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
  setLogin(easy, host);
  if (const char* authorities = getenv("SSL_CERT_FILE")) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, authorities);
  }
  setHeaders();
  return true;
}

size_t HttpRequest::onHeader(char* data, size_t, size_t count, void* self) {
  auto& request = *static_cast<HttpRequest*>(self);
  request.transfer_->noteActivity();
  if (request.header_.addLine({data, count})) return count;
  request.transfer_->abort(ERROR_HTTP_INVALID_SERVER_RESPONSE);
  return 0;
}

bool HttpRequest::waitForHeader() {
  const bool there = transfer_->waitFor([this] { return header_.isFinal() || transfer_->hasData(); });
  if (!there) return false;
  return header_.isFinal() || fail(ERROR_HTTP_INVALID_SERVER_RESPONSE);
}

bool HttpRequest::send(const void* body, uint64_t bytes) {
  if (!prepare()) return false;
  CURL* const easy = transfer_->easy();
  if (line_.verb == "POST") {
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body ? body : "");
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bytes));
  } else if (line_.verb != "GET") {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, line_.verb.c_str());
  }
  return transfer_->start() && waitForHeader();
}

bool HttpRequest::beginSending(uint64_t bytes) {
  if (!prepare()) return false;
  CURL* const easy = transfer_->easy();
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bytes));
  // What was sent can't be sent again: a redirection is the response then.
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  if (line_.verb != "POST") curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, line_.verb.c_str());
  header_ = ResponseHeader(false);
  transfer_->sendFromWriter();
  announced_ = bytes;
  sending_ = true;
  return transfer_->start();
}

bool HttpRequest::endSending() {
  if (!isState(sending_)) return false;
  sending_ = false;
  if (transfer_->bytesWritten() < announced_ && !transfer_->hasEnded()) {
    transfer_->abort(ERROR_INTERNET_INCORRECT_HANDLE_STATE);
    return fail(ERROR_INTERNET_INCORRECT_HANDLE_STATE);
  }
  transfer_->endWriting();
  return waitForHeader();
}

bool HttpRequest::available(DWORD* bytes) {
  return isState(header() && transfer_) && transfer_->available(bytes);
}

bool HttpRequest::read(void* buffer, DWORD bytes, DWORD* done) {
  return isState(header() && transfer_) && transfer_->read(buffer, bytes, done);
}

bool HttpRequest::write(const void* buffer, DWORD bytes, DWORD* done) {
  return isState(sending_) && transfer_->write(buffer, bytes, done);
}

// ---- Texts from the caller

bool acceptText(LPCWSTR* types, std::string& accept) {
  for (; types && *types; ++types) {
    std::string type;
    if (!requestText(*types, type)) return false;
    type = trimmed(type);
    if (!type.empty()) accept += (accept.empty() ? "" : ", ") + type;
  }
  return true;
}

bool addHeaderLine(HttpRequest& request, std::u16string_view line) {
  std::string text;
  if (!requestText(std::u16string(line).c_str(), text) || line.find(u'\0') != line.npos) return false;
  const size_t colon = text.find(':');
  if (colon == text.npos || colon == 0) return fail(ERROR_INVALID_PARAMETER);
  request.replaceHeader(trimmed(std::string_view(text).substr(0, colon)),
                        trimmed(std::string_view(text).substr(colon + 1)));
  return true;
}

// ---- What the response says

bool giveNumber(std::optional<uint64_t> number, LPVOID buffer, DWORD* length) {
  if (!number) return fail(ERROR_HTTP_HEADER_NOT_FOUND);
  if (*number > UINT32_MAX) return fail(ERROR_HTTP_INVALID_HEADER);
  if (!buffer || *length < sizeof(DWORD)) {
    *length = sizeof(DWORD);
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  const auto value = static_cast<DWORD>(*number);
  std::copy_n(reinterpret_cast<const char*>(&value), sizeof(value), static_cast<char*>(buffer));
  *length = sizeof(value);
  return true;
}

bool giveHeaderText(const std::u16string& text, LPVOID buffer, DWORD* length) {
  const size_t needed = (text.size() + 1) * sizeof(char16_t);
  if (!buffer || *length < needed) {
    *length = static_cast<DWORD>(needed);
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::copy_n(text.c_str(), text.size() + 1, static_cast<char16_t*>(buffer));
  *length = static_cast<DWORD>(needed - sizeof(char16_t));
  return true;
}

std::u16string rawHeaders(const ResponseHeader& header) {
  std::u16string all;
  for (const std::string& line : header.lines()) all += utf16From(line) + u'\0';
  return all;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HINTERNET HttpOpenRequestW(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR, LPCWSTR,
                           LPCWSTR* accept, DWORD flags, DWORD_PTR) {
  auto host = objectOf<Connection>(connection);
  HttpRequest::Line line{{}, {}, {}, (flags & INTERNET_FLAG_SECURE) != 0};
  std::string path;
  if (!host || !requestText(verb ? verb : u"GET", line.verb) || !requestText(object, path) ||
      !acceptText(accept, line.accept)) {
    return nullptr;
  }
  const bool isWord = std::ranges::all_of(line.verb, [](char c) { return c >= 'A' && c <= 'Z'; });
  if (!isWord || line.verb.empty()) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  line.target = targetOf(path);
  return openHandle(std::make_shared<HttpRequest>(std::move(host), std::move(line)));
}

BOOL HttpAddRequestHeadersW(HINTERNET handle, LPCWSTR headers, DWORD length, DWORD) {
  const auto request = objectOf<HttpRequest>(handle);
  if (!request) return FALSE;
  if (!headers) return fail(ERROR_INVALID_PARAMETER);
  std::u16string_view rest =
      length == 0xffffffffu ? std::u16string_view(headers) : std::u16string_view(headers, length);
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(u"\r\n"), rest.size());
    if (end > 0 && !addHeaderLine(*request, rest.substr(0, end))) return FALSE;
    rest.remove_prefix(std::min(rest.size(), end + 2));
  }
  return TRUE;
}

BOOL HttpSendRequestW(HINTERNET handle, LPCWSTR, DWORD, LPVOID body, DWORD length) {
  const auto request = objectOf<HttpRequest>(handle);
  return request && request->send(body, length);
}

BOOL HttpSendRequestExW(HINTERNET handle, INTERNET_BUFFERSW* buffers, INTERNET_BUFFERSW*, DWORD, DWORD_PTR) {
  const auto request = objectOf<HttpRequest>(handle);
  return request && request->beginSending(buffers ? buffers->dwBufferTotal : 0);
}

BOOL HttpEndRequestW(HINTERNET handle, INTERNET_BUFFERSW*, DWORD, DWORD_PTR) {
  const auto request = objectOf<HttpRequest>(handle);
  return request && request->endSending();
}

BOOL HttpQueryInfoW(HINTERNET handle, DWORD what, LPVOID buffer, DWORD* length, DWORD*) {
  const auto request = objectOf<HttpRequest>(handle);
  if (!request) return FALSE;
  const ResponseHeader* const header = request->header();
  if (!header) return fail(ERROR_INTERNET_INCORRECT_HANDLE_STATE);
  if (!length) return fail(ERROR_INVALID_PARAMETER);
  switch (what) {
    case HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER:
      return giveNumber(header->status(), buffer, length);
    case HTTP_QUERY_CONTENT_LENGTH | HTTP_QUERY_FLAG_NUMBER:
      return giveNumber(header->contentLength(), buffer, length);
    case HTTP_QUERY_RAW_HEADERS:
      return giveHeaderText(rawHeaders(*header), buffer, length);
    case HTTP_QUERY_CONTENT_TYPE:
      if (!header->contentType()) return fail(ERROR_HTTP_HEADER_NOT_FOUND);
      return giveHeaderText(utf16From(*header->contentType()), buffer, length);
    default:
      return fail(ERROR_INVALID_PARAMETER);
  }
}
