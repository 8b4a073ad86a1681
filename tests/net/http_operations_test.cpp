// What the operations below the client promise, on both builds, against a real server.
#include "net/http_support.h"
#include "qv/platform/internet.h"

using namespace qv::test;

namespace {

class Request {
 public:
  Request(const WCHAR* verb, std::string_view path) {
    const std::string place = placeOf("QV_TEST_HTTP");
    const size_t colon = place.find(':');
    session_ = InternetOpenW(TEXT("test"), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    host_ = InternetConnectW(session_, wide(place.substr(0, colon)).c_str(),
                             static_cast<INTERNET_PORT>(std::stoi(place.substr(colon + 1))), nullptr, nullptr,
                             INTERNET_SERVICE_HTTP, 0, 0);
    handle = HttpOpenRequestW(host_, verb, wide(path).c_str(), TEXT("HTTP/1.1"), nullptr, nullptr,
                              INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE, 0);
  }
  ~Request() {
    for (const HINTERNET each : {handle, host_, session_}) InternetCloseHandle(each);
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  bool send() const { return HttpSendRequestW(handle, nullptr, 0, nullptr, 0); }
  // Piece by piece, until a read gives nothing.
  std::string read(DWORD piece) const {
    std::string all, block(piece, 0);
    for (DWORD got = 0; InternetReadFile(handle, block.data(), piece, &got) && got > 0;)
      all.append(block, 0, got);
    return all;
  }
  HINTERNET handle = nullptr;

 private:
  HINTERNET session_ = nullptr, host_ = nullptr;
};

TEST(HttpOperations, ReadInPiecesOfAnySize) {
  for (const DWORD piece : {1u, 1000u, 8192u, 100000u}) {
    for (const char* const path : {"/bytes?size=30000", "/chunked?size=30000", "/close?size=30000"}) {
      const Request request(TEXT("GET"), path);
      ASSERT_TRUE(request.send());
      EXPECT_EQ(request.read(piece), pattern(30000)) << path << " by " << piece;
      DWORD there = 1;
      EXPECT_TRUE(InternetQueryDataAvailable(request.handle, &there, 0, 0));
      EXPECT_EQ(there, 0u);
    }
  }
}

TEST(HttpOperations, SayWhatTheHeaderSays) {
  const Request request(TEXT("GET"), "/status?code=404");
  ASSERT_TRUE(request.send());
  // Too small a buffer says how large it should be.
  WCHAR text[200];
  DWORD bytes = 4;
  EXPECT_FALSE(HttpQueryInfoW(request.handle, HTTP_QUERY_CONTENT_TYPE, text, &bytes, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  ASSERT_LE(bytes, sizeof(text));
  EXPECT_TRUE(HttpQueryInfoW(request.handle, HTTP_QUERY_CONTENT_TYPE, text, &bytes, nullptr));
  EXPECT_EQ(Text(text), TEXT("text/html; charset=utf-8"));
  EXPECT_EQ(bytes, Text(text).size() * sizeof(WCHAR));

  const Request without(TEXT("GET"), "/close?size=1");
  ASSERT_TRUE(without.send());
  for (const DWORD what : {HTTP_QUERY_CONTENT_TYPE, HTTP_QUERY_CONTENT_LENGTH | HTTP_QUERY_FLAG_NUMBER}) {
    bytes = sizeof(text);
    EXPECT_FALSE(HttpQueryInfoW(without.handle, what, text, &bytes, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HTTP_HEADER_NOT_FOUND));
  }
}

}  // namespace
