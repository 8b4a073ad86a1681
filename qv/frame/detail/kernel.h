// Inside the toolkit: the process's shared state, and the application's say over the interface's colours.
//
// A palette asks the application first and answers by itself when there is no one to ask:
//
//   if (const auto forward = qv::uiDelegate("QvGetUIColor")) return
//   reinterpret_cast<ColorFn>(forward)(index); return localColor(index);
#pragma once

#include <span>

#include "qv/frame/kernel.h"

namespace qv {

struct KernelState {
  HMODULE appKernel = nullptr;
  uint32_t flags = 0;
  uint32_t delegateMode = 0;
  HMODULE delegateModule = nullptr;
  HMODULE processInstance = nullptr;
  uint32_t cursorIdBase = 0;  // numbered application cursors start here
  uint64_t splash = 0;
};
const KernelState& kernelState();

inline constexpr uint32_t kDelegateOff = 1;
inline constexpr uint32_t kDelegateForward = 2;

struct DelegateEntry {
  FARPROC function;
  const char* name;
};

// Fills in the functions that the application's kernel module exports under these names. kUnsupported: the
// program has no QvApp_GetAppKernel; kUnexpected: it answers null; kNotFound: one name or more is missing,
// its function null, the others filled in. Any thread.
HRESULT lookUpDelegates(std::span<DelegateEntry> entries);

// The application's function of this name, or null when the toolkit answers by itself: from the first
// failure on it always does. Main thread.
FARPROC uiDelegate(const char* name);

// The modules behind the look-up. Tests put others in their place.
struct ModulePort {
  HMODULE (*mainModule)();
  FARPROC (*procAddress)(HMODULE module, const char* name);
  uint32_t (*fileName)(HMODULE module, WCHAR* path, uint32_t capacity);
};
ModulePort& modulePort();

// As at load, the real modules.
void resetKernel();

}  // namespace qv
