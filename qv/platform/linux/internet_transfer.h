// One transfer of libcurl's, pulled: nothing moves but while a caller waits for it.
//
// The calling thread drives the transfer in read, write and waitFor; there is no thread behind it, and what
// has been received and not read yet is bounded by one buffer. A session keeps channels whose transfer has
// ended, so that the next one finds its connection open.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "qv/platform/linux/internet.h"

namespace qv::platform {

// A transfer's handle and the connections that were left open behind it.
struct Channel {
  CURLM* multi;
  CURL* easy;
  Channel();
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
};

class ChannelPool {
 public:
  std::unique_ptr<Channel> take();
  void giveBack(std::unique_ptr<Channel> channel);

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<Channel>> idle_;
};

// Lines that libcurl is given, header lines or commands; a transfer's for as long as the transfer.
class LineList {
 public:
  LineList() = default;
  ~LineList() { curl_slist_free_all(list_); }
  LineList(const LineList&) = delete;
  LineList& operator=(const LineList&) = delete;
  void add(const std::string& line) { list_ = curl_slist_append(list_, line.c_str()); }
  curl_slist* get() const { return list_; }

 private:
  curl_slist* list_ = nullptr;
};

// The address of a host, "http://name:port" for the scheme "http"; and its user and password, where it has
// one.
std::string addressOf(const Host& host, const char* scheme);
void setLogin(CURL* easy, const Host& host);

// How long a server may be silent, in milliseconds. Tests shorten it.
extern std::atomic<uint32_t> internetPatience;

// The platform's error for one of libcurl's.
DWORD internetError(CURLcode code);

class Transfer {
 public:
  explicit Transfer(ChannelPool& pool);
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy() const { return channel_->easy; }
  bool hasStarted() const { return started_; }
  bool hasEnded() const { return ended_; }
  CURLcode result() const { return result_; }
  // The reader's; a failure there is the transfer's.
  void abort(DWORD error) { error_ = error; }
  void noteActivity();

  // All below set the last error where they fail.
  bool start();
  // Drives the transfer until `there()`, or its end: true for both, false for a failure and for silence.
  template <typename There>
  bool waitFor(There&& there) {
    while (!there() && !ended_) {
      if (!drive()) return false;
    }
    return there() || check();
  }
  bool available(DWORD* bytes);
  bool read(void* buffer, DWORD bytes, DWORD* done);
  // Sends all of it, unless the transfer ended before: a server may answer without reading everything.
  bool write(const void* buffer, DWORD bytes, DWORD* done);
  // No further write comes.
  void endWriting();
  uint64_t bytesWritten() const { return bytesWritten_; }
  bool hasData() const { return begin_ < end_; }
  // True when it ended well, else the error.
  bool check() const;
  // Before start: what is written goes out. Bytes received go to read always.
  void sendFromWriter();

 private:
  static size_t onReceive(char* data, size_t size, size_t count, void* self);
  static size_t onSend(char* buffer, size_t size, size_t count, void* self);
  bool drive();
  void takeMessages();
  bool waitForSocket();

  ChannelPool& pool_;
  std::unique_ptr<Channel> channel_;
  std::unique_ptr<char[]> received_;
  size_t begin_ = 0, end_ = 0;
  bool receivingPaused_ = false, sendingPaused_ = false;
  std::span<const char> outgoing_;
  bool writerDone_ = false;
  uint64_t bytesWritten_ = 0;
  bool started_ = false, ended_ = false;
  CURLcode result_ = CURLE_OK;
  DWORD error_ = 0;
  uint64_t lastActivity_ = 0;
};

}  // namespace qv::platform
