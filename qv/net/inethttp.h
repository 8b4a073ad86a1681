// The HTTP client: GET, POST, and a POST of a form with a file in it, on the worker of qv/net/inetbase.h.
//
//   CQvInetHttp* http = CQvInetHttp::CreateInstance();
//   http->Init(TEXT("Cutter"));
//   http->Get(TEXT("https://example.org/news"), TEXT("text/xml,*/*"), nullptr, nullptr);
//   http->WaitForRequestCompletion(15000);
//   HRESULT status;
//   CQvInetHttpResponse* response = nullptr;
//   if (http->GetRequestResult(&status, &response) == 0 && status == 0 && response) {
//     if (response->statusCode == 200) show(response->GetResponseBuffer(nullptr));
//     response->Release();
//   }
//   http->Release();
//
// An address may hold a user and a password. Redirections are followed, but credentials go to the first
// server only. A status of 400 and more is a response like any other.
#pragma once

#include <memory>

#include "qv/net/inetbase.h"

namespace qv::net {
struct HttpArguments;
struct HttpWork;
}  // namespace qv::net

// What a server answered; shared, and unchanged once a request has ended.
class QV_API CQvInetHttpResponse {
 public:
  CQvInetHttpResponse() = default;
  CQvInetHttpResponse(const CQvInetHttpResponse&) = delete;
  CQvInetHttpResponse& operator=(const CQvInetHttpResponse&) = delete;

  // Give the new count; the last Release frees. Any thread.
  LONG AddRef();
  LONG Release();
  // The body, with a zero byte behind it, and its size in bytes (null allowed); null when it went to a file
  // or was empty. Good as long as the response.
  void* GetResponseBuffer(uint32_t* size) const;

 protected:
  virtual ~CQvInetHttpResponse();

 private:
  friend struct qv::net::HttpWork;
  std::atomic<LONG> references_{1};

 public:
  uint32_t statusCode = 0;       // 200, 404 …
  WCHAR* rawHeaders = nullptr;   // lines, each terminated, and an empty one
  WCHAR* contentType = nullptr;  // empty when the server gave none
  uint32_t contentLength = 0;    // of the body, in bytes; 2^32 - 1 for a longer one, in a file
  uint8_t* body = nullptr;
  WCHAR* fileName = nullptr;  // where the body went; null for a response in memory
};

class QV_API CQvInetHttp : public CQvInetBase {
 public:
  // One reference, the caller's; null without memory.
  static CQvInetHttp* CreateInstance();

  // Starts the worker; once. 0; 0x80070057 for null; 0x80004005.
  HRESULT Init(const WCHAR* userAgent);

  // Begin a request. All arguments are copied.
  //   url           http or https
  //   acceptTypes   media types, separated by commas
  //   headers       lines "Name: value" with CR LF between them; may be null
  //   responseFile  where the body goes, replacing what is there; null for memory. After a failure, and for
  //   an
  //                 empty body, there is no such file
  // 0x0004e011 when it runs, 0x8004e0ac while another one does; 0x80004005 before Init; 0x80070057 for a null
  // that isn't allowed and a size of 0; 0x8007000e.
  HRESULT Get(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers, const WCHAR* responseFile);
  HRESULT Post(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers, const void* data,
               uint32_t size, const WCHAR* responseFile);

  // The same for a form with a file in it. The file streams from the disk and is never held whole.
  //   headers     bring the form's Content-Type with its boundary
  //   form        the whole multipart body, from its first "--" to its closing boundary, in front of which
  //   the
  //               file is put in as one more part
  //   fieldName   8-bit, of the form's field for the file; null for an empty one
  //   noPartHeader  not 0: the file's bytes go in as they are, without a header of their own
  // Progress counts the upload alone.
  HRESULT PostMultipart(const WCHAR* url, const WCHAR* acceptTypes, const WCHAR* headers, const void* form,
                        uint32_t size, const WCHAR* uploadFile, const char* fieldName,
                        const WCHAR* responseFile, uint32_t noPartHeader);

  // How the last request ended, and its response, with a reference for the caller; null after a failure, and
  // when the address had no host that could be asked. `response` null: it is not wanted. 0; 0x80004005 before
  // Init and for a null result; 0x8004e0ac while a request runs.
  //
  // Results of requests: 0; 0x8004e0ec no connection; 0x8004e0f2 neither http nor https; 0x8004e0f3 no accept
  // types; 0x8004e0f4 no closing boundary; 0x8004e0f6 the server was silent for too long; 0x8004e00c
  // cancelled; 0x8004e006 to 0x8004e009 the files; 0x80004005 a broken response.
  HRESULT GetRequestResult(HRESULT* result, CQvInetHttpResponse** response);

  // 1 while a request runs, else 0. Any thread.
  int32_t CmdInProgress();

 protected:
  CQvInetHttp() = default;
  ~CQvInetHttp() override;
  void SendCmdToWorker(uint32_t command) override;
  HRESULT WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) override;
  void DoneWithCmd(HRESULT status, uint64_t data) override;

 private:
  friend struct qv::net::HttpWork;

  uint32_t initialised_ = 0;
  std::unique_ptr<qv::net::HttpArguments> arguments_;
  CQvInetHttpResponse* response_ = nullptr;
};
