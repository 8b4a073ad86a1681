// The two sorts, and sorted copies.

#include <cstring>
#include <utility>

#include "qv/core/detail/list_access.h"

namespace qv::list {

namespace {

struct Order {
  int64_t criteria;
  QvListCompareProc compare;
  int32_t operator()(const void* a, const void* b) const { return compare(criteria, a, b); }
};

// Stored pointers. `order` puts the greater of two first; it has no branch, since no processor can foretell
// the outcome of a heap's compares.
struct PointerItems {
  void** base;
  const void* operator[](int64_t index) const { return base[index]; }
  void swap(int64_t a, int64_t b) const { std::swap(base[a], base[b]); }
  void swapIf(bool wanted, int64_t a, int64_t b) const {
    void* const first = base[a];
    void* const second = base[b];
    base[a] = wanted ? second : first;
    base[b] = wanted ? first : second;
  }
};

// Inline items, swapped in 32-bit words.
struct InlineItems {
  char* base;
  uint64_t stride;
  const void* operator[](int64_t index) const { return at(index); }
  char* at(int64_t index) const { return base + static_cast<uint64_t>(index) * stride; }
  void swap(int64_t a, int64_t b) const {
    char* first = at(a);
    char* second = at(b);
    for (uint64_t offset = 0; offset < stride; offset += sizeof(uint32_t)) {
      uint32_t one, other;
      std::memcpy(&one, first + offset, sizeof one);
      std::memcpy(&other, second + offset, sizeof other);
      std::memcpy(first + offset, &other, sizeof other);
      std::memcpy(second + offset, &one, sizeof one);
    }
  }
  void swapIf(bool wanted, int64_t a, int64_t b) const {
    if (wanted) swap(a, b);
  }
};

// Inline items of one machine word: pointers' way of swapping serves them too.
template <typename Word>
struct WordItems {
  Word* base;
  const void* operator[](int64_t index) const { return base + index; }
  void swap(int64_t a, int64_t b) const { std::swap(base[a], base[b]); }
  void swapIf(bool wanted, int64_t a, int64_t b) const {
    const Word first = base[a];
    const Word second = base[b];
    base[a] = wanted ? second : first;
    base[b] = wanted ? first : second;
  }
};

struct SelectionSort {
  template <typename Items>
  static void run(Items items, int64_t count, Order order) {
    for (int64_t last = count - 1; last > 0; --last) {
      int64_t greatest = 0;
      for (int64_t i = 1; i <= last; ++i)
        if (order(items[i], items[greatest]) >= 1) greatest = i;
      if (greatest != last) items.swap(greatest, last);
    }
  }
};

struct HeapSort {
  // Counts from 1: the children of i are 2i and 2i + 1. The path is followed to the bottom without asking
  // whether the parent is in order already, so that equal items always end up in the same places.
  template <typename Items>
  static void sift(Items items, int64_t i, int64_t bound, Order order) {
    int64_t child = 2 * i;
    do {
      if (child < bound) child += order(items[child], items[child - 1]) > 0;
      items.swapIf(order(items[child - 1], items[i - 1]) > 0, i - 1, child - 1);
      i = child;
      child = 2 * i;
    } while (child < bound);
  }

  template <typename Items>
  static void run(Items items, int64_t count, Order order) {
    // The root is left to the first round of the second loop.
    for (int64_t i = count / 2; i >= 2; --i) sift(items, i, count, order);
    for (int64_t last = count; last >= 2; --last) {
      sift(items, 1, last, order);
      items.swap(0, last - 1);
    }
  }
};

template <typename Sort>
HRESULT sortList(tQVLIST* list, int64_t criteria, QvListCompareProc compare) {
  Access access(list);
  if (!access) return E_FAIL;
  writeShared(list->sortCriteria, criteria);
  const int64_t count = list->itemCount;
  if (!compare || count < 2) return S_OK;
  const Order order{criteria, compare};
  if (!isInline(*list))
    Sort::run(PointerItems{listPointers(list)}, count, order);
  else if (list->itemSize == sizeof(uint32_t))
    Sort::run(WordItems<uint32_t>{static_cast<uint32_t*>(list->data)}, count, order);
  else if (list->itemSize == sizeof(uint64_t))
    Sort::run(WordItems<uint64_t>{static_cast<uint64_t*>(list->data)}, count, order);
  else
    Sort::run(InlineItems{slotAt(*list, 0), list->itemSize}, count, order);
  return S_OK;
}

}  // namespace

}  // namespace qv::list

using namespace qv;
using namespace qv::list;

HRESULT QvList_Sort(tQVLIST* list, int64_t criteria, QvListCompareProc compare) {
  return sortList<SelectionSort>(list, criteria, compare);
}

HRESULT QvList_HeapSort(tQVLIST* list, int64_t criteria, QvListCompareProc compare) {
  return sortList<HeapSort>(list, criteria, compare);
}

HRESULT QvList_SortTo(tQVLIST* target, tQVLIST* source, int64_t criteria, QvListCompareProc compare) {
  if (target == source) return E_FAIL;
  Access access(source);
  if (!access) return E_FAIL;
  // Each insert reads one of the target's strides.
  if (!isHeap(*target) && target->itemSize > source->itemSize) return E_FAIL;
  writeShared(target->sortCriteria, criteria);
  if (!compare) return S_OK;
  for (int32_t i = 0; i < source->itemCount; ++i) {
    const int32_t at = QvList_FindSortedInsertIndexRange(target, itemAt(*source, i), 0, -1, compare);
    QvList_InsertList(target, at, slotAt(*source, i), 1);
  }
  return S_OK;
}
