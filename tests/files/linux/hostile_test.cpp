// What a move must withstand where it can be tried: a disk that fills up on the way, and a process that is
// killed between any two steps of its own.
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>

#include "files/folders.h"

namespace qv::test {
namespace {

constexpr HRESULT kNoRoom = static_cast<HRESULT>(0x8004e002u);

// ---- A full disk

class SmallDisk {
 public:
  explicit SmallDisk(const Folder& folder) : path_(folder.nativePath("disk")) {
    folder.makeFolder("disk");
    mounted_ = mount("none", path_.c_str(), "tmpfs", 0, "size=2m") == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  bool mounted() const { return mounted_; }

 private:
  const fs::path path_;
  bool mounted_;
};

// Leaves room for one of the files and a half.
HRESULT fillUp(void* data, double percent, const WCHAR*) {
  const auto& disk = *static_cast<const fs::path*>(data);
  if (percent == 0) std::ofstream(disk / "filler") << std::string((2u << 20) - 450'000, 'x');
  return kOk;
}

TEST(FullDisk, LeavesTheSourceAlone) {
  Folder folder, source;
  const SmallDisk disk(folder);
  if (!disk.mounted()) GTEST_SKIP() << "no disk can be mounted here: " << std::strerror(errno);
  for (const char* name : {"s\\a", "s\\b\\c", "s\\d"}) source.write(name, std::string(300'000, *name));
  const Content before = source.content();
  fs::path path = folder.nativePath("disk");
  uint32_t count = 7;
  EXPECT_EQ(kWriteFailed,
            QvMoveFolder(folder.path("disk\\t").c_str(), source.path("s").c_str(), &count, fillUp, &path));
  EXPECT_EQ(0u, count);
  EXPECT_TRUE(before == source.content());
  fs::remove(path / "filler");
  fs::remove_all(path / "t");
  EXPECT_EQ(kOk,
            QvMoveFolder(folder.path("disk\\t").c_str(), source.path("s").c_str(), &count, nullptr, nullptr));
  EXPECT_EQ(3u, count);
  EXPECT_TRUE(source.content().empty());
}

TEST(FullDisk, IsSeenBeforehand) {
  Folder folder, source;
  const SmallDisk disk(folder);
  if (!disk.mounted()) GTEST_SKIP() << "no disk can be mounted here: " << std::strerror(errno);
  source.write("s\\a", std::string(2u << 20, 'x'));
  EXPECT_EQ(kNoRoom, QvMoveFolder(folder.path("disk\\t").c_str(), source.path("s").c_str(), nullptr, nullptr,
                                  nullptr));
  EXPECT_EQ(2u, source.content().size());
}

// ---- A process that is killed

// Runs `work` in a process of its own and kills that at its nth stop, which it makes before and after each call
// call of the system. False if it wasn't allowed to be watched; `*finished` when it came to its end before.
bool killAt(int stop, const std::function<void()>& work, bool* finished) {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    raise(SIGSTOP);
    work();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSTOPPED(status)) return false;
  for (int i = 0; i < stop && WIFSTOPPED(status); ++i) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    waitpid(child, &status, 0);
  }
  *finished = !WIFSTOPPED(status);
  if (*finished) return true;
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return true;
}

// How often each file is there whole, in the source or in the target.
int copiesOf(const std::string& name, const std::string& text, const Content& source, const Content& target) {
  const auto in = [&](const Content& content, const std::string& at) {
    const auto found = content.find(at);
    return found != content.end() && found->second == text ? 1 : 0;
  };
  return in(source, "s/" + name) + in(target, "t/" + name);
}

class Killed : public testing::TestWithParam<bool> {};

TEST_P(Killed, BetweenAnyTwoSteps) {
  const bool copies = GetParam();
  const WText elsewhere = otherVolume();
  if (copies && elsewhere.empty()) GTEST_SKIP() << "there is no second volume here";
  const Content files = {{"a", std::string(7'000, 'a')}, {"b/c", "c"}, {"b/d", "d"}, {"e", "e"}};
  int stops = 0;
  for (bool finished = false; !finished; stops += 2) {
    Folder source, target(copies ? elsewhere : WText());
    for (const auto& [name, text] : files) source.write(std::string("s\\") + name, text);
    const auto move = [&] {
      return QvMoveFolder(target.path("t").c_str(), source.path("s").c_str(), nullptr, nullptr, nullptr);
    };
    if (!killAt(stops + 1, move, &finished)) GTEST_SKIP() << "processes can't be watched here";
    const Content left = source.content(), came = target.content();
    for (const auto& [name, text] : files) {
      const int found = copiesOf(name, text, left, came);
      ASSERT_TRUE(found == 1 || (copies && found == 2)) << name << " at stop " << stops << ": " << found;
    }
    if (finished) break;
    if (fs::exists(source.nativePath("s"))) {
      ASSERT_EQ(kOk, move()) << "the next try takes what was left, after stop " << stops;
    }
    const Content end = target.content();
    for (const auto& [name, text] : files)
      ASSERT_EQ(1, copiesOf(name, text, Content(), end)) << name << ' ' << stops;
  }
  EXPECT_GT(stops, 40);
}

INSTANTIATE_TEST_SUITE_P(All, Killed, testing::Bool(),
                         [](const auto& each) { return each.param ? "ToAnotherVolume" : "OnOneVolume"; });

}  // namespace
}  // namespace qv::test
