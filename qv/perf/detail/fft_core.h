// The passes of a transform, written once over a vector type.
//
// Included by each set of kernels with its own vectors. Everything is in an unnamed namespace, and nothing of
// the standard library is called: code that was compiled for AVX must not be shared with the others by the
// linker.
//
// A vector type L gives: T, V (the register), kWidth, kLanes (the point of a group that each lane holds),
// load, store, all (one number in every lane), add, sub, mul, neg, split and join (interleaved complex
// numbers to and from two registers) and transpose of kWidth registers.
//
// Between passes data is held in blocks of kWidth real parts and kWidth imaginary parts. With W = 1 that is
// the interleaved form itself.
#pragma once

#include <cstring>
#include <utility>

#include "qv/perf/detail/fft_plan.h"

#if defined(_MSC_VER)
#define QV_FORCE_INLINE __forceinline
#define QV_LAMBDA_INLINE
#else
#define QV_FORCE_INLINE inline __attribute__((always_inline))
#define QV_LAMBDA_INLINE __attribute__((always_inline))
#endif

namespace qv::perf {
namespace {

template <class F, int... I>
QV_FORCE_INLINE void unrollEach(F&& f, std::integer_sequence<int, I...>) {
  (f(std::integral_constant<int, I>{}), ...);
}
// Calls f(0) … f(N-1) with the index as a constant, so that small arrays of vectors stay in registers.
template <int N, class F>
QV_FORCE_INLINE void unroll(F&& f) {
  unrollEach(f, std::make_integer_sequence<int, N>{});
}

template <class L>
struct Complex {
  typename L::V re, im;
};

template <class L>
QV_FORCE_INLINE Complex<L> operator+(Complex<L> a, Complex<L> b) {
  return {L::add(a.re, b.re), L::add(a.im, b.im)};
}
template <class L>
QV_FORCE_INLINE Complex<L> operator-(Complex<L> a, Complex<L> b) {
  return {L::sub(a.re, b.re), L::sub(a.im, b.im)};
}
// a - i b and a + i b: the quarter turns cost nothing beyond the sum.
template <class L>
QV_FORCE_INLINE Complex<L> minusTurned(Complex<L> a, Complex<L> b) {
  return {L::add(a.re, b.im), L::sub(a.im, b.re)};
}
template <class L>
QV_FORCE_INLINE Complex<L> plusTurned(Complex<L> a, Complex<L> b) {
  return {L::sub(a.re, b.im), L::add(a.im, b.re)};
}
template <class L>
QV_FORCE_INLINE Complex<L> times(Complex<L> a, typename L::V re, typename L::V im) {
  return {L::sub(L::mul(a.re, re), L::mul(a.im, im)), L::add(L::mul(a.re, im), L::mul(a.im, re))};
}

template <class L>
QV_FORCE_INLINE void butterfly(Complex<L> (&x)[2]) {
  const Complex<L> sum = x[0] + x[1];
  x[1] = x[0] - x[1];
  x[0] = sum;
}

template <class L>
QV_FORCE_INLINE void quad(Complex<L>& a, Complex<L>& b, Complex<L>& c, Complex<L>& d) {
  const Complex<L> s = a + c, t = a - c, u = b + d, v = b - d;
  a = s + u;
  b = minusTurned(t, v);
  c = s - u;
  d = plusTurned(t, v);
}

template <class L>
QV_FORCE_INLINE void butterfly(Complex<L> (&x)[4]) {
  quad(x[0], x[1], x[2], x[3]);
}

template <class L>
QV_FORCE_INLINE void butterfly(Complex<L> (&x)[8]) {
  quad(x[1], x[3], x[5], x[7]);
  quad(x[0], x[2], x[4], x[6]);
  const typename L::V half = L::all(static_cast<typename L::T>(0.70710678118654752440L));
  // The odd part turned by one and by three eighths.
  const Complex<L> one{L::mul(L::add(x[3].re, x[3].im), half), L::mul(L::sub(x[3].im, x[3].re), half)};
  const Complex<L> three{L::mul(L::sub(x[7].im, x[7].re), half), L::mul(L::add(x[7].im, x[7].re), half)};
  const Complex<L> e0 = x[0], e1 = x[2], e2 = x[4], e3 = x[6], o0 = x[1], o2 = x[5];
  x[0] = e0 + o0;
  x[4] = e0 - o0;
  x[1] = e1 + one;
  x[5] = e1 - one;
  x[2] = minusTurned(e2, o2);
  x[6] = plusTurned(e2, o2);
  x[3] = {L::add(e3.re, three.re), L::sub(e3.im, three.im)};
  x[7] = {L::sub(e3.re, three.re), L::add(e3.im, three.im)};
}

template <class L>
QV_FORCE_INLINE Complex<L> loadBlock(const typename L::T* at) {
  return {L::load(at), L::load(at + L::kWidth)};
}
template <class L>
QV_FORCE_INLINE void storeBlock(typename L::T* at, Complex<L> x) {
  L::store(at, x.re);
  L::store(at + L::kWidth, x.im);
}
// The inverse is the forward transform between two exchanges of real and imaginary part.
template <class L, bool kInverse>
QV_FORCE_INLINE Complex<L> loadOuter(const typename L::T* at) {
  Complex<L> x;
  if constexpr (kInverse) {
    L::split(at, x.im, x.re);
  } else {
    L::split(at, x.re, x.im);
  }
  return x;
}
template <class L, bool kInverse>
QV_FORCE_INLINE void storeOuter(typename L::T* at, Complex<L> x) {
  if constexpr (kInverse) {
    L::join(at, x.im, x.re);
  } else {
    L::join(at, x.re, x.im);
  }
}

// Radix 8 over eight rows of the input, then each group of kWidth results is turned so that a lane belongs to
// one of the eight sub-transforms.
template <class L, bool kInverse>
void firstPass(const typename L::T* src, typename L::T* dst, const typename L::T* twiddle, size_t rowPoints) {
  constexpr int W = L::kWidth;
  constexpr int kParts = 8 / W;
  for (size_t p = 0; p < rowPoints; p += W, twiddle += 7 * 2 * W) {
    Complex<L> x[8];
    unroll<8>([&](auto k) QV_LAMBDA_INLINE { x[k] = loadOuter<L, kInverse>(src + 2 * (p + k * rowPoints)); });
    butterfly(x);
    unroll<7>([&](auto k) QV_LAMBDA_INLINE {
      const typename L::T* w = twiddle + k * 2 * W;
      x[k + 1] = times(x[k + 1], L::load(w), L::load(w + W));
    });
    unroll<kParts>([&](auto part) QV_LAMBDA_INLINE {
      typename L::V re[W], im[W];
      unroll<W>([&](auto i) QV_LAMBDA_INLINE {
        re[i] = x[part * W + L::kLanes[i]].re;
        im[i] = x[part * W + L::kLanes[i]].im;
      });
      L::transpose(re);
      L::transpose(im);
      unroll<W>([&](auto i) QV_LAMBDA_INLINE {
        storeBlock<L>(dst + ((p + L::kLanes[i]) * kParts + part) * 2 * W, Complex<L>{re[i], im[i]});
      });
    });
  }
}

// One pass over `blocks` blocks: `rows` twiddle sets, each for `run` blocks in a row.
template <class L, int kRadixLog, bool kSwapIn>
void middlePass(const typename L::T* src, typename L::T* dst, const typename L::T* twiddle, size_t rows,
                size_t run) {
  constexpr int R = 1 << kRadixLog;
  constexpr size_t kBlock = 2 * L::kWidth;
  const size_t inStep = rows * run * kBlock;
  const size_t outStep = run * kBlock;
  for (size_t p = 0; p < rows; ++p, twiddle += 2 * (R - 1), dst += (R - 1) * outStep) {
    Complex<L> w[R];
    unroll<R - 1>([&](auto k) QV_LAMBDA_INLINE {
      w[k + 1] = {L::all(twiddle[2 * k]), L::all(twiddle[2 * k + 1])};
    });
    for (size_t q = 0; q < run; ++q, src += kBlock, dst += kBlock) {
      Complex<L> x[R];
      unroll<R>([&](auto k) QV_LAMBDA_INLINE {
        x[k] = loadBlock<L>(src + k * inStep);
        if constexpr (kSwapIn) x[k] = {x[k].im, x[k].re};
      });
      butterfly(x);
      storeBlock<L>(dst, x[0]);
      unroll<R - 1>([&](auto k) QV_LAMBDA_INLINE {
        storeBlock<L>(dst + (k + 1) * outStep, times(x[k + 1], w[k + 1].re, w[k + 1].im));
      });
    }
  }
}

// The last pass has nothing to turn; it scales, and gives the data its outer form again.
template <class L, int kRadixLog, bool kInverse, bool kSwapIn>
void lastPass(const typename L::T* src, typename L::T* dst, size_t run, typename L::T factor) {
  constexpr int R = 1 << kRadixLog;
  constexpr size_t kBlock = 2 * L::kWidth;
  const size_t step = run * kBlock;
  const typename L::V scale = L::all(factor);
  for (size_t q = 0; q < run; ++q, src += kBlock, dst += kBlock) {
    Complex<L> x[R];
    unroll<R>([&](auto k) QV_LAMBDA_INLINE {
      x[k] = loadBlock<L>(src + k * step);
      if constexpr (kSwapIn) x[k] = {x[k].im, x[k].re};
    });
    butterfly(x);
    unroll<R>([&](auto k) QV_LAMBDA_INLINE {
      const Complex<L> y{L::mul(x[k].re, scale), L::mul(x[k].im, scale)};
      storeOuter<L, kInverse>(dst + k * step, y);
    });
  }
}

template <class L, bool kSwapIn>
void runMiddle(int radixLog, const typename L::T* src, typename L::T* dst, const typename L::T* twiddle,
               size_t rows, size_t run) {
  constexpr decltype(&middlePass<L, 1, kSwapIn>) kPasses[] = {
      middlePass<L, 1, kSwapIn>, middlePass<L, 2, kSwapIn>, middlePass<L, 3, kSwapIn>};
  kPasses[radixLog - 1](src, dst, twiddle, rows, run);
}

template <class L, bool kInverse, bool kSwapIn>
void runLast(int radixLog, const typename L::T* src, typename L::T* dst, size_t run, typename L::T scale) {
  constexpr decltype(&lastPass<L, 1, kInverse, kSwapIn>) kPasses[] = {lastPass<L, 1, kInverse, kSwapIn>,
                                                                      lastPass<L, 2, kInverse, kSwapIn>,
                                                                      lastPass<L, 3, kInverse, kSwapIn>};
  kPasses[radixLog - 1](src, dst, run, scale);
}

// Runs the chain. Passes alternate between `work` and `dst` so that the last one ends in `dst`; where that
// makes the first one overwrite its own source, the source moves to `work` first.
template <class L, bool kInverse>
void runPasses(const FftPlan<typename L::T>& plan, const typename L::T* src, typename L::T* dst,
               typename L::T* work, typename L::T scale) {
  using T = typename L::T;
  constexpr bool kNarrow = L::kWidth == 1;
  const size_t blocks = (size_t{1} << plan.points) / L::kWidth;
  if (src == dst && plan.passCount % 2 == 1) {
    std::memcpy(work, src, (sizeof(T) * 2) << plan.points);
    src = work;
  }
  size_t run = 1;
  for (int i = 0; i < plan.passCount; ++i) {
    const FftPass& pass = plan.passes[i];
    T* out = (plan.passCount - i) % 2 == 1 ? dst : work;
    const size_t rows = blocks / run >> pass.radixLog;
    const T* twiddle = plan.table + pass.twiddles;
    const bool swapIn = kNarrow && kInverse && i == 0;
    if (!kNarrow && i == 0) {
      if constexpr (!kNarrow) firstPass<L, kInverse>(src, out, twiddle, (size_t{1} << plan.points) / 8);
      run = 8 / L::kWidth;
    } else if (rows > 1) {
      (swapIn ? runMiddle<L, true> : runMiddle<L, false>)(pass.radixLog, src, out, twiddle, rows, run);
      run <<= pass.radixLog;
    } else {
      (swapIn ? runLast<L, kInverse, true> : runLast<L, kInverse, false>)(pass.radixLog, src, out, run,
                                                                          scale);
    }
    src = out;
  }
}

// A transform with vectors L, or with single points N where it is too short for them.
template <class L, class N>
void runTransform(const FftPlan<typename L::T>& plan, const typename L::T* src, typename L::T* dst,
                  typename L::T* work, bool inverse, typename L::T scale) {
  if (plan.passCount == 0) {
    dst[0] = src[0] * scale;
    dst[1] = src[1] * scale;
  } else if (plan.wide) {
    (inverse ? runPasses<L, true> : runPasses<L, false>)(plan, src, dst, work, scale);
  } else {
    (inverse ? runPasses<N, true> : runPasses<N, false>)(plan, src, dst, work, scale);
  }
}

// Points k and half-k of a real spectrum from those of the half-length complex one, or back. With S and D the
// sum and difference of one and the conjugate of the other, the results are S + T and the conjugate of S - T,
// where T is D turned by the twiddle and a quarter: backwards for the spectrum, forwards for the data.
template <class L>
QV_FORCE_INLINE void splitPair(Complex<L>& a, Complex<L>& b, typename L::V c, typename L::V s) {
  using V = typename L::V;
  const Complex<L> sum{L::add(a.re, b.re), L::sub(a.im, b.im)};
  const Complex<L> diff{L::sub(a.re, b.re), L::add(a.im, b.im)};
  const V re = L::sub(L::mul(c, diff.im), L::mul(s, diff.re));
  const V im = L::add(L::mul(c, diff.re), L::mul(s, diff.im));  // negative of the turned imaginary part
  a = {L::add(sum.re, re), L::sub(sum.im, im)};
  b = {L::sub(sum.re, re), L::neg(L::add(sum.im, im))};
}

template <class L>
size_t splitRun(double* data, const double* twiddles, size_t half, bool inverse, size_t k) {
  constexpr size_t W = L::kWidth;
  const typename L::V turn = L::all(inverse ? -1.0 : 1.0);
  for (; k + W <= half / 2; k += W) {
    double* low = data + 2 * k;
    double* high = data + 2 * (half - k - W + 1);
    typename L::V c, s;
    L::split(twiddles + 2 * k, c, s);
    Complex<L> a, b;
    L::split(low, a.re, a.im);
    L::split(high, b.re, b.im);
    b = {L::reverse(b.re), L::reverse(b.im)};
    splitPair<L>(a, b, L::mul(c, turn), s);
    L::join(low, a.re, a.im);
    L::join(high, L::reverse(b.re), L::reverse(b.im));
  }
  return k;
}

// The forward transform comes here halved (the factor one half is in its scale), the inverse leaves doubled.
template <class L, class N>
void splitReal(double* data, const double* twiddles, size_t half, bool inverse) {
  const double first = inverse ? 1.0 : 2.0;
  const double re = data[0], im = data[1];
  data[0] = (re + im) * first;
  data[1] = (re - im) * first;
  if (half < 2) return;
  data[half] *= 2.0;
  data[half + 1] *= -2.0;
  const size_t k = splitRun<L>(data, twiddles, half, inverse, 1);
  splitRun<N>(data, twiddles, half, inverse, k);
}

// One point at a time.
template <class Number>
struct Single {
  using T = Number;
  using V = Number;
  static constexpr int kWidth = 1;
  static constexpr int kLanes[] = {0};
  static QV_FORCE_INLINE V load(const T* p) { return *p; }
  static QV_FORCE_INLINE void store(T* p, V v) { *p = v; }
  static QV_FORCE_INLINE V all(T v) { return v; }
  static QV_FORCE_INLINE V add(V a, V b) { return a + b; }
  static QV_FORCE_INLINE V sub(V a, V b) { return a - b; }
  static QV_FORCE_INLINE V mul(V a, V b) { return a * b; }
  static QV_FORCE_INLINE V neg(V a) { return -a; }
  static QV_FORCE_INLINE V reverse(V a) { return a; }
  static QV_FORCE_INLINE void split(const T* p, V& re, V& im) { re = p[0], im = p[1]; }
  static QV_FORCE_INLINE void join(T* p, V re, V im) { p[0] = re, p[1] = im; }
  static QV_FORCE_INLINE void transpose(V (&)[1]) {}
};

}  // namespace
}  // namespace qv::perf
