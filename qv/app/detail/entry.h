// Inside the toolkit: what the entry routine calls, in its order. Tests put recorders in their place.
#pragma once

#include "qv/app/entry.h"

namespace qv {

struct EntryPort {
  HRESULT (*coInitialize)();
  void (*catchExceptions)();
  int32_t (*earlyInitialize)(HMODULE module, uint32_t flags);
  HRESULT (*openLanguage)(HQVLANG* language, HMODULE module, LCID lcid, uint32_t ringSize);
  int32_t (*setAppData)(HINSTANCE instance, HWND mainWindow, const WCHAR* applicationName);
  int32_t (*modulePath)(HMODULE module, WCHAR* path, int32_t capacity);
  const WCHAR* (*commandLine)();
  void (*coUninitialize)();
};
EntryPort& entryPort();
void resetEntry();

}  // namespace qv
