// The scalers' row kernels in 128-bit vectors: four floats are one pixel. Included by the vector forms,
// behind scale_loops.h.
#pragma once

#include <emmintrin.h>

#include "qv/video/detail/scale_loops.h"

namespace qv::QV_FORM {
namespace {

__m128 loadFloats(const void* p) {
  return _mm_loadu_ps(static_cast<const float*>(p));
}
void storeFloats(void* p, __m128 v) {
  _mm_storeu_ps(static_cast<float*>(p), v);
}
__m128i load8Bytes(const void* p) {
  return _mm_loadl_epi64(static_cast<const __m128i*>(p));
}
template <int Lane>
__m128 lane(__m128 v) {
  return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

void boxAcrossVector(uint8_t* out, const float* in, const BoxColumn* columns, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    const BoxColumn& c = columns[x];
    const float* p = in + int64_t{c.first} * 4;
    __m128 sum = _mm_mul_ps(loadFloats(p), _mm_set1_ps(c.firstWeight));
    if (c.pixels > 1) {
      p += 4;
      for (int32_t k = c.pixels - 2; k > 0; --k, p += 4) sum = _mm_add_ps(sum, loadFloats(p));
      sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(p), _mm_set1_ps(c.lastWeight)));
    }
    storeFloats(out + 16 * x, _mm_mul_ps(sum, _mm_set1_ps(c.reciprocal)));
  }
}

void linearAcrossVector(uint8_t* out, const float* in, const LinearColumns& columns) {
  const __m128 one = _mm_set1_ps(1.0f);
  for (int64_t x = 0; x < columns.count; ++x) {
    const __m128 w1 =
        _mm_set1_ps(static_cast<float>(static_cast<int32_t>(fractionOf(columns.column[x]))) / 16384);
    const float* left = in + int64_t{columns.column[x].pixel} * 4;
    const float* right = x < columns.inner ? left + 4 : left;
    const __m128 sum = _mm_mul_ps(loadFloats(left), _mm_sub_ps(one, w1));
    storeFloats(out + 16 * x, _mm_add_ps(sum, _mm_mul_ps(loadFloats(right), w1)));
  }
}

void cubicAcrossVector(uint8_t* out, const float* in, const CubicColumn* columns, int64_t count) {
  const CubicTables& tables = cubicTables();
  for (int64_t x = 0; x < count; ++x) {
    const float* p = in + int64_t{columns[x].tap} * 4;
    const __m128 w = loadFloats(tables.real[columns[x].phase]);
    __m128 sum = _mm_mul_ps(loadFloats(p), lane<0>(w));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(p + 12), lane<3>(w)));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(p + 8), lane<2>(w)));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(p + 4), lane<1>(w)));
    storeFloats(out + 16 * x, sum);
  }
}

// The product of two floats of 14 bits is rounded as the integer product of 28 is when it becomes a float.
void bilinearFloatVector(uint8_t* out, const uint8_t* const rows[2], const LinearColumns& columns,
                         uint32_t fy) {
  const float below = static_cast<float>(static_cast<int32_t>(fy)) * kFromFraction28;
  const float above = static_cast<float>(static_cast<int32_t>(16384 - fy)) * kFromFraction28;
  const __m128 down = _mm_setr_ps(above, above, below, below);
  for (int64_t x = 0; x < columns.count; ++x) {
    const __m128 pair = _mm_cvtepi32_ps(_mm_unpacklo_epi16(
        _mm_cvtsi32_si128(static_cast<int32_t>(columns.column[x].weights)), _mm_setzero_si128()));
    const __m128 w = _mm_mul_ps(_mm_movelh_ps(pair, pair), down);
    const int64_t left = int64_t{columns.column[x].pixel} * 16, right = x < columns.inner ? left + 16 : left;
    __m128 sum = _mm_mul_ps(loadFloats(rows[0] + left), lane<0>(w));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(rows[0] + right), lane<1>(w)));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(rows[1] + left), lane<2>(w)));
    sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(rows[1] + right), lane<3>(w)));
    storeFloats(out + 16 * x, sum);
  }
}

// Two rows that are mixed are computed in single precision, where a result can be off by this much, below by
// what the cut weights lose as well. A value that lies so near to a step between two bytes is left to the
// definition.
constexpr float kBelowStep = 0.5f - 1.3e-4f, kAboveStep = 0.5f + 6e-5f;

// The mixture of two stretched rows where no product of weights is cut: in whole numbers.
QV_INLINE uint8_t coarseChannel(float above, float below, int32_t wAbove, int32_t wBelow) {
  const int32_t a = static_cast<int32_t>(above) >> 4, b = static_cast<int32_t>(below) >> 4;
  return static_cast<uint8_t>((a * wAbove + b * wBelow + (1 << 19)) >> 20);
}

}  // namespace
}  // namespace qv::QV_FORM
