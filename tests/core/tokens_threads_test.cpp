// Threads that add, replace and delete tokens while others format with them.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "qv/core/detail/tokens.h"
#include "tests/core/text_support.h"

namespace {

using qvtest::printed;
using qvtest::Text;

constexpr int kTokens = 12;
constexpr int kRounds = 3000;

Text nameOf(int token) {
  return printed(TEXT("Shared%d"), token);
}

// Every value ever given to a token is one character repeated: a torn one would mix two.
Text valueOf(int round) {
  return Text(static_cast<size_t>(round % 40 + 1), static_cast<WCHAR>(TEXT('a') + round % 26));
}

void change(int seed) {
  for (int round = 0; round < kRounds; ++round) {
    const int token = (round * 7 + seed) % kTokens;
    if ((round + seed) % 3 == 0)
      QvPrintF_DeleteToken(nameOf(token).c_str());
    else
      QvPrintF_AddToken(nameOf(token).c_str(), valueOf(round + seed).c_str());
  }
}

bool isWhole(const Text& text, int token) {
  if (text == TEXT("$(") + nameOf(token) + TEXT(")")) return true;
  return !text.empty() && text.size() <= 40 && text == Text(text.size(), text[0]);
}

TEST(TokensThreads, AddDeleteAndFormatAtOnce) {
  ASSERT_TRUE(qv::initializeTokens());
  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::vector<std::thread> changers, readers;
  for (int reader = 0; reader < 4; ++reader)
    readers.emplace_back([&, reader] {
      for (int round = reader; !done; ++round) {
        const int token = round % kTokens;
        if (!isWhole(printed((TEXT("$(") + nameOf(token) + TEXT(")")).c_str()), token)) ++torn;
      }
    });
  for (int changer = 0; changer < 8; ++changer) changers.emplace_back(change, changer);
  for (std::thread& thread : changers) thread.join();
  done = true;
  for (std::thread& thread : readers) thread.join();
  EXPECT_EQ(torn, 0);
  qv::terminateTokens();
}

}  // namespace
