// The list container beside std::vector and the standard algorithms. A pair shares its suffix; compares go
// through the same kind of function pointer on both sides.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "qv/core/list.h"

namespace qv {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using ListOwner = std::unique_ptr<tQVLIST, decltype([](tQVLIST* list) { QvList_Destroy(list); })>;

ListOwner makeList(uint32_t options, uint64_t itemSize = 8, int32_t growBy = 16384) {
  tQVLIST* list = nullptr;
  QvList_CreateExZ(&list, itemSize, -1, growBy, options, 0, 0, 0);
  return ListOwner(list);
}

// A caller who knows roughly how much is coming says so.
int32_t unitFor(const benchmark::State& state) {
  return static_cast<int32_t>(state.range(0));
}

std::vector<uint64_t> randomKeys(size_t count) {
  std::mt19937_64 random(5);
  std::vector<uint64_t> keys(count);
  for (uint64_t& key : keys) key = random() >> 1;
  return keys;
}

int32_t CALLBACK compareKeys(int64_t, const void* a, const void* b) {
  const uint64_t one = *static_cast<const uint64_t*>(a), other = *static_cast<const uint64_t*>(b);
  return (one > other) - (one < other);
}
int32_t CALLBACK comparePointers(int64_t, const void* a, const void* b) {
  return (a > b) - (a < b);
}

// The compiler must not see through the callback on either side.
QvListCompareProc volatile keyCompare = compareKeys;
QvListCompareProc volatile pointerCompare = comparePointers;

struct KeyLess {
  QvListCompareProc compare = keyCompare;
  bool operator()(const uint64_t& a, const uint64_t& b) const { return compare(0, &a, &b) < 0; }
};
struct PointerLess {
  QvListCompareProc compare = pointerCompare;
  bool operator()(const void* a, const void* b) const { return compare(0, a, b) < 0; }
};

// ---- Append -----------------------------------------------------------------------------------------------

void ListAppendPointer(benchmark::State& state) {
  for (auto _ : state) {
    const ListOwner list = makeList(0, 8, unitFor(state));
    for (int64_t i = 0; i < state.range(0); ++i) {
      void* item = reinterpret_cast<void*>(i);
      QvList_InsertList(list.get(), -1, &item, 1);
    }
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorAppendPointer(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<void*> list;
    for (int64_t i = 0; i < state.range(0); ++i) list.push_back(reinterpret_cast<void*>(i));
    benchmark::DoNotOptimize(list.data());
  }
}

// The peer of a grow unit that fits the load.
void ReservedAppendPointer(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<void*> list;
    list.reserve(state.range(0));
    for (int64_t i = 0; i < state.range(0); ++i) list.push_back(reinterpret_cast<void*>(i));
    benchmark::DoNotOptimize(list.data());
  }
}

// The same behind a call, as any container stands that lives in another module.
[[gnu::noinline]] void pushBack(std::vector<void*>& list, void* item) {
  list.push_back(item);
}
void CallAppendPointer(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<void*> list;
    for (int64_t i = 0; i < state.range(0); ++i) pushBack(list, reinterpret_cast<void*>(i));
    benchmark::DoNotOptimize(list.data());
  }
}

void ListAppendDefaultUnit(benchmark::State& state) {
  for (auto _ : state) {
    const ListOwner list = makeList(0, 8, -1);
    for (int64_t i = 0; i < state.range(0); ++i) {
      void* item = reinterpret_cast<void*>(i);
      QvList_InsertList(list.get(), -1, &item, 1);
    }
    benchmark::DoNotOptimize(list->data);
  }
}

void ListAppendInline16(benchmark::State& state) {
  for (auto _ : state) {
    const ListOwner list = makeList(kListInline, 16, unitFor(state));
    for (int64_t i = 0; i < state.range(0); ++i) {
      const int64_t item[] = {i, i};
      QvList_InsertList(list.get(), -1, item, 1);
    }
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorAppendInline16(benchmark::State& state) {
  struct Item {
    int64_t first, second;
  };
  for (auto _ : state) {
    std::vector<Item> list;
    for (int64_t i = 0; i < state.range(0); ++i) list.push_back({i, i});
    benchmark::DoNotOptimize(list.data());
  }
}

void ListAppendOwned(benchmark::State& state) {
  for (auto _ : state) {
    const ListOwner list = makeList(kListHeap, 8, unitFor(state));
    for (int64_t i = 0; i < state.range(0); ++i)
      QvList_AllocAndInsertItem(list.get(), &i, sizeof i, -1, nullptr);
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorAppendOwned(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<std::unique_ptr<void, Free>> list;
    for (int64_t i = 0; i < state.range(0); ++i) {
      void* item = std::calloc(1, sizeof i);
      std::memcpy(item, &i, sizeof i);
      list.emplace_back(item);
    }
    benchmark::DoNotOptimize(list.data());
  }
}

void ListAppendBlock(benchmark::State& state) {
  const std::vector<uint64_t> block = randomKeys(256);
  for (auto _ : state) {
    const ListOwner list = makeList(kListInline, 8, unitFor(state));
    for (int64_t i = 0; i < state.range(0); i += 256) QvList_InsertList(list.get(), -1, block.data(), 256);
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorAppendBlock(benchmark::State& state) {
  const std::vector<uint64_t> block = randomKeys(256);
  for (auto _ : state) {
    std::vector<uint64_t> list;
    for (int64_t i = 0; i < state.range(0); i += 256) list.insert(list.end(), block.begin(), block.end());
    benchmark::DoNotOptimize(list.data());
  }
}

// ---- Insert in the middle, sorted insert ------------------------------------------------------------------

void ListInsertMiddle(benchmark::State& state) {
  for (auto _ : state) {
    const ListOwner list = makeList(kListInline);
    for (int64_t i = 0; i < state.range(0); ++i) QvList_InsertList(list.get(), list->itemCount / 2, &i, 1);
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorInsertMiddle(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<int64_t> list;
    for (int64_t i = 0; i < state.range(0); ++i) list.insert(list.begin() + list.size() / 2, i);
    benchmark::DoNotOptimize(list.data());
  }
}

void ListSortedInsert(benchmark::State& state) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  const QvListCompareProc compare = keyCompare;
  for (auto _ : state) {
    const ListOwner list = makeList(kListInline);
    for (const uint64_t& key : keys) {
      const int32_t at = QvList_FindSortedInsertIndexRange(list.get(), &key, 0, -1, compare);
      QvList_InsertList(list.get(), at, &key, 1);
    }
    benchmark::DoNotOptimize(list->data);
  }
}
void VectorSortedInsert(benchmark::State& state) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  const KeyLess less;
  for (auto _ : state) {
    std::vector<uint64_t> list;
    for (const uint64_t& key : keys) list.insert(std::lower_bound(list.begin(), list.end(), key, less), key);
    benchmark::DoNotOptimize(list.data());
  }
}

// ---- Search -----------------------------------------------------------------------------------------------

struct SearchData {
  explicit SearchData(size_t count) : sorted(randomKeys(count)), keys(sorted) {
    std::sort(sorted.begin(), sorted.end());
  }
  std::vector<uint64_t> sorted, keys;
};

void ListBinarySearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  const ListOwner list = makeList(kListInline);
  QvList_InsertList(list.get(), 0, data.sorted.data(), static_cast<int32_t>(data.sorted.size()));
  const QvListCompareProc compare = keyCompare;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(QvList_FindSortedItemRange(list.get(), &data.keys[i], 0, -1, compare));
    if (++i == data.keys.size()) i = 0;
  }
}
void VectorBinarySearch(benchmark::State& state) {
  const SearchData data(state.range(0));
  const KeyLess less;
  size_t i = 0;
  for (auto _ : state) {
    const auto found = std::lower_bound(data.sorted.begin(), data.sorted.end(), data.keys[i], less);
    benchmark::DoNotOptimize(found != data.sorted.end() && !less(data.keys[i], *found));
    if (++i == data.keys.size()) i = 0;
  }
}

void ListFindPointer(benchmark::State& state) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  const ListOwner list = makeList(0);
  QvList_InsertList(list.get(), 0, keys.data(), static_cast<int32_t>(keys.size()));
  void* const last = reinterpret_cast<void*>(keys.back());
  for (auto _ : state) benchmark::DoNotOptimize(QvList_FindSpecificItemRange(list.get(), 0, -1, last));
}
void VectorFindPointer(benchmark::State& state) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  uint64_t last = keys.back();
  for (auto _ : state) {
    benchmark::DoNotOptimize(last);
    benchmark::DoNotOptimize(std::find(keys.begin(), keys.end(), last));
  }
}

// ---- Sort -------------------------------------------------------------------------------------------------

// Both sides copy the unsorted data in before each sort.
template <typename Sort>
void sortLists(benchmark::State& state, uint32_t options, Sort sort) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  const ListOwner list = makeList(options);
  QvList_InsertList(list.get(), 0, keys.data(), static_cast<int32_t>(keys.size()));
  for (auto _ : state) {
    std::copy(keys.begin(), keys.end(), static_cast<uint64_t*>(list->data));
    sort(list.get());
  }
}
void ListHeapSortInline(benchmark::State& state) {
  sortLists(state, kListInline, [](tQVLIST* list) { QvList_HeapSort(list, 0, keyCompare); });
}
void ListHeapSortPointer(benchmark::State& state) {
  sortLists(state, 0, [](tQVLIST* list) { QvList_HeapSort(list, 0, pointerCompare); });
}
void ListSelectionSort(benchmark::State& state) {
  sortLists(state, kListInline, [](tQVLIST* list) { QvList_Sort(list, 0, keyCompare); });
}

template <typename T, typename Sort>
void sortVectors(benchmark::State& state, Sort sort) {
  const std::vector<uint64_t> keys = randomKeys(state.range(0));
  std::vector<T> list(keys.size());
  for (auto _ : state) {
    std::transform(keys.begin(), keys.end(), list.begin(), [](uint64_t key) { return (T)key; });
    sort(list);
    benchmark::DoNotOptimize(list.data());
  }
}
void VectorHeapSortInline(benchmark::State& state) {
  sortVectors<uint64_t>(state, [](auto& list) { std::sort(list.begin(), list.end(), KeyLess()); });
}
void VectorHeapSortPointer(benchmark::State& state) {
  sortVectors<void*>(state, [](auto& list) { std::sort(list.begin(), list.end(), PointerLess()); });
}
void StdHeapInline(benchmark::State& state) {
  sortVectors<uint64_t>(state, [](auto& list) {
    std::make_heap(list.begin(), list.end(), KeyLess());
    std::sort_heap(list.begin(), list.end(), KeyLess());
  });
}
void StdHeapPointer(benchmark::State& state) {
  sortVectors<void*>(state, [](auto& list) {
    std::make_heap(list.begin(), list.end(), PointerLess());
    std::sort_heap(list.begin(), list.end(), PointerLess());
  });
}

BENCHMARK(ListAppendPointer)->Arg(1000)->Arg(100000);
BENCHMARK(VectorAppendPointer)->Arg(1000)->Arg(100000);
BENCHMARK(ReservedAppendPointer)->Arg(1000)->Arg(100000);
BENCHMARK(CallAppendPointer)->Arg(1000)->Arg(100000);
BENCHMARK(ListAppendDefaultUnit)->Arg(1000);
BENCHMARK(ListAppendInline16)->Arg(1000)->Arg(100000);
BENCHMARK(VectorAppendInline16)->Arg(1000)->Arg(100000);
BENCHMARK(ListAppendOwned)->Arg(1000)->Arg(100000);
BENCHMARK(VectorAppendOwned)->Arg(1000)->Arg(100000);
BENCHMARK(ListAppendBlock)->Arg(100000);
BENCHMARK(VectorAppendBlock)->Arg(100000);
BENCHMARK(ListInsertMiddle)->Arg(10000);
BENCHMARK(VectorInsertMiddle)->Arg(10000);
BENCHMARK(ListSortedInsert)->Arg(10000);
BENCHMARK(VectorSortedInsert)->Arg(10000);
BENCHMARK(ListBinarySearch)->Arg(1000)->Arg(100000);
BENCHMARK(VectorBinarySearch)->Arg(1000)->Arg(100000);
BENCHMARK(ListFindPointer)->Arg(10000);
BENCHMARK(VectorFindPointer)->Arg(10000);
BENCHMARK(ListHeapSortInline)->Arg(100000);
BENCHMARK(VectorHeapSortInline)->Arg(100000);
BENCHMARK(StdHeapInline)->Arg(100000);
BENCHMARK(ListHeapSortPointer)->Arg(100000);
BENCHMARK(VectorHeapSortPointer)->Arg(100000);
BENCHMARK(StdHeapPointer)->Arg(100000);
BENCHMARK(ListSelectionSort)->Arg(2000);

}  // namespace
}  // namespace qv
