#include "qv/platform/linux/copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "qv/platform/files.h"
#include "qv/platform/linux/attributes.h"
#include "qv/platform/linux/open_files.h"

namespace qv::platform {
namespace {

// Bytes through memory, from the place that both files are at to the end of the source or of `limit`.
bool copyThrough(int source, int target, off_t limit) {
  std::vector<char> buffer(1 << 18);
  while (limit > 0) {
    ssize_t count = read(source, buffer.data(), std::min<size_t>(buffer.size(), static_cast<size_t>(limit)));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    DWORD done = 0;
    bool ok = transferAll(static_cast<DWORD>(count), &done,
                          [&](DWORD at, DWORD left) { return write(target, buffer.data() + at, left); });
    if (!ok) return false;
    limit -= count;
  }
  return true;
}

// A stretch that holds data, by the system alone where it can.
bool copyStretch(int source, int target, off_t from, off_t to) {
  off_t in = from, out = from;
  while (in < to) {
    ssize_t count = copy_file_range(source, &in, target, &out, static_cast<size_t>(to - in), 0);
    if (count < 0 && errno == EINTR) continue;
    bool unable = count < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP ||
                                errno == EPERM);
    if (count > 0) continue;
    if (count < 0 && !unable) return false;
    bool placed = lseek(source, in, SEEK_SET) == in && lseek(target, out, SEEK_SET) == out;
    return placed && copyThrough(source, target, to - in);
  }
  return true;
}

// Stretch by stretch, so that holes stay holes.
bool copyStretches(int source, int target, off_t size) {
  off_t at = 0;
  while (at < size) {
    off_t from = lseek(source, at, SEEK_DATA);
    if (from < 0 && errno == ENXIO) break;
    if (from < 0) from = at;
    off_t to = lseek(source, from, SEEK_HOLE);
    if (to <= from) to = size;
    if (!copyStretch(source, target, from, to)) return false;
    at = to;
  }
  return true;
}

bool copyContents(int source, int target, const struct stat& facts) {
  if (ioctl(target, FICLONE, source) == 0) return true;
  if (!copyStretches(source, target, facts.st_size)) return false;
  // A hole at the end; then whatever a file that tells no size, or that grew, has beyond it.
  if (ftruncate(target, facts.st_size) != 0) return false;
  bool placed = lseek(source, facts.st_size, SEEK_SET) >= 0 && lseek(target, facts.st_size, SEEK_SET) >= 0;
  return placed && copyThrough(source, target, LLONG_MAX);
}

// Mode, attributes and write time, after the contents: writing would change them.
bool copyFacts(int source, int target, const struct stat& facts) {
  timespec times[] = {{0, UTIME_OMIT}, facts.st_mtim};
  copyKept(source, target);
  return fchmod(target, facts.st_mode & 0777) == 0 && futimens(target, times) == 0;
}

// Makes an empty file in the target's folder under a name that isn't taken.
int makeBeside(const std::string& folder, std::string* path) {
  static std::atomic<unsigned> counter{0};
  for (int tries = 0; tries < 1000; ++tries) {
    *path = folder + "/.qv-copy-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
    int file = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

// Where a copy to this name goes: behind a link, what the link leads to.
std::string behindLink(const std::string& path) {
  char target[PATH_MAX];
  struct stat facts;
  bool link = lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode);
  return link && realpath(path.c_str(), target) ? target : path;
}

// What can be said against copying over what is there.
DWORD refusalToCopyOver(FileId source, const std::string& target, bool failIfExists) {
  struct stat facts;
  if (lstat(target.c_str(), &facts) != 0) return ERROR_SUCCESS;
  if (failIfExists) return ERROR_FILE_EXISTS;
  if (stat(target.c_str(), &facts) != 0) return ERROR_SUCCESS;
  if (idOf(facts) == source) return ERROR_SHARING_VIOLATION;
  if (!S_ISREG(facts.st_mode) || isReadOnly(facts.st_mode)) return ERROR_ACCESS_DENIED;
  return openFiles().allows({idOf(facts), GENERIC_WRITE, 0}) ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
}

}  // namespace

bool renameTo(const std::string& from, const std::string& to, bool replace) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), replace ? 0 : RENAME_NOREPLACE) == 0)
    return true;
  // A file system that can't refuse in one step.
  struct stat facts;
  if (errno != EINVAL || replace) return false;
  if (lstat(to.c_str(), &facts) == 0) return errno = EEXIST, false;
  return rename(from.c_str(), to.c_str()) == 0;
}

bool copyFile(const std::string& from, const std::string& to, bool replace) {
  std::string whole = replace ? behindLink(to) : to, beside;
  struct stat facts;
  // A pipe would wait for its other side.
  DescriptorGuard source(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (source.get() < 0 || fstat(source.get(), &facts) != 0) return false;
  if (!S_ISREG(facts.st_mode)) return errno = EACCES, false;
  DescriptorGuard target(makeBeside(folderOf(whole), &beside));
  if (target.get() < 0) return false;
  bool done = copyContents(source.get(), target.get(), facts) &&
              copyFacts(source.get(), target.get(), facts) && renameTo(beside, whole, replace);
  int error = errno;
  if (!done) unlink(beside.c_str());
  if (done) noteKept(whole);
  errno = error;
  return done;
}

}  // namespace qv::platform

using namespace qv::platform;

BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
  std::string source, target;
  struct stat facts;
  if (!nativePath(from, &source) || !nativePath(to, &target)) return FALSE;
  if (stat(source.c_str(), &facts) != 0) return failOn(source);
  if (S_ISDIR(facts.st_mode)) return fail(ERROR_ACCESS_DENIED);
  if (target.back() == '/') return fail(ERROR_PATH_NOT_FOUND);
  {
    std::lock_guard lock(openFiles().mutex());
    bool mayRead = openFiles().allows({idOf(facts), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE});
    if (!mayRead) return fail(ERROR_SHARING_VIOLATION);
    if (DWORD refusal = refusalToCopyOver(idOf(facts), target, failIfExists)) return fail(refusal);
  }
  if (copyFile(source, target, !failIfExists)) return TRUE;
  if (errno == EEXIST) return fail(ERROR_FILE_EXISTS);
  DWORD error = errorOfPath(target);
  return fail(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}
