// The records of the archive format, byte for byte; all numbers are little-endian.
#pragma once

#include <stdint.h>

#include "qv/platform/base.h"

namespace qv::files {

inline constexpr uint32_t kLocalSignature = 0x0a034d55, kCentralSignature = 0x0b014d55;
inline constexpr uint32_t kEndSignature = 0x0c054d55;

inline constexpr uint32_t kStored = 0, kDeflated = 1;
inline constexpr uint32_t kBlockBytes = 0x40000;  // all file work
inline constexpr int32_t kNameCapacity = 260, kCommentCapacity = 1024;

#pragma pack(push, 1)

// What the local header and the central entry share: bytes 4 to 35 of both.
struct EntryHead {
  uint32_t reserved[2];
  uint32_t method;
  int32_t level;
  FILETIME time;  // last write; for a folder when it was added
  uint32_t storedCrc;
  uint32_t originalCrc;
};

struct LocalHeader {
  uint32_t signature;
  EntryHead head;
  uint64_t storedSize;
  uint64_t originalSize;
  uint32_t attributes;
  uint32_t nameLength;  // characters
  uint32_t secondLength;
};
static_assert(sizeof(LocalHeader) == 64 && offsetof(LocalHeader, storedSize) == 36);

struct CentralHeader {
  uint32_t signature;
  EntryHead head;
  uint64_t storedSize;
  uint64_t originalSize;
  uint32_t nameLength;
  uint32_t secondLength;
  uint32_t thirdLength;
  uint32_t reserved;
  uint32_t attributes;
  uint32_t reserved2;
  uint64_t offset;  // of the local header, from the end of the prefix
};
static_assert(sizeof(CentralHeader) == 84 && offsetof(CentralHeader, attributes) == 68 &&
              offsetof(CentralHeader, offset) == 76);

struct EndRecord {
  uint32_t signature;
  uint32_t volumes;
  uint32_t reserved;
  uint32_t entries;
  uint32_t entriesAgain;
  uint64_t centralSize;
  uint64_t centralOffset;  // from the end of the prefix; in a set the size of the first volume's data
  uint64_t prefixSize;
  uint32_t commentLength;
  uint32_t baseNameLength;
  uint32_t thirdLength;
};
static_assert(sizeof(EndRecord) == 56 && offsetof(EndRecord, prefixSize) == 36);

#pragma pack(pop)

// A central entry in memory, its texts terminated.
struct CentralEntry {
  CentralHeader header;
  WCHAR name[kNameCapacity];
  WCHAR second[kNameCapacity];
  WCHAR third[kNameCapacity];
};

// What the entry list of a writing archive holds.
struct WrittenEntry {
  LocalHeader header;
  uint64_t offset;
  WCHAR name[kNameCapacity];
  WCHAR second[kNameCapacity];
};
static_assert(sizeof(WrittenEntry) == 1112);

// What the entry list of an archive in the mode delete holds, one for each central entry.
struct DeletionMark {
  uint32_t deleted;
  uint32_t reserved;
  int64_t offset;  // the new one; -1 for a deleted entry
};
static_assert(sizeof(DeletionMark) == 16);

}  // namespace qv::files
