// Steps that rebuilding shares with volumes and self-extraction.
#pragma once

#include "qv/files/detail/archive.h"

namespace qv::files {

// Opens the archive's file as it is and loads its end record; failures are reported with `step`.
HRESULT openExisting(Archive& archive, DWORD access, const WCHAR* step);

// Makes the temporary file beside the archive and copies the stub, if there is one, to its start.
HRESULT createTemporary(Archive& archive, DWORD access, const WCHAR* step);

HRESULT openSelfExtracting(Archive& archive);
HRESULT openMultiVolume(Archive& archive);

// The volumes from the second on beside the self-extracting archive that was made; kOk without one.
HRESULT copyFurtherVolumes(Archive& archive);

// Deletes the volumes that a merge has joined, once the joined archive stands in the set's place.
void deleteJoinedVolumes(const Archive& archive);

}  // namespace qv::files
