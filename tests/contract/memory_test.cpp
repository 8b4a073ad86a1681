#include "qv/platform/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/pages.h"

namespace {

constexpr SIZE_T kImpossible = ~SIZE_T{0} - 100;

bool isFilledWith(const void* data, size_t bytes, uint8_t value) {
  auto* first = static_cast<const uint8_t*>(data);
  return std::all_of(first, first + bytes, [value](uint8_t byte) { return byte == value; });
}

struct GlobalCase {
  const char* name;
  UINT flags;
  SIZE_T bytes;
};
class GlobalBlock : public testing::TestWithParam<GlobalCase> {};

TEST_P(GlobalBlock, KeepsSizeContentsAndHandle) {
  const auto& [name, flags, bytes] = GetParam();
  HGLOBAL block = GlobalAlloc(flags, bytes);
  ASSERT_TRUE(block);
  EXPECT_EQ(bytes, GlobalSize(block));
  void* data = GlobalLock(block);
  ASSERT_TRUE(data);
  EXPECT_EQ((flags & GMEM_MOVEABLE) == 0, data == block);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(data) % 16);
  EXPECT_EQ(block, GlobalHandle(data));
  if (flags & GMEM_ZEROINIT) {
    EXPECT_TRUE(isFilledWith(data, bytes, 0));
  }
  std::memset(data, 0xa5, bytes);
  GlobalUnlock(block);

  HGLOBAL larger = GlobalReAlloc(block, bytes * 3, GMEM_MOVEABLE | GMEM_ZEROINIT);
  ASSERT_TRUE(larger);
  if (flags & GMEM_MOVEABLE) {
    EXPECT_EQ(block, larger);
  }
  EXPECT_EQ(bytes * 3, GlobalSize(larger));
  auto* bigger = static_cast<uint8_t*>(GlobalLock(larger));
  EXPECT_TRUE(isFilledWith(bigger, bytes, 0xa5));
  EXPECT_TRUE(isFilledWith(bigger + bytes, bytes * 2, 0));
  GlobalUnlock(larger);

  EXPECT_FALSE(GlobalReAlloc(larger, kImpossible, GMEM_MOVEABLE));
  EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
  EXPECT_EQ(bytes * 3, GlobalSize(larger)) << "the old block stands";
  EXPECT_FALSE(GlobalFree(larger));
}

INSTANTIATE_TEST_SUITE_P(Kinds, GlobalBlock,
                         testing::Values(GlobalCase{"fixed", GMEM_FIXED, 100},
                                         GlobalCase{"zeroed", GMEM_ZEROINIT, 13},
                                         GlobalCase{"moveable", GMEM_MOVEABLE, 1},
                                         GlobalCase{"moveableZeroed", GMEM_MOVEABLE | GMEM_ZEROINIT, 70000},
                                         GlobalCase{"largeZeroed", GMEM_ZEROINIT, 3000001}),
                         [](const auto& each) { return each.param.name; });

TEST(Global, AFixedBlockShrinksWhereItIs) {
  HGLOBAL block = GlobalAlloc(GMEM_ZEROINIT, 5000);
  std::memset(block, 7, 5000);
  EXPECT_EQ(block, GlobalReAlloc(block, 50, GMEM_ZEROINIT));
  EXPECT_EQ(50u, GlobalSize(block));
  EXPECT_TRUE(isFilledWith(block, 50, 7));
  EXPECT_FALSE(GlobalReAlloc(block, 1 << 24, GMEM_ZEROINIT)) << "growing so far means moving";
  EXPECT_EQ(50u, GlobalSize(block));
  GlobalFree(block);
}

TEST(Global, LocksCountAndHoldABlockInItsPlace) {
  HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, 64);
  void* data = GlobalLock(block);
  EXPECT_EQ(data, GlobalLock(block));
  EXPECT_TRUE(GlobalUnlock(block));
  EXPECT_FALSE(GlobalReAlloc(block, 1 << 24, 0)) << "locked, and not allowed to move";
  SetLastError(777);
  EXPECT_FALSE(GlobalUnlock(block));
  EXPECT_EQ(ERROR_SUCCESS, GetLastError());
  GlobalFree(block);
}

TEST(Global, NothingAndNullAreHarmless) {
  EXPECT_FALSE(GlobalAlloc(GMEM_FIXED, kImpossible));
  EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, GetLastError());
  EXPECT_FALSE(GlobalAlloc(GMEM_MOVEABLE, kImpossible));
  EXPECT_EQ(0u, GlobalSize(nullptr));
  EXPECT_FALSE(GlobalHandle(nullptr));
  EXPECT_FALSE(GlobalFree(nullptr));
  HGLOBAL fixed = GlobalAlloc(GMEM_FIXED, 0);
  EXPECT_TRUE(fixed);
  GlobalFree(fixed);
  HGLOBAL moveable = GlobalAlloc(GMEM_MOVEABLE, 0);
  ASSERT_TRUE(moveable);
  EXPECT_EQ(0u, GlobalSize(moveable));
  EXPECT_FALSE(GlobalLock(moveable));
  EXPECT_EQ(moveable, GlobalReAlloc(moveable, 10, GMEM_MOVEABLE));
  EXPECT_EQ(10u, GlobalSize(moveable));
  GlobalFree(moveable);
}

// Random work on a heap against a model; blocks left over go with the heap (the address sanitizer counts).
TEST(Heap, KeepsEveryBlockApartAndItsSize) {
  for (DWORD options : {DWORD{0}, DWORD{HEAP_NO_SERIALIZE}}) {
    HANDLE heap = HeapCreate(options, 4096, 0);
    ASSERT_TRUE(heap);
    struct Model {
      uint8_t* data;
      size_t bytes;
      uint8_t value;
    };
    std::vector<Model> blocks;
    std::mt19937 random(1);
    constexpr size_t kSizes[] = {0, 1, 15, 16, 17, 1023, 1024, 1025, 1280, 1281, 32767, 32768, 32769, 200000};
    for (int step = 0; step < 4000; ++step) {
      size_t bytes = random() % 3 ? random() % 2000 : kSizes[random() % std::size(kSizes)];
      auto value = static_cast<uint8_t>(step);
      size_t pick = blocks.empty() ? 0 : random() % blocks.size();
      switch (blocks.size() < 20 ? 0 : random() % 4) {
        case 0: {
          auto* data = static_cast<uint8_t*>(HeapAlloc(heap, options | HEAP_ZERO_MEMORY, bytes));
          ASSERT_TRUE(data);
          ASSERT_EQ(0u, reinterpret_cast<uintptr_t>(data) % 16);
          ASSERT_TRUE(isFilledWith(data, bytes, 0));
          blocks.push_back({data, bytes, value});
          pick = blocks.size() - 1;
          break;
        }
        case 1: {
          Model& block = blocks[pick];
          size_t kept = std::min(bytes, block.bytes);
          auto* data =
              static_cast<uint8_t*>(HeapReAlloc(heap, options | HEAP_ZERO_MEMORY, block.data, bytes));
          ASSERT_TRUE(data);
          ASSERT_TRUE(isFilledWith(data, kept, block.value));
          ASSERT_TRUE(isFilledWith(data + kept, bytes - kept, 0));
          block = {data, bytes, value};
          break;
        }
        default:
          ASSERT_TRUE(isFilledWith(blocks[pick].data, blocks[pick].bytes, blocks[pick].value));
          ASSERT_TRUE(HeapFree(heap, options, blocks[pick].data));
          blocks[pick] = blocks.back();
          blocks.pop_back();
          continue;
      }
      ASSERT_EQ(bytes, HeapSize(heap, options, blocks[pick].data));
      std::memset(blocks[pick].data, value, bytes);
    }
    EXPECT_TRUE(HeapDestroy(heap));
  }
}

TEST(Heap, FailsWithoutHarm) {
  HANDLE heap = HeapCreate(HEAP_NO_SERIALIZE, 4096, 0);
  EXPECT_FALSE(HeapAlloc(heap, HEAP_NO_SERIALIZE, kImpossible));
  EXPECT_TRUE(HeapFree(heap, HEAP_NO_SERIALIZE, nullptr));
  EXPECT_FALSE(HeapReAlloc(heap, HEAP_NO_SERIALIZE, nullptr, 10));
  void* block = HeapAlloc(heap, HEAP_NO_SERIALIZE, 40);
  EXPECT_FALSE(HeapReAlloc(heap, HEAP_NO_SERIALIZE, block, kImpossible));
  EXPECT_FALSE(HeapReAlloc(heap, HEAP_REALLOC_IN_PLACE_ONLY, block, 1 << 20));
  EXPECT_EQ(40u, HeapSize(heap, HEAP_NO_SERIALIZE, block));
  EXPECT_TRUE(HeapDestroy(heap));

  void* lasting = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, 100);
  EXPECT_EQ(100u, HeapSize(GetProcessHeap(), 0, lasting));
  EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, lasting));
}

TEST(TaskMemory, AllocatesResizesAndFrees) {
  auto* block = static_cast<uint8_t*>(CoTaskMemAlloc(10));
  std::memset(block, 3, 10);
  block = static_cast<uint8_t*>(CoTaskMemRealloc(block, 10000));
  EXPECT_TRUE(isFilledWith(block, 10, 3));
  EXPECT_FALSE(CoTaskMemRealloc(block, 0)) << "frees";
  EXPECT_FALSE(CoTaskMemAlloc(kImpossible));
  CoTaskMemFree(CoTaskMemRealloc(nullptr, 5));
  CoTaskMemFree(nullptr);
}

TEST(RunTime, TellsABlocksSize) {
  for (size_t bytes : {1, 24, 25, 5000, 300000}) {
    void* block = calloc(1, bytes);
    EXPECT_GE(_msize(block), bytes);
    free(block);
  }
}

TEST(IsBadReadPtr, TellsWildPointersFromGoodOnes) {
  std::vector<char> good(100000);
  struct {
    const void* address;
    UINT_PTR bytes;
    bool bad;
  } cases[] = {
      {good.data(), good.size(), false},
      {good.data() + 1, 1, false},
      {"literal", 8, false},
      {nullptr, 0, false},
      {nullptr, 1, true},
      {reinterpret_cast<void*>(8), 136, true},
      {reinterpret_cast<void*>(0x4141414141414141), 8, true},
      {reinterpret_cast<void*>(~uintptr_t{7}), 4, true},
      {reinterpret_cast<void*>(~uintptr_t{7}), 64, true},
      {good.data(), ~UINT_PTR{0} / 2, true},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.bad, IsBadReadPtr(each.address, each.bytes) != FALSE) << each.address << " " << each.bytes;
  }
}

// The seam: each allocation through it can be made to fail, once, in turn.
TEST(AllocationSeam, FailsEveryAllocationInTurn) {
  using namespace qv::platform;
  auto work = [] {
    int failures = 0;
    auto count = [&](bool ok) { failures += !ok; };
    HGLOBAL global = globalAlloc(GMEM_ZEROINIT, 10);
    count(global);
    HGLOBAL larger = global ? globalReAlloc(global, 20, GMEM_MOVEABLE) : nullptr;
    count(larger || !global);
    GlobalFree(larger ? larger : global);
    HANDLE heap = heapCreate(HEAP_NO_SERIALIZE, 4096, 0);
    count(heap);
    void* item = heap ? heapAlloc(heap, 1, 10) : nullptr;
    count(item || !heap);
    if (item) count(heapReAlloc(heap, 1, item, 100));
    if (heap) HeapDestroy(heap);
    void* raw = runtimeCalloc(1, 10);
    count(raw);
    void* resized = raw ? runtimeRealloc(raw, 20) : nullptr;
    count(resized || !raw);
    free(resized ? resized : raw);
    void* task = taskAlloc(5);
    count(task);
    CoTaskMemFree(task);
    void* plain = runtimeMalloc(5);
    count(plain);
    free(plain);
    return failures;
  };
  int turns = 0;
  for (int64_t n = 1;; ++n) {
    failAllocation(n);
    int failures = work();
    if (!allocationFailed()) {
      EXPECT_EQ(0, failures);
      break;
    }
    EXPECT_EQ(1, failures) << "allocation " << n;
    ++turns;
  }
  EXPECT_EQ(9, turns);
  failAllocation(1);
  failAllocation(0);
  EXPECT_EQ(0, work());
  EXPECT_FALSE(allocationFailed());
}

// A hint, whatever it is given: nothing that is there changes, and a range that can't be had is none of its
// business.
TEST(Memory, PrefaultingLeavesAllAsItWas) {
  constexpr SIZE_T kBytes = 1 << 20, kOdd = 4099;
  auto* pages =
      static_cast<uint8_t*>(VirtualAlloc(nullptr, kBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  ASSERT_NE(nullptr, pages);
  memset(pages, 7, kOdd);
  DWORD before = 0;
  VirtualProtect(pages + kBytes / 2, 1, PAGE_NOACCESS, &before);
  SetLastError(5);
  qv::platform::prefaultPages(pages + 1, kBytes - kOdd);
  qv::platform::prefaultPages(pages, 0);
  EXPECT_EQ(5u, GetLastError());
  EXPECT_TRUE(isFilledWith(pages, kOdd, 7));
  EXPECT_TRUE(isFilledWith(pages + kOdd, kBytes / 2 - kOdd, 0));
  VirtualFree(pages, 0, MEM_RELEASE);
}

}  // namespace
