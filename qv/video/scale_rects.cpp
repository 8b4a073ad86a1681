// Clipping and mapping the rectangles of a scaling operation.
#include "qv/video/detail/image.h"
#include "qv/video/scale.h"

namespace qv {
namespace {

constexpr int64_t kLeastTarget = 1024;  // 1/16 pixel
constexpr int32_t kReach = INT32_MAX / kOnePixel;

// The part of an image that coordinates can name.
RECT reachable(const SIZE& size) {
  return {0, 0, std::min<int32_t>(size.cx, kReach) * kOnePixel,
          std::min<int32_t>(size.cy, kReach) * kOnePixel};
}
bool chooseRect(RECT* out, const RECT* given, const SIZE& size) {
  *out = given != nullptr ? *given : reachable(size);
  return size.cx > 0 && size.cy > 0 && (given != nullptr || (size.cx <= kReach && size.cy <= kReach));
}

bool atLeast(const RECT& r, int64_t least) {
  return widthOf(r) >= least && heightOf(r) >= least;
}

// Source per target; 0 when no step can say it.
int32_t stepBetween(int64_t source, int64_t target) {
  const double step = static_cast<double>(source) * 16384.0 / static_cast<double>(target);
  return step < 2147483648.0 ? static_cast<int32_t>(step) : 0;
}

int32_t fixed(double value) {
  return static_cast<int32_t>(std::clamp(value, -2147483648.0, 2147483647.0));
}

// One axis of the mapped pair.
struct Axis {
  LONG *targetFrom, *targetTo, *sourceFrom, *sourceTo;
  int64_t targetOrigin, sourceOrigin;
  double step;

  // Multiplied first, divided then: what divides evenly stays even.
  static LONG map(int64_t place, int64_t own, int64_t other, double times, double over) {
    return fixed(static_cast<double>(other) +
                 static_cast<double>(fixed(static_cast<double>(place - own) * times / over)));
  }
  LONG toTarget(LONG place) const { return map(place, sourceOrigin, targetOrigin, 16384.0, step); }
  LONG toSource(LONG place) const { return map(place, targetOrigin, sourceOrigin, step, 16384.0); }

  // Cuts the target to what the source reaches, and the source to what the target needs. A target so narrow
  // that it needs less than a unit reads one.
  bool meet() const {
    *targetFrom = std::max(*targetFrom, toTarget(*sourceFrom));
    *targetTo = std::min(*targetTo, toTarget(*sourceTo));
    if (*targetFrom >= *targetTo) return false;
    const LONG from = std::max(*sourceFrom, toSource(*targetFrom)),
               to = std::min(*sourceTo, toSource(*targetTo));
    *sourceFrom = std::min(from, *sourceTo - 1);
    *sourceTo = std::max(to, *sourceFrom + 1);
    return true;
  }
  int32_t endStep() const {
    const int64_t target = int64_t{*targetTo} - *targetFrom, source = int64_t{*sourceTo} - *sourceFrom;
    if (target < 2 * kOnePixel) return 0;
    const double step14 =
        static_cast<double>(source - kOnePixel) * 16384.0 / static_cast<double>(target - kOnePixel);
    return std::max(fixed(step14), 0);
  }
};

}  // namespace
}  // namespace qv

int32_t QvPrepareSubpixelParam(QvSubpixelParam* param, void* dstPixels, const SIZE* dstSize,
                               uint32_t dstStride, const RECT* dstRect, const void* srcPixels,
                               const SIZE* srcSize, uint32_t srcStride, const RECT* srcRect) {
  using namespace qv;
  QvSubpixelParam& p = *param;
  p = {};
  p.target = static_cast<uint8_t*>(dstPixels);
  p.targetStride = static_cast<int32_t>(dstStride);
  p.source = static_cast<const uint8_t*>(srcPixels);
  p.sourceStride = static_cast<int32_t>(srcStride);
  RECT dstGiven;
  const bool dstNamed = chooseRect(&dstGiven, dstRect, *dstSize);
  const bool srcNamed = chooseRect(&p.sourceGiven, srcRect, *srcSize);
  if (!dstNamed || !srcNamed) return 0;
  p.sourceClipped = intersect(p.sourceGiven, reachable(*srcSize));
  if (!atLeast(p.sourceClipped, kOnePixel) || !atLeast(dstGiven, kLeastTarget)) return 0;
  p.pixelStepX = stepBetween(widthOf(p.sourceGiven), widthOf(dstGiven));
  p.pixelStepY = stepBetween(heightOf(p.sourceGiven), heightOf(dstGiven));
  if (p.pixelStepX < 1 || p.pixelStepY < 1) return 0;
  p.targetClipped = intersect(dstGiven, reachable(*dstSize));
  if (!atLeast(p.targetClipped, kLeastTarget)) return 0;
  p.targetRect = p.targetClipped;
  const Axis x = {&p.targetRect.left,
                  &p.targetRect.right,
                  &p.sourceClipped.left,
                  &p.sourceClipped.right,
                  dstGiven.left,
                  p.sourceGiven.left,
                  static_cast<double>(p.pixelStepX)};
  const Axis y = {&p.targetRect.top,
                  &p.targetRect.bottom,
                  &p.sourceClipped.top,
                  &p.sourceClipped.bottom,
                  dstGiven.top,
                  p.sourceGiven.top,
                  static_cast<double>(p.pixelStepY)};
  if (!x.meet() || !y.meet()) return 0;
  p.endStepX = x.endStep();
  p.endStepY = y.endStep();
  return 1;
}
