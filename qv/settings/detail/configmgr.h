// Inside the toolkit: where a configuration report takes its facts from.
#pragma once

#include "qv/platform/installer.h"
#include "qv/platform/machine.h"
#include "qv/settings/configmgr.h"

namespace qv {

// One installed product, an item of the manager's list.
struct ProductEntry {
  WCHAR code[40];
  WCHAR name[1024];
  WCHAR version[100];
  WCHAR language[16];
  WCHAR locale[16];
};

// The machine that the report is about. Tests put another one in its place.
struct ReportPort {
  UINT (*product)(DWORD index, WCHAR* code);
  UINT (*productFact)(const WCHAR* code, const WCHAR* property, WCHAR* value, DWORD* capacity);
  int32_t (*systemName)(WCHAR* text, int32_t capacity);
  void (*systemVersion)(OSVERSIONINFOEXW* version);
  HRESULT (*processorName)(WCHAR* text, int32_t capacity);
  HRESULT (*processorMaker)(WCHAR* text, int32_t capacity);
  uint32_t (*processorWord)();
  uint32_t (*processorCount)();
  bool (*memory)(MEMORYSTATUSEX* status);
  bool (*screen)(platform::ScreenMode* mode);
  bool (*adapter)(DWORD index, DISPLAY_DEVICEW* adapter);
};
ReportPort& reportPort();

// The real machine again.
void resetReportPort();

}  // namespace qv
