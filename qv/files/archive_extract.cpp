// Extraction: from the stored bytes to a file with its time and attributes, both checksums compared.
#include "qv/files/detail/archive_extract.h"

#include <stddef.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "qv/files/detail/contained.h"
#include "qv/files/detail/text.h"
#include "qv/files/detail/zlib_streams.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/platform/times.h"

namespace qv::files {
namespace {

using Text = std::basic_string<WCHAR>;

// What a file is given of a stranger's attributes.
constexpr DWORD kOrdinaryAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

// A target file on its way: what was written, and its checksum.
class Target {
 public:
  Target(Archive& archive, const CentralEntry& entry, const WCHAR* path)
      : archive_(archive),
        entry_(entry),
        path_(path),
        file_(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  ~Target() { closeFile(file_); }

  bool good() const { return file_ != INVALID_HANDLE_VALUE; }
  uint64_t left() const { return entry_.header.originalSize - written_; }

  // More than the entry declares is damage.
  HRESULT put(const uint8_t* bytes, uint32_t count) {
    if (count > left()) return kBadFormat;
    if (!writeAll(file_, bytes, count)) return kWriteFailed;
    crc_ = static_cast<uint32_t>(crc32(crc_, bytes, count));
    written_ += count;
    return advance(archive_, count);
  }

  HRESULT finish(uint32_t storedCrc, const WCHAR* step) {
    const EntryHead& head = entry_.header.head;
    SetFileTime(file_, &head.time, &head.time, &head.time);
    closeFile(file_);
    const DWORD attributes = entry_.header.attributes & kOrdinaryAttributes;
    // That it wants archiving is set from the start.
    if (attributes != FILE_ATTRIBUTE_ARCHIVE)
      SetFileAttributesW(path_, attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL);
    if (left() == 0 && crc_ == head.originalCrc && storedCrc == head.storedCrc) return kOk;
    return failed(archive_, QVARCHIVE_ERROR_CRC, step, kBadFormat, path_);
  }

 private:
  Archive& archive_;
  const CentralEntry& entry_;
  const WCHAR* path_;
  HANDLE file_;
  uint32_t crc_ = 0;
  uint64_t written_ = 0;
};

HRESULT extractStored(Archive& archive, const CentralEntry& entry, StoredData& data, const WCHAR* path) {
  constexpr const WCHAR* kStep = TEXT("ExtractInternalNoCompression");
  WorkBlocks* const blocks = workBlocks(archive);
  if (blocks == nullptr) return failed(archive, QVARCHIVE_ERROR_MEMORY, kStep, kOutOfMemory);
  const Block& block = blocks->input;
  Target target(archive, entry, path);
  if (!target.good()) return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, path);
  reportStatus(archive, QVARCHIVE_STATUS_EXTRACTING, entry.name);
  uint32_t crc = 0;
  while (target.left() > 0) {
    const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(target.left(), kBlockBytes));
    uint32_t done = 0;
    if (!data.read(block.bytes, wanted, &done))
      return failed(archive, QVARCHIVE_ERROR_READ, kStep, kReadFailed);
    crc = static_cast<uint32_t>(crc32(crc, block.bytes, done));
    const HRESULT status = target.put(block.bytes, done);
    if (status == kWriteFailed) return failed(archive, QVARCHIVE_ERROR_WRITE, kStep, status, path);
    if (FAILED(status)) return status;
  }
  reportStatus(archive, QVARCHIVE_STATUS_FILEDONE);
  return target.finish(crc, kStep);
}

// Inflates to the stream's end; *crc is that of the stored bytes.
HRESULT inflateInto(Archive& archive, const CentralEntry& entry, StoredData& data, Target& target,
                    uint32_t* crc) {
  WorkBlocks* const blocks = workBlocks(archive);
  Inflate* const inflater = fresh(archive.inflater);
  if (blocks == nullptr || inflater == nullptr) return kOutOfMemory;
  const Block &input = blocks->input, &output = blocks->output;
  z_stream& z = inflater->stream;
  uint64_t stored = entry.header.storedSize;
  for (int result = Z_OK; result != Z_STREAM_END;) {
    if (z.avail_in == 0 && stored > 0) {
      uint32_t done = 0;
      const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(stored, kBlockBytes));
      if (!data.read(input.bytes, wanted, &done)) return kReadFailed;
      *crc = static_cast<uint32_t>(crc32(*crc, input.bytes, done));
      stored -= done;
      z.next_in = input.bytes;
      z.avail_in = done;
    }
    z.next_out = output.bytes;
    z.avail_out = kOutputBytes;
    result = ::inflate(&z, Z_NO_FLUSH);
    if (result < 0 || result > Z_STREAM_END) return kWriteFailed;
    const HRESULT status = target.put(output.bytes, kOutputBytes - z.avail_out);
    if (FAILED(status)) return status;
  }
  // What is stored behind the stream's end belongs to the checksum.
  while (stored > 0) {
    uint32_t done = 0;
    if (!data.read(input.bytes, static_cast<uint32_t>(std::min<uint64_t>(stored, kBlockBytes)), &done)) {
      return kReadFailed;
    }
    *crc = static_cast<uint32_t>(crc32(*crc, input.bytes, done));
    stored -= done;
  }
  return kOk;
}

HRESULT extractDeflated(Archive& archive, const CentralEntry& entry, StoredData& data, const WCHAR* path) {
  constexpr const WCHAR* kStep = TEXT("ExtractInternalZipCompression");
  Target target(archive, entry, path);
  if (!target.good()) return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, path);
  reportStatus(archive, QVARCHIVE_STATUS_EXTRACTING, entry.name);
  uint32_t crc = 0;
  HRESULT status = kOk;
  if (entry.header.storedSize > 0) status = inflateInto(archive, entry, data, target, &crc);
  if (status == kWriteFailed) return failed(archive, QVARCHIVE_ERROR_WRITE, kStep, status, path);
  if (status == kReadFailed) return failed(archive, QVARCHIVE_ERROR_READ, kStep, status, path);
  if (FAILED(status)) return status;
  advance(archive, target.left());
  reportStatus(archive, QVARCHIVE_STATUS_FILEDONE);
  return target.finish(crc, kStep);
}

HRESULT extractFile(Archive& archive, const CentralEntry& entry, const Text& path, const FoundPath& found) {
  if (found.attributes != INVALID_FILE_ATTRIBUTES) {
    if ((archive.extractFlags & QVEXTRACT_OVERWRITE) == 0 && archive.progress != nullptr) {
      const HRESULT answer =
          askOverwrite(archive, entry.name, (found.attributes & FILE_ATTRIBUTE_READONLY) != 0);
      if (answer != kOk) return answer;
    }
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_ARCHIVE);  // writable, and as a new one
  }
  WCHAR folder[kNameCapacity];
  const int32_t length = QvGetPathNameFromFilePath(path.c_str(), folder, kNameCapacity);
  if (length >= kNameCapacity || (!found.hasFolder && !QvCreateDirectory(folder, nullptr)))
    return kCannotCreateFile;
  StoredData data(archive);
  const HRESULT status = data.seek(dataOffset(entry.header));
  if (FAILED(status)) return status;
  switch (entry.header.head.method) {
    case kStored:
      return extractStored(archive, entry, data, path.c_str());
    case kDeflated:
      return extractDeflated(archive, entry, data, path.c_str());
    default:
      return kUnsupported;
  }
}

}  // namespace

StoredData::~StoredData() {
  closeFile(volume_);
}

bool StoredData::openVolume(uint32_t number) {
  closeFile(volume_);
  WCHAR path[kNameCapacity] = {};
  if (number <= archive_.volumes && volumeName(archive_, number, path)) {
    volume_ = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                          nullptr);
  }
  const int64_t size = volume_ != INVALID_HANDLE_VALUE ? sizeOf(volume_) : -1;
  if (size < 0) {
    reportError(archive_, QVARCHIVE_ERROR_VOLUME, TEXT("ExtractCentralDirectoryFile"), path);
    return false;
  }
  number_ = number;
  rest_ = static_cast<uint64_t>(size);
  return true;
}

HRESULT StoredData::seek(uint64_t offset) {
  const uint64_t first = archive_.end.centralOffset;
  if (offset < first || archive_.volumes < 2) {
    if (offset > first) return kReadFailed;
    rest_ = first - offset;
    return seekTo(archive_.read, archive_.prefix + offset) ? kOk : kReadFailed;
  }
  offset -= first;
  for (uint32_t number = 2; openVolume(number); ++number) {
    if (offset >= rest_ && (offset > 0 || rest_ == 0) && number < archive_.volumes) {
      offset -= rest_;
      continue;
    }
    if (offset > rest_) return kReadFailed;
    rest_ -= offset;
    return seekTo(volume_, offset) ? kOk : kReadFailed;
  }
  return kMissingTarget;
}

bool StoredData::readWhole(void* buffer, uint32_t bytes) {
  for (auto* to = static_cast<uint8_t*>(buffer); bytes > 0;) {
    uint32_t done = 0;
    if (!read(to, bytes, &done)) return false;
    to += done;
    bytes -= done;
  }
  return true;
}

HRESULT StoredData::checkHeader(const CentralEntry& entry) {
  const CentralHeader& central = entry.header;
  // The header and its name in one block: both lie as in the file.
  struct {
    LocalHeader header;
    WCHAR name[kNameCapacity];
  } found;
  static_assert(offsetof(decltype(found), name) == sizeof(LocalHeader));
  const LocalHeader& local = found.header;
  const auto nameBytes =
      static_cast<uint32_t>(std::min<size_t>(central.nameLength, kNameCapacity) * sizeof(WCHAR));
  const HRESULT status = seek(central.offset);
  if (FAILED(status)) return status;
  if (!readWhole(&found, sizeof local + nameBytes)) return kReadFailed;
  const bool same = local.signature == kLocalSignature &&
                    memcmp(&local.head, &central.head, sizeof local.head) == 0 &&
                    local.storedSize == central.storedSize && local.originalSize == central.originalSize &&
                    local.attributes == central.attributes && local.nameLength == central.nameLength &&
                    local.secondLength == central.secondLength && local.nameLength < kNameCapacity;
  return same && memcmp(found.name, entry.name, nameBytes) == 0 ? kOk : kBadFormat;
}

bool StoredData::read(void* buffer, uint32_t bytes, uint32_t* done) {
  *done = 0;
  while (rest_ == 0) {
    if (number_ >= archive_.volumes || !openVolume(number_ + 1)) return false;
  }
  const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(bytes, rest_));
  if (!readSome(number_ == 1 ? archive_.read : volume_, buffer, wanted, done) || *done == 0) return false;
  rest_ -= *done;
  return true;
}

HRESULT extractEntry(Archive& archive, const CentralEntry& entry, const WCHAR* folder) {
  const bool nameOnly = (archive.extractFlags & QVEXTRACT_NAMEONLY) != 0;
  const bool isFolder = (entry.header.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (isFolder && nameOnly) return kOk;
  // The length in the file: a zero among the characters would hide what stands behind it.
  const View whole(entry.name);
  if (whole.size() != entry.header.nameLength || !isContainedName(entry.name, whole.size()))
    return kMissingTarget;
  const WCHAR* name = nameOnly ? QvGetFileNamePtrW(entry.name) : entry.name;
  FoundPath found;
  if (leadsThroughLink(folder, name, &found)) return kMissingTarget;
  Text path = folder;
  if (path.empty() || path.back() != '\\') path += '\\';
  path += name;
  // The data may be whole where the header before it isn't: it is extracted, and the damage reported.
  const HRESULT header = StoredData(archive).checkHeader(entry);
  HRESULT status = kOk;
  if (!isFolder) status = extractFile(archive, entry, path, found);
  if (isFolder && header == kOk && !QvCreateDirectory(path.c_str(), nullptr)) status = kCannotCreateFile;
  if (status != kOk || header == kOk) return status;
  return failed(archive, QVARCHIVE_ERROR_CRC, TEXT("ExtractEntry"), kBadFormat, entry.name);
}

}  // namespace qv::files
