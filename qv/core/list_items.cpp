// Items that a heap list owns: allocation, the pending item, moves between lists.

#include <algorithm>
#include <cstring>

#include "qv/core/detail/list_storage.h"

namespace qv::list {

namespace {

HRESULT resizeItemAt(const tQVLIST& list, int32_t index, uint64_t size) {
  void** slot = reinterpret_cast<void**>(slotAt(list, index));
  // The run-time frees a block that is resized to nothing; the slot would then dangle.
  void* item = resizeItem(list, *slot, std::max<uint64_t>(size, 1));
  if (!item) return E_OUTOFMEMORY;
  *slot = item;
  return S_OK;
}

int64_t sizeOfItem(const tQVLIST& list, int32_t index) {
  if (isInline(list)) return static_cast<int64_t>(list.itemSize);
  if (!isHeap(list) || index >= list.itemCount) return 0;
  return static_cast<int64_t>(itemBytes(list, itemAt(list, index)));
}

int64_t sizeOfList(const tQVLIST& list) {
  int64_t bytes = static_cast<int64_t>(blockSize(list.data) + sizeof(tQVLIST));
  if (isInline(list)) return bytes;
  for (int32_t i = 0; i < list.itemCount; ++i) bytes += sizeOfItem(list, i);
  return bytes;
}

HRESULT allocAndInsert(tQVLIST& list, const void* source, uint64_t size, int32_t at) {
  if (!isAdmitted(list)) return E_FAIL;
  HRESULT status = makePending(list, size);
  if (FAILED(status)) return status;
  if (source) std::memcpy(list.pendingItem, source, size);
  status = insert(list, at, nullptr, -1);
  if (FAILED(status)) discardPending(list);
  return status;
}

// One item goes over by way of the target's pending slot; the source keeps it if the target can't take it.
HRESULT moveItem(tQVLIST& target, int32_t targetIndex, tQVLIST& source, int32_t sourceIndex) {
  target.pendingItem = itemAt(source, sourceIndex);
  const HRESULT status = insert(target, targetIndex, nullptr, -1);
  target.pendingItem = nullptr;
  if (SUCCEEDED(status)) closeSlots(source, sourceIndex, 1);
  return status;
}

HRESULT moveItems(tQVLIST& target, int32_t targetIndex, tQVLIST& source, int32_t sourceIndex, int32_t count) {
  if (!isHeap(target) || !isHeap(source) || target.pendingItem) return E_FAIL;
  if (count < 0) count = source.itemCount;
  if (count == 0) return S_OK;
  if (sourceIndex < 0 || int64_t{sourceIndex} + count > source.itemCount) return E_FAIL;
  // Asked before anything moves: an item that one list took and the other kept would be freed twice.
  if (!isAdmitted(target) || !isAdmitted(source)) return E_FAIL;
  const int32_t at = clampIndex(target, targetIndex);
  HRESULT status = S_OK;
  for (int32_t i = sourceIndex + count - 1; i >= sourceIndex && SUCCEEDED(status); --i)
    status = moveItem(target, at, source, i);
  return status;
}

}  // namespace

HRESULT makePending(tQVLIST& list, uint64_t size) {
  if (!isHeap(list) || list.pendingItem) return E_FAIL;
  list.pendingItem = obtainItem(list, size);
  return list.pendingItem ? S_OK : E_OUTOFMEMORY;
}

void discardPending(tQVLIST& list) {
  releaseItem(list, list.pendingItem);
  list.pendingItem = nullptr;
}

}  // namespace qv::list

using namespace qv;
using namespace qv::list;

HRESULT QvList_AllocItem(tQVLIST* list, uint64_t size, void** item) {
  Access access(list);
  if (!access) return E_FAIL;
  const HRESULT status = makePending(*list, size);
  if (SUCCEEDED(status) && item) *item = list->pendingItem;
  return status;
}

HRESULT QvList_AllocAndInsertItem(tQVLIST* list, const void* source, uint64_t size, int32_t index,
                                  int32_t* outIndex) {
  Lock lock(*list);
  const int32_t at = clampIndex(*list, index);
  const HRESULT status = allocAndInsert(*list, source, size, at);
  if (outIndex) *outIndex = SUCCEEDED(status) ? at : -1;
  return status;
}

HRESULT QvList_ReAllocItem(tQVLIST* list, int32_t index, uint64_t size) {
  Access access(list);
  return access && isHeap(*list) ? resizeItemAt(*list, index, size) : E_FAIL;
}

int64_t QvList_AllocSize(tQVLIST* list, int32_t index) {
  Access access(list);
  if (!access) return -1;
  return index < 0 ? sizeOfList(*list) : sizeOfItem(*list, index);
}

HRESULT QvList_MoveItemsBetweenHeapLists(tQVLIST* target, int32_t targetIndex, tQVLIST* source,
                                         int32_t sourceIndex, int32_t count) {
  if (target == source) return E_FAIL;
  Lock targetLock(*target);
  Lock sourceLock(*source);
  return moveItems(*target, targetIndex, *source, sourceIndex, count);
}
