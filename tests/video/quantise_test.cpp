#include "qv/video/quantise.h"

#include <gtest/gtest.h>
#include <omp.h>

#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "tests/video/support/picture.h"

namespace {

using test::AtLevel;
using test::Picture;
using test::Random;

struct Colour {
  int channel[3];  // red, green, blue; five bits
};
bool operator==(const Colour& a, const Colour& b) {
  return memcmp(a.channel, b.channel, sizeof a.channel) == 0;
}
bool before(const Colour& a, const Colour& b) {
  return std::lexicographical_compare(a.channel, a.channel + 3, b.channel, b.channel + 3);
}
struct Box {
  Colour first, most;
};

// A list of colours in order; each box takes its first colour's neighbours out of the list, up to enough
// boxes.
std::vector<Box> slowBoxes(std::vector<Colour> colours, const std::array<int, 3>& shape, size_t enough) {
  std::vector<Box> boxes;
  while (!colours.empty() && boxes.size() < enough) {
    Box box = {colours[0], colours[0]};
    const int t = 96 + box.first.channel[0] + box.first.channel[1] + box.first.channel[2];
    std::vector<Colour> rest;
    for (const Colour& c : colours) {
      bool inside = true;
      for (size_t i = 0; i < 3; ++i) {
        const int low = box.first.channel[i];
        inside = inside && c.channel[i] >= low && c.channel[i] < low + t * shape[i] / 96;
      }
      // A box of no extent still takes the colour that it begins with out of the list.
      if (!inside) {
        rest.push_back(c);
        continue;
      }
      for (size_t i = 0; i < 3; ++i) box.most.channel[i] = std::max(box.most.channel[i], c.channel[i]);
    }
    boxes.push_back(box);
    colours.swap(rest);
  }
  return boxes;
}

std::vector<Box> slowPalette(const std::vector<Colour>& colours, size_t entries) {
  for (int s = 2; s < 40; ++s) {
    const std::array<int, 3> shapes[] = {{s, s - 1, s - 1}, {s - 1, s, s - 1}, {s - 1, s - 1, s},
                                         {s, s, s - 1},     {s, s - 1, s},     {s - 1, s, s},
                                         {s, s, s}};
    std::vector<Box> best;
    for (const auto& shape : shapes) {
      const std::vector<Box> boxes = slowBoxes(colours, shape, entries + 1);
      if (boxes.size() <= entries && boxes.size() > best.size()) best = boxes;
    }
    if (!best.empty()) return best;
  }
  // However large the boxes are, there are too many.
  return slowBoxes(colours, {40, 40, 40}, entries);
}

std::vector<Colour> coloursOf(Picture& picture, const RECT& rect) {
  std::vector<Colour> out;
  for (int64_t y = rect.top; y < rect.bottom; ++y) {
    for (int64_t x = rect.left; x < rect.right; ++x) {
      const QVPIXEL64 p = picture.read(x, y, true);
      out.push_back({{p.red >> 11, p.green >> 11, p.blue >> 11}});
    }
  }
  std::sort(out.begin(), out.end(), before);
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

HRESULT quantise(Picture& palette, Picture& from, const RECT* rect, uint32_t mode) {
  return QvDibQuantizePalette(palette.header(), from.header(), from.first(), rect, from.stride(), mode);
}
std::vector<uint8_t> entriesOf(const Picture& palette) {
  return {palette.palette(), palette.palette() + 1024};
}

void expectPalette(const Picture& palette, const std::vector<uint8_t>& old, const std::vector<Box>& boxes) {
  std::vector<uint8_t> expected = old;
  for (size_t i = 0; i < boxes.size(); ++i) {
    for (size_t k = 0; k < 3; ++k) {
      const int sum = boxes[i].first.channel[2 - k] + boxes[i].most.channel[2 - k];
      expected[4 * i + k] = static_cast<uint8_t>(sum / 2 * 8);
    }
    expected[4 * i + 3] = 0;
  }
  EXPECT_EQ(entriesOf(palette), expected);
}

// Pictures of every type, few colours and many, small palettes and large, against lists of colours.
TEST(QuantizePalette, GrowsBoxesLikeALoopOverColours) {
  Random random(6);
  for (int round = 0; round < 200; ++round) {
    const int32_t type = QVPT_PAL1 + static_cast<int32_t>(random.below(18));
    if (type == QVPT_A2RGB10) continue;  // no header names it
    const int32_t w = 1 + static_cast<int32_t>(random.below(20)),
                  h = 1 + static_cast<int32_t>(random.below(20));
    Picture from(type, w, h, random.next(), random.below(2) != 0);
    if (type == QVPT_RGB32 && random.below(2) != 0) {  // dark and crowded
      for (size_t i = 0; i < from.pixels().size(); ++i) from.pixels().data()[i] &= 63;
    }
    Picture palette(random.below(2) != 0 ? QVPT_PAL8 : QVPT_PAL4, 1, 1, 0);
    if (random.below(3) == 0) palette.header()->biClrUsed = 1 + random.below(palette.header()->biClrUsed);
    const std::vector<uint8_t> old = entriesOf(palette);
    const RECT whole = {0, 0, w, h}, part = {w / 3, h / 3, w + 5, h};
    const RECT& rect = random.below(2) != 0 ? whole : part;
    const uint32_t mode = random.below(5);
    ASSERT_EQ(quantise(palette, from, &rect, mode), 0);
    const RECT inside = {rect.left, rect.top, w, h};
    expectPalette(palette, old, slowPalette(coloursOf(from, inside), palette.header()->biClrUsed));
    if (HasFailure()) FAIL() << type << " " << w << "x" << h << " mode " << mode;
    ASSERT_FALSE(from.pixels().spoiled());
  }
}

// Every colour there is, for sixteen entries; and on several threads.
TEST(QuantizePalette, AFullCube) {
  Picture cube(QVPT_RGB32, 256, 128 * 4, 0), palette(QVPT_PAL4, 1, 1, 0), again(QVPT_PAL4, 1, 1, 0);
  for (int i = 0; i < 256 * 512; ++i) {
    const uint8_t pixel[4] = {static_cast<uint8_t>(i << 3), static_cast<uint8_t>(i >> 5 << 3),
                              static_cast<uint8_t>(i >> 10 << 3), 0};
    memcpy(cube.row(i / 256) + i % 256 * 4, pixel, 4);
  }
  palette.header()->biClrUsed = again.header()->biClrUsed = 16;
  const std::vector<uint8_t> old = entriesOf(palette);
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  ASSERT_EQ(quantise(palette, cube, nullptr, 3), 0);
  omp_set_num_threads(3);
  ASSERT_EQ(quantise(again, cube, nullptr, 3), 0);
  omp_set_num_threads(threads);
  EXPECT_EQ(entriesOf(palette), entriesOf(again));
  const std::vector<Box> boxes = slowPalette(coloursOf(cube, {0, 0, 256, 512}), 16);
  expectPalette(palette, old, boxes);
}

// No box that begins at one of these holds another, however large it is; the search has to end all the same.
TEST(QuantizePalette, ColoursOfOneBrightness) {
  Picture from(QVPT_RGB32, 32, 32, 0), palette(QVPT_PAL8, 1, 1, 0);
  for (int i = 0; i < 1024; ++i) {
    const int r = i % 32, g = std::min(i / 32, 48 - r > 31 ? 31 : std::max(48 - r, 0)),
              b = std::clamp(48 - r - g, 0, 31);
    const uint8_t pixel[4] = {static_cast<uint8_t>(b * 8), static_cast<uint8_t>(g * 8),
                              static_cast<uint8_t>(r * 8), 0};
    memcpy(from.row(i / 32) + i % 32 * 4, pixel, 4);
  }
  const std::vector<uint8_t> old = entriesOf(palette);
  ASSERT_EQ(quantise(palette, from, nullptr, 3), 0);
  expectPalette(palette, old, slowPalette(coloursOf(from, {0, 0, 32, 32}), 255));
}

TEST(QuantizePalette, OneColourAndRefusals) {
  Picture dot(QVPT_RGB24, 1, 1, 0), palette(QVPT_PAL8, 1, 1, 0), plain(QVPT_RGB32, 1, 1, 0);
  memcpy(dot.row(0), "\x11\x87\xff", 3);
  std::vector<uint8_t> old = entriesOf(palette);
  const RECT outside = {3, 3, 5, 5};
  EXPECT_EQ(quantise(palette, dot, &outside, 3), 0);
  EXPECT_EQ(quantise(plain, dot, nullptr, 3), qv::kUnsupported);
  Picture none(QVPT_PAL8, 1, 1, 0);
  none.header()->biClrUsed = 0;
  EXPECT_EQ(quantise(none, dot, nullptr, 3), qv::kInvalidArgument);
  plain.header()->biCompression = QvFourCC('U', 'Y', 'V', 'Y');
  EXPECT_EQ(quantise(palette, plain, nullptr, 3), qv::kUnsupported);
  EXPECT_EQ(entriesOf(palette), old);
  ASSERT_EQ(quantise(palette, dot, nullptr, 3), 0);
  memcpy(old.data(), "\x10\x80\xf8\0", 4);
  EXPECT_EQ(entriesOf(palette), old);
  EXPECT_EQ(palette.header()->biClrUsed, 255u);
}

}  // namespace
