// The workbench: the executable that carries the toolkit, and its job, which runs a job file.

#include <new>

#include "qv/app/entry.h"
#include "qv/app/workbench/session.h"

namespace {

struct WorkbenchJob {
  QVAPP* app;
};

void* createJob(QVAPP* app) { return new (std::nothrow) WorkbenchJob{app}; }

// The context lives to the end of the process; what has to be written is written when the session ends here.
int32_t runJob(void*, const WCHAR* jobFile) { return qv::workbench::Session(jobFile).run(); }

void releaseJob(void* context) { delete static_cast<WorkbenchJob*>(context); }

constexpr QVJOB kJob = {TEXT("Workbench"), createJob, nullptr, runJob, releaseJob};

}  // namespace

int main() { return QvApp_Main(GetModuleHandleW(nullptr), &kJob); }
