#include "qv/time/smpte.h"

#include <iterator>

#include "qv/time/detail/rounding.h"

namespace qv::time {
namespace {

constexpr double kUnitsPerSecond = 10000000;

// Two labels are skipped in each minute but each tenth.
constexpr uint32_t kDroppedPerHour = 108;
constexpr uint32_t kFramesPerDropMinute = 60 * 30 - 2;
constexpr uint32_t kFramesPerDropTenMinutes = 10 * kFramesPerDropMinute + 2;
constexpr uint32_t kFramesPerDropDay = 24 * 6 * kFramesPerDropTenMinutes;
static_assert(kFramesPerDropDay == 2589408);

struct Format {
  uint32_t base;
  uint32_t framesPerDay;
  double rate;
  uint32_t lastFrame;  // of a second, where a step carries
  bool borrowAddsTwo;  // a decrement across a minute
};

// By format number. Row 0 stands for every invalid format.
constexpr Format kFormats[] = {
    {0, 0, 30.0, 29, false},
    {30, 30 * 86400, 30.0, 29, false},
    {30, kFramesPerDropDay, 30000.0 / 1001.0, 29, true},
    {25, 25 * 86400, 25.0, 24, false},
    {24, 24 * 86400, 24.0, 23, false},
    {30, 30 * 86400, 30000.0 / 1001.0, 29, true},
    {24, 24 * 86400, 24000.0 / 1001.0, 23, false},
};

constexpr bool isValid(uint32_t format) {
  return format - 1 < std::size(kFormats) - 1;
}
constexpr const Format& formatOf(uint32_t format) {
  return kFormats[isValid(format) ? format : 0];
}

// The base is a constant, so that the divisions become multiplications.
template <uint32_t Base>
void splitDay(uint32_t count, _smpteval* value) {
  const uint32_t frames = count < Base * 86400 ? count : count % (Base * 86400);
  const uint32_t allSeconds = frames / Base;
  const uint32_t allMinutes = allSeconds / 60;
  const uint32_t hours = allMinutes / 60;
  value->hours = hours;
  value->minutes = allMinutes - hours * 60;
  value->seconds = allSeconds - allMinutes * 60;
  value->frames = frames - allSeconds * Base;
}

// Minutes but the tenth have two frames less, and their labels start at 2: taking off their frames alone
// leaves the label's frame in its minute. The first of ten has the two frames more.
void splitDropDay(uint32_t count, _smpteval* value) {
  const uint32_t frame = count < kFramesPerDropDay ? count : count % kFramesPerDropDay;
  const uint32_t tens = frame / kFramesPerDropTenMinutes;
  const uint32_t rest = frame - tens * kFramesPerDropTenMinutes;
  const uint32_t minute = rest < 2 ? 0 : (rest - 2) / kFramesPerDropMinute;
  const uint32_t inMinute = rest - minute * kFramesPerDropMinute;
  const uint32_t hours = tens / 6;
  const uint32_t seconds = inMinute / 30;
  value->hours = hours;
  value->minutes = (tens - hours * 6) * 10 + minute;
  value->seconds = seconds;
  value->frames = inMinute - seconds * 30;
}

bool isSkipped(const _smpteval& value) {
  return value.frames < 2 && value.seconds == 0 && value.minutes % 10 != 0;
}

_smpteval withFormat(const _smpteval& value, uint32_t format) {
  _smpteval copy = value;
  copy.format = format;
  return copy;
}

int64_t floored(double value) {
  const int64_t whole = truncated<int64_t>(value);
  return static_cast<double>(whole) > value && whole != INT64_MIN ? whole - 1 : whole;
}

// A count of any day in this one. Most are already, and a 64-bit division is slow.
uint32_t wrapped(int64_t count, int64_t day) {
  if (static_cast<uint64_t>(count) < static_cast<uint64_t>(day)) return static_cast<uint32_t>(count);
  const int64_t rest = count % day;
  return static_cast<uint32_t>(rest < 0 ? rest + day : rest);
}

void setWrapped(_smpteval* a, int64_t count) {
  const int64_t day = formatOf(a->format).framesPerDay;
  QVSMPTE_FrameCountToSMPTE(a, day == 0 ? 0 : wrapped(count, day));
}

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

// Takes numbers from the left, each shifting the fields.
class FieldReader {
 public:
  explicit FieldReader(_smpteval* value) : value_(value) {}

  void take(uint32_t number) {
    if (count_++ >= 4) return;
    value_->hours = value_->minutes;
    value_->minutes = value_->seconds;
    value_->seconds = value_->frames;
    value_->frames = number;
  }
  // A run of digits, in pairs from the right. Gives the place behind it.
  const WCHAR* takeRun(const WCHAR* at) {
    const WCHAR* end = at;
    while (isDigit(*end)) ++end;
    if ((end - at) & 1) take(static_cast<uint32_t>(*at++ - TEXT('0')));
    for (; at < end && !isFull(); at += 2) take(pair(at));
    return end;
  }
  bool isFull() const { return count_ > 4; }

 private:
  static uint32_t pair(const WCHAR* at) {
    return static_cast<uint32_t>((at[0] - TEXT('0')) * 10 + (at[1] - TEXT('0')));
  }

  _smpteval* value_;
  uint32_t count_ = 0;
};

bool readPair(const WCHAR* at, uint32_t& number) {
  const uint32_t tens = static_cast<uint32_t>(at[0]) - TEXT('0');
  if (tens > 9) return false;
  const uint32_t ones = static_cast<uint32_t>(at[1]) - TEXT('0');
  number = tens * 10 + ones;
  return ones <= 9;
}

bool isSeparator(WCHAR c) {
  return c != 0 && !isDigit(c);
}

// A label as it is nearly always written: four pairs, one character between them. Looks at nothing behind the
// first character that is something else.
bool readPlainLabel(const WCHAR* text, _smpteval* value) {
  return readPair(text, value->hours) && isSeparator(text[2]) && readPair(text + 3, value->minutes) &&
         isSeparator(text[5]) && readPair(text + 6, value->seconds) && isSeparator(text[8]) &&
         readPair(text + 9, value->frames) && text[11] == 0;
}

void carry(_smpteval* value) {
  if (!isValid(value->format)) return;
  const uint32_t base = formatOf(value->format).base;
  if (value->frames < base && value->seconds < 60 && value->minutes < 60 && value->hours < 24) return;
  if (value->frames >= base) {
    value->seconds += value->frames / base;
    value->frames %= base;
  }
  value->minutes += value->seconds / 60;
  value->seconds %= 60;
  value->hours = (value->hours + value->minutes / 60) % 24;
  value->minutes %= 60;
}

void nextMinute(_smpteval* value) {
  value->seconds = 0;
  ++value->minutes;
  if (value->format == kSmpte2997Drop && value->minutes % 10 != 0) value->frames += 2;
}

void nextHour(_smpteval* value) {
  value->minutes = 0;
  value->hours = (value->hours & 31) + 1;
  if (value->hours > 23) value->hours = 0;
}

void borrowHour(_smpteval* value) {
  const uint32_t hours = value->hours & 31;
  value->minutes = 59;
  value->hours = hours == 0 ? 23 : hours - 1;
}

void borrowMinute(_smpteval* value) {
  value->seconds = 59;
  if (value->minutes == 0)
    borrowHour(value);
  else
    --value->minutes;
  if (formatOf(value->format).borrowAddsTwo && value->minutes % 10 != 0) value->frames += 2;
}

}  // namespace
}  // namespace qv::time

void QVSMPTE_FrameCountToSMPTE(_smpteval* value, uint32_t count) {
  switch (value->format) {
    case kSmpte30:
    case kSmpte2997:
      return qv::time::splitDay<30>(count, value);
    case kSmpte25:
      return qv::time::splitDay<25>(count, value);
    case kSmpte24:
    case kSmpte23976:
      return qv::time::splitDay<24>(count, value);
    default:
      return qv::time::splitDropDay(count, value);
  }
}

uint32_t QVSMPTE_SMPTEToFrameCount(const _smpteval* value) {
  const uint32_t base = qv::time::formatOf(value->format).base;
  const uint32_t minutes = value->hours * 60 + value->minutes;
  if (value->format != kSmpte2997Drop)
    return base == 0 ? 0 : (minutes * 60 + value->seconds) * base + value->frames;
  const uint32_t frames = qv::time::isSkipped(*value) ? 2 : value->frames;
  const uint32_t dropped =
      value->hours * qv::time::kDroppedPerHour + (value->minutes - value->minutes / 10) * 2;
  return (minutes * 60 + value->seconds) * 30 + frames - dropped;
}

int64_t QVSMPTE_SMPTEToNanos(const _smpteval* value) {
  const double count = QVSMPTE_SMPTEToFrameCount(value);
  const double rate = qv::time::formatOf(value->format).rate;
  return qv::time::truncated<int64_t>(count / rate * qv::time::kUnitsPerSecond + 0.999);
}

void QVSMPTE_NanoToSMPTE(int64_t nanos, _smpteval* value) {
  const qv::time::Format& format = qv::time::formatOf(value->format);
  // What the rounding up to whole units put on a frame's time, this takes off again.
  const double count = static_cast<double>(nanos) * format.rate / qv::time::kUnitsPerSecond + 0.000005;
  const int64_t day = format.framesPerDay == 0 ? qv::time::kFramesPerDropDay : format.framesPerDay;
  QVSMPTE_FrameCountToSMPTE(value, qv::time::wrapped(qv::time::floored(count), day));
}

int64_t QVSMPTE_SmpteLikeToNanos(double frameRate, const _smpteval* value) {
  const uint32_t seconds = (value->hours * 60 + value->minutes) * 60 + value->seconds;
  const double frames = seconds * frameRate + value->frames;
  return qv::time::truncated<int64_t>(frames / frameRate * qv::time::kUnitsPerSecond + 0.999);
}

WCHAR QVSMPTE_TextToSMPTE(const WCHAR* text, _smpteval* value) {
  value->reserved = 0;
  if (qv::time::readPlainLabel(text, value)) {
    qv::time::carry(value);
    return 0;
  }
  *value = {value->format, 0, 0, 0, 0, 0};
  qv::time::FieldReader reader(value);
  uint32_t empty = 0;  // fields without digits since the last number; they count at the end of the text only
  for (const WCHAR* at = text; *at && !reader.isFull();) {
    if (qv::time::isDigit(*at)) {
      at = reader.takeRun(at);
      empty = 0;
    } else {
      if (*at++ != TEXT(' ') && empty < 5) ++empty;
    }
  }
  for (; empty > 0; --empty) reader.take(0);
  qv::time::carry(value);
  return reader.isFull() ? TEXT(' ') : WCHAR{0};
}

void QVSMPTE_AddSMPTE(_smpteval* a, const _smpteval* b) {
  const _smpteval other = qv::time::withFormat(*b, a->format);
  qv::time::setWrapped(a, int64_t{QVSMPTE_SMPTEToFrameCount(a)} + QVSMPTE_SMPTEToFrameCount(&other));
}

void QVSMPTE_SubtractSMPTE(_smpteval* a, const _smpteval* b) {
  const _smpteval other = qv::time::withFormat(*b, a->format);
  qv::time::setWrapped(a, int64_t{QVSMPTE_SMPTEToFrameCount(a)} - QVSMPTE_SMPTEToFrameCount(&other));
}

int32_t QVSMPTE_SMPTECompare(const _smpteval* a, const _smpteval* b) {
  for (const auto field : {&_smpteval::hours, &_smpteval::minutes, &_smpteval::seconds, &_smpteval::frames})
    if (a->*field != b->*field) return a->*field < b->*field ? -1 : 1;
  return 0;
}

void QVSMPTE_IncrementByFrame(_smpteval* value, uint32_t) {
  if (++value->frames > qv::time::formatOf(value->format).lastFrame) {
    value->frames = 0;
    ++value->seconds;
  }
  if (value->seconds > 59) qv::time::nextMinute(value);
  if (value->minutes > 59) qv::time::nextHour(value);
}

void QVSMPTE_DeccrementByFrame(_smpteval* value, uint32_t) {
  if (value->frames > 0) {
    --value->frames;
    return;
  }
  value->frames = qv::time::formatOf(value->format).lastFrame;
  if (value->seconds > 0)
    --value->seconds;
  else
    qv::time::borrowMinute(value);
}
