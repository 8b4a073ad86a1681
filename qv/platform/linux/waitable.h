// What threads wait for: a count that a wait may take from, with a futex beside it.
//
// Events, semaphores and the end of a thread are one mechanism. The state is plain atomics, so it works in
// private memory and in memory shared between processes alike. A wait for one object sleeps on that object's
// own futex; a wait for several sleeps on a pulse that every signal moves while anyone sleeps there: one
// pulse for the process, and one for all processes when a shared object is among the several.
#pragma once

#include <atomic>

#include "qv/platform/linux/handles.h"

namespace qv::platform {

// Counts signals; whoever finds the number unchanged may sleep on it.
struct Pulse {
  std::atomic<uint32_t> sequence{0};
  std::atomic<uint32_t> sleepers{0};
};

struct WaitState {
  Pulse pulse;
  std::atomic<int32_t> count{0};
  int32_t maximum = 1;
  uint32_t kind = 0;  // Of a named object: WaitKind.
};
static_assert(std::atomic<int32_t>::is_always_lock_free);

enum class WaitKind : uint32_t { kManualEvent = 1, kAutoEvent, kSemaphore, kThread };

class Waitable : public Object {
 public:
  Waitable(WaitKind kind, std::shared_ptr<WaitState> state, bool shared)
      : kind_(kind), state_(std::move(state)), shared_(shared) {}

  WaitKind kind() const { return kind_; }
  bool isShared() const { return shared_; }
  bool isEvent() const { return kind_ == WaitKind::kManualEvent || kind_ == WaitKind::kAutoEvent; }
  WaitState& state() { return *state_; }

  bool isReady() const { return state_->count.load() > 0; }
  // Takes what a successful wait takes; false if there is nothing to take.
  bool take();
  // Undoes a take that turned out too early.
  void putBack();
  // Adds to the count, up to the maximum, and wakes those who sleep. False if it would pass the maximum.
  bool add(int32_t signals, int32_t* previous);
  // Sets an event.
  void set();
  void reset() { state_->count.store(0); }

 private:
  bool takes() const { return kind_ == WaitKind::kAutoEvent || kind_ == WaitKind::kSemaphore; }
  void wake(int32_t sleepers);

  const WaitKind kind_;
  const std::shared_ptr<WaitState> state_;
  const bool shared_;
};

// A named state, opened or made: what CreateEventW and CreateSemaphoreW share. Null and an error on failure.
struct NamedState {
  std::shared_ptr<WaitState> state;
  bool existed = false;
  DWORD error = ERROR_SUCCESS;
};
NamedState openNamed(LPCWSTR name, bool create, WaitKind kind, int32_t count, int32_t maximum);

// The pulse of all processes of this user; null if there is no shared memory.
Pulse* sharedPulse();

}  // namespace qv::platform
