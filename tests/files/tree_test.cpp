#include "qv/files/tree.h"

#include <vector>

#include "files/folders.h"

namespace qv::test {
namespace {

constexpr HRESULT kFileInUse = static_cast<HRESULT>(0x8004e16eu);
constexpr HRESULT kTargetInSource = static_cast<HRESULT>(0x8004e186u);

bool makeLink(const Folder& from, const std::string& name, const fs::path& to, bool folder) {
  std::error_code error;
  folder ? fs::create_directory_symlink(to, from.nativePath(name), error)
         : fs::create_symlink(to, from.nativePath(name), error);
  return !error && (GetFileAttributesW(from.path(name).c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

TEST(Trees, Empty) {
  Folder folder;
  folder.makeFolder("nothing");
  folder.makeFolder("deep\\er");
  folder.write("thumbs\\below\\THUMBS.DB", "x");
  folder.write("file\\below\\a", "x");
  const struct {
    const char* name;
    int32_t empty, noFiles, noOthers;
  } rows[] = {
      {"nothing", 1, 1, 1}, {"deep", 0, 1, 1}, {"thumbs", 0, 0, 1}, {"file", 0, 0, 0}, {"none", 0, 0, 0}};
  for (const auto& row : rows) {
    const WText path = folder.path(row.name);
    EXPECT_EQ(row.empty, QvIsDirectoryEmpty(path.c_str())) << row.name;
    EXPECT_EQ(row.noFiles, QvIsDirectoryEmptyRecursive(path.c_str(), 0)) << row.name;
    EXPECT_EQ(row.noOthers, QvIsDirectoryEmptyRecursive(path.c_str(), 1)) << row.name;
  }
}

TEST(Trees, Size) {
  Folder folder;
  folder.write("a", "12345");
  folder.write("b\\c\\d", "123");
  folder.write("b\\large", "");
  fs::resize_file(folder.nativePath("b\\large"), uint64_t{5} << 30);
  uint64_t size = 1;
  EXPECT_EQ(kOk, QvGetDirectorySize(folder.path(), &size));
  EXPECT_EQ((uint64_t{5} << 30) + 8, size);
  EXPECT_EQ(kOk, QvGetDirectorySize(folder.path("").c_str(), &size))
      << "a backslash at the end makes no difference";
  EXPECT_EQ((uint64_t{5} << 30) + 8, size);
  EXPECT_EQ(kOk, QvGetDirectorySize(folder.path("none").c_str(), &size));
  EXPECT_EQ(0u, size);
  EXPECT_EQ(kInvalidArgument, QvGetDirectorySize(folder.path(), nullptr));
}

TEST(Trees, DeletedByPattern) {
  Folder folder;
  const Content others = {{"b", "/"}, {"b/c", "/"}, {"b/c/x.txt", "x"}, {"b/d.wav", "/"}};
  const auto fill = [&] {
    for (const char* name : {"a.wav", "b\\a.wav", "b\\c\\a.WAV", "b\\c\\x.txt"}) folder.write(name, "x");
    folder.makeFolder("b\\d.wav");
    folder.makeReadOnly("b\\a.wav");
  };
  fill();
  EXPECT_EQ(1, QvDeleteFiles(folder.path(), TEXT("*.wav"), 0));
  Content left = others;
  left["b/a.wav"] = left["b/c/a.WAV"] = "x";
  EXPECT_EQ(left, folder.content());
  EXPECT_EQ(1, QvDeleteFiles(folder.path(), TEXT("*.wav"), 1));
  EXPECT_EQ(others, folder.content());
  EXPECT_EQ(1, QvDeleteFiles(folder.path(), TEXT("*.wav"), 1)) << "nothing to delete is no failure";

  fill();
  {
    const HeldFile held(folder.path("b\\a.wav"));
    EXPECT_EQ(0, QvDeleteFiles(folder.path(), TEXT("*.wav"), 1));
  }
  left = others;
  left["b/a.wav"] = "x";
  EXPECT_EQ(left, folder.content()) << "the others go all the same";
  EXPECT_EQ(0, QvDeleteFiles(folder.path("b").c_str(), TEXT("..\\*"), 1)) << "a pattern is for names";
  EXPECT_EQ(left, folder.content());
}

TEST(Trees, Deleted) {
  for (const int32_t whole : {0, 1}) {
    Folder folder;
    folder.write("t\\a", "x");
    folder.write("t\\b\\c\\d", "x");
    folder.write("t\\.hidden", "x");
    folder.makeReadOnly("t\\a");
    folder.makeReadOnly("t\\b\\c\\d");
    folder.makeReadOnly("t\\b\\c");
    folder.write("beside", "x");
    EXPECT_EQ(1, QvDeleteDirectoryTree(folder.path(whole ? "t" : "t\\").c_str(), whole));
    EXPECT_EQ(whole ? (Content{{"beside", "x"}}) : (Content{{"beside", "x"}, {"t", "/"}}), folder.content());
  }
  Folder folder;
  EXPECT_EQ(0, QvDeleteDirectoryTree(folder.path("none").c_str(), 1));
}

TEST(Trees, AFileInUseStaysWithItsFolders) {
  Folder folder;
  for (const char* name : {"t\\a", "t\\b\\c", "t\\b\\d", "t\\e\\f"}) folder.write(name, "x");
  {
    const HeldFile held(folder.path("t\\b\\c"));
    EXPECT_EQ(0, QvDeleteDirectoryTree(folder.path("t").c_str(), 1));
  }
  EXPECT_EQ((Content{{"t", "/"}, {"t/b", "/"}, {"t/b/c", "x"}}), folder.content());
  EXPECT_EQ(1, QvDeleteDirectoryTree(folder.path("t").c_str(), 1));
}

// Links to a folder, a read-only file, and round in a circle.
bool linksOut(const Folder& tree, const Folder& outside) {
  outside.write("kept\\a", "outside");
  outside.write("shut", "outside");
  outside.makeReadOnly("shut");
  tree.write("t\\a", "x");
  return makeLink(tree, "t\\folder", outside.nativePath("kept"), true) &&
         makeLink(tree, "t\\file", outside.nativePath("shut"), false) &&
         makeLink(tree, "t\\circle", tree.nativePath("t"), true);
}

TEST(Links, AreNeverFollowedByADeletion) {
  Folder tree, outside;
  if (!linksOut(tree, outside)) GTEST_SKIP() << "no links can be made here";
  const Content before = outside.content();
  uint64_t size = 0;
  EXPECT_EQ(kOk, QvGetDirectorySize(tree.path("t").c_str(), &size));
  EXPECT_EQ(1u, size) << "what links lead to isn't counted";
  EXPECT_EQ(1, QvDeleteFiles(tree.path("t").c_str(), TEXT("a"), 1));
  EXPECT_EQ(before, outside.content());
  EXPECT_EQ(0, QvDeleteDirectoryTree(tree.path("t\\folder").c_str(), 0));
  EXPECT_EQ(before, outside.content());
  EXPECT_EQ(1, QvDeleteDirectoryTree(tree.path("t").c_str(), 1));
  EXPECT_EQ(Content(), tree.content());
  EXPECT_EQ(before, outside.content());
  EXPECT_NE(0u, GetFileAttributesW(outside.path("shut").c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST(Links, AreMovedThemselves) {
  Folder tree, outside;
  if (!linksOut(tree, outside)) GTEST_SKIP() << "no links can be made here";
  const Content before = outside.content();
  uint32_t count = 0;
  EXPECT_EQ(kOk, QvMoveFolder(tree.path("u").c_str(), tree.path("t").c_str(), &count, nullptr, nullptr));
  EXPECT_EQ(4u, count);
  EXPECT_EQ((Content{{"u", "/"}, {"u/a", "x"}, {"u/folder", "->"}, {"u/file", "->"}, {"u/circle", "->"}}),
            tree.content());
  EXPECT_EQ(before, outside.content());
}

TEST(Links, ToFoldersStopACopyBeforeTheSourceGoes) {
  const WText elsewhere = otherVolume();
  if (elsewhere.empty()) GTEST_SKIP() << "there is no second volume here";
  Folder tree, outside, target(elsewhere);
  if (!linksOut(tree, outside)) GTEST_SKIP() << "no links can be made here";
  const Content before = tree.content();
  uint32_t count = 7;
  EXPECT_EQ(kWriteFailed, QvMoveFolder(target.path(), tree.path("t").c_str(), &count, nullptr, nullptr));
  EXPECT_EQ(0u, count);
  EXPECT_EQ(before, tree.content());
}

struct Calls {
  std::vector<double> percents;
  std::vector<WText> paths;
  size_t failAt = SIZE_MAX;
  HRESULT failure = kCancelled;
};

HRESULT note(void* data, double percent, const WCHAR* path) {
  Calls& calls = *static_cast<Calls*>(data);
  calls.percents.push_back(percent);
  calls.paths.push_back(path ? path : TEXT(""));
  return calls.percents.size() - 1 == calls.failAt ? calls.failure : kOk;
}

// On one volume and to another.
class Moves : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    const WText elsewhere = otherVolume();
    if (copies() && elsewhere.empty()) GTEST_SKIP() << "there is no second volume here";
    source_ = std::make_unique<Folder>();
    target_ = std::make_unique<Folder>(copies() ? elsewhere : WText());
    ASSERT_TRUE(source_->good() && target_->good());
    source_->write("s\\a", "12345");
    source_->write("s\\b\\c", "123");
    source_->write("s\\b\\d\\e", "12");
    source_->makeFolder("s\\empty");
    before_ = source_->content();
    moved_ = {{"a", "12345"}, {"b", "/"}, {"b/c", "123"}, {"b/d", "/"}, {"b/d/e", "12"}, {"empty", "/"}};
  }
  bool copies() const { return GetParam(); }
  HRESULT move(const WText& target) {
    return QvMoveFolder(target.c_str(), source_->path("s").c_str(), &count_, note, &calls_);
  }
  void expectAllIn(Content expected, const std::string& below) {
    Content found;
    for (const auto& [name, text] : target_->content())
      if (name.starts_with(below)) found[name.substr(below.size())] = text;
    EXPECT_EQ(expected, found);
  }

  std::unique_ptr<Folder> source_, target_;
  Content before_, moved_;
  Calls calls_;
  uint32_t count_ = 99;
};

TEST_P(Moves, AWholeTree) {
  source_->makeReadOnly("s\\a");
  source_->makeReadOnly("s\\b\\d");
  EXPECT_EQ(kOk, move(target_->path("new\\t")));
  EXPECT_EQ(3u, count_);
  EXPECT_EQ(Content(), source_->content());
  expectAllIn(moved_, "new/t/");
  if (!copies()) {
    EXPECT_TRUE(calls_.percents.empty()) << "a move on one volume doesn't call";
    return;
  }
  ASSERT_EQ(4u, calls_.percents.size());
  EXPECT_EQ(0, calls_.percents.front());
  EXPECT_EQ(WText(), calls_.paths.front());
  EXPECT_EQ(100, calls_.percents.back());
  EXPECT_TRUE(std::is_sorted(calls_.percents.begin(), calls_.percents.end()));
}

TEST_P(Moves, IntoWhatIsThere) {
  target_->write("t\\a", "old");
  target_->write("t\\b\\other", "other");
  EXPECT_EQ(kOk, move(target_->path("t\\")));
  moved_["b/other"] = "other";
  expectAllIn(moved_, "t/");
  EXPECT_EQ(Content(), source_->content());
}

TEST_P(Moves, AFileThatCannotBeReplaced) {
  target_->makeFolder("t\\a");
  target_->write("t\\b", "in the way of a folder");
  EXPECT_EQ(kWriteFailed, move(target_->path("t")));
  expectAllIn({{"a", "/"}, {"b", "in the way of a folder"}, {"empty", "/"}}, "t/");
  EXPECT_EQ(0u, count_);
  Content left = before_;
  if (!copies()) left.erase("s/empty");
  EXPECT_EQ(left, source_->content());
}

TEST_P(Moves, AFileInUse) {
  {
    const HeldFile held(source_->path("s\\b\\c"));
    EXPECT_EQ(kFileInUse, QvCanMoveFolder(source_->path("s").c_str()));
    // A file that others may read can be copied, but not removed.
    EXPECT_EQ(copies() ? kNothing : kWriteFailed, move(target_->path("t")));
    EXPECT_EQ(copies() ? 3u : 2u, count_);
  }
  EXPECT_EQ((Content{{"s", "/"}, {"s/b", "/"}, {"s/b/c", "123"}}), source_->content());
  if (!copies()) moved_.erase("b/c");
  expectAllIn(moved_, "t/");
  EXPECT_EQ(kOk, QvCanMoveFolder(source_->path("s").c_str()));
}

TEST_P(Moves, CancelledAtEveryCall) {
  if (!copies()) GTEST_SKIP() << "a move on one volume doesn't call";
  for (const HRESULT failure : {kCancelled, kNotFound}) {
    for (size_t at = 0; at < 4; ++at) {
      calls_ = Calls();
      calls_.failAt = at;
      calls_.failure = failure;
      EXPECT_EQ(failure, move(target_->path("t")));
      EXPECT_EQ(0u, count_);
      EXPECT_EQ(before_, source_->content()) << at;
      EXPECT_EQ(failure == kCancelled || at == 0 ? at + 1 : 4, calls_.percents.size());
    }
  }
  calls_ = Calls();
  EXPECT_EQ(kOk, move(target_->path("t"))) << "and the next try takes it all";
  expectAllIn(moved_, "t/");
}

INSTANTIATE_TEST_SUITE_P(All, Moves, testing::Bool(),
                         [](const auto& each) { return each.param ? "ToAnotherVolume" : "OnOneVolume"; });

TEST(Moving, IsRefused) {
  Folder folder;
  folder.write("s\\a", "x");
  folder.write("file", "x");
  const Content before = folder.content();
  const WText source = folder.path("s");
  const struct {
    WText target;
    HRESULT status;
  } rows[] = {
      {source, kOk},
      {folder.path("S"), kOk},
      {folder.path("s\\t"), kTargetInSource},
      {folder.path("s2"), kTargetInSource},  // by its text alone
      {TEXT("relative"), kCannotCreateFile},
      {TEXT("Q:\\x"), kCannotCreateFile},
      {folder.path("file\\t"), kCannotCreateFile},
      {TEXT(""), kGeneralFailure},
  };
  for (const auto& row : rows) {
    uint32_t count = 7;
    EXPECT_EQ(row.status, QvMoveFolder(row.target.c_str(), source.c_str(), &count, nullptr, nullptr))
        << narrow(row.target);
    EXPECT_EQ(0u, count);
    EXPECT_EQ(before, folder.content());
  }
  EXPECT_EQ(kGeneralFailure, QvMoveFolder(folder.path("t").c_str(), TEXT("xyz"), nullptr, nullptr, nullptr));
  EXPECT_EQ(kReadFailed,
            QvMoveFolder(folder.path("t").c_str(), folder.path("none").c_str(), nullptr, nullptr, nullptr));
}

}  // namespace
}  // namespace qv::test
