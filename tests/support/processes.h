// Work in processes of its own, and a registry in a folder of the test's own. Linux only.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>

namespace qv::test {

inline pid_t start(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return child;
}

// The process's result, or the signal that ended it, negative.
inline int resultOf(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

inline int inChild(const std::function<int()>& work) {
  return resultOf(start(work));
}

class OwnRegistry : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/qv-registry-XXXXXX";
    folder = mkdtemp(pattern);
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::filesystem::path hive() const { return folder / "qv/user.registry"; }

  std::filesystem::path folder;
};

}  // namespace qv::test
