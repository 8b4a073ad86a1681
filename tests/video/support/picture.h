// A picture for tests: header with table, and pixels between guard pages, rows in either direction.
#pragma once

#include <memory>

#include "tests/video/support/guarded.h"
#include "tests/video/support/slow_pixels.h"

namespace test {

class Picture {
 public:
  Picture(int32_t type, int32_t width, int32_t height, uint32_t seed, bool backwards = false) : type_(type) {
    QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(block_), type, static_cast<uint32_t>(width),
                           static_cast<uint32_t>(height), nullptr, 0, nullptr);
    if (slowType(type).kind == SlowType::Palette) {
      Random(77).fill(block_ + 40, 4 * header()->biClrUsed);  // every palette of a size is the same
    }
    const int64_t rowBytes = (int64_t{slowType(type).bits} * width + 7) / 8;
    const int64_t step = rowBytes + 1 + seed % 3;
    stride_ = static_cast<int32_t>(backwards ? -step : step);
    pixels_ = std::make_unique<Guarded>(static_cast<size_t>(step * (height - 1) + rowBytes),
                                        backwards ? Guarded::AtStart : Guarded::AtEnd);
    Random(seed).fill(pixels_->data(), pixels_->size());
    if (slowType(type).kind == SlowType::FloatColour || slowType(type).kind == SlowType::FloatGrey) {
      for (int32_t y = 0; y < height; ++y) {
        plausibleFloats(type, row(y), static_cast<size_t>(rowBytes), seed + static_cast<uint32_t>(y));
      }
    }
  }

  BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(block_); }
  int32_t type() const { return type_; }
  int32_t stride() const { return stride_; }
  uint8_t* first() {  // memory row 0
    return stride_ < 0 ? pixels_->data() - int64_t{stride_} * (header()->biHeight - 1) : pixels_->data();
  }
  uint8_t* row(int64_t y) { return first() + (header()->biHeight - 1 - y) * int64_t{stride_}; }
  const uint8_t* palette() const { return block_ + 40; }
  Guarded& pixels() { return *pixels_; }
  std::vector<uint8_t> bytes() const { return {pixels_->data(), pixels_->data() + pixels_->size()}; }
  QVPIXEL64 read(int64_t x, int64_t y, bool exact) { return slowRead(type_, row(y), x, exact, palette()); }

 private:
  int32_t type_, stride_;
  alignas(8) uint8_t block_[40 + 1024] = {};
  std::unique_ptr<Guarded> pixels_;
};

}  // namespace test
