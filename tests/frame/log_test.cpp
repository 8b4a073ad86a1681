#include "qv/frame/log.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "qv/frame/status.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

constexpr HRESULT kNotInitialised = static_cast<HRESULT>(0x8004e01bu);
constexpr LOGFLAGS kAllLevels =
    LOGFLAG_ERRORS | LOGFLAG_WARNINGS | LOGFLAG_INFORMATION | LOGFLAG_DEBUGGING | LOGFLAG_PLAIN;

WText widen(const std::string& text) {
  return WText(text.begin(), text.end());
}

// The bytes of a file with line feeds alone; "?" when there is none.
std::string content(const WText& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return "?";
  LARGE_INTEGER size = {};
  GetFileSizeEx(file, &size);
  std::string text(static_cast<size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  EXPECT_TRUE(ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &read, nullptr));
  CloseHandle(file);
  std::erase(text, '\r');
  return text;
}

class Log : public testing::Test {
 protected:
  void SetUp() override {
    WCHAR temp[MAX_PATH];
    ASSERT_GT(GetTempPathW(MAX_PATH, temp), 3u);
    path_ = temp + widen("qv-log-" + std::to_string(GetCurrentProcessId()) + ".txt");
    previous_ = path_ + TEXT(".previous");
    TearDown();
  }
  void TearDown() override {
    DeleteFileW(path_.c_str());
    DeleteFileW(previous_.c_str());
  }
  HRESULT init(CLog& log, LOGFLAGS flags, int32_t maximumSize = -1) {
    return log.Init(path_.c_str(), flags, maximumSize, _SH_DENYNO);
  }

  WText path_, previous_;
};

TEST_F(Log, WritesEachLevelWithItsLabel) {
  struct Case {
    uint32_t level;
    const char* label;
  };
  const Case cases[] = {{1, "ERR "}, {2, "WARN"}, {4, "INFO"},   {8, "DBG "},
                        {16, ""},    {3, "????"}, {0x30, "????"}};
  CLog log;
  ASSERT_EQ(0, init(log, kAllLevels));
  std::string expected;
  for (const Case& each : cases) {
    EXPECT_EQ(0, log.Write(static_cast<LOGFLAGS>(each.level), nullptr, 0, TEXT("level %u $1"), each.level));
    expected += each.label + ("level " + std::to_string(each.level)) + " $1\n";
    EXPECT_EQ(expected, content(path_)) << "on the disk as soon as it is written";
  }
}

TEST_F(Log, LevelsThatAreOffWriteNothing) {
  CLog log;
  ASSERT_EQ(0, init(log, LOGFLAG_ERRORS | LOGFLAG_INFORMATION));
  for (const uint32_t level : {0u, 2u, 8u, 16u, 0x20000u, 0x100u}) {
    EXPECT_EQ(0, log.Write(static_cast<LOGFLAGS>(level), nullptr, 0, TEXT("x")));
  }
  EXPECT_EQ("", content(path_));
}

TEST_F(Log, DecoratesWithTimeAndPlace) {
  CLog log;
  ASSERT_EQ(0, init(log, kAllLevels | LOGFLAG_PLACE));
  log.Write(LOGFLAG_ERRORS, TEXT("C:\\source\\mixer.cpp"), 7, TEXT("one"));
  log.Write(LOGFLAG_ERRORS, TEXT("/source/a-name-of-some-length.cpp"), 12345, TEXT("two"));
  log.Write(LOGFLAG_PLAIN, nullptr, -1, nullptr);
  EXPECT_EQ(
      "ERR       mixer.cpp(   7): one\nERR a-name-of-some-length.cpp(12345): two\n               (  -1): \n",
      content(path_));
  ASSERT_EQ(0, init(log, kAllLevels | LOGFLAG_TIME));
  log.Write(LOGFLAG_WARNINGS, nullptr, 0, TEXT("three"));
  const std::string all = content(path_);
  const std::string last = all.substr(all.rfind('\n', all.size() - 2) + 1);
  const std::string mask = "WARN 0000-00-00 00:00:00 three\n";
  ASSERT_EQ(mask.size(), last.size()) << last;
  for (size_t i = 0; i < mask.size(); ++i) {
    EXPECT_TRUE(mask[i] == '0' ? last[i] >= '0' && last[i] <= '9' : last[i] == mask[i]) << i << " " << last;
  }
}

TEST_F(Log, CutsLongMessagesAndWritesUtf8) {
  CLog log;
  ASSERT_EQ(0, init(log, kAllLevels | LOGFLAG_PLACE));
  const WText narrow(5000, 'x'), wide(5000, 0x20ac);
  EXPECT_EQ(0, log.Write(LOGFLAG_ERRORS, TEXT("a"), 1, TEXT("%s"), narrow.c_str()));
  const std::string start = "ERR               a(   1): ";
  EXPECT_EQ(start + std::string(1023, 'x') + "\n", content(path_));
  EXPECT_EQ(0, log.Write(LOGFLAG_ERRORS, wide.c_str(), 1, TEXT("%s"), wide.c_str()));
  EXPECT_EQ(start.size() + 1024 + 4 + 2 * 1023 * 3 + 1, content(path_).size())
      << "both parts at their longest";
}

TEST_F(Log, NeedsAnInitThatSucceeded) {
  CLog log;
  EXPECT_EQ(kNotInitialised, log.Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("x")));
  EXPECT_STREQ(
      "", std::string(log.GetLogFileName(), log.GetLogFileName() + wcslen(log.GetLogFileName())).c_str());
  EXPECT_EQ(qv::kGeneralFailure, log.Init(nullptr, kAllLevels, 0, 0));
  EXPECT_EQ(qv::kGeneralFailure, init(log, static_cast<LOGFLAGS>(0)));
  EXPECT_EQ(qv::kGeneralFailure, log.Init(WText(251, 'x').c_str(), kAllLevels, 0, 0));
  const WText nowhere = path_ + TEXT("\\no\\folder");
  for (const uint32_t share : {0, _SH_DENYWR}) {
    EXPECT_EQ(qv::kCannotOpenFile, log.Init(nowhere.c_str(), kAllLevels, 0, share));
    EXPECT_EQ(kNotInitialised, log.Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("x")));
  }
  ASSERT_EQ(0, init(log, kAllLevels));
  EXPECT_EQ(path_, log.GetLogFileName());
  log.Shutdown();
  log.Shutdown();
  EXPECT_EQ(kNotInitialised, log.Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("x")));
  ASSERT_EQ(0, log.Init(log.GetLogFileName(), kAllLevels, 0, 0)) << "again, by its own name";
  EXPECT_EQ(0, log.Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("second life")));
  log.Shutdown();
  EXPECT_EQ("ERR second life\n", content(path_));
}

TEST_F(Log, MovesAFileThatIsFullAway) {
  constexpr int32_t kMaximum = 1000;
  CLog log;
  ASSERT_EQ(0, init(log, kAllLevels, kMaximum));
  const WText filler(99, 'f');  // a hundred bytes a line, one more with Windows's line ends
  const auto fill = [&](int lines) {
    for (int i = 0; i < lines; ++i)
      EXPECT_EQ(0, log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("%s"), filler.c_str()));
  };
  fill(10);
  EXPECT_EQ(1000u, content(path_).size());
  EXPECT_EQ("?", content(previous_)) << "it is full, but nothing has come since";
  log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("fresh"));
  EXPECT_EQ("fresh\n", content(path_));
  EXPECT_EQ(1000u, content(previous_).size());
  fill(10);
  log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("fresher"));
  EXPECT_EQ("fresh\n", content(previous_).substr(0, 6)) << "the older file gave way";
  fill(10);
  log.Shutdown();
  ASSERT_EQ(0, init(log, kAllLevels, kMaximum));
  log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("next run"));
  EXPECT_EQ("next run\n", content(path_)) << "a file that was full when it was opened moves too";
}

TEST_F(Log, WithoutALimitItGrows) {
  for (const int32_t maximum : {0, -1}) {
    CLog log;
    ASSERT_EQ(0, init(log, kAllLevels, maximum));
    for (int i = 0; i < 100; ++i) log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("%d"), i);
  }
  EXPECT_EQ(2u * 290, content(path_).size());
  EXPECT_EQ("?", content(previous_));
}

// Someone holds the older file: the log goes on in its own. A folder in the file's place ends it.
TEST_F(Log, GoesOnWhereItCannotMoveItsFile) {
  CLog log;
  ASSERT_EQ(0, init(log, kAllLevels, 4));
  ASSERT_EQ(0, log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("full")));
  ASSERT_TRUE(CreateDirectoryW(previous_.c_str(), nullptr));
  EXPECT_EQ(0, log.Write(LOGFLAG_PLAIN, nullptr, 0, TEXT("more")));
  EXPECT_EQ("full\nmore\n", content(path_));
  EXPECT_TRUE(RemoveDirectoryW(previous_.c_str()));
}

TEST_F(Log, AFullDiskIsToldAndEndsNothing) {
  const WText full = TEXT("C:\\dev\\full");
  if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES)
    GTEST_SKIP() << "this system has no full disk";
  CLog log;
  ASSERT_EQ(0, log.Init(full.c_str(), kAllLevels, 0, _SH_DENYNO));
  for (int i = 0; i < 10000; ++i) {
    ASSERT_EQ(qv::kWriteFailed, log.Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("line %d"), i));
  }
}

TEST_F(Log, TheToolkitsOwnIsOneAndSilent) {
  std::vector<CLog*> seen(4);
  std::vector<std::thread> threads;
  for (CLog*& each : seen) threads.emplace_back([&each] { each = &qv::toolkitLog(); });
  for (std::thread& thread : threads) thread.join();
  for (CLog* each : seen) EXPECT_EQ(&qv::toolkitLog(), each);
  EXPECT_EQ(kNotInitialised, qv::toolkitLog().Write(LOGFLAG_ERRORS, nullptr, 0, TEXT("x")));
}

// How many lines all threads write; QV_LOG_LINES=1000000 makes it a long run.
int lineCount() {
  constexpr int kQuick = 16000;
  WCHAR text[16] = {};
  return GetEnvironmentVariableW(TEXT("QV_LOG_LINES"), text, 16) ? _wtoi(text) : kQuick;
}

// The numbers that each thread's lines have, in the order of the files; a line that is not whole fails.
std::map<int, std::vector<int>> linesByThread(const std::string& text) {
  std::map<int, std::vector<int>> lines;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end - at);
    int thread = -1, number = -1, length = 0;
    const int fields = sscanf(line.c_str(), "INFOthread %d line %d end%n", &thread, &number, &length);
    if (fields != 2 || static_cast<size_t>(length) != line.size()) {
      ADD_FAILURE() << "a mixed line: " << line;
      return {};
    }
    lines[thread].push_back(number);
    at = end + 1;
  }
  return lines;
}

class LogThreads : public Log {
 protected:
  static constexpr int kThreads = 8;

  // Each thread writes its share; gives the lines that are left, by thread.
  std::map<int, std::vector<int>> run(int32_t maximumSize) {
    CLog log;
    EXPECT_EQ(0, init(log, kAllLevels, maximumSize));
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&log, t] {
        for (int i = 0; i < lineCount() / kThreads; ++i) {
          EXPECT_EQ(0, log.Write(LOGFLAG_INFORMATION, nullptr, 0, TEXT("thread %d line %d end"), t, i));
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    log.Shutdown();
    const std::string older = content(previous_);
    EXPECT_NE("?", older) << "it was meant to move";
    return linesByThread(older + content(path_));
  }
};

TEST_F(LogThreads, LoseAndMixNothingOverOneMove) {
  constexpr int kBytes = 26;  // of a line, at least; two thirds of them all fit into one file
  const auto lines = run(lineCount() * kBytes * 2 / 3);
  ASSERT_EQ(static_cast<size_t>(kThreads), lines.size());
  for (const auto& [thread, numbers] : lines) {
    ASSERT_EQ(static_cast<size_t>(lineCount() / kThreads), numbers.size()) << "thread " << thread;
    for (size_t i = 0; i < numbers.size(); ++i)
      ASSERT_EQ(static_cast<int>(i), numbers[i]) << "thread " << thread;
  }
}

// Of many moves the last two files are left: what they hold of a thread is the unbroken end of its lines.
TEST_F(LogThreads, KeepAnUnbrokenEndOverManyMoves) {
  const auto lines = run(std::max(20000, lineCount()));
  for (const auto& [thread, numbers] : lines) {
    for (size_t i = 1; i < numbers.size(); ++i)
      ASSERT_EQ(numbers[i - 1] + 1, numbers[i]) << "thread " << thread;
  }
  int ended = 0;
  for (const auto& [thread, numbers] : lines) ended += numbers.back() == lineCount() / kThreads - 1;
  EXPECT_EQ(static_cast<int>(lines.size()), ended) << "no thread's last line is missing";
}

}  // namespace
