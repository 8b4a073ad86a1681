#include "qv/net/report_sender.h"

#include <cstddef>

#include "qv/frame/status.h"
#include "qv/net/detail/report_sender.h"
#include "qv/net/inethttp.h"
#include "qv/platform/profile.h"
#include "qv/platform/win32.h"

namespace qv::net {
namespace {

constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x8004e02cu);
constexpr HRESULT kInProgress = static_cast<HRESULT>(0x8004e0acu);
constexpr HRESULT kNoConnection = static_cast<HRESULT>(0x8004e0ecu);
constexpr DWORD kLongestWait = 15000;  // milliseconds

template <typename... Arguments>
void log(LOGFLAGS level, const WCHAR* format, Arguments... arguments) {
  toolkitLog().Write(level, TEXT(__FILE__), __LINE__, format, arguments...);
}

bool writeHiddenFile(const WCHAR* path, const void* data, uint32_t size) {
  const HANDLE file =
      CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool done = WriteFile(file, data, size, &written, nullptr) && written == size;
  CloseHandle(file);
  return done;
}

// ---- the key --------------------------------------------------------------------------------------------

// A text value of fewer than `capacity` characters, terminated here whatever the registry holds.
template <size_t capacity>
struct KeyText {
  WCHAR text[capacity + 1] = {};
  DWORD type = 0;
  DWORD bytes = sizeof(WCHAR) * capacity;
  LSTATUS status;

  KeyText(HKEY key, const WCHAR* name) {
    status = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
    if (status != ERROR_SUCCESS || type != REG_SZ) text[0] = 0;
  }
};

// ---- what is sent ---------------------------------------------------------------------------------------

struct ReportBlock {
  void* data = nullptr;
  uint32_t size = 0;
  ReportBlock() = default;
  ReportBlock(const ReportBlock&) = delete;
  ReportBlock& operator=(const ReportBlock&) = delete;
  ~ReportBlock() { CoTaskMemFree(data); }
};

HRESULT buildReport(const WCHAR* userName, uint32_t flags, ReportBlock& report) {
  IQvConfigMgr* manager = nullptr;
  HRESULT status = CQvConfigMgr::CreateInstance(&manager);
  if (FAILED(status)) return status;
  status = manager->GetConfigXml(userName, flags, &report.size, &report.data);
  manager->Release();
  return status;
}

// One post from its start to the verdict; ends the request's objects with itself.
class Sending {
 public:
  Sending() = default;
  Sending(const Sending&) = delete;
  Sending& operator=(const Sending&) = delete;
  ~Sending() {
    if (response_ != nullptr) response_->Release();
    if (http_ != nullptr) http_->Release();
  }

  HRESULT start() {
    http_ = CQvInetHttp::CreateInstance();
    return http_ != nullptr ? http_->Init(TEXT("QvReporter")) : kOutOfMemory;
  }

  SendOutcome run(const WCHAR* address, const ReportBlock& report) {
    SendOutcome outcome;
    outcome.post = http_->Post(address, TEXT("*/*"), TEXT("Content-Type: text/xml\r\n"), report.data,
                               report.size, nullptr);
    if (FAILED(outcome.post)) return outcome;
    outcome.wait = http_->WaitForRequestCompletion(kLongestWait);
    if (FAILED(outcome.wait)) return outcome;
    outcome.ask = http_->GetRequestResult(&outcome.result, &response_);
    outcome.hasResponse = response_ != nullptr;
    if (outcome.hasResponse) outcome.httpStatus = response_->statusCode;
    return outcome;
  }

  HRESULT conclude(const SendVerdict& verdict) {
    log(verdict.level, verdict.text, verdict.numbers[0], verdict.numbers[1]);
    if (verdict.cancel) http_->CancelRequest();
    if (verdict.delivered) {
      uint32_t size = 0;
      const void* body = response_->GetResponseBuffer(&size);
      writeDebugCopy(TEXT("RegXMLResponseFile"), body, size);
    }
    return verdict.status;
  }

 private:
  CQvInetHttp* http_ = nullptr;
  CQvInetHttpResponse* response_ = nullptr;
};

void send(HKEY key, uint32_t flags, HRESULT& status, bool& delivered) {
  const KeyText<2083> address(key, TEXT("RegConfig"));
  status = kGeneralFailure;
  if (address.text[0] == 0) {
    log(LOGFLAG_ERRORS, TEXT("Could not read RegConfig key from registry.  ev = %d  type = %d  cb = %d"),
        address.status, address.type, address.bytes);
    return;
  }
  const KeyText<129> user(key, TEXT("RegUserName"));
  ReportBlock report;
  status = buildReport(user.text, flags, report);
  if (FAILED(status)) return;
  writeDebugCopy(TEXT("RegXMLFile"), report.data, report.size);
  Sending sending;
  status = sending.start();
  if (FAILED(status)) return;
  const SendVerdict verdict = judgeSending(sending.run(address.text, report));
  delivered = verdict.delivered;
  status = sending.conclude(verdict);
}

}  // namespace

HRESULT writeDebugCopy(const WCHAR* entry, const void* data, uint32_t size) {
  if (entry == nullptr || *entry == 0) return kInvalidArgument;
  if (data == nullptr || size == 0) return kOk;
  WCHAR path[MAX_PATH] = {};
  GetProfileStringW(TEXT("debug"), entry, TEXT(""), path, MAX_PATH);
  if (path[0] == 0) return kOk;
  return writeHiddenFile(path, data, size) ? kOk : kWriteFailed;
}

SendVerdict judgeSending(const SendOutcome& outcome) {
  // The first row that fits decides.
  struct Row {
    const WCHAR* text;
    HRESULT shown, status;
    bool fits, cancel;
  };
  const HRESULT post = outcome.post, wait = outcome.wait, ask = outcome.ask;
  const Row rows[] = {
      {TEXT("CQvInetHttp::Post failed hr=0x%x"), post, post, FAILED(post), false},
      {TEXT("Request timed out waiting for completion change hr=0x%x"), wait, kOk, wait == kTimedOut, true},
      {TEXT("Unknown error while waiting for request completion hr=0x%x"), wait, wait, FAILED(wait), false},
      {TEXT("GetRequestResult returning QV_E_INPROGRESS, but WaitForRequestComplete() was ok. hr=0x%x"), ask,
       kOk, ask == kInProgress, true},
      {TEXT("Could not get status of post hr=0x%x"), ask, ask, FAILED(ask), false},
      {TEXT("Could not post config data to alert server - hrResult=0x%x, no CQvHttpResponse object"),
       outcome.result, kNoConnection, !outcome.hasResponse, false},
  };
  for (const Row& row : rows) {
    if (!row.fits) continue;
    return {LOGFLAG_ERRORS, row.text, {static_cast<uint32_t>(row.shown), 0}, row.status, row.cancel, false};
  }
  const bool good = SUCCEEDED(outcome.result) && outcome.httpStatus >= 200 && outcome.httpStatus <= 299;
  if (good) {
    return {
        LOGFLAG_INFORMATION, TEXT("Successfully posted config data to alert server."), {}, kOk, false, true};
  }
  return {LOGFLAG_ERRORS,
          TEXT("Could not post config data to alert server - hrResult=0x%x, HTTP status code=%d"),
          {static_cast<uint32_t>(outcome.result), outcome.httpStatus},
          kNoConnection,
          false,
          false};
}

}  // namespace qv::net

HRESULT qv::sendConfigReport(HKEY key, uint32_t flags, bool* delivered) {
  HRESULT status = kOk;
  bool taken = false;
  try {
    net::send(key, flags, status, taken);
  } catch (...) {
    net::log(LOGFLAG_ERRORS, TEXT("SendStatsInfo crashed!"));
  }
  if (delivered != nullptr) *delivered = taken;
  return status;
}
