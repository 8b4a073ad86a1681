// Copies that change size, and copies with soft edges, pixel by pixel through the engine.
#include "qv/frame/status.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/parallel.h"

namespace qv {
namespace {

int64_t stretchStep(int64_t source, int64_t target, bool interpolates) {
  if (!interpolates) return (source << 14) / target;
  return target > 1 ? ((source << 14) - kOnePixel) / (target - 1) : 0;
}

void pointWriter(QvXchgContext* context, const CopyJob& job, int64_t x, int64_t y) {
  const int64_t bit = (job.targetRect.left + x) * job.target.bits;
  context->writePtr = job.target.row(job.targetRect.top + y) + bit / 8;
  context->writeBit = static_cast<uint32_t>(bit % 8);
}

// How far a pixel lies inside the soft edges: 0 outside them, the feather width at the rim.
class Feather {
 public:
  Feather(const CopyJob& job, Steps steps)
      : flags_(job.flags),
        w_((job.flags >> 16) & 0xff),
        clip_(job.clip),
        width_(job.width()),
        height_(job.height()) {
    if (!job.stretches()) return;
    w_ = std::max(steps.x, steps.y) * w_ / kOnePixel;
    clip_.left = scaled(clip_.left, steps.x);
    clip_.right = scaled(clip_.right, steps.x);
    clip_.top = scaled(clip_.top, steps.y);
    clip_.bottom = scaled(clip_.bottom, steps.y);
  }
  int64_t increment() const { return 65535 / (w_ + 1); }
  int64_t rowDepth(int64_t y) const {
    return std::max(low(QVCOPY_FEATHER_TOP, clip_.top + y),
                    high(QVCOPY_FEATHER_BOTTOM, y - clip_.bottom, height_));
  }
  int64_t columnDepth(int64_t x) const {
    return std::max(low(QVCOPY_FEATHER_LEFT, clip_.left + x),
                    high(QVCOPY_FEATHER_RIGHT, x - clip_.right, width_));
  }
  // Columns first..end have no soft edge at left or right.
  int64_t innerFirst() const {
    return on(QVCOPY_FEATHER_LEFT) ? std::clamp<int64_t>(w_ - clip_.left, 0, width_) : 0;
  }
  int64_t innerEnd() const {
    const int64_t end = on(QVCOPY_FEATHER_RIGHT) ? width_ - w_ + clip_.right : width_;
    return std::clamp<int64_t>(end, innerFirst(), width_);
  }

 private:
  static LONG scaled(int64_t value, int64_t step) { return static_cast<LONG>(value * step / kOnePixel); }
  bool on(uint32_t edge) const { return (flags_ & edge) != 0; }
  int64_t low(uint32_t edge, int64_t place) const { return on(edge) && place < w_ ? w_ - place : 0; }
  int64_t high(uint32_t edge, int64_t place, int64_t size) const {
    return on(edge) && place >= size - w_ ? w_ + 1 + place - size : 0;
  }

  uint32_t flags_;
  int64_t w_;
  RECT clip_;
  int64_t width_, height_;
};

// Mixes the target's own pixel into the one that is about to be written there.
class FeatherBlender {
 public:
  HRESULT bind(const CopyJob& job, uint32_t extraMode) {
    QvBlendRequest request;
    QvBlendRequest_Init(&request, 3, nullptr, 0, 0, 0);
    return bindBack(job, extraMode, &request, &back_);
  }
  void blend(QvXchgContext* forward, int64_t weight) {
    back_.readPtr = forward->writePtr;
    back_.readBit = forward->writeBit;
    back_.read1(&back_);
    if (back_.route == QVXCHG_ROUTE_BYTES) {
      std::copy_n(back_.pivot.bytes[0], 4, back_.pivot.bytes[1]);
      std::copy_n(forward->pivot.bytes[0], 4, back_.pivot.bytes[0]);
    } else {
      back_.pivot.pixels[1] = back_.pivot.pixels[0];
      back_.pivot.pixels[0] = forward->pivot.pixels[0];
    }
    back_.blend.amount = static_cast<uint16_t>(weight);
    back_.blend.amount8 = static_cast<uint8_t>(weight >> 8);
    back_.blend1(&back_);
    if (back_.route == QVXCHG_ROUTE_BYTES) {
      std::copy_n(back_.pivot.bytes[0], 4, forward->pivot.bytes[0]);
    } else {
      forward->pivot.pixels[0] = back_.pivot.pixels[0];
    }
  }

 private:
  QvXchgContext back_;
};

// One thread's share of a feathered copy.
class FeatherRows {
 public:
  FeatherRows(const CopyJob& job, Steps steps, const Feather& feather, const QvXchgContext& forward,
              const FeatherBlender& blender)
      : job_(job),
        feather_(feather),
        forward_(forward),
        blender_(blender),
        reader_(job, steps) {}

  void copyRow(int64_t y) {
    const int64_t depth = feather_.rowDepth(y);
    const bool spans = depth == 0 && !job_.stretches();
    const int64_t first = spans ? feather_.innerFirst() : job_.width();
    const int64_t end = spans ? feather_.innerEnd() : job_.width();
    reader_.setRow(&forward_, y);
    for (int64_t x = 0; x < first; ++x) copyPixel(x, y, depth);
    if (first < end) {
      copySpan(job_, forward_, job_.target.row(job_.targetRect.top + y), job_.targetRect.left + first,
               job_.source.row(job_.sourceRect.top + y), job_.sourceRect.left + first, end - first);
    }
    for (int64_t x = end; x < job_.width(); ++x) copyPixel(x, y, depth);
  }

 private:
  void copyPixel(int64_t x, int64_t y, int64_t rowDepth) {
    reader_.read(&forward_, x);
    pointWriter(&forward_, job_, x, y);
    const int64_t depth = std::max(rowDepth, feather_.columnDepth(x));
    if (depth != 0) blender_.blend(&forward_, feather_.increment() * depth);
    forward_.write1(&forward_);
  }

  const CopyJob& job_;
  const Feather& feather_;
  QvXchgContext forward_;
  FeatherBlender blender_;
  StretchReader reader_;
};

}  // namespace

Steps stretchSteps(const CopyJob& job) {
  if (!job.stretches()) return {kOnePixel, kOnePixel};
  return {stretchStep(widthOf(job.sourceRect), job.width(), job.interpolates()),
          stretchStep(heightOf(job.sourceRect), job.height(), job.interpolates())};
}

void StretchReader::setRow(QvXchgContext* context, int64_t y) {
  const int64_t last = heightOf(job_.sourceRect) - 1;
  int64_t place = y * steps_.y;
  if (job_.interpolates() && job_.height() > 1 && y == job_.height() - 1) place = last << 14;
  const int64_t row = std::min(place >> 14, last);
  lastRow_ = row == last;
  row_ = job_.source.row(job_.sourceRect.top + row);
  context->fracY = lastRow_ ? 0 : static_cast<uint32_t>(place & (kOnePixel - 1));
  context->rowStep = lastRow_ ? 0 : static_cast<int32_t>(job_.source.step);
}

void StretchReader::read(QvXchgContext* context, int64_t x) const {
  const int64_t last = widthOf(job_.sourceRect) - 1;
  const int64_t place = x * steps_.x;
  const int64_t column = std::min(place >> 14, last);
  const int64_t bit = (job_.sourceRect.left + column) * job_.source.bits;
  context->readPtr = row_ + bit / 8;
  context->readBit = static_cast<uint32_t>(bit % 8);
  if (!job_.interpolates()) return context->read1(context);
  // The last column has no neighbour to be mixed with.
  if (column == last) return context->readVertical(context);
  context->fracX = static_cast<uint32_t>(place & (kOnePixel - 1));
  context->readBilinear(context);
}

HRESULT copyStretched(const CopyJob& job) {
  QvXchgContext bound;
  const HRESULT status = bindForward(job, 0, &bound);
  if (FAILED(status)) return status;
  const Steps steps = stretchSteps(job);
  parallelRows(job.height(), job.width() * 32, [&](int64_t first, int64_t end) {
    QvXchgContext context = bound;
    StretchReader reader(job, steps);
    for (int64_t y = first; y < end; ++y) {
      reader.setRow(&context, y);
      pointWriter(&context, job, 0, y);
      for (int64_t x = 0; x < job.width(); ++x) {
        reader.read(&context, x);
        context.write1(&context);
      }
    }
  });
  return kOk;
}

HRESULT copyFeathered(const CopyJob& job) {
  // Floats are blended on the integer pivot, so both directions have to be there.
  const bool floats = job.source.type == QVPT_RGBAF128 && job.target.type == QVPT_RGBAF128;
  const uint32_t extraMode = floats ? QVXCHG_PIVOT16 : 0;
  QvXchgContext forward;
  FeatherBlender blender;
  HRESULT status = bindForward(job, extraMode, &forward);
  if (SUCCEEDED(status)) status = blender.bind(job, extraMode);
  if (FAILED(status)) return status;
  const Steps steps = stretchSteps(job);
  const Feather feather(job, steps);
  parallelRows(job.height(), job.width() * 32, [&](int64_t first, int64_t end) {
    FeatherRows rows(job, steps, feather, forward, blender);
    for (int64_t y = first; y < end; ++y) rows.copyRow(y);
  });
  return kOk;
}

}  // namespace qv
