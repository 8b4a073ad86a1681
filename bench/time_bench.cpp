// Timecode and positions beside the FFmpeg functions for labels and snprintf of the same text. Ours writes
// UTF-16; the peers write 8-bit text and are not asked to widen it.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "qv/core/detail/tokens.h"
#include "qv/time/positions.h"
#ifdef QV_BENCH_AVUTIL
extern "C" {
#include <libavutil/timecode.h>
}
#endif

namespace {

constexpr uint32_t kFramesPerDay = 2589408;
// Steps through a day without order that a predictor could learn.
constexpr uint32_t kStep = 1000003;

uint32_t nextFrame(uint32_t frame) {
  frame += kStep;
  return frame >= kFramesPerDay ? frame - kFramesPerDay : frame;
}

_qvposfmt formatOf(int32_t format) {
  return {format, 48000, 25.0, 120.0, 0, 4, 4, 960};
}

// ---- Labels as fields

void TimeLabelFromCount(benchmark::State& state) {
  _smpteval value = {kSmpte2997Drop, 0, 0, 0, 0, 0};
  uint32_t frame = 0;
  for (auto _ : state) {
    QVSMPTE_FrameCountToSMPTE(&value, frame = nextFrame(frame));
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeLabelFromCount);

// Labels stand in memory, as a reader of a tape or a list has them.
constexpr uint32_t kLabels = 1024;
struct Labels {
  _smpteval values[kLabels];
  WCHAR wide[kLabels][12];
  char narrow[kLabels][12];
  Labels() {
    uint32_t frame = 0;
    for (uint32_t i = 0; i < kLabels; ++i) {
      values[i] = {kSmpte2997Drop, 0, 0, 0, 0, 0};
      QVSMPTE_FrameCountToSMPTE(&values[i], frame = nextFrame(frame));
      const _smpteval& v = values[i];
      snprintf(narrow[i], sizeof narrow[i], "%02u:%02u:%02u;%02u", v.hours % 100, v.minutes % 100,
               v.seconds % 100, v.frames % 100);
      for (int c = 0; c < 12; ++c) wide[i][c] = static_cast<WCHAR>(narrow[i][c]);
    }
  }
} const labels;

void TimeCountFromLabel(benchmark::State& state) {
  uint32_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(QVSMPTE_SMPTEToFrameCount(&labels.values[++i % kLabels]));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeCountFromLabel);

void TimeCountFromText(benchmark::State& state) {
  uint32_t i = 0;
  _smpteval value = {kSmpte2997Drop, 0, 0, 0, 0, 0};
  for (auto _ : state) {
    QVSMPTE_TextToSMPTE(labels.wide[++i % kLabels], &value);
    benchmark::DoNotOptimize(QVSMPTE_SMPTEToFrameCount(&value));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeCountFromText);

void TimeLabelText(benchmark::State& state) {
  const _qvposfmt format = formatOf(kPositionSmpte2997Drop);
  uint32_t frame = 0;
  WCHAR text[64];
  for (auto _ : state) {
    frame = nextFrame(frame);
    QvNanoTimeToTextN(text, 64, &format, int64_t{frame} * 333667, 0);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeLabelText);

#ifdef QV_BENCH_AVUTIL
AVTimecode dropFrame() {
  AVTimecode timecode;
  av_timecode_init(&timecode, {30000, 1001}, AV_TIMECODE_FLAG_DROPFRAME, 0, nullptr);
  return timecode;
}

void TimeLabelFromCountAvutilText(benchmark::State& state) {
  const AVTimecode timecode = dropFrame();
  char text[AV_TIMECODE_STR_SIZE];
  uint32_t frame = 0;
  for (auto _ : state) {
    av_timecode_make_string(&timecode, text, static_cast<int>(frame = nextFrame(frame)));
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeLabelFromCountAvutilText);

// Its only label without text: packed decimal digits.
void TimeLabelFromCountAvutilPacked(benchmark::State& state) {
  const AVTimecode timecode = dropFrame();
  uint32_t frame = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        av_timecode_get_smpte_from_framenum(&timecode, static_cast<int>(frame = nextFrame(frame))));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeLabelFromCountAvutilPacked);

void TimeCountFromTextAvutil(benchmark::State& state) {
  uint32_t i = 0;
  AVTimecode timecode;
  for (auto _ : state) {
    av_timecode_init_from_string(&timecode, {30000, 1001}, labels.narrow[++i % kLabels], nullptr);
    benchmark::DoNotOptimize(timecode.start);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeCountFromTextAvutil);

void TimeCountFromLabelAvutil(benchmark::State& state) {
  uint32_t i = 0;
  AVTimecode timecode;
  for (auto _ : state) {
    const _smpteval& v = labels.values[++i % kLabels];
    av_timecode_init_from_components(&timecode, {30000, 1001}, AV_TIMECODE_FLAG_DROPFRAME,
                                     static_cast<int>(v.hours), static_cast<int>(v.minutes),
                                     static_cast<int>(v.seconds), static_cast<int>(v.frames), nullptr);
    benchmark::DoNotOptimize(timecode.start);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimeCountFromLabelAvutil);
#endif

// ---- Positions as text

constexpr int64_t kTimeStep = 61803398875;

int64_t nextTime(int64_t nanos) {
  nanos += kTimeStep;
  return nanos >= 864000000000 ? nanos - 864000000000 : nanos;
}

void TimePositionText(benchmark::State& state) {
  const _qvposfmt format = formatOf(static_cast<int32_t>(state.range(0)));
  WCHAR text[64];
  int64_t nanos = 0;
  for (auto _ : state) {
    QvNanoTimeToTextN(text, 64, &format, nanos = nextTime(nanos), 0);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimePositionText)->DenseRange(0, 19);

// The same text (for "C", so without groups) by snprintf, with the arithmetic that a plain loop would do.
void TimePositionTextSnprintf(benchmark::State& state) {
  const int32_t format = static_cast<int32_t>(state.range(0));
  char text[64];
  int64_t nanos = 0;
  for (auto _ : state) {
    nanos = nextTime(nanos);
    const long long n = nanos;
    const unsigned s = static_cast<unsigned>(n / 10000000), h = s / 3600, m = s / 60 % 60;
    const long long frames = n / 400000;
    switch (format) {
      case kPositionSamples:
      case kPositionNanoTime:
      case kPositionMicroseconds:
        snprintf(text, sizeof text, "%lld", n / 10);
        break;
      case kPositionTime:
        snprintf(text, sizeof text, "%02u:%02u:%02u.%03u", h, m, s % 60,
                 static_cast<unsigned>(n / 10000 % 1000));
        break;
      case kPositionSeconds:
      case kPositionFrames:
      case kPositionBeats:
        snprintf(text, sizeof text, "%.3f", static_cast<double>(n) * 1e-7);
        break;
      case kPositionMeasures:
      case kPositionMeasureLength:
        snprintf(text, sizeof text, "%u.%u.%03u", s / 2, s % 4, static_cast<unsigned>(n % 960));
        break;
      case kPositionFeet40:
      case kPositionFeet16:
        snprintf(text, sizeof text, "%lld+%lld", frames / 16, frames % 16);
        break;
      case kPositionCompactTime:
        snprintf(text, sizeof text, "%u:%02u:%02u", h, m, s % 60);
        break;
      default:
        snprintf(text, sizeof text, "%02u:%02u:%02u:%02u", h, m, s % 60,
                 static_cast<unsigned>(n / 400000 % 25));
    }
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimePositionTextSnprintf)->DenseRange(0, 19);

void TimePositionRead(benchmark::State& state) {
  const _qvposfmt format = formatOf(static_cast<int32_t>(state.range(0)));
  static WCHAR texts[kLabels][64];
  int64_t nanos = 0;
  for (auto& text : texts) QvNanoTimeToTextN(text, 64, &format, nanos = nextTime(nanos), 0);
  uint32_t i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(QvTextToNanoTimeToken(texts[++i % kLabels], &format, 0, nullptr));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(TimePositionRead)->DenseRange(0, 18);

// Separators of measures are tokens; start-up would have defined them.
const bool ready = [] {
  qv::initializeTokens();
  qv::defineSeparatorTokens();
  return true;
}();

}  // namespace
