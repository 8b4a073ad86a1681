// Between UTF-8, which the system speaks, and UTF-16, which the toolkit speaks.
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/base.h"

namespace qv::platform {

// Malformed parts become U+FFFD.
std::u16string utf16From(std::string_view text);
std::string utf8From(std::u16string_view text);

// The characters of a terminated text, none for null.
inline std::u16string_view viewOf(LPCWSTR text) {
  return text ? text : u"";
}

}  // namespace qv::platform
