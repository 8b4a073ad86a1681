// A slow second opinion on YUV frames: samples found one by one, from the layouts as they are described, and
// colours computed in double precision. Shares nothing with the conversions but codes and records.
#pragma once

#include <math.h>

#include <memory>
#include <string>

#include "qv/video/yuv.h"
#include "tests/video/support/guarded.h"

namespace test {

struct SlowLayout {
  const char* name;
  int32_t type;
  bool ten;
  int halfWide, halfHigh;  // divisors of chroma
};
inline constexpr SlowLayout kSlowLayouts[] = {
    {"UYVY", QVPT_UYVY, false, 2, 1}, {"YUYV", QVPT_YUYV, false, 2, 1}, {"v210", QVPT_v210, true, 2, 1},
    {"P010", QVPT_P010, true, 2, 2},  {"PL10", QVPT_PL10, true, 2, 2},  {"P210", QVPT_P210, true, 2, 1},
    {"P410", QVPT_P410, true, 1, 1},  {"I420", QVPT_I420, false, 2, 2}, {"NV12", QVPT_NV12, false, 2, 2},
    {"YV12", QVPT_YV12, false, 2, 2}, {"YV16", QVPT_YV16, false, 2, 1}};

// A frame between guard pages, as large as its geometry says, or with `padding` more bytes a row.
class Frame {
 public:
  Frame(const SlowLayout& layout, int32_t width, int32_t height, uint32_t seed,
        Guarded::Side side = Guarded::AtEnd)
      : layout_(layout) {
    header_.biSize = 40;
    header_.biWidth = width;
    header_.biHeight = height;
    header_.biCompression = QvFourCC(layout.name[0], layout.name[1], layout.name[2], layout.name[3]);
    const int32_t bytes = QvYUVImageBytesAndOffsets(&header_, &planes_);
    memory_ = std::make_unique<Guarded>(static_cast<size_t>(bytes), side);
    Random(seed).fill(memory_->data(), memory_->size());
    clearUnused();
  }
  BITMAPINFOHEADER* header() { return &header_; }
  QVYUVPLANES* planes() { return &planes_; }
  uint8_t* data() const { return memory_->data(); }
  Guarded& memory() { return *memory_; }
  const SlowLayout& layout() const { return layout_; }
  int64_t width() const { return header_.biWidth; }
  int64_t height() const { return header_.biHeight; }
  std::vector<uint8_t> bytes() const { return {data(), data() + memory_->size()}; }

  // Chroma samples across and down.
  int64_t chromaWidth() const {
    const bool whole = layout_.type == QVPT_v210 || layout_.halfWide == 1;
    return whole ? (width() + layout_.halfWide - 1) / layout_.halfWide : width() / 2;
  }
  int64_t chromaHeight() const { return height() / layout_.halfHigh; }

  // The value of a luma sample, or of a chroma sample by its own column and row.
  int luma(int64_t x, int64_t y) const {
    const uint8_t* row = data() + y * planes_.lumaStride;
    switch (layout_.type) {
      case QVPT_UYVY:
        return row[2 * x + 1];
      case QVPT_YUYV:
        return row[2 * x];
      case QVPT_v210:
        return v210(row, 2 * x + 1);
      default:
        return layout_.ten ? word(row + 2 * x) >> 6 : row[x];
    }
  }
  int chroma(char which, int64_t x, int64_t y) const {
    const bool u = which == 'U';
    const uint8_t* row = data() + y * planes_.lumaStride;
    const uint8_t* plane =
        data() + (u ? planes_.uOffset + y * planes_.uStride : planes_.vOffset + y * planes_.vStride);
    const uint8_t* mixed = data() + planes_.uOffset + y * planes_.uStride;
    switch (layout_.type) {
      case QVPT_UYVY:
        return row[4 * x + (u ? 0 : 2)];
      case QVPT_YUYV:
        return row[4 * x + (u ? 1 : 3)];
      case QVPT_v210:
        return v210(row, 4 * x + (u ? 0 : 2));
      case QVPT_NV12:
        return mixed[2 * x + (u ? 0 : 1)];
      case QVPT_P410:
        return word(plane + 2 * x) >> 6;
      case QVPT_I420:
      case QVPT_YV12:
      case QVPT_YV16:
        return plane[x];
      default:
        return word(mixed + 4 * x + (u ? 0 : 2)) >> 6;
    }
  }

 private:
  static int word(const uint8_t* p) { return p[0] | p[1] << 8; }
  static int v210(const uint8_t* row, int64_t k) {
    int value = 0;
    for (int i = 0; i < 10; ++i) {
      const int64_t bit = k / 3 * 32 + k % 3 * 10 + i;
      value |= (row[bit / 8] >> (bit % 8) & 1) << i;
    }
    return value;
  }
  // The low six bits of 16-bit samples and the top two of v210's words.
  void clearUnused() {
    for (size_t i = 0; i < memory_->size() && layout_.ten; ++i) {
      if (layout_.type == QVPT_v210 ? i % 4 == 3 : i % 2 == 0) {
        memory_->data()[i] &= layout_.type == QVPT_v210 ? 0x3f : 0xc0;
      }
    }
  }

  SlowLayout layout_;
  BITMAPINFOHEADER header_ = {};
  QVYUVPLANES planes_ = {};
  std::unique_ptr<Guarded> memory_;
};

// The chroma row of every row of a frame, block by block.
inline std::vector<int64_t> slowChromaRows(int64_t height, int halfHigh, bool interlaced) {
  std::vector<int64_t> rows;
  if (halfHigh == 1) {
    for (int64_t y = 0; y < height; ++y) rows.push_back(y);
    return rows;
  }
  while (interlaced && height - static_cast<int64_t>(rows.size()) >= 4) {
    const int64_t first = static_cast<int64_t>(rows.size()) / 2;
    for (const int64_t row : {first, first + 1, first, first + 1}) rows.push_back(row);
  }
  while (static_cast<int64_t>(rows.size()) < height) {
    const int64_t row = static_cast<int64_t>(rows.size()) / 2;
    rows.push_back(row < height / 2 || row == 0 ? row : row - 1);
  }
  return rows;
}

struct Yuv {
  int y, u, v;
};
// rows: slowChromaRows of the frame.
inline Yuv slowYuv(const Frame& frame, int64_t x, int64_t y, const std::vector<int64_t>& rows) {
  const SlowLayout& layout = frame.layout();
  const int centre = layout.ten ? 512 : 128;
  Yuv out = {frame.luma(x, y), centre, centre};
  if (frame.chromaWidth() == 0 || frame.chromaHeight() == 0) return out;
  const int64_t row = rows[static_cast<size_t>(y)];
  const int64_t column = std::min(x / layout.halfWide, frame.chromaWidth() - 1);
  out.u = frame.chroma('U', column, row);
  out.v = frame.chroma('V', column, row);
  return out;
}

// A standard by its two numbers, and its integer tables as printed.
struct SlowMatrix {
  double kr, kb;
  double redV, greenU, greenV, blueU;  // four digits, as the tables have them
  double uWeights[3], vWeights[3];
  int bu, gu, gv, rv, bo, go, ro;
};
inline constexpr SlowMatrix kSlowMatrices[] = {{0.299,
                                                0.114,
                                                1.402,
                                                -0.3441,
                                                -0.7141,
                                                1.772,
                                                {-0.1687, -0.3313, 0.5},
                                                {0.5, -0.4187, -0.0813},
                                                28384,
                                                -5510,
                                                -11437,
                                                22458,
                                                -3624960,
                                                2177408,
                                                -2866432},
                                               {0.2126,
                                                0.0722,
                                                1.5748,
                                                -0.1873,
                                                -0.4681,
                                                1.8556,
                                                {-0.1146, -0.3854, 0.5},
                                                {0.5, -0.4542, -0.0458},
                                                29725,
                                                -2995,
                                                -7493,
                                                25229,
                                                -3796864,
                                                1350656,
                                                -3221120},
                                               {0.2627,
                                                0.0593,
                                                1.4746,
                                                -0.1646,
                                                -0.5714,
                                                1.8814,
                                                {-0.1396, -0.3604, 0.5},
                                                {0.5, -0.4598, -0.0402},
                                                30137,
                                                -2636,
                                                -9152,
                                                23621,
                                                -3937389,
                                                1551499,
                                                -3084268}};

inline int slowClamp(double v) {
  return v < 0 ? 0 : v > 255 ? 255 : static_cast<int>(v);
}

struct Bgr {
  double c[3];
};

// Full size to bytes: whole numbers, rounded down at every step that is a shift.
inline Bgr slowIntegers(const SlowMatrix& m, const SlowLayout& layout, const Yuv& s) {
  if (layout.type == QVPT_UYVY || layout.type == QVPT_YUYV) {  // 12 bits
    const auto term = [&](double a, double b) {
      const double ka = floor(a * 219 / 224 * 4096 + 0.5), kb = floor(b * 219 / 224 * 4096 + 0.5);
      return floor(((s.u - 128) * ka + (s.v - 128) * kb + 2048) / 4096);
    };
    return {{s.y + term(m.blueU, 0), s.y + term(m.greenU, m.greenV), s.y + term(0, m.redV)}};
  }
  if (layout.ten) {
    const auto term = [&](double a, double b) {
      return floor((s.y + floor(((s.u - 512) * a + (s.v - 512) * b + 32768) / 16384)) / 4);
    };
    return {{term(m.bu, 0), term(m.gu, m.gv), term(0, m.rv)}};
  }
  return {{s.y + floor((s.u * double{1} * m.bu + m.bo) / 16384),
           s.y + floor((s.u * double{1} * m.gu + s.v * double{1} * m.gv + m.go) / 16384),
           s.y + floor((s.v * double{1} * m.rv + m.ro) / 16384)}};
}

// The same colour without rounding. floats, gamma: what is asked for.
inline Bgr slowReal(const SlowMatrix& m, const SlowLayout& layout, const Yuv& s, bool floats, double gamma) {
  const double units = layout.ten ? 4 : 1, centre = 128 * units;
  double perUnit = layout.ten ? 0.25 : 1, y = s.y / units;
  if (layout.ten && gamma == 0) perUnit = 255.0 / 1023;
  double chroma = 219.0 / 224;
  if (floats) {
    chroma = gamma != 0 ? 1.0 / 224 : chroma / 255;
    y = gamma != 0 ? (s.y - 16 * units) / 219 * perUnit : s.y / 255.0 * perUnit;
  }
  const double u = (s.u - centre) * chroma * perUnit, v = (s.v - centre) * chroma * perUnit;
  return {{y + u * m.blueU, y + u * m.greenU + v * m.greenV, y + v * m.redV}};
}

}  // namespace test
