#include "qv/platform/console.h"

#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>
#include <vector>

#include "qv/platform/detail/console_text.h"
#include "qv/platform/linux/failure.h"

namespace qv::platform {
namespace {

constexpr int kSignals[] = {SIGINT, SIGQUIT};  // by event

// Little is allowed in a signal handler: it leaves word for the thread that asks the handlers.
sem_t arrived;
std::atomic<unsigned> pending[std::size(kSignals)];
static_assert(std::atomic<unsigned>::is_always_lock_free);

void onSignal(int signal) {
  const int saved = errno;
  ++pending[signal == SIGQUIT ? CTRL_BREAK_EVENT : CTRL_C_EVENT];
  sem_post(&arrived);
  errno = saved;
}

class Handlers {
 public:
  bool add(PHANDLER_ROUTINE handler) {
    const std::lock_guard lock(mutex_);
    if (!started_) {
      sem_init(&arrived, 0, 0);
      std::thread([this] { serve(); }).detach();
      started_ = true;
    }
    handlers_.push_back(handler);
    if (handlers_.size() == 1) catchSignals();
    return true;
  }

  bool remove(PHANDLER_ROUTINE handler) {
    const std::lock_guard lock(mutex_);
    const auto last = std::find(handlers_.rbegin(), handlers_.rend(), handler);
    if (last == handlers_.rend()) return false;
    handlers_.erase(std::next(last).base());
    if (handlers_.empty()) {
      for (size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before_[i], nullptr);
    }
    return true;
  }

 private:
  void catchSignals() {
    for (size_t i = 0; i < std::size(kSignals); ++i) {
      struct sigaction action = {};
      action.sa_handler = onSignal;
      action.sa_flags = SA_RESTART;
      sigaction(kSignals[i], &action, &before_[i]);
    }
  }

  void serve() {
    for (;;) {
      if (sem_wait(&arrived) != 0) continue;
      for (DWORD event = 0; event < std::size(kSignals); ++event) {
        if (pending[event].exchange(0) > 0 && !isTaken(event)) endBy(event);
      }
    }
  }

  bool isTaken(DWORD event) {
    std::vector<PHANDLER_ROUTINE> asked;
    {
      const std::lock_guard lock(mutex_);
      asked.assign(handlers_.rbegin(), handlers_.rend());
    }
    return std::ranges::any_of(asked, [event](PHANDLER_ROUTINE handler) { return handler(event); });
  }

  // As the system would have done, so that whoever waits for the program sees the signal.
  void endBy(DWORD event) {
    sigaction(kSignals[event], &before_[event], nullptr);
    kill(getpid(), kSignals[event]);
  }

  std::mutex mutex_;
  std::vector<PHANDLER_ROUTINE> handlers_;
  struct sigaction before_[std::size(kSignals)] = {};
  bool started_ = false;
};

// Never destroyed: its thread runs to the end of the process.
Handlers& handlers() {
  static auto* const all = new Handlers;
  return *all;
}

}  // namespace

bool isTerminal(DWORD stream) {
  return isatty(stream == STD_INPUT_HANDLE    ? STDIN_FILENO
                : stream == STD_OUTPUT_HANDLE ? STDOUT_FILENO
                                              : STDERR_FILENO) == 1;
}

bool writeText(DWORD stream, std::string_view utf8) {
  return detail::writeBytes(GetStdHandle(stream), utf8);
}

bool readLine(std::string* line) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  return detail::readLineFrom([input](std::string* byte) { return detail::readByte(input, byte); }, line);
}

}  // namespace qv::platform

using namespace qv::platform;

BOOL SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add) {
  const bool good = handler && (add ? handlers().add(handler) : handlers().remove(handler));
  return good || fail(ERROR_INVALID_PARAMETER);
}
