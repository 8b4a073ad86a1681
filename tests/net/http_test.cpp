// The HTTP client against a real server, an honest one and one that is not.
#include <cstring>

#include "net/http_support.h"
#include "qv/platform/system.h"

using namespace qv::test;

namespace {

constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005u),
                  kBadArgument = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT kCannotConnect = static_cast<HRESULT>(0x8004e0ecu);
constexpr HRESULT kNotHttp = static_cast<HRESULT>(0x8004e0f2u),
                  kBadAccept = static_cast<HRESULT>(0x8004e0f3u);
constexpr HRESULT kNoBoundary = static_cast<HRESULT>(0x8004e0f4u),
                  kTooShort = static_cast<HRESULT>(0x8004e03cu);
constexpr HRESULT kCannotOpen = static_cast<HRESULT>(0x8004e007u);

std::string escaped(char c) {
  constexpr char kHex[] = "0123456789abcdef";
  return {'%', kHex[c >> 4 & 15], kHex[c & 15]};
}

// An address whose answer is this, byte for byte.
std::string saying(const char* response) {
  std::string url = at("/raw?say=");
  for (const char* c = response; *c; ++c) url += strchr("\r\n?=", *c) ? escaped(*c) : std::string(1, *c);
  return url;
}

// ---- Bodies

TEST(Http, ReadsBodiesHoweverTheyEnd) {
  Client client;
  for (const char* const path : {"/bytes?size=", "/chunked?size=", "/close?size="}) {
    for (const size_t size : {0, 1, 8191, 8192, 8193, 65536, 300000}) {
      SCOPED_TRACE(path + std::to_string(size));
      ASSERT_EQ(client.get(at(path + std::to_string(size))), 0);
      ASSERT_NE(client.response, nullptr);
      EXPECT_EQ(client.statusCode(), 200u);
      EXPECT_EQ(client.response->contentLength, size);
      EXPECT_EQ(client.body(), pattern(size));
      EXPECT_EQ(client.response->GetResponseBuffer(nullptr) == nullptr, size == 0);
      if (size) {
        EXPECT_EQ(client.response->body[size], 0);
      }

      const std::string file = fileName("body");
      ASSERT_EQ(client.get(at(path + std::to_string(size)), nullptr, wide(file).c_str()), 0);
      EXPECT_EQ(exists(file), size != 0);
      EXPECT_EQ(client.response->contentLength, size);
      EXPECT_EQ(client.response->GetResponseBuffer(nullptr), nullptr);
      if (size) {
        EXPECT_EQ(fileBytes(file), pattern(size));
      }
    }
  }
}

TEST(Http, CountsWhatMoves) {
  Client client;
  ASSERT_EQ(client.get(at("/bytes?size=100000")), 0);
  int64_t moved = 0, total = 0;
  client.http->GetTransferStatus(&moved, &total);
  EXPECT_EQ(moved, 100000);
  EXPECT_EQ(total, 100000);
  ASSERT_EQ(client.get(at("/close?size=5000")), 0);
  client.http->GetTransferStatus(&moved, &total);
  EXPECT_EQ(moved, 5000);
  EXPECT_EQ(total, 0);
}

TEST(Http, GivesAnErrorPageAsAResponse) {
  Client client;
  ASSERT_EQ(client.get(at("/status?code=404")), 0);
  EXPECT_EQ(client.statusCode(), 404u);
  EXPECT_EQ(client.body(), "a page");
  EXPECT_EQ(narrow(client.response->contentType), "text/html; charset=utf-8");
  EXPECT_EQ(narrow(client.response->rawHeaders).substr(0, 12), "HTTP/1.1 404");
  ASSERT_EQ(client.get(at("/close?size=1")), 0);
  EXPECT_EQ(narrow(client.response->contentType), "");
}

// ---- What goes out

TEST(Http, SendsWhatItWasGiven) {
  Client client;
  ASSERT_EQ(client.get(at("/echo?a=b%20c d#part"), TEXT("X-One: 1\r\nx-one: 2\r\nX-Two:  spaced \r\n")), 0);
  const std::string get = client.body();
  EXPECT_EQ(get.substr(0, get.find('\n')), "GET /echo?a=b%20c%20d HTTP/1.1");
  EXPECT_NE(get.find("User-Agent: test/1"), get.npos);
  EXPECT_NE(get.find("Accept: */*"), get.npos);
  EXPECT_EQ(get.find("X-One: 1"), get.npos);
  EXPECT_NE(get.find("x-one: 2"), get.npos);
  EXPECT_NE(get.find("X-Two: spaced"), get.npos);

  const std::string data = pattern(100000);
  ASSERT_EQ(client.post(at("/echo"), data, TEXT("Content-Type: text/xml\r\n")), 0);
  const std::string posted = client.body();
  EXPECT_EQ(posted.substr(0, posted.find('\n')), "POST /echo HTTP/1.1");
  EXPECT_NE(posted.find("Content-Type: text/xml"), posted.npos);
  EXPECT_EQ(posted.substr(posted.find("\n\n") + 2), data);
}

TEST(Http, RefusesWhatItCannotSend) {
  Client client;
  EXPECT_EQ(client.http->Get(nullptr, TEXT("*/*"), nullptr, nullptr), kBadArgument);
  EXPECT_EQ(client.http->Get(TEXT("http://h"), nullptr, nullptr, nullptr), kBadArgument);
  EXPECT_EQ(client.http->Post(TEXT("http://h"), TEXT("*/*"), nullptr, "x", 0, nullptr), kBadArgument);
  EXPECT_EQ(
      client.http->PostMultipart(TEXT("http://h"), TEXT("*/*"), nullptr, "x", 1, nullptr, "f", nullptr, 0),
      kBadArgument);
  const struct {
    std::string url;
    HRESULT status;
  } rows[] = {{"ftp://127.0.0.1/file", kNotHttp},
              {"nothing", kFailed},
              {"http://127.0.0.1:1/", kCannotConnect},
              {"http://nobody.invalid/", kCannotConnect}};
  for (const auto& row : rows) {
    EXPECT_EQ(client.get(row.url), row.status) << row.url;
    EXPECT_EQ(client.response, nullptr);
  }
  ASSERT_EQ(client.http->Get(wide(at("/bytes")).c_str(), TEXT(",,"), nullptr, nullptr), QVINET_PENDING);
  EXPECT_EQ(client.end(), kBadAccept);
}

// Line breaks in an address or in a header would let a text begin lines of its own.
TEST(Http, LetsNoTextBreakTheRequest) {
  Client client;
  client.get(at("/echo?a\r\nX-Evil: 1"));
  EXPECT_EQ(client.body().find("\nX-Evil"), std::string::npos);
  client.get(at("/echo"), TEXT("X-Good: 1\nX-Evil: 2\r\n"));
  EXPECT_EQ(client.body().find("\nX-Evil"), std::string::npos);
}

TEST(Http, AuthenticatesWithTheAddressesUser) {
  Client client;
  ASSERT_EQ(client.get("http://me:secret@" + placeOf("QV_TEST_HTTP") + "/secret"), 0);
  EXPECT_EQ(client.statusCode(), 200u);
  EXPECT_NE(client.body().find("Authorization: Basic bWU6c2VjcmV0"), std::string::npos);
}

TEST(Http, SpeaksTlsWithWhoIsVouchedFor) {
  Client client;
  ASSERT_EQ(client.get("https://" + placeOf("QV_TEST_HTTPS") + "/bytes?size=200000"), 0);
  EXPECT_EQ(client.body(), pattern(200000));
  ASSERT_EQ(client.post("https://" + placeOf("QV_TEST_HTTPS") + "/echo", pattern(50000)), 0);
  EXPECT_TRUE(client.body().ends_with(pattern(50000)));
  EXPECT_EQ(client.get("https://" + placeOf("QV_TEST_STRANGER") + "/bytes?size=1"), kCannotConnect);
  EXPECT_EQ(client.response, nullptr);
}

// ---- Redirections

TEST(Http, FollowsRedirectionsAsFarAsTheyLead) {
  Client client;
  for (const char* const code : {"301", "302", "303", "307"}) {
    ASSERT_EQ(client.get(at(std::string("/redirect?code=") + code + "&to=/bytes%3Fsize%3D10")), 0) << code;
    EXPECT_EQ(client.statusCode(), 200u);
    EXPECT_EQ(client.body(), pattern(10));
    EXPECT_EQ(narrow(client.response->rawHeaders).substr(0, 12), "HTTP/1.1 200");
  }
  ASSERT_EQ(
      client.get(saying("HTTP/1.1 302 Found\r\nLocation: /bytes?size=7\r\nTransfer-Encoding: chunked\r\n"
                        "\r\n1\r\nx\r\n0\r\nX-Sum: 1\r\n\r\n")),
      0);
  EXPECT_EQ(client.body(), pattern(7));
  // Nowhere else: a failure, or the redirection itself for a response.
  if (client.get(at("/redirect?to=ftp://127.0.0.1/")) == 0) {
    EXPECT_EQ(client.statusCode(), 302u);
  }
}

// (Wine takes every header that was added along to the next server.)
#ifdef QV_TEST_ON_WINE
constexpr const WCHAR* kOwnCredentials = nullptr;
#else
constexpr const WCHAR* kOwnCredentials = TEXT("Authorization: Basic c2VjcmV0\r\n");
#endif

TEST(Http, KeepsCredentialsFromOtherServers) {
  const std::string user = "http://me:secret@" + placeOf("QV_TEST_HTTP");
  const std::string targets[] = {"http://" + placeOf("QV_TEST_OTHER"), "https://" + placeOf("QV_TEST_HTTPS")};
  for (const std::string& target : targets) {
    Client client;
    const HRESULT status = client.get(user + "/redirect?to=" + target + "/echo", kOwnCredentials);
    if (status != 0) continue;  // refusing to go there keeps them as well
    EXPECT_EQ(client.body().find("Authorization"), std::string::npos) << target;
    EXPECT_EQ(client.body().find("secret"), std::string::npos) << target;
  }
}

// ---- Servers that are broken

struct Broken {
  const char* what;
  const char* say;
  bool failsOnWine = true;
};

// The chunks tell where the body ends, whatever a length beside them says.
TEST(Http, BelievesTheChunksAndNotTheLength) {
  for (const char* const length : {"3", "5", "500"}) {
    Client client;
    const std::string say = std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + length +
                            "\r\ntransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
    ASSERT_EQ(client.get(saying(say.c_str())), 0) << length;
    EXPECT_EQ(client.body(), "hello") << length;
  }
}

// Nor does a length make a body where there is none.
TEST(Http, WaitsForNoBodyWhereThereIsNone) {
  for (const char* const status : {"204 Nothing", "304 As Before"}) {
    Client client;
    const std::string say = "HTTP/1.1 " + std::string(status) + "\r\nContent-Length: 9\r\n\r\n";
    ASSERT_EQ(client.get(saying(say.c_str())), 0) << status;
    EXPECT_EQ(client.response->contentLength, 0u);
  }
}

TEST(Http, FailsOnBrokenResponses) {
  const Broken rows[] = {
      {"nothing at all", ""},
      {"no status line", "hello\r\n\r\n", false},
      {"a length that is negative", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nhello"},
      {"a length beyond 64 bits", "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\nhello"},
      {"a length of 2^63", "HTTP/1.1 200 OK\r\nContent-Length: 9223372036854775808\r\n\r\nhello"},
      {"two lengths", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\nhello!"},
      {"a length with a sign", "HTTP/1.1 200 OK\r\nContent-Length: %2B5\r\n\r\nhello"},
      {"a body that was cut", "HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\nhello"},
      {"4 GiB announced", "HTTP/1.1 200 OK\r\nContent-Length: 4294967294\r\n\r\nhello"},
      {"a chunk that was cut", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nff\r\nhello", false},
      {"a chunk's size that is none", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nhello",
       false},
  };
  for (const Broken& row : rows) {
    Client client;
    const std::string file = fileName("broken");
    DeleteFileW(wide(file).c_str());
    const HRESULT status = client.get(saying(row.say), nullptr, wide(file).c_str());
#ifdef QV_TEST_ON_WINE
    if (!row.failsOnWine) continue;  // Wine takes the bytes that came for the body
#endif
    EXPECT_LT(status, 0) << row.what;
    EXPECT_EQ(client.response, nullptr) << row.what;
    EXPECT_FALSE(exists(file)) << row.what;
  }
}

TEST(Http, FailsOnAResponseCutAtAnyByte) {
  const int whole = 85;
  [[maybe_unused]] constexpr int kHeader = 65;
  for (int cut = 0; cut <= whole; ++cut) {
    Client client;
    const HRESULT status = client.get(at("/cut?at=" + std::to_string(cut)));
#ifdef QV_TEST_ON_WINE
    if (cut > 0 && cut <= kHeader) continue;  // a header that ends anywhere is whole there
#endif
    if (cut < whole) {
      EXPECT_LT(status, 0) << cut;
    } else {
      EXPECT_EQ(status, 0);
      EXPECT_EQ(client.body(), "01234567890123456789");
    }
  }
}

// ---- Forms

struct Form {
  const char* form;
  HRESULT status;
  const char* parts;  // as the server read them
};

TEST(Http, PutsAFileIntoAForm) {
#ifdef QV_TEST_ON_WINE
  HKEY key = nullptr;  // a new prefix knows no types
  ASSERT_EQ(
      RegCreateKeyExW(HKEY_CLASSES_ROOT, L".txt", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
  RegSetValueExW(key, L"Content Type", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"text/plain"), 22);
  RegCloseKey(key);
#endif
  putFile(fileName("upload.txt"), pattern(300000));
  const Form rows[] = {
      {"--b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\nvalue\r\n--b--\r\n", 0,
       "x||text/plain|5|1d775834\nfile|upload.txt|text/plain|300000|"},
      {"--b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\n--b- --\r\n--b--", 0, "x||text/plain|7|"},
      {"--b\r\n\r\nno end\r\n--b\r\n", kNoBoundary, nullptr},
      {"-b\r\n\r\n--b--", kBadArgument, nullptr},
      {"--b", kBadArgument, nullptr},
      {"--"
       "01234567890123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890"
       "1"
       "\r\n\r\n--0--",
       kTooShort, nullptr},
  };
  Client client;
  for (const Form& row : rows) {
    SCOPED_TRACE(row.form);
    ASSERT_EQ(client.http->PostMultipart(wide(at("/form")).c_str(), TEXT("*/*"),
                                         TEXT("Content-Type: multipart/form-data; boundary=b\r\n"), row.form,
                                         static_cast<uint32_t>(strlen(row.form)),
                                         wide(fileName("upload.txt")).c_str(), "file", nullptr, 0),
              QVINET_PENDING);
    EXPECT_EQ(client.end(), row.status);
    if (row.parts) {
      EXPECT_EQ(client.body().substr(0, strlen(row.parts)), row.parts);
    }
  }
}

TEST(Http, ShowsTheProgressOfTheUpload) {
  const std::string form = "--b\r\n\r\nx\r\n--b--\r\n";
  putFile(fileName("up.unknown"), pattern(40000));
  Client client;
  ASSERT_EQ(client.http->PostMultipart(wide(at("/echo")).c_str(), TEXT("*/*"), nullptr, form.data(),
                                       static_cast<uint32_t>(form.size()),
                                       wide(fileName("up.unknown")).c_str(), "f", nullptr, 0),
            QVINET_PENDING);
  ASSERT_EQ(client.end(), 0);
  int64_t moved = 0, total = 0;
  client.http->GetTransferStatus(&moved, &total);
  EXPECT_EQ(moved, total);
  EXPECT_GT(total, 40000 + static_cast<int64_t>(form.size()));
  EXPECT_NE(client.body().find("Content-Type: application/octet-stream"), std::string::npos);

  // Without a header of its own the file goes in as it is.
  ASSERT_EQ(client.http->PostMultipart(wide(at("/echo")).c_str(), TEXT("*/*"), nullptr, form.data(),
                                       static_cast<uint32_t>(form.size()),
                                       wide(fileName("up.unknown")).c_str(), nullptr, nullptr, 1),
            QVINET_PENDING);
  ASSERT_EQ(client.end(), 0);
  const std::string all = client.body();
  EXPECT_EQ(all.substr(all.find("\n\n") + 2), "--b\r\n\r\nx" + pattern(40000) + "\r\n--b--\r\n");
}

TEST(Http, NeedsTheFileThatItUploads) {
  const std::string form = "--b\r\n\r\nx\r\n--b--\r\n";
  const struct {
    const char* file;
    HRESULT status;
  } rows[] = {{"missing.txt", kCannotOpen}, {"no_extension", kBadArgument}};
  for (const auto& row : rows) {
    Client client;
    client.http->PostMultipart(wide(at("/form")).c_str(), TEXT("*/*"), nullptr, form.data(),
                               static_cast<uint32_t>(form.size()), wide(fileName(row.file)).c_str(), "f",
                               nullptr, 0);
    EXPECT_EQ(client.end(), row.status) << row.file;
  }
}

// ---- One object, many requests

TEST(Http, TakesOneRequestAtATime) {
  Client client;
  ASSERT_EQ(client.begin(at("/slow?size=40&ms=10")), QVINET_PENDING);
  EXPECT_EQ(client.http->CmdInProgress(), 1);
  EXPECT_EQ(client.begin(at("/bytes?size=1")), static_cast<HRESULT>(0x8004e0acu));
  EXPECT_EQ(client.end(), 0);
  EXPECT_EQ(client.http->CmdInProgress(), 0);
  EXPECT_EQ(client.body(), pattern(40));
  ASSERT_EQ(client.get("ftp://none/"), kNotHttp);
  EXPECT_EQ(client.response, nullptr);  // not the one before
}

TEST(Http, CancelsWithinABlock) {
  const std::string file = fileName("cancelled");
  Client client;
  ASSERT_EQ(client.begin(at("/slow?size=100000&ms=5"), nullptr, wide(file).c_str()), QVINET_PENDING);
  while (client.http->WaitForRequestStatusChange(2000) == 0 && client.http->CmdInProgress()) {
    int64_t moved = 0;
    client.http->GetTransferStatus(&moved, nullptr);
    if (moved > 3) break;
  }
  client.http->CancelRequest();
  const DWORD start = GetTickCount();
  EXPECT_EQ(client.end(), static_cast<HRESULT>(0x8004e00cu));
  EXPECT_LT(GetTickCount() - start, 5000u);
  EXPECT_FALSE(exists(file));
}

}  // namespace
