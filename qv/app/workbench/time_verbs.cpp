// timecode, position, cues: labels, positions in all formats, and lists of markers from one format into
// another.
#include <algorithm>
#include <charconv>
#include <cmath>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/time/positions.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kTextCapacity = 512;
constexpr int64_t kMaxListed = 1000000;
constexpr double kUnitsPerSecond = 1e7;

struct Name {
  const WCHAR* name;
  int32_t number;
};

const Name* findName(std::span<const Name> names, const WString& text) {
  int64_t number = -1;
  parseInteger(text, number);
  for (const Name& name : names)
    if (text == name.name || number == name.number) return &name;
  return nullptr;
}

// ---- timecode ---------------------------------------------------------------------------------------------

constexpr Name kTimecodes[] = {
    {TEXT("30"), kSmpte30}, {TEXT("29.97df"), kSmpte2997Drop}, {TEXT("25"), kSmpte25},
    {TEXT("24"), kSmpte24}, {TEXT("29.97"), kSmpte2997},       {TEXT("23.976"), kSmpte23976},
};

WString labelText(const _smpteval& value) {
  WCHAR text[64] = {};
  const WCHAR separator = value.format == kSmpte2997Drop ? TEXT(';') : TEXT(':');
  QvCchPrintF(text, 64, nullptr, TEXT("%02u:%02u:%02u%c%02u"), value.hours, value.minutes, value.seconds,
              separator, value.frames);
  return text;
}

bool hasDigit(WStringView text) {
  return text.find_first_of(TEXT("0123456789")) != WStringView::npos;
}

HRESULT readLabel(Session& session, const WString& text, _smpteval& value) {
  if (hasDigit(text) && QVSMPTE_TextToSMPTE(text.c_str(), &value) == 0) return kOk;
  return session.fail(kInvalidArgument, TEXT("A label has one to four numbers, as 01:02:03:04: ") + text);
}

struct Call {
  Session& session;
  const WString& format;
  const Step& step;
  _smpteval first;  // the format is set
  const WString& word(size_t index) const { return step.words[index + 3]; }
};

HRESULT showLabel(Call& call) {
  int64_t count = 0;
  if (!parseInteger(call.word(0), count) || count < 0 || count > UINT32_MAX) {
    return call.session.fail(kInvalidArgument, TEXT("A count is a whole number from 0 to 4294967295."));
  }
  QVSMPTE_FrameCountToSMPTE(&call.first, static_cast<uint32_t>(count));
  call.session.record({TEXT("label"), call.format, count, labelText(call.first)});
  return kOk;
}

HRESULT showCount(Call& call) {
  if (const HRESULT status = readLabel(call.session, call.word(0), call.first); FAILED(status)) return status;
  call.session.record(
      {TEXT("count"), call.format, labelText(call.first), QVSMPTE_SMPTEToFrameCount(&call.first)});
  return kOk;
}

HRESULT showNanos(Call& call) {
  if (const HRESULT status = readLabel(call.session, call.word(0), call.first); FAILED(status)) return status;
  call.session.record({TEXT("nanos"), call.format, labelText(call.first), QVSMPTE_SMPTEToNanos(&call.first)});
  return kOk;
}

HRESULT readPair(Call& call, _smpteval& second) {
  second = call.first;
  const HRESULT status = readLabel(call.session, call.word(0), call.first);
  return FAILED(status) ? status : readLabel(call.session, call.word(1), second);
}

template <void (*Combine)(_smpteval*, const _smpteval*)>
HRESULT showCombined(Call& call) {
  _smpteval second = {};
  if (const HRESULT status = readPair(call, second); FAILED(status)) return status;
  const WString a = labelText(call.first);
  Combine(&call.first, &second);
  call.session.record({call.step.words[2], call.format, a, labelText(second), labelText(call.first)});
  return kOk;
}

HRESULT showOrder(Call& call) {
  _smpteval second = {};
  if (const HRESULT status = readPair(call, second); FAILED(status)) return status;
  call.session.record({TEXT("compare"), call.format, labelText(call.first), labelText(second),
                       QVSMPTE_SMPTECompare(&call.first, &second)});
  return kOk;
}

// Frame by frame, each with its count and its time.
HRESULT showList(Call& call) {
  int64_t frames = 0;
  if (!parseInteger(call.word(1), frames) || frames < 0 || frames > kMaxListed) {
    return call.session.fail(kInvalidArgument, TEXT("A list has at most 1,000,000 frames."));
  }
  if (const HRESULT status = readLabel(call.session, call.word(0), call.first); FAILED(status)) return status;
  const uint32_t from = QVSMPTE_SMPTEToFrameCount(&call.first);
  for (uint32_t i = 0; i < frames; ++i) {
    _smpteval value = call.first;
    QVSMPTE_FrameCountToSMPTE(&value, from + i);
    call.session.record({labelText(value), QVSMPTE_SMPTEToFrameCount(&value), QVSMPTE_SMPTEToNanos(&value)});
  }
  return kOk;
}

struct Work {
  const WCHAR* name;
  size_t words;
  HRESULT (*run)(Call& call);
};

constexpr Work kWorks[] = {
    {TEXT("label"), 1, showLabel},
    {TEXT("count"), 1, showCount},
    {TEXT("nanos"), 1, showNanos},
    {TEXT("add"), 2, showCombined<QVSMPTE_AddSMPTE>},
    {TEXT("subtract"), 2, showCombined<QVSMPTE_SubtractSMPTE>},
    {TEXT("compare"), 2, showOrder},
    {TEXT("list"), 2, showList},
};

HRESULT runTimecode(Session& session, const Step& step) {
  const Name* format = findName(kTimecodes, step.words[1]);
  if (format == nullptr) {
    return session.fail(kInvalidArgument,
                        TEXT("The format is 30, 29.97df, 25, 24, 29.97, 23.976 or its number, 1 to 6."));
  }
  for (const Work& work : kWorks) {
    if (step.words[2] != work.name) continue;
    if (step.words.size() != work.words + 3) break;
    const WString name = format->name;
    Call call = {session, name, step, {static_cast<uint32_t>(format->number), 0, 0, 0, 0, 0}};
    return work.run(call);
  }
  return session.fail(kInvalidArgument, TEXT("The work is label COUNT, count LABEL, nanos LABEL, add A B, "
                                             "subtract A B, compare A B or list FROM COUNT."));
}

// ---- position ---------------------------------------------------------------------------------------------

constexpr Name kPositions[] = {
    {TEXT("samples"), kPositionSamples},
    {TEXT("time"), kPositionTime},
    {TEXT("seconds"), kPositionSeconds},
    {TEXT("time-frames"), kPositionTimeAndFrames},
    {TEXT("frames"), kPositionFrames},
    {TEXT("measures"), kPositionMeasures},
    {TEXT("29.97"), kPositionSmpte2997},
    {TEXT("30"), kPositionSmpte30},
    {TEXT("29.97df"), kPositionSmpte2997Drop},
    {TEXT("25"), kPositionSmpte25},
    {TEXT("24"), kPositionSmpte24},
    {TEXT("nanos"), kPositionNanoTime},
    {TEXT("microseconds"), kPositionMicroseconds},
    {TEXT("measure-length"), kPositionMeasureLength},
    {TEXT("beats"), kPositionBeats},
    {TEXT("feet40"), kPositionFeet40},
    {TEXT("feet16"), kPositionFeet16},
    {TEXT("time75"), kPositionTime75},
    {TEXT("23.976"), kPositionSmpte23976},
    {TEXT("clock"), kPositionCompactTime},
};

// The timecode that a position format shows; 0 for those that show none.
uint32_t timecodeOf(int32_t position) {
  for (const Name& name : kPositions) {
    if (name.number != position) continue;
    const auto* timecode =
        std::find_if(std::begin(kTimecodes), std::end(kTimecodes),
                     [&](const Name& candidate) { return WStringView(candidate.name) == name.name; });
    return timecode == std::end(kTimecodes) ? 0 : static_cast<uint32_t>(timecode->number);
  }
  return 0;
}

// "25", "29.97" or "30000/1001".
bool parseRate(WStringView text, double& value) {
  const size_t slash = text.find(TEXT('/'));
  double divisor = 1;
  if (!parseNumber(text.substr(0, slash), value)) return false;
  if (slash != WStringView::npos && !parseNumber(text.substr(slash + 1), divisor)) return false;
  value /= divisor;
  return value >= 0.001 && value <= 1e9;
}

bool wholeOption(const Step& step, WStringView key, int64_t low, int64_t high, int64_t& value) {
  const WString* text = step.option(key);
  return text == nullptr || (parseInteger(*text, value) && value >= low && value <= high);
}

bool rateOption(const Step& step, WStringView key, double& value) {
  const WString* text = step.option(key);
  return text == nullptr || parseRate(*text, value);
}

// The rates of a step: what a session in a studio starts with, unless the step says otherwise.
HRESULT readRates(Session& session, const Step& step, _qvposfmt& format) {
  double rate = 0, frames = 24, tempo = 120;
  int64_t beats = 4, note = 4, ticks = 960, offset = 0;
  const bool good =
      rateOption(step, TEXT("rate"), rate) && rateOption(step, TEXT("fps"), frames) &&
      rateOption(step, TEXT("tempo"), tempo) && wholeOption(step, TEXT("beats"), 1, 64, beats) &&
      wholeOption(step, TEXT("note"), 1, 64, note) && wholeOption(step, TEXT("ticks"), 1, 100000, ticks) &&
      wholeOption(step, TEXT("offset"), INT64_MIN / 4, INT64_MAX / 4, offset);
  if (!good) {
    return session.fail(kInvalidArgument,
                        TEXT("rate, fps and tempo run from 0.001 to 1e9 (30000/1001 is a rate), beats and "
                             "note run from 1 to 64, ticks from 1 to 100000; offset is a nano time."));
  }
  format.sampleRate = rate > 0 ? static_cast<uint32_t>(std::max(std::lround(rate), 1L)) : 48000;
  format.frameRate = rate > 0 && step.option(TEXT("fps")) == nullptr ? rate : frames;
  format.tempo = tempo;
  format.rulerOffset = offset;
  format.beatNote = static_cast<uint16_t>(note);
  format.beatsPerMeasure = static_cast<uint16_t>(beats);
  format.ticksPerBeat = static_cast<uint32_t>(ticks);
  return kOk;
}

const Name* positionFormat(Session& session, const WString& text) {
  const Name* name = findName(kPositions, text);
  if (name == nullptr) {
    session.fail(kInvalidArgument,
                 TEXT("There is no position format ") + text + TEXT("; docs/time.md lists them."));
  }
  return name;
}

bool readFlags(const Step& step, uint32_t& flags) {
  for (size_t i = 4; i < step.words.size(); ++i) {
    if (step.words[i] == TEXT("short"))
      flags |= kPositionShort;
    else if (step.words[i] == TEXT("distance"))
      flags |= kPositionDistance;
    else
      return false;
  }
  return true;
}

WString positionText(const _qvposfmt& format, int64_t nanos, uint32_t flags) {
  WCHAR text[kTextCapacity] = {};
  QvNanoTimeToTextExN(text, kTextCapacity, &format, nanos, flags);
  return text;
}

HRESULT writePosition(Session& session, const Step& step, const _qvposfmt& format, const Name& name,
                      uint32_t flags) {
  int64_t nanos = 0;
  if (!parseInteger(step.words[3], nanos)) {
    return session.fail(kInvalidArgument, TEXT("A position is a whole number of units of 100 nanoseconds."));
  }
  session.record({TEXT("position"), name.name, nanos, positionText(format, nanos, flags)});
  return kOk;
}

// Readers leave the ruler's offset to their caller: the text may be a distance.
int64_t offsetOf(const _qvposfmt& format, uint32_t flags) {
  return flags & kPositionDistance ? 0 : format.rulerOffset;
}

HRESULT readPosition(Session& session, const Step& step, const _qvposfmt& format, const Name& name,
                     uint32_t flags) {
  const WCHAR* end = nullptr;
  const WString& text = step.words[3];
  const int64_t read = QvTextToNanoTimeToken2(text.c_str(), &format, 0, 0, 0, flags, &end);
  int64_t nanos = 0;
  if (__builtin_add_overflow(read, offsetOf(format, flags), &nanos)) nanos = read;
  session.record({TEXT("position"), name.name, text, nanos, end});
  return kOk;
}

HRESULT runPosition(Session& session, const Step& step) {
  const Name* name = positionFormat(session, step.words[1]);
  if (name == nullptr) return kInvalidArgument;
  _qvposfmt format = {};
  format.format = name->number;
  if (const HRESULT status = readRates(session, step, format); FAILED(status)) return status;
  uint32_t flags = 0;
  const bool writes = step.words[2] == TEXT("write");
  if (!readFlags(step, flags) || (!writes && step.words[2] != TEXT("read"))) {
    return session.fail(kInvalidArgument,
                        TEXT("The work is write NANOS or read TEXT, then short and distance."));
  }
  return writes ? writePosition(session, step, format, *name, flags)
                : readPosition(session, step, format, *name, flags);
}

// ---- cues -------------------------------------------------------------------------------------------------

constexpr uint64_t kMaxListBytes = uint64_t{64} << 20;
constexpr int64_t kBeyondTime = int64_t{1} << 61;

bool isDisplayOnly(int32_t format) {
  return format == kPositionBeats || format == kPositionCompactTime;
}

// The step of the formats that show what a time lies in, not what it lies next to; 0 for those that round.
double cuttingStep(const _qvposfmt& format) {
  const uint32_t timecode = timecodeOf(format.format);
  if (timecode != 0) {
    _smpteval minute = {timecode, 0, 10, 0, 0, 0};
    return static_cast<double>(QVSMPTE_SMPTEToNanos(&minute)) / QVSMPTE_SMPTEToFrameCount(&minute);
  }
  if (format.format == kPositionFeet40 || format.format == kPositionFeet16)
    return kUnitsPerSecond / format.frameRate;
  if (format.format == kPositionMeasures || format.format == kPositionMeasureLength)
    return 60 * kUnitsPerSecond / format.tempo / format.ticksPerBeat;
  return 0;
}

// A marker goes to the nearest point of the other grid, so that it comes back to where it was.
int64_t nearestIn(const _qvposfmt& format, int64_t nanos) {
  const int64_t half = static_cast<int64_t>(cuttingStep(format) / 2);
  return nanos >= format.rulerOffset ? nanos + half : nanos - half;
}

// A label is one that exists, written out in the ranges of its fields.
bool isLabel(uint32_t timecode, const WCHAR* text) {
  _smpteval raw = {};
  if (QVSMPTE_TextToSMPTE(text, &raw) != 0) return false;
  _smpteval again = raw;
  raw.format = again.format = timecode;
  QVSMPTE_FrameCountToSMPTE(&again, QVSMPTE_SMPTEToFrameCount(&raw));
  return QVSMPTE_SMPTECompare(&raw, &again) == 0;
}

bool isLetter(WCHAR c) {
  return (c >= TEXT('a') && c <= TEXT('z')) || (c >= TEXT('A') && c <= TEXT('Z'));
}

bool hasRest(const WCHAR* end) {
  while (*end == TEXT(' ')) ++end;
  return *end != 0;
}

// Hours start again after 24 in these, and a marker would come back on another day.
bool wrapsAround(const _qvposfmt& format) {
  return timecodeOf(format.format) != 0 || format.format == kPositionTime ||
         format.format == kPositionTimeAndFrames || format.format == kPositionTime75 ||
         format.format == kPositionCompactTime;
}

constexpr int64_t kDay = int64_t{86400} * 10000000;

// Gives null, or what is wrong with the text.
const WCHAR* readCue(const _qvposfmt& from, const WString& text, int64_t& nanos) {
  if (!hasDigit(text) || std::any_of(text.begin(), text.end(), isLetter)) return TEXT("is no position");
  const uint32_t timecode = timecodeOf(from.format);
  const size_t number = text.find_first_not_of(TEXT(" -"));
  if (timecode != 0 && !isLabel(timecode, text.c_str() + number)) return TEXT("is no label of this format");
  const WCHAR* end = nullptr;
  const int64_t read = QvTextToNanoTimeToken(text.c_str(), &from, 0, &end);
  if (hasRest(end)) return TEXT("has more in it than a position");
  if (read >= kBeyondTime || read <= -kBeyondTime) return TEXT("lies beyond all time");
  nanos = read + from.rulerOffset;
  return nullptr;
}

const WCHAR* convertCue(const _qvposfmt& from, const _qvposfmt& to, const WString& text, WString& result) {
  int64_t nanos = 0;
  if (const WCHAR* fault = readCue(from, text, nanos)) return fault;
  const int64_t shown = nearestIn(to, nanos);
  if (wrapsAround(to) && std::abs(shown - to.rulerOffset) >= kDay) return TEXT("lies beyond 24 hours");
  result = positionText(to, shown, 0);
  return nullptr;
}

// A list line by line; what isn't a position stands as it was.
class CueList {
 public:
  CueList(const _qvposfmt& from, const _qvposfmt& to) : from_(from), to_(to) {}

  void convert(std::string_view bytes) {
    if (bytes.starts_with("\xef\xbb\xbf")) bytes.remove_prefix(3);
    while (!bytes.empty()) {
      const size_t end = std::min(bytes.find('\n'), bytes.size());
      std::string_view line = bytes.substr(0, end);
      if (line.ends_with('\r')) line.remove_suffix(1);
      convertLine(line);
      bytes.remove_prefix(std::min(end + 1, bytes.size()));
    }
  }
  const std::string& result() const { return result_; }
  int64_t markers() const { return markers_; }
  int64_t faults() const { return faults_; }
  const WString& firstFault() const { return firstFault_; }

 private:
  void convertLine(std::string_view line) {
    ++line_;
    if (line.empty() || line[0] == '#') return add(line);
    const size_t tab = std::min(line.find('\t'), line.size());
    WString text, converted;
    if (!decodeUtf8(line, text)) return note(TEXT("is no UTF-8"), WString());
    text.resize(std::min(text.find(TEXT('\t')), text.size()));
    if (text.find(WCHAR{0}) != WString::npos) return note(TEXT("is no text"), WString());
    if (const WCHAR* fault = convertCue(from_, to_, text, converted)) return note(fault, text);
    ++markers_;
    result_ += encodeUtf8(converted);
    add(line.substr(tab));
  }
  void add(std::string_view text) { result_.append(text).push_back('\n'); }
  void note(const WCHAR* fault, const WString& text) {
    if (faults_++ > 0) return;
    WCHAR sentence[256] = {};
    QvCchPrintF(sentence, 256, nullptr, TEXT("Line %I64d of the list %s"), line_, fault);
    firstFault_ = sentence + (text.empty() ? WString() : TEXT(": ") + text.substr(0, 80));
  }

  const _qvposfmt& from_;
  const _qvposfmt& to_;
  std::string result_;
  WString firstFault_;
  int64_t line_ = 0, markers_ = 0, faults_ = 0;
};

HRESULT checkSame(Session& session, const WString& name, const std::string& result) {
  std::string bytes;
  const HRESULT status = readFile(session.inputPath(name), kMaxListBytes, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The file could not be read: ") + name);
  if (bytes == result) return kOk;
  const auto differs = std::mismatch(bytes.begin(), bytes.end(), result.begin(), result.end());
  WCHAR sentence[128] = {};
  QvCchPrintF(sentence, 128, nullptr, TEXT("The result is not the same from line %I64d on: "),
              static_cast<int64_t>(std::count(bytes.begin(), differs.first, '\n') + 1));
  return session.fail(kBadFormat, sentence + name);
}

HRESULT deliver(Session& session, const Step& step, const CueList& list) {
  if (const WString* same = step.option(TEXT("same")); same != nullptr) {
    if (const HRESULT status = checkSame(session, *same, list.result()); FAILED(status)) return status;
    session.record({TEXT("cues"), list.markers(), TEXT("same as"), *same});
  }
  const WString* out = step.option(TEXT("out"));
  if (out == nullptr) {
    if (step.option(TEXT("same")) == nullptr) session.output(list.result());
    return kOk;
  }
  const HRESULT status = writeFile(session.outputPath(*out), list.result());
  if (FAILED(status)) return session.fail(status, TEXT("The result could not be written: ") + *out);
  session.record({TEXT("cues"), list.markers(), *step.option(TEXT("from")), *step.option(TEXT("to")), *out});
  return kOk;
}

HRESULT readFormats(Session& session, const Step& step, _qvposfmt& from, _qvposfmt& to) {
  const WString* names[] = {step.option(TEXT("from")), step.option(TEXT("to"))};
  if (names[0] == nullptr || names[1] == nullptr) {
    return session.fail(kInvalidArgument, TEXT("A list goes from=FORMAT to=FORMAT."));
  }
  if (const HRESULT status = readRates(session, step, from); FAILED(status)) return status;
  // A list may have samples on one side and frames on the other: here the rate is that of samples alone.
  if (step.option(TEXT("fps")) == nullptr) from.frameRate = 24;
  to = from;
  const Name* formats[] = {positionFormat(session, *names[0]), nullptr};
  if (formats[0] != nullptr) formats[1] = positionFormat(session, *names[1]);
  if (formats[1] == nullptr) return kInvalidArgument;
  from.format = formats[0]->number;
  to.format = formats[1]->number;
  return isDisplayOnly(from.format)
             ? session.fail(kInvalidArgument, TEXT("Beats and the clock are for display and can't be read."))
             : kOk;
}

HRESULT runCues(Session& session, const Step& step) {
  _qvposfmt from = {}, to = {};
  HRESULT status = readFormats(session, step, from, to);
  if (FAILED(status)) return status;
  std::string bytes;
  status = readFile(session.inputPath(step.words[1]), kMaxListBytes, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The file could not be read: ") + step.words[1]);
  CueList list(from, to);
  list.convert(bytes);
  if (list.faults() == 0) return deliver(session, step, list);
  WCHAR more[64] = {};
  if (list.faults() > 1) QvCchPrintF(more, 64, nullptr, TEXT(" (and %I64d more lines)"), list.faults() - 1);
  return session.fail(kBadFormat, list.firstFault() + more);
}

constexpr Verb kVerbs[] = {
    {"timecode",
     "FORMAT label COUNT|count LABEL|nanos LABEL|add A B|subtract A B|compare A B|list FROM COUNT", 3, 4, "",
     runTimecode},
    {"position",
     "FORMAT write NANOS|read TEXT [short] [distance] [rate=N] [fps=N] [tempo=N] [beats=N] [note=N] "
     "[ticks=N] "
     "[offset=N]",
     3, 5, "rate fps tempo beats note ticks offset", runPosition},
    {"cues",
     "FILE from=FORMAT to=FORMAT [out=FILE] [same=FILE] [rate=N] [fps=N] [tempo=N] [beats=N] [note=N] "
     "[ticks=N] "
     "[offset=N]",
     1, 1, "from to out same rate fps tempo beats note ticks offset", runCues},
};

}  // namespace

std::span<const Verb> timeVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
