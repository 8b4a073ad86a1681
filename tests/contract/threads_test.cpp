// Threads, waits and named objects, between threads and between processes. The program runs itself as the
// other process: "contract_threads_test --peer ROLE NAME".
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "qv/platform/memory.h"
#include "qv/platform/modules.h"
#include "qv/platform/sync.h"
#include "qv/platform/system.h"

namespace {

using Text = std::basic_string<WCHAR>;

std::string program;

constexpr DWORD kLong = 60'000;  // Far longer than anything here takes.

struct Handle {
  explicit Handle(HANDLE its) : value(its) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (value) CloseHandle(value);
  }
  operator HANDLE() const { return value; }
  HANDLE value;
};

HANDLE startThread(LPTHREAD_START_ROUTINE start, void* parameter) {
  HANDLE thread = CreateThread(nullptr, 0, start, parameter, 0, nullptr);
  EXPECT_TRUE(thread);
  return thread;
}

void runThreads(int count, LPTHREAD_START_ROUTINE start, void* parameter) {
  std::vector<HANDLE> threads;
  for (int i = 0; i < count; ++i) threads.push_back(startThread(start, parameter));
  auto all = static_cast<DWORD>(threads.size());
  EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(all, threads.data(), TRUE, kLong));
  for (HANDLE thread : threads) CloseHandle(thread);
}

Text uniqueName(const char* what) {
  std::string name = std::string(what) + "-" + std::to_string(GetCurrentProcessId());
  return Text(name.begin(), name.end());
}

TEST(Thread, RunsAndLeavesItsExitCode) {
  struct Facts {
    DWORD id = 0;
    std::atomic<bool> destroyed{false};
  } facts;
  DWORD id = 0;
  auto work = [](LPVOID parameter) -> DWORD {
    auto& out = *static_cast<Facts*>(parameter);
    struct Last {
      Facts* facts = nullptr;
      ~Last() {
        if (facts) facts->destroyed = true;
      }
    };
    static thread_local Last last;
    last.facts = &out;
    out.id = GetCurrentThreadId();
    return 42;
  };
  Handle thread(CreateThread(nullptr, 0, work, &facts, 0, &id));
  ASSERT_TRUE(thread.value);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, kLong));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 0)) << "stays signalled";
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(42u, code);
  EXPECT_EQ(id, facts.id);
  EXPECT_NE(GetCurrentThreadId(), facts.id);
  EXPECT_TRUE(facts.destroyed) << "thread-local objects are gone before the signal";
}

DWORD WINAPI leaveEarly(LPVOID event) {
  WaitForSingleObject(event, kLong);
  ExitThread(5);
}

TEST(Thread, IsActiveUntilItExits) {
  Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  Handle thread(startThread(leaveEarly, event.value));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(STILL_ACTIVE, code);
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(thread, 0));
  SetEvent(event);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, kLong));
  EXPECT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(5u, code);
}

TEST(Thread, HasItsOwnLastError) {
  SetLastError(1234);
  auto other = [](LPVOID out) -> DWORD {
    *static_cast<DWORD*>(out) = GetLastError();
    SetLastError(99);
    return 0;
  };
  DWORD seen = 77;
  Handle thread(startThread(other, &seen));
  WaitForSingleObject(thread, kLong);
  SetLastError(1234);
  EXPECT_EQ(0u, seen);
  EXPECT_EQ(1234u, GetLastError());
}

struct Counter {
  CRITICAL_SECTION section;
  int value = 0;
};

DWORD WINAPI countUnderLock(LPVOID parameter) {
  auto& counter = *static_cast<Counter*>(parameter);
  for (int i = 0; i < 2000; ++i) {
    EnterCriticalSection(&counter.section);
    EnterCriticalSection(&counter.section);
    ++counter.value;
    LeaveCriticalSection(&counter.section);
    LeaveCriticalSection(&counter.section);
  }
  return 0;
}

TEST(CriticalSection, LetsOneThreadInAndThatOneAgain) {
  static_assert(sizeof(CRITICAL_SECTION) == 40);
  Counter counter;
  EXPECT_TRUE(InitializeCriticalSectionAndSpinCount(&counter.section, 100));
  runThreads(4, countUnderLock, &counter);
  EXPECT_EQ(8000, counter.value);

  auto tryIt = [](LPVOID section) -> DWORD {
    auto* ours = static_cast<CRITICAL_SECTION*>(section);
    BOOL entered = TryEnterCriticalSection(ours);
    if (entered) LeaveCriticalSection(ours);
    return static_cast<DWORD>(entered);
  };
  for (bool held : {true, false}) {
    if (held) {
      EXPECT_TRUE(TryEnterCriticalSection(&counter.section));
    }
    Handle thread(startThread(tryIt, &counter.section));
    WaitForSingleObject(thread, kLong);
    DWORD entered = 9;
    GetExitCodeThread(thread, &entered);
    EXPECT_EQ(held ? 0u : 1u, entered);
    if (held) LeaveCriticalSection(&counter.section);
  }
  DeleteCriticalSection(&counter.section);
  InitializeCriticalSection(&counter.section);
  DeleteCriticalSection(&counter.section);
}

TEST(Interlocked, GiveNewOrOldValues) {
  volatile LONG value = 5;
  EXPECT_EQ(6, InterlockedIncrement(&value));
  EXPECT_EQ(5, InterlockedDecrement(&value));
  EXPECT_EQ(5, InterlockedExchange(&value, 8));
  EXPECT_EQ(8, InterlockedExchangeAdd(&value, -3));
  EXPECT_EQ(5, InterlockedCompareExchange(&value, 1, 4));
  EXPECT_EQ(5, InterlockedCompareExchange(&value, 12, 5));
  EXPECT_EQ(12, InterlockedAnd(&value, 6));
  EXPECT_EQ(4, InterlockedOr(&value, 3));
  EXPECT_EQ(7, value);
  volatile LONG64 wide = 0x100000000;
  EXPECT_EQ(0x100000001, InterlockedIncrement64(&wide));
  EXPECT_EQ(0x100000000, InterlockedDecrement64(&wide));
  EXPECT_EQ(0x100000000, InterlockedExchangeAdd64(&wide, 2));
  EXPECT_EQ(0x100000002, InterlockedCompareExchange64(&wide, 7, 0x100000002));
  EXPECT_EQ(7, InterlockedExchange64(&wide, 9));
  int object = 0;
  PVOID volatile place = nullptr;
  EXPECT_FALSE(InterlockedCompareExchangePointer(&place, &object, nullptr));
  EXPECT_EQ(&object, InterlockedExchangePointer(&place, nullptr));
  EXPECT_FALSE(place);
}

TEST(Event, ManualStaysAndAutomaticLetsOneThrough) {
  Handle manual(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  Handle automatic(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  EXPECT_EQ(ERROR_SUCCESS, GetLastError());
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(manual, 0));
  SetEvent(manual);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(manual, 0));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(manual, 0));
  ResetEvent(manual);
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(manual, 0));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(automatic, 0));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(automatic, 0));
  SetEvent(automatic);
  SetEvent(automatic);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(automatic, 0));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(automatic, 0)) << "two signals are one";
}

TEST(Wait, TimesOutNoSoonerThanAsked) {
  Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  ULONGLONG before = GetTickCount64();
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 60));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(1, &event.value, FALSE, 60));
  EXPECT_GE(GetTickCount64() - before, 90u);
}

TEST(Semaphore, CountsUpToItsMaximum) {
  Handle semaphore(CreateSemaphoreW(nullptr, 1, 2, nullptr));
  LONG previous = -5;
  EXPECT_FALSE(ReleaseSemaphore(semaphore, 2, &previous));
  EXPECT_EQ(ERROR_TOO_MANY_POSTS, GetLastError());
  EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
  EXPECT_EQ(1, previous);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(semaphore, 0));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(semaphore, 0));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(semaphore, 0));
  struct {
    LONG initial, maximum;
  } wrong[] = {{-1, 2}, {3, 2}, {0, 0}};
  for (const auto& each : wrong) {
    EXPECT_FALSE(CreateSemaphoreW(nullptr, each.initial, each.maximum, nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
  }
}

// A queue of work through two semaphores: every unit is taken exactly once, and what was written before a
// release is seen after the wait.
struct Queue {
  HANDLE filled, room;
  int slots[4] = {};
  volatile LONG put = 0, taken = 0, sum = 0;
  static constexpr LONG kUnits = 3000;
};

DWORD WINAPI consume(LPVOID parameter) {
  auto& queue = *static_cast<Queue*>(parameter);
  for (;;) {
    WaitForSingleObject(queue.filled, kLong);
    LONG turn = InterlockedIncrement(&queue.taken) - 1;
    if (turn >= Queue::kUnits) return 0;
    InterlockedExchangeAdd(&queue.sum, 1);
    ReleaseSemaphore(queue.room, 1, nullptr);
  }
}

TEST(Semaphore, CarriesWorkBetweenThreads) {
  Handle filled(CreateSemaphoreW(nullptr, 0, 100, nullptr)), room(CreateSemaphoreW(nullptr, 4, 4, nullptr));
  Queue queue{filled, room};
  std::vector<HANDLE> threads;
  for (int i = 0; i < 3; ++i) threads.push_back(startThread(consume, &queue));
  for (LONG i = 0; i < Queue::kUnits; ++i) {
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(room, kLong));
    ReleaseSemaphore(filled, 1, nullptr);
  }
  for (int i = 0; i < 4; ++i) ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(room, kLong));
  ReleaseSemaphore(filled, 3, nullptr);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(3, threads.data(), TRUE, kLong));
  for (HANDLE thread : threads) CloseHandle(thread);
  EXPECT_EQ(Queue::kUnits, queue.sum);
}

// Plain data handed back and forth; the thread sanitizer sees whether the events order it.
struct Relay {
  HANDLE ping, pong;
  int value = 0;
};

DWORD WINAPI answer(LPVOID parameter) {
  auto& relay = *static_cast<Relay*>(parameter);
  HANDLE either[] = {relay.ping, relay.pong};
  for (int i = 0; i < 1000; ++i) {
    // Waiting in both ways in turn: on one object, and on one of several.
    DWORD result =
        i % 2 ? WaitForSingleObject(relay.ping, kLong) : WaitForMultipleObjects(1, either, FALSE, kLong);
    if (result != WAIT_OBJECT_0) return 1;
    ++relay.value;
    SetEvent(relay.pong);
  }
  return 0;
}

void relayThrough(HANDLE ping, HANDLE pong) {
  Relay relay{ping, pong};
  Handle thread(startThread(answer, &relay));
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(2 * i, relay.value);
    ++relay.value;
    SetEvent(ping);
    HANDLE either[] = {thread, pong};
    if (i == 999) either[0] = pong, either[1] = thread;
    DWORD result = WaitForMultipleObjects(2, either, FALSE, kLong);
    ASSERT_EQ(either[result - WAIT_OBJECT_0], pong);
  }
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, kLong));
  EXPECT_EQ(2000, relay.value);
}

TEST(Event, OrdersWhatTwoThreadsDo) {
  Handle ping(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      pong(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  relayThrough(ping, pong);
}

TEST(Event, OrdersThroughANameAndMixedWithUnnamed) {
  Handle ping(CreateEventW(nullptr, FALSE, FALSE, uniqueName("ping").c_str()));
  Handle second(OpenEventW(EVENT_ALL_ACCESS, FALSE, uniqueName("ping").c_str()));
  Handle pong(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  ASSERT_TRUE(second.value);
  relayThrough(ping, pong);
  relayThrough(pong, second);
}

TEST(Wait, AnyTakesTheFirstThatIsReadyAndNoOther) {
  Handle a(CreateEventW(nullptr, FALSE, FALSE, nullptr)), b(CreateEventW(nullptr, FALSE, TRUE, nullptr)),
      c(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  HANDLE all[] = {a, b, c};
  EXPECT_EQ(WAIT_OBJECT_0 + 1, WaitForMultipleObjects(3, all, FALSE, 0));
  EXPECT_EQ(WAIT_OBJECT_0 + 2, WaitForMultipleObjects(3, all, FALSE, 0));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(3, all, FALSE, 0));
}

TEST(Wait, AllTakesAllOrNone) {
  Handle event(CreateEventW(nullptr, FALSE, TRUE, nullptr)),
      semaphore(CreateSemaphoreW(nullptr, 0, 5, nullptr));
  HANDLE both[] = {event, semaphore};
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, both, TRUE, 20));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0)) << "was not taken";
  SetEvent(event);
  auto release = [](LPVOID handle) -> DWORD {
    Sleep(20);
    return static_cast<DWORD>(ReleaseSemaphore(handle, 1, nullptr));
  };
  Handle thread(startThread(release, semaphore.value));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, TRUE, kLong));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, both, FALSE, 0)) << "both were taken";
  WaitForSingleObject(thread, kLong);
}

TEST(Handles, WrongOnesAreNoticed) {
  Handle event(CreateEventW(nullptr, TRUE, TRUE, nullptr)),
      semaphore(CreateSemaphoreW(nullptr, 0, 1, nullptr));
  HANDLE closed = CreateEventW(nullptr, TRUE, TRUE, nullptr);
  EXPECT_TRUE(CloseHandle(closed));
  HANDLE withNull[] = {event, nullptr};
  struct {
    const char* name;
    bool ok;
  } cases[] = {
      {"close twice", CloseHandle(closed) != FALSE},
      {"close null", CloseHandle(nullptr) != FALSE},
      {"close invented", CloseHandle(reinterpret_cast<HANDLE>(0x12344)) != FALSE},
      {"set a semaphore", SetEvent(semaphore) != FALSE},
      {"release an event", ReleaseSemaphore(event, 1, nullptr) != FALSE},
      {"wait for null", WaitForSingleObject(nullptr, 0) != WAIT_FAILED},
      {"wait for one of null", WaitForMultipleObjects(2, withNull, FALSE, 0) != WAIT_FAILED},
  };
  for (const auto& each : cases) EXPECT_FALSE(each.ok) << each.name;
  EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
  EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(0, withNull, FALSE, 0));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
  EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(65, withNull, FALSE, 0));
  EXPECT_TRUE(CloseHandle(GetCurrentThread()));
}

TEST(Names, BelongToOneObjectUntilItsLastHandleGoes) {
  Text name = uniqueName("named"), prefixed = TEXT("Local\\") + name, other = uniqueName("Named");
  EXPECT_FALSE(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, name.c_str()));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  {
    Handle first(CreateSemaphoreW(nullptr, 2, 5, name.c_str()));
    EXPECT_EQ(ERROR_SUCCESS, GetLastError());
    Handle second(CreateSemaphoreW(nullptr, 0, 1, prefixed.c_str()));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, GetLastError());
    LONG previous = 0;
    EXPECT_TRUE(ReleaseSemaphore(second, 3, &previous)) << "the first one's maximum stands";
    EXPECT_EQ(2, previous);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(first, 0));
    EXPECT_FALSE(CreateEventW(nullptr, TRUE, TRUE, name.c_str()));
    EXPECT_EQ(ERROR_INVALID_HANDLE, GetLastError());
    EXPECT_FALSE(OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str()));
    Handle apart(CreateSemaphoreW(nullptr, 0, 1, other.c_str()));
    EXPECT_EQ(ERROR_SUCCESS, GetLastError()) << "case matters";
  }
  EXPECT_FALSE(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, name.c_str()));
  Handle again(CreateSemaphoreW(nullptr, 0, 1, name.c_str()));
  EXPECT_EQ(ERROR_SUCCESS, GetLastError());
  EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(again, 0)) << "a new one, from its own count";
  EXPECT_FALSE(CreateEventW(nullptr, TRUE, TRUE, TEXT("no\\such\\place")));
}

TEST(Names, AreOpenedAndClosedByManyThreads) {
  struct Shared {
    Text name = uniqueName("busy");
    std::atomic<int> wrong{0};
  } shared;
  auto work = [](LPVOID parameter) -> DWORD {
    auto& ours = *static_cast<Shared*>(parameter);
    for (int i = 0; i < 300; ++i) {
      HANDLE semaphore = CreateSemaphoreW(nullptr, 1, 1, ours.name.c_str());
      bool ok = semaphore && WaitForSingleObject(semaphore, kLong) == WAIT_OBJECT_0 &&
                ReleaseSemaphore(semaphore, 1, nullptr) && CloseHandle(semaphore);
      ours.wrong += !ok;
    }
    return 0;
  };
  runThreads(4, work, &shared);
  EXPECT_EQ(0, shared.wrong);
}

// What the other process does; its result is its exit code.
int echoUntilDone(const Text& name) {
  Handle request(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, (name + TEXT("-request")).c_str()));
  Handle reply(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, (name + TEXT("-reply")).c_str()));
  Handle done(OpenEventW(EVENT_ALL_ACCESS, FALSE, (name + TEXT("-done")).c_str()));
  if (!request.value || !reply.value || !done.value) return 1;
  for (int answered = 0;; ++answered) {
    HANDLE either[] = {request, done};
    DWORD result = WaitForMultipleObjects(2, either, FALSE, kLong);
    if (result == WAIT_OBJECT_0 + 1) return answered == 200 ? 0 : 2;
    if (result != WAIT_OBJECT_0 || !ReleaseSemaphore(reply, 1, nullptr)) return 3;
  }
}

int dieHolding(const Text& name) {
  HANDLE semaphore = CreateSemaphoreW(nullptr, 0, 1, name.c_str());
  std::_Exit(semaphore && GetLastError() == ERROR_SUCCESS ? 0 : 1);
}

int runPeer(const char* role, const char* name) {
  Text wide(name, name + std::strlen(name));
  return std::strcmp(role, "echo") == 0 ? echoUntilDone(wide) : dieHolding(wide);
}

struct Peer {
  const char* role;
  Text name;
};

DWORD WINAPI startPeer(LPVOID parameter) {
  const auto& peer = *static_cast<Peer*>(parameter);
  std::string command =
      "\"" + program + "\" --peer " + peer.role + " " + std::string(peer.name.begin(), peer.name.end());
  return static_cast<DWORD>(std::system(command.c_str()));
}

TEST(Processes, ShareNamedObjects) {
  Peer peer{"echo", uniqueName("peer")};
  Handle request(CreateSemaphoreW(nullptr, 0, 10, (peer.name + TEXT("-request")).c_str()));
  Handle reply(CreateSemaphoreW(nullptr, 0, 10, (peer.name + TEXT("-reply")).c_str()));
  Handle done(CreateEventW(nullptr, TRUE, FALSE, (peer.name + TEXT("-done")).c_str()));
  Handle process(startThread(startPeer, &peer));
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(ReleaseSemaphore(request, 1, nullptr));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(reply, kLong)) << "answer " << i;
  }
  SetEvent(done);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, kLong));
  DWORD code = 99;
  GetExitCodeThread(process, &code);
  EXPECT_EQ(0u, code);
}

TEST(Processes, LeaveNoNameBehindWhenTheyDie) {
  Peer peer{"die", uniqueName("dead")};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(0u, startPeer(&peer));
    EXPECT_FALSE(OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, peer.name.c_str()));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--peer") == 0) return runPeer(argv[2], argv[3]);
  program = argv[0];
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
