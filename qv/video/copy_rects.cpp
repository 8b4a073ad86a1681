// Clipping pairs of rectangles.
#include <string.h>

#include "qv/video/copy.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/palette.h"
#include "qv/video/detail/quantiser_block.h"

namespace qv {
namespace {

LONG narrowed(int64_t value) {
  return static_cast<LONG>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// cut * length / extent, whatever their size.
int64_t share(int64_t cut, int64_t length, int64_t extent) {
  return static_cast<int64_t>(static_cast<__int128>(cut) * length / extent);
}

// One axis: the span a..b is clipped to 0..extent, and c..d follows by the share of the image's extent.
void clipAxis(LONG* a, LONG* b, LONG* c, LONG* d, int64_t extent) {
  const int64_t cut1 = std::max<int64_t>(-int64_t{*a}, 0), cut2 = std::max<int64_t>(*b - extent, 0);
  *c = narrowed(*c + share(cut1, int64_t{*d} - *c, extent));
  *d = narrowed(*d - share(cut2, int64_t{*d} - *c, extent));
  *a = static_cast<LONG>(*a + cut1);
  *b = static_cast<LONG>(*b - cut2);
}

void clipPair(RECT* r, RECT* other, const BITMAPINFOHEADER* header) {
  if (isEmpty(*r) || isEmpty(intersect(*r, wholeImage(header)))) {
    *r = *other = {};
    return;
  }
  clipAxis(&r->left, &r->right, &other->left, &other->right, header->biWidth);
  clipAxis(&r->top, &r->bottom, &other->top, &other->bottom, header->biHeight);
}

int32_t stepBetween(int64_t source, int64_t target) {
  return narrowed(static_cast<int64_t>(static_cast<double>(source) * 16384.0 / static_cast<double>(target)));
}

// A span of one side in the coordinates of the other, from the two given origins.
void mapSpan(LONG* from, LONG* to, int64_t ownOrigin, int64_t otherOrigin, double scale) {
  *from = narrowed(otherOrigin + static_cast<int64_t>(static_cast<double>(*from - ownOrigin) * scale));
  *to = narrowed(otherOrigin + static_cast<int64_t>(static_cast<double>(*to - ownOrigin) * scale));
}
RECT mapRect(RECT r, const RECT& own, const RECT& other, double scaleX, double scaleY) {
  mapSpan(&r.left, &r.right, own.left, other.left, scaleX);
  mapSpan(&r.top, &r.bottom, own.top, other.top, scaleY);
  return r;
}

bool belowOnePixel(const RECT& r) {
  return widthOf(r) < kOnePixel || heightOf(r) < kOnePixel;
}

int32_t endStep(int64_t source, int64_t target) {
  if (target < 2 * kOnePixel) return 0;
  return narrowed(std::max<int64_t>((source - kOnePixel) * kOnePixel / (target - kOnePixel), 0));
}

bool prepareRects(QvDibSubpixelParam* p, const RECT& dstGiven, const RECT& srcGiven) {
  constexpr double kToPixels = 6.103515625e-5;
  const RECT sourceClipped = intersect(srcGiven, wholeImageFixed(p->source));
  p->sourceGiven = srcGiven;
  p->targetImage = wholeImageFixed(p->target);
  if (belowOnePixel(sourceClipped) || belowOnePixel(dstGiven)) return false;
  p->pixelStepX = stepBetween(widthOf(srcGiven), widthOf(dstGiven));
  p->pixelStepY = stepBetween(heightOf(srcGiven), heightOf(dstGiven));
  if (p->pixelStepX < 1 || p->pixelStepY < 1) return false;
  p->targetClipped = intersect(dstGiven, p->targetImage);
  if (belowOnePixel(p->targetClipped)) return false;
  const RECT reached =
      mapRect(sourceClipped, srcGiven, dstGiven, 16384.0 / p->pixelStepX, 16384.0 / p->pixelStepY);
  p->targetRect = intersect(reached, p->targetClipped);
  if (isEmpty(p->targetRect)) return false;
  const RECT back =
      mapRect(p->targetRect, dstGiven, srcGiven, p->pixelStepX * kToPixels, p->pixelStepY * kToPixels);
  p->sourceMapped = intersect(back, sourceClipped);
  if (isEmpty(p->sourceMapped)) return false;
  p->endStepX = endStep(widthOf(p->sourceMapped), widthOf(p->targetRect));
  p->endStepY = endStep(heightOf(p->sourceMapped), heightOf(p->targetRect));
  return true;
}

}  // namespace
}  // namespace qv

void QvDibPrepareRects(const BITMAPINFOHEADER* dst, RECT* dstOut, const RECT* dstRect,
                       const BITMAPINFOHEADER* src, RECT* srcOut, const RECT* srcRect, RECT* clip) {
  using namespace qv;
  *dstOut = dstRect != nullptr ? *dstRect : wholeImage(dst);
  *srcOut = srcRect != nullptr ? *srcRect : wholeImage(src);
  const RECT given = *srcOut;
  clipPair(srcOut, dstOut, src);
  clipPair(dstOut, srcOut, dst);
  if (clip == nullptr) return;
  *clip = {};
  if (srcRect == nullptr) return;
  *clip = {narrowed(int64_t{srcOut->left} - given.left), narrowed(int64_t{srcOut->top} - given.top),
           narrowed(int64_t{given.right} - srcOut->right), narrowed(int64_t{given.bottom} - srcOut->bottom)};
}

int32_t DibPrepareSubpixelParam(QvDibSubpixelParam* param, const BITMAPINFOHEADER* dst, double dstGamma,
                                void* dstPixels, const RECT* dstRect, int32_t dstStride,
                                const BITMAPINFOHEADER* src, double srcGamma, const void* srcPixels,
                                const RECT* srcRect, int32_t srcStride, uint32_t flags) {
  using namespace qv;
  *param = {};
  const Image target = imageOf(dst, dstPixels, dstStride), source = imageOf(src, srcPixels, srcStride);
  if (!isEngineType(target.type) || !isEngineType(source.type)) return 0;
  param->target = dst;
  param->targetGamma = dstGamma;
  param->targetFirstRow = target.top;
  param->targetStep = target.step;
  param->targetPalette = colourTable(dst);
  param->source = src;
  param->sourceGamma = srcGamma;
  param->sourceFirstRow = source.top;
  param->sourceStep = source.step;
  param->sourcePalette = colourTable(src);
  param->flags = flags;
  if (!prepareRects(param, dstRect != nullptr ? *dstRect : wholeImageFixed(dst),
                    srcRect != nullptr ? *srcRect : wholeImageFixed(src))) {
    return 0;
  }
  QuantiserBlock quantiser;
  if (isPaletteType(target.type) && FAILED(quantiser.build(dst))) return 0;
  param->quantiser = quantiser.detach();
  return 1;
}

void DibCleanupSubpixelParam(QvDibSubpixelParam* param) {
  const qv::QuantiserBlock owned(param->quantiser);
  param->quantiser = nullptr;
}
