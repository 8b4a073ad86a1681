// The row loops of the YUV conversions in 128-bit vectors: full size to 8 bits is written out, the rest is
// the compiler's work.
#define QV_FORM sse2

#include <emmintrin.h>

#include "qv/video/detail/yuv_loops.h"

namespace qv {
namespace sse2 {
namespace {

__m128i load16(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
void store16(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
__m128i pairOf(int32_t low, int32_t high) {
  return _mm_set1_epi32((low & 0xffff) | high << 16);
}

// A value for each of sixteen pixels.
struct Sixteen {
  __m128i low, high;
};

template <YuvShape Shape>
Sixteen loadLuma(const uint8_t* y, int64_t x) {
  const __m128i zero = _mm_setzero_si128();
  if constexpr (Shape == kSemi16) {
    return {_mm_srli_epi16(load16(y + 2 * x), 6), _mm_srli_epi16(load16(y + 2 * x + 16), 6)};
  } else if constexpr (Samples<Shape>::kPacked) {
    const uint8_t* in = y + 2 * x - (Shape == kUyvy ? 1 : 0);
    const __m128i a = load16(in), b = load16(in + 16), low = _mm_set1_epi16(0xff);
    if constexpr (Shape == kUyvy) return {_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8)};
    return {_mm_and_si128(a, low), _mm_and_si128(b, low)};
  } else {
    const __m128i bytes = load16(y + x);
    return {_mm_unpacklo_epi8(bytes, zero), _mm_unpackhi_epi8(bytes, zero)};
  }
}

// Eight pairs (U, V) of words.
template <YuvShape Shape>
Sixteen loadPairs(const DecodeRows& rows, int64_t x) {
  const __m128i zero = _mm_setzero_si128();
  if constexpr (Shape == kSemi16) {
    return {_mm_srli_epi16(load16(rows.u + 2 * x), 6), _mm_srli_epi16(load16(rows.u + 2 * x + 16), 6)};
  } else if constexpr (Samples<Shape>::kPacked) {
    const uint8_t* in = rows.u + 2 * x - (Shape == kYuyv ? 1 : 0);
    const __m128i a = load16(in), b = load16(in + 16), low = _mm_set1_epi16(0xff);
    if constexpr (Shape == kYuyv) return {_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8)};
    return {_mm_and_si128(a, low), _mm_and_si128(b, low)};
  } else {
    const auto eight = [](const uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
    const __m128i bytes = Shape == kSemi8 ? load16(rows.u + x)
                                          : _mm_unpacklo_epi8(eight(rows.u + x / 2), eight(rows.v + x / 2));
    return {_mm_unpacklo_epi8(bytes, zero), _mm_unpackhi_epi8(bytes, zero)};
  }
}

struct Channel {
  __m128i factors, offset;
  Sixteen terms(const Sixteen& pairs) const {
    const auto term = [&](__m128i uv) {
      return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(uv, factors), offset), 14);
    };
    const __m128i each = _mm_packs_epi32(term(pairs.low), term(pairs.high));
    return {_mm_unpacklo_epi16(each, each), _mm_unpackhi_epi16(each, each)};
  }
};

template <int Down>
__m128i raised(const Sixteen& luma, const Sixteen& terms) {
  return _mm_packus_epi16(_mm_srai_epi16(_mm_add_epi16(luma.low, terms.low), Down),
                          _mm_srai_epi16(_mm_add_epi16(luma.high, terms.high), Down));
}

void storePixels(uint8_t* out, __m128i b, __m128i g, __m128i r) {
  const __m128i opaque = _mm_set1_epi8(-1);
  const __m128i bg0 = _mm_unpacklo_epi8(b, g), bg1 = _mm_unpackhi_epi8(b, g);
  const __m128i ra0 = _mm_unpacklo_epi8(r, opaque), ra1 = _mm_unpackhi_epi8(r, opaque);
  store16(out, _mm_unpacklo_epi16(bg0, ra0));
  store16(out + 16, _mm_unpackhi_epi16(bg0, ra0));
  store16(out + 32, _mm_unpacklo_epi16(bg1, ra1));
  store16(out + 48, _mm_unpackhi_epi16(bg1, ra1));
}

template <YuvShape Shape>
void decodeVector(const DecodeRows& rows, const YuvTerms& t) {
  constexpr int kDown = Samples<Shape>::kWords ? 2 : 0;
  const Channel blue = {pairOf(t.bu, 0), _mm_set1_epi32(t.bo)};
  const Channel green = {pairOf(t.gu, t.gv), _mm_set1_epi32(t.go)};
  const Channel red = {pairOf(0, t.rv), _mm_set1_epi32(t.ro)};
  const int64_t end = rows.width < 2 * rows.chroma ? rows.width : 2 * rows.chroma;
  int64_t x = 0;
  for (; x + 16 <= end; x += 16) {
    const Sixteen pairs = loadPairs<Shape>(rows, x);
    const Sixteen b = blue.terms(pairs), g = green.terms(pairs), r = red.terms(pairs);
    for (int row = 0; row < rows.rows; ++row) {
      const Sixteen luma = loadLuma<Shape>(rows.y[row], x);
      storePixels(rows.out[row] + 4 * x, raised<kDown>(luma, b), raised<kDown>(luma, g),
                  raised<kDown>(luma, r));
    }
  }
  decodeBytesFrom<Shape>(rows, t, x);
}

constexpr YuvForms vectorYuvForms() {
  YuvForms forms = plainYuvForms();
  forms.bytes[kPlanar8] = decodeVector<kPlanar8>;
  forms.bytes[kSemi8] = decodeVector<kSemi8>;
  forms.bytes[kUyvy] = decodeVector<kUyvy>;
  forms.bytes[kYuyv] = decodeVector<kYuyv>;
  forms.bytes[kSemi16] = decodeVector<kSemi16>;
  return forms;
}

}  // namespace
}  // namespace sse2

const YuvForms kSse2Yuv = sse2::vectorYuvForms();

}  // namespace qv
