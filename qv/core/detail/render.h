// The C library's rendering of one specification, into a sink and without a locale.
//
//   const Specification spec = parseSpecification(TEXT("08.3"), 4, TEXT('f'));
//   renderDouble(sink, spec, 2.5);   // "0002.500"
//
// Every operation answers whether the whole rendering fitted; widths and precisions of any size cost no more
// than the sink has room for.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "qv/core/detail/text_sink.h"

namespace qv {

struct Specification {
  uint32_t width = 0;
  int32_t precision = -1;  // none given
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  bool narrow = false;    // "h": a short, or 8-bit text
  bool narrower = false;  // "hh": a byte
  WCHAR terminator = 0;
};

// Reads flags, width, precision and size; what is none of these is passed over. Numbers saturate.
Specification parseSpecification(const WCHAR* text, size_t length, WCHAR terminator);

// d, i, u, o, x, X. `negative` belongs to d and i only.
bool renderInteger(TextSink& out, const Specification& spec, bool negative, uint64_t magnitude);

// e, E, f, g, G: rounded from the exact binary value, ties to even.
bool renderDouble(TextSink& out, const Specification& spec, double value);

// s: null reads "(null)". A precision never splits a surrogate pair.
bool renderText(TextSink& out, const Specification& spec, const WCHAR* text);
bool renderNarrowText(TextSink& out, const Specification& spec, const char* text);

// c: a NUL renders as nothing, padding aside.
bool renderCharacter(TextSink& out, const Specification& spec, WCHAR c);

// The digits of a finite magnitude below 2^64 with at most 19 places, exactly rounded; false beyond.
bool fixedDigits(double magnitude, uint32_t places, uint64_t& whole, uint64_t& fraction);

inline constexpr uint32_t kMaxFixedPlaces = 19;

// ---- Digits: here, because nothing else is called as often

inline constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

inline constexpr auto kPowersOfTen = [] {
  std::array<uint64_t, kMaxFixedPlaces + 1> powers{};
  uint64_t power = 1;
  for (uint64_t& entry : powers) {
    entry = power;
    power *= 10;
  }
  return powers;
}();

inline WCHAR* writePair(uint32_t pair, WCHAR* end) {
  end[-1] = static_cast<WCHAR>(kDigitPairs[pair * 2 + 1]);
  end[-2] = static_cast<WCHAR>(kDigitPairs[pair * 2]);
  return end - 2;
}

// Decimal digits of `value`, the last one just before `end`; gives the first. At most 20.
inline WCHAR* writeDigits(uint64_t value, WCHAR* end) {
  while (value > UINT32_MAX) {
    end = writePair(static_cast<uint32_t>(value % 100), end);
    value /= 100;
  }
  uint32_t rest = static_cast<uint32_t>(value);
  while (rest >= 100) {
    end = writePair(rest % 100, end);
    rest /= 100;
  }
  if (rest >= 10) return writePair(rest, end);
  *--end = static_cast<WCHAR>(TEXT('0') + rest);
  return end;
}

// How many of them there are.
inline uint32_t digitCount(uint64_t value) {
  // 1233 / 4096 is a hair above log10(2): the guess is right, or one too small.
  const uint32_t guess = (static_cast<uint32_t>(std::bit_width(value | 1)) * 1233) >> 12;
  return guess + ((value | 1) >= kPowersOfTen[guess] ? 1 : 0);
}

}  // namespace qv
