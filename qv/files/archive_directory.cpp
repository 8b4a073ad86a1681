// Finding the end record, and walking the central directory.
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "qv/files/detail/archive.h"

namespace qv::files {
namespace {

constexpr uint32_t kTailBytes = 32768;
constexpr uint32_t kTextLimit = 1024;  // characters of any text in a central entry

uint32_t word(const uint8_t* p) {
  uint32_t v;
  memcpy(&v, p, sizeof v);
  return v;
}

// Numbers that the file can't hold are no archive's. `size`: of the main file; data of further volumes lies
// elsewhere, so that only the directory is held against it.
bool plausible(const EndRecord& end, uint64_t size, uint64_t place) {
  if (end.prefixSize > place || end.centralOffset > place - end.prefixSize) return false;
  if (end.centralSize > place - end.prefixSize - end.centralOffset) return false;
  return end.volumes >= 1 && end.entries <= size / sizeof(CentralHeader);
}

// A text behind the end record; false when it isn't there whole or too long for its place.
bool readText(HANDLE file, uint32_t length, uint32_t capacity, WCHAR* text) {
  uint32_t done = 0;
  const uint32_t bytes = length * static_cast<uint32_t>(sizeof(WCHAR));
  if (length > capacity) return false;
  const uint32_t kept = std::min(length, capacity - 1);
  WCHAR whole[kCommentCapacity];
  if (!readSome(file, whole, bytes, &done) || done != bytes) return false;
  std::copy_n(whole, kept, text);
  text[kept] = 0;
  return true;
}

void readTexts(Archive& archive) {
  const EndRecord& end = archive.end;
  const struct {
    uint32_t length, capacity;
    WCHAR* text;
  } texts[] = {{end.commentLength, kCommentCapacity, archive.comment},
               {end.baseNameLength, kNameCapacity, archive.baseName},
               {end.thirdLength, kNameCapacity, archive.third}};
  for (const auto& t : texts) {
    if (t.length > 0 && !readText(archive.read, t.length, t.capacity, t.text)) return;
  }
}

// The last end record within the tail of the file: its place, or -1.
HRESULT findEndRecord(HANDLE file, uint64_t size, uint64_t* place) {
  const auto bytes = static_cast<uint32_t>(std::min<uint64_t>(size, kTailBytes));
  const Block tail(std::max(bytes, 1u));
  if (tail.bytes == nullptr) return kOutOfMemory;
  if (!readAt(file, size - bytes, tail.bytes, bytes)) return kReadFailed;
  if (bytes < sizeof(EndRecord)) return kNoArchive;
  for (uint32_t at = bytes - sizeof(EndRecord);; --at) {
    if (word(tail.bytes + at) == kEndSignature) {
      *place = size - bytes + at;
      return kOk;
    }
    if (at == 0) return kNoArchive;
  }
}

// Bytes of the directory, through the window; `place` is a place in the file. Small pieces only.
bool readDirectory(Archive& archive, uint64_t place, void* to, uint32_t bytes) {
  if (!archive.window) archive.window.reset(new (std::nothrow) DirectoryWindow);
  DirectoryWindow* const window = archive.window.get();
  if (window == nullptr || window->block.bytes == nullptr) return readAt(archive.read, place, to, bytes);
  const auto holds = [&] {
    return place >= window->start && place - window->start <= window->filled &&
           bytes <= window->filled - (place - window->start);
  };
  if (!holds()) {
    window->start = place;
    window->filled = 0;
    if (!seekTo(archive.read, place) ||
        !readSome(archive.read, window->block.bytes, DirectoryWindow::kBytes, &window->filled) || !holds()) {
      return false;
    }
  }
  memcpy(to, window->block.bytes + (place - window->start), bytes);
  return true;
}

// One text of an entry, cut to its room in memory; `place` goes on behind it.
bool readEntryText(Archive& archive, uint64_t& place, uint32_t length, WCHAR (&text)[kNameCapacity]) {
  WCHAR whole[kTextLimit];
  const auto bytes = static_cast<uint32_t>(length * sizeof(WCHAR));
  if (length >= kTextLimit || !readDirectory(archive, place, whole, bytes)) return false;
  place += bytes;
  const uint32_t kept = std::min<uint32_t>(length, kNameCapacity - 1);
  std::copy_n(whole, kept, text);
  text[kept] = 0;
  return true;
}

// The second text is only there for the reader when a third one is: the format's own rule.
bool readEntryAt(Archive& archive, uint64_t place, CentralEntry* entry) {
  *entry = {};
  CentralHeader& header = entry->header;
  if (!readDirectory(archive, place, &header, sizeof header)) return false;
  if (header.signature != kCentralSignature || header.nameLength == 0) return false;
  uint64_t text = place + sizeof header;
  if (!readEntryText(archive, text, header.nameLength, entry->name)) return false;
  if (header.thirdLength == 0) return true;
  return readEntryText(archive, text, header.thirdLength, entry->third) &&
         readEntryText(archive, text, header.secondLength, entry->second);
}

uint64_t entryBytes(const CentralHeader& header) {
  return sizeof header +
         sizeof(WCHAR) * (uint64_t{header.nameLength} + header.secondLength + header.thirdLength);
}

HRESULT mapEntries(Archive& archive) {
  if (archive.offsets != nullptr) return kOk;
  const uint32_t count = archive.end.entries;
  const auto offsets = static_cast<uint64_t*>(calloc(std::max(count, 1u), sizeof(uint64_t)));
  if (offsets == nullptr) {
    return failed(archive, QVARCHIVE_ERROR_MEMORY, TEXT("MapCentralDirectories"), kOutOfMemory);
  }
  CentralEntry entry;
  uint32_t index = 0;
  for (HRESULT status = firstEntry(archive, &entry); status == kOk && index < count;
       status = nextEntry(archive, &entry)) {
    offsets[index++] = archive.prefix + static_cast<uint64_t>(archive.scan);
  }
  archive.offsets = offsets;
  return kOk;
}

}  // namespace

HRESULT loadEndRecord(Archive& archive, HANDLE file) {
  archive.end = {};
  archive.window.reset();
  archive.comment[0] = archive.baseName[0] = archive.third[0] = 0;
  archive.read = file;
  const int64_t size = sizeOf(file);
  if (size < 0) return kReadFailed;
  uint64_t place = 0;
  const HRESULT status = findEndRecord(file, static_cast<uint64_t>(size), &place);
  if (FAILED(status)) return status;
  if (!readAt(file, place, &archive.end, sizeof archive.end)) {
    archive.end = {};
    return failed(archive, QVARCHIVE_ERROR_READ, TEXT("LoadEndOfCentralDirectory"), kReadFailed);
  }
  if (!plausible(archive.end, static_cast<uint64_t>(size), place)) {
    archive.end = {};
    return kNoArchive;
  }
  archive.prefix = archive.end.prefixSize;
  archive.volumes = archive.end.volumes;
  readTexts(archive);
  return kOk;
}

HRESULT firstEntry(Archive& archive, CentralEntry* entry) {
  constexpr const WCHAR* kStep = TEXT("FindFirstCentralDirectory");
  archive.scan = 0;
  if (archive.read == INVALID_HANDLE_VALUE) {
    return failed(archive, QVARCHIVE_ERROR_CLOSED, kStep, kGeneralFailure);
  }
  if (archive.end.signature != kEndSignature) {
    return failed(archive, QVARCHIVE_ERROR_FORMAT, kStep, kGeneralFailure);
  }
  if (!readEntryAt(archive, archive.prefix + archive.end.centralOffset, entry)) return kNothing;
  archive.scan = static_cast<int64_t>(archive.end.centralOffset);
  return kOk;
}

HRESULT nextEntry(Archive& archive, CentralEntry* entry) {
  constexpr const WCHAR* kStep = TEXT("FindNextCentralDirectory");
  if (archive.scan < 0 || archive.read == INVALID_HANDLE_VALUE) {
    return failed(archive, QVARCHIVE_ERROR_CLOSED, kStep, kGeneralFailure);
  }
  CentralHeader present;
  if (!readDirectory(archive, archive.prefix + static_cast<uint64_t>(archive.scan), &present,
                     sizeof present) ||
      present.signature != kCentralSignature) {
    return failed(archive, QVARCHIVE_ERROR_FORMAT, kStep, kNoArchive);
  }
  const uint64_t next = static_cast<uint64_t>(archive.scan) + entryBytes(present);
  if (!readEntryAt(archive, archive.prefix + next, entry)) return kNothing;
  archive.scan = static_cast<int64_t>(next);
  return kOk;
}

bool entryAt(Archive& archive, int32_t index, CentralEntry* entry, bool* outOfRange) {
  *outOfRange = index < 0 || static_cast<uint32_t>(index) >= archive.end.entries;
  if (*outOfRange || FAILED(mapEntries(archive))) return false;
  const uint64_t place = archive.offsets[index];
  return place != 0 && readEntryAt(archive, place, entry);
}

uint64_t dataOffset(const CentralHeader& header) {
  if (header.offset > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return header.offset;
  return header.offset + sizeof(LocalHeader) +
         sizeof(WCHAR) * (uint64_t{header.nameLength} + header.secondLength);
}

}  // namespace qv::files
