// The platform's error numbers in the toolkit's own status codes.
//
//   if (!DeleteFileW(path)) return QvErrorHandler_TranslateWin32Error(GetLastError());
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// The status that says what a Win32 error number says; numbers that have none of their own give the general
// failure 0x80004005. Any thread.
QV_API HRESULT QvErrorHandler_TranslateWin32Error(DWORD error);

// The same for what the system's common dialogs report. Any thread.
QV_API HRESULT QvErrorHandler_TranslateCommDlgError(DWORD error);
