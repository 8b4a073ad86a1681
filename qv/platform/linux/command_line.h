// The command line of a process whose system keeps separate arguments.
#pragma once

#include <string>
#include <string_view>

namespace qv::platform {

// Puts arguments, each with its terminator, together so that the entry routine's split gives them back.
std::u16string commandLineFrom(std::string_view arguments);

}  // namespace qv::platform
