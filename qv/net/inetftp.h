// The FTP client, on the worker of qv/net/inetbase.h, with one connection that stays open between commands.
//
//   CQvInetFtp* ftp = CQvInetFtp::CreateInstance();
//   ftp->Init(TEXT("Cutter"), TEXT("ftp.example.org"), TEXT("me"), TEXT("secret"));
//   ftp->GetFile(TEXT("C:\\takes\\1.wav"), TEXT("takes/1.wav"), 1);
//   ftp->WaitForRequestCompletion(INFINITE);
//   HRESULT status;
//   ftp->GetRequestResult(&status, nullptr);
//   ftp->Release();
//
// The port is 21. Remote names are the server's: from the folder where the user begins, or from "/".
#pragma once

#include <memory>

#include "qv/core/list.h"
#include "qv/net/inetbase.h"

// An item of a result list, an inline array.
struct QVFTPFILE {
  WCHAR name[260];
  uint64_t size;  // bytes; 0 when the server doesn't say
};
static_assert(sizeof(QVFTPFILE) == 528 && offsetof(QVFTPFILE, size) == 520);

namespace qv::net {
struct FtpArguments;
struct FtpLogin;
struct FtpWork;
}  // namespace qv::net

class QV_API CQvInetFtp : public CQvInetBase {
 public:
  // One reference, the caller's; null without memory.
  static CQvInetFtp* CreateInstance();

  // Names the server and starts the worker, which connects with its first command; once. 0; 0x80070057 for a
  // null or a control character; 0x80004005 the second time; 0x8007000e.
  HRESULT Init(const WCHAR* userAgent, const WCHAR* host, const WCHAR* user, const WCHAR* password);

  // Begin a command. Texts are copied. `binary` 0 converts line ends, else bytes go as they are.
  // 0x0004e011 when it runs, 0x8004e0ac while another one does; 0x80004005 before Init; 0x80070057 for a
  // null; 0x8007000e.
  //
  // A file that is fetched is gone again when that failed or was cancelled, and when it is empty.
  HRESULT PutFile(const WCHAR* localFile, const WCHAR* remoteFile, uint32_t binary);
  HRESULT GetFile(const WCHAR* localFile, const WCHAR* remoteFile, uint32_t binary);
  // The result is a list with one entry.
  HRESULT GetFileSizeInBytes(const WCHAR* remoteFile);
  // The result is a list of what matches, perhaps empty. More than 262,144 names fail, as a server does that
  // never ends.
  HRESULT EnumDirectoryFiles(const WCHAR* directory, const WCHAR* pattern);
  HRESULT CreateDirectoryW(const WCHAR* remoteDirectory);
  HRESULT RemoveDirectoryW(const WCHAR* remoteDirectory);
  HRESULT DeleteFileW(const WCHAR* remoteFile);

  // How the last command ended, and its list of QVFTPFILE, null when it has none; `list` null: not wanted.
  // The list is the caller's to destroy, once, however often it was asked for: the object never frees one. 0;
  // 0x80004005 before Init and for a null result; 0x8004e0ac while a command runs.
  //
  // Results of commands: 0; 0x8004e0ec no connection; 0x8004e006 to 0x8004e009 the files on either side;
  // 0x80004005 the server refused; 0x8007000e; 0x8004e00c cancelled.
  HRESULT GetRequestResult(HRESULT* result, tQVLIST** list);

 protected:
  CQvInetFtp();
  ~CQvInetFtp() override;
  HRESULT WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) override;

  // Under the lock: takes what a command was given and hands it to the worker.
  HRESULT beginCommand(uint32_t command, std::unique_ptr<qv::net::FtpArguments> arguments);

  // On the worker: runs a command that was begun so.
  HRESULT runOnConnection(HINTERNET session, uint32_t command);

 private:
  friend struct qv::net::FtpWork;

  HINTERNET connection_ = nullptr;  // the worker's
  tQVLIST* list_ = nullptr;
  uint32_t initialised_ = 0;
  std::unique_ptr<qv::net::FtpLogin> login_;
  std::unique_ptr<qv::net::FtpArguments> arguments_;
};

// Adds what camera devices offer: a stretch of a file, by a command of their own ("SITE REPF").
class QV_API CQvInetFtpTELMO : public CQvInetFtp {
 public:
  static CQvInetFtpTELMO* CreateInstance();

  // The two values go to the device as they are: what they mean is its own. Results as for GetFile, but the
  // total is not known, and 0x8004e007 when the device doesn't know the command.
  HRESULT GetPartialFile(const WCHAR* localFile, const WCHAR* remoteFile, int64_t first, int64_t second,
                         uint32_t binary);

 protected:
  CQvInetFtpTELMO() = default;
  HRESULT WorkerProcessCommand(HINTERNET session, uint32_t command, uint64_t* data) override;
};
