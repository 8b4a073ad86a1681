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

// A multiple of every pixel's size, and of a vector's.
inline constexpr int64_t kPatternBytes = 96;

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
  // The same past the caches, for more than they hold: what is not read back soon need not be fetched first.
  void (*bytesToFloatPast)(uint8_t* out, const uint8_t* in, int64_t channels);
  void (*from24ToFloat)(uint8_t* out, const uint8_t* in, int64_t count);  // alpha 1
  // dither: four offsets by column, or null.
  void (*floatTo32)(uint8_t* out, const uint8_t* in, int64_t count, const float* dither);
  void (*floatTo24)(uint8_t* out, const uint8_t* in, int64_t count, const float* dither);
  void (*fade32)(uint8_t* row, int64_t count, const FadeRow& fade);
  // Blend operators 1 and 3 on 32-bit pixels. half: 128 to round, 0 to cut; weight: 0 to 255.
  void (*over32)(uint8_t* row, const uint8_t* other, int64_t count, int32_t half);
  void (*mix32)(uint8_t* row, const uint8_t* other, int64_t count, int32_t weight, int32_t half);
  // Pixels of any size up to 16 bytes repeat in a pattern of kPatternBytes.
  void (*fillPattern)(uint8_t* out, int64_t bytes, const uint8_t* pattern);

  // Means of two rows: (a + b) / 2, cut; floats (a + b) * 0.5. out may be a or b.
  void (*averageBytes)(uint8_t* out, const uint8_t* a, const uint8_t* b, int64_t bytes);
  void (*averageWords)(uint16_t* a, const uint16_t* b, int64_t words);  // into a
  void (*averageFloats)(uint8_t* out, const uint8_t* a, const uint8_t* b, int64_t floats);
  // Every second of `count` pixels, beginning with the first.
  void (*mergeColumns32)(uint8_t* out, const uint8_t* in, int64_t count);
};

extern const RowForms kScalarRows, kSse2Rows, kAvx2Rows;

// The widest form that the CPU word allows at this moment.
const RowForms& rowForms();

}  // namespace qv
