// Read and write kernels, one family a type, from the definitions in pixel_io.h.
#include <array>
#include <utility>

#include "qv/video/detail/bits.h"
#include "qv/video/detail/pixel_io.h"
#include "qv/video/detail/xchg_tables.h"

namespace qv {
namespace {

using namespace scalar;

constexpr int32_t kTypes = QVPT_RGB10A2 - QVPT_PAL1 + 1;
constexpr uint32_t kOne = 16384;

// The three routes: how a pixel is loaded into the pivot and stored from it.
template <int32_t Type, bool Exact>
struct Pivot16Route {
  using Pixel = QVPIXEL64;
  static Pixel* pivot(QvXchgContext* c) { return c->pivot.pixels; }
  static Pixel read(const QvXchgContext* c, const uint8_t* p, uint32_t bit) {
    return load<Type, Exact>(p, bit, Source{c->srcPalette, activeOrNull(c->readCurve)});
  }
  static void write(QvXchgContext* c, const Pixel& v) {
    store<Type>(c->writePtr, c->writeBit, v, Sink{c->inverseTable, activeOrNull(c->writeCurve)});
  }
  static Pixel mix(const Pixel& a, const Pixel& b, const Pixel& c, const Pixel& d, const uint32_t* w) {
    const auto channel = [&](uint32_t p, uint32_t q, uint32_t r, uint32_t s) {
      return static_cast<uint16_t>((p * w[0] + q * w[1] + r * w[2] + s * w[3]) >> 14);
    };
    return {channel(a.blue, b.blue, c.blue, d.blue), channel(a.green, b.green, c.green, d.green),
            channel(a.red, b.red, c.red, d.red), channel(a.alpha, b.alpha, c.alpha, d.alpha)};
  }
};

struct BytePixel {
  uint8_t channel[4];
};

template <int32_t Type, bool Exact>
struct ByteRoute {
  using Pixel = BytePixel;
  static Pixel* pivot(QvXchgContext* c) { return reinterpret_cast<Pixel*>(c->pivot.bytes); }
  static Pixel read(const QvXchgContext* c, const uint8_t* p, uint32_t) {
    if constexpr (Type == QVPT_PAL8) p = c->srcPalette + 4 * *p;
    return {{p[0], p[1], p[2], Type == QVPT_PAL8 || Type == QVPT_RGB24 ? uint8_t{255} : p[3]}};
  }
  static void write(QvXchgContext* c, const Pixel& v) {
    if constexpr (Type == QVPT_PAL8) {
      *c->writePtr =
          c->inverseTable[(v.channel[2] >> 3 << 10) + (v.channel[1] >> 3 << 5) + (v.channel[0] >> 3)];
    } else {
      memcpy(c->writePtr, v.channel, typeBits(Type) / 8);
    }
  }
  static Pixel mix(const Pixel& a, const Pixel& b, const Pixel& c, const Pixel& d, const uint32_t* w) {
    Pixel out;
    for (int i = 0; i < 4; ++i) {
      out.channel[i] = static_cast<uint8_t>(
          (a.channel[i] * w[0] + b.channel[i] * w[1] + c.channel[i] * w[2] + d.channel[i] * w[3]) / kOne);
    }
    return out;
  }
};

struct FloatPixel {
  float channel[4];
};

template <int32_t Type, bool Exact>
struct FloatRoute {
  using Pixel = FloatPixel;
  static Pixel* pivot(QvXchgContext* c) { return reinterpret_cast<Pixel*>(c->pivot.floats); }
  static Pixel read(const QvXchgContext* c, const uint8_t* p, uint32_t) {
    Pixel v = loadWord<Pixel>(p);
    if (c->readCurve.active != 0) {
      for (float& channel : v.channel) channel = bend(c->readCurve, channel);
    }
    return v;
  }
  static void write(QvXchgContext* c, const Pixel& v) { storeWord(c->writePtr, v); }
  static Pixel mix(const Pixel& a, const Pixel& b, const Pixel& c, const Pixel& d, const uint32_t* w) {
    constexpr float kScale = 1.0f / kOne;
    Pixel out;
    for (int i = 0; i < 4; ++i) {
      out.channel[i] = (a.channel[i] * static_cast<float>(w[0]) + b.channel[i] * static_cast<float>(w[1]) +
                        c.channel[i] * static_cast<float>(w[2]) + d.channel[i] * static_cast<float>(w[3])) *
                       kScale;
    }
    return out;
  }
};

template <int32_t Type>
void advanceRead(QvXchgContext* c, uint32_t pixels) {
  const Place place = placeOf<typeBits(Type)>(c->readBit, pixels);
  c->readPtr += place.offset;
  c->readBit = place.bit;
}
template <int32_t Type>
void advanceWrite(QvXchgContext* c, uint32_t pixels) {
  const Place place = placeOf<typeBits(Type)>(c->writeBit, pixels);
  c->writePtr += place.offset;
  c->writeBit = place.bit;
}

template <template <int32_t, bool> class Route, int32_t Type, bool Exact>
struct Kernels {
  using R = Route<Type, Exact>;
  using Pixel = typename R::Pixel;

  static Pixel right(const QvXchgContext* c, const uint8_t* row) {
    const Place place = placeOf<typeBits(Type)>(c->readBit, 1);
    return R::read(c, row + place.offset, place.bit);
  }
  static void read1(QvXchgContext* c) {
    R::pivot(c)[0] = R::read(c, c->readPtr, c->readBit);
    advanceRead<Type>(c, 1);
  }
  static void read4(QvXchgContext* c) {
    for (int i = 0; i < 4; ++i) {
      R::pivot(c)[i] = R::read(c, c->readPtr, c->readBit);
      advanceRead<Type>(c, 1);
    }
  }
  static void readQuad(QvXchgContext* c) {
    const uint8_t* below = c->readPtr + c->rowStep;
    Pixel* pivot = R::pivot(c);
    pivot[0] = R::read(c, c->readPtr, c->readBit);
    pivot[1] = right(c, c->readPtr);
    pivot[2] = R::read(c, below, c->readBit);
    pivot[3] = right(c, below);
  }
  static void readVertical(QvXchgContext* c) {
    const Pixel above = R::read(c, c->readPtr, c->readBit);
    const Pixel below = R::read(c, c->readPtr + c->rowStep, c->readBit);
    const uint32_t weights[4] = {kOne - c->fracY, c->fracY, 0, 0};
    R::pivot(c)[0] = R::mix(above, below, above, below, weights);
  }
  static void readBilinear(QvXchgContext* c) {
    const uint8_t* below = c->readPtr + c->rowStep;
    const uint32_t fx = c->fracX, fy = c->fracY;
    const uint32_t weights[4] = {(kOne - fx) * (kOne - fy) / kOne, fx * (kOne - fy) / kOne,
                                 (kOne - fx) * fy / kOne, fx * fy / kOne};
    R::pivot(c)[0] = R::mix(R::read(c, c->readPtr, c->readBit), right(c, c->readPtr),
                            R::read(c, below, c->readBit), right(c, below), weights);
  }
  static void write1(QvXchgContext* c) {
    R::write(c, R::pivot(c)[0]);
    advanceWrite<Type>(c, 1);
  }
  static void write4(QvXchgContext* c) {
    for (int i = 0; i < 4; ++i) {
      R::write(c, R::pivot(c)[i]);
      advanceWrite<Type>(c, 1);
    }
  }
  // Without the exact row, quality is below 3 and interpolation is the nearest pixel.
  static constexpr ReadKernels reads() {
    if constexpr (Exact) {
      return {read1, readBilinear, readQuad, read4, readVertical, readBilinear};
    } else {
      return {read1, read1, readQuad, read4, read1, read1};
    }
  }
  static constexpr WriteKernels writes() { return {write1, write4}; }
};

// 24-bit pixels side by side are six bytes in a row, which one load of eight would overrun at a block's end;
// this form takes the channels straight from the bytes.
void readBilinearRgb24(QvXchgContext* c) {
  const uint32_t fx = c->fracX, fy = c->fracY;
  const uint32_t weights[4] = {(kOne - fx) * (kOne - fy) / kOne, fx * (kOne - fy) / kOne,
                               (kOne - fx) * fy / kOne, fx * fy / kOne};
  const uint8_t* above = c->readPtr;
  const uint8_t* below = above + c->rowStep;
  for (int i = 0; i < 3; ++i) {
    const uint32_t sum =
        above[i] * weights[0] + above[i + 3] * weights[1] + below[i] * weights[2] + below[i + 3] * weights[3];
    c->pivot.bytes[0][i] = static_cast<uint8_t>(sum / kOne);
  }
  const uint32_t full = 255 * (weights[0] + weights[1] + weights[2] + weights[3]);
  c->pivot.bytes[0][3] = static_cast<uint8_t>(full / kOne);
}

struct TypeKernels {
  ReadKernels read;
  WriteKernels write;
};

template <template <int32_t, bool> class Route, int32_t Type, bool Exact>
constexpr TypeKernels bound() {
  TypeKernels kernels = {Kernels<Route, Type, Exact>::reads(), Kernels<Route, Type, Exact>::writes()};
  if (Type == QVPT_RGB24 && Exact && std::is_same_v<Route<Type, Exact>, ByteRoute<Type, Exact>>) {
    kernels.read.readBilinearAlt = readBilinearRgb24;
  }
  return kernels;
}

template <bool Exact, int32_t... Index>
constexpr std::array<TypeKernels, kTypes> pivotRow(std::integer_sequence<int32_t, Index...>) {
  return {bound<Pivot16Route, QVPT_PAL1 + Index, Exact>()...};
}
template <bool Exact>
constexpr std::array<TypeKernels, kTypes> byteRow() {
  std::array<TypeKernels, kTypes> row = {};
  row[QVPT_PAL8 - QVPT_PAL1] = bound<ByteRoute, QVPT_PAL8, Exact>();
  row[QVPT_RGB24 - QVPT_PAL1] = bound<ByteRoute, QVPT_RGB24, Exact>();
  row[QVPT_RGB32 - QVPT_PAL1] = bound<ByteRoute, QVPT_RGB32, Exact>();
  row[QVPT_RGBA32 - QVPT_PAL1] = bound<ByteRoute, QVPT_RGBA32, Exact>();
  return row;
}
template <bool Exact>
constexpr std::array<TypeKernels, kTypes> floatRow() {
  std::array<TypeKernels, kTypes> row = {};
  row[QVPT_RGBAF128 - QVPT_PAL1] = bound<FloatRoute, QVPT_RGBAF128, Exact>();
  return row;
}

using AllTypes = std::make_integer_sequence<int32_t, kTypes>;
constexpr std::array<TypeKernels, kTypes> kRows[kRowCount] = {
    pivotRow<false>(AllTypes{}), pivotRow<true>(AllTypes{}), byteRow<false>(), byteRow<true>(),
    floatRow<false>(),           floatRow<true>(),
};

}  // namespace

const ReadKernels* readKernels(uint32_t row, int32_t type) {
  const ReadKernels& kernels = kRows[row][type - QVPT_PAL1].read;
  return kernels.read1 != nullptr ? &kernels : nullptr;
}

const WriteKernels* writeKernels(uint32_t row, int32_t type) {
  const WriteKernels& kernels = kRows[row][type - QVPT_PAL1].write;
  return kernels.write1 != nullptr ? &kernels : nullptr;
}

}  // namespace qv
