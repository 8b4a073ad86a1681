// Archives that are made anew: opening to write, marks and deletion, annotating, and Close.
#include <algorithm>
#include <string>

#include "qv/core/list.h"
#include "qv/files/detail/archive_volumes.h"
#include "qv/files/detail/archive_writing.h"
#include "qv/files/detail/text.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/platform/times.h"

namespace qv::files {
namespace {

using Text = std::basic_string<WCHAR>;

constexpr uint64_t kSmallFilesKilobytes = 4194304;  // what one file can hold where sizes have 32 bits

bool createList(Archive& archive) {
  return SUCCEEDED(QvList_CreateExZ(&archive.entries, 0, 64, 256, 0x40000002, 0, 0, 0));
}

// Opens the present archive and the temporary file that is to take its place, with the stub copied.
HRESULT openToRebuild(Archive& archive, const WCHAR* step) {
  const HRESULT opened = openExisting(archive, GENERIC_READ, step);
  if (FAILED(opened)) return opened;
  if (archive.volumes > 1) return failed(archive, QVARCHIVE_ERROR_MODE, step, kNoArchive, archive.path);
  const HRESULT status = createTemporary(archive, GENERIC_WRITE, step);
  if (FAILED(status)) return status;
  return createList(archive) ? kOk : kOutOfMemory;
}

// ---- Deletion

DeletionMark* markAt(const Archive& archive, int32_t index) {
  return static_cast<DeletionMark* const*>(archive.entries->data)[index];
}
int32_t markCount(const Archive& archive) {
  return archive.entries->itemCount;
}
bool hasMarks(const Archive& archive) {
  for (int32_t i = 0; i < markCount(archive); ++i) {
    if (markAt(archive, i)->deleted != 0) return true;
  }
  return false;
}

// A mark for the entry at `index`; those that no call has reached yet stay.
HRESULT markEntry(Archive& archive, int32_t index, bool matched) {
  if (index < markCount(archive)) {
    if (matched) markAt(archive, index)->deleted = 1;
    return kOk;
  }
  const DeletionMark mark = {matched ? 1u : 0u, 0, 0};
  return QvList_AllocAndInsertItem(archive.entries, &mark, sizeof mark, -1, nullptr);
}

bool isDeleted(const Archive& archive, int32_t index) {
  return index < markCount(archive) && markAt(archive, index)->deleted != 0;
}

// Copies the kept entries' headers and data, and notes where they stand now.
HRESULT copyKept(Archive& archive) {
  bool announced = false;
  return forEveryEntry(archive, [&](const CentralEntry& entry, int32_t index) {
    if (isDeleted(archive, index)) {
      reportStatus(archive, QVARCHIVE_STATUS_DELETING, entry.name);
      announced = false;
      markAt(archive, index)->offset = -1;
      --archive.count;
      return kOk;
    }
    // Entries behind the last mark are kept.
    const HRESULT marked = markEntry(archive, index, false);
    if (FAILED(marked)) return failed(archive, QVARCHIVE_ERROR_MEMORY, TEXT("SubmitDeleteList"), marked);
    if (!announced && (archive.deleteFlags & 1) == 0) beginTotal(archive, TEXT("Entries"), 0);
    if (!announced) reportStatus(archive, QVARCHIVE_STATUS_COPYING);
    announced = true;
    const uint64_t from = entry.header.offset, end = dataOffset(entry.header);
    if (end > archive.end.centralOffset || entry.header.storedSize > archive.end.centralOffset - end)
      return kBadFormat;
    const uint64_t bytes = end - from + entry.header.storedSize;
    markAt(archive, index)->offset = static_cast<int64_t>(archive.output);
    const HRESULT status = copyBlocks(archive, archive.read, archive.prefix + from, archive.write,
                                      archive.prefix + archive.output, bytes);
    archive.output += bytes;
    return status;
  });
}

// The kept entries of the old directory, with their new places. The second text counts twice: the format's
// own rule, without effect on entries that have none.
HRESULT copyKeptDirectory(Archive& archive) {
  return forEveryEntry(archive, [&](const CentralEntry& entry, int32_t index) {
    if (isDeleted(archive, index)) return kOk;
    const CentralHeader& header = entry.header;
    const uint64_t bytes =
        sizeof header + sizeof(WCHAR) * (uint64_t{header.nameLength} + 2 * uint64_t{header.secondLength});
    HRESULT status = copyBlocks(archive, archive.read, archive.prefix + static_cast<uint64_t>(archive.scan),
                                archive.write, archive.prefix + archive.output, bytes);
    const uint64_t offset = static_cast<uint64_t>(markAt(archive, index)->offset);
    const bool patched =
        SUCCEEDED(status) &&
        seekTo(archive.write, archive.prefix + archive.output + offsetof(CentralHeader, offset)) &&
        writeAll(archive.write, &offset, sizeof offset);
    archive.output += bytes;
    if (SUCCEEDED(status) && !patched) status = kWriteFailed;
    return SUCCEEDED(status) && !seekTo(archive.write, archive.prefix + archive.output) ? kWriteFailed
                                                                                        : status;
  });
}

HRESULT submitDeletions(Archive& archive) {
  if (archive.unseenEntries) {
    return failed(archive, QVARCHIVE_ERROR_FORMAT, TEXT("SubmitDeleteList"), kBadFormat, archive.path);
  }
  if (!hasMarks(archive)) return kOk;
  archive.output = 0;
  HRESULT status = copyKept(archive);
  const uint64_t offset = archive.output;
  if (SUCCEEDED(status)) status = copyKeptDirectory(archive);
  if (SUCCEEDED(status)) status = writeEndRecord(archive, offset);
  if (SUCCEEDED(status)) archive.changed = true;
  return status;
}

// ---- Close

HRESULT finish(Archive& archive) {
  switch (archive.mode) {
    case QVARCHIVE_CREATE:
    case QVARCHIVE_APPEND:
      return writeDirectory(archive);
    case QVARCHIVE_DELETE:
      return submitDeletions(archive);
    case QVARCHIVE_SELFEXTRACTING:
      return copyFurtherVolumes(archive);
    default:
      return kOk;
  }
}

bool replacesItself(const Archive& archive) {
  return archive.mode == QVARCHIVE_APPEND || archive.mode == QVARCHIVE_DELETE ||
         archive.mode == QVARCHIVE_MULTIVOLUME || archive.mode == QVARCHIVE_CREATE;
}

// The temporary file in the archive's place in one step; where nothing changed it goes with the object.
HRESULT replaceArchive(Archive& archive) {
  if (!archive.changed) return kNothing;
  const DWORD attributes = GetFileAttributesW(archive.path);
  SetFileAttributesW(archive.path, FILE_ATTRIBUTE_NORMAL);
  if (!MoveFileExW(archive.temporary, archive.path, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(archive.path, attributes);
    return kWriteFailed;
  }
  archive.ownsTemporary = false;
  deleteJoinedVolumes(archive);
  return kOk;
}

// Whether nobody else holds the file and it may be replaced.
bool isReplaceable(const WCHAR* path) {
  HANDLE file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  const bool good = file != INVALID_HANDLE_VALUE;
  closeFile(file);
  return good;
}

// Makes sure that the file holds `bytes` bytes, while what stands in it stays readable.
bool makeRoom(HANDLE file, uint64_t bytes) {
  constexpr uint8_t kZeroes[4096] = {};
  const int64_t size = sizeOf(file);
  if (size < 0) return false;
  const auto old = static_cast<uint64_t>(size);
  if (bytes <= old) return true;
  if (bytes - old > sizeof kZeroes || !seekTo(file, old)) return false;
  if (writeAll(file, kZeroes, static_cast<uint32_t>(bytes - old))) return true;
  if (seekTo(file, old)) SetEndOfFile(file);
  return false;
}

}  // namespace

uint64_t freeKilobytes(const Archive& archive, const WCHAR* path) {
  const View kind = archive.fileSystem;
  if (sameInAnyCase(kind, TEXT("FAT32")) || sameInAnyCase(kind, TEXT("FAT"))) return kSmallFilesKilobytes;
  return QvGetDiskFreeSpace(path, 1024);
}

HRESULT openExisting(Archive& archive, DWORD access, const WCHAR* step) {
  const HANDLE file = CreateFileW(archive.path, access, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE)
    return failed(archive, QVARCHIVE_ERROR_OPEN, step, kCannotCreateFile, archive.path);
  if (FAILED(loadEndRecord(archive, file)))
    return failed(archive, QVARCHIVE_ERROR_FORMAT, step, kNoArchive, archive.path);
  return kOk;
}

HRESULT createTemporary(Archive& archive, DWORD access, const WCHAR* step) {
  WCHAR folder[kNameCapacity];
  if (QvGetPathNameFromFilePath(archive.path, folder, kNameCapacity) >= kNameCapacity) return kTooShort;
  const Text name = Text(folder) + TEXT("~") + QvGetFileNamePtrW(archive.path);
  if (!write(name, archive.temporary, kNameCapacity)) return kTooShort;
  archive.write =
      CreateFileW(archive.temporary, access, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (archive.write == INVALID_HANDLE_VALUE) {
    return failed(archive, QVARCHIVE_ERROR_CREATE, step, kCannotCreateFile, archive.temporary);
  }
  archive.ownsTemporary = true;
  if (archive.prefix == 0) return kOk;
  reportStatus(archive, QVARCHIVE_STATUS_COPYING);
  const HRESULT status = copyBlocks(archive, archive.read, 0, archive.write, 0, archive.prefix);
  reportStatus(archive, QVARCHIVE_STATUS_DONE);
  return status;
}

// Nothing stands in the archive's place before Close has the whole of it; what is there stays until then.
HRESULT openToCreate(Archive& archive) {
  constexpr const WCHAR* kStep = TEXT("open write");
  if (QvDoesFileExist(archive.path, 0) && !isReplaceable(archive.path))
    return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, archive.path);
  const HRESULT status = createTemporary(archive, GENERIC_READ | GENERIC_WRITE, kStep);
  if (FAILED(status)) return status;
  archive.read = archive.write;
  archive.changed = true;
  return createList(archive) ? kOk : kOutOfMemory;
}

HRESULT openToAppend(Archive& archive) {
  return openToRebuild(archive, TEXT("Open Append"));
}

HRESULT openToDelete(Archive& archive) {
  const HRESULT status = openToRebuild(archive, TEXT("Open Delete"));
  archive.count = archive.end.entries;
  return status;
}

}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT CArchive2::Close() {
  if (archive_ == nullptr) return kOk;
  Archive& archive = *archive_;
  HRESULT status = finish(archive);
  const bool rebuilt = archive.write != archive.read && archive.write != INVALID_HANDLE_VALUE;
  // What a rename puts in the archive's place has to be on the disk before.
  if (SUCCEEDED(status) && archive.changed && archive.write != INVALID_HANDLE_VALUE &&
      archive.mode != QVARCHIVE_READ && !FlushFileBuffers(archive.write)) {
    status = kWriteFailed;
  }
  if (archive.write == archive.read) archive.write = INVALID_HANDLE_VALUE;
  closeFile(archive.read);
  closeFile(archive.write);
  if (rebuilt) {
    const DWORD attributes = GetFileAttributesW(archive.path);
    if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(archive.temporary, attributes);
  }
  const bool replaces = archive.temporary[0] != 0 && replacesItself(archive);
  if (SUCCEEDED(status) && replaces) status = replaceArchive(archive);
  if (FAILED(status)) archive.ownsTemporary = false;  // what was made so far is the user's to look at
  delete archive_;
  archive_ = nullptr;
  return status;
}

HRESULT CArchive2::DeleteEntryFromArchive(const WCHAR* name, uint32_t flags) {
  if (archive_ == nullptr || archive_->mode != QVARCHIVE_DELETE) return kGeneralFailure;
  archive_->deleteFlags = flags;
  Pattern pattern;
  HRESULT status = checkForWildcards(*archive_, name, &pattern);
  if (FAILED(status)) return status;
  uint32_t seen = 0;
  status = forEachEntry(*archive_, [&](const CentralEntry& entry, int32_t index) {
    ++seen;
    const bool matched = matches(pattern, entry.name);
    const HRESULT marked = markEntry(*archive_, index, matched);
    if (FAILED(marked)) return marked;
    return matched && pattern.kind == Pattern::Exact ? kNothing : kOk;
  });
  if (status == kOk && seen < archive_->end.entries) archive_->unseenEntries = true;
  return FAILED(status) ? status : kOk;
}

int32_t CArchive2::IsDeleteRequested() {
  return archive_ != nullptr && archive_->mode == QVARCHIVE_DELETE && hasMarks(*archive_) ? 1 : 0;
}

void CArchive2::AbortDeletionProcess() {
  if (archive_ != nullptr && archive_->mode == QVARCHIVE_DELETE) {
    QvList_DeleteList(archive_->entries, 0, markCount(*archive_), 0);
    archive_->unseenEntries = false;
  }
}

int32_t CArchive2::GetEntryDeleteStatus(int32_t index) {
  const bool known =
      archive_ != nullptr && archive_->mode == QVARCHIVE_DELETE && index >= 0 && index < markCount(*archive_);
  return known ? static_cast<int32_t>(markAt(*archive_, index)->deleted) : 0;
}

HRESULT CArchive2::Annotate(const WCHAR* path, const WCHAR* text) {
  if (path == nullptr || text == nullptr) return kInvalidArgument;
  Archive archive;
  archive.mode = QVARCHIVE_APPEND;
  if (archive_ != nullptr) archive.progress = archive_->progress;
  delete archive_;
  archive_ = nullptr;
  constexpr const WCHAR* kStep = TEXT("Annotate");
  const HANDLE file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE)
    return failed(archive, QVARCHIVE_ERROR_OPEN, kStep, kCannotCreateFile, path);
  if (FAILED(loadEndRecord(archive, file)))
    return failed(archive, QVARCHIVE_ERROR_FORMAT, kStep, kNoArchive, path);
  archive.write = file;
  archive.count = archive.end.entries;
  lstrcpynW(archive.comment, text, kCommentCapacity);
  archive.output = archive.end.centralOffset + archive.end.centralSize;
  const uint64_t place = archive.prefix + archive.output;
  const uint64_t length =
      sizeof(EndRecord) +
      sizeof(WCHAR) * static_cast<uint64_t>(lstrlenW(archive.comment) + lstrlenW(archive.baseName));
  if (!makeRoom(file, place + length) || !seekTo(file, place)) {
    return failed(archive, QVARCHIVE_ERROR_WRITE, TEXT("AddEndOfCentralDir"), kWriteFailed, path);
  }
  HRESULT status = writeEndRecord(archive, archive.end.centralOffset);
  if (SUCCEEDED(status) && !FlushFileBuffers(file)) status = kWriteFailed;
  archive.write = INVALID_HANDLE_VALUE;
  return status;
}
