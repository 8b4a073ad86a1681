// The files of a set of volumes.
#include <algorithm>

#include "qv/core/printf.h"
#include "qv/files/detail/archive.h"
#include "qv/files/detail/text.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"

namespace qv::files {

bool volumeName(const WCHAR* folder, const WCHAR* name, uint32_t number, WCHAR (&path)[kNameCapacity]) {
  WCHAR parent[2 * kNameCapacity], stem[kNameCapacity];
  if (QvGetPathNameFromFilePath(folder, parent, 2 * kNameCapacity) >= kNameCapacity) return false;
  const WCHAR* file = QvGetFileNamePtrW(name);
  const View whole = file;
  const size_t dot = std::min(whole.rfind('.'), whole.size());
  if (!write(whole.substr(0, dot), stem, kNameCapacity)) return false;
  WCHAR made[4 * kNameCapacity];
  QvCchPrintF(made, 4 * kNameCapacity, nullptr, TEXT("%s%s%d%s"), parent, stem, number, file + dot);
  return write(made, path, kNameCapacity);
}

bool volumeName(const Archive& archive, uint32_t number, WCHAR (&path)[kNameCapacity]) {
  return volumeName(archive.path, archive.baseName, number, path);
}

HRESULT validateVolumes(Archive& archive) {
  if (archive.volumes < 2) return kNothing;
  for (uint32_t number = 2; number <= archive.volumes; ++number) {
    WCHAR path[kNameCapacity] = {};
    if (!volumeName(archive, number, path) || !QvDoesFileExist(path, 0)) {
      return failed(archive, QVARCHIVE_ERROR_VOLUME, TEXT("ValidateMultiVolume"), kMissingTarget, path);
    }
  }
  return kOk;
}

}  // namespace qv::files
