#include "qv/platform/com.h"

#include <sys/random.h>

namespace {

// How often the thread started the library, and as what.
struct Apartment {
  DWORD starts = 0;
  bool multithreaded = false;
};
thread_local Apartment apartment;

}  // namespace

HRESULT CoInitialize(LPVOID reserved) {
  return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(LPVOID reserved, DWORD options) {
  constexpr DWORD kKnown = COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY;
  if (reserved || (options & ~kKnown)) return E_INVALIDARG;
  bool multithreaded = !(options & COINIT_APARTMENTTHREADED);
  if (apartment.starts > 0 && apartment.multithreaded != multithreaded) return RPC_E_CHANGED_MODE;
  apartment.multithreaded = multithreaded;
  return apartment.starts++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() {
  if (apartment.starts > 0) --apartment.starts;
}

HRESULT CoCreateGuid(GUID* guid) {
  if (getrandom(guid, sizeof *guid, 0) != static_cast<ssize_t>(sizeof *guid)) return E_FAIL;
  guid->Data3 = static_cast<uint16_t>((guid->Data3 & 0x0fff) | 0x4000);
  guid->Data4[0] = static_cast<uint8_t>((guid->Data4[0] & 0x3f) | 0x80);
  return S_OK;
}
