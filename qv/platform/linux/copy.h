// Copying a file's contents and what belongs to it.
#pragma once

#include <string>

namespace qv::platform {

// Gives an entry another name; without `replace` one that is taken gives EEXIST. False with errno.
bool renameTo(const std::string& from, const std::string& to, bool replace);

// Copies a plain file with mode, write time and attributes to a name of its folder's that nobody sees, and
// gives it the target's name when it is whole. Without `replace` a target that is there gives EEXIST. False
// with errno; nothing is left then.
bool copyFile(const std::string& from, const std::string& to, bool replace);

}  // namespace qv::platform
