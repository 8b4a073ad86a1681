// Requests on loopback beside bare libcurl with its largest buffer, against one server in this process.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "qv/net/inethttp.h"

namespace {

constexpr size_t kBigBody = 256u << 20;
constexpr size_t kBlock = 1u << 20;
constexpr size_t kSmallBody = 100;

// Answers "/big" and anything else, and keeps its connections open. Lives as long as the process.
class Server {
 public:
  Server() {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    socklen_t size = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener_, 16) != 0)
      abort();
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    std::thread([this] {
      for (;;) std::thread(serve, accept(listener_, nullptr, nullptr)).detach();
    }).detach();
  }
  int port() const { return port_; }

 private:
  static bool sendAll(int peer, const char* bytes, size_t size) {
    while (size > 0) {
      const ssize_t sent = send(peer, bytes, size, MSG_NOSIGNAL);
      if (sent <= 0) return false;
      bytes += sent;
      size -= static_cast<size_t>(sent);
    }
    return true;
  }

  static bool answer(int peer, size_t body) {
    static const std::string block(kBlock, 'x');
    const std::string header =
        "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body) + "\r\n\r\n";
    if (body < kBlock) {
      const std::string whole = header + block.substr(0, body);
      return sendAll(peer, whole.data(), whole.size());
    }
    if (!sendAll(peer, header.data(), header.size())) return false;
    for (size_t sent = 0; sent < body; sent += kBlock)
      if (!sendAll(peer, block.data(), kBlock)) return false;
    return true;
  }

  static void serve(int peer) {
    const int on = 1;
    setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    std::string request;
    char bytes[4096];
    for (ssize_t got; (got = recv(peer, bytes, sizeof(bytes), 0)) > 0;) {
      request.append(bytes, static_cast<size_t>(got));
      if (!request.ends_with("\r\n\r\n")) continue;
      if (!answer(peer, request.starts_with("GET /big") ? kBigBody : kSmallBody)) break;
      request.clear();
    }
    close(peer);
  }

  int listener_ = -1, port_ = 0;
};

std::string address(const char* path) {
  static const Server* const server = new Server;
  return "http://127.0.0.1:" + std::to_string(server->port()) + path;
}

std::string resultFile() {
  const char* const folder = getenv("TMPDIR");
  return std::string(folder ? folder : "/tmp") + "/qv-net-bench.bin";
}

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

// ---- Ours

class Client {
 public:
  Client() { http_->Init(u"bench"); }
  ~Client() { http_->Release(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  bool get(const std::u16string& url, const char16_t* file, size_t expected) {
    HRESULT result = 1;
    CQvInetHttpResponse* response = nullptr;
    if (http_->Get(url.c_str(), u"*/*", nullptr, file) != QVINET_PENDING) return false;
    if (http_->WaitForRequestCompletion(INFINITE) != 0) return false;
    if (http_->GetRequestResult(&result, &response) != 0 || !response) return false;
    const bool good = result == 0 && response->contentLength == expected;
    response->Release();
    return good;
  }

 private:
  CQvInetHttp* const http_ = CQvInetHttp::CreateInstance();
};

void runOurs(benchmark::State& state, const char* path, const char16_t* file, size_t expected) {
  Client client;
  const std::u16string url = wide(address(path));
  for (auto _ : state) {
    if (!client.get(url, file, expected)) return state.SkipWithError("failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(expected));
  state.SetItemsProcessed(state.iterations());
}

// ---- Bare libcurl

struct Memory {
  char* bytes;
  size_t used;
};

size_t toMemory(char* data, size_t, size_t count, void* to) {
  auto& memory = *static_cast<Memory*>(to);
  memcpy(memory.bytes + memory.used, data, count);
  memory.used += count;
  return count;
}

size_t toFile(char* data, size_t, size_t count, void* to) {
  return fwrite(data, 1, count, static_cast<FILE*>(to));
}

class Curl {
 public:
  explicit Curl(const std::string& url) {
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_BUFFERSIZE, static_cast<long>(CURL_MAX_READ_SIZE));
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  }
  ~Curl() { curl_easy_cleanup(easy_); }
  Curl(const Curl&) = delete;
  Curl& operator=(const Curl&) = delete;
  bool get(curl_write_callback write, void* to) {
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, write);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, to);
    return curl_easy_perform(easy_) == CURLE_OK;
  }

 private:
  CURL* const easy_ = curl_easy_init();
};

// The caller knows the size, as a good one would from the header.
void runCurlToMemory(benchmark::State& state, const char* path, size_t expected) {
  Curl curl(address(path));
  for (auto _ : state) {
    Memory memory{static_cast<char*>(malloc(expected + 1)), 0};
    const bool good = curl.get(toMemory, &memory) && memory.used == expected;
    free(memory.bytes);
    if (!good) return state.SkipWithError("failed");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(expected));
  state.SetItemsProcessed(state.iterations());
}

void BM_Net_BigToMemory(benchmark::State& state) {
  runOurs(state, "/big", nullptr, kBigBody);
}
void BM_Net_BigToMemoryCurl(benchmark::State& state) {
  runCurlToMemory(state, "/big", kBigBody);
}
void BM_Net_BigToFile(benchmark::State& state) {
  runOurs(state, "/big", wide(resultFile()).c_str(), kBigBody);
  remove(resultFile().c_str());
}
void BM_Net_BigToFileCurl(benchmark::State& state) {
  Curl curl(address("/big"));
  for (auto _ : state) {
    FILE* const file = fopen(resultFile().c_str(), "wb");
    const bool good = curl.get(toFile, file);
    if (fclose(file) != 0 || !good) return state.SkipWithError("failed");
  }
  remove(resultFile().c_str());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kBigBody));
}
// Ten thousand on one object, one behind the other.
void BM_Net_Small(benchmark::State& state) {
  runOurs(state, "/small", nullptr, kSmallBody);
}
void BM_Net_SmallCurl(benchmark::State& state) {
  runCurlToMemory(state, "/small", kSmallBody);
}

BENCHMARK(BM_Net_BigToMemory)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Net_BigToMemoryCurl)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Net_BigToFile)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Net_BigToFileCurl)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Net_Small)->UseRealTime()->Iterations(10000);
BENCHMARK(BM_Net_SmallCurl)->UseRealTime()->Iterations(10000);

}  // namespace
