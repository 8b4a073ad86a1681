// Positions to text.
#include <algorithm>
#include <iterator>

#include "qv/core/printf.h"
#include "qv/time/detail/position_rows.h"
#include "qv/time/detail/rounding.h"
#include "qv/time/positions.h"

namespace qv::time {
namespace {

using Text = const WCHAR*;

constexpr uint32_t kUnbounded = UINT32_MAX;

// A place for one position's text: both ways of writing, one set of numbers.
class Output {
 public:
  Output(WCHAR* text, uint32_t capacity) : text_(text), capacity_(capacity) {}

  void sign() {
    if (capacity_ - length_ > 1) text_[length_++] = TEXT('-');
  }
  template <typename... Arguments>
  void print(Text pattern, Arguments... arguments) {
    uint32_t added = 0;
    if (capacity_ == kUnbounded)
      added = static_cast<uint32_t>(QvPrintF(text_ + length_, pattern, arguments...));
    else
      QvCchPrintF(text_ + length_, capacity_ - length_, &added, pattern, arguments...);
    length_ += added;
  }
  int32_t length() const { return static_cast<int32_t>(length_); }

 private:
  WCHAR* text_;
  uint32_t capacity_;
  uint32_t length_ = 0;
};

// One position on its way out: without offset and sign.
struct Position {
  const _qvposfmt& format;
  int64_t nanos;
  Text pattern;
  bool distance;

  double seconds() const { return static_cast<double>(nanos) * kSecondsPerUnit; }
};

bool isWholeNumberPattern(Text pattern) {
  constexpr WCHAR kPattern[] = TEXT("$.0f");
  return std::equal(kPattern, kPattern + 5, pattern, [](WCHAR a, WCHAR b) { return a == b; });
}

constexpr Text kInteger = TEXT("$I64d");

bool isTimecode(const _smpteval& value) {
  return value.format >= kSmpte30 && value.format <= kSmpte23976;
}

_smpteval fieldsAt(int64_t nanos, double rate) {
  _smpteval value = {};
  QvNanoTimeToHMSF(nanos, &value, rate);
  return value;
}

void printFields(Output& out, const Position& at, const _smpteval& value) {
  out.print(at.pattern, value.hours, value.minutes, value.seconds, value.frames);
}

void writeSamples(Output& out, const Position& at) {
  out.print(at.pattern, truncated<int64_t>(at.seconds() * at.format.sampleRate + 0.5));
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
  if (isWholeNumberPattern(at.pattern))
    out.print(kInteger, truncated<int64_t>(value));
  else
    out.print(at.pattern, value);
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
  writeReal(out, at, isWholeNumberPattern(at.pattern) ? flooredForgiving(frames) : frames);
}

void writeFeet(Output& out, const Position& at) {
  const int64_t perFoot = at.format.format == kPositionFeet40 ? kFramesPerFoot40 : kFramesPerFoot16;
  const int64_t frames = truncated<int64_t>(flooredForgiving(framesOf(at)));
  out.print(at.pattern, frames / perFoot, frames % perFoot);
}

void writeNanos(Output& out, const Position& at) {
  out.print(at.pattern, at.nanos);
}

void writeMicroseconds(Output& out, const Position& at) {
  out.print(at.pattern, at.nanos / 10 + (at.nanos % 10 >= 5 ? 1 : 0));
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
  out.print(at.pattern, measures + first, beats + first, ticks);
}

// A running clock: 9:59, 10:00, 1:00:00. The pattern depends on what there is to show.
void writeCompactTime(Output& out, const Position& at) {
  const _smpteval value = fieldsAt(at.nanos, 1000);
  if (value.hours > 0)
    out.print(TEXT("%u$:%02u$:%02u"), value.hours, value.minutes, value.seconds);
  else
    out.print(value.minutes >= 10 ? TEXT("%02u$:%02u") : TEXT("%u$:%02u"), value.minutes, value.seconds);
}

struct Row {
  Text pattern;
  Text shortPattern;
  void (*write)(Output& out, const Position& at);
};

constexpr Text kClock = TEXT("%02u$:%02u$:%02u");
constexpr Text kLabel = TEXT("%02u:%02u:%02u:%02u");
constexpr Text kDropLabel = TEXT("%02u:%02u:%02u;%02u");
constexpr Text kReal = TEXT("$.3f");
constexpr Text kWhole = TEXT("$.0f");
constexpr Text kMeasures = TEXT("$u$&:%u$&.%03u");
constexpr Text kShortMeasures = TEXT("$u$&:%u");
constexpr Text kFeet = TEXT("$I64d+$I64d");

constexpr Row kRows[] = {
    {kInteger, kInteger, writeSamples},
    {TEXT("%02u$:%02u$:%02u$*%03u"), kClock, writeTime},
    {kReal, kWhole, writeSeconds},
    {TEXT("%02u$:%02u$:%02u$*%02u"), kClock, writeTimeAndFrames},
    {kReal, kWhole, writeFrames},
    {kMeasures, kShortMeasures, writeMeasures},
    {kLabel, kLabel, writeSmpte},
    {kLabel, kLabel, writeSmpte},
    {kDropLabel, kDropLabel, writeSmpte},
    {kLabel, kLabel, writeSmpte},
    {kLabel, kLabel, writeSmpte},
    {kInteger, kInteger, writeNanos},
    {kInteger, kInteger, writeMicroseconds},
    {kMeasures, kShortMeasures, writeMeasures},
    {kReal, kWhole, writeBeats},
    {kFeet, kFeet, writeFeet},
    {kFeet, kFeet, writeFeet},
    {kLabel, kClock, writeTime75},
    {kLabel, kLabel, writeSmpte},
    {kClock, kClock, writeCompactTime},
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
  if (!pattern) pattern = flags & kPositionShort ? row.shortPattern : row.pattern;
  const int64_t shown = distance ? nanos : difference(nanos, format.rulerOffset);
  Output out(destination, capacity);
  if (shown < 0) out.sign();
  const int64_t magnitude = shown >= 0 ? shown : shown == INT64_MIN ? INT64_MAX : -shown;
  row.write(out, {format, magnitude, pattern, distance});
  return out.length();
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
