#include "qv/app/workbench/picture_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qv/frame/status.h"

using namespace qv;
using namespace qv::workbench;

namespace {

struct Kept {
  int32_t type, bmp, png;  // what comes back from each kind of file
};
constexpr Kept kKept[] = {
    {QVPT_PAL1, QVPT_PAL1, QVPT_GRAY1},      {QVPT_GRAY1, QVPT_PAL1, QVPT_GRAY1},
    {QVPT_GRAY2, QVPT_PAL4, QVPT_GRAY2},     {QVPT_GRAY4, QVPT_PAL4, QVPT_GRAY4},
    {QVPT_GRAY8, QVPT_PAL8, QVPT_GRAY8},     {QVPT_GRAY16, QVPT_PAL8, QVPT_GRAY16},
    {QVPT_PAL4, QVPT_PAL4, QVPT_PAL4},       {QVPT_PAL8, QVPT_PAL8, QVPT_PAL8},
    {QVPT_RGB555, QVPT_RGB555, QVPT_RGB24},  {QVPT_RGB565, QVPT_RGB565, QVPT_RGB24},
    {QVPT_RGB24, QVPT_RGB24, QVPT_RGB24},    {QVPT_RGB32, QVPT_RGB32, QVPT_RGB24},
    {QVPT_RGBA32, QVPT_RGBA32, QVPT_RGBA32}, {QVPT_RGB10A2, QVPT_RGB10A2, QVPT_RGBA64},
    {QVPT_RGBA64, QVPT_RGBA32, QVPT_RGBA64}, {QVPT_RGBAF128, QVPT_RGBA32, QVPT_RGBA64},
    {QVPT_GRAYF32, QVPT_PAL8, QVPT_GRAY16},
};

ImagePtr noise(int32_t type, int32_t width, int32_t height) {
  std::vector<RGBQUAD> colours;
  for (int i = 0; i < (type == QVPT_PAL1 ? 2 : type == QVPT_PAL4 ? 16 : 256); ++i) {
    const auto value = [&](int step) { return static_cast<uint8_t>(type == QVPT_PAL1 ? 255 * i : i * step); };
    colours.push_back({value(7), value(31), value(101), 0});
  }
  ImagePtr image;
  EXPECT_EQ(newImage(type, static_cast<uint32_t>(width), static_cast<uint32_t>(height), image, colours), kOk);
  uint32_t state = 1;
  for (int32_t y = 0; y < height; ++y) {
    uint8_t* row = imageRow(&image->bmiHeader, y);
    for (size_t i = 0; i < imageRowBytes(&image->bmiHeader); ++i) {
      state = state * 1664525 + 1013904223;
      row[i] = static_cast<uint8_t>(state >> 24);
    }
    for (int32_t x = 0; x < width && type == QVPT_RGB32; ++x) row[4 * x + 3] = 0xff;
    for (int32_t x = 0; x < width && type == QVPT_RGBAF128; ++x) {
      const float pixel[] = {static_cast<float>(x) / static_cast<float>(width), 0.25f, 0.5f, 1.0f};
      memcpy(row + 16 * x, pixel, 16);
    }
    for (int32_t x = 0; x < width && type == QVPT_GRAYF32; ++x) {
      const float value = static_cast<float>(x) / static_cast<float>(width);
      memcpy(row + 4 * x, &value, 4);
    }
  }
  return image;
}

std::vector<QVPIXEL64> pixelsOf(const BITMAPINFOHEADER* image) {
  std::vector<QVPIXEL64> pixels;
  for (int32_t y = 0; y < image->biHeight; ++y) {
    for (int32_t x = 0; x < image->biWidth; ++x) {
      QVPIXEL64 pixel = {};
      EXPECT_EQ(QvDibGetPixel(image, nullptr, 0, x, y, &pixel), kOk);
      pixels.push_back(pixel);
    }
  }
  return pixels;
}

// By how much two pictures differ at most, at 16 bits.
int difference(const BITMAPINFOHEADER* a, const BITMAPINFOHEADER* b) {
  const auto first = pixelsOf(a), second = pixelsOf(b);
  if (first.size() != second.size()) return INT32_MAX;
  int most = 0;
  for (size_t i = 0; i < first.size(); ++i) {
    const uint16_t* left = &first[i].blue;
    const uint16_t* right = &second[i].blue;
    for (int c = 0; c < 4; ++c) most = std::max(most, std::abs(left[c] - right[c]));
  }
  return most;
}

TEST(PictureFile, KeepsWhatTheFileCanHold) {
  for (const Kept& kept : kKept) {
    for (const int32_t width : {1, 3, 8, 21}) {
      const ImagePtr image = noise(kept.type, width, 5);
      for (const bool topDown : {false, true}) {
        for (const PictureKind kind : {PictureKind::kBmp, PictureKind::kPng}) {
          SCOPED_TRACE(testing::Message()
                       << kept.type << " width " << width << (kind == PictureKind::kBmp ? " bmp" : " png"));
          const int32_t wanted = kind == PictureKind::kBmp ? kept.bmp : kept.png;
          std::string bytes;
          ImagePtr back;
          ASSERT_EQ(encodePicture(kind, &image->bmiHeader, bytes, topDown), kOk);
          ASSERT_EQ(decodePicture(bytes, back), kOk);
          EXPECT_EQ(QvGetPixelType(&back->bmiHeader), wanted);
          // Deeper types lose what lies below the file's steps; the low bits of 555 and 565 pixels are
          // filled.
          const bool narrowed = storedType(kind, kept.type) != kept.type && wanted != QVPT_RGBA64 &&
                                wanted != QVPT_GRAY16 && wanted != QVPT_GRAY1 && wanted != QVPT_PAL1;
          EXPECT_LE(difference(&image->bmiHeader, &back->bmiHeader), narrowed ? 257 : 1);
        }
      }
    }
  }
}

TEST(PictureFile, RefusesWhatItCannotHold) {
  ImagePtr image;
  ASSERT_EQ(newImage(QVPT_UYVY, 16, 16, image), kOk);
  std::string bytes;
  EXPECT_EQ(encodePicture(PictureKind::kPng, &image->bmiHeader, bytes), kUnsupported);
  EXPECT_EQ(writePicture(TEXT("picture.gif"), &image->bmiHeader), kInvalidArgument);
  EXPECT_EQ(decodePicture("GIF89a", image), kBadFormat);
  EXPECT_EQ(image, nullptr);
}

}  // namespace
