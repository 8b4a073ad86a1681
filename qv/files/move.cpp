// Moving a folder: the walk over two trees, and what has to hold before it starts.
#include <algorithm>
#include <string>

#include "qv/files/detail/tree_path.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"
#include "qv/frame/status.h"
#include "qv/platform/volume_path.h"

namespace qv::files {
namespace {

constexpr HRESULT kNoRoom = static_cast<HRESULT>(0x8004e002u);
constexpr HRESULT kFileInUse = static_cast<HRESULT>(0x8004e16eu);
constexpr HRESULT kTargetInSource = static_cast<HRESULT>(0x8004e186u);

enum class Mode { move, copy, check };

class Walk {
 public:
  Walk(Mode mode, const WCHAR* target, const WCHAR* source) : mode_(mode), source_(source), target_(target) {}

  void report(QVMOVEFOLDERCALLBACK callback, void* data, uint64_t size) {
    callback_ = callback;
    data_ = data;
    size_ = std::max<uint64_t>(size, 1);
  }
  HRESULT run() { return source_.good() && target_.good() ? folder() : kOutOfMemory; }
  uint32_t count() const { return count_; }
  // Whether an emptied folder stayed behind.
  bool leftSomething() const { return leftSomething_; }

 private:
  static void keep(HRESULT& first, HRESULT status) {
    if (FAILED(status) && !FAILED(first)) first = status;
  }
  bool endsWalk(HRESULT status) const {
    return status == kCancelled || (mode_ == Mode::check && FAILED(status));
  }

  // The first failure in this folder or below.
  HRESULT folder() {
    HRESULT first = kOk;
    Listing names(source_, kAllNames, entry_);
    while (names.next()) {
      const HRESULT status = isOwnFolder(entry_) ? subfolder() : file();
      if (endsWalk(status)) return status;
      keep(first, status);
    }
    if (names.failed()) keep(first, mode_ == Mode::check ? kFileInUse : kReadFailed);
    names.close();
    if (mode_ == Mode::move && !FAILED(first)) removeEmptied();
    return first;
  }

  HRESULT subfolder() {
    const size_t sourceLength = source_.length(), targetLength = target_.length();
    const bool entered = source_.enter(entry_.cFileName) && target_.enter(entry_.cFileName);
    const HRESULT status = entered && (mode_ == Mode::check || makeTarget()) ? folder() : kWriteFailed;
    source_.leave(sourceLength);
    target_.leave(targetLength);
    return status;
  }

  bool makeTarget() {
    const WCHAR* name = target_.bare();
    return CreateDirectoryW(name, nullptr) || isFolderAt(name);
  }

  void removeEmptied() {
    const WCHAR* name = source_.bare();
    makeDeletable(name, GetFileAttributesW(name));
    if (!RemoveDirectoryW(name)) leftSomething_ = true;
  }

  HRESULT file() {
    if (mode_ == Mode::check) return checkFile();
    const WCHAR* from = source_.with(entry_.cFileName);
    const WCHAR* to = target_.with(entry_.cFileName);
    return mode_ == Mode::move ? moveFile(from, to) : copyFile(from, to);
  }

  HRESULT moveFile(const WCHAR* from, const WCHAR* to) {
    if (!MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED)) return kWriteFailed;
    ++count_;
    return kOk;
  }

  // A link to a folder is not copied: what it leads to is not the walk's to read, and the source then stays.
  HRESULT copyFile(const WCHAR* from, const WCHAR* to) {
    const bool copied = !isFolder(entry_) && CopyFileW(from, to, FALSE);
    if (copied) ++count_;
    HRESULT first = copied ? kOk : kWriteFailed;
    if (callback_ != nullptr) {
      done_ += sizeOf(entry_);
      const double percent = static_cast<double>(done_) * 100 / static_cast<double>(size_);
      const HRESULT answer = callback_(data_, std::clamp(percent, 0.0, 100.0), from);
      if (answer == kCancelled) return kCancelled;
      keep(first, answer);
    }
    return first;
  }

  HRESULT checkFile() {
    if (isFolder(entry_)) return kOk;
    const HANDLE opened = CreateFileW(source_.with(entry_.cFileName), GENERIC_READ, FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE) return kFileInUse;
    CloseHandle(opened);
    return kOk;
  }

  const Mode mode_;
  TreePath source_, target_;
  WIN32_FIND_DATAW entry_;
  uint32_t count_ = 0;
  bool leftSomething_ = false;
  QVMOVEFOLDERCALLBACK callback_ = nullptr;
  void* data_ = nullptr;
  uint64_t done_ = 0, size_ = 1;
};

bool contains(const WCHAR* text, View part) {
  const View whole = text;
  return std::search(whole.begin(), whole.end(), part.begin(), part.end(), sameCharacter) != whole.end();
}

// Two paths with the same root may still lie on two disks, one of them mounted in a folder of the other.
bool onOneVolume(const WCHAR* a, const WCHAR* b) {
  WCHAR first[kPathCapacity], second[kPathCapacity];
  if (!GetVolumePathNameW(a, first, kPathCapacity) || !GetVolumePathNameW(b, second, kPathCapacity))
    return true;
  return sameInAnyCase(first, second);
}

// What a move is between.
struct Job {
  WCHAR target[kPathCapacity];
  const WCHAR* source;
  Mode mode;
  uint64_t size;
};

HRESULT checkRoom(Job& job) {
  constexpr uint32_t kMiB = 1u << 20;
  constexpr double kSpare = 1.05;
  const uint32_t free = QvGetDiskFreeSpace(job.target, kMiB);
  if (const HRESULT status = QvGetDirectorySize(job.source, &job.size); FAILED(status)) return status;
  const double needed = static_cast<double>((job.size >> 20) + 1) * kSpare;
  return free < needed ? kNoRoom : kOk;
}

// Everything that can be known before the first file.
HRESULT prepare(Job& job) {
  WCHAR sourceRoot[kPathCapacity], targetRoot[kPathCapacity];
  if (contains(job.target, job.source)) return kTargetInSource;
  const int32_t targetLength = QvGetRootPathFromFilePath(job.target, targetRoot, kPathCapacity);
  const int32_t sourceLength = QvGetRootPathFromFilePath(job.source, sourceRoot, kPathCapacity);
  if (targetLength == 0 || sourceLength == 0 || sourceLength >= kPathCapacity) return kGeneralFailure;
  if (!QvCreateDirectory(job.target, nullptr)) return kCannotCreateFile;
  const bool together = sameInAnyCase(sourceRoot, targetRoot) && onOneVolume(job.source, job.target);
  job.mode = together ? Mode::move : Mode::copy;
  if (job.mode == Mode::copy) {
    if (const HRESULT status = checkRoom(job); FAILED(status)) return status;
  }
  if (!QvCreateDirectory(job.target, nullptr)) return kCannotCreateFile;
  return QvIsDirectoryWritable(job.target) ? kOk : kWriteFailed;
}

}  // namespace
}  // namespace qv::files

HRESULT QvMoveFolder(const WCHAR* target, const WCHAR* source, uint32_t* count, QVMOVEFOLDERCALLBACK callback,
                     void* data) {
  using namespace qv::files;
  if (count != nullptr) *count = 0;
  if (sameInAnyCase(target, source)) return qv::kOk;
  Job job = {{}, source, Mode::move, 0};
  if (!write(target, job.target, kPathCapacity) || QvAddSlashToPathName(job.target, kPathCapacity) == 0)
    return qv::kGeneralFailure;
  if (const HRESULT status = prepare(job); FAILED(status)) return status;
  const bool copies = job.mode == Mode::copy;
  if (copies && callback != nullptr) {
    if (const HRESULT answer = callback(data, 0, nullptr); answer < 0) return answer;
  }
  Walk walk(job.mode, job.target, source);
  walk.report(callback, data, job.size);
  const HRESULT status = walk.run();
  if (count != nullptr) *count = copies && FAILED(status) ? 0 : walk.count();
  if (FAILED(status)) return status;
  const bool gone = copies ? QvDeleteDirectoryTree(source, 1) != 0 : !walk.leftSomething();
  return gone ? qv::kOk : qv::kNothing;
}

HRESULT QvCanMoveFolder(const WCHAR* folder) {
  using namespace qv::files;
  return Walk(Mode::check, folder, folder).run();
}
