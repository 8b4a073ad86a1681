// Reduced sizes of 4:2:0, and the kernels that compute in floats, in 256-bit vectors.
#define QV_FORM avx2

#include <type_traits>

#include "qv/video/detail/yuv_avx2.h"

namespace qv::avx2 {
namespace {

// Sixteen pixels of words in their natural order.
void storeSixteen(uint8_t* out, __m256i b, __m256i g, __m256i r) {
  const __m256i br = _mm256_packus_epi16(b, r), ga = _mm256_packus_epi16(g, _mm256_set1_epi16(255));
  const __m256i bg = _mm256_unpacklo_epi8(br, ga), ra = _mm256_unpackhi_epi8(br, ga);
  const __m256i low = _mm256_unpacklo_epi16(bg, ra), high = _mm256_unpackhi_epi16(bg, ra);
  store32(out, _mm256_permute2x128_si256(low, high, 0x20));
  store32(out + 32, _mm256_permute2x128_si256(low, high, 0x31));
}

__m256i addWords(__m256i a, __m256i b) {
  return _mm256_add_epi16(a, b);
}
// Sums of two neighbours, of 32 bytes.
__m256i pairs(const uint8_t* p) {
  return _mm256_maddubs_epi16(load32(p), _mm256_set1_epi8(1));
}
// Sums of four neighbours, of 64 bytes.
__m256i fours(const uint8_t* p) {
  const __m256i one = _mm256_set1_epi16(1);
  return ordered(_mm256_packs_epi32(_mm256_madd_epi16(pairs(p), one), _mm256_madd_epi16(pairs(p + 32), one)));
}
__m256i single(const uint8_t* p) {
  return _mm256_cvtepu8_epi16(load16(p));
}

// Across: how many luma samples make a pixel; as many rows as the plain form takes.
template <typename Plain, int Across, int Down, bool PairChroma, int ChromaDown, int TermShift,
          int ResultShift>
void reduceVector(const ReduceRows& rows, const YuvTerms& t) {
  const __m256i bu = pairOf(t.bu, 0), rv = pairOf(0, t.rv), guv = pairOf(t.gu, t.gv);
  const __m256i bo = _mm256_set1_epi32(t.bo), go = _mm256_set1_epi32(t.go), ro = _mm256_set1_epi32(t.ro);
  const auto chroma = [](const uint8_t* p, int64_t i) {
    return PairChroma ? pairs(p + 2 * i) : single(p + i);
  };
  int64_t x = 0;
  for (; x + 16 <= rows.width; x += 16) {
    __m256i luma = _mm256_setzero_si256();
    for (int r = 0; r < Down; ++r) {
      luma = addWords(luma, Across == 2 ? pairs(rows.y[r] + 2 * x) : fours(rows.y[r] + 4 * x));
    }
    __m256i u = chroma(rows.u[0], x), v = chroma(rows.v[0], x);
    if constexpr (ChromaDown == 2) {
      u = addWords(u, chroma(rows.u[1], x));
      v = addWords(v, chroma(rows.v[1], x));
    }
    const __m256i low = _mm256_unpacklo_epi16(u, v), high = _mm256_unpackhi_epi16(u, v);
    const auto channel = [&](__m256i factors, __m256i offset) {
      const auto term = [&](__m256i uv) {
        return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(uv, factors), offset), TermShift);
      };
      return _mm256_srai_epi16(addWords(luma, _mm256_packs_epi32(term(low), term(high))), ResultShift);
    };
    storeSixteen(rows.out + 4 * x, channel(bu, bo), channel(guv, go), channel(rv, ro));
  }
  Plain::from(rows, t, x);
}

// Samples of pixels that are wanted, one place each, chroma repeated.
constexpr int64_t kChunk = 64;
struct Fetched {
  alignas(32) int16_t y[kChunk], u[kChunk], v[kChunk];
};

template <YuvShape Shape, int Shift>
void fetchBy(Fetched& f, const SampleRow& row, int64_t first, int64_t count) {
  using S = Samples<Shape>;
  constexpr int kDown = S::kHalfWide ? 1 : 0;
  const uint8_t* y = row.y + (first << Shift) * S::kLumaStep;
  const uint8_t* u = row.u + (first << Shift >> kDown) * S::kChromaStep;
  const uint8_t* v = row.v + (first << Shift >> kDown) * S::kChromaStep;
  if constexpr (Shift == 0 && S::kHalfWide) {
    for (int64_t i = 0; i < count; ++i) f.y[i] = static_cast<int16_t>(S::load(y + i * S::kLumaStep));
    for (int64_t i = 0; i < count / 2; ++i) {
      f.u[2 * i] = f.u[2 * i + 1] = static_cast<int16_t>(S::load(u + i * S::kChromaStep));
      f.v[2 * i] = f.v[2 * i + 1] = static_cast<int16_t>(S::load(v + i * S::kChromaStep));
    }
    return;
  }
  constexpr int64_t kStep = int64_t{1} << Shift, kChroma = Shift == 0 ? 1 : kStep >> kDown;
  for (int64_t i = 0; i < count; ++i) {
    f.y[i] = static_cast<int16_t>(S::load(y + i * kStep * S::kLumaStep));
    f.u[i] = static_cast<int16_t>(S::load(u + i * kChroma * S::kChromaStep));
    f.v[i] = static_cast<int16_t>(S::load(v + i * kChroma * S::kChromaStep));
  }
}
template <YuvShape Shape>
void fetch(Fetched& f, const SampleRow& row, int64_t first, int64_t count) {
  constexpr decltype(&fetchBy<Shape, 0>) kBy[] = {fetchBy<Shape, 0>, fetchBy<Shape, 1>, fetchBy<Shape, 2>,
                                                  fetchBy<Shape, 3>};
  kBy[row.shift](f, row, first, count);
}

__m256 eight(const int16_t* p) {
  return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load16(p)));
}

struct Colours {
  __m256 b, g, r;
};
class Scale {
 public:
  Scale(const QVYUVDECODESCALE& s, float lumaOffset, float lumaScale)
      : offset_(_mm256_set1_ps(lumaOffset)),
        luma_(_mm256_set1_ps(lumaScale)),
        centre_(_mm256_set1_ps(s.chromaCentre)),
        rv_(_mm256_set1_ps(s.redV)),
        gu_(_mm256_set1_ps(s.greenU)),
        gv_(_mm256_set1_ps(s.greenV)),
        bu_(_mm256_set1_ps(s.blueU)) {}
  Colours apply(const Fetched& f, int64_t i) const {
    const __m256 y = _mm256_mul_ps(_mm256_sub_ps(eight(f.y + i), offset_), luma_);
    const __m256 u = _mm256_sub_ps(eight(f.u + i), centre_), v = _mm256_sub_ps(eight(f.v + i), centre_);
    return {_mm256_add_ps(y, _mm256_mul_ps(u, bu_)),
            _mm256_add_ps(_mm256_add_ps(y, _mm256_mul_ps(u, gu_)), _mm256_mul_ps(v, gv_)),
            _mm256_add_ps(y, _mm256_mul_ps(v, rv_))};
  }

 private:
  __m256 offset_, luma_, centre_, rv_, gu_, gv_, bu_;
};

// Halves upwards. The largest number below a half is added: a half itself would lift that number to 1.
__m256i nearest(__m256 v) {
  const __m256 clamped = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));
  return _mm256_cvttps_epi32(_mm256_add_ps(clamped, _mm256_set1_ps(0.49999997f)));
}

// Past the caches where the rows allow it: a float picture is larger than they are.
template <bool Past>
void storeFloats(uint8_t* out, __m256 v) {
  if constexpr (Past) {
    _mm256_stream_ps(reinterpret_cast<float*>(out), v);
  } else {
    _mm256_storeu_ps(reinterpret_cast<float*>(out), v);
  }
}
template <bool Past>
void storeEight(uint8_t* out, const Colours& c) {
  const __m256 one = _mm256_set1_ps(1.0f);
  const __m256 bg0 = _mm256_unpacklo_ps(c.b, c.g), bg1 = _mm256_unpackhi_ps(c.b, c.g);
  const __m256 ra0 = _mm256_unpacklo_ps(c.r, one), ra1 = _mm256_unpackhi_ps(c.r, one);
  const __m256 p04 = _mm256_shuffle_ps(bg0, ra0, _MM_SHUFFLE(1, 0, 1, 0));
  const __m256 p15 = _mm256_shuffle_ps(bg0, ra0, _MM_SHUFFLE(3, 2, 3, 2));
  const __m256 p26 = _mm256_shuffle_ps(bg1, ra1, _MM_SHUFFLE(1, 0, 1, 0));
  const __m256 p37 = _mm256_shuffle_ps(bg1, ra1, _MM_SHUFFLE(3, 2, 3, 2));
  storeFloats<Past>(out, _mm256_permute2f128_ps(p04, p15, 0x20));
  storeFloats<Past>(out + 32, _mm256_permute2f128_ps(p26, p37, 0x20));
  storeFloats<Past>(out + 64, _mm256_permute2f128_ps(p04, p15, 0x31));
  storeFloats<Past>(out + 96, _mm256_permute2f128_ps(p26, p37, 0x31));
}

// Pixels of the result that have chroma of their own.
template <YuvShape Shape>
int64_t ownChroma(const SampleRow& row) {
  const int64_t pixels = Samples<Shape>::kHalfWide ? 2 * row.chroma : row.chroma;
  const int64_t wanted = (pixels + (int64_t{1} << row.shift) - 1) >> row.shift;
  return wanted < row.width ? wanted : row.width;
}

template <YuvShape Shape, typename Store>
int64_t eachChunk(const SampleRow& row, const Store& store) {
  const int64_t end = ownChroma<Shape>(row) & ~int64_t{7};
  Fetched f;
  for (int64_t x = 0; x < end; x += kChunk) {
    const int64_t count = end - x < kChunk ? end - x : kChunk;
    fetch<Shape>(f, row, x, count);
    for (int64_t i = 0; i < count; i += 8) store(f, x + i, i);
  }
  return end;
}

}  // namespace

template <YuvShape Shape>
void sampleBytesVector(const SampleRow& row) {
  const Scale scale(*row.scale, 0.0f, row.lumaFactor);
  const __m256i opaque = _mm256_set1_epi32(static_cast<int32_t>(0xff000000u));
  const int64_t end = eachChunk<Shape>(row, [&](const Fetched& f, int64_t x, int64_t i) {
    const Colours c = scale.apply(f, i);
    const __m256i bg = _mm256_or_si256(nearest(c.b), _mm256_slli_epi32(nearest(c.g), 8));
    const __m256i ra = _mm256_or_si256(_mm256_slli_epi32(nearest(c.r), 16), opaque);
    store32(row.out + 4 * x, _mm256_or_si256(bg, ra));
  });
  sampleBytesFrom<Shape>(row, end);
}

template <YuvShape Shape>
void sampleFloatsVector(const SampleRow& row) {
  if (row.curve != nullptr) return sampleFloats<Shape>(row);
  const Scale scale(*row.scale, row.scale->lumaOffset, row.scale->lumaScale);
  const bool past = row.past && (reinterpret_cast<uintptr_t>(row.out) & 31) == 0;
  const auto store = [&](auto toMemory) {
    return eachChunk<Shape>(row, [&](const Fetched& f, int64_t x, int64_t i) {
      storeEight<decltype(toMemory)::value>(row.out + 16 * x, scale.apply(f, i));
    });
  };
  const int64_t end = past ? store(std::true_type()) : store(std::false_type());
  if (past) _mm_sfence();
  sampleFloatsFrom<Shape>(row, end);
}

#define QV_SHAPE(shape)                                     \
  template void sampleBytesVector<shape>(const SampleRow&); \
  template void sampleFloatsVector<shape>(const SampleRow&);
QV_SHAPE(kPlanar8)
QV_SHAPE(kSemi8)
QV_SHAPE(kUyvy)
QV_SHAPE(kYuyv)
QV_SHAPE(kSemi16)
QV_SHAPE(kPlanar16)

void halfHorz(const ReduceRows& rows, const YuvTerms& t) {
  reduceVector<HalfHorz, 2, 1, false, 1, 13, 1>(rows, t);
}
void half(const ReduceRows& rows, const YuvTerms& t) {
  reduceVector<Half, 2, 2, false, 2, 13, 2>(rows, t);
}
void quarterHalf(const ReduceRows& rows, const YuvTerms& t) {
  reduceVector<QuarterHalf, 4, 2, true, 2, 13, 3>(rows, t);
}
void quarter(const ReduceRows& rows, const YuvTerms& t) {
  reduceVector<Quarter, 4, 4, true, 2, 12, 4>(rows, t);
}

}  // namespace qv::avx2
