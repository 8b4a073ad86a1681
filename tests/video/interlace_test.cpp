#include "qv/video/interlace.h"

#include <gtest/gtest.h>
#include <omp.h>

#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/quantise.h"
#include "tests/video/support/picture.h"

namespace {

using test::AtLevel;
using test::Picture;
using test::Random;
using test::SlowType;

HRESULT interlace(Picture& to, const RECT* toRect, Picture& from, const RECT* fromRect, uint32_t field,
                  uint32_t flags) {
  return QvDibCopyInterlace(to.header(), to.first(), toRect, static_cast<uint32_t>(to.stride()),
                            from.header(), from.first(), fromRect, static_cast<uint32_t>(from.stride()),
                            field, flags);
}

bool isByteType(int32_t type) {
  return type == QVPT_PAL8 || type == QVPT_RGB24 || type == QVPT_RGB32 || type == QVPT_RGBA32;
}

// One pixel of the mean of two rows (twice the same for a kept one), by the route that the pair takes.
void slowMean(Picture& from, int64_t x, int64_t above, int64_t below, Picture& to, uint8_t* out, int64_t at,
              uint32_t quality, const uint8_t* inverse) {
  if (from.type() == QVPT_RGBAF128 && to.type() == QVPT_RGBAF128 && quality != 4) {
    float a[4], b[4];
    memcpy(a, from.row(above) + 16 * x, 16);
    memcpy(b, from.row(below) + 16 * x, 16);
    for (int i = 0; i < 4; ++i) a[i] = above == below ? a[i] : (a[i] + b[i]) / 2;
    memcpy(out + 16 * at, a, 16);
    return;
  }
  const bool bytes = isByteType(from.type()) && isByteType(to.type()) && quality != 4;
  const QVPIXEL64 a = from.read(x, above, bytes || quality >= 3),
                  b = from.read(x, below, bytes || quality >= 3);
  const auto mean = [bytes](int p, int q) {
    return static_cast<uint16_t>(bytes ? ((p >> 8) + (q >> 8)) / 2 * 257 : (p + q) / 2);
  };
  test::slowWrite(to.type(), out, at,
                  {mean(a.blue, b.blue), mean(a.green, b.green), mean(a.red, b.red), mean(a.alpha, b.alpha)},
                  inverse);
}

class InverseTable {
 public:
  explicit InverseTable(Picture& picture) {
    EXPECT_EQ(QvDibCreateColorQuantizer(&table_, picture.header()), 0);
  }
  ~InverseTable() {
    GlobalUnlock(GlobalHandle(table_));
    GlobalFree(GlobalHandle(table_));
  }
  const uint8_t* table() const { return static_cast<const uint8_t*>(table_); }

 private:
  void* table_ = nullptr;
};

// Every pair of types, both fields, rows both ways, rectangles at odd places, widths with all tails.
TEST(Interlace, EveryPairOfTypes) {
  Picture palette4(QVPT_PAL4, 1, 1, 0), palette8(QVPT_PAL8, 1, 1, 0);
  const InverseTable inverse4(palette4), inverse8(palette8);
  Random random(3);
  for (const SlowType& s : test::kSlowTypes) {
    for (const SlowType& t : test::kSlowTypes) {
      if (s.type == QVPT_A2RGB10 || t.type == QVPT_A2RGB10) continue;  // no header names it
      for (uint32_t quality = 0; quality <= 4; ++quality) {
        const auto below = [&](uint32_t n) { return static_cast<int32_t>(random.below(n)); };
        const int32_t w = 1 + below(37), h = 1 + below(8), sx = below(5), sy = below(4), tx = below(5),
                      ty = below(4);
        Picture from(s.type, sx + w + below(3), sy + h + below(3), random.next(), below(2) != 0);
        Picture to(t.type, tx + w + below(3), ty + h + below(3), random.next(), below(2) != 0);
        const RECT fromRect = {sx, sy, sx + w, sy + h}, toRect = {tx, ty, tx + w, ty + h};
        const uint32_t field = random.below(2);
        const uint8_t* inverse = t.bits == 4 ? inverse4.table() : inverse8.table();
        const std::vector<uint8_t> before = to.bytes();
        for (int32_t y = 0; y < h; ++y) {
          const bool odd = (sy + y) % 2 != 0, kept = odd == (field == 0);
          const int32_t above = kept || h == 1 ? y : y == 0 ? 1 : y - 1;
          const int32_t under = kept || h == 1 ? y : y == h - 1 ? h - 2 : y + 1;
          for (int32_t x = 0; x < w; ++x) {
            slowMean(from, sx + x, sy + above, sy + under, to, to.row(ty + y), tx + x, quality, inverse);
          }
        }
        const std::vector<uint8_t> expected = to.bytes();
        for (const test::Level& level : test::kLevels) {
          const AtLevel at(level);
          std::copy(before.begin(), before.end(), to.pixels().data());
          ASSERT_EQ(interlace(to, &toRect, from, &fromRect, field, quality), 0);
          ASSERT_EQ(to.bytes(), expected)
              << s.type << " to " << t.type << " quality " << quality << " " << level.name;
          ASSERT_FALSE(to.pixels().spoiled() || from.pixels().spoiled());
        }
      }
    }
  }
}

TEST(Interlace, UnitsClippingAndRefusals) {
  Picture from(QVPT_RGB32, 6, 6, 1), to(QVPT_RGB32, 6, 6, 2), again(QVPT_RGB32, 6, 6, 2);
  const std::vector<uint8_t> before = to.bytes();
  const RECT small = {0, 0, 3, 3}, empty = {2, 2, 2, 5};
  EXPECT_EQ(interlace(to, nullptr, from, &small, 0, 3), qv::kUnsupported);
  EXPECT_EQ(interlace(to, &empty, from, nullptr, 0, 3), qv::kOk);
  Picture yuv(QVPT_RGB32, 6, 6, 3);
  yuv.header()->biCompression = QvFourCC('U', 'Y', 'V', 'Y');
  EXPECT_EQ(interlace(to, nullptr, yuv, nullptr, 0, 3), qv::kUnsupported);
  EXPECT_EQ(interlace(yuv, nullptr, from, nullptr, 0, 3), qv::kUnsupported);
  EXPECT_EQ(before, to.bytes());
  // Fractions are cut off.
  const RECT fixed = {16384 + 9, 16384 + 5, 4 * 16384 + 1000, 5 * 16384 + 16383}, cut = {1, 1, 4, 5};
  EXPECT_EQ(interlace(to, &fixed, from, &fixed, 1, 3 | QVCOPY_SUBPIXEL), 0);
  EXPECT_EQ(interlace(again, &cut, from, &cut, 1, 3), 0);
  EXPECT_EQ(to.bytes(), again.bytes());
  // What hangs over either image is left out of both.
  const RECT over = {-1, -2, 5, 4}, under = {3, 1, 9, 7};
  EXPECT_EQ(interlace(to, &over, from, &under, 0, 3), 0);
  const RECT meets = {0, 0, 2, 3}, met = {4, 3, 6, 6};
  EXPECT_EQ(interlace(again, &meets, from, &met, 0, 3), 0);
  EXPECT_EQ(to.bytes(), again.bytes());
  EXPECT_FALSE(to.pixels().spoiled());
  const RECT apart = {-9, 0, -3, 6};
  EXPECT_EQ(interlace(to, &apart, from, nullptr, 0, 3), 0);
  EXPECT_EQ(to.bytes(), again.bytes());
}

TEST(Interlace, ThreadsAndOnePlaceMakeNoDifference) {
  const int threads = omp_get_max_threads();
  Picture from(QVPT_RGB32, 400, 301, 1), one(QVPT_RGB32, 400, 301, 2), two(QVPT_RGB32, 400, 301, 2);
  omp_set_num_threads(1);
  interlace(one, nullptr, from, nullptr, 0, 3);
  omp_set_num_threads(3);
  interlace(two, nullptr, from, nullptr, 0, 3);
  EXPECT_EQ(one.bytes(), two.bytes());
  interlace(from, nullptr, from, nullptr, 0, 3);
  for (int64_t y = 0; y < 301; ++y) ASSERT_EQ(memcmp(from.row(y), one.row(y), 1600), 0) << y;
  omp_set_num_threads(threads);
}

// Displayed rows at odd y are field 0, whatever the height; so they are memory rows 0, 2, 4 of an even one.
TEST(Interlace, MergesFields) {
  Random random(4);
  for (const SlowType& t : test::kSlowTypes) {
    for (const int32_t height : {1, 2, 5, 8}) {
      for (const uint32_t field : {0u, 1u}) {
        const int32_t width = 1 + static_cast<int32_t>(random.below(40));
        Picture from(t.type, width, height, random.next(), true), to(t.type, width, height, random.next());
        Picture want(t.type, width, height, 0);
        const std::vector<uint8_t> before = to.bytes();
        std::vector<uint8_t> expected = before;
        const size_t bytes = static_cast<size_t>(width) * t.bits / 8;
        for (int32_t y = 0; y < height; ++y) {
          if ((y % 2 != 0) != (field == 0)) continue;
          memcpy(expected.data() + (to.row(y) - to.pixels().data()), from.row(y), bytes);
        }
        ASSERT_EQ(QvDibMergeFields(to.header(), to.first(), static_cast<uint32_t>(to.stride()), from.header(),
                                   from.first(), from.stride(), field),
                  0);
        ASSERT_EQ(to.bytes(), expected) << t.type << " " << height << " " << field;
        ASSERT_FALSE(to.pixels().spoiled());
      }
    }
  }
}

TEST(Interlace, MergesFieldsOnTheirSide) {
  Random random(4);
  for (const int32_t type : {QVPT_RGBA32, QVPT_RGBAF128, QVPT_RGB10A2, QVPT_RGB24, QVPT_GRAY8, QVPT_PAL4}) {
    const uint32_t bits = test::slowType(type).bits;
    for (int32_t width = 1; width < 40; ++width) {
      const uint32_t field = random.below(2);
      Picture from(type, width, 3, random.next()), to(type, width, 3, random.next(), true);
      std::vector<uint8_t> expected = to.bytes();
      const uint32_t step = bits == 32 ? 4 : 16, rowBytes = (static_cast<uint32_t>(width) * bits + 7) / 8;
      // An even width begins at its first column for field 0, an odd one at its second.
      for (uint32_t x = (width % 2 == 0) == (field == 0) ? 0 : 1; x < static_cast<uint32_t>(width); x += 2) {
        for (uint32_t i = x * bits / 8; i < std::min(x * bits / 8 + step, rowBytes); ++i) {
          for (int64_t y = 0; y < 3; ++y)
            expected[static_cast<size_t>(to.row(y) - to.pixels().data() + i)] = from.row(y)[i];
        }
      }
      for (const test::Level& level : test::kLevels) {
        const AtLevel at(level);
        ASSERT_EQ(QvDibMergeFieldsRotated(to.header(), to.first(), static_cast<uint32_t>(to.stride()),
                                          from.header(), from.first(), from.stride(), field),
                  0);
        ASSERT_EQ(to.bytes(), expected) << type << " " << width << " " << field << " " << level.name;
        ASSERT_FALSE(to.pixels().spoiled() || from.pixels().spoiled());
      }
    }
  }
}

TEST(Interlace, MergesOnlyWhatIsAlike) {
  Picture a(QVPT_RGB32, 4, 4, 1), wide(QVPT_RGB32, 5, 4, 1), tall(QVPT_RGB32, 4, 5, 1),
      deep(QVPT_RGBA64, 4, 4, 1);
  Picture yuv(QVPT_RGB32, 4, 4, 1);
  yuv.header()->biCompression = QvFourCC('U', 'Y', 'V', 'Y');
  for (const auto& merge : {QvDibMergeFields, QvDibMergeFieldsRotated}) {
    for (Picture* other : {&wide, &tall, &deep, &yuv}) {
      EXPECT_EQ(merge(a.header(), a.first(), 0, other->header(), other->first(), 0, 0), qv::kUnsupported);
    }
    EXPECT_EQ(merge(yuv.header(), yuv.first(), 0, yuv.header(), yuv.first(), 0, 0), qv::kUnsupported);
  }
}

}  // namespace
