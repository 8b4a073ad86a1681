// module: loads a module that is linked against this executable's exports and asks its entry.
// run: runs a program and waits for it.

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/platform/programs.h"

namespace qv::workbench {
namespace {

constexpr int32_t kAnswerCapacity = 2048;

using ModuleEntry = HRESULT (*)(WCHAR* answer, int32_t capacity);

struct LoadedModule {
  HMODULE handle = nullptr;
  ~LoadedModule() {
    if (handle != nullptr) FreeLibrary(handle);
  }
};

// A bare name stands beside the executable and takes the platform's suffix; anything else is a path.
WString modulePath(const Session& session, const WString& name) {
  if (!folderOf(name).empty() || isAbsolutePath(name)) return session.inputPath(name);
  const bool hasSuffix = name.find('.') != WString::npos;
  return folderOfExecutable() + name + (hasSuffix ? TEXT("") : QV_MODULE_SUFFIX);
}

HRESULT runModule(Session& session, const Step& step) {
  LoadedModule module;
  module.handle = LoadLibraryW(modulePath(session, step.words[1]).c_str());
  if (module.handle == nullptr) {
    return session.fail(kNotFound, TEXT("The module could not be loaded: ") + step.words[1]);
  }
  const auto entry = reinterpret_cast<ModuleEntry>(GetProcAddress(module.handle, "QvModule_Run"));
  if (entry == nullptr) {
    return session.fail(kNotFound, TEXT("The module has no entry QvModule_Run: ") + step.words[1]);
  }
  WCHAR answer[kAnswerCapacity] = {};
  const HRESULT status = entry(answer, kAnswerCapacity);
  if (FAILED(status))
    return session.fail(status, TEXT("The module answered with a failure: ") + step.words[1]);
  session.record({TEXT("module"), step.words[1], answer});
  return kOk;
}

HRESULT runProgram(Session& session, const Step& step) {
  const WString path = fullPath(session.inputPath(step.words[1]));
  std::vector<LPCWSTR> arguments;
  for (size_t i = 2; i < step.words.size(); ++i) arguments.push_back(step.words[i].c_str());
  uint32_t code = 0;
  const WString folder = fullPath(session.outputPath(TEXT(".")));
  if (const HRESULT made = makeFolder(folder); FAILED(made)) return made;
  session.flush();  // the program writes where the records go
  if (!platform::callProgram(path.c_str(), arguments, folder.c_str(), &code))
    return session.fail(kCannotOpenFile, TEXT("The program could not be started: ") + path);
  session.record({TEXT("run"), step.words[1], code});
  if (code == 0) return kOk;
  return session.fail(kGeneralFailure, TEXT("The program says that it failed: ") + path);
}

constexpr Verb kVerbs[] = {{"module", "FILE", 1, 1, "", runModule},
                           {"run", "PROGRAM [ARGUMENT]...", 1, -1, "", runProgram}};

}  // namespace

std::span<const Verb> moduleVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
