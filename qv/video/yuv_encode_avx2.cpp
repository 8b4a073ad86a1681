// RGB to YUV in 256-bit vectors. The sums of products are made in the order of the plain form.
#define QV_FORM avx2

#include "qv/video/detail/yuv_avx2.h"

namespace qv::avx2 {
namespace {

struct Channels {
  __m256 b, g, r;
};

// Eight neighbours.
template <bool Floats>
Channels loadChannels(const uint8_t* rgb, int64_t x) {
  if constexpr (Floats) {
    const float* p = reinterpret_cast<const float*>(rgb) + 4 * x;
    __m256 v[4];  // a pixel in each half: i and i + 4
    for (int i = 0; i < 4; ++i) {
      v[i] = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 4 * i)),
                                  _mm_loadu_ps(p + 4 * i + 16), 1);
    }
    const __m256 bg0 = _mm256_unpacklo_ps(v[0], v[1]), bg1 = _mm256_unpacklo_ps(v[2], v[3]);
    const __m256 ra0 = _mm256_unpackhi_ps(v[0], v[1]), ra1 = _mm256_unpackhi_ps(v[2], v[3]);
    return {_mm256_shuffle_ps(bg0, bg1, _MM_SHUFFLE(1, 0, 1, 0)),
            _mm256_shuffle_ps(bg0, bg1, _MM_SHUFFLE(3, 2, 3, 2)),
            _mm256_shuffle_ps(ra0, ra1, _MM_SHUFFLE(1, 0, 1, 0))};
  } else {
    const __m256i pixels = load32(rgb + 4 * x);
    const auto channel = [&](int index) {  // a byte of every pixel
      const __m256i blue = _mm256_setr_epi8(0, -1, -1, -1, 4, -1, -1, -1, 8, -1, -1, -1, 12, -1, -1, -1, 0,
                                            -1, -1, -1, 4, -1, -1, -1, 8, -1, -1, -1, 12, -1, -1, -1);
      return _mm256_cvtepi32_ps(_mm256_shuffle_epi8(pixels, _mm256_add_epi8(blue, _mm256_set1_epi32(index))));
    };
    return {channel(0), channel(1), channel(2)};
  }
}

struct Weights {
  __m256 r, g, b;
  explicit Weights(const float* w)
      : r(_mm256_set1_ps(w[0])), g(_mm256_set1_ps(w[1])), b(_mm256_set1_ps(w[2])) {}
  __m256 apply(const Channels& c) const {
    return _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(r, c.r), _mm256_mul_ps(g, c.g)), _mm256_mul_ps(b, c.b));
  }
};

// The limits as second operands: what is no number becomes the lowest, as in the plain form. What comes from
// bytes is limited when it is whole.
template <bool Words, bool Floats>
__m256i legalWhole(__m256 v) {
  if constexpr (!Floats) return _mm256_cvttps_epi32(v);
  const __m256 low = _mm256_set1_ps(Words ? 4.0f : 1.0f), high = _mm256_set1_ps(Words ? 1019.0f : 254.0f);
  return _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(v, low), high));
}

__m256i legalWords(__m256i v) {
  return _mm256_min_epi16(_mm256_max_epi16(v, _mm256_set1_epi16(4)), _mm256_set1_epi16(1019));
}
__m256i legalBytes(__m256i v) {
  return _mm256_min_epu8(_mm256_max_epu8(v, _mm256_set1_epi8(1)), _mm256_set1_epi8(static_cast<char>(254)));
}
// Words of 10-bit samples at the top.
__m256i topWords(__m256i first, __m256i second) {
  return _mm256_slli_epi16(legalWords(_mm256_packs_epi32(first, second)), 6);
}

__m256 addEach(__m256 a, __m256 b) {
  return _mm256_add_ps(a, b);
}
// Sums of neighbours: 0 1 4 5 | 2 3 6 7 of the eight.
__m256 pairSums(__m256 first, __m256 second) {
  return addEach(_mm256_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)),
                 _mm256_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
}
__m256i inPairOrder(__m256i words) {
  return _mm256_permutevar8x32_epi32(words, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

__m256i evenThenOdd() {
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15));
}

// Rows: encoded at a time. Sum: rows of a chroma sample.
template <bool Floats, YuvShape Shape, int Rows, int Sum>
class Encoder {
  using S = Samples<Shape>;

 public:
  explicit Encoder(const EncodeRows& e)
      : e_(e),
        y_(e.scale->yWeights),
        u_(e.scale->uWeights),
        v_(e.scale->vWeights),
        lumaScale_(_mm256_set1_ps(e.scale->lumaScale)),
        lumaOffset_(_mm256_set1_ps(e.scale->lumaOffset)),
        chromaScale_(_mm256_set1_ps(e.scale->chromaScale)),
        centre_(_mm256_set1_ps(e.scale->chromaCentre)),
        dither_{fourTwice(e.dither[0]), fourTwice(e.dither[Rows - 1])} {
    const float* d = e.chromaDither;
    chromaDither_ =
        S::kHalfWide ? _mm256_setr_ps(d[0], d[1], d[0], d[1], d[2], d[3], d[2], d[3]) : fourTwice(d);
  }

  // 32 pixels from x on.
  __attribute__((always_inline)) void run(int64_t x) const {
    __m256i luma[Rows][4], u[4], v[4];
    for (int half = 0; half < 2; ++half) {
      Channels sum[2];
      for (int r = 0; r < Rows; ++r) {
        for (int i = 0; i < 2; ++i) {
          const Channels c = loadChannels<Floats>(e_.rgb[r], x + 16 * half + 8 * i);
          luma[r][2 * half + i] = lumaOf(c, r);
          if (r == 0) sum[i] = c;
          if (r == 1 && Sum == 2)
            sum[i] = {addEach(sum[i].b, c.b), addEach(sum[i].g, c.g), addEach(sum[i].r, c.r)};
        }
      }
      if constexpr (S::kHalfWide) {
        const Channels pairs = {pairSums(sum[0].b, sum[1].b), pairSums(sum[0].g, sum[1].g),
                                pairSums(sum[0].r, sum[1].r)};
        u[half] = chromaOf(pairs, u_);
        v[half] = chromaOf(pairs, v_);
      } else {
        for (int i = 0; i < 2; ++i) {
          u[2 * half + i] = chromaOf(sum[i], u_);
          v[2 * half + i] = chromaOf(sum[i], v_);
        }
      }
    }
    if constexpr (S::kWords) {
      storeWords(x, luma, u, v);
    } else {
      storeBytes(x, luma, u, v);
    }
  }

 private:
  static __m256 fourTwice(const float* d) { return _mm256_broadcast_ps(reinterpret_cast<const __m128*>(d)); }

  __m256i lumaOf(const Channels& c, int row) const {
    __m256 y = y_.apply(c);
    if constexpr (Floats) y = addEach(_mm256_mul_ps(y, lumaScale_), lumaOffset_);
    return legalWhole<S::kWords, Floats>(addEach(y, dither_[row]));
  }
  __m256i chromaOf(const Channels& c, const Weights& w) const {
    const __m256 scaled = addEach(_mm256_mul_ps(w.apply(c), chromaScale_), centre_);
    return legalWhole<S::kWords, Floats>(addEach(scaled, chromaDither_));
  }

  __attribute__((always_inline)) void storeWords(int64_t x, const __m256i (&luma)[Rows][4], const __m256i* u,
                                                 const __m256i* v) const {
    for (int r = 0; r < Rows; ++r) {
      store32(e_.y[r] + 2 * x, ordered(topWords(luma[r][0], luma[r][1])));
      store32(e_.y[r] + 2 * x + 32, ordered(topWords(luma[r][2], luma[r][3])));
    }
    if constexpr (S::kHalfWide) {
      const __m256i us = topWords(u[0], u[1]);
      const __m256i vs = topWords(v[0], v[1]);
      // Halves hold 0 1 4 5 8 9 12 13 and 2 3 6 7 10 11 14 15.
      const __m256i low = _mm256_unpacklo_epi16(us, vs), high = _mm256_unpackhi_epi16(us, vs);
      store32(e_.u + 2 * x, ordered(low));
      store32(e_.u + 2 * x + 32, ordered(high));
    } else {
      for (int half = 0; half < 2; ++half) {
        store32(e_.u + 2 * x + 32 * half, ordered(topWords(u[2 * half], u[2 * half + 1])));
        store32(e_.v + 2 * x + 32 * half, ordered(topWords(v[2 * half], v[2 * half + 1])));
      }
    }
  }

  __attribute__((always_inline)) void storeBytes(int64_t x, const __m256i (&luma)[Rows][4], const __m256i* u,
                                                 const __m256i* v) const {
    const __m256i us = _mm256_packs_epi32(u[0], u[1]), vs = _mm256_packs_epi32(v[0], v[1]);
    const __m256i planes = legalBytes(_mm256_packus_epi16(us, vs));  // eight U and eight V in each half
    const __m256i mixed =
        inPairOrder(_mm256_unpacklo_epi8(planes, _mm256_unpackhi_epi64(planes, planes)));  // U V U V
    for (int r = 0; r < Rows; ++r) {
      const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(luma[r][0], luma[r][1]),
                                                _mm256_packs_epi32(luma[r][2], luma[r][3]));
      const __m256i y = legalBytes(inPairOrder(bytes));
      if constexpr (!S::kPacked) {
        store32(e_.y[r] + x, y);
      } else {
        const __m256i a = ordered(Shape == kUyvy ? mixed : y), b = ordered(Shape == kUyvy ? y : mixed);
        uint8_t* out = (Shape == kUyvy ? e_.u : e_.y[0]) + 2 * x;
        store32(out, _mm256_unpacklo_epi8(a, b));
        store32(out + 32, _mm256_unpackhi_epi8(a, b));
      }
    }
    if constexpr (Shape == kSemi8) store32(e_.u + x, mixed);
    if constexpr (Shape == kPlanar8) {
      const __m256i inOrder = ordered(_mm256_shuffle_epi8(mixed, evenThenOdd()));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(e_.u + x / 2), _mm256_castsi256_si128(inOrder));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(e_.v + x / 2), _mm256_extracti128_si256(inOrder, 1));
    }
  }

  const EncodeRows e_;
  Weights y_, u_, v_;
  __m256 lumaScale_, lumaOffset_, chromaScale_, centre_, dither_[2], chromaDither_;
};

// How far it came.
template <bool Floats, YuvShape Shape, int Rows, int Sum>
int64_t encodeWhole(const EncodeRows& e) {
  const int64_t samples = Samples<Shape>::kHalfWide ? 2 * e.chroma : e.chroma;
  const int64_t end = e.width < samples ? e.width : samples;
  const Encoder<Floats, Shape, Rows, Sum> encoder(e);
  int64_t x = 0;
  for (; x + 32 <= end; x += 32) encoder.run(x);
  return x;
}

// The plain loops do what is left, and all of it where a curve bends the source or a sum has a row that is
// not to be encoded.
template <bool Floats, YuvShape Shape>
int64_t encodeWhole(const EncodeRows& e) {
  if (e.curve != nullptr) return 0;
  if (e.rows == 1 && e.chromaRows == 1) return encodeWhole<Floats, Shape, 1, 1>(e);
  if constexpr (Shape == kPlanar8 || Shape == kSemi8) {
    if (e.rows == 2 && e.chromaRows == 2) return encodeWhole<Floats, Shape, 2, 2>(e);
  }
  if constexpr (Shape == kSemi16) {
    if (e.rows == 2) return encodeWhole<Floats, Shape, 2, 1>(e);
  }
  return 0;
}

}  // namespace

template <bool Floats, YuvShape Shape>
void encodeVector(const EncodeRows& e) {
  const int64_t x = encodeWhole<Floats, Shape>(e);
  for (int r = 0; r < e.rows; ++r) encodeLuma<Floats, Shape>(e, r, x);
  encodeChroma<Floats, Shape>(e, Samples<Shape>::kHalfWide ? x / 2 : x);
}

#define QV_SHAPE(shape)                                        \
  template void encodeVector<false, shape>(const EncodeRows&); \
  template void encodeVector<true, shape>(const EncodeRows&);
QV_SHAPE(kPlanar8)
QV_SHAPE(kSemi8)
QV_SHAPE(kUyvy)
QV_SHAPE(kYuyv)
QV_SHAPE(kSemi16)
QV_SHAPE(kPlanar16)

}  // namespace qv::avx2
