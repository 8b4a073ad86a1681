// Where the planes of a YUV frame lie in its one buffer.
//
//   QVYUVPLANES planes;
//   int32_t bytes = QvYUVImageBytesAndOffsets(header, &planes);
//   const uint8_t* u = frame + planes.uOffset;
#pragma once

#include "qv/api.h"
#include "qv/platform/gdi.h"
#include "qv/platform/win32.h"

// Offsets and strides in bytes. With interleaved chroma the U fields describe the chroma plane and the V
// fields are 0; with one packed plane all four are 0.
struct QVYUVPLANES {
  int32_t lumaStride;
  int32_t uOffset;
  int32_t uStride;
  int32_t vOffset;
  int32_t vStride;
};
static_assert(sizeof(QVYUVPLANES) == 20 && offsetof(QVYUVPLANES, vOffset) == 12);

// The bytes of a frame, and where its planes are. header: width, height and compression are read; a negative
// height gives negative figures. planes: may be null. Returns 0 for a compression that is no YUV layout and
// for a frame whose figures don't fit 32 bits; planes is then all zero. Any thread.
QV_API int32_t QvYUVImageBytesAndOffsets(const BITMAPINFOHEADER* header, QVYUVPLANES* planes);
