// Storage: blocks, growth, and the operations on ranges of slots.

#include "qv/core/detail/list_storage.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qv::list {

namespace {

constexpr int64_t kMaxItems = std::numeric_limits<int32_t>::max();
constexpr uint64_t kStackScratch = 512;

// Items are mostly one pointer or a few words: copies of a size known here need no call.
inline void copyItems(char* to, const void* from, uint64_t bytes) {
  if (bytes == 8) [[likely]]
    std::memcpy(to, from, 8);
  else if (bytes == 16)
    std::memcpy(to, from, 16);
  else if (bytes == 4)
    std::memcpy(to, from, 4);
  else
    std::memcpy(to, from, bytes);
}

void copyIn(tQVLIST& list, int32_t at, const void* items, int32_t count) {
  char* slot = slotAt(list, at);
  const uint64_t bytes = static_cast<uint64_t>(count) * list.itemSize;
  if (at < list.itemCount)
    std::memmove(slot + bytes, slot, static_cast<uint64_t>(list.itemCount - at) * list.itemSize);
  copyItems(slot, items, bytes);
  list.itemCount += count;
  list.pendingItem = nullptr;
}

// One item at the end, with room for it and nothing to lock or ask: the case that loops consist of.
inline bool isPlainAppend(const tQVLIST& list, int32_t index, const void* items, int32_t count) {
  constexpr uint32_t kAsked = kListFreeThreaded | kListLocked | kListHeap;
  return (list.options & kAsked) == kListFreeThreaded && items && count == 1 &&
         (index < 0 || index >= list.itemCount) && list.itemCount < list.allocated;
}

// Apart from the above, so that the above needs no stack frame.
[[gnu::noinline]] HRESULT insertHeld(tQVLIST* list, int32_t index, const void* items, int32_t count) {
  Access access(list);
  return access ? insert(*list, index, items, count) : E_FAIL;
}

// Slides the `gap` slots between the two places over and puts the range down, by way of `scratch`.
void rotateRange(const tQVLIST& list, int32_t from, int32_t to, int32_t count, void* scratch) {
  const uint64_t bytes = static_cast<uint64_t>(count) * list.itemSize;
  const uint64_t gap = static_cast<uint64_t>(std::abs(from - to)) * list.itemSize;
  std::memcpy(scratch, slotAt(list, from), bytes);
  if (from < to)
    std::memmove(slotAt(list, from), slotAt(list, from + count), gap);
  else
    std::memmove(slotAt(list, to + count), slotAt(list, to), gap);
  std::memcpy(slotAt(list, to), scratch, bytes);
}

HRESULT moveRange(tQVLIST& list, int32_t from, int32_t to, int32_t count) {
  if (count < 0) count = list.itemCount - std::max(from, to);
  if (int64_t{std::max(from, to)} + count > list.itemCount) return E_FAIL;
  if (count < 1 || from == to) return S_OK;
  const uint64_t bytes = static_cast<uint64_t>(count) * list.itemSize;
  if (bytes <= kStackScratch) {
    alignas(16) char scratch[kStackScratch];
    rotateRange(list, from, to, count, scratch);
    return S_OK;
  }
  void* scratch = obtainBlock(bytes);
  if (!scratch) return E_OUTOFMEMORY;
  rotateRange(list, from, to, count, scratch);
  releaseBlock(scratch);
  return S_OK;
}

HRESULT deletePending(tQVLIST& list) {
  if (!list.pendingItem) return E_FAIL;
  discardPending(list);
  return S_OK;
}

HRESULT deleteItems(tQVLIST& list, int32_t start, int32_t count, int32_t shrinkToo) {
  if (start < 0 && count < 0) return deletePending(list);
  if (count < 0) count = list.itemCount - start;
  if (count < 1) return S_OK;
  if (start < 0 || start >= list.itemCount) return E_FAIL;
  count = std::min(count, list.itemCount - start);
  if (isHeap(list))
    for (int32_t i = start; i < start + count; ++i) releaseItem(list, itemAt(list, i));
  closeSlots(list, start, count);
  // The items are gone whether or not the capacity can be given back.
  if (shrinkToo && list.allocated - list.itemCount > list.growBy) shrink(list, -1);
  return S_OK;
}

}  // namespace

[[gnu::noinline]] HRESULT grow(tQVLIST& list, int64_t items) {
  const int64_t add = roundUp(items < 1 ? list.growBy : items, list.growBy);
  const int64_t capacity = list.allocated + add;
  if (capacity > kMaxItems) return E_OUTOFMEMORY;
  if (list.itemSize > std::numeric_limits<uint64_t>::max() / static_cast<uint64_t>(capacity))
    return E_OUTOFMEMORY;
  // A new block rather than a longer old one: the old data stay valid if there is no memory.
  void* block = obtainBlock(static_cast<uint64_t>(capacity) * list.itemSize);
  if (!block) return E_OUTOFMEMORY;
  std::memcpy(block, list.data, static_cast<uint64_t>(list.allocated) * list.itemSize);
  releaseBlock(list.data);
  list.data = block;
  list.allocated = static_cast<int32_t>(capacity);
  return S_OK;
}

HRESULT shrink(tQVLIST& list, int64_t items) {
  const int64_t spare = list.allocated - list.itemCount;
  int64_t release = roundUp(items < 0 ? spare : std::min(items, spare), list.growBy);
  if (release > spare) release -= list.growBy;
  if (release <= 0) return S_OK;
  const uint64_t bytes = static_cast<uint64_t>(list.allocated - release) * list.itemSize;
  void* block = resizeBlock(list.data, std::max(list.itemSize, bytes));
  if (!block) return E_OUTOFMEMORY;
  list.data = block;
  list.allocated -= static_cast<int32_t>(release);
  return S_OK;
}

HRESULT insert(tQVLIST& list, int32_t index, const void* items, int32_t count) {
  const void* from = items;
  int64_t number = count;
  if (!items) {
    if (count != -1 || !list.pendingItem) return E_FAIL;
    from = &list.pendingItem;
    number = 1;
  } else if (count < 0) {
    number = -number;
  } else if (isHeap(list)) {
    return E_FAIL;
  }
  if (number > list.allocated - list.itemCount) {
    const HRESULT status = grow(list, number);
    if (FAILED(status)) return status;
  }
  copyIn(list, clampIndex(list, index), from, static_cast<int32_t>(number));
  return S_OK;
}

void closeSlots(tQVLIST& list, int32_t start, int32_t count) {
  const int32_t left = list.itemCount - count;
  std::memmove(slotAt(list, start), slotAt(list, start + count),
               static_cast<uint64_t>(left - start) * list.itemSize);
  std::memset(slotAt(list, left), 0, static_cast<uint64_t>(count) * list.itemSize);
  list.itemCount = left;
}

}  // namespace qv::list

using namespace qv;
using namespace qv::list;

HRESULT QvList_InsertList(tQVLIST* list, int32_t index, const void* items, int32_t count) {
  if (!isPlainAppend(*list, index, items, count)) return insertHeld(list, index, items, count);
  checkInvariants(*list);
  copyItems(slotAt(*list, list->itemCount), items, list->itemSize);
  list->itemCount++;
  list->pendingItem = nullptr;
  return S_OK;
}

HRESULT QvList_DeleteList(tQVLIST* list, int32_t start, int32_t count, int32_t shrink) {
  Access access(list);
  return access ? deleteItems(*list, start, count, shrink) : E_FAIL;
}

HRESULT QvList_GrowAllocated(tQVLIST* list, int32_t items) {
  Access access(list);
  return access ? grow(*list, items) : E_FAIL;
}

HRESULT QvList_ShrinkAllocated(tQVLIST* list, int32_t items) {
  Access access(list);
  return access ? shrink(*list, items) : E_FAIL;
}

HRESULT QvList_ArrayForceItemCount(tQVLIST* list, int32_t count, int32_t shrink) {
  Access access(list);
  if (!access || !isInline(*list) || count < 0) return E_FAIL;
  if (count > list->allocated) {
    const HRESULT status = grow(*list, int64_t{count} - list->allocated);
    if (FAILED(status)) return status;
  }
  list->itemCount = count;
  return deleteItems(*list, 0, 0, shrink);
}

HRESULT QvList_MoveRange(tQVLIST* list, int32_t from, int32_t to, int32_t count) {
  if (from < 0) return E_INVALIDARG;
  Access access(list);
  return access ? moveRange(*list, from, std::max(to, 0), count) : E_FAIL;
}
