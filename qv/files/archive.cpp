// Opening an archive to read, and what it says of itself and its entries.
#include "qv/files/archive2.h"

#include <algorithm>
#include <new>

#include "qv/files/detail/archive_volumes.h"
#include "qv/files/detail/archive_writing.h"
#include "qv/files/detail/text.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/platform/times.h"
#include "qv/platform/volumes.h"

namespace qv::files {
namespace {

void findFileSystem(Archive& archive) {
  WCHAR root[kNameCapacity];
  QvGetRootPathFromFilePath(archive.path, root, kNameCapacity);
  archive.fileSystem[0] = 0;
  GetVolumeInformationW(root, nullptr, 0, nullptr, nullptr, nullptr, archive.fileSystem, 128);
}

HRESULT openToRead(Archive& archive) {
  if (!QvDoesFileExist(archive.path, 0)) {
    return failed(archive, QVARCHIVE_ERROR_MISSING, TEXT("open read"), kNoSuchFile, archive.path);
  }
  const HANDLE file = CreateFileW(archive.path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return failed(archive, QVARCHIVE_ERROR_CREATE, TEXT("open read"), kCannotCreateFile, archive.path);
  }
  if (FAILED(loadEndRecord(archive, file))) {
    return failed(archive, QVARCHIVE_ERROR_FORMAT, TEXT("LoadEndOfCentralDirectory"), kNoArchive,
                  archive.path);
  }
  archive.write = archive.read;
  archive.count = archive.end.entries;
  return kOk;
}

struct Opening {
  int32_t mode;
  HRESULT (*open)(Archive& archive);
};
constexpr Opening kOpenings[] = {{QVARCHIVE_CREATE, openToCreate},
                                 {QVARCHIVE_READ, openToRead},
                                 {QVARCHIVE_APPEND, openToAppend},
                                 {QVARCHIVE_DELETE, openToDelete},
                                 {QVARCHIVE_SELFEXTRACTING, openSelfExtracting},
                                 {QVARCHIVE_MULTIVOLUME, openMultiVolume}};

// One field of the entry at an index, or of the first that has a name: what is left out stays 0.
template <typename Value, typename Field>
HRESULT fieldAt(Archive* archive, int32_t index, Value& value, const Field& field) {
  if (archive == nullptr) return 0;
  CentralEntry entry = {};
  bool outOfRange = false;
  const bool read = entryAt(*archive, index, &entry, &outOfRange);
  if (outOfRange) return 0;
  value = field(entry.header);
  return read ? 1 : 0;
}

HRESULT findByName(Archive* archive, const WCHAR* name, CentralEntry* found) {
  Pattern pattern;
  *found = {};
  if (archive == nullptr || FAILED(checkForWildcards(*archive, name, &pattern))) return kNothing;
  const HRESULT status = forEachEntry(*archive, [&](const CentralEntry& entry, int32_t) {
    if (!matches(pattern, entry.name)) return kOk;
    *found = entry;
    return kNothing;
  });
  return status == kNothing ? kOk : kNothing;
}

template <typename Value, typename Field>
HRESULT fieldOf(Archive* archive, const WCHAR* name, Value& value, const Field& field) {
  CentralEntry entry;
  const HRESULT status = findByName(archive, name, &entry);
  value = field(entry.header);
  return status;
}

uint64_t originalSize(const CentralHeader& header) {
  return header.originalSize;
}
uint64_t storedSize(const CentralHeader& header) {
  return header.storedSize;
}
uint32_t methodOf(const CentralHeader& header) {
  return header.head.method;
}
FILETIME timeOf(const CentralHeader& header) {
  return header.head.time;
}
uint32_t originalCrc(const CentralHeader& header) {
  return header.head.originalCrc;
}
uint32_t attributesOf(const CentralHeader& header) {
  return header.attributes;
}

// Bytes of volume `number`, reported when it is missing.
bool volumeBytes(Archive& archive, uint32_t number, int64_t* bytes) {
  WCHAR path[kNameCapacity] = {};
  uint64_t size = 0;
  if (!volumeName(archive, number, path) || FAILED(QvGetFileSizeByName(path, &size))) {
    reportError(archive, QVARCHIVE_ERROR_VOLUME, TEXT("GetArchiveSize"), path);
    return false;
  }
  *bytes = static_cast<int64_t>(size);
  return true;
}

}  // namespace
}  // namespace qv::files

using namespace qv;
using namespace qv::files;

CArchive2::CArchive2() : archive_(nullptr) {}

CArchive2::~CArchive2() {
  delete archive_;
}

HRESULT CArchive2::Open(const WCHAR* path, int32_t mode, CQvArchiveProgress* progress) {
  delete archive_;
  archive_ = nullptr;
  if (path == nullptr) return kInvalidArgument;
  auto* archive = new (std::nothrow) Archive;
  if (archive == nullptr) return kOutOfMemory;
  archive->progress = progress;
  archive->mode = mode;
  const DWORD length = GetFullPathNameW(path, kNameCapacity, archive->path, nullptr);
  HRESULT status = length > 0 && length < kNameCapacity ? kOk : kInvalidArgument;
  if (status == kOk) {
    findFileSystem(*archive);
    const auto opening = std::find_if(std::begin(kOpenings), std::end(kOpenings),
                                      [=](const Opening& o) { return o.mode == mode; });
    status = opening != std::end(kOpenings)
                 ? opening->open(*archive)
                 : failed(*archive, QVARCHIVE_ERROR_MODE, TEXT("Open Main"), kUnsupported);
  }
  if (FAILED(status)) {
    delete archive;
    return status;
  }
  archive_ = archive;
  return kOk;
}

int32_t CArchive2::GetArchiveCount() {
  return archive_ != nullptr && archive_->end.signature == kEndSignature
             ? static_cast<int32_t>(archive_->count)
             : -1;
}

int64_t CArchive2::GetArchiveSize() {
  if (archive_ == nullptr || archive_->read == INVALID_HANDLE_VALUE) return -1;
  int64_t sum = sizeOf(archive_->read);
  for (uint32_t number = 2; number <= archive_->volumes; ++number) {
    int64_t bytes = 0;
    if (!volumeBytes(*archive_, number, &bytes)) break;
    sum += bytes;
  }
  return sum;
}

HRESULT CArchive2::GetCreateTime(FILETIME& time) {
  if (archive_ != nullptr) GetFileTime(archive_->read, &time, nullptr, nullptr);
  return kOk;
}
HRESULT CArchive2::GetModifyTime(FILETIME& time) {
  if (archive_ != nullptr) GetFileTime(archive_->read, nullptr, nullptr, &time);
  return kOk;
}

HRESULT CArchive2::GetVolumeComment(WCHAR* text, int32_t capacity) {
  constexpr const WCHAR* kStep = TEXT("GetVolumeComment");
  if (archive_ == nullptr) return kGeneralFailure;
  if (archive_->read == INVALID_HANDLE_VALUE) {
    return failed(*archive_, QVARCHIVE_ERROR_CLOSED, kStep, kGeneralFailure);
  }
  if (archive_->end.signature != kEndSignature) {
    return failed(*archive_, QVARCHIVE_ERROR_FORMAT, kStep, kNoArchive);
  }
  if (text == nullptr || !qv::files::write(archive_->comment, text, capacity)) {
    return failed(*archive_, QVARCHIVE_ERROR_LENGTH, kStep, kTooShort);
  }
  return kOk;
}

bool CArchive2::GetArchiveSEAStatus() {
  return archive_ != nullptr && archive_->prefix > 0;
}
int32_t CArchive2::GetMultiVolumeStatus() {
  return archive_ != nullptr ? static_cast<int32_t>(archive_->volumes) : 0;
}

HRESULT CArchive2::GetEntryName(int32_t index, WCHAR* name, int32_t capacity) {
  if (archive_ == nullptr || name == nullptr || capacity < 1) return 0;
  CentralEntry entry = {};
  bool outOfRange = false;
  const bool read = entryAt(*archive_, index, &entry, &outOfRange);
  if (outOfRange) return 0;
  const View kept = View(entry.name).substr(0, static_cast<size_t>(capacity) - 1);
  qv::files::write(kept, name, capacity);
  return read ? 1 : 0;
}

HRESULT CArchive2::GetEntryUncompressedSize(int32_t index, uint64_t& bytes) {
  return fieldAt(archive_, index, bytes, originalSize);
}
HRESULT CArchive2::GetEntryUncompressedSize(const WCHAR* name, uint64_t& bytes) {
  return fieldOf(archive_, name, bytes, originalSize);
}
HRESULT CArchive2::GetEntryCompressedSize(int32_t index, uint64_t& bytes) {
  return fieldAt(archive_, index, bytes, storedSize);
}
HRESULT CArchive2::GetEntryCompressedSize(const WCHAR* name, uint64_t& bytes) {
  return fieldOf(archive_, name, bytes, storedSize);
}
HRESULT CArchive2::GetEntryCompressionType(int32_t index, uint32_t& method) {
  return fieldAt(archive_, index, method, methodOf);
}
HRESULT CArchive2::GetEntryCompressionType(const WCHAR* name, uint32_t& method) {
  return fieldOf(archive_, name, method, methodOf);
}
HRESULT CArchive2::GetEntryFileTime(int32_t index, FILETIME& time) {
  return fieldAt(archive_, index, time, timeOf);
}
HRESULT CArchive2::GetEntryFileTime(const WCHAR* name, FILETIME& time) {
  return fieldOf(archive_, name, time, timeOf);
}
HRESULT CArchive2::GetEntryCRC32(int32_t index, uint32_t& crc) {
  return fieldAt(archive_, index, crc, originalCrc);
}
HRESULT CArchive2::GetEntryCRC32(const WCHAR* name, uint32_t& crc) {
  return fieldOf(archive_, name, crc, originalCrc);
}
HRESULT CArchive2::GetEntryFileAttributes(int32_t index, uint32_t& attributes) {
  return fieldAt(archive_, index, attributes, attributesOf);
}
HRESULT CArchive2::GetEntryFileAttributes(const WCHAR* name, uint32_t& attributes) {
  return fieldOf(archive_, name, attributes, attributesOf);
}

bool CArchive2::IsEntryInArchive(const WCHAR* name) {
  if (archive_ == nullptr || name == nullptr) return false;
  return forEachEntry(*archive_, [&](const CentralEntry& entry, int32_t) {
           return sameInAnyCase(entry.name, name) ? kNothing : kOk;
         }) == kNothing;
}
