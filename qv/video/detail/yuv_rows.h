// The row loops of the YUV conversions, in the plain form, which defines every result, and in vector forms
// that give the same bytes.
//
// A form knows six shapes of samples in memory. v210 is unpacked to the fifth, a piece at a time.
#pragma once

#include "qv/video/kernels.h"
#include "qv/video/yuv.h"

namespace qv {

enum YuvShape : int32_t { kPlanar8, kSemi8, kUyvy, kYuyv, kSemi16, kPlanar16, kYuvShapes };
inline constexpr int32_t kV210Shape = kYuvShapes;  // not a form's

// Chroma terms of one matrix: ((U * bu + V * 0 + bo) >> 14) and so on. centred: the offsets are those of the
// chroma centre and half a unit, so that they can be left to a rounding multiplication.
struct YuvTerms {
  int32_t bu, gu, gv, rv;
  int32_t bo, go, ro;
  int32_t centred;
};

// One or two rows that share a chroma row. y, u, v point at the first sample of each kind.
struct DecodeRows {
  uint8_t* out[2];
  const uint8_t* y[2];
  const uint8_t* u;
  const uint8_t* v;
  int32_t rows;
  int64_t width;   // pixels
  int64_t chroma;  // chroma samples that exist; pixels beyond them take the last
};

// One row to be point-sampled, and what to compute with.
struct SampleRow {
  uint8_t* out;
  const uint8_t* y;
  const uint8_t* u;
  const uint8_t* v;
  int64_t width;  // pixels to be written
  int64_t chroma;
  int32_t shift;
  float lumaFactor;  // to 8 bits only
  const QVYUVDECODESCALE* scale;
  const QvGammaCurve* curve;  // with a table, or null
  bool past;                  // the result is larger than the caches: stores may go past them
};

// Reduced 4:2:0: luma and chroma rows that are summed for one row of output.
struct ReduceRows {
  uint8_t* out;
  const uint8_t* y[4];
  const uint8_t* u[2];
  const uint8_t* v[2];
  int64_t width;  // pixels to be written
};
using ReduceRow = void (*)(const ReduceRows& rows, const YuvTerms& terms);

// One or two rows of RGB and the samples to be made of them.
struct EncodeRows {
  const uint8_t* rgb[2];
  uint8_t* y[2];
  uint8_t* u;
  uint8_t* v;
  int32_t rows;
  int32_t chromaRows;  // rows summed for a chroma sample
  int64_t width;       // pixels
  int64_t chroma;      // chroma samples; the last of an odd width counts its one pixel twice
  const float* dither[2];
  const float* chromaDither;
  const QVYUVENCODESCALE* scale;
  const QvGammaCurve* curve;  // with a table, or null
};

// 12-bit weights of the undithered encoder: blue, green, red.
struct PackWeights {
  int32_t y[3], u[3], v[3];
};

enum YuvReduction : int32_t { kHalfHorz, kHalf, kQuarterHalf, kQuarter, kReductions };

struct YuvForms {
  void (*bytes[kYuvShapes])(const DecodeRows& rows, const YuvTerms& terms);
  void (*samples[kYuvShapes])(const SampleRow& row);  // to 8 bits, in floats
  void (*floats[kYuvShapes])(const SampleRow& row);
  ReduceRow reduce[kReductions];
  void (*encode[2][kYuvShapes])(const EncodeRows& rows);  // [float source]
  void (*pack)(uint8_t* out, const uint8_t* rgb, int64_t pairs, const PackWeights& weights);

  void (*interleave)(uint8_t* out, const uint8_t* u, const uint8_t* v, int64_t count);
  void (*split)(uint8_t* u, uint8_t* v, const uint8_t* in, int64_t count);
  void (*lumaFirst)(uint8_t* out, const uint8_t* y, const uint8_t* u, const uint8_t* v, int64_t pairs);
  // The high byte of every 16-bit word, of every second one, and of pairs of words, taken apart.
  void (*narrow)(uint8_t* out, const uint8_t* in, int64_t count, uint8_t mask);
  void (*narrowSecond)(uint8_t* out, const uint8_t* in, int64_t count, uint8_t mask);
  void (*narrowSplit)(uint8_t* u, uint8_t* v, const uint8_t* in, int64_t count, uint8_t mask);
  // Whole pixels, in pairs; words of a last group as far as they are needed.
  void (*unpackV210)(uint8_t* y, uint8_t* uv, const uint8_t* in, int64_t pairs);
  void (*packV210)(uint8_t* out, const uint8_t* y, const uint8_t* uv, int64_t pairs);
  void (*highV210)(uint8_t* out, const uint8_t* in, int64_t pairs);
};

extern const YuvForms kScalarYuv, kSse2Yuv, kAvx2Yuv;

// The form that the CPU word allowed at the first question; it stays for the life of the process.
const YuvForms& yuvForms();

// Lets tests ask again.
void forgetYuvForms();

}  // namespace qv
