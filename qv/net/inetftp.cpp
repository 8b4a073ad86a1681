#include "qv/net/inetftp.h"

#include <new>
#include <utility>

#include "qv/net/detail/ftp_work.h"

using namespace qv::net;

CQvInetFtp::CQvInetFtp() = default;

CQvInetFtp::~CQvInetFtp() {
  FtpWork::disconnect(*this);
}

CQvInetFtp* CQvInetFtp::CreateInstance() {
  return new (std::nothrow) CQvInetFtp;
}

CQvInetFtpTELMO* CQvInetFtpTELMO::CreateInstance() {
  return new (std::nothrow) CQvInetFtpTELMO;
}

namespace {

// Copies what a command was given; null without memory.
template <typename Made, typename... Values>
std::unique_ptr<Made> copied(Values&&... values) {
  try {
    return std::unique_ptr<Made>(new Made{std::forward<Values>(values)...});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool canSend(const WCHAR* text) {
  return text && isOneLine(text);
}

}  // namespace

HRESULT CQvInetFtp::Init(const WCHAR* userAgent, const WCHAR* host, const WCHAR* user,
                         const WCHAR* password) {
  const Locked locked(*this);
  if (initialised_) return qv::kGeneralFailure;
  if (!canSend(host) || !canSend(user) || !canSend(password)) return qv::kInvalidArgument;
  login_ = copied<FtpLogin>(host, user, password);
  if (!login_) return qv::kOutOfMemory;
  const HRESULT status = InitBase(userAgent);
  if (status == qv::kOk) initialised_ = 1;
  return status;
}

HRESULT CQvInetFtp::beginCommand(uint32_t command, std::unique_ptr<FtpArguments> arguments) {
  const HRESULT status = canTakeRequest();
  if (status != qv::kOk) return status;
  if (!arguments) return qv::kOutOfMemory;
  arguments_ = std::move(arguments);
  if (command != kGetPartialFile) list_ = nullptr;
  SendCmdToWorker(command);
  return QVINET_PENDING;
}

HRESULT CQvInetFtp::PutFile(const WCHAR* localFile, const WCHAR* remoteFile, uint32_t binary) {
  const Locked locked(*this);
  if (!localFile || !canSend(remoteFile)) return qv::kInvalidArgument;
  return beginCommand(kPutFile, copied<FtpArguments>(localFile, remoteFile, binary != 0));
}

HRESULT CQvInetFtp::GetFile(const WCHAR* localFile, const WCHAR* remoteFile, uint32_t binary) {
  const Locked locked(*this);
  if (!localFile || !canSend(remoteFile)) return qv::kInvalidArgument;
  return beginCommand(kGetFile, copied<FtpArguments>(localFile, remoteFile, binary != 0));
}

HRESULT CQvInetFtp::GetFileSizeInBytes(const WCHAR* remoteFile) {
  const Locked locked(*this);
  return canSend(remoteFile) ? beginCommand(kGetFileSize, copied<FtpArguments>(remoteFile))
                             : qv::kInvalidArgument;
}

HRESULT CQvInetFtp::EnumDirectoryFiles(const WCHAR* directory, const WCHAR* pattern) {
  const Locked locked(*this);
  if (!canSend(directory) || !canSend(pattern)) return qv::kInvalidArgument;
  return beginCommand(kEnumDirectory, copied<FtpArguments>(directory, pattern));
}

HRESULT CQvInetFtp::CreateDirectoryW(const WCHAR* remoteDirectory) {
  const Locked locked(*this);
  return canSend(remoteDirectory) ? beginCommand(kCreateDirectory, copied<FtpArguments>(remoteDirectory))
                                  : qv::kInvalidArgument;
}

HRESULT CQvInetFtp::RemoveDirectoryW(const WCHAR* remoteDirectory) {
  const Locked locked(*this);
  return canSend(remoteDirectory) ? beginCommand(kRemoveDirectory, copied<FtpArguments>(remoteDirectory))
                                  : qv::kInvalidArgument;
}

HRESULT CQvInetFtp::DeleteFileW(const WCHAR* remoteFile) {
  const Locked locked(*this);
  return canSend(remoteFile) ? beginCommand(kDeleteFile, copied<FtpArguments>(remoteFile))
                             : qv::kInvalidArgument;
}

HRESULT CQvInetFtpTELMO::GetPartialFile(const WCHAR* localFile, const WCHAR* remoteFile, int64_t first,
                                        int64_t second, uint32_t binary) {
  const Locked locked(*this);
  if (!localFile || !canSend(remoteFile)) return qv::kInvalidArgument;
  auto arguments = copied<FtpArguments>(localFile, remoteFile, binary != 0);
  if (arguments) arguments->values[0] = first, arguments->values[1] = second;
  return beginCommand(kGetPartialFile, std::move(arguments));
}

HRESULT CQvInetFtp::GetRequestResult(HRESULT* result, tQVLIST** list) {
  const Locked locked(*this);
  const HRESULT status = CQvInetBase::GetRequestResult(result);
  if (list) *list = status == qv::kOk ? list_ : nullptr;
  return status;
}

HRESULT CQvInetFtp::WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) {
  if (command == kQuit) FtpWork::disconnect(*this);
  if (command < kPutFile || command > kDeleteFile || command == kGetPartialFile) {
    return CQvInetBase::WorkerProcessCommand(session, command, data);
  }
  return runOnConnection(session, command);
}

HRESULT CQvInetFtp::runOnConnection(HINTERNET session, uint32_t command) {
  try {
    return FtpWork{*this, std::move(*arguments_)}.run(session, command);
  } catch (const std::bad_alloc&) {
    return qv::kOutOfMemory;
  }
}

HRESULT CQvInetFtpTELMO::WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) {
  if (command != kGetPartialFile) return CQvInetFtp::WorkerProcessCommand(session, command, data);
  return runOnConnection(session, command);
}
