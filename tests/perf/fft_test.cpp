// The transforms against a slow long-double one, at every order to 16 and with every set of kernels.
#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "perf/rows.h"
#include "qv/perf/perf.h"

namespace qv::perf {
namespace {

constexpr int kTestedOrder = 16;
using Wide = std::complex<long double>;
using Spectrum = std::vector<Wide>;

Wide turn(size_t k, size_t n) {
  const long double angle = -2 * acosl(-1.0L) * static_cast<long double>(k % n) / static_cast<long double>(n);
  return {cosl(angle), sinl(angle)};
}

void halve(Spectrum& x, const Spectrum& turns) {
  const size_t n = x.size();
  if (n == 1) return;
  Spectrum even(n / 2), odd(n / 2);
  for (size_t i = 0; i < n / 2; ++i) {
    even[i] = x[2 * i];
    odd[i] = x[2 * i + 1];
  }
  halve(even, turns);
  halve(odd, turns);
  for (size_t k = 0; k < n / 2; ++k) {
    const Wide t = odd[k] * turns[k * (turns.size() / n)];
    x[k] = even[k] + t;
    x[k + n / 2] = even[k] - t;
  }
}

// The oracle: radix 2 in long double.
Spectrum slowTransform(Spectrum x) {
  Spectrum turns(x.size());
  for (size_t k = 0; k < x.size(); ++k) turns[k] = turn(k, x.size());
  halve(x, turns);
  return x;
}

Spectrum noise(size_t count, uint32_t seed, bool real) {
  std::mt19937 source(seed);
  std::uniform_real_distribution<float> values(-1.0f, 1.0f);
  Spectrum x(count);
  for (Wide& v : x) {
    const long double re = values(source);
    v = {re, real ? 0.0L : static_cast<long double>(values(source))};
  }
  return x;
}

double relativeError(const Spectrum& got, const Spectrum& wanted) {
  long double error = 0, size = 0;
  for (size_t i = 0; i < wanted.size(); ++i) {
    error += std::norm(got[i] - wanted[i]);
    size += std::norm(wanted[i]);
  }
  return static_cast<double>(sqrtl(error / size));
}

// One specification with its buffer; the buffer is misaligned on purpose.
class ComplexFft {
 public:
  explicit ComplexFft(int order, int flag = kQvPerfFftNoDivByAny) {
    EXPECT_TRUE(SUCCEEDED(QvPerfsFFTInitAlloc_C_32fc(&spec_, order, flag, kQvPerfHintNone)));
    int32_t size = 0;
    EXPECT_TRUE(SUCCEEDED(QvPerfsFFTGetBufSize_C_32fc(spec_, &size)));
    buffer_.resize(static_cast<size_t>(size) + 1);
  }
  ~ComplexFft() { EXPECT_TRUE(SUCCEEDED(QvPerfsFFTFree_C_32fc(spec_))); }

  Spectrum run(const Spectrum& x, bool inverse = false, bool inPlace = false, bool ownBuffer = false) {
    std::vector<float> in(2 * x.size() + 1), out(2 * x.size() + 1);
    for (size_t i = 0; i < x.size(); ++i) {
      in[2 * i + 1] = static_cast<float>(x[i].real());
      in[2 * i + 2] = static_cast<float>(x[i].imag());
    }
    float* dst = inPlace ? in.data() + 1 : out.data() + 1;
    const auto transform = inverse ? QvPerfsFFTInv_CToC_32fc : QvPerfsFFTFwd_CToC_32fc;
    EXPECT_EQ(0x4e600, transform(in.data() + 1, dst, spec_, ownBuffer ? nullptr : buffer_.data() + 1));
    Spectrum y(x.size());
    for (size_t i = 0; i < x.size(); ++i) y[i] = {dst[2 * i], dst[2 * i + 1]};
    return y;
  }

 private:
  void* spec_ = nullptr;
  std::vector<uint8_t> buffer_;
};

class RealFft {
 public:
  explicit RealFft(int order, int flag = kQvPerfFftNoDivByAny) {
    EXPECT_TRUE(SUCCEEDED(QvPerfsFFTInitAlloc_R_64f(&spec_, order, flag, kQvPerfHintNone)));
    int32_t size = 0;
    EXPECT_TRUE(SUCCEEDED(QvPerfsFFTGetBufSize_R_64f(spec_, &size)));
    buffer_.resize(static_cast<size_t>(size) + 1);
  }
  ~RealFft() { EXPECT_TRUE(SUCCEEDED(QvPerfsFFTFree_R_64f(spec_))); }

  void forward(double* data) {
    EXPECT_EQ(0x4e600, QvPerfsFFTFwd_RToPerm_64f_I(data, spec_, buffer_.data() + 1));
  }
  void inverse(double* data) { EXPECT_EQ(0x4e600, QvPerfsFFTInv_PermToR_64f_I(data, spec_, nullptr)); }

 private:
  void* spec_ = nullptr;
  std::vector<uint8_t> buffer_;
};

std::vector<double> reals(const Spectrum& x) {
  std::vector<double> data;
  for (const Wide& v : x) data.push_back(static_cast<double>(v.real()));
  return data;
}

Spectrum complexes(const std::vector<double>& data) {
  return Spectrum(data.begin(), data.end());
}

// The whole spectrum out of the packed half.
Spectrum unpackPerm(const std::vector<double>& data) {
  const size_t n = data.size();
  Spectrum y(n);
  y[0] = data[0];
  if (n > 1) y[n / 2] = data[1];
  for (size_t k = 1; k < n / 2; ++k) {
    y[k] = {data[2 * k], data[2 * k + 1]};
    y[n - k] = std::conj(y[k]);
  }
  return y;
}

class Fft : public EachRow {};

TEST_P(Fft, ComplexFloatsMatchTheOracleAndComeBack) {
  for (int order = 0; order <= kTestedOrder; ++order) {
    const Spectrum x = noise(size_t{1} << order, 1 + static_cast<uint32_t>(order), false);
    const Spectrum wanted = slowTransform(x);
    ComplexFft fft(order, kQvPerfFftDivInvByN);
    const Spectrum got = fft.run(x);
    EXPECT_LT(relativeError(got, wanted), 1e-6) << order;
    EXPECT_EQ(got, fft.run(x, false, true)) << "in place, order " << order;
    EXPECT_EQ(got, fft.run(x, false, true, true)) << "without a buffer, order " << order;
    EXPECT_LT(relativeError(fft.run(got, true), x), 1e-6) << order;
    EXPECT_LT(relativeError(fft.run(got, true, true), x), 1e-6) << order;
  }
}

TEST_P(Fft, RealDoublesMatchTheOracleAndComeBack) {
  for (int order = 0; order <= kTestedOrder; ++order) {
    const Spectrum x = noise(size_t{1} << order, 101 + static_cast<uint32_t>(order), true);
    RealFft fft(order, kQvPerfFftDivInvByN);
    std::vector<double> data = reals(x);
    fft.forward(data.data());
    const Spectrum got = unpackPerm(data);
    EXPECT_LT(relativeError(got, slowTransform(x)), 1e-14) << order;
    fft.inverse(data.data());
    EXPECT_LT(relativeError(complexes(data), x), 1e-14) << order;
  }
}

// By hand, for the oracle turns with the same sign as the definition that both were written from.
TEST_P(Fft, PutsTonesWhereTheyBelong) {
  const size_t n = 128, bin = 5;
  Spectrum tone(n);
  for (size_t i = 0; i < n; ++i) {
    const long double angle = 2 * acosl(-1.0L) * static_cast<long double>(i * bin) / 128;
    tone[i] = {cosl(angle), sinl(angle)};
  }
  const Spectrum line = ComplexFft(7).run(tone);
  for (size_t k = 0; k < n; ++k) EXPECT_LT(std::abs(line[k] - Wide(k == bin ? 128 : 0)), 1e-4) << k;
  std::vector<double> data(n);
  for (size_t i = 0; i < n; ++i) data[i] = i % 2 ? -1 : 1;
  RealFft(7).forward(data.data());
  for (size_t i = 0; i < n; ++i) EXPECT_NEAR(data[i], i == 1 ? 128 : 0, 1e-12) << "alternating " << i;
}

TEST_P(Fft, ScalesAsTheFlagSays) {
  const struct {
    int flag;
    double forward, back;
  } rows[] = {{kQvPerfFftDivFwdByN, 1.0 / 64, 1},
              {kQvPerfFftDivInvByN, 1, 1.0 / 64},
              {kQvPerfFftDivBySqrtN, 0.125, 0.125},
              {kQvPerfFftNoDivByAny, 1, 1}};
  const Spectrum x = noise(64, 3, true);
  const Spectrum plain = slowTransform(x);
  for (const auto& row : rows) {
    ComplexFft fft(6, row.flag);
    RealFft real(6, row.flag);
    Spectrum wanted = plain, back = x;
    for (Wide& v : wanted) v *= row.forward;
    for (Wide& v : back) v *= row.forward * row.back * 64;
    EXPECT_LT(relativeError(fft.run(x), wanted), 1e-6) << row.flag;
    EXPECT_LT(relativeError(fft.run(wanted, true), back), 1e-6) << row.flag;
    std::vector<double> data = reals(x);
    real.forward(data.data());
    EXPECT_LT(relativeError(unpackPerm(data), wanted), 1e-14) << row.flag;
    real.inverse(data.data());
    EXPECT_LT(relativeError(complexes(data), back), 1e-14) << row.flag;
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, Fft, testing::Values(0, 1, kWideVectorIndex));

// A plan keeps the kernels that shaped its tables.
TEST(FftPlans, OutliveAChangeOfKernels) {
  if (!rowRuns(kWideVectorIndex)) GTEST_SKIP() << "no AVX here";
  const Spectrum x = noise(256, 9, false);
  RowInForce wide(kWideVectorIndex);
  ComplexFft fft(8);
  const Spectrum before = fft.run(x);
  RowInForce narrow(0);
  EXPECT_EQ(before, fft.run(x));
}

}  // namespace
}  // namespace qv::perf
