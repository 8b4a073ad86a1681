// Colour models, and whether broadcast equipment accepts a colour.
//
// Two forms of hue, saturation and lightness: a clean one for colours in range, and a tolerant one, ending in
// _Float, for pixels that may lie outside 0 to 1. The HotCheck functions tell whether the composite signal of
// a linear-light pixel exceeds what NTSC or PAL allows; the ...Return forms bring the pixel back by taking
// away chroma alone.
//
//   QVHSL hsl;
//   QVDIBPIXEL_To_QVHSL(&hsl, &pixel);
//   hsl.saturation *= 0.5;
//   QVHSL_To_QVDIBPIXEL(&pixel, &hsl);
//   int32_t wasHot = HotCheckPALYUVReturn(&pixel);
//
// Pure functions: any thread, no pointer may be null. Alpha passes through.
#pragma once

#include "qv/api.h"
#include "qv/video/colour_records.h"

// A colour to hue (0.0 to 1.0), saturation and lightness. Grey has hue 0; pure red may have hue 1.0, which is
// the same place.
QV_API void QVRGBA_To_QVHSL(QVHSL* out, const QVRGBA* in);
QV_API void QVRGBAFLOAT_To_QVHSL(QVHSL* out, const QVRGBAFLOAT* in);
QV_API void QVDIBPIXEL_To_QVHSL(QVHSL* out, const QVDIBPIXEL* in);

// And back. Bytes are truncated, not rounded. A hue of -1/6 turn or less, or of 7/6 and more, leaves the
// colour channels of `out` as they were.
QV_API void QVHSL_To_QVRGBA(QVRGBA* out, const QVHSL* in);
QV_API void QVHSL_To_QVRGBAFLOAT(QVRGBAFLOAT* out, const QVHSL* in);
QV_API void QVHSL_To_QVDIBPIXEL(QVDIBPIXEL* out, const QVHSL* in);

// The tolerant forms. Values a hair away from the poles of the model are moved by a millionth, so that
// nothing is divided by zero. The way back may negate in->saturation, when the lightness lies outside 0 to 1.
QV_API void QVDIBPIXEL_To_QVHSL_Float(QVHSL* out, const QVDIBPIXEL* in);
QV_API void QVHSL_To_QVDIBPIXEL_Float(QVDIBPIXEL* out, QVHSL* in);

// 1 if the pixel, linear light, is illegal, 0 if it is legal. Luma alone is not tested, nor is alpha.
QV_API int32_t HotCheckNTSCYIQ(const QVDIBPIXEL* pixel);
QV_API int32_t HotCheckNTSCYUV(const QVDIBPIXEL* pixel);
QV_API int32_t HotCheckPALYUV(const QVDIBPIXEL* pixel);

// The same test; an illegal pixel is rewritten with less chroma and clamped to 0..1, and 1 comes back. A
// legal one stays as it is, bit for bit, and 0 comes back.
QV_API int32_t HotCheckNTSCYIQReturn(QVDIBPIXEL* pixel);
QV_API int32_t HotCheckNTSCYUVReturn(QVDIBPIXEL* pixel);
QV_API int32_t HotCheckPALYUVReturn(QVDIBPIXEL* pixel);
