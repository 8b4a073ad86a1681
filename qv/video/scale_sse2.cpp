// The scalers' row kernels in 128-bit vectors.
#define QV_FORM sse2

#include "qv/video/detail/scale_loops128.h"

namespace qv {
namespace sse2 {
namespace {

__m128i load(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
void store(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

// Two neighbours of eight bytes as pairs of words.
QV_INLINE __m128i pairsOf(const uint8_t* p) {
  const __m128i words = _mm_unpacklo_epi8(load8Bytes(p), _mm_setzero_si128());
  return _mm_unpacklo_epi16(words, _mm_srli_si128(words, 8));
}

void linearRow8(float* out, const uint8_t* row, const LinearColumns& columns) {
  for (int64_t x = 0; x < columns.inner; ++x) {
    const LinearColumn& c = columns.column[x];
    const __m128i sum =
        _mm_madd_epi16(pairsOf(row + int64_t{c.pixel} * 4), _mm_set1_epi32(static_cast<int32_t>(c.weights)));
    storeFloats(out + 4 * x, _mm_cvtepi32_ps(sum));
  }
  for (int64_t i = columns.inner * 4; i < columns.count * 4; ++i) {
    out[i] = static_cast<float>(row[int64_t{columns.column[i / 4].pixel} * 4 + i % 4] << 14);
  }
}

void mixCoarse(uint8_t* out, const float* const stretched[2], int64_t channels, uint32_t fy) {
  const int32_t below = static_cast<int32_t>(fy) >> 4, above = 1024 - below;
  for (int64_t i = 0; i < channels; ++i)
    out[i] = coarseChannel(stretched[0][i], stretched[1][i], above, below);
}

void bilinear8Vector(uint8_t* out, const uint8_t* const rows[2], const float* const stretched[2],
                     const LinearColumns& columns, uint32_t fy) {
  if (columns.coarse && fy % 16 == 0) return mixCoarse(out, stretched, columns.count * 4, fy);
  const __m128 above = _mm_set1_ps(static_cast<float>(static_cast<int32_t>(16384 - fy)) * kFromFraction28);
  const __m128 below = _mm_set1_ps(static_cast<float>(static_cast<int32_t>(fy)) * kFromFraction28);
  int64_t x = 0;
  for (; x + 4 <= columns.count; x += 4) {
    __m128i bytes[4], sure = _mm_set1_epi32(-1);
    for (int k = 0; k < 4; ++k) {
      const int64_t i = 4 * (x + k);
      const __m128 sum = _mm_add_ps(_mm_mul_ps(loadFloats(stretched[0] + i), above),
                                    _mm_mul_ps(loadFloats(stretched[1] + i), below));
      bytes[k] = _mm_cvttps_epi32(_mm_add_ps(sum, _mm_set1_ps(kBelowStep)));
      const __m128i high = _mm_cvttps_epi32(_mm_add_ps(sum, _mm_set1_ps(kAboveStep)));
      sure = _mm_and_si128(sure, _mm_cmpeq_epi32(bytes[k], high));
    }
    if (_mm_movemask_epi8(sure) != 0xffff) {
      bilinearSpan8(out, rows, columns, fy, x, x + 4);
      continue;
    }
    store(out + 4 * x,
          _mm_packus_epi16(_mm_packs_epi32(bytes[0], bytes[1]), _mm_packs_epi32(bytes[2], bytes[3])));
  }
  bilinearSpan8(out, rows, columns, fy, x, columns.count);
}

// Sixteen channels of two rows, weighted and added.
struct Sums {
  __m128i part[4];
  __attribute__((always_inline)) void add(const uint8_t* a, const uint8_t* b, __m128i weights) {
    const __m128i zero = _mm_setzero_si128(), p = load(a), q = load(b);
    const __m128i low = _mm_unpacklo_epi8(p, q), high = _mm_unpackhi_epi8(p, q);
    const __m128i pairs[4] = {_mm_unpacklo_epi8(low, zero), _mm_unpackhi_epi8(low, zero),
                              _mm_unpacklo_epi8(high, zero), _mm_unpackhi_epi8(high, zero)};
    for (int k = 0; k < 4; ++k) part[k] = _mm_add_epi32(part[k], _mm_madd_epi16(pairs[k], weights));
  }
};
QV_INLINE __m128i pairOfWeights(int32_t a, int32_t b) {
  return _mm_set1_epi32((a & 0xffff) | static_cast<int32_t>(static_cast<uint32_t>(b) << 16));
}
QV_INLINE Sums sumsAt(const WeightedRows<int16_t>& rows, int64_t i) {
  Sums sums = {};
  int64_t k = 0;
  for (; k + 2 <= rows.count; k += 2) {
    sums.add(rows.row[k] + i, rows.row[k + 1] + i, pairOfWeights(rows.weight[k], rows.weight[k + 1]));
  }
  if (k < rows.count) sums.add(rows.row[k] + i, rows.row[k] + i, pairOfWeights(rows.weight[k], 0));
  return sums;
}

void sumRows8Vector(float* out, const WeightedRows<int16_t>& rows, int64_t channels) {
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const Sums sums = sumsAt(rows, i);
    for (int k = 0; k < 4; ++k) storeFloats(out + i + 4 * k, _mm_cvtepi32_ps(sums.part[k]));
  }
  sumSpan8(out, rows, i, channels);
}
void addRows8Vector(double* out, const WeightedRows<int16_t>& rows, int64_t channels) {
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const Sums sums = sumsAt(rows, i);
    for (int k = 0; k < 8; ++k) {
      const __m128i two = k % 2 == 0 ? sums.part[k / 2] : _mm_srli_si128(sums.part[k / 2], 8);
      double* place = out + i + 2 * k;
      _mm_storeu_pd(place, _mm_add_pd(_mm_loadu_pd(place), _mm_cvtepi32_pd(two)));
    }
  }
  addSpan8(out, rows, i, channels);
}

void sumRowsFloatVector(float* out, const WeightedRows<float>& rows, int64_t channels) {
  int64_t i = 0;
  for (; i + 4 <= channels; i += 4) {
    __m128 sum = _mm_mul_ps(loadFloats(rows.row[0] + 4 * i), _mm_set1_ps(rows.weight[0]));
    for (int64_t k = 1; k < rows.count; ++k) {
      sum = _mm_add_ps(sum, _mm_mul_ps(loadFloats(rows.row[k] + 4 * i), _mm_set1_ps(rows.weight[k])));
    }
    storeFloats(out + i, sum);
  }
  sumSpanFloat(out, rows, i, channels);
}

void toBytesVector(uint8_t* out, const float* in, int64_t channels, float scale) {
  const __m128 times = _mm_set1_ps(scale), half = _mm_set1_ps(0.5f), most = _mm_set1_ps(255.0f);
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    __m128i bytes[4];
    for (int k = 0; k < 4; ++k) {
      const __m128 v = _mm_add_ps(_mm_mul_ps(loadFloats(in + i + 4 * k), times), half);
      bytes[k] = _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), most));
    }
    store(out + i,
          _mm_packus_epi16(_mm_packs_epi32(bytes[0], bytes[1]), _mm_packs_epi32(bytes[2], bytes[3])));
  }
  toBytes(out + i, in + i, channels - i, scale);
}

// Two pixels, of four above and four below them, in words.
QV_INLINE __m128i halvedTwo(const uint8_t* above, const uint8_t* below) {
  const __m128i zero = _mm_setzero_si128(), a = load(above), b = load(below);
  const __m128i left = _mm_add_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
  const __m128i right = _mm_add_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
  const __m128i sum = _mm_add_epi16(_mm_unpacklo_epi64(left, right), _mm_unpackhi_epi64(left, right));
  return _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(2)), 2);
}
void halve8Vector(uint8_t* out, const uint8_t* const rows[2], int64_t count) {
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    const uint8_t *above = rows[0] + 8 * x, *below = rows[1] + 8 * x;
    store(out + 4 * x, _mm_packus_epi16(halvedTwo(above, below), halvedTwo(above + 16, below + 16)));
  }
  halveSpan8(out, rows, x, count);
}

// (v + 8192) / 16384, towards zero.
QV_INLINE __m128i roundedColumn(__m128i v) {
  v = _mm_add_epi32(v, _mm_set1_epi32(8192));
  return _mm_srai_epi32(_mm_add_epi32(v, _mm_srli_epi32(_mm_srai_epi32(v, 31), 18)), 14);
}
void cubicRows8Vector(int16_t* out, const uint8_t* const rows[4], const int16_t weights[4],
                      int64_t channels) {
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const Sums sums = sumsAt({rows, weights, 4}, i);
    __m128i columns[4];
    for (int k = 0; k < 4; ++k) columns[k] = roundedColumn(sums.part[k]);
    store(out + i, _mm_packs_epi32(columns[0], columns[1]));
    store(out + i + 8, _mm_packs_epi32(columns[2], columns[3]));
  }
  cubicSpan8(out, rows, weights, i, channels);
}

void cubicAcross8Vector(uint8_t* out, const int16_t* in, const CubicColumn* columns, int64_t count) {
  const CubicTables& tables = cubicTables();
  for (int64_t x = 0; x < count; ++x) {
    const int16_t* p = in + int64_t{columns[x].tap} * 4;
    const __m128i w = load8Bytes(tables.whole[columns[x].phase]);
    const __m128i first = load(p), last = load(p + 8);
    const __m128i pairs01 = _mm_unpacklo_epi16(first, _mm_srli_si128(first, 8));
    const __m128i pairs23 = _mm_unpacklo_epi16(last, _mm_srli_si128(last, 8));
    __m128i sum = _mm_add_epi32(_mm_madd_epi16(pairs01, _mm_shuffle_epi32(w, 0x00)),
                                _mm_madd_epi16(pairs23, _mm_shuffle_epi32(w, 0x55)));
    sum = _mm_srai_epi32(_mm_add_epi32(sum, _mm_set1_epi32(8192)), 14);  // below zero all is one
    sum = _mm_packs_epi32(sum, sum);
    storeWord(out + 4 * x, _mm_cvtsi128_si32(_mm_packus_epi16(sum, sum)));
  }
}

constexpr ScaleForms vectorScale() {
  ScaleForms forms = plainScale();
  forms.linearRow8 = linearRow8;
  forms.bilinear8 = bilinear8Vector;
  forms.mixesUnstretched = false;
  forms.bilinearFloat = bilinearFloatVector;
  forms.sumRows8 = sumRows8Vector;
  forms.addRows8 = addRows8Vector;
  forms.sumRowsFloat = sumRowsFloatVector;
  forms.boxAcross = boxAcrossVector;
  forms.linearAcross = linearAcrossVector;
  forms.cubicAcross = cubicAcrossVector;
  forms.toBytes = toBytesVector;
  forms.halve8 = halve8Vector;
  forms.cubicRows8 = cubicRows8Vector;
  forms.cubicAcross8 = cubicAcross8Vector;
  return forms;
}

}  // namespace
}  // namespace sse2

const ScaleForms kSse2Scale = sse2::vectorScale();

}  // namespace qv
