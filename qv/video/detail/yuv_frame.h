// A frame as the conversions see it: where each sample kind starts, and how far rows lie apart.
#pragma once

#include <stdlib.h>

#include <algorithm>

#include "qv/video/detail/yuv_rows.h"

namespace qv {

struct YuvLayout {
  uint32_t compression;
  int32_t type;
  YuvShape shape;
  bool v210;
  bool halfHigh;  // a chroma row serves two rows
};

// Null for a compression that the RGB conversions don't know.
const YuvLayout* findYuvLayout(uint32_t compression);

template <typename Byte>
struct Frame {
  Byte* y;
  Byte* u;
  Byte* v;
  int64_t yStride, uStride, vStride;
  int64_t width, height;              // pixels
  int64_t chromaWidth, chromaHeight;  // samples that exist

  Byte* yRow(int64_t row) const { return y + row * yStride; }
  Byte* uRow(int64_t row) const { return u + row * uStride; }
  Byte* vRow(int64_t row) const { return v + row * vStride; }
};
using FrameIn = Frame<const uint8_t>;
using FrameOut = Frame<uint8_t>;

inline int64_t absolute(int64_t v) {
  return v < 0 ? -v : v;
}

// The planes that the record names, each sample kind at its first sample. A record of interleaved chroma says
// nothing about V.
template <typename Byte>
Frame<Byte> frameOf(const BITMAPINFOHEADER* header, Byte* pixels, const QVYUVPLANES* planes) {
  const int64_t w = std::max<int64_t>(header->biWidth, 0), h = absolute(header->biHeight);
  return {pixels,
          pixels + absolute(planes->uOffset),
          pixels + absolute(planes->vOffset),
          absolute(planes->lumaStride),
          absolute(planes->uStride),
          absolute(planes->vStride),
          w,
          h,
          w / 2,
          h / 2};
}

// The same with the arrangement of a layout worked in.
template <typename Byte>
Frame<Byte> frameOf(const BITMAPINFOHEADER* header, Byte* pixels, const QVYUVPLANES* planes,
                    const YuvLayout& layout) {
  Frame<Byte> frame = frameOf(header, pixels, planes);
  if (!layout.halfHigh) frame.chromaHeight = frame.height;
  if (layout.shape == kSemi8 || layout.shape == kSemi16) {
    frame.v = frame.u + (layout.shape == kSemi8 ? 1 : 2);
    frame.vStride = frame.uStride;
  } else if (layout.shape == kUyvy || layout.shape == kYuyv) {
    const int64_t lumaFirst = layout.shape == kYuyv ? 1 : 0;
    frame.u = pixels + lumaFirst;
    frame.v = frame.u + 2;
    frame.y = pixels + 1 - lumaFirst;
    frame.uStride = frame.vStride = frame.yStride;
  } else if (layout.shape == kPlanar16) {
    frame.chromaWidth = frame.width;
  }
  return frame;
}

inline bool isInterlaced(uint32_t fieldMode) {
  return fieldMode == 1 || fieldMode == 2;
}

// The rows of a 4:2:0 frame that share one chroma row, or one row of a layout where each has its own. Units
// cover every row once.
struct RowUnit {
  int64_t row[2];
  int32_t rows;
  int64_t chroma;
};
inline int64_t unitsOf(int64_t height, bool halfHigh) {
  return halfHigh ? (height + 1) / 2 : height;
}
inline RowUnit unitAt(int64_t k, int64_t height, bool halfHigh, bool interlaced) {
  if (!halfHigh) return {{k, k}, 1, k};
  const int64_t last = height / 2 - 1;
  if (2 * k + 1 == height) return {{2 * k, 2 * k}, 1, std::max<int64_t>(last, 0)};
  if (interlaced && k < height / 4 * 2) {
    const int64_t top = k / 2 * 4 + k % 2;
    return {{top, top + 2}, 2, k};
  }
  return {{2 * k, 2 * k + 1}, 2, k};
}
// The chroma row of one row, by the same rule.
inline int64_t chromaRowOf(int64_t row, int64_t height, bool interlaced) {
  const int64_t k = interlaced && row < height / 4 * 4 ? row / 4 * 2 + row % 2 : row / 2;
  return std::clamp<int64_t>(k, 0, std::max<int64_t>(height / 2 - 1, 0));
}

// Terms of a matrix for 8-bit samples, with the offsets that the matrix has, times `chromaSum`.
YuvTerms termsOf(const QVYUVMATRIX& matrix, int32_t chromaSum);
// For 10-bit samples: four times the centre, half a unit of four.
YuvTerms terms10Of(const QVYUVMATRIX& matrix);
// The 12-bit coefficients of packed frames, brought to 14 bits, which changes no result.
YuvTerms packedTermsOf(const QVYUVMATRIX64& matrix);
PackWeights packWeightsOf(const QVYUVMATRIX64& matrix);

// Nearest, halves upwards.
int32_t roundWeight(double value);

// The reduced sizes of 4:2:0. Rows of output that the frame is too small for are not written.
struct Reduced420 {
  FrameIn frame;
  uint8_t* out;
  int64_t outStride;
  int64_t width, height;  // of the output
  bool interlaced;
};
void reduce420(YuvReduction reduction, const Reduced420& job, const QVYUVMATRIX& matrix);
// Half or quarter size; an interlaced frame gives one field. job.width and height: as many as are wanted.
void shrink420(int32_t shift, Reduced420 job, const QVYUVMATRIX& matrix);

// The ordered dither, by row and column modulo 4.
extern const float kYuvDither[4][4];

// Drops all but the bits of `mask` of every sample's high byte. doubled: the source has full-height chroma.
HRESULT narrowTo420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                    const BITMAPINFOHEADER* srcHeader, const void* src, const QVYUVPLANES* srcPlanes,
                    int32_t srcType, uint8_t mask);

}  // namespace qv
