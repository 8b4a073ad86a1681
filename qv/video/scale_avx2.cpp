// The scalers' row kernels in 256-bit vectors.
#define QV_FORM avx2

#include <immintrin.h>

#include "qv/video/detail/scale_loops128.h"

namespace qv {
namespace avx2 {
namespace {

__m256i load(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
void store(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
__m256 loadEight(const void* p) {
  return _mm256_loadu_ps(static_cast<const float*>(p));
}
void storeEight(void* p, __m256 v) {
  _mm256_storeu_ps(static_cast<float*>(p), v);
}

// Two target pixels of a row, stretched.
QV_INLINE __m256 stretchTwo(const uint8_t* row, const LinearColumn* c) {
  const __m256i pairs = _mm256_setr_epi8(0, -1, 4, -1, 1, -1, 5, -1, 2, -1, 6, -1, 3, -1, 7, -1, 0, -1, 4, -1,
                                         1, -1, 5, -1, 2, -1, 6, -1, 3, -1, 7, -1);
  const __m256i weights = _mm256_permutevar8x32_epi32(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(c))),
      _mm256_setr_epi32(1, 1, 1, 1, 3, 3, 3, 3));
  const __m256i both =
      _mm256_inserti128_si256(_mm256_castsi128_si256(load8Bytes(row + int64_t{c[0].pixel} * 4)),
                              load8Bytes(row + int64_t{c[1].pixel} * 4), 1);
  return _mm256_cvtepi32_ps(_mm256_madd_epi16(_mm256_shuffle_epi8(both, pairs), weights));
}

void linearRow8(float* out, const uint8_t* row, const LinearColumns& columns) {
  int64_t x = 0;
  for (; x + 2 <= columns.inner; x += 2) storeEight(out + 4 * x, stretchTwo(row, columns.column + x));
  for (; x < columns.count; ++x) {
    const LinearColumn& c = columns.column[x];
    const uint8_t* left = row + int64_t{c.pixel} * 4;
    const uint8_t* right = x < columns.inner ? left + 4 : left;
    const int32_t f = static_cast<int32_t>(fractionOf(c));
    for (int i = 0; i < 4; ++i) out[4 * x + i] = static_cast<float>(left[i] * (16384 - f) + right[i] * f);
  }
}

// Eight channels each of four vectors, 0 to 255, as bytes in their order.
QV_INLINE __m256i packBytes(const __m256i parts[4]) {
  const __m256i bytes =
      _mm256_packus_epi16(_mm256_packs_epi32(parts[0], parts[1]), _mm256_packs_epi32(parts[2], parts[3]));
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Two rows that have been stretched before, or that are stretched on the way.
struct Stretched {
  const float* const* rows;
  __attribute__((always_inline)) __m256 two(int row, int64_t x) const { return loadEight(rows[row] + 4 * x); }
};
struct Stretching {
  const uint8_t* const* rows;
  const LinearColumn* column;
  __attribute__((always_inline)) __m256 two(int row, int64_t x) const {
    return stretchTwo(rows[row], column + x);
  }
};

// Both mix eight pixels a turn and give back how many they have done.
template <typename Source>
QV_INLINE int64_t mixCoarse(uint8_t* out, const Source& source, int64_t count, uint32_t fy) {
  const __m256i wBelow = _mm256_set1_epi32(static_cast<int32_t>(fy) >> 4);
  const __m256i wAbove = _mm256_sub_epi32(_mm256_set1_epi32(1024), wBelow);
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    __m256i bytes[4];
    for (int k = 0; k < 4; ++k) {
      const __m256i a = _mm256_srli_epi32(_mm256_cvttps_epi32(source.two(0, x + 2 * k)), 4);
      const __m256i b = _mm256_srli_epi32(_mm256_cvttps_epi32(source.two(1, x + 2 * k)), 4);
      const __m256i sum = _mm256_add_epi32(_mm256_mullo_epi32(a, wAbove), _mm256_mullo_epi32(b, wBelow));
      bytes[k] = _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(1 << 19)), 20);
    }
    store(out + 4 * x, packBytes(bytes));
  }
  return x;
}
template <typename Source>
QV_INLINE int64_t mixFine(uint8_t* out, const Source& source, int64_t count, const uint8_t* const rows[2],
                          const LinearColumns& columns, uint32_t fy) {
  // Fifteen places behind the point, the step between two bytes moved to zero with some room before it.
  constexpr float kScale = 32768.0f * kFromFraction28;
  constexpr int32_t kRoom = 3, kWindow = 8;
  const __m256 above = _mm256_set1_ps(static_cast<float>(static_cast<int32_t>(16384 - fy)) * kScale);
  const __m256 below = _mm256_set1_ps(static_cast<float>(static_cast<int32_t>(fy)) * kScale);
  const __m256i half = _mm256_set1_epi32(16384 + kRoom), places = _mm256_set1_epi32(32767);
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    __m256i bytes[4], nearest = places;
    for (int k = 0; k < 4; ++k) {
      const __m256 sum = _mm256_add_ps(_mm256_mul_ps(source.two(0, x + 2 * k), above),
                                       _mm256_mul_ps(source.two(1, x + 2 * k), below));
      const __m256i v = _mm256_add_epi32(_mm256_cvtps_epi32(sum), half);
      bytes[k] = _mm256_srli_epi32(v, 15);
      nearest = _mm256_min_epi32(nearest, _mm256_and_si256(v, places));
    }
    store(out + 4 * x, packBytes(bytes));
    if (_mm256_movemask_epi8(_mm256_cmpgt_epi32(_mm256_set1_epi32(kWindow), nearest)) != 0) {
      bilinearSpan8(out, rows, columns, fy, x, x + 8);
    }
  }
  return x;
}

void bilinear8Vector(uint8_t* out, const uint8_t* const rows[2], const float* const stretched[2],
                     const LinearColumns& columns, uint32_t fy) {
  const bool coarse = columns.coarse && fy % 16 == 0;
  int64_t done;
  if (stretched[0] != nullptr) {
    const Stretched source = {stretched};
    done = coarse ? mixCoarse(out, source, columns.count, fy)
                  : mixFine(out, source, columns.count, rows, columns, fy);
  } else {
    const Stretching source = {rows, columns.column};
    done = coarse ? mixCoarse(out, source, columns.inner, fy)
                  : mixFine(out, source, columns.inner, rows, columns, fy);
  }
  bilinearSpan8(out, rows, columns, fy, done, columns.count);
}

// Thirty-two channels of two rows, weighted and added. A part holds four channels of each half.
struct Sums {
  __m256i part[4];
  __attribute__((always_inline)) void add(const uint8_t* a, const uint8_t* b, __m256i weights) {
    const __m256i zero = _mm256_setzero_si256(), p = load(a), q = load(b);
    const __m256i low = _mm256_unpacklo_epi8(p, q), high = _mm256_unpackhi_epi8(p, q);
    const __m256i pairs[4] = {_mm256_unpacklo_epi8(low, zero), _mm256_unpackhi_epi8(low, zero),
                              _mm256_unpacklo_epi8(high, zero), _mm256_unpackhi_epi8(high, zero)};
    for (int k = 0; k < 4; ++k) part[k] = _mm256_add_epi32(part[k], _mm256_madd_epi16(pairs[k], weights));
  }
  // Eight channels in their order.
  __attribute__((always_inline)) __m256i eight(int k) const {
    const __m256i a = part[k % 2 * 2], b = part[k % 2 * 2 + 1];
    return k < 2 ? _mm256_permute2x128_si256(a, b, 0x20) : _mm256_permute2x128_si256(a, b, 0x31);
  }
};
QV_INLINE __m256i pairOfWeights(int32_t a, int32_t b) {
  return _mm256_set1_epi32((a & 0xffff) | static_cast<int32_t>(static_cast<uint32_t>(b) << 16));
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
  for (; i + 32 <= channels; i += 32) {
    const Sums sums = sumsAt(rows, i);
    for (int k = 0; k < 4; ++k) storeEight(out + i + 8 * k, _mm256_cvtepi32_ps(sums.eight(k)));
  }
  sumSpan8(out, rows, i, channels);
}
void addRows8Vector(double* out, const WeightedRows<int16_t>& rows, int64_t channels) {
  int64_t i = 0;
  for (; i + 32 <= channels; i += 32) {
    const Sums sums = sumsAt(rows, i);
    for (int k = 0; k < 8; ++k) {
      const __m256i eight = sums.eight(k / 2);
      const __m128i four = k % 2 == 0 ? _mm256_castsi256_si128(eight) : _mm256_extracti128_si256(eight, 1);
      double* place = out + i + 4 * k;
      _mm256_storeu_pd(place, _mm256_add_pd(_mm256_loadu_pd(place), _mm256_cvtepi32_pd(four)));
    }
  }
  addSpan8(out, rows, i, channels);
}

void sumRowsFloatVector(float* out, const WeightedRows<float>& rows, int64_t channels) {
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const __m256 first = _mm256_set1_ps(rows.weight[0]);
    __m256 a = _mm256_mul_ps(loadEight(rows.row[0] + 4 * i), first);
    __m256 b = _mm256_mul_ps(loadEight(rows.row[0] + 4 * i + 32), first);
    for (int64_t k = 1; k < rows.count; ++k) {
      const __m256 weight = _mm256_set1_ps(rows.weight[k]);
      a = _mm256_add_ps(a, _mm256_mul_ps(loadEight(rows.row[k] + 4 * i), weight));
      b = _mm256_add_ps(b, _mm256_mul_ps(loadEight(rows.row[k] + 4 * i + 32), weight));
    }
    storeEight(out + i, a);
    storeEight(out + i + 8, b);
  }
  sumSpanFloat(out, rows, i, channels);
}

void toBytesVector(uint8_t* out, const float* in, int64_t channels, float scale) {
  const __m256 times = _mm256_set1_ps(scale), half = _mm256_set1_ps(0.5f), most = _mm256_set1_ps(255.0f);
  int64_t i = 0;
  for (; i + 32 <= channels; i += 32) {
    __m256i bytes[4];
    for (int k = 0; k < 4; ++k) {
      const __m256 v = _mm256_add_ps(_mm256_mul_ps(loadEight(in + i + 8 * k), times), half);
      bytes[k] = _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), most));
    }
    store(out + i, packBytes(bytes));
  }
  toBytes(out + i, in + i, channels - i, scale);
}

// Four pixels, of eight above and eight below them, in words.
QV_INLINE __m256i halvedFour(const uint8_t* above, const uint8_t* below) {
  const __m256i pairs =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15));
  const __m256i ones = _mm256_set1_epi8(1);
  const __m256i a = _mm256_maddubs_epi16(_mm256_shuffle_epi8(load(above), pairs), ones);
  const __m256i b = _mm256_maddubs_epi16(_mm256_shuffle_epi8(load(below), pairs), ones);
  return _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(a, b), _mm256_set1_epi16(2)), 2);
}
void halve8Vector(uint8_t* out, const uint8_t* const rows[2], int64_t count) {
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const uint8_t *above = rows[0] + 8 * x, *below = rows[1] + 8 * x;
    const __m256i bytes = _mm256_packus_epi16(halvedFour(above, below), halvedFour(above + 32, below + 32));
    store(out + 4 * x, _mm256_permute4x64_epi64(bytes, 0xd8));
  }
  halveSpan8(out, rows, x, count);
}

// (v + 8192) / 16384, towards zero.
QV_INLINE __m256i roundedColumn(__m256i v) {
  v = _mm256_add_epi32(v, _mm256_set1_epi32(8192));
  return _mm256_srai_epi32(_mm256_add_epi32(v, _mm256_srli_epi32(_mm256_srai_epi32(v, 31), 18)), 14);
}
void cubicRows8Vector(int16_t* out, const uint8_t* const rows[4], const int16_t weights[4],
                      int64_t channels) {
  const __m256i first = pairOfWeights(weights[0], weights[1]), last = pairOfWeights(weights[2], weights[3]);
  int64_t i = 0;
  for (; i + 32 <= channels; i += 32) {
    Sums sums = {};
    sums.add(rows[0] + i, rows[1] + i, first);
    sums.add(rows[2] + i, rows[3] + i, last);
    const __m256i low = _mm256_packs_epi32(roundedColumn(sums.part[0]), roundedColumn(sums.part[1]));
    const __m256i high = _mm256_packs_epi32(roundedColumn(sums.part[2]), roundedColumn(sums.part[3]));
    store(out + i, _mm256_permute2x128_si256(low, high, 0x20));
    store(out + i + 16, _mm256_permute2x128_si256(low, high, 0x31));
  }
  cubicSpan8(out, rows, weights, i, channels);
}

// Four pixels times four weights; the first two pixels in one half, the last two in the other.
QV_INLINE __m256i cubicSum(const int16_t* in, const CubicColumn& column, const CubicTables& tables) {
  const __m256i pairs = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2,
                                         3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
  const __m256i weights =
      _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(load8Bytes(tables.whole[column.phase])),
                                  _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
  return _mm256_madd_epi16(_mm256_shuffle_epi8(load(in + int64_t{column.tap} * 4), pairs), weights);
}
QV_INLINE __m256i twoPixels(__m256i a, __m256i b) {
  const __m256i sum =
      _mm256_add_epi32(_mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(a, b, 0x31));
  return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(8192)), 14);  // below zero all is one
}
void cubicAcross8Vector(uint8_t* out, const int16_t* in, const CubicColumn* columns, int64_t count) {
  const CubicTables& tables = cubicTables();
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    const CubicColumn* c = columns + x;
    const __m256i even = twoPixels(cubicSum(in, c[0], tables), cubicSum(in, c[2], tables));
    const __m256i odd = twoPixels(cubicSum(in, c[1], tables), cubicSum(in, c[3], tables));
    const __m256i words = _mm256_packs_epi32(even, odd);
    const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(words, words), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * x), _mm256_castsi256_si128(bytes));
  }
  cubicAcross8(out + 4 * x, in, columns + x, count - x);
}

constexpr ScaleForms vectorScale() {
  ScaleForms forms = plainScale();
  forms.linearRow8 = linearRow8;
  forms.bilinear8 = bilinear8Vector;
  forms.mixesUnstretched = true;
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
}  // namespace avx2

const ScaleForms kAvx2Scale = avx2::vectorScale();

}  // namespace qv
