#include "qv/core/printf.h"

#include <cmath>
#include <initializer_list>

#include "qv/core/detail/number_text.h"
#include "qv/core/detail/render.h"
#include "qv/core/detail/tokens.h"
#include "qv/lang/international.h"

namespace qv {
namespace {

constexpr HRESULT kTextTooLong = static_cast<HRESULT>(0x8004e03cu);
constexpr HRESULT kRenderingCut = static_cast<HRESULT>(0x8007007au);
constexpr HRESULT kBadCapacity = static_cast<HRESULT>(0x80070057u);

constexpr uint32_t kMaxSpecification = 260;  // with its "%"
constexpr uint32_t kMaxName = 260;
constexpr uint32_t kMaxCapacity = 0x7ffffffe;
constexpr uint32_t kUnboundedRoom = 0x7fffffff;
// What the system's own unbounded formatting gives at most, for one conversion.
constexpr uint32_t kUnboundedText = 1023;

using Scratch = ScratchText<kScratchCapacity>;

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

double powerOfTen(uint32_t places) {
  return places < 16 ? static_cast<double>(kPowersOfTen[places]) : std::pow(10.0, places);
}

// Every terminator has a kind; everything else goes on with the specification.
enum class Kind : uint8_t { none, integer, real, fixedPoint, text, separator, timecode, music };

constexpr struct KindTable {
  Kind kinds[128] = {};
  constexpr KindTable() {
    for (const char c : {'d', 'i', 'u', 'o', 'x', 'X'}) set(c, Kind::integer);
    for (const char c : {'e', 'E', 'f', 'g', 'G'}) set(c, Kind::real);
    for (const char c : {'*', ',', ':'}) set(c, Kind::separator);
    for (const char c : {'c', 's'}) set(c, Kind::text);
    set('z', Kind::fixedPoint);
    set('!', Kind::timecode);
    set('&', Kind::music);
  }
  constexpr void set(char c, Kind kind) { kinds[static_cast<unsigned char>(c)] = kind; }
  constexpr Kind operator()(WCHAR c) const { return c < 128 ? kinds[c] : Kind::none; }
} kindOf;

// The arguments by type: on every calling convention each is fetched as what it was passed as.
struct Arguments {
  va_list list;

  int32_t next32() { return va_arg(list, int32_t); }
  int64_t next64() { return va_arg(list, int64_t); }
  double nextDouble() { return va_arg(list, double); }
  const void* nextPointer() { return va_arg(list, const void*); }
};

// One conversion as it stands in the format.
struct Conversion {
  const WCHAR* text;  // behind the introducer
  uint32_t length;    // without the terminator
  WCHAR terminator;
  bool localised;
};

class Walk {
 public:
  Walk(WCHAR* destination, uint32_t room, bool bounded, const WCHAR* format, Arguments& arguments)
      : out_(destination, room), bounded_(bounded), format_(format), arguments_(arguments) {}

  HRESULT run() {
    while (*format_ && out_.room()) {
      const WCHAR* literal = format_;
      while (*format_ && *format_ != TEXT('$') && *format_ != TEXT('%')) ++format_;
      if (format_ != literal) out_.put(literal, static_cast<size_t>(format_ - literal));
      if (*format_ && out_.room()) introduced();
    }
    out_.terminate();
    return status_;
  }
  uint32_t length() const { return out_.length(); }

 private:
  void introduced() {
    const bool localised = *format_ == TEXT('$');
    const WCHAR next = format_[1];
    if (next == TEXT('%') || (localised && next == TEXT('$'))) {
      out_.put(next);
      format_ += 2;
    } else if (localised && next == TEXT('(')) {
      parenthesis();
    } else {
      conversion(localised);
    }
  }

  void note(HRESULT failure) {
    if (status_ == 0) status_ = failure;
  }
  void copyText(const WCHAR* text, size_t length) {
    if (!out_.put(text, length)) note(kTextTooLong);
  }
  void noteTextFitted(bool fitted) {
    if (!fitted) note(kTextTooLong);
  }

  // ---- Tokens and number literals

  void parenthesis() {
    const WCHAR* inside = format_ + 2;
    if (isDigit(*inside) || *inside == TEXT('-') || *inside == TEXT('.'))
      literal(inside);
    else
      token(inside);
  }

  void literal(const WCHAR* inside) {
    const WCHAR* end = inside + 1;
    while (isDigit(*end) || *end == TEXT(',') || *end == TEXT('.')) ++end;
    if (*end == TEXT(')')) {
      noteTextFitted(putNumber(out_, inside, static_cast<size_t>(end - inside), NumberForm::groupDecimal,
                               kPlacesOfText));
      format_ = end + 1;
    } else {
      copyText(format_, static_cast<size_t>(end - format_));
      format_ = end;
    }
  }

  void token(const WCHAR* inside) {
    WCHAR name[kMaxName + 1];
    uint32_t length = 0;
    while (length < kMaxName && inside[length] && inside[length] != TEXT(')')) {
      name[length] = inside[length];
      ++length;
    }
    name[length] = 0;
    const WCHAR* end = inside + length;
    const bool closed = *end == TEXT(')');
    if (closed) ++end;
    const TokenResult result = closed ? putToken(out_, name) : TokenResult::missing;
    if (result == TokenResult::missing) copyText(format_, static_cast<size_t>(end - format_));
    if (result == TokenResult::cut) note(kTextTooLong);
    format_ = end;
  }

  // ---- Conversions

  void conversion(bool localised) {
    const WCHAR* text = format_ + 1;
    if (plainConversion(*text, localised)) return;
    uint32_t length = 0;
    while (length < kMaxSpecification - 1 && text[length] && kindOf(text[length]) == Kind::none) ++length;
    const Kind kind = length < kMaxSpecification - 1 ? kindOf(text[length]) : Kind::none;
    if (kind == Kind::none) {
      copyText(TEXT("%"), 1);
      copyText(text, length);
      format_ = text + length;
      return;
    }
    format_ = text + length + 1;
    convert(kind, {text, length, text[length], localised});
  }

  // The conversions that appear most, with nothing between introducer and terminator.
  bool plainConversion(WCHAR terminator, bool localised) {
    if (terminator == TEXT('d') || terminator == TEXT('i')) {
      const int64_t value = arguments_.next32();
      noteTextFitted(putInteger(out_, value < 0, magnitudeOf(value, value < 0), localised));
    } else if (terminator == TEXT('u')) {
      noteTextFitted(putInteger(out_, false, static_cast<uint32_t>(arguments_.next32()), localised));
    } else if (terminator == TEXT('s') && bounded_ && out_.room() < kMaxCapacity) {
      const WCHAR* value = static_cast<const WCHAR*>(arguments_.nextPointer());
      if (!out_.putTerminated(value ? value : TEXT("(null)"))) note(kRenderingCut);
    } else {
      return false;
    }
    format_ += 2;
    return true;
  }

  void convert(Kind kind, const Conversion& conversion) {
    switch (kind) {
      case Kind::integer:
        return integer(conversion);
      case Kind::real:
        return real(conversion);
      case Kind::fixedPoint:
        return fixedPoint(conversion);
      case Kind::text:
        return text(conversion);
      case Kind::separator:
        return separator(conversion.terminator);
      case Kind::timecode:
        return timecode();
      case Kind::music:
        return music();
      case Kind::none:
        return;
    }
  }

  // A rendering that stands in the scratch goes out in one of the locale's forms, or as it is.
  void scratchOut(Scratch& scratch, bool localised, NumberForm form, int32_t places) {
    if (scratch.sink.wasCut()) note(kRenderingCut);
    if (localised)
      noteTextFitted(putNumber(out_, scratch.sink.text(), scratch.sink.length(), form, places));
    else
      copyText(scratch.sink.text(), scratch.sink.length());
  }

  static bool isWide(const Conversion& conversion) {
    for (uint32_t i = 0; i < conversion.length; ++i)
      if (conversion.text[i] == TEXT('I'))
        return i + 1 == conversion.length || conversion.text[i + 1] != TEXT('3');
    return false;
  }

  static bool isDecimal(WCHAR terminator) {
    return terminator == TEXT('d') || terminator == TEXT('i') || terminator == TEXT('u');
  }

  void integer(const Conversion& conversion) {
    const bool isSigned = conversion.terminator == TEXT('d') || conversion.terminator == TEXT('i');
    const bool wide = isWide(conversion);
    int64_t value = wide ? arguments_.next64() : arguments_.next32();
    if (!wide && !isSigned) value = static_cast<uint32_t>(value);
    Specification spec = parseSpecification(conversion.text, conversion.length, conversion.terminator);
    if (spec.narrow) value = cutTo(spec, isSigned, value);
    renderAndPut(spec, isSigned && value < 0, value,
                 conversion.localised && isDecimal(conversion.terminator));
  }

  void renderAndPut(const Specification& spec, bool negative, int64_t value, bool localised) {
    Scratch scratch;
    renderInteger(scratch.sink, spec, negative, magnitudeOf(value, negative));
    scratchOut(scratch, localised, NumberForm::whole, 0);
  }

  static uint64_t magnitudeOf(int64_t value, bool negative) {
    return negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  }

  static int64_t cutTo(const Specification& spec, bool isSigned, int64_t value) {
    if (spec.narrower) return isSigned ? static_cast<int8_t>(value) : static_cast<uint8_t>(value);
    return isSigned ? static_cast<int16_t>(value) : static_cast<uint16_t>(value);
  }

  void real(const Conversion& conversion) {
    const double value = arguments_.nextDouble();
    const Specification spec = parseSpecification(conversion.text, conversion.length, conversion.terminator);
    if (!conversion.localised && out_.room() >= kScratchCapacity) return realInPlace(spec, value);
    Scratch scratch;
    renderDouble(scratch.sink, spec, value);
    switch (conversion.terminator) {
      case TEXT('f'):
        return scratchOut(scratch, conversion.localised, NumberForm::groupDecimal, kPlacesOfText);
      case TEXT('g'):
      case TEXT('G'):
        return scratchOut(scratch, conversion.localised && !hasExponent(scratch.sink), NumberForm::decimal,
                          kPlacesOfText);
      default:
        return scratchOut(scratch, false, NumberForm::whole, 0);
    }
  }

  // With room for all that a scratch could hold there is no need for one.
  void realInPlace(const Specification& spec, double value) {
    TextSink part = out_.rest(kScratchCapacity - 1);
    if (!renderDouble(part, spec, value)) note(kRenderingCut);
    out_.advanceUncut(part);
  }

  static bool hasExponent(const TextSink& rendering) {
    for (uint32_t i = 0; i < rendering.length(); ++i)
      if (rendering.text()[i] == TEXT('e') || rendering.text()[i] == TEXT('E')) return true;
    return false;
  }

  void fixedPoint(const Conversion& conversion) {
    const int32_t value = arguments_.next32();
    Specification spec = parseSpecification(conversion.text, conversion.length, TEXT('d'));
    const bool shaped = conversion.length >= 2 && conversion.text[0] == TEXT('.') &&
                        isDigit(conversion.text[conversion.length - 1]) && spec.precision > 0;
    if (!shaped) return renderAndPut(spec, value < 0, value, conversion.localised);
    const uint32_t places = static_cast<uint32_t>(spec.precision);
    Specification fixed;
    fixed.precision = spec.precision;
    fixed.terminator = TEXT('f');
    Scratch scratch;
    renderDouble(scratch.sink, fixed, value / powerOfTen(places));
    if (conversion.localised)
      scratchOut(scratch, true, NumberForm::groupDecimal,
                 scratch.sink.wasCut() ? kPlacesOfText : spec.precision);
    else
      scratchOut(scratch, true, NumberForm::decimal, kPlacesOfText);
  }

  void text(const Conversion& conversion) {
    const Specification spec = parseSpecification(conversion.text, conversion.length, conversion.terminator);
    const bool isCharacter = conversion.terminator == TEXT('c');
    const WCHAR character = isCharacter ? static_cast<WCHAR>(arguments_.next32()) : 0;
    const void* argument = isCharacter ? nullptr : arguments_.nextPointer();
    if (bounded_ && out_.room() >= kMaxCapacity) return note(kBadCapacity);
    TextSink part = out_.rest(bounded_ ? out_.room() : kUnboundedText);
    bool fitted;
    if (isCharacter)
      fitted = renderCharacter(part, spec, character);
    else if (spec.narrow)
      fitted = renderNarrowText(part, spec, static_cast<const char*>(argument));
    else
      fitted = renderText(part, spec, static_cast<const WCHAR*>(argument));
    if (!fitted) note(kRenderingCut);
    if (!fitted && !bounded_) part.terminate();
    out_.advance(part);
  }

  void separator(WCHAR terminator) {
    const QVINTERNATIONALS& inat = internationals();
    const auto& value = terminator == TEXT('*')   ? inat.decimalSeparator
                        : terminator == TEXT(',') ? inat.listSeparator
                                                  : inat.timeSeparator;
    copyText(value.text, value.length);
  }

  void timecode() {
    switch (*format_) {
      case TEXT(','):
        return separatorToken(TEXT("SMPTE.Drop"));
      case TEXT('.'):
        return separatorToken(TEXT("SMPTE.NonDrop"));
      case TEXT(':'):
        return separatorToken(TEXT("SMPTE.Whole"));
    }
  }

  void music() {
    switch (*format_) {
      case TEXT('.'):
        return separatorToken(TEXT("b.t"));
      case TEXT(':'):
        return separatorToken(TEXT("m.b"));
    }
  }

  // The character that chose the separator is used up only when a separator came out.
  void separatorToken(const WCHAR* name) {
    const uint32_t before = out_.length();
    if (putToken(out_, name) == TokenResult::cut) note(kTextTooLong);
    if (out_.length() > before) ++format_;
  }

  TextSink out_;
  bool bounded_;
  const WCHAR* format_;
  Arguments& arguments_;
  HRESULT status_ = 0;
};

HRESULT printBounded(WCHAR* destination, uint32_t capacity, uint32_t* length, const WCHAR* format,
                     Arguments& arguments) {
  if (length) *length = 0;
  if (!destination || capacity == 0) return kTextTooLong;
  Walk walk(destination, capacity - 1, true, format ? format : TEXT(""), arguments);
  const HRESULT status = walk.run();
  if (length) *length = walk.length();
  return status;
}

int32_t printUnbounded(WCHAR* destination, const WCHAR* format, Arguments& arguments) {
  Walk walk(destination, kUnboundedRoom, false, format ? format : TEXT(""), arguments);
  walk.run();
  return static_cast<int32_t>(walk.length());
}

}  // namespace
}  // namespace qv

HRESULT QvNVPrintF(WCHAR* destination, uint32_t capacity, uint32_t* length, const WCHAR* format,
                   va_list arguments) {
  qv::Arguments own;
  va_copy(own.list, arguments);
  const HRESULT status = qv::printBounded(destination, capacity, length, format, own);
  va_end(own.list);
  return status;
}

HRESULT QvCchPrintF(WCHAR* destination, uint32_t capacity, uint32_t* length, const WCHAR* format, ...) {
  qv::Arguments arguments;
  va_start(arguments.list, format);
  const HRESULT status = qv::printBounded(destination, capacity, length, format, arguments);
  va_end(arguments.list);
  return status;
}

int32_t QvVPrintF(WCHAR* destination, const WCHAR* format, va_list arguments) {
  qv::Arguments own;
  va_copy(own.list, arguments);
  const int32_t length = qv::printUnbounded(destination, format, own);
  va_end(own.list);
  return length;
}

int32_t QvPrintF(WCHAR* destination, const WCHAR* format, ...) {
  qv::Arguments arguments;
  va_start(arguments.list, format);
  const int32_t length = qv::printUnbounded(destination, format, arguments);
  va_end(arguments.list);
  return length;
}
