#include "qv/platform/times.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

FILETIME timeOf(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

uint64_t ticksOf(const FILETIME& time) {
  return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

TEST(Times, CountsAndCalendarFields) {
  struct {
    uint64_t ticks;
    SYSTEMTIME fields;
  } cases[] = {
      {0, {1601, 1, 1, 1, 0, 0, 0, 0}},
      {116444736000000000, {1970, 1, 4, 1, 0, 0, 0, 0}},
      {125963423990000000, {2000, 2, 2, 29, 23, 59, 59, 0}},
      {133485407991230000, {2023, 12, 0, 31, 23, 59, 59, 123}},
      {133485408000000000, {2024, 1, 1, 1, 0, 0, 0, 0}},
      {31291635060070000, {1700, 2, 0, 28, 4, 5, 6, 7}},
      {157468320000000000, {2099, 12, 4, 31, 0, 0, 0, 0}},
      {9223372036854770000, {30828, 9, 4, 14, 2, 48, 5, 477}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.ticks);
    FILETIME time = timeOf(each.ticks);
    SYSTEMTIME fields{};
    ASSERT_TRUE(FileTimeToSystemTime(&time, &fields));
    EXPECT_EQ(each.fields.wYear, fields.wYear);
    EXPECT_EQ(each.fields.wMonth, fields.wMonth);
    EXPECT_EQ(each.fields.wDayOfWeek, fields.wDayOfWeek);
    EXPECT_EQ(each.fields.wDay, fields.wDay);
    EXPECT_EQ(each.fields.wHour, fields.wHour);
    EXPECT_EQ(each.fields.wMinute, fields.wMinute);
    EXPECT_EQ(each.fields.wSecond, fields.wSecond);
    EXPECT_EQ(each.fields.wMilliseconds, fields.wMilliseconds);
    if (fields.wYear > 30827) continue;
    fields.wDayOfWeek = 9;
    FILETIME back{};
    ASSERT_TRUE(SystemTimeToFileTime(&fields, &back));
    EXPECT_EQ(each.ticks, ticksOf(back));
  }
  FILETIME beyond = timeOf(uint64_t{1} << 63);
  SYSTEMTIME fields;
  EXPECT_FALSE(FileTimeToSystemTime(&beyond, &fields));
}

TEST(Times, DaysThatAreInNoCalendar) {
  const SYSTEMTIME cases[] = {
      {1600, 1, 0, 1, 0, 0, 0, 0},  {2023, 0, 0, 1, 0, 0, 0, 0},  {2023, 13, 0, 1, 0, 0, 0, 0},
      {2023, 1, 0, 32, 0, 0, 0, 0}, {2023, 1, 0, 0, 0, 0, 0, 0},  {2023, 1, 0, 1, 24, 0, 0, 0},
      {2023, 1, 0, 1, 0, 60, 0, 0}, {2023, 1, 0, 1, 0, 0, 60, 0}, {2023, 1, 0, 1, 0, 0, 0, 1000},
  };
  for (const SYSTEMTIME& each : cases) {
    FILETIME time;
    EXPECT_FALSE(SystemTimeToFileTime(&each, &time)) << (&each - cases);
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError()) << (&each - cases);
  }
}

TEST(Times, TheTwoWordsOfDos) {
  struct {
    SYSTEMTIME fields;
    WORD date, time;
  } cases[] = {
      {{1980, 1, 0, 1, 0, 0, 0, 0}, 0x0021, 0x0000},
      {{2024, 2, 0, 29, 13, 37, 58, 0}, 0x585d, 0x6cbd},
      {{2099, 12, 0, 31, 23, 59, 59, 999}, 0xef9f, 0xbf7d},
  };
  for (const auto& each : cases) {
    FILETIME time, back;
    WORD dosDate = 0, dosTime = 0;
    ASSERT_TRUE(SystemTimeToFileTime(&each.fields, &time));
    EXPECT_TRUE(FileTimeToDosDateTime(&time, &dosDate, &dosTime));
    EXPECT_EQ(each.date, dosDate);
    EXPECT_EQ(each.time, dosTime);
    ASSERT_TRUE(DosDateTimeToFileTime(dosDate, dosTime, &back));
    EXPECT_EQ(ticksOf(time) / 20000000, ticksOf(back) / 20000000) << "but for odd seconds";
  }
  SYSTEMTIME old{1979, 12, 0, 31, 23, 59, 59, 0};
  FILETIME time;
  WORD dosDate, dosTime;
  ASSERT_TRUE(SystemTimeToFileTime(&old, &time));
  EXPECT_FALSE(FileTimeToDosDateTime(&time, &dosDate, &dosTime));
}

TEST(Times, NowAndTheUsersZone) {
  FILETIME before, now, after, local, back;
  SYSTEMTIME fields, localFields;
  GetSystemTimeAsFileTime(&before);
  GetSystemTime(&fields);
  GetLocalTime(&localFields);
  GetSystemTimeAsFileTime(&after);
  ASSERT_TRUE(SystemTimeToFileTime(&fields, &now));
  EXPECT_GE(ticksOf(now) + 10000, ticksOf(before));
  EXPECT_LE(ticksOf(now), ticksOf(after));
  ASSERT_TRUE(SystemTimeToFileTime(&localFields, &local));
  ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
  EXPECT_GE(ticksOf(back) + 10000, ticksOf(before));
  EXPECT_LE(ticksOf(back), ticksOf(after));
  FILETIME winter = timeOf(133485407991230000);
  ASSERT_TRUE(FileTimeToLocalFileTime(&winter, &local));
  ASSERT_TRUE(LocalFileTimeToFileTime(&local, &back));
  EXPECT_EQ(0, CompareFileTime(&winter, &back));
  EXPECT_EQ(-1, CompareFileTime(&winter, &before));
  EXPECT_EQ(1, CompareFileTime(&before, &winter));
}

}  // namespace
