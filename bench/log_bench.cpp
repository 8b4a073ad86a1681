// Lines a second into a log, beside the least that any log does: print a line and flush it.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "qv/frame/log.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

WText benchFile() {
  WCHAR temp[MAX_PATH];
  GetTempPathW(MAX_PATH, temp);
  return WText(temp) + TEXT("qv-log-bench.txt");
}

void removeFiles() {
  DeleteFileW(benchFile().c_str());
  DeleteFileW((benchFile() + TEXT(".previous")).c_str());
}

void logLines(benchmark::State& state, LOGFLAGS flags, int32_t maximum) {
  CLog log;
  if (log.Init(benchFile().c_str(), LOGFLAG_INFORMATION | flags, maximum, _SH_DENYWR) != 0) {
    return state.SkipWithError("no log");
  }
  int number = 0;
  for (auto _ : state) {
    log.Write(LOGFLAG_INFORMATION, TEXT(__FILE__), __LINE__, TEXT("clip %d of %s is ready"), ++number,
              TEXT("the second reel"));
  }
  log.Shutdown();
  removeFiles();
  state.SetItemsProcessed(state.iterations());
}

void BM_Log_Line(benchmark::State& state) {
  logLines(state, LOGFLAGS(), -1);
}
void BM_Log_LineRotating(benchmark::State& state) {
  logLines(state, LOGFLAGS(), 1 << 20);
}
void BM_Log_LineDecorated(benchmark::State& state) {
  logLines(state, LOGFLAG_TIME | LOGFLAG_PLACE, 1 << 20);
}

void BM_Log_LevelOff(benchmark::State& state) {
  CLog log;
  if (log.Init(benchFile().c_str(), LOGFLAG_ERRORS, -1, _SH_DENYWR) != 0)
    return state.SkipWithError("no log");
  for (auto _ : state) {
    benchmark::DoNotOptimize(log.Write(LOGFLAG_DEBUGGING, nullptr, 0, TEXT("not written")));
  }
  log.Shutdown();
  removeFiles();
}

void BM_Log_Peer_FprintfFflush(benchmark::State& state) {
  char path[MAX_PATH * 3] = {};
  WideCharToMultiByte(CP_UTF8, 0, benchFile().c_str() + 2, -1, path, sizeof(path), nullptr, nullptr);
  for (char* c = path; *c; ++c) {
    if (*c == '\\') *c = '/';
  }
  FILE* file = fopen(path, "a+t");
  if (!file) return state.SkipWithError("no file");
  int number = 0;
  for (auto _ : state) {
    fprintf(file, "INFOclip %d of %s is ready\n", ++number, "the second reel");
    fflush(file);
  }
  fclose(file);
  removeFiles();
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_Log_Line);
BENCHMARK(BM_Log_LineRotating);
BENCHMARK(BM_Log_LineDecorated);
BENCHMARK(BM_Log_LevelOff);
BENCHMARK(BM_Log_Peer_FprintfFflush);

}  // namespace
