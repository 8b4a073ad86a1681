// Tables of columns, and partly covered edges.
#include "qv/video/detail/scale_job.h"

namespace qv {

bool ColumnTable::buildLinear(const ScaleJob& job) {
  if (!linear_.allocate(job.width())) return false;
  const LinearAxis axis(job.columns, job.sourceX, job.param.endStepX);
  int64_t inner = 0;
  uint32_t fractions = 0;
  for (int64_t x = 0; x < job.width(); ++x) {
    const LinearAxis::Place place = axis.at(x);
    linear_.data()[x] = {static_cast<int32_t>(place.pixel),
                         (kOnePixel - place.fraction) | place.fraction << 16};
    if (place.next != place.pixel) inner = x + 1;
    fractions |= place.fraction;
  }
  linearColumns_ = {linear_.data(), job.width(), inner, fractions % 16 == 0};
  return true;
}

bool ColumnTable::buildBox(const ScaleJob& job) {
  if (!box_.allocate(job.width())) return false;
  const BoxAxis axis(job.columns, job.sourceX, job.param.pixelStepX);
  for (int64_t x = 0; x < job.width(); ++x) {
    const BoxAxis::Footprint print = axis.at(x);
    constexpr float kPixel = 1.0f / kOnePixel;
    box_.data()[x] = {static_cast<int32_t>(print.first),
                      static_cast<int32_t>(print.pixels),
                      static_cast<float>(print.firstWeight) * kPixel,
                      static_cast<float>(print.lastWeight) * kPixel,
                      static_cast<float>(kOnePixel) / static_cast<float>(print.length),
                      print.length};
  }
  return true;
}

bool ColumnTable::buildCubic(const ScaleJob& job) {
  if (!cubic_.allocate(job.width())) return false;
  const CubicAxis axis(job.sourceX, job.param.pixelStepX);
  for (int64_t x = 0; x < job.width(); ++x) {
    const CubicAxis::Place place = axis.at(x);
    cubic_.data()[x] = {static_cast<int32_t>(place.tap + kCubicBefore), place.phase};
  }
  return true;
}

RowFinisher::RowFinisher(const ScaleJob& job)
    : job_(job),
      softColumns_(job.columns.firstCover < kOnePixel || job.columns.endCover < kOnePixel),
      softRows_(job.rows.firstCover < kOnePixel || job.rows.endCover < kOnePixel) {}

bool RowFinisher::allocate() {
  return job_.replace || !softRows_ || row_.allocate(job_.width() * job_.pixelBytes);
}

void RowFinisher::mixPixel(uint8_t* out, const uint8_t* pixel, int64_t cover) const {
  if (job_.pixelBytes == kFloatPixel) {
    float old[4], now[4];
    memcpy(old, out, sizeof old);
    memcpy(now, pixel, sizeof now);
    const float weight = static_cast<float>(cover) / kOnePixel;
    for (int i = 0; i < 4; ++i) now[i] = old[i] + (now[i] - old[i]) * weight;
    memcpy(out, now, sizeof now);
    return;
  }
  const int32_t alpha = static_cast<int32_t>(cover * 255 / kOnePixel);
  for (int i = 0; i < 4; ++i) {
    const int32_t t = (pixel[i] - out[i]) * alpha + 128;
    out[i] = static_cast<uint8_t>(std::clamp((((t >> 8) + t) >> 8) + out[i], 0, 255));
  }
}

void RowFinisher::mixRow(uint8_t* out, int32_t coverY) const {
  for (int64_t x = 0; x < job_.width(); ++x) {
    const int64_t coverX = job_.columns.cover(job_.columns.first + static_cast<int32_t>(x));
    mixPixel(out + x * job_.pixelBytes, row_.data() + x * job_.pixelBytes, coverX * coverY >> 14);
  }
}

void RowFinisher::keepEnds(const uint8_t* out) {
  memcpy(ends_[0], out, job_.pixelBytes);
  memcpy(ends_[1], out + (job_.width() - 1) * job_.pixelBytes, job_.pixelBytes);
}

void RowFinisher::mixEnds(uint8_t* out) const {
  const int64_t places[2] = {0, job_.width() - 1};
  const int32_t covers[2] = {job_.columns.firstCover, job_.columns.endCover};
  for (int i = 0; i < (job_.width() > 1 ? 2 : 1); ++i) {
    if (covers[i] == kOnePixel) continue;
    uint8_t* place = out + places[i] * job_.pixelBytes;
    uint8_t pixel[kFloatPixel];
    memcpy(pixel, place, job_.pixelBytes);
    memcpy(place, ends_[i], job_.pixelBytes);
    mixPixel(place, pixel, covers[i]);
  }
}

}  // namespace qv
