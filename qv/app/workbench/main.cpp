// The workbench: the executable that carries the toolkit, and its job, which runs a job file.

#include <new>

#include "qv/app/entry.h"
#include "qv/app/workbench/session.h"
#include "qv/core/printf.h"
#include "qv/frame/msgbox.h"
#include "qv/platform/console.h"

namespace {

struct WorkbenchJob {
  QVAPP* app;
};

void* createJob(QVAPP* app) {
  return new (std::nothrow) WorkbenchJob{app};
}

void writeMessage(void*, const WCHAR* text) {
  qv::platform::writeText(STD_ERROR_HANDLE, qv::workbench::encodeUtf8(text) + "\n");
}

// A job runs without a user: what would stand in a box goes to standard error, and its first button answers.
HRESULT prepareJob(void*) {
  QvPrintF_AddToken(TEXT("AppName"), TEXT("Workbench"));
  static constexpr QVMSGBOXNOUI kQuiet = {writeMessage, nullptr, 0};
  QvMsgBoxSetNoUIHook(&kQuiet);
  return 0;
}

// The context lives to the end of the process; what has to be written is written when the session ends here.
int32_t runJob(void* context, const WCHAR* jobFile) {
  return qv::workbench::Session(jobFile, static_cast<WorkbenchJob*>(context)->app->language).run();
}

void releaseJob(void* context) {
  delete static_cast<WorkbenchJob*>(context);
}

constexpr QVJOB kJob = {TEXT("Workbench"), createJob, prepareJob, runJob, releaseJob};

}  // namespace

int main() {
  return QvApp_Main(GetModuleHandleW(nullptr), &kJob);
}
