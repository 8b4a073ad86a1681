#include "qv/video/copy.h"

#include <gtest/gtest.h>

#include <array>

#include "qv/frame/status.h"
#include "qv/video/kernels.h"
#include "qv/video/quantise.h"
#include "tests/video/support/picture.h"

namespace {

using test::AtLevel;
using test::Picture;
using test::Random;
using test::SlowType;

constexpr HRESULT kUnsupportedMedia = static_cast<HRESULT>(0x8004e000u);
constexpr int32_t kOne = 16384;

class Inverse {
 public:
  explicit Inverse(const BITMAPINFOHEADER* header) {
    EXPECT_EQ(QvDibCreateColorQuantizer(&table_, header), 0);
  }
  ~Inverse() {
    GlobalUnlock(GlobalHandle(table_));
    GlobalFree(GlobalHandle(table_));
  }
  const uint8_t* table() const { return static_cast<const uint8_t*>(table_); }

 private:
  void* table_ = nullptr;
};

HRESULT fade(Picture& picture, const RECT* rect, const QVRGBAFLOAT& colour, float amount, int32_t keepAlpha,
             uint32_t flags = 0) {
  return QvDibFadeToColor(picture.header(), picture.first(), rect, static_cast<uint32_t>(picture.stride()),
                          &colour, amount, keepAlpha, flags);
}

HRESULT copy(Picture& to, const RECT* toRect, Picture& from, const RECT* fromRect, uint32_t flags,
             double toGamma = 0.0, double fromGamma = 0.0) {
  return QvDibCopy(to.header(), to.first(), toRect, to.stride(), from.header(), from.first(), fromRect,
                   static_cast<uint32_t>(from.stride()), flags, toGamma, fromGamma);
}

bool isBytes(int32_t type) {
  return type == QVPT_RGB24 || type == QVPT_RGB32 || type == QVPT_RGBA32;
}

// What one pixel becomes, from the definitions: the types that keep their bits, bytes to and from floats, and
// everything else through 16 bits.
void slowCopy(Picture& from, int64_t sx, int64_t sy, Picture& to, uint8_t* out, int64_t tx, int64_t ditherX,
              int64_t ditherY, uint32_t quality, const uint8_t* inverse) {
  static const int kOrder[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
  const SlowType &s = test::slowType(from.type()), &t = test::slowType(to.type());
  if (from.type() == to.type() && s.bits > 8) {
    memcpy(out + tx * t.bits / 8, from.row(sy) + sx * s.bits / 8, t.bits / 8);
    return;
  }
  float pixel[4];
  if (s.kind == SlowType::FloatColour && isBytes(to.type())) {
    memcpy(pixel, from.row(sy) + 16 * sx, 16);
    const double step = kOrder[ditherY & 3][ditherX & 3] / 16.0 / 255.0;
    for (uint32_t i = 0; i < t.bits / 8; ++i) {
      // The published offsets have seven decimals.
      const float v = quality >= 3 ? pixel[i] + static_cast<float>(round(step * 1e7) / 1e7) : pixel[i];
      out[tx * t.bits / 8 + i] = !(v > 0) ? 0 : v >= 1 ? 255 : static_cast<uint8_t>(floorf(v * 255.0f));
    }
    return;
  }
  if (t.kind == SlowType::FloatColour && isBytes(from.type())) {
    const uint8_t* p = from.row(sy) + sx * s.bits / 8;
    for (uint32_t i = 0; i < 4; ++i) pixel[i] = i < s.bits / 8 ? static_cast<float>(p[i]) / 255.0f : 1.0f;
    memcpy(out + 16 * tx, pixel, 16);
    return;
  }
  test::slowWrite(to.type(), out, tx, from.read(sx, sy, quality >= 3), inverse);
}

// Every pair of types, between guard pages, rows both ways, rectangles at odd places, at every level.
TEST(Copy, EveryPairOfTypes) {
  Picture palette4(QVPT_PAL4, 1, 1, 0), palette8(QVPT_PAL8, 1, 1, 0);
  const Inverse inverse4(palette4.header()), inverse8(palette8.header());
  uint32_t seed = 1;
  for (const SlowType& s : test::kSlowTypes) {
    for (const SlowType& t : test::kSlowTypes) {
      if (s.type == QVPT_A2RGB10 || t.type == QVPT_A2RGB10) continue;
      const bool toPalette = t.kind == SlowType::Palette;
      for (const int32_t width : {1, 2, 3, 4, 5, 8, 11, 17, 33}) {
        if (toPalette && width != 5 && width != 33) continue;
        ++seed;
        const uint32_t quality = 1 + seed % 4;
        const test::Level& level = test::kLevels[seed / 4 % 3];
        const AtLevel at(level);
        const int32_t height = 1 + static_cast<int32_t>(seed % 4), margin = static_cast<int32_t>(seed % 3);
        Picture from(s.type, width + margin, height + 1, seed, seed % 2 == 0);
        Picture to(t.type, width + 2, height, seed + 1000, seed % 5 < 2);
        const RECT fromRect = {margin, 1, margin + width, height + 1}, toRect = {1, 0, width + 1, height};
        const uint8_t* inverse = t.type == QVPT_PAL4 ? inverse4.table() : inverse8.table();
        std::vector<std::vector<uint8_t>> expected;
        for (int32_t y = 0; y < height; ++y) {
          std::vector<uint8_t> row(to.row(y), to.row(y) + (t.bits * (width + 2) + 7) / 8);
          for (int32_t x = 0; x < width; ++x) {
            slowCopy(from, margin + x, 1 + y, to, row.data(), 1 + x, x, y, quality, inverse);
          }
          expected.push_back(row);
        }
        ASSERT_EQ(copy(to, &toRect, from, &fromRect, quality), 0);
        for (int32_t y = 0; y < height; ++y) {
          const std::vector<uint8_t>& row = expected[static_cast<size_t>(y)];
          ASSERT_EQ(memcmp(row.data(), to.row(y), row.size()), 0)
              << s.type << " to " << t.type << " width " << width << " quality " << quality << " "
              << level.name;
        }
        ASSERT_FALSE(to.pixels().spoiled());
      }
    }
  }
}

// Enough rows for several threads, and one block in both images.
TEST(Copy, LargeImages) {
  for (const int32_t type : {QVPT_RGB32, QVPT_RGB24, QVPT_RGB565}) {
    const uint32_t bits = test::slowType(type).bits;
    std::vector<uint8_t> from(640 * 500 * bits / 8), to(from.size()), back(from.size());
    Random(6).fill(from.data(), from.size());
    Picture header(type, 640, 500, 1), wide(QVPT_RGBA64, 640, 500, 1);
    ASSERT_EQ(
        QvDibCopy(header.header(), to.data(), nullptr, 0, header.header(), from.data(), nullptr, 0, 3, 0, 0),
        0);
    EXPECT_EQ(from, to);
    std::vector<uint8_t> middle(640 * 500 * 8);
    QvDibCopy(wide.header(), middle.data(), nullptr, 0, header.header(), from.data(), nullptr, 0, 3, 0, 0);
    QvDibCopy(header.header(), back.data(), nullptr, 0, wide.header(), middle.data(), nullptr, 0, 3, 0, 0);
    EXPECT_EQ(from, back) << type;
  }
}

TEST(Copy, GammaTablesFollowTheCurve) {
  struct Row {
    int32_t to;
    uint32_t quality;
    double tolerance;
  };
  const Row rows[] = {{QVPT_RGB32, 2, 1.01 / 255},    {QVPT_RGB32, 3, 1.5 / 255},
                      {QVPT_RGB24, 3, 1.5 / 255},     {QVPT_RGB10A2, 2, 2.0 / 1023},
                      {QVPT_RGB10A2, 3, 1.01 / 1023}, {QVPT_RGBAF128, 3, 2e-4}};
  for (const Row& row : rows) {
    Picture from(QVPT_RGBAF128, 600, 1, 4), to(row.to, 600, 1, 5);
    std::vector<float> in(2400);
    for (int i = 0; i < 2400; ++i) in[static_cast<size_t>(i)] = static_cast<float>(i / 4) / 599.0f;
    memcpy(from.row(0), in.data(), in.size() * 4);
    ASSERT_EQ(copy(to, nullptr, from, nullptr, row.quality, 0.0, 1.0), 0);
    for (int x = 8; x < 600; ++x) {
      const double v = x / 599.0, bent = v < 0.018 ? 4.5 * v : 1.099 * pow(v, 0.45) - 0.099;
      const QVPIXEL64 got = to.read(x, 0, true);
      EXPECT_NEAR(got.green / 65535.0, bent, row.tolerance + 1e-3) << row.to << " at " << x;
      if (row.to == QVPT_RGB24) continue;
      EXPECT_NEAR(got.alpha / 65535.0, v, row.to == QVPT_RGB10A2 ? 0.3 : 0.005) << "alpha is not bent";
    }
  }
  Picture bytes(QVPT_RGB24, 256, 1, 4), floats(QVPT_RGBAF128, 256, 1, 5);
  for (int x = 0; x < 256; ++x) memset(bytes.row(0) + 3 * x, x, 3);
  ASSERT_EQ(copy(floats, nullptr, bytes, nullptr, 3, 1.0, 0.0), 0);
  QvGammaCurve curve;
  QvGammaCurve_Init(&curve, 0.0, 1.0);
  for (int x = 0; x < 256; ++x) {
    float got[4];
    memcpy(got, floats.row(0) + 16 * x, 16);
    EXPECT_EQ(got[2], QvGammaCurve_Apply(&curve, static_cast<float>(x) / 255.0f));
    EXPECT_EQ(got[3], 1.0f);
  }
}

TEST(Copy, ClipsPairsOfRectangles) {
  struct Row {
    RECT dst, src, dstOut, srcOut, clip;
  };
  const Row rows[] = {
      // a source of 100 by 100, a target of 50 by 50
      {{0, 0, 50, 50}, {-50, 0, 50, 100}, {25, 0, 50, 50}, {0, 0, 50, 100}, {50, 0, 0, 0}},
      {{10, 10, 60, 50}, {0, 0, 50, 40}, {10, 10, 50, 50}, {0, 0, 40, 40}, {0, 0, 10, 0}},
      {{-5, 0, 45, 50}, {0, 0, 50, 50}, {0, 0, 45, 50}, {5, 0, 50, 50}, {5, 0, 0, 0}},
      {{0, 0, 50, 50}, {100, 0, 200, 10}, {}, {}, {100, 0, 200, 10}},
      {{0, 0, 50, 50}, {20, 20, 10, 10}, {}, {}, {-20, -20, 10, 10}},
      {{INT32_MIN, 0, INT32_MAX, 50}, {0, 0, 100, 100}, {0, 0, 50, 50}, {}, {}},
  };
  const auto sides = [](const RECT& r) { return std::array{r.left, r.top, r.right, r.bottom}; };
  Picture from(QVPT_GRAY8, 100, 100, 1), to(QVPT_GRAY8, 50, 50, 1);
  for (const Row& row : rows) {
    RECT d, s, clip;
    QvDibPrepareRects(to.header(), &d, &row.dst, from.header(), &s, &row.src, &clip);
    EXPECT_EQ(sides(d), sides(row.dstOut));
    if (row.dst.left == INT32_MIN) continue;  // only that nothing overflows
    EXPECT_EQ(sides(s), sides(row.srcOut));
    if (row.srcOut.right != 0) {
      EXPECT_EQ(sides(clip), sides(row.clip));
    }
  }
  RECT d, s, clip;
  QvDibPrepareRects(to.header(), &d, nullptr, from.header(), &s, nullptr, &clip);
  EXPECT_EQ(s.right, 100);
  EXPECT_EQ(d.bottom, 50);
  EXPECT_EQ(sides(clip), sides({}));
}

TEST(Copy, Refusals) {
  Picture from(QVPT_RGB32, 4, 4, 1), to(QVPT_RGB32, 4, 4, 2), indexed(QVPT_PAL8, 4, 4, 3);
  const RECT outside = {4, 0, 8, 4};
  EXPECT_EQ(copy(to, &outside, from, nullptr, 3), kUnsupportedMedia);
  EXPECT_EQ(copy(to, nullptr, from, &outside, 3), kUnsupportedMedia);
  indexed.header()->biClrUsed = 0;
  EXPECT_EQ(copy(indexed, nullptr, from, nullptr, 3), kUnsupportedMedia);
  const RECT sliver = {100, 100, 9000, 9000};
  EXPECT_EQ(copy(to, &sliver, from, nullptr, QVCOPY_SUBPIXEL | 3), 0);  // nothing to do
  from.header()->biCompression = QvFourCC('N', 'V', '1', '2');
  EXPECT_EQ(copy(to, nullptr, from, nullptr, 3), kUnsupportedMedia);
}

// Stretched copies against positions and mixes worked out from the definition in 64 bits.
TEST(Copy, StretchesByTheDefinition) {
  Random random(9);
  const int32_t types[] = {QVPT_PAL1,   QVPT_GRAY2,   QVPT_RGB555, QVPT_RGB24,
                           QVPT_RGBA64, QVPT_RGB10A2, QVPT_PAL8};
  for (int round = 0; round < 400; ++round) {
    const int32_t type = types[random.below(7)];
    const int32_t sw = 1 + static_cast<int32_t>(random.below(9)),
                  sh = 1 + static_cast<int32_t>(random.below(9));
    const int32_t tw = 1 + static_cast<int32_t>(random.below(20)),
                  th = 1 + static_cast<int32_t>(random.below(20));
    if (sw == tw && sh == th) continue;
    const uint32_t quality = random.below(2) != 0 ? 4 : 2;
    Picture from(type, sw, sh, random.next(), round % 2 == 0), to(QVPT_RGBA64, tw, th, 5, round % 3 == 0);
    ASSERT_EQ(copy(to, nullptr, from, nullptr, quality), 0);
    const bool smooth = quality >= 3;
    const auto step = [=](int64_t s, int64_t t) {
      return !smooth ? s * kOne / t : t > 1 ? (s - 1) * kOne / (t - 1) : 0;
    };
    for (int32_t y = 0; y < th; ++y) {
      const int64_t py = smooth && th > 1 && y == th - 1 ? (sh - 1) * int64_t{kOne} : y * step(sh, th);
      for (int32_t x = 0; x < tw; ++x) {
        const int64_t px = x * step(sw, tw);
        const int64_t i = px / kOne, j = py / kOne, fx = smooth ? px % kOne : 0, fy = smooth ? py % kOne : 0;
        const int64_t i1 = std::min<int64_t>(i + 1, sw - 1), j1 = std::min<int64_t>(j + 1, sh - 1);
        uint16_t p[4][4], got[4];
        const QVPIXEL64 corner[4] = {from.read(i, j, smooth), from.read(i1, j, smooth),
                                     from.read(i, j1, smooth), from.read(i1, j1, smooth)};
        memcpy(p, corner, sizeof p);
        memcpy(got, to.row(y) + 8 * x, 8);
        const int64_t w[4] = {(kOne - fx) * (kOne - fy) / kOne, fx * (kOne - fy) / kOne,
                              (kOne - fx) * fy / kOne, fx * fy / kOne};
        for (int k = 0; k < 4; ++k) {
          const int64_t sum = (p[0][k] * w[0] + p[1][k] * w[1] + p[2][k] * w[2] + p[3][k] * w[3]) / kOne;
          ASSERT_EQ(got[k], smooth ? sum : p[0][k])
              << type << " " << sw << "x" << sh << " to " << tw << "x" << th;
        }
      }
    }
  }
  Picture dot(QVPT_RGB24, 1, 1, 3), field(QVPT_RGB24, 100, 100, 4);
  ASSERT_EQ(copy(field, nullptr, dot, nullptr, 3), 0);
  for (int32_t i = 0; i < 100; ++i) EXPECT_EQ(memcmp(field.row(i) + 3 * i, dot.row(0), 3), 0);
}

// Soft edges on both routes: the weight of the target's pixel grows towards the rim.
TEST(Copy, FeathersEdges) {
  for (const int32_t type : {QVPT_RGBA64, QVPT_RGB32, QVPT_RGB24}) {
    for (const uint32_t edges : {0x1000u, 0x2000u, 0x4000u, 0x8000u, 0xf000u}) {
      for (const int32_t width : {3, 9, 21}) {
        const int32_t height = 7, w = 4;
        Picture from(type, width, height, 3, true), to(type, width, height, 4), old(type, width, height, 4);
        ASSERT_EQ(copy(to, nullptr, from, nullptr, edges | w << 16 | 2), 0);
        const int64_t increment = 65535 / (w + 1);
        for (int32_t y = 0; y < height; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            int64_t depth = 0;
            if (edges & 0x1000) depth = std::max<int64_t>(depth, w - (height - 1 - y));
            if (edges & 0x2000) depth = std::max<int64_t>(depth, w - y);
            if (edges & 0x4000) depth = std::max<int64_t>(depth, w - x);
            if (edges & 0x8000) depth = std::max<int64_t>(depth, w - (width - 1 - x));
            const int bytes = type == QVPT_RGBA64 ? 2 : 1;
            for (uint32_t k = 0; k < test::slowType(type).bits / 8; k += static_cast<uint32_t>(bytes)) {
              const auto value = [&](Picture& p) {
                uint16_t v = 0;
                memcpy(&v, p.row(y) + x * test::slowType(type).bits / 8 + k, static_cast<size_t>(bytes));
                return int64_t{v};
              };
              const int64_t a = value(from), b = value(old);
              int64_t weight = increment * depth;
              if (bytes == 1) weight = weight / 256;
              // Quality 2 rounds its blends.
              const int64_t full = bytes == 1 ? 256 : 65536;
              const double exact = static_cast<double>((b - a) * weight) / static_cast<double>(full);
              ASSERT_EQ(value(to), a + static_cast<int64_t>(floor(exact + 0.5)))
                  << type << " " << x << "," << y;
            }
          }
        }
        EXPECT_FALSE(to.pixels().spoiled());
      }
    }
  }
}

TEST(Copy, FeatherKnowsWhatWasClipped) {
  // Half of the source hangs over the left side; the soft edge lies outside and nothing of it is seen.
  Picture from(QVPT_GRAY16, 20, 4, 3), to(QVPT_GRAY16, 10, 4, 4);
  const RECT fromRect = {-10, 0, 10, 4}, toRect = {-10, 0, 10, 4};
  ASSERT_EQ(copy(to, &toRect, from, &fromRect, QVCOPY_FEATHER_LEFT | 5 << 16 | 2), 0);
  for (int32_t y = 0; y < 4; ++y) EXPECT_EQ(memcmp(to.row(y), from.row(y), 20), 0);
}

TEST(Copy, SubpixelEdgesAreMixedByCoverage) {
  Picture from(QVPT_RGBA64, 4, 4, 1), to(QVPT_RGBA64, 6, 6, 2);
  for (int32_t y = 0; y < 4; ++y) memset(from.row(y), 0xff, 32);
  for (int32_t y = 0; y < 6; ++y) memset(to.row(y), 0, 48);
  const RECT place = {kOne / 2, kOne, kOne * 9 / 2, kOne * 5 + kOne / 4};  // half a pixel at left and right
  ASSERT_EQ(copy(to, &place, from, nullptr, QVCOPY_SUBPIXEL | 4), 0);
  const struct {
    int x, y, red, slack;
  } points[] = {{0, 0, 0, 0},     {2, 1, 65535, 0}, {2, 4, 65535, 16},  // four weights, each cut off
                {0, 2, 32767, 2}, {4, 2, 32767, 2}, {5, 2, 0, 0},      {2, 5, 16383, 2}, {0, 5, 8191, 2}};
  for (const auto& at : points)
    EXPECT_NEAR(to.read(at.x, at.y, true).red, at.red, at.slack) << at.x << "," << at.y;
  // Below interpolating quality fractions are cut off.
  Picture cut(QVPT_RGBA64, 6, 6, 2);
  ASSERT_EQ(copy(cut, &place, from, nullptr, QVCOPY_SUBPIXEL | 2), 0);
  EXPECT_EQ(cut.read(0, 1, true).red, 65535);
  EXPECT_EQ(cut.read(3, 4, true).red, 65535);
}

// Rectangles of any size and place, fractional and whole: nothing outside is read or written.
TEST(Copy, RandomRectanglesStayInside) {
  const int32_t types[] = {QVPT_PAL1,  QVPT_GRAY4,  QVPT_RGB565,  QVPT_RGB24,
                           QVPT_RGB32, QVPT_RGBA64, QVPT_RGBAF128};
  Random random(11);
  std::vector<std::unique_ptr<Picture>> pictures;
  for (int i = 0; i < 60; ++i) {
    pictures.push_back(std::make_unique<Picture>(types[i % 7], 1 + static_cast<int32_t>(random.below(12)),
                                                 1 + static_cast<int32_t>(random.below(12)), random.next(),
                                                 i % 2));
  }
  // Mostly over the image, often over its edges, now and then far away or turned round.
  const auto span = [&](int32_t size, int32_t unit, LONG* from, LONG* to) {
    const auto upTo = [&](int32_t limit) {
      return static_cast<int32_t>(random.below(static_cast<uint32_t>(limit)));
    };
    *from = upTo(2 * size * unit) - size * unit / 2;
    *to = *from + 1 + upTo(2 * size * unit) - (random.below(16) == 0 ? size * unit : 0);
  };
  const auto rectangle = [&](Picture& p, bool fixed) {
    RECT r;
    span(p.header()->biWidth, fixed ? kOne : 1, &r.left, &r.right);
    span(p.header()->biHeight, fixed ? kOne : 1, &r.top, &r.bottom);
    return r;
  };
  int done = 0;
  for (int round = 0; round < 100000; ++round) {
    Picture &from = *pictures[random.below(60)], &to = *pictures[random.below(60)];
    if (&from == &to) continue;
    const bool fixed = random.below(3) != 0;
    const RECT f = rectangle(from, fixed), t = rectangle(to, fixed);
    uint32_t flags = random.below(5) | (fixed ? QVCOPY_SUBPIXEL : 0);
    if (random.below(4) == 0) flags |= QVCOPY_FEATHER(random.below(6));
    const HRESULT status =
        copy(to, random.below(8) != 0 ? &t : nullptr, from, random.below(8) != 0 ? &f : nullptr, flags);
    ASSERT_TRUE(status == 0 || status == kUnsupportedMedia) << round;
    done += status == 0;
  }
  EXPECT_GT(done, 30000);
  for (const auto& picture : pictures) EXPECT_FALSE(picture->pixels().spoiled());
}

TEST(Fill, EveryTypeAndPlace) {
  Picture palette4(QVPT_PAL4, 1, 1, 0), palette8(QVPT_PAL8, 1, 1, 0);
  const Inverse inverse4(palette4.header()), inverse8(palette8.header());
  const float colour[4] = {0.1f, 0.45f, 0.9f, 0.6f};  // blue, green, red, alpha
  uint32_t seed = 0;
  for (const SlowType& t : test::kSlowTypes) {
    if (t.type == QVPT_A2RGB10) continue;
    for (int32_t width = 1; width <= 33; width += t.kind == SlowType::Palette ? 8 : 1) {
      for (const int32_t left : {0, 1, 3}) {
        ++seed;
        Picture picture(t.type, width + 5, 4, seed, seed % 2 == 0);
        const RECT rect = {left, 1, left + width, 3};
        std::vector<std::vector<uint8_t>> expected;
        for (int32_t y = 0; y < 4; ++y) {
          std::vector<uint8_t> row(picture.row(y), picture.row(y) + (t.bits * (width + 5) + 7) / 8);
          for (int32_t x = left; x < left + width && (y == 1 || y == 2); ++x) {
            const auto wide = [&](int i) { return static_cast<uint16_t>(colour[i] * 65535.0f); };
            test::slowWrite(t.type, row.data(), x, {wide(0), wide(1), wide(2), wide(3)},
                            t.type == QVPT_PAL4 ? inverse4.table() : inverse8.table());
            for (int i = 0; i < 4 && isBytes(t.type) && i < static_cast<int>(t.bits / 8); ++i) {
              row[static_cast<size_t>(x) * t.bits / 8 + i] = static_cast<uint8_t>(colour[i] * 255.0f);
            }
            if (t.type == QVPT_RGBAF128) memcpy(row.data() + 16 * x, colour, 16);
          }
          expected.push_back(row);
        }
        ASSERT_EQ(QvDibSet(picture.header(), picture.first(), &rect, static_cast<uint32_t>(picture.stride()),
                           colour[2], colour[1], colour[0], colour[3], 3),
                  0);
        for (int32_t y = 0; y < 4; ++y) {
          const auto& row = expected[static_cast<size_t>(y)];
          ASSERT_EQ(memcmp(row.data(), picture.row(y), row.size()), 0)
              << t.type << " width " << width << " row " << y;
        }
        ASSERT_FALSE(picture.pixels().spoiled());
      }
    }
  }
}

TEST(Fill, RecordsUnitsAndRefusals) {
  Picture picture(QVPT_RGB32, 8, 8, 1);
  const QVRGBAFLOAT colour = {1.0f, 0.5f, 0.0f, 2.0f};
  const RECT fixed = {kOne + 5, kOne, 3 * kOne + 9000, 2 * kOne};
  ASSERT_EQ(QvDibFillRect(picture.header(), picture.first(), &fixed, static_cast<uint32_t>(picture.stride()),
                          &colour, QVCOPY_SUBPIXEL),
            0);
  EXPECT_EQ(memcmp(picture.row(1) + 4, "\xff\x7f\0\xff\xff\x7f\0\xff", 8), 0);
  const std::vector<uint8_t> before = picture.bytes();
  const RECT outside = {9, 9, 20, 20};
  EXPECT_EQ(QvDibSet(picture.header(), picture.first(), &outside, 0, 1, 1, 1, 1, 0), 0);
  EXPECT_EQ(before, picture.bytes());
  EXPECT_EQ(QvDibFillRectChannel(), qv::kUnsupported);
  picture.header()->biCompression = QvFourCC('U', 'Y', 'V', 'Y');
  EXPECT_EQ(QvDibSet(picture.header(), picture.first(), nullptr, 0, 1, 1, 1, 1, 0), qv::kUnsupported);
}

TEST(Fade, BytesFollowTheFormulaAtEveryLevel) {
  for (const test::Level& level : test::kLevels) {
    const AtLevel at(level);
    for (const float amount : {0.0f, 0.25f, 0.7f, 1.0f, 3.0f}) {
      for (const int32_t width : {1, 2, 3, 7, 33}) {
        for (const int32_t keepAlpha : {0, 1}) {
          Picture picture(QVPT_RGBA32, width, 3, 8, true), old(QVPT_RGBA32, width, 3, 8, true);
          const QVRGBAFLOAT colour = {0.2f, 1.0f, 0.0f, 0.5f};
          ASSERT_EQ(fade(picture, nullptr, colour, amount, keepAlpha), 0);
          const int32_t target[4] = {51, 255, 0, 127};
          const int32_t a = static_cast<int32_t>(std::min(amount, 1.0f) * 16384.0f) * 255 / 16384;
          for (int32_t y = 0; y < 3; ++y) {
            for (int32_t i = 0; i < 4 * width; ++i) {
              const int32_t v = old.row(y)[i], t = (target[i % 4] - v) * a + 128;
              const int32_t faded = std::clamp(((t + (t >> 8)) >> 8) + v, 0, 255);
              ASSERT_EQ(picture.row(y)[i], keepAlpha != 0 && i % 4 == 3 ? v : faded) << level.name;
            }
          }
          EXPECT_FALSE(picture.pixels().spoiled());
        }
      }
    }
  }
}

TEST(Fade, EdgesFloatsAndRefusals) {
  Picture bytes(QVPT_RGB32, 4, 1, 1), floats(QVPT_RGBAF128, 4, 2, 1), other(QVPT_RGB24, 4, 4, 1);
  memset(bytes.row(0), 0, 16);
  const QVRGBAFLOAT white = {1, 1, 1, 1};
  const RECT half = {kOne / 2, 0, 3 * kOne + kOne / 4, kOne};
  ASSERT_EQ(QvDibFadeToColor(bytes.header(), bytes.first(), &half, 0, &white, 1.0f, 0, QVCOPY_SUBPIXEL), 0);
  EXPECT_EQ((std::array{bytes.row(0)[0], bytes.row(0)[4], bytes.row(0)[12]}),
            (std::array<uint8_t, 3>{127, 255, 63}));
  const RECT inside = {kOne + kOne / 4, 0, kOne + kOne / 2, kOne};  // within one pixel
  memset(bytes.row(0), 0, 16);
  ASSERT_EQ(QvDibFadeToColor(bytes.header(), bytes.first(), &inside, 0, &white, 1.0f, 0, QVCOPY_SUBPIXEL), 0);
  EXPECT_EQ(bytes.row(0)[4], 63);
  memset(floats.row(0), 0, 64);
  ASSERT_EQ(fade(floats, nullptr, white, 0.5f, 1), 0);
  float pixel[4];
  memcpy(pixel, floats.row(0), 16);
  EXPECT_EQ(pixel[0], 0.5f);
  EXPECT_EQ(pixel[3], 0.0f);
  EXPECT_EQ(QvDibFadeToColor(other.header(), other.first(), nullptr, 0, &white, 1, 0, 0), qv::kUnsupported);
}

// The growth as its definition says: generation after generation over the whole cube.
TEST(Quantiser, GrowsLikeAScanOfTheWholeCube) {
  for (const uint32_t count : {1u, 2u, 16u, 100u, 255u, 256u}) {
    alignas(8) uint8_t block[40 + 1024] = {};
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(block);
    header->biSize = 40;
    header->biClrUsed = count;
    Random(count).fill(block + 40, 4 * count);
    if (count == 16) memcpy(block + 44, block + 40, 4);  // a second entry on the same colour
    std::vector<uint8_t> table(32768, 255), generation(32768, 0);
    int open = 32768, current = 1;
    const auto take = [&](int r, int g, int b, uint8_t index) {
      if (r < 0 || g < 0 || b < 0 || r > 31 || g > 31 || b > 31) return;
      const size_t cell = static_cast<size_t>(r * 1024 + g * 32 + b);
      if (table[cell] != 255) return;
      table[cell] = index;
      generation[cell] = static_cast<uint8_t>(current);
      --open;
    };
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* e = block + 40 + 4 * i;
      take(e[2] / 8, e[1] / 8, e[0] / 8, static_cast<uint8_t>(i));
    }
    while (open > 0) {
      ++current;
      for (int cell = 0; cell < 32768; ++cell) {
        if (generation[static_cast<size_t>(cell)] != current - 1) continue;
        const int r = cell / 1024, g = cell / 32 % 32, b = cell % 32;
        const uint8_t index = table[static_cast<size_t>(cell)];
        for (const int step : {-1, 1}) {
          take(r + step, g, b, index);
          take(r, g + step, b, index);
          take(r, g, b + step, index);
        }
      }
    }
    const Inverse inverse(header);
    EXPECT_EQ(memcmp(inverse.table(), table.data(), 32768), 0) << count;
  }
  BITMAPINFOHEADER empty = {};
  void* table = &empty;
  EXPECT_EQ(QvDibCreateColorQuantizer(&table, &empty), qv::kInvalidArgument);
  EXPECT_EQ(table, nullptr);
}

}  // namespace
