// Any bytes are a set of volumes: two bytes of length before each volume but the last. It is read, extracted
// and joined without a fault.
#include "archive_place.h"

namespace {

constexpr const WCHAR* kFirst = TEXT("a.arc");
// As the corpus names its sets; a first volume that names another finds nothing, which is a run as well.
constexpr const WCHAR* kFurther[] = {TEXT("a2.arc"), TEXT("a3.arc"), TEXT("a4.arc")};

void putVolumes(const qv::fuzz::ArchivePlace& place, const uint8_t* data, size_t size) {
  const WCHAR* name = kFirst;
  for (const WCHAR* next : kFurther) {
    const size_t length = size < 2 ? size : data[0] | data[1] << 8;
    const bool last = size < 2 || length > size - 2;
    place.put(name, last ? data : data + 2, last ? size : length);
    data += last ? size : length + 2;
    size -= last ? size : length + 2;
    name = next;
  }
  place.put(name, data, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const qv::fuzz::ArchivePlace place;
  putVolumes(place, data, size);
  place.use(kFirst);
  CArchive2 archive;
  if (FAILED(archive.Open(place.file(kFirst).c_str(), QVARCHIVE_MULTIVOLUME, nullptr))) return 0;
  uint64_t bytes = 0;
  if (SUCCEEDED(archive.GetSizeMerge(bytes)) && bytes < 1u << 22) archive.MergeArchive(0);
  archive.Close();
  return 0;
}
