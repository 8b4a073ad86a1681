// Positions from text.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "qv/core/convert.h"
#include "qv/platform/characters.h"
#include "qv/time/detail/fields.h"
#include "qv/time/detail/position_rows.h"
#include "qv/time/detail/rounding.h"
#include "qv/time/positions.h"

namespace qv::time {
namespace {

using Text = const WCHAR*;

// What is read as a position. Twice as far back as forward, in whole seconds for the seconds format.
constexpr int64_t kLowest = -(int64_t{1} << 62);
constexpr int64_t kHighest = int64_t{1} << 61;
constexpr double kLowestSeconds = -461168601842.0;
constexpr double kHighestSeconds = 230584300921.0;

int64_t held(double nanos) {
  return std::clamp(truncated<int64_t>(nanos), kLowest, kHighest);
}

double heldAtRate(double value, double rate) {
  const double perUnit = kSecondsPerUnit * rate;
  return std::clamp(value, static_cast<double>(kLowest) * perUnit, static_cast<double>(kHighest) * perUnit);
}

// Cuts off as exact arithmetic would: "1.001" seconds are 10,010,000 units and tick 609 of 960 is a whole
// unit at many a tempo, although the doubles come out a hair below. So what was written reads back as the
// same position.
double cutExactly(double value) {
  constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
  const double nearest = std::nearbyint(value);
  return std::fabs(value - nearest) <= std::fabs(value) * kRounding ? nearest : std::trunc(value);
}

// A part of a beat or a second; nothing of an unknown rate is nothing.
double part(int64_t count, double rate) {
  return count == 0 ? 0.0 : static_cast<double>(count) / rate;
}

Text skipWhiteSpace(Text text) {
  while (platform::isWhiteSpace(*text)) ++text;
  return text;
}

Text endOf(Text text) {
  while (*text) ++text;
  return text;
}

void setEnd(Text* end, Text at) {
  if (end) *end = at;
}

// ---- One reader a kind: text behind the sign, `end` where reading stopped

int64_t readSamples(Text text, const _qvposfmt& format, uint32_t, Text* end) {
  const double samples = static_cast<double>(QvTextToLongLongToken(text, end));
  if (format.sampleRate == 0) return held(samples);
  return held(heldAtRate(samples, format.sampleRate) / format.sampleRate * kUnitsPerSecond + 0.5);
}

int64_t readTime(Text text, const _qvposfmt& format, uint32_t flags, Text* end) {
  return held(static_cast<double>(QvTextToTimeToken(text, &format, flags & kPositionShort, end)) * 10000);
}

int64_t readSeconds(Text text, const _qvposfmt&, uint32_t, Text* end) {
  const double seconds = std::clamp(QvTextToDoubleToken(text, end, 1), kLowestSeconds, kHighestSeconds);
  return held(cutExactly(seconds * kUnitsPerSecond));
}

int64_t readTimeAndFrames(Text text, const _qvposfmt& format, uint32_t flags, Text* end) {
  return QvTextToHMSFToken(text, &format, flags & kPositionShort, end);
}

int64_t readFrames(Text text, const _qvposfmt& format, uint32_t, Text* end) {
  const double frames = QvTextToDoubleToken(text, end, 1);
  if (!(format.frameRate > 0)) return 0;
  return held(heldAtRate(frames, format.frameRate) / format.frameRate * kUnitsPerSecond + 0.5);
}

int64_t readMusic(Text text, const _qvposfmt& format, uint32_t flags, Text* end) {
  return QvTextToMusicTimeToken(text, &format, flags, end);
}

int64_t readSmpte(Text text, const _qvposfmt& format, uint32_t, Text*) {
  _smpteval value = {};
  value.format = smpteFormatOf(format.format);
  QVSMPTE_TextToSMPTE(text, &value);
  return QVSMPTE_SMPTEToNanos(&value);
}

int64_t readTime75(Text text, const _qvposfmt&, uint32_t, Text*) {
  _smpteval value = {};
  QVSMPTE_TextToSMPTE(text, &value);
  return QVSMPTE_SmpteLikeToNanos(kTime75Rate, &value);
}

int64_t readNanos(Text text, const _qvposfmt&, uint32_t, Text* end) {
  return QvTextToLongLongToken(text, end);
}

int64_t readMicroseconds(Text text, const _qvposfmt&, uint32_t, Text* end) {
  const int64_t value = QvTextToLongLongToken(text, end);
  return std::clamp(value, INT64_MIN / 10, INT64_MAX / 10) * 10;
}

int64_t readFeet(Text text, const _qvposfmt& format, uint32_t, Text*) {
  return QvTextToFeetAndFramesToken(text, &format, format.format == kPositionFeet40);
}

int64_t readNothing(Text, const _qvposfmt&, uint32_t, Text*) {
  return 0;
}

using Reader = int64_t (*)(Text text, const _qvposfmt& format, uint32_t flags, Text* end);

constexpr Reader kReaders[] = {
    readSamples, readTime,  readSeconds, readTimeAndFrames, readFrames, readMusic,        readSmpte,
    readSmpte,   readSmpte, readSmpte,   readSmpte,         readNanos,  readMicroseconds, readMusic,
    readNothing, readFeet,  readFeet,    readTime75,        readSmpte,  readNothing,
};
static_assert(std::size(kReaders) == kPositionFormats);

int64_t between(int64_t value, int64_t low, int64_t high) {
  return value < low ? low : value > high ? high : value;
}

}  // namespace
}  // namespace qv::time

int64_t QvTextToNanoTimeToken2(const WCHAR* text, const _qvposfmt* format, int64_t fallback, int64_t low,
                               int64_t high, uint32_t flags, const WCHAR** end) {
  const WCHAR* at = qv::time::skipWhiteSpace(text);
  const bool negative = *at == TEXT('-');
  if (negative) ++at;
  const WCHAR* stopped = qv::time::endOf(at);
  qv::time::setEnd(end, stopped);
  if (*at == 0) return fallback;
  const int32_t kind = qv::time::isKnown(format->format) ? format->format : kPositionNanoTime;
  int64_t nanos = qv::time::kReaders[kind](at, *format, flags, &stopped);
  qv::time::setEnd(end, stopped);
  if (negative) nanos = nanos == INT64_MIN ? INT64_MAX : -nanos;
  if ((flags & kPositionInRange) == 0) return nanos;
  if (nanos == 0 && *qv::time::skipWhiteSpace(stopped) != 0) nanos = fallback;
  return qv::time::between(nanos, low, high);
}

int64_t QvTextToNanoTimeToken(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                              const WCHAR** end) {
  return QvTextToNanoTimeToken2(text, format, 0, 0, 0, shortForm ? kPositionShort : 0, end);
}

int64_t QvTextToNanoTimeTokenEx(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                                int64_t fallback, int64_t low, int64_t high, const WCHAR** end) {
  const uint32_t flags = kPositionInRange | (shortForm ? kPositionShort : 0);
  return QvTextToNanoTimeToken2(text, format, fallback, low, high, flags, end);
}

int64_t QvTextToTimeToken(const WCHAR* text, const _qvposfmt*, int32_t shortForm, const WCHAR** end) {
  const qv::time::Fields fields = qv::time::readFields(text, shortForm ? 3 : 4);
  qv::time::setEnd(end, fields.end);
  // One number with nothing around it is seconds, not a fraction.
  const bool fraction = !shortForm && fields.count > 0 && (fields.separated || fields.count > 1);
  const uint32_t first = fraction ? 1 : 0;
  const int64_t seconds =
      (fields.fromRight(first + 2) * 60 + fields.fromRight(first + 1)) * 60 + fields.fromRight(first);
  return seconds * 1000 + (fraction ? fields.fields[fields.count - 1].thousandths : 0);
}

int64_t QvTextToHMSFToken(const WCHAR* text, const _qvposfmt* format, int32_t shortForm, const WCHAR** end) {
  const qv::time::Fields fields = qv::time::readFields(text, shortForm ? 3 : 4);
  qv::time::setEnd(end, fields.end);
  const uint32_t first = shortForm ? 0 : 1;
  const int64_t whole =
      (fields.fromRight(first + 2) * 60 + fields.fromRight(first + 1)) * 60 + fields.fromRight(first);
  double seconds = static_cast<double>(whole);
  if (!shortForm) seconds += qv::time::part(fields.fromRight(0), format->frameRate);
  return qv::time::held(seconds * qv::time::kUnitsPerSecond + 0.5);
}

int64_t QvTextToMusicTimeToken(const WCHAR* text, const _qvposfmt* format, uint32_t flags,
                               const WCHAR** end) {
  const bool shortForm = (flags & kPositionShort) != 0;
  const auto fields = qv::time::readFields(text, shortForm ? 2 : 3, qv::time::FirstField::grouped);
  qv::time::setEnd(end, fields.end);
  const uint32_t first = shortForm ? 0 : 1;
  int64_t measures = fields.fromRight(first + 1), beats = fields.fromRight(first);
  if (format->format == kPositionMeasures && (flags & kPositionDistance) == 0) {
    measures -= measures != 0;
    beats -= beats != 0;
  }
  double sum = static_cast<double>(measures * format->beatsPerMeasure + beats);
  if (!shortForm) sum += qv::time::part(fields.fromRight(0), format->ticksPerBeat);
  return qv::time::held(qv::time::cutExactly(sum / format->tempo * 6e8));
}

int64_t QvTextToFeetAndFramesToken(const WCHAR* text, const _qvposfmt* format, int32_t forty) {
  const auto fields = qv::time::readFields(text, 2, qv::time::FirstField::grouped);
  const int64_t perFoot = forty ? qv::time::kFramesPerFoot40 : qv::time::kFramesPerFoot16;
  const double frames = static_cast<double>(fields.fromRight(1) * perFoot + fields.fromRight(0));
  return qv::time::held(
      qv::time::flooredForgiving(frames * qv::time::kUnitsPerSecond / format->frameRate + 0.00001));
}
