// Inside the toolkit: how a report's sending ended, and what follows from it.
#pragma once

#include <cstdint>

#include "qv/frame/log.h"

namespace qv::net {

// The steps of a post, in their order; those behind a failure never happened.
struct SendOutcome {
  HRESULT post = 0;
  HRESULT wait = 0;
  HRESULT ask = 0;     // for the result
  HRESULT result = 0;  // of the request
  bool hasResponse = false;
  uint32_t httpStatus = 0;
};

struct SendVerdict {
  LOGFLAGS level;
  const WCHAR* text;  // a format that takes `numbers`
  uint32_t numbers[2];
  HRESULT status;
  bool cancel;     // the request still runs
  bool delivered;  // the server took the report
};

SendVerdict judgeSending(const SendOutcome& outcome);

// Writes data to the hidden file that the profile's [debug] section has under this name, in an older one's
// place. 0, also when there is no such entry or no data; 0x80070057 for a null or empty name; 0x8004e009.
HRESULT writeDebugCopy(const WCHAR* entry, const void* data, uint32_t size);

}  // namespace qv::net
