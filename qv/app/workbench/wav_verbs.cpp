// wav: what a sound file holds, how loud it is, its spectrum, and its channels taken apart.

#include <algorithm>
#include <cmath>
#include <memory>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/picture.h"
#include "qv/app/workbench/verbs.h"
#include "qv/app/workbench/wav.h"
#include "qv/core/convert.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/perf/perf.h"

namespace qv::workbench {
namespace {

constexpr size_t kBlockSamples = 256 * 1024;
constexpr int64_t kMinPoints = 64;
constexpr int64_t kMaxPoints = 65536;
constexpr int64_t kUsualPoints = 4096;
constexpr double kFloorDb = -200;
constexpr uint64_t kMaxSplitBytes = uint64_t{1} << 30;
constexpr uint32_t kMaxSplitChannels = 256;

WString ascii(const std::string& text) {
  return WString(text.begin(), text.end());
}

// Machine-neutral, with two decimals; never "-0.00".
WString decimal(double value) {
  WCHAR text[64] = {};
  QvCchPrintF(text, 64, nullptr, TEXT("%.2f"), value > -0.005 && value < 0 ? 0.0 : value);
  return text;
}

// Against full scale; silence has no level. For people: as the toolkit writes levels in their language.
WString decibels(double amplitude, bool forPeople) {
  constexpr float kSilence = -1000;
  const double db = amplitude > 0 ? 20 * std::log10(amplitude) : kSilence;
  if (forPeople) return QvGetdBStringFloat(static_cast<float>(db), 2, kSilence, 1);
  return amplitude > 0 ? decimal(db) : WString(TEXT("-inf"));
}

// A file's frames block by block, each channel in a row of its own.
class Sound {
 public:
  HRESULT open(Session& session, const WString& name) {
    HRESULT status = file_.open(session.inputPath(name));
    if (FAILED(status)) return session.fail(status, TEXT("The file could not be opened: ") + name);
    status = wav_.open();
    if (status == kUnsupported) {
      return session.fail(status, TEXT("The file's samples are compressed or of an unknown size: ") + name);
    }
    if (FAILED(status))
      return session.fail(status, TEXT("The file is not a sound file, or damaged: ") + name);
    const size_t channels = wav_.format().channels;
    capacity_ = std::max<size_t>(1, kBlockSamples / channels);
    frames_.resize(capacity_ * channels);
    samples_.resize(capacity_ * channels);
    for (size_t c = 0; c < channels; ++c) rows_.push_back(samples_.data() + c * capacity_);
    return kOk;
  }

  const WavFormat& format() const { return wav_.format(); }

  // The next block; 0 frames at the end.
  HRESULT next(Session& session, size_t* got) {
    const HRESULT status = wav_.read(frames_.data(), capacity_, got);
    if (FAILED(status)) return session.fail(status, TEXT("The file could not be read to its end."));
    QvPerfsDeinterleave_32f(frames_.data(), static_cast<int32_t>(format().channels),
                            static_cast<int32_t>(*got), rows_.data());
    return kOk;
  }
  const float* channel(size_t index) const { return rows_[index]; }

 private:
  InputFile file_;
  WavReader wav_{[this](char* buffer, size_t capacity) { return file_.read(buffer, capacity); }};
  size_t capacity_ = 0;
  std::vector<float> frames_, samples_;
  std::vector<float*> rows_;
};

HRESULT showInfo(Session& session, const Step& step) {
  Sound sound;
  if (const HRESULT status = sound.open(session, step.words[2]); FAILED(status)) return status;
  uint64_t frames = 0;
  for (size_t got = 1; got > 0; frames += got) {
    if (const HRESULT status = sound.next(session, &got); FAILED(status)) return status;
  }
  const WavFormat& format = sound.format();
  const double seconds = static_cast<double>(frames) / format.sampleRate;
  session.record({TEXT("wav"), TEXT("samples"), sampleKindName(format)});
  session.record({TEXT("wav"), TEXT("channels"), format.channels});
  session.record({TEXT("wav"), TEXT("frames a second"), format.sampleRate});
  session.record({TEXT("wav"), TEXT("frames"), static_cast<int64_t>(frames)});
  session.record({TEXT("wav"), TEXT("seconds"), decimal(seconds)});
  return kOk;
}

struct Level {
  double peak = 0;
  double squares = 0;
};

void addLevel(Level& level, const float* samples, size_t count) {
  float low = 0, high = 0;
  QvPerfsMinMax_32f(samples, static_cast<int32_t>(count), &low, &high);
  if (low <= high) level.peak = std::max({level.peak, -double{low}, double{high}});
  for (size_t i = 0; i < count; ++i) {
    if (samples[i] == samples[i]) level.squares += double{samples[i]} * samples[i];
  }
}

HRESULT showLevels(Session& session, const Step& step) {
  Sound sound;
  if (const HRESULT status = sound.open(session, step.words[2]); FAILED(status)) return status;
  const WString* locale = step.option(TEXT("locale"));
  const bool people = locale && *locale == TEXT("1");
  std::vector<Level> levels(sound.format().channels);
  uint64_t frames = 0;
  for (size_t got = 1; got > 0; frames += got) {
    if (const HRESULT status = sound.next(session, &got); FAILED(status)) return status;
    for (size_t c = 0; c < levels.size() && got > 0; ++c) addLevel(levels[c], sound.channel(c), got);
  }
  for (size_t c = 0; c < levels.size(); ++c) {
    const double rms = frames > 0 ? std::sqrt(levels[c].squares / static_cast<double>(frames)) : 0;
    session.record({TEXT("level"), static_cast<int64_t>(c + 1), decibels(levels[c].peak, people),
                    decibels(rms, people)});
  }
  return kOk;
}

// Powers averaged over half-overlapping stretches, each under a Hann window. A full-scale sine reads 0 dB.
class SpectrumMeter {
 public:
  explicit SpectrumMeter(int order)
      : size_(size_t{1} << order), window_(size_), data_(size_), powers_(size_ / 2 + 1) {
    constexpr double kTwoPi = 6.283185307179586;
    for (size_t i = 0; i < size_; ++i) {
      window_[i] = 0.5 - 0.5 * std::cos(kTwoPi * static_cast<double>(i) / static_cast<double>(size_));
    }
    int32_t bytes = 0;
    status_ = QvPerfsFFTInitAlloc_R_64f(&plan_, order, kQvPerfFftNoDivByAny, kQvPerfHintNone);
    if (!FAILED(status_)) status_ = QvPerfsFFTGetBufSize_R_64f(plan_, &bytes);
    buffer_ = QvPerfsMalloc_8u(bytes);
  }
  ~SpectrumMeter() {
    QvPerfsFree(buffer_);
    if (plan_) QvPerfsFFTFree_R_64f(plan_);
  }
  SpectrumMeter(const SpectrumMeter&) = delete;
  SpectrumMeter& operator=(const SpectrumMeter&) = delete;

  HRESULT status() const { return FAILED(status_) ? status_ : kOk; }

  // More samples of one channel, whose unfinished stretch is `rest`.
  void add(std::vector<float>& rest, const float* samples, size_t count) {
    rest.insert(rest.end(), samples, samples + count);
    size_t at = 0;
    for (; rest.size() - at >= size_; at += size_ / 2) measure(rest.data() + at, size_);
    rest.erase(rest.begin(), rest.begin() + static_cast<ptrdiff_t>(at));
  }
  // A sound that is shorter than one stretch is taken as if silence followed.
  void finish(const std::vector<float>& rest) {
    if (stretches_ == 0) measure(rest.data(), rest.size());
  }

  // Levels in dB of the frequencies k / size, k from 0 to size / 2.
  std::vector<double> levels() const {
    std::vector<double> result;
    for (size_t k = 0; k < powers_.size(); ++k) {
      const bool edge =
          k == 0 || k == size_ / 2;  // one line there stands for itself alone, elsewhere for two
      const double full = static_cast<double>(size_) / 2 * (edge ? 1.0 : 0.5);
      const double power = powers_[k] / static_cast<double>(stretches_) / (full * full);
      result.push_back(power > 0 ? std::max(kFloorDb, 10 * std::log10(power)) : kFloorDb);
    }
    return result;
  }

 private:
  void measure(const float* samples, size_t count) {
    for (size_t i = 0; i < size_; ++i) data_[i] = i < count ? samples[i] * window_[i] : 0;
    QvPerfsFFTFwd_RToPerm_64f_I(data_.data(), plan_, buffer_);
    powers_[0] += data_[0] * data_[0];
    powers_[size_ / 2] += data_[1] * data_[1];
    for (size_t k = 1; k < size_ / 2; ++k) {
      powers_[k] += data_[2 * k] * data_[2 * k] + data_[2 * k + 1] * data_[2 * k + 1];
    }
    ++stretches_;
  }

  size_t size_;
  std::vector<double> window_, data_, powers_;
  uint64_t stretches_ = 0;
  HRESULT status_ = kOk;
  void* plan_ = nullptr;
  uint8_t* buffer_ = nullptr;
};

enum Colour : uint8_t { kPaper, kMinorGrid, kGrid, kFrame, kArea, kCurve, kInk };
const std::vector<uint32_t> kPalette = {0xffffff, 0xf0f2f4, 0xd8dce0, 0x70787f, 0xc3daf0, 0x1c5f9f, 0x2a2f34};

constexpr int kWidth = 1000, kHeight = 560;
constexpr int kLeft = 84, kRight = kWidth - 24, kTop = 48, kBottom = kHeight - 60;
constexpr int kTextScale = 2;
constexpr int kCellWidth = Picture::kLetterWidth * kTextScale,
              kDigitHeight = (Picture::kLetterHeight - 2) * kTextScale;

// The curve over a logarithmic frequency axis and a dB axis.
class SpectrumChart {
 public:
  SpectrumChart(const std::vector<double>& levels, double sampleRate)
      : levels_(levels),
        picture_(kWidth, kHeight, kPalette),
        binWidth_(sampleRate / 2 / (levels.size() - 1.0)) {
    highest_ = sampleRate / 2;
    lowest_ = std::min(20.0, highest_ / 10);
    const double loudest = *std::max_element(levels.begin(), levels.end());
    topDb_ = loudest > 0 ? 20 * std::ceil(loudest / 20) : 0;
  }

  std::string draw(const std::string& title) {
    drawArea();
    drawGrid();
    drawCurve();
    drawFrame();
    picture_.text(kLeft + 2 * kCellWidth, kTop - 2 * kDigitHeight, title, kInk, kTextScale);
    return picture_.png();
  }

 private:
  static constexpr double kRangeDb = 120;

  int columnOf(double frequency) const {
    const double at = std::log(frequency / lowest_) / std::log(highest_ / lowest_);
    return kLeft + static_cast<int>(std::lround(at * (kRight - kLeft)));
  }
  double frequencyOf(double column) const {
    return lowest_ * std::pow(highest_ / lowest_, (column - kLeft) / (kRight - kLeft));
  }
  int rowOf(double db) const {
    const double at = std::clamp((topDb_ - db) / kRangeDb, 0.0, 1.0);
    return kTop + static_cast<int>(std::lround(at * (kBottom - kTop)));
  }

  // The loudest line between two frequencies, or the level in between two lines where there is none.
  double levelBetween(double from, double to) const {
    const double first = std::ceil(from / binWidth_), last = std::ceil(to / binWidth_) - 1;
    const auto top = static_cast<double>(levels_.size() - 1);
    if (first <= last) {
      const auto begin = levels_.begin() + static_cast<ptrdiff_t>(std::min(first, top));
      const auto end = levels_.begin() + static_cast<ptrdiff_t>(std::min(last, top));
      return *std::max_element(begin, end + 1);
    }
    const double at = std::min(from / binWidth_, top - 1);
    const auto line = static_cast<size_t>(at);
    const double part = at - static_cast<double>(line);
    return levels_[line] * (1 - part) + levels_[line + 1] * part;
  }

  void label(int centre, int top, const std::string& text) {
    const int width = static_cast<int>(text.size()) * kCellWidth - kTextScale;
    picture_.text(centre - width / 2, top, text, kInk, kTextScale);
  }

  void drawGrid() {
    for (int decade = 1; decade <= 1000000; decade *= 10) {
      for (int digit = 1; digit <= 9; ++digit) {
        const double frequency = static_cast<double>(decade) * digit;
        if (frequency < lowest_ || frequency > highest_) continue;
        const bool labelled = digit == 1 || digit == 2 || digit == 5;
        const int x = columnOf(frequency);
        picture_.fill(x, kTop, x + 1, kBottom, labelled ? kGrid : kMinorGrid);
        const int number = decade * digit;
        const std::string text =
            number >= 1000 ? std::to_string(number / 1000) + "k" : std::to_string(number);
        if (labelled) label(x, kBottom + 8, text);
      }
    }
    for (double db = topDb_; db >= topDb_ - kRangeDb; db -= 10) {
      const bool labelled = std::fmod(topDb_ - db, 20) == 0;
      const int y = rowOf(db);
      picture_.fill(kLeft, y, kRight, y + 1, labelled ? kGrid : kMinorGrid);
      if (!labelled) continue;
      const std::string text = std::to_string(static_cast<int>(db));
      picture_.text(kLeft - 8 - static_cast<int>(text.size()) * kCellWidth, y - kDigitHeight / 2, text, kInk,
                    kTextScale);
    }
    picture_.text(kLeft - 8 - 4 * kCellWidth, kTop - 2 * kDigitHeight, "dBFS", kInk, kTextScale);
    picture_.text(kRight - 2 * kCellWidth, kBottom + 8 + kDigitHeight + 8, "Hz", kInk, kTextScale);
  }

  int curveAt(int x) const { return rowOf(levelBetween(frequencyOf(x), frequencyOf(x + 1))); }

  void drawArea() {
    for (int x = kLeft; x < kRight; ++x) picture_.fill(x, curveAt(x), x + 1, kBottom, kArea);
  }

  void drawCurve() {
    int before = curveAt(kLeft);
    for (int x = kLeft; x < kRight; ++x) {
      const int y = curveAt(x);
      picture_.fill(x, std::min(before, y) - 1, x + 1, std::max(before, y) + 1, kCurve);
      before = y;
    }
  }

  void drawFrame() {
    picture_.fill(kLeft, kTop, kLeft + 1, kBottom + 1, kFrame);
    picture_.fill(kLeft, kBottom, kRight, kBottom + 1, kFrame);
  }

  const std::vector<double>& levels_;
  Picture picture_;
  double binWidth_, lowest_ = 0, highest_ = 0, topDb_ = 0;
};

std::string spectrumText(const std::vector<double>& levels, double sampleRate) {
  std::string text = "# Hz\tdBFS\n";
  for (size_t k = 0; k < levels.size(); ++k) {
    const double frequency = sampleRate / 2 * static_cast<double>(k) / static_cast<double>(levels.size() - 1);
    text += encodeUtf8(decimal(frequency)) + '\t' + encodeUtf8(decimal(levels[k])) + '\n';
  }
  return text;
}

struct SpectrumRequest {
  int64_t points = kUsualPoints;
  int64_t channel = 0;  // from 1; 0 means all of them
  int order = 0;
  bool picture = false;
};

bool endsWith(const WString& text, const WString& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

HRESULT readRequest(Session& session, const Step& step, SpectrumRequest& request) {
  if (step.words.size() < 4) {
    return session.fail(kInvalidArgument, TEXT("A spectrum takes a file and an output, OUT.png or OUT.txt."));
  }
  const WString* points = step.option(TEXT("size"));
  const WString* channel = step.option(TEXT("channel"));
  if (points && !parseInteger(*points, request.points)) request.points = 0;
  if (channel && (!parseInteger(*channel, request.channel) || request.channel < 1)) request.channel = -1;
  while (request.order < 17 && int64_t{1} << request.order < request.points) ++request.order;
  if (request.points < kMinPoints || request.points > kMaxPoints ||
      int64_t{1} << request.order != request.points) {
    return session.fail(kInvalidArgument, TEXT("The size is a power of two from 64 to 65536."));
  }
  request.picture = endsWith(step.words[3], TEXT(".png"));
  if (!request.picture && !endsWith(step.words[3], TEXT(".txt"))) {
    return session.fail(kInvalidArgument, TEXT("The output's name ends in .png or .txt."));
  }
  return kOk;
}

HRESULT measureSpectrum(Session& session, Sound& sound, const SpectrumRequest& request,
                        SpectrumMeter& meter) {
  const size_t channels = sound.format().channels;
  const size_t from = request.channel > 0 ? static_cast<size_t>(request.channel) - 1 : 0;
  const size_t to = request.channel > 0 ? from + 1 : channels;
  std::vector<std::vector<float>> rests(channels);
  for (size_t got = 1; got > 0;) {
    if (const HRESULT status = sound.next(session, &got); FAILED(status)) return status;
    for (size_t c = from; c < to; ++c) meter.add(rests[c], sound.channel(c), got);
  }
  for (size_t c = from; c < to; ++c) meter.finish(rests[c]);
  return kOk;
}

HRESULT drawSpectrum(Session& session, const Step& step) {
  SpectrumRequest request;
  HRESULT status = readRequest(session, step, request);
  if (FAILED(status)) return status;
  Sound sound;
  if (status = sound.open(session, step.words[2]); FAILED(status)) return status;
  const WavFormat& format = sound.format();
  if (request.channel < 0 || request.channel > static_cast<int64_t>(format.channels)) {
    return session.fail(kInvalidArgument, TEXT("The file has no such channel; the first is 1."));
  }
  SpectrumMeter meter(request.order);
  if (status = meter.status(); FAILED(status))
    return session.fail(status, TEXT("The system is low on memory."));
  if (status = measureSpectrum(session, sound, request, meter); FAILED(status)) return status;
  const std::vector<double> levels = meter.levels();
  const std::string which = request.channel > 0    ? "channel " + std::to_string(request.channel)
                            : format.channels == 1 ? "1 channel"
                                                   : std::to_string(format.channels) + " channels";
  const std::string title =
      std::to_string(format.sampleRate) + " Hz, " + which + ", " + std::to_string(request.points) + " points";
  const std::string bytes = request.picture ? SpectrumChart(levels, format.sampleRate).draw(title)
                                            : spectrumText(levels, format.sampleRate);
  status = writeFile(session.outputPath(step.words[3]), bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The result could not be written: ") + step.words[3]);
  const size_t loudest = static_cast<size_t>(std::max_element(levels.begin(), levels.end()) - levels.begin());
  const double frequency =
      static_cast<double>(format.sampleRate) * static_cast<double>(loudest) / request.points;
  session.record({TEXT("spectrum"), step.words[3], decimal(frequency), decimal(levels[loudest])});
  return kOk;
}

HRESULT writeChannel(Session& session, const WString& name, const std::vector<float>& samples,
                     uint32_t rate) {
  const HRESULT status =
      writeFile(session.outputPath(name), wavOfFloats(samples.data(), samples.size(), 1, rate));
  if (FAILED(status)) return session.fail(status, TEXT("The result could not be written: ") + name);
  session.record({TEXT("channel"), name, static_cast<int64_t>(samples.size())});
  return kOk;
}

// Each channel becomes a mono file of 32-bit floats, which hold all but the widest samples exactly.
HRESULT splitChannels(Session& session, const Step& step) {
  if (step.words.size() < 4)
    return session.fail(kInvalidArgument, TEXT("A split takes a file and a folder."));
  Sound sound;
  HRESULT status = sound.open(session, step.words[2]);
  if (FAILED(status)) return status;
  const WavFormat& format = sound.format();
  if (format.channels > kMaxSplitChannels) {
    return session.fail(kUnsupported, TEXT("The file has more than 256 channels."));
  }
  std::vector<std::vector<float>> rows(format.channels);
  for (size_t got = 1; got > 0;) {
    if (status = sound.next(session, &got); FAILED(status)) return status;
    for (size_t c = 0; c < rows.size(); ++c)
      rows[c].insert(rows[c].end(), sound.channel(c), sound.channel(c) + got);
    if (uint64_t{rows[0].size()} * rows.size() * sizeof(float) > kMaxSplitBytes) {
      return session.fail(kOutOfMemory, TEXT("The file is too long to be split at once (1 GiB of samples)."));
    }
  }
  for (size_t c = 0; c < rows.size(); ++c) {
    const WString name = step.words[3] + TEXT("/channel-") + ascii(std::to_string(c + 1)) + TEXT(".wav");
    if (status = writeChannel(session, name, rows[c], format.sampleRate); FAILED(status)) return status;
  }
  return kOk;
}

struct Work {
  const WCHAR* name;
  HRESULT (*run)(Session& session, const Step& step);
};
constexpr Work kWorks[] = {
    {TEXT("info"), showInfo},
    {TEXT("levels"), showLevels},
    {TEXT("spectrum"), drawSpectrum},
    {TEXT("split"), splitChannels},
};

HRESULT runWav(Session& session, const Step& step) {
  for (const Work& work : kWorks) {
    if (step.words[1] == work.name) return work.run(session, step);
  }
  return session.fail(kInvalidArgument, TEXT("The work is info, levels, spectrum or split."));
}

constexpr Verb kVerbs[] = {
    {"wav",
     "info FILE | levels FILE [locale=1] | spectrum FILE OUT.png|OUT.txt [size=4096] [channel=N] | split "
     "FILE FOLDER",
     2, 3, "size channel locale", runWav},
};

}  // namespace

std::span<const Verb> wavVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
