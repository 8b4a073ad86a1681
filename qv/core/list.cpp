#include "qv/core/list.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "qv/core/detail/list_storage.h"

#ifdef QV_DEBUG_CHECKS
#include <cstdio>
#include <cstdlib>
#endif

namespace qv::list {

namespace {

constexpr uint32_t kHeapAllocFlags = 9;  // unsynchronised and zeroed: the list's discipline is the lock
constexpr uint32_t kHeapFreeFlags = 1;

int32_t growUnit(int32_t wanted) {
  return std::clamp(wanted < 1 ? kListDefaultGrow : wanted, kListMinGrow, kListMaxGrow);
}

int64_t firstAllocation(int32_t wanted, int32_t unit) {
  return roundUp(std::max(wanted < 1 ? kListDefaultGrow : wanted, 4), unit);
}

uint64_t strideFor(uint64_t itemSize, uint32_t options) {
  return (options & kListInline) != 0 ? (itemSize + 3) & ~uint64_t{3} : sizeof(void*);
}

bool isTooLarge(uint64_t itemSize, uint32_t options, int64_t allocation) {
  if (allocation > std::numeric_limits<int32_t>::max()) return true;
  if ((options & kListInline) == 0) return false;
  return itemSize > std::numeric_limits<uint64_t>::max() / static_cast<uint64_t>(allocation) - 3;
}

// The record and its storage; the lock and the heap come after, as they need Destroy to undo them.
HRESULT furnish(tQVLIST& list, uint64_t itemSize, int32_t allocation, int32_t growBy, uint32_t options) {
  const int32_t unit = growUnit(growBy);
  const int64_t capacity = firstAllocation(allocation, unit);
  if (isTooLarge(itemSize, options, capacity)) return E_OUTOFMEMORY;
  list.itemSize = strideFor(itemSize, options);
  list.data = obtainBlock(static_cast<uint64_t>(capacity) * list.itemSize);
  if (!list.data) return E_OUTOFMEMORY;
  list.magic = kListMagic;
  if ((options & kListLocked) != 0) InitializeCriticalSection(&list.lock);
  list.threadOwner = GetCurrentThreadId();
  list.options = options;
  list.allocated = static_cast<int32_t>(capacity);
  list.growBy = unit;
  return S_OK;
}

HRESULT addHeap(tQVLIST& list) {
  if (!isHeap(list)) return S_OK;
  list.heapAllocFlags = kHeapAllocFlags;
  list.heapFreeFlags = kHeapFreeFlags;
  if ((list.options & kListPrivateHeap) == 0) return S_OK;
  list.heap = platform::heapCreate(HEAP_NO_SERIALIZE, 4096, 0);
  return list.heap ? S_OK : E_OUTOFMEMORY;
}

// A private heap goes as a whole, which spares a call for each item.
void releaseItems(tQVLIST& list) {
  if (list.heap) {
    HeapDestroy(list.heap);
    list.heap = nullptr;
    return;
  }
  void** items = listPointers(&list);
  for (int32_t i = 0; i < list.itemCount; ++i) releaseItem(list, items[i]);
}

}  // namespace

#ifdef QV_DEBUG_CHECKS
void checkInvariants(const tQVLIST& list) {
  const bool bothKinds = isHeap(list) && isInline(list);
  const struct {
    bool holds;
    const char* what;
  } rules[] = {
      {list.magic == kListMagic, "the record is not a live list"},
      {!bothKinds, "heap list and inline array at once"},
      {list.itemSize == strideFor(list.itemSize, list.options), "stride"},
      {list.itemCount >= 0 && list.itemCount <= list.allocated, "item count outside the capacity"},
      {list.growBy >= kListMinGrow && list.growBy <= kListMaxGrow, "grow unit"},
      {list.data != nullptr, "no storage"},
      {list.heap == nullptr || isHeap(list), "a private heap without heap items"},
      {list.pendingItem == nullptr || isHeap(list), "a pending item outside a heap list"},
      {list.heapAllocFlags == (isHeap(list) ? kHeapAllocFlags : 0), "heap flags"},
  };
  const char* broken = nullptr;
  for (const auto& rule : rules)
    if (!rule.holds && !broken) broken = rule.what;
  if (!broken && blockSize(list.data) < static_cast<uint64_t>(list.allocated) * list.itemSize)
    broken = "the storage is smaller than the capacity";
  if (!broken) return;
  std::fprintf(stderr, "tQVLIST at %p: %s\n", static_cast<const void*>(&list), broken);
  std::abort();
}
#endif

}  // namespace qv::list

using namespace qv;
using namespace qv::list;

HRESULT QvList_CreateExZ(tQVLIST** list, uint64_t itemSize, int32_t allocation, int32_t growBy,
                         uint32_t options, int64_t, int64_t, int64_t) {
  if (!list) return E_FAIL;
  options |= kListFreeThreaded;
  const bool inPlace = (options & kListInPlace) != 0;
  tQVLIST* record = inPlace ? *list : nullptr;
  if (inPlace && !record) return E_FAIL;
  if (record)
    std::memset(static_cast<void*>(record), 0, sizeof *record);
  else
    *list = nullptr;
  if ((options & kListHeap) != 0 && (options & kListInline) != 0) return E_FAIL;

  if (!record) record = static_cast<tQVLIST*>(obtainBlock(sizeof(tQVLIST)));
  if (!record) return E_OUTOFMEMORY;
  HRESULT status = furnish(*record, itemSize, allocation, growBy, options);
  if (FAILED(status)) {
    if (!inPlace) releaseBlock(record);
    return status;
  }
  status = addHeap(*record);
  if (FAILED(status)) {
    QvList_Destroy(record);
    return status;
  }
  *list = record;
  return S_OK;
}

HRESULT QvList_Destroy(tQVLIST* list) {
  if (!list) return S_OK;
  // An in-place record that was destroyed already still looks like a list but for its magic.
  if (list->magic != kListMagic || !isAdmitted(*list)) return E_FAIL;
  const bool locked = isLocked(*list);
  if (locked) EnterCriticalSection(&list->lock);
  if (list->data && isHeap(*list)) releaseItems(*list);
  if (list->data) releaseBlock(list->data);
  list->data = nullptr;
  list->itemCount = 0;
  list->allocated = 0;
  if (locked) {
    LeaveCriticalSection(&list->lock);
    DeleteCriticalSection(&list->lock);
  }
  list->magic = 0;
  if ((list->options & kListInPlace) == 0) releaseBlock(list);
  return S_OK;
}

HRESULT QvList_ConvertToInPlace(tQVLIST** list, tQVLIST* record) {
  if (!list || !record || !*list || *list == record || (*list)->magic != kListMagic) return E_INVALIDARG;
  tQVLIST* old = *list;
  if ((old->options & kListInPlace) != 0 || !isAdmitted(*old)) return E_FAIL;
  checkInvariants(*old);
  std::memcpy(static_cast<void*>(record), old, sizeof *record);
  record->options |= kListInPlace;
  releaseBlock(old);
  *list = nullptr;
  return S_OK;
}

bool QvList_IsList(const void* list, uint32_t recordSize) {
  return recordSize == sizeof(tQVLIST) && list && !IsBadReadPtr(list, sizeof(tQVLIST)) &&
         QvList_IsListFast(list);
}

bool QvList_IsListFast(const void* list) {
  return list && static_cast<const tQVLIST*>(list)->magic == kListMagic;
}

int64_t QvList_SetUserData(tQVLIST* list, int64_t value) {
  Access access(list);
  return access ? InterlockedExchange64(&list->userData, value) : -1;
}

int64_t QvList_GetUserData(const tQVLIST* list) {
  return readShared(list->userData);
}

uint32_t QvList_GetCreateOptions(const tQVLIST* list) {
  return list->options;
}

int64_t QvList_GetSortCriteria(const tQVLIST* list) {
  return readShared(list->sortCriteria);
}

uint32_t QvList_GetThreadOwner(const tQVLIST* list) {
  return readShared(list->threadOwner);
}

HRESULT QvList_SetThreadOwner(tQVLIST* list, uint32_t threadId) {
  writeShared(list->threadOwner, threadId ? threadId : static_cast<uint32_t>(GetCurrentThreadId()));
  return S_OK;
}

bool QvList_IsValidIndexSlow(tQVLIST* list, int32_t index) {
  Access access(list);
  return access && index >= 0 && index < list->itemCount;
}

int32_t QvList_GetFileAndLine(const tQVLIST*, WCHAR* buffer) {
  if (buffer) *buffer = 0;
  return -1;
}
