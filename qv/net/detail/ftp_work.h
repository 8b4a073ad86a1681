// The worker's side of the FTP client.
#pragma once

#include <string>

#include "qv/net/detail/commands.h"
#include "qv/net/detail/local_file.h"
#include "qv/net/detail/request_text.h"
#include "qv/net/inetftp.h"

namespace qv::net {

struct FtpLogin {
  Text host, user, password;
};

struct FtpArguments {
  Text first, second{};  // local and remote name, or the remote path, or the folder and the pattern
  bool binary = true;
  int64_t values[2] = {};  // a partial fetch's
};

// One command on the connection, which it opens where there is none.
struct FtpWork {
  CQvInetFtp& client;
  const FtpArguments arguments;

  HRESULT run(HINTERNET session, uint32_t command);
  // The connection goes with its worker.
  static void disconnect(CQvInetFtp& client);

 private:
  HINTERNET connection() const { return client.connection_; }
  bool connect(HINTERNET session);
  bool isCancelled() const { return client.isCancelled(); }
  DWORD transferFlags() const;

  HRESULT putFile();
  HRESULT sendFile(const LocalFile& local, HINTERNET remote);
  HRESULT getFile();
  HRESULT getPartialFile();
  HRESULT receive(HINTERNET remote, bool knowsTotal);
  HRESULT receiveInto(HINTERNET remote, const LocalFile& local);
  HRESULT getFileSize();
  HRESULT enumDirectory();
};

}  // namespace qv::net
