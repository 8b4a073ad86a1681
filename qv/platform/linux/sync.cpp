#include "qv/platform/sync.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <new>
#include <optional>
#include <span>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/waitable.h"

namespace qv::platform {
namespace {

// Signals wake sleepers on processPulse for the sake of waits for several private objects. Waits that also
// name a shared object sleep on the shared pulse, and count here so that private signals move it too.
Pulse processPulse;
std::atomic<uint32_t> mixedSleepers{0};

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

int64_t monotonicNow() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

uint32_t* futexOf(Pulse& pulse) {
  return reinterpret_cast<uint32_t*>(&pulse.sequence);
}

void wakeSleepers(Pulse& pulse, int32_t count, bool shared) {
  pulse.sequence.fetch_add(1);
  if (pulse.sleepers.load() == 0) return;
  int operation = shared ? FUTEX_WAKE : FUTEX_WAKE_PRIVATE;
  syscall(SYS_futex, futexOf(pulse), operation, count, nullptr, nullptr, 0);
}

// When a wait ends: never, or at a moment of the monotonic clock.
class Deadline {
 public:
  explicit Deadline(DWORD milliseconds) {
    if (milliseconds != INFINITE) end_ = monotonicNow() + int64_t{milliseconds} * 1'000'000;
  }
  // Sleeps until the pulse moves on from `seen`, the deadline, or for no reason. False at the deadline.
  bool sleep(Pulse& pulse, uint32_t seen, bool shared) const {
    timespec left;
    if (end_) {
      int64_t nanoseconds = *end_ - monotonicNow();
      if (nanoseconds <= 0) return false;
      left = {nanoseconds / kNanosecondsPerSecond, nanoseconds % kNanosecondsPerSecond};
    }
    int operation = shared ? FUTEX_WAIT : FUTEX_WAIT_PRIVATE;
    syscall(SYS_futex, futexOf(pulse), operation, seen, end_ ? &left : nullptr, nullptr, 0);
    return true;
  }

 private:
  std::optional<int64_t> end_;
};

// Counts the calling thread among a pulse's sleepers; signals then make the system call.
class Sleeper {
 public:
  explicit Sleeper(std::atomic<uint32_t>& count) : count_(count) { ++count_; }
  ~Sleeper() { --count_; }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

 private:
  std::atomic<uint32_t>& count_;
};

// Calls attempt() whenever the pulse moved, until it gives a value or the time is up.
template <typename Attempt>
DWORD waitUntil(Pulse& pulse, bool shared, DWORD milliseconds, Attempt attempt) {
  if (auto result = attempt()) return *result;
  if (milliseconds == 0) return WAIT_TIMEOUT;
  Deadline deadline(milliseconds);
  Sleeper sleeper(pulse.sleepers);
  for (;;) {
    uint32_t seen = pulse.sequence.load();
    if (auto result = attempt()) return *result;
    if (!deadline.sleep(pulse, seen, shared)) return WAIT_TIMEOUT;
  }
}

using Waitables = std::span<const std::shared_ptr<Waitable>>;

std::optional<DWORD> takeAny(Waitables objects) {
  for (size_t i = 0; i < objects.size(); ++i) {
    if (objects[i]->take()) return WAIT_OBJECT_0 + static_cast<DWORD>(i);
  }
  return std::nullopt;
}

// Looks at all before it takes any. If another thread is quicker in between, what was taken goes back.
std::optional<DWORD> takeAll(Waitables objects) {
  for (const auto& object : objects) {
    if (!object->isReady()) return std::nullopt;
  }
  for (size_t i = 0; i < objects.size(); ++i) {
    if (objects[i]->take()) continue;
    while (i > 0) objects[--i]->putBack();
    return std::nullopt;
  }
  return WAIT_OBJECT_0;
}

DWORD waitForSeveral(Waitables objects, bool all, DWORD milliseconds) {
  auto attempt = [&] { return all ? takeAll(objects) : takeAny(objects); };
  bool shared = std::any_of(objects.begin(), objects.end(), [](auto& object) { return object->isShared(); });
  if (!shared) return waitUntil(processPulse, false, milliseconds, attempt);
  Sleeper mixed(mixedSleepers);
  return waitUntil(*sharedPulse(), true, milliseconds, attempt);
}

class Thread : public Waitable {
 public:
  Thread() : Waitable(WaitKind::kThread, std::make_shared<WaitState>(), false) {}

  LPTHREAD_START_ROUTINE start = nullptr;
  LPVOID parameter = nullptr;
  std::atomic<DWORD> id{0};
  std::atomic<DWORD> exitCode{STILL_ACTIVE};
};

thread_local Thread* currentThread = nullptr;

// The end of a thread is signalled by the destructor of thread-specific data, which runs after those of
// thread_local objects: whoever waited for the thread may rely on these being gone.
pthread_key_t threadEndKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made;
    pthread_key_create(&made, [](void* value) {
      std::unique_ptr<std::shared_ptr<Thread>> self(static_cast<std::shared_ptr<Thread>*>(value));
      (*self)->set();
    });
    return made;
  }();
  return key;
}

void* runThread(void* argument) {
  pthread_setspecific(threadEndKey(), argument);
  Thread& self = **static_cast<std::shared_ptr<Thread>*>(argument);
  currentThread = &self;
  self.id.store(GetCurrentThreadId());
  self.id.notify_all();
  self.exitCode.store(self.start(self.parameter));
  return nullptr;
}

bool startThread(const std::shared_ptr<Thread>& thread, SIZE_T stackSize) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  constexpr SIZE_T kLeastStack = SIZE_T{256} * 1024;
  if (stackSize > 0) pthread_attr_setstacksize(&attributes, std::max(stackSize, kLeastStack) & ~SIZE_T{4095});
  auto argument = std::make_unique<std::shared_ptr<Thread>>(thread);
  pthread_t started;
  bool ok = pthread_create(&started, &attributes, runThread, argument.get()) == 0;
  pthread_attr_destroy(&attributes);
  if (ok) static_cast<void>(argument.release());  // The thread's own now.
  return ok;
}

pthread_mutex_t* mutexOf(CRITICAL_SECTION* section) {
  static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION));
  static_assert(alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION));
  return reinterpret_cast<pthread_mutex_t*>(section);
}

HANDLE newWaitable(WaitKind kind, LONG count, LONG maximum, LPCWSTR name) {
  constexpr HANDLE kNone = nullptr;
  SetLastError(ERROR_SUCCESS);
  if (!name || !*name) {
    auto state = std::make_shared<WaitState>();
    state->count = count;
    state->maximum = maximum;
    return openHandle(std::make_shared<Waitable>(kind, std::move(state), false));
  }
  NamedState named = openNamed(name, true, kind, count, maximum);
  if (!named.state) return failWith(named.error, kNone);
  kind = static_cast<WaitKind>(named.state->kind);
  SetLastError(named.error);
  return openHandle(std::make_shared<Waitable>(kind, std::move(named.state), true));
}

HANDLE openWaitable(WaitKind kind, LPCWSTR name) {
  constexpr HANDLE kNone = nullptr;
  if (!name || !*name) return failWith(ERROR_INVALID_PARAMETER, kNone);
  NamedState named = openNamed(name, false, kind, 0, 1);
  if (!named.state) return failWith(named.error, kNone);
  kind = static_cast<WaitKind>(named.state->kind);
  return openHandle(std::make_shared<Waitable>(kind, std::move(named.state), true));
}

std::shared_ptr<Waitable> eventOf(HANDLE handle) {
  auto event = objectOf<Waitable>(handle);
  if (event && event->isEvent()) return event;
  return failWith(ERROR_INVALID_HANDLE, std::shared_ptr<Waitable>());
}

}  // namespace

bool Waitable::take() {
  if (!takes()) return isReady();
  int32_t count = state_->count.load();
  while (count > 0) {
    if (state_->count.compare_exchange_weak(count, count - 1)) return true;
  }
  return false;
}

void Waitable::putBack() {
  if (kind_ == WaitKind::kAutoEvent) set();
  if (kind_ == WaitKind::kSemaphore) add(1, nullptr);
}

bool Waitable::add(int32_t signals, int32_t* previous) {
  int32_t count = state_->count.load();
  do {
    if (signals > state_->maximum - count) return false;
  } while (!state_->count.compare_exchange_weak(count, count + signals));
  if (previous) *previous = count;
  wake(signals);
  return true;
}

void Waitable::set() {
  state_->count.store(1);
  wake(takes() ? 1 : INT_MAX);
}

void Waitable::wake(int32_t sleepers) {
  wakeSleepers(state_->pulse, sleepers, shared_);
  if (processPulse.sleepers.load() > 0) wakeSleepers(processPulse, INT_MAX, false);
  if (!shared_ && mixedSleepers.load() == 0) return;
  if (Pulse* pulse = sharedPulse()) wakeSleepers(*pulse, INT_MAX, true);
}

}  // namespace qv::platform

using namespace qv::platform;

HANDLE CreateThread(SECURITY_ATTRIBUTES*, SIZE_T stackSize, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                    DWORD flags, DWORD* id) {
  constexpr HANDLE kNone = nullptr;
  if (!start || (flags & ~STACK_SIZE_PARAM_IS_A_RESERVATION)) {
    return failWith(ERROR_INVALID_PARAMETER, kNone);
  }
  auto thread = std::make_shared<Thread>();
  thread->start = start;
  thread->parameter = parameter;
  if (!startThread(thread, stackSize)) return failWith(ERROR_NOT_ENOUGH_MEMORY, kNone);
  thread->id.wait(0);
  if (id) *id = thread->id.load();
  return openHandle(std::move(thread));
}

void ExitThread(DWORD exitCode) {
  if (currentThread) currentThread->exitCode.store(exitCode);
  pthread_exit(nullptr);
}

HANDLE GetCurrentThread() {
  return reinterpret_cast<HANDLE>(LONG_PTR{-2});
}

DWORD GetCurrentThreadId() {
  thread_local const DWORD id = static_cast<DWORD>(syscall(SYS_gettid));
  return id;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode) {
  if (thread == GetCurrentThread()) return *exitCode = STILL_ACTIVE, TRUE;
  auto object = objectOf<Thread>(thread);
  if (!object) return FALSE;
  *exitCode = object->isReady() ? object->exitCode.load() : STILL_ACTIVE;
  return TRUE;
}

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  timespec left{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1'000'000};
  do {
    if (milliseconds == INFINITE) left = {INT_MAX, 0};
  } while (nanosleep(&left, &left) != 0 && errno == EINTR);
}

BOOL SwitchToThread() {
  return sched_yield() == 0;
}

void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(new (section) pthread_mutex_t, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD) {
  InitializeCriticalSection(section);
  return TRUE;
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_lock(mutexOf(section));
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) {
  return pthread_mutex_trylock(mutexOf(section)) == 0;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_unlock(mutexOf(section));
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_destroy(mutexOf(section));
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCWSTR name) {
  WaitKind kind = manualReset ? WaitKind::kManualEvent : WaitKind::kAutoEvent;
  return newWaitable(kind, initialState ? 1 : 0, 1, name);
}

HANDLE OpenEventW(DWORD, BOOL, LPCWSTR name) {
  return openWaitable(WaitKind::kAutoEvent, name);
}

BOOL SetEvent(HANDLE event) {
  auto object = eventOf(event);
  if (object) object->set();
  return object != nullptr;
}

BOOL ResetEvent(HANDLE event) {
  auto object = eventOf(event);
  if (object) object->reset();
  return object != nullptr;
}

HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES*, LONG initialCount, LONG maximumCount, LPCWSTR name) {
  if (maximumCount < 1 || initialCount < 0 || initialCount > maximumCount) {
    return failWith(ERROR_INVALID_PARAMETER, static_cast<HANDLE>(nullptr));
  }
  return newWaitable(WaitKind::kSemaphore, initialCount, maximumCount, name);
}

HANDLE OpenSemaphoreW(DWORD, BOOL, LPCWSTR name) {
  return openWaitable(WaitKind::kSemaphore, name);
}

BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previous) {
  auto object = objectOf<Waitable>(semaphore);
  if (!object) return FALSE;
  if (object->kind() != WaitKind::kSemaphore) return fail(ERROR_INVALID_HANDLE);
  if (count < 1) return fail(ERROR_INVALID_PARAMETER);
  return object->add(count, previous) ? TRUE : fail(ERROR_TOO_MANY_POSTS);
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  auto waitable = objectOf<Waitable>(object);
  if (!waitable) return WAIT_FAILED;
  return waitUntil(waitable->state().pulse, waitable->isShared(), milliseconds,
                   [&] { return waitable->take() ? std::optional(WAIT_OBJECT_0) : std::nullopt; });
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD milliseconds) {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) return failWith(ERROR_INVALID_PARAMETER, WAIT_FAILED);
  std::array<std::shared_ptr<Waitable>, MAXIMUM_WAIT_OBJECTS> waitables;
  for (DWORD i = 0; i < count; ++i) {
    waitables[i] = objectOf<Waitable>(objects[i]);
    if (!waitables[i]) return WAIT_FAILED;
  }
  return waitForSeveral(Waitables(waitables.data(), count), waitAll, milliseconds);
}
