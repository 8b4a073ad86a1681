// Any bytes are an archive on disk: what opens can be asked, validated and extracted without a fault, and
// nothing appears outside the folder that was given.
#include "archive_place.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const qv::fuzz::ArchivePlace place;
  if (place.put(TEXT("a.arc"), data, size)) place.use(TEXT("a.arc"));
  return 0;
}
