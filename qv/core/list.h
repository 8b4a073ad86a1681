// tQVLIST: the one growable sequence of the toolkit.
//
// One record serves three kinds of storage, chosen by the options at creation:
//   neither bit      pointers that the list does not own
//   kListHeap        blocks that the list allocates, hands out and frees ("heap list")
//   kListInline      items of a fixed size, stored by value ("inline array")
// and three thread disciplines, with which every operation opens:
//   kListFreeThreaded  any thread, no lock, no check: the owner takes care (QvList_CreateExZ always sets it)
//   kListLocked        every operation holds the list's re-entrant critical section
//   neither            only the owning thread: others are refused (for a record whose bit 30 was cleared)
//
// Indices and counts are signed; a negative index means the end, a negative count the rest. Callers read
// itemCount and data directly. Storage grows in whole multiples of growBy.
//
//   tQVLIST* names = nullptr;
//   HRESULT status = QvList_CreateExZ(&names, 0, -1, -1, qv::kListFreeThreaded | qv::kListHeap, 0, 0, 0);
//   if (FAILED(status)) return status;
//   status = QvList_AllocAndInsertItem(names, TEXT("Drums"), 12, -1, nullptr);
//   for (int32_t i = 0; i < names->itemCount; ++i) use(qv::listPointers(names)[i]);
//   QvList_Destroy(names);
//
// Statuses: 0; 0x8007000e when memory (or what a count can express) runs out, and the list is as it was;
// 0x80004005 for everything else that is wrong; 0x80070057 where said. No operation but QvList_Destroy,
// QvList_ConvertToInPlace, QvList_IsList and QvList_IsListFast accepts a null list; debug builds check the
// record on the way in and out of every operation and abort with a line on standard error.
//
// "Any thread that the discipline admits" below means: any thread for a locked list, one at a time for a
// free-threaded list, the owner for an owner-checked list.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/win32.h"

namespace qv {

inline constexpr uint32_t kListHeap = 0x2;                 // items are blocks that the list owns
inline constexpr uint32_t kListInline = 0x4;               // items are stored by value
inline constexpr uint32_t kListInPlace = 0x8;              // the caller owns the record
inline constexpr uint32_t kListPrivateHeap = 0x10000000;   // a heap list draws on a heap of its own
inline constexpr uint32_t kListFreeThreaded = 0x40000000;  // no lock, no check
inline constexpr uint32_t kListLocked = 0x80000000;        // every operation holds the lock
inline constexpr uint32_t kListMagic = 0x41564f54;         // "TOVA" while the list lives
inline constexpr int32_t kListDefaultGrow = 16;            // for a grow unit or an allocation below 1
inline constexpr int32_t kListMinGrow = 4;
inline constexpr int32_t kListMaxGrow = 66560;

}  // namespace qv

// The public record. Read what you like; change only userData and sortCriteria, and those through the
// operations if another thread may be looking.
struct tQVLIST {
  int32_t itemCount;      // items in the list
  uint64_t itemSize;      // stride in bytes: 8, or the size of an inline item rounded up to 4
  void* data;             // `allocated` strides, zeroed when obtained
  CRITICAL_SECTION lock;  // initialised for a locked list only
  uint32_t magic;         // qv::kListMagic; zero after destruction
  uint32_t options;
  int64_t userData;      // the owner's value
  int64_t sortCriteria;  // the first argument of compare callbacks
  uint32_t threadOwner;  // the creating thread unless set
  int32_t allocated;     // capacity in items
  int32_t growBy;        // qv::kListMinGrow to qv::kListMaxGrow
  HANDLE heap;           // the private heap, or null
  uint32_t heapAllocFlags;
  uint32_t heapFreeFlags;
  void* pendingItem;  // a block allocated for a coming insert, or null
  uint64_t reserved;
};

static_assert(sizeof(CRITICAL_SECTION) == 40);
static_assert(sizeof(tQVLIST) == 136);
static_assert(offsetof(tQVLIST, itemCount) == 0);
static_assert(offsetof(tQVLIST, itemSize) == 8);
static_assert(offsetof(tQVLIST, data) == 16);
static_assert(offsetof(tQVLIST, lock) == 24);
static_assert(offsetof(tQVLIST, magic) == 64);
static_assert(offsetof(tQVLIST, options) == 68);
static_assert(offsetof(tQVLIST, userData) == 72);
static_assert(offsetof(tQVLIST, sortCriteria) == 80);
static_assert(offsetof(tQVLIST, threadOwner) == 88);
static_assert(offsetof(tQVLIST, allocated) == 92);
static_assert(offsetof(tQVLIST, growBy) == 96);
static_assert(offsetof(tQVLIST, heap) == 104);
static_assert(offsetof(tQVLIST, heapAllocFlags) == 112);
static_assert(offsetof(tQVLIST, heapFreeFlags) == 116);
static_assert(offsetof(tQVLIST, pendingItem) == 120);
static_assert(offsetof(tQVLIST, reserved) == 128);

// Orders two items: negative, 0 or positive as a comes before, with or after b. In a search `a` is the
// caller's key. An item is the stored pointer, or in an inline array the item's address. Must neither
// change the list nor throw.
using QvListCompareProc = int32_t(CALLBACK*)(int64_t criteria, const void* a, const void* b);

// Answers 0 when the item matches the key. The same rules.
using QvListMatchProc = int32_t(CALLBACK*)(const void* key, const void* item);

namespace qv {

// The stored pointers of a pointer or heap list, itemCount of them.
inline void** listPointers(const tQVLIST* list) {
  return static_cast<void**>(list->data);
}

// Item `index` of an inline array of T; the index is not checked.
template <typename T>
T& listInline(const tQVLIST* list, int32_t index) {
  return *reinterpret_cast<T*>(static_cast<char*>(list->data) +
                               static_cast<uint64_t>(index) * list->itemSize);
}

}  // namespace qv

// ---- Life -------------------------------------------------------------------------------------------------

// Creates an empty list.
//   list       address of the list pointer, not null. With kListInPlace it points to the caller's record
//              (136 bytes, any content, kept by the caller); otherwise the new record is written there.
//   itemSize   bytes of an inline item, rounded up to 4; ignored for the other kinds
//   allocation capacity to start with, in items; below 1: 16; at least 4; rounded up to the grow unit
//   growBy     grow unit in items; below 1: 16; held to 4..66560
//   options    qv::kList... ; kListFreeThreaded is added
//   the last three arguments are ignored; pass 0
// The caller ends the list with QvList_Destroy. Failure: 0x80004005 for kListHeap with kListInline or a null
// record, 0x8007000e; the list pointer is then null (in place: the record is not a list). Any thread.
QV_API HRESULT QvList_CreateExZ(tQVLIST** list, uint64_t itemSize, int32_t allocation, int32_t growBy,
                                uint32_t options, int64_t unused1, int64_t unused2, int64_t unused3);

// Ends a list: frees the items of a heap list, the storage, and the record unless it is in place. Foreign
// pointers are not touched. A pending item outlives the list unless it lies in the private heap: insert or
// discard it first. Null gives 0; a record that is not a list, or the wrong thread, 0x80004005. No other
// thread may be using the list.
QV_API HRESULT QvList_Destroy(tQVLIST* list);

// Moves a list's record into the caller's own, which then holds the list (option kListInPlace), and frees the
// old record. For lists without kListLocked: a lock doesn't survive being copied.
//   list    address of the list pointer, which is cleared
//   record  the caller's record, any content
// Failure: 0x80070057 for null arguments or what is not a list, 0x80004005 for one that is in place already
// or the wrong thread. No other thread may be using the list.
QV_API HRESULT QvList_ConvertToInPlace(tQVLIST** list, tQVLIST* record);

// Whether `list` is a live list of this version: recordSize is sizeof(tQVLIST) as the caller knows it. Any
// pointer may be passed, null and unreadable ones included. Any thread.
QV_API bool QvList_IsList(const void* list, uint32_t recordSize);

// Whether the record at `list` is live; the pointer must be readable, or null. Any thread.
QV_API bool QvList_IsListFast(const void* list);

// ---- Items ------------------------------------------------------------------------------------------------

// Inserts before item `index` (negative or past the end: at the end), in one of these forms:
//   items, count >= 0     copies `count` items; not for heap lists
//   items, count < 0      copies -count items; in a heap list they are raw item pointers, which the list
//                         then owns and which must come from its allocator
//   null, -1              inserts the pending item
// Anything else is 0x80004005. `items` points to stored pointers or to inline items, outside the list's own
// storage. Success empties the pending slot, in every form. Failure (0x8007000e too) changes nothing.
// Threads: as the discipline admits.
QV_API HRESULT QvList_InsertList(tQVLIST* list, int32_t index, const void* items, int32_t count);

// Deletes items, freeing them in a heap list; the slots vacated at the end are zeroed.
//   start, count  start >= 0 and count < 0: all from start; count beyond the end: to the end; count 0:
//                 nothing, 0. Both negative: discards the pending item (0x80004005 without one).
//   shrink        nonzero: gives spare capacity back when it exceeds the grow unit (not looked at when
//                 nothing is deleted); a failure to do so is not reported, the items are gone
// A start that names no item: 0x80004005. Threads: as the discipline admits.
QV_API HRESULT QvList_DeleteList(tQVLIST* list, int32_t start, int32_t count, int32_t shrink);

// Allocates a zeroed item of `size` bytes and keeps it pending, so that the caller may fill it before
// QvList_InsertList(list, index, nullptr, -1) or discard it with QvList_DeleteList(list, -1, -1, 0). The list
// owns the block. Heap lists only, and one pending item at a time, else 0x80004005; 0x8007000e.
//   item  where the block's address goes; untouched on failure
// Threads: as the discipline admits.
QV_API HRESULT QvList_AllocItem(tQVLIST* list, uint64_t size, void** item);

// Allocates an item of `size` bytes and inserts it before `index` (clamped as above), under one lock.
//   source    `size` bytes to copy into it, or null for zeroes
//   outIndex  null, or where the item's index goes; -1 on failure
// Failure as of QvList_AllocItem and QvList_InsertList; nothing changes, an earlier pending item stays.
// Threads: as the discipline admits.
QV_API HRESULT QvList_AllocAndInsertItem(tQVLIST* list, const void* source, uint64_t size, int32_t index,
                                         int32_t* outIndex);

// Resizes item `index` (not checked: 0 to itemCount - 1) of a heap list to `size` bytes; the block may move.
// 0x80004005 for other kinds; on 0x8007000e the old item stays. Threads: as the discipline admits.
QV_API HRESULT QvList_ReAllocItem(tQVLIST* list, int32_t index, uint64_t size);

// Bytes in use: of item `index` (the stride in an inline array, the block in a heap list, 0 where the slot is
// empty), or for a negative index of the whole list: storage, record and the items it owns. Foreign pointers
// count 0. -1 for the wrong thread. Threads: as the discipline admits.
QV_API int64_t QvList_AllocSize(tQVLIST* list, int32_t index);

// Makes room for at least `items` more items (below 1: one grow unit), rounded up to the grow unit, in a new
// block: on 0x8007000e the old storage is as it was. Threads: as the discipline admits.
QV_API HRESULT QvList_GrowAllocated(tQVLIST* list, int32_t items);

// Gives back the room of `items` spare items (negative: all spare), as whole grow units. More than is spare
// counts as all spare. 0x8007000e leaves the capacity. Threads: as the discipline admits.
QV_API HRESULT QvList_ShrinkAllocated(tQVLIST* list, int32_t items);

// Sets the number of items of an inline array. New items hold what the storage held: zero if never used or
// vacated by a delete; items cut off here keep their bytes. `shrink` asks for nothing: no items are deleted,
// and without that no capacity is given back. 0x80004005 for other kinds and a negative count; 0x8007000e.
// Threads: as the discipline admits.
QV_API HRESULT QvList_ArrayForceItemCount(tQVLIST* list, int32_t count, int32_t shrink);

// Moves `count` items from index `from` to index `to`, both counted before the move in a list that keeps its
// length; the items between slide over. to < 0: 0; count < 0: as many as both places allow. from < 0:
// 0x80070057; a range beyond the end: 0x80004005; above 512 bytes a scratch block is needed: 0x8007000e.
// Threads: as the discipline admits.
QV_API HRESULT QvList_MoveRange(tQVLIST* list, int32_t from, int32_t to, int32_t count);

// Moves `count` items (blocks and ownership) from one heap list into another, keeping their order.
//   targetIndex  negative: the end
//   count        negative: the source's item count, which fits only with sourceIndex 0; 0: nothing, 0
// Both must be heap lists on the same allocator (not checked: a private heap's items can't change lists), two
// different ones, the target without a pending item, else 0x80004005. Items go last to first and the first
// failure stops; those already moved stay moved. Locks: target, then source; never run two such moves in
// opposite directions at once. Threads: as both disciplines admit.
QV_API HRESULT QvList_MoveItemsBetweenHeapLists(tQVLIST* target, int32_t targetIndex, tQVLIST* source,
                                                int32_t sourceIndex, int32_t count);

// ---- Searches: an index, or -1 for not found and for the wrong thread ------------------------------------
// A negative start means 0; a negative or too large count means the rest. Threads: as the discipline admits.

// The first item in the range equal to `item`: the same pointer, or in an inline array the same bytes as at
// `item` (one stride is read).
QV_API int32_t QvList_FindSpecificItemRange(tQVLIST* list, int32_t start, int32_t count, const void* item);

// The first item in the range for which match(key, item) answers 0. `key` is only passed on.
QV_API int32_t QvList_FindItemRange(tQVLIST* list, int32_t start, int32_t count, const void* key,
                                    QvListMatchProc match);

// Binary search for `key` in a range sorted by `compare`. Which of several equal items is found depends on
// the length of the range only. `key` is only passed on.
QV_API int32_t QvList_FindSortedItemRange(tQVLIST* list, const void* key, int32_t start, int32_t count,
                                          QvListCompareProc compare);

// Where to insert `key` so that the range stays sorted: before the equal item that the search above finds,
// or between its neighbours. An empty range gives 0 whatever `start`; a start beyond the end gives -1.
QV_API int32_t QvList_FindSortedInsertIndexRange(tQVLIST* list, const void* key, int32_t start, int32_t count,
                                                 QvListCompareProc compare);

// ---- Sorts ------------------------------------------------------------------------------------------------

// Sorts ascending by compare(criteria, a, b), in place and without allocating; not stable. The selection sort
// costs n squared compares and at most n swaps, the heap sort n log n of both. `criteria` is stored in the
// list first, even if `compare` is null (then nothing is sorted, 0). 0x80004005 for the wrong thread.
// Threads: as the discipline admits.
QV_API HRESULT QvList_Sort(tQVLIST* list, int64_t criteria, QvListCompareProc compare);
QV_API HRESULT QvList_HeapSort(tQVLIST* list, int64_t criteria, QvListCompareProc compare);

// Inserts each item of `source` into `target` at its sorted place (by value, or the pointer's value) and
// stores `criteria` in the target. A null `compare` inserts nothing. Inserts that fail are passed over: a
// heap list as target stays as it is. 0x80004005 for the wrong thread, the same list twice, or items
// narrower than the target's. The source is held locked throughout, the target for each insert.
QV_API HRESULT QvList_SortTo(tQVLIST* target, tQVLIST* source, int64_t criteria, QvListCompareProc compare);

// ---- Fields -----------------------------------------------------------------------------------------------

// Replaces the owner's value atomically and returns the previous one; -1 for the wrong thread.
// Threads: as the discipline admits.
QV_API int64_t QvList_SetUserData(tQVLIST* list, int64_t value);

// The fields of those names. Plain reads that take no lock; any thread.
QV_API int64_t QvList_GetUserData(const tQVLIST* list);
QV_API uint32_t QvList_GetCreateOptions(const tQVLIST* list);
QV_API int64_t QvList_GetSortCriteria(const tQVLIST* list);
QV_API uint32_t QvList_GetThreadOwner(const tQVLIST* list);

// Makes thread `threadId` (0: the calling one) the owner, for owner-checked lists. Returns 0. Any thread, so
// that a list can be taken over; the two threads must have agreed on it.
QV_API HRESULT QvList_SetThreadOwner(tQVLIST* list, uint32_t threadId);

// Whether the list has an item `index`; false for the wrong thread. Threads: as the discipline admits.
QV_API bool QvList_IsValidIndexSlow(tQVLIST* list, int32_t index);

// Where the list was created: not recorded. Writes an empty text to `buffer` (at least one character, or
// null) and returns -1. Any thread.
QV_API int32_t QvList_GetFileAndLine(const tQVLIST* list, WCHAR* buffer);
