#include "qv/platform/mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <map>
#include <mutex>

#include "qv/platform/linux/open_files.h"

namespace qv::platform {
namespace {

constexpr uint64_t kGranularity = 65536;

class Mapping : public Object {
 public:
  Mapping(int descriptor, uint64_t size, bool writes) : file_(descriptor), size_(size), writes_(writes) {}
  int descriptor() const { return file_.get(); }
  uint64_t size() const { return size_; }
  bool writes() const { return writes_; }

 private:
  const DescriptorGuard file_;
  const uint64_t size_;
  const bool writes_;
};

// The views that stand, by their addresses.
class Views {
 public:
  void add(void* address, size_t bytes) {
    std::lock_guard lock(mutex_);
    views_[address] = bytes;
  }
  bool remove(void* address) {
    std::lock_guard lock(mutex_);
    auto view = views_.find(address);
    if (view == views_.end()) return false;
    // Under the lock: another thread may be given the address as soon as it is free.
    munmap(address, view->second);
    views_.erase(view);
    return true;
  }

 private:
  std::mutex mutex_;
  std::map<void*, size_t> views_;
};

Views& views() {
  static auto* instance = new Views;
  return *instance;
}

uint64_t joined(DWORD high, DWORD low) {
  return uint64_t{high} << 32 | low;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

HANDLE CreateFileMappingW(HANDLE handle, SECURITY_ATTRIBUTES*, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, LPCWSTR name) {
  bool writes = protection == PAGE_READWRITE;
  if (name || (!writes && protection != PAGE_READONLY)) return failWith(ERROR_INVALID_PARAMETER, nullptr);
  auto file = objectOf<File>(handle);
  LARGE_INTEGER now;
  if (!file || !GetFileSizeEx(handle, &now)) return nullptr;
  if (!file->mayRead() || (writes && !file->mayWrite())) return failWith(ERROR_ACCESS_DENIED, nullptr);
  auto present = static_cast<uint64_t>(now.QuadPart);
  uint64_t size = joined(sizeHigh, sizeLow);
  if (size == 0 && present == 0) return failWith(ERROR_FILE_INVALID, nullptr);
  if (size > present && !writes) return failWith(ERROR_NOT_ENOUGH_MEMORY, nullptr);
  if (size > present && ftruncate(file->descriptor(), static_cast<off_t>(size)) != 0) {
    return failWith(errorOfPath({}), nullptr);
  }
  if (writes) file->changed();
  int own = fcntl(file->descriptor(), F_DUPFD_CLOEXEC, 0);
  if (own < 0) return failWith(errorOfPath({}), nullptr);
  return openHandle(std::make_shared<Mapping>(own, size ? size : present, writes));
}

LPVOID MapViewOfFile(HANDLE handle, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
  auto mapping = objectOf<Mapping>(handle);
  uint64_t offset = joined(offsetHigh, offsetLow);
  bool writes = access & FILE_MAP_WRITE;
  if (!mapping) return nullptr;
  if (offset % kGranularity != 0) return failWith(ERROR_MAPPED_ALIGNMENT, nullptr);
  bool beyond = offset >= mapping->size() || bytes > mapping->size() - offset;
  if (beyond || (writes && !mapping->writes())) return failWith(ERROR_ACCESS_DENIED, nullptr);
  size_t length = bytes ? bytes : mapping->size() - offset;
  int protection = PROT_READ | (writes ? PROT_WRITE : 0);
  void* view =
      mmap(nullptr, length, protection, MAP_SHARED, mapping->descriptor(), static_cast<off_t>(offset));
  if (view == MAP_FAILED) return failWith(errorOfPath({}), nullptr);
  views().add(view, length);
  return view;
}

BOOL UnmapViewOfFile(LPCVOID view) {
  return views().remove(const_cast<void*>(view)) || fail(ERROR_INVALID_ADDRESS);
}
