// Character classes that must not depend on a run-time's tables, the same code on both builds.
//
//   while (qv::platform::isWhiteSpace(*text)) ++text;
#pragma once

#include "qv/platform/base.h"

namespace qv::platform {

// Windows's set of white space: tab to carriage return, blank, no-break space, and the blanks and separators
// of Unicode; not the next-line control (U+0085).
inline constexpr bool isWhiteSpace(WCHAR c) {
  return (c >= 0x09 && c <= 0x0d) || c == 0x20 || c == 0xa0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200a) ||
         c == 0x2028 || c == 0x2029 || c == 0x202f || c == 0x205f || c == 0x3000;
}

}  // namespace qv::platform
