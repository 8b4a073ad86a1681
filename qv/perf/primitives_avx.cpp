// The kernels with 32-byte vectors, for processors with AVX. Two halves of a vector don't mix freely, hence
// the orders of lanes: they are those in which splitting and joining complex numbers takes no crossing.
#include <immintrin.h>

#include "qv/perf/detail/kernels.h"
#include "qv/perf/detail/vector_ops.h"

namespace qv::perf {
namespace {

struct Float8 {
  using T = float;
  using V = __m256;
  static constexpr int kWidth = 8;
  static constexpr int kLanes[] = {0, 1, 4, 5, 2, 3, 6, 7};
  static QV_FORCE_INLINE V load(const T* p) { return _mm256_loadu_ps(p); }
  static QV_FORCE_INLINE void store(T* p, V v) { _mm256_storeu_ps(p, v); }
  static QV_FORCE_INLINE V all(T v) { return _mm256_set1_ps(v); }
  static QV_FORCE_INLINE V add(V a, V b) { return _mm256_add_ps(a, b); }
  static QV_FORCE_INLINE V sub(V a, V b) { return _mm256_sub_ps(a, b); }
  static QV_FORCE_INLINE V mul(V a, V b) { return _mm256_mul_ps(a, b); }
  static QV_FORCE_INLINE V min(V a, V b) { return _mm256_min_ps(a, b); }
  static QV_FORCE_INLINE V max(V a, V b) { return _mm256_max_ps(a, b); }
  template <class F>
  static QV_FORCE_INLINE T fold(V a, F&& f) {
    a = f(_mm256_permute2f128_ps(a, a, 0x01), a);
    a = f(_mm256_permute_ps(a, _MM_SHUFFLE(1, 0, 3, 2)), a);
    return _mm256_cvtss_f32(f(_mm256_permute_ps(a, _MM_SHUFFLE(2, 3, 0, 1)), a));
  }
  static QV_FORCE_INLINE V root(V a) { return _mm256_sqrt_ps(a); }
  static QV_FORCE_INLINE int signs(V a) {
    return _mm256_movemask_ps(_mm256_cmp_ps(a, _mm256_setzero_ps(), _CMP_LT_OQ));
  }
  static QV_FORCE_INLINE void split(const T* p, V& re, V& im) {
    const V a = load(p), b = load(p + 8);
    re = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    im = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
  }
  static QV_FORCE_INLINE void splitInOrder(const T* p, V& even, V& odd) {
    const V a = load(p), b = load(p + 8);
    const V low = _mm256_permute2f128_ps(a, b, 0x20), high = _mm256_permute2f128_ps(a, b, 0x31);
    even = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
    odd = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1));
  }
  static QV_FORCE_INLINE void join(T* p, V re, V im) {
    store(p, _mm256_unpacklo_ps(re, im));
    store(p + 8, _mm256_unpackhi_ps(re, im));
  }
  static QV_FORCE_INLINE void transpose(V (&x)[8]) {
    V y[8];
    unroll<4>([&](auto i) QV_LAMBDA_INLINE {
      y[2 * i] = _mm256_unpacklo_ps(x[2 * i], x[2 * i + 1]);
      y[2 * i + 1] = _mm256_unpackhi_ps(x[2 * i], x[2 * i + 1]);
    });
    V z[8];
    unroll<2>([&](auto i) QV_LAMBDA_INLINE {
      z[4 * i] = _mm256_shuffle_ps(y[4 * i], y[4 * i + 2], _MM_SHUFFLE(1, 0, 1, 0));
      z[4 * i + 1] = _mm256_shuffle_ps(y[4 * i], y[4 * i + 2], _MM_SHUFFLE(3, 2, 3, 2));
      z[4 * i + 2] = _mm256_shuffle_ps(y[4 * i + 1], y[4 * i + 3], _MM_SHUFFLE(1, 0, 1, 0));
      z[4 * i + 3] = _mm256_shuffle_ps(y[4 * i + 1], y[4 * i + 3], _MM_SHUFFLE(3, 2, 3, 2));
    });
    unroll<4>([&](auto i) QV_LAMBDA_INLINE {
      x[i] = _mm256_permute2f128_ps(z[i], z[i + 4], 0x20);
      x[i + 4] = _mm256_permute2f128_ps(z[i], z[i + 4], 0x31);
    });
  }
};

struct Double4 {
  using T = double;
  using V = __m256d;
  static constexpr int kWidth = 4;
  static constexpr int kLanes[] = {0, 2, 1, 3};
  static QV_FORCE_INLINE V load(const T* p) { return _mm256_loadu_pd(p); }
  static QV_FORCE_INLINE void store(T* p, V v) { _mm256_storeu_pd(p, v); }
  static QV_FORCE_INLINE V all(T v) { return _mm256_set1_pd(v); }
  static QV_FORCE_INLINE V add(V a, V b) { return _mm256_add_pd(a, b); }
  static QV_FORCE_INLINE V sub(V a, V b) { return _mm256_sub_pd(a, b); }
  static QV_FORCE_INLINE V mul(V a, V b) { return _mm256_mul_pd(a, b); }
  static QV_FORCE_INLINE V neg(V a) { return _mm256_xor_pd(a, _mm256_set1_pd(-0.0)); }
  static QV_FORCE_INLINE V min(V a, V b) { return _mm256_min_pd(a, b); }
  static QV_FORCE_INLINE V max(V a, V b) { return _mm256_max_pd(a, b); }
  static QV_FORCE_INLINE V swapPairs(V a) { return _mm256_permute_pd(a, 0b0101); }
  static QV_FORCE_INLINE V reverse(V a) { return swapPairs(_mm256_permute2f128_pd(a, a, 0x01)); }
  template <class F>
  static QV_FORCE_INLINE T fold(V a, F&& f) {
    a = f(_mm256_permute2f128_pd(a, a, 0x01), a);
    return _mm256_cvtsd_f64(f(swapPairs(a), a));
  }
  static QV_FORCE_INLINE void split(const T* p, V& re, V& im) {
    const V a = load(p), b = load(p + 4);
    re = _mm256_unpacklo_pd(a, b);
    im = _mm256_unpackhi_pd(a, b);
  }
  static QV_FORCE_INLINE void join(T* p, V re, V im) {
    store(p, _mm256_unpacklo_pd(re, im));
    store(p + 4, _mm256_unpackhi_pd(re, im));
  }
  static QV_FORCE_INLINE void transpose(V (&x)[4]) {
    const V a = _mm256_unpacklo_pd(x[0], x[1]), b = _mm256_unpackhi_pd(x[0], x[1]);
    const V c = _mm256_unpacklo_pd(x[2], x[3]), d = _mm256_unpackhi_pd(x[2], x[3]);
    x[0] = _mm256_permute2f128_pd(a, c, 0x20);
    x[1] = _mm256_permute2f128_pd(b, d, 0x20);
    x[2] = _mm256_permute2f128_pd(a, c, 0x31);
    x[3] = _mm256_permute2f128_pd(b, d, 0x31);
  }
  static QV_FORCE_INLINE V conjugate(V a) { return _mm256_xor_pd(a, _mm256_set_pd(-0.0, 0.0, -0.0, 0.0)); }
  static QV_FORCE_INLINE V product(V a, V b) {
    return _mm256_addsub_pd(mul(_mm256_movedup_pd(a), b), mul(_mm256_permute_pd(a, 0b1111), swapPairs(b)));
  }
};

}  // namespace

// Integers have no 32-byte operations here, and four channels fill 16 bytes: those two are the SSE2 kernels.
const Kernels kAvxKernels{
    conjugatesOf<Double4>,
    productsOf<Double4>,
    rootsOf<Float8>,
    minMaxOf<Float8>,
    minMaxOf<Double4>,
    random32Sse2,
    deinterleavePairs<Float8>,
    deinterleave4Sse2,
    {Float8::kWidth, Float8::kLanes, runTransform<Float8, Single<float>>},
    {Double4::kWidth, Double4::kLanes, runTransform<Double4, Single<double>>},
    splitReal<Double4, Single<double>>,
};

}  // namespace qv::perf
