// Adding files, folders and patterns; the directory and the end record; Close.
#include <string.h>

#include <algorithm>
#include <string>

#include "qv/files/detail/archive_writing.h"
#include "qv/files/detail/name_set.h"
#include "qv/files/detail/text.h"
#include "qv/files/detail/zlib_streams.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/platform/find.h"
#include "qv/platform/times.h"

namespace qv::files {
namespace {

using Text = std::basic_string<WCHAR>;

constexpr uint32_t kDeflateBytes = 264777;
static_assert(kDeflateBytes <= kOutputBytes);

WrittenEntry* writtenEntry(const Archive& archive, int32_t index) {
  return static_cast<WrittenEntry* const*>(archive.entries->data)[index];
}
int32_t writtenCount(const Archive& archive) {
  return archive.entries != nullptr ? archive.entries->itemCount : 0;
}

bool writeOut(Archive& archive, const void* bytes, uint32_t count) {
  if (!writeAll(archive.write, bytes, count)) return false;
  archive.output += count;
  return true;
}

bool keepEntry(Archive& archive, const WrittenEntry& entry) {
  if (FAILED(QvList_AllocAndInsertItem(archive.entries, &entry, sizeof entry, -1, nullptr))) return false;
  ++archive.count;
  return true;
}

// ---- Names

// The name of an entry for a path, as *AddFile* and *AddDirectory* take it; empty for a path that is no
// longer than the root.
Text entryName(const Adding& adding, const WCHAR* path) {
  const View whole = path;
  if (adding.destination != nullptr) {
    Text name = adding.destination;
    if (!name.empty() && name.back() != '\\') name += '\\';
    return name + QvGetFileNamePtrW(path);
  }
  return whole.size() > adding.root.size() ? Text(whole.substr(adding.root.size())) : Text();
}

bool isInOldArchive(Archive& archive, const Text& name) {
  if (archive.oldNames == nullptr) {
    archive.oldNames = std::make_unique<NameSet>();
    forEachEntry(archive, [&](const CentralEntry& entry, int32_t) {
      archive.oldNames->add(entry.name);
      return kOk;
    });
  }
  return archive.oldNames->has(name);
}

// 0 to go on, 1 to leave the entry that is there, or another answer.
HRESULT mayAdd(Archive& archive, const Text& name) {
  const bool asks = archive.mode == QVARCHIVE_APPEND && archive.progress != nullptr &&
                    (archive.addFlags & QVADD_REPLACE) == 0;
  if (!asks || !isInOldArchive(archive, name)) return kOk;
  return askOverwrite(archive, name.c_str(), false);
}

// ---- One file

// A source file that closes itself.
struct Source {
  HANDLE file;
  explicit Source(const WCHAR* path)
      : file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_SEQUENTIAL_SCAN, nullptr)) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() { closeFile(file); }
};

bool readBlock(HANDLE file, void* block, uint64_t left, uint32_t* bytes) {
  *bytes = static_cast<uint32_t>(std::min<uint64_t>(left, kBlockBytes));
  uint32_t done = 0;
  return readSome(file, block, *bytes, &done) && done == *bytes;
}

HRESULT addStored(Archive& archive, HANDLE source, WrittenEntry& entry) {
  constexpr const WCHAR* kStep = TEXT("NoCompressFile");
  reportStatus(archive, QVARCHIVE_STATUS_ADDING, entry.name);
  WorkBlocks* const blocks = workBlocks(archive);
  if (blocks == nullptr) return failed(archive, QVARCHIVE_ERROR_MEMORY, kStep, kOutOfMemory);
  const Block& block = blocks->input;
  EntryHead& head = entry.header.head;
  for (uint64_t left = entry.header.originalSize; left > 0;) {
    uint32_t bytes = 0;
    if (!readBlock(source, block.bytes, left, &bytes))
      return failed(archive, QVARCHIVE_ERROR_READ, kStep, kReadFailed);
    head.originalCrc = static_cast<uint32_t>(crc32(head.originalCrc, block.bytes, bytes));
    if (!writeOut(archive, block.bytes, bytes))
      return failed(archive, QVARCHIVE_ERROR_WRITE, kStep, kWriteFailed);
    head.storedCrc = static_cast<uint32_t>(crc32(head.storedCrc, block.bytes, bytes));
    left -= bytes;
    const HRESULT status = advance(archive, bytes);
    if (FAILED(status)) return status;
  }
  entry.header.storedSize = entry.header.originalSize;
  reportStatus(archive, QVARCHIVE_STATUS_FILEDONE);
  return kOk;
}

// Runs deflate over what the stream has, writing what comes out. The last result of zlib is in *result.
bool pump(Archive& archive, z_stream& z, int flush, const Block& output, WrittenEntry& entry, int* result) {
  do {
    z.next_out = output.bytes;
    z.avail_out = kDeflateBytes;
    *result = ::deflate(&z, flush);
    const uint32_t made = kDeflateBytes - z.avail_out;
    if (!writeOut(archive, output.bytes, made)) return false;
    entry.header.head.storedCrc =
        static_cast<uint32_t>(crc32(entry.header.head.storedCrc, output.bytes, made));
    entry.header.storedSize += made;
  } while (*result == Z_OK && (z.avail_in > 0 || z.avail_out == 0 || flush == Z_FINISH));
  return true;
}

HRESULT addDeflated(Archive& archive, HANDLE source, WrittenEntry& entry) {
  constexpr const WCHAR* kStep = TEXT("CompressZipFile");
  reportStatus(archive, QVARCHIVE_STATUS_ADDING, entry.name);
  if (entry.header.originalSize == 0) return kOk;
  WorkBlocks* const blocks = workBlocks(archive);
  Deflate* const deflater = fresh(archive.deflater, archive.level);
  if (blocks == nullptr || deflater == nullptr) {
    return failed(archive, QVARCHIVE_ERROR_MEMORY, kStep, kOutOfMemory);
  }
  const Block& input = blocks->input;
  z_stream& z = deflater->stream;
  int result = Z_OK;
  for (uint64_t left = entry.header.originalSize; left > 0;) {
    uint32_t bytes = 0;
    if (!readBlock(source, input.bytes, left, &bytes))
      return failed(archive, QVARCHIVE_ERROR_READ, kStep, kReadFailed);
    left -= bytes;
    const HRESULT status = advance(archive, bytes);
    if (FAILED(status)) return status;
    entry.header.head.originalCrc =
        static_cast<uint32_t>(crc32(entry.header.head.originalCrc, input.bytes, bytes));
    z.next_in = input.bytes;
    z.avail_in = bytes;
    const int flush = left > 0 ? Z_NO_FLUSH : Z_FINISH;
    if (!pump(archive, z, flush, blocks->output, entry, &result) ||
        (result != Z_OK && result != Z_STREAM_END)) {
      return failed(archive, QVARCHIVE_ERROR_WRITE, kStep, kWriteFailed);
    }
  }
  if (result != Z_STREAM_END) return failed(archive, QVARCHIVE_ERROR_READ, kStep, kWriteFailed);
  reportStatus(archive, QVARCHIVE_STATUS_FILEDONE);
  return kOk;
}

// Writes a header and the texts behind it at the output position, in one call to the system.
template <typename Header>
bool writeRecord(Archive& archive, const Header& header, View name, View second) {
  struct {
    Header header;
    WCHAR texts[2 * kNameCapacity];
  } record = {header, {}};
  static_assert(offsetof(decltype(record), texts) == sizeof header);
  std::copy(second.begin(), second.end(), std::copy(name.begin(), name.end(), record.texts));
  const size_t bytes = sizeof header + (name.size() + second.size()) * sizeof(WCHAR);
  return writeOut(archive, &record, static_cast<uint32_t>(bytes));
}

bool writeHeader(Archive& archive, WrittenEntry& entry) {
  entry.offset = archive.output;
  return writeRecord(archive, entry.header, View(entry.name, entry.header.nameLength), View());
}

// Puts checksums and stored size into the header that stands before the data.
bool patchHeader(Archive& archive, const WrittenEntry& entry) {
  uint8_t patch[16];
  memcpy(patch, &entry.header.head.storedCrc, 8);
  memcpy(patch + 8, &entry.header.storedSize, 8);
  return seekTo(archive.write, archive.prefix + entry.offset + 28) &&
         writeAll(archive.write, patch, sizeof patch) &&
         seekTo(archive.write, archive.prefix + archive.output);
}

bool startEntry(const Archive& archive, const Text& name, WrittenEntry* entry) {
  *entry = {};
  entry->header.signature = kLocalSignature;
  entry->header.head.method = archive.method;
  entry->header.head.level = archive.level;
  entry->header.nameLength = static_cast<uint32_t>(name.size());
  return write(name, entry->name, kNameCapacity);
}

// An entry that failed is taken back, so that what follows stands where the directory says.
HRESULT takeBack(Archive& archive, uint64_t start, HRESULT status) {
  archive.output = start;
  if (seekTo(archive.write, archive.prefix + start)) SetEndOfFile(archive.write);
  return status;
}

uint32_t attributesToStore(const Archive& archive, const WCHAR* path) {
  const uint32_t attributes = GetFileAttributesW(path);
  return (archive.addFlags & QVADD_CLEARREADONLY) != 0 ? attributes & ~uint32_t{FILE_ATTRIBUTE_READONLY}
                                                       : attributes;
}

// What files and folders begin with: kOk with a header to complete, kNothing for one that is to be left.
HRESULT prepareEntry(Archive& archive, const Text& name, const WCHAR* path, const WCHAR* step,
                     WrittenEntry* entry) {
  const HRESULT may = mayAdd(archive, name);
  if (may != kOk) return may;
  if (!startEntry(archive, name, entry))
    return failed(archive, QVARCHIVE_ERROR_LENGTH, step, kTooShort, path);
  entry->header.attributes = attributesToStore(archive, path);
  return kOk;
}

// The archive that is being written may lie in the folder that is being added.
bool isOwnFile(const Archive& archive, const WCHAR* path) {
  WCHAR full[kNameCapacity];
  const DWORD length = GetFullPathNameW(path, kNameCapacity, full, nullptr);
  if (length == 0 || length >= kNameCapacity) return false;
  return sameInAnyCase(full, archive.temporary) ||
         (archive.mode == QVARCHIVE_CREATE && sameInAnyCase(full, archive.path));
}

HRESULT addFile(Archive& archive, const Adding& adding, const WCHAR* path) {
  constexpr const WCHAR* kStep = TEXT("AddFile");
  const Text name = entryName(adding, path);
  if (name.empty() || isOwnFile(archive, path)) return kOk;
  WrittenEntry entry;
  const HRESULT prepared = prepareEntry(archive, name, path, kStep, &entry);
  if (prepared != kOk) return prepared == kNothing ? kOk : prepared;
  const Source source(path);
  if (source.file == INVALID_HANDLE_VALUE)
    return failed(archive, QVARCHIVE_ERROR_OPEN, kStep, kCannotCreateFile, path);
  const int64_t size = sizeOf(source.file);
  if (size < 0 || !GetFileTime(source.file, nullptr, nullptr, &entry.header.head.time)) {
    return failed(archive, QVARCHIVE_ERROR_TIME, kStep, kBadFormat, path);
  }
  if (archive.method > kDeflated) return kUnsupported;
  entry.header.originalSize = static_cast<uint64_t>(size);
  const uint64_t start = archive.output;
  if (!writeHeader(archive, entry)) {
    return takeBack(archive, start, failed(archive, QVARCHIVE_ERROR_WRITE, kStep, kWriteFailed, path));
  }
  const HRESULT status = archive.method == kStored ? addStored(archive, source.file, entry)
                                                   : addDeflated(archive, source.file, entry);
  if (FAILED(status)) return takeBack(archive, start, status);
  if (!patchHeader(archive, entry) || !keepEntry(archive, entry))
    return takeBack(archive, start, kWriteFailed);
  return kOk;
}

// ---- Folders and patterns

HRESULT addFolderEntry(Archive& archive, const Adding& adding, const WCHAR* path) {
  constexpr const WCHAR* kStep = TEXT("AddDirectory");
  Text name = entryName(adding, path);
  if (name.empty()) return failed(archive, QVARCHIVE_ERROR_ARGUMENT, kStep, kNothing);
  if (name.back() != '\\') name += '\\';
  WrittenEntry entry;
  const HRESULT prepared = prepareEntry(archive, name, path, kStep, &entry);
  if (prepared != kOk) return prepared == kNothing ? kOk : prepared;
  GetSystemTimeAsFileTime(&entry.header.head.time);
  const uint64_t start = archive.output;
  if (!writeHeader(archive, entry) || !keepEntry(archive, entry)) {
    return takeBack(archive, start, failed(archive, QVARCHIVE_ERROR_WRITE, kStep, kWriteFailed, path));
  }
  return kOk;
}

bool isDots(const WCHAR* name) {
  return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}
bool isFolder(const WIN32_FIND_DATAW& found) {
  return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
// A link to a folder may lead anywhere, also back here.
bool isLinkToFolder(const WIN32_FIND_DATAW& found) {
  return isFolder(found) && (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Calls visit(path, found) for the names in a folder that a search finds, until a negative result.
template <typename Visit>
HRESULT forEachIn(const Text& folder, const WCHAR* search, const Visit& visit) {
  WIN32_FIND_DATAW found;
  const Text base = folder.empty() || folder.back() == '\\' ? folder : folder + TEXT("\\");
  const HANDLE listing = FindFirstFileW((base + search).c_str(), &found);
  if (listing == INVALID_HANDLE_VALUE) return kOk;
  HRESULT status = kOk;
  do {
    if (!isDots(found.cFileName) && !isLinkToFolder(found)) status = visit(base + found.cFileName, found);
  } while (SUCCEEDED(status) && FindNextFileW(listing, &found));
  FindClose(listing);
  return FAILED(status) ? status : kOk;
}

HRESULT addTree(Archive& archive, const Adding& adding, const Text& folder) {
  const HRESULT status = addFolderEntry(archive, adding, folder.c_str());
  if (status != kOk) return status;
  return forEachIn(folder, TEXT("*.*"), [&](const Text& path, const WIN32_FIND_DATAW& found) {
    return isFolder(found) ? addTree(archive, adding, path) : addFile(archive, adding, path.c_str());
  });
}

HRESULT addWildcard(Archive& archive, const Adding& adding, const WCHAR* path) {
  Pattern pattern;
  const HRESULT status = checkForWildcards(archive, QvGetFileNamePtrW(path), &pattern);
  if (FAILED(status)) return status;
  if (pattern.kind == Pattern::Exact) {
    return failed(archive, QVARCHIVE_ERROR_NOMATCH, TEXT("AddWildcard"), kNothing, path);
  }
  return forEachIn(adding.root, TEXT("*.*"), [&](const Text& found, const WIN32_FIND_DATAW& entry) {
    if (!matches(pattern, entry.cFileName)) return kOk;
    if (!isFolder(entry)) return addFile(archive, adding, found.c_str());
    return (archive.addFlags & QVADD_RECURSE) != 0 ? addTree(archive, adding, found) : kOk;
  });
}

// ---- What an addition would take

struct Sum {
  uint64_t bytes = 0;
  uint32_t count = 0;
};

uint64_t bytesOf(const WIN32_FIND_DATAW& found) {
  return uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
}

void sumFolder(const Text& folder, const WCHAR* search, bool recurse, Sum* sum) {
  forEachIn(folder, search, [&](const Text& path, const WIN32_FIND_DATAW& found) {
    ++sum->count;
    if (!isFolder(found)) {
      sum->bytes += bytesOf(found);
    } else if (recurse) {
      sumFolder(path, TEXT("*.*"), true, sum);
    }
    return kOk;
  });
}

HRESULT sumOf(Archive& archive, const WCHAR* path, uint32_t flags, const WCHAR* step, Sum* sum) {
  const DWORD attributes = GetFileAttributesW(path);
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    sum->count = 1;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      sumFolder(path, TEXT("*.*"), true, sum);
    } else {
      QvGetFileSizeByName(path, &sum->bytes);
    }
    return kOk;
  }
  Pattern pattern;
  const HRESULT status = checkForWildcards(archive, QvGetFileNamePtrW(path), &pattern);
  if (FAILED(status)) return status;
  if (pattern.kind == Pattern::Exact) return failed(archive, QVARCHIVE_ERROR_NOMATCH, step, kNothing, path);
  WCHAR root[kNameCapacity];
  if (QvGetPathNameFromFilePath(path, root, kNameCapacity) >= kNameCapacity) return kTooShort;
  sumFolder(root, pattern.text, (flags & QVADD_RECURSE) != 0, sum);
  return kOk;
}

// Room for what is to be added and, when the archive is made anew, for the archive.
bool hasRoom(const Archive& archive, uint64_t bytes, int64_t archiveBytes) {
  if (archive.mode == QVARCHIVE_APPEND) bytes += static_cast<uint64_t>(std::max<int64_t>(archiveBytes, 0));
  return bytes / 1024 <= freeKilobytes(archive, archive.path);
}

bool isWriting(const Archive* archive) {
  return archive != nullptr && (archive->mode == QVARCHIVE_CREATE || archive->mode == QVARCHIVE_APPEND);
}

// ---- Old entries of an append

HRESULT copyOldEntry(Archive& archive, const CentralEntry& old) {
  WrittenEntry entry = {};
  entry.header.signature = kLocalSignature;
  entry.header.head = old.header.head;
  entry.header.head.reserved[0] = 0;
  entry.header.storedSize = old.header.storedSize;
  entry.header.originalSize = old.header.originalSize;
  entry.header.attributes = old.header.attributes;
  lstrcpynW(entry.name, old.name, kNameCapacity);
  entry.header.nameLength = static_cast<uint32_t>(lstrlenW(entry.name));
  const uint64_t from = dataOffset(old.header), start = archive.output;
  if (from > archive.end.centralOffset || old.header.storedSize > archive.end.centralOffset - from)
    return kBadFormat;
  if (!writeHeader(archive, entry)) return takeBack(archive, start, kWriteFailed);
  const HRESULT status = copyBlocks(archive, archive.read, archive.prefix + from, archive.write,
                                    archive.prefix + archive.output, old.header.storedSize);
  if (FAILED(status)) return status;
  archive.output += old.header.storedSize;
  return keepEntry(archive, entry) ? kOk : kOutOfMemory;
}

HRESULT copyOldEntries(Archive& archive) {
  NameSet replaced;
  for (int32_t i = 0; i < writtenCount(archive); ++i) replaced.add(writtenEntry(archive, i)->name);
  uint64_t total = 0;
  const auto eachOld = [&](const auto& visit) {
    return forEveryEntry(archive, [&](const CentralEntry& entry, int32_t) {
      return replaced.has(entry.name) ? kOk : visit(entry);
    });
  };
  const HRESULT whole = eachOld([&](const CentralEntry& entry) {
    total += entry.header.storedSize;
    return kOk;
  });
  if (FAILED(whole)) return whole;
  beginTotal(archive, TEXT("Entries"), total);
  reportStatus(archive, QVARCHIVE_STATUS_COPYING);
  const HRESULT status = eachOld([&](const CentralEntry& entry) { return copyOldEntry(archive, entry); });
  reportStatus(archive, QVARCHIVE_STATUS_DONE);
  return status;
}

// ---- The directory

bool writeCentralEntry(Archive& archive, const WrittenEntry& entry) {
  CentralHeader header = {};
  header.signature = kCentralSignature;
  header.head = entry.header.head;
  header.storedSize = entry.header.storedSize;
  header.originalSize = entry.header.originalSize;
  header.nameLength = entry.header.nameLength;
  header.secondLength = entry.header.secondLength;
  header.attributes = entry.header.attributes;
  header.offset = entry.offset;
  return writeRecord(archive, header, View(entry.name, header.nameLength),
                     View(entry.second, header.secondLength));
}

}  // namespace

HRESULT writeDirectory(Archive& archive) {
  if (archive.entries == nullptr) {
    return failed(archive, QVARCHIVE_ERROR_MEMORY, TEXT("AddCentralDirectory"), kOutOfMemory);
  }
  HRESULT status = kOk;
  const bool hasOld = archive.mode == QVARCHIVE_APPEND && archive.end.entries > 0;
  if (hasOld && writtenCount(archive) > 0) status = copyOldEntries(archive);
  const uint64_t offset = archive.output;
  if (writtenCount(archive) > 0) archive.changed = true;
  for (int32_t i = 0; i < writtenCount(archive); ++i) {
    if (!writeCentralEntry(archive, *writtenEntry(archive, i))) return kWriteFailed;
  }
  if (FAILED(status) || !archive.changed) return status;
  return writeEndRecord(archive, offset);
}

HRESULT writeEndRecord(Archive& archive, uint64_t centralOffset) {
  const auto lengthOf = [](const WCHAR* text) { return static_cast<uint32_t>(lstrlenW(text)); };
  EndRecord end = {};
  end.signature = kEndSignature;
  end.volumes = archive.volumes;
  end.entries = end.entriesAgain = archive.count;
  end.centralSize = archive.output - centralOffset;
  end.centralOffset = centralOffset;
  end.prefixSize = archive.prefix;
  end.commentLength = lengthOf(archive.comment);
  end.baseNameLength = lengthOf(archive.baseName);
  // One write, so that an interruption finds the old record or the new one.
  uint8_t whole[sizeof end + sizeof archive.comment + sizeof archive.baseName];
  const size_t comment = end.commentLength * sizeof(WCHAR), base = end.baseNameLength * sizeof(WCHAR);
  memcpy(whole, &end, sizeof end);
  memcpy(whole + sizeof end, archive.comment, comment);
  memcpy(whole + sizeof end + comment, archive.baseName, base);
  const bool good = writeAll(archive.write, whole, static_cast<uint32_t>(sizeof end + comment + base));
  return good ? kOk : failed(archive, QVARCHIVE_ERROR_WRITE, TEXT("AddEndOfCentralDir"), kWriteFailed);
}

}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT CArchive2::AddEntryToArchive(const WCHAR* path, uint32_t method, int32_t level, uint32_t flags,
                                     const WCHAR* destination) {
  constexpr const WCHAR* kStep = TEXT("AddEntryToArchive");
  if (archive_ == nullptr || path == nullptr) return kGeneralFailure;
  if (!isWriting(archive_)) return failed(*archive_, QVARCHIVE_ERROR_MODE, kStep, kGeneralFailure);
  uint64_t bytes = 0;
  const HRESULT sized = GetSizeAddEntry(path, bytes, flags);
  if (FAILED(sized) || !hasRoom(*archive_, bytes, GetArchiveSize())) {
    return failed(*archive_, QVARCHIVE_ERROR_SPACE, kStep, kNoSpace);
  }
  if (archive_->progress != nullptr) archive_->progress->setText(path);
  if ((flags & QVADD_NOTOTAL) == 0) beginTotal(*archive_, path, bytes);
  archive_->addFlags = flags;
  archive_->method = method;
  archive_->level = level;
  WCHAR root[kNameCapacity] = {};
  if (QvGetPathNameFromFilePath(path, root, kNameCapacity) >= kNameCapacity) return kTooShort;
  const Adding adding = {root, destination};
  const DWORD attributes = GetFileAttributesW(path);
  const bool there = attributes != INVALID_FILE_ATTRIBUTES;
  HRESULT status = kOk;
  if (there && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && destination == nullptr) {
    status = addTree(*archive_, adding, path);
  } else if (there && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    status = addFile(*archive_, adding, path);
  } else if (!there && destination == nullptr) {
    status = addWildcard(*archive_, adding, path);
  }
  reportStatus(*archive_, QVARCHIVE_STATUS_DONE);
  return status;
}

HRESULT CArchive2::GetSizeAddEntry(const WCHAR* path, uint64_t& bytes, uint32_t flags) {
  if (archive_ == nullptr || path == nullptr) return kGeneralFailure;
  Sum sum;
  const HRESULT status = sumOf(*archive_, path, flags, TEXT("GetSizeAddEntry"), &sum);
  bytes = sum.bytes;
  return status;
}

HRESULT CArchive2::GetCountAddEntry(const WCHAR* path, uint32_t& count, uint32_t flags) {
  if (archive_ == nullptr || path == nullptr) return kGeneralFailure;
  Sum sum;
  const HRESULT status = sumOf(*archive_, path, flags, TEXT("GetCountAddEntry"), &sum);
  count = sum.count;
  return status;
}

HRESULT CArchive2::IsSpaceForAddEntry(const WCHAR* path, uint32_t flags) {
  if (!isWriting(archive_)) return kGeneralFailure;
  uint64_t bytes = 0;
  const HRESULT status = GetSizeAddEntry(path, bytes, flags);
  if (FAILED(status)) return status;
  return hasRoom(*archive_, bytes, GetArchiveSize()) ? kOk : kNothing;
}

void CArchive2::AddVolumeComment(const WCHAR* text) {
  if (archive_ == nullptr || text == nullptr || archive_->mode == QVARCHIVE_READ) return;
  lstrcpynW(archive_->comment, text, kCommentCapacity);
}
