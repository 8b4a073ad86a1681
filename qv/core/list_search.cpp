// Searches in a range.

#include <algorithm>
#include <cstring>

#include "qv/core/detail/list_access.h"

namespace qv::list {

namespace {

struct Range {
  int32_t first;
  int32_t count;
};

// A negative start means 0; a negative or too large count means all that there are from start.
Range rangeOf(const tQVLIST& list, int32_t start, int32_t count) {
  start = std::max(start, 0);
  const int32_t rest = std::max(list.itemCount - start, 0);
  return {start, count < 0 || count > rest ? rest : count};
}

int32_t findPointer(const tQVLIST& list, Range range, const void* item) {
  void** first = listPointers(&list) + range.first;
  void** last = first + range.count;
  void** found = std::find(first, last, item);
  return found == last ? -1 : range.first + static_cast<int32_t>(found - first);
}

template <uint64_t kStride>
int32_t findBytes(const char* slot, uint64_t stride, int32_t count, const void* item) {
  const uint64_t bytes = kStride ? kStride : stride;
  for (int32_t i = 0; i < count; ++i, slot += bytes)
    if (std::memcmp(slot, item, bytes) == 0) return i;
  return -1;
}

int32_t findInline(const tQVLIST& list, Range range, const void* item) {
  const auto find = list.itemSize == 4 ? findBytes<4> : list.itemSize == 8 ? findBytes<8> : findBytes<0>;
  const int32_t offset = find(slotAt(list, range.first), list.itemSize, range.count, item);
  return offset < 0 ? -1 : range.first + offset;
}

// How callbacks see the items, decided once a search instead of once a compare.
struct PointerItems {
  void* const* base;
  const void* operator[](int32_t index) const { return base[index]; }
};

struct InlineItems {
  const char* base;
  uint64_t stride;
  const void* operator[](int32_t index) const { return base + static_cast<uint64_t>(index) * stride; }
};

struct Found {
  int32_t equal;  // the item that compares equal, or -1
  int32_t place;  // where the key belongs
};

// One walk serves both searches: its exact steps decide which of several equal items is met.
template <typename Items>
Found bisect(Items items, Range range, int64_t criteria, const void* key, QvListCompareProc compare) {
  int32_t low = range.first;
  int32_t number = range.count;
  int32_t place = 0;  // an empty range gives 0, not its start
  while (number > 1) {
    const int32_t half = number / 2;
    const int32_t odd = number & 1;
    const int32_t middle = low + half - 1 + odd;
    const int32_t order = compare(criteria, key, items[middle]);
    if (order == 0) return {middle, middle};
    const bool after = order > 0;
    place = after ? middle + 1 : middle;
    low = after ? middle + 1 : low;
    number = after ? half : half - 1 + odd;
  }
  if (number == 0) return {-1, place};
  const int32_t order = compare(criteria, key, items[low]);
  return {order == 0 ? low : -1, order > 0 ? low + 1 : low};
}

Found searchSorted(const tQVLIST& list, Range range, const void* key, QvListCompareProc compare) {
  const int64_t criteria = readShared(list.sortCriteria);
  if (!isInline(list)) return bisect(PointerItems{listPointers(&list)}, range, criteria, key, compare);
  return bisect(InlineItems{slotAt(list, 0), list.itemSize}, range, criteria, key, compare);
}

}  // namespace

}  // namespace qv::list

using namespace qv;
using namespace qv::list;

int32_t QvList_FindSpecificItemRange(tQVLIST* list, int32_t start, int32_t count, const void* item) {
  Access access(list);
  if (!access) return -1;
  const Range range = rangeOf(*list, start, count);
  if (range.count == 0) return -1;
  return isInline(*list) ? findInline(*list, range, item) : findPointer(*list, range, item);
}

int32_t QvList_FindItemRange(tQVLIST* list, int32_t start, int32_t count, const void* key,
                             QvListMatchProc match) {
  Access access(list);
  if (!access || !match) return -1;
  const Range range = rangeOf(*list, start, count);
  for (int32_t i = range.first; i < range.first + range.count; ++i)
    if (match(key, itemAt(*list, i)) == 0) return i;
  return -1;
}

int32_t QvList_FindSortedItemRange(tQVLIST* list, const void* key, int32_t start, int32_t count,
                                   QvListCompareProc compare) {
  Access access(list);
  if (!access || !compare || start > list->itemCount) return -1;
  return searchSorted(*list, rangeOf(*list, start, count), key, compare).equal;
}

int32_t QvList_FindSortedInsertIndexRange(tQVLIST* list, const void* key, int32_t start, int32_t count,
                                          QvListCompareProc compare) {
  Access access(list);
  if (!access || !compare || start > list->itemCount) return -1;
  return searchSorted(*list, rangeOf(*list, start, count), key, compare).place;
}
