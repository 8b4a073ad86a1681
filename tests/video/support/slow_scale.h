// Slow second opinions on the scalers, from the geometry: each target pixel by itself, in exact integers or
// in double precision. Rectangles and steps come from a prepared operation, which tests of its own look at.
#pragma once

#include <math.h>

#include <algorithm>
#include <vector>

#include "qv/video/scale.h"

namespace test {

// Pixels as numbers, four channels each, rows from the first down.
struct SlowImage {
  int64_t width = 0, height = 0;
  std::vector<double> values;
  double at(int64_t x, int64_t y, int i) const {
    return values[static_cast<size_t>((y * width + x) * 4 + i)];
  }
  double& at(int64_t x, int64_t y, int i) { return values[static_cast<size_t>((y * width + x) * 4 + i)]; }
};

// One axis: everything in 1/16384 of a pixel.
struct SlowAxis {
  int64_t targetFrom, targetTo, sourceFrom, sourceTo, endStep, pixelStep;

  int64_t firstPixel() const { return targetFrom >> 14; }
  int64_t endPixel() const { return (targetTo + 16383) >> 14; }
  int64_t cover(int64_t pixel) const {
    return std::min(targetTo, (pixel + 1) << 14) - std::max(targetFrom, pixel << 14);
  }
  int64_t lastSource() const { return (sourceTo - 1) >> 14; }
  // Where a pixel's sample, or its footprint, begins, by walking there.
  int64_t walk(int64_t pixel, int64_t step) const {
    int64_t place = sourceFrom;
    for (int64_t p = firstPixel(); p < pixel; ++p) place += p == firstPixel() ? step * cover(p) >> 14 : step;
    return place;
  }
  // Weights of source pixels, by kind; they add up to one.
  struct Weight {
    int64_t pixel;
    double weight;
  };
  std::vector<Weight> linear(int64_t pixel) const {
    const int64_t place =
        std::min(walk(pixel, endStep), (lastSource() << 14) + (walk(pixel, endStep) & 16383));
    const double f = static_cast<double>(place & 16383) / 16384.0;
    return {{place >> 14, 1 - f}, {std::min((place >> 14) + 1, lastSource()), f}};
  }
  std::vector<Weight> box(int64_t pixel) const {
    const bool end = pixel == firstPixel() || pixel == endPixel() - 1;
    const int64_t from = std::min(walk(pixel, pixelStep), sourceTo - 1);
    const int64_t length = end ? pixelStep * cover(pixel) >> 14 : pixelStep;
    const int64_t to = std::min(std::max(from + length, from + 1), sourceTo);
    std::vector<Weight> out;
    for (int64_t p = from >> 14; p <= lastSource(); ++p) {
      const int64_t part = std::min(to, (p + 1) << 14) - std::max(from, p << 14);
      if (part > 0) out.push_back({p, static_cast<double>(part) / static_cast<double>(to - from)});
    }
    return out;
  }
  // The sample lies at the target pixel's centre, from which the four pixels are this far away.
  static double kernel(double distance) {
    const double d = fabs(distance);
    if (d < 1) return 1.5 * d * d * d - 2.5 * d * d + 1;
    return d < 2 ? -0.5 * d * d * d + 2.5 * d * d - 4 * d + 2 : 0;
  }
  std::vector<Weight> cubic(int64_t pixel) const {
    const int64_t place = sourceFrom + 8192 + pixelStep / 2 + (pixel - firstPixel()) * pixelStep;
    const double sample = static_cast<double>(place / 4) / 4096.0 - 1;  // phases are whole
    std::vector<Weight> out;
    for (int64_t p = (place >> 14) - 2; p < (place >> 14) + 2; ++p) {
      out.push_back({std::clamp(p, sourceFrom >> 14, lastSource()), kernel(sample - static_cast<double>(p))});
    }
    return out;
  }
};

inline SlowAxis slowX(const QvSubpixelParam& p) {
  return {p.targetRect.left,     p.targetRect.right, p.sourceClipped.left,
          p.sourceClipped.right, p.endStepX,         p.pixelStepX};
}
inline SlowAxis slowY(const QvSubpixelParam& p) {
  return {p.targetRect.top,       p.targetRect.bottom, p.sourceClipped.top,
          p.sourceClipped.bottom, p.endStepY,          p.pixelStepY};
}

using SlowWeights = std::vector<SlowAxis::Weight>;

// The ideal value of a channel: no rounding anywhere.
inline double slowIdeal(const SlowImage& source, const SlowWeights& across, const SlowWeights& down,
                        int channel) {
  double sum = 0;
  for (const SlowAxis::Weight& y : down) {
    double row = 0;
    for (const SlowAxis::Weight& x : across) row += source.at(x.pixel, y.pixel, channel) * x.weight;
    sum += row * y.weight;
  }
  return sum;
}

// Bilinear bytes by four weights of 24 bits, each cut, found by division.
inline int slowBilinearByte(const SlowImage& source, const SlowWeights& across, const SlowWeights& down,
                            int channel) {
  double sum = 0;
  for (const SlowAxis::Weight& y : down) {
    for (const SlowAxis::Weight& x : across) {
      sum += floor(x.weight * y.weight * 16777216.0) * source.at(x.pixel, y.pixel, channel);
    }
  }
  return static_cast<int>(floor(sum / 16777216.0 + 0.5));
}

// Bicubic bytes: weights cut to 14 bits towards zero, half added, cut towards zero; first down, then across.
inline int slowCubicByte(const SlowImage& source, const SlowWeights& across, const SlowWeights& down,
                         int channel) {
  const auto whole = [](double weight) {
    return trunc(static_cast<double>(static_cast<float>(weight)) * 16384.0);
  };
  double sum = 0;
  for (const SlowAxis::Weight& x : across) {
    double column = 0;
    for (const SlowAxis::Weight& y : down) column += source.at(x.pixel, y.pixel, channel) * whole(y.weight);
    sum += trunc((column + 8192) / 16384) * whole(x.weight);
  }
  return static_cast<int>(std::clamp(trunc((sum + 8192) / 16384), 0.0, 255.0));
}

}  // namespace test
