// What the registry's own storage must withstand: processes side by side, processes that are killed, damage,
// and folders that admit nothing. Every access is made in a process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>

#include "qv/platform/registry.h"
#include "tests/support/processes.h"

namespace {

namespace fs = std::filesystem;
using Text = std::u16string;
using qv::test::inChild;
using qv::test::resultOf;
using qv::test::start;

constexpr const char16_t* kPath = u"Software\\Processes";
constexpr DWORD kBigValue = 6000;

LSTATUS openKey(HKEY* key) {
  return RegCreateKeyExW(HKEY_CURRENT_USER, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key, nullptr);
}

Text numbered(char16_t prefix, int number) {
  const std::string digits = std::to_string(number);
  return prefix + Text(digits.begin(), digits.end());
}

bool has(HKEY key, const Text& name) {
  DWORD value = 0, size = sizeof value;
  return RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size) == 0;
}

using RegistryProcesses = qv::test::OwnRegistry;

TEST_F(RegistryProcesses, SideBySideLoseNothing) {
  constexpr int kWrites = 10000;
  const auto writer = [](char16_t prefix) {
    return [prefix] {
      HKEY key = nullptr;
      if (openKey(&key) != 0) return 1;
      for (DWORD i = 0; i < kWrites; ++i) {
        const auto data = reinterpret_cast<const BYTE*>(&i);
        if (RegSetValueExW(key, numbered(prefix, static_cast<int>(i)).c_str(), 0, REG_DWORD, data, 4) != 0)
          return 2;
      }
      return 0;
    };
  };
  const pid_t first = start(writer(u'a')), second = start(writer(u'b'));
  EXPECT_EQ(0, resultOf(first));
  EXPECT_EQ(0, resultOf(second));
  EXPECT_EQ(0, inChild([] {
              HKEY key = nullptr;
              if (openKey(&key) != 0) return 1;
              for (int i = 0; i < kWrites; ++i) {
                if (!has(key, numbered(u'a', i)) || !has(key, numbered(u'b', i))) return 2;
              }
              return 0;
            }));
}

TEST_F(RegistryProcesses, StartingTogetherOnANewHiveAllSucceed) {
  for (int round = 0; round < 10; ++round) {
    fs::remove_all(folder / "qv");
    pid_t children[8];
    for (pid_t& child : children) {
      child = start([] {
        HKEY key = nullptr;
        return static_cast<int>(openKey(&key));
      });
    }
    for (const pid_t child : children) EXPECT_EQ(0, resultOf(child)) << round;
  }
}

// Writes a big value again and again, each all of one number, and says each number once it is written.
int writeForEver(int said) {
  HKEY key = nullptr;
  if (openKey(&key) != 0) return 1;
  std::string data(kBigValue, 0);
  for (uint32_t number = 1;; ++number) {
    for (size_t at = 0; at < data.size(); at += 4) memcpy(&data[at], &number, 4);
    if (RegSetValueExW(key, u"big", 0, REG_BINARY, reinterpret_cast<const BYTE*>(data.data()), kBigValue) !=
        0)
      return 2;
    if (write(said, &number, sizeof number) != sizeof number) return 3;
  }
}

// The number that the big value is all of; 0 when there is none or it is not whole.
int readWhole(int told) {
  HKEY key = nullptr;
  std::string data(kBigValue, 0);
  DWORD size = kBigValue;
  if (openKey(&key) != 0) return 1;
  if (RegQueryValueExW(key, u"big", nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &size) != 0)
    return 2;
  uint32_t number = 0;
  memcpy(&number, data.data(), 4);
  for (size_t at = 0; at < data.size(); at += 4) {
    if (memcmp(&data[at], &number, 4) != 0) return 3;
  }
  return size == kBigValue && write(told, &number, sizeof number) == sizeof number ? 0 : 4;
}

TEST_F(RegistryProcesses, AKilledOneLeavesTheLastCompleteValue) {
  std::mt19937 random(20);
  for (int round = 0; round < 20; ++round) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const pid_t child = start([&] { return writeForEver(ends[1]); });
    uint32_t last = 0, number = 0;
    ASSERT_EQ(4, read(ends[0], &last, 4));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    kill(child, SIGKILL);
    EXPECT_EQ(-SIGKILL, resultOf(child));
    close(ends[1]);
    while (read(ends[0], &number, 4) == 4) last = number;
    close(ends[0]);
    ASSERT_EQ(0, pipe(ends));
    EXPECT_EQ(0, inChild([&] { return readWhole(ends[1]); })) << round;
    ASSERT_EQ(4, read(ends[0], &number, 4));
    EXPECT_TRUE(number == last || number == last + 1) << number << " after " << last;
    close(ends[0]);
    close(ends[1]);
  }
}

std::string bytesOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Fills the hive with values and brings them into its main file.
int fill() {
  HKEY key = nullptr;
  const std::string data(500, 'v');
  if (openKey(&key) != 0) return 1;
  for (int i = 0; i < 200; ++i) {
    if (RegSetValueExW(key, numbered(u'v', i).c_str(), 0, REG_BINARY,
                       reinterpret_cast<const BYTE*>(data.data()), 500) != 0)
      return 2;
  }
  return RegFlushKey(key) == 0 ? 0 : 3;
}

// Uses the whole hive: meets the damage once, then works on a new one.
int meetDamage() {
  HKEY key = nullptr;
  LSTATUS status = openKey(&key);
  for (int i = 0; i < 200 && status == 0; ++i) {
    DWORD size = 0;
    status = RegQueryValueExW(key, numbered(u'v', i).c_str(), nullptr, nullptr, nullptr, &size);
  }
  if (status != static_cast<LSTATUS>(ERROR_REGISTRY_CORRUPT)) return 1;
  if (openKey(&key) != 0) return 2;
  if (RegSetValueExW(key, u"new", 0, REG_BINARY, nullptr, 0) != 0) return 3;
  return has(key, u"new") && !has(key, u"v0") ? 0 : 4;
}

TEST_F(RegistryProcesses, DamageIsSetAsideAndKept) {
  const struct {
    const char* name;
    size_t from;
  } cases[] = {{"from the start", 0}, {"behind the first pages", 3 * 4096}};
  for (const auto& each : cases) {
    fs::remove_all(folder / "qv");
    ASSERT_EQ(0, inChild(fill)) << each.name;
    for (const char* suffix : {"-wal", "-shm"}) fs::remove(hive().string() + suffix);
    std::string damaged = bytesOf(hive());
    ASSERT_GT(damaged.size(), each.from + 8192);
    std::fill(damaged.begin() + static_cast<ptrdiff_t>(each.from), damaged.end(), '\xaa');
    std::ofstream(hive(), std::ios::binary) << damaged;
    EXPECT_EQ(0, inChild(meetDamage)) << each.name;
    EXPECT_EQ(damaged, bytesOf(hive().string() + ".damaged")) << each.name;
    EXPECT_NE(damaged, bytesOf(hive())) << each.name;
  }
  // A second time: the first one kept stays as it is.
  const std::string first = bytesOf(hive().string() + ".damaged");
  for (const char* suffix : {"-wal", "-shm"}) fs::remove(hive().string() + suffix);
  std::ofstream(hive(), std::ios::binary) << std::string(9000, 'x');
  EXPECT_EQ(0, inChild(meetDamage));
  EXPECT_EQ(first, bytesOf(hive().string() + ".damaged"));
  EXPECT_EQ(std::string(9000, 'x'), bytesOf(hive().string() + ".damaged1"));
}

TEST_F(RegistryProcesses, AFolderThatAdmitsNothingGivesAStatus) {
  const auto attempt = [] {
    HKEY key = nullptr;
    const LSTATUS status = openKey(&key);
    return status == 0 || key != nullptr ? 0 : static_cast<int>(status);
  };
  std::ofstream(folder / "qv") << "a file where the folder should be";
  EXPECT_EQ(static_cast<int>(ERROR_ACCESS_DENIED), inChild(attempt));
  fs::remove(folder / "qv");
  if (geteuid() == 0) return;  // nothing is closed to the superuser
  chmod(folder.c_str(), 0);
  EXPECT_EQ(static_cast<int>(ERROR_ACCESS_DENIED), inChild(attempt));
  chmod(folder.c_str(), 0700);
}

}  // namespace
