// The C library's rendering of one specification, into a sink and without a locale.
//
//   const Specification spec = parseSpecification(TEXT("08.3"), 4, TEXT('f'));
//   renderDouble(sink, spec, 2.5);   // "0002.500"
//
// Every operation answers whether the whole rendering fitted; widths and precisions of any size cost no more
// than the sink has room for.
#pragma once

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

// Decimal digits of `value`, the last one just before `end`; gives the first. At most 20.
WCHAR* writeDigits(uint64_t value, WCHAR* end);

// The digits of a finite magnitude below 2^64 with at most 19 places, exactly rounded; false beyond.
bool fixedDigits(double magnitude, uint32_t places, uint64_t& whole, uint64_t& fraction);

inline constexpr uint32_t kMaxFixedPlaces = 19;

}  // namespace qv
