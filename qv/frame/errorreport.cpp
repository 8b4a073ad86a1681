#include "qv/frame/errorreport.h"

namespace {

QVERRORREPORT reporter = {};

}  // namespace

void ErrorReport_SetFunctions(const QVERRORREPORT* functions) {
  reporter = functions != nullptr ? *functions : QVERRORREPORT{};
}

void ErrorReport_Initialize(int32_t mode) {
  if (reporter.initialize != nullptr) reporter.initialize(mode);
}

void ErrorReport_Shutdown() {
  if (reporter.shutdown != nullptr) reporter.shutdown();
}

void ErrorReport_StartTrapBypass() {
  if (reporter.startTrapBypass != nullptr) reporter.startTrapBypass();
}

void ErrorReport_EndTrapBypass() {
  if (reporter.endTrapBypass != nullptr) reporter.endTrapBypass();
}

void ErrorReport_UnmanagedException(void* exception) {
  if (reporter.unmanagedException != nullptr) reporter.unmanagedException(exception);
}
