// The toolkit's own allocations go through these wrappers, so that a test can make any one of them fail.
//
// They cost one relaxed load and a predicted branch over the plain call. A test counts up until nothing
// fails any more:
//
//   for (int64_t n = 1;; ++n) {
//     qv::platform::failAllocation(n);
//     HRESULT status = work();
//     if (!qv::platform::allocationFailed()) break;   // fewer than n allocations: every one has had its turn
//     EXPECT_EQ(qv::kOutOfMemory, status);
//   }
//
// One test thread at a time; allocations of other threads count too.
#pragma once

#include <atomic>
#include <cstdlib>

#include "qv/platform/memory.h"

namespace qv::platform {

namespace detail {
// 0: off. n: the n-th allocation from now fails.
inline std::atomic<int64_t> allocationsUntilFailure{0};
inline std::atomic<bool> allocationHasFailed{false};

inline bool countDown() {
  if (allocationsUntilFailure.fetch_sub(1, std::memory_order_relaxed) != 1) return false;
  allocationHasFailed.store(true, std::memory_order_relaxed);
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return true;
}

inline bool failsNow() {
  return allocationsUntilFailure.load(std::memory_order_relaxed) > 0 && countDown();
}
}  // namespace detail

// Makes the n-th allocation from now on fail (1: the next one), that one only; 0 or less switches it off.
inline void failAllocation(int64_t n) {
  detail::allocationHasFailed.store(false, std::memory_order_relaxed);
  detail::allocationsUntilFailure.store(n > 0 ? n : 0, std::memory_order_relaxed);
}

// Whether the failure asked for has come about; switches it off.
inline bool allocationFailed() {
  detail::allocationsUntilFailure.store(0, std::memory_order_relaxed);
  return detail::allocationHasFailed.exchange(false, std::memory_order_relaxed);
}

// GlobalAlloc that a test can make fail.
inline HGLOBAL globalAlloc(UINT flags, SIZE_T bytes) {
  return detail::failsNow() ? nullptr : GlobalAlloc(flags, bytes);
}

// GlobalReAlloc that a test can make fail; the old block then stands.
inline HGLOBAL globalReAlloc(HGLOBAL block, SIZE_T bytes, UINT flags) {
  return detail::failsNow() ? nullptr : GlobalReAlloc(block, bytes, flags);
}

// HeapCreate that a test can make fail.
inline HANDLE heapCreate(DWORD options, SIZE_T initialSize, SIZE_T maximumSize) {
  return detail::failsNow() ? nullptr : HeapCreate(options, initialSize, maximumSize);
}

// HeapAlloc that a test can make fail.
inline LPVOID heapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
  return detail::failsNow() ? nullptr : HeapAlloc(heap, flags, bytes);
}

// HeapReAlloc that a test can make fail; the old block then stands.
inline LPVOID heapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes) {
  return detail::failsNow() ? nullptr : HeapReAlloc(heap, flags, block, bytes);
}

// The run-time's malloc, made to fail by a test.
inline void* runtimeMalloc(size_t bytes) {
  return detail::failsNow() ? nullptr : std::malloc(bytes);
}

// The run-time's calloc, made to fail by a test.
inline void* runtimeCalloc(size_t count, size_t bytes) {
  return detail::failsNow() ? nullptr : std::calloc(count, bytes);
}

// The run-time's realloc, made to fail by a test; the old block then stands.
inline void* runtimeRealloc(void* block, size_t bytes) {
  return detail::failsNow() ? nullptr : std::realloc(block, bytes);
}

// CoTaskMemAlloc that a test can make fail.
inline LPVOID taskAlloc(SIZE_T bytes) {
  return detail::failsNow() ? nullptr : CoTaskMemAlloc(bytes);
}

}  // namespace qv::platform
