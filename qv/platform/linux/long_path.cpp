#include <string.h>

#include "qv/platform/files.h"
#include "qv/platform/text.h"

DWORD GetLongPathNameW(LPCWSTR path, LPWSTR longPath, DWORD capacity) {
  if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) return 0;
  const DWORD length = static_cast<DWORD>(lstrlenW(path));
  if (length >= capacity) return length + 1;
  memmove(longPath, path, (length + 1) * sizeof(WCHAR));
  return length;
}
