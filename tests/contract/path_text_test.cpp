#include "qv/platform/path_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

using Text = std::basic_string<WCHAR>;

TEST(PathText, SortsNamesAsPeopleDo) {
  // Each text comes before the next one.
  const WCHAR* order[] = {TEXT(""),       TEXT("1"),       TEXT("2.wav"),     TEXT("10"),
                          TEXT("a"),      TEXT("a1"),      TEXT("A2b"),       TEXT("a10"),
                          TEXT("a10b1"),  TEXT("a10b02"),  TEXT("a10b3"),     TEXT("ab"),
                          TEXT("take 9"), TEXT("Take 10"), TEXT("take 0100"), TEXT("take ten")};
  for (const WCHAR* const& a : order) {
    for (const WCHAR* const& b : order) {
      int wanted = &a < &b ? -1 : &a > &b;
      EXPECT_EQ(wanted, StrCmpLogicalW(a, b)) << (&a - order) << " " << (&b - order);
    }
  }
  EXPECT_EQ(0, StrCmpLogicalW(TEXT("Take 7.WAV"), TEXT("tAKE 7.wav")));
}

TEST(PathText, SplitsAPath) {
  struct {
    const WCHAR *path, *drive, *folder, *name, *extension;
  } cases[] = {
      {TEXT("C:\\a.b\\c.d.e"), TEXT("C:"), TEXT("\\a.b\\"), TEXT("c.d"), TEXT(".e")},
      {TEXT("C:\\a.b\\c"), TEXT("C:"), TEXT("\\a.b\\"), TEXT("c"), TEXT("")},
      {TEXT("a/b\\c."), TEXT(""), TEXT("a/b\\"), TEXT("c"), TEXT(".")},
      {TEXT("\\\\srv\\share\\x.y"), TEXT(""), TEXT("\\\\srv\\share\\"), TEXT("x"), TEXT(".y")},
      {TEXT("C:x"), TEXT("C:"), TEXT(""), TEXT("x"), TEXT("")},
      {TEXT(".rc"), TEXT(""), TEXT(""), TEXT(""), TEXT(".rc")},
      {TEXT(""), TEXT(""), TEXT(""), TEXT(""), TEXT("")},
  };
  WCHAR drive[3], folder[50], name[50], extension[50];
  for (const auto& each : cases) {
    EXPECT_EQ(0, _wsplitpath_s(each.path, drive, 3, folder, 50, name, 50, extension, 50));
    EXPECT_EQ(Text(each.drive), drive) << (&each - cases);
    EXPECT_EQ(Text(each.folder), folder) << (&each - cases);
    EXPECT_EQ(Text(each.name), name) << (&each - cases);
    EXPECT_EQ(Text(each.extension), extension) << (&each - cases);
  }
  EXPECT_EQ(0, _wsplitpath_s(TEXT("C:\\x\\y.z"), nullptr, 0, nullptr, 0, name, 2, nullptr, 0));
  EXPECT_EQ(Text(TEXT("y")), name);
  EXPECT_EQ(ERANGE, _wsplitpath_s(TEXT("C:\\x\\yy.z"), drive, 3, nullptr, 0, name, 2, nullptr, 0));
  EXPECT_EQ(0, drive[0]);
  EXPECT_EQ(0, name[0]);
}

}  // namespace
