#include "qv/platform/variant.h"

void VariantInit(VARIANT* value) {
  *value = VARIANT{};
}

HRESULT VariantClear(VARIANT* value) {
  if (value->vt == VT_BSTR) SysFreeString(value->bstrVal);
  *value = VARIANT{};
  return S_OK;
}
