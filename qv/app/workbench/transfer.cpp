#include "qv/app/workbench/transfer.h"

#include <algorithm>
#include <atomic>

#include "qv/app/workbench/progress.h"
#include "qv/frame/status.h"
#include "qv/platform/console.h"
#include "qv/platform/files.h"

namespace qv::workbench {
namespace {

constexpr DWORD kLookEvery = 50;
constexpr HRESULT kWaitTimedOut = static_cast<HRESULT>(0x8004e02cu);

std::atomic<bool> wasAsked{false};

BOOL WINAPI onKey(DWORD event) {
  return event == CTRL_C_EVENT && !wasAsked.exchange(true);
}

double percentOf(int64_t moved, int64_t total) {
  if (total <= 0) return 0;
  return std::min(100.0, 100.0 * static_cast<double>(moved) / static_cast<double>(total));
}

}  // namespace

Interrupt::Interrupt() {
  wasAsked = false;
  SetConsoleCtrlHandler(onKey, TRUE);
}

Interrupt::~Interrupt() {
  SetConsoleCtrlHandler(onKey, FALSE);
}

bool Interrupt::asked() {
  return wasAsked;
}

HRESULT awaitRequest(CQvInetBase& request, const Interrupt& interrupt, WStringView name) {
  Progress progress;
  for (bool cancelled = false;;) {
    // Every block that moves ends this wait.
    const HRESULT status = request.WaitForRequestStatusChange(kLookEvery);
    if (status != kOk && status != kWaitTimedOut) return status;
    if (request.WaitForRequestCompletion(0) == kOk) return kOk;
    if (interrupt.asked() && !cancelled) {
      cancelled = true;
      request.CancelRequest();
    }
    int64_t moved = 0, total = 0;
    request.GetTransferStatus(&moved, &total);
    progress.show(percentOf(moved, total), name);
  }
}

HRESULT ReceivedFile::keep() {
  if (GetFileAttributesW(temporary()) == INVALID_FILE_ATTRIBUTES) return writeFile(pending_.path(), {});
  return pending_.keep();
}

int64_t ReceivedFile::size() const {
  InputFile file;
  return SUCCEEDED(file.open(pending_.path())) ? file.size() : -1;
}

}  // namespace qv::workbench
