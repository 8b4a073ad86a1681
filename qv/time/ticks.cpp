// Measures, beats and ticks as a sequencer counts them.
#include <algorithm>

#include "qv/core/printf.h"
#include "qv/platform/characters.h"
#include "qv/time/detail/fields.h"
#include "qv/time/positions.h"

namespace qv::time {
namespace {

struct Quotient {
  int64_t whole, rest;  // the rest is never negative
};

Quotient floored(int64_t value, int64_t divisor) {
  int64_t whole = value / divisor, rest = value % divisor;
  if (rest < 0) {
    rest += divisor;
    --whole;
  }
  return {whole, rest};
}

int32_t held(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// Records that say nothing useful count as one of everything, so that nothing divides by zero.
int64_t atLeastOne(int64_t value) {
  return std::max<int64_t>(value, 1);
}
int64_t ticksOf(int64_t quarters, const _qvposfmt& format) {
  return atLeastOne(quarters * format.ticksPerBeat * 4 / atLeastOne(format.beatNote));
}
int64_t beatsOf(const _qvposfmt& format) {
  return atLeastOne(format.beatsPerMeasure);
}

// Numbers from the left, with the sign of the first.
struct SignedFields {
  Fields fields;
  bool negative;

  SignedFields(const WCHAR* text, uint32_t wanted) {
    while (platform::isWhiteSpace(*text)) ++text;
    negative = *text == TEXT('-');
    fields = readFields(text + (negative ? 1 : 0), wanted);
  }
  int32_t first() const {
    const int32_t value = at(0);
    return negative ? -value : value;
  }
  int32_t at(uint32_t index) const { return static_cast<int32_t>(fields.fromLeft(index)); }
};

int64_t total(int64_t beats, int64_t ticks, const _qvposfmt& format, int32_t factor) {
  const __int128 sum =
      static_cast<__int128>(beats) * format.ticksPerBeat + static_cast<__int128>(factor) * ticks;
  return sum > INT64_MAX ? INT64_MAX : sum < INT64_MIN ? INT64_MIN : static_cast<int64_t>(sum);
}

}  // namespace
}  // namespace qv::time

int32_t QvTicksToText(WCHAR* destination, const _qvposfmt* format, int64_t ticks, int32_t base,
                      int32_t shortForm, int32_t divisor) {
  const int64_t perMeasure = qv::time::atLeastOne(qv::time::beatsOf(*format) * format->ticksPerBeat);
  const auto [measure, rest] = qv::time::floored(ticks, perMeasure);
  return QvMeasuresAndTicksToText(destination, format, qv::time::held(measure), rest, base, shortForm,
                                  divisor);
}

int32_t QvMeasuresAndTicksToText(WCHAR* destination, const _qvposfmt* format, int32_t measure, int64_t ticks,
                                 int32_t base, int32_t shortForm, int32_t divisor) {
  int64_t shown = measure;
  if (ticks < 0) {
    const auto borrowed = qv::time::floored(ticks, qv::time::ticksOf(qv::time::beatsOf(*format), *format));
    if (__builtin_add_overflow(shown, borrowed.whole, &shown)) shown = INT64_MIN;
    ticks = borrowed.rest;
  }
  const int64_t perBeat = qv::time::ticksOf(1, *format);
  int64_t beat = ticks / perBeat % qv::time::beatsOf(*format);
  const int64_t tick = ticks % perBeat / qv::time::atLeastOne(divisor);
  if (base == 1) {
    ++beat;
    if (shown >= 0) ++shown;
  }
  const int32_t number = qv::time::held(shown);
  if (shortForm) return QvPrintF(destination, TEXT("%d$&:%1u"), number, static_cast<uint32_t>(beat));
  return QvPrintF(destination, TEXT("%d$&:%u$&.%03u"), number, static_cast<uint32_t>(beat),
                  static_cast<uint32_t>(tick));
}

int64_t QvTextToMeasuresBeatsTicks(const WCHAR* text, const _qvposfmt* format, int32_t base, int32_t factor,
                                   int32_t* measures, int32_t* beats, int32_t* ticks) {
  const qv::time::SignedFields fields(text, 3);
  *measures = fields.first();
  *beats = fields.at(1);
  *ticks = fields.at(2);
  if (base == 1) {
    if (*measures > 0) --*measures;
    if (*beats > 0) --*beats;
  }
  return qv::time::total(int64_t{format->beatsPerMeasure} * *measures + *beats, *ticks, *format, factor);
}

int64_t QvTextToBeatsTicks(const WCHAR* text, const _qvposfmt* format, int32_t factor, int32_t* beats,
                           int32_t* ticks) {
  const qv::time::SignedFields fields(text, 2);
  *beats = fields.first();
  *ticks = fields.at(1);
  return qv::time::total(*beats, *ticks, *format, factor);
}

int64_t QvTextToTicks(const WCHAR* text, const _qvposfmt* format, int32_t base, int32_t factor) {
  int32_t measures, beats, ticks;
  return QvTextToMeasuresBeatsTicks(text, format, base, factor, &measures, &beats, &ticks);
}
