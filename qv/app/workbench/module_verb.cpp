// module: loads a module that is linked against this executable's exports and asks its entry.

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"

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

WString folderOfExecutable() {
  WCHAR path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return WString(folderOf(path));
}

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
  if (FAILED(status)) return session.fail(status, TEXT("The module answered with a failure: ") + step.words[1]);
  session.record({TEXT("module"), step.words[1], answer});
  return kOk;
}

constexpr Verb kVerbs[] = {{"module", "FILE", 1, 1, "", runModule}};

}  // namespace

std::span<const Verb> moduleVerbs() { return kVerbs; }

}  // namespace qv::workbench
