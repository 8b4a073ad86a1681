// What the 256-bit loops of the YUV conversions share. For sources that are compiled for them.
//
// Pixels of 8-bit results go in the order 0-3, 8-11, 16-19, 24-27 in the low half and 4-7, 12-15, 20-23,
// 28-31 in the high half: unpacking within halves then leaves eight neighbours in every vector to be stored.
#pragma once

#include <immintrin.h>

#include "qv/video/detail/yuv_loops.h"

namespace qv::avx2 {

inline __m128i load16(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
inline __m256i load32(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
inline void store32(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
inline __m256i pairOf(int32_t low, int32_t high) {
  return _mm256_set1_epi32((low & 0xffff) | high << 16);
}

// Quarters of a vector 0, 2, 1, 3: what turns sixteen neighbours into the order above.
inline __m256i ordered(__m256i v) {
  return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(3, 1, 2, 0));
}
inline __m256i orderedBytes(__m256i v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}

// 32 pixels from their channels.
inline void storePixels(uint8_t* out, __m256i b, __m256i g, __m256i r) {
  const __m256i opaque = _mm256_set1_epi8(-1);
  const __m256i bg0 = _mm256_unpacklo_epi8(b, g), bg1 = _mm256_unpackhi_epi8(b, g);
  const __m256i ra0 = _mm256_unpacklo_epi8(r, opaque), ra1 = _mm256_unpackhi_epi8(r, opaque);
  store32(out, _mm256_unpacklo_epi16(bg0, ra0));
  store32(out + 32, _mm256_unpackhi_epi16(bg0, ra0));
  store32(out + 64, _mm256_unpacklo_epi16(bg1, ra1));
  store32(out + 96, _mm256_unpackhi_epi16(bg1, ra1));
}

// The vector loops, for the table of the form.
template <YuvShape Shape>
void decode8(const DecodeRows& rows, const YuvTerms& t);
template <YuvShape Shape>
void decode10(const DecodeRows& rows, const YuvTerms& t);
template <YuvShape Shape>
void sampleBytesVector(const SampleRow& row);
template <YuvShape Shape>
void sampleFloatsVector(const SampleRow& row);
template <bool Floats, YuvShape Shape>
void encodeVector(const EncodeRows& e);
void halfHorz(const ReduceRows& rows, const YuvTerms& t);
void half(const ReduceRows& rows, const YuvTerms& t);
void quarterHalf(const ReduceRows& rows, const YuvTerms& t);
void quarter(const ReduceRows& rows, const YuvTerms& t);
void packVector(uint8_t* out, const uint8_t* rgb, int64_t pairs, const PackWeights& weights);
void interleaveVector(uint8_t* out, const uint8_t* u, const uint8_t* v, int64_t count);
void splitVector(uint8_t* u, uint8_t* v, const uint8_t* in, int64_t count);
void lumaFirstVector(uint8_t* out, const uint8_t* y, const uint8_t* u, const uint8_t* v, int64_t pairs);
void unpackV210Vector(uint8_t* y, uint8_t* uv, const uint8_t* in, int64_t pairs);
void packV210Vector(uint8_t* out, const uint8_t* y, const uint8_t* uv, int64_t pairs);
void highV210Vector(uint8_t* out, const uint8_t* in, int64_t pairs);

}  // namespace qv::avx2
