// The ZIP reader's insides: where the bytes come from, and the records behind the handles.
#pragma once

#include <memory>
#include <type_traits>

#include "qv/files/zipenum.h"
#include "qv/platform/win32.h"

namespace qv::files {

inline constexpr uint32_t kZipLocal = 0x04034b50, kZipCentral = 0x02014b50, kZipEnd = 0x06054b50;
inline constexpr uint32_t kZipSpannedOnce = 0x30304b50;  // begins a set of volumes that came out as one
inline constexpr uint32_t kZipLocalBytes = 30, kZipCentralBytes = 46, kZipEndBytes = 22;

// A ZIP in memory: a locked resource.
struct ZipMemory {
  uint32_t size, position;
  const uint8_t* data;
};

// What a source can do. A source is a file handle or a ZipMemory.
struct ZipSource {
  // Up to `bytes` from the position, which goes on; false on failure.
  bool (*read)(void* source, void* buffer, uint32_t bytes, uint32_t* done);
  bool (*seek)(void* source, uint32_t offset);
  void (*close)(void* source);
  bool (*size)(void* source, uint64_t* bytes);
};
extern const ZipSource kZipFile, kZipMemory;

inline uint16_t zip16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}
inline uint32_t zip32(const uint8_t* p) {
  return zip16(p) | static_cast<uint32_t>(zip16(p + 2)) << 16;
}

// A ZIP that lies in memory, which has to outlive the handle.
HRESULT openZipMemory(const ZipMemory& memory, uint32_t flags, QVZIP* zip);

// Reads all the bytes at an offset, or fails.
bool zipReadAt(QVZIP zip, uint32_t offset, void* buffer, uint32_t bytes);

// Drops one reference; the last one frees. 0, or 1 while others remain.
HRESULT zipRelease(QVZIP zip);

// A moveable block, locked; null without memory.
void* zipAlloc(size_t bytes);
void zipFree(const void* block);

struct ZipFree {
  void operator()(const void* block) const { zipFree(block); }
};
using ZipEntry = std::unique_ptr<QVZIPENTRY, ZipFree>;

// The first entry of this name, compared without case; 0x80070057 without one.
HRESULT zipFind(QVZIP zip, const WCHAR* name, ZipEntry* entry);

}  // namespace qv::files

struct QVZIP__ {
  uint32_t references;
  uint32_t size;
  void* source;
  const qv::files::ZipSource* io;
  uint32_t flags;
  uint8_t end[16];  // the first bytes of the end record
  uint32_t directoryOffset;
  uint32_t commentLength;
  char comment[65536];
};

struct QVZIPENUM__ {
  QVZIP zip;
  int32_t index;  // of the current entry; -1 before the first
  uint32_t previousOffset, nextOffset;
};
