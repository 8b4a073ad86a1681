// Colour records; channels run blue, green, red, alpha, as in a pixel.
#pragma once

#include <stddef.h>
#include <stdint.h>

struct QVRGBA {
  uint8_t blue, green, red, alpha;
};
struct QVRGBAFLOAT {
  float blue, green, red, alpha;  // nominal 0.0 to 1.0
};
struct QVDIBPIXEL {
  float blue, green, red, alpha;  // a floating-point pixel; may lie outside 0 to 1
};
struct QVHSL {
  double hue, saturation, lightness, alpha;  // hue 1.0 is one turn
};
static_assert(sizeof(QVRGBA) == 4 && sizeof(QVRGBAFLOAT) == 16 && sizeof(QVDIBPIXEL) == 16 &&
              sizeof(QVHSL) == 32);
static_assert(offsetof(QVRGBA, red) == 2 && offsetof(QVDIBPIXEL, alpha) == 12 &&
              offsetof(QVHSL, lightness) == 16);
