// log: writes one line to a log file.

#include <algorithm>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/log.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

struct Level {
  const WCHAR* name;
  LOGFLAGS level;
};

constexpr Level kLevels[] = {
    {TEXT("error"), LOGFLAG_ERRORS},     {TEXT("warning"), LOGFLAG_WARNINGS},
    {TEXT("info"), LOGFLAG_INFORMATION}, {TEXT("debug"), LOGFLAG_DEBUGGING},
    {TEXT("plain"), LOGFLAG_PLAIN},
};
constexpr LOGFLAGS kAllLevels =
    LOGFLAG_ERRORS | LOGFLAG_WARNINGS | LOGFLAG_INFORMATION | LOGFLAG_DEBUGGING | LOGFLAG_PLAIN;

bool isOn(const Step& step, WStringView key) {
  const WString* value = step.option(key);
  return value != nullptr && *value != TEXT("0");
}

WString textOf(const Step& step) {
  WString text = step.words[3];
  for (size_t i = 4; i < step.words.size(); ++i) text += TEXT(" ") + step.words[i];
  return text;
}

HRESULT runLog(Session& session, const Step& step) {
  const auto level = std::find_if(std::begin(kLevels), std::end(kLevels),
                                  [&step](const Level& each) { return step.words[2] == each.name; });
  if (level == std::end(kLevels)) {
    return session.fail(kInvalidArgument, TEXT("A level is error, warning, info, debug or plain."));
  }
  int64_t maximum = -1;
  const WString* limit = step.option(TEXT("max"));
  if (limit != nullptr && (!parseInteger(*limit, maximum) || maximum > INT32_MAX || maximum < INT32_MIN)) {
    return session.fail(kInvalidArgument, TEXT("max= is a number of bytes."));
  }
  const WString path = session.outputPath(step.words[1]);
  const LOGFLAGS time = isOn(step, TEXT("time")) ? LOGFLAG_TIME : LOGFLAGS();
  makeFolder(WString(folderOf(path)));
  CLog log;
  HRESULT status = log.Init(path.c_str(), kAllLevels | time, static_cast<int32_t>(maximum), _SH_DENYWR);
  if (FAILED(status)) return session.fail(status, TEXT("The log could not be opened: ") + path);
  status = log.Write(level->level, nullptr, 0, TEXT("%s"), textOf(step).c_str());
  if (FAILED(status)) return session.fail(status, TEXT("The log could not be written: ") + path);
  session.record({TEXT("log"), step.words[1], step.words[2]});
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"log", "FILE error|warning|info|debug|plain TEXT... [time=1] [max=BYTES]", 3, -1, "time max", runLog},
};

}  // namespace

std::span<const Verb> logVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
