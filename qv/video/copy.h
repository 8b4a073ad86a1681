// Copying, filling and fading of rectangles.
//
// QvDibCopy is the one way from any RGB-side image to any other: it converts, stretches, bends gamma,
// feathers edges and clips. Rectangles are in whole pixels, or, with QVCOPY_SUBPIXEL, in 18.14 fixed point,
// 16384 to a pixel, so that a compositor can place an image at a fraction of a pixel.
//
//   RECT place = {100, 50, 420, 230};
//   HRESULT status = QvDibCopy(&frame->bmiHeader, nullptr, &place, 0, &logo->bmiHeader, nullptr, nullptr, 0,
//                              QVCOPY_QUALITY_BEST | QVCOPY_FEATHER(8), 0.0, 0.0);
//
// A null pixel pointer means the pixels in the block, a null rectangle the whole image, a stride of 0 packed
// rows; a negative stride is allowed. Rows of large images run on several threads. All functions may be
// called from any thread, on different targets at the same time.
#pragma once

#include "qv/video/colour_records.h"
#include "qv/video/dib.h"

// Flags. The low bits are the mode word of the pixel engine.
inline constexpr uint32_t QVCOPY_QUALITY_RAW = 0;      // nearest
inline constexpr uint32_t QVCOPY_QUALITY_NEAREST = 2;  // nearest, rounded blends
inline constexpr uint32_t QVCOPY_QUALITY_SMOOTH = 3;   // interpolating, on bytes where possible
inline constexpr uint32_t QVCOPY_QUALITY_BEST = 4;     // interpolating, always at 16 bits
inline constexpr uint32_t QVCOPY_FEATHER_BOTTOM = 0x1000;
inline constexpr uint32_t QVCOPY_FEATHER_TOP = 0x2000;
inline constexpr uint32_t QVCOPY_FEATHER_LEFT = 0x4000;
inline constexpr uint32_t QVCOPY_FEATHER_RIGHT = 0x8000;
inline constexpr uint32_t QVCOPY_FEATHER_EDGES = 0xf000;
inline constexpr uint32_t QVCOPY_SUBPIXEL = 0x1000000;
inline constexpr uint32_t QVCOPY_AREA = 0x2000000;     // scaler: average when reducing
inline constexpr uint32_t QVCOPY_BICUBIC = 0x4000000;  // scaler: bicubic instead of bilinear
inline constexpr uint32_t QVCOPY_REPLACE = 0x8000000;  // scaler: partly covered pixels are replaced

// All four edges, `width` pixels (0 to 255).
constexpr uint32_t QVCOPY_FEATHER(uint32_t width) {
  return QVCOPY_FEATHER_EDGES | (width & 0xff) << 16;
}

// One subpixel copy, prepared. Rectangles are in 18.14.
struct QvDibSubpixelParam {
  const BITMAPINFOHEADER* target;
  double targetGamma;
  uint8_t* targetFirstRow;  // the displayed top row; rows below it are one step further
  int64_t targetStep;
  const uint8_t* targetPalette;
  RECT targetClipped;  // as given, inside the image
  RECT sourceGiven;
  RECT targetImage;  // the image's own rectangle
  double sourceGamma;
  const BITMAPINFOHEADER* source;
  const uint8_t* sourceFirstRow;
  int64_t sourceStep;
  const uint8_t* sourcePalette;
  RECT sourceMapped;               // what is read
  RECT targetRect;                 // what is written
  int32_t endStepX, endStepY;      // source per target, so that first and last pixels meet
  int32_t pixelStepX, pixelStepY;  // source per target by the rectangles' sizes
  void* quantiser;
  uint32_t flags;
};
static_assert(sizeof(QvDibSubpixelParam) == 192 && offsetof(QvDibSubpixelParam, sourceGamma) == 88 &&
              offsetof(QvDibSubpixelParam, sourceMapped) == 128 &&
              offsetof(QvDibSubpixelParam, flags) == 184);

// Copies a rectangle of one image into a rectangle of another, whatever their types (16 to 33) and sizes.
// flags: quality, edges and units. dstGamma, srcGamma: 0.0 means 2.2222; they matter when one side is a float
// type. 0x8004e000 when a type is another, a rectangle ends up empty, or the target's palette has no entries;
// a fractional rectangle with nothing in it gives 0.
QV_API HRESULT QvDibCopy(const BITMAPINFOHEADER* dst, void* dstPixels, const RECT* dstRect, int32_t dstStride,
                         const BITMAPINFOHEADER* src, const void* srcPixels, const RECT* srcRect,
                         uint32_t srcStride, uint32_t flags, double dstGamma, double srcGamma);

// Fills a rectangle with a colour. red, green, blue, alpha: nominal 0.0 to 1.0; float images take them as
// they are, others clamped. An empty rectangle gives 0, a type outside 16 to 33 0x80004001.
QV_API HRESULT QvDibSet(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                        float red, float green, float blue, float alpha, uint32_t flags);

// QvDibSet with a record. colour: not null.
QV_API HRESULT QvDibFillRect(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                             const QVRGBAFLOAT* colour, uint32_t flags);

// Keeps its place as an entry point; always 0x80004001.
QV_API HRESULT QvDibFillRectChannel();

// Moves a rectangle's pixels towards a colour. Types 28, 29 and 32 only, 0x80004001 otherwise. colour: not
// null. amount: 0.0 leaves the pixels, 1.0 replaces them; clamped. keepAlpha: non-zero leaves alpha alone.
// With QVCOPY_SUBPIXEL, pixels that the rectangle covers in part are moved in part.
QV_API HRESULT QvDibFadeToColor(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect,
                                uint32_t stride, const QVRGBAFLOAT* colour, float amount, int32_t keepAlpha,
                                uint32_t flags);

// Clips a pair of rectangles, in whole pixels, each against its image, and moves the other one in proportion
// to the image's size. dstOut, srcOut: not null; both empty when one does not touch its image. dstRect,
// srcRect: null for the whole image. clip: takes what the source rectangle lost at its four edges, or null.
QV_API void QvDibPrepareRects(const BITMAPINFOHEADER* dst, RECT* dstOut, const RECT* dstRect,
                              const BITMAPINFOHEADER* src, RECT* srcOut, const RECT* srcRect, RECT* clip);

// Prepares a subpixel copy: clips, maps, computes steps. param: not null; owns a quantiser block afterwards
// when the target is a palette image, until DibCleanupSubpixelParam. Returns 1, or 0 when there is nothing to
// do or the palette has no entries.
QV_API int32_t DibPrepareSubpixelParam(QvDibSubpixelParam* param, const BITMAPINFOHEADER* dst,
                                       double dstGamma, void* dstPixels, const RECT* dstRect,
                                       int32_t dstStride, const BITMAPINFOHEADER* src, double srcGamma,
                                       const void* srcPixels, const RECT* srcRect, int32_t srcStride,
                                       uint32_t flags);

// Frees what a prepared copy owns; twice is harmless.
QV_API void DibCleanupSubpixelParam(QvDibSubpixelParam* param);
