// What the archive's fuzz targets share: a folder of the process with archive files, and every question and
// extraction on what opens.
//
// The folder stands where QvGetTempPath says: on a disk a run takes a hundred times as long as in memory
// (TMPDIR=/dev/shm, as tools/fuzz.sh sets it).
#pragma once

#include <cstdlib>
#include <string>

#include "qv/files/archive2.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"

namespace qv::fuzz {

using Text = std::basic_string<WCHAR>;

class ArchivePlace {
 public:
  ArchivePlace() {
    WCHAR path[260];
    QvGetTempPath(260, path);
    folder_ = Text(path) + TEXT("qv_fuzz_");
    for (uint32_t id = GetCurrentProcessId(); id > 0; id /= 10) folder_ += static_cast<WCHAR>('0' + id % 10);
    QvDeleteDirectoryTree(folder_.c_str(), 1);
    if (!QvCreateDirectory(target().c_str(), nullptr)) abort();
  }
  ~ArchivePlace() { QvDeleteDirectoryTree(folder_.c_str(), 1); }

  Text file(const WCHAR* name) const { return folder_ + TEXT("\\") + name; }
  Text target() const { return file(TEXT("out")); }

  bool put(const WCHAR* name, const uint8_t* data, size_t size) const {
    const HANDLE handle = CreateFileW(file(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    DWORD done = 0;
    const bool good =
        size == 0 || (WriteFile(handle, data, static_cast<DWORD>(size), &done, nullptr) && done == size);
    CloseHandle(handle);
    return good;
  }

  // Asks, validates and extracts whatever the file holds.
  void use(const WCHAR* name) const {
    CArchive2 archive;
    if (FAILED(archive.Open(file(name).c_str(), QVARCHIVE_READ, nullptr))) return;
    ask(archive);
    uint64_t total = 0;
    archive.GetSizeExtractAll(total);
    // What a few bytes may become is a matter of the disk, not of the reader.
    if (total < 1u << 22) archive.ExtractAll(target().c_str(), QVEXTRACT_OVERWRITE);
    archive.Close();
    QvDeleteDirectoryTree(target().c_str(), 0);
  }

 private:
  static void ask(CArchive2& archive) {
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
    archive.GetArchiveSize();
    archive.GetArchiveSEAStatus();
    archive.GetMultiVolumeStatus();
  }

  Text folder_;
};

}  // namespace qv::fuzz
