// Where the bytes come from: global blocks for records, storage and scratch; the run-time or the private heap
// for items.

#include <cstdlib>

#include "qv/core/detail/list_storage.h"

namespace qv::list {

void* obtainBlock(uint64_t bytes) {
  HGLOBAL handle = platform::globalAlloc(GPTR, bytes);
  return handle ? GlobalLock(handle) : nullptr;
}

void* resizeBlock(void* block, uint64_t bytes) {
  HGLOBAL handle = GlobalHandle(block);
  GlobalUnlock(handle);
  // The blocks are fixed; the flag lets them move all the same.
  HGLOBAL resized = platform::globalReAlloc(handle, bytes, GMEM_MOVEABLE | GMEM_ZEROINIT);
  void* address = GlobalLock(resized ? resized : handle);
  return resized ? address : nullptr;
}

void releaseBlock(void* block) {
  HGLOBAL handle = GlobalHandle(block);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

uint64_t blockSize(void* block) {
  return GlobalSize(GlobalHandle(block));
}

void* resizeItem(const tQVLIST& list, void* item, uint64_t bytes) {
  return list.heap ? platform::heapReAlloc(list.heap, list.heapAllocFlags, item, bytes)
                   : platform::runtimeRealloc(item, bytes);
}

void releaseItem(const tQVLIST& list, void* item) {
  if (!item) return;
  if (list.heap)
    HeapFree(list.heap, list.heapFreeFlags, item);
  else
    std::free(item);
}

uint64_t itemBytes(const tQVLIST& list, void* item) {
  if (!item) return 0;
  return list.heap ? HeapSize(list.heap, list.heapAllocFlags & ~DWORD{1}, item) : _msize(item);
}

}  // namespace qv::list
