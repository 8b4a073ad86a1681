#include "qv/platform/linux/internet_transfer.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "qv/platform/linux/failure.h"
#include "qv/platform/system.h"

namespace qv::platform {
namespace {

// The largest that libcurl reads at once; its usual 16 KiB halve the speed.
constexpr size_t kReceiveBytes = 512 * 1024;
// Room for what it hands over at once, above what was asked for.
constexpr size_t kBufferBytes = kReceiveBytes + CURL_MAX_WRITE_SIZE;
constexpr size_t kIdleChannels = 4;
constexpr int kPollMilliseconds = 100;

struct ErrorRow {
  CURLcode code;
  DWORD error;
};
constexpr ErrorRow kErrors[] = {
    {CURLE_OPERATION_TIMEDOUT, ERROR_INTERNET_TIMEOUT},
    {CURLE_COULDNT_RESOLVE_HOST, ERROR_INTERNET_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_RESOLVE_PROXY, ERROR_INTERNET_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_CONNECT, ERROR_INTERNET_CANNOT_CONNECT},
    {CURLE_URL_MALFORMAT, ERROR_INTERNET_INVALID_URL},
    {CURLE_UNSUPPORTED_PROTOCOL, ERROR_INTERNET_UNRECOGNIZED_SCHEME},
    {CURLE_TOO_MANY_REDIRECTS, ERROR_HTTP_REDIRECT_FAILED},
    {CURLE_LOGIN_DENIED, ERROR_INTERNET_LOGIN_FAILURE},
    {CURLE_OUT_OF_MEMORY, ERROR_NOT_ENOUGH_MEMORY},
    {CURLE_PEER_FAILED_VERIFICATION, ERROR_INTERNET_SEC_CERT_CN_INVALID},
    {CURLE_SSL_CONNECT_ERROR, ERROR_INTERNET_SECURITY_CHANNEL_ERROR},
    {CURLE_WEIRD_SERVER_REPLY, ERROR_HTTP_INVALID_SERVER_RESPONSE},
    {CURLE_QUOTE_ERROR, ERROR_INTERNET_EXTENDED_ERROR},
    {CURLE_REMOTE_FILE_NOT_FOUND, ERROR_INTERNET_EXTENDED_ERROR},
    {CURLE_REMOTE_ACCESS_DENIED, ERROR_INTERNET_EXTENDED_ERROR},
    {CURLE_FTP_COULDNT_RETR_FILE, ERROR_INTERNET_EXTENDED_ERROR},
    {CURLE_UPLOAD_FAILED, ERROR_INTERNET_EXTENDED_ERROR},
    {CURLE_RECV_ERROR, ERROR_INTERNET_CONNECTION_RESET},
    {CURLE_SEND_ERROR, ERROR_INTERNET_CONNECTION_RESET},
};

// A worker that was let go of may end while the process does. What OpenSSL, behind libcurl, would clean up
// then it would free twice, once for the thread and once for the process: it is to leave its memory to the
// system.
void forgoCleanupAtExit() {
  using Initialise = int (*)(uint64_t options, const void* settings);
  constexpr uint64_t kNoAtExit = 0x80000;
  const auto initialise = reinterpret_cast<Initialise>(dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto"));
  if (initialise) initialise(kNoAtExit, nullptr);
}

CURLcode initialiseLibrary() {
  forgoCleanupAtExit();  // the first call decides
  return curl_global_init(CURL_GLOBAL_DEFAULT);
}

void startLibrary() {
  static const CURLcode started = initialiseLibrary();
  static_cast<void>(started);
}

}  // namespace

std::atomic<uint32_t> internetPatience{30000};

DWORD internetError(CURLcode code) {
  const auto row = std::ranges::find(kErrors, code, &ErrorRow::code);
  return row == std::end(kErrors) ? ERROR_INTERNET_CONNECTION_ABORTED : row->error;
}

std::string addressOf(const Host& host, const char* scheme) {
  return std::string(scheme) + "://" + host.name + ":" + std::to_string(host.port);
}

void setLogin(CURL* easy, const Host& host) {
  if (host.user.empty()) return;
  curl_easy_setopt(easy, CURLOPT_USERNAME, host.user.c_str());
  curl_easy_setopt(easy, CURLOPT_PASSWORD, host.password.c_str());
}

Channel::Channel() {
  startLibrary();
  multi = curl_multi_init();
  easy = curl_easy_init();
}

Channel::~Channel() {
  curl_easy_cleanup(easy);
  curl_multi_cleanup(multi);
}

std::unique_ptr<Channel> ChannelPool::take() {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) return std::make_unique<Channel>();
  auto channel = std::move(idle_.back());
  idle_.pop_back();
  return channel;
}

void ChannelPool::giveBack(std::unique_ptr<Channel> channel) {
  const std::lock_guard lock(mutex_);
  if (idle_.size() < kIdleChannels) idle_.push_back(std::move(channel));
}

Transfer::Transfer(ChannelPool& pool) : pool_(pool), channel_(pool.take()) {
  const long patience = internetPatience;
  curl_easy_setopt(easy(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy(), CURLOPT_BUFFERSIZE, static_cast<long>(kReceiveBytes));
  curl_easy_setopt(easy(), CURLOPT_CONNECTTIMEOUT_MS, patience);
  curl_easy_setopt(easy(), CURLOPT_WRITEFUNCTION, onReceive);
  curl_easy_setopt(easy(), CURLOPT_WRITEDATA, this);
}

Transfer::~Transfer() {
  if (started_) curl_multi_remove_handle(channel_->multi, easy());
  curl_easy_reset(easy());
  pool_.giveBack(std::move(channel_));
}

void Transfer::sendFromWriter() {
  curl_easy_setopt(easy(), CURLOPT_READFUNCTION, onSend);
  curl_easy_setopt(easy(), CURLOPT_READDATA, this);
}

void Transfer::noteActivity() {
  lastActivity_ = GetTickCount64();
}

bool Transfer::start() {
  noteActivity();
  started_ = curl_multi_add_handle(channel_->multi, easy()) == CURLM_OK;
  return started_ || fail(ERROR_NOT_ENOUGH_MEMORY);
}

size_t Transfer::onReceive(char* data, size_t, size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  transfer.noteActivity();
  if (!transfer.received_) transfer.received_ = std::make_unique_for_overwrite<char[]>(kBufferBytes);
  if (transfer.begin_ == transfer.end_) transfer.begin_ = transfer.end_ = 0;
  if (count > kBufferBytes - transfer.end_) {
    transfer.receivingPaused_ = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  memcpy(transfer.received_.get() + transfer.end_, data, count);
  transfer.end_ += count;
  return count;
}

size_t Transfer::onSend(char* buffer, size_t size, size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  transfer.noteActivity();
  const size_t bytes = std::min(size * count, transfer.outgoing_.size());
  if (bytes == 0 && !transfer.writerDone_) {
    transfer.sendingPaused_ = true;
    return CURL_READFUNC_PAUSE;
  }
  std::ranges::copy(transfer.outgoing_.first(bytes), buffer);
  transfer.outgoing_ = transfer.outgoing_.subspan(bytes);
  transfer.bytesWritten_ += bytes;
  return bytes;
}

void Transfer::takeMessages() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(channel_->multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    ended_ = true;
    result_ = message->data.result;
  }
}

bool Transfer::waitForSocket() {
  const uint64_t silent = GetTickCount64() - lastActivity_;
  if (silent >= internetPatience) return fail(ERROR_INTERNET_TIMEOUT);
  const int wait = static_cast<int>(std::min<uint64_t>(internetPatience - silent, kPollMilliseconds));
  curl_multi_poll(channel_->multi, nullptr, 0, wait, nullptr);
  return true;
}

bool Transfer::drive() {
  const bool hadData = hasData();
  const size_t toSend = outgoing_.size();
  int running = 0;
  if (curl_multi_perform(channel_->multi, &running) != CURLM_OK) return fail(ERROR_INTERNET_INTERNAL_ERROR);
  takeMessages();
  if (error_ != 0) return fail(error_);
  const bool moved = hasData() != hadData || outgoing_.size() != toSend;
  return ended_ || moved || waitForSocket();
}

bool Transfer::check() const {
  if (error_ != 0) return fail(error_);
  return !ended_ || result_ == CURLE_OK || fail(internetError(result_));
}

bool Transfer::available(DWORD* bytes) {
  if (!bytes) return fail(ERROR_INVALID_PARAMETER);
  *bytes = 0;
  if (!hasData() && receivingPaused_) {
    receivingPaused_ = false;
    begin_ = end_ = 0;
    curl_easy_pause(easy(), CURLPAUSE_CONT);
  }
  if (!waitFor([this] { return hasData(); })) return false;
  *bytes = static_cast<DWORD>(end_ - begin_);
  return true;
}

bool Transfer::read(void* buffer, DWORD bytes, DWORD* done) {
  DWORD there = 0;
  if (!done || (!buffer && bytes)) return fail(ERROR_INVALID_PARAMETER);
  *done = 0;
  if (bytes == 0) return true;
  if (!available(&there)) return false;
  if (there == 0) return true;
  *done = std::min(bytes, there);
  memcpy(buffer, received_.get() + begin_, *done);
  begin_ += *done;
  return true;
}

bool Transfer::write(const void* buffer, DWORD bytes, DWORD* done) {
  if (!done || (!buffer && bytes)) return fail(ERROR_INVALID_PARAMETER);
  *done = 0;
  outgoing_ = {static_cast<const char*>(buffer), bytes};
  if (sendingPaused_) {
    sendingPaused_ = false;
    curl_easy_pause(easy(), CURLPAUSE_CONT);
  }
  const bool sent = waitFor([this] { return outgoing_.empty(); });
  outgoing_ = {};
  if (sent) *done = bytes;
  return sent;
}

void Transfer::endWriting() {
  writerDone_ = true;
  if (!sendingPaused_) return;
  sendingPaused_ = false;
  curl_easy_pause(easy(), CURLPAUSE_CONT);
}

}  // namespace qv::platform
