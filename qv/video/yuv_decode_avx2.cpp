// Full size to 8-bit RGB in 256-bit vectors.
#define QV_FORM avx2

#include "qv/video/detail/yuv_avx2.h"

namespace qv::avx2 {
namespace {

// What 32 luma bytes are raised and lowered by; one of the two is 0.
struct Raise {
  __m256i up, down;
  __m256i apply(__m256i luma) const { return _mm256_subs_epu8(_mm256_adds_epu8(luma, up), down); }
};
struct Colour8 {
  Raise b, g, r;
};

// Sixteen chroma terms in the order of the pixels, each for two of them.
Raise raiseBy(__m256i terms) {
  const __m256i both = _mm256_packus_epi16(terms, _mm256_sub_epi16(_mm256_setzero_si256(), terms));
  return {_mm256_unpacklo_epi8(both, both), _mm256_unpackhi_epi8(both, both)};
}

// Terms from pairs (U, V) of words, in the order of the pixels: c0 c1 c4 c5 | c2 c3 c6 c7, and the same eight
// further on.
template <bool Centred>
class Terms8 {
 public:
  explicit Terms8(const YuvTerms& t)
      : bu_(pairOf(t.bu, Centred ? t.rv : 0)),
        rv_(pairOf(0, t.rv)),
        g_(pairOf(t.gu, t.gv)),
        bo_(_mm256_set1_epi32(t.bo)),
        go_(_mm256_set1_epi32(t.go)),
        ro_(_mm256_set1_epi32(t.ro)) {}

  Colour8 operator()(__m256i first, __m256i second) const {
    if constexpr (Centred) return centred(doubled(first), doubled(second));
    return {raiseBy(product<14>(first, second, bu_, bo_)), raiseBy(product<14>(first, second, g_, go_)),
            raiseBy(product<14>(first, second, rv_, ro_))};
  }

 private:
  static __m256i doubled(__m256i pairs) {
    const __m256i centre = _mm256_sub_epi16(pairs, _mm256_set1_epi16(128));
    return _mm256_add_epi16(centre, centre);
  }
  template <int Shift>
  static __m256i product(__m256i first, __m256i second, __m256i factors, __m256i offset) {
    const auto one = [&](__m256i pairs) {
      return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(pairs, factors), offset), Shift);
    };
    return _mm256_packs_epi32(one(first), one(second));
  }
  // The rounding multiplication of twice a value drops 14 bits.
  Colour8 centred(__m256i first, __m256i second) const {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i x = _mm256_mulhrs_epi16(first, bu_), y = _mm256_mulhrs_epi16(second, bu_);
    const __m256i up = _mm256_packus_epi16(x, y);
    const __m256i down = _mm256_packus_epi16(_mm256_sub_epi16(zero, x), _mm256_sub_epi16(zero, y));
    const __m256i blue = twice(0), red = twice(1);
    return {{_mm256_shuffle_epi8(up, blue), _mm256_shuffle_epi8(down, blue)},
            raiseBy(product<15>(first, second, g_, _mm256_set1_epi32(16384))),
            {_mm256_shuffle_epi8(up, red), _mm256_shuffle_epi8(down, red)}};
  }
  // Every second byte, from `first` on, two times.
  static __m256i twice(int first) {
    return _mm256_add_epi8(_mm256_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14, 0, 0, 2, 2,
                                            4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14),
                           _mm256_set1_epi8(static_cast<char>(first)));
  }

  __m256i bu_, rv_, g_, bo_, go_, ro_;
};

void store8(uint8_t* out, const Colour8& c, __m256i luma) {
  storePixels(out, c.b.apply(luma), c.g.apply(luma), c.r.apply(luma));
}

// Eight pairs of chroma bytes as words, in the order of the pixels.
__m256i widenPairs(__m128i pairs) {
  return _mm256_cvtepu8_epi16(_mm_shuffle_epi32(pairs, _MM_SHUFFLE(3, 1, 2, 0)));
}

// Pixels that a vector loop may take: all of these have chroma of their own.
int64_t vectorWidth(const DecodeRows& rows) {
  return rows.width < 2 * rows.chroma ? rows.width : 2 * rows.chroma;
}

template <YuvShape Shape, bool Centred, int Rows>
void decodePlanes(const DecodeRows& rows, const YuvTerms& t) {
  const Terms8<Centred> terms(t);
  const uint8_t *const u = rows.u, *const v = rows.v, *const y0 = rows.y[0], *const y1 = rows.y[1];
  uint8_t *const out0 = rows.out[0], *const out1 = rows.out[1];
  const int64_t end = vectorWidth(rows);
  int64_t x = 0;
  for (; x + 32 <= end; x += 32) {
    __m128i low, high;
    if constexpr (Shape == kSemi8) {
      low = load16(u + x);
      high = load16(u + x + 16);
    } else {
      const __m128i us = load16(u + x / 2), vs = load16(v + x / 2);
      low = _mm_unpacklo_epi8(us, vs);
      high = _mm_unpackhi_epi8(us, vs);
    }
    const Colour8 colour = terms(widenPairs(low), widenPairs(high));
    store8(out0 + 4 * x, colour, orderedBytes(load32(y0 + x)));
    if constexpr (Rows == 2) store8(out1 + 4 * x, colour, orderedBytes(load32(y1 + x)));
  }
  decodeBytesFrom<Shape>(rows, t, x);
}

// Terms of sixteen pixels, one a pixel.
struct Colour16 {
  __m256i b, g, r;
};

// The words of pairs, each two times: the first, or the second.
__m256i firstOfPairs() {
  return _mm256_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13, 0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8,
                          9, 12, 13, 12, 13);
}
__m256i secondOfPairs() {
  return _mm256_add_epi8(firstOfPairs(), _mm256_set1_epi8(2));
}

// Terms of packed pixels, which the matrix has centred, from words with U or V in the low or the high byte.
template <YuvShape Shape>
class TermsPacked {
 public:
  explicit TermsPacked(const YuvTerms& t) : br_(pairOf(t.bu, t.rv)), g_(pairOf(2 * t.gu, 2 * t.gv)) {}

  Colour16 operator()(__m256i words) const {
    const __m256i twice = _mm256_set1_epi16(Shape == kUyvy ? 2 : 2 << 8);
    const __m256i c = _mm256_sub_epi16(_mm256_maddubs_epi16(words, twice), _mm256_set1_epi16(256));
    const __m256i br = _mm256_mulhrs_epi16(c, br_);
    const __m256i g = _mm256_add_epi32(_mm256_madd_epi16(c, g_), _mm256_set1_epi32(32768));
    return {_mm256_shuffle_epi8(br, firstOfPairs()), _mm256_shuffle_epi8(g, secondOfPairs()),
            _mm256_shuffle_epi8(br, secondOfPairs())};
  }

 private:
  __m256i br_, g_;
};

template <YuvShape Shape>
void decodePacked(const DecodeRows& rows, const YuvTerms& t) {
  const TermsPacked<Shape> terms(t);
  const uint8_t* in = Shape == kUyvy ? rows.u : rows.y[0];
  uint8_t* out = rows.out[0];
  const int64_t end = vectorWidth(rows);
  const auto luma = [](__m256i v) {
    return Shape == kUyvy ? _mm256_srli_epi16(v, 8) : _mm256_and_si256(v, _mm256_set1_epi16(0xff));
  };
  int64_t x = 0;
  for (; x + 32 <= end; x += 32) {
    const __m256i first = ordered(load32(in + 2 * x)), second = ordered(load32(in + 2 * x + 32));
    const Colour16 c = terms(first), d = terms(second);
    const __m256i y = luma(first), z = luma(second);
    const auto channel = [&](__m256i a, __m256i b) {
      return _mm256_packus_epi16(_mm256_add_epi16(y, a), _mm256_add_epi16(z, b));
    };
    storePixels(out + 4 * x, channel(c.b, d.b), channel(c.g, d.g), channel(c.r, d.r));
  }
  decodeBytesFrom<Shape>(rows, t, x);
}

}  // namespace

template <YuvShape Shape>
void decode8(const DecodeRows& rows, const YuvTerms& t) {
  if constexpr (Shape == kUyvy || Shape == kYuyv) {
    return decodePacked<Shape>(rows, t);
  } else {
    if (rows.rows == 1) {
      return t.centred ? decodePlanes<Shape, true, 1>(rows, t) : decodePlanes<Shape, false, 1>(rows, t);
    }
    if (rows.rows == 2) {
      return t.centred ? decodePlanes<Shape, true, 2>(rows, t) : decodePlanes<Shape, false, 2>(rows, t);
    }
  }
}

namespace {

// Four times the distance of 10-bit samples from the centre.
__m256i centred10(__m256i words) {
  return _mm256_slli_epi16(_mm256_sub_epi16(_mm256_srli_epi16(words, 6), _mm256_set1_epi16(512)), 2);
}

// Terms in quarters of a code value. Half a code comes with the luma.
class Terms10 {
 public:
  explicit Terms10(const YuvTerms& t)
      : br_(pairOf(t.bu, t.rv)), b_(pairOf(t.bu, t.bu)), r_(pairOf(t.rv, t.rv)), g_(pairOf(t.gu, t.gv)) {}

  // From eight pairs (U, V) in the order of the pixels.
  Colour16 pairs(__m256i words) const {
    const __m256i c = centred10(words);
    const __m256i br = _mm256_mulhi_epi16(c, br_), g = _mm256_madd_epi16(c, g_);
    return {_mm256_shuffle_epi8(br, firstOfPairs()), _mm256_shuffle_epi8(g, secondOfPairs()),
            _mm256_shuffle_epi8(br, secondOfPairs())};
  }
  // From sixteen samples of each.
  Colour16 planes(__m256i u, __m256i v) const {
    u = centred10(u);
    v = centred10(v);
    const auto green = [&](__m256i uv) { return _mm256_srai_epi32(_mm256_madd_epi16(uv, g_), 16); };
    return {_mm256_mulhi_epi16(u, b_),
            _mm256_packs_epi32(green(_mm256_unpacklo_epi16(u, v)), green(_mm256_unpackhi_epi16(u, v))),
            _mm256_mulhi_epi16(v, r_)};
  }

 private:
  __m256i br_, b_, r_, g_;
};

void store10(uint8_t* out, const Colour16* c, __m256i y0, __m256i y1) {
  const __m256i half = _mm256_set1_epi16(2);
  y0 = _mm256_add_epi16(_mm256_srli_epi16(y0, 6), half);
  y1 = _mm256_add_epi16(_mm256_srli_epi16(y1, 6), half);
  const auto channel = [&](__m256i first, __m256i second) {
    return _mm256_packus_epi16(_mm256_srai_epi16(_mm256_add_epi16(y0, first), 2),
                               _mm256_srai_epi16(_mm256_add_epi16(y1, second), 2));
  };
  storePixels(out, channel(c[0].b, c[1].b), channel(c[0].g, c[1].g), channel(c[0].r, c[1].r));
}

template <YuvShape Shape, int Rows>
void decode10Rows(const DecodeRows& rows, const YuvTerms& t) {
  const Terms10 terms(t);
  const uint8_t *const u = rows.u, *const v = rows.v, *const l0 = rows.y[0], *const l1 = rows.y[1];
  uint8_t *const out0 = rows.out[0], *const out1 = rows.out[1];
  const auto at = [](const uint8_t* p, int64_t pixel) { return ordered(load32(p + 2 * pixel)); };
  const int64_t end = Shape == kPlanar16 ? (rows.chroma > 0 ? rows.width : 0) : vectorWidth(rows);
  int64_t x = 0;
  for (; x + 32 <= end; x += 32) {
    Colour16 colour[2];
    for (int i = 0; i < 2; ++i) {
      if constexpr (Shape == kPlanar16) {
        colour[i] = terms.planes(at(u, x + 16 * i), at(v, x + 16 * i));
      } else {
        colour[i] = terms.pairs(at(u, x + 16 * i));
      }
    }
    store10(out0 + 4 * x, colour, at(l0, x), at(l0, x + 16));
    if constexpr (Rows == 2) store10(out1 + 4 * x, colour, at(l1, x), at(l1, x + 16));
  }
  decodeBytesFrom<Shape>(rows, t, x);
}

}  // namespace

template <YuvShape Shape>
void decode10(const DecodeRows& rows, const YuvTerms& t) {
  if (rows.rows == 1) return decode10Rows<Shape, 1>(rows, t);
  if (rows.rows == 2) return decode10Rows<Shape, 2>(rows, t);
}

template void decode8<kPlanar8>(const DecodeRows&, const YuvTerms&);
template void decode8<kSemi8>(const DecodeRows&, const YuvTerms&);
template void decode8<kUyvy>(const DecodeRows&, const YuvTerms&);
template void decode8<kYuyv>(const DecodeRows&, const YuvTerms&);
template void decode10<kSemi16>(const DecodeRows&, const YuvTerms&);
template void decode10<kPlanar16>(const DecodeRows&, const YuvTerms&);

}  // namespace qv::avx2
