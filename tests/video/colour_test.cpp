#include "qv/video/colour.h"

#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <algorithm>

namespace {

// The textbook conversion, by angle, for colours in range.
QVHSL textbook(double r, double g, double b) {
  const double mx = std::max({r, g, b}), mn = std::min({r, g, b}), c = mx - mn, l = (mx + mn) / 2;
  if (c == 0) return {0, 0, l, 0};
  double h = mx == r ? fmod((g - b) / c + 6, 6) : mx == g ? (b - r) / c + 2 : (r - g) / c + 4;
  return {h / 6, c / (1 - fabs(2 * l - 1)), l, 0};
}
double turn(double a, double b) {
  const double d = fabs(a - b);
  return std::min(d, fabs(1 - d));
}

TEST(Hsl, AgreesWithTheTextbookAndComesBack) {
  for (int r = 0; r <= 255; r += 15) {
    for (int g = 0; g <= 255; g += 15) {
      for (int b = 0; b <= 255; b += 15) {
        const QVRGBA bytes = {static_cast<uint8_t>(b), static_cast<uint8_t>(g), static_cast<uint8_t>(r), 128};
        const QVDIBPIXEL pixel = {b / 255.0f, g / 255.0f, r / 255.0f, 0.25f};
        const QVHSL known = textbook(pixel.red, pixel.green, pixel.blue);
        QVHSL clean, fromBytes, tolerant;
        QVDIBPIXEL_To_QVHSL(&clean, &pixel);
        QVRGBA_To_QVHSL(&fromBytes, &bytes);
        QVDIBPIXEL_To_QVHSL_Float(&tolerant, &pixel);
        for (const QVHSL* hsl : {&clean, &fromBytes, &tolerant}) {
          const double loose = hsl == &tolerant ? 1e-4 : 1e-6;
          const bool moved = hsl == &tolerant && (r + g + b == 0 || r + g + b == 765);
          if (!moved) {
            EXPECT_LT(turn(hsl->hue, known.hue), loose) << r << " " << g << " " << b;
          }
          EXPECT_NEAR(hsl->lightness, known.lightness, loose);
          if (known.lightness > 0.01 && known.lightness < 0.99) {
            EXPECT_NEAR(hsl->saturation, known.saturation, loose);
          }
        }
        EXPECT_EQ(clean.alpha, 0.25);
        QVDIBPIXEL back, tolerantBack;
        QVHSL_To_QVDIBPIXEL(&back, &clean);
        QVHSL_To_QVDIBPIXEL_Float(&tolerantBack, &tolerant);
        EXPECT_NEAR(back.red, pixel.red, 1e-6);
        EXPECT_NEAR(back.green, pixel.green, 1e-6);
        EXPECT_NEAR(back.blue, pixel.blue, 1e-6);
        EXPECT_EQ(back.alpha, 0.25f);
        EXPECT_NEAR(tolerantBack.red, pixel.red, 1e-5);
        EXPECT_NEAR(tolerantBack.blue, pixel.blue, 1e-5);
      }
    }
  }
}

TEST(Hsl, PixelsOutsideTheUnitIntervalComeBack) {
  const QVDIBPIXEL pixels[] = {
      {1.5f, 0.2f, 1.2f, 1}, {-0.5f, -0.2f, -0.7f, 1}, {2, 3, 4, 1},       {1, 1, 1, 1},
      {0, 0, 0, 1},          {-0.5f, 0.5f, 0.1f, 1},   {1.4f, 0.6f, 1, 1}, {0.5f, 1.5f, 1, 1}};
  for (const QVDIBPIXEL& pixel : pixels) {
    QVHSL hsl;
    QVDIBPIXEL_To_QVHSL_Float(&hsl, &pixel);
    EXPECT_TRUE(isfinite(hsl.saturation) && isfinite(hsl.hue));
    QVDIBPIXEL back = {};
    QVHSL_To_QVDIBPIXEL_Float(&back, &hsl);
    EXPECT_NEAR(back.red, pixel.red, 2e-4) << pixel.red;
    EXPECT_NEAR(back.green, pixel.green, 2e-4) << pixel.red;
    EXPECT_NEAR(back.blue, pixel.blue, 2e-4) << pixel.red;
  }
  QVHSL white;
  const QVDIBPIXEL one = {1, 1, 1, 1};
  QVDIBPIXEL_To_QVHSL_Float(&white, &one);
  EXPECT_EQ(white.saturation, 1.0);  // the moved maximum over itself
  EXPECT_NEAR(white.lightness, 1.0, 1e-6);
}

TEST(Hsl, EdgesOfTheModel) {
  QVHSL hsl;
  const QVDIBPIXEL red = {0, 0, 1, 1};
  QVDIBPIXEL_To_QVHSL(&hsl, &red);
  EXPECT_EQ(hsl.hue, 1.0);  // the first branch, since green is the smallest
  QVRGBA out = {9, 9, 9, 9};
  QVHSL_To_QVRGBA(&out, &hsl);
  EXPECT_EQ(memcmp(&out, "\0\0\xff\xff", 4), 0);
  struct Row {
    QVHSL hsl;
    uint8_t expected[4];
  };
  const Row rows[] = {
      {{0.3, 0.5, 0.0, 0.5}, {0, 0, 0, 127}},        {{0.3, 0.0, 1.0, 2.0}, {255, 255, 255, 255}},
      {{0.3, 0.0, 0.999, -1.0}, {254, 254, 254, 0}}, {{1.2, 0.5, 0.5, 1.0}, {7, 7, 7, 255}},
      {{-0.5, 0.5, 0.5, 1.0}, {7, 7, 7, 255}},       {{1.0, 1.0, 0.5, 1.0}, {0, 0, 255, 255}}};
  for (const Row& row : rows) {
    QVRGBA pixel = {7, 7, 7, 7};
    QVHSL_To_QVRGBA(&pixel, &row.hsl);
    EXPECT_EQ(memcmp(&pixel, row.expected, 4), 0) << row.hsl.hue << " " << row.hsl.lightness;
  }
  QVHSL negative = {0.5, 0.5, -0.25, 1.0};
  QVDIBPIXEL pixel;
  QVHSL_To_QVDIBPIXEL_Float(&pixel, &negative);
  EXPECT_EQ(negative.saturation, -0.5);  // changed in place
  QVRGBAFLOAT dark = {9, 9, 9, 9};
  QVHSL_To_QVRGBAFLOAT(&dark, &negative);
  EXPECT_EQ(dark.red, 0.0f);
}

// The test in double precision from the published curve and weights.
struct Weights {
  double y[3], c1[3], c2[3], peak;  // blue, green, red
};
constexpr double kU[3] = {0.436798, -0.289391, -0.147407}, kV[3] = {-0.099978, -0.514799, 0.614777};
constexpr Weights kStandards[3] = {
    {{0.114, 0.587, 0.299}, {0.311878, -0.523083, 0.211205}, {-0.321746, -0.274133, 0.595879}, 1.2162162},
    {{0.144, 0.587, 0.299}, {kU[0], kU[1], kU[2]}, {kV[0], kV[1], kV[2]}, 1.2162162},
    {{0.144, 0.587, 0.299}, {kU[0], kU[1], kU[2]}, {kV[0], kV[1], kV[2]}, 1.2}};

double headroom(const QVDIBPIXEL& p, const Weights& w) {
  const float in[3] = {p.blue, p.green, p.red};
  double y = 0, c1 = 0, c2 = 0;
  for (int i = 0; i < 3; ++i) {
    const double v = in[i], e = v < 0.018 ? 4.5 * v : 1.099 * pow(v, 0.45) - 0.099;
    y += w.y[i] * e;
    c1 += w.c1[i] * e;
    c2 += w.c2[i] * e;
  }
  return (w.peak - y) * (w.peak - y) - c1 * c1 - c2 * c2;
}

TEST(HotCheck, AgreesWithDoublePrecisionAndRepairs) {
  const auto checks = {HotCheckNTSCYIQ, HotCheckNTSCYUV, HotCheckPALYUV};
  const auto repairs = {HotCheckNTSCYIQReturn, HotCheckNTSCYUVReturn, HotCheckPALYUVReturn};
  int hot = 0, repaired = 0;
  for (int standard = 0; standard < 3; ++standard) {
    const auto check = *(checks.begin() + standard);
    const auto repair = *(repairs.begin() + standard);
    for (int i = 0; i < 21 * 21 * 21; ++i) {
      const QVDIBPIXEL pixel = {static_cast<float>(i % 21) / 20.0f, static_cast<float>(i / 21 % 21) / 20.0f,
                                static_cast<float>(i / 441) / 20.0f, 0.3f};
      const double room = headroom(pixel, kStandards[standard]);
      const int32_t illegal = check(&pixel);
      if (fabs(room) > 1e-4) {
        ASSERT_EQ(illegal, room < 0) << standard << " " << i;
      }
      QVDIBPIXEL mended = pixel;
      ASSERT_EQ(repair(&mended), illegal);
      EXPECT_EQ(mended.alpha, 0.3f);
      if (illegal == 0) {
        EXPECT_EQ(memcmp(&pixel, &mended, sizeof pixel), 0);
        continue;
      }
      ++hot;
      for (const float c : {mended.blue, mended.green, mended.red}) EXPECT_TRUE(c >= 0.0f && c <= 1.0f);
      // Chroma goes down, and most pixels end up legal; clamping can leave a few outside.
      repaired += headroom(mended, kStandards[standard]) > -0.02;
    }
  }
  EXPECT_GT(hot, 300);
  EXPECT_GT(repaired, hot * 9 / 10);
}

TEST(HotCheck, KnownColours) {
  const QVDIBPIXEL white = {1, 1, 1, 1}, yellow = {0, 1, 1, 1}, black = {}, bright = {4, 4, 4, 1};
  EXPECT_EQ(HotCheckNTSCYIQ(&white), 0);
  EXPECT_EQ(HotCheckNTSCYIQ(&yellow), 1);
  EXPECT_EQ(HotCheckPALYUV(&yellow), 1);
  EXPECT_EQ(HotCheckPALYUV(&black), 0);
  EXPECT_EQ(HotCheckNTSCYIQ(&bright), 0);  // luma far above the peak, no chroma
  // A blue for which the two luma weights disagree is judged by its own standard's.
  QVDIBPIXEL mended = yellow;
  EXPECT_EQ(HotCheckPALYUVReturn(&mended), 1);
  EXPECT_GT(mended.blue, 0.0f);
}

}  // namespace
