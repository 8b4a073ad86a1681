#include "qv/frame/kernel.h"

#include "qv/core/detail/tokens.h"
#include "qv/frame/detail/clock.h"
#include "qv/frame/detail/cpu.h"
#include "qv/frame/detail/kernel.h"
#include "qv/frame/detail/os.h"
#include "qv/frame/detail/stages.h"
#include "qv/frame/status.h"
#include "qv/frame/win32error.h"
#include "qv/lang/detail/startup.h"
#include "qv/lang/international.h"
#include "qv/perf/perf.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr uint32_t kFirstCursorId = 100;
constexpr uint32_t kSystemColorsChanged = 21;  // WM_SYSCOLORCHANGE
constexpr uint32_t kDisplayChanged = 126;      // WM_DISPLAYCHANGE

KernelState state;

HMODULE realMainModule() {
  return GetModuleHandleW(nullptr);
}
FARPROC realProcAddress(HMODULE module, const char* name) {
  return GetProcAddress(module, name);
}
uint32_t realFileName(HMODULE module, WCHAR* path, uint32_t capacity) {
  return GetModuleFileNameW(module, path, capacity);
}

constexpr ModulePort kRealPort = {realMainModule, realProcAddress, realFileName};
ModulePort port = kRealPort;

struct Start {
  HMODULE module;
  uint32_t flags;
};

// A missing disk or file is an error for the caller, never a box from the system.
bool quietErrors(const Start&) {
  constexpr UINT kQuiet = SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX;
  static_assert(kQuiet == 0x8001);
  SetErrorMode(SetErrorMode(kQuiet) | kQuiet);
  return true;
}

bool startClock(const Start&) {
  chooseClock(kClockMode);
  return true;
}

bool takeModule(const Start& start) {
  state.appKernel = start.module;
  state.flags = start.flags;
  return true;
}

bool lookAtProcessor(const Start&) {
  detectCpu();
  return true;
}

bool chooseDelegate(const Start& start) {
  state.delegateMode = (start.flags & QVKERNEL_NODELEGATE) != 0   ? kDelegateOff
                       : (start.flags & QVKERNEL_UIDELEGATE) != 0 ? kDelegateForward
                                                                  : 0;
  return true;
}

bool resetShared(const Start&) {
  state.cursorIdBase = kFirstCursorId;
  state.processInstance = port.mainModule();
  state.splash = 0;
  return true;
}

bool startTokens(const Start&) {
  return initializeTokens();
}

bool openLanguage(const Start& start) {
  return SUCCEEDED(startKernelLanguage(start.module));
}

bool loadInternationals(const Start&) {
  return SUCCEEDED(QvLang_GetInternationals(nullptr, 0));
}

bool finishClock(const Start&) {
  QvTimer_LateInitialize();
  return true;
}

bool startPrimitives(const Start&) {
  QvPerf_Initialize();
  return true;
}

constexpr bool kAlways = true;

// A service joins at its place in the order: one that later rows need as {run, !kAlways}.
constexpr Stage<Start> kStartStages[] = {
    {quietErrors, kAlways},     {startClock, kAlways},          {takeModule, kAlways},
    {lookAtProcessor, kAlways}, {chooseDelegate, kAlways},      {resetShared, kAlways},
    {startTokens, !kAlways},    {openLanguage, !kAlways},       {loadInternationals, !kAlways},
    {finishClock, kAlways},
    {startPrimitives, kAlways},
};

void forgetAppKernel() {
  state.appKernel = nullptr;
}

// What the process shares goes down in this order, the app kernel last.
constexpr void (*kStopStages[])() = {stopKernelLanguage, terminateTokens, forgetAppKernel};

HMODULE findAppKernel(HRESULT& status) {
  using GetAppKernel = HMODULE (*)();
  const FARPROC found = port.procAddress(port.mainModule(), "QvApp_GetAppKernel");
  status = kUnsupported;
  if (found == nullptr) return nullptr;
  const HMODULE module = reinterpret_cast<GetAppKernel>(reinterpret_cast<void*>(found))();
  status = module != nullptr ? kOk : kUnexpected;
  return module;
}

}  // namespace

HRESULT lookUpDelegates(std::span<DelegateEntry> entries) {
  HRESULT status = kOk;
  const HMODULE module = findAppKernel(status);
  if (module == nullptr) return status;
  for (DelegateEntry& entry : entries) {
    entry.function = port.procAddress(module, entry.name);
    if (entry.function == nullptr) status = kNotFound;
  }
  return status;
}

FARPROC uiDelegate(const char* name) {
  if ((state.delegateMode & kDelegateForward) == 0) return nullptr;
  HRESULT status = kOk;
  if (state.delegateModule == nullptr) state.delegateModule = findAppKernel(status);
  const FARPROC function =
      state.delegateModule != nullptr ? port.procAddress(state.delegateModule, name) : nullptr;
  if (function == nullptr) state.delegateMode &= ~kDelegateForward;
  return function;
}

const KernelState& kernelState() {
  return state;
}
ModulePort& modulePort() {
  return port;
}

void resetKernel() {
  state = {};
  port = kRealPort;
}

}  // namespace qv

int32_t QvKernel_EarlyInitialize(HMODULE module, uint32_t flags) {
  return qv::runStages<qv::Start>(qv::kStartStages, {module, flags}) ? 1 : 0;
}

int32_t QvKernel_LateTerminate() {
  for (const auto stop : qv::kStopStages) stop();
  return 1;
}

HMODULE QvKernel_GetAppKernel() {
  return qv::state.appKernel;
}

HRESULT QvKernel_GetAppKernelPathName(WCHAR* path, int32_t capacity) {
  if (capacity <= 0) return qv::kInvalidArgument;
  const uint32_t length = qv::port.fileName(qv::state.appKernel, path, static_cast<uint32_t>(capacity));
  if (length != 0 && length < static_cast<uint32_t>(capacity)) return qv::kOk;
  const DWORD error = GetLastError();
  path[0] = 0;
  return error != 0 ? QvErrorHandler_TranslateWin32Error(error) : qv::kGeneralFailure;
}

void QvKernel_SetSplash(uint64_t splash) {
  qv::state.splash = splash;
}

void QvKernel_UserPrefChanges(HWND, uint32_t message) {
  if (message == qv::kSystemColorsChanged || message == qv::kDisplayChanged) qv::refreshHighColor();
}
