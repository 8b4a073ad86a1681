// Sets of volumes, split and merged, and archives behind a stub.
#include <algorithm>
#include <string>

#include "qv/core/printf.h"
#include "qv/files/detail/archive_volumes.h"
#include "qv/files/detail/archive_writing.h"
#include "qv/files/detail/contained.h"
#include "qv/files/detail/text.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/platform/programs.h"
#include "qv/platform/times.h"

namespace qv::files {

bool volumeName(const WCHAR* folder, const WCHAR* name, uint32_t number, WCHAR (&path)[kNameCapacity]) {
  WCHAR parent[2 * kNameCapacity], stem[kNameCapacity];
  if (QvGetPathNameFromFilePath(folder, parent, 2 * kNameCapacity) >= kNameCapacity) return false;
  const WCHAR* file = QvGetFileNamePtrW(name);
  const View whole = file;
  if (!isContainedName(file, whole.size())) return false;
  const size_t dot = std::min(whole.rfind('.'), whole.size());
  if (!write(whole.substr(0, dot), stem, kNameCapacity)) return false;
  WCHAR made[4 * kNameCapacity];
  QvCchPrintF(made, 4 * kNameCapacity, nullptr, TEXT("%s%s%d%s"), parent, stem, number, file + dot);
  return write(made, path, kNameCapacity);
}

bool volumeName(const Archive& archive, uint32_t number, WCHAR (&path)[kNameCapacity]) {
  return volumeName(archive.path, archive.baseName, number, path);
}

HRESULT validateVolumes(Archive& archive) {
  if (archive.volumes < 2) return kNothing;
  for (uint32_t number = 2; number <= archive.volumes; ++number) {
    WCHAR path[kNameCapacity] = {};
    if (!volumeName(archive, number, path) || !QvDoesFileExist(path, 0)) {
      return failed(archive, QVARCHIVE_ERROR_VOLUME, TEXT("ValidateMultiVolume"), kMissingTarget, path);
    }
  }
  return kOk;
}

namespace {

using Text = std::basic_string<WCHAR>;

// The end record and its texts, with the base name that a set gets.
uint64_t trailerBytes(const Archive& archive, const WCHAR* baseName) {
  const EndRecord& end = archive.end;
  const auto length = static_cast<uint64_t>(lstrlenW(baseName));
  return 2 * (uint64_t{end.commentLength} + length + end.thirdLength + sizeof(EndRecord) / 2);
}

void announce(Archive& archive, const WCHAR* text, uint64_t total, uint32_t flags) {
  if (archive.progress == nullptr) return;
  archive.progress->setText(text);
  if ((flags & 1) == 0) archive.progress->begin(text, total);
  archive.progress->status(QVARCHIVE_STATUS_COPYING);
}

// Copies with the statuses around it.
HRESULT copySlice(Archive& archive, const WCHAR* text, HANDLE from, uint64_t fromOffset, HANDLE to,
                  uint64_t toOffset, uint64_t bytes, uint32_t flags) {
  announce(archive, text, bytes, flags);
  const HRESULT status = copyBlocks(archive, from, fromOffset, to, toOffset, bytes);
  reportStatus(archive, QVARCHIVE_STATUS_DONE);
  return status;
}

// The old directory behind the data of the temporary file.
HRESULT appendDirectory(Archive& archive, uint64_t dataBytes) {
  const EndRecord& end = archive.end;
  const HRESULT status = copyBlocks(archive, archive.read, archive.prefix + end.centralOffset, archive.write,
                                    archive.prefix + dataBytes, end.centralSize);
  archive.output = dataBytes + end.centralSize;
  if (FAILED(status)) return status;
  return seekTo(archive.write, archive.prefix + archive.output) ? kOk : kWriteFailed;
}

// A file that closes itself.
struct File {
  HANDLE handle;
  File(const WCHAR* path, DWORD access, DWORD share, DWORD disposition)
      : handle(CreateFileW(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { closeFile(handle); }
  bool good() const { return handle != INVALID_HANDLE_VALUE; }
};

// Writes the volumes from the second on: what lies behind the first slice. *last: the last one's number.
HRESULT writeVolumes(Archive& archive, const WCHAR* name, uint64_t done, uint64_t volumeBytes, uint32_t flags,
                     uint32_t* last) {
  const uint64_t data = archive.end.centralOffset;
  *last = 1;
  while (done < data) {
    WCHAR path[kNameCapacity];
    if (!volumeName(archive.path, name, *last + 1, path)) return kTooShort;
    const File volume(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (!volume.good())
      return failed(archive, QVARCHIVE_ERROR_CREATE, TEXT("SplitArchive"), kCannotCreateFile, path);
    const uint64_t bytes = std::min(volumeBytes, data - done);
    HRESULT status =
        copySlice(archive, path, archive.read, archive.prefix + done, volume.handle, 0, bytes, flags);
    if (SUCCEEDED(status) && !FlushFileBuffers(volume.handle)) status = kWriteFailed;
    if (FAILED(status)) return status;
    done += bytes;
    ++*last;
  }
  return kOk;
}

// The volumes' data behind the first slice, in their order. *bytes: all of it.
HRESULT joinVolumes(Archive& archive, uint32_t flags, uint64_t* bytes) {
  for (uint32_t number = 2; number <= archive.volumes; ++number) {
    WCHAR path[kNameCapacity] = {};
    if (!volumeName(archive, number, path)) return kTooShort;
    const File volume(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    const int64_t size = volume.good() ? sizeOf(volume.handle) : -1;
    if (size < 0) return failed(archive, QVARCHIVE_ERROR_OPEN, TEXT("MergeArchive"), kCannotCreateFile, path);
    const auto length = static_cast<uint64_t>(size);
    const HRESULT status =
        copySlice(archive, path, volume.handle, 0, archive.write, archive.prefix + *bytes, length, flags);
    if (FAILED(status)) return status;
    *bytes += length;
  }
  return kOk;
}

bool isFolderThere(const WCHAR* folder) {
  const DWORD attributes = GetFileAttributesW(folder);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// One volume of a set, with its times and attributes.
HRESULT copyVolume(Archive& archive, const WCHAR* from, const WCHAR* to) {
  constexpr const WCHAR* kStep = TEXT("FileCopy");
  const File source(from, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  if (!source.good()) return failed(archive, QVARCHIVE_ERROR_OPEN, kStep, kCannotCreateFile, from);
  const int64_t size = sizeOf(source.handle);
  if (size <= 0) return failed(archive, QVARCHIVE_ERROR_COPY, kStep, kBadFormat, from);
  {
    const File target(to, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (!target.good()) return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, to);
    const HRESULT status =
        copyBlocks(archive, source.handle, 0, target.handle, 0, static_cast<uint64_t>(size));
    if (FAILED(status)) return status;
    FILETIME created, used, written;
    if (GetFileTime(source.handle, &created, &used, &written))
      SetFileTime(target.handle, &created, &used, &written);
  }
  const DWORD attributes = GetFileAttributesW(from);
  if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(to, attributes);
  return kOk;
}

// 0 to go on with `path`, 1 to leave what is there, or another answer.
HRESULT mayOverwrite(Archive& archive, const WCHAR* path, uint32_t flags) {
  if ((flags & QVEXTRACT_OVERWRITE) != 0 || archive.progress == nullptr || !QvDoesFileExist(path, 0))
    return kOk;
  return askOverwrite(archive, path, false);
}

}  // namespace

void deleteJoinedVolumes(const Archive& archive) {
  for (uint32_t number = 2; number <= archive.joinedVolumes; ++number) {
    WCHAR path[kNameCapacity];
    if (volumeName(archive.path, archive.joinedName, number, path)) DeleteFileW(path);
  }
}

HRESULT openSelfExtracting(Archive& archive) {
  const HRESULT status = openExisting(archive, GENERIC_READ, TEXT("Open SEA"));
  archive.count = archive.end.entries;
  return status;
}

HRESULT openMultiVolume(Archive& archive) {
  constexpr const WCHAR* kStep = TEXT("OpenMultiVol");
  const HRESULT status = openExisting(archive, GENERIC_READ | GENERIC_WRITE, kStep);
  archive.count = archive.end.entries;
  return FAILED(status) ? status : createTemporary(archive, GENERIC_READ | GENERIC_WRITE, kStep);
}

HRESULT copyFurtherVolumes(Archive& archive) {
  if (archive.temporary[0] == 0) return kOk;
  uint64_t total = 0;
  forEachEntry(archive, [&](const CentralEntry& entry, int32_t) {
    total += entry.header.originalSize;
    return kOk;
  });
  announce(archive, TEXT("Entries"), total, 0);
  for (uint32_t number = 2; number <= archive.volumes; ++number) {
    WCHAR from[kNameCapacity] = {}, to[kNameCapacity];
    // The base name is the source's path by now, and names both.
    if (!volumeName(archive.temporary, archive.baseName, number, to)) return kTooShort;
    if (QvDoesFileExist(to, 0)) continue;
    if (!volumeName(archive, number, from) || !QvDoesFileExist(from, 0)) {
      return failed(archive, QVARCHIVE_ERROR_VOLUME, TEXT("CopySEAMultiFiles"), kNoSuchFile, from);
    }
    reportStatus(archive, QVARCHIVE_STATUS_COPYING, QvGetFileNamePtrW(from));
    const HRESULT status = copyVolume(archive, from, to);
    if (FAILED(status)) return status;
  }
  reportStatus(archive, QVARCHIVE_STATUS_DONE);
  return kOk;
}

}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT CArchive2::SplitArchive(uint64_t volumeBytes, uint32_t flags) {
  constexpr const WCHAR* kStep = TEXT("SplitArchive");
  if (archive_ == nullptr || archive_->mode != QVARCHIVE_MULTIVOLUME || archive_->volumes > 1)
    return kGeneralFailure;
  Archive& archive = *archive_;
  const uint64_t data = archive.end.centralOffset;
  if (volumeBytes < 1) return failed(archive, QVARCHIVE_ERROR_ARGUMENT, kStep, kInvalidArgument);
  if (data < 1) return kOk;
  if (data / 1024 > QvGetDiskFreeSpace(archive.path, 1024)) {
    return failed(archive, QVARCHIVE_ERROR_SPACE, kStep, kNoSpace, archive.path);
  }
  if (volumeBytes > data) return failed(archive, QVARCHIVE_ERROR_ARGUMENT, kStep, kInvalidArgument);
  const Text name = archive.prefix > 0 && archive.baseName[0] != 0 ? archive.baseName : archive.path;
  const uint64_t taken =
      archive.prefix + archive.end.centralSize + trailerBytes(archive, QvGetFileNamePtrW(name.c_str()));
  const uint64_t first = volumeBytes > taken ? std::min(volumeBytes - taken, data) : 0;
  HRESULT status = copySlice(archive, archive.path, archive.read, archive.prefix, archive.write,
                             archive.prefix, first, flags);
  uint32_t last = 1;
  if (SUCCEEDED(status)) status = writeVolumes(archive, name.c_str(), first, volumeBytes, flags, &last);
  if (SUCCEEDED(status)) status = appendDirectory(archive, first);
  if (FAILED(status)) return status;
  archive.volumes = last;
  qv::files::write(QvGetFileNamePtrW(name.c_str()), archive.baseName, kNameCapacity);
  status = writeEndRecord(archive, first);
  if (SUCCEEDED(status)) archive.changed = true;
  return status;
}

HRESULT CArchive2::MergeArchive(uint32_t flags) {
  constexpr const WCHAR* kStep = TEXT("MergeArchive");
  if (archive_ == nullptr) return kGeneralFailure;
  Archive& archive = *archive_;
  if (archive.volumes < 2) return failed(archive, QVARCHIVE_ERROR_CLOSED, kStep, kGeneralFailure);
  if (IsSpaceForMerge() != kOk) return failed(archive, QVARCHIVE_ERROR_SPACE, kStep, kNoSpace);
  uint64_t bytes = archive.end.centralOffset;
  HRESULT status = copySlice(archive, archive.path, archive.read, archive.prefix, archive.write,
                             archive.prefix, bytes, flags);
  if (SUCCEEDED(status)) status = joinVolumes(archive, flags, &bytes);
  if (SUCCEEDED(status)) status = appendDirectory(archive, bytes);
  if (FAILED(status)) return status;
  const uint32_t count = archive.volumes;
  lstrcpynW(archive.joinedName, archive.baseName, kNameCapacity);
  archive.volumes = 1;
  if (archive.prefix == 0) archive.baseName[0] = 0;
  status = writeEndRecord(archive, bytes);
  if (FAILED(status)) return status;
  // Until the joined archive stands in its place, its data is only safe in the volumes.
  archive.joinedVolumes = count;
  archive.changed = true;
  return kOk;
}

HRESULT CArchive2::IsSpaceForMerge() {
  if (archive_ == nullptr || archive_->mode != QVARCHIVE_MULTIVOLUME) return kGeneralFailure;
  const int64_t bytes = GetArchiveSize();
  return static_cast<uint64_t>(std::max<int64_t>(bytes, 0)) / 1024 > freeKilobytes(*archive_, archive_->path)
             ? kNothing
             : kOk;
}

HRESULT CArchive2::GetSizeMerge(uint64_t& bytes) {
  bytes = static_cast<uint64_t>(std::max<int64_t>(GetArchiveSize(), 0));
  return kOk;
}

HRESULT CArchive2::GetSizeCreateSEA(const WCHAR* stub, uint64_t& bytes) {
  if (archive_ == nullptr || stub == nullptr) return kGeneralFailure;
  const HRESULT status = QvGetFileSizeByName(stub, &bytes);
  bytes += static_cast<uint64_t>(std::max<int64_t>(GetArchiveSize(), 0));
  return status;
}

HRESULT CArchive2::IsSpaceForCreateSEA(const WCHAR* output, const WCHAR* stub) {
  if (archive_ == nullptr || output == nullptr) return kGeneralFailure;
  WCHAR folder[kNameCapacity];
  const int32_t length = QvGetPathNameFromFilePath(output, folder, kNameCapacity);
  if (length <= 0 || length >= kNameCapacity || !isFolderThere(folder)) {
    return failed(*archive_, QVARCHIVE_ERROR_MISSING, TEXT("IsSpaceForSEA"), kMissingTarget, folder);
  }
  uint64_t bytes = 0;
  const HRESULT status = GetSizeCreateSEA(stub, bytes);
  if (FAILED(status)) return status;
  return bytes / 1024 > freeKilobytes(*archive_, folder) ? kNothing : kOk;
}

HRESULT CArchive2::CreateSEA(const WCHAR* output, const WCHAR* stub, uint32_t flags) {
  constexpr const WCHAR* kStep = TEXT("CreateSEA");
  if (archive_ == nullptr || archive_->mode != QVARCHIVE_SELFEXTRACTING || archive_->prefix > 0)
    return kGeneralFailure;
  if (output == nullptr || stub == nullptr) return kInvalidArgument;
  Archive& archive = *archive_;
  if (IsSpaceForCreateSEA(output, stub) != kOk)
    return failed(archive, QVARCHIVE_ERROR_SPACE, kStep, kNoSpace);
  const File program(stub, GENERIC_READ, 0, OPEN_EXISTING);
  const int64_t size = program.good() ? qv::files::sizeOf(program.handle) : -1;
  if (size < 0) return failed(archive, QVARCHIVE_ERROR_OPEN, kStep, kCannotCreateFile, stub);
  archive.write = CreateFileW(output, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
  if (archive.write == INVALID_HANDLE_VALUE) {
    return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, output);
  }
  lstrcpynW(archive.temporary, output, kNameCapacity);
  const auto prefix = static_cast<uint64_t>(size);
  const uint64_t bytes = archive.end.centralOffset + archive.end.centralSize;
  HRESULT status =
      copySlice(archive, TEXT("Stub Executable"), program.handle, 0, archive.write, 0, prefix, flags);
  if (FAILED(status)) return failed(archive, QVARCHIVE_ERROR_WRITE, kStep, kWriteFailed, output);
  status = copySlice(archive, TEXT("Archive Entries"), archive.read, 0, archive.write, prefix, bytes, flags);
  if (FAILED(status)) return status;
  lstrcpynW(archive.baseName, archive.path, kNameCapacity);
  archive.output = bytes;
  if (!seekTo(archive.write, prefix + bytes)) return kWriteFailed;
  archive.prefix = prefix;
  status = writeEndRecord(archive, archive.end.centralOffset);
  archive.prefix = 0;  // the source has none
  if (SUCCEEDED(status) && !FlushFileBuffers(archive.write)) status = kWriteFailed;
  // A volume whose files can't be programs holds the archive all the same.
  if (SUCCEEDED(status)) platform::makeExecutable(output);
  return status;
}

HRESULT CArchive2::SplitSEA(const WCHAR* folder, uint32_t flags) {
  constexpr const WCHAR* kStep = TEXT("SplitSEA");
  if (archive_ == nullptr || folder == nullptr) return kGeneralFailure;
  Archive& archive = *archive_;
  if (archive.prefix == 0) return failed(archive, QVARCHIVE_ERROR_OPEN, kStep, kCannotOpenFile, archive.path);
  Text base = folder;
  if (base.empty() || base.back() != '\\') base += '\\';
  const auto size = static_cast<uint64_t>(std::max<int64_t>(qv::files::sizeOf(archive.read), 0));
  if (size / 1024 > QvGetDiskFreeSpace(base.c_str(), 1024)) {
    return failed(archive, QVARCHIVE_ERROR_SPACE, kStep, kNoSpace, base.c_str());
  }
  const Text stub = base + TEXT("Seastub.exe");
  HRESULT status = mayOverwrite(archive, stub.c_str(), flags);
  if (status == kOk) {
    const File program(stub.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (!program.good())
      return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, stub.c_str());
    status = copySlice(archive, stub.c_str(), archive.read, 0, program.handle, 0, archive.prefix, flags);
  }
  if (status != kOk && status != kNothing) return status;
  const View name = QvGetFileNamePtrW(archive.baseName);
  if (!isContainedName(name.data(), name.size()) || leadsThroughLink(folder, name.data()))
    return kMissingTarget;
  const Text target = base + name.data();
  status = mayOverwrite(archive, target.c_str(), flags);
  if (status != kOk) return status;
  const uint64_t bytes = archive.end.centralOffset + archive.end.centralSize;
  const File plain(target.c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS);
  if (!plain.good()) return failed(archive, QVARCHIVE_ERROR_CREATE, kStep, kCannotCreateFile, target.c_str());
  status = copySlice(archive, target.c_str(), archive.read, archive.prefix, plain.handle, 0, bytes, flags);
  if (FAILED(status)) return status;
  // The record of the archive that has no stub, written through the archive's own step.
  const HANDLE kept = archive.write;
  const uint64_t prefix = archive.prefix;
  archive.write = plain.handle;
  archive.prefix = 0;
  archive.output = bytes;
  if (archive.volumes < 2) archive.baseName[0] = 0;
  status = writeEndRecord(archive, archive.end.centralOffset);
  archive.write = kept;
  archive.prefix = prefix;
  return status;
}
