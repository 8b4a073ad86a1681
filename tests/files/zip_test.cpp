// ZIP files as five programs write them, and as nobody should.
#include "qv/files/zipenum.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "qv/files/detail/contained.h"
#include "qv/files/detail/zip.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"
#include "qv/frame/status.h"
#include "qv/lang/resources.h"
#include "tests/files/bytes.h"

namespace {

using Text = qv::test::WText;
using qv::test::Bytes;
using qv::test::contentsOf;
using qv::test::Folder;
using qv::test::readAll;
using qv::test::wide;
using qv::test::writeAll;
using qv::test::operator/;

Bytes golden(const char* name) {
  return contentsOf(wide(QV_GOLDEN_ZIP) + TEXT("/") + wide(name));
}

Bytes take() {
  Bytes bytes(40000);
  for (uint64_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * i / 7 % 251);
  return bytes;
}

// A ZIP by hand, entry by entry; every number can be set wrong.
struct Made {
  struct Entry {
    std::string name;
    Bytes stored;
    uint16_t method = 0;
    uint32_t uncompressed = 0;
    std::string comment;
  };
  Bytes bytes;
  std::vector<Entry> entries;
  size_t directory = 0, end = 0;

  void u16(uint32_t v) { bytes.insert(bytes.end(), {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)}); }
  void u32(uint32_t v) { u16(v & 0xffff), u16(v >> 16); }
  void text(const std::string& t) { bytes.insert(bytes.end(), t.begin(), t.end()); }
  void add(const std::string& name, const std::string& content) {
    entries.push_back(
        {name, Bytes(content.begin(), content.end()), 0, static_cast<uint32_t>(content.size()), {}});
  }
  void header(const Entry& e) {
    u16(20), u16(0), u16(e.method), u16(0x2062), u16(0x52c5), u32(0);
    u32(static_cast<uint32_t>(e.stored.size())), u32(e.uncompressed);
    u16(static_cast<uint32_t>(e.name.size())), u16(0);
  }
  Bytes finish(const std::string& comment = {}) {
    std::vector<size_t> offsets;
    for (const Entry& e : entries) {
      offsets.push_back(bytes.size());
      u32(0x04034b50), header(e), text(e.name);
      bytes.insert(bytes.end(), e.stored.begin(), e.stored.end());
    }
    directory = bytes.size();
    for (size_t i = 0; i < entries.size(); ++i) {
      u32(0x02014b50), u16(20), header(entries[i]);
      u16(static_cast<uint32_t>(entries[i].comment.size())), u16(0), u16(0), u32(0);
      u32(static_cast<uint32_t>(offsets[i])), text(entries[i].name), text(entries[i].comment);
    }
    end = bytes.size();
    const auto count = static_cast<uint32_t>(entries.size());
    u32(0x06054b50), u16(0), u16(0), u16(count), u16(count), u32(static_cast<uint32_t>(end - directory));
    u32(static_cast<uint32_t>(directory)), u16(static_cast<uint32_t>(comment.size())), text(comment);
    return bytes;
  }
};

struct Zip {
  Folder folder;
  QVZIP handle = nullptr;
  HRESULT status;
  explicit Zip(const Bytes& bytes, uint32_t flags = 0) {
    writeAll(folder / "a.zip", bytes);
    status = QvZip_Open((folder / "a.zip").c_str(), flags, &handle);
  }
  ~Zip() {
    if (handle != nullptr) {
      EXPECT_EQ(QvZip_Close(handle), 0);
    }
  }
  std::vector<Text> names() {
    std::vector<Text> found;
    QVZIPENUM walk = nullptr;
    EXPECT_EQ(QvZipEnum_Create(handle, &walk), 0);
    WCHAR name[260];
    while (SUCCEEDED(QvZipEnum_NextSafe(nullptr, walk, name, 260))) found.emplace_back(name);
    EXPECT_EQ(QvZipEnum_Destroy(walk), 1);
    return found;
  }
};

TEST(Zip, WrittenByFourPrograms) {
  const struct {
    const char* name;
    bool folders;
  } files[] = {{"infozip.zip", true},
               {"infozip_stored.zip", false},
               {"sevenzip.zip", true},
               {"python.zip", false},
               {"libarchive.zip", true}};
  for (const auto& file : files) {
    SCOPED_TRACE(file.name);
    for (const int32_t direct : {0, 1}) {
      Zip zip(golden(file.name));
      ASSERT_EQ(zip.status, 0);
      EXPECT_EQ(QvZipEnum_GetFileCount(zip.handle), file.folders ? 5 : 3);
      EXPECT_EQ(QvZipEnum_GetTotalUncompressedSize(zip.handle), 40027u);
      EXPECT_EQ(QvZipEnum_GetUncompressedSizeFromName(zip.handle, TEXT("TAKES\\One.BIN")), 40000u);
      ASSERT_EQ(QvZip_ExtractAll(zip.handle, (zip.folder / "out").c_str(), direct, nullptr), 0);
      Bytes bytes;
      ASSERT_TRUE(readAll(zip.folder / "out\\takes\\one.bin", &bytes));
      EXPECT_EQ(bytes, take());
      ASSERT_TRUE(readAll(zip.folder / "out\\notes.txt", &bytes));
      EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "Roll camera.\nSound speed.\n");
      ASSERT_TRUE(readAll(zip.folder / "out\\takes\\deep\\two", &bytes));
      EXPECT_EQ(bytes, Bytes{'2'});
      void* block = nullptr;
      uint32_t size = 0;
      ASSERT_EQ(QvZip_ExtractToMemory(zip.handle, TEXT("takes\\one.bin"), &block, &size), 0);
      EXPECT_EQ(Bytes(static_cast<uint8_t*>(block), static_cast<uint8_t*>(block) + size), take());
      qv::files::zipFree(block);
    }
  }
}

TEST(Zip, EntriesHoldWhatTheDirectorySays) {
  Made made;
  made.add("dir/file.txt", "abc");
  made.entries[0].comment = "caf\xe9";
  Zip zip(made.finish(std::string(65535, 'c'))), plain(made.bytes, QVZIP_NAMEONLY);
  ASSERT_EQ(zip.status, 0) << "the longest comment";
  QVZIPENUM walk = nullptr;
  ASSERT_EQ(QvZipEnum_Create(zip.handle, &walk), 0);
  QVZIPENTRY* entry = nullptr;
  ASSERT_EQ(QvZipEnum_Next(walk, &entry), 0);
  EXPECT_EQ(Text(entry->name), TEXT("dir\\file.txt"));
  EXPECT_EQ(entry->comment[3], static_cast<WCHAR>(0xffe9));
  EXPECT_EQ(entry->extra, nullptr);
  EXPECT_EQ(entry->uncompressedSize, 3u);
  EXPECT_EQ(entry->time, 0x2062);
  EXPECT_EQ(entry->date, 0x52c5);
  qv::files::zipFree(entry);
  entry = nullptr;
  EXPECT_EQ(QvZipEnum_Next(walk, &entry), qv::kInvalidArgument);
  EXPECT_EQ(entry, nullptr);
  EXPECT_EQ(QvZipEnum_Destroy(walk), 1);
  EXPECT_EQ(plain.names(), std::vector<Text>{TEXT("file.txt")});

  WCHAR name[13];
  EXPECT_EQ(QvZipEnum_GetFileName(zip.handle, 0, name, 12), static_cast<HRESULT>(0x8004e03cu));
  EXPECT_EQ(name[0], 0);
  EXPECT_EQ(QvZipEnum_GetFileName(zip.handle, 0, name, 13), 0);
  EXPECT_EQ(QvZipEnum_GetFileName(zip.handle, 1, name, 13), qv::kInvalidArgument);
  EXPECT_EQ(QvZipEnum_GetUncompressedSizeFromIndex(zip.handle, 0), 3u);
  EXPECT_EQ(QvZipEnum_GetUncompressedSizeFromIndex(zip.handle, 1), 0u);
}

TEST(Zip, ExtractedFilesHaveTheEntrysTime) {
  Made made;
  made.add("a", "abc");
  Zip zip(made.finish());
  const Text target = zip.folder / "new\\a";
  ASSERT_EQ(QvZip_ExtractFile(zip.handle, TEXT("A"), target.c_str(), 1, nullptr), 0);
  EXPECT_EQ(QvDosGetDateTime(target.c_str()), 0x52c52062u);
}

TEST(Zip, WhatIsNoneIsRefused) {
  Made made;
  made.add("a", "abc");
  const Bytes good = made.finish();
  const auto with = [&](size_t at, uint8_t value) {
    Bytes bad = good;
    bad[at] = value;
    return bad;
  };
  EXPECT_EQ(Zip({}).status, qv::kInvalidArgument);
  EXPECT_EQ(Zip(Bytes(good.begin(), good.begin() + 40)).status, qv::kInvalidArgument) << "no end";
  EXPECT_EQ(Zip(with(0, 'Q')).status, qv::kInvalidArgument) << "first signature";
  EXPECT_EQ(Zip(with(made.end + 6, 1)).status, qv::kInvalidArgument) << "several disks";
  EXPECT_EQ(Zip(with(made.end + 20, 1)).status, qv::kInvalidArgument) << "comment beyond the end";
  QVZIP none = nullptr;
  EXPECT_EQ(QvZip_Open(TEXT("C:\\no\\such.zip"), 0, &none), qv::kCannotOpenFile);
  EXPECT_EQ(QvZip_Close(nullptr), qv::kInvalidArgument);

  Zip zip(good);
  QVZIPENUM walk = nullptr;
  ASSERT_EQ(QvZipEnum_Create(zip.handle, &walk), 0);
  EXPECT_EQ(QvZip_Close(zip.handle), 1) << "the walk holds it";
  zip.handle = nullptr;
  EXPECT_EQ(QvZipEnum_Destroy(walk), 0);
}

struct Refusal {
  const char* what;
  Made::Entry entry;
  HRESULT memory, direct;
};

TEST(Zip, DamagedEntries) {
  const Bytes junk = {0xff, 0xff, 0xff};
  const Refusal rows[] = {
      {"unknown method", {"a", junk, 12, 3, {}}, qv::kBadFormat, qv::kWriteFailed},
      {"no deflate data", {"a", junk, 8, 3, {}}, qv::kBadFormat, qv::kWriteFailed},
      {"more than the method could give", {"a", junk, 8, 0xfffffff0, {}}, qv::kBadFormat, qv::kWriteFailed},
      {"more than declared", {"a", junk, 0, 2, {}}, qv::kOk, qv::kBadFormat},
      {"less than declared", {"a", junk, 0, 4, {}}, qv::kBadFormat, qv::kBadFormat},
      {"an empty file", {"a", {}, 0, 0, {}}, qv::kOutOfMemory, qv::kGeneralFailure},
  };
  for (const Refusal& row : rows) {
    Made made;
    made.entries = {row.entry};
    Zip zip(made.finish());
    ASSERT_EQ(zip.status, 0);
    void* block = nullptr;
    EXPECT_EQ(QvZip_ExtractToMemory(zip.handle, TEXT("a"), &block, nullptr), row.memory) << row.what;
    qv::files::zipFree(block);
    EXPECT_EQ(QvZip_ExtractFile(zip.handle, TEXT("a"), (zip.folder / "a").c_str(), 1, nullptr), row.direct)
        << row.what;
  }
}

TEST(Zip, NoNameLeadsOut) {
  Made made;
  const char* const bad[] = {"../out.txt", "/etc/out.txt", "C:/out.txt", "C:out.txt", "a/../../out.txt",
                             "NUL",        "con.txt",      "out.txt:s",  "out.txt.",  "dots. /out.txt",
                             "//srv/x/y",  "a//b"};
  for (const char* name : bad) made.add(name, "x");
  made.add("good/in.txt", "y");
  Zip zip(made.finish());
  EXPECT_EQ(QvZip_ExtractAll(zip.handle, (zip.folder / "deep\\out").c_str(), 1, nullptr),
            static_cast<HRESULT>(0x8004e00du));
  Bytes bytes;
  EXPECT_TRUE(readAll(zip.folder / "deep\\out\\good\\in.txt", &bytes)) << "the rest is extracted";
  uint64_t size = 0;
  EXPECT_EQ(QvGetDirectorySize((zip.folder / "deep").c_str(), &size), 0);
  EXPECT_EQ(size, 1u) << "nothing else is";

  EXPECT_FALSE(qv::files::isContainedName(TEXT("a\0b"), 3));
  EXPECT_TRUE(qv::files::isContainedName(TEXT("a\\b\\"), 4));
}

class Counting final : public QvZipProgress {
 public:
  explicit Counting(int cancelAt) : cancelAt_(cancelAt) {}
  HRESULT setRange(uint32_t, uint32_t total) override { return total_ = total, 0; }
  HRESULT setPosition(uint32_t position) override { return position_ = position, 0; }
  HRESULT poll() override { return ++polls_ > cancelAt_ ? qv::kCancelled : 0; }
  uint32_t total_ = 0, position_ = 0;

 private:
  int cancelAt_, polls_ = 0;
};

TEST(Zip, ProgressCountsAndCancels) {
  Zip zip(golden("infozip.zip"));
  Counting whole(1000), cancelled(2);
  EXPECT_EQ(QvZip_ExtractAll(zip.handle, (zip.folder / "a").c_str(), 1, &whole), 0);
  EXPECT_EQ(whole.total_, 5u);
  EXPECT_EQ(whole.position_, 5u);
  EXPECT_EQ(QvZip_ExtractAll(zip.handle, (zip.folder / "b").c_str(), 1, &cancelled), qv::kCancelled);
  EXPECT_LT(cancelled.position_, 5u);
}

// Cut at every byte and with every bit turned: the right data or a status, and no fault.
TEST(Zip, CutsAndFlips) {
  Made made;
  made.add("a.txt", "hello");
  made.add("dir/", "");
  const Bytes good = made.finish("note");
  Folder folder;
  int tries = 0;
  const auto extract = [&](const Bytes& bytes) {
    QVZIP zip = nullptr;
    const auto size = static_cast<uint32_t>(bytes.size());
    if (FAILED(qv::files::openZipMemory({size, 0, bytes.data()}, 0, &zip))) return;
    void* block = nullptr;
    QvZip_ExtractToMemory(zip, TEXT("a.txt"), &block, nullptr);
    qv::files::zipFree(block);
    if (++tries % 16 == 0) QvZip_ExtractAll(zip, (folder / "out").c_str(), 1, nullptr);
    QvZip_Close(zip);
  };
  for (size_t cut = 0; cut < good.size(); ++cut) extract(Bytes(good.begin(), good.begin() + cut));
  for (size_t bit = 0; bit < 8 * good.size(); ++bit) {
    Bytes bad = good;
    bad[bit / 8] = static_cast<uint8_t>(bad[bit / 8] ^ 1 << bit % 8);
    extract(bad);
  }
}

TEST(Zip, AResourceIsReadWhereItLies) {
  WCHAR path[500];
  const Text program(path, GetModuleFileNameW(nullptr, path, 500));
  const HMODULE module =
      LoadLibraryW((program.substr(0, program.find_last_of('\\') + 1) + TEXT("zip_resource.LNG")).c_str());
  ASSERT_TRUE(module) << GetLastError();
  HQVLANG language = nullptr;
  ASSERT_EQ(0, QvLang_Open(&language, module, 0, 0));
  QVZIP zip = nullptr;
  ASSERT_EQ(0, QvZip_OpenResource(TEXT("PRESETS"), QVZIP_NAMEONLY, &zip, language));
  EXPECT_EQ(LockResource(QvLoadResourceCustom(language, TEXT("PRESETS"), TEXT("ZIP"), nullptr)),
            static_cast<qv::files::ZipMemory*>(zip->source)->data);
  void* block = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(0, QvZip_ExtractToMemory(zip, TEXT("one.txt"), &block, &size));
  EXPECT_EQ("preset", std::string(static_cast<const char*>(block), size));
  qv::files::zipFree(block);
  EXPECT_EQ(0, QvZip_Close(zip));
  zip = nullptr;
  EXPECT_GT(0, QvZip_OpenResource(TEXT("MISSING"), 0, &zip, language));
  EXPECT_EQ(qv::kInvalidArgument, QvZip_OpenResource(TEXT("BROKEN"), 0, &zip, language));
  EXPECT_EQ(qv::kInvalidArgument, QvZip_OpenResource(nullptr, 0, &zip, language));
  EXPECT_EQ(nullptr, zip);
  QvLang_Close(language);
  FreeLibrary(module);
}

}  // namespace
