#include "qv/platform/linux/handles.h"

#include <mutex>
#include <utility>
#include <vector>

#include "qv/platform/linux/failure.h"
#include "qv/platform/sync.h"

namespace qv::platform {
namespace {

class HandleTable {
 public:
  HANDLE open(std::shared_ptr<Object> object) {
    std::lock_guard lock(mutex_);
    size_t index = free_.empty() ? slots_.size() : free_.back();
    if (index == slots_.size()) {
      slots_.emplace_back();
      free_.reserve(slots_.capacity());
    } else {
      free_.pop_back();
    }
    slots_[index] = std::move(object);
    return reinterpret_cast<HANDLE>((index + 1) * kStep);
  }

  std::shared_ptr<Object> find(HANDLE handle) {
    std::lock_guard lock(mutex_);
    std::shared_ptr<Object>* slot = slotOf(handle);
    return slot ? *slot : nullptr;
  }

  // The object is given out, so that its end comes after the lock.
  std::shared_ptr<Object> close(HANDLE handle) {
    std::lock_guard lock(mutex_);
    std::shared_ptr<Object>* slot = slotOf(handle);
    if (!slot || !*slot) return nullptr;
    free_.push_back(static_cast<size_t>(slot - slots_.data()));
    return std::exchange(*slot, nullptr);
  }

 private:
  static constexpr uintptr_t kStep = 4;

  std::shared_ptr<Object>* slotOf(HANDLE handle) {
    auto value = reinterpret_cast<uintptr_t>(handle);
    if (value % kStep != 0 || value == 0 || value / kStep > slots_.size()) return nullptr;
    return &slots_[value / kStep - 1];
  }

  std::mutex mutex_;
  std::vector<std::shared_ptr<Object>> slots_;
  std::vector<size_t> free_;
};

// Never destroyed: threads may still wait on objects while the process ends.
HandleTable& table() {
  static auto* instance = new HandleTable;
  return *instance;
}

bool isPseudoHandle(HANDLE handle) {
  auto value = reinterpret_cast<intptr_t>(handle);
  return value == -1 || value == -2;
}

}  // namespace

HANDLE openHandle(std::shared_ptr<Object> object) {
  return table().open(std::move(object));
}

std::shared_ptr<Object> objectOf(HANDLE handle) {
  return table().find(handle);
}

}  // namespace qv::platform

BOOL CloseHandle(HANDLE object) {
  using namespace qv::platform;
  if (isPseudoHandle(object)) return TRUE;
  return table().close(object) ? TRUE : fail(ERROR_INVALID_HANDLE);
}
