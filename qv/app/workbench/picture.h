// A small indexed picture with lines and a plain label font, written as PNG.
//
// The same drawing gives the same bytes on both builds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::workbench {

class Picture {
 public:
  // Every pixel is `palette[0]`; colours are 0xrrggbb, at most 256.
  Picture(int width, int height, std::vector<uint32_t> palette);

  int width() const { return width_; }
  int height() const { return height_; }

  // Rectangles are half-open and clipped to the picture.
  void fill(int left, int top, int right, int bottom, uint8_t colour);

  // Text from its upper left corner; letters that the font doesn't have leave a gap. Width and height of a
  // letter cell are kLetterWidth and kLetterHeight times `scale`.
  void text(int left, int top, std::string_view letters, uint8_t colour, int scale);
  static constexpr int kLetterWidth = 6;
  static constexpr int kLetterHeight = 9;  // two rows of it below the line

  std::string png() const;
  // The palette's place of each pixel, row by row from the top.
  const std::vector<uint8_t>& pixels() const { return pixels_; }

 private:
  int width_, height_;
  std::vector<uint32_t> palette_;
  std::vector<uint8_t> pixels_;
};

}  // namespace qv::workbench
