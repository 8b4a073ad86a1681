// An image as the copy routines see it: type, rows from the top, units of rectangles.
#pragma once

#include <stdlib.h>

#include <algorithm>

#include "qv/video/detail/bits.h"

namespace qv {

inline constexpr int32_t kOnePixel = 16384;  // 18.14
inline constexpr uint32_t kQualityMask = 0xf;
inline constexpr uint32_t kInterpolatingQuality = 3;

struct Image {
  const BITMAPINFOHEADER* header;
  int32_t type;
  uint32_t bits;  // per pixel
  uint8_t* top;   // the displayed first row
  int64_t step;   // to the row below it

  uint8_t* row(int64_t y) const { return top + y * step; }
  int32_t width() const { return header->biWidth; }
  int32_t height() const { return header->biHeight; }
};

inline Image imageOf(const BITMAPINFOHEADER* header, const void* pixels, int64_t stride) {
  const int64_t step = rowStride(header, stride);
  uint8_t* bits = getBits(header, const_cast<void*>(pixels));
  return {header, QvGetPixelType(header), header->biBitCount, bits + (header->biHeight - int64_t{1}) * step,
          -step};
}

inline int64_t widthOf(const RECT& r) {
  return int64_t{r.right} - r.left;
}
inline int64_t heightOf(const RECT& r) {
  return int64_t{r.bottom} - r.top;
}
inline bool isEmpty(const RECT& r) {
  return r.right <= r.left || r.bottom <= r.top;
}

inline RECT intersect(const RECT& a, const RECT& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

inline RECT wholeImage(const BITMAPINFOHEADER* header) {
  return {0, 0, header->biWidth, header->biHeight};
}

// The image in 18.14; one too large for that has its reachable part.
inline RECT wholeImageFixed(const BITMAPINFOHEADER* header) {
  constexpr int32_t kReach = INT32_MAX / kOnePixel;
  return {0, 0, std::min<int32_t>(header->biWidth, kReach) * kOnePixel,
          std::min<int32_t>(header->biHeight, kReach) * kOnePixel};
}

inline RECT toPixels(const RECT& r) {
  return {r.left / kOnePixel, r.top / kOnePixel, r.right / kOnePixel, r.bottom / kOnePixel};
}

// The whole pixel at or left of a place, the one past a right end, and how much of the first and the last
// pixel a span covers.
struct Span {
  int32_t first, end;            // pixels
  int32_t firstCover, endCover;  // 0 to 16384
  int32_t cover(int32_t pixel) const {
    return pixel == first ? firstCover : pixel == end - 1 ? endCover : kOnePixel;
  }
};
inline Span spanOf(int32_t from, int32_t to) {
  Span span = {(from & ~(kOnePixel - 1)) / kOnePixel, (((to - 1) | (kOnePixel - 1)) + 1) / kOnePixel, 0, 0};
  span.firstCover = kOnePixel - (from & (kOnePixel - 1));
  span.endCover = to - (span.end - 1) * kOnePixel;
  if (span.end - span.first == 1) span.firstCover = span.endCover = to - from;
  return span;
}

}  // namespace qv
