// One pixel of each type to the 16-bit pivot and back: the definition of what a type's bits mean.
//
// A source that wants these loops in a wider vector form defines QV_FORM to a name of its own before the
// include, so that the linker never takes one form's inline function for another's.
#pragma once

#include <string.h>

#include "qv/video/detail/gamma.h"
#include "qv/video/kernels.h"

#ifndef QV_FORM
#define QV_FORM scalar
#endif

#define QV_INLINE static inline __attribute__((always_inline))

namespace qv::QV_FORM {

constexpr uint32_t kTypeBits[18] = {1, 1, 2, 4, 8, 16, 32, 4, 8, 16, 16, 24, 32, 32, 32, 64, 128, 32};
constexpr uint32_t typeBits(int32_t type) {
  return kTypeBits[type - QVPT_PAL1];
}

constexpr float kFrom65535 = 1.5259022e-5f;

template <typename Word>
QV_INLINE Word loadWord(const uint8_t* p) {
  Word word;
  memcpy(&word, p, sizeof word);
  return word;
}
template <typename Word>
QV_INLINE void storeWord(uint8_t* p, Word word) {
  memcpy(p, &word, sizeof word);
}

QV_INLINE QVPIXEL64 opaque(uint32_t blue, uint32_t green, uint32_t red) {
  return {static_cast<uint16_t>(blue), static_cast<uint16_t>(green), static_cast<uint16_t>(red), 0xffff};
}
QV_INLINE QVPIXEL64 grey(uint32_t value) {
  return opaque(value, value, value);
}

template <bool Exact>
QV_INLINE uint32_t widen(uint32_t byte) {
  return Exact ? byte * 257 : byte << 8;
}

// Comparisons in this order send a value that is no number to 0.
QV_INLINE float unit(float v) {
  v = v > 0.0f ? v : 0.0f;
  return v < 1.0f ? v : 1.0f;
}
QV_INLINE uint16_t fromUnit(float v) {
  return static_cast<uint16_t>(static_cast<int32_t>(unit(v) * 65535.0f + 0.5f));
}

template <bool Exact>
QV_INLINE QVPIXEL64 colourEntry(const uint8_t* palette, uint32_t index) {
  const uint8_t* entry = palette + 4 * index;
  return opaque(widen<Exact>(entry[0]), widen<Exact>(entry[1]), widen<Exact>(entry[2]));
}

// The value of a pixel of 1, 2 or 4 bits; `bit` counts from the high end of the byte.
template <uint32_t Bits>
QV_INLINE uint32_t packedValue(const uint8_t* p, uint32_t bit) {
  return (static_cast<uint32_t>(*p) >> (8 - Bits - bit)) & ((1u << Bits) - 1);
}
template <uint32_t Bits>
QV_INLINE void storePacked(uint8_t* p, uint32_t bit, uint32_t value) {
  const uint32_t shift = 8 - Bits - bit;
  const uint32_t mask = ((1u << Bits) - 1) << shift;
  *p = static_cast<uint8_t>((*p & ~mask) | ((value << shift) & mask));
}

// What reading needs beside the bits.
struct Source {
  const uint8_t* palette;
  const QvGammaCurve* curve;  // null when there is nothing to bend
};

template <int32_t Type, bool Exact>
QV_INLINE QVPIXEL64 load(const uint8_t* p, uint32_t bit, const Source& source) {
  if constexpr (Type == QVPT_PAL1 || Type == QVPT_GRAY1) {
    return grey(packedValue<1>(p, bit) * 0xffff);
  } else if constexpr (Type == QVPT_GRAY2) {
    return grey(packedValue<2>(p, bit) * 0x5555);
  } else if constexpr (Type == QVPT_GRAY4) {
    return grey(packedValue<4>(p, bit) * 0x1111);
  } else if constexpr (Type == QVPT_GRAY8) {
    return grey(widen<Exact>(*p));
  } else if constexpr (Type == QVPT_GRAY16) {
    return grey(loadWord<uint16_t>(p));
  } else if constexpr (Type == QVPT_GRAYF32) {
    const float v = loadWord<float>(p);
    return grey(fromUnit(source.curve != nullptr ? bend(*source.curve, v) : v));
  } else if constexpr (Type == QVPT_PAL4) {
    return colourEntry<Exact>(source.palette, packedValue<4>(p, bit));
  } else if constexpr (Type == QVPT_PAL8) {
    return colourEntry<Exact>(source.palette, *p);
  } else if constexpr (Type == QVPT_RGB555) {
    const uint32_t v = loadWord<uint16_t>(p);
    return opaque(v << 11, (v >> 5) << 11, (v & 0xfc00) * 2);
  } else if constexpr (Type == QVPT_RGB565) {
    const uint32_t v = loadWord<uint16_t>(p);
    return opaque(v << 11, (v >> 5) << 10, v & 0xf800);
  } else if constexpr (Type == QVPT_RGB24) {
    return opaque(widen<Exact>(p[0]), widen<Exact>(p[1]), widen<Exact>(p[2]));
  } else if constexpr (Type == QVPT_RGB32 || Type == QVPT_RGBA32) {
    return {static_cast<uint16_t>(widen<Exact>(p[0])), static_cast<uint16_t>(widen<Exact>(p[1])),
            static_cast<uint16_t>(widen<Exact>(p[2])), static_cast<uint16_t>(widen<Exact>(p[3]))};
  } else if constexpr (Type == QVPT_A2RGB10) {
    const uint32_t v = loadWord<uint32_t>(p);
    return {static_cast<uint16_t>(v << 6), static_cast<uint16_t>((v >> 4) & ~63u),
            static_cast<uint16_t>((v >> 20) << 6), static_cast<uint16_t>((v >> 30) * 0x5555)};
  } else if constexpr (Type == QVPT_RGBA64) {
    return loadWord<QVPIXEL64>(p);
  } else if constexpr (Type == QVPT_RGBAF128) {
    float v[4];
    memcpy(v, p, sizeof v);
    if (source.curve != nullptr) {
      for (float& channel : v) channel = bend(*source.curve, channel);
    }
    return {fromUnit(v[0]), fromUnit(v[1]), fromUnit(v[2]), fromUnit(v[3])};
  } else {
    static_assert(Type == QVPT_RGB10A2);
    const uint32_t v = loadWord<uint32_t>(p);
    return {static_cast<uint16_t>((v >> 2) << 6), static_cast<uint16_t>((v >> 6) & ~63u),
            static_cast<uint16_t>((v >> 22) << 6), static_cast<uint16_t>((v & 3) * 0x5555)};
  }
}

// What writing needs beside the pivot.
struct Sink {
  const uint8_t* inverse;
  const QvGammaCurve* curve;
};

QV_INLINE uint32_t inverseIndex(const QVPIXEL64& v) {
  return ((v.red >> 11) << 10) + ((v.green >> 6) & ~31) + (v.blue >> 11);
}
QV_INLINE uint32_t brightness(const QVPIXEL64& v) {
  return static_cast<uint32_t>(v.red) + v.green + v.blue;
}
QV_INLINE float toUnit(uint32_t value, const Sink& sink) {
  const float v = static_cast<float>(static_cast<int32_t>(value)) * kFrom65535;
  return sink.curve != nullptr ? bend(*sink.curve, v) : v;
}

template <int32_t Type>
QV_INLINE void store(uint8_t* p, uint32_t bit, const QVPIXEL64& v, const Sink& sink) {
  if constexpr (Type == QVPT_PAL1 || Type == QVPT_GRAY1) {
    storePacked<1>(p, bit, brightness(v) < 0x17fff ? 0 : 1);
  } else if constexpr (Type == QVPT_GRAY2) {
    storePacked<2>(p, bit, brightness(v) / 3 >> 14);
  } else if constexpr (Type == QVPT_GRAY4) {
    storePacked<4>(p, bit, brightness(v) / 3 >> 12);
  } else if constexpr (Type == QVPT_GRAY8) {
    *p = static_cast<uint8_t>(brightness(v) / 768);
  } else if constexpr (Type == QVPT_GRAY16) {
    storeWord(p, static_cast<uint16_t>(brightness(v) / 3));
  } else if constexpr (Type == QVPT_GRAYF32) {
    storeWord(p, toUnit(brightness(v) / 3, sink));
  } else if constexpr (Type == QVPT_PAL4) {
    storePacked<4>(p, bit, sink.inverse[inverseIndex(v)]);
  } else if constexpr (Type == QVPT_PAL8) {
    *p = sink.inverse[inverseIndex(v)];
  } else if constexpr (Type == QVPT_RGB555) {
    storeWord(p, static_cast<uint16_t>(((v.red >> 1) & 0x7c00) | ((v.green >> 6) & 0x3e0) | (v.blue >> 11)));
  } else if constexpr (Type == QVPT_RGB565) {
    storeWord(p, static_cast<uint16_t>((v.red & 0xf800) | ((v.green >> 5) & 0x7e0) | (v.blue >> 11)));
  } else if constexpr (Type == QVPT_RGB24) {
    p[0] = static_cast<uint8_t>(v.blue >> 8);
    p[1] = static_cast<uint8_t>(v.green >> 8);
    p[2] = static_cast<uint8_t>(v.red >> 8);
  } else if constexpr (Type == QVPT_RGB32 || Type == QVPT_RGBA32) {
    p[0] = static_cast<uint8_t>(v.blue >> 8);
    p[1] = static_cast<uint8_t>(v.green >> 8);
    p[2] = static_cast<uint8_t>(v.red >> 8);
    p[3] = static_cast<uint8_t>(v.alpha >> 8);
  } else if constexpr (Type == QVPT_A2RGB10) {
    storeWord(p, static_cast<uint32_t>(v.alpha >> 14) << 30 | static_cast<uint32_t>(v.red >> 6) << 20 |
                     static_cast<uint32_t>(v.green >> 6) << 10 | static_cast<uint32_t>(v.blue >> 6));
  } else if constexpr (Type == QVPT_RGBA64) {
    storeWord(p, v);
  } else if constexpr (Type == QVPT_RGBAF128) {
    const float channels[4] = {toUnit(v.blue, sink), toUnit(v.green, sink), toUnit(v.red, sink),
                               toUnit(v.alpha, sink)};
    memcpy(p, channels, sizeof channels);
  } else {
    static_assert(Type == QVPT_RGB10A2);
    storeWord(p, static_cast<uint32_t>(v.red >> 6) << 22 | (static_cast<uint32_t>(v.green) & 0xffc0) << 6 |
                     static_cast<uint32_t>(v.blue >> 6) << 2 | static_cast<uint32_t>(v.alpha >> 14));
  }
}

// A pixel's place in a row of types that share bytes.
struct Place {
  int64_t offset;
  uint32_t bit;
};
template <uint32_t Bits>
QV_INLINE Place placeOf(uint32_t firstBit, int64_t x) {
  if constexpr (Bits >= 8) {
    return {x * (Bits / 8), 0};
  } else {
    const int64_t bits = firstBit + x * Bits;
    return {bits >> 3, static_cast<uint32_t>(bits & 7)};
  }
}

}  // namespace qv::QV_FORM
