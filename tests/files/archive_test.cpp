// The archive container: what goes in comes out, in every mode, and what is damaged says so.
#include "qv/files/archive2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "qv/files/detail/archive_records.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"
#include "qv/frame/status.h"
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

constexpr HRESULT kRefused = static_cast<HRESULT>(0x8004e00du);

Bytes text(const std::string& s) {
  return Bytes(s.begin(), s.end());
}

// Bytes that deflate a little, and more than a block of them where asked.
Bytes noise(size_t count) {
  Bytes bytes(count);
  uint32_t state = 12345;
  for (uint8_t& b : bytes) {
    state = state * 1664525u + 1013904223u;
    b = static_cast<uint8_t>(state >> 28);
  }
  return bytes;
}

using Tree = std::map<std::string, Bytes>;

const Tree& sampleTree() {
  static const Tree tree = {{"notes.txt", text("Roll camera.\n")},
                            {"empty.dat", {}},
                            {"takes\\one.wav", noise(700000)},
                            {"takes\\deep\\two.WAV", noise(1000)}};
  return tree;
}

void plant(const Folder& folder, const std::string& below, const Tree& tree) {
  for (const auto& [name, bytes] : tree) writeAll(folder / (below + "\\" + name), bytes);
}

void expectTree(const Folder& folder, const std::string& below, const Tree& tree) {
  for (const auto& [name, bytes] : tree)
    EXPECT_TRUE(contentsOf(folder / (below + "\\" + name)) == bytes) << name;
}

// Everything that was reported, in its order; answers as told.
class Recorder final : public CQvArchiveProgress {
 public:
  HRESULT error(uint32_t code) override {
    const Text step = text();
    errors.push_back({code, std::string(step.begin(), step.end())});
    return 0;
  }
  HRESULT status(uint32_t code) override {
    statuses.push_back(code);
    if (code == QVARCHIVE_STATUS_ASKOVERWRITE || code == QVARCHIVE_STATUS_ASKREADONLY) {
      ++questions;
      respond(answer);
    }
    return 0;
  }
  HRESULT advance(uint64_t amount) override {
    if (cancelAt >= 0 && --cancelAt < 0) respond(QVARCHIVE_RESPONSE_CANCEL);
    return CQvArchiveProgress::advance(amount);
  }
  bool said(uint32_t code) const {
    return std::find(statuses.begin(), statuses.end(), code) != statuses.end();
  }

  std::vector<std::pair<uint32_t, std::string>> errors;
  std::vector<uint32_t> statuses;
  uint32_t answer = QVARCHIVE_RESPONSE_OVERWRITE;
  int questions = 0;
  int cancelAt = -1;
};

HRESULT create(const Text& path, const Text& what, uint32_t method, CQvArchiveProgress* progress = nullptr,
               uint32_t flags = 0) {
  CArchive2 archive;
  HRESULT status = archive.Open(path.c_str(), QVARCHIVE_CREATE, progress);
  if (SUCCEEDED(status)) status = archive.AddEntryToArchive(what.c_str(), method, 6, flags, nullptr);
  const HRESULT closed = archive.Close();
  return FAILED(status) ? status : closed;
}

HRESULT extractAll(const Text& path, const Text& folder, CQvArchiveProgress* progress = nullptr,
                   uint32_t flags = 0) {
  QvCreateDirectory(folder.c_str(), nullptr);
  CArchive2 archive;
  const HRESULT status = archive.Open(path.c_str(), QVARCHIVE_READ, progress);
  return FAILED(status) ? status : archive.ExtractAll(folder.c_str(), flags);
}

std::vector<Text> names(const Text& path) {
  CArchive2 archive;
  EXPECT_EQ(archive.Open(path.c_str(), QVARCHIVE_READ, nullptr), 0);
  std::vector<Text> found;
  WCHAR name[260];
  for (int32_t i = 0; archive.GetEntryName(i, name, 260) == 1; ++i) found.emplace_back(name);
  EXPECT_EQ(archive.GetArchiveCount(), static_cast<int32_t>(found.size()));
  return found;
}

TEST(Archive, ATreeComesBack) {
  for (const uint32_t method : {0u, 1u}) {
    Folder folder;
    plant(folder, "in", sampleTree());
    Recorder adding, extracting;
    ASSERT_EQ(create(folder / "a.arc", folder / "in", method, &adding), 0);
    EXPECT_TRUE(adding.errors.empty());
    EXPECT_TRUE(adding.said(QVARCHIVE_STATUS_ADDING) && adding.said(QVARCHIVE_STATUS_DONE));
    ASSERT_EQ(extractAll(folder / "a.arc", folder / "out", &extracting), 0);
    expectTree(folder, "out\\in", sampleTree());
    EXPECT_TRUE(extracting.errors.empty());
    EXPECT_EQ(QvDosGetDateTime((folder / "out\\in\\notes.txt").c_str()),
              QvDosGetDateTime((folder / "in\\notes.txt").c_str()));

    CArchive2 archive;
    ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_READ, nullptr), 0);
    uint64_t bytes = 0, stored = 0;
    EXPECT_EQ(archive.GetSizeExtractAll(bytes), 0);
    EXPECT_EQ(bytes, 701013u);
    EXPECT_EQ(archive.GetEntryUncompressedSize(TEXT("ONE.wav"), bytes), 0);
    EXPECT_EQ(bytes, 700000u);
    EXPECT_EQ(archive.GetEntryCompressedSize(TEXT("one.wav"), stored), 0);
    EXPECT_TRUE(method == 0 ? stored == 700000u : stored < 400000u) << stored;
    EXPECT_TRUE(archive.IsEntryInArchive(TEXT("in\\TAKES\\")));
    EXPECT_FALSE(archive.IsEntryInArchive(TEXT("nowhere")));
    uint32_t crc = 7;
    EXPECT_EQ(archive.GetEntryCRC32(-1, crc), 0);
    EXPECT_EQ(crc, 7u);
    EXPECT_EQ(archive.ValidateEntry(TEXT("*.*")), 0);
  }
}

// The golden bytes: every field where the format has it.
TEST(Archive, BytesOfASmallOne) {
  Folder folder;
  writeAll(folder / "in\\a", text("abc"));
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_CREATE, nullptr), 0);
  ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\a").c_str(), 0, 9, 0, nullptr), 0);
  archive.AddVolumeComment(TEXT("hi"));
  ASSERT_EQ(archive.Close(), 0);
  const Bytes bytes = contentsOf(folder / "a.arc");
  ASSERT_EQ(bytes.size(), 64u + 2 + 3 + 84 + 2 + 56 + 4);
  const auto u32 = [&](size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
  };
  const size_t central = 69, end = central + 86;
  EXPECT_EQ(u32(0), 0x0a034d55u);
  EXPECT_EQ(u32(12), 0u);
  EXPECT_EQ(u32(16), 9u);
  EXPECT_EQ(u32(28), 0x352441c2u) << "CRC-32 of abc";
  EXPECT_EQ(u32(32), 0x352441c2u);
  EXPECT_EQ(u32(36), 3u);
  EXPECT_EQ(u32(44), 3u);
  EXPECT_EQ(u32(56), 1u);
  EXPECT_EQ(bytes[64], 'a');
  EXPECT_EQ(bytes[66], 'a');
  EXPECT_EQ(u32(central), 0x0b014d55u);
  EXPECT_TRUE(std::equal(&bytes[4], &bytes[36], &bytes[central + 4]));
  EXPECT_EQ(u32(central + 52), 1u);
  EXPECT_EQ(u32(central + 68), u32(52)) << "attributes";
  EXPECT_EQ(u32(central + 76), 0u);
  EXPECT_EQ(u32(end), 0x0c054d55u);
  EXPECT_EQ(u32(end + 4), 1u);
  EXPECT_EQ(u32(end + 12), 1u);
  EXPECT_EQ(u32(end + 16), 1u);
  EXPECT_EQ(u32(end + 20), 86u);
  EXPECT_EQ(u32(end + 28), 69u);
  EXPECT_EQ(u32(end + 44), 2u);
  EXPECT_EQ(bytes[end + 56], 'h');
}

TEST(Archive, AnEmptyOneIsItsEndRecord) {
  Folder folder;
  CArchive2 archive;
  EXPECT_EQ(archive.GetArchiveCount(), -1);
  EXPECT_EQ(archive.GetArchiveSize(), -1);
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_CREATE, nullptr), 0);
  ASSERT_EQ(archive.Close(), 0);
  EXPECT_EQ(contentsOf(folder / "a.arc").size(), 56u);
  EXPECT_EQ(names(folder / "a.arc").size(), 0u);
}

TEST(Archive, AppendReplacesAndKeeps) {
  Folder folder;
  plant(folder, "in", sampleTree());
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  const size_t count = names(folder / "a.arc").size();
  writeAll(folder / "in\\notes.txt", text("Cut.\n"));
  writeAll(folder / "in\\new.txt", text("new"));
  Recorder progress;
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_APPEND, &progress), 0);
  ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\*.txt").c_str(), 1, 6, QVADD_REPLACE, nullptr), 0);
  // A pattern's names have no folder; the old entries keep theirs.
  ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\notes.txt").c_str(), 1, 6, QVADD_REPLACE, TEXT("in")),
            0);
  ASSERT_EQ(archive.Close(), 0);
  EXPECT_EQ(progress.questions, 0);
  EXPECT_EQ(names(folder / "a.arc").size(), count + 2);
  ASSERT_EQ(extractAll(folder / "a.arc", folder / "out"), 0);
  EXPECT_EQ(contentsOf(folder / "out\\in\\notes.txt"), text("Cut.\n"));
  EXPECT_EQ(contentsOf(folder / "out\\new.txt"), text("new"));
  EXPECT_EQ(contentsOf(folder / "out\\in\\takes\\one.wav"), sampleTree().at("takes\\one.wav"));
  EXPECT_FALSE(QvDoesFileExist((folder / "~a.arc").c_str(), 0));

  // Skipped, and with nothing new the archive stays as it is.
  const Bytes before = contentsOf(folder / "a.arc");
  progress.answer = QVARCHIVE_RESPONSE_SKIP;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_APPEND, &progress), 0);
  EXPECT_EQ(archive.AddEntryToArchive((folder / "in\\new.txt").c_str(), 1, 6, 0, nullptr), 0);
  EXPECT_EQ(progress.questions, 1);
  EXPECT_EQ(archive.Close(), 1);
  EXPECT_TRUE(contentsOf(folder / "a.arc") == before);
  EXPECT_FALSE(QvDoesFileExist((folder / "~a.arc").c_str(), 0));
}

TEST(Archive, DeletionByPatternAndName) {
  Folder folder;
  plant(folder, "in", sampleTree());
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_DELETE, nullptr), 0);
  EXPECT_EQ(archive.IsDeleteRequested(), 0);
  EXPECT_EQ(archive.Close(), 1) << "nothing marked";
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_DELETE, nullptr), 0);
  ASSERT_EQ(archive.DeleteEntryFromArchive(TEXT("*.wav"), 0), 0);
  EXPECT_EQ(archive.IsDeleteRequested(), 1);
  archive.AbortDeletionProcess();
  EXPECT_EQ(archive.IsDeleteRequested(), 0);
  ASSERT_EQ(archive.DeleteEntryFromArchive(TEXT("notes.txt"), 0), 0);
  ASSERT_EQ(archive.DeleteEntryFromArchive(TEXT("*.wav"), 0), 0);
  ASSERT_EQ(archive.Close(), 0);
  for (const Text& name : names(folder / "a.arc")) EXPECT_EQ(name.find(TEXT("wav")), Text::npos);
  ASSERT_EQ(extractAll(folder / "a.arc", folder / "out"), 0);
  EXPECT_FALSE(QvDoesFileExist((folder / "out\\in\\notes.txt").c_str(), 0));
  EXPECT_TRUE(QvDoesFileExist((folder / "out\\in\\empty.dat").c_str(), 0));
  EXPECT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_READ, nullptr), 0);
  EXPECT_EQ(archive.ValidateEntry(TEXT("*.*")), 0);
}

TEST(Archive, CommentsComeAndShrink) {
  Folder folder;
  writeAll(folder / "in\\a.txt", text("abc"));
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  CArchive2 archive;
  WCHAR comment[1024];
  for (const WCHAR* words : {TEXT("a long comment of the archive"), TEXT("short"), TEXT("")}) {
    ASSERT_EQ(archive.Annotate((folder / "a.arc").c_str(), words), 0);
    ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_READ, nullptr), 0);
    EXPECT_EQ(archive.GetVolumeComment(comment, 1024), 0);
    EXPECT_EQ(Text(comment), words);
    EXPECT_EQ(archive.ValidateEntry(TEXT("*.*")), 0);
  }
}

TEST(Archive, SplitMergeGiveTheSameData) {
  Folder folder;
  plant(folder, "in", sampleTree());
  ASSERT_EQ(create(folder / "take1.arc", folder / "in", 1), 0);
  const Bytes whole = contentsOf(folder / "take1.arc");
  for (const uint64_t volume : {100000ull, 70001ull, 9000ull}) {
    CArchive2 archive;
    ASSERT_EQ(archive.Open((folder / "take1.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
    ASSERT_EQ(archive.SplitArchive(volume, 0), 0);
    ASSERT_EQ(archive.Close(), 0);
    EXPECT_EQ(contentsOf(folder / "take12.arc").size(), volume);
    EXPECT_LE(contentsOf(folder / "take1.arc").size(), volume);
    ASSERT_EQ(extractAll(folder / "take1.arc", folder / "out", nullptr, QVEXTRACT_OVERWRITE), 0);
    expectTree(folder, "out\\in", sampleTree());
    ASSERT_EQ(archive.Open((folder / "take1.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
    EXPECT_GT(archive.GetMultiVolumeStatus(), 1);
    ASSERT_EQ(archive.MergeArchive(0), 0);
    ASSERT_EQ(archive.Close(), 0);
    EXPECT_FALSE(QvDoesFileExist((folder / "take12.arc").c_str(), 0));
    EXPECT_TRUE(contentsOf(folder / "take1.arc") == whole) << volume;
  }
  Recorder progress;
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "take1.arc").c_str(), QVARCHIVE_MULTIVOLUME, &progress), 0);
  EXPECT_EQ(archive.SplitArchive(0, 0), qv::kInvalidArgument);
  EXPECT_EQ(archive.SplitArchive(10 * whole.size(), 0), qv::kInvalidArgument);
  EXPECT_EQ(archive.MergeArchive(0), qv::kGeneralFailure);
  EXPECT_EQ(archive.Close(), 1);
  EXPECT_TRUE(contentsOf(folder / "take1.arc") == whole);
}

// A volume with no room for data beside the directory has none.
TEST(Archive, AnEmptyFirstSlice) {
  Folder folder;
  plant(folder, "in", {{"a.txt", noise(400)}});
  ASSERT_EQ(create(folder / "s.arc", folder / "in\\a.txt", 0), 0);
  const Bytes whole = contentsOf(folder / "s.arc");
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "s.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
  ASSERT_EQ(archive.SplitArchive(100, 0), 0);
  ASSERT_EQ(archive.Close(), 0);
  EXPECT_EQ(contentsOf(folder / "s2.arc"), Bytes(whole.begin(), whole.begin() + 100));
  ASSERT_EQ(extractAll(folder / "s.arc", folder / "out"), 0);
  EXPECT_EQ(contentsOf(folder / "out\\a.txt"), noise(400));
}

TEST(Archive, AMissingVolumeIsNamed) {
  Folder folder;
  plant(folder, "in", sampleTree());
  ASSERT_EQ(create(folder / "t.arc", folder / "in", 0), 0);
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "t.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
  ASSERT_EQ(archive.SplitArchive(200000, 0), 0);
  ASSERT_EQ(archive.Close(), 0);
  ASSERT_TRUE(DeleteFileW((folder / "t3.arc").c_str()));
  Recorder progress;
  EXPECT_EQ(extractAll(folder / "t.arc", folder / "out", &progress), qv::kBadFormat);
  ASSERT_FALSE(progress.errors.empty());
  EXPECT_EQ(progress.errors[0].first, uint32_t{QVARCHIVE_ERROR_VOLUME});
  EXPECT_NE(progress.errors[0].second.find("ValidateMultiVolume|"), std::string::npos);
  EXPECT_NE(progress.errors[0].second.find("t3.arc"), std::string::npos);
}

TEST(Archive, BehindAStubAndOutAgain) {
  Folder folder;
  plant(folder, "in", sampleTree());
  writeAll(folder / "stub.bin", noise(5000));
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_SELFEXTRACTING, nullptr), 0);
  ASSERT_EQ(archive.CreateSEA((folder / "a.exe").c_str(), (folder / "stub.bin").c_str(), 0), 0);
  ASSERT_EQ(archive.Close(), 0);
  ASSERT_EQ(extractAll(folder / "a.exe", folder / "out"), 0);
  expectTree(folder, "out\\in", sampleTree());
  ASSERT_EQ(archive.Open((folder / "a.exe").c_str(), QVARCHIVE_READ, nullptr), 0);
  EXPECT_TRUE(archive.GetArchiveSEAStatus());
  QvCreateDirectory((folder / "apart").c_str(), nullptr);
  ASSERT_EQ(archive.SplitSEA((folder / "apart").c_str(), 4), 0);
  archive.Close();
  EXPECT_TRUE(contentsOf(folder / "apart\\Seastub.exe") == noise(5000));
  EXPECT_TRUE(contentsOf(folder / "apart\\a.arc") == contentsOf(folder / "a.arc"));
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_READ, nullptr), 0);
  EXPECT_EQ(archive.SplitSEA((folder / "apart").c_str(), 4), qv::kCannotOpenFile);
}

TEST(Archive, QuestionsAndAnswers) {
  Folder folder;
  plant(folder, "in", {{"a.txt", text("a")}, {"b.txt", text("b")}, {"c.txt", text("c")}});
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  ASSERT_EQ(extractAll(folder / "a.arc", folder / "out"), 0);
  for (const char* name : {"a", "b", "c"})
    writeAll(folder / (std::string("out\\in\\") + name + ".txt"), text("old"));
  SetFileAttributesW((folder / "out\\in\\b.txt").c_str(), FILE_ATTRIBUTE_READONLY);
  Recorder skip;
  skip.answer = QVARCHIVE_RESPONSE_SKIP;
  EXPECT_EQ(extractAll(folder / "a.arc", folder / "out", &skip), 0);
  EXPECT_EQ(skip.questions, 3);
  EXPECT_TRUE(skip.said(QVARCHIVE_STATUS_ASKREADONLY) && skip.said(QVARCHIVE_STATUS_SKIPPED));
  EXPECT_EQ(contentsOf(folder / "out\\in\\a.txt"), text("old"));
  Recorder all;
  all.answer = QVARCHIVE_RESPONSE_OVERWRITEALL;
  EXPECT_EQ(extractAll(folder / "a.arc", folder / "out", &all), 0);
  EXPECT_EQ(all.questions, 2) << "one of each kind";
  EXPECT_EQ(contentsOf(folder / "out\\in\\b.txt"), text("b"));
  Recorder cancelled;
  cancelled.cancelAt = 0;
  EXPECT_EQ(extractAll(folder / "a.arc", folder / "other", &cancelled), qv::kCancelled);
}

// An archive of one entry whose local and central names are replaced by another of the same length.
Bytes renamed(const Bytes& archive, const Text& from, const Text& to) {
  Bytes bytes = archive;
  const auto* old = reinterpret_cast<const uint8_t*>(from.data());
  const auto* now = reinterpret_cast<const uint8_t*>(to.data());
  const size_t count = from.size() * sizeof(WCHAR);
  for (size_t at = 0; at + count <= bytes.size(); ++at) {
    if (std::equal(old, old + count, &bytes[at])) std::copy(now, now + count, &bytes[at]);
  }
  return bytes;
}

TEST(Archive, NoNameLeadsOut) {
  Folder folder;
  plant(folder, "in", {{"abcdefgh", text("x")}});
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\abcdefgh", 0), 0);
  const Bytes good = contentsOf(folder / "a.arc");
  for (const WCHAR* name :
       {TEXT("..\\..\\es"), TEXT("\\abcdefg"), TEXT("C:\\abcde"), TEXT("abc:defg"), TEXT("abcdefg."),
        TEXT("abcdefg "), TEXT("NUL.defg"), TEXT("a\\\\b\\c\\d"), TEXT("a\\..\\..\\")}) {
    ASSERT_EQ(Text(name).size(), 8u);
    writeAll(folder / "bad.arc", renamed(good, TEXT("abcdefgh"), name));
    EXPECT_EQ(extractAll(folder / "bad.arc", folder / "deep\\out"), kRefused);
  }
  const WCHAR hidden[] = {'a', 'b', 0, 'd', 'e', 'f', 'g', 'h'};
  writeAll(folder / "bad.arc", renamed(good, TEXT("abcdefgh"), Text(hidden, 8)));
  EXPECT_EQ(extractAll(folder / "bad.arc", folder / "deep\\out"), kRefused);
  uint64_t bytes = 0;
  QvGetDirectorySize((folder / "deep").c_str(), &bytes);
  EXPECT_EQ(bytes, 0u);
}

// Cut at every byte, and with every bit turned: all files as they were, or a status; and the damage of one
// file is not the other's.
TEST(Archive, CutsAndFlipsAreSeen) {
  const Tree tree = {{"d.txt", text("Roll camera, sound speed, roll camera, sound speed.")},
                     {"s.bin", noise(30)}};
  Folder folder;
  plant(folder, "in", tree);
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\d.txt", 1), 0);
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_APPEND, nullptr), 0);
  ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\s.bin").c_str(), 0, 6, 0, nullptr), 0);
  archive.AddVolumeComment(TEXT("c"));
  ASSERT_EQ(archive.Close(), 0);
  const Bytes good = contentsOf(folder / "a.arc");
  size_t silent = 0;
  const auto check = [&](const Bytes& bytes, const char* what, size_t which) {
    SCOPED_TRACE(what + std::to_string(which));
    writeAll(folder / "bad.arc", bytes);
    const HRESULT status = extractAll(folder / "bad.arc", folder / "out", nullptr, QVEXTRACT_OVERWRITE);
    silent += SUCCEEDED(status);
    int wrong = 0;
    for (const auto& [name, plain] : tree) {
      Bytes got;
      const bool there = readAll(folder / ("out\\" + name), &got);
      EXPECT_TRUE(there || FAILED(status)) << name;
      wrong += there && got != plain;
      DeleteFileW((folder / ("out\\" + name)).c_str());
    }
    EXPECT_LE(wrong, FAILED(status) ? 1 : 0);
    DeleteFileW((folder / "bad.arc").c_str());  // some disks are slow to write over a file
  };
  for (size_t cut = 0; cut < good.size(); ++cut)
    check(Bytes(good.begin(), good.begin() + static_cast<long>(cut)), "cut at ", cut);
  EXPECT_LE(silent, 2u) << "more than the comment was missed";
  silent = 0;
  for (size_t bit = 0; bit < 8 * good.size(); ++bit) {
    Bytes bad = good;
    bad[bit / 8] = static_cast<uint8_t>(bad[bit / 8] ^ 1 << bit % 8);
    check(bad, "bit ", bit);
  }
  // The comment, what nobody reads, and what is told by other means as well.
  EXPECT_LT(silent, good.size());
}

// Neither a new archive nor a joined one costs the old one before it stands.
TEST(Archive, TheOldOneStaysUntilClose) {
  Folder folder;
  plant(folder, "in", sampleTree());
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  const Bytes before = contentsOf(folder / "a.arc");
  {
    CArchive2 archive;
    ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_CREATE, nullptr), 0);
    ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\notes.txt").c_str(), 1, 6, 0, nullptr), 0);
  }
  EXPECT_TRUE(contentsOf(folder / "a.arc") == before);
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\notes.txt", 1), 0);
  EXPECT_EQ(names(folder / "a.arc").size(), 1u);
  EXPECT_FALSE(QvDoesFileExist((folder / "~a.arc").c_str(), 0));

  writeAll(folder / "a.arc", before);
  CArchive2 set;
  ASSERT_EQ(set.Open((folder / "a.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
  ASSERT_EQ(set.SplitArchive(100000, 0), 0);
  ASSERT_EQ(set.Close(), 0);
  {
    CArchive2 archive;
    ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_MULTIVOLUME, nullptr), 0);
    ASSERT_EQ(archive.MergeArchive(0), 0);
  }
  EXPECT_EQ(extractAll(folder / "a.arc", folder / "out"), 0);
  expectTree(folder, "out\\in", sampleTree());
}

// Over a file whose content was backed up comes one that was not, empty or not.
TEST(Archive, WhatIsOverwrittenWantsArchiving) {
  Folder folder;
  plant(folder, "in", {{"e.txt", {}}, {"n.txt", text("n")}});
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\*.txt", 1), 0);
  plant(folder, "out", {{"e.txt", text("old")}, {"n.txt", text("old")}});
  for (const char* name : {"out\\e.txt", "out\\n.txt"})
    ASSERT_TRUE(SetFileAttributesW((folder / name).c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  ASSERT_EQ(extractAll(folder / "a.arc", folder / "out", nullptr, QVEXTRACT_OVERWRITE), 0);
  for (const char* name : {"out\\e.txt", "out\\n.txt"})
    EXPECT_EQ(GetFileAttributesW((folder / name).c_str()), DWORD{FILE_ATTRIBUTE_ARCHIVE}) << name;
}

// An archive that is written into the folder that goes into it isn't its own entry.
TEST(Archive, NotItsOwnEntry) {
  Folder folder;
  plant(folder, "in", {{"n.txt", text("n")}});
  const std::vector<Text> expected = {TEXT("in\\"), TEXT("in\\n.txt")};
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(create(folder / "in\\a.arc", folder / "in", 1), 0);
    EXPECT_EQ(names(folder / "in\\a.arc"), expected) << round;
  }
}

// Entries behind a damaged one can't be reached: nothing that rebuilds the archive may drop them.
TEST(Archive, ADamagedDirectoryIsLeftAlone) {
  Folder folder;
  plant(folder, "in", {{"a.txt", text("a")}, {"b.txt", text("b")}, {"c.txt", text("c")}});
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\*.txt", 1), 0);
  Bytes bytes = contentsOf(folder / "a.arc");
  const uint8_t signature[] = {0x55, 0x4d, 0x01, 0x0b};
  auto second = std::search(bytes.begin(), bytes.end(), std::begin(signature), std::end(signature));
  second = std::search(second + 1, bytes.end(), std::begin(signature), std::end(signature));
  *second ^= 1;
  writeAll(folder / "a.arc", bytes);
  EXPECT_EQ(extractAll(folder / "a.arc", folder / "out"), qv::kBadFormat);
  CArchive2 archive;
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_APPEND, nullptr), 0);
  ASSERT_EQ(archive.AddEntryToArchive((folder / "in\\a.txt").c_str(), 1, 6, 0, TEXT("new")), 0);
  EXPECT_EQ(archive.Close(), qv::kBadFormat);
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_DELETE, nullptr), 0);
  ASSERT_EQ(archive.DeleteEntryFromArchive(TEXT("*.*"), 0), 0);
  EXPECT_EQ(archive.Close(), qv::kBadFormat);
  EXPECT_TRUE(contentsOf(folder / "a.arc") == bytes);
}

// No checksum covers a header: the two that every entry has are held against each other.
TEST(Archive, ATurnedBitInAHeaderIsSeen) {
  Folder folder;
  plant(folder, "in", {{"n.txt", text("n")}});
  ASSERT_EQ(create(folder / "a.arc", folder / "in\\n.txt", 0), 0);
  const Bytes good = contentsOf(folder / "a.arc");
  // Behind the first signature: the local header, its name, the byte, the central entry and its name.
  const size_t end = 64 + 10 + 1 + 84 + 10;
  for (size_t bit = 0; bit < 8 * end; ++bit) {
    const size_t field = bit / 8 >= 75 ? bit / 8 - 75 : 0;
    // The third length, which only the directory has, and the words that nobody reads.
    if (field >= 60 && field < 68) continue;
    if (field >= 72 && field < 76) continue;
    Bytes bad = good;
    bad[bit / 8] = static_cast<uint8_t>(bad[bit / 8] ^ 1 << bit % 8);
    writeAll(folder / "bad.arc", bad);
    EXPECT_LT(extractAll(folder / "bad.arc", folder / "out", nullptr, QVEXTRACT_OVERWRITE), 0) << bit;
  }
}

TEST(Archive, RefusalsHaveTheirStatus) {
  Folder folder;
  Recorder progress;
  CArchive2 archive;
  EXPECT_EQ(archive.Open((folder / "none.arc").c_str(), QVARCHIVE_READ, &progress),
            static_cast<HRESULT>(0x8004e032u));
  EXPECT_EQ(archive.Open((folder / "none.arc").c_str(), 6, &progress), qv::kUnsupported);
  writeAll(folder / "short.arc", noise(55));
  EXPECT_EQ(archive.Open((folder / "short.arc").c_str(), QVARCHIVE_READ, &progress),
            static_cast<HRESULT>(0x8004e0b0u));
  EXPECT_EQ(progress.errors[1].second, "Open Main");
  writeAll(folder / "in\\a.txt", text("a"));
  ASSERT_EQ(create(folder / "a.arc", folder / "in", 1), 0);
  ASSERT_EQ(archive.Open((folder / "a.arc").c_str(), QVARCHIVE_READ, &progress), 0);
  EXPECT_EQ(archive.AddEntryToArchive((folder / "in").c_str(), 1, 6, 0, nullptr), qv::kGeneralFailure);
  EXPECT_EQ(archive.DeleteEntryFromArchive(TEXT("a.txt"), 0), qv::kGeneralFailure);
  EXPECT_EQ(archive.ExtractAll((folder / "nowhere").c_str(), 0), kRefused);
  EXPECT_EQ(archive.ExtractEntry(TEXT(""), folder.path(), 0), static_cast<HRESULT>(0x8004e03cu));
  EXPECT_EQ(archive.ExtractEntry(TEXT("x"), folder.path(), 0), 1);
  EXPECT_FALSE(archive.IsEntryInArchive(TEXT("a.txt"))) << "it is in a folder";
  EXPECT_TRUE(archive.IsEntryInArchive(TEXT("IN\\a.txt")));
  EXPECT_EQ(archive.ExtractEntry(TEXT("no.txt"), folder.path(), 0), 1);
  progress.errors.clear();
  EXPECT_EQ(create(folder / "b.arc", folder / "nothing.txt", 1, &progress), 0) << "an archive of nothing";
  ASSERT_FALSE(progress.errors.empty());
  EXPECT_EQ(progress.errors.back().first, uint32_t{QVARCHIVE_ERROR_NOMATCH});
}

}  // namespace
