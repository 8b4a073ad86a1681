// How every list operation opens and closes, and where a slot is.
//
//   Access access(list);
//   if (!access) return E_FAIL;   // another thread's list
//   ... the lock, if there is one, is held until access goes out of scope
#pragma once

#include <atomic>
#include <cstdint>

#include "qv/core/list.h"

namespace qv::list {

inline bool isInline(const tQVLIST& list) {
  return (list.options & kListInline) != 0;
}
inline bool isHeap(const tQVLIST& list) {
  return (list.options & kListHeap) != 0;
}
inline bool isLocked(const tQVLIST& list) {
  return (list.options & kListLocked) != 0;
}

inline char* slotAt(const tQVLIST& list, int64_t index) {
  return static_cast<char*>(list.data) + static_cast<uint64_t>(index) * list.itemSize;
}

// The item as callbacks see it.
inline void* itemAt(const tQVLIST& list, int64_t index) {
  char* slot = slotAt(list, index);
  return isInline(list) ? slot : *reinterpret_cast<void**>(slot);
}

// What insertion takes for an index: negative and too large ones mean the end.
inline int32_t clampIndex(const tQVLIST& list, int32_t index) {
  return index < 0 || index > list.itemCount ? list.itemCount : index;
}

// Fields that another thread may read without the lock.
template <typename T>
T readShared(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}
template <typename T>
void writeShared(T& field, T value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

// Whether the calling thread may use the list as far as the owner check goes.
inline bool isAdmitted(const tQVLIST& list) {
  if ((list.options & (kListFreeThreaded | kListLocked)) != 0) [[likely]]
    return true;
  return readShared(list.threadOwner) == GetCurrentThreadId();
}

#ifdef QV_DEBUG_CHECKS
// Aborts with a line on standard error if the record contradicts itself.
void checkInvariants(const tQVLIST& list);
#else
inline void checkInvariants(const tQVLIST&) {}
#endif

// Holds the list's lock, if it has one; no owner check.
class Lock {
 public:
  explicit Lock(tQVLIST& list) : list_(list), locked_(isLocked(list)) {
    if (locked_) EnterCriticalSection(&list_.lock);
    checkInvariants(list_);
  }
  ~Lock() {
    checkInvariants(list_);
    if (locked_) LeaveCriticalSection(&list_.lock);
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  tQVLIST& list_;
  bool locked_;
};

// The opening of an operation: the owner check, then the lock. False means that nothing may be touched.
class Access {
 public:
  explicit Access(tQVLIST* list) : list_(*list), admitted_(isAdmitted(*list)), locked_(isLocked(*list)) {
    if (locked_) EnterCriticalSection(&list_.lock);
    if (admitted_) checkInvariants(list_);
  }
  ~Access() {
    if (admitted_) checkInvariants(list_);
    if (locked_) LeaveCriticalSection(&list_.lock);
  }
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;
  explicit operator bool() const { return admitted_; }

 private:
  tQVLIST& list_;
  bool admitted_;
  bool locked_;
};

}  // namespace qv::list
