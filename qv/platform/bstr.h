// Strings that carry their length and travel between modules.
//
//   BSTR text = SysAllocString(TEXT("taken over by whoever gets it"));
//   SysFreeString(text);
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <oleauto.h>

#else

using OLECHAR = WCHAR;
using BSTR = OLECHAR*;

// A copy of a terminated text; null for null, or when memory ran out.
QV_API BSTR SysAllocString(const OLECHAR* text);

// A string of exactly so many characters, a terminator behind them: copied from `text`, or left as they come
// when it is null. Null when memory ran out.
QV_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length);

// The characters that it was made with, zeros among them; 0 for null.
QV_API UINT SysStringLen(BSTR text);

// Frees; null allowed.
QV_API void SysFreeString(BSTR text);

#endif
