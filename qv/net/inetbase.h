// The frame of the internet clients: one object owns one background thread, and that thread one session.
//
//   CQvInetHttp* http = CQvInetHttp::CreateInstance();
//   http->Init(TEXT("Cutter"));
//   http->Get(TEXT("https://example.org/list"), TEXT("*/*"), nullptr, nullptr);
//   while (http->WaitForRequestStatusChange(INFINITE) == 0 && http->CmdInProgress()) refreshProgressBar();
//   http->Release();
//
// A caller on any thread posts one request at a time; the request runs on the worker. The caller learns of
// progress and of the end by polling, by waiting, by window messages or through a notify object.
//
// A cancelled request ends the worker as well, and the object takes no further one: make a new object. The
// last outside Release stops the worker, which lets go of the object when it has ended.
#pragma once

#include <atomic>

#include "qv/api.h"
#include "qv/platform/internet.h"
#include "qv/platform/sync.h"

// What a request method gives instead of 0: accepted, and running on the worker. No failure.
inline constexpr HRESULT QVINET_PENDING = 0x0004e011;

// Posted to the notify window, both without arguments: the end of a request, and a step of progress.
inline constexpr UINT QVINET_MESSAGE_DONE = 0xf00, QVINET_MESSAGE_PROGRESS = 0xf01;

// Called on the worker thread with the object's lock held: don't wait for another caller in there.
class CQvHttpNotifyInterface {
 public:
  // So many bytes have just moved.
  virtual void progress(int64_t bytes) = 0;
  // A request has ended, with its status and what it left for the class.
  virtual void requestDone(HRESULT status, uint64_t data) = 0;

 protected:
  ~CQvHttpNotifyInterface() = default;
};

namespace qv::net {
struct Worker;
}

class QV_API CQvInetBase {
 public:
  CQvInetBase(const CQvInetBase&) = delete;
  CQvInetBase& operator=(const CQvInetBase&) = delete;

  // Give the new count. The object begins with one reference, and is gone with the last. Any thread.
  LONG AddRef();
  LONG Release();

  // Who is told; null for nobody. Neither is owned, and both must stay until the object has gone or they were
  // replaced: once these return, the one before is not called any more. Any thread but a notify call's.
  void SetRequestNotifyWindow(HWND window);
  void SetRequestNotify(CQvHttpNotifyInterface* notify);

  // Waits for the next step of progress or the end, in milliseconds or INFINITE. 0, at once when nothing
  // runs; 0x8004e02c when the time was up; 0x80004005 before initialisation. One thread at a time.
  HRESULT WaitForRequestStatusChange(DWORD timeout);
  // Waits for the end. Results as above.
  HRESULT WaitForRequestCompletion(DWORD timeout);

  // How the last request ended. 0x8004e0ac while one runs; 0x80004005 for null or before initialisation. Any
  // thread. The classes below have forms of their own, with their results.
  HRESULT GetRequestResult(HRESULT* result);

  // Asks the worker to stop; it ends with 0x8004e00c after the block that it is at. Doesn't wait. Any thread.
  HRESULT CancelRequest();

  // Bytes moved so far, and how many it will be, 0 when nobody knows. Null allowed. Any thread.
  HRESULT GetTransferStatus(int64_t* transferred, int64_t* total);

 protected:
  CQvInetBase();
  virtual ~CQvInetBase();

  // Hands a command to the worker.
  virtual void SendCmdToWorker(uint32_t command);
  // Runs a command on the worker and gives its status; `data` receives what it leaves for the class.
  virtual HRESULT WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data);
  // On the worker, after every command: stores its end and tells those who wait for it.
  virtual void DoneWithCmd(HRESULT status, uint64_t data);

  // Starts the worker. 0; 0x80070057 without an agent; 0x80004005 the second time and when there is no
  // thread.
  HRESULT InitBase(const WCHAR* userAgent);

  // For the worker: the total, and bytes that have just moved.
  void SetTotalBytesToTransfer(int64_t bytes);
  void TransferProgressUpdate(int64_t bytes);
  int64_t GetTotalBytesToTransfer();
  int64_t GetBytesTransferred();

  // Until a command is there.
  void WaitForCmd();

  // Places for a subclass to hook into the session; nothing happens in either.
  void CaptureResponseAndErrorInfo(const WCHAR* text);
  static void CALLBACK InternetStatusCallback(HINTERNET handle, DWORD_PTR context, DWORD status,
                                              LPVOID information, DWORD length);

  // For the request methods of the classes below: holds the lock as long as it lives.
  class Locked {
   public:
    explicit Locked(CQvInetBase& object) : section_(object.lock_) { EnterCriticalSection(&section_); }
    ~Locked() { LeaveCriticalSection(&section_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

   private:
    CRITICAL_SECTION& section_;
  };
  // 0, or why no request can be taken now: 0x80004005 or 0x8004e0ac. Under the lock.
  HRESULT canTakeRequest() const {
    if (!initialised_) return static_cast<HRESULT>(0x80004005u);
    return busy_ ? static_cast<HRESULT>(0x8004e0acu) : 0;
  }
  bool isBusy() const { return busy_ != 0; }
  bool isCancelled() const { return cancel_.load(std::memory_order_relaxed) != 0; }

 private:
  friend struct qv::net::Worker;

  CRITICAL_SECTION lock_;  // guards what follows, the words that the worker reads apart
  HRESULT lastResult_;
  uint64_t resultData_ = 0;
  HWND notifyWindow_ = nullptr;
  CQvHttpNotifyInterface* notify_ = nullptr;
  HANDLE statusEvent_ = nullptr;
  HANDLE commandEvent_ = nullptr;
  std::atomic<uint32_t> cancel_{0};
  uint32_t busy_ = 0;
  std::atomic<uint32_t> command_{0};
  std::atomic<LONG> references_{1};
  WCHAR* userAgent_ = nullptr;
  uint32_t initialised_ = 0;
  HANDLE thread_ = nullptr;
  DWORD threadId_ = 0;
  int64_t transferred_ = 0;
  int64_t total_ = 0;
  HANDLE doneEvent_ = nullptr;
  std::atomic<bool> hasCommand_{false},
      hasEnded_{true};  // behind the events, for those who look out for them
};
