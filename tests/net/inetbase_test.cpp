// The worker's frame: what waiting, cancelling and letting go do, with commands that a test makes.
#include "qv/net/inetbase.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "qv/platform/window_calls.h"

namespace {

constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x8004e02cu);
constexpr HRESULT kInProgress = static_cast<HRESULT>(0x8004e0acu);
constexpr HRESULT kCancelled = static_cast<HRESULT>(0x8004e00cu);
constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005u);
constexpr uint32_t kSteps = 900;

std::atomic<int> alive{0};
std::atomic<int> posted{0};

// Command kSteps moves a byte a step until it has moved them all, is told to finish, or is cancelled.
class Client : public CQvInetBase {
 public:
  Client() { ++alive; }
  HRESULT init(const WCHAR* agent = TEXT("test")) { return InitBase(agent); }
  HRESULT start(int64_t steps) {
    const Locked locked(*this);
    const HRESULT status = canTakeRequest();
    if (status != 0) return status;
    steps_ = steps;
    SendCmdToWorker(kSteps);
    return QVINET_PENDING;
  }
  std::atomic<int64_t> allowed{1 << 30};  // steps that the worker may take

 private:
  ~Client() override { --alive; }
  HRESULT WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) override {
    if (command != kSteps) return CQvInetBase::WorkerProcessCommand(session, command, data);
    SetTotalBytesToTransfer(steps_);
    for (int64_t i = 0; i < steps_; ++i) {
      while (allowed <= i && !isCancelled()) SwitchToThread();
      if (isCancelled()) return kCancelled;
      TransferProgressUpdate(1);
    }
    *data = 7;
    return 0;
  }
  int64_t steps_ = 0;
};

struct Listener final : CQvHttpNotifyInterface {
  std::atomic<int64_t> moved{0};
  std::atomic<int> ends{0};
  std::atomic<uint64_t> data{0};
  void progress(int64_t bytes) override { moved += bytes; }
  void requestDone(HRESULT, uint64_t left) override {
    data = left;
    ++ends;
  }
};

void expectAllGone() {
  for (int i = 0; i < 5000 && alive > 0; ++i) Sleep(1);
  EXPECT_EQ(alive, 0);
}

TEST(InetBase, AnswersByItsState) {
  auto* client = new Client;
  HRESULT result = 1;
  int64_t moved = -1, total = -1;
  EXPECT_EQ(client->WaitForRequestCompletion(0), kFailed);
  EXPECT_EQ(client->GetRequestResult(&result), kFailed);
  EXPECT_EQ(client->GetTransferStatus(&moved, &total), kFailed);
  EXPECT_EQ(client->CancelRequest(), kFailed);
  EXPECT_EQ(client->start(1), kFailed);
  EXPECT_EQ(client->init(nullptr), static_cast<HRESULT>(0x80070057u));
  ASSERT_EQ(client->init(), 0);
  EXPECT_EQ(client->init(), kFailed);

  EXPECT_EQ(client->WaitForRequestCompletion(0), 0);
  EXPECT_EQ(client->GetRequestResult(&result), 0);
  EXPECT_EQ(result, kFailed);  // nothing has run yet
  EXPECT_EQ(client->GetRequestResult(nullptr), kFailed);

  client->allowed = 1;
  EXPECT_EQ(client->start(3), QVINET_PENDING);
  EXPECT_EQ(client->start(3), kInProgress);
  EXPECT_EQ(client->WaitForRequestStatusChange(5000), 0);  // a step, and it still runs
  EXPECT_EQ(client->GetRequestResult(&result), kInProgress);
  EXPECT_EQ(client->WaitForRequestCompletion(20), kTimedOut);
  EXPECT_EQ(client->WaitForRequestCompletion(0), kTimedOut);
  client->allowed = 3;
  EXPECT_EQ(client->WaitForRequestCompletion(5000), 0);
  EXPECT_EQ(client->GetRequestResult(&result), 0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(client->GetTransferStatus(&moved, &total), 0);
  EXPECT_EQ(moved, 3);
  EXPECT_EQ(total, 3);
  EXPECT_EQ(client->Release(), 1);  // the worker's own, which goes with it
  expectAllGone();
}

TEST(InetBase, TellsItsListenersOfAllButItsOwnEnd) {
  static const qv::WindowCalls watched = [] {
    qv::WindowCalls calls = qv::windowCalls();
    calls.post = [](HWND, UINT message, WPARAM, LPARAM) {
      posted += message == QVINET_MESSAGE_DONE ? 1 : message == QVINET_MESSAGE_PROGRESS ? 100 : 10000;
      return TRUE;
    };
    return calls;
  }();
  qv::setWindowCalls(&watched);
  Listener listener;
  auto* client = new Client;
  ASSERT_EQ(client->init(), 0);
  client->SetRequestNotifyWindow(reinterpret_cast<HWND>(8));
  client->SetRequestNotify(&listener);
  for (int i = 1; i <= 2; ++i) {
    ASSERT_EQ(client->start(5), QVINET_PENDING);
    ASSERT_EQ(client->WaitForRequestCompletion(5000), 0);
    EXPECT_EQ(listener.moved, 5 * i);
    EXPECT_EQ(listener.ends, i);
    EXPECT_EQ(listener.data, 7u);
  }
  client->Release();
  expectAllGone();
  EXPECT_EQ(posted, 2 * (500 + 1));
  EXPECT_EQ(listener.ends, 2);
  qv::setWindowCalls(nullptr);
}

TEST(InetBase, TakesNothingMoreAfterACancel) {
  auto* client = new Client;
  ASSERT_EQ(client->init(), 0);
  client->allowed = 0;
  ASSERT_EQ(client->start(1), QVINET_PENDING);
  ASSERT_EQ(client->CancelRequest(), 0);
  ASSERT_EQ(client->WaitForRequestCompletion(5000), 0);
  HRESULT result = 0;
  EXPECT_EQ(client->GetRequestResult(&result), 0);
  EXPECT_EQ(result, kCancelled);
  const auto references = [&] { return client->AddRef(), client->Release(); };
  for (int i = 0; i < 5000 && references() > 1; ++i) Sleep(1);  // until the worker has gone
  EXPECT_EQ(client->start(1), QVINET_PENDING);
  EXPECT_EQ(client->WaitForRequestCompletion(20), kTimedOut);
  client->Release();
  expectAllGone();
}

// Ends at every moment of a request, from two threads that let go at once, beside a waiting and a cancelling
// one.
TEST(InetBase, SurvivesItsLastReleaseAtAnyMoment) {
  for (int i = 0; i < 500; ++i) {
    Listener listener;
    auto* client = new Client;
    ASSERT_EQ(client->init(), 0);
    client->SetRequestNotify(&listener);
    client->start(i % 50);
    client->AddRef();
    std::thread other([=] {
      if (i % 3 == 0) client->CancelRequest();
      if (i % 5 == 0) client->WaitForRequestCompletion(1);
      client->Release();
    });
    for (int spin = 0; spin < i % 40; ++spin) SwitchToThread();
    client->Release();
    other.join();
    expectAllGone();
    EXPECT_LE(listener.ends, 1);
  }
}

}  // namespace
