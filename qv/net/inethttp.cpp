#include "qv/net/inethttp.h"

#include <cstdlib>
#include <new>

#include "qv/net/detail/http_work.h"

using namespace qv::net;

// ---- The response

CQvInetHttpResponse::~CQvInetHttpResponse() {
  delete[] rawHeaders;
  delete[] contentType;
  delete[] fileName;
  free(body);
}

LONG CQvInetHttpResponse::AddRef() {
  return ++references_;
}

LONG CQvInetHttpResponse::Release() {
  const LONG count = --references_;
  if (count == 0) delete this;
  return count;
}

void* CQvInetHttpResponse::GetResponseBuffer(uint32_t* size) const {
  if (size) *size = body ? contentLength : 0;
  return body;
}

// ---- The client

CQvInetHttp* CQvInetHttp::CreateInstance() {
  return new (std::nothrow) CQvInetHttp;
}

CQvInetHttp::~CQvInetHttp() {
  if (response_) response_->Release();
}

HRESULT CQvInetHttp::Init(const WCHAR* userAgent) {
  const Locked locked(*this);
  const HRESULT status = InitBase(userAgent);
  if (status == qv::kOk) initialised_ = 1;
  return status;
}

namespace {

// Null is allowed where it is empty.
Text textOf(const WCHAR* text) {
  return text ? text : Text();
}

// Copies what a request was given; null without memory.
template <typename Fill>
std::unique_ptr<HttpArguments> copied(Fill&& fill) {
  try {
    auto arguments = std::make_unique<HttpArguments>();
    fill(*arguments);
    return arguments;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

HRESULT CQvInetHttp::Get(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers,
                         const WCHAR* responseFile) {
  const Locked locked(*this);
  if (const HRESULT status = canTakeRequest(); status != qv::kOk) return status;
  if (!url || !acceptTypes) return qv::kInvalidArgument;
  arguments_ = copied([&](HttpArguments& to) {
    to = {url, acceptTypes, textOf(headers), textOf(responseFile), {}, {}, {}, false};
  });
  if (!arguments_) return qv::kOutOfMemory;
  SendCmdToWorker(kHttpGet);
  return QVINET_PENDING;
}

HRESULT CQvInetHttp::Post(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers, const void* data,
                          uint32_t size, const WCHAR* responseFile) {
  const Locked locked(*this);
  if (const HRESULT status = canTakeRequest(); status != qv::kOk) return status;
  if (!url || !acceptTypes || !data || size == 0) return qv::kInvalidArgument;
  const auto* const bytes = static_cast<const uint8_t*>(data);
  arguments_ = copied([&](HttpArguments& to) {
    to = {url, acceptTypes, textOf(headers), textOf(responseFile), {bytes, bytes + size}, {}, {}, false};
  });
  if (!arguments_) return qv::kOutOfMemory;
  SendCmdToWorker(kHttpPost);
  return QVINET_PENDING;
}

HRESULT CQvInetHttp::PostMultipart(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers,
                                   const void* form, uint32_t size, const WCHAR* uploadFile,
                                   const char* fieldName, const WCHAR* responseFile, uint32_t noPartHeader) {
  const Locked locked(*this);
  if (const HRESULT status = canTakeRequest(); status != qv::kOk) return status;
  if (!url || !acceptTypes || !form || size == 0 || !uploadFile) return qv::kInvalidArgument;
  const auto* const bytes = static_cast<const uint8_t*>(form);
  arguments_ = copied([&](HttpArguments& to) {
    to = {url,
          acceptTypes,
          textOf(headers),
          textOf(responseFile),
          {bytes, bytes + size},
          uploadFile,
          fieldName ? fieldName : "",
          noPartHeader != 0};
  });
  if (!arguments_) return qv::kOutOfMemory;
  SendCmdToWorker(kHttpPostMultipart);
  return QVINET_PENDING;
}

HRESULT CQvInetHttp::GetRequestResult(HRESULT* result, CQvInetHttpResponse** response) {
  const Locked locked(*this);
  const HRESULT status = CQvInetBase::GetRequestResult(result);
  if (response) *response = nullptr;
  if (status != qv::kOk || !response || !response_) return status;
  response_->AddRef();
  *response = response_;
  return status;
}

int32_t CQvInetHttp::CmdInProgress() {
  const Locked locked(*this);
  return isBusy() ? 1 : 0;
}

void CQvInetHttp::SendCmdToWorker(uint32_t command) {
  const Locked locked(*this);
  if (response_) response_->Release();
  response_ = nullptr;
  CQvInetBase::SendCmdToWorker(command);
}

HRESULT CQvInetHttp::WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) {
  if (command < kHttpGet || command > kHttpPostMultipart) {
    return CQvInetBase::WorkerProcessCommand(session, command, data);
  }
  HRESULT status;
  ResponsePointer response;
  try {
    HttpWork work{*this, *arguments_};
    status = work.run(session, command);
    response = std::move(work.response);
  } catch (const std::bad_alloc&) {
    status = qv::kOutOfMemory;
  }
  arguments_.reset();
  if (isCancelled()) status = qv::kCancelled;
  if (status == qv::kOk) *data = reinterpret_cast<uintptr_t>(response.release());
  return status;
}

// Nobody sees the response before the base says that the request has ended.
void CQvInetHttp::DoneWithCmd(HRESULT status, uint64_t data) {
  {
    const Locked locked(*this);
    response_ = reinterpret_cast<CQvInetHttpResponse*>(static_cast<uintptr_t>(data));
  }
  CQvInetBase::DoneWithCmd(status, data);
}
