// The kernels with 16-byte vectors, for any processor with SSE2.
#include <emmintrin.h>

#include "qv/perf/detail/kernels.h"
#include "qv/perf/detail/vector_ops.h"

namespace qv::perf {
namespace {

struct Float4 {
  using T = float;
  using V = __m128;
  static constexpr int kWidth = 4;
  static constexpr int kLanes[] = {0, 1, 2, 3};
  static QV_FORCE_INLINE V load(const T* p) { return _mm_loadu_ps(p); }
  static QV_FORCE_INLINE void store(T* p, V v) { _mm_storeu_ps(p, v); }
  static QV_FORCE_INLINE V all(T v) { return _mm_set1_ps(v); }
  static QV_FORCE_INLINE V add(V a, V b) { return _mm_add_ps(a, b); }
  static QV_FORCE_INLINE V sub(V a, V b) { return _mm_sub_ps(a, b); }
  static QV_FORCE_INLINE V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static QV_FORCE_INLINE V min(V a, V b) { return _mm_min_ps(a, b); }
  static QV_FORCE_INLINE V max(V a, V b) { return _mm_max_ps(a, b); }
  template <class F>
  static QV_FORCE_INLINE T fold(V a, F&& f) {
    a = f(_mm_movehl_ps(a, a), a);
    return _mm_cvtss_f32(f(_mm_shuffle_ps(a, a, _MM_SHUFFLE(1, 1, 1, 1)), a));
  }
  static QV_FORCE_INLINE V root(V a) { return _mm_sqrt_ps(a); }
  static QV_FORCE_INLINE int signs(V a) { return _mm_movemask_ps(_mm_cmplt_ps(a, _mm_setzero_ps())); }
  static QV_FORCE_INLINE void split(const T* p, V& re, V& im) {
    const V a = load(p), b = load(p + 4);
    re = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
    im = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
  }
  static QV_FORCE_INLINE void splitInOrder(const T* p, V& even, V& odd) { split(p, even, odd); }
  static QV_FORCE_INLINE void join(T* p, V re, V im) {
    store(p, _mm_unpacklo_ps(re, im));
    store(p + 4, _mm_unpackhi_ps(re, im));
  }
  static QV_FORCE_INLINE void transpose(V (&x)[4]) { _MM_TRANSPOSE4_PS(x[0], x[1], x[2], x[3]); }
};

struct Double2 {
  using T = double;
  using V = __m128d;
  static constexpr int kWidth = 2;
  static constexpr int kLanes[] = {0, 1};
  static QV_FORCE_INLINE V load(const T* p) { return _mm_loadu_pd(p); }
  static QV_FORCE_INLINE void store(T* p, V v) { _mm_storeu_pd(p, v); }
  static QV_FORCE_INLINE V all(T v) { return _mm_set1_pd(v); }
  static QV_FORCE_INLINE V add(V a, V b) { return _mm_add_pd(a, b); }
  static QV_FORCE_INLINE V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static QV_FORCE_INLINE V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static QV_FORCE_INLINE V neg(V a) { return _mm_xor_pd(a, _mm_set1_pd(-0.0)); }
  static QV_FORCE_INLINE V min(V a, V b) { return _mm_min_pd(a, b); }
  static QV_FORCE_INLINE V max(V a, V b) { return _mm_max_pd(a, b); }
  static QV_FORCE_INLINE V reverse(V a) { return _mm_shuffle_pd(a, a, 1); }
  template <class F>
  static QV_FORCE_INLINE T fold(V a, F&& f) {
    return _mm_cvtsd_f64(f(reverse(a), a));
  }
  static QV_FORCE_INLINE void split(const T* p, V& re, V& im) {
    const V a = load(p), b = load(p + 2);
    re = _mm_unpacklo_pd(a, b);
    im = _mm_unpackhi_pd(a, b);
  }
  static QV_FORCE_INLINE void join(T* p, V re, V im) {
    store(p, _mm_unpacklo_pd(re, im));
    store(p + 2, _mm_unpackhi_pd(re, im));
  }
  static QV_FORCE_INLINE void transpose(V (&x)[2]) {
    const V low = _mm_unpacklo_pd(x[0], x[1]);
    x[1] = _mm_unpackhi_pd(x[0], x[1]);
    x[0] = low;
  }
  static QV_FORCE_INLINE V conjugate(V a) { return _mm_xor_pd(a, _mm_set_pd(-0.0, 0.0)); }
  static QV_FORCE_INLINE V product(V a, V b) {
    const V straight = mul(_mm_unpacklo_pd(a, a), b);          // a c, a d
    const V crossed = mul(_mm_unpackhi_pd(a, a), reverse(b));  // b d, b c
    return add(straight, _mm_xor_pd(crossed, _mm_set_pd(0.0, -0.0)));
  }
};

constexpr uint32_t power(uint32_t base, int exponent) {
  return exponent == 0 ? 1 : base * power(base, exponent - 1);
}
// The state `count` draws ahead is factor * state + step.
constexpr uint32_t stepOver(int count) {
  return count == 0 ? 0 : stepOver(count - 1) * kRandomFactor + kRandomStep;
}

QV_FORCE_INLINE __m128i mulLow32(__m128i a, __m128i b) {
  const __m128i even = _mm_mul_epu32(a, b);
  const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), b);
  return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                            _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

}  // namespace

// Lanes run kDraws draws ahead each time; four vectors at once hide the multiplication's latency.
uint32_t random32Sse2(float* dst, size_t length, float low, float high, uint32_t seed) {
  constexpr int kDraws = 16;
  const __m128i factor = _mm_set1_epi32(static_cast<int>(power(kRandomFactor, kDraws)));
  const __m128i step = _mm_set1_epi32(static_cast<int>(stepOver(kDraws)));
  const float range = (high - low) * kRandomUnit;
  const __m128 base = _mm_set1_ps(low), scale = _mm_set1_ps(range);
  uint32_t states[kDraws];
  uint32_t state = seed;
  for (uint32_t& s : states) s = state = state * kRandomFactor + kRandomStep;
  __m128i x[kDraws / 4];
  unroll<4>([&](auto v) QV_LAMBDA_INLINE {
    x[v] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(states + 4 * v));
  });
  size_t i = 0;
  for (; i + kDraws <= length; i += kDraws) {
    seed = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_shuffle_epi32(x[3], _MM_SHUFFLE(3, 3, 3, 3))));
    unroll<4>([&](auto v) QV_LAMBDA_INLINE {
      const __m128 unit = _mm_cvtepi32_ps(_mm_srli_epi32(x[v], 8));
      _mm_storeu_ps(dst + i + 4 * v, _mm_add_ps(base, _mm_mul_ps(scale, unit)));
      x[v] = _mm_add_epi32(mulLow32(x[v], factor), step);
    });
  }
  for (; i < length; ++i) {
    seed = seed * kRandomFactor + kRandomStep;
    dst[i] = low + range * static_cast<float>(static_cast<int32_t>(seed >> 8));
  }
  return seed;
}

void deinterleave4Sse2(const float* src, size_t stride, size_t frames, float* const* dst) {
  float* const a = dst[0];
  float* const b = dst[1];
  float* const c = dst[2];
  float* const d = dst[3];
  size_t i = 0;
  for (; i + 4 <= frames; i += 4, src += 4 * stride) {
    __m128 x[4];
    unroll<4>([&](auto k) QV_LAMBDA_INLINE { x[k] = _mm_loadu_ps(src + k * stride); });
    Float4::transpose(x);
    _mm_storeu_ps(a + i, x[0]);
    _mm_storeu_ps(b + i, x[1]);
    _mm_storeu_ps(c + i, x[2]);
    _mm_storeu_ps(d + i, x[3]);
  }
  for (; i < frames; ++i, src += stride) {
    a[i] = src[0];
    b[i] = src[1];
    c[i] = src[2];
    d[i] = src[3];
  }
}

const Kernels kSse2Kernels{
    conjugatesOf<Double2>,
    productsOf<Double2>,
    rootsOf<Float4>,
    minMaxOf<Float4>,
    minMaxOf<Double2>,
    random32Sse2,
    deinterleavePairs<Float4>,
    deinterleave4Sse2,
    {Float4::kWidth, Float4::kLanes, runTransform<Float4, Single<float>>},
    {Double2::kWidth, Double2::kLanes, runTransform<Double2, Single<double>>},
    splitReal<Double2, Single<double>>,
};

}  // namespace qv::perf
