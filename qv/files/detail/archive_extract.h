// Taking one entry out of an archive.
#pragma once

#include "qv/files/detail/archive.h"

namespace qv::files {

// Extracts an entry below `folder` with the archive's extract flags: kOk, kNothing for one that was skipped,
// or a failure, kCancelled among them.
HRESULT extractEntry(Archive& archive, const CentralEntry& entry, const WCHAR* folder);

// The stored data of an entry, read in order through all volumes.
class StoredData {
 public:
  explicit StoredData(Archive& archive) : archive_(archive) {}
  ~StoredData();
  StoredData(const StoredData&) = delete;
  StoredData& operator=(const StoredData&) = delete;

  // Goes to a place in the data region, from the end of the prefix. kMissingTarget, reported, when a volume
  // on the way can't be opened.
  HRESULT seek(uint64_t offset);
  // Whether the header before an entry's data says what the directory says: kBadFormat when not. No checksum
  // covers either, so that a difference is the only sign of damage.
  HRESULT checkHeader(const CentralEntry& entry);
  // Up to `bytes`, at least one: false when they can't be read.
  bool read(void* buffer, uint32_t bytes, uint32_t* done);

 private:
  bool readWhole(void* buffer, uint32_t bytes);
  bool openVolume(uint32_t number);

  Archive& archive_;
  HANDLE volume_ = INVALID_HANDLE_VALUE;  // the second and further ones
  uint32_t number_ = 1;
  uint64_t rest_ = 0;  // of the present volume
};

}  // namespace qv::files
