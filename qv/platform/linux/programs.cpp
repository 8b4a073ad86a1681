#include "qv/platform/linux/programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

namespace qv::platform {
namespace {

constexpr int kKilled = 128;  // above it, the signal that ended a program, as shells count
constexpr auto kGlance = std::chrono::milliseconds(5);

class Actions {
 public:
  explicit Actions(const std::string& folder) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
  }
  ~Actions() { posix_spawn_file_actions_destroy(&actions_); }
  Actions(const Actions&) = delete;
  Actions& operator=(const Actions&) = delete;
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

bool spawn(const std::vector<std::string>& arguments, const std::string& folder, pid_t* child) {
  std::vector<char*> texts;
  for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  const Actions actions(folder);
  return posix_spawnp(child, texts[0], actions.get(), nullptr, texts.data(), environ) == 0;
}

// The code, once there is one. A process that ignores the ends of its children never learns it: 0 then.
std::optional<int> codeOf(pid_t child, int options) {
  int status = 0;
  pid_t ended;
  do {
    ended = waitpid(child, &status, options);
  } while (ended < 0 && errno == EINTR);
  if (ended == 0) return std::nullopt;
  if (ended < 0) return 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled + WTERMSIG(status);
}

}  // namespace

ProgramEnd runProgram(const std::vector<std::string>& arguments, const std::string& folder,
                      int milliseconds) {
  pid_t child = 0;
  if (!spawn(arguments, folder, &child)) return {};
  if (milliseconds == kNoLimit) return {true, codeOf(child, 0)};
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    if (const auto code = codeOf(child, WNOHANG)) return {true, code};
    if (std::chrono::steady_clock::now() >= end) break;
    std::this_thread::sleep_for(kGlance);
  }
  // Nobody else would take its end away.
  std::thread([child] { codeOf(child, 0); }).detach();
  return {true, std::nullopt};
}

}  // namespace qv::platform
