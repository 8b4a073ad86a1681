// One scaling operation, and what all of its paths share: tables of columns, working rows, partly covered
// edges.
#pragma once

#include <string.h>

#include <atomic>
#include <memory>
#include <new>

#include "qv/frame/status.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/scale_axes.h"
#include "qv/video/detail/scale_forms.h"
#include "qv/video/scale.h"

namespace qv {

inline constexpr uint32_t kFloatPixel = 16;

struct ScaleJob {
  QvSubpixelParam param;
  uint32_t pixelBytes;
  bool replace;
  const ScaleForms* forms;
  Span columns, rows;  // of the target
  SourceSpan sourceX, sourceY;

  ScaleJob(const QvSubpixelParam& p, uint32_t bytes, bool replaceEdges)
      : param(p),
        pixelBytes(bytes),
        replace(replaceEdges),
        forms(&scaleForms()),
        columns(spanOf(p.targetRect.left, p.targetRect.right)),
        rows(spanOf(p.targetRect.top, p.targetRect.bottom)),
        sourceX{p.sourceClipped.left, p.sourceClipped.right},
        sourceY{p.sourceClipped.top, p.sourceClipped.bottom} {}

  int64_t width() const { return columns.end - columns.first; }
  int64_t height() const { return rows.end - rows.first; }
  // Both counted from the first that the operation touches.
  uint8_t* targetRow(int64_t y) const {
    return param.target + (rows.first + y) * int64_t{param.targetStride} +
           int64_t{columns.first} * pixelBytes;
  }
  const uint8_t* sourceRow(int64_t y) const {
    return param.source + (sourceY.first() + y) * int64_t{param.sourceStride} + sourceX.first() * pixelBytes;
  }
};

// A working array that may fail to come.
template <typename T>
class Scratch {
 public:
  bool allocate(int64_t count) {
    data_.reset(new (std::nothrow) T[static_cast<size_t>(count)]);
    return data_ != nullptr;
  }
  T* data() const { return data_.get(); }

 private:
  std::unique_ptr<T[]> data_;
};

// Target columns of one kind; a path builds the kind that it needs.
class ColumnTable {
 public:
  bool buildLinear(const ScaleJob& job);
  bool buildBox(const ScaleJob& job);
  bool buildCubic(const ScaleJob& job);
  const LinearColumns& linear() const { return linearColumns_; }
  const BoxColumn* box() const { return box_.data(); }
  const CubicColumn* cubic() const { return cubic_.data(); }

 private:
  Scratch<LinearColumn> linear_;
  LinearColumns linearColumns_ = {};
  Scratch<BoxColumn> box_;
  Scratch<CubicColumn> cubic_;
};

// A row of source pixels that is continued at both ends by its outermost pixels.
template <typename Number>
class ContinuedRow {
 public:
  bool allocate(int64_t pixels) {
    pixels_ = pixels;
    return row_.allocate((pixels + kCubicBefore + kCubicBehind) * 4);
  }
  Number* pixels() const { return row_.data() + kCubicBefore * 4; }
  const Number* taps() const { return row_.data(); }  // tap 0 is kCubicBefore pixels before pixel 0
  void continueEnds() {
    Number* p = pixels();
    for (int64_t i = 1; i <= kCubicBefore; ++i) copyPixel(p - 4 * i, p);
    for (int64_t i = 0; i < kCubicBehind; ++i) copyPixel(p + 4 * (pixels_ + i), p + 4 * (pixels_ - 1));
  }

 private:
  static void copyPixel(Number* to, const Number* from) { memcpy(to, from, 4 * sizeof(Number)); }
  Scratch<Number> row_;
  int64_t pixels_ = 0;
};

// Writes the rows of one share, mixing partly covered pixels into what is there.
class RowFinisher {
 public:
  explicit RowFinisher(const ScaleJob& job);
  bool allocate();
  template <typename Maker>
  void write(Maker& maker, int64_t y) {
    uint8_t* out = job_.targetRow(y);
    const int32_t coverY = job_.rows.cover(job_.rows.first + static_cast<int32_t>(y));
    if (job_.replace || (coverY == kOnePixel && !softColumns_)) return maker.make(out, y);
    if (coverY < kOnePixel) {
      maker.make(row_.data(), y);
      return mixRow(out, coverY);
    }
    keepEnds(out);
    maker.make(out, y);
    mixEnds(out);
  }

 private:
  void mixRow(uint8_t* out, int32_t coverY) const;
  void keepEnds(const uint8_t* out);
  void mixEnds(uint8_t* out) const;
  // Leaves in `out` the mixture of what it holds with `pixel`.
  void mixPixel(uint8_t* out, const uint8_t* pixel, int64_t cover) const;

  const ScaleJob& job_;
  bool softColumns_, softRows_;
  Scratch<uint8_t> row_;
  uint8_t ends_[2][kFloatPixel];
};

// Makes all rows of a target through makers of one kind, one a thread. Args: what a maker takes behind the
// job.
template <typename Maker, typename... Args>
HRESULT makeRows(const ScaleJob& job, const Args&... args) {
  std::atomic<bool> failed = false;
  const int64_t read =
      (job.sourceX.pixels() * job.sourceY.pixels() / job.height() + job.width()) * job.pixelBytes;
  parallelRows(job.height(), read, [&](int64_t first, int64_t end) {
    Maker maker(job, args...);
    RowFinisher finisher(job);
    if (!maker.allocate() || !finisher.allocate()) {
      failed = true;
      return;
    }
    // In the order of memory: against it, the processor does not see what comes next.
    const bool up = job.param.targetStride < 0;
    for (int64_t i = first; i < end; ++i) finisher.write(maker, up ? first + end - 1 - i : i);
  });
  return failed ? kOutOfMemory : kOk;
}

// Averages along the axes that get smaller. Box: this axis averages; otherwise it interpolates, with two
// pixels or four.
enum class Across { Box, Linear, Cubic };
void clampAlphaOf(uint8_t* row, int64_t count);  // floats; to 0..1
HRESULT scaleArea(const ScaleJob& job, Across x, Across y);

}  // namespace qv
