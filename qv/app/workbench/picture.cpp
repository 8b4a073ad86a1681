#include "qv/app/workbench/picture.h"

#include <algorithm>

#include "qv/app/workbench/png.h"

namespace qv::workbench {
namespace {

// Five columns by seven rows and two below the line; a row's bits run from the left, highest first.
struct Glyph {
  char letter;
  uint8_t rows[Picture::kLetterHeight];
};
constexpr Glyph kGlyphs[] = {
    {'0', {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110}},
    {'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'2', {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111}},
    {'3', {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110}},
    {'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    {'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    {'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    {'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b00100, 0b01000, 0b01000}},
    {'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    {'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    {'-', {0b00000, 0b00000, 0b00000, 0b01110, 0b00000, 0b00000, 0b00000}},
    {'.', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b01100}},
    {',', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b00100, 0b00100, 0b01000, 0b00000}},
    {':', {0b00000, 0b01100, 0b01100, 0b00000, 0b01100, 0b01100, 0b00000}},
    {'B', {0b11110, 0b10001, 0b10001, 0b11110, 0b10001, 0b10001, 0b11110}},
    {'F', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000}},
    {'H', {0b10001, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    {'S', {0b01111, 0b10000, 0b10000, 0b01110, 0b00001, 0b00001, 0b11110}},
    {'a', {0b00000, 0b00000, 0b01110, 0b00001, 0b01111, 0b10001, 0b01111}},
    {'c', {0b00000, 0b00000, 0b01110, 0b10000, 0b10000, 0b10001, 0b01110}},
    {'d', {0b00001, 0b00001, 0b01101, 0b10011, 0b10001, 0b10001, 0b01111}},
    {'e', {0b00000, 0b00000, 0b01110, 0b10001, 0b11111, 0b10000, 0b01110}},
    {'g', {0b00000, 0b00000, 0b01111, 0b10001, 0b10001, 0b10001, 0b01111, 0b00001, 0b01110}},
    {'h', {0b10000, 0b10000, 0b10110, 0b11001, 0b10001, 0b10001, 0b10001}},
    {'i', {0b00100, 0b00000, 0b01100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'k', {0b10000, 0b10000, 0b10010, 0b10100, 0b11000, 0b10100, 0b10010}},
    {'l', {0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'n', {0b00000, 0b00000, 0b10110, 0b11001, 0b10001, 0b10001, 0b10001}},
    {'o', {0b00000, 0b00000, 0b01110, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'p', {0b00000, 0b00000, 0b11110, 0b10001, 0b10001, 0b10001, 0b11110, 0b10000, 0b10000}},
    {'r', {0b00000, 0b00000, 0b10110, 0b11001, 0b10000, 0b10000, 0b10000}},
    {'s', {0b00000, 0b00000, 0b01110, 0b10000, 0b01110, 0b00001, 0b11110}},
    {'t', {0b01000, 0b01000, 0b11100, 0b01000, 0b01000, 0b01001, 0b00110}},
    {'v', {0b00000, 0b00000, 0b10001, 0b10001, 0b10001, 0b01010, 0b00100}},
    {'z', {0b00000, 0b00000, 0b11111, 0b00010, 0b00100, 0b01000, 0b11111}},
};

const Glyph* findGlyph(char letter) {
  for (const Glyph& glyph : kGlyphs) {
    if (glyph.letter == letter) return &glyph;
  }
  return nullptr;
}

}  // namespace

Picture::Picture(int width, int height, std::vector<uint32_t> palette)
    : width_(width),
      height_(height),
      palette_(std::move(palette)),
      pixels_(static_cast<size_t>(width) * height) {}

void Picture::fill(int left, int top, int right, int bottom, uint8_t colour) {
  left = std::max(left, 0);
  right = std::min(right, width_);
  for (int y = std::max(top, 0); y < std::min(bottom, height_) && left < right; ++y) {
    std::fill_n(pixels_.begin() + static_cast<ptrdiff_t>(y) * width_ + left, right - left, colour);
  }
}

void Picture::text(int left, int top, std::string_view letters, uint8_t colour, int scale) {
  for (char letter : letters) {
    const Glyph* glyph = findGlyph(letter);
    for (int y = 0; glyph && y < kLetterHeight; ++y) {
      for (int x = 0; x < 5; ++x) {
        if (!(glyph->rows[y] >> (4 - x) & 1)) continue;
        fill(left + x * scale, top + y * scale, left + (x + 1) * scale, top + (y + 1) * scale, colour);
      }
    }
    left += kLetterWidth * scale;
  }
}

std::string Picture::png() const {
  std::string colours, rows;
  for (uint32_t colour : palette_) {
    for (int shift = 16; shift >= 0; shift -= 8) colours.push_back(static_cast<char>(colour >> shift));
  }
  for (int y = 0; y < height_; ++y) {
    rows.push_back(0);
    rows.append(reinterpret_cast<const char*>(pixels_.data()) + static_cast<size_t>(y) * width_,
                static_cast<size_t>(width_));
  }
  constexpr uint8_t kEightBits = 8, kIndices = 3;
  return pngFile({static_cast<uint32_t>(width_), static_cast<uint32_t>(height_), kEightBits, kIndices},
                 colours, rows);
}

}  // namespace qv::workbench
