// get, post, upload: what HTTP servers give and take.

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/transfer.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/net/inethttp.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kAgent = TEXT("workbench/0.1");
constexpr const WCHAR* kAnything = TEXT("*/*");
constexpr uint64_t kLargestBody = 1u << 30;  // held in memory while it is sent
constexpr uint32_t kFirstErrorPage = 400;
constexpr HRESULT kCannotConnect = static_cast<HRESULT>(0x8004e0ecu);
constexpr HRESULT kCouldNotOpenUrl = static_cast<HRESULT>(0x8004e0edu);

struct Complaint {
  uint32_t status;
  const WCHAR* sentence;
};
// For statuses whose own message doesn't say what a person could do about it.
constexpr Complaint kComplaints[] = {
    {0x80070057, TEXT("This can't be sent; a file to upload needs an extension in its name: ")},
    {0x8004e0ec, TEXT("Nobody answers there, or not as a trusted server would: ")},
    {0x8004e0f2, TEXT("The address must begin with http:// or https://: ")},
    {0x8004e0f3, TEXT("No type would be accepted: ")},
    {0x8004e0f4, TEXT("The form doesn't end with the boundary that it begins with: ")},
    {0x8004e0f6, TEXT("The server was silent for too long: ")},
    {0x8004e00c, TEXT("Stopped: ")},
    {0x80004005, TEXT("The address makes no sense, or the answer broke off: ")},
};

// A person reads an address over a shoulder; a password in it is nobody else's.
WString withoutPassword(const WString& url) {
  const size_t start = url.find(TEXT("//"));
  const size_t host = start == WString::npos ? start : url.find_first_of(TEXT("/?#"), start + 2);
  const size_t at = start == WString::npos ? start : url.rfind('@', host);
  if (at == WString::npos || at < start) return url;
  return url.substr(0, start + 2) + url.substr(at + 1);
}

WString sentenceFor(HRESULT status, const WString& url) {
  for (const Complaint& each : kComplaints) {
    if (static_cast<HRESULT>(each.status) == status) return each.sentence + withoutPassword(url);
  }
  return TEXT("The request failed: ") + withoutPassword(url);
}

// What the server called its answer: the header's first line behind the version.
WString statusLine(const CQvInetHttpResponse& response) {
  const WString line = response.rawHeaders;
  const size_t blank = line.find(' ');
  return blank == WString::npos ? line : line.substr(blank + 1);
}

// One request of a step. `begin` posts it with the file that receives the body.
class Request {
 public:
  Request(Session& session, const Step& step) : session_(session), step_(step) {}

  template <typename Begin>
  HRESULT run(const WString* output, const Begin& begin) {
    if (!http_) return kOutOfMemory;
    HRESULT status = http_->Init(kAgent);
    if (FAILED(status)) return status;
    const Interrupt interrupt;
    ReceivedFile file;
    if (output) status = file.prepare(session_.outputPath(*output));
    if (FAILED(status)) return session_.fail(status, TEXT("The folder can't be made for ") + *output);
    status = begin(*http_, output ? file.temporary() : nullptr);
    if (SUCCEEDED(status)) status = finish(interrupt);
    if (FAILED(status)) return failed(status);
    status = output ? file.keep() : kOk;
    if (FAILED(status)) return session_.fail(status, TEXT("The file can't be written: ") + *output);
    return report(output ? file.size() : response_->contentLength);
  }

 private:
  const WString& url() const { return step_.words[1]; }

  HRESULT finish(const Interrupt& interrupt) {
    HRESULT status = awaitRequest(*http_, interrupt, withoutPassword(url()));
    if (FAILED(status)) return status;
    HRESULT result = kOk;
    CQvInetHttpResponse* response = nullptr;
    status = http_->GetRequestResult(&result, &response);
    response_.reset(response);
    if (FAILED(status) || FAILED(result)) return FAILED(status) ? status : result;
    if (!response_) return kCannotConnect;
    return response_->statusCode < kFirstErrorPage ? kOk : kCouldNotOpenUrl;
  }

  HRESULT failed(HRESULT status) {
    if (!response_) return session_.fail(status, sentenceFor(status, url()));
    return session_.fail(
        status, TEXT("The server answers ") + statusLine(*response_) + TEXT(": ") + withoutPassword(url()));
  }

  HRESULT report(int64_t bytes) {
    session_.record({step_.words[0], response_->statusCode, response_->contentType, bytes});
    return kOk;
  }

  Session& session_;
  const Step& step_;
  const Counted<CQvInetHttp> http_{CQvInetHttp::CreateInstance()};
  Counted<CQvInetHttpResponse> response_;
};

const WCHAR* orNull(const WString& text) {
  return text.empty() ? nullptr : text.c_str();
}

HRESULT runGet(Session& session, const Step& step) {
  return Request(session, step).run(&step.words[2], [&](CQvInetHttp& http, const WCHAR* file) {
    const WString* accept = step.option(TEXT("accept"));
    return http.Get(step.words[1].c_str(), accept ? accept->c_str() : kAnything, nullptr, file);
  });
}

HRESULT readInput(Session& session, const WString& name, std::string& bytes) {
  const WString path = session.inputPath(name);
  const HRESULT status = readFile(path, kLargestBody, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The file can't be read: ") + path);
  return bytes.empty() ? session.fail(kInvalidArgument, TEXT("There is nothing to send in ") + path) : kOk;
}

HRESULT runPost(Session& session, const Step& step) {
  std::string bytes;
  const HRESULT status = readInput(session, step.words[2], bytes);
  if (FAILED(status)) return status;
  const WString* type = step.option(TEXT("type"));
  const WString header = TEXT("Content-Type: ") + (type ? *type : WString(TEXT("application/octet-stream")));
  return Request(session, step).run(step.option(TEXT("out")), [&](CQvInetHttp& http, const WCHAR* file) {
    return http.Post(step.words[1].c_str(), kAnything, header.c_str(), bytes.data(),
                     static_cast<uint32_t>(bytes.size()), file);
  });
}

// The header that tells the server where the form's parts begin, by the form's own first line.
WString formHeader(std::string_view form) {
  const size_t end = form.find("\r\n");
  if (!form.starts_with("--") || end == form.npos) return {};
  return TEXT("Content-Type: multipart/form-data; boundary=\"") +
         WString(form.begin() + 2, form.begin() + static_cast<std::ptrdiff_t>(end)) + TEXT("\"");
}

HRESULT runUpload(Session& session, const Step& step) {
  std::string form;
  const HRESULT status = readInput(session, step.words[2], form);
  if (FAILED(status)) return status;
  const WString header = formHeader(form);
  if (header.empty()) {
    return session.fail(kInvalidArgument, TEXT("A form begins with a line \"--boundary\", ended by CR LF."));
  }
  const WString* field = step.option(TEXT("field"));
  const WString* raw = step.option(TEXT("raw"));
  const std::string name = encodeUtf8(field ? *field : WString(TEXT("file")));
  const WString upload = session.inputPath(step.words[3]);
  return Request(session, step).run(step.option(TEXT("out")), [&](CQvInetHttp& http, const WCHAR* file) {
    return http.PostMultipart(step.words[1].c_str(), kAnything, orNull(header), form.data(),
                              static_cast<uint32_t>(form.size()), upload.c_str(), name.c_str(), file,
                              raw && *raw != TEXT("0"));
  });
}

constexpr Verb kVerbs[] = {
    {"get", "URL FILE [accept=TYPES]", 2, 2, "accept", runGet},
    {"post", "URL FILE [type=TYPE] [out=FILE]", 2, 2, "type out", runPost},
    {"upload", "URL FORM FILE [field=NAME] [raw=1] [out=FILE]", 3, 3, "field raw out", runUpload},
};

}  // namespace

std::span<const Verb> netVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
