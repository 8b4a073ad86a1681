#include "qv/frame/kernel.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "qv/frame/detail/clock.h"
#include "qv/frame/detail/cpu.h"
#include "qv/frame/detail/kernel.h"
#include "qv/frame/detail/stages.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/status.h"
#include "qv/perf/detail/kernels.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

HMODULE handle(uintptr_t value) {
  return reinterpret_cast<HMODULE>(value);
}
const HMODULE kMain = handle(0x1000);
const HMODULE kApplication = handle(0x2000);

class Kernel : public testing::Test {
 protected:
  void SetUp() override { TearDown(); }
  void TearDown() override {
    qv::resetKernel();
    qv::resetCpu();
    qv::resetClock();
  }
};

std::string ran;

TEST(Stages, StopAtAFailureAndFinishWithTheOnesThatAlwaysRun) {
  using Row = qv::Stage<int>;
  const auto stage = [](const int& failing, char name) {
    ran += name;
    return failing != name;
  };
  static auto run = stage;
  const Row rows[] = {{[](const int& failing) { return run(failing, 'a'); }, true},
                      {[](const int& failing) { return run(failing, 'b'); }, false},
                      {[](const int& failing) { return run(failing, 'c'); }, false},
                      {[](const int& failing) { return run(failing, 'd'); }, true}};
  struct Expected {
    int failing;
    const char* ran;
    bool fine;
  };
  for (const Expected& expected : {Expected{0, "abcd", true},
                                   {'a', "abcd", true},
                                   {'b', "abd", false},
                                   {'c', "abcd", false},
                                   {'d', "abcd", true}}) {
    ran.clear();
    EXPECT_EQ(expected.fine, qv::runStages<int>(rows, expected.failing));
    EXPECT_EQ(expected.ran, ran);
  }
}

TEST_F(Kernel, EarlyInitializeSetsWhatTheProcessShares) {
  SetErrorMode(0);
  QvOnlyAllowCPUSupport(0x20);
  QvKernel_SetSplash(5);
  EXPECT_EQ(1, QvKernel_EarlyInitialize(kApplication, 0x20));
  EXPECT_EQ(0x8001u, GetErrorMode() & 0x8001u);
  EXPECT_EQ(kApplication, QvKernel_GetAppKernel());
  EXPECT_EQ(0x20u, qv::kernelState().flags);
  EXPECT_EQ(100u, qv::kernelState().cursorIdBase);
  EXPECT_EQ(GetModuleHandleW(nullptr), qv::kernelState().processInstance);
  EXPECT_EQ(0u, qv::kernelState().splash);
  EXPECT_TRUE(qv::clockState().fineChosen);
  EXPECT_TRUE(qv::clockState().lateInitialized);
  QvAllowCPUSupport(0xff0);
  EXPECT_EQ(0x20u, QvGetCPUSupport(0xff0)) << "detection ran while the restriction stood";

  int64_t base = qv::clockState().processBase;
  EXPECT_EQ(1, QvKernel_EarlyInitialize(kMain, 0));
  EXPECT_EQ(kMain, QvKernel_GetAppKernel());
  EXPECT_EQ(base, qv::clockState().processBase);
  EXPECT_EQ(0x20u, QvGetCPUSupport(0xff0));

  QvKernel_SetSplash(0x123456789abcdef0);
  EXPECT_EQ(0x123456789abcdef0u, qv::kernelState().splash);
  EXPECT_EQ(1, QvKernel_LateTerminate());
  EXPECT_EQ(nullptr, QvKernel_GetAppKernel());
}

TEST_F(Kernel, StartUpChoosesThePrimitivesKernels) {
  qv::perf::setRow(0);
  EXPECT_EQ(1, QvKernel_EarlyInitialize(nullptr, 0));
  EXPECT_NE(0, qv::perf::currentRow()) << "every 64-bit processor has better than the first row";
}

TEST_F(Kernel, DelegateModeFollowsTheFlags) {
  struct Row {
    uint32_t flags, mode;
  };
  for (const Row row : {Row{0, 0}, {1, 1}, {0x20, 2}, {0x21, 1}, {0xffffffde, 0}, {0xfffffffe, 2}}) {
    QvKernel_EarlyInitialize(nullptr, row.flags);
    EXPECT_EQ(row.mode, qv::kernelState().delegateMode) << row.flags;
  }
}

TEST_F(Kernel, PathNameOfTheAppKernel) {
  WCHAR expected[300] = {};
  GetModuleFileNameW(nullptr, expected, 300);
  QvKernel_EarlyInitialize(GetModuleHandleW(nullptr), 0);
  WCHAR path[300] = {};
  EXPECT_EQ(qv::kOk, QvKernel_GetAppKernelPathName(path, 300));
  EXPECT_EQ(WText(expected), path);
  const int32_t length = static_cast<int32_t>(WText(expected).size());
  EXPECT_EQ(qv::kOk, QvKernel_GetAppKernelPathName(path, length + 1));
  EXPECT_EQ(qv::kGeneralFailure, QvKernel_GetAppKernelPathName(path, length)) << "does not fit";
  EXPECT_EQ(0, path[0]);
  EXPECT_EQ(qv::kInvalidArgument, QvKernel_GetAppKernelPathName(path, 0));
  qv::modulePort().fileName = [](HMODULE, WCHAR*, uint32_t) -> uint32_t {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  };
  EXPECT_EQ(qv::kNotFound, QvKernel_GetAppKernelPathName(path, 300));
}

// A program whose main module exports QvApp_GetAppKernel or does not, and an application kernel that exports
// what the map holds.
bool mainExports;
HMODULE exportAnswers;
int appKernelCalls;
std::map<std::string, FARPROC> exported;

INT_PTR someFunction() {
  return 7;
}
const FARPROC kSome = reinterpret_cast<FARPROC>(someFunction);

HMODULE getAppKernel() {
  ++appKernelCalls;
  return exportAnswers;
}

class Delegates : public Kernel {
 protected:
  void SetUp() override {
    Kernel::SetUp();
    mainExports = true;
    exportAnswers = kApplication;
    appKernelCalls = 0;
    exported = {{"QvGetUIColor", kSome}, {"QvGetUIColorAbsolute", kSome}};
    qv::modulePort().mainModule = [] { return kMain; };
    qv::modulePort().procAddress = [](HMODULE module, const char* name) -> FARPROC {
      if (module == kMain) {
        const bool found = mainExports && std::string(name) == "QvApp_GetAppKernel";
        return found ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(getAppKernel)) : nullptr;
      }
      const auto entry = exported.find(name);
      return module == kApplication && entry != exported.end() ? entry->second : nullptr;
    };
  }
};

TEST_F(Delegates, TableLookUpHasFourAnswers) {
  qv::DelegateEntry table[] = {
      {nullptr, "QvGetUIColorAbsolute"}, {nullptr, "Missing"}, {nullptr, "QvGetUIColor"}};
  EXPECT_EQ(qv::kNotFound, qv::lookUpDelegates(table));
  EXPECT_EQ(kSome, table[0].function);
  EXPECT_EQ(nullptr, table[1].function);
  EXPECT_EQ(kSome, table[2].function) << "the ones behind a missing one are filled in too";
  exported["Missing"] = kSome;
  EXPECT_EQ(qv::kOk, qv::lookUpDelegates(table));
  EXPECT_EQ(kSome, table[1].function);
  exportAnswers = nullptr;
  EXPECT_EQ(qv::kUnexpected, qv::lookUpDelegates(table));
  mainExports = false;
  EXPECT_EQ(qv::kUnsupported, qv::lookUpDelegates(table));
}

TEST_F(Delegates, ForwardsInItsModeAndAsksForTheModuleOnce) {
  QvKernel_EarlyInitialize(nullptr, 1);
  EXPECT_EQ(nullptr, qv::uiDelegate("QvGetUIColor"));
  EXPECT_EQ(0, appKernelCalls);
  QvKernel_EarlyInitialize(nullptr, 0x20);
  EXPECT_EQ(kSome, qv::uiDelegate("QvGetUIColor"));
  EXPECT_EQ(kSome, qv::uiDelegate("QvGetUIColorAbsolute"));
  EXPECT_EQ(1, appKernelCalls);
}

TEST_F(Delegates, TheFirstFailureEndsForwardingForGood) {
  const auto spoilers = {+[] { mainExports = false; }, +[] { exportAnswers = nullptr; },
                         +[] { exported.clear(); }};
  for (const auto spoil : spoilers) {
    SetUp();
    QvKernel_EarlyInitialize(nullptr, 0x20);
    spoil();
    EXPECT_EQ(nullptr, qv::uiDelegate("QvGetUIColor"));
    EXPECT_EQ(0u, qv::kernelState().delegateMode);
    mainExports = true;
    exportAnswers = kApplication;
    exported["QvGetUIColor"] = kSome;
    EXPECT_EQ(nullptr, qv::uiDelegate("QvGetUIColor"));
  }
}

std::string calls;

TEST(CrashReporter, GetsEachCallInOrderAndMayBeIncomplete) {
  static int exception = 0;
  QVERRORREPORT reporter = {};
  reporter.initialize = [](int32_t mode) { calls += "initialize " + std::to_string(mode) + ", "; };
  reporter.startTrapBypass = [] { calls += "start, "; };
  reporter.endTrapBypass = [] { calls += "end, "; };
  reporter.unmanagedException = [](void* record) { calls += record == &exception ? "exception, " : "?"; };
  const auto callAll = [] {
    calls.clear();
    ErrorReport_Initialize(1);
    ErrorReport_StartTrapBypass();
    ErrorReport_EndTrapBypass();
    ErrorReport_UnmanagedException(&exception);
    ErrorReport_Shutdown();
  };
  ErrorReport_SetFunctions(&reporter);
  callAll();
  EXPECT_EQ("initialize 1, start, end, exception, ", calls);
  reporter = {};
  reporter.shutdown = [] { calls += "shutdown"; };
  ErrorReport_SetFunctions(&reporter);
  callAll();
  EXPECT_EQ("shutdown", calls);
  ErrorReport_SetFunctions(nullptr);
  callAll();
  EXPECT_EQ("", calls);
}

}  // namespace
