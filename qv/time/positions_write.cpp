// Positions to text.
#include <algorithm>
#include <iterator>

#include "qv/core/detail/number_text.h"
#include "qv/core/detail/render.h"
#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"
#include "qv/lang/international.h"
#include "qv/time/detail/position_rows.h"
#include "qv/time/detail/rounding.h"
#include "qv/time/positions.h"

namespace qv::time {
namespace {

using Text = const WCHAR*;

constexpr uint32_t kUnbounded = UINT32_MAX;
constexpr uint32_t kUnboundedRoom = 0x7fffffff;

// How a position is laid out when no pattern asks for something else. The pattern of each says what it looks
// like; those that a display shows at every tick are written straight, which is several times as fast.
enum class Layout : uint8_t {
  integer,        // $I64d
  real,           // $.3f
  whole,          // $.0f
  clock,          // %02u$:%02u$:%02u
  thousandths,    // %02u$:%02u$:%02u$*%03u
  hundredths,     // %02u$:%02u$:%02u$*%02u
  label,          // %02u:%02u:%02u:%02u
  dropLabel,      // %02u:%02u:%02u;%02u
  measures,       // $u$&:%u$&.%03u
  shortMeasures,  // $u$&:%u
  feet,           // $I64d+$I64d
};

// A place for one position's text: both ways of writing, one set of numbers.
class Output {
 public:
  Output(WCHAR* text, uint32_t capacity)
      : text_(text),
        capacity_(capacity),
        sink_(text, capacity == kUnbounded ? kUnboundedRoom : capacity - 1) {}

  TextSink& sink() { return sink_; }

  // The rest of the text, by the formatter.
  template <typename... Arguments>
  void print(Text pattern, Arguments... arguments) {
    WCHAR* const at = text_ + sink_.length();
    if (capacity_ == kUnbounded)
      printed_ = static_cast<uint32_t>(QvPrintF(at, pattern, arguments...));
    else
      QvCchPrintF(at, capacity_ - sink_.length(), &printed_, pattern, arguments...);
  }
  int32_t finish() {
    if (printed_ == 0) sink_.terminate();
    return static_cast<int32_t>(sink_.length() + printed_);
  }

 private:
  WCHAR* text_;
  uint32_t capacity_;
  TextSink sink_;
  uint32_t printed_ = 0;
};

// One position on its way out: without offset and sign.
struct Position {
  const _qvposfmt& format;
  int64_t nanos;
  Text pattern;  // null: the layout decides
  Layout layout;
  bool distance;

  double seconds() const { return static_cast<double>(nanos) * kSecondsPerUnit; }
};

bool showsWholeNumber(const Position& at) {
  constexpr WCHAR kPattern[] = TEXT("$.0f");
  if (!at.pattern) return at.layout == Layout::whole;
  return std::equal(kPattern, std::end(kPattern), at.pattern);
}

// ---- Pieces that are written straight

void putPadded(TextSink& out, uint32_t value, uint32_t width) {
  WCHAR digits[10];
  WCHAR* const end = std::end(digits);
  WCHAR* first = writeDigits(value, end);
  while (end - first < static_cast<int32_t>(width)) *--first = TEXT('0');
  out.put(first, static_cast<size_t>(end - first));
}

void putTwo(TextSink& out, uint32_t value) {
  WCHAR* const place = value < 100 ? out.reserve(2) : nullptr;
  if (place)
    writePair(value, place + 2);
  else
    putPadded(out, value, 2);
}

template <size_t N>
void putSeparator(TextSink& out, const QVINATTEXT<N>& separator) {
  out.put(separator.text, separator.length);
}

void putInteger64(TextSink& out, int64_t value) {
  const uint64_t bits = static_cast<uint64_t>(value);
  putInteger(out, value < 0, value < 0 ? 0 - bits : bits, true);
}

void putClock(TextSink& out, const _smpteval& value) {
  const auto& separator = internationals().timeSeparator;
  putTwo(out, value.hours);
  putSeparator(out, separator);
  putTwo(out, value.minutes);
  putSeparator(out, separator);
  putTwo(out, value.seconds);
}

void putLabel(TextSink& out, const _smpteval& value, WCHAR separator) {
  putTwo(out, value.hours);
  out.put(TEXT(':'));
  putTwo(out, value.minutes);
  out.put(TEXT(':'));
  putTwo(out, value.seconds);
  out.put(separator);
  putTwo(out, value.frames);
}

void putFields(TextSink& out, const _smpteval& value, Layout layout) {
  if (layout == Layout::label) return putLabel(out, value, TEXT(':'));
  if (layout == Layout::dropLabel) return putLabel(out, value, TEXT(';'));
  putClock(out, value);
  if (layout == Layout::clock) return;
  putSeparator(out, internationals().decimalSeparator);
  putPadded(out, value.frames, layout == Layout::thousandths ? 3 : 2);
}

// ---- One writer a kind

bool isTimecode(const _smpteval& value) {
  return value.format >= kSmpte30 && value.format <= kSmpte23976;
}

_smpteval fieldsAt(int64_t nanos, double rate) {
  _smpteval value = {};
  QvNanoTimeToHMSF(nanos, &value, rate);
  return value;
}

void printFields(Output& out, const Position& at, const _smpteval& value) {
  if (!at.pattern) return putFields(out.sink(), value, at.layout);
  out.print(at.pattern, value.hours, value.minutes, value.seconds, value.frames);
}

void printInteger(Output& out, const Position& at, int64_t value) {
  if (!at.pattern) return putInteger64(out.sink(), value);
  out.print(at.pattern, value);
}

void writeSamples(Output& out, const Position& at) {
  printInteger(out, at, truncated<int64_t>(at.seconds() * at.format.sampleRate + 0.5));
}

void writeTime(Output& out, const Position& at) {
  printFields(out, at, fieldsAt(at.nanos, 1000));
}

void writeTimeAndFrames(Output& out, const Position& at) {
  printFields(out, at, fieldsAt(at.nanos, at.format.frameRate));
}

void writeTime75(Output& out, const Position& at) {
  printFields(out, at, fieldsAt(at.nanos, kTime75Rate));
}

void writeSmpte(Output& out, const Position& at) {
  _smpteval value = {};
  value.format = smpteFormatOf(at.format.format);
  QVSMPTE_NanoToSMPTE(at.nanos, &value);
  printFields(out, at, value);
}

void writeReal(Output& out, const Position& at, double value) {
  if (showsWholeNumber(at))
    putInteger64(out.sink(), truncated<int64_t>(value));
  else
    out.print(at.pattern ? at.pattern : TEXT("$.3f"), value);
}

void writeSeconds(Output& out, const Position& at) {
  writeReal(out, at, at.seconds());
}

void writeBeats(Output& out, const Position& at) {
  writeReal(out, at, static_cast<double>(at.nanos) * at.format.tempo / 60 * kSecondsPerUnit);
}

double framesOf(const Position& at) {
  return at.seconds() * at.format.frameRate + 0.00001;
}

void writeFrames(Output& out, const Position& at) {
  const double frames = framesOf(at);
  writeReal(out, at, showsWholeNumber(at) ? flooredForgiving(frames) : frames);
}

void writeFeet(Output& out, const Position& at) {
  const int64_t perFoot = at.format.format == kPositionFeet40 ? kFramesPerFoot40 : kFramesPerFoot16;
  const int64_t frames = truncated<int64_t>(flooredForgiving(framesOf(at)));
  if (at.pattern) return out.print(at.pattern, frames / perFoot, frames % perFoot);
  putInteger64(out.sink(), frames / perFoot);
  out.sink().put(TEXT('+'));
  putInteger64(out.sink(), frames % perFoot);
}

void writeNanos(Output& out, const Position& at) {
  printInteger(out, at, at.nanos);
}

void writeMicroseconds(Output& out, const Position& at) {
  printInteger(out, at, at.nanos / 10 + (at.nanos % 10 >= 5 ? 1 : 0));
}

// A part of a measure: the whole of it, and what is left.
template <typename Integer>
Integer takeWhole(double& value) {
  const Integer whole = truncated<Integer>(value);
  value -= static_cast<double>(whole);
  return whole;
}

// Ticks are cut off, so a tiny part of a measure is added against sums that come out just below one.
constexpr double kMinutesPerUnit = 1.6666666666666665e-9;
double measuresOf(int64_t nanos, const _qvposfmt& format) {
  return static_cast<double>(nanos) * format.tempo / format.beatsPerMeasure * kMinutesPerUnit + 0.00005;
}

void writeMeasures(Output& out, const Position& at) {
  double rest = measuresOf(at.nanos, at.format);
  const uint32_t measures = takeWhole<uint32_t>(rest);
  rest *= at.format.beatsPerMeasure;
  const uint32_t beats = takeWhole<uint32_t>(rest);
  const uint32_t ticks = truncated<uint32_t>(rest * at.format.ticksPerBeat);
  const uint32_t first = at.format.format == kPositionMeasures && !at.distance ? 1 : 0;
  if (at.pattern) return out.print(at.pattern, measures + first, beats + first, ticks);
  putInteger(out.sink(), false, measures + first, true);
  putToken(out.sink(), TEXT("m.b"));
  putInteger(out.sink(), false, beats + first, false);
  if (at.layout == Layout::shortMeasures) return;
  putToken(out.sink(), TEXT("b.t"));
  putPadded(out.sink(), ticks, 3);
}

// A running clock: 9:59, 10:00, 1:00:00, whatever the pattern.
void writeCompactTime(Output& out, const Position& at) {
  const _smpteval value = fieldsAt(at.nanos, 1000);
  const auto& separator = internationals().timeSeparator;
  TextSink& sink = out.sink();
  if (value.hours > 0) {
    putInteger(sink, false, value.hours, false);
    putSeparator(sink, separator);
    putTwo(sink, value.minutes);
  } else {
    putInteger(sink, false, value.minutes, false);
  }
  putSeparator(sink, separator);
  putTwo(sink, value.seconds);
}

struct Row {
  Layout layout, shortLayout;
  void (*write)(Output& out, const Position& at);
};

constexpr Row kRows[] = {
    {Layout::integer, Layout::integer, writeSamples},
    {Layout::thousandths, Layout::clock, writeTime},
    {Layout::real, Layout::whole, writeSeconds},
    {Layout::hundredths, Layout::clock, writeTimeAndFrames},
    {Layout::real, Layout::whole, writeFrames},
    {Layout::measures, Layout::shortMeasures, writeMeasures},
    {Layout::label, Layout::label, writeSmpte},
    {Layout::label, Layout::label, writeSmpte},
    {Layout::dropLabel, Layout::dropLabel, writeSmpte},
    {Layout::label, Layout::label, writeSmpte},
    {Layout::label, Layout::label, writeSmpte},
    {Layout::integer, Layout::integer, writeNanos},
    {Layout::integer, Layout::integer, writeMicroseconds},
    {Layout::measures, Layout::shortMeasures, writeMeasures},
    {Layout::real, Layout::whole, writeBeats},
    {Layout::feet, Layout::feet, writeFeet},
    {Layout::feet, Layout::feet, writeFeet},
    {Layout::label, Layout::clock, writeTime75},
    {Layout::label, Layout::label, writeSmpte},
    {Layout::clock, Layout::clock, writeCompactTime},
};
static_assert(std::size(kRows) == kPositionFormats);

const Row& rowOf(int32_t format) {
  return kRows[isKnown(format) ? format : kPositionNanoTime];
}

int64_t difference(int64_t a, int64_t b) {
  int64_t result = 0;
  if (!__builtin_sub_overflow(a, b, &result)) return result;
  return a < b ? INT64_MIN : INT64_MAX;
}

int32_t write(WCHAR* destination, uint32_t capacity, const _qvposfmt& format, int64_t nanos, Text pattern,
              uint32_t flags) {
  if (capacity == 0) return 0;
  const bool distance = (flags & kPositionDistance) != 0;
  const Row& row = rowOf(format.format);
  const Layout layout = flags & kPositionShort ? row.shortLayout : row.layout;
  const int64_t shown = distance ? nanos : difference(nanos, format.rulerOffset);
  Output out(destination, capacity);
  if (shown < 0) out.sink().put(TEXT('-'));
  const int64_t magnitude = shown >= 0 ? shown : shown == INT64_MIN ? INT64_MAX : -shown;
  row.write(out, {format, magnitude, pattern, layout, distance});
  return out.finish();
}

}  // namespace
}  // namespace qv::time

void QvNanoTimeToMeasures(int64_t nanos, const _qvposfmt* format, int32_t* measures, int32_t* beats,
                          int32_t* ticks) {
  double rest = qv::time::measuresOf(nanos, *format);
  *measures = qv::time::takeWhole<int32_t>(rest);
  rest *= format->beatsPerMeasure;
  *beats = qv::time::takeWhole<int32_t>(rest);
  *ticks = qv::time::truncated<int32_t>(rest * format->ticksPerBeat);
}

void QvNanoTimeToHMSF(int64_t nanos, _smpteval* value, double rate) {
  if (qv::time::isTimecode(*value)) return QVSMPTE_NanoToSMPTE(nanos, value);
  double seconds = static_cast<double>(nanos) * qv::time::kSecondsPerUnit;
  if (rate > 0.01) seconds += 0.5 / rate;
  uint64_t whole = qv::time::truncated<uint64_t>(seconds);
  const double fraction = std::max(seconds - static_cast<double>(whole), 0.0);
  double frames = qv::time::flooredForgiving(fraction * rate);
  // A sum that should be a whole second can lie just under it; its last frame is then the next second's
  // first.
  if (frames > 0 && frames >= rate) {
    frames = 0;
    ++whole;
  }
  value->hours = static_cast<uint32_t>(whole / 3600 % 24);
  value->minutes = static_cast<uint32_t>(whole / 60 % 60);
  value->seconds = static_cast<uint32_t>(whole % 60);
  value->frames = qv::time::truncated<uint32_t>(frames);
}

int64_t QvHMSFToNanoTime(const _smpteval* value, double rate) {
  if (qv::time::isTimecode(*value)) return QVSMPTE_SMPTEToNanos(value);
  const double seconds =
      value->hours * 3600.0 + value->minutes * 60.0 + value->seconds + value->frames / rate;
  return qv::time::truncated<int64_t>(seconds * qv::time::kUnitsPerSecond + 0.5);
}

int32_t QvNanoTimeToText(WCHAR* destination, const _qvposfmt* format, int64_t nanos, int32_t shortForm) {
  return QvNanoTimeToTextEx(destination, format, nanos, shortForm ? kPositionShort : 0);
}
int32_t QvNanoTimeToTextEx(WCHAR* destination, const _qvposfmt* format, int64_t nanos, uint32_t flags) {
  return QvNanoTimeToTextFormat(destination, format, nanos, nullptr, flags);
}
int32_t QvNanoTimeToTextFormat(WCHAR* destination, const _qvposfmt* format, int64_t nanos,
                               const WCHAR* pattern, uint32_t flags) {
  return qv::time::write(destination, qv::time::kUnbounded, *format, nanos, pattern, flags);
}

int32_t QvNanoTimeToTextN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format, int64_t nanos,
                          int32_t shortForm) {
  return QvNanoTimeToTextExN(destination, capacity, format, nanos, shortForm ? kPositionShort : 0);
}
int32_t QvNanoTimeToTextExN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format, int64_t nanos,
                            uint32_t flags) {
  return QvNanoTimeToTextFormatN(destination, capacity, format, nanos, nullptr, flags);
}
int32_t QvNanoTimeToTextFormatN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format, int64_t nanos,
                                const WCHAR* pattern, uint32_t flags) {
  return qv::time::write(destination, std::min(capacity, qv::time::kUnbounded - 1), *format, nanos, pattern,
                         flags);
}
