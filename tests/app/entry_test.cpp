#include "qv/app/entry.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/app/detail/entry.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/status.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

constexpr HRESULT kWrongThread = static_cast<HRESULT>(0x80010106u);
const HMODULE kModule = reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x1000));

struct Case {
  const char* name;
  HRESULT com;
  bool kernelFails, languageFails, contextFails;
  HRESULT prepare;
  const WCHAR* commandLine;
  bool cancels;
  int32_t exitCode;
  const char* trace;
};

Case now;
std::string trace;
QVAPP* application;
WText argument;
int context;

#define QV_BEFORE "com report1 catch kernel language name path "
#define QV_AFTER " shutdown uncom"

const Case kCases[] = {
    {"one argument", 0, false, false, false, 0, TEXT("edit tour.qvjob"), false, 77,
     QV_BEFORE "create prepare run" QV_AFTER},
    {"COM was started already", 1, false, false, false, 1, TEXT("edit tour.qvjob more"), false, 77,
     QV_BEFORE "create prepare run" QV_AFTER},
    {"COM fails", kWrongThread, false, false, false, 0, TEXT("edit tour.qvjob"), false, kWrongThread, "com"},
    {"the kernel fails", 0, true, false, false, 0, TEXT("edit tour.qvjob"), false, 77,
     QV_BEFORE "create prepare run" QV_AFTER},
    {"no language", 0, false, true, false, 0, TEXT("edit tour.qvjob"), false, 77,
     "com report1 catch kernel language path create prepare run" QV_AFTER},
    {"no context", 0, false, false, true, 0, TEXT("edit tour.qvjob"), false, 0, QV_BEFORE "create" QV_AFTER},
    {"not prepared", 0, false, false, false, qv::kGeneralFailure, TEXT("edit tour.qvjob"), false, 1,
     QV_BEFORE "create prepare release" QV_AFTER},
    {"program name only", 0, false, false, false, 0, TEXT("\"C:\\my files\\edit.exe\" "), false, 2,
     QV_BEFORE "create prepare" QV_AFTER},
    {"no command line", 0, false, false, false, 0, nullptr, false, 2, QV_BEFORE "create prepare" QV_AFTER},
    {"cancelled", 0, false, false, false, 0, TEXT("edit tour.qvjob"), true, qv::kCancelled,
     QV_BEFORE "create prepare run" QV_AFTER},
};

void note(const char* step) {
  trace += (trace.empty() ? "" : " ") + std::string(step);
}

void* create(QVAPP* app) {
  note("create");
  application = app;
  return now.contextFails ? nullptr : &context;
}

HRESULT prepare(void* given) {
  note(given == &context ? "prepare" : "?");
  return now.prepare;
}

int32_t run(void* given, const WCHAR* text) {
  note(given == &context ? "run" : "?");
  argument = text;
  application->cancelled = now.cancels ? 1 : 0;
  return 77;
}

void release(void* given) {
  note(given == &context ? "release" : "?");
}

constexpr QVJOB kJob = {TEXT("Entry test"), create, prepare, run, release};

class Entry : public testing::Test {
 protected:
  void SetUp() override { start(kCases[0]); }
  void TearDown() override {
    qv::resetEntry();
    ErrorReport_SetFunctions(nullptr);
  }

  static void start(const Case& with) {
    now = with;
    trace.clear();
    argument.clear();
    application = nullptr;
    QVERRORREPORT reporter = {};
    reporter.initialize = [](int32_t mode) { note(mode == 1 ? "report1" : "?"); };
    reporter.shutdown = [] { note("shutdown"); };
    ErrorReport_SetFunctions(&reporter);
    qv::resetEntry();
    qv::entryPort() = {[] {
                         note("com");
                         return now.com;
                       },
                       [] { note("catch"); },
                       [](HMODULE module, uint32_t flags) {
                         note(module == kModule && flags == 0 ? "kernel" : "?");
                         return now.kernelFails ? 0 : 1;
                       },
                       [](HQVLANG* language, HMODULE module, LCID lcid, uint32_t ringSize) {
                         const bool plain = *language == nullptr && lcid == 0 && ringSize == 0;
                         note(module == kModule && plain ? "language" : "?");
                         return now.languageFails ? qv::kGeneralFailure : qv::kOk;
                       },
                       [](HINSTANCE instance, HWND window, const WCHAR* name) {
                         const bool own = WText(name) == TEXT("Entry test");
                         note(instance == kModule && window == nullptr && own ? "name" : "?");
                         return 1;
                       },
                       [](HMODULE module, WCHAR* path, int32_t capacity) {
                         note(module == kModule && capacity == 260 ? "path" : "?");
                         path[0] = 'C';
                         return 1;
                       },
                       [] { return now.commandLine; }, [] { note("uncom"); }};
  }
};

TEST_F(Entry, KeepsItsOrderAndExitCodesThroughEachFailure) {
  for (const Case& each : kCases) {
    SCOPED_TRACE(each.name);
    start(each);
    EXPECT_EQ(each.exitCode, QvApp_Main(kModule, &kJob));
    EXPECT_EQ(each.trace, trace);
    EXPECT_EQ(trace.find("run") != std::string::npos ? WText(TEXT("tour.qvjob")) : WText(), argument);
  }
}

TEST_F(Entry, GivesTheJobAFreshApplicationRecord) {
  QvApp_Main(kModule, &kJob);
  ASSERT_NE(nullptr, application);
  EXPECT_EQ(kModule, application->module);
  EXPECT_EQ(WText(TEXT("C")), application->modulePath);
  application->cancelled = 1;
  start(kCases[0]);
  EXPECT_EQ(77, QvApp_Main(kModule, &kJob)) << "the mark of an earlier run is gone";
}

TEST_F(Entry, PrepareAndReleaseMayBeLeftOut) {
  QVJOB job = kJob;
  job.prepare = nullptr;
  EXPECT_EQ(77, QvApp_Main(kModule, &job));
  job = kJob;
  job.release = nullptr;
  now.prepare = qv::kGeneralFailure;
  EXPECT_EQ(1, QvApp_Main(kModule, &job));
}

TEST_F(Entry, WithoutMemoryForTheSplitNothingRuns) {
  qv::platform::failAllocation(1);
  EXPECT_EQ(2, QvApp_Main(kModule, &kJob));
  EXPECT_TRUE(qv::platform::allocationFailed());
}

}  // namespace
