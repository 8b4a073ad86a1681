#include "qv/platform/linux/maps.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <string_view>

#include "qv/platform/memory.h"
#include "qv/platform/pages.h"

namespace qv::platform {
namespace {

constexpr uintptr_t kPage = 4096;
constexpr uintptr_t kHighest = 0x7ffffffff000;  // the first address that no user program has
constexpr DWORD kFree = 0x10000;
constexpr DWORD kExecute = 0x10, kExecuteRead = 0x20, kExecuteReadWrite = 0x40;

struct Mapping {
  uintptr_t begin = 0;
  uintptr_t end = 0;
  std::string_view rights;  // "r-xp"
  std::string_view path;    // empty without a name
  bool isFile() const { return !path.empty() && path.front() == '/'; }
};

std::string_view nextWord(std::string_view& line) {
  const size_t end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(line.find_first_not_of(' ', end), line.size()));
  return word;
}

// "7f0000000000-7f0000001000 r-xp 00000000 08:01 1234   /usr/lib/x.so"
Mapping parse(std::string_view line) {
  Mapping mapping;
  const std::string_view range = nextWord(line);
  const auto first = std::from_chars(range.data(), range.data() + range.size(), mapping.begin, 16);
  if (first.ptr != range.data() + range.size()) {
    std::from_chars(first.ptr + 1, range.data() + range.size(), mapping.end, 16);
  }
  mapping.rights = nextWord(line);
  for (int skipped = 0; skipped < 3; ++skipped) nextWord(line);
  mapping.path = line;
  return mapping;
}

// Calls visit(mapping) for each mapping, in the order of addresses, until it answers false.
template <typename Visit>
void walk(Visit visit) {
  const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  char buffer[PATH_MAX + 256];
  size_t held = 0;
  for (bool more = true; more;) {
    const ssize_t got = read(file, buffer + held, sizeof(buffer) - held);
    if (got <= 0) break;
    held += static_cast<size_t>(got);
    std::string_view text(buffer, held);
    for (size_t end; more && (end = text.find('\n')) != text.npos; text.remove_prefix(end + 1)) {
      more = visit(parse(text.substr(0, end)));
    }
    held = text.size();
    std::memmove(buffer, text.data(), held);
  }
  close(file);
}

DWORD protectionOf(std::string_view rights) {
  const bool reads = rights[0] == 'r', writes = rights[1] == 'w', runs = rights[2] == 'x';
  if (runs) return writes ? kExecuteReadWrite : reads ? kExecuteRead : kExecute;
  return writes ? PAGE_READWRITE : reads ? PAGE_READONLY : PAGE_NOACCESS;
}

// A mapped file may have become shorter than its mapping.
bool beginsModule(uintptr_t base) {
  constexpr std::string_view kMagic = "\177ELF";
  const void* begin = reinterpret_cast<const void*>(base);
  return !IsBadReadPtr(begin, kMagic.size()) && std::memcmp(begin, kMagic.data(), kMagic.size()) == 0;
}

// Follows the mappings, and keeps where the run of pieces of one file began.
class Finder {
 public:
  Finder(uintptr_t address, MEMORY_BASIC_INFORMATION* out) : address_(address), out_(out) {}

  // False once it is decided.
  bool operator()(const Mapping& mapping) {
    if (mapping.begin > address_) return fillGap(mapping.begin);
    follow(mapping);
    if (address_ < mapping.end) return fill(mapping);
    gapBegin_ = mapping.end;
    return true;
  }
  void finish() {
    if (out_->State == 0) fillGap(kHighest);
  }

 private:
  void follow(const Mapping& mapping) {
    const size_t length = std::min(mapping.path.size(), sizeof(path_));
    const bool same = mapping.isFile() && mapping.begin == gapBegin_ &&
                      std::string_view(path_, length_) == mapping.path.substr(0, length);
    if (same) return;
    base_ = mapping.begin;
    std::copy_n(mapping.path.data(), length, path_);
    length_ = length;
  }
  bool fill(const Mapping& mapping) {
    const uintptr_t page = address_ & ~(kPage - 1);
    *out_ = {};
    out_->BaseAddress = reinterpret_cast<PVOID>(page);
    out_->AllocationBase = reinterpret_cast<PVOID>(base_);
    out_->AllocationProtect = out_->Protect = protectionOf(mapping.rights);
    out_->RegionSize = mapping.end - page;
    out_->State = MEM_COMMIT;
    out_->Type = !mapping.isFile() ? MEM_PRIVATE : beginsModule(base_) ? MEM_IMAGE : MEM_MAPPED;
    return false;
  }
  bool fillGap(uintptr_t end) {
    const uintptr_t page = address_ & ~(kPage - 1);
    *out_ = {};
    out_->BaseAddress = reinterpret_cast<PVOID>(page);
    out_->RegionSize = end - page;
    out_->State = kFree;
    out_->Protect = PAGE_NOACCESS;
    return false;
  }

  uintptr_t address_;
  MEMORY_BASIC_INFORMATION* out_;
  uintptr_t gapBegin_ = 0;
  uintptr_t base_ = 0;
  char path_[PATH_MAX];
  size_t length_ = 0;
};

}  // namespace

bool findMapping(uintptr_t address, MEMORY_BASIC_INFORMATION* information) {
  if (address >= kHighest) return false;
  *information = {};
  Finder finder(address, information);
  walk([&finder](const Mapping& mapping) { return finder(mapping); });
  finder.finish();
  return true;
}

size_t mappedFile(uintptr_t base, char* path, size_t capacity) {
  size_t length = 0;
  walk([&](const Mapping& mapping) {
    if (mapping.begin < base) return true;
    if (mapping.begin == base && mapping.isFile() && mapping.path.size() <= capacity) {
      length = mapping.path.size();
      std::copy_n(mapping.path.data(), length, path);
    }
    return false;
  });
  return length;
}

}  // namespace qv::platform
