// Waiting for a request of the internet clients as a person would: with progress, and Ctrl-C ends it.
//
//   const Interrupt interrupt;
//   http->Get(…);
//   if (awaitRequest(*http, interrupt, name) == 0) http->GetRequestResult(&result, &response);
#pragma once

#include <memory>

#include "qv/app/workbench/session.h"
#include "qv/net/inetbase.h"

namespace qv::workbench {

// While it lives, the first Ctrl-C is only noted, and a second ends the program as it always does.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;
  static bool asked();
};

// Until the request that runs has ended, and cancelled when Ctrl-C asks for it. 0: its result can be had.
HRESULT awaitRequest(CQvInetBase& request, const Interrupt& interrupt, WStringView name);

// Lets go of an object that is counted.
struct ReleaseCounted {
  template <typename T>
  void operator()(T* object) const {
    object->Release();
  }
};
template <typename T>
using Counted = std::unique_ptr<T, ReleaseCounted>;

// Where a result is received: beside its place, and put there when it is whole. What was there before stays
// until then, and nothing half is left behind.
class ReceivedFile {
 public:
  explicit ReceivedFile(WString path) : path_(std::move(path)), temporary_(path_ + TEXT(".part")) {}
  ~ReceivedFile();
  ReceivedFile(const ReceivedFile&) = delete;
  ReceivedFile& operator=(const ReceivedFile&) = delete;

  // Makes the folder that it goes into.
  HRESULT prepare() const;
  const WCHAR* temporary() const { return temporary_.c_str(); }
  // An empty file when nothing was received.
  HRESULT keep() const;
  // In bytes, once it is kept.
  int64_t size() const;

 private:
  const WString path_, temporary_;
};

}  // namespace qv::workbench
