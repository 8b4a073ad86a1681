// A slow second opinion on what the bits of each pixel type mean: types as lists of bit fields, values in
// integers wide enough for anything. Shares nothing with the engine but the type codes.
#pragma once

#include <math.h>

#include <array>
#include <vector>

#include "qv/video/dib.h"

namespace test {

struct Field {
  uint8_t first, width;  // counted from the pixel's lowest bit
};
struct SlowType {
  int32_t type;
  uint32_t bits;
  enum Kind { Grey, FloatGrey, Palette, Colour, FloatColour } kind;
  Field blue, green, red, alpha;
};

inline constexpr SlowType kSlowTypes[] = {
    {QVPT_PAL1, 1, SlowType::Grey, {0, 1}, {}, {}, {}},
    {QVPT_GRAY1, 1, SlowType::Grey, {0, 1}, {}, {}, {}},
    {QVPT_GRAY2, 2, SlowType::Grey, {0, 2}, {}, {}, {}},
    {QVPT_GRAY4, 4, SlowType::Grey, {0, 4}, {}, {}, {}},
    {QVPT_GRAY8, 8, SlowType::Grey, {0, 8}, {}, {}, {}},
    {QVPT_GRAY16, 16, SlowType::Grey, {0, 16}, {}, {}, {}},
    {QVPT_GRAYF32, 32, SlowType::FloatGrey, {}, {}, {}, {}},
    {QVPT_PAL4, 4, SlowType::Palette, {}, {}, {}, {}},
    {QVPT_PAL8, 8, SlowType::Palette, {}, {}, {}, {}},
    {QVPT_RGB555, 16, SlowType::Colour, {0, 5}, {5, 5}, {10, 5}, {}},
    {QVPT_RGB565, 16, SlowType::Colour, {0, 5}, {5, 6}, {11, 5}, {}},
    {QVPT_RGB24, 24, SlowType::Colour, {0, 8}, {8, 8}, {16, 8}, {}},
    {QVPT_RGB32, 32, SlowType::Colour, {0, 8}, {8, 8}, {16, 8}, {24, 8}},
    {QVPT_RGBA32, 32, SlowType::Colour, {0, 8}, {8, 8}, {16, 8}, {24, 8}},
    {QVPT_A2RGB10, 32, SlowType::Colour, {0, 10}, {10, 10}, {20, 10}, {30, 2}},
    {QVPT_RGBA64, 64, SlowType::Colour, {0, 16}, {16, 16}, {32, 16}, {48, 16}},
    {QVPT_RGBAF128, 128, SlowType::FloatColour, {}, {}, {}, {}},
    {QVPT_RGB10A2, 32, SlowType::Colour, {2, 10}, {12, 10}, {22, 10}, {0, 2}},
};
inline const SlowType& slowType(int32_t type) {
  return kSlowTypes[type - QVPT_PAL1];
}

inline uint64_t slowBits(const uint8_t* row, const SlowType& t, int64_t x) {
  const int64_t bit = x * t.bits;
  if (t.bits < 8) return row[bit / 8] >> (8 - t.bits - bit % 8) & ((1u << t.bits) - 1);
  uint64_t value = 0;
  for (uint32_t i = 0; i < t.bits / 8 && i < 8; ++i) value |= uint64_t{row[bit / 8 + i]} << (8 * i);
  return value;
}
inline void slowStoreBits(uint8_t* row, const SlowType& t, int64_t x, uint64_t value) {
  for (uint32_t i = 0; i < t.bits; ++i) {
    const int64_t bit = x * t.bits;
    const uint64_t on = value >> i & 1;
    const int64_t byte = t.bits < 8 ? bit / 8 : bit / 8 + i / 8;
    const int shift = static_cast<int>(t.bits < 8 ? 8 - t.bits - bit % 8 + i : i % 8);
    row[byte] = static_cast<uint8_t>((row[byte] & ~(1u << shift)) | on << shift);
  }
}

// A channel of n bits as 16: bits that are missing are zero, except that the few-bit scales (1, 2, 4 and the
// alpha of two) reach full white, and bytes do when the expansion is exact.
inline uint16_t slowWiden(uint64_t value, uint32_t n, bool exact) {
  if (n == 1 || n == 2 || n == 4 || (n == 8 && exact)) {
    return static_cast<uint16_t>(value * 65535 / ((1u << n) - 1));
  }
  return static_cast<uint16_t>(value << (16 - n));
}
inline uint64_t slowField(uint64_t bits, Field f) {
  return bits >> f.first & ((uint64_t{1} << f.width) - 1);
}

inline uint16_t slowFloat(const uint8_t* row, int64_t index) {
  float v;
  memcpy(&v, row + 4 * index, 4);
  if (!(v > 0.0f)) return 0;
  return v >= 1.0f ? 65535 : static_cast<uint16_t>(floorf(v * 65535.0f + 0.5f));
}

inline QVPIXEL64 slowRead(int32_t type, const uint8_t* row, int64_t x, bool exact, const uint8_t* palette) {
  const SlowType& t = slowType(type);
  if (t.kind == SlowType::FloatColour) {
    return {slowFloat(row, 4 * x), slowFloat(row, 4 * x + 1), slowFloat(row, 4 * x + 2),
            slowFloat(row, 4 * x + 3)};
  }
  if (t.kind == SlowType::FloatGrey) {
    const uint16_t v = slowFloat(row, x);
    return {v, v, v, 65535};
  }
  const uint64_t bits = slowBits(row, t, x);
  if (t.kind == SlowType::Grey) {
    const uint16_t v = slowWiden(bits, t.bits, exact);
    return {v, v, v, 65535};
  }
  if (t.kind == SlowType::Palette) {
    const uint8_t* e = palette + 4 * bits;
    return {slowWiden(e[0], 8, exact), slowWiden(e[1], 8, exact), slowWiden(e[2], 8, exact), 65535};
  }
  const auto channel = [&](Field f) { return slowWiden(slowField(bits, f), f.width, exact); };
  return {channel(t.blue), channel(t.green), channel(t.red),
          t.alpha.width != 0 ? channel(t.alpha) : uint16_t{65535}};
}

inline void slowWrite(int32_t type, uint8_t* row, int64_t x, const QVPIXEL64& v, const uint8_t* inverse) {
  const SlowType& t = slowType(type);
  const uint32_t mean = (uint32_t{v.red} + v.green + v.blue) / 3;
  constexpr float kUnit = 1.5259022e-5f;
  if (t.kind == SlowType::FloatColour || t.kind == SlowType::FloatGrey) {
    const uint32_t values[4] = {v.blue, v.green, v.red, v.alpha};
    const int count = t.kind == SlowType::FloatGrey ? 1 : 4;
    for (int i = 0; i < count; ++i) {
      const float f = static_cast<float>(count == 1 ? mean : values[i]) * kUnit;
      memcpy(row + 4 * (count * x + i), &f, 4);
    }
    return;
  }
  uint64_t bits = 0;
  if (t.kind == SlowType::Palette) {
    bits = inverse[(v.red / 2048) * 1024 + (v.green / 2048) * 32 + v.blue / 2048];
  } else if (t.kind == SlowType::Grey && t.bits == 1) {
    bits = uint32_t{v.red} + v.green + v.blue >= 0x17fff;
  } else if (t.kind == SlowType::Grey) {
    bits = mean >> (16 - t.bits);
  } else {
    const auto put = [&](uint32_t channel, Field f) {
      if (f.width != 0) bits |= uint64_t{channel >> (16 - f.width)} << f.first;
    };
    put(v.blue, t.blue);
    put(v.green, t.green);
    put(v.red, t.red);
    put(v.alpha, t.alpha);
  }
  slowStoreBits(row, t, x, bits);
}

// Random rows hold floats around the unit interval, and now and then one that is no number.
inline void plausibleFloats(int32_t type, uint8_t* bytes, size_t count, uint32_t seed) {
  if (type != QVPT_GRAYF32 && type != QVPT_RGBAF128) return;
  for (size_t i = 0; i + 4 <= count; i += 4) {
    seed = seed * 1664525 + 1013904223;
    float v = static_cast<float>(seed >> 8) / 16777216.0f * 1.5f - 0.25f;
    if (seed >> 26 == 7) v = NAN;
    memcpy(bytes + i, &v, 4);
  }
}

inline bool same(const QVPIXEL64& a, const QVPIXEL64& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace test
