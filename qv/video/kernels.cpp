#include "qv/video/kernels.h"

#include <string.h>

#include <algorithm>

#include "qv/frame/status.h"
#include "qv/video/detail/bits.h"
#include "qv/video/detail/gamma.h"
#include "qv/video/detail/rows.h"
#include "qv/video/detail/xchg_tables.h"

namespace qv {
namespace {

constexpr uint32_t kKeptByQuality = 0x07fff1f0;
constexpr uint32_t kAddedByQuality[5] = {0, 0x180, 0x1c0, 0x1e0, 0x1f0};

bool isByteType(int32_t type) {
  return type == QVPT_PAL8 || type == QVPT_RGB24 || type == QVPT_RGB32 || type == QVPT_RGBA32;
}
bool isFloatType(int32_t type) {
  return type == QVPT_GRAYF32 || type == QVPT_RGBAF128;
}

uint32_t expandMode(uint32_t mode) {
  const uint32_t quality = mode & QVXCHG_QUALITY_MASK;
  if (quality < 1 || quality > 4) return mode;
  return (mode & kKeptByQuality) | kAddedByQuality[quality];
}

struct Selection {
  uint32_t mode, route, row;
};

Selection select(int32_t dst, int32_t src, uint32_t mode, bool blending) {
  const bool bytes = isByteType(dst) && isByteType(src);
  // Operators work on integers, so floats that are to be blended take the pivot.
  const bool floats = dst == QVPT_RGBAF128 && src == QVPT_RGBAF128 && !blending;
  Selection selection = {expandMode(mode), QVXCHG_ROUTE_PIVOT16, kRowPivot16};
  if (!bytes && !floats) selection.mode |= QVXCHG_PIVOT16;
  if ((selection.mode & QVXCHG_PIVOT16) == 0) {
    selection.route = bytes ? QVXCHG_ROUTE_BYTES : QVXCHG_ROUTE_FLOAT;
    selection.row = bytes ? kRowBytes : kRowFloat;
  }
  if ((selection.mode & QVXCHG_EXACT) != 0) ++selection.row;
  return selection;
}

bool bindBlend(QvXchgContext* context, const QvBlendRequest& request) {
  context->blend = request;
  const uint32_t first = context->route == QVXCHG_ROUTE_BYTES ? 2 : 0;
  const uint32_t rounded = (context->flags & QVXCHG_ROUNDBLEND) != 0 ? 1 : 0;
  const BlendKernels* kernels = blendKernels(first + rounded, request.operatorCode);
  if (kernels == nullptr) return false;
  context->blend1 = kernels->blend1;
  context->blend4 = kernels->blend4;
  context->blendMask1 = kernels->blendMask1;
  context->blendMask4 = kernels->blendMask4;
  return true;
}

void bindPixels(QvXchgContext* context, uint32_t row) {
  const ReadKernels& read = *readKernels(row, context->srcType);
  const WriteKernels& write = *writeKernels(row, context->dstType);
  context->read1 = read.read1;
  context->readBilinear = read.readBilinear;
  context->readQuad = read.readQuad;
  context->read4 = read.read4;
  context->readVertical = read.readVertical;
  context->readBilinearAlt = read.readBilinearAlt;
  context->write1 = write.write1;
  context->write4 = write.write4;
}

void bindCurve(QvXchgContext* context, double dstGamma, double srcGamma) {
  if (isFloatType(context->srcType)) {
    QvGammaCurve_Init(&context->readCurve, srcGamma, dstGamma);
  } else if (isFloatType(context->dstType)) {
    QvGammaCurve_Init(&context->writeCurve, srcGamma, dstGamma);
  }
}

// The row loops of the operators that have one; a pixel of 32 bits is its own pivot in the route of bytes.
bool blendRow32(const QvXchgContext& context, uint8_t* row, const uint8_t* other, int64_t count) {
  const bool words = context.dstType == QVPT_RGB32 || context.dstType == QVPT_RGBA32;
  if (!words || context.route != QVXCHG_ROUTE_BYTES) return false;
  const int32_t half = (context.flags & QVXCHG_ROUNDBLEND) != 0 ? 128 : 0;
  switch (context.blend.operatorCode) {
    case 1:
      rowForms().over32(row, other, count, half);
      return true;
    case 3:
      rowForms().mix32(row, other, count, context.blend.amount8, half);
      return true;
    default:
      return false;
  }
}

// One pixel or four, to the first pivots and from there to the second set's place.
void readOther(QvXchgContext* context, int pixels, QvXchgKernel read, const uint8_t*& from) {
  context->readPtr = from;
  read(context);
  from = context->readPtr;
  if (context->route == QVXCHG_ROUTE_BYTES) {
    memcpy(context->pivot.bytes[pixels], context->pivot.bytes[0], static_cast<size_t>(4 * pixels));
  } else {
    std::copy_n(context->pivot.pixels, pixels, context->pivot.pixels + pixels);
  }
}

void readOwn(QvXchgContext* context, QvXchgKernel read) {
  context->readPtr = context->writePtr;
  read(context);
}

uint8_t fraction8(uint16_t fraction) {
  return static_cast<uint8_t>(fraction >> 8);
}

}  // namespace
}  // namespace qv

HRESULT QvXCHGGetFunctionPointers(int32_t dstType, int32_t srcType, uint32_t mode, QvXchgContext* context,
                                  const QvBlendRequest* blend, double dstGamma, double srcGamma) {
  using namespace qv;
  if (!isEngineType(dstType) || !isEngineType(srcType)) return kInvalidArgument;
  *context = {};
  const Selection selection = select(dstType, srcType, mode, blend != nullptr);
  context->flags = selection.mode;
  context->route = selection.route;
  context->featherWidth = (selection.mode >> 16) & 0xff;
  context->srcType = srcType;
  context->dstType = dstType;
  if (blend != nullptr && !bindBlend(context, *blend)) {
    *context = {};
    return kUnsupported;
  }
  bindPixels(context, selection.row);
  bindCurve(context, dstGamma, srcGamma);
  return kOk;
}

HRESULT QvXCHGBlendRow(const QvXchgContext* context, void* row, const void* other, int64_t count) {
  using namespace qv;
  if (context->srcType != context->dstType) return kInvalidArgument;
  const bool packed = context->dstType < QVPT_GRAY8 || context->dstType == QVPT_PAL4;
  if (context->blend1 == nullptr || packed) return kUnsupported;
  const uint8_t* over = static_cast<const uint8_t*>(other);
  if (blendRow32(*context, static_cast<uint8_t*>(row), over, count)) return kOk;
  QvXchgContext own = *context;
  own.writePtr = static_cast<uint8_t*>(row);
  for (; count >= 4; count -= 4) {
    readOther(&own, 4, own.read4, over);
    readOwn(&own, own.read4);
    own.blend4(&own);
    own.write4(&own);
  }
  for (; count > 0; --count) {
    readOther(&own, 1, own.read1, over);
    readOwn(&own, own.read1);
    own.blend1(&own);
    own.write1(&own);
  }
  return kOk;
}

void QvBlendRequest_Init(QvBlendRequest* request, int32_t operatorCode, const uint16_t* key,
                         uint32_t keyTolerance, uint16_t amount, uint16_t amount2) {
  *request = {};
  request->operatorCode = operatorCode;
  for (int channel = 0; key != nullptr && channel < 3; ++channel) {
    request->keyColor[channel] = key[channel];
    request->keyColor8[channel] = qv::fraction8(key[channel]);
  }
  request->keyTolerance = keyTolerance;
  request->keyTolerance8 = keyTolerance >> 8;
  request->amount = amount;
  request->amount8 = qv::fraction8(amount);
  request->amount2 = amount2;
  request->amount28 = qv::fraction8(amount2);
}
