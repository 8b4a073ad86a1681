// Reading the lines of an FTP server's listing, apart from the transfer that brings them.
#pragma once

#include <string_view>

#include "qv/platform/find.h"

namespace qv::platform {

// One line, without its end, of the machine-readable form (RFC 3659: "type=file;size=5; name") or of what
// servers print for people, in the ways of Unix and of Windows. False for what names no file or folder: other
// lines, the folder itself and the one above it, and names that hold a separator or a control character or
// are too long.
bool parseMachineLine(std::string_view line, WIN32_FIND_DATAW& found);
bool parseHumanLine(std::string_view line, WIN32_FIND_DATAW& found);

}  // namespace qv::platform
