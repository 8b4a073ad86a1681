#include "qv/video/scale.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <memory>

#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/interlace.h"
#include "tests/video/support/guarded.h"
#include "tests/video/support/picture.h"
#include "tests/video/support/slow_scale.h"

namespace {

using test::AtLevel;
using test::Guarded;
using test::Picture;
using test::Random;
using test::SlowAxis;
using test::SlowImage;

constexpr int32_t kOne = 16384;

// Pixels between guard pages; rows may run either way and begin at odd bytes.
class Pixels {
 public:
  Pixels(int32_t width, int32_t height, uint32_t pixelBytes, uint32_t seed, bool backwards = false)
      : size{width, height}, bytes_(pixelBytes) {
    const int64_t rowBytes = int64_t{width} * pixelBytes, step = rowBytes + seed % 4;
    stride = static_cast<int32_t>(backwards ? -step : step);
    block = std::make_unique<Guarded>(static_cast<size_t>(step * (height - 1) + rowBytes),
                                      backwards ? Guarded::AtStart : Guarded::AtEnd);
    fill(seed);
  }
  void fill(uint32_t seed) {
    Random(seed).fill(block->data(), block->size());
    for (int32_t y = 0; bytes_ == 16 && y < size.cy; ++y) {
      for (int32_t i = 0; i < size.cx * 4; ++i) {
        seed = seed * 1664525 + 1013904223;
        const float v = static_cast<float>(seed >> 8) / 16777216.0f * 1.5f - 0.25f;
        memcpy(row(y) + 4 * i, &v, 4);
      }
    }
  }
  uint8_t* first() { return stride < 0 ? block->data() - int64_t{stride} * (size.cy - 1) : block->data(); }
  uint8_t* row(int64_t y) { return first() + y * stride; }
  std::vector<uint8_t> bytes() const { return {block->data(), block->data() + block->size()}; }
  SlowImage slow() {
    SlowImage out{size.cx, size.cy, {}};
    out.values.resize(static_cast<size_t>(size.cx) * static_cast<size_t>(size.cy) * 4);
    for (int64_t y = 0; y < size.cy; ++y) {
      for (int64_t x = 0; x < size.cx; ++x) {
        for (int i = 0; i < 4; ++i) out.at(x, y, i) = value(x, y, i);
      }
    }
    return out;
  }
  double value(int64_t x, int64_t y, int i) {
    if (bytes_ == 4) return row(y)[x * 4 + i];
    float v;
    memcpy(&v, row(y) + x * 16 + i * 4, 4);
    return v;
  }

  SIZE size;
  int32_t stride;
  std::unique_ptr<Guarded> block;

 private:
  uint32_t bytes_;
};

struct Mode {
  bool cubic, area, replace;
};

auto entryOf(bool fixed, Mode mode) {
  if (fixed) return mode.cubic ? QvDibScale_BiCubicSubPixel : QvDibScale_BilinearSubPixel;
  return mode.cubic ? QvDibScale_BiCubic : QvDibScale_Bilinear;
}
template <bool kFixed>
HRESULT scaleAs(Pixels& to, const RECT* toRect, Pixels& from, const RECT* fromRect, uint32_t bytes,
                Mode mode) {
  return entryOf(kFixed, mode)(to.first(), &to.size, to.stride, toRect, from.first(), &from.size, from.stride,
                               fromRect, bytes, mode.area, mode.replace);
}
constexpr auto scaleFixed = scaleAs<true>, scaleWhole = scaleAs<false>;
int32_t prepare(QvSubpixelParam* param, Pixels& to, const RECT* toRect, Pixels& from, const RECT* fromRect) {
  return QvPrepareSubpixelParam(param, to.first(), &to.size, static_cast<uint32_t>(to.stride), toRect,
                                from.first(), &from.size, static_cast<uint32_t>(from.stride), fromRect);
}

// What every byte of the target must be, or for floats nearly be, pixel by pixel.
void expectScaled(const QvSubpixelParam& p, Pixels& to, const SlowImage& before, const SlowImage& from,
                  uint32_t bytes, Mode mode) {
  const SlowAxis x = test::slowX(p), y = test::slowY(p);
  const bool boxX = mode.area && p.pixelStepX > kOne, boxY = mode.area && p.pixelStepY > kOne;
  const bool mixed = boxX || boxY;
  for (int64_t ty = 0; ty < to.size.cy; ++ty) {
    const bool inY = ty >= y.firstPixel() && ty < y.endPixel();
    const auto down = !inY ? test::SlowWeights{} : boxY ? y.box(ty) : mode.cubic ? y.cubic(ty) : y.linear(ty);
    for (int64_t tx = 0; tx < to.size.cx; ++tx) {
      const bool inside = inY && tx >= x.firstPixel() && tx < x.endPixel();
      const auto across = !inside      ? test::SlowWeights{}
                          : boxX       ? x.box(tx)
                          : mode.cubic ? x.cubic(tx)
                                       : x.linear(tx);
      const double cover = !inside ? 0 : static_cast<double>(x.cover(tx) * y.cover(ty) >> 14) / 16384.0;
      for (int i = 0; i < 4; ++i) {
        const double old = before.at(tx, ty, i), got = to.value(tx, ty, i);
        if (!inside) {
          ASSERT_EQ(old, got) << "outside at " << tx << "," << ty;
          continue;
        }
        double want = slowIdeal(from, across, down, i);
        if (bytes == 16) {
          if (mode.cubic && !(boxX && boxY) && i == 3) want = std::clamp(want, 0.0, 1.0);
          if (!mode.replace) want = old + (want - old) * cover;
          ASSERT_NEAR(want, got, 2e-6) << tx << "," << ty << "," << i;
          continue;
        }
        double slack = 0;
        if (mixed) {
          want = std::clamp(want, 0.0, 255.0);
          slack = 0.5 + 0.01 * cover;
          // Cut weights of the cubic kernel add up to a little less than one.
          if (mode.cubic && !(boxX && boxY)) slack += 0.1;
        } else {
          want = mode.cubic ? slowCubicByte(from, across, down, i) : slowBilinearByte(from, across, down, i);
        }
        if (mode.replace || cover == 1) {
          ASSERT_NEAR(want, got, slack) << tx << "," << ty << "," << i;
          continue;
        }
        // Mixed in 1/255ths, to the nearest.
        const double alpha = floor(cover * 255.0) / 255.0;
        ASSERT_NEAR(old + (want - old) * alpha, got, 0.505 + slack) << tx << "," << ty << "," << i;
      }
    }
  }
}

// A rectangle of an image, at times overhanging it.
RECT randomRect(Random& random, const SIZE& size, int32_t least) {
  const auto span = [&](int32_t pixels, LONG* from, LONG* to) {
    const int32_t whole = pixels * kOne, over = random.below(4) == 0 ? 2 * kOne : 0;
    *from = static_cast<LONG>(random.below(static_cast<uint32_t>(whole + over))) - over / 2;
    *to = *from + least + static_cast<LONG>(random.below(static_cast<uint32_t>(whole + over)));
    if (over == 0) *to = std::min<LONG>(*to, whole);
    if (random.below(3) == 0) *from &= ~(kOne - 1), *to &= ~(kOne - 1);
  };
  RECT r;
  span(size.cx, &r.left, &r.right);
  span(size.cy, &r.top, &r.bottom);
  return r;
}

Mode modeOf(uint32_t bits) {
  return {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
}

// ---- Rectangles and steps

// A rectangle in pixels; nothing stands for no rectangle.
struct Span {
  double left = 0, top = 0, right = 0, bottom = 0;
  RECT fixed() const {
    const auto units = [](double pixels) { return static_cast<LONG>(pixels * kOne); };
    return {units(left), units(top), units(right), units(bottom)};
  }
};

using Steps = std::array<int32_t, 4>;

struct PrepareCase {
  const char* what;
  SIZE dst, src;
  Span dstRect, srcRect, target, source;  // no target: refused
  Steps steps;                            // at the end across and down, from pixel to pixel across and down
};

TEST(ScalePrepare, ClipsMapsAndSteps) {
  constexpr Span kBit = {0.0625, 0.0625, 0.125, 0.125}, kDot = {0, 0, 1, 1};
  constexpr double kLess = 2047.0 / kOne, kUnderOne = (kOne - 1.0) / kOne;
  constexpr Steps kHalves = {5461, 7021, 8192, 8192}, kSame = {kOne, kOne, kOne, kOne};
  constexpr Steps k49th = {0, 97 * kOne, 49 * kOne, 49 * kOne};
  const PrepareCase cases[] = {
      {"doubling", {4, 8}, {2, 4}, {}, {}, {0, 0, 4, 8}, {0, 0, 2, 4}, kHalves},
      {"one pixel from many", {1, 1}, {3, 5}, {}, {}, {0, 0, 1, 1}, {0, 0, 3, 5}, {0, 0, 3 * kOne, 5 * kOne}},
      {"a sixteenth of a pixel", {4, 4}, {4, 4}, kBit, kDot, kBit, kDot, {0, 0, 16 * kOne, 16 * kOne}},
      {"less", {4, 4}, {4, 4}, {0.0625, 0.0625, kLess, 0.125}, {}, {}, {}, {}},
      {"a source below a pixel", {4, 4}, {4, 4}, {}, {0, 0, 1, kUnderOne}, {}, {}, {}},
      {"overhang loses source", {4, 4}, {4, 4}, {-1, 0, 3, 4}, {}, {0, 0, 3, 4}, {1, 0, 4, 4}, kSame},
      {"overhang loses target", {8, 8}, {4, 4}, {}, {-2, 0, 2, 4}, {4, 0, 8, 8}, {0, 0, 2, 4}, kHalves},
      {"no reciprocal hits a 49th", {1, 2}, {49, 98}, {}, {}, {0, 0, 1, 2}, {0, 0, 49, 98}, k49th},
      {"beside the image", {4, 4}, {4, 4}, {4, 0, 8, 4}, {}, {}, {}, {}},
      {"an image that coordinates cannot name", {200000, 4}, {4, 4}, {}, {}, {}, {}, {}},
      {"a step below the finest", {131071, 4}, {1, 4}, {}, {0, 0, 1, 4}, {}, {}, {}},
      {"a step beyond the coarsest", {4, 4}, {131071, 4}, {0, 0, 0.0625, 1}, {}, {}, {}, {}},
      {"no image", {0, 4}, {4, 4}, {}, {}, {}, {}, {}},
  };
  for (const PrepareCase& c : cases) {
    SCOPED_TRACE(c.what);
    QvSubpixelParam p;
    const RECT toRect = c.dstRect.fixed(), fromRect = c.srcRect.fixed();
    const RECT target = c.target.fixed(), source = c.source.fixed();
    const auto given = [](const RECT& r) { return r.right == 0 && r.bottom == 0 ? nullptr : &r; };
    const int32_t result =
        QvPrepareSubpixelParam(&p, nullptr, &c.dst, 0, given(toRect), nullptr, &c.src, 0, given(fromRect));
    ASSERT_EQ(result, target.right == 0 ? 0 : 1);
    if (result == 0) continue;
    EXPECT_EQ(memcmp(&p.targetRect, &target, sizeof(RECT)), 0);
    EXPECT_EQ(memcmp(&p.sourceClipped, &source, sizeof(RECT)), 0) << p.sourceClipped.right;
    EXPECT_EQ((Steps{p.endStepX, p.endStepY, p.pixelStepX, p.pixelStepY}), c.steps);
  }
}

// ---- Pixels

// Small images of every width, every mode and level, whole and at fractions, against the slow opinion.
TEST(Scale, EveryModeAgainstTheGeometry) {
  Random random(5);
  for (uint32_t round = 0; round < 1200; ++round) {
    const auto side = [&] { return static_cast<int32_t>(1 + random.below(33)); };
    const uint32_t bytes = round % 3 == 2 ? 16 : 4;
    const Mode mode = modeOf(round / 3);
    Pixels from(side(), side(), bytes, round, random.below(2) != 0);
    Pixels to(side(), side(), bytes, round + 1, random.below(2) != 0);
    const RECT toRect = randomRect(random, to.size, 1024), fromRect = randomRect(random, from.size, kOne);
    const bool whole = random.below(4) == 0;
    const RECT *toGiven = whole ? nullptr : &toRect, *fromGiven = whole ? nullptr : &fromRect;
    QvSubpixelParam p;
    const bool some = prepare(&p, to, toGiven, from, fromGiven) != 0;
    const SlowImage before = to.slow(), source = from.slow();
    const std::vector<uint8_t> untouched = to.bytes(), sourceBytes = from.bytes();
    std::vector<uint8_t> plain;
    for (const test::Level& level : test::kLevels) {
      const AtLevel at(level);
      std::copy(untouched.begin(), untouched.end(), to.block->data());
      ASSERT_EQ(scaleFixed(to, toGiven, from, fromGiven, bytes, mode), qv::kOk);
      if (plain.empty()) {
        plain = to.bytes();
        if (!some) {
          ASSERT_EQ(plain, untouched);
        } else {
          expectScaled(p, to, before, source, bytes, mode);
          if (HasFatalFailure()) FAIL() << "round " << round;
        }
      }
      ASSERT_EQ(plain, to.bytes()) << level.name << " round " << round;
    }
    ASSERT_EQ(sourceBytes, from.bytes());
    ASSERT_FALSE(to.block->spoiled() || from.block->spoiled());
  }
}

// Wide rows and strong ratios: whole vectors, all tails, totals beyond 32 bits, at every level.
TEST(Scale, FormsAgreeOnWideRows) {
  struct Sizes {
    SIZE to, from;
  };
  const Sizes cases[] = {{{333, 7}, {100, 5}},  {{64, 40}, {333, 11}}, {{200, 3}, {199, 9}},
                         {{31, 3}, {700, 90}},  {{5, 2}, {400, 300}},  {{401, 3}, {3, 200}},
                         {{2, 300}, {555, 40}}, {{1, 1}, {257, 513}},  {{257, 129}, {129, 65}},
                         {{640, 2}, {320, 1}},  {{96, 4}, {1000, 3}},  {{61, 3}, {122, 6}}};
  for (const Sizes& c : cases) {
    for (uint32_t bits = 0; bits < 8; ++bits) {
      for (const uint32_t bytes : {4u, 16u}) {
        Pixels from(c.from.cx, c.from.cy, bytes, bits + 3, (bits & 4) != 0),
            to(c.to.cx, c.to.cy, bytes, bits);
        const SlowImage before = to.slow();
        const Mode mode = modeOf(bits & 3);
        std::vector<uint8_t> plain;
        for (const test::Level& level : test::kLevels) {
          const AtLevel at(level);
          to.fill(9);
          ASSERT_EQ(scaleWhole(to, nullptr, from, nullptr, bytes, mode), qv::kOk);
          if (plain.empty()) {
            plain = to.bytes();
            QvSubpixelParam p;
            ASSERT_EQ(prepare(&p, to, nullptr, from, nullptr), 1);
            Pixels old(c.to.cx, c.to.cy, bytes, bits);
            old.fill(9);
            expectScaled(p, to, old.slow(), from.slow(), bytes, mode);
            if (HasFatalFailure()) FAIL() << c.to.cx << " from " << c.from.cx << " mode " << bits;
          }
          ASSERT_EQ(plain, to.bytes())
              << level.name << " " << c.to.cx << " from " << c.from.cx << " mode " << bits;
          ASSERT_FALSE(to.block->spoiled());
        }
      }
    }
  }
}

// Exactly half the size has a way of its own, which must not differ by a rounding.
TEST(Scale, HalvesAreAveragesToTheNearest) {
  Pixels from(62, 10, 4, 6), to(31, 5, 4, 7);
  for (const test::Level& level : test::kLevels) {
    const AtLevel at(level);
    to.fill(9);
    ASSERT_EQ(scaleWhole(to, nullptr, from, nullptr, 4, {false, true, false}), qv::kOk);
    for (int32_t y = 0; y < 5; ++y) {
      const uint8_t *above = from.row(2 * y), *below = from.row(2 * y + 1);
      for (int32_t i = 0; i < 31 * 4; ++i) {
        const int32_t left = i / 4 * 8 + i % 4;
        const int32_t sum = above[left] + above[left + 4] + below[left] + below[left + 4];
        ASSERT_EQ(to.row(y)[i], (sum + 2) / 4) << level.name << " " << y << " " << i;
      }
    }
  }
}

// Values that lie exactly between two bytes, row after row: the shortcut of the vector forms must not decide
// them.
TEST(Scale, TiesAreDecidedByTheDefinition) {
  for (uint32_t seed = 0; seed < 8; ++seed) {
    Pixels from(97, 9, 4, seed), to(97, 9, 4, seed + 1);
    for (size_t i = 0; i < from.block->size() && seed % 2 != 0; ++i) from.block->data()[i] &= 1;
    const int32_t shift = kOne / 2 + static_cast<int32_t>(seed / 4) * 3;
    const RECT place = {shift, shift, 97 * kOne, 9 * kOne},
               part = {0, 0, 97 * kOne - shift, 9 * kOne - shift};
    const RECT inner = {shift, shift, 97 * kOne - kOne, 8 * kOne};
    for (const RECT* source : {&part, &inner}) {
      std::vector<uint8_t> plain;
      for (const test::Level& level : test::kLevels) {
        const AtLevel at(level);
        to.fill(seed + 1);
        scaleFixed(to, &place, from, source, 4, {false, false, false});
        if (plain.empty()) plain = to.bytes();
        ASSERT_EQ(plain, to.bytes()) << level.name << " " << seed;
      }
    }
  }
}

// A hundred thousand rectangles at fractions, on images that end and begin at forbidden pages.
TEST(Scale, RandomRectanglesStayInside) {
  Random random(11);
  const SIZE sizes[] = {{1, 1}, {1, 7}, {7, 1}, {5, 4}, {9, 3}, {33, 2}, {16, 16}, {2, 33}};
  std::vector<std::unique_ptr<Pixels>> sources, targets;
  for (const SIZE& size : sizes) {
    for (uint32_t k = 0; k < 4; ++k) {
      const uint32_t bytes = k < 2 ? 4 : 16;
      sources.push_back(std::make_unique<Pixels>(size.cx, size.cy, bytes, k, k % 2 != 0));
      targets.push_back(std::make_unique<Pixels>(size.cx, size.cy, bytes, k + 1, k % 2 == 0));
    }
  }
  int64_t written = 0;
  for (uint32_t round = 0; round < 100000; ++round) {
    const AtLevel at(test::kLevels[round % 3]);
    const uint32_t kind = random.below(4);
    Pixels& from = *sources[random.below(8) * 4 + kind];
    Pixels& to = *targets[random.below(8) * 4 + kind];
    const RECT toRect = randomRect(random, to.size, 1000), fromRect = randomRect(random, from.size, 16000);
    const auto& scale = random.below(8) == 0 ? scaleWhole : scaleFixed;
    ASSERT_EQ(scale(to, &toRect, from, &fromRect, kind < 2 ? 4 : 16, modeOf(random.next() >> 9)), qv::kOk);
    QvSubpixelParam p;
    written += prepare(&p, to, &toRect, from, &fromRect);
  }
  EXPECT_GT(written, 30000);
  for (const auto& pixels : targets) EXPECT_FALSE(pixels->block->spoiled());
  for (const auto& pixels : sources) EXPECT_FALSE(pixels->block->spoiled());
}

TEST(Scale, EqualSizesAreCopied) {
  for (const uint32_t bytes : {4u, 16u}) {
    Pixels from(20, 12, bytes, 3), to(20, 12, bytes, 4, true);
    Random(8).fill(from.block->data(), from.block->size());  // floats of any bits, numbers or not
    const RECT place = {3, 2, 13, 9}, part = {5, 4, 15, 11};
    ASSERT_EQ(scaleWhole(to, &place, from, &part, bytes, {true, true, false}), 0);
    for (int32_t y = 0; y < 7; ++y) {
      EXPECT_EQ(memcmp(to.row(y + 2) + 3 * bytes, from.row(y + 4) + 5 * bytes, 10 * bytes), 0) << y;
    }
  }
}

TEST(Scale, FlatColourStaysFlat) {
  for (const int value : {0, 1, 127, 254, 255}) {
    for (uint32_t bits = 0; bits < 4; ++bits) {
      for (const SIZE& size : {SIZE{3, 90}, SIZE{90, 3}, SIZE{90, 95}, SIZE{11, 7}}) {
        Pixels from(37, 41, 4, 1), to(size.cx, size.cy, 4, 2);
        memset(from.block->data(), value, from.block->size());
        memset(to.block->data(), value, to.block->size());
        scaleWhole(to, nullptr, from, nullptr, 4, modeOf(bits));
        for (const uint8_t byte : to.bytes()) ASSERT_EQ(byte, value) << bits << " " << size.cx;
      }
    }
  }
}

TEST(Scale, Refusals) {
  Pixels from(4, 4, 4, 0), to(8, 8, 4, 1);
  const std::vector<uint8_t> before = to.bytes();
  for (const auto& scale : {scaleWhole, scaleFixed}) {
    EXPECT_EQ(scale(to, nullptr, from, nullptr, 3, {}), qv::kInvalidArgument);
    EXPECT_EQ(scale(to, nullptr, from, nullptr, 0, {}), qv::kInvalidArgument);
    const RECT empty = {2, 2, 2, 2};
    EXPECT_EQ(scale(to, &empty, from, nullptr, 4, {}), qv::kOk);
  }
  const RECT distant = {0, 0, 200000, 4}, narrow = {0, 0, 1023, kOne};
  EXPECT_EQ(scaleWhole(to, nullptr, from, &distant, 4, {}), qv::kOk);
  EXPECT_EQ(scaleFixed(to, &narrow, from, nullptr, 4, {}), qv::kOk);
  EXPECT_EQ(before, to.bytes());
}

TEST(Scale, ThreadsMakeNoDifference) {
  const int threads = omp_get_max_threads();
  for (uint32_t bits = 0; bits < 4; ++bits) {
    for (const SIZE& size : {SIZE{300, 250}, SIZE{700, 600}, SIZE{300, 600}}) {
      for (const uint32_t bytes : {4u, 16u}) {
        Pixels from(501, 402, bytes, bits), to(size.cx, size.cy, bytes, 1, bits == 2);
        std::vector<uint8_t> first;
        for (const int team : {1, 2, 3}) {
          omp_set_num_threads(team);
          memset(to.block->data(), 0, to.block->size());
          scaleWhole(to, nullptr, from, nullptr, bytes, modeOf(bits));
          if (first.empty()) first = to.bytes();
          EXPECT_EQ(first, to.bytes()) << bits << " " << team;
        }
      }
    }
  }
  omp_set_num_threads(threads);
}

// ---- Checksums that another program made

enum class GoldenKind { Linear, Cubic, Box, Fields };
struct Golden {
  GoldenKind kind;
  SIZE source, target;  // for fields, the target's first number is the field
  uint32_t seed, checksum;
};
constexpr Golden kGolden[] = {
#include "tests/golden/scale_golden.inc"
};

uint32_t checksumOf(Pixels& pixels) {
  uint32_t state = 2166136261u;
  for (int32_t y = 0; y < pixels.size.cy; ++y) {
    for (int32_t i = 0; i < pixels.size.cx * 4; ++i) state = (state ^ pixels.row(y)[i]) * 16777619u;
  }
  return state;
}

TEST(Scale, MatchesTheOtherProgram) {
  for (const Golden& g : kGolden) {
    const bool fields = g.kind == GoldenKind::Fields;
    // An image's first row lies last.
    Pixels from(g.source.cx, g.source.cy, 4, 1, fields);
    uint32_t state = g.seed;
    for (int32_t y = 0; y < g.source.cy; ++y) {
      for (int32_t i = 0; i < g.source.cx * 4; ++i) {
        state = state * 1664525 + 1013904223;
        from.row(y)[i] = static_cast<uint8_t>(state >> 24);
      }
    }
    const SIZE& size = fields ? g.source : g.target;
    Pixels to(size.cx, size.cy, 4, 2, fields);
    for (const test::Level& level : test::kLevels) {
      const AtLevel at(level);
      to.fill(3);
      if (fields) {
        BITMAPINFO info;
        QvVideo_InitBitmapInfo(&info, QVPT_RGB32, static_cast<uint32_t>(size.cx),
                               static_cast<uint32_t>(size.cy), nullptr, 0, nullptr);
        QvDibCopyInterlace(&info.bmiHeader, to.row(size.cy - 1), nullptr, static_cast<uint32_t>(-to.stride),
                           &info.bmiHeader, from.row(size.cy - 1), nullptr,
                           static_cast<uint32_t>(-from.stride), static_cast<uint32_t>(g.target.cx),
                           QVCOPY_QUALITY_SMOOTH);
      } else {
        scaleWhole(to, nullptr, from, nullptr, 4,
                   {g.kind == GoldenKind::Cubic, g.kind == GoldenKind::Box, false});
      }
      EXPECT_EQ(checksumOf(to), g.checksum) << level.name << " " << static_cast<int>(g.kind) << " " << g.seed;
    }
  }
}

// ---- The copy goes through the scaler

// Displayed rows of a picture, top first.
struct Rows {
  SIZE size;
  int32_t stride;
  uint8_t* top;
  explicit Rows(Picture& picture)
      : size{picture.header()->biWidth, picture.header()->biHeight},
        stride(-picture.stride()),
        top(picture.row(0)) {}
};

TEST(ScaleCopy, StretchesBytesAndFloats) {
  const int32_t pairs[][2] = {
      {QVPT_RGB32, QVPT_RGBA32}, {QVPT_RGBA32, QVPT_RGB32}, {QVPT_RGBAF128, QVPT_RGBAF128}};
  const RECT pixels[2] = {{1, 2, 14, 11}, {0, 1, 8, 9}};
  const RECT fixed[2] = {{20000, 2000, 200000, 150000}, {0, 9000, 8 * kOne, 9 * kOne}};
  for (const auto& pair : pairs) {
    for (uint32_t bits = 0; bits < 16; ++bits) {
      const Mode mode = modeOf(bits);
      const bool subpixel = (bits & 8) != 0;
      Picture from(pair[0], 9, 10, 1), to(pair[1], 15, 12, 2), same(pair[1], 15, 12, 2);
      const RECT* rects = subpixel ? fixed : pixels;
      const uint32_t flags = QVCOPY_QUALITY_SMOOTH | (mode.cubic ? QVCOPY_BICUBIC : 0) |
                             (mode.area ? QVCOPY_AREA : 0) | (mode.replace ? QVCOPY_REPLACE : 0) |
                             (subpixel ? QVCOPY_SUBPIXEL : 0);
      ASSERT_EQ(QvDibCopy(to.header(), to.first(), &rects[0], to.stride(), from.header(), from.first(),
                          &rects[1], static_cast<uint32_t>(from.stride()), flags, 0.0, 0.0),
                0);
      const Rows source(from), target(same);
      entryOf(subpixel, mode)(target.top, &target.size, target.stride, &rects[0], source.top, &source.size,
                              source.stride, &rects[1], pair[0] == QVPT_RGBAF128 ? 16 : 4, mode.area,
                              mode.replace);
      EXPECT_EQ(to.bytes(), same.bytes()) << pair[0] << " mode " << bits;
    }
  }
}

// Below quality 3, and for other pairs, the engine's own stretch.
TEST(ScaleCopy, LeavesTheRestToTheEngine) {
  Picture from(QVPT_RGB32, 4, 4, 1), to(QVPT_RGB32, 8, 8, 2);
  ASSERT_EQ(
      QvDibCopy(to.header(), to.first(), nullptr, to.stride(), from.header(), from.first(), nullptr,
                static_cast<uint32_t>(from.stride()), QVCOPY_QUALITY_NEAREST | QVCOPY_BICUBIC, 0.0, 0.0),
      0);
  for (int64_t y = 0; y < 8; ++y) {
    for (int64_t x = 0; x < 8; ++x) EXPECT_EQ(memcmp(to.row(y) + 4 * x, from.row(y / 2) + 4 * (x / 2), 4), 0);
  }
}

}  // namespace
