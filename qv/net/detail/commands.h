// The numbers of the worker's commands, and the statuses that its classes share.
#pragma once

#include "qv/frame/log.h"
#include "qv/frame/status.h"

namespace qv::net {

enum Command : uint32_t {
  kQuit = 100,
  kPutFile = 101,
  kGetFile = 102,
  kGetFileSize = 103,
  kEnumDirectory = 104,
  kGetPartialFile = 105,
  kCreateDirectory = 106,
  kRemoveDirectory = 107,
  kDeleteFile = 108,
  kHttpGet = 109,
  kHttpPost = 110,
  kHttpPostMultipart = 111,
};

inline constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x8004e02cu);
inline constexpr HRESULT kInProgress = static_cast<HRESULT>(0x8004e0acu);
inline constexpr HRESULT kServerSilent = static_cast<HRESULT>(0x8004e0f6u);
inline constexpr HRESULT kCannotConnect = static_cast<HRESULT>(0x8004e0ecu);

}  // namespace qv::net

// One line in the toolkit's log, with the place that writes it.
#define QV_NET_LOG(level, ...) qv::toolkitLog().Write(level, TEXT(__FILE__), __LINE__, __VA_ARGS__)
