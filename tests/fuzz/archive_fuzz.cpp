// Any bytes are an archive on disk: what opens can be asked, validated and extracted without a fault, and
// nothing appears outside the folder that was given.
#include <cstdlib>
#include <string>

#include "qv/files/archive2.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"

namespace {

using Text = std::basic_string<WCHAR>;

// A folder of this process: the archive and, below it, what is extracted.
struct Place {
  Text folder, file, target;
  Place() {
    WCHAR path[260];
    QvGetTempPath(260, path);
    folder = Text(path) + TEXT("qv_fuzz_");
    for (uint32_t id = GetCurrentProcessId(); id > 0; id /= 10) folder += static_cast<WCHAR>('0' + id % 10);
    file = folder + TEXT("\\a.arc");
    target = folder + TEXT("\\out");
    QvDeleteDirectoryTree(folder.c_str(), 1);
    if (!QvCreateDirectory(target.c_str(), nullptr)) abort();
  }
  ~Place() { QvDeleteDirectoryTree(folder.c_str(), 1); }
};

bool put(const Text& path, const uint8_t* data, size_t size) {
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD done = 0;
  const bool good =
      size == 0 || (WriteFile(file, data, static_cast<DWORD>(size), &done, nullptr) && done == size);
  CloseHandle(file);
  return good;
}

void ask(CArchive2& archive) {
  const int32_t count = archive.GetArchiveCount();
  for (int32_t i = 0; i < count && i < 50; ++i) {
    WCHAR name[260];
    uint64_t bytes = 0;
    FILETIME time;
    archive.GetEntryName(i, name, 260);
    archive.GetEntryUncompressedSize(i, bytes);
    archive.GetEntryFileTime(i, time);
    archive.ValidateEntry(i);
  }
  WCHAR comment[1024];
  archive.GetVolumeComment(comment, 1024);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Place place;
  if (!put(place.file, data, size)) return 0;
  CArchive2 archive;
  if (FAILED(archive.Open(place.file.c_str(), QVARCHIVE_READ, nullptr))) return 0;
  ask(archive);
  uint64_t total = 0;
  archive.GetSizeExtractAll(total);
  // What a few bytes may become is a matter of the disk, not of the reader.
  if (total < 1u << 22) archive.ExtractAll(place.target.c_str(), QVEXTRACT_OVERWRITE);
  archive.Close();
  QvDeleteDirectoryTree(place.target.c_str(), 0);
  return 0;
}
