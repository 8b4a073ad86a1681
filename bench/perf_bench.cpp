// Transforms and vector operations beside FFTW's estimated plans, KissFFT, memcpy and the plain loop that the
// compiler vectorises. Items are floating-point operations by the usual count, 5 n log2 n for complex data
// and half of that for real.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qv/perf/perf.h"
#ifdef QV_BENCH_FFTW
#include <fftw3.h>
#endif
#ifdef QV_BENCH_KISSFFT
#include <kissfft/kiss_fft.h>
#endif

// What the loops below are compiled for: the peers may use what ours use.
#define QV_PLAIN_LOOP                     \
  __attribute__((noinline, target("avx"), \
                 optimize("O3", "no-math-errno", "finite-math-only", "no-signed-zeros")))

namespace {

using benchmark::State;

// A block on a cache line of its own.
template <class T>
class Block {
 public:
  explicit Block(size_t count)
      : data_(reinterpret_cast<T*>(QvPerfsMalloc_8u(static_cast<int32_t>(count * sizeof(T))))) {
    for (size_t i = 0; i < count; ++i) data_[i] = T(0);
  }
  ~Block() { QvPerfsFree(data_); }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  operator T*() const { return data_; }

 private:
  T* data_;
};

void randomise(float* data, size_t count) {
  uint32_t seed = 1;
  QvPerfsRandUniform_Direct_32f(data, static_cast<int32_t>(count), 0.5f, 1.5f, &seed);
}
void randomise(double* data, size_t count) {
  for (size_t i = 0; i < count; ++i) data[i] = 0.5 + static_cast<double>(i % 977) / 977;
}

std::string named(const char* family, const std::string& what, size_t number) {
  std::string name(family);
  return name.append(what).append(1, '/').append(std::to_string(number));
}

void add(const std::string& name, std::function<void(State&)> run) {
  benchmark::RegisterBenchmark(name.c_str(), std::move(run));
}

template <class F>
void repeat(State& state, F&& f) {
  for (auto turn : state) {
    static_cast<void>(turn);
    f();
    benchmark::ClobberMemory();
  }
}

int64_t flops(const State& state, int order, double factor) {
  return static_cast<int64_t>(static_cast<double>(state.iterations()) * factor * order *
                              std::ldexp(1.0, order));
}

// Complex floats, from one array to another.

void ourComplex(State& state, int order) {
  const size_t n = size_t{1} << order;
  Block<float> src(2 * n), dst(2 * n);
  randomise(src, 2 * n);
  void* plan = nullptr;
  int32_t size = 0;
  QvPerfsFFTInitAlloc_C_32fc(&plan, order, kQvPerfFftNoDivByAny, kQvPerfHintNone);
  QvPerfsFFTGetBufSize_C_32fc(plan, &size);
  Block<uint8_t> buffer(static_cast<size_t>(size));
  repeat(state, [&] { QvPerfsFFTFwd_CToC_32fc(src, dst, plan, buffer); });
  state.SetItemsProcessed(flops(state, order, 5));
  QvPerfsFFTFree_C_32fc(plan);
}

// Real doubles in place. The data is zero: any other grows out of range by being transformed again and again.
void ourReal(State& state, int order) {
  Block<double> data(size_t{1} << order);
  void* plan = nullptr;
  int32_t size = 0;
  QvPerfsFFTInitAlloc_R_64f(&plan, order, kQvPerfFftNoDivByAny, kQvPerfHintNone);
  QvPerfsFFTGetBufSize_R_64f(plan, &size);
  Block<uint8_t> buffer(static_cast<size_t>(size));
  repeat(state, [&] { QvPerfsFFTFwd_RToPerm_64f_I(data, plan, buffer); });
  state.SetItemsProcessed(flops(state, order, 2.5));
  QvPerfsFFTFree_R_64f(plan);
}

#ifdef QV_BENCH_FFTW
void fftwComplex(State& state, int order) {
  const int n = 1 << order;
  Block<float> src(2 * static_cast<size_t>(n)), dst(2 * static_cast<size_t>(n));
  auto* in = reinterpret_cast<fftwf_complex*>(static_cast<float*>(src));
  auto* out = reinterpret_cast<fftwf_complex*>(static_cast<float*>(dst));
  const fftwf_plan plan = fftwf_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_ESTIMATE);
  randomise(src, 2 * static_cast<size_t>(n));
  repeat(state, [&] { fftwf_execute(plan); });
  state.SetItemsProcessed(flops(state, order, 5));
  fftwf_destroy_plan(plan);
}

void fftwReal(State& state, int order, bool inPlace) {
  const int n = 1 << order;
  Block<double> src(static_cast<size_t>(n) + 2), dst(static_cast<size_t>(n) + 2);
  auto* out = reinterpret_cast<fftw_complex*>(static_cast<double*>(inPlace ? src : dst));
  const fftw_plan plan = fftw_plan_dft_r2c_1d(n, src, out, FFTW_ESTIMATE);
  memset(src, 0, sizeof(double) * static_cast<size_t>(n));
  repeat(state, [&] { fftw_execute(plan); });
  state.SetItemsProcessed(flops(state, order, 2.5));
  fftw_destroy_plan(plan);
}
#endif

#ifdef QV_BENCH_KISSFFT
void kissComplex(State& state, int order) {
  const size_t n = size_t{1} << order;
  std::vector<kiss_fft_cpx> src(n, {1, 0}), dst(n);
  const kiss_fft_cfg plan = kiss_fft_alloc(static_cast<int>(n), 0, nullptr, nullptr);
  repeat(state, [&] { kiss_fft(plan, src.data(), dst.data()); });
  state.SetItemsProcessed(flops(state, order, 5));
  kiss_fft_free(plan);
}
#endif

// The loops that a programmer would write in place of a call.

QV_PLAIN_LOOP void plainConj(double* data, size_t length) {
  for (size_t i = 0; i < length; ++i) data[2 * i + 1] = -data[2 * i + 1];
}
QV_PLAIN_LOOP void plainMul(const double* src, double* srcDst, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const double a = src[2 * i], b = src[2 * i + 1], c = srcDst[2 * i], d = srcDst[2 * i + 1];
    srcDst[2 * i] = a * c - b * d;
    srcDst[2 * i + 1] = a * d + b * c;
  }
}
QV_PLAIN_LOOP void plainSqrt(const float* src, float* dst, size_t length) {
  for (size_t i = 0; i < length; ++i) dst[i] = __builtin_sqrtf(src[i]);
}
template <class T>
QV_PLAIN_LOOP void plainMinMax(const T* src, size_t length, T* min, T* max) {
  T low = src[0], high = src[0];
  for (size_t i = 0; i < length; ++i) {
    low = src[i] < low ? src[i] : low;
    high = src[i] > high ? src[i] : high;
  }
  *min = low;
  *max = high;
}
QV_PLAIN_LOOP void plainRandom(float* dst, size_t length, float low, float high, uint32_t* seed) {
  uint32_t state = *seed;
  for (size_t i = 0; i < length; ++i) {
    state = state * 69069 + 1;
    dst[i] = low + (high - low) * (1.0f / 16777216) * static_cast<float>(static_cast<int32_t>(state >> 8));
  }
  *seed = state;
}
QV_PLAIN_LOOP void plainDeinterleave(const float* src, int channels, int frames, float** dst) {
  for (int c = 0; c < channels; ++c) {
    float* row = dst[c];
    for (int i = 0; i < frames; ++i) row[i] = src[c + i * channels];
  }
}

// One operation on vectors of one length: ours, the plain loop, and memcpy of the same number of bytes read.
template <class T>
void addVector(const std::string& name, size_t length, size_t numbers, std::function<void(T*, T*)> ours,
               std::function<void(T*, T*)> plain) {
  const auto run = [numbers](const std::function<void(T*, T*)>& f, State& state) {
    Block<T> a(numbers), b(numbers);
    randomise(a, numbers);
    randomise(b, numbers);
    repeat(state, [&] { f(a, b); });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(numbers * sizeof(T)));
  };
  add(named("Perf/", name, length), [=](State& state) { run(ours, state); });
  add(named("Plain/", name, length), [=](State& state) { run(plain, state); });
  add(named("memcpy/", name, length),
      [=](State& state) { run([numbers](T* a, T* b) { memcpy(b, a, numbers * sizeof(T)); }, state); });
}

void addVectors(int32_t n) {
  const size_t count = static_cast<size_t>(n);
  addVector<double>(
      "Conj_64fc", count, 2 * count, [=](double* a, double*) { QvPerfsConj_64fc_I(a, n); },
      [=](double* a, double*) { plainConj(a, count); });
  addVector<double>(
      "Mul_64fc", count, 2 * count, [=](double* a, double* b) { QvPerfsMul_64fc_I(a, b, n); },
      [=](double* a, double* b) { plainMul(a, b, count); });
  addVector<float>(
      "Sqrt_32f", count, count, [=](float* a, float* b) { QvPerfsSqrt_32f(a, b, n); },
      [=](float* a, float* b) { plainSqrt(a, b, count); });
  addVector<float>(
      "MinMax_32f", count, count, [=](float* a, float* b) { QvPerfsMinMax_32f(a, n, b, b + 1); },
      [=](float* a, float* b) { plainMinMax(a, count, b, b + 1); });
  addVector<double>(
      "MinMax_64f", count, count, [=](double* a, double* b) { QvPerfsMinMax_64f(a, n, b, b + 1); },
      [=](double* a, double* b) { plainMinMax(a, count, b, b + 1); });
  addVector<float>(
      "Random_32f", count, count,
      [=](float* a, float*) {
        uint32_t seed = 1;
        QvPerfsRandUniform_Direct_32f(a, n, 0, 1, &seed);
      },
      [=](float* a, float*) {
        uint32_t seed = 1;
        plainRandom(a, count, 0, 1, &seed);
      });
  for (int channels : {2, 6}) {
    const auto split = [=](auto&& f) {
      return [=](float* a, float* b) {
        float* rows[6];
        for (int c = 0; c < channels; ++c) rows[c] = b + c * n;
        f(a, channels, n, rows);
      };
    };
    addVector<float>(channels == 2 ? "Deinterleave2" : "Deinterleave6", count,
                     count * static_cast<size_t>(channels), split(QvPerfsDeinterleave_32f),
                     split(plainDeinterleave));
  }
}

const bool registered = [] {
  QvPerf_Initialize();
  for (int order = 8; order <= 16; ++order) {
    const size_t number = static_cast<size_t>(order);
    add(named("Perf/", "FFT_32fc", number), [=](State& state) { ourComplex(state, order); });
#ifdef QV_BENCH_FFTW
    add(named("FFTW/", "FFT_32fc", number), [=](State& state) { fftwComplex(state, order); });
#endif
#ifdef QV_BENCH_KISSFFT
    add(named("KissFFT/", "FFT_32fc", number), [=](State& state) { kissComplex(state, order); });
#endif
    add(named("Perf/", "FFT_64f", number), [=](State& state) { ourReal(state, order); });
#ifdef QV_BENCH_FFTW
    add(named("FFTW/", "FFT_64f_inplace", number), [=](State& state) { fftwReal(state, order, true); });
    add(named("FFTW/", "FFT_64f", number), [=](State& state) { fftwReal(state, order, false); });
#endif
  }
  for (int32_t n : {256, 4096, 1 << 20}) addVectors(n);
  return true;
}();

}  // namespace
