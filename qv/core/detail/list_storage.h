// The operations below the exported ones: memory, growth and slots, without opening or lock. Callers hold the
// list.
#pragma once

#include "qv/core/detail/list_access.h"
#include "qv/platform/detail/alloc_seam.h"

namespace qv::list {

// Storage blocks: zeroed, null on failure; their size can be asked for.
void* obtainBlock(uint64_t bytes);
void* resizeBlock(void* block, uint64_t bytes);  // on failure the old block stands
void releaseBlock(void* block);
uint64_t blockSize(void* block);

// Items of a heap list, from its private heap or the run-time; null on failure.
void* resizeItem(const tQVLIST& list, void* item, uint64_t bytes);
void releaseItem(const tQVLIST& list, void* item);
uint64_t itemBytes(const tQVLIST& list, void* item);
inline void* obtainItem(const tQVLIST& list, uint64_t bytes) {
  return list.heap ? platform::heapAlloc(list.heap, list.heapAllocFlags, bytes)
                   : platform::runtimeCalloc(1, bytes);
}

// `value` rounded up to whole grow units; 0 stays 0.
inline int64_t roundUp(int64_t value, int64_t unit) {
  const int64_t raised = value - 1 + unit;
  return raised - raised % unit;
}

// Room for at least `items` more (below 1: a grow unit), in a new block.
HRESULT grow(tQVLIST& list, int64_t items);

// Gives back whole grow units out of `items` spare ones (negative: all).
HRESULT shrink(tQVLIST& list, int64_t items);

// QvList_InsertList and QvList_AllocItem once the list is held.
HRESULT insert(tQVLIST& list, int32_t index, const void* items, int32_t count);
HRESULT makePending(tQVLIST& list, uint64_t size);

// Takes slots out, zeroing what is vacated at the end; what they point to is the caller's.
void closeSlots(tQVLIST& list, int32_t start, int32_t count);

// Frees the pending item, if any, and empties the slot.
void discardPending(tQVLIST& list);

}  // namespace qv::list
