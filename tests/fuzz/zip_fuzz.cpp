// Any bytes are a ZIP file in memory: what opens can be walked and extracted without a fault.
#include <cstdlib>
#include <cstring>

#include "qv/files/detail/zip.h"

namespace {

using qv::files::ZipEntry;

// The bytes are copied so that reading beyond them is seen.
QVZIP openBytes(const uint8_t* data, size_t size) {
  QVZIP zip = nullptr;
  qv::files::openZipMemory({static_cast<uint32_t>(size), 0, data}, 0, &zip);
  return zip;
}

void touch(const QVZIPENTRY& entry, QVZIP zip) {
  unsigned sum = 0;
  for (const WCHAR* p = entry.name; *p != 0; ++p) sum += *p;
  for (const WCHAR* p = entry.comment; *p != 0; ++p) sum += *p;
  for (uint32_t i = 0; entry.extra != nullptr && i < entry.extraLength; ++i) sum += entry.extra[i];
  volatile unsigned kept = sum;
  static_cast<void>(kept);
  void* block = nullptr;
  if (SUCCEEDED(QvZipEnum_ExtractToMemory(zip, &entry, &block))) {
    if (memchr(block, 0, entry.uncompressedSize) == entry.name) abort();
    qv::files::zipFree(block);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const QVZIP zip = openBytes(data, size);
  if (zip == nullptr) return 0;
  QVZIPENUM walk = nullptr;
  if (FAILED(QvZipEnum_Create(zip, &walk))) abort();
  QVZIPENTRY* entry = nullptr;
  for (int count = 0; count < 200 && SUCCEEDED(QvZipEnum_Next(walk, &entry)); ++count) {
    touch(*entry, zip);
    qv::files::zipFree(entry);
  }
  QvZipEnum_GetTotalUncompressedSize(zip);
  QvZipEnum_Destroy(walk);
  if (QvZip_Close(zip) != 0) abort();
  return 0;
}
