// What kind of data the files of an extension hold, in the words of the internet.
//
//   WCHAR type[128];
//   if (qv::contentTypeOfExtension(TEXT(".png"), type, 128)) use(type);  // image/png
#pragma once

#include "qv/platform/base.h"

namespace qv {

// The media type of an extension with its dot: on Windows the value "Content Type" of its key below
// HKEY_CLASSES_ROOT, elsewhere a table's. `capacity` in characters. False, and an empty text, when there is
// none or it doesn't fit.
bool contentTypeOfExtension(const WCHAR* extension, WCHAR* type, DWORD capacity);

}  // namespace qv
