#include "qv/app/workbench/job_file.h"

#include <algorithm>
#include <memory>

#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

bool isBlank(WCHAR c) { return c == ' ' || c == '\t'; }

bool isKeyStart(WCHAR c) { return c >= 'a' && c <= 'z'; }

bool isKeyRest(WCHAR c) { return isKeyStart(c) || (c >= '0' && c <= '9') || c == '-'; }

// One word as it stands in a line: its text without quotes, and where its key ends if it has one.
struct Word {
  WString text;
  size_t equals = 0;  // index of the '=' behind a key; 0: no key
  bool closed = true;
};

// A key is only what stands unquoted in front of the first '='; `"a=b"` is therefore a plain word.
Word takeWord(WStringView line, size_t& at) {
  Word word;
  bool quoted = false;
  bool keyPossible = true;
  for (; at < line.size() && (quoted || !isBlank(line[at])); ++at) {
    const WCHAR c = line[at];
    if (c == '"') {
      if (quoted && at + 1 < line.size() && line[at + 1] == '"') {
        word.text += c;
        ++at;
      } else {
        quoted = !quoted;
      }
      keyPossible = false;
      continue;
    }
    if (keyPossible && c == '=' && !word.text.empty()) word.equals = word.text.size();
    if (word.text.empty() ? !isKeyStart(c) : !isKeyRest(c)) keyPossible = false;
    word.text += c;
  }
  word.closed = !quoted;
  return word;
}

void setFault(Step& step, HRESULT status, WStringView message) {
  step.fault = status;
  step.message = message;
  step.words.clear();
  step.options.clear();
}

void addWord(Step& step, Word&& word) {
  if (word.equals == 0) {
    step.words.push_back(std::move(word.text));
    return;
  }
  step.options.push_back({word.text.substr(0, word.equals), word.text.substr(word.equals + 1)});
}

// Cuts the bytes that arrive into lines; what exceeds the limit of a line is counted but not kept.
class LineCutter {
 public:
  explicit LineCutter(std::vector<Step>& steps) : steps_(steps) {}

  void take(std::string_view bytes) {
    while (!bytes.empty() && !full()) {
      const size_t end = bytes.find('\n');
      append(bytes.substr(0, end));
      if (end == std::string_view::npos) return;
      finishLine();
      bytes.remove_prefix(end + 1);
    }
  }

  void finishLine() {
    ++line_;
    Step step;
    step.line = line_;
    if (!line1ByteOrderMarkOnly()) parse(step);
    if (step.fault != 0 || !step.words.empty() || !step.options.empty()) steps_.push_back(std::move(step));
    text_.clear();
    tooLong_ = false;
  }

  bool full() const { return steps_.size() >= kMaxSteps; }
  bool pending() const { return !text_.empty() || tooLong_; }
  uint32_t line() const { return line_; }

 private:
  void append(std::string_view bytes) {
    const size_t room = kMaxLineBytes - text_.size();
    text_.append(bytes.substr(0, room));
    tooLong_ = tooLong_ || bytes.size() > room;
  }

  // Editors put a byte order mark in front of UTF-8 text; it is no part of the first word.
  bool line1ByteOrderMarkOnly() {
    if (line_ == 1 && text_.starts_with("\xef\xbb\xbf")) text_.erase(0, 3);
    return text_.empty() && !tooLong_;
  }

  void parse(Step& step) {
    if (tooLong_) {
      setFault(step, kBadFormat, TEXT("The line is longer than 65,536 bytes."));
      return;
    }
    if (!text_.empty() && text_.back() == '\r') text_.pop_back();
    parseLine(text_, step);
  }

  std::vector<Step>& steps_;
  std::string text_;
  uint32_t line_ = 0;
  bool tooLong_ = false;
};

}  // namespace

const WString* Step::option(WStringView key) const {
  const auto found =
      std::find_if(options.rbegin(), options.rend(), [key](const Option& o) { return o.key == key; });
  return found == options.rend() ? nullptr : &found->value;
}

WString Step::optionOr(WStringView key, WStringView otherwise) const {
  const WString* value = option(key);
  return value != nullptr ? *value : WString(otherwise);
}

void parseLine(std::string_view bytes, Step& step) {
  WString line;
  if (!decodeUtf8(bytes, line)) {
    return setFault(step, kBadFormat, TEXT("The line is not valid UTF-8 text."));
  }
  if (line.find(WCHAR(0)) != WString::npos) {
    return setFault(step, kBadFormat, TEXT("The line holds a NUL character."));
  }
  size_t at = 0;
  while (true) {
    while (at < line.size() && isBlank(line[at])) ++at;
    if (at == line.size() || line[at] == '#') return;
    Word word = takeWord(line, at);
    if (!word.closed) return setFault(step, kInvalidArgument, TEXT("A double quote is not closed."));
    addWord(step, std::move(word));
  }
}

std::vector<Step> readSteps(const ReadBytes& read) {
  constexpr size_t kBlock = 64 * 1024;
  std::vector<Step> steps;
  LineCutter cutter(steps);
  const auto block = std::make_unique<char[]>(kBlock);
  int64_t got = 0;
  while (!cutter.full() && (got = read(block.get(), kBlock)) > 0) {
    cutter.take({block.get(), static_cast<size_t>(got)});
  }
  if (got < 0 || cutter.full()) {
    Step& last = steps.emplace_back();
    last.line = cutter.line() + 1;
    if (got < 0) {
      setFault(last, static_cast<HRESULT>(got), TEXT("The job file could not be read to its end."));
    } else {
      setFault(last, kBadFormat, TEXT("The job file has more than 1,000,000 steps."));
    }
  } else if (cutter.pending()) {
    cutter.finishLine();
  }
  return steps;
}

}  // namespace qv::workbench
