// Settings beside a bare loop over SQLite with the same journal: one table, prepared statements, the same
// values. Both keep their files in a folder of their own below the folder for temporary files.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "qv/settings/metric.h"

namespace {

constexpr int32_t kMetrics = 1000;

// The folder stands before the first setting is read, and goes with the program.
class Folder {
 public:
  Folder() {
    char pattern[] = "/tmp/qv-bench-XXXXXX";
    path_ = mkdtemp(pattern);
    setenv("XDG_CONFIG_HOME", path_.c_str(), 1);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

const Folder& folder() {
  static const Folder instance;
  return instance;
}

// ---- ours -----------------------------------------------------------------------------------------------

HQVMETRIC metrics() {
  static const HQVMETRIC handle = [] {
    folder();
    HQVMETRIC opened = nullptr;
    QvMetric_Open(&opened, TEXT("Bench"), 0x01000000, nullptr);
    for (int32_t i = 0; i < kMetrics; ++i) {
      QvSetMetric(opened, i, i);
      QvSetMetricString(opened, i, TEXT("C:\\Users\\someone\\Documents\\a project of a usual length"));
    }
    return opened;
  }();
  return handle;
}

// Numbers that jump about, so that no page is always the last one used.
int32_t next(int32_t i) {
  return (i + 619) % kMetrics;
}

void BM_SettingsRead(benchmark::State& state) {
  const HQVMETRIC handle = metrics();
  int32_t i = 0;
  for (auto _ : state) {
    const int32_t value = QvGetMetricEx(handle, i, 0, 0, -1);
    if (value != i) state.SkipWithError("another value");
    i = next(i);
  }
}
BENCHMARK(BM_SettingsRead)->Name("Settings/Read/ours");

void BM_SettingsReadMissing(benchmark::State& state) {
  const HQVMETRIC handle = metrics();
  int32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(QvGetMetricEx(handle, kMetrics + i, 0, 0, -1));
    i = next(i);
  }
}
BENCHMARK(BM_SettingsReadMissing)->Name("Settings/ReadMissing/ours");

void BM_SettingsReadText(benchmark::State& state) {
  const HQVMETRIC handle = metrics();
  WCHAR text[260];
  int32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(QvGetMetricStringEx(handle, i, text, 260, nullptr, 0));
    i = next(i);
  }
}
BENCHMARK(BM_SettingsReadText)->Name("Settings/ReadText/ours");

void BM_SettingsWrite(benchmark::State& state) {
  const HQVMETRIC handle = metrics();
  int32_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(QvSetMetric(handle, i, i));
    i = next(i);
  }
}
BENCHMARK(BM_SettingsWrite)->Name("Settings/Write/ours");

// ---- the peer -------------------------------------------------------------------------------------------

struct Peer {
  sqlite3* database = nullptr;
  sqlite3_stmt* read = nullptr;
  sqlite3_stmt* write = nullptr;
  Peer() {
    sqlite3_open((folder().path() + "/peer.db").c_str(), &database);
    sqlite3_exec(database,
                 "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                 "CREATE TABLE t (name TEXT PRIMARY KEY, data BLOB NOT NULL) WITHOUT ROWID;",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database, "SELECT data FROM t WHERE name = ?1", -1, &read, nullptr);
    sqlite3_prepare_v2(database, "INSERT INTO t VALUES (?1, ?2) ON CONFLICT (name) DO UPDATE SET data = ?2",
                       -1, &write, nullptr);
    for (int32_t i = 0; i < kMetrics; ++i) set(i, i);
  }
  int32_t get(int32_t number) {
    char name[16];
    const int length = snprintf(name, sizeof(name), "%d", number);
    sqlite3_bind_text(read, 1, name, length, SQLITE_STATIC);
    int32_t value = -1;
    if (sqlite3_step(read) == SQLITE_ROW) memcpy(&value, sqlite3_column_blob(read, 0), sizeof(value));
    sqlite3_reset(read);
    return value;
  }
  void set(int32_t number, int32_t value) {
    char name[16];
    const int length = snprintf(name, sizeof(name), "%d", number);
    sqlite3_bind_text(write, 1, name, length, SQLITE_STATIC);
    sqlite3_bind_blob(write, 2, &value, sizeof(value), SQLITE_STATIC);
    sqlite3_step(write);
    sqlite3_reset(write);
  }
};

Peer& peer() {
  static Peer instance;
  return instance;
}

void BM_PeerRead(benchmark::State& state) {
  Peer& bare = peer();
  int32_t i = 0;
  for (auto _ : state) {
    if (bare.get(i) != i) state.SkipWithError("another value");
    i = next(i);
  }
}
BENCHMARK(BM_PeerRead)->Name("Settings/Read/sqlite");

void BM_PeerWrite(benchmark::State& state) {
  Peer& bare = peer();
  int32_t i = 0;
  for (auto _ : state) {
    bare.set(i, i);
    i = next(i);
  }
}
BENCHMARK(BM_PeerWrite)->Name("Settings/Write/sqlite");

}  // namespace
