// Handlers of Ctrl-C, which a test on Linux can send to itself alone.
#include "qv/platform/console.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>

#include "support/processes.h"

namespace {

std::atomic<int> first{0}, second{0};

BOOL WINAPI onFirst(DWORD event) {
  return ++first, event == CTRL_C_EVENT;
}
BOOL WINAPI onSecond(DWORD) {
  return ++second, FALSE;
}

bool becomes(std::atomic<int>& count, int value) {
  for (int i = 0; i < 5000 && count != value; ++i) usleep(1000);
  return count == value;
}

// First: a child has no thread that its parent began.
TEST(Console, EndsTheProcessWhenNobodyTakesIt) {
  const auto sentTo = [](int signal, PHANDLER_ROUTINE handler, bool keep) {
    return qv::test::inChild([=] {
      SetConsoleCtrlHandler(handler, TRUE);
      if (!keep) SetConsoleCtrlHandler(handler, FALSE);
      raise(signal);
      for (int i = 0; keep && first < 10 && i < 300; ++i) usleep(1000);
      return 7;
    });
  };
  EXPECT_EQ(sentTo(SIGINT, onSecond, true), -SIGINT);   // it says no
  EXPECT_EQ(sentTo(SIGQUIT, onFirst, true), -SIGQUIT);  // it says yes to the other only
  EXPECT_EQ(sentTo(SIGINT, onFirst, false), -SIGINT);   // it is gone
  EXPECT_EQ(sentTo(SIGINT, onFirst, true), 7);
}

TEST(Console, AsksItsHandlersFromTheLastToTheFirst) {
  EXPECT_FALSE(SetConsoleCtrlHandler(onFirst, FALSE));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(SetConsoleCtrlHandler(nullptr, TRUE));
  ASSERT_TRUE(SetConsoleCtrlHandler(onFirst, TRUE));
  ASSERT_TRUE(SetConsoleCtrlHandler(onSecond, TRUE));
  raise(SIGINT);
  EXPECT_TRUE(becomes(first, 1));
  EXPECT_EQ(second, 1);
  ASSERT_TRUE(SetConsoleCtrlHandler(onSecond, FALSE));
  raise(SIGINT);
  EXPECT_TRUE(becomes(first, 2));
  EXPECT_EQ(second, 1);
  EXPECT_TRUE(SetConsoleCtrlHandler(onFirst, FALSE));
}

}  // namespace
