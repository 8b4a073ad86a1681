// Walking the central directory.
#include <string.h>

#include <algorithm>
#include <new>

#include "qv/files/detail/text.h"
#include "qv/files/detail/zip.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"

namespace qv::files {
namespace {

// The text in the process's code page, at most kPathCapacity characters with the terminator, backslashes
// between its parts. What isn't text in that code page, or is longer, is an empty name.
int32_t convertName(const char* bytes, int32_t length, WCHAR* name) {
  WCHAR text[kPathCapacity];
  int32_t characters = 0;
  if (length > 0) {
    characters = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, bytes, length, text, kPathCapacity - 1);
  }
  std::replace_copy(text, text + characters, name, WCHAR{'/'}, WCHAR{'\\'});
  name[characters] = 0;
  return characters;
}

const WCHAR* lastPart(const WCHAR* name) {
  const WCHAR* part = name;
  for (const WCHAR* p = name; *p != 0; ++p) {
    if (*p == '\\' && p[1] != 0) part = p + 1;
  }
  return part;
}

void fill(QVZIPENTRY* entry, const uint8_t* header) {
  entry->versionNeeded = zip16(header + 6);
  entry->flags = zip16(header + 8);
  entry->method = zip16(header + 10);
  entry->time = zip16(header + 12);
  entry->date = zip16(header + 14);
  entry->crc32 = zip32(header + 16);
  entry->compressedSize = zip32(header + 20);
  entry->uncompressedSize = zip32(header + 24);
  entry->nameLength = zip16(header + 28);
  entry->extraLength = zip16(header + 30);
  entry->commentLength = zip16(header + 32);
  entry->localHeaderOffset = zip32(header + 42);
}

// The texts behind a header: name, extra, comment.
HRESULT fillTexts(QVZIP zip, uint32_t offset, QVZIPENTRY* entry) {
  const uint32_t name = entry->nameLength, extra = entry->extraLength, comment = entry->commentLength;
  // The block has its wide texts first, then the extra bytes, and room for the bytes as they are read.
  const auto wideName = reinterpret_cast<WCHAR*>(entry + 1);
  const auto wideComment = wideName + name + 1;
  const auto bytes = reinterpret_cast<char*>(wideComment + comment + 1);
  if (!zipReadAt(zip, offset + kZipCentralBytes, bytes, name + extra + comment)) return kReadFailed;
  WCHAR converted[kPathCapacity];
  const int32_t length = convertName(bytes, static_cast<int32_t>(name), converted);
  std::copy_n(converted, length + 1, wideName);
  for (uint32_t i = 0; i < comment; ++i) {
    wideComment[i] = static_cast<WCHAR>(static_cast<signed char>(bytes[name + extra + i]));
  }
  wideComment[comment] = 0;
  entry->name = (zip->flags & QVZIP_NAMEONLY) != 0 ? lastPart(wideName) : wideName;
  entry->extra = extra > 0 ? reinterpret_cast<const uint8_t*>(bytes) + name : nullptr;
  entry->comment = wideComment;
  return kOk;
}

HRESULT readEntry(QVZIP zip, uint32_t offset, ZipEntry* entry) {
  uint8_t header[kZipCentralBytes];
  if (!zipReadAt(zip, offset, header, sizeof header) || zip32(header) != kZipCentral) return kReadFailed;
  const size_t name = zip16(header + 28), extra = zip16(header + 30), comment = zip16(header + 32);
  if (uint64_t{offset} + kZipCentralBytes + name + extra + comment > zip->size) return kReadFailed;
  const size_t wide = sizeof(WCHAR) * (name + comment + 2);
  entry->reset(static_cast<QVZIPENTRY*>(zipAlloc(sizeof(QVZIPENTRY) + wide + name + extra + comment)));
  if (!*entry) return kOutOfMemory;
  fill(entry->get(), header);
  return fillTexts(zip, offset, entry->get());
}

HRESULT next(QVZIPENUM walk, ZipEntry* entry) {
  if (walk->index + 1 >= QvZipEnum_GetFileCount(walk->zip)) return kInvalidArgument;
  const HRESULT status = readEntry(walk->zip, walk->nextOffset, entry);
  if (FAILED(status)) return status;
  ++walk->index;
  walk->previousOffset = walk->nextOffset;
  walk->nextOffset +=
      kZipCentralBytes + (*entry)->nameLength + (*entry)->extraLength + (*entry)->commentLength;
  return kOk;
}

HRESULT copyName(const WCHAR* from, WCHAR* name, int32_t capacity) {
  if (write(from, name, capacity)) return kOk;
  return static_cast<HRESULT>(0x8004e03cu);
}

// The first entry that `wanted(index, entry)` takes; 0x80070057 without one.
template <typename Wanted>
HRESULT find(QVZIP zip, const Wanted& wanted, ZipEntry* entry) {
  if (zip == nullptr) return kInvalidArgument;
  QVZIPENUM__ walk = {zip, -1, 0, zip->directoryOffset};
  for (;;) {
    const HRESULT status = next(&walk, entry);
    if (FAILED(status)) return status;
    if (wanted(walk.index, **entry)) return kOk;
  }
}

HRESULT findIndex(QVZIP zip, int32_t index, ZipEntry* entry) {
  return find(
      zip, [=](int32_t at, const QVZIPENTRY&) { return at == index; }, entry);
}

}  // namespace

HRESULT zipFind(QVZIP zip, const WCHAR* name, ZipEntry* entry) {
  if (name == nullptr) return kInvalidArgument;
  return find(
      zip, [=](int32_t, const QVZIPENTRY& e) { return lstrcmpiW(e.name, name) == 0; }, entry);
}

}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT QvZipEnum_Create(QVZIP zip, QVZIPENUM* walk) {
  if (zip == nullptr || walk == nullptr) return kInvalidArgument;
  const auto created = new (std::nothrow) QVZIPENUM__{zip, -1, 0, zip->directoryOffset};
  if (created == nullptr) return kOutOfMemory;
  ++zip->references;
  *walk = created;
  return kOk;
}

HRESULT QvZipEnum_Destroy(QVZIPENUM walk) {
  if (walk == nullptr) return kInvalidArgument;
  const HRESULT status = zipRelease(walk->zip);
  delete walk;
  return status;
}

int32_t QvZipEnum_GetFileCount(QVZIP zip) {
  return zip != nullptr ? zip16(zip->end + 10) : 0;
}

HRESULT QvZipEnum_Next(QVZIPENUM walk, QVZIPENTRY** entry) {
  if (walk == nullptr || entry == nullptr) return kInvalidArgument;
  ZipEntry read;
  const HRESULT status = next(walk, &read);
  if (SUCCEEDED(status)) *entry = read.release();
  return status;
}

HRESULT QvZipEnum_NextSafe(const void*, QVZIPENUM walk, WCHAR* name, int32_t capacity) {
  if (walk == nullptr || name == nullptr || capacity < 1) return kInvalidArgument;
  ZipEntry read;
  const HRESULT status = next(walk, &read);
  return SUCCEEDED(status) ? copyName(read->name, name, capacity) : status;
}

HRESULT QvZipEnum_GetFileName(QVZIP zip, int32_t index, WCHAR* name, int32_t capacity) {
  if (name == nullptr || capacity < 1) return kInvalidArgument;
  name[0] = 0;
  ZipEntry entry;
  const HRESULT status = findIndex(zip, index, &entry);
  return SUCCEEDED(status) ? copyName(entry->name, name, capacity) : status;
}

uint32_t QvZipEnum_GetUncompressedSizeFromIndex(QVZIP zip, int32_t index) {
  ZipEntry entry;
  return SUCCEEDED(findIndex(zip, index, &entry)) ? entry->uncompressedSize : 0;
}

uint32_t QvZipEnum_GetUncompressedSizeFromName(QVZIP zip, const WCHAR* name) {
  ZipEntry entry;
  return SUCCEEDED(zipFind(zip, name, &entry)) ? entry->uncompressedSize : 0;
}

uint64_t QvZipEnum_GetTotalUncompressedSize(QVZIP zip) {
  uint64_t sum = 0;
  ZipEntry entry;
  find(
      zip,
      [&](int32_t, const QVZIPENTRY& e) {
        sum += e.uncompressedSize;
        return false;
      },
      &entry);
  return sum;
}
