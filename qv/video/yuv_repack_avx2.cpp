// v210, planes put together and taken apart, and the undithered encoder in 256-bit vectors.
#define QV_FORM avx2

#include "qv/video/detail/yuv_avx2.h"

namespace qv::avx2 {
namespace {

__m256i bothHalves(__m128i v) {
  return _mm256_broadcastsi128_si256(v);
}
__m256i twoHalves(const uint8_t* low, const uint8_t* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}

// Twelve bytes of each half, one after the other, and eight bytes without a meaning.
__m256i joined24(__m256i v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}
void store24(uint8_t* out, __m256i v) {
  const __m256i packed = joined24(v);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
}

// Six samples of each half at the top of words: bytes to bring together, and factors that move each sample
// up.
__m256i samples(__m256i groups, __m128i bytes, __m128i factors) {
  const __m256i moved =
      _mm256_mullo_epi16(_mm256_shuffle_epi8(groups, bothHalves(bytes)), bothHalves(factors));
  return _mm256_and_si256(moved, _mm256_set1_epi16(static_cast<int16_t>(0xffc0)));
}
__m256i lumaOf(__m256i groups) {  // Y0 Y1 Y2 Y3 Y4 Y5
  return samples(groups, _mm_setr_epi8(1, 2, 4, 5, 6, 7, 9, 10, 12, 13, 14, 15, -1, -1, -1, -1),
                 _mm_setr_epi16(16, 64, 4, 16, 64, 4, 0, 0));
}
__m256i chromaOf(__m256i groups) {  // U0 V0 U1 V1 U2 V2
  return samples(groups, _mm_setr_epi8(0, 1, 2, 3, 5, 6, 8, 9, 10, 11, 13, 14, -1, -1, -1, -1),
                 _mm_setr_epi16(64, 4, 16, 64, 4, 16, 0, 0));
}

// The bytes of two vectors in turn, 64 of them.
void storeInTurn(uint8_t* out, __m256i even, __m256i odd) {
  const __m256i low = _mm256_unpacklo_epi8(even, odd), high = _mm256_unpackhi_epi8(even, odd);
  store32(out, _mm256_permute2x128_si256(low, high, 0x20));
  store32(out + 32, _mm256_permute2x128_si256(low, high, 0x31));
}

}  // namespace

void interleaveVector(uint8_t* out, const uint8_t* u, const uint8_t* v, int64_t count) {
  int64_t i = 0;
  for (; i + 32 <= count; i += 32) storeInTurn(out + 2 * i, load32(u + i), load32(v + i));
  interleave(out + 2 * i, u + i, v + i, count - i);
}

void splitVector(uint8_t* u, uint8_t* v, const uint8_t* in, int64_t count) {
  const __m256i low = _mm256_set1_epi16(0xff);
  int64_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i first = load32(in + 2 * i), second = load32(in + 2 * i + 32);
    store32(u + i, ordered(_mm256_packus_epi16(_mm256_and_si256(first, low), _mm256_and_si256(second, low))));
    store32(v + i, ordered(_mm256_packus_epi16(_mm256_srli_epi16(first, 8), _mm256_srli_epi16(second, 8))));
  }
  split(u + i, v + i, in + 2 * i, count - i);
}

void lumaFirstVector(uint8_t* out, const uint8_t* y, const uint8_t* u, const uint8_t* v, int64_t pairs) {
  int64_t i = 0;
  for (; i + 16 <= pairs; i += 16) {
    const __m128i us = load16(u + i), vs = load16(v + i);
    const __m256i chroma = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi8(us, vs)),
                                                   _mm_unpackhi_epi8(us, vs), 1);
    storeInTurn(out + 4 * i, load32(y + 2 * i), chroma);
  }
  lumaFirst(out + 4 * i, y + 2 * i, u + i, v + i, pairs - i);
}

void unpackV210Vector(uint8_t* y, uint8_t* uv, const uint8_t* in, int64_t pairs) {
  int64_t i = 0;
  for (; i + 12 <= pairs; i += 6) {  // what is stored too much is the next samples' place
    const __m256i groups = load32(in + i / 3 * 16);
    store32(y + 4 * i, joined24(lumaOf(groups)));
    store32(uv + 4 * i, joined24(chromaOf(groups)));
  }
  for (; i + 6 <= pairs; i += 6) {
    const __m256i groups = load32(in + i / 3 * 16);
    store24(y + 4 * i, lumaOf(groups));
    store24(uv + 4 * i, chromaOf(groups));
  }
  unpackV210(y + 4 * i, uv + 4 * i, in + i / 3 * 16, pairs - i);
}

void highV210Vector(uint8_t* out, const uint8_t* in, int64_t pairs) {
  const __m256i highBytes = _mm256_set1_epi16(static_cast<int16_t>(0xff00));
  int64_t i = 0;
  for (; i + 6 <= pairs; i += 6) {
    const __m256i groups = load32(in + i / 3 * 16);
    store24(out + 4 * i, _mm256_or_si256(_mm256_srli_epi16(chromaOf(groups), 8),
                                         _mm256_and_si256(lumaOf(groups), highBytes)));
  }
  highV210(out + 4 * i, in + i / 3 * 16, pairs - i);
}

void packV210Vector(uint8_t* out, const uint8_t* y, const uint8_t* uv, int64_t pairs) {
  const __m256i top = _mm256_set1_epi16(static_cast<int16_t>(0xffc0));
  const auto pick = [](__m256i v, int a, int b, int c, int d) {  // words to dwords; -1 for none
    const auto dword = [](int word) { return word < 0 ? -1 : 2 * word | (2 * word + 1) << 8 | -65536; };
    return _mm256_shuffle_epi8(v, bothHalves(_mm_setr_epi32(dword(a), dword(b), dword(c), dword(d))));
  };
  int64_t i = 0;
  for (; i + 8 <= pairs; i += 6) {  // the second load ends four bytes behind its samples
    const __m256i luma = _mm256_and_si256(twoHalves(y + 4 * i, y + 4 * i + 12), top);
    const __m256i chroma = _mm256_and_si256(twoHalves(uv + 4 * i, uv + 4 * i + 12), top);
    const __m256i first = _mm256_or_si256(pick(chroma, 0, -1, 3, -1), pick(luma, -1, 1, -1, 4));
    const __m256i second = _mm256_or_si256(pick(luma, 0, -1, 3, -1), pick(chroma, -1, 2, -1, 5));
    const __m256i third = _mm256_or_si256(pick(chroma, 1, -1, 4, -1), pick(luma, -1, 2, -1, 5));
    store32(out + i / 3 * 16,
            _mm256_or_si256(_mm256_srli_epi32(first, 6),
                            _mm256_or_si256(_mm256_slli_epi32(second, 4), _mm256_slli_epi32(third, 14))));
  }
  packV210(out + i / 3 * 16, y + 4 * i, uv + 4 * i, pairs - i);
}

void packVector(uint8_t* out, const uint8_t* rgb, int64_t pairs, const PackWeights& w) {
  const __m256i yOuter = pairOf(w.y[0], w.y[2]), yGreen = pairOf(w.y[1], 0);
  const __m256i uOuter = pairOf(w.u[0], w.u[2]), uGreen = pairOf(w.u[1], 0);
  const __m256i vOuter = pairOf(w.v[0], w.v[2]), vGreen = pairOf(w.v[1], 0);
  const auto product = [](__m256i a, __m256i ka, __m256i b, __m256i kb, int32_t rounding) {
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(a, ka), _mm256_madd_epi16(b, kb));
    return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(rounding)), 12);
  };
  const auto luma = [&](__m256i pixels) {
    return product(_mm256_and_si256(pixels, _mm256_set1_epi16(0xff)), yOuter, _mm256_srli_epi16(pixels, 8),
                   yGreen, 2048);
  };
  // Two pixels' sums of blue, red, green and alpha.
  const auto sums = [](__m256i pixels) {
    const __m256i order = bothHalves(_mm_setr_epi8(0, 4, 2, 6, 1, 5, 3, 7, 8, 12, 10, 14, 9, 13, 11, 15));
    return _mm256_castsi256_ps(_mm256_maddubs_epi16(_mm256_shuffle_epi8(pixels, order), _mm256_set1_epi8(1)));
  };
  // Of each half: U0 U1 U2 U3 V0 V1 V2 V3, then the luma of the same pixels.
  const __m256i places = bothHalves(_mm_setr_epi8(0, 8, 4, 9, 1, 10, 5, 11, 2, 12, 6, 13, 3, 14, 7, 15));
  int64_t i = 0;
  for (; i + 8 <= pairs; i += 8) {
    const __m256i first = load32(rgb + 8 * i), second = load32(rgb + 8 * i + 32);
    const __m256i outer = _mm256_castps_si256(_mm256_shuffle_ps(sums(first), sums(second), 0x88));
    const __m256i green = _mm256_castps_si256(_mm256_shuffle_ps(sums(first), sums(second), 0xdd));
    const __m256i chroma = _mm256_packs_epi32(product(outer, uOuter, green, uGreen, 0x80800),
                                              product(outer, vOuter, green, vGreen, 0x80800));
    const __m256i bytes = _mm256_packus_epi16(chroma, _mm256_packs_epi32(luma(first), luma(second)));
    const __m256i legal = _mm256_min_epu8(_mm256_max_epu8(bytes, _mm256_set1_epi8(1)),
                                          _mm256_set1_epi8(static_cast<char>(254)));
    store32(out + 4 * i, ordered(_mm256_shuffle_epi8(legal, places)));
  }
  packPairs(out + 4 * i, rgb + 8 * i, pairs - i, w);
}

}  // namespace qv::avx2
