// What an application's settings must withstand: processes side by side, and a damaged store. Every access is
// made in a process of its own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "qv/frame/status.h"
#include "qv/settings/metric.h"
#include "tests/support/processes.h"

namespace {

namespace fs = std::filesystem;
using qv::test::inChild;
using qv::test::resultOf;
using qv::test::start;

constexpr int32_t kWrites = 10000;
constexpr int32_t kDefault = 77;

HQVMETRIC open() {
  HQVMETRIC metrics = nullptr;
  QvMetric_Open(&metrics, TEXT("Processes"), 0x01000000, nullptr);
  return metrics;
}

using MetricProcesses = qv::test::OwnRegistry;

TEST_F(MetricProcesses, TwoWritersLoseNothing) {
  const auto writer = [](int32_t first) {
    return [first] {
      const HQVMETRIC metrics = open();
      for (int32_t i = first; i < first + kWrites; ++i) {
        if (QvSetMetric(metrics, i, i) != qv::kOk) return 1;
      }
      return 0;
    };
  };
  const pid_t one = start(writer(0)), two = start(writer(kWrites));
  EXPECT_EQ(0, resultOf(one));
  EXPECT_EQ(0, resultOf(two));
  EXPECT_EQ(0, inChild([] {
              const HQVMETRIC metrics = open();
              for (int32_t i = 0; i < 2 * kWrites; ++i) {
                if (QvGetMetricEx(metrics, i, 0, 0, -1) != i) return 1;
              }
              return 0;
            }));
}

void damage(const fs::path& hive) {
  for (const char* suffix : {"-wal", "-shm"}) fs::remove(hive.string() + suffix);
  std::ofstream(hive, std::ios::binary) << std::string(20000, 'x');
}

TEST_F(MetricProcesses, ADamagedStoreGivesDefaultsAndIsKept) {
  ASSERT_EQ(0, inChild([] { return QvSetMetric(open(), 1, 5) == qv::kOk ? 0 : 1; }));
  damage(hive());
  EXPECT_EQ(0, inChild([] {
              const HQVMETRIC metrics = open();
              if (metrics == nullptr || metrics->key != nullptr) return 1;
              if (QvGetMetricEx(metrics, 1, 0, 100, kDefault) != kDefault) return 2;
              if (QvSetMetric(metrics, 1, 6) != qv::kGeneralFailure) return 3;
              const HQVMETRIC later = open();
              if (QvSetMetric(later, 1, 6) != qv::kOk) return 4;
              return QvGetMetric(later, 1) == 6 ? 0 : 5;
            }));
  std::ifstream kept(hive().string() + ".damaged", std::ios::binary);
  EXPECT_EQ(std::string(20000, 'x'), std::string(std::istreambuf_iterator<char>(kept), {}));
}

// A process holds a handle while the store is damaged, set aside by another process and made anew: the handle
// must neither write into the file that was set aside nor reach another application's key.
TEST_F(MetricProcesses, AnOldHandleLeadsNowhereInANewStore) {
  int toChild[2], fromChild[2];
  ASSERT_EQ(0, pipe(toChild));
  ASSERT_EQ(0, pipe(fromChild));
  const pid_t child = start([&] {
    const HQVMETRIC metrics = open();
    char byte = 0;
    if (QvSetMetric(metrics, 1, 5) != qv::kOk || write(fromChild[1], "r", 1) != 1) return 1;
    if (read(toChild[0], &byte, 1) != 1) return 2;
    if (QvSetMetric(metrics, 1, 6) != qv::kGeneralFailure) return 3;
    if (QvGetMetricEx(metrics, 1, 0, 100, kDefault) != kDefault) return 4;
    return QvSetMetric(open(), 2, 8) == qv::kOk ? 0 : 5;
  });
  char byte = 0;
  ASSERT_EQ(1, read(fromChild[0], &byte, 1));
  fs::rename(hive(), hive().string() + ".damaged");
  for (const char* suffix : {"-wal", "-shm"})
    fs::rename(hive().string() + suffix, hive().string() + ".damaged" + suffix);
  EXPECT_EQ(0, inChild([] {
              HQVMETRIC other = nullptr;
              QvMetric_Open(&other, TEXT("Another"), 0x01000000, nullptr);
              return QvSetMetric(other, 1, 44) == qv::kOk ? 0 : 1;
            }));
  ASSERT_EQ(1, write(toChild[1], "g", 1));
  EXPECT_EQ(0, resultOf(child));
  EXPECT_EQ(0, inChild([] {
              HQVMETRIC other = nullptr;
              QvMetric_Open(&other, TEXT("Another"), 0x01000000, nullptr);
              return QvGetMetric(other, 1) == 44 && QvGetMetric(open(), 2) == 8 ? 0 : 1;
            }));
}

}  // namespace
