#include "qv/app/entry.h"

#include "qv/app/detail/command_line.h"
#include "qv/app/detail/entry.h"
#include "qv/files/detail/archive_words.h"
#include "qv/files/paths.h"
#include "qv/frame/detail/msgbox.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/errors.h"
#include "qv/frame/kernel.h"
#include "qv/frame/msgbox.h"
#include "qv/frame/status.h"
#include "qv/net/handoff.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

enum ExitCode : int32_t { kNoContext = 0, kNotPrepared = 1, kNoArgument = 2 };

HRESULT realCoInitialize() {
  return CoInitialize(nullptr);
}

DWORD mainThread;

LONG CALLBACK reportException(EXCEPTION_POINTERS* exception) {
  return QvErrorHandler_ExceptionFilter(exception, GetCurrentThreadId() == mainThread ? "main" : "worker");
}

// A fault that nobody handles becomes a message before it ends the process.
void realCatchExceptions() {
  mainThread = GetCurrentThreadId();
  platform::catchFaults(reportException);
}

const WCHAR* realCommandLine() {
  return GetCommandLineW();
}
void realCoUninitialize() {
  CoUninitialize();
}

void openLink(HWND window, const WCHAR* address) {
  Internet_BrowseWebPage(window, address);
}

constexpr EntryPort kRealPort = {realCoInitialize, realCatchExceptions, QvKernel_EarlyInitialize,
                                 QvLang_Open,      QvMsgBoxSetAppData,  QvGetModulePath,
                                 realCommandLine,  realCoUninitialize};
EntryPort port = kRealPort;

// What lives to the end of the process: nothing frees it, and leak checkers find it here.
QVAPP app;
void* jobContext;
WCHAR** arguments;

int32_t runJob(const QVJOB& job) {
  jobContext = job.create(&app);
  if (jobContext == nullptr) return kNoContext;
  if (job.prepare != nullptr && FAILED(job.prepare(jobContext))) {
    if (job.release != nullptr) job.release(jobContext);
    return kNotPrepared;
  }
  int32_t count = 0;
  arguments = splitCommandLine(port.commandLine(), count);
  if (count < 2) return kNoArgument;
  const int32_t result = job.run(jobContext, arguments[1]);
  return app.cancelled != 0 ? kCancelled : result;
}

}  // namespace

EntryPort& entryPort() {
  return port;
}

void resetEntry() {
  port = kRealPort;
  GlobalFree(arguments);
  arguments = nullptr;
  jobContext = nullptr;
}

}  // namespace qv

// Once COM stands no failure stops the next step: an application without its language or its controls can
// still tell its user so.
int32_t QvApp_Main(HMODULE module, const QVJOB* job) {
  using namespace qv;
  if (const HRESULT status = port.coInitialize(); FAILED(status)) return status;
  ErrorReport_Initialize(1);
  port.catchExceptions();
  files::addArchiveWords();
  app = {};
  app.module = module;
  port.earlyInitialize(module, 0);
  const bool speaks = SUCCEEDED(port.openLanguage(&app.language, module, 0, 0));
  if (speaks) port.setAppData(module, nullptr, job->displayName);
  setLinkOpener(openLink);
  port.modulePath(module, app.modulePath, MAX_PATH);
  const int32_t code = runJob(*job);
  ErrorReport_Shutdown();
  port.coUninitialize();
  return code;
}
