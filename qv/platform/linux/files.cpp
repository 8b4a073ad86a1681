#include "qv/platform/files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "qv/platform/detail/file_seam.h"
#include "qv/platform/linux/attributes.h"
#include "qv/platform/linux/clock.h"
#include "qv/platform/linux/descriptor.h"
#include "qv/platform/linux/open_files.h"

namespace qv::platform {

// Never destroyed: handles may be closed while the process ends.
OpenFiles& openFiles() {
  static auto* instance = new OpenFiles;
  return *instance;
}

File::~File() {
  if (!ours_) return;
  close(descriptor_);
  openFiles().remove(use_);
  if (!deleteOnClose_.empty()) unlink(deleteOnClose_.c_str());
}

mode_t File::kind() const {
  mode_t kind = kind_.load(std::memory_order_relaxed);
  if (kind != 0) return kind;
  struct stat facts;
  kind = fstat(descriptor_, &facts) == 0 ? facts.st_mode & S_IFMT : 0;
  kind_.store(kind, std::memory_order_relaxed);
  return kind;
}

void File::changed() {
  if (!changed_.exchange(true, std::memory_order_relaxed) && ours_) noteChange(descriptor_);
}

std::shared_ptr<File> writable(HANDLE handle) {
  auto file = objectOf<File>(handle);
  if (file && !file->mayWrite()) return failWith(ERROR_ACCESS_DENIED, nullptr);
  return file;
}

namespace {

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

int openFlags(DWORD access, bool folder) {
  if (folder) return O_RDONLY | O_DIRECTORY;
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
  if (S_ISDIR(facts.st_mode)) {
    bool asked = (request.attributes & FILE_FLAG_BACKUP_SEMANTICS) && !request.disposition->truncates;
    return asked ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
  }
  bool changes = (request.access & GENERIC_WRITE) || request.disposition->truncates;
  if (changes && isReadOnly(facts.st_mode)) return ERROR_ACCESS_DENIED;
  bool allowed = openFiles().allows({idOf(facts), request.access, request.share});
  bool mayTruncate = !request.disposition->truncates ||
                     openFiles().allows({idOf(facts), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE});
  return allowed && mayTruncate ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
}

int openPath(const Request& request, int flags) {
  mode_t mode = (request.attributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  return open(request.path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
}

// Most files that may be made are made: only one that is there needs a look before it is opened.
bool openDescriptor(const Request& request, DescriptorGuard& file, bool& exists) {
  exists = false;
  if (request.disposition->flags & O_CREAT) {
    file.reset(openPath(request, openFlags(request.access, false) | O_CREAT | O_EXCL));
    if (file.get() >= 0) return true;
  }
  struct stat facts;
  exists = stat(request.path.c_str(), &facts) == 0;
  if (exists) {
    if (DWORD refusal = refusalOf(request, facts)) return fail(refusal);
  }
  bool folder = exists && S_ISDIR(facts.st_mode);
  file.reset(
      openPath(request, openFlags(request.access, folder) | (folder ? 0 : request.disposition->flags)));
  if (file.get() >= 0) return true;
  // Someone else made the file since it was looked for, or it is a link that leads nowhere.
  return fail(errno == EEXIST ? ERROR_FILE_EXISTS : errorOfPath(request.path));
}

std::shared_ptr<File> openFile(const Request& request) {
  std::lock_guard lock(openFiles().mutex());
  DescriptorGuard file(-1);
  bool exists;
  if (!openDescriptor(request, file, exists)) return nullptr;
  struct stat facts;
  if (fstat(file.get(), &facts) != 0) return failWith(errorOfPath(request.path), nullptr);
  if (exists && request.disposition->truncates && truncate(request.path.c_str(), 0) != 0) {
    return failWith(errorOfPath(request.path), nullptr);
  }
  if (!exists && (request.attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM))) {
    setAttributes(request.path, request.attributes | FILE_ATTRIBUTE_ARCHIVE);
  }
  SetLastError(exists && request.disposition->tellsExisting ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  bool temporary = request.attributes & FILE_FLAG_DELETE_ON_CLOSE;
  auto opened = std::make_shared<File>(file.release(), facts.st_mode & S_IFMT,
                                       Use{idOf(facts), request.access, request.share},
                                       temporary ? request.path : std::string());
  if (!exists) opened->markNew();
  return opened;
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
  if (isDevice(path, u"NUL")) {
    request.path = "/dev/null";
  } else if (!nativePath(path, &request.path)) {
    return INVALID_HANDLE_VALUE;
  }
  if (request.path.back() == '/') return failWith(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
  if (fileOperationFails()) return failWith(ERROR_TOO_MANY_OPEN_FILES, INVALID_HANDLE_VALUE);
  auto file = openFile(request);
  return file ? openHandle(std::move(file)) : INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD bytes, DWORD* read, OVERLAPPED*) {
  *read = 0;
  auto file = objectOf<File>(handle);
  if (!file) return FALSE;
  if (!file->mayRead()) return fail(ERROR_ACCESS_DENIED);
  if (fileOperationFails()) return errno = EIO, failOn({});
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
  if (fileOperationFails(true)) return fail(ERROR_DISK_FULL);
  PipeSignalBlock block(file->kind() != S_IFREG);
  bool ok = transferAll(bytes, written, [&](DWORD done, DWORD left) {
    return write(file->descriptor(), static_cast<const char*>(buffer) + done, left);
  });
  if (*written > 0) file->changed();
  return ok || failOn({});
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(handle, &size)) return INVALID_FILE_SIZE;
  if (high) *high = static_cast<DWORD>(size.HighPart);
  if (size.LowPart == INVALID_FILE_SIZE) SetLastError(NO_ERROR);
  return size.LowPart;
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
  if (fileOperationFails()) return errno = EIO, failOn({});
  off_t moved = lseek(file->descriptor(), distance.QuadPart, static_cast<int>(method));
  if (moved < 0) return errno == EINVAL ? fail(ERROR_NEGATIVE_SEEK) : failOn({});
  if (position) position->QuadPart = moved;
  return TRUE;
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* high, DWORD method) {
  LARGE_INTEGER wide, before, position, none{};
  wide.QuadPart = distance;
  if (high) wide.HighPart = *high;
  if (high) wide.LowPart = static_cast<DWORD>(distance);
  if (!SetFilePointerEx(handle, none, &before, FILE_CURRENT)) return INVALID_SET_FILE_POINTER;
  if (!SetFilePointerEx(handle, wide, &position, method)) return INVALID_SET_FILE_POINTER;
  if (!high && position.HighPart != 0) {
    SetFilePointerEx(handle, before, nullptr, FILE_BEGIN);
    return failWith(ERROR_INVALID_PARAMETER, INVALID_SET_FILE_POINTER);
  }
  if (high) *high = position.HighPart;
  if (position.LowPart == INVALID_SET_FILE_POINTER) SetLastError(NO_ERROR);
  return position.LowPart;
}

BOOL SetEndOfFile(HANDLE handle) {
  auto file = writable(handle);
  if (!file) return FALSE;
  file->changed();
  off_t position = lseek(file->descriptor(), 0, SEEK_CUR);
  return (position >= 0 && ftruncate(file->descriptor(), position) == 0) || failOn({});
}

BOOL FlushFileBuffers(HANDLE handle) {
  auto file = writable(handle);
  if (!file) return FALSE;
  if (fileOperationFails(true)) return fail(ERROR_DISK_FULL);
  // EINVAL: a pipe or a terminal, which keeps nothing back.
  return fdatasync(file->descriptor()) == 0 || errno == EINVAL || failOn({});
}

BOOL GetFileTime(HANDLE handle, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  auto file = objectOf<File>(handle);
  Entry entry;
  if (!file) return FALSE;
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
  if (statx(file->descriptor(), "", AT_EMPTY_PATH, kWanted, &entry.facts) != 0) return failOn({});
  WIN32_FILE_ATTRIBUTE_DATA data = dataOf(entry, 0);
  if (created) *created = data.ftCreationTime;
  if (accessed) *accessed = data.ftLastAccessTime;
  if (written) *written = data.ftLastWriteTime;
  return TRUE;
}

BOOL SetFileTime(HANDLE handle, const FILETIME*, const FILETIME* accessed, const FILETIME* written) {
  auto file = writable(handle);
  if (!file) return FALSE;
  auto timeOf = [](const FILETIME* time) {
    // All bits: what the handle does later isn't to change it either, which can only be passed over.
    bool leave = !time || ticksOf(*time) == 0 || ticksOf(*time) == -1;
    return leave ? timespec{0, UTIME_OMIT} : timespecOf(*time);
  };
  timespec times[] = {timeOf(accessed), timeOf(written)};
  return futimens(file->descriptor(), times) == 0 || failOn({});
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
  if (!nativePath(path, &native)) return FALSE;
  if (stat(native.c_str(), &facts) != 0) return failOn(native);
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
