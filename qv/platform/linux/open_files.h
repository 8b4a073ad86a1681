// The files that this process has open, and the rules of sharing between them.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "qv/platform/files.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/handles.h"
#include "qv/platform/linux/paths.h"

namespace qv::platform {

// Which file it is, whatever its names.
using FileId = std::pair<dev_t, ino_t>;

inline FileId idOf(const struct stat& facts) {
  return {facts.st_dev, facts.st_ino};
}

// How one handle uses a file, and what it lets others do.
struct Use {
  FileId file;
  DWORD access;
  DWORD share;
};

// The share modes that access asks of the others.
inline DWORD shareNeededFor(DWORD access) {
  return ((access & GENERIC_READ) ? FILE_SHARE_READ : 0) | ((access & GENERIC_WRITE) ? FILE_SHARE_WRITE : 0);
}

// Every file that this process has open. Its lock is held over each look-and-act on the file system.
class OpenFiles {
 public:
  using Entry = std::list<Use>::iterator;

  std::mutex& mutex() { return mutex_; }

  bool allows(const Use& wanted) const {
    return std::all_of(uses_.begin(), uses_.end(), [&](const Use& use) {
      // Who neither reads nor writes is in nobody's way.
      if (use.file != wanted.file || use.access == 0 || wanted.access == 0) return true;
      bool theyAllow = (shareNeededFor(wanted.access) & ~use.share) == 0;
      bool weAllow = (shareNeededFor(use.access) & ~wanted.share) == 0;
      return theyAllow && weAllow;
    });
  }
  bool allowsDeleting(FileId file) const {
    return std::all_of(uses_.begin(), uses_.end(), [&](const Use& use) {
      return use.file != file || use.access == 0 || (use.share & FILE_SHARE_DELETE);
    });
  }
  Entry add(const Use& use) { return uses_.insert(uses_.end(), use); }
  void remove(Entry entry) {
    std::lock_guard lock(mutex_);
    uses_.erase(entry);
  }

 private:
  std::mutex mutex_;
  std::list<Use> uses_;
};

OpenFiles& openFiles();

class File : public Object {
 public:
  // A stream of the process's, which stays open.
  File(int descriptor, DWORD access) : descriptor_(descriptor), access_(access), ours_(false) {}
  File(int descriptor, mode_t kind, const Use& use, std::string deleteOnClose)
      : descriptor_(descriptor),
        access_(use.access),
        ours_(true),
        use_(openFiles().add(use)),
        deleteOnClose_(std::move(deleteOnClose)),
        kind_(kind) {}
  ~File() override;

  int descriptor() const { return descriptor_; }
  bool mayRead() const { return access_ & GENERIC_READ; }
  bool mayWrite() const { return access_ & GENERIC_WRITE; }
  // S_IFREG and its like; 0 when the system can't tell.
  mode_t kind() const;
  // Whoever changes the contents says so: the file then wants archiving again.
  void changed();
  // A new one does from the start.
  void markNew() { changed_.store(true, std::memory_order_relaxed); }

 private:
  const int descriptor_;
  const DWORD access_;
  const bool ours_;
  OpenFiles::Entry use_;
  const std::string deleteOnClose_;
  std::atomic<bool> changed_{false};
  mutable std::atomic<mode_t> kind_{0};  // once it is known: it can't change
};

class DescriptorGuard {
 public:
  explicit DescriptorGuard(int descriptor) : descriptor_(descriptor) {}
  ~DescriptorGuard() { reset(-1); }
  DescriptorGuard(const DescriptorGuard&) = delete;
  DescriptorGuard& operator=(const DescriptorGuard&) = delete;
  int get() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }
  void reset(int descriptor) {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_;
};

// Fails with the error that fits errno and the path; empty for an operation on a handle.
inline BOOL failOn(const std::string& path) {
  return fail(errorOfPath(path));
}

// A file that may be written, by its handle; null with the last error.
std::shared_ptr<File> writable(HANDLE handle);

// Repeats a transfer until all bytes are through, it gives 0, or it fails. False on failure.
template <typename Transfer>
bool transferAll(DWORD bytes, DWORD* done, Transfer transfer) {
  *done = 0;
  while (*done < bytes) {
    ssize_t count = transfer(*done, bytes - *done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    *done += static_cast<DWORD>(count);
  }
  return true;
}

}  // namespace qv::platform
