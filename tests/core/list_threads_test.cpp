#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "qv/core/list.h"

namespace qv {
namespace {

tQVLIST* makeList(uint32_t options) {
  tQVLIST* list = nullptr;
  EXPECT_EQ(S_OK, QvList_CreateExZ(&list, 4, 4, 4, options, 0, 0, 0));
  return list;
}

template <typename Work>
void onThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t) threads.emplace_back(work, t);
  for (std::thread& thread : threads) thread.join();
}

int32_t CALLBACK compareNumbers(int64_t, const void* a, const void* b) {
  return *static_cast<const int32_t*>(a) - *static_cast<const int32_t*>(b);
}

TEST(ListThreads, ALockedListTakesEightAtOnce) {
  constexpr int32_t kThreads = 8, kEach = 400;
  tQVLIST* list = makeList(kListLocked | kListHeap);
  onThreads(kThreads, [list](int32_t t) {
    for (int32_t i = 0; i < kEach; ++i) {
      const int32_t value = t * kEach + i;
      EXPECT_EQ(S_OK, QvList_AllocAndInsertItem(list, &value, sizeof value, i % 7 - 1, nullptr));
      QvList_SetUserData(list, value);
      EXPECT_GE(QvList_GetUserData(list), 0);
      EXPECT_TRUE(QvList_IsValidIndexSlow(list, 0));
      if (i % 50 == 0) {
        EXPECT_EQ(S_OK, QvList_HeapSort(list, i, compareNumbers));
      }
      if (i % 16 == 0) QvList_MoveRange(list, 0, 1, 1);
      EXPECT_GE(QvList_GetSortCriteria(list), 0);
    }
  });
  ASSERT_EQ(kThreads * kEach, list->itemCount);
  std::set<int32_t> seen;
  for (int32_t i = 0; i < list->itemCount; ++i) seen.insert(*static_cast<int32_t*>(listPointers(list)[i]));
  EXPECT_EQ(static_cast<size_t>(kThreads * kEach), seen.size());
  EXPECT_EQ(S_OK, QvList_Destroy(list));
}

TEST(ListThreads, MovesInOneDirectionLoseNothing) {
  constexpr int32_t kItems = 2000;
  tQVLIST* source = makeList(kListLocked | kListHeap);
  tQVLIST* target = makeList(kListLocked | kListHeap);
  onThreads(4, [=](int t) {
    for (int32_t i = 0; t < 2 && i < kItems / 2; ++i)
      EXPECT_EQ(S_OK, QvList_AllocAndInsertItem(source, &i, sizeof i, -1, nullptr));
    for (int32_t i = 0; t >= 2 && i < kItems; ++i) {
      QvList_MoveItemsBetweenHeapLists(target, -1, source, 0, i % 5);
      QvList_FindSpecificItemRange(target, 0, -1, nullptr);
    }
  });
  EXPECT_EQ(kItems, source->itemCount + target->itemCount);
  EXPECT_EQ(S_OK, QvList_MoveItemsBetweenHeapLists(target, -1, source, 0, -1));
  EXPECT_EQ(kItems, target->itemCount);
  EXPECT_EQ(S_OK, QvList_Destroy(source));
  EXPECT_EQ(S_OK, QvList_Destroy(target));
}

TEST(ListThreads, AnOwnerCheckedListRefusesStrangers) {
  tQVLIST* list = makeList(kListHeap);
  tQVLIST* other = makeList(kListHeap);
  tQVLIST* inlined = makeList(kListInline);
  const int32_t value = 5;
  ASSERT_EQ(S_OK, QvList_AllocAndInsertItem(list, &value, sizeof value, 0, nullptr));
  for (tQVLIST* each : {list, inlined}) each->options &= ~kListFreeThreaded;
  onThreads(1, [=](int) {
    int32_t index = 0;
    void* item = nullptr;
    tQVLIST* same = list;
    tQVLIST record;
    const HRESULT statuses[] = {
        QvList_InsertList(list, 0, &item, -1),
        QvList_DeleteList(list, 0, 1, 0),
        QvList_AllocItem(list, 8, &item),
        QvList_AllocAndInsertItem(list, nullptr, 8, 0, &index),
        QvList_ReAllocItem(list, 0, 8),
        QvList_GrowAllocated(list, 1),
        QvList_ShrinkAllocated(list, 1),
        QvList_ArrayForceItemCount(inlined, 1, 0),
        QvList_MoveRange(list, 0, 0, 1),
        QvList_MoveItemsBetweenHeapLists(other, 0, list, 0, 1),
        QvList_MoveItemsBetweenHeapLists(list, 0, other, 0, 1),
        QvList_Sort(list, 1, nullptr),
        QvList_HeapSort(list, 1, nullptr),
        QvList_SortTo(other, list, 1, nullptr),
        QvList_ConvertToInPlace(&same, &record),
        QvList_Destroy(list),
    };
    for (size_t i = 0; i < std::size(statuses); ++i) EXPECT_EQ(E_FAIL, statuses[i]) << i;
    EXPECT_EQ(-1, index);
    EXPECT_EQ(-1, QvList_FindSpecificItemRange(list, 0, -1, listPointers(list)[0]));
    EXPECT_EQ(-1, QvList_FindSortedItemRange(list, &value, 0, -1, compareNumbers));
    EXPECT_EQ(-1, QvList_FindSortedInsertIndexRange(list, &value, 0, -1, compareNumbers));
    EXPECT_EQ(-1, QvList_AllocSize(list, 0));
    EXPECT_EQ(-1, QvList_SetUserData(list, 3));
    EXPECT_FALSE(QvList_IsValidIndexSlow(list, 0));
    EXPECT_EQ(S_OK,
              QvList_MoveItemsBetweenHeapLists(other, 0, list, 0, 0));  // nothing to move, nothing asked
    EXPECT_EQ(1, list->itemCount);
    EXPECT_EQ(S_OK, QvList_SetThreadOwner(list, 0));
    EXPECT_EQ(0, QvList_SetUserData(list, 3));
  });
  EXPECT_EQ(E_FAIL, QvList_GrowAllocated(list, 1));
  EXPECT_EQ(S_OK, QvList_SetThreadOwner(list, 0));
  for (tQVLIST* each : {list, other, inlined}) EXPECT_EQ(S_OK, QvList_Destroy(each));
}

}  // namespace
}  // namespace qv
