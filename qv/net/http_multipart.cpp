// A form's upload: the body in pieces, with a file put in before its closing boundary.
#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "qv/files/paths.h"
#include "qv/net/detail/http_work.h"
#include "qv/net/detail/local_file.h"
#include "qv/platform/content_types.h"
#include "qv/platform/text.h"

namespace qv::net {
namespace {

constexpr HRESULT kTooShort = static_cast<HRESULT>(0x8004e03cu);
constexpr HRESULT kNoClosingBoundary = static_cast<HRESULT>(0x8004e0f4u);
constexpr uint32_t kFileBlock = 0x20000;
// Ten packets' worth: small, so that progress flows and a cancel is seen soon.
constexpr uint32_t kChunk = 14600;
constexpr size_t kDelimiterCapacity = 100;
constexpr DWORD kTypeCapacity = 128;

using Bytes = std::span<const uint8_t>;

std::string narrowOf(const WCHAR* text) {
  const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(std::max(size, 1)), 0);
  WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), size, nullptr, nullptr);
  narrow.pop_back();
  return narrow;
}

const WCHAR* fileNameOf(const Text& path) {
  const WCHAR* const name = QvGetFileNamePtrW(path.c_str());
  const size_t slash = Text(name).rfind('/');
  return slash == Text::npos ? name : name + slash + 1;
}

// 0x80070057 for a name without an extension.
HRESULT readContentTypeForFile(const Text& path, WCHAR* type, DWORD capacity) {
  const WCHAR* const extension = QvGetFileNameExtensionPtrW(fileNameOf(path));
  if (!extension || !*extension) return kInvalidArgument;
  if (!qv::contentTypeOfExtension(extension, type, capacity)) {
    QV_NET_LOG(LOGFLAG_INFORMATION,
               TEXT("Using generic application/octet-stream for content-type on request"));
    Text(TEXT("application/octet-stream")).copy(type, capacity);
  }
  return kOk;
}

// The form's first line, with the line break that precedes it everywhere else.
HRESULT findMultipartBoundaryDelimiter(Bytes form, std::string& delimiter) {
  const std::string_view text(reinterpret_cast<const char*>(form.data()), form.size());
  const size_t end = text.find("\r\n");
  if (!text.starts_with("--") || end == text.npos) return kInvalidArgument;
  delimiter = "\r\n" + std::string(text.substr(0, end));
  return delimiter.size() < kDelimiterCapacity ? kOk : kTooShort;
}

// Where the closing boundary begins; the form's size when there is none.
size_t findClosingBoundary(Bytes form, std::string_view delimiter) {
  const std::string_view text(reinterpret_cast<const char*>(form.data()), form.size());
  for (size_t at = text.find(delimiter); at != text.npos; at = text.find(delimiter, at + delimiter.size())) {
    if (text.substr(at + delimiter.size()).starts_with("--")) return at;
  }
  return text.size();
}

// What stands in quotes in a part's header; a line break there would begin a header of a stranger's choice.
bool canBeQuoted(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

std::string quoted(std::string_view text) {
  std::string out;
  for (const char c : text) out += c == '"' ? std::string("%22") : std::string(1, c);
  return out;
}

// The pieces of one upload.
class FormSender {
 public:
  FormSender(HttpWork& work, Bytes form) : work_(work), form_(form) {}

  HRESULT prepare();
  HRESULT begin();
  HRESULT sendAll();

 private:
  HRESULT makePartHeader();
  bool write(Bytes bytes, DWORD& left);
  HRESULT sendPiece(Bytes bytes);
  HRESULT sendFile();
  HRESULT sendFileBlock(Bytes block);
  HRESULT sendClosing();

  HttpWork& work_;
  const Bytes form_;
  std::string delimiter_, partHeader_;
  WCHAR type_[kTypeCapacity] = {};
  size_t closing_ = 0;
  uint64_t fileBytes_ = 0;  // still to be sent
  LocalFile file_ = LocalFile::toRead(work_.arguments.uploadFile.c_str());
};

HRESULT FormSender::makePartHeader() {
  const HttpArguments& given = work_.arguments;
  if (given.noPartHeader) return kOk;
  const std::string name = narrowOf(fileNameOf(given.uploadFile));
  if (!canBeQuoted(name) || !canBeQuoted(given.fieldName)) return kInvalidArgument;
  partHeader_ = delimiter_ + "\r\nContent-Disposition: form-data; name=\"" + quoted(given.fieldName) +
                "\"; filename=\"" + quoted(name) + "\"\r\nContent-Type: " + narrowOf(type_) + "\r\n\r\n";
  return kOk;
}

HRESULT FormSender::prepare() {
  const WCHAR* const name = work_.arguments.uploadFile.c_str();
  HRESULT status = readContentTypeForFile(work_.arguments.uploadFile, type_, kTypeCapacity);
  if (status != kOk) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("ReadContentTypeForFile on file '%s' failed with hr=%x."), name, status);
    return status;
  }
  status = findMultipartBoundaryDelimiter(form_, delimiter_);
  if (status != kOk) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("FindMultipartBoundaryDelimiter failed with hr=%x."), status);
    return status;
  }
  closing_ = findClosingBoundary(form_, delimiter_);
  if (closing_ == form_.size()) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("pEndingBoundary toast."));
    return kNoClosingBoundary;
  }
  if (!file_.isOpen()) {
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("Could not open local file %s."), name);
    return kCannotOpenFile;
  }
  return makePartHeader();
}

HRESULT FormSender::begin() {
  const int64_t fileBytes = file_.size();
  if (fileBytes < 0) return kReadFailed;
  fileBytes_ = static_cast<uint64_t>(fileBytes);
  const uint64_t total = form_.size() + partHeader_.size() + fileBytes_;
  if (total > UINT32_MAX) return kInvalidArgument;  // more than the request's own field can say
  work_.setTotal(static_cast<int64_t>(total));
  INTERNET_BUFFERSW buffers = {};
  buffers.dwStructSize = sizeof(buffers);
  buffers.dwBufferTotal = static_cast<DWORD>(total);
  if (!HttpSendRequestExW(work_.request.get(), &buffers, nullptr, HSR_INITIATE,
                          reinterpret_cast<DWORD_PTR>(&work_.client))) {
    const DWORD error = GetLastError();
    QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpSendRequestEx failed GLE=%d"), error);
    return error == ERROR_INTERNET_TIMEOUT ? kServerSilent : kCannotConnect;
  }
  return work_.isCancelled() ? kCancelled : kOk;
}

bool FormSender::write(Bytes bytes, DWORD& left) {
  for (left = static_cast<DWORD>(bytes.size()); left > 0;) {
    DWORD done = 0;
    if (!InternetWriteFile(work_.request.get(), bytes.data() + bytes.size() - left, left, &done) ||
        done == 0) {
      return false;
    }
    left -= done;
    work_.addProgress(done);
  }
  return true;
}

HRESULT FormSender::sendPiece(Bytes bytes) {
  DWORD left = 0;
  if (write(bytes, left)) return kOk;
  QV_NET_LOG(LOGFLAG_ERRORS, TEXT("InternetWriteFile failed - tried to write %d bytes GLE=%d."), left,
             GetLastError());
  return kGeneralFailure;
}

HRESULT FormSender::sendFileBlock(Bytes block) {
  while (!block.empty()) {
    const Bytes chunk = block.first(std::min<size_t>(block.size(), kChunk));
    DWORD left = 0;
    if (!write(chunk, left)) return kWriteFailed;
    if (work_.isCancelled()) return kCancelled;
    block = block.subspan(chunk.size());
  }
  return kOk;
}

// As many bytes as were announced, even if somebody makes the file longer meanwhile.
HRESULT FormSender::sendFile() {
  std::vector<uint8_t> block(kFileBlock);
  while (fileBytes_ > 0) {
    DWORD bytes = 0;
    const auto wanted = static_cast<DWORD>(std::min<uint64_t>(fileBytes_, kFileBlock));
    if (!file_.read(block.data(), wanted, &bytes) || bytes == 0) {
      QV_NET_LOG(LOGFLAG_ERRORS, TEXT("ReadFile failed - buffer size %d GLE=%d."), kFileBlock,
                 GetLastError());
      return kReadFailed;
    }
    const HRESULT status = sendFileBlock(Bytes(block).first(bytes));
    if (status != kOk) return status;
    fileBytes_ -= bytes;
  }
  return kOk;
}

HRESULT FormSender::sendClosing() {
  DWORD left = 0;
  if (write(form_.subspan(closing_), left)) return kOk;
  QV_NET_LOG(LOGFLAG_ERRORS, TEXT("InternetWriteFile failed with cbLeftToWrite=%d, GLE=%d."), left,
             GetLastError());
  return kGeneralFailure;
}

HRESULT FormSender::sendAll() {
  HRESULT status = sendPiece(form_.first(closing_));
  if (status == kOk) {
    status = sendPiece({reinterpret_cast<const uint8_t*>(partHeader_.data()), partHeader_.size()});
  }
  if (status == kOk) status = sendFile();
  if (status == kOk) status = sendClosing();
  if (status != kOk) return status;
  if (HttpEndRequestW(work_.request.get(), nullptr, 0, reinterpret_cast<DWORD_PTR>(&work_.client)))
    return kOk;
  QV_NET_LOG(LOGFLAG_ERRORS, TEXT("HttpEndRequest failed GLE=%d."), GetLastError());
  return kGeneralFailure;
}

}  // namespace

HRESULT HttpWork::sendForm() {
  FormSender sender(*this, arguments.data);
  HRESULT status = sender.prepare();
  if (status == kOk) status = sender.begin();
  return status == kOk ? sender.sendAll() : status;
}

}  // namespace qv::net
