// Compiled resource files as modules, for LoadLibraryW and FreeLibrary.
#pragma once

#include "qv/platform/base.h"

namespace qv::platform {

// Opens a compiled resource file as a module. Null with SetLastError 193 when the file is no such file or is
// damaged (its entries are checked here, once), or with the error of reading it.
HMODULE openResourceFile(const char* utf8Path);
// Ends a module of openResourceFile; false, and nothing happens, for any other handle.
bool closeResourceFile(HMODULE module);
// True for a handle that openResourceFile gave and closeResourceFile did not end.
bool isResourceFile(HMODULE module);
// Its path, or null.
const char* resourceFilePath(HMODULE module);

}  // namespace qv::platform

