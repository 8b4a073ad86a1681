#include "qv/video/yuv.h"

#include <gtest/gtest.h>

#include <memory>

#include "qv/frame/status.h"
#include "qv/video/detail/yuv_frame.h"
#include "tests/video/support/picture.h"
#include "tests/video/support/slow_yuv.h"

namespace {

using test::Bgr;
using test::Frame;
using test::Guarded;
using test::Picture;
using test::Random;
using test::SlowLayout;
using test::SlowMatrix;
using test::Yuv;

// Restricts the process and lets the conversions choose anew.
class YuvLevel {
 public:
  explicit YuvLevel(const test::Level& level) : level_(level) { qv::forgetYuvForms(); }
  ~YuvLevel() { qv::forgetYuvForms(); }

 private:
  test::AtLevel level_;
};

const SlowLayout& layoutOf(const char* name) {
  for (const SlowLayout& layout : test::kSlowLayouts) {
    if (std::string(name) == layout.name) return layout;
  }
  return test::kSlowLayouts[0];
}

QVYUVPARAMS paramsOf(uint32_t matrix, uint32_t fieldMode = 0, double gamma = 0.0) {
  QVYUVPARAMS params = {};
  params.colorMatrix = matrix;
  params.fieldMode = fieldMode;
  params.gamma = gamma;
  return params;
}

HRESULT toRgb(Picture& to, double gamma, Frame& from, const QVYUVPARAMS& params, int32_t shift) {
  return QvYUV_YUVToRGB(to.header(), gamma, to.first(), to.stride(), from.header(), &params, from.data(),
                        from.planes(), shift, 0);
}
HRESULT toYuv(Frame& to, const QVYUVPARAMS& params, Picture& from, double gamma, uint8_t range = 0) {
  return QvYUV_RGBToYUV(to.header(), &params, to.data(), to.planes(), from.header(), gamma, from.first(),
                        static_cast<uint32_t>(from.stride()), 0, 0, range);
}

// Every width and every height up to 33, without every pair of them.
std::vector<std::pair<int32_t, int32_t>> sizes() {
  std::vector<std::pair<int32_t, int32_t>> out;
  for (int32_t n = 1; n <= 33; ++n) {
    for (const int32_t m : {1, 2, 3, 6, n % 2 == 0 ? 8 : 13}) {
      out.emplace_back(n, m);
      if (n > 8) out.emplace_back(m, n);
    }
  }
  out.insert(out.end(), {{33, 33}, {70, 5}, {99, 4}, {130, 3}, {194, 2}, {201, 2}, {386, 3}});
  return out;
}

bool spoiled(Picture& picture) {
  return picture.pixels().spoiled();
}
bool spoiled(Frame& frame) {
  return frame.memory().spoiled();
}

double channel(Picture& picture, const uint8_t* pixel, int index) {
  if (picture.type() != QVPT_RGBAF128) return pixel[index];
  float value;
  memcpy(&value, pixel + 4 * index, 4);
  return static_cast<double>(value);
}

// One picture against the slow opinion. Rounding of floats may go either way within a thousandth of a code.
void expectDecoded(Picture& to, Frame& from, const SlowMatrix& matrix, bool interlaced, int32_t shift,
                   double gamma) {
  const bool floats = to.type() == QVPT_RGBAF128;
  const auto rows = test::slowChromaRows(from.height(), from.layout().halfHigh, interlaced);
  for (int64_t y = 0; y < to.header()->biHeight; ++y) {
    for (int64_t x = 0; x < to.header()->biWidth; ++x) {
      const Yuv sample = test::slowYuv(from, x << shift, y << shift, rows);
      // The top row of the frame is the last in memory.
      const uint8_t* pixel = to.row(y) + x * (floats ? 16 : 4);
      const bool whole = !floats && shift == 0;
      const Bgr expected = whole ? test::slowIntegers(matrix, from.layout(), sample)
                                 : test::slowReal(matrix, from.layout(), sample, floats, gamma);
      for (int i = 0; i < 3; ++i) {
        const double got = channel(to, pixel, i), e = expected.c[i];
        const bool good = floats  ? fabs(got - e) < 2e-6
                          : whole ? got == test::slowClamp(e)
                                  : fabs(got - std::clamp(e, 0.0, 255.0)) < 0.501;
        ASSERT_TRUE(good) << from.layout().name << " " << from.width() << "x" << from.height() << " at " << x
                          << "," << y << " channel " << i << ": " << got << " for " << e << " shift "
                          << shift;
      }
      ASSERT_EQ(channel(to, pixel, 3), floats ? 1.0 : 255.0);
    }
  }
}

// A conversion at every level of the processor: the bytes of the first, nothing spoiled at any.
template <typename Convert>
void atEveryLevel(Convert convert, const char* what) {
  std::vector<uint8_t> expected;
  for (const test::Level& level : test::kLevels) {
    const YuvLevel at(level);
    const auto converted = convert();
    ASSERT_FALSE(spoiled(*converted)) << what << " " << level.name;
    if (expected.empty()) expected = converted->bytes();
    ASSERT_EQ(expected, converted->bytes()) << what << " " << level.name;
  }
}

TEST(YuvToRgb, EveryLayoutAndSizeAgreesWithTheSlowOpinion) {
  uint32_t seed = 1;
  for (const SlowLayout& layout : test::kSlowLayouts) {
    for (const auto& [width, height] : sizes()) {
      ++seed;
      const auto side = seed & 1 ? Guarded::AtEnd : Guarded::AtStart;
      Frame frame(layout, width, height, seed, side);
      for (const int32_t type : {QVPT_RGB32, QVPT_RGBAF128}) {
        const int32_t shift =
            type == QVPT_RGB32 && layout.type == QVPT_I420 ? 0 : static_cast<int32_t>(seed / 2 % 4);
        const uint32_t matrix = seed / 3 % 3, fields = seed / 5 % 3;
        const double gamma = seed & 4 ? 2.2222222222222223 : 0.0;
        const int32_t step = 1 << shift;
        const auto run = [&] {
          auto to = std::make_unique<Picture>(type, (width + step - 1) / step, (height + step - 1) / step,
                                              seed, seed & 1);
          EXPECT_EQ(toRgb(*to, gamma, frame, paramsOf(QVYUV_BT601 + matrix, fields), shift), 0);
          return to;
        };
        expectDecoded(*run(), frame, test::kSlowMatrices[matrix], fields != 0, shift, gamma);
        atEveryLevel(run, layout.name);
        if (HasFatalFailure()) return;
      }
    }
  }
}

// Floats are bent by the table of 256 entries when source and target differ in gamma.
TEST(YuvToRgb, FloatsAreBentBetweenGammas) {
  Frame frame(layoutOf("NV12"), 37, 6, 9);
  Picture plain(QVPT_RGBAF128, 37, 6, 1), bent(QVPT_RGBAF128, 37, 6, 1);
  ASSERT_EQ(toRgb(plain, 1.0, frame, paramsOf(QVYUV_BT709, 0, 1.0), 0), 0);
  ASSERT_EQ(toRgb(bent, 1.0, frame, paramsOf(QVYUV_BT709, 0, 2.2), 0), 0);
  QvGammaCurve curve;
  QvGammaCurve_Init(&curve, 2.2, 1.0);
  for (int64_t x = 0; x < 37; ++x) {
    for (int i = 0; i < 3; ++i) {
      const float in = static_cast<float>(channel(plain, plain.row(2) + 16 * x, i));
      EXPECT_NEAR(channel(bent, bent.row(2) + 16 * x, i), static_cast<double>(QvGammaCurve_Apply(&curve, in)),
                  1e-4);
    }
  }
  atEveryLevel(
      [&] {
        auto to = std::make_unique<Picture>(QVPT_RGBAF128, 37, 6, 1);
        EXPECT_EQ(toRgb(*to, 1.0, frame, paramsOf(QVYUV_BT709, 0, 2.2), 0), 0);
        return to;
      },
      "bent");
}

TEST(YuvToRgb, StudioLevelsStay) {
  for (const SlowLayout& layout : test::kSlowLayouts) {
    Frame frame(layout, 4, 2, 1);
    Picture black(QVPT_RGBA32, 4, 2, 1);
    ASSERT_EQ(toYuv(frame, paramsOf(QVYUV_BT601), black, 2.2), 0);
    std::fill_n(black.first(), 4 * 4, uint8_t{16});
    std::fill_n(black.first() + black.stride(), 4 * 4, uint8_t{16});
    ASSERT_EQ(toYuv(frame, paramsOf(QVYUV_BT601), black, 2.2), 0);
    ASSERT_EQ(toRgb(black, 2.2, frame, paramsOf(QVYUV_BT601), 0), 0);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(black.row(1)[i], 16, 1) << layout.name;
  }
  // The two figures that matter most, to the bit.
  Frame frame(layoutOf("I420"), 2, 2, 1);
  std::fill_n(frame.data(), 6, uint8_t{128});
  std::fill_n(frame.data(), 4, uint8_t{16});
  Picture bytes(QVPT_RGB32, 2, 2, 1), floats(QVPT_RGBAF128, 2, 2, 1);
  ASSERT_EQ(toRgb(bytes, 0.0, frame, paramsOf(0), 0), 0);
  EXPECT_EQ((std::vector<uint8_t>(bytes.row(0), bytes.row(0) + 4)), (std::vector<uint8_t>{16, 16, 16, 255}));
  std::fill_n(frame.data(), 4, uint8_t{235});
  ASSERT_EQ(toRgb(floats, 0.0, frame, paramsOf(0), 0), 0);
  EXPECT_FLOAT_EQ(static_cast<float>(channel(floats, floats.row(0), 1)), 235.0f / 255.0f);
}

TEST(YuvToRgb, WhatDoesNotExistIsRefused) {
  Frame frame(layoutOf("I420"), 4, 4, 1);
  Picture to(QVPT_RGB32, 4, 4, 1);
  const std::vector<uint8_t> before = to.bytes();
  const QVYUVPARAMS params = paramsOf(0);
  for (const int32_t shift : {-1, 4, 8}) EXPECT_EQ(toRgb(to, 0, frame, params, shift), qv::kGeneralFailure);
  EXPECT_EQ(
      QvYUV_YUVToRGB(to.header(), 0, to.first(), 0, frame.header(), &params, frame.data(), nullptr, 0, 0),
      qv::kGeneralFailure);
  EXPECT_EQ(QvYUV_RGBToYUV(frame.header(), &params, frame.data(), frame.planes(), to.header(), 0, to.first(),
                           0, 1, 0, 0),
            qv::kGeneralFailure);
  frame.header()->biCompression = QvFourCC('Y', '4', '1', 'B');
  EXPECT_EQ(toRgb(to, 0, frame, params, 0), qv::kGeneralFailure);
  EXPECT_EQ(toYuv(frame, params, to, 0), qv::kGeneralFailure);
  frame.header()->biCompression = QVFOURCC_IYUV;
  Picture narrow(QVPT_RGB24, 4, 4, 1);
  EXPECT_EQ(toRgb(narrow, 0, frame, params, 0), qv::kGeneralFailure);
  EXPECT_EQ(to.bytes(), before);
  EXPECT_EQ(toRgb(to, 0, frame, params, 0), 0);
}

// Strides of either sign in the planes record, and an image smaller than the frame.
TEST(YuvToRgb, RecordsOfBottomUpCallersAndSmallerImages) {
  Frame frame(layoutOf("YV12"), 34, 10, 3);
  Picture expected(QVPT_RGB32, 34, 10, 1), got(QVPT_RGB32, 34, 10, 1), small(QVPT_RGB32, 9, 3, 1);
  ASSERT_EQ(toRgb(expected, 0, frame, paramsOf(QVYUV_BT709), 0), 0);
  for (int32_t* field : {&frame.planes()->lumaStride, &frame.planes()->uOffset, &frame.planes()->vStride})
    *field = -*field;
  frame.header()->biHeight = -10;
  ASSERT_EQ(toRgb(got, 0, frame, paramsOf(QVYUV_BT709), 0), 0);
  EXPECT_EQ(expected.bytes(), got.bytes());
  ASSERT_EQ(toRgb(small, 0, frame, paramsOf(QVYUV_BT709), 0), 0);
  for (int64_t y = 0; y < 3; ++y) EXPECT_EQ(memcmp(small.row(y), expected.row(y), 36), 0);
}

// Values a little beyond black and white.
void tame(Picture& picture, uint32_t seed) {
  Random random(seed);
  for (int64_t y = 0; y < picture.header()->biHeight; ++y) {
    for (int64_t i = 0; i < 4 * picture.header()->biWidth; ++i) {
      const float value = static_cast<float>(random.below(4096)) / 2730.0f - 0.25f;
      memcpy(picture.row(y) + 4 * i, &value, 4);
    }
  }
}

// What one sample of an encoded frame should be. Where the exact value lies within a thousandth of a whole
// number either neighbour will do.
class SlowEncoder {
 public:
  SlowEncoder(Frame& frame, Picture& picture, const SlowMatrix& matrix, double gamma, bool range)
      : frame_(frame), picture_(picture), matrix_(matrix) {
    const bool floats = picture.type() == QVPT_RGBAF128, full = gamma != 0 || range;
    const bool ten = frame.layout().ten;
    const double factor = !ten ? 1 : gamma != 0 ? 4 : 1023.0 / 255;
    luma_ = (!floats ? 1 : full ? 219 : 255) * factor;
    offset_ = (floats && full ? 16 : 0) * factor;
    chroma_ = (!floats ? 224.0 / 219 : full ? 224 : 255 * 224.0 / 219) * factor;
    centre_ = ten ? 512 : 128;
  }
  void expectLuma(int64_t x, int64_t y) const {
    const double w[3] = {matrix_.kr, 1 - matrix_.kr - matrix_.kb, matrix_.kb};
    expect(frame_.luma(x, y), sum(w, x, y) * luma_ + offset_ + dither(y, x), "luma", x, y);
  }
  void expectChroma(int64_t column, int64_t row, const std::vector<int64_t>& rows) const {
    const SlowLayout& layout = frame_.layout();
    const bool oneRow = layout.type == QVPT_P010 || layout.type == QVPT_PL10;
    for (const char which : {'U', 'V'}) {
      double total = 0;
      int count = 0;
      for (int64_t y = 0; y < frame_.height(); ++y) {
        if (rows[static_cast<size_t>(y)] != row || (oneRow && count > 0)) continue;
        if (layout.halfHigh == 2 && frame_.height() % 2 && y == frame_.height() - 1) continue;
        for (int i = 0; i < layout.halfWide; ++i) {
          const int64_t x = std::min(column * layout.halfWide + i, frame_.width() - 1);
          total += sum(which == 'U' ? matrix_.uWeights : matrix_.vWeights, x, y);
          ++count;
        }
      }
      expect(frame_.chroma(which, column, row), total / count * chroma_ + centre_ + dither(row, column),
             "chroma", column, row);
    }
  }

 private:
  static double dither(int64_t row, int64_t column) {
    static const int kOrder[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    return kOrder[row & 3][column & 3] / 16.0;
  }
  double sum(const double* w, int64_t x, int64_t y) const {
    const uint8_t* pixel = picture_.row(y) + x * (picture_.type() == QVPT_RGBAF128 ? 16 : 4);
    return w[0] * channel(picture_, pixel, 2) + w[1] * channel(picture_, pixel, 1) +
           w[2] * channel(picture_, pixel, 0);
  }
  void expect(int got, double exact, const char* what, int64_t x, int64_t y) const {
    const double low = frame_.layout().ten ? 4 : 1, high = frame_.layout().ten ? 1019 : 254;
    exact = std::clamp(exact, low, high);
    ASSERT_TRUE(got == floor(exact - 1e-3) || got == floor(exact + 1e-3) || got == exact)
        << frame_.layout().name << " " << what << " " << x << "," << y << ": " << got << " for " << exact;
  }

  Frame& frame_;
  Picture& picture_;
  const SlowMatrix& matrix_;
  double luma_, offset_, chroma_, centre_;
};

TEST(RgbToYuv, EveryLayoutAndSizeAgreesWithTheSlowOpinion) {
  uint32_t seed = 1;
  for (const SlowLayout& layout : test::kSlowLayouts) {
    for (const auto& [width, height] : sizes()) {
      for (const int32_t type : {QVPT_RGBA32, QVPT_RGBAF128}) {
        ++seed;
        Picture from(type, width, height, seed, seed & 1);
        if (type == QVPT_RGBAF128) tame(from, seed);
        const double gamma = seed & 4 ? 2.2222222222222223 : 0.0;
        const bool range = seed & 8;
        const uint32_t matrix = seed / 3 % 3, fields = seed / 5 % 2;
        const auto run = [&] {
          auto to =
              std::make_unique<Frame>(layout, width, height, 5, seed & 1 ? Guarded::AtEnd : Guarded::AtStart);
          EXPECT_EQ(toYuv(*to, paramsOf(QVYUV_BT601 + matrix, fields), from, gamma, range), 0);
          return to;
        };
        const auto frame = run();
        const SlowEncoder slow(*frame, from, test::kSlowMatrices[matrix], gamma, range);
        const auto rows = test::slowChromaRows(height, layout.halfHigh, fields != 0);
        for (int64_t y = 0; y < height; ++y) {
          for (int64_t x = 0; x < width; ++x) slow.expectLuma(x, y);
        }
        for (int64_t y = 0; y < frame->chromaHeight(); ++y) {
          for (int64_t x = 0; x < frame->chromaWidth(); ++x) slow.expectChroma(x, y, rows);
        }
        atEveryLevel(run, layout.name);
        ASSERT_FALSE(from.pixels().spoiled()) << layout.name;
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(RgbToYuv, NeverWritesTheSynchronisationCodes) {
  Picture from(QVPT_RGBAF128, 72, 2, 1);
  const float values[] = {-1e30f, -1.0f, 0.0f, 1.0f, 2.0f, 1e30f, INFINITY, NAN};
  for (int64_t y = 0; y < 2; ++y) {
    for (int64_t i = 0; i < 72 * 4; ++i) memcpy(from.row(y) + 4 * i, &values[i / 4 % 8], 4);
  }
  for (const SlowLayout& layout : test::kSlowLayouts) {
    for (const test::Level& level : test::kLevels) {
      const YuvLevel at(level);
      Frame frame(layout, 72, 2, 1);
      ASSERT_EQ(toYuv(frame, paramsOf(QVYUV_BT709), from, 0.0), 0);
      const int lowest = layout.ten ? 4 : 1, highest = layout.ten ? 1019 : 254;
      for (int64_t x = 0; x < 72; ++x) {
        const int luma = frame.luma(x, 0),
                  expected[] = {lowest, lowest, lowest, -1, highest, highest, highest, lowest};
        EXPECT_EQ(luma, expected[x % 8] < 0 ? luma : expected[x % 8])
            << layout.name << " " << level.name << " " << x;
        const int u = frame.chroma('U', x * frame.chromaWidth() / 72, 0);
        EXPECT_TRUE(u >= lowest && u <= highest) << layout.name;
      }
    }
  }
}

// The planar entry points, one block of output at a time, in whole numbers.
struct PlanarEntry {
  const char* name;
  int across, down, chromaAcross, termShift, resultShift;
  HRESULT (*run)(Frame& f, uint8_t* out, int32_t stride, int32_t fields, int32_t matrix);
  bool fields, mixes;  // looks at the field mode; takes chroma from two rows when it can
};

#define QV_PLANES(f)                                                                     \
  f.data(), f.planes()->lumaStride, f.data() + f.planes()->uOffset, f.planes()->uStride, \
      f.data() + f.planes()->vOffset, f.planes()->vStride
#define QV_FIELDS(name)                                                                    \
  [](Frame& f, uint8_t* o, int32_t s, int32_t fields, int32_t m) {                         \
    return name(f.header()->biWidth, f.header()->biHeight, o, s, QV_PLANES(f), fields, m); \
  }
#define QV_BLEND(name)                                                             \
  [](Frame& f, uint8_t* o, int32_t s, int32_t, int32_t m) {                        \
    return name(f.header()->biWidth, f.header()->biHeight, o, s, QV_PLANES(f), m); \
  }
const PlanarEntry kPlanarEntries[] = {
    {"full", 1, 1, 1, 14, 0, QV_FIELDS(QvYUV420ToRGBA), true, false},
    {"half across", 2, 1, 1, 13, 1, QV_FIELDS(QvYUV420ToRGBA_HalfHorz), true, false},
    {"half", 2, 2, 1, 13, 2, QV_BLEND(QvYUV420ToRGBA_Half_BlendFields), false, true},
    {"quarter across", 4, 2, 2, 13, 3, QV_BLEND(QvYUV420ToRGBA_QuarterHorz_HalfVert_BlendFields), false,
     true},
    {"quarter", 4, 4, 2, 12, 4, QV_BLEND(QvYUV420ToRGBA_Quarter_BlendFields), false, true},
};

int slowReduced(const PlanarEntry& e, Frame& f, const SlowMatrix& m, int channelIndex, int64_t x, int64_t y,
                bool fields) {
  const auto rows = test::slowChromaRows(f.height(), 2, fields || e.mixes);
  double luma = 0, u = 0, v = 0;
  std::vector<int64_t> chroma;
  for (int r = 0; r < e.down; ++r) {
    const int64_t row = y * e.down + r;
    for (int i = 0; i < e.across; ++i) luma += f.luma(x * e.across + i, row);
    const int64_t c = rows[static_cast<size_t>(row)];
    if (std::find(chroma.begin(), chroma.end(), c) == chroma.end()) chroma.push_back(c);
  }
  if (e.mixes && chroma.size() == 1) chroma.push_back(chroma[0]);
  for (const int64_t row : chroma) {
    for (int i = 0; i < e.chromaAcross; ++i) {
      u += f.chroma('U', x * e.across / 2 + i, row);
      v += f.chroma('V', x * e.across / 2 + i, row);
    }
  }
  const double offsets = static_cast<double>(chroma.size()) * e.chromaAcross;
  const double terms[3] = {u * m.bu + offsets * m.bo, u * m.gu + v * m.gv + offsets * m.go,
                           v * m.rv + offsets * m.ro};
  const double term = floor(terms[channelIndex] / (1 << e.termShift));
  return test::slowClamp(floor((luma + term) / (1 << e.resultShift)));
}

TEST(YuvPlanar, EveryReductionAgreesWithTheSlowOpinion) {
  for (const PlanarEntry& e : kPlanarEntries) {
    for (int32_t width = 4; width <= 140; width += width < 40 ? 4 : 20) {
      for (const int32_t height : {4, 6, 8, 10, 16}) {
        for (const int32_t fields : {0, 1, 2, 3}) {
          const int matrix = (width / 4 + height) % 3;
          const int32_t outWidth = width / e.across, outHeight = height / e.down;
          Frame frame(layoutOf(width & 8 ? "I420" : "YV12"), width, height,
                      static_cast<uint32_t>(width + height + fields));
          const auto run = [&] {
            auto to = std::make_unique<Picture>(QVPT_RGB32, outWidth, outHeight, 3, fields & 1);
            EXPECT_EQ(e.run(frame, to->row(0), -to->stride(), fields, 515 + matrix), 0) << e.name;
            return to;
          };
          const auto to = run();
          for (int64_t y = 0; y < outHeight; ++y) {
            for (int64_t x = 0; x < outWidth; ++x) {
              for (int i = 0; i < 3; ++i) {
                ASSERT_EQ(to->row(y)[4 * x + i], slowReduced(e, frame, test::kSlowMatrices[matrix], i, x, y,
                                                             e.fields && (fields == 1 || fields == 2)))
                    << e.name << " " << width << "x" << height << " at " << x << "," << y << " fields "
                    << fields;
              }
              ASSERT_EQ(to->row(y)[4 * x + 3], 255);
            }
          }
          atEveryLevel(run, e.name);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// Half and quarter of an interlaced frame are those of its first field; the dispatcher agrees.
TEST(YuvPlanar, InterlacedFramesShrinkToOneField) {
  Frame frame(layoutOf("I420"), 40, 16, 8);
  Frame field(layoutOf("I420"), 40, 8, 8);
  const QVYUVPLANES& p = *frame.planes();
  const QVYUVPLANES& q = *field.planes();
  for (int64_t y = 0; y < 8; ++y)
    memcpy(field.data() + y * q.lumaStride, frame.data() + 2 * y * p.lumaStride, 40);
  for (int64_t y = 0; y < 4; ++y) {
    memcpy(field.data() + q.uOffset + y * q.uStride, frame.data() + p.uOffset + 2 * y * p.uStride, 20);
    memcpy(field.data() + q.vOffset + y * q.vStride, frame.data() + p.vOffset + 2 * y * p.vStride, 20);
  }
  struct Case {
    int32_t shift;
    decltype(&QvYUV420ToRGBA_Half) whole;
  };
  for (const Case& c : {Case{1, QvYUV420ToRGBA_Half}, Case{2, QvYUV420ToRGBA_Quarter}}) {
    const int32_t width = 40 >> c.shift, height = 16 >> c.shift;
    for (const int32_t fields : {0, 1}) {
      Picture direct(QVPT_RGB32, width, height, 1), dispatched(QVPT_RGB32, width, height, 1);
      ASSERT_EQ(c.whole(40, 16, direct.row(0), -direct.stride(), QV_PLANES(frame), fields, 516), 0);
      ASSERT_EQ(toRgb(dispatched, 0, frame, paramsOf(516, static_cast<uint32_t>(fields)), c.shift), 0);
      EXPECT_EQ(direct.bytes(), dispatched.bytes());
      if (fields == 0 || c.shift != 1) continue;
      PlanarEntry plain = kPlanarEntries[1];
      plain.mixes = false;  // a field of a frame is progressive
      for (int64_t y = 0; y < height; ++y) {
        for (int64_t x = 0; x < width; ++x)
          ASSERT_EQ(direct.row(y)[4 * x + 1],
                    slowReduced(plain, field, test::kSlowMatrices[1], 1, x, y, false));
      }
    }
  }
}

TEST(YuvPlanar, SizesThatDoNotFitAreRefused) {
  Frame f(layoutOf("I420"), 16, 16, 1);
  uint8_t out[16 * 16 * 4];
  const auto call = [&](auto function, int32_t w, int32_t h, auto... rest) {
    return function(w, h, out, 64, QV_PLANES(f), rest..., 515);
  };
  EXPECT_EQ(call(QvYUV420ToRGBA, 3, 2, 0), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA, 2, 3, 0), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA_HalfHorz, 4, 3, 0), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA_Half, 5, 4, 0), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA_Half, 4, 6, 1), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA_QuarterHorz_HalfVert_BlendFields, 6, 4), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV420ToRGBA_Quarter_BlendFields, 7, 7), 0);
  EXPECT_EQ(call(QvYUV420ToRGBA_Quarter, 7, 3, 0), 0);
  EXPECT_EQ(call(QvYUV422PlanarToRGBA, 3, 4), qv::kInvalidArgument);
  EXPECT_EQ(call(QvYUV422PlanarToRGBA, 4, 0), 0);
  EXPECT_EQ(call(QvYUV422PlanarToRGBA, 4, -1), 0);
}

TEST(YuvPlanar, FourTwoTwoAgreesWithTheDispatcher) {
  Frame frame(layoutOf("YV16"), 36, 5, 4);
  Picture direct(QVPT_RGB32, 36, 5, 1), dispatched(QVPT_RGB32, 36, 5, 1);
  ASSERT_EQ(QvYUV422PlanarToRGBA(36, 5, direct.row(0), -direct.stride(), QV_PLANES(frame), 517), 0);
  ASSERT_EQ(toRgb(dispatched, 0, frame, paramsOf(517), 0), 0);
  EXPECT_EQ(direct.bytes(), dispatched.bytes());
}

TEST(YuvPacked, BothDirectionsAgreeWithTheSlowOpinion) {
  for (int32_t width = 2; width <= 140; width += 2) {
    const int32_t height = width % 3 + 1;
    const uint32_t standard = static_cast<uint32_t>(width / 2 % 3);
    Frame frame(layoutOf("UYVY"), width, height, static_cast<uint32_t>(width));
    const SlowMatrix& m = test::kSlowMatrices[standard];
    const auto decode = [&] {
      auto to = std::make_unique<Picture>(QVPT_RGB32, width, height, 3, width & 2);
      EXPECT_EQ(QvUYVY2RGBA(to->row(0), frame.data(), -to->stride(), width, height, standard + 1), 0);
      return to;
    };
    expectDecoded(*decode(), frame, m, false, 0, 0);
    atEveryLevel(decode, "UYVY2RGBA");
    Picture from(QVPT_RGB32, width, height, static_cast<uint32_t>(width));
    const auto encode = [&] {
      EXPECT_EQ(QvRGBA2UYVY(frame.data(), from.row(0), -from.stride(), static_cast<uint64_t>(2 * width),
                            static_cast<uint32_t>(width), height, standard + 1),
                0);
      return &frame;
    };
    atEveryLevel(encode, "RGBA2UYVY");
    const auto weight = [](double w) { return floor(w * 4096 + 0.5); };
    for (int64_t y = 0; y < height; ++y) {
      for (int64_t x = 0; x < width; ++x) {
        const uint8_t* p = from.row(y) + 4 * x;
        const double v = weight(m.kr) * p[2] + weight(1 - m.kr - m.kb) * p[1] + weight(m.kb) * p[0];
        ASSERT_EQ(frame.luma(x, y), std::clamp(floor((v + 2048) / 4096), 1.0, 254.0));
        if (x & 1) continue;
        const double* u = m.uWeights;
        const auto pair = [&](double w, int i) { return weight(w * 224 / 219 / 2) * (p[i] + p[4 + i]); };
        // Weights of four digits here, of sixteen there: the same to a code value.
        const double chroma = (pair(u[0], 2) + pair(u[1], 1) + pair(u[2], 0) + 0x80800) / 4096;
        ASSERT_NEAR(frame.chroma('U', x / 2, y), std::clamp(floor(chroma), 1.0, 254.0), 1);
      }
    }
  }
}

TEST(YuvPacked, WhatCannotBeIsRefused) {
  uint8_t a[256] = {}, b[256] = {};
  EXPECT_EQ(QvUYVY2RGBA(a, nullptr, 64, 4, 1, 1), qv::kNullPointer);
  EXPECT_EQ(QvUYVY2RGBA(a, b, 64, 3, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvUYVY2RGB(a, b, 64, 0, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvUYVY2RGB(a, b, 64, 4, 0, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvUYVY2RGBA(a, b, 15, 4, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvUYVY2RGBA(a, b, -16, 4, 1, 1), 0);
  EXPECT_EQ(QvRGBA2UYVY(nullptr, b, 16, 8, 4, 1, 1), qv::kNullPointer);
  EXPECT_EQ(QvRGBA2UYVY(a, b, 15, 8, 4, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvRGB2UYVY(a, b, 16, 7, 4, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvRGB2UYVY(a, b, 16, 8, 5, 1, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, nullptr, 8, 16, 4, 1), qv::kNullPointer);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 7, 16, 4, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 8, 4, 4, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 8, 16, 3, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 8, 16, 0, 1), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 8, 16, 4, 0), qv::kInvalidArgument);
  EXPECT_EQ(QvYUV_v210_TO_UYVY(a, b, 8, 5, 4, 1), 0);
}

TEST(YuvMatrix, SelectionBySize) {
  struct Case {
    int32_t width, height;
    uint32_t standard;
  };
  for (const Case& c : {Case{720, 480, 1},
                        {1280, 720, 2},
                        {704, 720, 2},
                        {703, 480, 2},
                        {721, 576, 2},
                        {704, 719, 1},
                        {0, 0, 2}}) {
    EXPECT_EQ(QvYuvMatrix(0, c.width, c.height), QvYuvMatrix(QVYUV_BT601 + c.standard - 1, 1, 1)) << c.width;
    EXPECT_EQ(QvYuvMatrix64(0, c.width, c.height), QvYuvMatrix64(c.standard, 1, 1)) << c.width;
    EXPECT_EQ(QvYuvMatrix(518, c.width, c.height), QvYuvMatrix(514, c.width, c.height));
  }
}

// Repacks.

HRESULT repack(decltype(&QvYUV_YUVToYUV) function, Frame& to, Frame& from) {
  return function(to.header(), to.data(), to.planes(), from.header(), from.data(), from.planes());
}

void expectSameSamples(const Frame& to, const Frame& from, int toShift) {
  for (int64_t y = 0; y < to.height(); ++y) {
    for (int64_t x = 0; x < to.width(); ++x)
      ASSERT_EQ(to.luma(x, y), from.luma(x, y) >> toShift) << x << "," << y;
  }
  const int64_t across = from.layout().halfWide == to.layout().halfWide ? 1 : 2;
  const int64_t down = from.layout().halfHigh == to.layout().halfHigh ? 1 : 2;
  for (int64_t y = 0; y < to.height() / to.layout().halfHigh; ++y) {
    for (int64_t x = 0; x < to.width() / to.layout().halfWide; ++x) {
      for (const char which : {'U', 'V'}) {
        ASSERT_EQ(to.chroma(which, x, y), from.chroma(which, x * across, y * down) >> toShift)
            << x << "," << y;
      }
    }
  }
}

TEST(YuvRepack, SamplesArriveWhereTheyBelong) {
  struct Case {
    const char *from, *to;
    decltype(&QvYUV_YUVToYUV) function;
    int shift;
    bool even;
  };
  const Case cases[] = {
      {"I420", "NV12", QvYUV_I420_To_NV12, 0, false}, {"I420", "YV12", QvYUV_I420_To_YV12, 0, false},
      {"NV12", "I420", QvYUV_NV12_To_I420, 0, false}, {"YV12", "I420", QvYUV_YV12_To_I420, 0, false},
      {"I420", "YV12", QvYUV_YUVToYUV, 0, false},     {"NV12", "I420", QvYUV_YUVToYUV, 0, false},
      {"YV12", "I420", QvYUV_YUVToYUV, 0, false},     {"I420", "NV12", QvYUV_YUVToYUV, 0, false},
      {"P010", "I420", QvYUV_P010_To_I420, 2, false}, {"P210", "I420", QvYUV_P210_To_I420, 2, false},
      {"P410", "I420", QvYUV_P410_To_I420, 2, false}, {"P210", "v210", QvYUV_P210_To_v210, 0, true},
      {"v210", "P210", QvYUV_v210_To_P210, 0, true}};
  for (const Case& c : cases) {
    for (const auto& [width, height] : sizes()) {
      if (c.even && width % 2) continue;
      const auto side = width & 1 ? Guarded::AtEnd : Guarded::AtStart;
      Frame from(layoutOf(c.from), width, height, static_cast<uint32_t>(width), side);
      for (const test::Level& level : test::kLevels) {
        const YuvLevel at(level);
        Frame to(layoutOf(c.to), width, height, 9, side);
        ASSERT_EQ(repack(c.function, to, from), 0);
        expectSameSamples(to, from, c.shift);
        ASSERT_FALSE(HasFatalFailure() || to.memory().spoiled() || from.memory().spoiled())
            << c.from << " to " << c.to << " " << level.name << " " << width << "x" << height;
      }
    }
  }
}

TEST(YuvRepack, OtherPairsLeaveTheTargetAndNullsAreRefused) {
  Frame yv16(layoutOf("YV16"), 8, 4, 1), nv12(layoutOf("NV12"), 8, 4, 2);
  const std::vector<uint8_t> before = nv12.bytes();
  EXPECT_EQ(repack(QvYUV_YUVToYUV, nv12, yv16), 0);
  EXPECT_EQ(nv12.bytes(), before);
  EXPECT_EQ(QvYUV_YUVToYUV(nv12.header(), nullptr, nv12.planes(), yv16.header(), yv16.data(), yv16.planes()),
            qv::kNullPointer);
  EXPECT_EQ(
      QvYUV_I420_To_NV12(nv12.header(), nv12.data(), nullptr, yv16.header(), yv16.data(), yv16.planes()),
      qv::kNullPointer);
}

TEST(YuvRepack, PackedTargetsHaveLumaFirst) {
  Frame from(layoutOf("I420"), 70, 5, 1);
  for (const test::Level& level : test::kLevels) {
    const YuvLevel at(level);
    Frame to(layoutOf("UYVY"), 70, 5, 2);
    ASSERT_EQ(repack(QvYUV_YUVToYUV, to, from), 0);
    for (int64_t y = 0; y < 5; ++y) {
      const int64_t c = std::min<int64_t>(y / 2, 1);
      for (int64_t x = 0; x < 35; ++x) {
        const uint8_t* pair = to.data() + 140 * y + 4 * x;
        ASSERT_EQ(pair[0], from.luma(2 * x, y));
        ASSERT_EQ(pair[1], from.chroma('U', x, c));
        ASSERT_EQ(pair[2], from.luma(2 * x + 1, y));
        ASSERT_EQ(pair[3], from.chroma('V', x, c));
      }
    }
  }
}

TEST(YuvRepack, TheSisterOfTheNarrowingKeepsTwoBits) {
  Frame from(layoutOf("P010"), 70, 4, 1), to(layoutOf("I420"), 70, 4, 2);
  ASSERT_EQ(qv::narrowTo420(to.header(), to.data(), to.planes(), from.header(), from.data(), from.planes(),
                            QVPT_P010, 3),
            0);
  for (int64_t x = 0; x < 70; ++x) EXPECT_EQ(to.luma(x, 1), from.luma(x, 1) >> 2 & 3);
}

TEST(YuvRepack, RectanglesAreCutToBothFrames) {
  struct Case {
    const char *from, *to;
    decltype(&QvYUV_I420_To_I420_SubRect) function;
    bool everyRow;
  };
  const Case cases[] = {{"I420", "I420", QvYUV_I420_To_I420_SubRect, false},
                        {"YV12", "I420", QvYUV_YV12_To_I420_SubRect, false},
                        {"NV12", "I420", QvYUV_NV12_To_I420_SubRect, false},
                        {"P010", "P010", QvYUV_P010_To_P010_SubRect, false},
                        {"YV16", "YUYV", QvYUV_YV16_To_YUYV_SubRect, true}};
  const int32_t rects[][4] = {{0, 0, 20, 12}, {2, 2, 8, 4},  {4, 3, 100, 100},
                              {19, 11, 4, 4}, {20, 0, 4, 4}, {0, 40, 4, 4},
                              {2, 2, -4, 4},  {6, 4, 9, 5},  {INT32_MAX, INT32_MAX, 4, 4}};
  for (const Case& c : cases) {
    for (const auto& r : rects) {
      Frame from(layoutOf(c.from), 20, 12, 5), to(layoutOf(c.to), 14, 10, 6),
          before(layoutOf(c.to), 14, 10, 6);
      ASSERT_EQ(c.function(to.header(), to.data(), to.planes(), from.header(), from.data(), from.planes(),
                           static_cast<uint32_t>(r[0]), static_cast<uint32_t>(r[1]), r[2], r[3]),
                0);
      ASSERT_FALSE(to.memory().spoiled());
      const int64_t width = std::clamp<int64_t>(20 - int64_t{r[0]}, 0, std::clamp(r[2], 0, 14));
      const int64_t height = std::clamp<int64_t>(12 - int64_t{r[1]}, 0, std::clamp(r[3], 0, 10));
      const int64_t luma = c.everyRow ? width / 2 * 2 : width;
      for (int64_t y = 0; y < 10; ++y) {
        for (int64_t x = 0; x < 14; ++x) {
          const bool inside = x < luma && y < height;
          ASSERT_EQ(to.luma(x, y), inside ? from.luma(x + r[0], y + r[1]) : before.luma(x, y))
              << c.from << x << "," << y;
        }
      }
      const int64_t rows = c.everyRow ? height : height / 2;
      for (int64_t y = 0; y < to.chromaHeight(); ++y) {
        for (int64_t x = 0; x < to.chromaWidth(); ++x) {
          const bool inside = x < width / 2 && y < rows && y + r[1] < from.chromaHeight();
          ASSERT_EQ(to.chroma('V', x, y),
                    inside ? from.chroma('V', x + r[0] / 2, y + r[1]) : before.chroma('V', x, y))
              << c.from << " " << x << "," << y << " of " << r[0] << "," << r[1];
        }
      }
    }
  }
}

TEST(YuvRepack, V210ToPackedBytes) {
  for (int32_t width = 2; width <= 130; width += 2) {
    Frame from(layoutOf("v210"), width, 2, static_cast<uint32_t>(width)), to(layoutOf("UYVY"), width, 2, 1);
    for (const test::Level& level : test::kLevels) {
      const YuvLevel at(level);
      ASSERT_EQ(QvYUV_v210_TO_UYVY(to.data(), from.data(), 2 * width,
                                   static_cast<uint64_t>(from.planes()->lumaStride),
                                   static_cast<uint64_t>(width), 2),
                0);
      expectSameSamples(to, from, 2);
      ASSERT_FALSE(HasFatalFailure() || to.memory().spoiled()) << level.name << width;
    }
  }
}

// Frames large enough for several threads.
TEST(YuvThreads, LargeFramesConvertLikeTheirRows) {
  for (const char* name : {"I420", "v210", "P010", "UYVY"}) {
    Frame frame(layoutOf(name), 640, 402, 5), again(layoutOf(name), 640, 402, 6);
    Picture to(QVPT_RGB32, 640, 402, 1);
    ASSERT_EQ(toRgb(to, 0, frame, paramsOf(0, 1), 0), 0);
    expectDecoded(to, frame, test::kSlowMatrices[1], true, 0, 0);
    ASSERT_EQ(toYuv(again, paramsOf(0, 1), to, 2.2), 0);
    ASSERT_FALSE(again.memory().spoiled());
  }
}

}  // namespace
