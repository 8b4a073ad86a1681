// The choice of a path for a copy.
#include "qv/video/copy.h"

#include "qv/frame/status.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/palette.h"
#include "qv/video/detail/quantiser_block.h"
#include "qv/video/scale.h"

namespace qv {
namespace {

constexpr HRESULT kUnsupportedMedia = static_cast<HRESULT>(0x8004e000u);

bool hasFraction(const RECT& r) {
  return ((r.left | r.top | r.right | r.bottom) & (kOnePixel - 1)) != 0;
}

// What the caller gave, in one form: rectangles that are always there, in pixels or in 18.14.
struct Request {
  const BITMAPINFOHEADER* dst;
  void* dstPixels;
  int64_t dstStride;
  const BITMAPINFOHEADER* src;
  const void* srcPixels;
  int64_t srcStride;
  uint32_t flags;
  double dstGamma, srcGamma;
};

bool interpolates(const Request& r) {
  return (r.flags & kQualityMask) >= kInterpolatingQuality;
}

// The pairs that the scaler knows: both of four bytes, or both of four floats.
bool scales(const Request& r) {
  const int32_t dst = QvGetPixelType(r.dst), src = QvGetPixelType(r.src);
  const auto isBytes = [](int32_t type) { return type == QVPT_RGB32 || type == QVPT_RGBA32; };
  return (isBytes(dst) && isBytes(src)) || (dst == QVPT_RGBAF128 && src == QVPT_RGBAF128);
}

// Rectangles in the units of the entry.
HRESULT runScaler(const Request& r, const RECT* dstRect, const RECT* srcRect, bool subpixel) {
  using Entry = decltype(&QvDibScale_Bilinear);
  static constexpr Entry kEntries[2][2] = {{QvDibScale_Bilinear, QvDibScale_BiCubic},
                                           {QvDibScale_BilinearSubPixel, QvDibScale_BiCubicSubPixel}};
  const Image target = imageOf(r.dst, r.dstPixels, r.dstStride),
              source = imageOf(r.src, r.srcPixels, r.srcStride);
  const SIZE dstSize = {target.width(), target.height()}, srcSize = {source.width(), source.height()};
  return kEntries[subpixel][(r.flags & QVCOPY_BICUBIC) != 0](
      target.top, &dstSize, static_cast<int32_t>(target.step), dstRect, source.top, &srcSize,
      static_cast<int32_t>(source.step), srcRect, target.bits / 8, (r.flags & QVCOPY_AREA) != 0,
      (r.flags & QVCOPY_REPLACE) != 0);
}

// Whether the scaler's coordinates can name all of a rectangle.
bool withinReach(const RECT& r) {
  constexpr int32_t kReach = INT32_MAX / kOnePixel;
  return std::min({r.left, r.top, r.right, r.bottom}) >= -kReach &&
         std::max({r.left, r.top, r.right, r.bottom}) <= kReach;
}

HRESULT runSubpixel(const Request& r, const RECT& dstRect, const RECT& srcRect) {
  QvDibSubpixelParam param;
  if (DibPrepareSubpixelParam(&param, r.dst, r.dstGamma, r.dstPixels, &dstRect,
                              static_cast<int32_t>(r.dstStride), r.src, r.srcGamma, r.srcPixels, &srcRect,
                              static_cast<int32_t>(r.srcStride), r.flags) == 0) {
    return kOk;
  }
  const HRESULT status = copySubpixel(param);
  DibCleanupSubpixelParam(&param);
  return status;
}

HRESULT runWholePixels(const Request& r, const RECT* dstRect, const RECT* srcRect) {
  const RECT target = dstRect != nullptr ? *dstRect : wholeImage(r.dst);
  const RECT source = srcRect != nullptr ? *srcRect : wholeImage(r.src);
  const bool sameSize = widthOf(target) == widthOf(source) && heightOf(target) == heightOf(source);
  if (!sameSize && interpolates(r) && scales(r) && withinReach(target) && withinReach(source)) {
    return runScaler(r, &target, &source, false);
  }
  CopyJob job = {};
  job.target = imageOf(r.dst, r.dstPixels, r.dstStride);
  job.source = imageOf(r.src, r.srcPixels, r.srcStride);
  if (!isEngineType(job.target.type) || !isEngineType(job.source.type)) return kUnsupportedMedia;
  QvDibPrepareRects(r.dst, &job.targetRect, dstRect, r.src, &job.sourceRect, srcRect, &job.clip);
  // A target that reaches far over its image's edge can push the source rectangle past its own.
  job.sourceRect = intersect(job.sourceRect, wholeImage(r.src));
  if (isEmpty(job.targetRect) || isEmpty(job.sourceRect)) return kUnsupportedMedia;
  QuantiserBlock quantiser;
  if (isPaletteType(job.target.type) && FAILED(quantiser.build(r.dst))) return kUnsupportedMedia;
  const FullPalette sourcePalette(r.src, job.source.type), targetPalette(r.dst, job.target.type);
  job.flags = r.flags;
  job.targetGamma = r.dstGamma;
  job.sourceGamma = r.srcGamma;
  job.sourcePalette = sourcePalette.entries();
  job.targetPalette = targetPalette.entries();
  job.inverse = quantiser.table();
  if ((r.flags & QVCOPY_FEATHER_EDGES) != 0) return copyFeathered(job);
  return job.stretches() ? copyStretched(job) : copySameSize(job);
}

}  // namespace

HRESULT bindForward(const CopyJob& job, uint32_t extraMode, QvXchgContext* context) {
  const HRESULT status = QvXCHGGetFunctionPointers(job.target.type, job.source.type, job.flags | extraMode,
                                                   context, nullptr, job.targetGamma, job.sourceGamma);
  context->srcPalette = job.sourcePalette;
  context->inverseTable = job.inverse;
  return status;
}

// Both gammas the same: what the target holds is in the target's gamma already.
HRESULT bindBack(const CopyJob& job, uint32_t extraMode, const QvBlendRequest* blend,
                 QvXchgContext* context) {
  const HRESULT status = QvXCHGGetFunctionPointers(job.source.type, job.target.type, job.flags | extraMode,
                                                   context, blend, 0.0, 0.0);
  context->srcPalette = job.targetPalette;
  return status;
}

}  // namespace qv

HRESULT QvDibCopy(const BITMAPINFOHEADER* dst, void* dstPixels, const RECT* dstRect, int32_t dstStride,
                  const BITMAPINFOHEADER* src, const void* srcPixels, const RECT* srcRect, uint32_t srcStride,
                  uint32_t flags, double dstGamma, double srcGamma) {
  using namespace qv;
  const Request request = {dst,   dstPixels, dstStride, src, srcPixels, static_cast<int32_t>(srcStride),
                           flags, dstGamma,  srcGamma};
  if ((flags & QVCOPY_SUBPIXEL) == 0) return runWholePixels(request, dstRect, srcRect);
  const RECT target = dstRect != nullptr ? *dstRect : wholeImageFixed(dst);
  const RECT source = srcRect != nullptr ? *srcRect : wholeImageFixed(src);
  const bool fractional = hasFraction(target) || hasFraction(source);
  if (fractional && interpolates(request)) {
    return scales(request) ? runScaler(request, &target, &source, true)
                           : runSubpixel(request, target, source);
  }
  const RECT targetPixels = toPixels(target), sourcePixels = toPixels(source);
  return runWholePixels(request, dstRect != nullptr ? &targetPixels : nullptr,
                        srcRect != nullptr ? &sourcePixels : nullptr);
}
