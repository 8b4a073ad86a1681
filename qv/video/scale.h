// Scaling of 8-bit and floating-point RGBA pixels between rectangles.
//
// The scalers work on plain arrays of pixels: the address of row 0's first pixel, a size, a stride in bytes,
// which may be negative, and a pixel's bytes: 4 (blue, green, red, alpha) or 16 (the same as floats).
// Rectangles are in whole pixels or, in the SubPixel forms, in 18.14 fixed point, 16384 to a pixel; then a
// rectangle's outermost pixels may be covered in part, and are mixed into what is there. A null rectangle
// means the whole image.
//
//   const SIZE small = {640, 360}, large = {1920, 1080};
//   QvDibScale_BiCubic(frame, &large, 1920 * 4, nullptr, thumbnail, &small, 640 * 4, nullptr, 4, 0, 0);
//
// With `areaAverage`, an axis that gets smaller averages what falls into each target pixel; without it, every
// kernel looks at its two or four nearest pixels only. Rows of large images run on several threads. All
// functions may be called from any thread, on different targets at the same time; source and target must not
// overlap. Coordinates reach to 131,071 pixels.
#pragma once

#include <stddef.h>

#include "qv/api.h"
#include "qv/platform/win32.h"

// A scaling operation, prepared. Rectangles are in 18.14.
struct QvSubpixelParam {
  uint8_t* target;  // row 0's first pixel
  int32_t targetStride;
  RECT targetClipped;  // as given, inside the image
  RECT sourceGiven;
  const uint8_t* source;
  int32_t sourceStride;
  RECT sourceClipped;              // what is read
  RECT targetRect;                 // what is written
  int32_t endStepX, endStepY;      // source per target, so that first and last pixels meet
  int32_t pixelStepX, pixelStepY;  // source per target by the rectangles' sizes; above 16384 is a reduction
};
static_assert(sizeof(QvSubpixelParam) == 112 && offsetof(QvSubpixelParam, targetClipped) == 12 &&
              offsetof(QvSubpixelParam, source) == 48 && offsetof(QvSubpixelParam, targetRect) == 76 &&
              offsetof(QvSubpixelParam, endStepX) == 92);

// Clips a pair of rectangles in 18.14 and computes the steps between them. param: filled; not null. Strides
// are signed. Returns 1, or 0 when there is nothing to do: a source below one pixel, a target below 1/16
// pixel, the two not meeting inside their images, or a ratio or a whole image that 18.14 cannot say.
QV_API int32_t QvPrepareSubpixelParam(QvSubpixelParam* param, void* dstPixels, const SIZE* dstSize,
                                      uint32_t dstStride, const RECT* dstRect, const void* srcPixels,
                                      const SIZE* srcSize, uint32_t srcStride, const RECT* srcRect);

// Scales between rectangles in whole pixels; equal sizes are copied. dstSize, srcSize: pixels; not null.
// pixelBytes: 4 or 16. areaAverage: non-zero averages along axes that get smaller. replace: non-zero writes
// pixels that the target covers in part whole. 0, also when there is nothing to do; 0x80070057 for another
// pixel size, 0x8007000e without memory for the working rows, with part of the target unwritten.
QV_API HRESULT QvDibScale_Bilinear(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                   const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                   int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                   int32_t areaAverage, uint32_t replace);
QV_API HRESULT QvDibScale_BiCubic(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                  const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                  int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                  int32_t areaAverage, uint32_t replace);

// The same between rectangles in 18.14.
QV_API HRESULT QvDibScale_BilinearSubPixel(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                           const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                           int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                           int32_t areaAverage, uint32_t replace);
QV_API HRESULT QvDibScale_BiCubicSubPixel(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                          const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                          int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                          int32_t areaAverage, uint32_t replace);
