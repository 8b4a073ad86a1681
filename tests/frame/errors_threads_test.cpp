// Many threads fail at once while the state is shown and cleared: no line may be torn or lost in part.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qv/frame/detail/errors.h"
#include "qv/frame/detail/msgbox.h"
#include "qv/frame/errors.h"
#include "qv/frame/msgbox.h"
#include "qv/frame/status.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

constexpr int kThreads = 8, kRounds = 400;
constexpr HRESULT kBufferTooSmall = static_cast<HRESULT>(0x8004e03cu);

std::atomic<int> torn{0}, boxes{0};

// Message, then whole lines of "line N" between the marks, or nothing.
bool isWhole(WText text) {
  const WText message = TEXT("Take 7: Buffer to small."), begin = TEXT("\r\n<Details>\r\n");
  if (text.substr(0, message.size()) != message) return false;
  text.erase(0, message.size());
  if (text.empty()) return true;
  if (text.substr(0, begin.size()) != begin) return false;
  text.erase(0, begin.size());
  const WText line = TEXT("line 7\r\n");
  while (text.substr(0, line.size()) == line) text.erase(0, line.size());
  return text == TEXT("\r\n</Details>");
}

int32_t look(uint64_t, HWND, const WCHAR* text, const WCHAR*, uint32_t) {
  if (!isWhole(text)) ++torn;
  ++boxes;
  return 1;
}

void fail(int thread) {
  for (int round = 0; round < kRounds; ++round) {
    QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("line %d"), 7);
    if ((round + thread) % 16 == 0) QvErrorHandler_DetailsInit();
    if ((round + thread) % 8 == 0) {
      QvErrorHandler_MsgBox(nullptr, 0, TEXT("%s: "), kBufferTooSmall, TEXT("Take 7"), 0);
    }
    BSTR text = QvErrorHandler_ComposeErrorText(TEXT("%s: "), kBufferTooSmall, TEXT("Take 7"));
    if (!isWhole(text)) ++torn;
    SysFreeString(text);
    QvErrorHandler_GetErrorMessage(QVERRORCONTEXT(5), E_FAIL, TEXT("x"));
    QvErrorHandler_GetLastError();
    QvErrorHandler_DetailsSetHyperlink(TEXT("http://a"), TEXT("more"));
  }
}

TEST(ErrorThreads, EightThreadsFailAtOnce) {
  qv::resetErrors();
  QvMsgBoxSetAppData(nullptr, nullptr, TEXT("Mixer"));
  QvMsgBoxSetHook(look, 0);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(fail, i);
  // Tables may come while others look for their words.
  static const _qverror_table rows[] = {{5, TEXT("five")}};
  for (int i = 0; i < 32; ++i) EXPECT_EQ(0, QvErrorHandler_AddErrorTable(rows, 1));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, torn.load());
  EXPECT_EQ(kThreads * kRounds / 8, boxes.load());
  qv::resetMsgBox();
  qv::resetErrors();
}

}  // namespace
