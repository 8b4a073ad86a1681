// The file operations that change or read what is on a disk go past this counter, so that a test can make any
// one of them fail, or end the process there.
//
// It costs one relaxed load and a predicted branch beside a call to the system. A test counts up until
// nothing fails any more, as with allocations:
//
//   for (int64_t n = 1;; ++n) {
//     qv::platform::faultFileOperation(n, qv::platform::FileFault::Fails);
//     HRESULT status = work();
//     if (!qv::platform::fileOperationFaulted()) break;
//   }
//
// One test thread at a time; operations of other threads count too. Where the system's own calls are used
// directly nothing counts.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace qv::platform {

enum class FileFault {
  Fails,      // this one, as on a full disk
  FailsOn,    // this one and all writes after it: the disk stays full
  EndsThere,  // the process ends before it, as when it is killed
};

namespace detail {
inline std::atomic<int64_t> fileOperationsUntilFault{0};  // 0: off
inline std::atomic<bool> fileOperationHasFaulted{false};
inline std::atomic<FileFault> fileFault{FileFault::Fails};

inline bool countFileOperation(bool writes) {
  const FileFault fault = fileFault.load(std::memory_order_relaxed);
  if (fault == FileFault::FailsOn && !writes) return false;
  const int64_t left = fileOperationsUntilFault.load(std::memory_order_relaxed);
  if (left > 1 || fault != FileFault::FailsOn)
    fileOperationsUntilFault.store(left - 1, std::memory_order_relaxed);
  if (left > 1) return false;
  if (fault == FileFault::EndsThere) std::_Exit(99);
  fileOperationHasFaulted.store(true, std::memory_order_relaxed);
  return true;
}
}  // namespace detail

// Whether the operation that is about to be done is to fail. `writes`: it needs room on the disk.
inline bool fileOperationFails(bool writes = false) {
  return detail::fileOperationsUntilFault.load(std::memory_order_relaxed) > 0 &&
         detail::countFileOperation(writes);
}

// The n-th operation from now on (1: the next one); 0 or less switches it off.
inline void faultFileOperation(int64_t n, FileFault fault) {
  detail::fileOperationHasFaulted.store(false, std::memory_order_relaxed);
  detail::fileFault.store(fault, std::memory_order_relaxed);
  detail::fileOperationsUntilFault.store(n > 0 ? n : 0, std::memory_order_relaxed);
}

// Whether the fault asked for has come about; switches it off.
inline bool fileOperationFaulted() {
  detail::fileOperationsUntilFault.store(0, std::memory_order_relaxed);
  return detail::fileOperationHasFaulted.exchange(false, std::memory_order_relaxed);
}

}  // namespace qv::platform
