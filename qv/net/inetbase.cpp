#include "qv/net/inetbase.h"

#include <new>
#include <string>

#include "qv/net/detail/commands.h"
#include "qv/platform/system.h"
#include "qv/platform/window_calls.h"

using namespace qv::net;

namespace {

using Traits = std::char_traits<WCHAR>;

WCHAR* copyOf(const WCHAR* text) {
  const size_t length = Traits::length(text) + 1;
  auto* const copy = new (std::nothrow) WCHAR[length];
  return copy ? Traits::copy(copy, text, length) : nullptr;
}

// An answer from nearby takes less time than falling asleep and being woken: looks out for it a while first,
// and lets others run between the looks. Once a request at most, so that long ones cost no more for it.
void lookOutFor(const std::atomic<bool>& signalled) {
  constexpr int kLooks = 128;
  for (int look = 0; look < kLooks && !signalled.load(std::memory_order_relaxed); ++look) SwitchToThread();
}

void closeEvent(HANDLE& event) {
  if (event) CloseHandle(event);
  event = nullptr;
}

}  // namespace

// The worker's side and the waits for it, which no other module needs.
struct qv::net::Worker {
  static DWORD start(LPVOID object) {
    auto& self = *static_cast<CQvInetBase*>(object);
    const HINTERNET session =
        InternetOpenW(self.userAgent_, INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
    if (session) {
      serve(self, session);
      InternetCloseHandle(session);
    }
    forgetThread(self);
    self.Release();
    return 0;
  }

  static void serve(CQvInetBase& self, HINTERNET session) {
    uint32_t command = 0;
    do {
      self.WaitForCmd();
      command = self.command_.load(std::memory_order_relaxed);
      uint64_t data = 0;
      const HRESULT status = self.WorkerProcessCommand(session, command, &data);
      self.DoneWithCmd(status, data);
    } while (command != kQuit && !self.isCancelled());
  }

  static void forgetThread(CQvInetBase& self) {
    const CQvInetBase::Locked locked(self);
    CloseHandle(self.thread_);
    self.thread_ = nullptr;
    self.threadId_ = 0;
  }

  static bool createEvents(CQvInetBase& self) {
    self.statusEvent_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    self.commandEvent_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    self.doneEvent_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return self.statusEvent_ && self.commandEvent_ && self.doneEvent_;
  }

  static void closeEvents(CQvInetBase& self) {
    closeEvent(self.doneEvent_);
    closeEvent(self.commandEvent_);
    closeEvent(self.statusEvent_);
  }

  // For the caller's side: until the event, while a request is under way.
  static HRESULT waitFor(CQvInetBase& self, HANDLE event, DWORD timeout) {
    {
      const CQvInetBase::Locked locked(self);
      if (!self.initialised_) return qv::kGeneralFailure;
      if (!self.busy_) return qv::kOk;
    }
    const DWORD woken = WaitForSingleObject(event, timeout);
    if (woken == WAIT_OBJECT_0) return qv::kOk;
    return woken == WAIT_TIMEOUT ? kTimedOut : qv::kGeneralFailure;
  }
};

CQvInetBase::CQvInetBase() : lastResult_(qv::kGeneralFailure) {
  InitializeCriticalSection(&lock_);
}

CQvInetBase::~CQvInetBase() {
  Worker::closeEvents(*this);
  delete[] userAgent_;
  DeleteCriticalSection(&lock_);
}

HRESULT CQvInetBase::InitBase(const WCHAR* userAgent) {
  const Locked locked(*this);
  if (initialised_) return qv::kGeneralFailure;
  if (!userAgent) return qv::kInvalidArgument;
  userAgent_ = copyOf(userAgent);
  if (userAgent_ && Worker::createEvents(*this)) {
    ++references_;
    thread_ = CreateThread(nullptr, 0, Worker::start, this, 0, &threadId_);
    if (thread_) {
      initialised_ = 1;
      return qv::kOk;
    }
    --references_;
  }
  Worker::closeEvents(*this);
  delete[] userAgent_;
  userAgent_ = nullptr;
  return qv::kGeneralFailure;
}

// ---- The worker

void CQvInetBase::WaitForCmd() {
  lookOutFor(hasCommand_);
  WaitForSingleObject(commandEvent_, INFINITE);
  hasCommand_ = false;
}

HRESULT CQvInetBase::WorkerProcessCommand(HINTERNET, uint32_t command, uint64_t*) {
  return command == kQuit ? qv::kOk : qv::kGeneralFailure;
}

void CQvInetBase::SendCmdToWorker(uint32_t command) {
  const Locked locked(*this);
  busy_ = 1;
  transferred_ = 0;
  total_ = 0;
  command_.store(command, std::memory_order_relaxed);
  ResetEvent(statusEvent_);
  ResetEvent(doneEvent_);
  hasEnded_ = false;
  SetEvent(commandEvent_);
  hasCommand_ = true;
}

// Who waits is woken without the lock, or it would wake only to wait for that.
void CQvInetBase::DoneWithCmd(HRESULT status, uint64_t data) {
  {
    const Locked locked(*this);
    busy_ = 0;
    lastResult_ = status;
    resultData_ = data;
    if (command_.load(std::memory_order_relaxed) != kQuit) {
      if (notifyWindow_) qv::windowCalls().post(notifyWindow_, QVINET_MESSAGE_DONE, 0, 0);
      if (notify_) notify_->requestDone(status, data);
    }
  }
  SetEvent(statusEvent_);
  SetEvent(doneEvent_);
  hasEnded_ = true;
}

void CQvInetBase::TransferProgressUpdate(int64_t bytes) {
  {
    const Locked locked(*this);
    transferred_ += bytes;
    if (notifyWindow_) qv::windowCalls().post(notifyWindow_, QVINET_MESSAGE_PROGRESS, 0, 0);
    if (notify_) notify_->progress(bytes);
  }
  SetEvent(statusEvent_);
}

void CQvInetBase::SetTotalBytesToTransfer(int64_t bytes) {
  const Locked locked(*this);
  total_ = bytes;
}

int64_t CQvInetBase::GetTotalBytesToTransfer() {
  const Locked locked(*this);
  return total_;
}

int64_t CQvInetBase::GetBytesTransferred() {
  const Locked locked(*this);
  return transferred_;
}

// ---- The caller

LONG CQvInetBase::AddRef() {
  return ++references_;
}

// Counted down under the lock: of two threads that let go at once, one is the last outside and must see it.
LONG CQvInetBase::Release() {
  LONG count;
  {
    const Locked locked(*this);
    if (references_ == 2 && thread_) {
      if (busy_) {
        cancel_.store(1, std::memory_order_relaxed);
      } else {
        SendCmdToWorker(kQuit);
      }
    }
    count = --references_;
  }
  if (count == 0) delete this;
  return count;
}

void CQvInetBase::SetRequestNotifyWindow(HWND window) {
  const Locked locked(*this);
  notifyWindow_ = window;
}

void CQvInetBase::SetRequestNotify(CQvHttpNotifyInterface* notify) {
  const Locked locked(*this);
  notify_ = notify;
}

HRESULT CQvInetBase::WaitForRequestStatusChange(DWORD timeout) {
  return Worker::waitFor(*this, statusEvent_, timeout);
}

// The end has an event of its own, or each step of progress would wake who only waits for that. It may be one
// that was set late, for the request before: hence the second look.
HRESULT CQvInetBase::WaitForRequestCompletion(DWORD timeout) {
  if (timeout != 0) lookOutFor(hasEnded_);
  for (DWORD left = timeout;;) {
    const DWORD start = GetTickCount();
    const HRESULT status = Worker::waitFor(*this, doneEvent_, left);
    if (status != qv::kOk) return status;
    {
      const Locked locked(*this);
      if (!busy_) return qv::kOk;
    }
    if (timeout == INFINITE) continue;
    const DWORD elapsed = GetTickCount() - start;
    if (elapsed >= left) return kTimedOut;
    left -= elapsed;
  }
}

HRESULT CQvInetBase::GetRequestResult(HRESULT* result) {
  const Locked locked(*this);
  if (!initialised_ || !result) return qv::kGeneralFailure;
  if (busy_) return kInProgress;
  *result = lastResult_;
  return qv::kOk;
}

HRESULT CQvInetBase::CancelRequest() {
  const Locked locked(*this);
  if (!initialised_) return qv::kGeneralFailure;
  QV_NET_LOG(LOGFLAG_INFORMATION, TEXT("CancelRequest called"));
  cancel_.store(1, std::memory_order_relaxed);
  return qv::kOk;
}

HRESULT CQvInetBase::GetTransferStatus(int64_t* transferred, int64_t* total) {
  const Locked locked(*this);
  if (!initialised_) return qv::kGeneralFailure;
  if (transferred) *transferred = transferred_;
  if (total) *total = total_;
  return qv::kOk;
}

void CQvInetBase::CaptureResponseAndErrorInfo(const WCHAR*) {}

void CALLBACK CQvInetBase::InternetStatusCallback(HINTERNET, DWORD_PTR, DWORD, LPVOID, DWORD) {}
