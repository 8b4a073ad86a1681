// Extraction and validation over many entries: sizes, room, walks and their results.
#include <zlib.h>

#include <algorithm>

#include "qv/files/detail/archive_extract.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"

namespace qv::files {
namespace {

// The entries that a call means: those that match a name, or `count` of them from `first`.
struct Chosen {
  const Pattern* pattern;
  int32_t first, count;

  bool takes(const CentralEntry& entry, int32_t index) const {
    return pattern != nullptr ? matches(*pattern, entry.name) : index >= first && index - first < count;
  }
  // Whether the walk ends with this entry.
  bool last(int32_t index) const {
    return pattern != nullptr ? pattern->kind == Pattern::Exact : index - first == count - 1;
  }
};

Chosen byIndex(int32_t first, const int32_t* count) {
  return {nullptr, first, count != nullptr ? std::max(*count, 1) : 1};
}

// Calls visit(entry) for what was chosen; *found tells whether there was any.
template <typename Visit>
HRESULT forEachChosen(Archive& archive, const Chosen& chosen, bool* found, const Visit& visit) {
  *found = false;
  const HRESULT status = forEachEntry(archive, [&](const CentralEntry& entry, int32_t index) {
    if (!chosen.takes(entry, index)) return kOk;
    *found = true;
    const HRESULT done = visit(entry);
    if (FAILED(done)) return done;
    return chosen.last(index) ? kNothing : kOk;
  });
  return FAILED(status) ? status : kOk;
}

HRESULT sumSizes(Archive& archive, const Chosen& chosen, uint64_t* bytes) {
  uint64_t sum = 0;
  bool found = false;
  const HRESULT status = forEachChosen(archive, chosen, &found, [&](const CentralEntry& entry) {
    sum += entry.header.originalSize;
    return kOk;
  });
  *bytes = sum;
  return status;
}

bool isFolderThere(const WCHAR* folder) {
  const DWORD attributes = folder != nullptr ? GetFileAttributesW(folder) : INVALID_FILE_ATTRIBUTES;
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A folder as the disk functions take it: with a backslash behind it, else its last name would be a file's.
HRESULT fits(const WCHAR* folder, uint64_t bytes) {
  WCHAR path[kNameCapacity + 1];
  lstrcpynW(path, folder, kNameCapacity);
  QvAddSlashToPathName(path, kNameCapacity + 1);
  return bytes / 1024 > QvGetDiskFreeSpace(path, 1024) ? kNothing : kOk;
}

HRESULT spaceFor(Archive& archive, const Chosen& chosen, const WCHAR* folder) {
  if (!isFolderThere(folder)) {
    return failed(archive, QVARCHIVE_ERROR_ARGUMENT, TEXT("IsSpaceForExtractEntry"), kInvalidArgument);
  }
  uint64_t bytes = 0;
  const HRESULT status = sumSizes(archive, chosen, &bytes);
  return FAILED(status) ? status : fits(folder, bytes);
}

// Everything is as many entries as the end record counts: a directory that ends before is damaged.
HRESULT checkCount(Archive& archive, const Chosen& chosen, uint32_t seen) {
  const bool all = chosen.pattern != nullptr && chosen.pattern->kind == Pattern::Everything;
  if (!all || seen == archive.end.entries) return kOk;
  return failed(archive, QVARCHIVE_ERROR_FORMAT, TEXT("FindNextCentralDirectory"), kBadFormat, archive.path);
}

// Extracts what was chosen. A failed file stops nothing but a cancel; the last failure is kept in *last.
HRESULT extractChosen(Archive& archive, const Chosen& chosen, const WCHAR* folder, bool* found,
                      HRESULT* last) {
  *last = kOk;
  uint32_t seen = 0;
  const HRESULT walk = forEachChosen(archive, chosen, found, [&](const CentralEntry& entry) {
    ++seen;
    const HRESULT status = extractEntry(archive, entry, folder);
    if (FAILED(status)) *last = status;
    return status == kCancelled ? status : kOk;
  });
  return walk != kOk ? walk : checkCount(archive, chosen, seen);
}

HRESULT announce(Archive& archive, const Chosen& chosen, uint32_t flags) {
  if (archive.progress == nullptr || (flags & QVEXTRACT_NOTOTAL) != 0) return kOk;
  uint64_t bytes = 0;
  const HRESULT status = sumSizes(archive, chosen, &bytes);
  if (SUCCEEDED(status)) beginTotal(archive, archive.path, bytes);
  return status;
}

HRESULT checkVolumes(Archive& archive, const WCHAR* step) {
  if (archive.volumes < 2 || validateVolumes(archive) == kOk) return kOk;
  return failed(archive, QVARCHIVE_ERROR_VOLUME, step, kBadFormat);
}

HRESULT validate(Archive& archive, const CentralEntry& entry) {
  constexpr const WCHAR* kStep = TEXT("ValidateEntryData");
  reportStatus(archive, QVARCHIVE_STATUS_VALIDATING, entry.name);
  WorkBlocks* const blocks = workBlocks(archive);
  if (blocks == nullptr) return failed(archive, QVARCHIVE_ERROR_MEMORY, kStep, kOutOfMemory);
  const Block& block = blocks->input;
  const uint64_t offset = dataOffset(entry.header);
  if (offset > archive.end.centralOffset || !seekTo(archive.read, archive.prefix + offset)) {
    return failed(archive, QVARCHIVE_ERROR_READ, kStep, kReadFailed);
  }
  uint32_t crc = 0;
  for (uint64_t left = entry.header.storedSize; left > 0;) {
    const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(left, kBlockBytes));
    uint32_t done = 0;
    if (!readSome(archive.read, block.bytes, wanted, &done) || done != wanted) {
      return failed(archive, QVARCHIVE_ERROR_READ, kStep, kReadFailed);
    }
    crc = static_cast<uint32_t>(crc32(crc, block.bytes, done));
    left -= done;
    const HRESULT status = advance(archive, done);
    if (FAILED(status)) return status;
  }
  const bool whole = crc == entry.header.head.storedCrc && StoredData(archive).checkHeader(entry) == kOk;
  return whole ? kOk : failed(archive, QVARCHIVE_ERROR_CRC, kStep, kBadFormat);
}

HRESULT validateChosen(Archive* archive, const Chosen& chosen) {
  bool found = false;
  uint32_t seen = 0;
  HRESULT status = forEachChosen(*archive, chosen, &found, [&](const CentralEntry& entry) {
    ++seen;
    return validate(*archive, entry);
  });
  if (status == kOk) status = checkCount(*archive, chosen, seen);
  reportStatus(*archive, QVARCHIVE_STATUS_DONE);
  return status;
}

bool readsEntries(const Archive* archive) {
  return archive != nullptr && archive->mode != QVARCHIVE_CREATE;
}

}  // namespace
}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT CArchive2::GetSizeExtractAll(uint64_t& bytes) {
  if (archive_ == nullptr) return kGeneralFailure;
  if (archive_->totalOriginal == 0) {
    const Pattern everything = {Pattern::Everything, {}};
    const HRESULT status = sumSizes(*archive_, {&everything, 0, 0}, &archive_->totalOriginal);
    if (FAILED(status)) return status;
  }
  bytes = archive_->totalOriginal;
  return kOk;
}

HRESULT CArchive2::GetSizeExtractEntry(const WCHAR* name, uint64_t& bytes, uint32_t) {
  if (archive_ == nullptr) return kGeneralFailure;
  Pattern pattern;
  const HRESULT status = checkForWildcards(*archive_, name, &pattern);
  return FAILED(status) ? status : sumSizes(*archive_, {&pattern, 0, 0}, &bytes);
}

HRESULT CArchive2::GetSizeExtractEntry(int32_t first, const int32_t* count, uint64_t& bytes, uint32_t) {
  if (archive_ == nullptr) return kGeneralFailure;
  return sumSizes(*archive_, byIndex(first, count), &bytes);
}

HRESULT CArchive2::IsSpaceForExtractAll(const WCHAR* folder, uint32_t) {
  if (archive_ == nullptr) return kGeneralFailure;
  if (!isFolderThere(folder)) {
    return failed(*archive_, QVARCHIVE_ERROR_SPACE, TEXT("IsSpaceForExtractAll"), kMissingTarget);
  }
  uint64_t bytes = 0;
  const HRESULT status = GetSizeExtractAll(bytes);
  return FAILED(status) ? status : fits(folder, bytes);
}

HRESULT CArchive2::IsSpaceForExtractEntry(const WCHAR* name, const WCHAR* folder, uint32_t) {
  if (archive_ == nullptr) return kGeneralFailure;
  Pattern pattern;
  const HRESULT status = checkForWildcards(*archive_, name, &pattern);
  return FAILED(status) ? status : spaceFor(*archive_, {&pattern, 0, 0}, folder);
}

HRESULT CArchive2::IsSpaceForExtractEntry(int32_t first, const int32_t* count, const WCHAR* folder,
                                          uint32_t) {
  return archive_ != nullptr ? spaceFor(*archive_, byIndex(first, count), folder) : kGeneralFailure;
}

HRESULT CArchive2::ExtractAll(const WCHAR* folder, uint32_t flags) {
  if (!readsEntries(archive_)) return kGeneralFailure;
  const Pattern everything = {Pattern::Everything, {}};
  const Chosen all = {&everything, 0, 0};
  archive_->extractFlags = flags;
  const HRESULT room = IsSpaceForExtractAll(folder, flags);
  if (room != kOk)
    return room == kMissingTarget ? room
                                  : failed(*archive_, QVARCHIVE_ERROR_SPACE, TEXT("ExtractAll"), kNoSpace);
  if (archive_->volumes > 1 && validateVolumes(*archive_) != kOk) return kBadFormat;
  announce(*archive_, all, flags);
  bool found = false;
  HRESULT last = kOk;
  const HRESULT status = extractChosen(*archive_, all, folder, &found, &last);
  reportStatus(*archive_, QVARCHIVE_STATUS_DONE);
  return FAILED(status) ? status : last;
}

HRESULT CArchive2::ExtractEntry(const WCHAR* name, const WCHAR* folder, uint32_t flags) {
  if (!readsEntries(archive_)) return kGeneralFailure;
  archive_->extractFlags = flags;
  Pattern pattern;
  HRESULT status = checkForWildcards(*archive_, name, &pattern);
  if (FAILED(status)) return status;
  const Chosen chosen = {&pattern, 0, 0};
  status = spaceFor(*archive_, chosen, folder);
  if (status == kOk) status = checkVolumes(*archive_, TEXT("ExtractEntry"));
  if (status != kOk) return status;
  announce(*archive_, chosen, flags);
  bool found = false;
  HRESULT last = kOk;
  status = extractChosen(*archive_, chosen, folder, &found, &last);
  reportStatus(*archive_, QVARCHIVE_STATUS_DONE);
  if (FAILED(status)) return status;
  if (FAILED(last)) return last;
  return found ? kOk : kNothing;
}

HRESULT CArchive2::ExtractEntry(int32_t first, const int32_t* count, const WCHAR* folder, uint32_t flags) {
  if (!readsEntries(archive_)) return kGeneralFailure;
  const Chosen chosen = byIndex(first, count);
  archive_->extractFlags = flags;
  if (spaceFor(*archive_, chosen, folder) != kOk) return kOk;
  bool found = false;
  HRESULT last = kOk;
  if (checkVolumes(*archive_, TEXT("ExtractEntry")) == kOk) {
    announce(*archive_, chosen, flags);
    extractChosen(*archive_, chosen, folder, &found, &last);
    reportStatus(*archive_, QVARCHIVE_STATUS_DONE);
  }
  return kNothing;
}

HRESULT CArchive2::ValidateEntry(const WCHAR* name) {
  if (!readsEntries(archive_) || archive_->mode == QVARCHIVE_MULTIVOLUME) return kGeneralFailure;
  Pattern pattern;
  const HRESULT status = checkForWildcards(*archive_, name, &pattern);
  return FAILED(status) ? status : validateChosen(archive_, {&pattern, 0, 0});
}

HRESULT CArchive2::ValidateEntry(int32_t index) {
  if (readsEntries(archive_) && archive_->mode != QVARCHIVE_MULTIVOLUME)
    validateChosen(archive_, byIndex(index, nullptr));
  return kOk;
}
