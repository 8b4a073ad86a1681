// The row loops of the YUV conversions, from one text for every form. The including source names the form in
// QV_FORM and, for the vector forms, puts loops of its own in their place where it pays.
#pragma once

#include "qv/video/detail/gamma.h"
#include "qv/video/detail/pixel_io.h"
#include "qv/video/detail/yuv_rows.h"

namespace qv::QV_FORM {

// Bytes from one sample to the next.
template <YuvShape Shape>
struct Samples {
  static constexpr bool kWords = Shape == kSemi16 || Shape == kPlanar16;
  static constexpr bool kHalfWide = Shape != kPlanar16;
  static constexpr bool kPacked = Shape == kUyvy || Shape == kYuyv;
  static constexpr int64_t kLumaStep = kWords || kPacked ? 2 : 1;
  static constexpr int64_t kChromaStep = kPacked || Shape == kSemi16 ? 4 : kWords || Shape == kSemi8 ? 2 : 1;
  static constexpr int32_t kCentre = kWords ? 512 : 128;

  QV_INLINE int32_t load(const uint8_t* p) {
    if constexpr (kWords) return loadWord<uint16_t>(p) >> 6;
    return *p;
  }
  QV_INLINE int32_t luma(const uint8_t* y, int64_t x) { return load(y + x * kLumaStep); }
  QV_INLINE int32_t chroma(const uint8_t* c, int64_t x, int64_t count) {
    const int64_t i = kHalfWide ? x >> 1 : x;
    if (count == 0) return kCentre;
    return load(c + (i < count ? i : count - 1) * kChromaStep);
  }
  QV_INLINE void store(uint8_t* p, float v) {  // v: within the legal range
    const int32_t whole = static_cast<int32_t>(v);
    if constexpr (kWords) {
      storeWord(p, static_cast<uint16_t>(whole << 6));
    } else {
      *p = static_cast<uint8_t>(whole);
    }
  }
};

QV_INLINE uint8_t clampByte(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

QV_INLINE void storePixel(uint8_t* out, int32_t blue, int32_t green, int32_t red) {
  out[0] = clampByte(blue);
  out[1] = clampByte(green);
  out[2] = clampByte(red);
  out[3] = 255;
}

// From pixel `from` on, so that a vector loop can leave its rest here.
template <YuvShape Shape>
void decodeBytesFrom(const DecodeRows& rows, const YuvTerms& t, int64_t from) {
  using S = Samples<Shape>;
  constexpr int kDown = S::kWords ? 2 : 0;
  for (int r = 0; r < rows.rows; ++r) {
    for (int64_t x = from; x < rows.width; ++x) {
      const int32_t u = S::chroma(rows.u, x, rows.chroma), v = S::chroma(rows.v, x, rows.chroma);
      const int32_t luma = S::luma(rows.y[r], x);
      storePixel(rows.out[r] + 4 * x, (luma + ((u * t.bu + t.bo) >> 14)) >> kDown,
                 (luma + ((u * t.gu + v * t.gv + t.go) >> 14)) >> kDown,
                 (luma + ((v * t.rv + t.ro) >> 14)) >> kDown);
    }
  }
}
template <YuvShape Shape>
void decodeBytes(const DecodeRows& rows, const YuvTerms& t) {
  decodeBytesFrom<Shape>(rows, t, 0);
}

// Nearest, halves upwards: what adding 1.5 * 2^52 leaves in the low bits, with the halves tipped by 1.5e-8.
QV_INLINE uint8_t roundToByte(float v) {
  const float clamped = !(v > 0.0f) ? 0.0f : v > 255.0f ? 255.0f : v;
  const double shifted = static_cast<double>(clamped) + 1.5e-8 + 6755399441055744.0;
  return static_cast<uint8_t>(loadWord<uint64_t>(reinterpret_cast<const uint8_t*>(&shifted)));
}

template <YuvShape Shape>
void sampleBytesFrom(const SampleRow& row, int64_t from) {
  using S = Samples<Shape>;
  const QVYUVDECODESCALE s = *row.scale;
  for (int64_t i = from; i < row.width; ++i) {
    const int64_t x = i << row.shift;
    const float y = static_cast<float>(S::luma(row.y, x)) * row.lumaFactor;
    const float c1 = static_cast<float>(S::chroma(row.u, x, row.chroma)) - s.chromaCentre;
    const float c2 = static_cast<float>(S::chroma(row.v, x, row.chroma)) - s.chromaCentre;
    uint8_t* out = row.out + 4 * i;
    out[0] = roundToByte(y + c1 * s.blueU);
    out[1] = roundToByte(y + c1 * s.greenU + c2 * s.greenV);
    out[2] = roundToByte(y + c2 * s.redV);
    out[3] = 255;
  }
}
template <YuvShape Shape>
void sampleBytes(const SampleRow& row) {
  sampleBytesFrom<Shape>(row, 0);
}

QV_INLINE float curved(const QvGammaCurve* curve, float v) {
  return curve != nullptr ? bendByTable(*curve, v) : v;
}

template <YuvShape Shape>
void sampleFloatsFrom(const SampleRow& row, int64_t from) {
  using S = Samples<Shape>;
  const QVYUVDECODESCALE s = *row.scale;
  for (int64_t i = from; i < row.width; ++i) {
    const int64_t x = i << row.shift;
    const float y = (static_cast<float>(S::luma(row.y, x)) - s.lumaOffset) * s.lumaScale;
    const float c1 = static_cast<float>(S::chroma(row.u, x, row.chroma)) - s.chromaCentre;
    const float c2 = static_cast<float>(S::chroma(row.v, x, row.chroma)) - s.chromaCentre;
    uint8_t* out = row.out + 16 * i;
    storeWord(out, curved(row.curve, y + c1 * s.blueU));
    storeWord(out + 4, curved(row.curve, y + c1 * s.greenU + c2 * s.greenV));
    storeWord(out + 8, curved(row.curve, y + c2 * s.redV));
    storeWord(out + 12, 1.0f);
  }
}
template <YuvShape Shape>
void sampleFloats(const SampleRow& row) {
  sampleFloatsFrom<Shape>(row, 0);
}

template <int Across, int Down, int ChromaAcross, int ChromaDown, int TermShift, int ResultShift>
struct Reduction {
  static void from(const ReduceRows& rows, const YuvTerms& t, int64_t first) {
    for (int64_t x = first; x < rows.width; ++x) {
      int32_t luma = 0, u = 0, v = 0;
      for (int r = 0; r < Down; ++r) {
        for (int i = 0; i < Across; ++i) luma += rows.y[r][Across * x + i];
      }
      for (int r = 0; r < ChromaDown; ++r) {
        for (int i = 0; i < ChromaAcross; ++i) {
          u += rows.u[r][ChromaAcross * x + i];
          v += rows.v[r][ChromaAcross * x + i];
        }
      }
      storePixel(rows.out + 4 * x, (luma + ((u * t.bu + t.bo) >> TermShift)) >> ResultShift,
                 (luma + ((u * t.gu + v * t.gv + t.go) >> TermShift)) >> ResultShift,
                 (luma + ((v * t.rv + t.ro) >> TermShift)) >> ResultShift);
    }
  }
  static void row(const ReduceRows& rows, const YuvTerms& t) { from(rows, t, 0); }
};
using HalfHorz = Reduction<2, 1, 1, 1, 13, 1>;
using Half = Reduction<2, 2, 1, 2, 13, 2>;
using QuarterHalf = Reduction<4, 2, 2, 2, 13, 3>;
using Quarter = Reduction<4, 4, 2, 2, 12, 4>;

// A pixel's channels; floats through the curve.
template <bool Floats>
struct RgbSource {
  static constexpr int64_t kBytes = Floats ? 16 : 4;
  QV_INLINE float channel(const uint8_t* rgb, int64_t x, int index, const QvGammaCurve* curve) {
    if constexpr (Floats) return curved(curve, loadWord<float>(rgb + 16 * x + 4 * index));
    return static_cast<float>(rgb[4 * x + index]);
  }
};

QV_INLINE float weighted(const float* w, float blue, float green, float red) {
  return w[0] * red + w[1] * green + w[2] * blue;
}

// Never the codes that stand for synchronisation. What is no number becomes the lowest.
template <bool Words>
float legal(float v) {
  constexpr float kLow = Words ? 4.0f : 1.0f, kHigh = Words ? 1019.0f : 254.0f;
  return !(v > kLow) ? kLow : v > kHigh ? kHigh : v;
}

template <bool Floats, YuvShape Shape>
void encodeLuma(const EncodeRows& e, int row, int64_t from) {
  using S = Samples<Shape>;
  using In = RgbSource<Floats>;
  const QVYUVENCODESCALE& s = *e.scale;
  const uint8_t* rgb = e.rgb[row];
  for (int64_t x = from; x < e.width; ++x) {
    float y = weighted(s.yWeights, In::channel(rgb, x, 0, e.curve), In::channel(rgb, x, 1, e.curve),
                       In::channel(rgb, x, 2, e.curve));
    if constexpr (Floats) y = y * s.lumaScale + s.lumaOffset;
    S::store(e.y[row] + x * S::kLumaStep, legal<S::kWords>(y + e.dither[row][x & 3]));
  }
}

// The sum of the pixels of one chroma sample: down, then across.
template <bool Floats, bool HalfWide>
float chromaSum(const EncodeRows& e, int64_t c, int index) {
  using In = RgbSource<Floats>;
  const auto column = [&](int64_t x) {
    const float first = In::channel(e.rgb[0], x, index, e.curve);
    return e.chromaRows == 2 ? first + In::channel(e.rgb[1], x, index, e.curve) : first;
  };
  if constexpr (!HalfWide) return column(c);
  const int64_t x = 2 * c, next = x + 1 < e.width ? x + 1 : x;
  return column(x) + column(next);
}

template <bool Floats, YuvShape Shape>
void encodeChroma(const EncodeRows& e, int64_t from) {
  using S = Samples<Shape>;
  const QVYUVENCODESCALE& s = *e.scale;
  for (int64_t c = from; c < e.chroma; ++c) {
    const float blue = chromaSum<Floats, S::kHalfWide>(e, c, 0);
    const float green = chromaSum<Floats, S::kHalfWide>(e, c, 1);
    const float red = chromaSum<Floats, S::kHalfWide>(e, c, 2);
    const float d = e.chromaDither[c & 3];
    const float u = weighted(s.uWeights, blue, green, red) * s.chromaScale + s.chromaCentre + d;
    const float v = weighted(s.vWeights, blue, green, red) * s.chromaScale + s.chromaCentre + d;
    S::store(e.u + c * S::kChromaStep, legal<S::kWords>(u));
    // A packed row of odd width ends with its last U.
    if (S::kPacked && 2 * c + 1 == e.width) return;
    S::store(e.v + c * S::kChromaStep, legal<S::kWords>(v));
  }
}

template <bool Floats, YuvShape Shape>
void encodeRows(const EncodeRows& e) {
  for (int r = 0; r < e.rows; ++r) encodeLuma<Floats, Shape>(e, r, 0);
  encodeChroma<Floats, Shape>(e, 0);
}

QV_INLINE uint8_t legalByte(int32_t v) {
  return static_cast<uint8_t>(v < 1 ? 1 : v > 254 ? 254 : v);
}

static void packPairs(uint8_t* out, const uint8_t* rgb, int64_t pairs, const PackWeights& w) {
  for (int64_t i = 0; i < pairs; ++i) {
    const uint8_t* a = rgb + 8 * i;
    const uint8_t* b = a + 4;
    const auto luma = [&](const uint8_t* p) {
      return legalByte((w.y[0] * p[0] + w.y[1] * p[1] + w.y[2] * p[2] + 2048) >> 12);
    };
    const auto chroma = [&](const int32_t* weights) {
      return legalByte(
          (weights[0] * (a[0] + b[0]) + weights[1] * (a[1] + b[1]) + weights[2] * (a[2] + b[2]) + 0x80800) >>
          12);
    };
    out[4 * i] = chroma(w.u);
    out[4 * i + 1] = luma(a);
    out[4 * i + 2] = chroma(w.v);
    out[4 * i + 3] = luma(b);
  }
}

static void interleave(uint8_t* __restrict out, const uint8_t* __restrict u, const uint8_t* __restrict v,
                       int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    out[2 * i] = u[i];
    out[2 * i + 1] = v[i];
  }
}
static void split(uint8_t* __restrict u, uint8_t* __restrict v, const uint8_t* __restrict in, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    u[i] = in[2 * i];
    v[i] = in[2 * i + 1];
  }
}
static void lumaFirst(uint8_t* __restrict out, const uint8_t* __restrict y, const uint8_t* __restrict u,
                      const uint8_t* __restrict v, int64_t pairs) {
  for (int64_t i = 0; i < pairs; ++i) {
    out[4 * i] = y[2 * i];
    out[4 * i + 1] = u[i];
    out[4 * i + 2] = y[2 * i + 1];
    out[4 * i + 3] = v[i];
  }
}

static void narrow(uint8_t* __restrict out, const uint8_t* __restrict in, int64_t count, uint8_t mask) {
  for (int64_t i = 0; i < count; ++i) out[i] = in[2 * i + 1] & mask;
}
static void narrowSecond(uint8_t* __restrict out, const uint8_t* __restrict in, int64_t count, uint8_t mask) {
  for (int64_t i = 0; i < count; ++i) out[i] = in[4 * i + 1] & mask;
}
static void narrowSplit(uint8_t* __restrict u, uint8_t* __restrict v, const uint8_t* __restrict in,
                        int64_t count, uint8_t mask) {
  for (int64_t i = 0; i < count; ++i) {
    u[i] = in[4 * i + 1] & mask;
    v[i] = in[4 * i + 3] & mask;
  }
}

// Samples in the order of the words: U0 Y0 V0 Y1 U1 Y2 V1 Y3 and so on. Sample k of a pair is at 4 * pair +
// k.
QV_INLINE uint32_t v210Sample(const uint8_t* in, int64_t sample) {
  return loadWord<uint32_t>(in + sample / 3 * 4) >> (sample % 3 * 10) & 0x3ff;
}
// Sample k to its place: luma and chroma alternate.
QV_INLINE void putV210(uint8_t* y, uint8_t* uv, int64_t k, uint32_t value) {
  storeWord((k & 1 ? y : uv) + (k & ~int64_t{1}), static_cast<uint16_t>(value << 6));
}
static void unpackV210(uint8_t* y, uint8_t* uv, const uint8_t* in, int64_t pairs) {
  int64_t k = 0;
  for (; k + 12 <= 4 * pairs; k += 12) {
    for (int i = 0; i < 4; ++i) {
      const uint32_t word = loadWord<uint32_t>(in + k / 3 * 4 + 4 * i);
      putV210(y, uv, k + 3 * i, word & 0x3ff);
      putV210(y, uv, k + 3 * i + 1, word >> 10 & 0x3ff);
      putV210(y, uv, k + 3 * i + 2, word >> 20 & 0x3ff);
    }
  }
  for (; k < 4 * pairs; ++k) putV210(y, uv, k, v210Sample(in, k));
}
static void packV210(uint8_t* out, const uint8_t* y, const uint8_t* uv, int64_t pairs) {
  const auto sample = [&](int64_t k) {
    return static_cast<uint32_t>(loadWord<uint16_t>((k & 1 ? y : uv) + (k & ~int64_t{1})) >> 6);
  };
  int64_t k = 0;
  for (; k + 3 <= 4 * pairs; k += 3) {
    storeWord(out + k / 3 * 4, sample(k) | sample(k + 1) << 10 | sample(k + 2) << 20);
  }
  if (k == 4 * pairs) return;
  storeWord(out + k / 3 * 4, sample(k) | (k + 1 < 4 * pairs ? sample(k + 1) << 10 : 0));
}
static void highV210(uint8_t* out, const uint8_t* in, int64_t pairs) {
  int64_t k = 0;
  for (; k + 3 <= 4 * pairs; k += 3) {
    const uint32_t word = loadWord<uint32_t>(in + k / 3 * 4);
    out[k] = static_cast<uint8_t>(word >> 2);
    out[k + 1] = static_cast<uint8_t>(word >> 12);
    out[k + 2] = static_cast<uint8_t>(word >> 22);
  }
  for (; k < 4 * pairs; ++k) out[k] = static_cast<uint8_t>(v210Sample(in, k) >> 2);
}

constexpr YuvForms plainYuvForms() {
  return {
      {decodeBytes<kPlanar8>, decodeBytes<kSemi8>, decodeBytes<kUyvy>, decodeBytes<kYuyv>,
       decodeBytes<kSemi16>, decodeBytes<kPlanar16>},
      {sampleBytes<kPlanar8>, sampleBytes<kSemi8>, sampleBytes<kUyvy>, sampleBytes<kYuyv>,
       sampleBytes<kSemi16>, sampleBytes<kPlanar16>},
      {sampleFloats<kPlanar8>, sampleFloats<kSemi8>, sampleFloats<kUyvy>, sampleFloats<kYuyv>,
       sampleFloats<kSemi16>, sampleFloats<kPlanar16>},
      {HalfHorz::row, Half::row, QuarterHalf::row, Quarter::row},
      {{encodeRows<false, kPlanar8>, encodeRows<false, kSemi8>, encodeRows<false, kUyvy>,
        encodeRows<false, kYuyv>, encodeRows<false, kSemi16>, encodeRows<false, kPlanar16>},
       {encodeRows<true, kPlanar8>, encodeRows<true, kSemi8>, encodeRows<true, kUyvy>,
        encodeRows<true, kYuyv>, encodeRows<true, kSemi16>, encodeRows<true, kPlanar16>}},
      packPairs,
      interleave,
      split,
      lumaFirst,
      narrow,
      narrowSecond,
      narrowSplit,
      unpackV210,
      packV210,
      highV210,
  };
}

}  // namespace qv::QV_FORM
