// Messages beside what a program without tables would do: the system's words for an error number, joined with
// a sentence by fmt, and the same by snprintf. Peers' 8-bit text is widened in the loop, as in
// text_bench.cpp.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstdio>
#include <system_error>

#include "qv/frame/errors.h"

namespace {

constexpr int kCapacity = 2048;
constexpr const WCHAR* kPath = TEXT("C:\\takes\\a project.prj");
constexpr const char* kPathNarrow = "C:\\takes\\a project.prj";

void widen(const char* text, size_t length, WCHAR* wide) {
  for (size_t i = 0; i < length; ++i) wide[i] = static_cast<unsigned char>(text[i]);
  wide[length] = 0;
}

// The first row of the table, one in its middle, the last one.
constexpr HRESULT kCodes[] = {static_cast<HRESULT>(0x80004005u), static_cast<HRESULT>(0x8004e00au),
                              static_cast<HRESULT>(0x8004e189u)};

void ErrorsMessage(benchmark::State& state) {
  const HRESULT code = kCodes[state.range(0)];
  for (auto _ : state)
    benchmark::DoNotOptimize(QvErrorHandler_GetErrorMessage(QVERRORCONTEXT(5), code, kPath));
}

void ErrorsMessage_fmt(benchmark::State& state) {
  WCHAR wide[kCapacity];
  for (auto _ : state) {
    const std::string reason = std::generic_category().message(2);
    char text[kCapacity];
    const auto end = fmt::format_to(text, "An error occurred while loading the project file {}.\n\n{}.",
                                    kPathNarrow, reason);
    widen(text, static_cast<size_t>(end - text), wide);
    benchmark::DoNotOptimize(wide);
    benchmark::ClobberMemory();
  }
}

void ErrorsMessage_snprintf(benchmark::State& state) {
  WCHAR wide[kCapacity];
  for (auto _ : state) {
    const std::string reason = std::generic_category().message(2);
    char text[kCapacity];
    const int length =
        std::snprintf(text, sizeof(text), "An error occurred while loading the project file %s.\n\n%s.",
                      kPathNarrow, reason.c_str());
    widen(text, static_cast<size_t>(length), wide);
    benchmark::DoNotOptimize(wide);
    benchmark::ClobberMemory();
  }
}

void ErrorsDetails(benchmark::State& state) {
  for (auto _ : state) {
    QvErrorHandler_DetailsInit();
    for (int block = 0; block < 10; ++block) {
      QvErrorHandler_DetailsAddString(kCodes[1], TEXT("block %d of %s"), block, kPath);
    }
  }
  QvErrorHandler_DetailsInit();
}

void ErrorsDetails_fmt(benchmark::State& state) {
  WCHAR wide[kCapacity];
  for (auto _ : state) {
    std::string details;
    for (int block = 0; block < 10; ++block) {
      fmt::format_to(std::back_inserter(details), "block {} of {}\r\n", block, kPathNarrow);
    }
    widen(details.data(), details.size(), wide);
    benchmark::DoNotOptimize(wide);
    benchmark::ClobberMemory();
  }
}

BENCHMARK(ErrorsMessage)->DenseRange(0, 2);
BENCHMARK(ErrorsMessage_fmt);
BENCHMARK(ErrorsMessage_snprintf);
BENCHMARK(ErrorsDetails);
BENCHMARK(ErrorsDetails_fmt);

}  // namespace
