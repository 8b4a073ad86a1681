#include "qv/platform/files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "qv/platform/linux/descriptor.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/handles.h"
#include "qv/platform/linux/paths.h"

namespace qv::platform {
namespace {

// Which file it is, whatever its names.
using FileId = std::pair<dev_t, ino_t>;

FileId idOf(const struct stat& facts) {
  return {facts.st_dev, facts.st_ino};
}

// How one handle uses a file, and what it lets others do.
struct Use {
  FileId file;
  DWORD access;
  DWORD share;
};

// The share modes that access asks of the others.
DWORD shareNeededFor(DWORD access) {
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

// Never destroyed: handles may be closed while the process ends.
OpenFiles& openFiles() {
  static auto* instance = new OpenFiles;
  return *instance;
}

class File : public Object {
 public:
  // A stream of the process's, which stays open.
  File(int descriptor, DWORD access) : descriptor_(descriptor), access_(access), ours_(false) {}
  File(int descriptor, const Use& use, std::string deleteOnClose)
      : descriptor_(descriptor),
        access_(use.access),
        ours_(true),
        use_(openFiles().add(use)),
        deleteOnClose_(std::move(deleteOnClose)) {}
  ~File() override {
    if (!ours_) return;
    close(descriptor_);
    openFiles().remove(use_);
    if (!deleteOnClose_.empty()) unlink(deleteOnClose_.c_str());
  }

  int descriptor() const { return descriptor_; }
  bool mayRead() const { return access_ & GENERIC_READ; }
  bool mayWrite() const { return access_ & GENERIC_WRITE; }
  mode_t kind() const {
    struct stat facts;
    return fstat(descriptor_, &facts) == 0 ? facts.st_mode & S_IFMT : 0;
  }

 private:
  const int descriptor_;
  const DWORD access_;
  const bool ours_;
  OpenFiles::Entry use_;
  const std::string deleteOnClose_;
};

class DescriptorGuard {
 public:
  explicit DescriptorGuard(int descriptor) : descriptor_(descriptor) {}
  ~DescriptorGuard() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  DescriptorGuard(const DescriptorGuard&) = delete;
  DescriptorGuard& operator=(const DescriptorGuard&) = delete;
  int get() const { return descriptor_; }
  int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

BOOL failOn(const std::string& path) {
  return fail(errorOfPath(path));
}

bool isReadOnly(const struct stat& facts) {
  return (facts.st_mode & 0222) == 0;
}

struct Disposition {
  DWORD value;
  int flags;
  bool truncates;
  bool tellsExisting;
};
constexpr Disposition kDispositions[] = {
    {CREATE_NEW, O_CREAT | O_EXCL, false, false},
    {CREATE_ALWAYS, O_CREAT, true, true},
    {OPEN_EXISTING, 0, false, false},
    {OPEN_ALWAYS, O_CREAT, false, true},
    {TRUNCATE_EXISTING, 0, true, false},
};

const Disposition* dispositionOf(DWORD value) {
  for (const Disposition& row : kDispositions) {
    if (row.value == value) return &row;
  }
  return nullptr;
}

int openFlags(DWORD access) {
  if ((access & GENERIC_READ) && (access & GENERIC_WRITE)) return O_RDWR;
  return (access & GENERIC_WRITE) ? O_WRONLY : O_RDONLY;
}

struct Request {
  std::string path;
  DWORD access;
  DWORD share;
  const Disposition* disposition;
  DWORD attributes;
};

// What can be said against a file that is there, before it is touched.
DWORD refusalOf(const Request& request, const struct stat& facts) {
  if (request.disposition->value == CREATE_NEW) return ERROR_FILE_EXISTS;
  if (S_ISDIR(facts.st_mode)) return ERROR_ACCESS_DENIED;
  bool changes = (request.access & GENERIC_WRITE) || request.disposition->truncates;
  if (changes && isReadOnly(facts)) return ERROR_ACCESS_DENIED;
  bool allowed = openFiles().allows({idOf(facts), request.access, request.share});
  bool mayTruncate = !request.disposition->truncates ||
                     openFiles().allows({idOf(facts), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE});
  return allowed && mayTruncate ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
}

std::shared_ptr<File> openFile(const Request& request) {
  std::lock_guard lock(openFiles().mutex());
  struct stat facts;
  bool exists = stat(request.path.c_str(), &facts) == 0;
  if (exists) {
    if (DWORD refusal = refusalOf(request, facts)) return failWith(refusal, nullptr);
  }
  mode_t mode = (request.attributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  int flags = openFlags(request.access) | request.disposition->flags | O_CLOEXEC | O_NOCTTY;
  DescriptorGuard file(open(request.path.c_str(), flags, mode));
  if (file.get() < 0 || fstat(file.get(), &facts) != 0) return failWith(errorOfPath(request.path), nullptr);
  if (exists && request.disposition->truncates && truncate(request.path.c_str(), 0) != 0) {
    return failWith(errorOfPath(request.path), nullptr);
  }
  SetLastError(exists && request.disposition->tellsExisting ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  bool temporary = request.attributes & FILE_FLAG_DELETE_ON_CLOSE;
  return std::make_shared<File>(file.release(), Use{idOf(facts), request.access, request.share},
                                temporary ? request.path : std::string());
}

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

// Holds back the signal that a write to a closed pipe would end the process with; the write fails instead.
class PipeSignalBlock {
 public:
  explicit PipeSignalBlock(bool wanted) : wanted_(wanted) {
    if (!wanted_) return;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~PipeSignalBlock() {
    if (!wanted_) return;
    int saved = errno;
    timespec none{};
    if (!sigismember(&before_, SIGPIPE)) sigtimedwait(&pipe_, nullptr, &none);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = saved;
  }
  PipeSignalBlock(const PipeSignalBlock&) = delete;
  PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

 private:
  const bool wanted_;
  sigset_t pipe_, before_;
};

std::shared_ptr<File> writable(HANDLE handle) {
  auto file = objectOf<File>(handle);
  if (file && !file->mayWrite()) return failWith(ERROR_ACCESS_DENIED, nullptr);
  return file;
}

// The facts of what a path names; false with the last error.
bool factsOf(LPCWSTR path, std::string* native, struct stat* facts) {
  if (!nativePath(path, native)) return false;
  return stat(native->c_str(), facts) == 0 || failOn(*native);
}

bool isHidden(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return path.size() > slash + 1 && path[slash + 1] == '.';
}

// Copies beside the target and renames, so that the target is whole or not there.
bool copyFile(const std::string& from, const std::string& to, mode_t mode) {
  std::string beside = to + ".moving-" + std::to_string(getpid());
  DescriptorGuard source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  DescriptorGuard target(open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode & 07777));
  if (source.get() < 0 || target.get() < 0) return false;
  std::string buffer(1 << 18, '\0');
  ssize_t count;
  bool ok = true;
  while (ok && (count = read(source.get(), buffer.data(), buffer.size())) > 0) {
    DWORD done = 0;
    ok = transferAll(static_cast<DWORD>(count), &done,
                     [&](DWORD at, DWORD left) { return write(target.get(), buffer.data() + at, left); });
  }
  ok = ok && count == 0 && rename(beside.c_str(), to.c_str()) == 0;
  if (!ok) unlink(beside.c_str());
  return ok;
}

bool renameOrCopy(const std::string& from, const std::string& to, DWORD flags, const struct stat& facts) {
  unsigned keep = (flags & MOVEFILE_REPLACE_EXISTING) ? 0 : RENAME_NOREPLACE;
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), keep) == 0) return true;
  // A file system that can't refuse in one step; the caller saw that nothing is there.
  if (errno == EINVAL && keep && rename(from.c_str(), to.c_str()) == 0) return true;
  if (errno != EXDEV || !(flags & MOVEFILE_COPY_ALLOWED) || !S_ISREG(facts.st_mode)) return false;
  return copyFile(from, to, facts.st_mode) && unlink(from.c_str()) == 0;
}

// What can be said against replacing what `to` names with `from`.
DWORD refusalToReplace(const struct stat& from, const struct stat& to, DWORD flags) {
  if (idOf(from) == idOf(to)) return ERROR_SUCCESS;
  if (!(flags & MOVEFILE_REPLACE_EXISTING)) return ERROR_ALREADY_EXISTS;
  if (S_ISDIR(to.st_mode) || S_ISDIR(from.st_mode) || isReadOnly(to)) return ERROR_ACCESS_DENIED;
  return openFiles().allowsDeleting(idOf(to)) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

HANDLE standardHandle(int descriptor, DWORD access) {
  if (fcntl(descriptor, F_GETFD) < 0) return nullptr;
  return openHandle(std::make_shared<File>(descriptor, access));
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition,
                   DWORD attributes, HANDLE) {
  Request request{{}, access, share, dispositionOf(disposition), attributes};
  bool truncatesUnwritten = disposition == TRUNCATE_EXISTING && !(access & GENERIC_WRITE);
  if (!request.disposition || truncatesUnwritten) {
    return failWith(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  }
  if (!nativePath(path, &request.path)) return INVALID_HANDLE_VALUE;
  if (request.path.back() == '/') return failWith(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  auto file = openFile(request);
  return file ? openHandle(std::move(file)) : INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD bytes, DWORD* read, OVERLAPPED*) {
  *read = 0;
  auto file = objectOf<File>(handle);
  if (!file) return FALSE;
  if (!file->mayRead()) return fail(ERROR_ACCESS_DENIED);
  mode_t kind = file->kind();
  auto once = [&](DWORD done, DWORD left) {
    if (done > 0 && kind != S_IFREG) return ssize_t{0};
    return ::read(file->descriptor(), static_cast<char*>(buffer) + done, left);
  };
  if (!transferAll(bytes, read, once)) return failOn({});
  bool otherSideGone = *read == 0 && bytes > 0 && (kind == S_IFIFO || kind == S_IFSOCK);
  return otherSideGone ? fail(ERROR_BROKEN_PIPE) : TRUE;
}

int qv::platform::descriptorOf(HANDLE handle) {
  auto file = objectOf<File>(handle);
  return file ? file->descriptor() : -1;
}

BOOL WriteFile(HANDLE handle, LPCVOID buffer, DWORD bytes, DWORD* written, OVERLAPPED*) {
  *written = 0;
  auto file = writable(handle);
  if (!file) return FALSE;
  PipeSignalBlock block(file->kind() != S_IFREG);
  bool ok = transferAll(bytes, written, [&](DWORD done, DWORD left) {
    return write(file->descriptor(), static_cast<const char*>(buffer) + done, left);
  });
  return ok || failOn({});
}

BOOL GetFileSizeEx(HANDLE handle, LARGE_INTEGER* size) {
  auto file = objectOf<File>(handle);
  struct stat facts;
  if (!file) return FALSE;
  if (fstat(file->descriptor(), &facts) != 0) return failOn({});
  if (!S_ISREG(facts.st_mode)) return fail(ERROR_INVALID_FUNCTION);
  size->QuadPart = facts.st_size;
  return TRUE;
}

BOOL SetFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method) {
  static_assert(FILE_BEGIN == SEEK_SET && FILE_CURRENT == SEEK_CUR && FILE_END == SEEK_END);
  auto file = objectOf<File>(handle);
  if (!file) return FALSE;
  if (method > FILE_END) return fail(ERROR_INVALID_PARAMETER);
  off_t moved = lseek(file->descriptor(), distance.QuadPart, static_cast<int>(method));
  if (moved < 0) return errno == EINVAL ? fail(ERROR_NEGATIVE_SEEK) : failOn({});
  if (position) position->QuadPart = moved;
  return TRUE;
}

BOOL SetEndOfFile(HANDLE handle) {
  auto file = writable(handle);
  if (!file) return FALSE;
  off_t position = lseek(file->descriptor(), 0, SEEK_CUR);
  return (position >= 0 && ftruncate(file->descriptor(), position) == 0) || failOn({});
}

BOOL FlushFileBuffers(HANDLE handle) {
  auto file = writable(handle);
  if (!file) return FALSE;
  // EINVAL: a pipe or a terminal, which keeps nothing back.
  return fdatasync(file->descriptor()) == 0 || errno == EINVAL || failOn({});
}

DWORD GetFileAttributesW(LPCWSTR path) {
  std::string native;
  struct stat facts;
  if (!factsOf(path, &native, &facts)) return INVALID_FILE_ATTRIBUTES;
  DWORD attributes = S_ISDIR(facts.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : 0;
  if (isReadOnly(facts)) attributes |= FILE_ATTRIBUTE_READONLY;
  if (isHidden(native)) attributes |= FILE_ATTRIBUTE_HIDDEN;
  if (S_ISREG(facts.st_mode)) attributes |= FILE_ATTRIBUTE_ARCHIVE;
  return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES*) {
  std::string native;
  if (!nativePath(path, &native)) return FALSE;
  if (mkdir(native.c_str(), 0777) == 0) return TRUE;
  DWORD error = errorOfPath(native);
  return fail(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

BOOL RemoveDirectoryW(LPCWSTR path) {
  std::string native;
  struct stat facts;
  if (!factsOf(path, &native, &facts)) return FALSE;
  if (!S_ISDIR(facts.st_mode)) return fail(ERROR_DIRECTORY);
  return rmdir(native.c_str()) == 0 || failOn(native);
}

BOOL DeleteFileW(LPCWSTR path) {
  std::string native;
  struct stat facts;
  std::lock_guard lock(openFiles().mutex());
  if (!factsOf(path, &native, &facts)) return FALSE;
  if (S_ISDIR(facts.st_mode) || isReadOnly(facts)) return fail(ERROR_ACCESS_DENIED);
  if (!openFiles().allowsDeleting(idOf(facts))) return fail(ERROR_SHARING_VIOLATION);
  return unlink(native.c_str()) == 0 || failOn(native);
}

BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
  std::string source, target;
  struct stat sourceFacts, targetFacts;
  std::lock_guard lock(openFiles().mutex());
  if (!factsOf(from, &source, &sourceFacts) || !nativePath(to, &target)) return FALSE;
  if (!openFiles().allowsDeleting(idOf(sourceFacts))) return fail(ERROR_SHARING_VIOLATION);
  if (source == target) return TRUE;
  if (stat(target.c_str(), &targetFacts) == 0) {
    if (DWORD refusal = refusalToReplace(sourceFacts, targetFacts, flags)) return fail(refusal);
  }
  if (renameOrCopy(source, target, flags, sourceFacts)) return TRUE;
  DWORD error = errorOfPath(target);
  return fail(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

HANDLE GetStdHandle(DWORD which) {
  static const HANDLE input = standardHandle(STDIN_FILENO, GENERIC_READ);
  static const HANDLE output = standardHandle(STDOUT_FILENO, GENERIC_WRITE);
  static const HANDLE error = standardHandle(STDERR_FILENO, GENERIC_WRITE);
  if (which == STD_INPUT_HANDLE) return input;
  if (which == STD_OUTPUT_HANDLE) return output;
  if (which == STD_ERROR_HANDLE) return error;
  return failWith(ERROR_INVALID_HANDLE, INVALID_HANDLE_VALUE);
}

DWORD GetFileType(HANDLE handle) {
  auto file = objectOf<File>(handle);
  if (!file) return FILE_TYPE_UNKNOWN;
  SetLastError(ERROR_SUCCESS);
  switch (file->kind()) {
    case S_IFREG:
    case S_IFBLK:
      return FILE_TYPE_DISK;
    case S_IFCHR:
      return FILE_TYPE_CHAR;
    case S_IFIFO:
    case S_IFSOCK:
      return FILE_TYPE_PIPE;
    default:
      return FILE_TYPE_UNKNOWN;
  }
}

DWORD GetCurrentDirectoryW(DWORD capacity, LPWSTR path) {
  std::u16string current;
  fullPath(u".", &current);
  return giveText(current, path, capacity);
}

BOOL SetCurrentDirectoryW(LPCWSTR path) {
  std::string native;
  struct stat facts;
  if (!factsOf(path, &native, &facts)) return FALSE;
  if (!S_ISDIR(facts.st_mode)) return fail(ERROR_DIRECTORY);
  return chdir(native.c_str()) == 0 || failOn(native);
}

DWORD GetFullPathNameW(LPCWSTR path, DWORD capacity, LPWSTR full, LPWSTR* filePart) {
  if (!path || !*path) return failWith(ERROR_INVALID_NAME, 0);
  std::u16string text;
  if (!fullPath(path, &text)) return 0;
  DWORD length = giveText(text, full, capacity);
  if (filePart && full && length < capacity) {
    size_t name = text.find_last_of(u'\\') + 1;
    *filePart = name < text.size() ? full + name : nullptr;
  }
  return length;
}

DWORD GetLongPathNameW(LPCWSTR path, LPWSTR longPath, DWORD capacity) {
  if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) return 0;
  return giveText(path, longPath, capacity);
}

DWORD GetTempPathW(DWORD capacity, LPWSTR path) {
  const char* set = getenv("TMPDIR");
  std::string folder = set && *set ? set : "/tmp";
  if (folder.back() != '/') folder += '/';
  return giveText(windowsPath(folder), path, capacity);
}
