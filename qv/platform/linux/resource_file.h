// Compiled resource files as modules, for LoadLibraryW and FreeLibrary.
#pragma once

#include <cstdint>
#include <vector>

#include "qv/platform/base.h"

namespace qv::platform {

// Opens a compiled resource file as a module. Null with SetLastError 193 when the file is no such file or is
// damaged (its entries are checked here, once), or with the error of reading it.
// A file that is open already gives the same module once more.
HMODULE openResourceFile(const char* utf8Path);
// The same for bytes that are no file; every call makes a module.
HMODULE openResourceBytes(std::vector<uint8_t> bytes);
// Takes back one opening of a module, the last one ends it; false, and nothing happens, for any other handle.
bool closeResourceFile(HMODULE module);
// True for a handle that openResourceFile gave and closeResourceFile did not end.
bool isResourceFile(HMODULE module);
// Where the data of the resource that holds this address ends; null when no open module has it.
const uint8_t* resourceEnd(const uint8_t* address);
// Its path, or null.
const char* resourceFilePath(HMODULE module);

}  // namespace qv::platform
