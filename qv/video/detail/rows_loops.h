// The row loops, from one text for every form. The including source names the form in QV_FORM and, for the
// vector forms, adds loops of its own for what the compiler does not see through.
#pragma once

#include <utility>

#include "qv/video/detail/pixel_io.h"
#include "qv/video/detail/rows.h"

namespace qv::QV_FORM {

template <int32_t Type, bool Exact>
void readRow(QVPIXEL64* out, const uint8_t* row, uint32_t firstBit, int64_t count, const uint8_t* palette,
             const QvGammaCurve* curve) {
  const Source source = {palette, curve};
  for (int64_t x = 0; x < count; ++x) {
    const Place place = placeOf<typeBits(Type)>(firstBit, x);
    out[x] = load<Type, Exact>(row + place.offset, place.bit, source);
  }
}

template <int32_t Type>
void writeRow(uint8_t* row, uint32_t firstBit, const QVPIXEL64* in, int64_t count, const uint8_t* inverse,
              const QvGammaCurve* curve) {
  const Sink sink = {inverse, curve};
  for (int64_t x = 0; x < count; ++x) {
    const Place place = placeOf<typeBits(Type)>(firstBit, x);
    store<Type>(row + place.offset, place.bit, in[x], sink);
  }
}

static void swapRows(uint8_t* __restrict a, uint8_t* __restrict b, int64_t bytes) {
  for (int64_t i = 0; i < bytes; ++i) {
    const uint8_t kept = a[i];
    a[i] = b[i];
    b[i] = kept;
  }
}

template <int Bytes>
void mirror(uint8_t* row, int64_t count) {
  uint8_t* left = row;
  uint8_t* right = row + (count - 1) * Bytes;
  for (; left < right; left += Bytes, right -= Bytes) {
    uint8_t kept[Bytes];
    memcpy(kept, left, Bytes);
    memcpy(left, right, Bytes);
    memcpy(right, kept, Bytes);
  }
}

static void swapRedBlue32(uint8_t* row, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    const uint32_t v = loadWord<uint32_t>(row + 4 * x);
    storeWord(row + 4 * x, (v & 0xff00ff00u) | (v >> 16 & 0xff) | (v & 0xff) << 16);
  }
}
static void swapRedBlue24(uint8_t* row, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    const uint8_t kept = row[3 * x];
    row[3 * x] = row[3 * x + 2];
    row[3 * x + 2] = kept;
  }
}
// Moves words, not floats: a value that is no number keeps its bits.
static void swapRedBlueFloat(uint8_t* row, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    uint32_t v[4];
    memcpy(v, row + 16 * x, sizeof v);
    const uint32_t swapped[4] = {v[2], v[1], v[0], v[3]};
    memcpy(row + 16 * x, swapped, sizeof swapped);
  }
}

static void from24To32(uint8_t* out, const uint8_t* in, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    out[4 * x] = in[3 * x];
    out[4 * x + 1] = in[3 * x + 1];
    out[4 * x + 2] = in[3 * x + 2];
    out[4 * x + 3] = 255;
  }
}
static void from32To24(uint8_t* out, const uint8_t* in, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    out[3 * x] = in[4 * x];
    out[3 * x + 1] = in[4 * x + 1];
    out[3 * x + 2] = in[4 * x + 2];
  }
}
static void fromPalette8(uint8_t* out, const uint8_t* in, int64_t count, const uint8_t* palette) {
  for (int64_t x = 0; x < count; ++x) {
    storeWord(out + 4 * x, loadWord<uint32_t>(palette + 4 * in[x]) | 0xff000000u);
  }
}

static void bytesToFloat(uint8_t* out, const uint8_t* in, int64_t channels) {
  for (int64_t i = 0; i < channels; ++i) storeWord(out + 4 * i, static_cast<float>(in[i]) / 255.0f);
}
static void from24ToFloat(uint8_t* out, const uint8_t* in, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    for (int i = 0; i < 3; ++i) storeWord(out + 16 * x + 4 * i, static_cast<float>(in[3 * x + i]) / 255.0f);
    storeWord(out + 16 * x + 12, 1.0f);
  }
}

QV_INLINE uint8_t toByte(float v) {
  return static_cast<uint8_t>(static_cast<int32_t>(unit(v) * 255.0f));
}

template <int Bytes>
void floatToBytes(uint8_t* out, const uint8_t* in, int64_t count, const float* dither) {
  for (int64_t x = 0; x < count; ++x) {
    for (int i = 0; i < Bytes; ++i) {
      const float v = loadWord<float>(in + 16 * x + 4 * i);
      out[Bytes * x + i] = toByte(dither != nullptr ? v + dither[x & 3] : v);
    }
  }
}

QV_INLINE uint8_t fadeChannel(int32_t value, int32_t colour, int32_t strength) {
  const int32_t t = (colour - value) * strength + 128;
  const int32_t faded = ((t + (t >> 8)) >> 8) + value;
  return static_cast<uint8_t>(faded < 0 ? 0 : faded > 255 ? 255 : faded);
}
static void fade32(uint8_t* row, int64_t count, const FadeRow& fade) {
  const FadeRow f = fade;
  for (int64_t x = 0; x < count; ++x) {
    for (int i = 0; i < 4; ++i) row[4 * x + i] = fadeChannel(row[4 * x + i], f.colour[i], f.strength[i]);
  }
}

// a + (b - a) * weight / 256, downwards; the sum stays within 16 bits.
QV_INLINE uint8_t blendChannel(int32_t a, int32_t b, int32_t weight, int32_t half) {
  return static_cast<uint8_t>((a * (256 - weight) + b * weight + half) >> 8);
}
static void over32(uint8_t* row, const uint8_t* other, int64_t count, int32_t half) {
  for (int64_t x = 0; x < count; ++x) {
    const int32_t alpha = other[4 * x + 3];
    for (int i = 0; i < 4; ++i) row[4 * x + i] = blendChannel(row[4 * x + i], other[4 * x + i], alpha, half);
  }
}
static void mix32(uint8_t* row, const uint8_t* other, int64_t count, int32_t weight, int32_t half) {
  for (int64_t i = 0; i < 4 * count; ++i) row[i] = blendChannel(row[i], other[i], weight, half);
}

static void fillPattern(uint8_t* out, int64_t bytes, const uint8_t* pattern) {
  for (; bytes >= kPatternBytes; out += kPatternBytes, bytes -= kPatternBytes) {
    memcpy(out, pattern, kPatternBytes);
  }
  memcpy(out, pattern, static_cast<size_t>(bytes));
}

static void averageBytes(uint8_t* out, const uint8_t* a, const uint8_t* b, int64_t bytes) {
  for (int64_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>((a[i] & b[i]) + ((a[i] ^ b[i]) >> 1));
}
static void averageWords(uint16_t* a, const uint16_t* b, int64_t words) {
  for (int64_t i = 0; i < words; ++i) a[i] = static_cast<uint16_t>((a[i] & b[i]) + ((a[i] ^ b[i]) >> 1));
}
static void averageFloats(uint8_t* out, const uint8_t* a, const uint8_t* b, int64_t floats) {
  for (int64_t i = 0; i < floats; ++i) {
    storeWord(out + 4 * i, (loadWord<float>(a + 4 * i) + loadWord<float>(b + 4 * i)) * 0.5f);
  }
}
static void mergeColumns32(uint8_t* out, const uint8_t* in, int64_t count) {
  for (int64_t x = 0; x < count; x += 2) memmove(out + 4 * x, in + 4 * x, 4);
}

template <int32_t... Index>
constexpr RowForms makeForms(std::integer_sequence<int32_t, Index...>) {
  return {{{readRow<QVPT_PAL1 + Index, false>...}, {readRow<QVPT_PAL1 + Index, true>...}},
          {writeRow<QVPT_PAL1 + Index>...},
          swapRows,
          mirror<4>,
          mirror<3>,
          swapRedBlue32,
          swapRedBlue24,
          swapRedBlueFloat,
          from24To32,
          from32To24,
          fromPalette8,
          bytesToFloat,
          bytesToFloat,
          from24ToFloat,
          floatToBytes<4>,
          floatToBytes<3>,
          fade32,
          over32,
          mix32,
          fillPattern,
          averageBytes,
          averageWords,
          averageFloats,
          mergeColumns32};
}
constexpr RowForms plainForms() {
  return makeForms(std::make_integer_sequence<int32_t, 18>{});
}

}  // namespace qv::QV_FORM
