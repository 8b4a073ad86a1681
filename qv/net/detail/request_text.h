// Texts that go into a request.
#pragma once

#include <algorithm>
#include <string>

#include "qv/platform/base.h"

namespace qv::net {

using Text = std::basic_string<WCHAR>;

inline bool isControl(WCHAR c) {
  return c < ' ' || c == 0x7f;
}

// Not every system refuses a line break, which would begin a line of the request.
inline bool isOneLine(const Text& text) {
  return std::ranges::none_of(text, isControl);
}

}  // namespace qv::net
