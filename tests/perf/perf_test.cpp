// The interface of the primitives, and the vector operations with every set of kernels.
#include "qv/perf/perf.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "perf/rows.h"

namespace qv::perf {
namespace {

constexpr HRESULT kSuccess = 0x0004e600;
constexpr HRESULT failure(uint32_t number) {
  return static_cast<HRESULT>((number + 0x4e600u) | 0x80040000u);
}
constexpr HRESULT kSizeFailure = failure(6), kNullFailure = failure(8), kOrderFailure = failure(15),
                  kFlagFailure = failure(16), kKindFailure = failure(17);

TEST(PerfStatus, MapsIntoTheToolkitsNumbers) {
  const struct {
    int32_t status;
    uint32_t wanted;
  } rows[] = {{0, 0x0004e600},        {20, 0x0004e614},    {-1, 0x8004e601},   {-8, 0x8004e608},
              {-9999, 0x8004e6ff},    {-9998, 0x8004e700}, {-256, 0x8004e700}, {0x1a00, 0x00050000 | 0x40000},
              {INT32_MIN, 0x8004e600}};
  for (const auto& row : rows) {
    EXPECT_EQ(static_cast<uint32_t>(QvPerfMapStatus(row.status)), row.wanted) << row.status;
    EXPECT_EQ(QvPerfStatusToHRESULT(row.status), QvPerfMapStatus(row.status)) << row.status;
  }
  for (int32_t hint : {0, 1, 2})
    EXPECT_EQ(QvPerfMapHintAlgorithm(static_cast<QvPerfHintAlgorithm>(hint)), hint);
  for (int32_t hint : {-1, 3}) EXPECT_EQ(QvPerfMapHintAlgorithm(static_cast<QvPerfHintAlgorithm>(hint)), 0);
}

TEST(PerfDispatch, IndexFollowsTheFeatureWord) {
  const struct {
    uint32_t features;
    int index, subIndex;
  } rows[] = {{0, 0, 0},    {0x07, 0, 0}, {0x08, 1, 0}, {0x10, 2, 0}, {0x18, 2, 0},     {0x30, 2, 1},
              {0x20, 0, 0}, {0x28, 1, 0}, {0x40, 3, 0}, {0x7f, 3, 0}, {0x100 | 8, 1, 0}};
  for (const auto& row : rows) {
    const Dispatch got = chooseDispatch(row.features);
    EXPECT_EQ(got.index, row.index) << std::hex << row.features;
    EXPECT_EQ(got.subIndex, row.subIndex) << std::hex << row.features;
  }
  EXPECT_EQ(widestRow({3, 0}, 0x140), kWideVectorIndex);
  EXPECT_EQ(widestRow({3, 0}, 0x40), 3);
  EXPECT_EQ(widestRow({2, 0}, 0x110), 2);
}

TEST(PerfDispatch, InitialisationHonoursTheAllowMask) {
  const uint32_t all = QvGetCPUSupport(0);
  const auto has = [&](uint32_t bit) { return (all & bit) != 0; };
  const bool full = has(QVCPU_SSE3) && has(QVCPU_SSSE3) && has(QVCPU_SSE4_1) && cpuHasAvx();
  if (!full) GTEST_SKIP() << "needs a processor with AVX";
  const struct {
    uint32_t allowed;
    int row;
    uint32_t status;
  } rows[] = {{0, 0, 0x4e614},     {0x60, 0, 0x4e600},  {0x80, 1, 0x4e614},  {0xe0, 1, 0x4e600},
              {0x1e0, 2, 0x4e600}, {0x3e0, 3, 0x4e600}, {0x7e0, 3, 0x4e600}, {0xff0, 4, 0x4e600}};
  for (const auto& row : rows) {
    ASSERT_EQ(QvOnlyAllowCPUSupport(row.allowed), 1);
    EXPECT_EQ(static_cast<uint32_t>(QvPerf_Initialize()), row.status) << std::hex << row.allowed;
    EXPECT_EQ(currentRow(), row.row) << std::hex << row.allowed;
  }
  setRow(0);
}

TEST(PerfInterface, RefusesWrongArguments) {
  double data[8] = {};
  float floats[8] = {};
  float* rowPointers[2] = {floats, floats + 4};
  double low, high;
  float least, most;
  uint32_t seed = 1;
  int32_t size = -1;
  void *complex = nullptr, *real = nullptr, *none = data;
  ASSERT_EQ(QvPerfsFFTInitAlloc_C_32fc(&complex, 1, 8, kQvPerfHintNone), kSuccess);
  ASSERT_EQ(QvPerfsFFTInitAlloc_R_64f(&real, 1, 8, kQvPerfHintFast), kSuccess);
  const struct {
    const char* what;
    HRESULT wanted;
    std::function<HRESULT()> call;
  } rows[] = {
      {"conj -1", kSizeFailure, [&] { return QvPerfsConj_64fc_I(data, -1); }},
      {"null before length", kNullFailure, [&] { return QvPerfsConj_64fc_I(nullptr, 0); }},
      {"mul src", kNullFailure, [&] { return QvPerfsMul_64fc_I(nullptr, data, 1); }},
      {"mul dst", kNullFailure, [&] { return QvPerfsMul_64fc_I(data, nullptr, 1); }},
      {"mul 0", kSizeFailure, [&] { return QvPerfsMul_64fc_I(data, data, 0); }},
      {"sqrt src", kNullFailure, [&] { return QvPerfsSqrt_32f(nullptr, floats, 1); }},
      {"sqrt dst", kNullFailure, [&] { return QvPerfsSqrt_32f(floats, nullptr, 1); }},
      {"sqrt 0", kSizeFailure, [&] { return QvPerfsSqrt_32f(floats, floats, 0); }},
      {"minmax min", kNullFailure, [&] { return QvPerfsMinMax_32f(floats, 1, nullptr, &most); }},
      {"minmax max", kNullFailure, [&] { return QvPerfsMinMax_64f(data, 1, &low, nullptr); }},
      {"minmax src", kNullFailure, [&] { return QvPerfsMinMax_64f(nullptr, 1, &low, &high); }},
      {"minmax 0", kSizeFailure, [&] { return QvPerfsMinMax_32f(floats, 0, &least, &most); }},
      {"random dst", kNullFailure, [&] { return QvPerfsRandUniform_Direct_32f(nullptr, 1, 0, 1, &seed); }},
      {"random seed", kNullFailure, [&] { return QvPerfsRandUniform_Direct_32f(floats, 1, 0, 1, nullptr); }},
      {"random 0", kSizeFailure, [&] { return QvPerfsRandUniform_Direct_32f(floats, 0, 0, 1, &seed); }},
      {"plan out", kNullFailure, [&] { return QvPerfsFFTInitAlloc_C_32fc(nullptr, 4, 8, kQvPerfHintNone); }},
      {"order -1", kOrderFailure, [&] { return QvPerfsFFTInitAlloc_C_32fc(&none, -1, 8, kQvPerfHintNone); }},
      {"order 28", kOrderFailure, [&] { return QvPerfsFFTInitAlloc_R_64f(&none, 28, 8, kQvPerfHintNone); }},
      {"flag 0", kFlagFailure, [&] { return QvPerfsFFTInitAlloc_R_64f(&none, 4, 0, kQvPerfHintNone); }},
      {"flag 3", kFlagFailure, [&] { return QvPerfsFFTInitAlloc_C_32fc(&none, 4, 3, kQvPerfHintNone); }},
      {"free null", kNullFailure, [&] { return QvPerfsFFTFree_C_32fc(nullptr); }},
      {"free wrong kind", kKindFailure, [&] { return QvPerfsFFTFree_C_32fc(real); }},
      {"free wrong kind", kKindFailure, [&] { return QvPerfsFFTFree_R_64f(complex); }},
      {"not a plan", kKindFailure, [&] { return QvPerfsFFTFree_R_64f(data); }},
      {"size of null", kNullFailure, [&] { return QvPerfsFFTGetBufSize_R_64f(nullptr, &size); }},
      {"size to null", kNullFailure, [&] { return QvPerfsFFTGetBufSize_C_32fc(complex, nullptr); }},
      {"size of wrong kind", kKindFailure, [&] { return QvPerfsFFTGetBufSize_C_32fc(real, &size); }},
      {"forward src", kNullFailure,
       [&] { return QvPerfsFFTFwd_CToC_32fc(nullptr, floats, complex, nullptr); }},
      {"forward dst", kNullFailure,
       [&] { return QvPerfsFFTFwd_CToC_32fc(floats, nullptr, complex, nullptr); }},
      {"inverse spec", kNullFailure,
       [&] { return QvPerfsFFTInv_CToC_32fc(floats, floats, nullptr, nullptr); }},
      {"inverse kind", kKindFailure, [&] { return QvPerfsFFTInv_CToC_32fc(floats, floats, real, nullptr); }},
      {"real data", kNullFailure, [&] { return QvPerfsFFTFwd_RToPerm_64f_I(nullptr, real, nullptr); }},
      {"real kind", kKindFailure, [&] { return QvPerfsFFTFwd_RToPerm_64f_I(data, complex, nullptr); }},
      {"real inverse", kKindFailure, [&] { return QvPerfsFFTInv_PermToR_64f_I(data, complex, nullptr); }},
      {"no channels", 0, [&] { return QvPerfsDeinterleave_32f(floats, 0, 1, rowPointers); }},
      {"no frames", 0, [&] { return QvPerfsDeinterleave_32f(floats, 2, -3, rowPointers); }},
      {"no rows", 0, [&] { return QvPerfsDeinterleave_32f(floats, 2, 1, nullptr); }},
      {"no source", 0, [&] { return QvPerfsDeinterleave_32f(nullptr, 2, 1, rowPointers); }},
  };
  for (const auto& row : rows) EXPECT_EQ(row.call(), row.wanted) << row.what;
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(seed, 1u);
  EXPECT_EQ(QvPerfsFFTFree_C_32fc(complex), kSuccess);
  EXPECT_EQ(QvPerfsFFTFree_R_64f(real), kSuccess);
}

TEST(PerfInterface, AllocatesAlignedBlocksAndCountsClocks) {
  for (int32_t length : {0, -1, INT32_MIN}) {
    EXPECT_EQ(QvPerfsMalloc_8u(length), nullptr);
    EXPECT_EQ(QvPerfsMalloc_32f(length), nullptr);
  }
  for (int32_t length : {1, 31, 1000}) {
    uint8_t* bytes = QvPerfsMalloc_8u(length);
    float* floats = QvPerfsMalloc_32f(length);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(bytes) % 32, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(floats) % 32, 0u);
    memset(bytes, 1, static_cast<size_t>(length));
    memset(floats, 1, static_cast<size_t>(length) * sizeof(float));
    QvPerfsFree(bytes);
    QvPerfsFree(floats);
  }
  QvPerfsFree(nullptr);
  const uint64_t before = QvPerfGetCpuClocks();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_GT(QvPerfGetCpuClocks(), before);
}

// Awkward numbers among ordinary ones, from an address that is aligned for nothing but the type.
template <class T>
std::vector<T> awkward(size_t count, uint32_t seed) {
  const T special[] = {T(0),
                       T(-0.0),
                       std::numeric_limits<T>::infinity(),
                       -std::numeric_limits<T>::infinity(),
                       std::numeric_limits<T>::quiet_NaN(),
                       std::numeric_limits<T>::max(),
                       T(-1)};
  std::mt19937 source(seed);
  std::vector<T> x(count);
  for (T& v : x)
    v = source() % 4 ? T(source()) / T(1 << 16) - T(20000) : special[source() % std::size(special)];
  return x;
}

constexpr int kMaxLength = 3 * 32 + 5;

class PerfVectors : public EachRow {
 protected:
  // Runs `call` on a copy of `data` with the scalar kernels and with this row's: the same bytes must come
  // out, and the two guards on either side must stand. NaNs count as equal, whatever their payload.
  template <class T, class F>
  void expectSameBytes(const std::vector<T>& data, F call) {
    std::vector<T> results[2];
    HRESULT status[2];
    for (int i = 0; i < 2; ++i) {
      RowInForce row(i == 0 ? 0 : GetParam());
      results[i].assign(data.size() + 4, T(12345));
      std::copy(data.begin(), data.end(), results[i].begin() + 2);
      status[i] = call(results[i].data() + 2);
      for (size_t guard : {size_t{0}, size_t{1}, data.size() + 2, data.size() + 3}) {
        EXPECT_EQ(results[i][guard], T(12345)) << data.size();
      }
      for (T& v : results[i]) v = v == v ? v : std::numeric_limits<T>::quiet_NaN();
    }
    EXPECT_EQ(status[0], status[1]);
    EXPECT_EQ(memcmp(results[0].data(), results[1].data(), results[0].size() * sizeof(T)), 0) << data.size();
  }
};

TEST_P(PerfVectors, GiveTheBytesOfTheScalarKernels) {
  for (int length = 1; length <= kMaxLength; ++length) {
    const auto seed = static_cast<uint32_t>(length);
    const auto size = static_cast<size_t>(length);
    const std::vector<double> factors = awkward<double>(2 * size, seed);
    expectSameBytes(awkward<double>(2 * size, seed + 1000),
                    [&](double* x) { return QvPerfsConj_64fc_I(x, length); });
    expectSameBytes(awkward<double>(2 * size, seed + 2000),
                    [&](double* x) { return QvPerfsMul_64fc_I(factors.data(), x, length); });
    expectSameBytes(awkward<float>(size, seed), [&](float* x) { return QvPerfsSqrt_32f(x, x, length); });
    expectSameBytes(std::vector<float>(size), [&](float* x) {
      uint32_t state = seed;
      const HRESULT status = QvPerfsRandUniform_Direct_32f(x, length, -3.0f, 5.0f, &state);
      x[0] += static_cast<float>(state % 1024);
      return status;
    });
    const std::vector<float> floats = awkward<float>(size, seed);
    const std::vector<double> doubles = awkward<double>(size, seed);
    expectSameBytes(std::vector<float>(2),
                    [&](float* x) { return QvPerfsMinMax_32f(floats.data(), length, x, x + 1); });
    expectSameBytes(std::vector<double>(2),
                    [&](double* x) { return QvPerfsMinMax_64f(doubles.data(), length, x, x + 1); });
  }
}

TEST_P(PerfVectors, ComputeWhatTheirNamesSay) {
  std::vector<double> a = {1, 2, 3, 4, 5, 6}, b = {7, 8, 9, 10, 11, 12};
  EXPECT_EQ(QvPerfsMul_64fc_I(a.data(), b.data(), 3), kSuccess);
  EXPECT_EQ(b, (std::vector<double>{-9, 22, -13, 66, -17, 126}));
  EXPECT_EQ(QvPerfsConj_64fc_I(a.data(), 3), kSuccess);
  EXPECT_EQ(a, (std::vector<double>{1, -2, 3, -4, 5, -6}));

  std::vector<float> x = {4, 0.25f, 0, -0.0f, 2}, roots(5);
  EXPECT_EQ(QvPerfsSqrt_32f(x.data(), roots.data(), 5), kSuccess);
  EXPECT_EQ(roots, (std::vector<float>{2, 0.5f, 0, -0.0f, std::sqrt(2.0f)}));
  x[3] = -1;
  EXPECT_EQ(QvPerfsSqrt_32f(x.data(), roots.data(), 5), 0x4e603);
  EXPECT_TRUE(std::isnan(roots[3]));
  EXPECT_EQ(roots[4], std::sqrt(2.0f));

  // Every place of the extremes, with NaNs around them.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (size_t at = 0; at + 1 < size_t{kMaxLength}; ++at) {
    std::vector<float> field(kMaxLength, nan);
    field[at] = -2.5f;
    field[at + 1] = 1e30f;
    float low = 0, high = 0;
    EXPECT_EQ(QvPerfsMinMax_32f(field.data(), kMaxLength, &low, &high), kSuccess);
    EXPECT_EQ(low, -2.5f);
    EXPECT_EQ(high, 1e30f);
  }
  const std::vector<double> nothing(40, std::numeric_limits<double>::quiet_NaN());
  double low = 0, high = 0;
  EXPECT_EQ(QvPerfsMinMax_64f(nothing.data(), 40, &low, &high), kSuccess);
  EXPECT_TRUE(std::isnan(low) && std::isnan(high));
}

TEST_P(PerfVectors, DrawUniformNumbersThatContinue) {
  constexpr int kCount = 100000;
  std::vector<float> whole(kCount), parts(kCount);
  uint32_t seed = 1, other = 1;
  EXPECT_EQ(QvPerfsRandUniform_Direct_32f(whole.data(), kCount, -1, 3, &seed), kSuccess);
  for (int at = 0, step = 1; at < kCount; at += step, ++step) {
    QvPerfsRandUniform_Direct_32f(parts.data() + at, std::min(step, kCount - at), -1, 3, &other);
  }
  EXPECT_EQ(whole, parts);
  EXPECT_EQ(seed, other);
  EXPECT_EQ(whole[0], -1 + 4 * static_cast<float>(69070 >> 8) / 16777216.0f);
  double sum = 0, squares = 0;
  for (float v : whole) {
    ASSERT_TRUE(v >= -1 && v <= 3);
    sum += v;
    squares += (v - 1) * (v - 1);
  }
  EXPECT_NEAR(sum / kCount, 1, 0.02);
  EXPECT_NEAR(squares / kCount, 16.0 / 12, 0.02);
}

TEST_P(PerfVectors, DeinterleaveEveryChannelCount) {
  for (int channels = 1; channels <= 9; ++channels) {
    // The last one spans several of the stretches that the work is cut into.
    for (int frames : {1, 2, 3, 4, 5, 7, 8, 9, 21, 5000}) {
      std::vector<float> src(static_cast<size_t>(channels * frames));
      for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<float>(i);
      const int missing = channels > 4 ? 1 : -1;  // one row that the caller doesn't want
      std::vector<std::vector<float>> rows(static_cast<size_t>(channels),
                                           std::vector<float>(frames + 2, -7.0f));
      std::vector<float*> dst;
      for (auto& row : rows) dst.push_back(row.data() + 1);
      if (missing >= 0) dst[static_cast<size_t>(missing)] = nullptr;
      EXPECT_EQ(QvPerfsDeinterleave_32f(src.data(), channels, frames, dst.data()), 0);
      for (int c = 0; c < channels; ++c) {
        for (int i = -1; i <= frames; ++i) {
          const bool inside = i >= 0 && i < frames && c != missing;
          const float wanted = inside ? static_cast<float>(c + i * channels) : -7.0f;
          ASSERT_EQ(rows[static_cast<size_t>(c)][static_cast<size_t>(i + 1)], wanted)
              << channels << ' ' << frames;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, PerfVectors, testing::Values(0, 1, 2, 3, kWideVectorIndex));

}  // namespace
}  // namespace qv::perf
