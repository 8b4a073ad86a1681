#include "qv/files/paths.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "qv/files/detail/port.h"
#include "qv/frame/status.h"
#include "qv/platform/ansi.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

std::string show(const WText& text) {
  return std::string(text.begin(), text.end());
}

// A buffer of exactly `capacity` characters with a guard behind it, so that one character too many is seen.
class Room {
 public:
  explicit Room(int32_t capacity, const WCHAR* text = TEXT(""))
      : buffer_(static_cast<size_t>(capacity) + 1, kGuard), capacity_(capacity) {
    WText(text).copy(buffer_.data(), WText(text).size());
    if (capacity > 0) buffer_[WText(text).size()] = 0;
  }
  ~Room() { EXPECT_EQ(kGuard, buffer_[static_cast<size_t>(capacity_)]) << "written behind the buffer"; }
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  WCHAR* data() { return buffer_.data(); }
  int32_t capacity() const { return capacity_; }
  std::string text() const { return show(WText(buffer_.data())); }

 private:
  static constexpr WCHAR kGuard = 0x2021;
  std::vector<WCHAR> buffer_;
  int32_t capacity_;
};

TEST(Paths, NameAndExtension) {
  struct Row {
    const char* path;
    const char* name;
    const char* extension;
  };
  const Row rows[] = {
      {"C:\\media\\a.tar.gz", "a.tar.gz", ".gz"},
      {"C:take", "take", ""},
      {"a\\b:c", "c", ""},
      {"name.", "name.", "."},
      {"a. b", "a. b", ""},
      {"a.b c.d", "a.b c.d", ".d"},
      {".hidden", ".hidden", ".hidden"},
      {"C:\\", "", ""},
      {"a/b.c", "a/b.c", ".c"},
      {"", "", ""},
  };
  for (const Row& row : rows) {
    const std::string narrow = row.path;
    const WText wide(narrow.begin(), narrow.end());
    EXPECT_STREQ(row.name, QvGetFileNamePtrA(narrow.c_str()));
    EXPECT_STREQ(row.extension, QvGetFileNameExtensionPtrA(row.name));
    EXPECT_EQ(row.name, show(QvGetFileNamePtrW(wide.c_str())));
    EXPECT_EQ(row.extension, show(QvGetFileNameExtensionPtrW(QvGetFileNamePtrW(wide.c_str())))) << row.path;
  }
  EXPECT_EQ(0, *QvGetFileNameExtensionPtrW(TEXT("a.\u3000b"))) << "any script's white space ends it";
}

// The second byte of the pair looks like a backslash.
TEST(Paths, EightBitTextIsWalkedByPairs) {
  ASSERT_EQ(0, _setmbcp(932));
  const char* path = "C:\\\x95\x5c.wav";
  if (CharNextA(path + 3) != path + 5)
    GTEST_SKIP() << "Windows goes by the system's page, which has no pairs";
  EXPECT_EQ(path + 3, QvGetFileNamePtrA(path));
  _setmbcp(0);
}

TEST(Paths, ValidNames) {
  struct Row {
    const WCHAR* name;
    const char* repaired;
  };
  const Row rows[] = {
      {TEXT("con."), "con_"},        {TEXT("take "), "take_"},
      {TEXT("a/b\\c:d"), "a_b_c_d"}, {TEXT("\"<*?>|\""), "_______"},
      {TEXT("a\r\nb"), "a__b"},      {TEXT("."), "_"},
      {TEXT("take 7.wav"), nullptr}, {TEXT(""), nullptr},
      {TEXT(" .a"), nullptr},        {TEXT("\u00e4\u4e00\t"), nullptr},
  };
  for (const Row& row : rows) {
    WText name = row.name;
    const int32_t valid = row.repaired == nullptr;
    EXPECT_EQ(valid, QvValidateFileName(name.data(), 0)) << show(name);
    EXPECT_EQ(row.name, name);
    EXPECT_EQ(valid, QvValidateFileName(name.data(), 1)) << show(name);
    if (!valid) {
      EXPECT_EQ(row.repaired, show(name));
    }
    EXPECT_EQ(1, QvValidateFileName(name.data(), 0)) << "a repaired name is valid";
  }
}

struct Edit {
  const WCHAR* path;
  int32_t capacity;
  int32_t length;
  const char* result;
};

TEST(Paths, SlashAtTheEnd) {
  const Edit added[] = {{TEXT("C:"), 260, 3, "C:\\"}, {TEXT("C:\\"), 4, 3, "C:\\"},
                        {TEXT(""), 260, 0, ""},       {TEXT("abc"), 5, 4, "abc\\"},
                        {TEXT("abc"), 4, 0, "abc"},   {TEXT("a/"), 9, 3, "a/\\"}};
  for (const Edit& row : added) {
    Room room(row.capacity, row.path);
    EXPECT_EQ(row.length, QvAddSlashToPathName(room.data(), room.capacity())) << row.result;
    EXPECT_EQ(row.result, room.text());
  }
  WCHAR unterminated[] = {'a', 'b', 'c'};
  EXPECT_EQ(0, QvAddSlashToPathName(unterminated, 3));
  EXPECT_EQ('c', unterminated[2]);
  const Edit removed[] = {{TEXT("C:\\a\\"), 260, 4, "C:\\a"},
                          {TEXT("a"), 2, 1, "a"},
                          {TEXT("\\"), 2, 0, ""},
                          {TEXT("a\\\\"), 4, 2, "a\\"}};
  for (const Edit& row : removed) {
    Room room(row.capacity, row.path);
    EXPECT_EQ(row.length, QvRemoveSlashFromPathNameEnd(room.data(), room.capacity())) << row.result;
    EXPECT_EQ(row.result, room.text());
  }
}

TEST(Paths, Extensions) {
  struct Row {
    const WCHAR* path;
    const WCHAR* extension;
    int32_t capacity;
    const char* added;
    const char* replaced;
  };
  const Row rows[] = {
      {TEXT("C:\\a.b\\take"), TEXT("wav"), 260, "C:\\a.b\\take.wav", "C:\\a.b\\take.wav"},
      {TEXT("take.mp3"), TEXT(".wav"), 260, "take.wav", "take.wav"},
      {TEXT("take.WAV"), TEXT("wav"), 260, "take.WAV", "take.wav"},
      {TEXT("a. b"), TEXT("c"), 260, "a. b.c", "a. b.c"},
      {TEXT("take"), TEXT("wav"), 9, "take.wav", "take.wav"},
      {TEXT("take"), TEXT("wav"), 8, "take", "take.wa"},
      {TEXT("take"), TEXT("wav"), 5, "take", "take"},
      {TEXT("take.mp3"), TEXT("flac"), 9, "take.mp3", "take.fla"},
      {TEXT("C:\\a\\"), TEXT("wav"), 260, "C:\\a\\.wav", "C:\\a\\"},
  };
  for (const Row& row : rows) {
    Room add(row.capacity, row.path), replace(row.capacity, row.path);
    const int32_t length = QvAddExtensionToPathName(add.data(), add.capacity(), row.extension);
    EXPECT_EQ(row.added, add.text());
    EXPECT_EQ(static_cast<int32_t>(add.text().size()), length);
    QvReplaceExtensionOnPathName(replace.data(), replace.capacity(), row.extension);
    EXPECT_EQ(row.replaced, replace.text());
  }
}

TEST(Paths, Appending) {
  struct Row {
    const WCHAR* path;
    const WCHAR* part;
    const WCHAR* extension;
    int32_t capacity;
    const char* result;
    bool fits;
  };
  const Row rows[] = {
      {TEXT("C:\\media"), TEXT("take.mp3"), TEXT("wav"), 260, "C:\\media\\take.wav", true},
      {TEXT("C:\\media\\"), TEXT("\\take"), nullptr, 260, "C:\\media\\take", true},
      {TEXT(""), TEXT("take"), nullptr, 5, "take", true},
      {TEXT("ab"), TEXT("cd"), nullptr, 6, "ab\\cd", true},
      {TEXT("ab"), TEXT("cd"), nullptr, 5, "ab", false},
      {TEXT("ab"), TEXT("cd"), TEXT("e"), 8, "ab\\cd.e", true},
      {TEXT("ab"), TEXT("cd"), TEXT("e"), 7, "ab", false},
  };
  for (const Row& row : rows) {
    Room room(row.capacity, row.path);
    const int32_t length = QvAppendToPathName(room.data(), room.capacity(), row.part, row.extension);
    EXPECT_EQ(row.result, room.text());
    EXPECT_EQ(row.fits ? static_cast<int32_t>(room.text().size()) : 0, length);
  }
}

TEST(Paths, FolderRootAndBareName) {
  struct Row {
    const WCHAR* path;
    const char* folder;
    const char* root;
    const char* bare;
  };
  const Row rows[] = {
      {TEXT("C:\\media\\take.1.wav"), "C:\\media\\", "C:\\", "take.1"},
      {TEXT("C:take.wav"), "C:", "", "take"},
      {TEXT("take"), "", "", "take"},
      {TEXT("\\\\srv\\share\\x\\y"), "\\\\srv\\share\\x\\", "\\\\srv\\share\\", "y"},
      {TEXT("\\\\srv\\share"), "\\\\srv\\", "", "share"},
      {TEXT("\\\\srv\\share\\"), "\\\\srv\\share\\", "\\\\srv\\share\\", ""},
      {TEXT("\\\\srv"), "\\\\", "", "srv"},
      {TEXT("a\\b"), "a\\", "a\\", "b"},
      {TEXT(""), "", "", ""},
  };
  using Part = int32_t (*)(const WCHAR*, WCHAR*, int32_t);
  for (const Row& row : rows) {
    for (const auto& [part, expected] : {std::pair<Part, std::string>(QvGetPathNameFromFilePath, row.folder),
                                         std::pair<Part, std::string>(QvGetRootPathFromFilePath, row.root)}) {
      const auto length = static_cast<int32_t>(expected.size());
      Room fits(length + 1), tight(length);
      EXPECT_EQ(length, part(row.path, fits.data(), fits.capacity()));
      EXPECT_EQ(expected, fits.text());
      EXPECT_EQ(length, part(row.path, tight.data(), tight.capacity()));
      if (length > 0) {
        EXPECT_EQ("", tight.text());
      }
    }
    Room bare(64), cut(3);
    EXPECT_EQ(0, *QvGetFileNameWithoutPathOrExtension(row.path, bare.data(), bare.capacity()));
    EXPECT_EQ(row.bare, bare.text());
    QvGetFileNameWithoutPathOrExtension(row.path, cut.data(), cut.capacity());
    EXPECT_EQ(std::string(row.bare).substr(0, 2), cut.text());
  }
  Room same(16, TEXT("C:\\a\\b"));
  EXPECT_EQ(5, QvGetPathNameFromFilePath(same.data(), same.data(), same.capacity()));
  EXPECT_EQ("C:\\a\\", same.text());
}

TEST(Paths, WildCards) {
  struct Row {
    const WCHAR* pattern;
    const WCHAR* name;
    int32_t matches;
  };
  const Row rows[] = {
      {TEXT("*"), TEXT(""), 1},
      {TEXT("*"), TEXT("a.b.c"), 1},
      {TEXT("a*.*"), TEXT("abc.wav"), 1},
      {TEXT("*.*"), TEXT("a"), 0},
      {TEXT("a*"), TEXT("abc.wav"), 0},
      {TEXT("a*"), TEXT("abc."), 1},
      {TEXT("a."), TEXT("a"), 1},
      {TEXT("a"), TEXT("a."), 1},
      {TEXT("a"), TEXT("a.b"), 0},
      {TEXT("?.wav"), TEXT("1.wav"), 1},
      {TEXT("?.wav"), TEXT(".wav"), 0},
      {TEXT("*.wav"), TEXT("a.WAV"), 0},
      {TEXT("*b"), TEXT("aab"), 1},
      {TEXT("*bc"), TEXT("abbc"), 0},  // never goes back
      {TEXT("a*z"), TEXT("a"), 1},
      {TEXT(""), TEXT(""), 1},
      {TEXT(""), TEXT("."), 1},
      {TEXT("\u0161"), TEXT("a"), 1},  // low bytes
      {TEXT("\u0161"), TEXT("\u0162"), 0},
      {TEXT("\u012a"), TEXT("b"), 0},  // no star
      {TEXT("*x"), TEXT("a\u0178"), 1},
  };
  for (const Row& row : rows)
    EXPECT_EQ(row.matches, QvIsMatchWildCard(row.pattern, row.name))
        << show(row.pattern) << ' ' << show(row.name);
}

TEST(Paths, RelativeToAnotherFolder) {
  struct Row {
    const WCHAR* path;
    const WCHAR* base;
    const char* shared;
    const char* folder;
  };
  const Row rows[] = {
      {TEXT("C:\\media\\a.wav"), TEXT("D:\\copy\\MEDIA\\A.wav"), "MEDIA\\A.wav", "D:\\copy\\"},
      {TEXT("C:\\old\\take"), TEXT("C:\\bold\\take"), "take", "C:\\bold\\"},
      {TEXT("C:\\a\\x.wav"), TEXT("D:\\b\\y.wav"), "", "D:\\b\\y.wav\\"},
      {TEXT("C:\\a\\\\x"), TEXT("D:\\b\\\\x"), "x", "D:\\b\\\\"},
      {TEXT("C:\\a"), TEXT("C:\\a"), "a", "C:\\"},
      {TEXT("x"), TEXT("x"), "", "x\\"},
      {TEXT(""), TEXT(""), "", ""},
      {TEXT("a"), TEXT(""), "", ""},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.shared, show(QvGetFileNamePtrRelative(row.path, row.base))) << show(row.base);
    const auto length = static_cast<int32_t>(std::string(row.folder).size());
    Room fits(length + 1), tight(length);
    EXPECT_EQ(qv::kOk, QvGetBasePathRelative(row.path, row.base, fits.data(), fits.capacity()));
    EXPECT_EQ(row.folder, fits.text());
    EXPECT_EQ(qv::kGeneralFailure, QvGetBasePathRelative(row.path, row.base, tight.data(), tight.capacity()));
    if (length > 0) {
      EXPECT_EQ("", tight.text());
    }
  }
}

TEST(Paths, ReplacedBase) {
  struct Row {
    const WCHAR* path;
    const WCHAR* from;
    const WCHAR* to;
    const char* result;  // null: fails
    int32_t capacity;
  };
  const Row rows[] = {
      {TEXT("C:\\Old\\a.wav"), TEXT("c:\\old\\"), TEXT("D:\\"), "D:\\a.wav", 9},
      {TEXT("C:\\Old\\a.wav"), TEXT("c:\\old\\"), TEXT("D:\\"), nullptr, 8},
      {TEXT("C:\\old"), TEXT("C:\\older"), TEXT("D:\\"), nullptr, 260},
      {TEXT("C:\\\u00c4\\x"), TEXT("C:\\\u00e4"), TEXT(""), "\\x", 260},
      {TEXT("a"), TEXT(""), TEXT("b"), "ba", 260},
  };
  for (const Row& row : rows) {
    Room room(row.capacity, TEXT("before"));
    const HRESULT status =
        QvReplaceBasePathRelative(row.path, row.from, row.to, room.data(), room.capacity());
    EXPECT_EQ(row.result ? qv::kOk : qv::kGeneralFailure, status);
    EXPECT_EQ(row.result ? row.result : "", room.text());
  }
  const WText limit(257, 'x');
  Room room(400);
  EXPECT_EQ(qv::kOk, QvReplaceBasePathRelative((TEXT("a") + limit).c_str(), TEXT("a"), TEXT("C:\\"),
                                               room.data(), 400));
  EXPECT_EQ(260u, room.text().size());
  EXPECT_NE(qv::kOk, QvReplaceBasePathRelative((TEXT("a") + limit).c_str(), TEXT("a"), TEXT("C:\\b"),
                                               room.data(), 400));
}

WText moduleFile;
WText longForm;

uint32_t give(const WText& text, WCHAR* path, uint32_t capacity) {
  if (text.size() >= capacity) return capacity;
  text.copy(path, text.size());
  path[text.size()] = 0;
  return static_cast<uint32_t>(text.size());
}

class FullPaths : public testing::Test {
 protected:
  void SetUp() override {
    qv::files::filesPort() = {
        [](HMODULE, WCHAR* path, uint32_t capacity) { return give(moduleFile, path, capacity); },
        [](const WCHAR*, WCHAR* path, uint32_t capacity) { return give(longForm, path, capacity); }};
  }
  void TearDown() override { qv::files::resetFilesPort(); }
};

TEST_F(FullPaths, ModulesInLongForm) {
  struct Row {
    const WCHAR* file;
    const WCHAR* longForm;
    int32_t capacity;
    const char* folder;
    const char* whole;
  };
  const Row rows[] = {
      {TEXT("C:\\PROGRA~1\\edit.exe"), TEXT("C:\\Program Files\\edit.exe"), 260, "C:\\Program Files\\",
       "C:\\Program Files\\edit.exe"},
      {TEXT("C:\\PROGRA~1\\edit.exe"), TEXT(""), 260, "C:\\PROGRA~1\\", "C:\\PROGRA~1\\edit.exe"},
      {TEXT("C:edit.exe"), TEXT(""), 260, "C:", "C:edit.exe"},
      {TEXT("edit.exe"), TEXT(""), 260, "", "edit.exe"},
      {TEXT("C:\\a\\x.exe"), TEXT(""), 6, "C:\\a\\", ""},
      {TEXT("C:\\a\\x.exe"), TEXT(""), 5, "", ""},
      {TEXT(""), TEXT(""), 260, "", ""},
  };
  for (const Row& row : rows) {
    moduleFile = row.file;
    longForm = row.longForm;
    Room folder(row.capacity, TEXT("xx")), whole(row.capacity, TEXT("xx"));
    EXPECT_EQ(std::string(row.folder).size(),
              static_cast<size_t>(QvGetModulePath(nullptr, folder.data(), folder.capacity())));
    EXPECT_EQ(row.folder, folder.text());
    EXPECT_EQ(std::string(row.whole).size(),
              static_cast<size_t>(QvGetModuleFileName(nullptr, whole.data(), whole.capacity())));
    EXPECT_EQ(row.whole, whole.text());
  }
  WCHAR untouched = 'x';
  EXPECT_EQ(0, QvGetModulePath(nullptr, &untouched, 0));
  EXPECT_EQ('x', untouched);
}

TEST_F(FullPaths, TheLongFormOrThePathAsItIs) {
  longForm = TEXT("C:\\Program Files");
  Room fits(17), tight(16), same(32, TEXT("C:\\PROGRA~1"));
  EXPECT_EQ(16, QvGetLongPathName(TEXT("C:\\PROGRA~1"), fits.data(), fits.capacity()));
  EXPECT_EQ("C:\\Program Files", fits.text());
  EXPECT_EQ(11, QvGetLongPathName(TEXT("C:\\PROGRA~1"), tight.data(), tight.capacity()));
  EXPECT_EQ("C:\\PROGRA~1", tight.text());
  EXPECT_EQ(16, QvGetLongPathName(same.data(), same.data(), same.capacity()));
  EXPECT_EQ("C:\\Program Files", same.text());
}

TEST(RealPaths, TheSystemAnswers) {
  WCHAR path[300] = {}, file[300] = {}, folder[300] = {};
  ASSERT_GT(QvGetModulePath(nullptr, path, 300), 3);
  EXPECT_EQ('\\', path[WText(path).size() - 1]);
  ASSERT_GT(QvGetModuleFileName(nullptr, file, 300), 3);
  EXPECT_EQ(WText(file).substr(0, WText(file).rfind('\\') + 1), path);
  const int32_t length = QvGetTempPath(300, folder);
  ASSERT_GT(length, 3);
  EXPECT_EQ('\\', folder[length - 1]);
  EXPECT_EQ(0, QvGetTempPath(length, folder));
  EXPECT_EQ(0, folder[0]);
}

TEST(RealPaths, Qualified) {
  Room room(32, TEXT("C:\\a\\.\\b\\..\\c d"));
  EXPECT_EQ(1, QvQualifyPath(room.data(), room.data(), room.capacity()));
  EXPECT_EQ("C:\\a\\c d", room.text());
  Room tight(8);
  EXPECT_EQ(0, QvQualifyPath(TEXT("C:\\a\\c d"), tight.data(), tight.capacity()));
  EXPECT_EQ("", tight.text());
  WCHAR* name = nullptr;
  EXPECT_EQ(8, QvGetFullPathName(TEXT("C:\\a/c d"), room.capacity(), room.data(), &name));
  EXPECT_EQ("c d", show(name));
  EXPECT_EQ(5, QvGetFullPathName(TEXT("C:\\a\\"), room.capacity(), room.data(), &name));
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(9, QvGetFullPathName(TEXT("C:\\a\\c d"), tight.capacity(), tight.data(), &name));
}

}  // namespace
