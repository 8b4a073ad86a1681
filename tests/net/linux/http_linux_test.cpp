// What only the Linux build can show: its own time-outs, and cancels by the thousand.
#include <sys/resource.h>

#include <atomic>
#include <random>

#include "net/http_support.h"
#include "qv/platform/linux/internet_transfer.h"

using namespace qv::test;

namespace {

class Patience {
 public:
  explicit Patience(uint32_t milliseconds) { qv::platform::internetPatience = milliseconds; }
  ~Patience() { qv::platform::internetPatience = 30000; }
};

TEST(HttpOnLinux, EndsAServerThatIsSilent) {
  const Patience patience(300);
  Client client;
  EXPECT_EQ(client.get(at("/silent")), static_cast<HRESULT>(0x8004e0f6u));
  EXPECT_EQ(client.get(at("/slow?size=5&ms=600")), static_cast<HRESULT>(0x80004005u));
  EXPECT_EQ(client.get(at("/slow?size=8&ms=100")), 0);
}

TEST(HttpOnLinux, BoundsHeadersAndCircles) {
  Client client;
  EXPECT_EQ(client.get(at("/headers")), static_cast<HRESULT>(0x8004e0ecu));
  EXPECT_EQ(client.get(at("/circle")), static_cast<HRESULT>(0x8004e0ecu));
}

// What a blank begins belongs to the line before it: no length, and no end of the header.
TEST(HttpOnLinux, FoldsLinesThatGoOn) {
  Client client;
  EXPECT_EQ(client.get(at("/raw?say=HTTP/1.1 200 OK%0d%0aX-A: b%0d%0a%09Content-Length: 3%0d%0a %0d%0a"
                          "Content-Type: text/plain;%0d%0a charset=utf-8%0d%0a%0d%0ahello")),
            0);
  EXPECT_EQ(client.body(), "hello");
  EXPECT_EQ(client.get(at("/raw?say=HTTP/1.1 200 OK%0d%0aContent-Length: 5%0d%0a 5%0d%0a%0d%0ahello")),
            static_cast<HRESULT>(0x8004e0ecu));
}

// Memory holds what was received, whatever was announced.
TEST(HttpOnLinux, AllocatesWhatArrives) {
  const auto peak = [] {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  Client client;
  client.get(at("/bytes?size=1"));
  const long before = peak();
  EXPECT_LT(client.get(at("/raw?say=HTTP/1.1 200 OK%0d%0aContent-Length: 4294967294%0d%0a%0d%0ahello")), 0);
  EXPECT_LT(peak() - before, 32 * 1024);  // KiB
}

struct Listener final : CQvHttpNotifyInterface {
  std::atomic<bool> gone{false};
  std::atomic<int> late{0}, ends{0};
  void progress(int64_t) override { late += gone ? 1 : 0; }
  void requestDone(HRESULT, uint64_t) override {
    late += gone ? 1 : 0;
    ++ends;
  }
};

TEST(HttpOnLinux, SurvivesCancelsAndLastReleasesAtAnyMoment) {
  const char* const paths[] = {"/bytes?size=200000", "/chunked?size=50000", "/slow?size=30&ms=1"};
  std::mt19937 random(7);
  const int rounds = getenv("QV_TEST_ROUNDS") ? atoi(getenv("QV_TEST_ROUNDS")) : 300;
  for (int i = 0; i < rounds; ++i) {
    Listener listener;
    auto* const http = CQvInetHttp::CreateInstance();
    ASSERT_EQ(http->Init(TEXT("test")), 0);
    http->SetRequestNotify(&listener);
    ASSERT_EQ(http->Get(wide(at(paths[i % 3])).c_str(), TEXT("*/*"), nullptr, nullptr), QVINET_PENDING);
    usleep(random() % 3000);
    if (i % 2 == 0) {
      http->CancelRequest();
      EXPECT_EQ(http->WaitForRequestCompletion(5000), 0);
      EXPECT_EQ(listener.ends, 1);
    }
    http->SetRequestNotify(nullptr);
    listener.gone = true;
    http->Release();
    EXPECT_EQ(listener.late, 0);
  }
}

}  // namespace
