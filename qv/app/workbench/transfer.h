// Waiting for a request of the internet clients as a person would: with progress, and Ctrl-C ends it.
//
//   const Interrupt interrupt;
//   http->Get(…);
//   if (awaitRequest(*http, interrupt, name) == 0) http->GetRequestResult(&result, &response);
#pragma once

#include <memory>

#include "qv/app/workbench/files.h"
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

// Where a request puts its result.
class ReceivedFile {
 public:
  // As PendingFile's.
  HRESULT prepare(const WString& path) { return pending_.prepare(path, TEXT(".part")); }
  const WCHAR* temporary() const { return pending_.temporary(); }
  // An empty file when nothing was received.
  HRESULT keep();
  // In bytes, once it is kept.
  int64_t size() const;

 private:
  PendingFile pending_;
};

}  // namespace qv::workbench
