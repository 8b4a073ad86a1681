#include "qv/core/detail/render.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <string_view>

namespace qv {
namespace {

constexpr uint32_t kMaxNumber = 0x7fffffff;

// No double has a nonzero digit behind this many places, and none has as many significant digits.
constexpr int32_t kMaxExactPlaces = 1100;
// The longest double has 309 digits before the point.
constexpr size_t kBodyCapacity = 1500;

const WCHAR* readNumber(const WCHAR* at, const WCHAR* end, uint32_t& number) {
  uint64_t value = 0;
  for (; at < end && *at >= TEXT('0') && *at <= TEXT('9'); ++at)
    if (value <= kMaxNumber) value = value * 10 + static_cast<uint64_t>(*at - TEXT('0'));
  number = value > kMaxNumber ? kMaxNumber : static_cast<uint32_t>(value);
  return at;
}

bool readFlag(WCHAR c, Specification& spec) {
  switch (c) {
    case TEXT('-'):
      return spec.left = true;
    case TEXT('+'):
      return spec.plus = true;
    case TEXT(' '):
      return spec.space = true;
    case TEXT('#'):
      return spec.alternate = true;
    case TEXT('0'):
      return spec.zero = true;
    default:
      return false;
  }
}

// What stands around a number: spaces, sign or base prefix, zeros.
struct Frame {
  std::string_view prefix;
  uint64_t spaces = 0;
  uint64_t zeros = 0;
};

Frame frameOf(const Specification& spec, std::string_view prefix, uint64_t length, bool zeroPads) {
  Frame frame{prefix};
  const uint64_t used = prefix.size() + length;
  const uint64_t missing = spec.width > used ? spec.width - used : 0;
  (zeroPads && spec.zero && !spec.left ? frame.zeros : frame.spaces) = missing;
  return frame;
}

template <typename Body>
bool putFramed(TextSink& out, const Specification& spec, const Frame& frame, Body body) {
  bool fits = spec.left || out.fill(TEXT(' '), frame.spaces);
  fits &= out.putNarrow(frame.prefix.data(), frame.prefix.size());
  fits &= out.fill(TEXT('0'), frame.zeros);
  fits &= body();
  return fits & (!spec.left || out.fill(TEXT(' '), frame.spaces));
}

std::string_view signOf(const Specification& spec, bool negative) {
  return negative ? "-" : spec.plus ? "+" : spec.space ? " " : "";
}

std::string_view prefixOf(const Specification& spec, bool negative, uint64_t magnitude) {
  switch (spec.terminator) {
    case TEXT('d'):
    case TEXT('i'):
    case TEXT('z'):
      return signOf(spec, negative);
    case TEXT('x'):
      return spec.alternate && magnitude ? "0x" : "";
    case TEXT('X'):
      return spec.alternate && magnitude ? "0X" : "";
    default:
      return "";
  }
}

WCHAR* writeInBits(uint64_t value, WCHAR* end, unsigned bits, const char* digits) {
  do {
    *--end = static_cast<WCHAR>(digits[value & ((1u << bits) - 1)]);
    value >>= bits;
  } while (value);
  return end;
}

WCHAR* writeInBase(WCHAR terminator, uint64_t value, WCHAR* end) {
  switch (terminator) {
    case TEXT('x'):
      return writeInBits(value, end, 4, "0123456789abcdef");
    case TEXT('X'):
      return writeInBits(value, end, 4, "0123456789ABCDEF");
    case TEXT('o'):
      return writeInBits(value, end, 3, "01234567");
    default:
      return writeDigits(value, end);
  }
}

// The digits of a finite number, and zeros that belong at a place among them.
struct FloatBody {
  char text[kBodyCapacity];
  size_t length = 0;
  size_t zerosAt = 0;
  uint64_t zeros = 0;

  void insertPoint(size_t at) {
    std::char_traits<char>::move(text + at + 1, text + at, length - at);
    text[at] = '.';
    ++length;
    zerosAt = length;
  }
};

size_t exponentAt(const FloatBody& body) {
  const std::string_view text(body.text, body.length);
  const size_t at = text.find('e');
  return at == std::string_view::npos ? body.length : at;
}

void makeBody(FloatBody& body, double magnitude, std::chars_format form, int32_t precision, bool point) {
  const int32_t exact = precision < kMaxExactPlaces ? precision : kMaxExactPlaces;
  body.length = static_cast<size_t>(
      std::to_chars(body.text, body.text + kBodyCapacity, magnitude, form, exact).ptr - body.text);
  body.zerosAt = exponentAt(body);
  if (point && precision == 0) body.insertPoint(body.zerosAt);
  body.zeros = static_cast<uint64_t>(precision - exact);
}

int32_t exponentOf(const FloatBody& body) {
  int32_t exponent = 0;
  const char* digits = body.text + exponentAt(body) + 1;
  std::from_chars(*digits == '+' ? digits + 1 : digits, body.text + body.length, exponent);
  return exponent;
}

// "%#g" keeps the zeros that "%g" drops, so the choice between the two forms has to be made here.
void makeGeneralBody(FloatBody& body, double magnitude, int32_t precision, bool keepZeros) {
  const int32_t digits = precision == 0 ? 1 : precision;
  if (!keepZeros) {
    makeBody(body, magnitude, std::chars_format::general, digits < kMaxExactPlaces ? digits : kMaxExactPlaces,
             false);
    return;
  }
  makeBody(body, magnitude, std::chars_format::scientific, digits - 1, true);
  const int32_t exponent = exponentOf(body);
  if (exponent >= -4 && exponent < digits)
    makeBody(body, magnitude, std::chars_format::fixed, digits - 1 - exponent, true);
}

void makeUpperCase(FloatBody& body) {
  for (size_t i = 0; i < body.length; ++i)
    if (body.text[i] == 'e') body.text[i] = 'E';
}

bool isUpper(WCHAR terminator) {
  return terminator == TEXT('E') || terminator == TEXT('G');
}

bool renderAnyDouble(TextSink& out, const Specification& spec, bool negative, double magnitude) {
  FloatBody body;
  const int32_t precision = spec.precision < 0 ? 6 : spec.precision;
  switch (spec.terminator) {
    case TEXT('f'):
      makeBody(body, magnitude, std::chars_format::fixed, precision, spec.alternate);
      break;
    case TEXT('e'):
    case TEXT('E'):
      makeBody(body, magnitude, std::chars_format::scientific, precision, spec.alternate);
      break;
    default:
      makeGeneralBody(body, magnitude, precision, spec.alternate);
  }
  if (isUpper(spec.terminator)) makeUpperCase(body);
  const Frame frame = frameOf(spec, signOf(spec, negative), body.length + body.zeros, true);
  return putFramed(out, spec, frame, [&] {
    bool fits = out.putNarrow(body.text, body.zerosAt);
    fits &= out.fill(TEXT('0'), body.zeros);
    return fits & out.putNarrow(body.text + body.zerosAt, body.length - body.zerosAt);
  });
}

bool renderNonFinite(TextSink& out, const Specification& spec, bool negative, double value) {
  const bool upper = isUpper(spec.terminator);
  const char* word = std::isnan(value) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
  const Frame frame = frameOf(spec, signOf(spec, negative), 3, false);
  return putFramed(out, spec, frame, [&] { return out.putNarrow(word, 3); });
}

// "%f" within 64 bits, which is nearly every number that anyone shows.
bool renderFixed(TextSink& out, const Specification& spec, bool negative, uint64_t whole, uint64_t fraction,
                 uint32_t places) {
  WCHAR digits[48];
  WCHAR* const end = digits + 48;
  WCHAR* at = end;
  if (places) {
    at = writeDigits(fraction, end);
    while (at > end - places) *--at = TEXT('0');
    *--at = TEXT('.');
  } else if (spec.alternate) {
    *--at = TEXT('.');
  }
  at = writeDigits(whole, at);
  if (spec.width == 0) {
    if (negative)
      *--at = TEXT('-');
    else if (spec.plus || spec.space)
      *--at = spec.plus ? TEXT('+') : TEXT(' ');
    return out.put(at, static_cast<size_t>(end - at));
  }
  const size_t length = static_cast<size_t>(end - at);
  const Frame frame = frameOf(spec, signOf(spec, negative), length, true);
  return putFramed(out, spec, frame, [&] { return out.put(at, length); });
}

template <typename Put>
bool putPadded(TextSink& out, const Specification& spec, size_t length, Put put) {
  const uint64_t spaces = spec.width > length ? spec.width - length : 0;
  bool fits = spec.left || out.fill(TEXT(' '), spaces);
  fits &= put();
  return fits & (!spec.left || out.fill(TEXT(' '), spaces));
}

template <typename Char>
size_t boundedLength(const Char* text, int32_t precision) {
  const size_t limit = precision < 0 ? SIZE_MAX : static_cast<size_t>(precision);
  size_t length = 0;
  while (length < limit && text[length]) ++length;
  return length;
}

}  // namespace

Specification parseSpecification(const WCHAR* text, size_t length, WCHAR terminator) {
  Specification spec;
  spec.terminator = terminator;
  const WCHAR* at = text;
  const WCHAR* const end = text + length;
  while (at < end && readFlag(*at, spec)) ++at;
  at = readNumber(at, end, spec.width);
  for (; at < end; ++at) {
    if (*at == TEXT('.')) {
      uint32_t precision = 0;
      at = readNumber(at + 1, end, precision) - 1;
      spec.precision = static_cast<int32_t>(precision);
    } else if (*at == TEXT('h')) {
      spec.narrower = spec.narrow;
      spec.narrow = true;
    }
  }
  return spec;
}

bool fixedDigits(double magnitude, uint32_t places, uint64_t& whole, uint64_t& fraction) {
  const uint64_t bits = std::bit_cast<uint64_t>(magnitude);
  const int biased = static_cast<int>(bits >> 52);
  const uint64_t mantissa = (bits & ((1ull << 52) - 1)) | (biased ? 1ull << 52 : 0);
  const int exponent = (biased ? biased : 1) - 1075;
  fraction = 0;
  if (exponent > 11 || places > kMaxFixedPlaces) return false;
  if (exponent >= 0) {
    whole = mantissa << exponent;
    return true;
  }
  const int shift = -exponent;
  whole = shift < 64 ? mantissa >> shift : 0;
  const uint64_t rest = shift < 64 ? mantissa & ((1ull << shift) - 1) : mantissa;
  // 53 bits of rest and 64 of the power: from here on less than half of the last place is left.
  if (shift > 117) return true;
  using Wide = unsigned __int128;
  const Wide scaled = static_cast<Wide>(rest) * kPowersOfTen[places];
  fraction = static_cast<uint64_t>(scaled >> shift);
  const Wide remainder = scaled & ((Wide{1} << shift) - 1);
  const Wide half = Wide{1} << (shift - 1);
  const bool odd = ((places ? fraction : whole) & 1) != 0;
  if (remainder > half || (remainder == half && odd)) ++fraction;
  if (fraction == kPowersOfTen[places]) {
    fraction = 0;
    ++whole;
  }
  return true;
}

bool renderInteger(TextSink& out, const Specification& spec, bool negative, uint64_t magnitude) {
  WCHAR digits[24];
  WCHAR* const end = digits + 24;
  const WCHAR* at =
      spec.precision == 0 && magnitude == 0 ? end : writeInBase(spec.terminator, magnitude, end);
  const size_t count = static_cast<size_t>(end - at);
  uint64_t zeros = spec.precision > 0 && static_cast<size_t>(spec.precision) > count
                       ? static_cast<size_t>(spec.precision) - count
                       : 0;
  const bool startsWithZero = zeros || (count && *at == TEXT('0'));
  if (spec.terminator == TEXT('o') && spec.alternate && !startsWithZero) zeros = 1;
  const Frame frame = frameOf(spec, prefixOf(spec, negative, magnitude), count + zeros, spec.precision < 0);
  return putFramed(out, spec, frame, [&] {
    const bool fits = out.fill(TEXT('0'), zeros);
    return fits & out.put(at, count);
  });
}

bool renderDouble(TextSink& out, const Specification& spec, double value) {
  const bool negative = std::signbit(value);
  const double magnitude = std::fabs(value);
  if (!std::isfinite(value)) return renderNonFinite(out, spec, negative, value);
  const uint32_t places = spec.precision < 0 ? 6 : static_cast<uint32_t>(spec.precision);
  uint64_t whole = 0, fraction = 0;
  if (spec.terminator == TEXT('f') && fixedDigits(magnitude, places, whole, fraction))
    return renderFixed(out, spec, negative, whole, fraction, places);
  return renderAnyDouble(out, spec, negative, magnitude);
}

bool renderText(TextSink& out, const Specification& spec, const WCHAR* text) {
  if (!text) text = TEXT("(null)");
  size_t length = boundedLength(text, spec.precision);
  if (length && spec.precision >= 0 && isHighSurrogate(text[length - 1]) &&
      length == static_cast<size_t>(spec.precision) && isLowSurrogate(text[length]))
    --length;
  return putPadded(out, spec, length, [&] { return out.put(text, length); });
}

bool renderNarrowText(TextSink& out, const Specification& spec, const char* text) {
  if (!text) text = "(null)";
  const size_t length = boundedLength(text, spec.precision);
  return putPadded(out, spec, length, [&] { return out.putNarrow(text, length); });
}

bool renderCharacter(TextSink& out, const Specification& spec, WCHAR c) {
  return putPadded(out, spec, 1, [&] { return !c || out.put(c); });
}

}  // namespace qv
