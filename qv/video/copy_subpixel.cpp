// Copies between rectangles that begin and end at fractions of a pixel.
#include "qv/frame/status.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/coverage.h"
#include "qv/video/detail/palette.h"
#include "qv/video/detail/parallel.h"

namespace qv {
namespace {

// Positions along one axis: one step a pixel, and after a partly covered first pixel only its part of one.
class Axis {
 public:
  Axis(const Span& target, int32_t sourceFrom, int32_t sourceTo, int32_t step)
      : from_(sourceFrom), step_(step), lastPixel_((sourceTo - 1) >> 14) {
    const int32_t cover = target.end - target.first > 1 ? target.firstCover : kOnePixel;
    firstStep_ = static_cast<int64_t>(static_cast<double>(int64_t{step} * cover) * 6.103515625e-5);
  }
  struct Place {
    int64_t pixel;
    uint32_t fraction;
    bool last;  // has no neighbour
  };
  Place at(int64_t index) const {
    const int64_t position = from_ + (index > 0 ? firstStep_ + (index - 1) * step_ : 0);
    const int64_t pixel = position >> 14;
    if (pixel >= lastPixel_) return {lastPixel_, 0, true};
    return {pixel, static_cast<uint32_t>(position & (kOnePixel - 1)), false};
  }

 private:
  int64_t from_, step_, firstStep_;
  int64_t lastPixel_;
};

class SubpixelRows {
 public:
  SubpixelRows(const CopyJob& job, const QvDibSubpixelParam& p, const QvXchgContext& forward,
               const QvXchgContext& back)
      : job_(job),
        forward_(forward),
        back_(back),
        columns_(spanOf(p.targetRect.left, p.targetRect.right)),
        rows_(spanOf(p.targetRect.top, p.targetRect.bottom)),
        x_(columns_, p.sourceMapped.left, p.sourceMapped.right, p.endStepX),
        y_(rows_, p.sourceMapped.top, p.sourceMapped.bottom, p.endStepY) {}

  void copyRow(int32_t y) {
    const Axis::Place down = y_.at(y - rows_.first);
    const uint8_t* row = job_.source.row(down.pixel);
    forward_.rowStep = down.last ? 0 : static_cast<int32_t>(job_.source.step);
    forward_.fracY = down.fraction;
    for (int32_t x = columns_.first; x < columns_.end; ++x) {
      read(row, x_.at(x - columns_.first));
      write(x, y, int64_t{columns_.cover(x)} * rows_.cover(y) / kOnePixel);
    }
  }

 private:
  void read(const uint8_t* row, const Axis::Place& across) {
    const int64_t bit = across.pixel * job_.source.bits;
    forward_.readPtr = row + bit / 8;
    forward_.readBit = static_cast<uint32_t>(bit % 8);
    forward_.fracX = across.fraction;
    if (across.last) return forward_.readVertical(&forward_);
    forward_.readBilinear(&forward_);
  }
  void write(int32_t x, int32_t y, int64_t cover) {
    const int64_t bit = int64_t{x} * job_.target.bits;
    forward_.writePtr = job_.target.row(y) + bit / 8;
    forward_.writeBit = static_cast<uint32_t>(bit % 8);
    if (cover < kOnePixel) {
      back_.readPtr = forward_.writePtr;
      back_.readBit = forward_.writeBit;
      back_.read1(&back_);
      QvBlendCoverage(&forward_, back_, static_cast<uint32_t>(cover));
    }
    forward_.write1(&forward_);
  }

  const CopyJob& job_;
  QvXchgContext forward_, back_;
  Span columns_, rows_;
  Axis x_, y_;
};

}  // namespace

void QvBlendCoverage(QvXchgContext* pixel, const QvXchgContext& old, uint32_t cover) {
  if (pixel->route == QVXCHG_ROUTE_BYTES) {
    const int32_t w = static_cast<int32_t>((cover * 255 / kOnePixel) & 255);
    for (int i = 0; i < 4; ++i) {
      const int32_t a = pixel->pivot.bytes[0][i], b = old.pivot.bytes[0][i];
      pixel->pivot.bytes[0][i] = static_cast<uint8_t>((a - b) * w / 256 + b);
    }
  } else if (pixel->route == QVXCHG_ROUTE_FLOAT) {
    const float w = static_cast<float>(cover) / kOnePixel;
    for (int i = 0; i < 4; ++i) {
      const float b = old.pivot.floats[0][i];
      pixel->pivot.floats[0][i] = b + (pixel->pivot.floats[0][i] - b) * w;
    }
  } else {
    const int64_t w = (cover * 65535 / kOnePixel) & 0xffff;
    const auto blend = [w](int64_t a, int64_t b) { return static_cast<uint16_t>((((a - b) * w) >> 16) + b); };
    QVPIXEL64& a = pixel->pivot.pixels[0];
    const QVPIXEL64& b = old.pivot.pixels[0];
    a = {blend(a.blue, b.blue), blend(a.green, b.green), blend(a.red, b.red), blend(a.alpha, b.alpha)};
  }
}

HRESULT copySubpixel(const QvDibSubpixelParam& param) {
  CopyJob job = {};
  job.target = {param.target, QvGetPixelType(param.target), param.target->biBitCount, param.targetFirstRow,
                param.targetStep};
  job.source = {param.source, QvGetPixelType(param.source), param.source->biBitCount,
                const_cast<uint8_t*>(param.sourceFirstRow), param.sourceStep};
  const FullPalette sourcePalette(param.source, job.source.type),
      targetPalette(param.target, job.target.type);
  job.flags = param.flags;
  job.targetGamma = param.targetGamma;
  job.sourceGamma = param.sourceGamma;
  job.sourcePalette = sourcePalette.entries();
  job.targetPalette = targetPalette.entries();
  job.inverse = static_cast<const uint8_t*>(param.quantiser);
  QvXchgContext forward, back;
  HRESULT status = bindForward(job, 0, &forward);
  if (SUCCEEDED(status)) status = bindBack(job, 0, nullptr, &back);
  if (FAILED(status)) return status;
  const Span rows = spanOf(param.targetRect.top, param.targetRect.bottom);
  parallelRows(rows.end - rows.first, widthOf(param.targetRect) / 512, [&](int64_t first, int64_t end) {
    SubpixelRows share(job, param, forward, back);
    for (int64_t y = first; y < end; ++y) share.copyRow(rows.first + static_cast<int32_t>(y));
  });
  return kOk;
}

}  // namespace qv
