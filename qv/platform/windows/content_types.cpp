#include "qv/platform/content_types.h"

bool qv::contentTypeOfExtension(const WCHAR* extension, WCHAR* type, DWORD capacity) {
  HKEY key = nullptr;
  DWORD kind = 0, bytes = (capacity - 1) * sizeof(WCHAR);
  type[0] = 0;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, extension, 0, KEY_READ & ~SYNCHRONIZE, &key) != ERROR_SUCCESS)
    return false;
  const LSTATUS status =
      RegQueryValueExW(key, L"Content Type", nullptr, &kind, reinterpret_cast<BYTE*>(type), &bytes);
  RegCloseKey(key);
  const bool good = status == ERROR_SUCCESS && kind == REG_SZ;
  type[good ? bytes / sizeof(WCHAR) : 0] = 0;
  return type[0] != 0;
}
