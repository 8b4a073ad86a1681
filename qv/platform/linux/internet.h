// What stands behind a HINTERNET. Sessions, connections, and what is read and written are kinds of one
// object, so that the operations on any of them find it in the one table of handles.
#pragma once

#include <string>

#include "qv/platform/internet.h"
#include "qv/platform/linux/handles.h"

namespace qv::platform {

class InternetObject : public Object {
 public:
  // All three set the last error and give false where they fail, and on an object that has no such thing.
  virtual bool available(DWORD* bytes);
  virtual bool read(void* buffer, DWORD bytes, DWORD* done);
  virtual bool write(const void* buffer, DWORD bytes, DWORD* done);
  // The handle goes: ends what is going on, and says whether it ended well. The object lives until nothing
  // holds it any more.
  virtual bool close() { return true; }
};

class ChannelPool;

class Session : public InternetObject {
 public:
  explicit Session(std::string agent);
  const std::string& agent() const { return agent_; }  // UTF-8
  ChannelPool& channels() { return *channels_; }

 private:
  const std::string agent_;
  const std::shared_ptr<ChannelPool> channels_;
};

// Where a connection leads; texts are UTF-8 and free of control characters.
struct Host {
  std::shared_ptr<Session> session;
  std::string name;
  uint16_t port;
  std::string user, password;
};

class Connection : public InternetObject {
 public:
  explicit Connection(Host host) : host_(std::move(host)) {}
  const Host& host() const { return host_; }

 private:
  const Host host_;
};

// UTF-8 of a text that goes into a request. False, with ERROR_INVALID_PARAMETER, when it holds a control
// character: a line break there would begin a line of the sender's choice. Null is empty.
bool requestText(LPCWSTR text, std::string& utf8);

// Logs in to an FTP server; null, and the last error set, when that failed.
std::shared_ptr<Connection> openFtp(Host host);

}  // namespace qv::platform
