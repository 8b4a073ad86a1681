// The worker's side of the HTTP client.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qv/net/detail/commands.h"
#include "qv/net/detail/request_text.h"
#include "qv/net/inethttp.h"

namespace qv::net {

// A request's arguments, as copied; the accept types are cut up on the worker.
struct HttpArguments {
  Text url, acceptTypes;
  Text headers, responseFile;  // empty for none
  std::vector<uint8_t> data;   // the body, or the form
  Text uploadFile;
  std::string fieldName;
  bool noPartHeader = false;
};

class InternetHandle {
 public:
  InternetHandle() = default;
  ~InternetHandle() {
    if (handle_) InternetCloseHandle(handle_);
  }
  InternetHandle(const InternetHandle&) = delete;
  InternetHandle& operator=(const InternetHandle&) = delete;
  bool set(HINTERNET handle) { return (handle_ = handle) != nullptr; }
  HINTERNET get() const { return handle_; }

 private:
  HINTERNET handle_ = nullptr;
};

struct ReleaseResponse {
  void operator()(CQvInetHttpResponse* response) const { response->Release(); }
};
using ResponsePointer = std::unique_ptr<CQvInetHttpResponse, ReleaseResponse>;

// One request, from its address to its whole response.
struct HttpWork {
  CQvInetHttp& client;
  HttpArguments& arguments;
  // Children are closed before their parents.
  InternetHandle connection{}, request{};
  ResponsePointer response{};

  // The statuses of requests; kOk leaves a response, unless there was no host.
  HRESULT run(HINTERNET session, uint32_t command);

  bool isCancelled() const { return client.isCancelled(); }
  void setTotal(int64_t bytes) { client.SetTotalBytesToTransfer(bytes); }
  void addProgress(int64_t bytes) { client.TransferProgressUpdate(bytes); }

  // http_request.cpp
  HRESULT open(HINTERNET session, const WCHAR* verb);
  HRESULT send();
  HRESULT fillResponse(bool showProgress);
  // http_multipart.cpp
  HRESULT sendForm();

 private:
  HRESULT connect(HINTERNET session, struct CrackedUrl& url);
  HRESULT openRequest(const WCHAR* verb, const CrackedUrl& url);
  HRESULT readHeader();
  HRESULT fillBody(bool showProgress);
  HRESULT readToMemory(bool showProgress, std::optional<uint64_t> length);
  HRESULT readToFile(bool showProgress, std::optional<uint64_t> length);
};

}  // namespace qv::net
