// Any text reads as a position in any format and at any rates: reading ends within the text, writing within
// its buffer, and a bounded text is the beginning of the whole. At rates that make sense, text that was
// written reads back as the position that it shows.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qv/core/detail/tokens.h"
#include "qv/lang/international.h"
#include "qv/time/positions.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

constexpr int64_t kDay = int64_t{86400} * 10000000;

struct Head {
  _qvposfmt format;
  int64_t nanos, fallback, low, high;
  uint8_t flags, capacity, locale, sane;
};

Text written(const _qvposfmt& format, int64_t nanos, uint32_t flags) {
  WCHAR text[512];
  const int32_t length = QvNanoTimeToTextEx(text, &format, nanos, flags);
  require(length >= 0 && length < 512 && text[length] == 0);
  return text;
}

int64_t read(const _qvposfmt& format, const Text& text, uint32_t flags) {
  const WCHAR* end = nullptr;
  const int64_t nanos = QvTextToNanoTimeToken2(text.c_str(), &format, 7, 0, 0, flags & 3, &end);
  require(end >= text.c_str() && end <= text.c_str() + text.size());
  return nanos;
}

void checkBounded(const _qvposfmt& format, int64_t nanos, uint32_t flags, uint32_t capacity) {
  const Text whole = written(format, nanos, flags);
  WCHAR* const text = new WCHAR[capacity];
  const int32_t length = QvNanoTimeToTextExN(text, capacity, &format, nanos, flags);
  if (capacity > 0) require(text[length] == 0 && whole.starts_with(text));
  if (capacity > whole.size()) require(whole == text);
  delete[] text;
}

void checkReaders(const _qvposfmt& format, const Text& text, const Head& head) {
  read(format, text, head.flags);
  if (head.low <= head.high && !text.empty()) {
    const WCHAR* end = nullptr;
    const int64_t held =
        QvTextToNanoTimeToken2(text.c_str(), &format, head.low, head.low, head.high, 4, &end);
    require(held >= head.low && held <= head.high);
  }
  int32_t a, b, c;
  QvTextToMeasuresBeatsTicks(text.c_str(), &format, head.flags & 1, static_cast<int32_t>(head.fallback), &a,
                             &b, &c);
  QvTextToBeatsTicks(text.c_str(), &format, static_cast<int32_t>(head.fallback), &b, &c);
}

void checkTicks(const _qvposfmt& format, const Head& head) {
  WCHAR text[64];
  require(QvTicksToText(text, &format, head.nanos, head.flags & 1, head.flags & 2, head.capacity) < 64);
  require(QvMeasuresAndTicksToText(text, &format, static_cast<int32_t>(head.low), head.high, head.flags & 1,
                                   head.flags & 2, head.capacity) < 64);
  int32_t a, b, c;
  QvNanoTimeToMeasures(head.nanos, &format, &a, &b, &c);
}

// Rates as editors have them, picked by the record's bytes.
_qvposfmt sensible(const _qvposfmt& wild) {
  constexpr uint32_t kSampleRates[] = {8000, 44100, 48000, 192000};
  constexpr double kFrameRates[] = {24, 25, 30000.0 / 1001.0, 24000.0 / 1001.0, 50, 60};
  _qvposfmt format = wild;
  format.format = static_cast<int32_t>(static_cast<uint32_t>(wild.format) % 20);
  format.sampleRate = kSampleRates[wild.sampleRate % 4];
  format.frameRate = kFrameRates[wild.sampleRate / 4 % 6];
  format.tempo = 40 + wild.ticksPerBeat % 2000 / 10.0;
  format.rulerOffset = 0;
  format.beatsPerMeasure = static_cast<uint16_t>(1 + wild.beatsPerMeasure % 8);
  format.beatNote = 4;
  format.ticksPerBeat = 1 + wild.ticksPerBeat % 960;
  return format;
}

void checkRoundTrip(const _qvposfmt& format, int64_t nanos, uint32_t flags) {
  if (format.format == kPositionBeats || format.format == kPositionCompactTime) return;
  const int64_t time = nanos % (kDay - 10000000);
  flags &= kPositionDistance;
  const Text text = written(format, time, flags);
  const int64_t shown = read(format, text, flags);
  require(written(format, shown < 0 ? -shown : shown, flags) == text.substr(text[0] == TEXT('-') ? 1 : 0));
  require(read(format, written(format, shown, flags), flags) == shown);
}

const LCID kLocales[] = {0x0409, 0x0407, 0x0807, 0x040c, 0x0439, 0x041d, 0x0411, 0x0419};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = [] {
    const bool made = qv::initializeTokens();
    qv::defineSeparatorTokens();
    return made;
  }();
  static const auto records = [] {
    static QVINTERNATIONALS all[std::size(kLocales)];
    for (size_t i = 0; i < std::size(kLocales); ++i) all[i] = qv::readInternationals(kLocales[i]);
    return all;
  }();
  Head head;
  if (!ready || size < sizeof head) return 0;
  std::memcpy(&head, data, sizeof head);
  qv::setInternationals(records[head.locale % std::size(kLocales)]);
  Text text;
  for (size_t i = sizeof head; i < size && data[i]; ++i) text += data[i];
  const _qvposfmt format = head.sane % 2 ? sensible(head.format) : head.format;
  checkReaders(format, text, head);
  checkBounded(format, head.nanos, head.flags, head.capacity);
  checkTicks(format, head);
  if (head.sane % 2) checkRoundTrip(format, head.nanos, head.flags);
  return 0;
}
