// Requests against the servers that peer_test.py starts.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include "net/files.h"
#include "qv/net/inethttp.h"

namespace qv::test {

inline std::string placeOf(const char* server) {
  const char* const place = getenv(server);
  return place ? place : "no server: run this through peer_test.py";
}

// "http://host:port/path" of the first server.
inline std::string at(std::string_view path) {
  return "http://" + placeOf("QV_TEST_HTTP") + std::string(path);
}

// A client, and the last answer it had.
class Client {
 public:
  Client() { http->Init(TEXT("test/1")); }
  ~Client() {
    drop();
    http->Release();
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  HRESULT begin(std::string_view url, const WCHAR* headers = nullptr, const WCHAR* file = nullptr) {
    return http->Get(wide(url).c_str(), TEXT("*/*"), headers, file);
  }
  // Waits for what was begun and gives its status.
  HRESULT end() {
    drop();
    HRESULT result = 1;
    if (http->WaitForRequestCompletion(60000) != 0) return 2;
    if (http->GetRequestResult(&result, &response) != 0) return 3;
    return result;
  }
  HRESULT get(std::string_view url, const WCHAR* headers = nullptr, const WCHAR* file = nullptr) {
    const HRESULT begun = begin(url, headers, file);
    return begun == QVINET_PENDING ? end() : begun;
  }
  HRESULT post(std::string_view url, std::string_view data, const WCHAR* headers = nullptr) {
    const HRESULT begun = http->Post(wide(url).c_str(), TEXT("*/*"), headers, data.data(),
                                     static_cast<uint32_t>(data.size()), nullptr);
    return begun == QVINET_PENDING ? end() : begun;
  }
  uint32_t statusCode() const { return response ? response->statusCode : 0; }
  std::string body() const {
    uint32_t size = 0;
    const void* const bytes = response ? response->GetResponseBuffer(&size) : nullptr;
    return bytes ? std::string(static_cast<const char*>(bytes), size) : std::string();
  }

  CQvInetHttp* const http = CQvInetHttp::CreateInstance();
  CQvInetHttpResponse* response = nullptr;

 private:
  void drop() {
    if (response) response->Release();
    response = nullptr;
  }
};

}  // namespace qv::test
