#include "qv/platform/library_folders.h"

BOOL SetDefaultDllDirectories(DWORD flags) {
  if (flags != 0) return TRUE;
  SetLastError(ERROR_INVALID_PARAMETER);
  return FALSE;
}
