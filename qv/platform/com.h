// Component library: start, stop, and unique ids.
//
//   HRESULT status = CoInitialize(nullptr);
//   if (SUCCEEDED(status)) { ... CoUninitialize(); }
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <objbase.h>

#else

constexpr DWORD COINIT_MULTITHREADED = 0, COINIT_APARTMENTTHREADED = 2, COINIT_DISABLE_OLE1DDE = 4;
constexpr DWORD COINIT_SPEED_OVER_MEMORY = 8;
#define RPC_E_CHANGED_MODE (static_cast<HRESULT>(0x80010106u))

// Starts the component library on the calling thread as a single-threaded apartment: S_OK, S_FALSE if it
// was started so already, RPC_E_CHANGED_MODE if as the other kind. Each success wants a CoUninitialize.
// `reserved` is null, else E_INVALIDARG.
QV_API HRESULT CoInitialize(LPVOID reserved);

// The same with the kind chosen: COINIT_APARTMENTTHREADED or COINIT_MULTITHREADED.
QV_API HRESULT CoInitializeEx(LPVOID reserved, DWORD options);

// Undoes one success on the calling thread; the last one leaves the thread free to choose again.
QV_API void CoUninitialize();

// A new random id that no other will equal: version 4, variant 1.
QV_API HRESULT CoCreateGuid(GUID* guid);

#endif
