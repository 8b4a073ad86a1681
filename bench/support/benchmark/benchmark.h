// The part of Google Benchmark that the benchmarks of the Windows build need, for toolchains without it: the
// same sources compile against either. Each benchmark runs for a tenth of a second nine times; the best is
// shown.
//
//   qv_bench.exe [PART OF A NAME]
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace benchmark {

class State {
 public:
  State(int64_t iterations, int64_t argument) : iterations_(iterations), argument_(argument) {}

  struct [[maybe_unused]] Turn {};
  struct Iterator {
    int64_t left;
    Turn operator*() const { return {}; }
    void operator++() { --left; }
    bool operator!=(Iterator) const { return left > 0; }
  };
  Iterator begin() { return start_ = std::chrono::steady_clock::now(), Iterator{iterations_}; }
  Iterator end() { return {0}; }

  int64_t iterations() const { return iterations_; }
  int64_t range(int) const { return argument_; }
  // What was measured means nothing then.
  void SkipWithError(const char* why) {
    fprintf(stderr, "%s\n", why);
    exit(1);
  }
  void SetItemsProcessed(int64_t count) { items = count; }
  void SetBytesProcessed(int64_t count) { bytes = count; }
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

  int64_t items = 0;
  int64_t bytes = 0;

 private:
  int64_t iterations_, argument_;
  std::chrono::steady_clock::time_point start_;
};

template <class T>
inline void DoNotOptimize(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}
inline void ClobberMemory() {
  asm volatile("" : : : "memory");
}

struct Entry {
  std::string name;
  std::function<void(State&)> run;
  int64_t argument = 0;
};
inline std::vector<Entry>& entries() {
  static std::vector<Entry> all;
  return all;
}
inline void RegisterBenchmark(const char* name, std::function<void(State&)> run) {
  entries().push_back({name, std::move(run)});
}

// What BENCHMARK gives: a benchmark runs once for each argument of its range.
class Registration {
 public:
  Registration(const char* name, void (*run)(State&)) : index_(entries().size()) {
    entries().push_back({name, run});
  }
  Registration* DenseRange(int64_t first, int64_t last) {
    const Entry each = entries()[index_];
    entries().pop_back();
    for (int64_t i = first; i <= last; ++i)
      entries().push_back({each.name + "/" + std::to_string(i), each.run, i});
    return this;
  }

 private:
  size_t index_;
};
#define BENCHMARK(run) \
  [[maybe_unused]] static auto* const run##Registration = (new benchmark::Registration(#run, run))

inline void report(const Entry& entry) {
  constexpr double kSeconds = 0.004;  // shorter than a turn on a busy machine's processor
  constexpr int kTurns = 60;
  double best = 1e9, items = 0, bytes = 0;
  int64_t iterations = 1;
  for (int turn = 0; turn < kTurns;) {
    State state(iterations, entry.argument);
    entry.run(state);
    const double seconds = state.seconds();
    if (seconds < kSeconds) {
      iterations = seconds < kSeconds / 100 ? iterations * 10
                                            : static_cast<int64_t>(iterations * 1.3 * kSeconds / seconds) + 1;
      continue;
    }
    ++turn;
    const double each = seconds / static_cast<double>(iterations);
    if (each >= best) continue;
    best = each;
    items = static_cast<double>(state.items) / seconds;
    bytes = static_cast<double>(state.bytes) / seconds;
  }
  printf("%-44s %12.1f ns", entry.name.c_str(), best * 1e9);
  if (items > 0) printf(" %9.2f G items/s", items / 1e9);
  if (bytes > 0) printf(" %9.2f GB/s", bytes / 1e9);
  printf("\n");
  fflush(stdout);
}

}  // namespace benchmark
