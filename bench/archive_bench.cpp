// Archives beside the ZIP files of libarchive and of minizip, and beside bare zlib doing what all must do at least.
//
// Everything lies on the memory disk, so that the disk's own speed doesn't count. Peers that aren't there are
// left out.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "qv/files/archive2.h"
#ifdef QV_BENCH_LIBARCHIVE
#include <archive.h>
#include <archive_entry.h>
#endif
#ifdef QV_BENCH_MINIZIP
#include <minizip/unzip.h>
#include <minizip/zip.h>
#endif
namespace {

namespace fs = std::filesystem;
using Text = std::basic_string<WCHAR>;

const fs::path kHere = "/dev/shm/qv-archive-bench";
constexpr size_t kLarge = 64u << 20, kBlock = 256 * 1024;
constexpr int kLevel = 6, kSmallFiles = 10'000, kListed = 100'000;

Text ours(const fs::path& path) {
  Text text = TEXT("C:");
  for (const char c : path.string()) text += c == '/' ? WCHAR{'\\'} : static_cast<WCHAR>(c);
  return text;
}

class Workplace {
 public:
  Workplace() { fs::remove_all(kHere), fs::create_directories(kHere); }
  ~Workplace() { fs::remove_all(kHere); }
};

// Words, sound and noise, as projects hold them.
std::string mixedData(size_t size) {
  std::mt19937 random(1);
  std::string data;
  while (data.size() < size) {
    const size_t piece = data.size() + (1u << 16);
    if (random() % 4 == 0) {
      while (data.size() < piece) data += static_cast<char>(random());
    } else if (random() % 2 == 0) {
      while (data.size() < piece)
        data += "take " + std::to_string(random() % 5000) + (random() % 9 ? " " : ".\n");
    } else {
      for (int i = 0; data.size() < piece; ++i) {
        const auto sample = static_cast<int16_t>(9000 * std::sin(i * 0.05) + static_cast<int>(random() % 64));
        data.append(reinterpret_cast<const char*>(&sample), sizeof(sample));
      }
    }
  }
  data.resize(size);
  return data;
}

void put(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void makeLarge() {
  fs::create_directories(kHere / "in");
  put(kHere / "in/large.dat", mixedData(kLarge));
}

void makeSmall(int count, size_t least, size_t spread) {
  const std::string data = mixedData(1u << 20);
  fs::create_directories(kHere / "in");
  for (int i = 0; i < count; ++i) {
    const size_t size = least + (spread ? static_cast<size_t>(i) * 37 % spread : 0);
    put(kHere / "in" / ("clip " + std::to_string(i) + ".txt"),
        std::string_view(data).substr(static_cast<size_t>(i) * 61 % (data.size() - size), size));
  }
}

std::vector<fs::path> inputs() {
  std::vector<fs::path> all;
  for (const auto& entry : fs::directory_iterator(kHere / "in")) all.push_back(entry.path());
  return all;
}

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;
File open(const fs::path& path, const char* mode) {
  return File(fopen(path.c_str(), mode));
}

// ---- Ours

void oursCreate() {
  CArchive2 archive;
  archive.Open(ours(kHere / "ours.arc").c_str(), QVARCHIVE_CREATE, nullptr);
  archive.AddEntryToArchive(ours(kHere / "in").c_str(), 1, kLevel, QVADD_RECURSE, nullptr);
  archive.Close();
}

void oursExtract() {
  fs::create_directories(kHere / "out");
  CArchive2 archive;
  archive.Open(ours(kHere / "ours.arc").c_str(), QVARCHIVE_READ, nullptr);
  archive.ExtractAll(ours(kHere / "out").c_str(), QVEXTRACT_OVERWRITE);
  archive.Close();
}

size_t oursList() {
  CArchive2 archive;
  archive.Open(ours(kHere / "ours.arc").c_str(), QVARCHIVE_READ, nullptr);
  size_t letters = 0;
  const int32_t count = archive.GetArchiveCount();
  for (int32_t i = 0; i < count; ++i) {
    WCHAR name[260];
    if (archive.GetEntryName(i, name, 260) == 1) letters += std::char_traits<WCHAR>::length(name);
  }
  archive.Close();
  return letters;
}

// ---- Bare zlib: read, checksum, deflate, write; and back

void zlibCreate() {
  const File in = open(kHere / "in/large.dat", "rb"), out = open(kHere / "zlib.raw", "wb");
  std::vector<uint8_t> from(kBlock), to(kBlock);
  z_stream stream = {};
  deflateInit2(&stream, kLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  uLong crc = 0;
  for (int flush = Z_NO_FLUSH; flush != Z_FINISH;) {
    const size_t got = fread(from.data(), 1, kBlock, in.get());
    flush = got < kBlock ? Z_FINISH : Z_NO_FLUSH;
    crc = crc32(crc, from.data(), static_cast<uInt>(got));
    stream.next_in = from.data();
    stream.avail_in = static_cast<uInt>(got);
    do {
      stream.next_out = to.data();
      stream.avail_out = kBlock;
      deflate(&stream, flush);
      fwrite(to.data(), 1, kBlock - stream.avail_out, out.get());
    } while (stream.avail_out == 0);
  }
  deflateEnd(&stream);
  benchmark::DoNotOptimize(crc);
}

void zlibExtract() {
  fs::create_directories(kHere / "out");
  const File in = open(kHere / "zlib.raw", "rb"), out = open(kHere / "out/large.dat", "wb");
  std::vector<uint8_t> from(kBlock), to(kBlock);
  z_stream stream = {};
  inflateInit2(&stream, -MAX_WBITS);
  uLong crc = 0;
  for (int state = Z_OK; state != Z_STREAM_END;) {
    stream.next_in = from.data();
    stream.avail_in = static_cast<uInt>(fread(from.data(), 1, kBlock, in.get()));
    do {
      stream.next_out = to.data();
      stream.avail_out = kBlock;
      state = inflate(&stream, Z_NO_FLUSH);
      const uInt done = static_cast<uInt>(kBlock) - stream.avail_out;
      crc = crc32(crc, to.data(), done);
      fwrite(to.data(), 1, done, out.get());
    } while (stream.avail_out == 0);
  }
  inflateEnd(&stream);
  benchmark::DoNotOptimize(crc);
}

// ---- libarchive

#ifdef QV_BENCH_LIBARCHIVE
void libarchiveCreate() {
  archive* const zip = archive_write_new();
  archive_write_set_format_zip(zip);
  archive_write_set_options(zip, "zip:compression=deflate,zip:compression-level=6");
  archive_write_open_filename(zip, (kHere / "libarchive.zip").c_str());
  std::vector<char> block(kBlock);
  archive_entry* const entry = archive_entry_new();
  for (const fs::path& path : inputs()) {
    archive_entry_clear(entry);
    archive_entry_set_pathname(entry, path.filename().c_str());
    archive_entry_set_size(entry, static_cast<int64_t>(fs::file_size(path)));
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_perm(entry, 0644);
    archive_write_header(zip, entry);
    const File in = open(path, "rb");
    while (const size_t got = fread(block.data(), 1, kBlock, in.get()))
      archive_write_data(zip, block.data(), got);
  }
  archive_entry_free(entry);
  archive_write_free(zip);
}

archive* libarchiveOpen() {
  archive* const zip = archive_read_new();
  archive_read_support_format_zip(zip);
  archive_read_open_filename(zip, (kHere / "libarchive.zip").c_str(), kBlock);
  return zip;
}

void libarchiveExtract() {
  fs::create_directories(kHere / "out");
  archive* const zip = libarchiveOpen();
  std::vector<char> block(kBlock);
  for (archive_entry* entry; archive_read_next_header(zip, &entry) == ARCHIVE_OK;) {
    const File out = open(kHere / "out" / archive_entry_pathname(entry), "wb");
    for (la_ssize_t got; (got = archive_read_data(zip, block.data(), kBlock)) > 0;) {
      fwrite(block.data(), 1, static_cast<size_t>(got), out.get());
    }
  }
  archive_read_free(zip);
}

size_t libarchiveList() {
  archive* const zip = libarchiveOpen();
  size_t letters = 0;
  for (archive_entry* entry; archive_read_next_header(zip, &entry) == ARCHIVE_OK;) {
    letters += strlen(archive_entry_pathname(entry));
  }
  archive_read_free(zip);
  return letters;
}
#endif

// ---- minizip

#ifdef QV_BENCH_MINIZIP
void minizipCreate() {
  const zipFile zip = zipOpen64((kHere / "minizip.zip").c_str(), APPEND_STATUS_CREATE);
  std::vector<char> block(kBlock);
  for (const fs::path& path : inputs()) {
    const zip_fileinfo facts = {};
    zipOpenNewFileInZip(zip, path.filename().c_str(), &facts, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, kLevel);
    const File in = open(path, "rb");
    while (const size_t got = fread(block.data(), 1, kBlock, in.get()))
      zipWriteInFileInZip(zip, block.data(), static_cast<unsigned>(got));
    zipCloseFileInZip(zip);
  }
  zipClose(zip, nullptr);
}

template <typename Visit>
void eachOfMinizip(const Visit& visit) {
  const unzFile zip = unzOpen64((kHere / "minizip.zip").c_str());
  char name[260];
  for (int state = unzGoToFirstFile(zip); state == UNZ_OK; state = unzGoToNextFile(zip)) {
    unzGetCurrentFileInfo64(zip, nullptr, name, sizeof(name), nullptr, 0, nullptr, 0);
    visit(zip, name);
  }
  unzClose(zip);
}

void minizipExtract() {
  fs::create_directories(kHere / "out");
  std::vector<char> block(kBlock);
  eachOfMinizip([&](unzFile zip, const char* name) {
    const File out = open(kHere / "out" / name, "wb");
    unzOpenCurrentFile(zip);
    for (int got; (got = unzReadCurrentFile(zip, block.data(), kBlock)) > 0;)
      fwrite(block.data(), 1, static_cast<size_t>(got), out.get());
    unzCloseCurrentFile(zip);
  });
}

size_t minizipList() {
  size_t letters = 0;
  eachOfMinizip([&](unzFile, const char* name) { letters += strlen(name); });
  return letters;
}
#endif

// ---- The runs

uint64_t extractedBytes() {
  uint64_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(kHere / "out")) {
    if (entry.is_regular_file()) bytes += entry.file_size();
  }
  return bytes;
}

template <typename Work>
void runLarge(benchmark::State& state, Work create, Work extract) {
  const Workplace place;
  makeLarge();
  if (extract) create();
  for (auto _ : state) (extract ? extract : create)();
  if (extract && extractedBytes() != kLarge) state.SkipWithError("not extracted");
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kLarge));
}

template <typename Work>
void runSmall(benchmark::State& state, Work create, Work extract) {
  const Workplace place;
  makeSmall(kSmallFiles, 1024, 7168);
  if (extract) create();
  for (auto _ : state) {
    if (extract) {
      state.PauseTiming();
      fs::remove_all(kHere / "out");
      state.ResumeTiming();
    }
    (extract ? extract : create)();
  }
  if (extract && extractedBytes() < kSmallFiles * 1024u) state.SkipWithError("not extracted");
  state.SetItemsProcessed(state.iterations() * kSmallFiles);
}

using Work = void (*)();
template <Work Create, Work Extract>
void Large(benchmark::State& state) {
  runLarge<Work>(state, Create, Extract);
}
template <Work Create, Work Extract>
void Small(benchmark::State& state) {
  runSmall<Work>(state, Create, Extract);
}

template <Work Create, size_t (*List)()>
void Listing(benchmark::State& state) {
  const Workplace place;
  makeSmall(kListed, 1, 0);
  Create();
  for (auto _ : state) {
    if (List() < kListed * 10u) return state.SkipWithError("not all names");
  }
  state.SetItemsProcessed(state.iterations() * kListed);
}

// One file of a MiB more in an archive of 1 GiB.
void AppendOurs(benchmark::State& state) {
  const Workplace place;
  fs::create_directories(kHere / "in");
  put(kHere / "in/gib.dat", {});
  fs::resize_file(kHere / "in/gib.dat", 1u << 30);
  const fs::path more = kHere / "more.dat";
  put(more, mixedData(1u << 20));
  CArchive2 made;
  made.Open(ours(kHere / "ours.arc").c_str(), QVARCHIVE_CREATE, nullptr);
  made.AddEntryToArchive(ours(kHere / "in/gib.dat").c_str(), 0, 0, 0, nullptr);
  made.Close();
  for (auto _ : state) {
    CArchive2 archive;
    archive.Open(ours(kHere / "ours.arc").c_str(), QVARCHIVE_APPEND, nullptr);
    archive.AddEntryToArchive(ours(more).c_str(), 1, kLevel, QVADD_REPLACE, nullptr);
    if (FAILED(archive.Close())) return state.SkipWithError("not closed");
  }
}

void AppendCopyAlone(benchmark::State& state) {
  const Workplace place;
  put(kHere / "gib.dat", {});
  fs::resize_file(kHere / "gib.dat", 1u << 30);
  for (auto _ : state) {
    const File in = open(kHere / "gib.dat", "rb"), out = open(kHere / "copy.dat", "wb");
    std::vector<char> block(kBlock);
    while (const size_t got = fread(block.data(), 1, kBlock, in.get()))
      fwrite(block.data(), 1, got, out.get());
  }
}

}  // namespace

BENCHMARK(Large<oursCreate, nullptr>)->Name("Archive/Create64MiB/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Large<zlibCreate, nullptr>)->Name("Archive/Create64MiB/Zlib")->Unit(benchmark::kMillisecond);
BENCHMARK(Large<oursCreate, oursExtract>)->Name("Archive/Extract64MiB/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Large<zlibCreate, zlibExtract>)->Name("Archive/Extract64MiB/Zlib")->Unit(benchmark::kMillisecond);
BENCHMARK(Small<oursCreate, nullptr>)->Name("Archive/Create10000/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Small<oursCreate, oursExtract>)->Name("Archive/Extract10000/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Listing<oursCreate, oursList>)->Name("Archive/List100000/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(AppendOurs)->Name("Archive/AppendTo1GiB/Ours")->Unit(benchmark::kMillisecond);
BENCHMARK(AppendCopyAlone)->Name("Archive/AppendTo1GiB/CopyAlone")->Unit(benchmark::kMillisecond);
#ifdef QV_BENCH_LIBARCHIVE
BENCHMARK(Large<libarchiveCreate, nullptr>)
    ->Name("Archive/Create64MiB/Libarchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Large<libarchiveCreate, libarchiveExtract>)
    ->Name("Archive/Extract64MiB/Libarchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Small<libarchiveCreate, nullptr>)
    ->Name("Archive/Create10000/Libarchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Small<libarchiveCreate, libarchiveExtract>)
    ->Name("Archive/Extract10000/Libarchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Listing<libarchiveCreate, libarchiveList>)
    ->Name("Archive/List100000/Libarchive")
    ->Unit(benchmark::kMillisecond);
#endif
#ifdef QV_BENCH_MINIZIP
BENCHMARK(Small<minizipCreate, nullptr>)->Name("Archive/Create10000/Minizip")->Unit(benchmark::kMillisecond);
BENCHMARK(Small<minizipCreate, minizipExtract>)->Name("Archive/Extract10000/Minizip")->Unit(benchmark::kMillisecond);
BENCHMARK(Listing<minizipCreate, minizipList>)->Name("Archive/List100000/Minizip")->Unit(benchmark::kMillisecond);
#endif
