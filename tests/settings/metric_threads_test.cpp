// One handle and one key, used by several threads at once.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "qv/frame/status.h"
#include "qv/settings/metric.h"

namespace {

constexpr int32_t kThreads = 4;
constexpr int32_t kMetricsEach = 200;

// Each thread writes numbers of its own, and all read and write one text; a half-written one would show.
TEST(MetricThreads, AHandleServesAllOfThem) {
  HQVMETRIC metrics = nullptr;
  ASSERT_EQ(qv::kOk, QvMetric_Open(&metrics, TEXT("Metric Threads"), 0x01000000, nullptr));
  std::vector<std::thread> threads;
  for (int32_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([metrics, thread] {
      const WCHAR letter = static_cast<WCHAR>('a' + thread);
      WCHAR text[101] = {}, read[101];
      for (int i = 0; i < 100; ++i) text[i] = letter;
      for (int32_t i = 0; i < kMetricsEach; ++i) {
        EXPECT_EQ(qv::kOk, QvSetMetric(metrics, thread * kMetricsEach + i, i));
        EXPECT_EQ(i, QvGetMetric(metrics, thread * kMetricsEach + i));
        EXPECT_EQ(qv::kOk, QvSetMetricString(metrics, 0, text));
        EXPECT_EQ(100u, QvGetMetricStringEx(metrics, 0, read, 101, nullptr, 0));
        EXPECT_EQ(read[0], read[99]);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int32_t i = 0; i < kThreads * kMetricsEach; ++i) EXPECT_EQ(i % kMetricsEach, QvGetMetric(metrics, i));
  EXPECT_EQ(qv::kOk, QvMetric_CloseAndDeleteKey(metrics));
}

}  // namespace
