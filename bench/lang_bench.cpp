// Looking texts up: a record, and the text of a string number once it is in the handle's cache. The peer of
// the second is what a program would write for itself, a hash table behind a mutex.
#include <benchmark/benchmark.h>

#include <mutex>
#include <string>
#include <unordered_map>

#include "qv/lang/detail/startup.h"
#include "qv/lang/lang.h"
#include "qv/lang/texts.h"

namespace {

// The string numbers of bench.rc.
constexpr uint32_t kFirst = 100, kCount = 16;

struct German {
  HQVLANG language = nullptr;
  German() {
    qv::startKernelLanguage(nullptr);
    QvLang_Open(&language, nullptr, 0, 0);
    QvLang_UpdateKernelLCID(language, 0x407, 0);
  }
  ~German() {
    QvLang_Close(language);
    qv::stopKernelLanguage();
  }
};

void LangRecord(benchmark::State& state) {
  const German german;
  for (auto _ : state) benchmark::DoNotOptimize(QvGetString(german.language, qv::kTextCancel));
}
BENCHMARK(LangRecord);

void LangNumber(benchmark::State& state) {
  const German german;
  uint32_t i = 0;
  for (auto _ : state) {
    const WCHAR* text = QvGetString(german.language, kFirst + i);
    if (!text[0]) return state.SkipWithError("qv_bench.LNG is not beside the program");
    benchmark::DoNotOptimize(text);
    i = (i + 1) % kCount;
  }
}
BENCHMARK(LangNumber);

void LangNumber_unordered_map(benchmark::State& state) {
  std::mutex lock;
  std::unordered_map<uint32_t, std::u16string> texts;
  for (uint32_t i = 0; i < kCount; ++i) texts[kFirst + i] = u"Abbrechen";
  uint32_t i = 0;
  for (auto _ : state) {
    const std::lock_guard hold(lock);
    benchmark::DoNotOptimize(texts.find(kFirst + i)->second.c_str());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(LangNumber_unordered_map);

}  // namespace
