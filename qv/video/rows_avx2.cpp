// The row loops in 256-bit vectors.
#define QV_FORM avx2

#include <immintrin.h>

#include <algorithm>

#include "qv/video/detail/rows_loops.h"

namespace qv {
namespace avx2 {
namespace {

__m128i load16(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
void store16(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
__m256i load32(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
void store32(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}

void mirror32Vector(uint8_t* row, int64_t count) {
  const __m256i backwards = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
  int64_t left = 0, right = count;
  for (; right - left >= 16; left += 8, right -= 8) {
    const __m256i a = _mm256_permutevar8x32_epi32(load32(row + 4 * left), backwards);
    const __m256i b = _mm256_permutevar8x32_epi32(load32(row + 4 * (right - 8)), backwards);
    store32(row + 4 * left, b);
    store32(row + 4 * (right - 8), a);
  }
  mirror<4>(row + 4 * left, right - left);
}

// Five pixels at each end make fifteen bytes; the sixteenth goes back as it was.
void mirror24Vector(uint8_t* row, int64_t count) {
  const __m128i front = _mm_setr_epi8(12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2, 15);
  const __m128i back = _mm_setr_epi8(0, 13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3);
  // From a front vector to its place in a back vector, and the other way round.
  const __m128i frontInBack = _mm_setr_epi8(-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14);
  const __m128i backInFront = _mm_setr_epi8(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, -1);
  const __m128i keepLast = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -1);
  const __m128i keepFirst = _mm_setr_epi8(-1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  int64_t left = 0, right = count;
  if (count < 12) return mirror<3>(row, count);
  // Loaded ahead of the stores, with which the vectors share a byte.
  __m128i nextA = load16(row), nextB = load16(row + 3 * count - 16);
  for (; right - left >= 12; left += 5, right -= 5) {
    uint8_t* l = row + 3 * left;
    uint8_t* r = row + 3 * right - 16;
    const __m128i a = nextA, b = nextB;
    if (right - left >= 22) {
      nextA = load16(l + 15);
      nextB = load16(r - 15);
    }
    const __m128i toFront = _mm_shuffle_epi8(_mm_shuffle_epi8(b, back), backInFront);
    const __m128i toBack = _mm_shuffle_epi8(_mm_shuffle_epi8(a, front), frontInBack);
    store16(l, _mm_blendv_epi8(toFront, a, keepLast));
    store16(r, _mm_blendv_epi8(toBack, b, keepFirst));
  }
  mirror<3>(row + 3 * left, right - left);
}

void swapRedBlue32Vector(uint8_t* row, int64_t count) {
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, 2, 1, 0, 3, 6,
                                         5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) store32(row + 4 * x, _mm256_shuffle_epi8(load32(row + 4 * x), order));
  swapRedBlue32(row + 4 * x, count - x);
}

void swapRedBlue24Vector(uint8_t* row, int64_t count) {
  const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
  int64_t x = 0;
  if (count < 6) return swapRedBlue24(row, count);
  // Each vector is loaded before the one in front of it is stored: they share a byte, and a load that takes
  // part of a store in flight waits for it.
  __m128i pixels = load16(row);
  for (; x + 11 <= count; x += 5) {
    const __m128i next = load16(row + 3 * x + 15);
    store16(row + 3 * x, _mm_shuffle_epi8(pixels, order));
    pixels = next;
  }
  store16(row + 3 * x, _mm_shuffle_epi8(pixels, order));
  swapRedBlue24(row + 3 * (x + 5), count - x - 5);
}

void swapRedBlueFloatVector(uint8_t* row, int64_t count) {
  int64_t x = 0;
  for (; x + 2 <= count; x += 2) {
    store32(row + 16 * x, _mm256_shuffle_epi32(load32(row + 16 * x), _MM_SHUFFLE(3, 0, 1, 2)));
  }
  swapRedBlueFloat(row + 16 * x, count - x);
}

void from24To32Vector(uint8_t* out, const uint8_t* in, int64_t count) {
  const __m256i order = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 0, 1, 2, -1, 3,
                                         4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m256i alpha = _mm256_set1_epi32(static_cast<int32_t>(0xff000000u));
  int64_t x = 0;
  for (; x + 10 <= count; x += 8) {  // the second load ends four bytes behind its pixels
    const __m256i bytes =
        _mm256_inserti128_si256(_mm256_castsi128_si256(load16(in + 3 * x)), load16(in + 3 * x + 12), 1);
    store32(out + 4 * x, _mm256_or_si256(_mm256_shuffle_epi8(bytes, order), alpha));
  }
  from24To32(out + 4 * x, in + 3 * x, count - x);
}

// Eight 32-bit pixels to 24 bytes.
void store24(uint8_t* out, __m256i pixels) {
  const __m256i order = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4,
                                         5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const __m256i gather = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
  const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(pixels, order), gather);
  store16(out, _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
}

void from32To24Vector(uint8_t* out, const uint8_t* in, int64_t count) {
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) store24(out + 3 * x, load32(in + 4 * x));
  from32To24(out + 3 * x, in + 4 * x, count - x);
}

// 1/255 in two parts: the first product is exact, so that the sum rounds once, to the quotient itself.
constexpr float kInverse255High = 0x1.01p-8f, kInverse255Low = 0x1.010102p-24f;

__m256 over255(__m128i bytes) {
  const __m256 f = _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes));
  return _mm256_add_ps(_mm256_mul_ps(f, _mm256_set1_ps(kInverse255High)),
                       _mm256_mul_ps(f, _mm256_set1_ps(kInverse255Low)));
}

void storeFloats(uint8_t* p, __m256 v) {
  _mm256_storeu_ps(reinterpret_cast<float*>(p), v);
}

void bytesToFloatVector(uint8_t* out, const uint8_t* in, int64_t channels) {
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const __m128i bytes = load16(in + i);
    storeFloats(out + 4 * i, over255(bytes));
    storeFloats(out + 4 * i + 32, over255(_mm_unpackhi_epi64(bytes, bytes)));
  }
  bytesToFloat(out + 4 * i, in + i, channels - i);
}

void streamFloats(uint8_t* p, __m256 v) {
  _mm256_stream_ps(reinterpret_cast<float*>(p), v);
}

void bytesToFloatPastVector(uint8_t* out, const uint8_t* in, int64_t channels) {
  if (reinterpret_cast<uintptr_t>(out) % 4 != 0) return bytesToFloatVector(out, in, channels);
  const auto ahead = static_cast<int64_t>(-reinterpret_cast<uintptr_t>(out) % 32 / 4);
  int64_t i = std::min(ahead, channels);
  bytesToFloat(out, in, i);
  for (; i + 16 <= channels; i += 16) {
    const __m128i bytes = load16(in + i);
    streamFloats(out + 4 * i, over255(bytes));
    streamFloats(out + 4 * i + 32, over255(_mm_unpackhi_epi64(bytes, bytes)));
  }
  _mm_sfence();
  bytesToFloat(out + 4 * i, in + i, channels - i);
}

void from24ToFloatVector(uint8_t* out, const uint8_t* in, int64_t count) {
  const __m128i order = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i alpha = _mm_set1_epi32(static_cast<int32_t>(0xff000000u));
  int64_t x = 0;
  for (; x + 6 <= count; x += 4) {
    const __m128i pixels = _mm_or_si128(_mm_shuffle_epi8(load16(in + 3 * x), order), alpha);
    storeFloats(out + 16 * x, over255(pixels));
    storeFloats(out + 16 * x + 32, over255(_mm_unpackhi_epi64(pixels, pixels)));
  }
  from24ToFloat(out + 16 * x, in + 3 * x, count - x);
}

// The maximum first and the limits as second operands: what is no number becomes 0, as in the plain form.
__m256i toBytes(__m256 v) {
  v = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(1.0f));
  return _mm256_cvttps_epi32(_mm256_mul_ps(v, _mm256_set1_ps(255.0f)));
}

template <bool Dithered>
__m256i eightToBytes(const uint8_t* in, const __m256* dither) {
  __m256i v[4];
  for (int i = 0; i < 4; ++i) {
    const __m256 pair = _mm256_loadu_ps(reinterpret_cast<const float*>(in + 32 * i));
    v[i] = toBytes(Dithered ? _mm256_add_ps(pair, dither[i & 1]) : pair);
  }
  const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(v[0], v[1]), _mm256_packs_epi32(v[2], v[3]));
  return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

template <int Bytes, bool Dithered>
void floatToBytesVector(uint8_t* out, const uint8_t* in, int64_t count, const float* dither) {
  __m256 offsets[2] = {};
  for (int i = 0; Dithered && i < 2; ++i) {
    offsets[i] = _mm256_set_m128(_mm_set1_ps(dither[2 * i + 1]), _mm_set1_ps(dither[2 * i]));
  }
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const __m256i pixels = eightToBytes<Dithered>(in + 16 * x, offsets);
    if constexpr (Bytes == 4) {
      store32(out + 4 * x, pixels);
    } else {
      store24(out + 3 * x, pixels);
    }
  }
  floatToBytes<Bytes>(out + Bytes * x, in + 16 * x, count - x, dither);
}

template <int Bytes>
void floatToBytesEither(uint8_t* out, const uint8_t* in, int64_t count, const float* dither) {
  const auto convert = dither != nullptr ? floatToBytesVector<Bytes, true> : floatToBytesVector<Bytes, false>;
  convert(out, in, count, dither);
}

// Sixteen channels of 16 bits: the multiplication and the rounding term in one step, as pairs (difference, 1)
// times (strength, 128).
__m256i fadeWords(__m256i value, __m256i colour, __m256i strength) {
  const __m256i one = _mm256_set1_epi16(1);
  const __m256i difference = _mm256_sub_epi16(colour, value);
  const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(difference, one), strength);
  const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(difference, one), strength);
  const auto over255 = [](__m256i t) {
    return _mm256_srai_epi32(_mm256_add_epi32(t, _mm256_srai_epi32(t, 8)), 8);
  };
  return _mm256_add_epi16(_mm256_packs_epi32(over255(low), over255(high)), value);
}

void fade32Vector(uint8_t* row, int64_t count, const FadeRow& fade) {
  const auto pair = [&](int i) { return fade.strength[i] | 128 << 16; };
  const __m256i strength =
      _mm256_setr_epi32(pair(0), pair(1), pair(2), pair(3), pair(0), pair(1), pair(2), pair(3));
  const __m256i colour = _mm256_set1_epi64x(fade.colour[0] | int64_t{fade.colour[1]} << 16 |
                                            int64_t{fade.colour[2]} << 32 | int64_t{fade.colour[3]} << 48);
  const __m256i zero = _mm256_setzero_si256();
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const __m256i pixels = load32(row + 4 * x);
    store32(row + 4 * x,
            _mm256_packus_epi16(fadeWords(_mm256_unpacklo_epi8(pixels, zero), colour, strength),
                                fadeWords(_mm256_unpackhi_epi8(pixels, zero), colour, strength)));
  }
  fade32(row + 4 * x, count - x, fade);
}

// 16 channels of 16 bits, which their sum just fits.
__m256i blendWords(__m256i a, __m256i b, __m256i weight, __m256i half) {
  const __m256i rest = _mm256_sub_epi16(_mm256_set1_epi16(256), weight);
  const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(a, rest), _mm256_mullo_epi16(b, weight));
  return _mm256_srli_epi16(_mm256_add_epi16(sum, half), 8);
}

void over32Vector(uint8_t* row, const uint8_t* other, int64_t count, int32_t half) {
  const auto alphas = [](__m256i v) { return _mm256_shufflehi_epi16(_mm256_shufflelo_epi16(v, 0xff), 0xff); };
  const __m256i zero = _mm256_setzero_si256(), halves = _mm256_set1_epi16(static_cast<int16_t>(half));
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const __m256i a = load32(row + 4 * x), b = load32(other + 4 * x);
    const __m256i bLow = _mm256_unpacklo_epi8(b, zero), bHigh = _mm256_unpackhi_epi8(b, zero);
    store32(row + 4 * x,
            _mm256_packus_epi16(blendWords(_mm256_unpacklo_epi8(a, zero), bLow, alphas(bLow), halves),
                                blendWords(_mm256_unpackhi_epi8(a, zero), bHigh, alphas(bHigh), halves)));
  }
  over32(row + 4 * x, other + 4 * x, count - x, half);
}

void mix32Vector(uint8_t* row, const uint8_t* other, int64_t count, int32_t weight, int32_t half) {
  const __m256i zero = _mm256_setzero_si256(), halves = _mm256_set1_epi16(static_cast<int16_t>(half));
  const __m256i weights = _mm256_set1_epi16(static_cast<int16_t>(weight));
  int64_t x = 0;
  for (; x + 8 <= count; x += 8) {
    const __m256i a = load32(row + 4 * x), b = load32(other + 4 * x);
    store32(row + 4 * x,
            _mm256_packus_epi16(
                blendWords(_mm256_unpacklo_epi8(a, zero), _mm256_unpacklo_epi8(b, zero), weights, halves),
                blendWords(_mm256_unpackhi_epi8(a, zero), _mm256_unpackhi_epi8(b, zero), weights, halves)));
  }
  mix32(row + 4 * x, other + 4 * x, count - x, weight, half);
}

void fillPatternVector(uint8_t* out, int64_t bytes, const uint8_t* pattern) {
  constexpr int64_t kStep = sizeof(__m256i), kVectors = kPatternBytes / kStep;
  __m256i kept[kVectors];
  for (int64_t i = 0; i < kVectors; ++i) kept[i] = load32(pattern + kStep * i);
  for (; bytes >= kPatternBytes; out += kPatternBytes, bytes -= kPatternBytes) {
    for (int64_t i = 0; i < kVectors; ++i) store32(out + kStep * i, kept[i]);
  }
  memcpy(out, pattern, static_cast<size_t>(bytes));
}

}  // namespace

constexpr RowForms vectorForms() {
  RowForms forms = plainForms();
  forms.mirror32 = mirror32Vector;
  forms.mirror24 = mirror24Vector;
  forms.swapRedBlue32 = swapRedBlue32Vector;
  forms.swapRedBlue24 = swapRedBlue24Vector;
  forms.swapRedBlueFloat = swapRedBlueFloatVector;
  forms.from24To32 = from24To32Vector;
  forms.from32To24 = from32To24Vector;
  forms.bytesToFloat = bytesToFloatVector;
  forms.bytesToFloatPast = bytesToFloatPastVector;
  forms.from24ToFloat = from24ToFloatVector;
  forms.floatTo32 = floatToBytesEither<4>;
  forms.floatTo24 = floatToBytesEither<3>;
  forms.fade32 = fade32Vector;
  forms.over32 = over32Vector;
  forms.mix32 = mix32Vector;
  forms.fillPattern = fillPatternVector;
  return forms;
}

}  // namespace avx2

const RowForms kAvx2Rows = avx2::vectorForms();

}  // namespace qv
