// Whole folders and patterns beside the standard library and the tools that people use.
//
// Folders lie on the memory disk, so that the disk's own speed doesn't count; the folder that a move to
// another volume goes to is taken from QV_BENCH_OTHER, else /tmp.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qv/files/paths.h"
#include "qv/files/tree.h"

namespace {

namespace fs = std::filesystem;
using Text = std::basic_string<WCHAR>;

const fs::path kHere = "/dev/shm/qv-files-bench";

fs::path elsewhere() {
  const char* given = std::getenv("QV_BENCH_OTHER");
  return fs::path(given ? given : "/tmp") / "qv-files-bench";
}

Text ours(const fs::path& path) {
  Text text = TEXT("C:");
  for (const char c : path.string()) text += c == '/' ? WCHAR{'\\'} : static_cast<WCHAR>(c);
  return text;
}

void makeTree(const fs::path& top, int folders, int files, size_t bytes) {
  const std::string content(bytes, 'x');
  for (int f = 0; f < folders; ++f) {
    const fs::path folder = top / ("folder " + std::to_string(f / 10)) / ("take " + std::to_string(f));
    fs::create_directories(folder);
    for (int i = 0; i < files; ++i)
      std::ofstream(folder / ("recording " + std::to_string(i) + ".wav"), std::ios::binary) << content;
  }
}

class Workplace {
 public:
  Workplace() { clean(), fs::create_directories(kHere), fs::create_directories(elsewhere()); }
  ~Workplace() { clean(); }

 private:
  static void clean() { fs::remove_all(kHere), fs::remove_all(elsewhere()); }
};

// ---- Size of 50,000 files

template <typename Size>
void runSize(benchmark::State& state, Size size) {
  const Workplace place;
  makeTree(kHere / "a", 500, 100, 10);
  for (auto _ : state) {
    if (size(kHere / "a") != 500'000) return state.SkipWithError("wrong size");
  }
  state.SetItemsProcessed(state.iterations() * 50'000);
}

void FilesSizeOurs(benchmark::State& state) {
  runSize(state, [](const fs::path& path) {
    uint64_t size = 0;
    QvGetDirectorySize(ours(path).c_str(), &size);
    return size;
  });
}

void FilesSizeStandard(benchmark::State& state) {
  runSize(state, [](const fs::path& path) {
    uint64_t size = 0;
    for (const auto& entry : fs::recursive_directory_iterator(path))
      if (entry.is_regular_file()) size += entry.file_size();
    return size;
  });
}

// ---- Move of 5,000 files on one volume, one by one into a folder that may be there

template <typename Move>
void runMove(benchmark::State& state, Move move) {
  const Workplace place;
  makeTree(kHere / "one", 50, 100, 10);
  fs::path from = kHere / "one", to = kHere / "two";
  for (auto _ : state) {
    move(from, to);
    std::swap(from, to);
  }
  if (fs::exists(to) || !fs::exists(from)) state.SkipWithError("not moved");
  state.SetItemsProcessed(state.iterations() * 5'000);
}

void FilesMoveOurs(benchmark::State& state) {
  runMove(state, [](const fs::path& from, const fs::path& to) {
    QvMoveFolder(ours(to).c_str(), ours(from).c_str(), nullptr, nullptr, nullptr);
  });
}

void moveByStandard(const fs::path& from, const fs::path& to) {
  fs::create_directory(to);
  for (const auto& entry : fs::directory_iterator(from)) {
    const fs::path target = to / entry.path().filename();
    if (entry.is_directory()) {
      moveByStandard(entry.path(), target);
    } else {
      fs::rename(entry.path(), target);
    }
  }
  fs::remove(from);
}

void FilesMoveStandard(benchmark::State& state) {
  runMove(state, moveByStandard);
}

// ---- Move of 1 GiB to another volume

template <typename Move>
void runCopy(benchmark::State& state, Move move) {
  const Workplace place;
  const fs::path from = kHere / "one", to = elsewhere() / "two";
  for (auto _ : state) {
    fs::remove_all(to);
    makeTree(from, 8, 8, 16u << 20);
    const auto start = std::chrono::steady_clock::now();
    move(from, to);
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (fs::exists(from) || !fs::exists(to / "folder 0" / "take 7")) return state.SkipWithError("not moved");
  }
  state.SetBytesProcessed(state.iterations() * (int64_t{1} << 30));
}

void FilesCopyOurs(benchmark::State& state) {
  runCopy(state, [](const fs::path& from, const fs::path& to) {
    QvMoveFolder(ours(to).c_str(), ours(from).c_str(), nullptr, nullptr, nullptr);
  });
}

void FilesCopyStandard(benchmark::State& state) {
  runCopy(state, [](const fs::path& from, const fs::path& to) {
    fs::copy(from, to, fs::copy_options::recursive);
    fs::remove_all(from);
  });
}

void runTool(benchmark::State& state, const char* command) {
  runCopy(state, [&](const fs::path& from, const fs::path& to) {
    const std::string call =
        "FROM=" + from.string() + " TO=" + to.string() + " /bin/sh -c '" + command + "' >/dev/null 2>&1";
    if (std::system(call.c_str()) != 0) state.SkipWithError("the tool is missing or failed");
  });
}

void FilesCopyMv(benchmark::State& state) {
  runTool(state, "mv $FROM $TO");
}

void FilesCopyCp(benchmark::State& state) {
  runTool(state, "cp -a $FROM $TO && rm -r $FROM");
}

void FilesCopyRsync(benchmark::State& state) {
  runTool(state, "rsync -a $FROM/ $TO && rm -r $FROM");
}

BENCHMARK(FilesSizeOurs)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesSizeStandard)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesMoveOurs)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesMoveStandard)->Unit(benchmark::kMillisecond);
BENCHMARK(FilesCopyOurs)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(FilesCopyStandard)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(FilesCopyMv)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(FilesCopyCp)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(FilesCopyRsync)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);

// ---- Patterns

constexpr int kNames = 1024;

template <typename String>
std::vector<String> names() {
  std::vector<String> all;
  for (int i = 0; i < kNames; ++i) {
    const std::string name = "recording " + std::to_string(i * 7919 % 100'000) + (i % 3 ? ".wav" : ".aiff");
    all.emplace_back(name.begin(), name.end());
  }
  return all;
}

template <typename String, typename Match>
void runMatch(benchmark::State& state, Match match) {
  const std::vector<String> all = names<String>();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(match(all[i].c_str()));
    i = (i + 1) % kNames;
  }
}

void FilesMatchOurs(benchmark::State& state) {
  runMatch<Text>(state, [](const WCHAR* name) { return QvIsMatchWildCard(TEXT("rec*7?.wav"), name); });
}

void FilesMatchFnmatch(benchmark::State& state) {
  runMatch<std::string>(state, [](const char* name) { return fnmatch("rec*7?.wav", name, 0); });
}

BENCHMARK(FilesMatchOurs);
BENCHMARK(FilesMatchFnmatch);

}  // namespace
