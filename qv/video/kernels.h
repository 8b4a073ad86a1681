// The pixel engine: every RGB-side pixel type to every other through one pivot pixel.
//
// Instead of a converter for each pair of types there is a small family of read and write kernels for each
// type. QvXCHGGetFunctionPointers puts the right ones into an exchange context; the caller sets the pointers
// and calls through it. The pivot has four 16-bit channels. Two faster routes take its place where both types
// allow: four bytes, or four floats. `route` says which one the context got, and so how `pivot` is read.
//
//   QvXchgContext context;
//   HRESULT status = QvXCHGGetFunctionPointers(QVPT_RGBA32, QVPT_RGB565, 3, &context, nullptr, 0.0, 0.0);
//   if (FAILED(status)) return status;
//   context.readPtr = source;
//   context.writePtr = target;
//   for (int i = 0; i < width; ++i) {
//     context.read1(&context);
//     context.write1(&context);
//   }
//
// A context lives on the caller's stack for one operation; threads that share an operation each take a copy.
// All functions may be called from any thread.
#pragma once

#include "qv/video/dib.h"

// Mode word. The low four bits are the quality, 1 to 4, which adds the bits that it stands for; with any
// other value the word counts as it stands.
inline constexpr uint32_t QVXCHG_QUALITY_MASK = 0xf;
inline constexpr uint32_t QVXCHG_PIVOT16 = 0x10;  // never the 8-bit or the float route
inline constexpr uint32_t QVXCHG_EXACT = 0x20;    // bytes widen by 257, and interpolating reads interpolate
inline constexpr uint32_t QVXCHG_ROUNDBLEND = 0x40;  // blend operators round to nearest

// Routes of a context.
enum : uint32_t { QVXCHG_ROUTE_BYTES = 0, QVXCHG_ROUTE_PIVOT16 = 1, QVXCHG_ROUTE_FLOAT = 2 };

// A transfer curve from one gamma to another, with the straight piece near black that broadcast curves have.
// kind 1 has the offset outside the power (encoding), kind 0 inside (decoding).
struct QvGammaCurve {
  uint32_t kind;
  float gamma;
  float threshold;
  float offset;
  float scale;
  float slope;
  float* table;  // entries 0 to tableSizeLessOne + 1, or null
  uint32_t tableSizeLessOne;
  uint32_t active;  // 0 when the ratio is so near 1 that nothing is to be done
};
static_assert(sizeof(QvGammaCurve) == 40 && offsetof(QvGammaCurve, table) == 24);

// What a blend operator works with; QvBlendRequest_Init fills it. Key channels are blue, green, red.
struct QvBlendRequest {
  int32_t operatorCode;  // 0 to 19
  uint16_t keyColor[3];
  uint16_t amount;  // a 16-bit fraction
  uint32_t keyTolerance;
  uint16_t amount2;
  uint8_t keyColor8[3];  // what the 8-bit operators read
  uint8_t amount8;
  uint8_t amount28;
  uint8_t reserved[1];
  uint32_t keyTolerance8;
  uint8_t reserved2[12];
  const uint16_t* table;  // 65536 entries for operators 15 and 17, or null; the caller's
  double parameter;
};
static_assert(sizeof(QvBlendRequest) == 56 && offsetof(QvBlendRequest, table) == 40 &&
              offsetof(QvBlendRequest, parameter) == 48);

struct QvXchgContext;
using QvXchgKernel = void (*)(QvXchgContext* context);
// mask: one weight a pixel, 0 to 65535, by which the operator's result replaces the pixel; not null.
using QvXchgMaskKernel = void (*)(QvXchgContext* context, const uint16_t* mask);

// The exchange context. Every read, write and blend kernel takes it.
struct QvXchgContext {
  uint32_t flags;  // the mode word after expansion
  int32_t srcType, dstType;
  uint32_t reserved;
  QvXchgKernel read1;           // one pixel at the read pointer into pivot 0; the pointer advances
  QvXchgKernel write1;          // pivot 0 at the write pointer; the pointer advances
  QvXchgKernel readBilinear;    // 2 by 2 pixels mixed by fracX and fracY into pivot 0; the pointer stays
  QvXchgKernel readQuad;        // 2 by 2 pixels into pivots 0 to 3; the pointer stays
  QvXchgKernel read4;           // four pixels into pivots 0 to 3; the pointer advances
  QvXchgKernel write4;          // pivots 0 to 3; the pointer advances
  QvXchgKernel readVertical;    // two pixels, one above the other, mixed by fracY; the pointer stays
  QvXchgKernel blend1, blend4;  // pivot 0 with pivot 1, pivots 0 to 3 with the second set of four
  QvXchgMaskKernel blendMask1, blendMask4;
  QvXchgKernel readBilinearAlt;
  uint32_t route;
  uint32_t reserved2[3];
  union {  // four pivots, then the second set of four
    QVPIXEL64 pixels[8];
    uint8_t bytes[8][4];
    float floats[8][4];
  } pivot;
  const uint8_t* readPtr;
  uint32_t readBit;  // bit within the byte, 0 being the high end
  uint32_t reserved3;
  uint8_t* writePtr;
  uint32_t writeBit;
  int32_t rowStep;        // bytes to the next row for interpolating reads; 0 keeps the row
  uint32_t fracX, fracY;  // 0 to 16383
  uint32_t featherWidth;
  uint32_t reserved4;
  const uint8_t* srcPalette;    // as many entries as an index can name
  const uint8_t* inverseTable;  // 32,768 indices, for writes to palette types
  QvBlendRequest blend;
  QvGammaCurve writeCurve, readCurve;
  uint8_t reserved5[40];
};
static_assert(sizeof(QvXchgContext) == 496 && offsetof(QvXchgContext, read1) == 16 &&
              offsetof(QvXchgContext, route) == 112 && offsetof(QvXchgContext, pivot) == 128 &&
              offsetof(QvXchgContext, readPtr) == 256 && offsetof(QvXchgContext, blend) == 320 &&
              offsetof(QvXchgContext, writeCurve) == 376);

// Binds a context for one pair of types. dstType, srcType: 16 to 33. mode: the mode word. context: cleared
// first; not null. blend: copied, or null for no operator. dstGamma, srcGamma: 0.0 means 2.2222; they matter
// when one side is a float type. 0x80070057 for another type (the context is left as it was), 0x80004001 for
// an operator that does not exist (the context is cleared). A blend request keeps floats on the 16-bit pivot,
// since operators exist for integers only.
QV_API HRESULT QvXCHGGetFunctionPointers(int32_t dstType, int32_t srcType, uint32_t mode,
                                         QvXchgContext* context, const QvBlendRequest* blend, double dstGamma,
                                         double srcGamma);

// Blends a row of pixels over another one in place, with the operator that the context was bound with. For a
// pair of one type (0x80070057 for two types, 0x80004001 for a context without an operator or for pixels of
// less than a byte); context: not null, only read, so that threads may share it. row: `count` pixels, the ones
// that are built; other: as many, not overlapping. The result is that of read4, blend4 and write4, only faster.
QV_API HRESULT QvXCHGBlendRow(const QvXchgContext* context, void* row, const void* other, int64_t count);

// Fills a request and the 8-bit copies of its values. request: not null. key: blue, green, red, or null for
// black. keyTolerance: summed distance of the three channels at 16 bits. amount, amount2: 16-bit fractions.
QV_API void QvBlendRequest_Init(QvBlendRequest* request, int32_t operatorCode, const uint16_t* key,
                                uint32_t keyTolerance, uint16_t amount, uint16_t amount2);

// Builds the curve that takes values of gamma `from` to gamma `to`. curve: not null; holds no table. Both are
// clamped to 0.5..4.0, and 0.0 means 2.2222.
QV_API void QvGammaCurve_Init(QvGammaCurve* curve, double from, double to);

// The curve's value at x, whatever the table; odd around 0.
QV_API float QvGammaCurve_Apply(const QvGammaCurve* curve, float x);

// Gives the curve a table of its values at k / (entries - 1), k from 0 to entries. entries: at least 2.
// 0x8007000e when there is no memory. Release frees the table; twice is harmless.
QV_API HRESULT QvGammaCurve_BuildTable(QvGammaCurve* curve, uint32_t entries);
QV_API void QvGammaCurve_Release(QvGammaCurve* curve);
