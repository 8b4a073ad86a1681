// Whole rows at a time. The same loops stand in three forms: the plain one, which defines the result, and two
// that the compiler and some hand-written loops carry out in vectors. All give the same bytes.
#pragma once

#include "qv/video/kernels.h"

namespace qv {

using ReadRow = void (*)(QVPIXEL64* out, const uint8_t* row, uint32_t firstBit, int64_t count,
                         const uint8_t* palette, const QvGammaCurve* curve);
using WriteRow = void (*)(uint8_t* row, uint32_t firstBit, const QVPIXEL64* in, int64_t count,
                          const uint8_t* inverse, const QvGammaCurve* curve);

// Fading of 8-bit channels towards a colour.
struct FadeRow {
  int32_t colour[4];    // bytes; blue, green, red, alpha
  int32_t strength[4];  // 0 to 255; 0 leaves the channel alone
};

struct RowForms {
  ReadRow read[2][18];  // [exact][type - 16]
  WriteRow write[18];

  void (*swapRows)(uint8_t* a, uint8_t* b, int64_t bytes);
  void (*mirror32)(uint8_t* row, int64_t count);
  void (*mirror24)(uint8_t* row, int64_t count);
  void (*swapRedBlue32)(uint8_t* row, int64_t count);
  void (*swapRedBlue24)(uint8_t* row, int64_t count);
  void (*swapRedBlueFloat)(uint8_t* row, int64_t count);

  void (*from24To32)(uint8_t* out, const uint8_t* in, int64_t count);  // alpha 255
  void (*from32To24)(uint8_t* out, const uint8_t* in, int64_t count);
  void (*fromPalette8)(uint8_t* out, const uint8_t* in, int64_t count, const uint8_t* palette);
  // Floats stand in rows of bytes, which may begin anywhere.
  void (*bytesToFloat)(uint8_t* out, const uint8_t* in, int64_t channels);  // v / 255
  void (*from24ToFloat)(uint8_t* out, const uint8_t* in, int64_t count);    // alpha 1
  // dither: four offsets by column, or null.
  void (*floatTo32)(uint8_t* out, const uint8_t* in, int64_t count, const float* dither);
  void (*floatTo24)(uint8_t* out, const uint8_t* in, int64_t count, const float* dither);
  void (*fade32)(uint8_t* row, int64_t count, const FadeRow& fade);
};

extern const RowForms kScalarRows, kSse2Rows, kAvx2Rows;

// The widest form that the CPU word allows at this moment.
const RowForms& rowForms();

}  // namespace qv
