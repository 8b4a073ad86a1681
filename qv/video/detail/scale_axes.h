// Where the pixels of one axis of a target lie in the source, in 18.14.
#pragma once

#include "qv/video/detail/image.h"

namespace qv {

// A span that is read: its ends, and the whole pixels that it touches.
struct SourceSpan {
  int32_t from, to;
  int64_t first() const { return from >> 14; }
  int64_t last() const { return (to - 1) >> 14; }
  int64_t pixels() const { return last() - first() + 1; }
};

// A step that is taken in the measure in which the pixel is covered.
inline int64_t coveredStep(int64_t step, int64_t cover) {
  return static_cast<int64_t>(static_cast<double>(step * cover) * 6.103515625e-5);
}

// First and last pixels meet; after a partly covered first pixel only its part of a step is taken.
class LinearAxis {
 public:
  LinearAxis(const Span& target, SourceSpan source, int32_t step)
      : source_(source), step_(step), firstStep_(coveredStep(step, target.firstCover)) {}
  struct Place {
    int64_t pixel, next;  // from the span's first pixel; the last has no neighbour but itself
    uint32_t fraction;
  };
  Place at(int64_t index) const {
    const int64_t position = source_.from + (index > 0 ? firstStep_ + (index - 1) * step_ : 0);
    const int64_t last = source_.pixels() - 1;
    const int64_t pixel = std::min((position >> 14) - source_.first(), last);
    return {pixel, std::min(pixel + 1, last), static_cast<uint32_t>(position & (kOnePixel - 1))};
  }

 private:
  SourceSpan source_;
  int64_t step_, firstStep_;
};

// Footprints that lie side by side; a partly covered pixel's is shorter.
class BoxAxis {
 public:
  BoxAxis(const Span& target, SourceSpan source, int32_t step)
      : source_(source),
        count_(target.end - target.first),
        step_(step),
        firstStep_(coveredStep(step, target.firstCover)),
        lastStep_(coveredStep(step, target.endCover)) {}
  struct Footprint {
    int64_t first, pixels;  // from the span's first pixel
    int32_t firstWeight, lastWeight, length;
  };
  Footprint at(int64_t index) const {
    const int64_t step = index == 0 ? firstStep_ : index == count_ - 1 ? lastStep_ : step_;
    const int64_t start = source_.from + (index > 0 ? firstStep_ + (index - 1) * step_ : 0);
    const int64_t from = std::min<int64_t>(start, source_.to - 1);
    const int64_t to = std::clamp<int64_t>(from + step, from + 1, source_.to);
    Footprint print = {(from >> 14) - source_.first(), ((to - 1) >> 14) - (from >> 14) + 1, 0, 0,
                       static_cast<int32_t>(to - from)};
    print.firstWeight = print.pixels == 1 ? print.length : kOnePixel - static_cast<int32_t>(from % kOnePixel);
    print.lastWeight = print.pixels == 1 ? 0 : static_cast<int32_t>((to - 1) % kOnePixel) + 1;
    return print;
  }

 private:
  SourceSpan source_;
  int64_t count_, step_, firstStep_, lastStep_;
};

// Pixel centres, whatever the coverage of the first.
class CubicAxis {
 public:
  CubicAxis(SourceSpan source, int32_t step) : source_(source), step_(step) {}
  struct Place {
    int64_t tap;  // the first of four, from the span's first pixel; any of them may lie outside
    int32_t phase;
  };
  Place at(int64_t index) const {
    const int64_t position = source_.from + 8192 + step_ / 2 + index * step_;
    // Four taps behind the end are all the last pixel, however far behind.
    const int64_t tap = std::min((position >> 14) - source_.first() - 2, source_.pixels());
    return {tap, static_cast<int32_t>((position & (kOnePixel - 1)) >> 2)};
  }
  int64_t pixelOf(int64_t tap) const { return std::clamp<int64_t>(tap, 0, source_.pixels() - 1); }

 private:
  SourceSpan source_;
  int64_t step_;
};

}  // namespace qv
