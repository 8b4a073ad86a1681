// Averaging. Rows are summed first, with the weights of their axis, into one row of totals; that row is then
// averaged or interpolated across. Bytes are totalled in 32-bit integers down and in single precision across,
// or, for footprints so large that 32 bits might not hold them, in double precision.
#include "qv/video/detail/scale_job.h"

namespace qv {
namespace {

constexpr int64_t kChunk = 128;  // rows that 32-bit totals can take, with 14 bits of weight
constexpr double kMostInNarrow = 536870911.0;

// The source rows under a target row, and their weights in 14 bits.
class RowsUnder {
 public:
  RowsUnder(const ScaleJob& job, Across kind)
      : kind_(kind),
        linear_(job.rows, job.sourceY, job.param.endStepY),
        box_(job.rows, job.sourceY, job.param.pixelStepY),
        cubic_(job.sourceY, job.param.pixelStepY) {}

  void set(int64_t y) {
    if (kind_ == Across::Box) {
      print_ = box_.at(y);
      count_ = print_.pixels;
    } else if (kind_ == Across::Linear) {
      const LinearAxis::Place place = linear_.at(y);
      take(0, place.pixel, kOnePixel - static_cast<int32_t>(place.fraction));
      take(1, place.next, static_cast<int32_t>(place.fraction));
      count_ = place.fraction != 0 ? 2 : 1;
    } else {
      const CubicAxis::Place place = cubic_.at(y);
      for (int k = 0; k < 4; ++k) {
        take(k, cubic_.pixelOf(place.tap + k), cubicTables().whole[place.phase][k]);
      }
      phase_ = place.phase;
      count_ = 4;
    }
  }
  int64_t count() const { return count_; }
  int64_t row(int64_t k) const { return kind_ == Across::Box ? print_.first + k : tapRows_[k & 3]; }
  int32_t weight(int64_t k) const {
    if (kind_ != Across::Box) return tapWeights_[k & 3];
    return k == 0 ? print_.firstWeight : k == count_ - 1 ? print_.lastWeight : kOnePixel;
  }
  // The same for floats, adding up to one.
  float realWeight(int64_t k) const {
    if (kind_ == Across::Cubic) return cubicTables().real[phase_][k];
    return static_cast<float>(weight(k)) / static_cast<float>(total());
  }
  int32_t total() const { return kind_ == Across::Box ? print_.length : kOnePixel; }

 private:
  void take(int k, int64_t row, int32_t weight) {
    tapRows_[k] = row;
    tapWeights_[k] = weight;
  }
  Across kind_;
  LinearAxis linear_;
  BoxAxis box_;
  CubicAxis cubic_;
  BoxAxis::Footprint print_ = {};
  int64_t tapRows_[4] = {};
  int32_t tapWeights_[4] = {};
  int64_t count_ = 0;
  int32_t phase_ = 0;
};

template <typename Number>
struct AcrossKernels {
  void (*box)(uint8_t*, const Number*, const BoxColumn*, int64_t);
  void (*linear)(uint8_t*, const Number*, const LinearColumns&);
  void (*cubic)(uint8_t*, const Number*, const CubicColumn*, int64_t);
};
AcrossKernels<float> acrossKernels(const ScaleForms& f, float) {
  return {f.boxAcross, f.linearAcross, f.cubicAcross};
}
AcrossKernels<double> acrossKernels(const ScaleForms& f, double) {
  return {f.boxAcrossWide, f.linearAcrossWide, f.cubicAcrossWide};
}

// Number: what totals are kept in.
template <typename Number>
class AreaMaker {
 public:
  AreaMaker(const ScaleJob& job, const ColumnTable& columns, Across x, Across y)
      : job_(job), columns_(columns), x_(x), under_(job, y) {}
  bool allocate() {
    return totals_.allocate(job_.sourceX.pixels()) &&
           (job_.pixelBytes == kFloatPixel || averages_.allocate(job_.width() * 4));
  }

 protected:
  template <typename Weight, typename Sum>
  void eachChunk(const Sum& sum) {
    const uint8_t* rows[kChunk];
    Weight weights[kChunk];
    for (int64_t from = 0; from < under_.count(); from += kChunk) {
      const int64_t count = std::min(kChunk, under_.count() - from);
      for (int64_t k = 0; k < count; ++k) {
        rows[k] = job_.sourceRow(under_.row(from + k));
        weights[k] = weightOf(from + k, Weight{});
      }
      sum(WeightedRows<Weight>{rows, weights, count}, from == 0);
    }
  }
  void across(uint8_t* out) {
    const AcrossKernels<Number> kernels = acrossKernels(*job_.forms, Number{});
    if (x_ == Across::Box) return kernels.box(out, totals_.pixels(), columns_.box(), job_.width());
    if (x_ == Across::Linear) return kernels.linear(out, totals_.pixels(), columns_.linear());
    totals_.continueEnds();
    kernels.cubic(out, totals_.taps(), columns_.cubic(), job_.width());
  }
  int64_t channels() const { return job_.sourceX.pixels() * 4; }

  const ScaleJob& job_;
  const ColumnTable& columns_;
  Across x_;
  RowsUnder under_;
  ContinuedRow<Number> totals_;
  Scratch<float> averages_;

 private:
  int16_t weightOf(int64_t k, int16_t) const { return static_cast<int16_t>(under_.weight(k)); }
  float weightOf(int64_t k, float) const { return under_.realWeight(k); }
};

template <typename Number>
class AreaBytes : public AreaMaker<Number> {
 public:
  using AreaMaker<Number>::AreaMaker;
  void make(uint8_t* out, int64_t y) {
    this->under_.set(y);
    sum(Number{});
    this->across(reinterpret_cast<uint8_t*>(this->averages_.data()));
    this->job_.forms->toBytes(out, this->averages_.data(), this->job_.width() * 4,
                              1.0f / static_cast<float>(this->under_.total()));
  }

 private:
  using Rows = WeightedRows<int16_t>;
  void sum(float) {
    this->template eachChunk<int16_t>([this](const Rows& rows, bool) {
      this->job_.forms->sumRows8(this->totals_.pixels(), rows, this->channels());
    });
  }
  void sum(double) {
    std::fill_n(this->totals_.pixels(), this->channels(), 0.0);
    this->template eachChunk<int16_t>([this](const Rows& rows, bool) {
      this->job_.forms->addRows8(this->totals_.pixels(), rows, this->channels());
    });
  }
};

class AreaFloats : public AreaMaker<float> {
 public:
  AreaFloats(const ScaleJob& job, const ColumnTable& columns, Across x, Across y, bool clampAlpha)
      : AreaMaker(job, columns, x, y), clampAlpha_(clampAlpha) {}
  void make(uint8_t* out, int64_t y) {
    under_.set(y);
    eachChunk<float>([this](const WeightedRows<float>& rows, bool first) {
      (first ? job_.forms->sumRowsFloat : job_.forms->addRowsFloat)(totals_.pixels(), rows, channels());
    });
    across(out);
    if (clampAlpha_) clampAlphaOf(out, job_.width());
  }

 private:
  bool clampAlpha_;
};

// Two by two whole pixels of bytes each: then sums and reciprocals are exact, and so is this shorter way.
class HalfMaker {
 public:
  explicit HalfMaker(const ScaleJob& job) : job_(job) {}
  bool allocate() { return true; }
  void make(uint8_t* out, int64_t y) {
    const uint8_t* rows[2] = {job_.sourceRow(2 * y), job_.sourceRow(2 * y + 1)};
    job_.forms->halve8(out, rows, job_.width());
  }

 private:
  const ScaleJob& job_;
};
bool isHalf(const Span& target, const SourceSpan& source, int32_t step) {
  return step == 2 * kOnePixel && target.firstCover == kOnePixel && target.endCover == kOnePixel &&
         source.from % kOnePixel == 0 &&
         int64_t{source.to} - source.from == int64_t{target.end - target.first} * step;
}
bool isHalf(const ScaleJob& job) {
  return job.pixelBytes == 4 && isHalf(job.columns, job.sourceX, job.param.pixelStepX) &&
         isHalf(job.rows, job.sourceY, job.param.pixelStepY);
}

// Whether 32 bits hold the totals of any footprint.
bool fitsNarrow(const ScaleJob& job, Across x, Across y) {
  const double fx = (job.param.pixelStepX + 32768.0) * 6.103515625e-5;
  const double fy = (job.param.pixelStepY + 32768.0) * 6.103515625e-5;
  const double pixels = x != Across::Box ? fy : y != Across::Box ? 2 * fx : fy * fx;
  return pixels * 16384.0 * 255.0 < kMostInNarrow;
}

}  // namespace

void clampAlphaOf(uint8_t* row, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    float alpha;
    memcpy(&alpha, row + 16 * x + 12, sizeof alpha);
    alpha = alpha > 0.0f ? alpha < 1.0f ? alpha : 1.0f : 0.0f;
    memcpy(row + 16 * x + 12, &alpha, sizeof alpha);
  }
}

HRESULT scaleArea(const ScaleJob& job, Across x, Across y) {
  if (x == Across::Box && y == Across::Box && isHalf(job)) return makeRows<HalfMaker>(job);
  ColumnTable columns;
  const bool built = x == Across::Box      ? columns.buildBox(job)
                     : x == Across::Linear ? columns.buildLinear(job)
                                           : columns.buildCubic(job);
  if (!built) return kOutOfMemory;
  if (job.pixelBytes == kFloatPixel) {
    return makeRows<AreaFloats>(job, columns, x, y, x == Across::Cubic || y == Across::Cubic);
  }
  if (fitsNarrow(job, x, y)) return makeRows<AreaBytes<float>>(job, columns, x, y);
  return makeRows<AreaBytes<double>>(job, columns, x, y);
}

}  // namespace qv
