// The row kernels of the scalers. The same loops stand in three forms: the plain one, which defines the
// result, and two in vectors. All give the same bytes. Rows begin at any byte; floats in them need no
// alignment.
#pragma once

#include <stdint.h>

namespace qv {

// Where each target column lies between two source pixels. Pixels are counted from the first that is read.
struct LinearColumn {
  int32_t pixel;
  uint32_t weights;  // 16384 - fraction in the low half, the fraction in the high one
};
struct LinearColumns {
  const LinearColumn* column;
  int64_t count;
  int64_t inner;  // the first so many have a neighbour at the right
  bool coarse;    // all fractions are multiples of 16, so that no product of two is cut
};

// The source pixels under a target column: the first and the last counted in part.
struct BoxColumn {
  int32_t first, pixels;
  float firstWeight, lastWeight;  // of a pixel; a footprint within one pixel has the first alone
  float reciprocal;               // of the footprint's length in pixels
  int32_t length;                 // the same in 18.14
};

// Four source pixels around a target column, in a row that is continued at both ends.
struct CubicColumn {
  int32_t tap;    // the first of four
  int32_t phase;  // in 4096 steps to the next pixel
};
inline constexpr int32_t kCubicBefore = 2, kCubicBehind = 4;  // pixels by which such rows are continued

// Weights of the cubic kernel by phase.
struct CubicTables {
  alignas(16) float real[4096][4];
  alignas(16) int16_t whole[4096][4];  // times 16384, truncated
};
const CubicTables& cubicTables();

// Rows that are summed with weights into one.
template <typename Weight>
struct WeightedRows {
  const uint8_t* const* row;
  const Weight* weight;
  int64_t count;  // at least 1
};

struct ScaleForms {
  // A row stretched: p0 * (16384 - fraction) + p1 * fraction for each channel. Null when bilinear8 has no use
  // for it.
  void (*linearRow8)(float* out, const uint8_t* row, const LinearColumns& columns);
  // Two rows mixed. stretched: both rows through linearRow8; nulls where the form does without.
  void (*bilinear8)(uint8_t* out, const uint8_t* const rows[2], const float* const stretched[2],
                    const LinearColumns& columns, uint32_t fraction);
  void (*bilinearFloat)(uint8_t* out, const uint8_t* const rows[2], const LinearColumns& columns,
                        uint32_t fraction);

  // Weights from -16384 to 16384, of which no more than a few hundred rows' worth.
  void (*sumRows8)(float* out, const WeightedRows<int16_t>& rows, int64_t channels);
  void (*addRows8)(double* out, const WeightedRows<int16_t>& rows, int64_t channels);  // onto what is there
  void (*sumRowsFloat)(float* out, const WeightedRows<float>& rows, int64_t channels);
  void (*addRowsFloat)(float* out, const WeightedRows<float>& rows, int64_t channels);

  void (*boxAcross)(uint8_t* out, const float* in, const BoxColumn* columns, int64_t count);
  void (*linearAcross)(uint8_t* out, const float* in, const LinearColumns& columns);
  void (*cubicAcross)(uint8_t* out, const float* in, const CubicColumn* columns, int64_t count);
  void (*boxAcrossWide)(uint8_t* out, const double* in, const BoxColumn* columns, int64_t count);
  void (*linearAcrossWide)(uint8_t* out, const double* in, const LinearColumns& columns);
  void (*cubicAcrossWide)(uint8_t* out, const double* in, const CubicColumn* columns, int64_t count);
  // in * scale, to the nearest byte, held to 0..255.
  void (*toBytes)(uint8_t* out, const float* in, int64_t channels, float scale);

  // Each pixel the average of two by two, to the nearest, halves upwards.
  void (*halve8)(uint8_t* out, const uint8_t* const rows[2], int64_t count);

  void (*cubicRows8)(int16_t* out, const uint8_t* const rows[4], const int16_t weights[4], int64_t channels);
  void (*cubicAcross8)(uint8_t* out, const int16_t* in, const CubicColumn* columns, int64_t count);

  bool mixesUnstretched;  // bilinear8 does without stretched rows
};

extern const ScaleForms kScalarScale, kSse2Scale, kAvx2Scale;

// The widest form that the CPU word allows at this moment.
const ScaleForms& scaleForms();

}  // namespace qv
