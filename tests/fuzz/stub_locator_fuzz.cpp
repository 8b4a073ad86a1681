// An archive behind any program: where it begins is found in the program's last bytes, and the two come apart
// without a fault.
#include "archive_place.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const qv::fuzz::ArchivePlace place;
  constexpr const WCHAR* kProgram = TEXT("a.exe");
  if (!place.put(kProgram, data, size)) return 0;
  place.use(kProgram);
  CArchive2 archive;
  if (FAILED(archive.Open(place.file(kProgram).c_str(), QVARCHIVE_READ, nullptr))) return 0;
  archive.SplitSEA(place.target().c_str(), 0);
  archive.Close();
  QvDeleteDirectoryTree(place.target().c_str(), 0);
  return 0;
}
