#include "qv/app/workbench/session.h"

#include <algorithm>
#include <new>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/languages.h"
#include "qv/frame/errors.h"
#include "qv/frame/status.h"
#include "qv/platform/console.h"

namespace qv::workbench {
namespace {

constexpr size_t kFlushBytes = 64 * 1024;

WString widen(std::string_view ascii) {
  return WString(ascii.begin(), ascii.end());
}

bool hasWord(std::string_view list, WStringView key) {
  const std::string word = encodeUtf8(key);
  while (!list.empty()) {
    const size_t end = std::min(list.find(' '), list.size());
    if (list.substr(0, end) == word) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

std::string hexStatus(HRESULT status) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[(static_cast<uint32_t>(status) >> shift) & 15];
  return text;
}

// A report is one line: what separates sentences becomes a blank, what separates lines of details a tab.
std::string onOneLine(WStringView text, char separator) {
  std::string line;
  bool pending = false;
  for (const char c : encodeUtf8(text)) {
    const bool isBreak = c == '\n' || c == '\r';
    if (!isBreak && pending && !line.empty()) line += separator;
    if (!isBreak) line += c;
    pending = isBreak;
  }
  return line;
}

constexpr uint32_t kDuringCommand = 45, kDuringScript = 46;  // contexts

// "set" stands for settings alone on a line, so that `set out=x` and `out=x` say the same.
bool isSettings(const Step& step) {
  return step.words.empty() || (step.words.size() == 1 && step.words[0] == TEXT("set"));
}

bool isSwitchedOn(const Step& step, WStringView key) {
  const WString* value = step.option(key);
  return value != nullptr && *value != TEXT("0");
}

}  // namespace

Field::Field(int64_t value) : text(widen(std::to_string(value))) {}

Session::Session(WString jobFile, HQVLANG language)
    : jobFile_(std::move(jobFile)), jobFolder_(folderOf(jobFile_)), language_(language) {}

Session::~Session() {
  flush();
}

HRESULT Session::run() {
  if (const HRESULT status = load(); FAILED(status)) return status;
  HRESULT result = kOk;
  const LCID atFirst = language();
  if (!checkAhead(result)) return result;
  setLanguage(atFirst);
  keepGoing_ = false;
  for (const Step& step : steps_) {
    const HRESULT status = runStep(step);
    flush();
    if (!FAILED(status)) continue;
    report(step, status);
    if (!FAILED(result)) result = status;
    if (!keepGoing_) break;
  }
  return result;
}

HRESULT Session::load() {
  InputFile file;
  if (const HRESULT status = file.open(jobFile_); FAILED(status)) {
    report({}, status);
    return status;
  }
  steps_ = readSteps([&file](char* buffer, size_t capacity) { return file.read(buffer, capacity); });
  return kOk;
}

// A slip in the last line should not cost the minutes that the lines above it take: unless the job keeps
// going at that point, nothing runs when a line cannot be read or names no verb.
bool Session::checkAhead(HRESULT& status) {
  bool keepGoing = false;
  for (const Step& step : steps_) {
    const Verb* verb = step.words.empty() ? nullptr : findVerb(step.words[0]);
    QvErrorHandler_DetailsInit();
    status = step.fault;
    if (status != 0) {
      fail(status, step.message);
    } else if (isSettings(step)) {
      // A slip is told in the language that the job has chosen by then.
      if (const WString* text = step.option(TEXT("language"))) chooseLanguage(*text);
      if (step.option(TEXT("keep-going")) != nullptr) keepGoing = isSwitchedOn(step, TEXT("keep-going"));
    } else if (verb == nullptr) {
      status = fail(kNotFound, TEXT("There is no verb ") + step.words[0] + TEXT("."));
    } else {
      status = checkCall(*verb, step);
    }
    if (FAILED(status) && !keepGoing) {
      report(step, status);
      return false;
    }
  }
  status = kOk;
  return true;
}

HRESULT Session::runStep(const Step& step) {
  QvErrorHandler_DetailsInit();
  if (step.fault != 0) return fail(step.fault, step.message);
  if (isSettings(step)) return applySettings(step);
  const Verb* verb = findVerb(step.words[0]);
  if (verb == nullptr) return fail(kNotFound, TEXT("There is no verb ") + step.words[0] + TEXT("."));
  if (const HRESULT status = checkCall(*verb, step); FAILED(status)) return status;
  try {
    return verb->run(*this, step);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
}

HRESULT Session::checkCall(const Verb& verb, const Step& step) {
  const int arguments = static_cast<int>(step.words.size()) - 1;
  const WString usage = TEXT(" Usage: ") + widen(verb.name) + TEXT(" ") + widen(verb.usage);
  if (arguments < verb.minArguments) return fail(kInvalidArgument, TEXT("An argument is missing.") + usage);
  if (verb.maxArguments >= 0 && arguments > verb.maxArguments) {
    return fail(kInvalidArgument, TEXT("There are too many arguments.") + usage);
  }
  for (const Option& option : step.options) {
    if (!hasWord(verb.options, option.key)) {
      return fail(kInvalidArgument, TEXT("There is no option ") + option.key + TEXT("=.") + usage);
    }
  }
  return kOk;
}

HRESULT Session::applySettings(const Step& step) {
  for (const Option& option : step.options) {
    if (option.key == TEXT("out")) {
      outFolder_ = isAbsolutePath(option.value) ? option.value : jobFolder_ + option.value;
      if (!outFolder_.empty() && outFolder_.back() != '/' && outFolder_.back() != '\\') outFolder_ += '/';
    } else if (option.key == TEXT("keep-going")) {
      keepGoing_ = option.value != TEXT("0");
    } else if (option.key == TEXT("language")) {
      if (const HRESULT status = chooseLanguage(option.value); FAILED(status)) return status;
    } else {
      return fail(kNotFound, TEXT("There is no setting ") + option.key + TEXT("."));
    }
  }
  return kOk;
}

WString Session::inputPath(WStringView path) const {
  return isAbsolutePath(path) ? WString(path) : jobFolder_ + WString(path);
}

WString Session::outputPath(WStringView path) const {
  if (isAbsolutePath(path)) return WString(path);
  return (outFolder_.empty() ? jobFolder_ : outFolder_) + WString(path);
}

void Session::record(std::initializer_list<Field> fields) {
  const Field* first = fields.begin();
  for (const Field& field : fields) {
    if (&field != first) pending_ += '\t';
    pending_ += encodeUtf8(field.text);
  }
  output("\n");
}

void Session::output(std::string_view bytes) {
  pending_ += bytes;
  if (pending_.size() >= kFlushBytes) flush();
}

HRESULT Session::fail(HRESULT status, const WString& sentence) {
  QvErrorHandler_DetailsAddString(status, TEXT("%s"), sentence.c_str());
  return status;
}

LCID Session::language() const {
  const LCID chosen = QvLang_GetLCID(language_);
  return chosen != 0 ? chosen : GetUserDefaultUILanguage();
}

bool Session::setLanguage(LCID lcid) {
  if (lcid == language()) return true;
  return QvLang_UpdateKernelLCID(language_, lcid, 0) != 0;
}

HRESULT Session::chooseLanguage(const WString& text) {
  LCID lcid = 0;
  if (parseLcid(text, lcid) && hasTexts(lcid) && setLanguage(lcid)) return kOk;
  return fail(kNotFound, TEXT("There are no texts in the language ") + text + TEXT("."));
}

// One line: where, the status, what was being done and why it failed, and each line of details.
void Session::report(const Step& step, HRESULT status) {
  flush();
  const bool inCommand = step.fault == 0 && !step.words.empty();
  const WString& argument = inCommand ? step.words[0] : jobFile_;
  const WCHAR* message = QvErrorHandler_GetErrorMessage(
      QVERRORCONTEXT(inCommand ? kDuringCommand : kDuringScript), status, argument.c_str());
  std::string line =
      "line " + std::to_string(step.line) + "\t" + hexStatus(status) + "\t" + onOneLine(message, ' ');
  if (const WCHAR* details = QvErrorHandler_DetailsInfo(nullptr, nullptr, nullptr)) {
    line += '\t' + onOneLine(details, '\t');
  }
  QvErrorHandler_DetailsInit();
  platform::writeText(STD_ERROR_HANDLE, line + "\n");
}

void Session::flush() {
  platform::writeText(STD_OUTPUT_HANDLE, pending_);
  pending_.clear();
}

const Verb* findVerb(WStringView name) {
  const std::string wanted = encodeUtf8(name);
  for (const auto table : verbTables()) {
    for (const Verb& verb : table) {
      if (wanted == verb.name) return &verb;
    }
  }
  return nullptr;
}

}  // namespace qv::workbench
