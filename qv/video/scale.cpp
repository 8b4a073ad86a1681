// The scalers' entries, the choice of a kernel, and the plain kernels: bilinear and bicubic.
#include "qv/video/scale.h"

#include "qv/video/detail/scale_job.h"

namespace qv {
namespace {

// Where target rows share source rows, these are stretched once each and kept.
class BilinearBytes {
 public:
  BilinearBytes(const ScaleJob& job, const ColumnTable& columns)
      : job_(job),
        columns_(columns.linear()),
        axis_(job.rows, job.sourceY, job.param.endStepY),
        keeps_(job.forms->linearRow8 != nullptr &&
               (!job.forms->mixesUnstretched || job.param.endStepY < kSharingStep)) {}
  bool allocate() { return !keeps_ || stretched_.allocate(job_.width() * 8); }
  void make(uint8_t* out, int64_t y) {
    const LinearAxis::Place place = axis_.at(y);
    const uint8_t* rows[2] = {job_.sourceRow(place.pixel), job_.sourceRow(place.next)};
    const float* stretched[2] = {stretch(rows[0], place.pixel), stretch(rows[1], place.next)};
    job_.forms->bilinear8(out, rows, stretched, columns_, place.fraction);
  }

 private:
  static constexpr int32_t kSharingStep = kOnePixel + kOnePixel / 2;

  // Neighbours have places of their own.
  const float* stretch(const uint8_t* row, int64_t y) {
    if (!keeps_) return nullptr;
    float* place = stretched_.data() + (y & 1) * job_.width() * 4;
    if (kept_[y & 1] != y) job_.forms->linearRow8(place, row, columns_);
    kept_[y & 1] = y;
    return place;
  }

  const ScaleJob& job_;
  const LinearColumns& columns_;
  LinearAxis axis_;
  bool keeps_;
  Scratch<float> stretched_;
  int64_t kept_[2] = {-1, -1};
};

class BilinearFloats {
 public:
  BilinearFloats(const ScaleJob& job, const ColumnTable& columns)
      : job_(job), columns_(columns.linear()), axis_(job.rows, job.sourceY, job.param.endStepY) {}
  bool allocate() { return true; }
  void make(uint8_t* out, int64_t y) {
    const LinearAxis::Place place = axis_.at(y);
    const uint8_t* rows[2] = {job_.sourceRow(place.pixel), job_.sourceRow(place.next)};
    job_.forms->bilinearFloat(out, rows, columns_, place.fraction);
  }

 private:
  const ScaleJob& job_;
  const LinearColumns& columns_;
  LinearAxis axis_;
};

// Four rows become one row of columns; the target row is made from that alone.
template <typename Column>
class CubicMaker {
 public:
  CubicMaker(const ScaleJob& job, const ColumnTable& table)
      : job_(job), table_(table), axis_(job.sourceY, job.param.pixelStepY) {}
  bool allocate() { return columns_.allocate(job_.sourceX.pixels()); }
  void make(uint8_t* out, int64_t y) {
    const CubicAxis::Place place = axis_.at(y);
    const uint8_t* rows[4];
    for (int k = 0; k < 4; ++k) rows[k] = job_.sourceRow(axis_.pixelOf(place.tap + k));
    sum(rows, place.phase);
    columns_.continueEnds();
    across(out, columns_.taps());
  }

 private:
  void sum(const uint8_t* const rows[4], int32_t phase) {
    const int64_t channels = job_.sourceX.pixels() * 4;
    if constexpr (sizeof(Column) == 2) {
      job_.forms->cubicRows8(columns_.pixels(), rows, cubicTables().whole[phase], channels);
    } else {
      job_.forms->sumRowsFloat(columns_.pixels(), {rows, cubicTables().real[phase], 4}, channels);
    }
  }
  void across(uint8_t* out, const int16_t* columns) {
    job_.forms->cubicAcross8(out, columns, table_.cubic(), job_.width());
  }
  void across(uint8_t* out, const float* columns) {
    job_.forms->cubicAcross(out, columns, table_.cubic(), job_.width());
    clampAlphaOf(out, job_.width());
  }

  const ScaleJob& job_;
  const ColumnTable& table_;
  CubicAxis axis_;
  ContinuedRow<Column> columns_;
};

HRESULT plainBilinear(const ScaleJob& job) {
  ColumnTable columns;
  if (!columns.buildLinear(job)) return kOutOfMemory;
  if (job.pixelBytes == kFloatPixel) return makeRows<BilinearFloats>(job, columns);
  return makeRows<BilinearBytes>(job, columns);
}

HRESULT plainCubic(const ScaleJob& job) {
  ColumnTable columns;
  if (!columns.buildCubic(job)) return kOutOfMemory;
  if (job.pixelBytes == kFloatPixel) return makeRows<CubicMaker<float>>(job, columns);
  return makeRows<CubicMaker<int16_t>>(job, columns);
}

// cubic: along an axis that is not averaged. Where both are, there is nothing left for it to do.
HRESULT scale(const ScaleJob& job, bool average, bool cubic) {
  const bool boxX = average && job.param.pixelStepX > kOnePixel;
  const bool boxY = average && job.param.pixelStepY > kOnePixel;
  if (!boxX && !boxY) return cubic ? plainCubic(job) : plainBilinear(job);
  const Across other = cubic ? Across::Cubic : Across::Linear;
  return scaleArea(job, boxX ? Across::Box : other, boxY ? Across::Box : other);
}

// What a caller gave.
struct Request {
  void* dst;
  const SIZE* dstSize;
  int32_t dstStride;
  const RECT* dstRect;
  const void* src;
  const SIZE* srcSize;
  int32_t srcStride;
  const RECT* srcRect;
  uint32_t pixelBytes;
  bool average, replace;
};

bool prepare(const Request& r, const RECT* dstRect, const RECT* srcRect, QvSubpixelParam* param) {
  return QvPrepareSubpixelParam(param, r.dst, r.dstSize, static_cast<uint32_t>(r.dstStride), dstRect, r.src,
                                r.srcSize, static_cast<uint32_t>(r.srcStride), srcRect) != 0;
}

bool isPixelSize(uint32_t bytes) {
  return bytes == 4 || bytes == kFloatPixel;
}

HRESULT scaleSubpixel(const Request& r, bool cubic) {
  if (!isPixelSize(r.pixelBytes)) return kInvalidArgument;
  QvSubpixelParam param;
  if (!prepare(r, r.dstRect, r.srcRect, &param)) return kOk;
  return scale(ScaleJob(param, r.pixelBytes, r.replace), r.average, cubic);
}

// A rectangle in 18.14; false when it lies too far out.
bool toFixed(const RECT* r, RECT* out) {
  if (r == nullptr) return true;
  const LONG ends[4] = {r->left, r->top, r->right, r->bottom};
  for (const LONG end : ends) {
    if (end < INT32_MIN / kOnePixel || end > INT32_MAX / kOnePixel) return false;
  }
  *out = {r->left * kOnePixel, r->top * kOnePixel, r->right * kOnePixel, r->bottom * kOnePixel};
  return true;
}

void copyRows(const ScaleJob& job) {
  const size_t bytes = static_cast<size_t>(job.width()) * job.pixelBytes;
  parallelRows(job.height(), 2 * static_cast<int64_t>(bytes), [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) memcpy(job.targetRow(y), job.sourceRow(y), bytes);
  });
}

HRESULT scaleWhole(const Request& r, bool cubic) {
  if (!isPixelSize(r.pixelBytes)) return kInvalidArgument;
  RECT target, source;
  if (!toFixed(r.dstRect, &target) || !toFixed(r.srcRect, &source)) return kOk;
  QvSubpixelParam param;
  if (!prepare(r, r.dstRect != nullptr ? &target : nullptr, r.srcRect != nullptr ? &source : nullptr,
               &param)) {
    return kOk;
  }
  const ScaleJob job(param, r.pixelBytes, r.replace);
  if (param.pixelStepX != kOnePixel || param.pixelStepY != kOnePixel) return scale(job, r.average, cubic);
  copyRows(job);
  return kOk;
}

}  // namespace
}  // namespace qv

HRESULT QvDibScale_Bilinear(void* dstPixels, const SIZE* dstSize, int32_t dstStride, const RECT* dstRect,
                            const void* srcPixels, const SIZE* srcSize, int32_t srcStride,
                            const RECT* srcRect, uint32_t pixelBytes, int32_t areaAverage, uint32_t replace) {
  return qv::scaleWhole({dstPixels, dstSize, dstStride, dstRect, srcPixels, srcSize, srcStride, srcRect,
                         pixelBytes, areaAverage != 0, replace != 0},
                        false);
}

HRESULT QvDibScale_BiCubic(void* dstPixels, const SIZE* dstSize, int32_t dstStride, const RECT* dstRect,
                           const void* srcPixels, const SIZE* srcSize, int32_t srcStride, const RECT* srcRect,
                           uint32_t pixelBytes, int32_t areaAverage, uint32_t replace) {
  return qv::scaleWhole({dstPixels, dstSize, dstStride, dstRect, srcPixels, srcSize, srcStride, srcRect,
                         pixelBytes, areaAverage != 0, replace != 0},
                        true);
}

HRESULT QvDibScale_BilinearSubPixel(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                    const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                    int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                    int32_t areaAverage, uint32_t replace) {
  return qv::scaleSubpixel({dstPixels, dstSize, dstStride, dstRect, srcPixels, srcSize, srcStride, srcRect,
                            pixelBytes, areaAverage != 0, replace != 0},
                           false);
}

HRESULT QvDibScale_BiCubicSubPixel(void* dstPixels, const SIZE* dstSize, int32_t dstStride,
                                   const RECT* dstRect, const void* srcPixels, const SIZE* srcSize,
                                   int32_t srcStride, const RECT* srcRect, uint32_t pixelBytes,
                                   int32_t areaAverage, uint32_t replace) {
  return qv::scaleSubpixel({dstPixels, dstSize, dstStride, dstRect, srcPixels, srcSize, srcStride, srcRect,
                            pixelBytes, areaAverage != 0, replace != 0},
                           true);
}
