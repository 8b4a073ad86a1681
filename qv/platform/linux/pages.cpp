#include "qv/platform/pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>

namespace {

struct Range {
  size_t bytes;
  std::map<uintptr_t, DWORD> protections;  // of the pages that differ from the range's first protection
  DWORD protection;
};

std::mutex rangesLock;
std::map<uintptr_t, Range> ranges;

uintptr_t pageMask() {
  return static_cast<uintptr_t>(sysconf(_SC_PAGESIZE)) - 1;
}

int systemProtection(DWORD protection) {
  if (protection == PAGE_READWRITE) return PROT_READ | PROT_WRITE;
  return protection == PAGE_READONLY ? PROT_READ : PROT_NONE;
}

Range* rangeOf(uintptr_t address) {
  auto after = ranges.upper_bound(address);
  if (after == ranges.begin()) return nullptr;
  --after;
  return address - after->first < after->second.bytes ? &after->second : nullptr;
}

}  // namespace

LPVOID VirtualAlloc(LPVOID address, SIZE_T bytes, DWORD type, DWORD protection) {
  if (address != nullptr || type != (MEM_RESERVE | MEM_COMMIT) || bytes == 0) return nullptr;
  const size_t whole = (bytes + pageMask()) & ~pageMask();
  void* pages = mmap(nullptr, whole, systemProtection(protection), MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) return nullptr;
  const std::lock_guard lock(rangesLock);
  ranges[reinterpret_cast<uintptr_t>(pages)] = Range{whole, {}, protection};
  return pages;
}

BOOL VirtualProtect(LPVOID address, SIZE_T bytes, DWORD protection, DWORD* before) {
  const uintptr_t start = reinterpret_cast<uintptr_t>(address) & ~pageMask();
  const uintptr_t end = (reinterpret_cast<uintptr_t>(address) + bytes + pageMask()) & ~pageMask();
  const std::lock_guard lock(rangesLock);
  Range* range = rangeOf(start);
  if (range == nullptr || before == nullptr || rangeOf(end - 1) != range) return FALSE;
  const auto known = range->protections.find(start);
  *before = known != range->protections.end() ? known->second : range->protection;
  if (mprotect(reinterpret_cast<void*>(start), end - start, systemProtection(protection)) != 0) return FALSE;
  for (uintptr_t page = start; page < end; page += pageMask() + 1) range->protections[page] = protection;
  return TRUE;
}

BOOL VirtualFree(LPVOID address, SIZE_T bytes, DWORD type) {
  const std::lock_guard lock(rangesLock);
  const auto found = ranges.find(reinterpret_cast<uintptr_t>(address));
  if (found == ranges.end() || bytes != 0 || type != MEM_RELEASE) return FALSE;
  const bool gone = munmap(address, found->second.bytes) == 0;
  ranges.erase(found);
  return gone;
}

namespace qv::platform {

void prefaultPages(void* address, SIZE_T bytes) {
  // MADV_POPULATE_WRITE, which older headers lack and older kernels refuse.
  constexpr int kPopulateWrite = 23;
  const uintptr_t first = reinterpret_cast<uintptr_t>(address) & ~pageMask();
  const uintptr_t end = reinterpret_cast<uintptr_t>(address) + bytes;
  const int error = errno;
  madvise(reinterpret_cast<void*>(first), end - first, kPopulateWrite);
  errno = error;
}

}  // namespace qv::platform
