// Runs what the benchmarks registered; see benchmark/benchmark.h beside this file.
#include <benchmark/benchmark.h>

int main(int count, char** arguments) {
  for (const benchmark::Entry& entry : benchmark::entries()) {
    if (count < 2 || entry.name.find(arguments[1]) != std::string::npos) benchmark::report(entry);
  }
}
