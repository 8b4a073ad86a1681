#include "qv/platform/linux/programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "qv/platform/linux/paths.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/programs.h"

namespace qv::platform {
namespace {

constexpr int kKilled = 128;  // above it, the signal that ended a program, as shells count
constexpr auto kGlance = std::chrono::milliseconds(5);

// What is done between the fork and the program.
class Actions {
 public:
  Actions() { posix_spawn_file_actions_init(&actions_); }
  ~Actions() { posix_spawn_file_actions_destroy(&actions_); }
  Actions(const Actions&) = delete;
  Actions& operator=(const Actions&) = delete;
  void enter(const std::string& folder) { posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str()); }
  void closeStreams() {
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// As the system takes arguments; they live as long as the texts.
std::vector<char*> pointersTo(const std::vector<std::string>& arguments) {
  std::vector<char*> texts;
  for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  return texts;
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
  const std::vector<char*> texts = pointersTo(arguments);
  Actions actions;
  actions.closeStreams();
  actions.enter(folder);
  if (posix_spawnp(&child, texts[0], actions.get(), nullptr, texts.data(), environ) != 0) return {};
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

bool callProgram(LPCWSTR path, std::span<const LPCWSTR> arguments, LPCWSTR folder, uint32_t* code) {
  std::string native, place;
  if (!nativePath(path, &native) || (folder && !nativePath(folder, &place))) return false;
  Actions actions;
  if (folder) actions.enter(place);
  std::vector<std::string> texts = {native};
  for (const LPCWSTR argument : arguments) texts.push_back(utf8From(argument));
  pid_t child = 0;
  errno = posix_spawn(&child, native.c_str(), actions.get(), nullptr, pointersTo(texts).data(), environ);
  if (errno != 0) {
    SetLastError(errno == ENOEXEC ? ERROR_BAD_EXE_FORMAT : errorOfPath(native));
    return false;
  }
  *code = static_cast<uint32_t>(codeOf(child, 0).value_or(0));
  return true;
}

bool makeExecutable(LPCWSTR path) {
  std::string native;
  struct stat facts;
  if (!nativePath(path, &native)) return false;
  if (stat(native.c_str(), &facts) == 0 &&
      chmod(native.c_str(), facts.st_mode | (facts.st_mode & 0444) >> 2) == 0)
    return true;
  SetLastError(errorOfPath(native));
  return false;
}

}  // namespace qv::platform
