// An open archive, and the steps that its operations share.
#pragma once

#include <limits>
#include <memory>

#include "qv/core/list.h"
#include "qv/files/archive2.h"
#include "qv/files/detail/archive_records.h"
#include "qv/frame/status.h"

namespace qv::files {

class NameSet;
struct Deflate;
struct Inflate;

inline constexpr HRESULT kMissingTarget = static_cast<HRESULT>(0x8004e00du);
inline constexpr HRESULT kNoSuchFile = static_cast<HRESULT>(0x8004e032u);
inline constexpr HRESULT kTooShort = static_cast<HRESULT>(0x8004e03cu);
inline constexpr HRESULT kNoArchive = static_cast<HRESULT>(0x8004e0b0u);
inline constexpr HRESULT kNoSpace = static_cast<HRESULT>(0x8004e0c8u);

// A block of file work; null without memory.
struct Block {
  explicit Block(size_t size);
  ~Block();
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  uint8_t* bytes;
};

// What goes in and what comes out while an entry is added or extracted. Obtained once: a pair for each of
// many small files would cost more than the files.
inline constexpr uint32_t kOutputBytes = 288358;
struct WorkBlocks {
  Block input{kBlockBytes}, output{kOutputBytes};
};

// A stretch of the directory, so that a walk doesn't go to the system for every text of every entry.
struct DirectoryWindow {
  static constexpr uint32_t kBytes = 64 * 1024;
  Block block{kBytes};
  uint64_t start = 0;
  uint32_t filled = 0;
};

struct Archive {
  HANDLE read = INVALID_HANDLE_VALUE;
  HANDLE write = INVALID_HANDLE_VALUE;  // may be the same file
  tQVLIST* entries = nullptr;           // WrittenEntry or DeletionMark, by mode
  uint64_t output = 0;                  // bytes written, from the end of the prefix
  CQvArchiveProgress* progress = nullptr;
  int32_t mode = QVARCHIVE_READ;
  uint32_t method = 0;
  int32_t level = 0;
  EndRecord end = {};
  WCHAR comment[kCommentCapacity] = {};
  WCHAR baseName[kNameCapacity] = {};
  WCHAR third[kNameCapacity] = {};
  int64_t scan = -1;  // of the present entry, from the end of the prefix
  WCHAR path[kNameCapacity] = {};
  bool ownsTemporary = false;  // made here, and not yet in the archive's place
  WCHAR temporary[kNameCapacity] = {};
  uint32_t extractFlags = 0, addFlags = 0, deleteFlags = 0;
  uint64_t prefix = 0;
  uint32_t volumes = 1;
  uint32_t count = 0;
  bool overwriteForAll = false, readOnlyForAll = false;
  bool changed = false;
  bool unseenEntries = false;  // a search for what to delete ended before the end record's count
  uint64_t totalOriginal = 0;  // once it was asked for
  WCHAR fileSystem[128] = {};
  uint32_t joinedVolumes = 0;  // volumes that Close deletes once the joined archive stands
  WCHAR joinedName[kNameCapacity] = {};
  std::unique_ptr<NameSet> oldNames;   // of an archive that is added to, once one was asked for
  uint64_t* offsets = nullptr;         // of every central entry in the file, once one was looked up by index
  // Once an entry was worked on.
  std::unique_ptr<WorkBlocks> blocks;
  std::unique_ptr<Deflate> deflater;
  std::unique_ptr<Inflate> inflater;
  std::unique_ptr<DirectoryWindow> window;  // once the directory was read

  Archive();
  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
};

// ---- Reports (archive_progress.cpp). All take an archive without a progress object.

void reportError(Archive& archive, uint32_t code, const WCHAR* step, const WCHAR* path = nullptr);
// Reports and gives `status`.
HRESULT failed(Archive& archive, uint32_t code, const WCHAR* step, HRESULT status,
               const WCHAR* path = nullptr);
void reportStatus(Archive& archive, uint32_t code, const WCHAR* text = nullptr);
void beginTotal(Archive& archive, const WCHAR* text, uint64_t total);
// Counts bytes and takes the response: kCancelled, the negative result of advance, or kOk.
HRESULT advance(Archive& archive, uint64_t bytes);
// Asks whether `name` is to be overwritten, or the read-only file. 0 yes, 1 skip, or the response as it is.
HRESULT askOverwrite(Archive& archive, const WCHAR* name, bool readOnly);

// ---- Files (archive_file.cpp)

bool readAt(HANDLE file, uint64_t offset, void* buffer, uint32_t bytes);
bool seekTo(HANDLE file, uint64_t offset);
// Up to `bytes` at the position; false for a failure.
bool readSome(HANDLE file, void* buffer, uint32_t bytes, uint32_t* done);
bool writeAll(HANDLE file, const void* buffer, uint32_t bytes);
// -1 on failure.
int64_t sizeOf(HANDLE file);
void closeFile(HANDLE& file);

// The archive's two blocks; null without memory.
WorkBlocks* workBlocks(Archive& archive);

// Copies bytes between two files, a block at a time, with progress. kCancelled, kOutOfMemory, kGeneralFailure
// for a read or write that came short (reported as "Block Copy"), or kOk.
HRESULT copyBlocks(Archive& archive, HANDLE from, uint64_t fromOffset, HANDLE to, uint64_t toOffset,
                   uint64_t bytes);

// ---- The directory (archive_directory.cpp)

// Finds and reads the end record of a file, and keeps the file as the read handle.
HRESULT loadEndRecord(Archive& archive, HANDLE file);
// Walk: kOk with an entry, kNothing at the end, or a failure.
HRESULT firstEntry(Archive& archive, CentralEntry* entry);
HRESULT nextEntry(Archive& archive, CentralEntry* entry);
// By place: false for an index out of range (outOfRange set) or an entry that can't be read.
bool entryAt(Archive& archive, int32_t index, CentralEntry* entry, bool* outOfRange);
// Where the stored data begins, from the end of the prefix.
uint64_t dataOffset(const CentralHeader& header);
// Calls visit(entry, index) for every entry until it gives anything but kOk, which is the result then; kOk at
// the end of the walk.
template <typename Visit>
HRESULT forEachEntry(Archive& archive, const Visit& visit) {
  CentralEntry entry;
  int32_t index = 0;
  for (HRESULT status = firstEntry(archive, &entry);; status = nextEntry(archive, &entry)) {
    if (status != kOk) return FAILED(status) ? status : kOk;
    status = visit(entry, index++);
    if (status != kOk) return status;
  }
}

// The same, and kBadFormat, reported, when the walk ends before the end record's count: what rebuilds an
// archive must not lose the entries behind a damaged one.
template <typename Visit>
HRESULT forEveryEntry(Archive& archive, const Visit& visit) {
  uint32_t seen = 0;
  const HRESULT status = forEachEntry(archive, [&](const CentralEntry& entry, int32_t index) {
    ++seen;
    return visit(entry, index);
  });
  if (status != kOk || seen == archive.end.entries) return status;
  return failed(archive, QVARCHIVE_ERROR_FORMAT, TEXT("FindNextCentralDirectory"), kBadFormat, archive.path);
}

// ---- Patterns (archive_pattern.cpp)

struct Pattern {
  enum Kind { Exact, EndsIn, Everything, BeginsWith } kind;
  WCHAR text[kNameCapacity];
};
// 0x8004e03c, reported, for null and for an empty text; also for a text of 260 or more.
HRESULT checkForWildcards(Archive& archive, const WCHAR* name, Pattern* pattern);
bool matches(const Pattern& pattern, const WCHAR* name);

// ---- Volumes (archive_volumes.cpp)

// The file of volume `number`, 2 and up. `name`: the base name, whose folder doesn't count; `folder`: a path
// in the folder of the set. False when it doesn't fit.
bool volumeName(const WCHAR* folder, const WCHAR* name, uint32_t number, WCHAR (&path)[kNameCapacity]);
// By the archive's own base name and folder.
bool volumeName(const Archive& archive, uint32_t number, WCHAR (&path)[kNameCapacity]);
// kNothing for fewer than two volumes, kMissingTarget, reported, when one is missing.
HRESULT validateVolumes(Archive& archive);

}  // namespace qv::files
