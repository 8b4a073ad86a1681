#include "qv/core/list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "qv/platform/detail/alloc_seam.h"

namespace qv {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();

struct Kind {
  const char* name;
  uint32_t options;
  uint64_t itemSize;
};

constexpr Kind kKinds[] = {
    {"pointers", 0, 344},
    {"heap", kListHeap, 0},
    {"private heap", kListHeap | kListPrivateHeap, 0},
    {"inline 4", kListInline, 4},
    {"inline 8", kListInline | kListLocked, 8},
    {"inline 13", kListInline, 13},
    {"locked in-place heap", kListHeap | kListLocked | kListInPlace, 0},
};

// A list of numbers, whatever it keeps them in: the number is the pointer, or what the item begins with.
class Numbers {
 public:
  explicit Numbers(const Kind& kind, const std::vector<uint32_t>& values = {}) : list_(&record_) {
    EXPECT_EQ(S_OK, QvList_CreateExZ(&list_, kind.itemSize, 4, 4, kind.options, 0, 0, 0));
    if (!values.empty()) {
      EXPECT_EQ(S_OK, insert(-1, values));
    }
  }
  ~Numbers() {
    if (list_ && list_->pendingItem) QvList_DeleteList(list_, -1, -1, 0);
    EXPECT_EQ(S_OK, QvList_Destroy(list_));
  }
  Numbers(const Numbers&) = delete;
  Numbers& operator=(const Numbers&) = delete;

  tQVLIST* operator->() const { return list_; }
  operator tQVLIST*() const { return list_; }
  bool is(uint32_t option) const { return (list_->options & option) != 0; }

  HRESULT insert(int32_t index, const std::vector<uint32_t>& values) {
    std::vector<char> slots(values.size() * list_->itemSize + 1);
    for (size_t i = 0; i < values.size(); ++i) makeSlot(&slots[i * list_->itemSize], values[i]);
    const int32_t count = static_cast<int32_t>(values.size());
    return QvList_InsertList(list_, index, slots.data(), is(kListHeap) ? -count : count);
  }

  std::vector<uint32_t> values() const {
    std::vector<uint32_t> result;
    for (int32_t i = 0; i < list_->itemCount; ++i) result.push_back(valueOf(item(i)));
    return result;
  }

  const void* item(int32_t i) const {
    return is(kListInline) ? &listInline<char>(list_, i) : listPointers(list_)[i];
  }

  // The key or item as a compare callback gets it.
  uint32_t valueOf(const void* item) const {
    return is(kListInline | kListHeap) ? read(item) : asNumber(item);
  }

  static uint32_t read(const void* item) {
    uint32_t value;
    std::memcpy(&value, item, sizeof value);
    return value;
  }
  static uint32_t asNumber(const void* item) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(item));
  }

 private:
  void makeSlot(char* slot, uint32_t value) const {
    void* pointer = reinterpret_cast<void*>(uintptr_t{value});
    if (is(kListHeap)) {
      pointer = list_->heap ? HeapAlloc(list_->heap, 9, 16) : std::calloc(1, 16);
      std::memcpy(pointer, &value, sizeof value);
    }
    if (is(kListInline))
      for (uint64_t at = 0; at < list_->itemSize; at += 4) std::memcpy(slot + at, &value, 4);
    else
      std::memcpy(slot, &pointer, sizeof pointer);
  }

  tQVLIST record_;
  tQVLIST* list_;
};

int32_t CALLBACK compareStored(int64_t, const void* a, const void* b) {
  return static_cast<int32_t>(Numbers::read(a)) - static_cast<int32_t>(Numbers::read(b));
}
int32_t CALLBACK comparePointers(int64_t, const void* a, const void* b) {
  return static_cast<int32_t>(Numbers::asNumber(a)) - static_cast<int32_t>(Numbers::asNumber(b));
}
QvListCompareProc comparerFor(const Kind& kind) {
  return (kind.options & (kListHeap | kListInline)) != 0 ? compareStored : comparePointers;
}

constexpr Kind kPlain = kKinds[0], kHeap = kKinds[1], kPrivate = kKinds[2], kInline = kKinds[3];

TEST(List, CreationFigures) {
  const struct {
    uint32_t options;
    uint64_t itemSize;
    int32_t allocation, growBy, capacity, unit;
    uint64_t stride;
  } cases[] = {
      {0, 344, 1, 1, 4, 4, 8},
      {kListHeap, 0, -1, -1, 16, 16, 8},
      {kListHeap, 0, 17, 16, 32, 16, 8},
      {kListInline, 12, 5, 3, 8, 4, 12},
      {kListInline, 13, 16, 100000, 66560, 66560, 16},
      {kListInline, 1, 0, 5, 20, 5, 4},
  };
  for (const auto& c : cases) {
    tQVLIST* list = nullptr;
    ASSERT_EQ(S_OK, QvList_CreateExZ(&list, c.itemSize, c.allocation, c.growBy, c.options, 0, 0, 0));
    EXPECT_EQ(c.capacity, list->allocated);
    EXPECT_EQ(c.unit, list->growBy);
    EXPECT_EQ(c.stride, list->itemSize);
    EXPECT_EQ(c.options | kListFreeThreaded, QvList_GetCreateOptions(list));
    EXPECT_EQ(GetCurrentThreadId(), QvList_GetThreadOwner(list));
    EXPECT_EQ((c.options & kListHeap) ? 9u : 0u, list->heapAllocFlags);
    EXPECT_EQ((c.options & kListHeap) ? 1u : 0u, list->heapFreeFlags);
    EXPECT_EQ(0, std::memcmp(list->data, std::string(c.stride * 4, '\0').data(), c.stride * 4));
    EXPECT_EQ(S_OK, QvList_Destroy(list));
  }
}

TEST(List, RefusedCreationsPublishNothing) {
  tQVLIST garbage;
  const struct {
    tQVLIST* given;
    uint64_t itemSize;
    int32_t allocation;
    uint32_t options;
    HRESULT status;
  } cases[] = {
      {&garbage, 8, 4, kListHeap | kListInline, E_FAIL},
      {nullptr, 8, 4, kListInPlace, E_FAIL},
      {&garbage, 8, kMost, 0, E_OUTOFMEMORY},
      {&garbage, std::numeric_limits<uint64_t>::max(), 4, kListInline, E_OUTOFMEMORY},
      {&garbage, uint64_t{1} << 61, 16, kListInline, E_OUTOFMEMORY},
  };
  for (const auto& c : cases) {
    tQVLIST* list = c.given;
    EXPECT_EQ(c.status, QvList_CreateExZ(&list, c.itemSize, c.allocation, -1, c.options, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
  }
  std::memset(static_cast<void*>(&garbage), 0x55, sizeof garbage);
  tQVLIST* list = &garbage;
  EXPECT_EQ(E_FAIL, QvList_CreateExZ(&list, 8, 4, 4, kListInPlace | kListHeap | kListInline, 0, 0, 0));
  EXPECT_FALSE(QvList_IsListFast(&garbage));
}

TEST(List, RecognisesOnlyLiveRecordsOfItsSize) {
  tQVLIST record;
  tQVLIST* list = &record;
  ASSERT_EQ(S_OK, QvList_CreateExZ(&list, 4, 4, 4, kListInline | kListInPlace, 0, 0, 0));
  EXPECT_EQ(&record, list);
  EXPECT_TRUE(QvList_IsList(list, 136));
  EXPECT_FALSE(QvList_IsList(list, 128));
  EXPECT_FALSE(QvList_IsList(reinterpret_cast<void*>(uintptr_t{24}), 136));
  EXPECT_FALSE(QvList_IsList(nullptr, 136));
  EXPECT_EQ(S_OK, QvList_Destroy(list));
  EXPECT_FALSE(QvList_IsListFast(list));
  EXPECT_EQ(E_FAIL, QvList_Destroy(list));
  ASSERT_EQ(S_OK, QvList_CreateExZ(&list, 4, 4, 4, kListInline | kListInPlace, 0, 0, 0));
  EXPECT_EQ(S_OK, QvList_Destroy(list));
  EXPECT_EQ(S_OK, QvList_Destroy(nullptr));
}

TEST(List, ConvertToInPlaceMovesTheWholeRecord) {
  tQVLIST* list = nullptr;
  ASSERT_EQ(S_OK, QvList_CreateExZ(&list, 0, 4, 4, kListHeap, 0, 0, 0));
  ASSERT_EQ(S_OK, QvList_AllocAndInsertItem(list, "seven", 6, -1, nullptr));
  list->reserved = 77;
  EXPECT_EQ(0, QvList_SetUserData(list, 5));
  tQVLIST record;
  EXPECT_EQ(E_INVALIDARG, QvList_ConvertToInPlace(nullptr, &record));
  EXPECT_EQ(E_INVALIDARG, QvList_ConvertToInPlace(&list, nullptr));
  ASSERT_EQ(S_OK, QvList_ConvertToInPlace(&list, &record));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ(E_INVALIDARG, QvList_ConvertToInPlace(&list, &record));
  EXPECT_EQ(kListHeap | kListInPlace | kListFreeThreaded, record.options);
  EXPECT_EQ(77u, record.reserved);
  EXPECT_EQ(5, QvList_GetUserData(&record));
  EXPECT_STREQ("seven", static_cast<char*>(listPointers(&record)[0]));
  list = &record;
  tQVLIST other;
  EXPECT_EQ(E_FAIL, QvList_ConvertToInPlace(&list, &other));
  EXPECT_EQ(S_OK, QvList_Destroy(&record));
}

// Long random histories against a vector that also keeps book of the capacity.
class Model {
 public:
  Model(const Kind& kind, uint32_t seed) : kind_(kind), list_(kind), random_(seed) {}

  void step() {
    using Operation = void (Model::*)();
    static constexpr Operation kOperations[] = {&Model::insert, &Model::insert,  &Model::insert,
                                                &Model::remove, &Model::move,    &Model::find,
                                                &Model::resize, &Model::pending, &Model::force};
    (this->*kOperations[upTo(std::size(kOperations) - 1)])();
    ASSERT_EQ(values_, list_.values()) << kind_.name;
    ASSERT_EQ(capacity_, list_->allocated) << kind_.name;
  }

 private:
  int32_t size() const { return static_cast<int32_t>(values_.size()); }
  int32_t upTo(int64_t most) { return static_cast<int32_t>(random_() % (most + 1)); }
  int32_t place() { return upTo(size() + 4) - 2; }  // also before and beyond the list
  auto at(int32_t index) { return values_.begin() + (index < 0 || index > size() ? size() : index); }
  static int32_t units(int32_t n) { return (n + 3) / 4 * 4; }
  void makeRoom(int32_t n) {
    if (size() + n > capacity_) capacity_ += units(n);
  }

  void insert() {
    std::vector<uint32_t> fresh(upTo(9));
    for (uint32_t& value : fresh) value = next_++;
    const int32_t index = place();
    const bool refused = fresh.empty() && list_.is(kListHeap);
    ASSERT_EQ(refused ? E_FAIL : S_OK, list_.insert(index, fresh));
    if (refused) return;
    makeRoom(static_cast<int32_t>(fresh.size()));
    values_.insert(at(index), fresh.begin(), fresh.end());
  }

  void remove() {
    const int32_t start = place(), count = upTo(24) - 1, shrink = upTo(1);
    const bool nothing = count == 0 || (start >= size() && (count < 0 && start >= 0));
    const bool refused = !nothing && (start < 0 || start >= size());
    ASSERT_EQ(refused ? E_FAIL : S_OK, QvList_DeleteList(list_, start, count, shrink));
    if (nothing || refused) return;
    const int32_t taken = count < 0 ? size() - start : std::min(count, size() - start);
    values_.erase(at(start), at(start) + taken);
    if (shrink && capacity_ - size() > 4) capacity_ -= (capacity_ - size()) / 4 * 4;
  }

  void move() {
    const int32_t from = place(), to = place(), target = std::max(to, 0);
    int32_t count = upTo(size() + 2) - 1;
    const HRESULT status = QvList_MoveRange(list_, from, to, count);
    if (from < 0) {
      ASSERT_EQ(E_INVALIDARG, status);
      return;
    }
    if (count < 0) count = size() - std::max(from, target);
    const bool refused = std::max(from, target) + count > size();
    ASSERT_EQ(refused ? E_FAIL : S_OK, status);
    if (refused || count < 1) return;
    const std::vector<uint32_t> range(values_.begin() + from, values_.begin() + from + count);
    values_.erase(values_.begin() + from, values_.begin() + from + count);
    values_.insert(values_.begin() + target, range.begin(), range.end());
  }

  void find() {
    if (values_.empty()) return;
    const int32_t wanted = upTo(size() - 1), start = place(), count = upTo(size() + 2) - 1;
    const int32_t first = std::min(std::max(start, 0), size());
    const int32_t last = count < 0 ? size() : std::min(size(), first + count);
    const auto found = std::find(at(first), at(last), values_[wanted]);
    const int32_t index = found == at(last) ? -1 : static_cast<int32_t>(found - values_.begin());
    ASSERT_EQ(index, QvList_FindSpecificItemRange(list_, start, count, list_.item(wanted)));
  }

  void resize() {
    const int32_t n = upTo(20) - 2;
    if (upTo(1)) {
      ASSERT_EQ(S_OK, QvList_GrowAllocated(list_, n));
      capacity_ += n < 1 ? 4 : units(n);
      return;
    }
    ASSERT_EQ(S_OK, QvList_ShrinkAllocated(list_, n));
    const int32_t spare = capacity_ - size();
    const int32_t wanted = n < 0 ? spare : std::min(n, spare);
    capacity_ -= std::min(units(wanted), spare / 4 * 4);
  }

  void pending() {
    void* item = nullptr;
    const HRESULT status = QvList_AllocItem(list_, 24, &item);
    ASSERT_EQ(list_.is(kListHeap) ? S_OK : E_FAIL, status);
    if (FAILED(status)) return;
    void* second = nullptr;
    ASSERT_EQ(E_FAIL, QvList_AllocItem(list_, 24, &second));
    ASSERT_EQ(item, list_->pendingItem);
    if (upTo(1)) {
      ASSERT_EQ(S_OK, QvList_DeleteList(list_, -1, -1, 0));
      ASSERT_EQ(E_FAIL, QvList_DeleteList(list_, -1, -1, 0));
      return;
    }
    const int32_t index = place();
    std::memcpy(item, &next_, sizeof next_);
    ASSERT_EQ(S_OK, QvList_InsertList(list_, index, nullptr, -1));
    ASSERT_EQ(nullptr, list_->pendingItem);
    makeRoom(1);
    values_.insert(at(index), next_++);
  }

  void force() {
    const int32_t count = size() + upTo(10);
    ASSERT_EQ(list_.is(kListInline) ? S_OK : E_FAIL, QvList_ArrayForceItemCount(list_, count, 1));
    if (!list_.is(kListInline)) return;
    if (count > capacity_) capacity_ += units(count - capacity_);
    values_.resize(count);
  }

  Kind kind_;
  Numbers list_;
  std::mt19937 random_;
  std::vector<uint32_t> values_;
  int32_t capacity_ = 4;
  uint32_t next_ = 1;
};

TEST(List, RandomHistoriesMatchAVector) {
  uint32_t seed = 20240229;
  for (const Kind& kind : kKinds) {
    Model model(kind, seed++);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) model.step();
  }
}

TEST(List, InsertTakesExactlyItsForms) {
  Numbers heap(kHeap);
  char* raw = static_cast<char*>(std::calloc(1, 8));
  EXPECT_EQ(E_FAIL, QvList_InsertList(heap, 0, &raw, 1));
  EXPECT_EQ(E_FAIL, QvList_InsertList(heap, 0, nullptr, -1));
  EXPECT_EQ(S_OK, QvList_InsertList(heap, 0, &raw, -1));
  ASSERT_EQ(S_OK, QvList_AllocItem(heap, 8, nullptr));
  void* const pending = heap->pendingItem;
  for (int32_t count : {0, 1, -2, kLeast}) EXPECT_EQ(E_FAIL, QvList_InsertList(heap, 0, nullptr, count));
  EXPECT_EQ(pending, heap->pendingItem);
  EXPECT_EQ(1, heap->itemCount);
  Numbers inlined(kInline);
  EXPECT_EQ(E_FAIL, QvList_InsertList(inlined, 0, nullptr, -1));
  const uint32_t two[] = {1, 2};
  EXPECT_EQ(S_OK, QvList_InsertList(inlined, 5, two, -2));
  EXPECT_THAT(inlined.values(), ElementsAre(1, 2));
}

TEST(List, CountsBeyondReasonChangeNothing) {
  Numbers list(kInline, {1, 2, 3});
  tQVLIST before;
  std::memcpy(static_cast<void*>(&before), list, sizeof before);
  const uint32_t value = 9;
  EXPECT_EQ(E_OUTOFMEMORY, QvList_InsertList(list, 0, &value, kLeast));
  EXPECT_EQ(E_OUTOFMEMORY, QvList_InsertList(list, 0, &value, kMost));
  EXPECT_EQ(E_OUTOFMEMORY, QvList_GrowAllocated(list, kMost));
  EXPECT_EQ(E_OUTOFMEMORY, QvList_ArrayForceItemCount(list, kMost, 0));
  EXPECT_EQ(E_FAIL, QvList_ArrayForceItemCount(list, -1, 0));
  EXPECT_EQ(E_FAIL, QvList_MoveRange(list, 1, kMost, kMost));
  EXPECT_EQ(E_FAIL, QvList_DeleteList(list, kMost, kMost, 0));
  EXPECT_EQ(S_OK, QvList_DeleteList(list, 0, 0, 1));
  EXPECT_EQ(S_OK, QvList_ShrinkAllocated(list, kMost));
  EXPECT_EQ(-1, QvList_FindSpecificItemRange(list, kMost, kMost, &value));
  EXPECT_EQ(0, std::memcmp(&before, list, sizeof before));
  EXPECT_THAT(list.values(), ElementsAre(1, 2, 3));
}

TEST(List, VacatedSlotsAreZeroAndCutOffOnesAreNot) {
  Numbers list(kInline, {1, 2, 3, 4});
  EXPECT_EQ(S_OK, QvList_DeleteList(list, 1, 2, 0));
  EXPECT_EQ(S_OK, QvList_ArrayForceItemCount(list, 4, 0));
  EXPECT_THAT(list.values(), ElementsAre(1, 4, 0, 0));
  EXPECT_EQ(S_OK, QvList_ArrayForceItemCount(list, 1, 1));
  EXPECT_EQ(4, list->allocated);
  EXPECT_EQ(S_OK, QvList_ArrayForceItemCount(list, 5, 0));
  EXPECT_THAT(list.values(), ElementsAre(1, 4, 0, 0, 0));
}

TEST(List, AllocAndInsertReportsTheClampedIndex) {
  Numbers list(kHeap, {1, 2});
  int32_t index = 99;
  EXPECT_EQ(S_OK, QvList_AllocAndInsertItem(list, nullptr, 16, 50, &index));
  EXPECT_EQ(2, index);
  EXPECT_THAT(list.values(), ElementsAre(1, 2, 0));
  ASSERT_EQ(S_OK, QvList_AllocItem(list, 8, nullptr));
  void* const pending = list->pendingItem;
  EXPECT_EQ(E_FAIL, QvList_AllocAndInsertItem(list, nullptr, 16, 0, &index));
  EXPECT_EQ(-1, index);
  EXPECT_EQ(pending, list->pendingItem);
}

TEST(List, SizesAndResizing) {
  for (const Kind& kind : {kHeap, kPrivate}) {
    Numbers list(kind, {1, 2});
    EXPECT_EQ(S_OK, QvList_ReAllocItem(list, 1, 1000));
    EXPECT_EQ(2u, Numbers::read(list.item(1)));
    EXPECT_GE(QvList_AllocSize(list, 1), 1000);
    const int64_t items = QvList_AllocSize(list, 0) + QvList_AllocSize(list, 1);
    EXPECT_EQ(static_cast<int64_t>(GlobalSize(GlobalHandle(list->data))) + 136 + items,
              QvList_AllocSize(list, -1));
    EXPECT_EQ(S_OK, QvList_ReAllocItem(list, 0, 0));
    EXPECT_NE(nullptr, list.item(0));
  }
  Numbers inlined(kKinds[5]);
  EXPECT_EQ(16, QvList_AllocSize(inlined, 0));
  EXPECT_EQ(4 * 16 + 136, QvList_AllocSize(inlined, -1));
  EXPECT_EQ(E_FAIL, QvList_ReAllocItem(inlined, 0, 8));
}

TEST(List, SortedSearchMeetsTheSameItemEveryTime) {
  const struct {
    std::vector<uint32_t> values;
    uint32_t key;
    int32_t start, count, found, place;
  } cases[] = {
      {{1, 2, 2, 2, 3}, 2, 0, -1, 2, 2},     {{2, 2, 2, 2}, 2, 0, -1, 1, 1},  {{2, 2, 2, 2}, 2, 1, 2, 1, 1},
      {{1, 3, 3, 3, 3, 3}, 3, -5, 99, 2, 2}, {{1, 3, 5, 7}, 4, 0, -1, -1, 2}, {{1, 3, 5, 7}, 0, 0, -1, -1, 0},
      {{1, 3, 5, 7}, 9, 0, -1, -1, 4},       {{1, 3, 5, 7}, 1, 2, -1, -1, 2}, {{1, 3, 5, 7}, 5, 0, 2, -1, 2},
      {{1, 3, 5, 7}, 5, 3, 0, -1, 0},   // an empty range gives 0, not its start
      {{1, 3, 5, 7}, 5, 4, -1, -1, 0},  // so does the end
      {{1, 3, 5, 7}, 5, 5, -1, -1, -1},      {{}, 5, 0, -1, -1, 0},
  };
  for (const Kind& kind : kKinds) {
    for (const auto& c : cases) {
      Numbers list(kind, c.values), one(kind, {c.key});
      const auto compare = comparerFor(kind);
      EXPECT_EQ(c.found, QvList_FindSortedItemRange(list, one.item(0), c.start, c.count, compare));
      EXPECT_EQ(c.place, QvList_FindSortedInsertIndexRange(list, one.item(0), c.start, c.count, compare));
    }
  }
}

TEST(List, SortedSearchAgreesWithTheStandardOne) {
  std::vector<uint32_t> values;
  for (uint32_t length = 0; length < 70; ++length, values.push_back(2 * length)) {
    Numbers list(kInline, values);
    for (uint32_t key = 0; key < 2 * length + 3; ++key) {
      const auto bound = std::lower_bound(values.begin(), values.end(), key);
      const int32_t place = static_cast<int32_t>(bound - values.begin());
      const bool there = bound != values.end() && *bound == key;
      EXPECT_EQ(there ? place : -1, QvList_FindSortedItemRange(list, &key, 0, -1, compareStored));
      EXPECT_EQ(place, QvList_FindSortedInsertIndexRange(list, &key, 0, -1, compareStored));
    }
  }
}

TEST(List, MatchSearchStopsAtTheFirst) {
  Numbers list(kInline, {5, 6, 7, 6});
  const auto match = [](const void* key, const void* item) CALLBACK -> int32_t {
    return static_cast<int32_t>(Numbers::read(item) - Numbers::read(key));
  };
  const uint32_t six = 6, nine = 9;
  EXPECT_EQ(1, QvList_FindItemRange(list, -1, -1, &six, match));
  EXPECT_EQ(3, QvList_FindItemRange(list, 2, 99, &six, match));
  EXPECT_EQ(-1, QvList_FindItemRange(list, 2, 1, &six, match));
  EXPECT_EQ(-1, QvList_FindItemRange(list, 0, -1, &nine, match));
}

using SortProc = HRESULT (*)(tQVLIST*, int64_t, QvListCompareProc);

TEST(List, BothSortsOrderEveryKind) {
  std::mt19937 random(7);
  for (SortProc sort : {&QvList_Sort, &QvList_HeapSort})
    for (const Kind& kind : kKinds)
      for (size_t length : {0, 1, 2, 3, 4, 5, 8, 9, 64, 301}) {
        std::vector<uint32_t> values(length);
        for (uint32_t& value : values) value = random() % 97;
        Numbers list(kind, values);
        EXPECT_EQ(S_OK, sort(list, 3, comparerFor(kind)));
        std::sort(values.begin(), values.end());
        EXPECT_THAT(list.values(), ElementsAreArray(values)) << kind.name;
      }
}

std::string trace;
int32_t CALLBACK compareTraced(int64_t criteria, const void* a, const void* b) {
  EXPECT_EQ(42, criteria);
  trace += std::to_string(Numbers::read(a)) + ":" + std::to_string(Numbers::read(b)) + " ";
  return compareStored(criteria, a, b);
}

// The order of the compares is the interface: it decides where equal items end up.
TEST(List, SortsCompareInAFixedOrder) {
  const struct {
    SortProc sort;
    std::vector<uint32_t> values;
    const char* expected;
  } cases[] = {
      {&QvList_Sort, {2, 3, 1}, "3:2 1:3 1:2 "},
      {&QvList_HeapSort, {3, 1, 4, 2}, "2:1 4:2 4:3 3:2 3:1 2:1 "},
      {&QvList_HeapSort, {1, 4, 2, 3}, "3:4 2:4 4:1 2:1 2:3 1:2 "},  // the last leaf is not asked again
      {&QvList_HeapSort,
       {6, 5, 4, 3, 2, 1},
       "1:4 2:3 3:5 4:5 5:6 2:3 3:5 4:5 5:1 2:3 3:1 4:3 4:2 2:3 3:1 1:2 "},
  };
  for (const auto& c : cases)
    for (uint64_t itemSize : {4, 8, 12}) {
      Numbers list({"traced", kListInline, itemSize}, c.values);
      trace.clear();
      EXPECT_EQ(S_OK, c.sort(list, 42, compareTraced));
      EXPECT_EQ(c.expected, trace);
    }
  Numbers list(kInline, {2, 1});
  EXPECT_EQ(S_OK, QvList_Sort(list, 11, nullptr));
  EXPECT_EQ(11, QvList_GetSortCriteria(list));
  EXPECT_THAT(list.values(), ElementsAre(2, 1));
}

TEST(List, SortToCopiesInOrder) {
  Numbers source(kInline, {5, 1, 4, 1}), target(kInline, {3});
  EXPECT_EQ(S_OK, QvList_SortTo(target, source, 42, compareTraced));
  EXPECT_THAT(target.values(), ElementsAre(1, 1, 3, 4, 5));
  EXPECT_EQ(42, QvList_GetSortCriteria(target));
  Numbers owner(kHeap, {2, 1}), view(kPlain), second(kHeap), wide(kKinds[5]);
  EXPECT_EQ(S_OK, QvList_SortTo(view, owner, 0, compareStored));
  EXPECT_EQ(listPointers(owner)[1], listPointers(view)[0]);
  EXPECT_EQ(S_OK, QvList_SortTo(second, owner, 0, compareStored));
  EXPECT_THAT(second.values(), IsEmpty());
  EXPECT_EQ(E_FAIL, QvList_SortTo(wide, source, 0, compareStored));
  EXPECT_EQ(E_FAIL, QvList_SortTo(source, source, 0, compareStored));
}

TEST(List, MovesItemsBetweenHeapLists) {
  const struct {
    int32_t targetIndex, sourceIndex, count;
    HRESULT status;
    std::vector<uint32_t> target, source;
  } cases[] = {
      {1, 1, 2, S_OK, {1, 12, 13, 2}, {11, 14}},    {-1, 0, -1, S_OK, {1, 2, 11, 12, 13, 14}, {}},
      {9, 2, 2, S_OK, {1, 2, 13, 14}, {11, 12}},    {0, 1, -1, E_FAIL, {1, 2}, {11, 12, 13, 14}},
      {0, 3, 2, E_FAIL, {1, 2}, {11, 12, 13, 14}},  {0, kMost, kMost, E_FAIL, {1, 2}, {11, 12, 13, 14}},
      {0, -1, 1, E_FAIL, {1, 2}, {11, 12, 13, 14}}, {0, 9, 0, S_OK, {1, 2}, {11, 12, 13, 14}},
  };
  for (const auto& c : cases) {
    Numbers target(kHeap, {1, 2}), source(kHeap, {11, 12, 13, 14});
    EXPECT_EQ(c.status,
              QvList_MoveItemsBetweenHeapLists(target, c.targetIndex, source, c.sourceIndex, c.count));
    EXPECT_THAT(target.values(), ElementsAreArray(c.target));
    EXPECT_THAT(source.values(), ElementsAreArray(c.source));
  }
  Numbers target(kHeap, {1, 2}), source(kHeap, {11, 12, 13, 14}), inlined(kInline);
  // Room for two; then memory runs out: the last two are over, each item has one owner.
  platform::failAllocation(1);
  EXPECT_EQ(E_OUTOFMEMORY, QvList_MoveItemsBetweenHeapLists(target, 1, source, 0, 4));
  EXPECT_TRUE(platform::allocationFailed());
  EXPECT_THAT(target.values(), ElementsAre(1, 13, 14, 2));
  EXPECT_THAT(source.values(), ElementsAre(11, 12));
  EXPECT_EQ(nullptr, target->pendingItem);
  EXPECT_EQ(E_FAIL, QvList_MoveItemsBetweenHeapLists(target, 0, target, 0, 1));
  EXPECT_EQ(E_FAIL, QvList_MoveItemsBetweenHeapLists(inlined, 0, source, 0, 1));
  ASSERT_EQ(S_OK, QvList_AllocItem(target, 8, nullptr));
  EXPECT_EQ(E_FAIL, QvList_MoveItemsBetweenHeapLists(target, 0, source, 0, 1));
}

// Everything that a list holds: its record, its storage, and what its items hold.
std::string snapshot(const Numbers& list) {
  std::string bytes(reinterpret_cast<const char*>(list.operator->()), sizeof(tQVLIST));
  bytes.append(static_cast<char*>(list->data), static_cast<size_t>(list->allocated) * list->itemSize);
  for (int32_t i = 0; list.is(kListHeap) && i < list->itemCount; ++i)
    bytes.append(static_cast<const char*>(list.item(i)), 16);
  return bytes;
}

TEST(List, EveryAllocationMayFailWithoutLeakOrChange) {
  const uint32_t value = 7;
  const struct {
    const char* name;
    Kind kind;
    std::function<HRESULT(Numbers&)> run;
  } cases[] = {
      {"insert", kInline, [&](Numbers& list) { return QvList_InsertList(list, 1, &value, 1); }},
      {"insert pointer", kPlain, [&](Numbers& list) { return QvList_InsertList(list, 1, &list->data, 1); }},
      {"grow", kHeap, [](Numbers& list) { return QvList_GrowAllocated(list, 9); }},
      {"force", kInline, [](Numbers& list) { return QvList_ArrayForceItemCount(list, 99, 0); }},
      {"item", kHeap, [](Numbers& list) { return QvList_AllocItem(list, 50, nullptr); }},
      {"private item", kPrivate, [](Numbers& list) { return QvList_AllocItem(list, 50, nullptr); }},
      {"item in", kHeap, [](Numbers& list) { return QvList_AllocAndInsertItem(list, "abc", 4, 0, nullptr); }},
      {"private item in", kPrivate,
       [](Numbers& list) { return QvList_AllocAndInsertItem(list, "abc", 4, 0, nullptr); }},
      {"resize", kHeap, [](Numbers& list) { return QvList_ReAllocItem(list, 2, 5000); }},
      {"private resize", kPrivate, [](Numbers& list) { return QvList_ReAllocItem(list, 2, 5000); }},
      {"move", {"wide", kListInline, 800}, [](Numbers& list) { return QvList_MoveRange(list, 0, 2, 2); }},
  };
  for (const auto& c : cases) {
    for (int64_t n = 1;; ++n) {
      Numbers list(c.kind, {1, 2, 3, 4});
      const std::string before = snapshot(list);
      platform::failAllocation(n);
      const HRESULT status = c.run(list);
      if (!platform::allocationFailed()) {
        EXPECT_EQ(S_OK, status) << c.name;
        EXPECT_GT(n, 1) << c.name << " allocated nothing";
        break;
      }
      EXPECT_EQ(E_OUTOFMEMORY, status) << c.name;
      EXPECT_EQ(before, snapshot(list)) << c.name;
    }
  }
}

TEST(List, CreationFailsCleanlyAtEveryAllocation) {
  for (const Kind& kind : kKinds)
    for (int64_t n = 1;; ++n) {
      tQVLIST record;
      tQVLIST* const given = &record;
      tQVLIST* list = given;
      platform::failAllocation(n);
      const HRESULT status = QvList_CreateExZ(&list, kind.itemSize, 4, 4, kind.options, 0, 0, 0);
      if (!platform::allocationFailed()) {
        EXPECT_EQ(S_OK, QvList_Destroy(list));
        break;
      }
      EXPECT_EQ(E_OUTOFMEMORY, status) << kind.name;
      if ((kind.options & kListInPlace) != 0)
        EXPECT_FALSE(QvList_IsListFast(given));
      else
        EXPECT_EQ(nullptr, list) << kind.name;
    }
}

TEST(List, ShrinkingMayFail) {
  Numbers list(kInline, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  ASSERT_EQ(S_OK, QvList_GrowAllocated(list, 8));
  const std::string before = snapshot(list);
  platform::failAllocation(1);
  EXPECT_EQ(E_OUTOFMEMORY, QvList_ShrinkAllocated(list, -1));
  EXPECT_EQ(before, snapshot(list));
  // A delete has done its work by then.
  platform::failAllocation(1);
  EXPECT_EQ(S_OK, QvList_DeleteList(list, 1, 9, 1));
  EXPECT_TRUE(platform::allocationFailed());
  EXPECT_THAT(list.values(), ElementsAre(1));
  EXPECT_EQ(24, list->allocated);
}

TEST(List, SmallFields) {
  Numbers list(kInline, {1});
  EXPECT_EQ(0, QvList_SetUserData(list, -9));
  EXPECT_EQ(-9, QvList_SetUserData(list, 4));
  EXPECT_TRUE(QvList_IsValidIndexSlow(list, 0));
  EXPECT_FALSE(QvList_IsValidIndexSlow(list, 1));
  EXPECT_FALSE(QvList_IsValidIndexSlow(list, -1));
  WCHAR text[] = TEXT("x");
  EXPECT_EQ(-1, QvList_GetFileAndLine(list, text));
  EXPECT_EQ(0, text[0]);
}

#if defined(QV_DEBUG_CHECKS) && GTEST_HAS_DEATH_TEST
TEST(ListDeathTest, DebugBuildsRefuseABrokenRecord) {
  Numbers list(kInline, {1, 2});
  const int32_t count = list->itemCount;
  list->itemCount = 5;
  EXPECT_DEATH(QvList_GrowAllocated(list, 1), "item count outside the capacity");
  list->itemCount = count;
}
#endif

}  // namespace
}  // namespace qv
