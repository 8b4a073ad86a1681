// Bringing an archive to disk.
#pragma once

#include <string>

#include "qv/files/detail/archive.h"

namespace qv::files {

// What an addition names its entries by.
struct Adding {
  std::basic_string<WCHAR> root;  // the folder of the path that was given, which names leave out
  const WCHAR* destination;       // a folder inside the archive, or null
};

// Free room for an archive in KiB: of the volume of `path`, or of a file on a file system of small files.
uint64_t freeKilobytes(const Archive& archive, const WCHAR* path);

// The entries that were written, with those that an append keeps, and the end record behind them.
HRESULT writeDirectory(Archive& archive);
// The end record at the present place of the file, for a directory that ends at the output position.
HRESULT writeEndRecord(Archive& archive, uint64_t centralOffset);

// How the writing modes open.
HRESULT openToCreate(Archive& archive);
HRESULT openToAppend(Archive& archive);
HRESULT openToDelete(Archive& archive);

}  // namespace qv::files
