#include "qv/video/dib.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "qv/frame/status.h"
#include "qv/video/yuvplanes.h"
#include "tests/video/support/guarded.h"
#include "tests/video/support/slow_pixels.h"

namespace {

using test::AtLevel;
using test::Guarded;
using test::Random;

constexpr HRESULT kBadArgument = qv::kInvalidArgument, kNoSuchType = qv::kUnsupported;

std::u16string text(const WCHAR* p) {
  std::u16string out;
  for (; *p != 0; ++p) out += static_cast<char16_t>(*p);
  return out;
}

// A header with room for masks or table behind it, apart from its pixels.
struct Header {
  alignas(8) uint8_t block[40 + 1024] = {};
  Header(int32_t type, int32_t width, int32_t height) {
    EXPECT_EQ(QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(block), type, static_cast<uint32_t>(width),
                                     static_cast<uint32_t>(height), nullptr, 0, nullptr),
              0);
  }
  BITMAPINFOHEADER* get() { return reinterpret_cast<BITMAPINFOHEADER*>(block); }
};

TEST(PixelTypes, EveryTypeComesBackFromItsHeader) {
  const int32_t types[] = {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 31,
                           32, 33, 64, 65, 66, 67, 68, 69, 70, 71, 72, 73, 74, 75};
  for (const int32_t type : types) {
    Header header(type, 8, 8);
    EXPECT_EQ(QvGetPixelType(header.get()), type);
    EXPECT_EQ(QvVideo_IsCompressed(header.get()), type >= 64 ? 1 : 0) << type;
  }
  Header alike(QVPT_A2RGB10, 8, 8), other(QVPT_RGB10A2, 8, 8);
  EXPECT_EQ(memcmp(alike.block, other.block, 52), 0);
  EXPECT_EQ(QvGetPixelType(alike.get()), QVPT_RGB10A2);
}

TEST(PixelTypes, HeadersThatAreOddOrNotOurs) {
  struct Row {
    uint32_t compression;
    uint16_t bits;
    uint32_t masks[3];
    int32_t type;
  };
  const Row rows[] = {{0, 2, {}, 0},
                      {0, 64, {}, 0},
                      {3, 16, {0x7c00, 0x3e0, 0x1f}, QVPT_RGB555},
                      {3, 32, {0xff, 0xff00, 0xff0000}, QVPT_RGB32},
                      {3, 16, {0xf00, 0xf0, 0xf}, 0},
                      {3, 24, {0xff0000, 0xff00, 0xff}, 0},
                      {QVFOURCC_QVDB, 24, {}, QVPT_RGB24},
                      {QVFOURCC_QVDB, 16, {}, 0},
                      {QVFOURCC_QVGS, 3, {}, 0},
                      {QvFourCC('N', 'V', '1', '2'), 77, {}, QVPT_NV12},
                      {QvFourCC('M', 'J', 'P', 'G'), 24, {}, 0}};
  for (const Row& row : rows) {
    Header header(QVPT_RGB32, 8, 8);
    header.get()->biCompression = row.compression;
    header.get()->biBitCount = row.bits;
    memcpy(header.block + 40, row.masks, 12);
    EXPECT_EQ(QvGetPixelType(header.get()), row.type) << row.compression << " " << row.bits;
    EXPECT_EQ(QvVideo_IsCompressed(header.get()) != 0, row.type == 0 || row.type >= 64);
  }
}

TEST(PixelTypes, AttributesAndMasks) {
  using Three = std::array<uint32_t, 3>;
  uint32_t compression = 9;
  Three masks = {9, 9, 9};
  QVBITATTRIBS attribs = {};
  EXPECT_EQ(QvPixelTypeToBitAttribs(QVPT_RGB565, &compression, nullptr, 0, masks.data()), 16u);
  EXPECT_EQ(masks, (Three{0xf800, 0x7e0, 0x1f}));
  EXPECT_EQ(QvPixelTypeToBitAttribs(QVPT_RGB10A2, nullptr, nullptr, 0, masks.data()), 32u);
  EXPECT_EQ(masks[0], 0x3ff00000u);
  EXPECT_EQ(masks[2], 0x3ffu);
  EXPECT_EQ(QvPixelTypeToBitAttribs(QVPT_GRAY2, nullptr, &attribs, 63, nullptr), 0u);
  EXPECT_EQ(QvPixelTypeToBitAttribs(QVPT_GRAY2, nullptr, &attribs, 64, nullptr), 2u);
  EXPECT_EQ(attribs.pixelClass, 4096);
  EXPECT_EQ(QvPixelTypeToBitAttribs(QVPT_PAL1, nullptr, &attribs, 64, nullptr), 1u);
  EXPECT_EQ(attribs.pixelClass, -1);
  EXPECT_EQ(attribs.highest, 1.0);
  for (const int32_t type : {0, 15, 34, 63, 76, -1}) {
    EXPECT_EQ(QvPixelTypeToBitAttribs(type, &compression, nullptr, 0, masks.data()), 0u);
    EXPECT_EQ(compression, 0u);
    EXPECT_EQ(masks[0], 0u);
  }
  uint8_t widths[4];
  EXPECT_EQ(QvGetPixelBitsPerChannel(QVPT_RGB555, widths), 16u);
  EXPECT_EQ(widths[3], 1);
  EXPECT_EQ(QvGetPixelBitsPerChannel(QVPT_UYVY, widths), 0u);
  EXPECT_EQ(widths[0] | widths[3], 0);
  EXPECT_EQ(QvCreateBitMask(4, 3), 0x70u);
  EXPECT_EQ(QvCreateBitMask(4, 0), 0u);
  EXPECT_EQ(QvCreateBitMask(0, 32), 0xffffffffu);
  EXPECT_EQ(QvCreateBitMask(1, 0x7fffffff), 0u);  // the sum turns negative
  EXPECT_EQ(QvCountBits(0xf0f00001), 9u);
}

TEST(ImageBlocks, SizesAndTables) {
  struct Row {
    int32_t type;
    uint32_t width, height, clrUsed, imageBytes;
  };
  const Row rows[] = {
      {QVPT_RGB24, 5, 3, 0, 48},  {QVPT_PAL8, 5, 3, 255, 24},  {QVPT_PAL4, 9, 1, 15, 8},
      {QVPT_PAL1, 33, 2, 1, 16},  {QVPT_GRAY8, 4, 4, 255, 16}, {QVPT_RGBAF128, 3, 2, 0, 96},
      {QVPT_I420, 6, 4, 0, 36},   {QVPT_P010, 6, 4, 0, 72},    {QVPT_Y41B, 8, 2, 0, 24},
      {QVPT_v210, 49, 2, 0, 512}, {QVPT_NV12, 5, 5, 0, 37},    {QVPT_RGB24, 0, 7, 0, 0},
  };
  for (const Row& row : rows) {
    BITMAPINFO* image = nullptr;
    ASSERT_EQ(QvDibAlloc(&image, row.type, row.width, row.height, nullptr, 0, QVDIB_ZERO, 7), 0);
    EXPECT_EQ(image->bmiHeader.biClrUsed, row.clrUsed) << row.type;
    EXPECT_EQ(image->bmiHeader.biSizeImage, row.imageBytes) << row.type;
    EXPECT_EQ(image->bmiHeader.biSize, 40u);
    EXPECT_EQ(QvDibFree(image, 0), 0);
  }
  EXPECT_EQ(QvDibFree(nullptr, 0), 0);
}

TEST(ImageBlocks, TableGoesBehindTheHeader) {
  const RGBQUAD colours[3] = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}};
  BITMAPINFO* image = nullptr;
  ASSERT_EQ(QvDibAlloc(&image, QVPT_PAL8, 2, 1, colours, 3, QVDIB_CHECKED, 0), 0);
  EXPECT_EQ(image->bmiHeader.biClrUsed, 3u);
  uint8_t* block = reinterpret_cast<uint8_t*>(image);
  EXPECT_EQ(memcmp(block + 40, colours, 12), 0);
  memset(block + 52, 0, 4);
  block[52] = 2;    // the pixels start behind three entries
  block[53] = 200;  // an index that the table does not have
  QVPIXEL64 pixel;
  EXPECT_EQ(QvDibGetPixel(&image->bmiHeader, nullptr, 0, 0, 0, &pixel), 0);
  EXPECT_EQ(pixel.red, 9 * 257);
  EXPECT_EQ(QvDibGetPixel(&image->bmiHeader, nullptr, 0, 1, 0, &pixel), 0);
  EXPECT_EQ(pixel.red, 0);
  EXPECT_EQ(QvDibFree(image, QVDIB_CHECKED), 0);

  uint32_t headerBytes = 0, imageBytes = 0;
  uint8_t room[40 + 1024];
  auto* info = reinterpret_cast<BITMAPINFO*>(room);
  EXPECT_EQ(QvDibInfo(&headerBytes, &imageBytes, info, QVPT_RGB565, 3, 3, nullptr, 0), 0);
  EXPECT_EQ(headerBytes, 52u);
  EXPECT_EQ(imageBytes, 24u);
  EXPECT_EQ(QvDibInfo(&headerBytes, &imageBytes, info, QVPT_PAL8, 3, 3, colours, static_cast<uint32_t>(-5)),
            0);
  EXPECT_EQ(headerBytes, 40u);  // a negative count is none
}

TEST(ImageBlocks, WhatDoesNotFitIsRefusedBeforeAllocation) {
  struct Row {
    int32_t type;
    uint32_t width, height;
  };
  const Row rows[] = {{QVPT_RGB32, 0x80000000u, 1},
                      {QVPT_RGB32, 1, 0xffffffffu},
                      {QVPT_RGB32, 0x10000, 0x10000},
                      {QVPT_RGBAF128, 0x2000001, 1},
                      {QVPT_PAL1, 0x7fffffff, 0x7fff},
                      {QVPT_RGBAF128, 0x1000000, 16},
                      {QVPT_NV12, 0x7fffffff, 4},
                      {QVPT_v210, 0x10000000, 8},
                      {QVPT_P410, 0x8000, 0x8000},
                      {QVPT_A2RGB10, 0x7fffffff, 2},
                      {50, 4, 4},
                      {0, 4, 4}};
  for (const Row& row : rows) {
    BITMAPINFO* image = reinterpret_cast<BITMAPINFO*>(1);
    EXPECT_EQ(QvDibAlloc(&image, row.type, row.width, row.height, nullptr, 0, 0, 0), kBadArgument)
        << row.type << " " << row.width;
    EXPECT_EQ(image, nullptr);
  }
  EXPECT_EQ(QvVideo_InitBitmapInfo(nullptr, QVPT_RGB32, 1, 1, nullptr, 0, nullptr), kBadArgument);
}

TEST(ImageBlocks, Words) {
  WCHAR out[20];
  const auto format = [&](uint32_t compression, uint32_t capacity) {
    QvVideo_GetFormatText(compression, out, capacity);
    return text(out);
  };
  EXPECT_EQ(format(3, 20), u"RGB (bitfields)");
  EXPECT_EQ(format(QVFOURCC_QVGS, 5), u"Gray");
  EXPECT_EQ(format(QvFourCC('N', 'V', '1', '2'), 1), u"NV12");
  EXPECT_EQ(format(0x01414243, 20), u"CBA.");
  Header header(QVPT_RGB24, 640, 480);
  QvVideo_GetAttribsText(header.get(), out, 20);
  EXPECT_EQ(text(out), u"640x480x24");
  QvVideo_GetAttribsTextEx(header.get(), 5, out, 4);
  EXPECT_EQ(text(out), u"640");
  EXPECT_EQ(QvVideo_GetAttribsText(header.get(), nullptr, 20), 0);
  uint8_t entry[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  QvVideo_PaletteEntryFromRGBA(entry, entry, 2);
  EXPECT_EQ(memcmp(entry, "\3\2\1\0\7\6\5\0", 8), 0);
}

TEST(YuvPlanes, OrderAndOddSizes) {
  using Layout = std::array<int32_t, 5>;  // stride of luma, offset and stride of U, of V
  struct Row {
    int32_t type, w, h, total;
    Layout layout;
  };
  const Row rows[] = {
      {QVPT_I420, 6, 4, 36, {6, 24, 3, 30, 3}},     {QVPT_YV12, 6, 4, 36, {6, 30, 3, 24, 3}},
      {QVPT_YV16, 7, 3, 39, {7, 30, 3, 21, 3}},     {QVPT_NV12, 6, 4, 36, {6, 24, 6, 0, 0}},
      {QVPT_P010, 5, 3, 40, {10, 30, 10, 0, 0}},    {QVPT_P210, 5, 3, 54, {10, 30, 8, 0, 0}},
      {QVPT_P410, 5, 3, 90, {10, 30, 10, 60, 10}},  {QVPT_UYVY, 6, 4, 48, {12, 0, 0, 0, 0}},
      {QVPT_I420, 6, -4, -36, {6, -24, 3, -30, 3}},
  };
  for (const Row& row : rows) {
    Header header(row.type, row.w, abs(row.h));
    header.get()->biHeight = row.h;
    QVYUVPLANES p;
    EXPECT_EQ(QvYUVImageBytesAndOffsets(header.get(), &p), row.total) << row.type;
    EXPECT_EQ((Layout{p.lumaStride, p.uOffset, p.uStride, p.vOffset, p.vStride}), row.layout) << row.type;
  }
  EXPECT_EQ(QvYUVImageBytesAndOffsets(Header(QVPT_RGB24, 4, 4).get(), nullptr), 0);
}

// Every type and every place of it in a byte, read and written between guard pages, in both row directions.
TEST(OnePixel, ReadsAndWritesEveryType) {
  for (const test::SlowType& t : test::kSlowTypes) {
    if (t.type == QVPT_A2RGB10) continue;  // no header leads there
    for (const int32_t width : {1, 2, 7, 9, 33}) {
      Header header(t.type, width, 3);
      header.get()->biClrUsed = 0;  // a full table
      Random random(static_cast<uint32_t>(t.type * 100 + width));
      random.fill(header.block + (header.get()->biCompression == BI_RGB ? 40 : 1060), 4);
      const int64_t rowBytes = (int64_t{t.bits} * width + 7) / 8;
      for (const bool backwards : {false, true}) {
        const int64_t step = rowBytes + 1;
        Guarded pixels(static_cast<size_t>(2 * step + rowBytes),
                       backwards ? Guarded::AtStart : Guarded::AtEnd);
        random.fill(pixels.data(), pixels.size());
        test::plausibleFloats(t.type, pixels.data(), pixels.size(), 5);
        uint8_t* first = backwards ? pixels.data() + 2 * step : pixels.data();
        const uint32_t stride = static_cast<uint32_t>(backwards ? -step : step);
        for (int32_t y = 0; y < 3; ++y) {
          uint8_t* row = first + (2 - y) * static_cast<int32_t>(stride);
          for (int32_t x = 0; x < width; ++x) {
            QVPIXEL64 got = {};
            ASSERT_EQ(QvDibGetPixel(header.get(), first, stride, x, y, &got), 0);
            EXPECT_TRUE(test::same(got, test::slowRead(t.type, row, x, true, header.block + 40)))
                << t.type << " at " << x;
            if (t.type == QVPT_PAL4 || t.type == QVPT_PAL8) continue;
            std::vector<uint8_t> expected(row, row + rowBytes);
            const QVPIXEL64 v = {static_cast<uint16_t>(random.next()), static_cast<uint16_t>(random.next()),
                                 static_cast<uint16_t>(random.next()), static_cast<uint16_t>(random.next())};
            test::slowWrite(t.type, expected.data(), x, v, nullptr);
            ASSERT_EQ(QvDibSetPixel(header.get(), first, stride, x, y, &v), 0);
            EXPECT_EQ(memcmp(expected.data(), row, static_cast<size_t>(rowBytes)), 0)
                << t.type << " at " << x;
          }
        }
        EXPECT_FALSE(pixels.spoiled());
      }
    }
  }
}

TEST(OnePixel, KnownValuesAndRefusals) {
  BITMAPINFO* image = nullptr;
  ASSERT_EQ(QvDibAlloc(&image, QVPT_RGB32, 2, 2, nullptr, 0, QVDIB_ZERO, 0), 0);
  BITMAPINFOHEADER* header = &image->bmiHeader;
  uint8_t* bits = reinterpret_cast<uint8_t*>(image) + 40;
  memcpy(bits + 8, "\1\2\3\4", 4);  // the last memory row is the top one
  QVPIXEL64 pixel;
  EXPECT_EQ(QvDibGetPixel(header, nullptr, 0, 0, 0, &pixel), 0);
  EXPECT_TRUE(test::same(pixel, {257, 514, 771, 1028})) << pixel.blue << " " << pixel.alpha;
  const int32_t outside[][2] = {{-1, 0}, {2, 0}, {0, -1}, {0, 2}};
  for (const auto& at : outside) {
    EXPECT_EQ(QvDibGetPixel(header, nullptr, 0, at[0], at[1], &pixel), kNoSuchType);
    EXPECT_EQ(QvDibSetPixel(header, nullptr, 0, at[0], at[1], &pixel), kBadArgument);
  }
  header->biCompression = QvFourCC('Y', 'U', 'Y', 'V');
  EXPECT_EQ(QvDibGetPixel(header, nullptr, 0, 0, 0, &pixel), kNoSuchType);
  EXPECT_EQ(QvDibSetPixel(header, nullptr, 0, 0, 0, &pixel), kNoSuchType);
  QvDibFree(image, 0);
}

// Both mirrors against an exchange of single pixels, at every level and width.
TEST(Flip, AgreesWithSinglePixels) {
  for (const test::Level& level : test::kLevels) {
    AtLevel at(level);
    for (const int32_t type : {QVPT_RGB24, QVPT_RGB32, QVPT_RGBA32, QVPT_RGB565, QVPT_RGBA64}) {
      const int32_t pixelBytes = static_cast<int32_t>(test::slowType(type).bits / 8);
      const bool mirrors = pixelBytes == 3 || pixelBytes == 4;
      for (int32_t width = 1; width <= 40; ++width) {
        for (const uint32_t mode : {1u, 2u, 3u}) {
          const uint32_t horizontal = mode & 1, vertical = mode >> 1;
          const int32_t height = 1 + width % 5, stride = width * pixelBytes + 1;
          Header header(type, width, height);
          Guarded pixels(static_cast<size_t>(stride) * height, Guarded::AtEnd);
          Random random(static_cast<uint32_t>(width));
          random.fill(pixels.data(), pixels.size());
          const std::vector<uint8_t> before(pixels.data(), pixels.data() + pixels.size());
          const HRESULT expected = horizontal != 0 && !mirrors ? kNoSuchType : 0;
          ASSERT_EQ(QvDibFlip(header.get(), pixels.data(), nullptr, static_cast<uint32_t>(stride), horizontal,
                              vertical),
                    expected);
          for (int32_t y = 0; y < height; ++y) {
            for (int32_t x = 0; x < width; ++x) {
              const int32_t fromX = horizontal != 0 && mirrors ? width - 1 - x : x;
              const int32_t fromY = vertical != 0 ? height - 1 - y : y;
              ASSERT_EQ(memcmp(pixels.data() + y * stride + x * pixelBytes,
                               before.data() + fromY * stride + fromX * pixelBytes,
                               static_cast<size_t>(pixelBytes)),
                        0)
                  << level.name << " type " << type << " width " << width << " at " << x << "," << y;
            }
          }
          EXPECT_FALSE(pixels.spoiled());
        }
      }
    }
  }
}

TEST(Flip, TakesTheSizeOfTheRectangleButNotItsOrigin) {
  Header header(QVPT_RGB32, 40, 40);
  std::vector<uint32_t> pixels(1600);
  for (uint32_t i = 0; i < 1600; ++i) pixels[i] = i;
  const RECT rect = {10, 10, 20, 20};
  EXPECT_EQ(QvDibFlip(header.get(), pixels.data(), &rect, 0, 1, 0), 0);
  EXPECT_EQ(pixels[0], 9u);
  EXPECT_EQ(pixels[9 * 40], 9u * 40 + 9);
  EXPECT_EQ(pixels[10], 10u);
  EXPECT_EQ(pixels[400], 400u);
  const RECT empty = {30, 0, 10, 10};
  EXPECT_EQ(QvDibFlip(header.get(), pixels.data(), &empty, 0, 1, 1), 0);
  for (const int32_t type : {QVPT_GRAY8, QVPT_RGB10A2, QVPT_RGBAF128, QVPT_UYVY, QVPT_PAL8}) {
    Header other(type, 4, 4);
    EXPECT_EQ(QvDibFlip(other.get(), pixels.data(), nullptr, 0, 0, 1), type == QVPT_PAL8 ? 0 : kNoSuchType)
        << type;
  }
}

TEST(SwapRedBlue, EveryWidthAndLevel) {
  for (const test::Level& level : test::kLevels) {
    AtLevel at(level);
    for (const int32_t type : {QVPT_RGB24, QVPT_RGB32, QVPT_RGBA32, QVPT_RGBAF128}) {
      const int32_t channel = type == QVPT_RGBAF128 ? 4 : 1;
      const int32_t pixelBytes = static_cast<int32_t>(test::slowType(type).bits / 8);
      for (int32_t width = 1; width <= 40; ++width) {
        const int32_t height = 3, stride = width * pixelBytes + 3;
        Header header(type, width, height);
        Guarded pixels(static_cast<size_t>(stride * (height - 1) + width * pixelBytes), Guarded::AtEnd);
        Random random(static_cast<uint32_t>(width));
        random.fill(pixels.data(), pixels.size());
        std::vector<uint8_t> expected(pixels.data(), pixels.data() + pixels.size());
        for (int32_t y = 0; y < height; ++y) {
          for (int32_t x = 0; x < width; ++x) {
            uint8_t* p = expected.data() + y * stride + x * pixelBytes;
            std::swap_ranges(p, p + channel, p + 2 * channel);
          }
        }
        // Backwards through the rows: the first row in memory order is the highest one.
        EXPECT_EQ(
            QvDibSwapRB(header.get(), pixels.data() + 2 * stride, nullptr, static_cast<uint32_t>(-stride)),
            0);
        EXPECT_EQ(memcmp(expected.data(), pixels.data(), expected.size()), 0) << level.name << " " << type;
        EXPECT_FALSE(pixels.spoiled());
      }
    }
  }
  Header other(QVPT_RGBA64, 4, 4);
  EXPECT_EQ(QvDibSwapRB(other.get(), nullptr, nullptr, 0), kNoSuchType);
}

}  // namespace
