// A value that carries its type, as far as the toolkit passes such values: nothing, a 32-bit integer, a text.
//
//   VARIANT value;
//   VariantInit(&value);
//   value.vt = VT_BSTR;
//   value.bstrVal = SysAllocString(TEXT("text"));
//   ...
//   VariantClear(&value);  // frees the text
#pragma once

#include "qv/platform/bstr.h"

#ifndef _WIN32

using VARTYPE = WORD;
constexpr VARTYPE VT_EMPTY = 0, VT_NULL = 1, VT_I4 = 3, VT_BSTR = 8;

struct VARIANT {
  VARTYPE vt;
  WORD wReserved1, wReserved2, wReserved3;
  union {
    LONG lVal;
    BSTR bstrVal;
    void* pair[2];  // the widest that the platform keeps here
  };
};
static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, bstrVal) == 8);

// Makes it empty, whatever was in it; for one that holds nothing yet.
QV_API void VariantInit(VARIANT* value);

// Frees the text that it may own and makes it empty. S_OK.
QV_API HRESULT VariantClear(VARIANT* value);

#endif
