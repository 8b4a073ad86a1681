// Status codes: a 32-bit HRESULT; 0 is success, negative is failure, 1 often means nothing found or done.
//
//   HRESULT status = QvList_DeleteList(list, 0, 1, 0);
//   if (FAILED(status)) return status;
#pragma once

#include "qv/platform/base.h"

namespace qv {

inline constexpr HRESULT kOk = 0;
inline constexpr HRESULT kNothing = 1;
inline constexpr HRESULT kGeneralFailure = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT kNullPointer = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000eu);
inline constexpr HRESULT kUnsupported = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT kUnexpected = static_cast<HRESULT>(0x8000ffffu);
inline constexpr HRESULT kNotFound = static_cast<HRESULT>(0x8004e00au);
inline constexpr HRESULT kCannotCreateFile = static_cast<HRESULT>(0x8004e006u);
inline constexpr HRESULT kCannotOpenFile = static_cast<HRESULT>(0x8004e007u);
inline constexpr HRESULT kReadFailed = static_cast<HRESULT>(0x8004e008u);
inline constexpr HRESULT kWriteFailed = static_cast<HRESULT>(0x8004e009u);
inline constexpr HRESULT kBadFormat = static_cast<HRESULT>(0x8004e00bu);
inline constexpr HRESULT kCancelled = static_cast<HRESULT>(0x8004e00cu);

}  // namespace qv
