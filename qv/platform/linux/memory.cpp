#include "qv/platform/memory.h"

#include <errno.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/heap.h"

namespace qv::platform {
namespace {

// Far above any machine's memory, and low enough that adding a header never overflows.
constexpr SIZE_T kLargestBlock = SIZE_T{1} << 39;

struct GlobalRecord;

// Stands before the bytes of every global block and keeps them aligned to 16.
struct alignas(16) GlobalHeader {
  SIZE_T bytes;
  GlobalRecord* record;  // Null for a fixed block.

  void* data() { return this + 1; }
  static GlobalHeader* of(const void* data) {
    return static_cast<GlobalHeader*>(const_cast<void*>(data)) - 1;
  }
};

// What the handle of a moveable block stands for. The handle is the address of `header`: it ends in 8, which
// no block's address does, so both kinds of handle are told apart by their value.
struct alignas(16) GlobalRecord {
  uint64_t locks;
  GlobalHeader* header;  // Null for a block of 0 bytes.

  HGLOBAL handle() { return &header; }
};
static_assert(offsetof(GlobalRecord, header) == 8);

GlobalRecord* recordOf(HGLOBAL handle) {
  if ((reinterpret_cast<uintptr_t>(handle) & 15) != 8) return nullptr;
  return reinterpret_cast<GlobalRecord*>(static_cast<char*>(handle) - offsetof(GlobalRecord, header));
}

GlobalHeader* headerOf(HGLOBAL handle) {
  GlobalRecord* record = recordOf(handle);
  return record ? record->header : GlobalHeader::of(handle);
}

GlobalHeader* newBlock(SIZE_T bytes, bool zeroed, GlobalRecord* record) {
  if (bytes > kLargestBlock) return nullptr;
  SIZE_T all = sizeof(GlobalHeader) + bytes;
  auto* header = static_cast<GlobalHeader*>(zeroed ? std::calloc(1, all) : std::malloc(all));
  if (header) *header = {bytes, record};
  return header;
}

GlobalHeader* resizeInPlace(GlobalHeader* header, SIZE_T bytes) {
  if (bytes > header->bytes && sizeof(GlobalHeader) + bytes > malloc_usable_size(header)) return nullptr;
  header->bytes = bytes;
  return header;
}

GlobalHeader* resize(GlobalHeader* header, SIZE_T bytes, bool mayMove) {
  if (bytes > kLargestBlock) return nullptr;
  if (!mayMove) return resizeInPlace(header, bytes);
  auto* resized = static_cast<GlobalHeader*>(std::realloc(header, sizeof(GlobalHeader) + bytes));
  if (resized) resized->bytes = bytes;
  return resized;
}

HGLOBAL newMoveable(UINT flags, SIZE_T bytes) {
  auto* record = static_cast<GlobalRecord*>(std::malloc(sizeof(GlobalRecord)));
  if (!record) return nullptr;
  *record = {0, nullptr};
  if (bytes > 0) {
    record->header = newBlock(bytes, flags & GMEM_ZEROINIT, record);
    if (!record->header) return std::free(record), nullptr;
  }
  return record->handle();
}

HGLOBAL resizeMoveable(GlobalRecord* record, SIZE_T bytes, UINT flags) {
  if (bytes == 0) {
    std::free(record->header);
    record->header = nullptr;
    return record->handle();
  }
  SIZE_T before = record->header ? record->header->bytes : 0;
  bool mayMove = record->locks == 0 || (flags & GMEM_MOVEABLE);
  GlobalHeader* header =
      record->header ? resize(record->header, bytes, mayMove) : newBlock(bytes, false, record);
  if (!header) return nullptr;
  record->header = header;
  if ((flags & GMEM_ZEROINIT) && bytes > before) {
    std::memset(static_cast<char*>(header->data()) + before, 0, bytes - before);
  }
  return record->handle();
}

HGLOBAL resizeFixed(GlobalHeader* header, SIZE_T bytes, UINT flags) {
  SIZE_T before = header->bytes;
  header = resize(header, bytes, flags & GMEM_MOVEABLE);
  if (!header) return nullptr;
  if ((flags & GMEM_ZEROINIT) && bytes > before) {
    std::memset(static_cast<char*>(header->data()) + before, 0, bytes - before);
  }
  return header->data();
}

HGLOBAL orOutOfMemory(HGLOBAL block) {
  return block ? block : failWith(ERROR_NOT_ENOUGH_MEMORY, static_cast<HGLOBAL>(nullptr));
}

// The kernel copies the word in before it refuses the first argument, so the error tells whether the word
// can be read. Unlike a read through /proc or a pipe this takes no descriptor and no permission.
bool isReadableWord(uintptr_t address) {
  if (address < sizeof(uint64_t)) return false;  // The kernel takes null for no argument.
  constexpr long kNoSuchHow = -1;
  constexpr size_t kKernelSignalSetSize = 8;
  int saved = errno;
  syscall(SYS_rt_sigprocmask, kNoSuchHow, address & ~uintptr_t{7}, nullptr, kKernelSignalSetSize);
  bool readable = errno != EFAULT;
  errno = saved;
  return readable;
}

}  // namespace

void* Heap::allocate(SIZE_T bytes, bool zeroed) {
  if (bytes > kLargestBlock) return nullptr;
  Guard guard(*this);
  Block* block = isLarge(bytes) ? newLarge(bytes) : newSmall(bytes);
  if (!block) return nullptr;
  if (zeroed) std::memset(block->data(), 0, bytes);
  return block->data();
}

void* Heap::resize(void* data, SIZE_T bytes, bool zeroed, bool inPlace) {
  if (bytes > kLargestBlock) return nullptr;
  Block* block = Block::of(data);
  SIZE_T before = block->bytes;
  if (bytes <= block->capacity && (inPlace || !QV_HEAP_BLOCKS_STAND_ALONE)) {
    block->bytes = bytes;
  } else {
    void* moved = inPlace ? nullptr : allocate(bytes, false);
    if (!moved) return nullptr;
    std::memcpy(moved, data, std::min(before, bytes));
    free(data);
    data = moved;
  }
  if (zeroed && bytes > before) std::memset(static_cast<char*>(data) + before, 0, bytes - before);
  return data;
}

void Heap::free(void* data) {
  Guard guard(*this);
  Block* block = Block::of(data);
  if (isLarge(block->capacity)) {
    Large* large = Large::of(block);
    (large->previous ? large->previous->next : larges_) = large->next;
    if (large->next) large->next->previous = large->previous;
    std::free(large);
    return;
  }
  Free* entry = static_cast<Free*>(data);
  Free*& head = free_[classOf(block->capacity)];
  entry->next = head;
  head = entry;
}

Heap::~Heap() {
  while (larges_) std::free(std::exchange(larges_, larges_->next));
  while (chunks_) std::free(std::exchange(chunks_, chunks_->next));
}

Heap::Block* Heap::newLarge(SIZE_T bytes) {
  auto* large = static_cast<Large*>(std::malloc(sizeof(Large) + bytes));
  if (!large) return nullptr;
  large->previous = nullptr;
  large->next = larges_;
  if (larges_) larges_->previous = large;
  larges_ = large;
  large->block = {bytes, bytes};
  return &large->block;
}

Heap::Block* Heap::newSmall(SIZE_T bytes) {
  size_t index = classOf(bytes);
  if (Free* entry = free_[index]) {
    free_[index] = entry->next;
    Block* block = Block::of(entry);
    block->bytes = bytes;
    return block;
  }
  SIZE_T capacity = capacityOf(index);
  if (static_cast<SIZE_T>(end_ - next_) < sizeof(Block) + capacity && !newChunk()) return nullptr;
  auto* block = reinterpret_cast<Block*>(next_);
  next_ += sizeof(Block) + capacity;
  *block = {bytes, capacity};
  return block;
}

// What is left of the last chunk is given up: at most one small block's worth of at least 64 KiB.
bool Heap::newChunk() {
  auto* chunk = static_cast<Chunk*>(std::malloc(chunkBytes_));
  if (!chunk) return false;
  chunk->next = chunks_;
  chunks_ = chunk;
  next_ = reinterpret_cast<char*>(chunk + 1);
  end_ = reinterpret_cast<char*>(chunk) + chunkBytes_;
  chunkBytes_ = std::min(chunkBytes_ * 2, kLargestChunk);
  return true;
}

}  // namespace qv::platform

using namespace qv::platform;

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  if (flags & GMEM_MOVEABLE) return orOutOfMemory(newMoveable(flags, bytes));
  GlobalHeader* header = newBlock(bytes, flags & GMEM_ZEROINIT, nullptr);
  return orOutOfMemory(header ? header->data() : nullptr);
}

HGLOBAL GlobalReAlloc(HGLOBAL block, SIZE_T bytes, UINT flags) {
  GlobalRecord* record = recordOf(block);
  return orOutOfMemory(record ? resizeMoveable(record, bytes, flags)
                              : resizeFixed(GlobalHeader::of(block), bytes, flags));
}

SIZE_T GlobalSize(HGLOBAL block) {
  if (!block) return failWith(ERROR_INVALID_HANDLE, SIZE_T{0});
  GlobalHeader* header = headerOf(block);
  return header ? header->bytes : 0;
}

LPVOID GlobalLock(HGLOBAL block) {
  GlobalRecord* record = recordOf(block);
  if (!record) return block;
  if (!record->header) return failWith(ERROR_DISCARDED, nullptr);
  ++record->locks;
  return record->header->data();
}

BOOL GlobalUnlock(HGLOBAL block) {
  GlobalRecord* record = recordOf(block);
  if (!record) return TRUE;
  if (record->locks == 0) return fail(ERROR_NOT_LOCKED);
  if (--record->locks > 0) return TRUE;
  return fail(ERROR_SUCCESS);
}

HGLOBAL GlobalHandle(LPCVOID address) {
  if (!address) return failWith(ERROR_INVALID_PARAMETER, static_cast<HGLOBAL>(nullptr));
  GlobalRecord* record = GlobalHeader::of(address)->record;
  return record ? record->handle() : const_cast<void*>(address);
}

HGLOBAL GlobalFree(HGLOBAL block) {
  if (!block) return nullptr;
  GlobalRecord* record = recordOf(block);
  std::free(record ? record->header : GlobalHeader::of(block));
  std::free(record);
  return nullptr;
}

HANDLE HeapCreate(DWORD options, SIZE_T initialSize, SIZE_T maximumSize) {
  if (maximumSize != 0) return failWith(ERROR_INVALID_PARAMETER, static_cast<HANDLE>(nullptr));
  HANDLE heap = new (std::nothrow) Heap(!(options & HEAP_NO_SERIALIZE), initialSize);
  return orOutOfMemory(heap);
}

BOOL HeapDestroy(HANDLE heap) {
  delete static_cast<Heap*>(heap);
  return TRUE;
}

LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  return static_cast<Heap*>(heap)->allocate(bytes, flags & HEAP_ZERO_MEMORY);
}

LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes) {
  if (!block) return nullptr;
  bool inPlace = flags & HEAP_REALLOC_IN_PLACE_ONLY;
  return static_cast<Heap*>(heap)->resize(block, bytes, flags & HEAP_ZERO_MEMORY, inPlace);
}

BOOL HeapFree(HANDLE heap, DWORD, LPVOID block) {
  if (block) static_cast<Heap*>(heap)->free(block);
  return TRUE;
}

SIZE_T HeapSize(HANDLE, DWORD, LPCVOID block) {
  return Heap::Block::of(block)->bytes;
}

HANDLE GetProcessHeap() {
  // Never destroyed: blocks of it may be used by whatever runs last in the process.
  static Heap* heap = new Heap(true, 0);
  return heap;
}

LPVOID CoTaskMemAlloc(SIZE_T bytes) {
  return bytes > kLargestBlock ? nullptr : std::malloc(bytes);
}

LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T bytes) {
  if (bytes > kLargestBlock) return nullptr;
  if (block && bytes == 0) return std::free(block), nullptr;
  return std::realloc(block, bytes);
}

void CoTaskMemFree(LPVOID block) {
  std::free(block);
}

size_t _msize(void* block) {
  return malloc_usable_size(block);
}

BOOL IsBadReadPtr(const void* address, UINT_PTR bytes) {
  if (bytes == 0) return FALSE;
  auto first = reinterpret_cast<uintptr_t>(address);
  uintptr_t last = first + bytes - 1;
  if (last < first) return TRUE;
  constexpr uintptr_t kPage = 4096;
  for (uintptr_t place = first;; place = (place & ~(kPage - 1)) + kPage) {
    if (!isReadableWord(place)) return TRUE;
    if ((place | (kPage - 1)) >= last) return FALSE;
  }
}
