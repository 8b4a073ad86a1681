// Named objects: one file an object in memory that the processes of one user share.
//
// Whoever uses an object holds a shared lock on its file. The system drops the lock when the process ends,
// however it ends; so a file on which an exclusive lock can be had belongs to nobody, and its state is made
// anew. All opening and closing happens under the lock of the folder.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "qv/platform/linux/waitable.h"

namespace qv::platform {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

// The folder of this user's objects; nobody else may have put one there in its place.
const std::string& folder() {
  static const std::string path = [] {
    std::string made = "/dev/shm/qv-objects-" + std::to_string(getuid());
    mkdir(made.c_str(), 0700);
    struct stat facts;
    bool own = lstat(made.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == getuid();
    return own ? made : std::string("/nonexistent");
  }();
  return path;
}

Descriptor openIn(const std::string& name, int flags = O_CREAT) {
  return Descriptor(open((folder() + "/" + name).c_str(), flags | O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0600));
}

// Holds the folder's lock, against other processes and (by the mutex) against other threads.
class FolderLock {
 public:
  FolderLock() : lock_(mutex()), file_(openIn("lock")) {
    while (file_ && flock(file_.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  explicit operator bool() const { return static_cast<bool>(file_); }

 private:
  static std::mutex& mutex() {
    static auto* instance = new std::mutex;
    return *instance;
  }
  std::lock_guard<std::mutex> lock_;
  Descriptor file_;
};

template <typename T>
T* mapShared(const Descriptor& file) {
  if (ftruncate(file.get(), sizeof(T)) != 0) return nullptr;
  void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  return memory == MAP_FAILED ? nullptr : static_cast<T*>(memory);
}

// The one mapping of a name in this process; ends with the last handle.
struct Mapping {
  std::string name;
  Descriptor file;
  WaitState* state;

  Mapping(std::string itsName, Descriptor itsFile, WaitState* itsState)
      : name(std::move(itsName)), file(std::move(itsFile)), state(itsState) {}
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping();
};

std::map<std::string, std::weak_ptr<Mapping>>& mappings() {
  static auto* instance = new std::map<std::string, std::weak_ptr<Mapping>>;
  return *instance;
}

Mapping::~Mapping() {
  FolderLock lock;
  auto entry = mappings().find(name);
  // Another thread may have opened the name again since the last handle went.
  if (entry != mappings().end() && entry->second.expired()) mappings().erase(entry);
  munmap(state, sizeof(WaitState));
  if (flock(file.get(), LOCK_EX | LOCK_NB) == 0) unlink((folder() + "/" + name).c_str());
}

// A file name for an object's name: 128 bits of a hash, since names may be longer than file names and hold
// any character.
std::string fileNameOf(LPCWSTR name, size_t length) {
  constexpr uint64_t kPrime = 0x100000001b3u;
  uint64_t forward = 0xcbf29ce484222325u, backward = 0x84222325cbf29ce4u;
  for (size_t i = 0; i < length; ++i) {
    forward = (forward ^ name[i]) * kPrime;
    backward = (backward ^ name[length - 1 - i]) * kPrime;
  }
  char text[40];
  snprintf(text, sizeof text, "o%016llx%016llx", static_cast<unsigned long long>(forward),
           static_cast<unsigned long long>(backward));
  return text;
}

// Drops "Local\" or "Global\": all processes of a user are one session here.
LPCWSTR withoutPrefix(LPCWSTR name) {
  for (std::u16string_view prefix : {u"Local\\", u"Global\\"}) {
    if (std::u16string_view(name).starts_with(prefix)) return name + prefix.size();
  }
  return name;
}

DWORD checkName(std::u16string_view name) {
  if (name.size() > MAX_PATH) return ERROR_FILENAME_EXCED_RANGE;
  if (name.find(u'\\') != name.npos) return ERROR_PATH_NOT_FOUND;
  return ERROR_SUCCESS;
}

std::shared_ptr<WaitState> share(const std::shared_ptr<Mapping>& mapping) {
  return {mapping, mapping->state};
}

// Opens the object's file with a shared lock and says whether somebody else has it. Under the folder's lock.
std::shared_ptr<Mapping> mapObject(const std::string& name, bool create, bool* inUse) {
  Descriptor file = openIn(name, create ? O_CREAT : 0);
  if (!file) return nullptr;
  *inUse = flock(file.get(), LOCK_EX | LOCK_NB) != 0;
  if (!*inUse && !create) {
    unlink((folder() + "/" + name).c_str());  // Left over from a process that was killed.
    return nullptr;
  }
  flock(file.get(), LOCK_SH);
  auto* state = mapShared<WaitState>(file);
  return state ? std::make_shared<Mapping>(name, std::move(file), state) : nullptr;
}

NamedState existing(const std::shared_ptr<Mapping>& mapping, WaitKind kind) {
  auto found = static_cast<WaitKind>(mapping->state->kind);
  bool bothEvents = found != WaitKind::kSemaphore && kind != WaitKind::kSemaphore;
  if (found != kind && !bothEvents) return {nullptr, true, ERROR_INVALID_HANDLE};
  return {share(mapping), true, ERROR_ALREADY_EXISTS};
}

}  // namespace

NamedState openNamed(LPCWSTR name, bool create, WaitKind kind, int32_t count, int32_t maximum) {
  name = withoutPrefix(name);
  std::u16string_view text(name);
  if (DWORD error = checkName(text)) return {nullptr, false, error};
  std::string fileName = fileNameOf(name, text.size());

  std::shared_ptr<Mapping> mapping;  // Outlives the lock: its end takes the lock itself.
  FolderLock lock;
  if (!lock || !sharedPulse()) return {nullptr, false, ERROR_ACCESS_DENIED};
  if (auto known = mappings().find(fileName); known != mappings().end()) mapping = known->second.lock();
  if (mapping) return existing(mapping, kind);

  bool inUse = false;
  mapping = mapObject(fileName, create, &inUse);
  if (!mapping) return {nullptr, false, create ? ERROR_NOT_ENOUGH_MEMORY : ERROR_FILE_NOT_FOUND};
  mappings()[fileName] = mapping;
  if (inUse) return existing(mapping, kind);
  auto* state = new (mapping->state) WaitState;
  state->count = count;
  state->maximum = maximum;
  state->kind = static_cast<uint32_t>(kind);
  return {share(mapping), false, ERROR_SUCCESS};
}

Pulse* sharedPulse() {
  static Pulse* pulse = [] {
    Descriptor file = openIn("pulse");
    return file ? mapShared<Pulse>(file) : nullptr;
  }();
  return pulse;
}

}  // namespace qv::platform
