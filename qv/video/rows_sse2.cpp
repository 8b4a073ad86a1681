// The row loops in 128-bit vectors. Every x86-64 processor has these instructions; the CPU word can still
// switch them off.
#define QV_FORM sse2

#include <emmintrin.h>

#include <algorithm>

#include "qv/video/detail/rows_loops.h"

namespace qv {
namespace sse2 {
namespace {

__m128i loadBytes(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
void storeBytes(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

void mirror32Vector(uint8_t* row, int64_t count) {
  int64_t left = 0, right = count;
  for (; right - left >= 8; left += 4, right -= 4) {
    const __m128i a = _mm_shuffle_epi32(loadBytes(row + 4 * left), _MM_SHUFFLE(0, 1, 2, 3));
    const __m128i b = _mm_shuffle_epi32(loadBytes(row + 4 * (right - 4)), _MM_SHUFFLE(0, 1, 2, 3));
    storeBytes(row + 4 * left, b);
    storeBytes(row + 4 * (right - 4), a);
  }
  mirror<4>(row + 4 * left, right - left);
}

void swapRedBlueFloatVector(uint8_t* row, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    storeBytes(row + 16 * x, _mm_shuffle_epi32(loadBytes(row + 16 * x), _MM_SHUFFLE(3, 0, 1, 2)));
  }
}

// 1/255 in two parts: the first product is exact, so that the sum rounds once, to the quotient itself.
constexpr float kInverse255High = 0x1.01p-8f, kInverse255Low = 0x1.010102p-24f;

__m128 over255(__m128i v) {
  const __m128 f = _mm_cvtepi32_ps(v);
  return _mm_add_ps(_mm_mul_ps(f, _mm_set1_ps(kInverse255High)), _mm_mul_ps(f, _mm_set1_ps(kInverse255Low)));
}

void storeFloats(uint8_t* p, __m128 v) {
  _mm_storeu_ps(reinterpret_cast<float*>(p), v);
}

void bytesToFloatVector(uint8_t* out, const uint8_t* in, int64_t channels) {
  const __m128i zero = _mm_setzero_si128();
  int64_t i = 0;
  for (; i + 16 <= channels; i += 16) {
    const __m128i bytes = loadBytes(in + i);
    const __m128i low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
    storeFloats(out + 4 * i, over255(_mm_unpacklo_epi16(low, zero)));
    storeFloats(out + 4 * i + 16, over255(_mm_unpackhi_epi16(low, zero)));
    storeFloats(out + 4 * i + 32, over255(_mm_unpacklo_epi16(high, zero)));
    storeFloats(out + 4 * i + 48, over255(_mm_unpackhi_epi16(high, zero)));
  }
  bytesToFloat(out + 4 * i, in + i, channels - i);
}

void streamFloats(uint8_t* p, __m128 v) {
  _mm_stream_ps(reinterpret_cast<float*>(p), v);
}

void bytesToFloatPastVector(uint8_t* out, const uint8_t* in, int64_t channels) {
  const __m128i zero = _mm_setzero_si128();
  if (reinterpret_cast<uintptr_t>(out) % 4 != 0) return bytesToFloatVector(out, in, channels);
  const auto ahead = static_cast<int64_t>(-reinterpret_cast<uintptr_t>(out) % 16 / 4);
  int64_t i = std::min(ahead, channels);
  bytesToFloat(out, in, i);
  for (; i + 16 <= channels; i += 16) {
    const __m128i bytes = loadBytes(in + i);
    const __m128i low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
    streamFloats(out + 4 * i, over255(_mm_unpacklo_epi16(low, zero)));
    streamFloats(out + 4 * i + 16, over255(_mm_unpackhi_epi16(low, zero)));
    streamFloats(out + 4 * i + 32, over255(_mm_unpacklo_epi16(high, zero)));
    streamFloats(out + 4 * i + 48, over255(_mm_unpackhi_epi16(high, zero)));
  }
  _mm_sfence();
  bytesToFloat(out + 4 * i, in + i, channels - i);
}

// The maximum first and the limits as second operands: what is no number becomes 0, as in the plain form.
__m128i toBytes(__m128 v) {
  v = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(1.0f));
  return _mm_cvttps_epi32(_mm_mul_ps(v, _mm_set1_ps(255.0f)));
}

void floatTo32Vector(uint8_t* out, const uint8_t* in, int64_t count, const float* dither) {
  static const float kNone[4] = {};
  const float* d = dither != nullptr ? dither : kNone;
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    __m128i v[4];
    for (int i = 0; i < 4; ++i) {
      const __m128 pixel = _mm_loadu_ps(reinterpret_cast<const float*>(in + 16 * (x + i)));
      v[i] = toBytes(dither != nullptr ? _mm_add_ps(pixel, _mm_set1_ps(d[i])) : pixel);
    }
    storeBytes(out + 4 * x, _mm_packus_epi16(_mm_packs_epi32(v[0], v[1]), _mm_packs_epi32(v[2], v[3])));
  }
  floatToBytes<4>(out + 4 * x, in + 16 * x, count - x, dither);
}

// Eight channels of 16 bits: the multiplication and the rounding term in one step, as pairs (difference, 1)
// times (strength, 128).
__m128i fadeWords(__m128i value, __m128i colour, __m128i strength) {
  const __m128i one = _mm_set1_epi16(1);
  const __m128i difference = _mm_sub_epi16(colour, value);
  const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(difference, one), strength);
  const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(difference, one), strength);
  const auto over255Words = [](__m128i t) {
    return _mm_srai_epi32(_mm_add_epi32(t, _mm_srai_epi32(t, 8)), 8);
  };
  return _mm_add_epi16(_mm_packs_epi32(over255Words(low), over255Words(high)), value);
}

void fade32Vector(uint8_t* row, int64_t count, const FadeRow& fade) {
  const auto pair = [&](int i) { return fade.strength[i] | 128 << 16; };
  const __m128i strength = _mm_setr_epi32(pair(0), pair(1), pair(2), pair(3));
  const __m128i colour = _mm_set1_epi64x(fade.colour[0] | int64_t{fade.colour[1]} << 16 |
                                         int64_t{fade.colour[2]} << 32 | int64_t{fade.colour[3]} << 48);
  const __m128i zero = _mm_setzero_si128();
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    const __m128i pixels = loadBytes(row + 4 * x);
    storeBytes(row + 4 * x, _mm_packus_epi16(fadeWords(_mm_unpacklo_epi8(pixels, zero), colour, strength),
                                             fadeWords(_mm_unpackhi_epi8(pixels, zero), colour, strength)));
  }
  fade32(row + 4 * x, count - x, fade);
}

// 8 channels of 16 bits, which their sum just fits.
__m128i blendWords(__m128i a, __m128i b, __m128i weight, __m128i half) {
  const __m128i rest = _mm_sub_epi16(_mm_set1_epi16(256), weight);
  const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(a, rest), _mm_mullo_epi16(b, weight));
  return _mm_srli_epi16(_mm_add_epi16(sum, half), 8);
}

void over32Vector(uint8_t* row, const uint8_t* other, int64_t count, int32_t half) {
  const auto alphas = [](__m128i v) { return _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, 0xff), 0xff); };
  const __m128i zero = _mm_setzero_si128(), halves = _mm_set1_epi16(static_cast<int16_t>(half));
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    const __m128i a = loadBytes(row + 4 * x), b = loadBytes(other + 4 * x);
    const __m128i bLow = _mm_unpacklo_epi8(b, zero), bHigh = _mm_unpackhi_epi8(b, zero);
    storeBytes(row + 4 * x,
               _mm_packus_epi16(blendWords(_mm_unpacklo_epi8(a, zero), bLow, alphas(bLow), halves),
                                blendWords(_mm_unpackhi_epi8(a, zero), bHigh, alphas(bHigh), halves)));
  }
  over32(row + 4 * x, other + 4 * x, count - x, half);
}

void mix32Vector(uint8_t* row, const uint8_t* other, int64_t count, int32_t weight, int32_t half) {
  const __m128i zero = _mm_setzero_si128(), halves = _mm_set1_epi16(static_cast<int16_t>(half));
  const __m128i weights = _mm_set1_epi16(static_cast<int16_t>(weight));
  int64_t x = 0;
  for (; x + 4 <= count; x += 4) {
    const __m128i a = loadBytes(row + 4 * x), b = loadBytes(other + 4 * x);
    storeBytes(row + 4 * x,
               _mm_packus_epi16(
                   blendWords(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero), weights, halves),
                   blendWords(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero), weights, halves)));
  }
  mix32(row + 4 * x, other + 4 * x, count - x, weight, half);
}

void fillPatternVector(uint8_t* out, int64_t bytes, const uint8_t* pattern) {
  constexpr int64_t kStep = sizeof(__m128i), kVectors = kPatternBytes / kStep;
  __m128i kept[kVectors];
  for (int64_t i = 0; i < kVectors; ++i) kept[i] = loadBytes(pattern + kStep * i);
  for (; bytes >= kPatternBytes; out += kPatternBytes, bytes -= kPatternBytes) {
    for (int64_t i = 0; i < kVectors; ++i) storeBytes(out + kStep * i, kept[i]);
  }
  memcpy(out, pattern, static_cast<size_t>(bytes));
}

}  // namespace

constexpr RowForms vectorForms() {
  RowForms forms = plainForms();
  forms.mirror32 = mirror32Vector;
  forms.swapRedBlueFloat = swapRedBlueFloatVector;
  forms.bytesToFloat = bytesToFloatVector;
  forms.bytesToFloatPast = bytesToFloatPastVector;
  forms.floatTo32 = floatTo32Vector;
  forms.fade32 = fade32Vector;
  forms.over32 = over32Vector;
  forms.mix32 = mix32Vector;
  forms.fillPattern = fillPatternVector;
  return forms;
}

}  // namespace sse2

const RowForms kSse2Rows = sse2::vectorForms();

}  // namespace qv
