#include "qv/platform/exceptions.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/guard.h"
#include "qv/platform/linux/maps.h"
#include "qv/platform/modules.h"
#include "qv/platform/pages.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

constexpr DWORD kAccessViolation = 0xc0000005, kInPageError = 0xc0000006, kStackOverflow = 0xc00000fd;
constexpr unsigned kFilterSeconds = 30;

std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> filterInForce{nullptr};

// ---- the stack that a filter runs on when the thread's own is used up

class FilterStack {
 public:
  FilterStack() = default;
  FilterStack(const FilterStack&) = delete;
  FilterStack& operator=(const FilterStack&) = delete;
  ~FilterStack() { giveUp(); }

  bool keep(size_t bytes) {
    constexpr size_t kPage = 4096;
    // The registers that the system saves there come on top.
    const size_t registers = static_cast<size_t>(sysconf(_SC_MINSIGSTKSZ)) + kPage;
    const size_t size = (bytes + registers + 2 * kPage - 1) & ~(kPage - 1);
    void* fresh = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (fresh == MAP_FAILED) return false;
    mprotect(fresh, kPage, PROT_NONE);
    giveUp();
    stack_t mine = {};
    mine.ss_sp = static_cast<char*>(fresh) + kPage;
    mine.ss_size = size - kPage;
    if (sigaltstack(&mine, &before_) != 0) return munmap(fresh, size), false;
    memory_ = fresh;
    size_ = size;
    kept_ = bytes;
    findBottom();
    return true;
  }
  size_t kept() const { return kept_; }
  // Whether an access to `address` with the stack pointer at `pointer` went beyond the thread's stack.
  bool isOverflow(uintptr_t address, uintptr_t pointer) const {
    constexpr uintptr_t kNear = 64 * 1024;
    const auto near = [](uintptr_t a, uintptr_t b) { return a < b ? b - a < kNear : a - b < kNear; };
    return kept_ != 0 && near(pointer, bottom_) && near(address, pointer);
  }

 private:
  void findBottom() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
    void* lowest = nullptr;
    size_t size = 0;
    pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_destroy(&attributes);
    bottom_ = reinterpret_cast<uintptr_t>(lowest);
  }
  void giveUp() {
    if (!memory_) return;
    sigaltstack(&before_, nullptr);
    munmap(memory_, size_);
    memory_ = nullptr;
  }

  void* memory_ = nullptr;
  size_t size_ = 0;
  size_t kept_ = 0;
  uintptr_t bottom_ = 0;
  stack_t before_ = {};
};
thread_local FilterStack filterStack;

// ---- a fault as an exception

// Why a page could not be had, as the processor tells it.
enum PageFault : uint64_t { kOnWrite = 2, kOnFetch = 16 };

void describeAccess(EXCEPTION_RECORD& record, const siginfo_t* info, const mcontext_t& machine) {
  constexpr greg_t kPageFaultTrap = 14;
  const auto error = static_cast<uint64_t>(machine.gregs[REG_ERR]);
  record.NumberParameters = 2;
  if (machine.gregs[REG_TRAPNO] != kPageFaultTrap) {
    // An address that none can have: the processor doesn't say which.
    record.ExceptionInformation[1] = ~ULONG_PTR{0};
    return;
  }
  record.ExceptionInformation[0] = (error & kOnWrite) ? 1 : (error & kOnFetch) ? 8 : 0;
  record.ExceptionInformation[1] = reinterpret_cast<uintptr_t>(info->si_addr);
}

EXCEPTION_RECORD recordOf(DWORD code, const siginfo_t* info, const mcontext_t& machine) {
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = code;
  record.ExceptionAddress = reinterpret_cast<PVOID>(machine.gregs[REG_RIP]);
  if (code != kAccessViolation && code != kInPageError) return record;
  describeAccess(record, info, machine);
  const auto pointer = static_cast<uintptr_t>(machine.gregs[REG_RSP]);
  if (filterStack.isOverflow(record.ExceptionInformation[1], pointer)) record.ExceptionCode = kStackOverflow;
  // The third is the system's own error.
  if (code == kInPageError) record.NumberParameters = 3;
  return record;
}

// ---- the end

std::atomic<pid_t> filterThread{0};  // whose fault is being looked at
std::atomic<DWORD> filterCode{0};

[[noreturn]] void endWith(DWORD code) {
  const int low = static_cast<int>(code & 0xff);
  _exit(low != 0 ? low : 1);
}

void sayHex(DWORD code) {
  char digits[] = "0x00000000";
  for (char* digit = std::end(digits) - 2; code != 0; code >>= 4) *digit-- = "0123456789ABCDEF"[code & 15];
  static_cast<void>(!write(STDERR_FILENO, digits, sizeof(digits) - 1));
}

[[noreturn]] void endWithLastWords(std::string_view why) {
  constexpr std::string_view kBegin = "Exception ";
  const DWORD code = filterCode.load();
  static_cast<void>(!write(STDERR_FILENO, kBegin.data(), kBegin.size()));
  sayHex(code);
  static_cast<void>(!write(STDERR_FILENO, why.data(), why.size()));
  endWith(code);
}

void onStuck(int) {
  endWithLastWords(", and its report did not come to an end\n");
}

// One fault at a time; a fault of the filter itself is the last.
void claimFilter(DWORD code) {
  const pid_t self = static_cast<pid_t>(syscall(SYS_gettid));
  pid_t owner = 0;
  while (!filterThread.compare_exchange_strong(owner, self)) {
    if (owner == self) endWithLastWords(", and another one in its report\n");
    constexpr timespec kMoment = {0, 10'000'000};
    nanosleep(&kMoment, nullptr);
    owner = 0;
  }
  filterCode.store(code);
}

// The filter may fault, and a lock that the faulting code held may hold it up: neither ends in silence.
LONG callFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter, EXCEPTION_POINTERS* exception) {
  sigset_t faults;
  sigemptyset(&faults);
  for (const int signal : {SIGILL, SIGSEGV, SIGBUS, SIGFPE, SIGALRM}) sigaddset(&faults, signal);
  struct sigaction stuck = {}, before = {};
  stuck.sa_handler = onStuck;
  sigaction(SIGALRM, &stuck, &before);
  sigset_t mask;
  pthread_sigmask(SIG_UNBLOCK, &faults, &mask);
  alarm(kFilterSeconds);
  const LONG answer = filter(exception);
  alarm(0);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  return answer;
}

bool onFault(DWORD code, siginfo_t* info, void* context) {
  const LPTOP_LEVEL_EXCEPTION_FILTER filter = filterInForce.load();
  if (!filter) return false;
  EXCEPTION_RECORD record = recordOf(code, info, static_cast<ucontext_t*>(context)->uc_mcontext);
  claimFilter(record.ExceptionCode);
  EXCEPTION_POINTERS exception = {&record, static_cast<CONTEXT*>(context)};
  const LONG answer = callFilter(filter, &exception);
  if (answer == EXCEPTION_EXECUTE_HANDLER) endWith(record.ExceptionCode);
  filterThread.store(0);
  return answer == EXCEPTION_CONTINUE_EXECUTION;
}

DWORD giveBytes(std::string_view text, LPSTR buffer, DWORD capacity) {
  if (capacity == 0) return failWith(ERROR_INSUFFICIENT_BUFFER, DWORD{0});
  const size_t length = std::min<size_t>(text.size(), capacity - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = 0;
  if (length == text.size()) return static_cast<DWORD>(length);
  return failWith(ERROR_INSUFFICIENT_BUFFER, capacity);
}

}  // namespace

void catchFaults(LPTOP_LEVEL_EXCEPTION_FILTER filter) {
  ULONG stack = kFilterStack;
  SetThreadStackGuarantee(&stack);
  SetUnhandledExceptionFilter(filter);
}

}  // namespace qv::platform

using namespace qv::platform;

LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter) {
  const LPTOP_LEVEL_EXCEPTION_FILTER before = filterInForce.exchange(filter);
  setUnguardedFault(onFault);
  return before;
}

BOOL SetThreadStackGuarantee(ULONG* bytes) {
  const auto before = static_cast<ULONG>(filterStack.kept());
  if (*bytes > before && !filterStack.keep(*bytes)) return fail(ERROR_NOT_ENOUGH_MEMORY);
  *bytes = before;
  return TRUE;
}

BOOL IsDebuggerPresent() {
  char status[4096];
  const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  if (file < 0) return FALSE;
  const ssize_t size = read(file, status, sizeof(status));
  close(file);
  constexpr std::string_view kTracer = "TracerPid:\t";
  const std::string_view text(status, static_cast<size_t>(std::max<ssize_t>(size, 0)));
  const size_t place = text.find(kTracer);
  return place != text.npos && text.substr(place + kTracer.size(), 2) != "0\n";
}

SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T size) {
  if (size < sizeof(*information)) return failWith(ERROR_INVALID_PARAMETER, SIZE_T{0});
  if (!findMapping(reinterpret_cast<uintptr_t>(address), information)) {
    return failWith(ERROR_INVALID_PARAMETER, SIZE_T{0});
  }
  return sizeof(*information);
}

// By its address first: that needs nothing but the stack, and may be asked by a filter.
DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD capacity) {
  char native[4096];
  const size_t length = mappedFile(reinterpret_cast<uintptr_t>(module), native, sizeof(native));
  if (length != 0) return giveBytes({native, length}, path, capacity);
  WCHAR wide[MAX_PATH * 4];
  constexpr DWORD kCapacity = sizeof(wide) / sizeof(*wide);
  const DWORD characters = GetModuleFileNameW(module, wide, kCapacity);
  if (characters == 0 || characters >= kCapacity) return 0;
  const int bytes = WideCharToMultiByte(CP_ACP, 0, wide, static_cast<int>(characters), native,
                                        static_cast<int>(sizeof(native)), nullptr, nullptr);
  return giveBytes({native, static_cast<size_t>(std::max(bytes, 0))}, path, capacity);
}
