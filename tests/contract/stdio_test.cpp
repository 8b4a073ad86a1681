#include "qv/platform/stdio.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "qv/platform/times.h"
#include "qv/platform/files.h"
#include "qv/platform/modules.h"

namespace {

using Text = std::basic_string<WCHAR>;

struct Formatted {
  int result;
  Text text;
};

Formatted format(size_t capacity, size_t count, const WCHAR* pattern, ...) {
  WCHAR buffer[700];
  std::fill(std::begin(buffer), std::end(buffer), TEXT('#'));
  va_list arguments;
  va_start(arguments, pattern);
  const int result = _vsnwprintf_s(buffer, capacity, count, pattern, arguments);
  va_end(arguments);
  EXPECT_EQ(TEXT('#'), buffer[capacity]) << "beyond the room";
  return {result, buffer};
}

#define QV_EXPECT_TEXT(expected, ...) \
  EXPECT_EQ(Text(TEXT(expected)), format(600, _TRUNCATE, __VA_ARGS__).text)

TEST(Stdio, FormatsAsTheCLibrary) {
  QV_EXPECT_TEXT("plain $(x) 100%", TEXT("plain $(x) 100%%"));
  QV_EXPECT_TEXT("-5|  -5|-5  |-005|+5| 5", TEXT("%d|%4d|%-4d|%04d|%+d|% d"), -5, -5, -5, -5, 5, 5);
  QV_EXPECT_TEXT("4294967291 ff FF 0xff 17", TEXT("%u %x %X %#x %o"), -5, 255, 255, 255, 15);
  QV_EXPECT_TEXT("-1 255 | 007|  3|3  ", TEXT("%hd %hu | %.3d|%*d|%-*d"), 0x1ffff, 0x100ff, 7, 3, 3, 3, 3);
  QV_EXPECT_TEXT("-9000000000 9000000000 ffffffffffffffff", TEXT("%I64d %lld %I64x"), -9000000000LL,
                 9000000000LL, -1LL);
  QV_EXPECT_TEXT("-9223372036854775808 18446744073709551615 -2147483648", TEXT("%I64i %llu %i"), INT64_MIN,
                 UINT64_MAX, INT32_MIN);
  QV_EXPECT_TEXT("7 8 9", TEXT("%I32d %ld %d"), 7, 8, 9);
  QV_EXPECT_TEXT("1.500000 1.5 0.125", TEXT("%f %.1f %g"), 1.5, 1.5, 0.125);
  QV_EXPECT_TEXT("wide|  wide|wide  |wi", TEXT("%s|%6s|%-6s|%.2s"), TEXT("wide"), TEXT("wide"), TEXT("wide"),
                 TEXT("wide"));
  QV_EXPECT_TEXT("narrow narrow wide nar", TEXT("%hs %S %ls %.3hs"), "narrow", "narrow", TEXT("wide"),
                 "narrow");
  QV_EXPECT_TEXT("a|  b|c", TEXT("%c|%3c|%hc"), 'a', 'b', 'c');
  QV_EXPECT_TEXT("0000000000001A2B", TEXT("%p"), reinterpret_cast<void*>(static_cast<uintptr_t>(0x1a2b)));
  QV_EXPECT_TEXT("(null)", TEXT("%s"), static_cast<const WCHAR*>(nullptr));
}

TEST(Stdio, CutsWhatDoesNotFit) {
  struct Case {
    size_t capacity, count;
    const WCHAR* expected;
    int result;
  };
  const Case cases[] = {
      {8, _TRUNCATE, TEXT("value42"), 7}, {7, _TRUNCATE, TEXT("value4"), -1},
      {1, _TRUNCATE, TEXT(""), -1},       {8, 3, TEXT("val"), -1},
      {3, _TRUNCATE, TEXT("va"), -1},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.capacity);
    const Formatted got = format(each.capacity, each.count, TEXT("value%d"), 42);
    EXPECT_EQ(each.expected, got.text);
    EXPECT_EQ(each.result, got.result);
  }
}

class WideStreams : public testing::Test {
 protected:
  void SetUp() override {
    WCHAR temp[300];
    ASSERT_GT(GetTempPathW(300, temp), 3u);
    const std::string own = "qv-stdio-" + std::to_string(GetCurrentProcessId());
    first_ = temp + Text(own.begin(), own.end());
    second_ = first_ + TEXT(".other");
  }
  void TearDown() override {
    DeleteFileW(first_.c_str());
    DeleteFileW(second_.c_str());
  }
  FILE* open(const WCHAR* mode, int share) { return _wfsopen(first_.c_str(), mode, share); }
  void write(const WCHAR* mode, const char* text) {
    FILE* file = open(mode, _SH_DENYNO);
    ASSERT_NE(nullptr, file);
    EXPECT_GE(fputs(text, file), 0);
    EXPECT_EQ(0, fclose(file));
  }
  std::string content() {
    FILE* file = open(TEXT("rt"), _SH_DENYNO);
    if (!file) return "?";
    char text[256] = {};
    const size_t size = fread(text, 1, sizeof(text), file);
    fclose(file);
    return std::string(text, size);
  }

  Text first_, second_;
};

TEST_F(WideStreams, ModesDoAsTheySay) {
  EXPECT_EQ(nullptr, open(TEXT("r"), _SH_DENYNO));
  EXPECT_EQ(ENOENT, errno);
  write(TEXT("w"), "one\n");
  write(TEXT("a+t"), "two\n");
  EXPECT_EQ("one\ntwo\n", content());
  FILE* file = open(TEXT("a+"), _SH_DENYNO);
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(0, fseek(file, 0, SEEK_SET));
  char word[4] = {};
  EXPECT_EQ(3u, fread(word, 1, 3, file));
  EXPECT_STREQ("one", word);
  EXPECT_EQ(0, fseek(file, 0, SEEK_SET));
  EXPECT_EQ(5u, fwrite("three", 1, 5, file));
  EXPECT_EQ(0, fflush(file));
  const long end = ftell(file);
  EXPECT_EQ(0, fseek(file, 0, SEEK_END));
  EXPECT_EQ(end, ftell(file)) << "appended, wherever the position stood";
  fclose(file);
  EXPECT_EQ("one\ntwo\nthree", content());
  write(TEXT("w"), "new");
  EXPECT_EQ("new", content());
}

TEST_F(WideStreams, ShareModesAreHeld) {
  FILE* own = open(TEXT("a+"), _SH_DENYWR);
  ASSERT_NE(nullptr, own);
  EXPECT_EQ(nullptr, open(TEXT("a"), _SH_DENYNO));
  EXPECT_EQ(EACCES, errno);
  FILE* reader = open(TEXT("r"), _SH_DENYNO);
  EXPECT_NE(nullptr, reader);
  if (reader) fclose(reader);
  EXPECT_EQ(-1, _wremove(first_.c_str()));
  EXPECT_EQ(EACCES, errno);
  fclose(own);
  own = open(TEXT("a+"), _SH_DENYRW);
  ASSERT_NE(nullptr, own);
  EXPECT_EQ(nullptr, open(TEXT("r"), _SH_DENYNO));
  fclose(own);
}

TEST_F(WideStreams, RenamesAndRemoves) {
  write(TEXT("w"), "first");
  EXPECT_EQ(0, _wrename(first_.c_str(), second_.c_str()));
  EXPECT_EQ("?", content());
  write(TEXT("w"), "second");
  EXPECT_EQ(-1, _wrename(first_.c_str(), second_.c_str())) << "in the way";
  EXPECT_EQ(EEXIST, errno);
  EXPECT_EQ(0, _wremove(second_.c_str()));
  EXPECT_EQ(-1, _wremove(second_.c_str()));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(WideStreams, TheSafeOpenTellsWhy) {
  FILE* file = nullptr;
  ASSERT_EQ(0, _wfopen_s(&file, first_.c_str(), TEXT("a+t")));
  fclose(file);
  EXPECT_EQ(ENOENT, _wfopen_s(&file, (first_ + TEXT("\\missing")).c_str(), TEXT("a+t")));
  EXPECT_EQ(nullptr, file);
}

// Within a second of the C library's clock, in the same time zone.
TEST(Calendar, TellsTheLocalTime) {
  const time_t before = time(nullptr);
  SYSTEMTIME now = {};
  GetLocalTime(&now);
  tm parts = {};
  parts.tm_year = now.wYear - 1900;
  parts.tm_mon = now.wMonth - 1;
  parts.tm_mday = now.wDay;
  parts.tm_hour = now.wHour;
  parts.tm_min = now.wMinute;
  parts.tm_sec = now.wSecond;
  parts.tm_isdst = -1;
  const time_t told = mktime(&parts);
  EXPECT_GE(told, before);
  EXPECT_LE(told, time(nullptr));
  EXPECT_EQ(parts.tm_wday, now.wDayOfWeek);
  EXPECT_LT(now.wMilliseconds, 1000);
}

}  // namespace
