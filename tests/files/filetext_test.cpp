#include "qv/files/filetext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/lang.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

std::string show(const WCHAR* text) {
  const WText wide = text;
  return std::string(wide.begin(), wide.end());
}

// Ten pixels a character, and what was asked for.
struct Fake {
  bool measures = true;
  int clientWidth = 0;
  HFONT font = nullptr;
  std::vector<HFONT> selected;
  int screens = 0;
} fake;

template <typename Handle>
Handle handle(int number) {
  return reinterpret_cast<Handle>(static_cast<uintptr_t>(number));
}

qv::WindowCalls fakeCalls() {
  qv::WindowCalls calls = qv::windowCalls();
  calls.measure = [](HDC, LPCWSTR, int count, SIZE* size) -> BOOL {
    size->cx = 10 * count;
    return fake.measures;
  };
  calls.send = [](HWND, UINT message, WPARAM, LPARAM) -> LRESULT {
    return message == 0x31 ? reinterpret_cast<LRESULT>(fake.font) : 0;
  };
  calls.clientRect = [](HWND, RECT* client) -> BOOL {
    *client = {0, 0, fake.clientWidth, 20};
    return TRUE;
  };
  calls.screen = [] {
    ++fake.screens;
    return handle<HDC>(7);
  };
  calls.releaseScreen = [](HDC) { --fake.screens; };
  calls.selectFont = [](HDC, HFONT font) {
    fake.selected.push_back(font);
    return handle<HFONT>(1);
  };
  calls.drawText = [](HDC, LPCWSTR, int count, RECT* box, UINT flags) {
    EXPECT_EQ(1040u, flags);
    box->right = box->left + 10 * count;
    return 20;
  };
  return calls;
}

class FileText : public testing::Test {
 protected:
  void SetUp() override {
    fake = Fake();
    qv::setWindowCalls(&calls_);
  }
  void TearDown() override {
    qv::setWindowCalls(nullptr);
    EXPECT_EQ(0, fake.screens) << "each screen is given back";
  }
  const HWND window_ = handle<HWND>(5);

 private:
  const qv::WindowCalls calls_ = fakeCalls();
};

TEST_F(FileText, PathEllipsis) {
  struct Row {
    const WCHAR* path;
    int32_t width, capacity;
    const char* shown;
  };
  const Row rows[] = {
      {TEXT("C:\\media\\take.wav"), 170, 64, "C:\\media\\take.wav"},
      {TEXT("C:\\media\\take.wav"), 169, 64, "C:\\m...\\take.wav"},
      {TEXT("C:\\media\\take.wav"), 120, 64, "...\\take.wav"},
      {TEXT("C:\\media\\take.wav"), 119, 64, "C:\\media\\take.wav"},  // not even the name fits
      {TEXT("C:/media/take.wav"), 150, 64, "C:/.../take.wav"},
      {TEXT("C:\\a/b\\c/take"), 120, 64, "C:\\a.../take"},
      {TEXT("take.wav"), 10, 64, "take.wav"},
      {TEXT("C:\\media\\take.wav"), 169, 16, "C:\\...\\take.wav"},
      {TEXT("C:\\media\\take.wav"), 120, 10, "C:\\media\\"},
      {TEXT("C:\\media\\take.wav"), 170, 5, "C:\\m"},
      {TEXT(""), 0, 4, ""},
  };
  for (const Row& row : rows) {
    WCHAR shown[64] = {'?'};
    EXPECT_EQ(0, QvCalcPathEllipsisEx(nullptr, row.path, shown, row.capacity, row.width));
    EXPECT_EQ(row.shown, show(shown)) << row.width;
    fake.clientWidth = row.width + 9;
    EXPECT_EQ(qv::kOk, QvCalcPathEllipsisExCtl(window_, row.path, shown, row.capacity, 9));
    EXPECT_EQ(row.shown, show(shown)) << row.width;
  }
  WCHAR text[64] = TEXT("C:\\media\\take.wav");
  EXPECT_EQ(1, QvCalcPathEllipsis(nullptr, text, 64, 169));
  EXPECT_EQ("C:\\m...\\take.wav", show(text));
  fake.measures = false;
  EXPECT_EQ(1, QvCalcPathEllipsis(nullptr, text, 64, 100));
  EXPECT_EQ("C:\\m...\\take.wav", show(text)) << "what can't be measured stays";
}

TEST_F(FileText, Styles) {
  struct Row {
    uint32_t style;
    const char* shown;
  };
  const WCHAR* path = TEXT("C:\\media\\take 7.wav");
  const Row rows[] = {{0, "take 7.wav"}, {1, "...\\take 7.wav"}, {3, "?"}};
  for (const Row& row : rows) {
    WCHAR shown[64] = {'?'};
    EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 145, path, shown, 64, row.style));
    EXPECT_EQ(row.shown, show(shown)) << row.style;
  }
  WCHAR shown[64] = {'?'};
  EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 90, path, shown, 64, 2));
  EXPECT_TRUE(show(shown).starts_with("take") && show(shown).ends_with("...")) << show(shown);
  EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 145, path, shown, 64, 4));
  EXPECT_TRUE(show(shown).starts_with("C:\\media") && show(shown).ends_with("...")) << show(shown);
  EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 999999, WText(400, 'x').c_str(), shown, 64, 4));
  EXPECT_EQ(63u, show(shown).size());

  EXPECT_EQ(qv::kInvalidArgument, QvFilenameFormat(nullptr, 100, path, shown, 64, 5));
  EXPECT_EQ(qv::kInvalidArgument, QvFilenameFormat(nullptr, 100, nullptr, shown, 64, 0));
  EXPECT_EQ(qv::kInvalidArgument, QvFilenameFormat(nullptr, 100, path, nullptr, 64, 0));
  shown[0] = '?';
  EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 100, TEXT(""), shown, 1, 0));
  EXPECT_EQ('?', shown[0]);
  EXPECT_EQ(qv::kOk, QvFilenameFormat(nullptr, 100, TEXT(""), shown, 2, 0));
  EXPECT_EQ(0, shown[0]);
}

TEST_F(FileText, InAWindowsOwnFont) {
  WCHAR shown[260] = {'?'};
  const WCHAR* path = TEXT("C:\\media\\take.wav");
  EXPECT_EQ(0x0004e001, QvFilenameFormatForCtl(nullptr, path, shown, 260, 1));
  EXPECT_EQ('?', shown[0]);
  fake.font = handle<HFONT>(3);
  fake.clientWidth = 169 + 4;
  EXPECT_EQ(qv::kOk, QvFilenameFormatForCtl(window_, path, shown, 260, 1));
  EXPECT_EQ("C:\\m...\\take.wav", show(shown));
  EXPECT_EQ(qv::kOk, QvFilenameFormatForWidth(handle<HFONT>(4), 120, path, shown, 260, 1));
  EXPECT_EQ("...\\take.wav", show(shown));
  const std::vector<HFONT> fonts = {handle<HFONT>(3), handle<HFONT>(1), handle<HFONT>(4), handle<HFONT>(1)};
  EXPECT_EQ(fonts, fake.selected) << "the font from before is selected again";
}

TEST_F(FileText, FitByHalves) {
  struct Row {
    int width;
    const char* shown;
  };
  const Row rows[] = {{220, "C:\\media\\song\\take.wav"},
                      {210, "C:\\medi...\\take.wav"},
                      {170, "C:\\...\\take.wav"},
                      {130, "C...\\take.wav"},
                      {120, "...\\take.wav"},
                      {0, "...\\take.wav"}};
  for (const Row& row : rows) {
    WCHAR text[260] = TEXT("C:\\media\\song\\take.wav");
    fake.clientWidth = row.width + 5;
    EXPECT_EQ(qv::kOk, QvFitPathToCtl(window_, text, text, 260, 5));
    EXPECT_EQ(row.shown, show(text)) << row.width;
  }
  WCHAR text[260] = TEXT("take.wav");
  EXPECT_EQ(qv::kInvalidArgument, QvFitPathToCtl(window_, text, text, 259, 0));
  EXPECT_EQ(qv::kOk, QvFitPathToCtl(window_, text, text, 260, 0));
  EXPECT_EQ("take.wav", show(text)) << "there is no folder to leave out";
}

TEST(FileNames, Order) {
  EXPECT_LT(QvFilenameLogicalCompare(TEXT("take 9"), TEXT("take 10")), 0);
  EXPECT_GT(QvFilenameLogicalCompare(TEXT("b"), TEXT("A")), 0);
  EXPECT_EQ(0, QvFilenameLogicalCompare(TEXT("Take"), TEXT("take")));
}

class FreeSpace : public testing::Test {
 protected:
  void SetUp() override { QvLang_Open(&qv::kernelLanguage, GetModuleHandleW(nullptr), 0x0409, 0); }
  void TearDown() override {
    QvLang_Close(qv::kernelLanguage);
    qv::kernelLanguage = nullptr;
  }
};

TEST_F(FreeSpace, InTheLanguageInForce) {
  WCHAR text[64], folder[260];
  EXPECT_EQ("-- Megabytes", show(QvFormatDiskFreeSpace(TEXT(""), text)));
  EXPECT_EQ("-- Megabytes", show(QvFormatDiskFreeSpace(TEXT("\\\\no-such-server\\x\\"), text)));
  EXPECT_EQ("0.0 Megabytes", show(QvFormatDiskFreeSpace(TEXT("C:"), text)));
  ASSERT_GT(QvGetTempPath(260, folder), 0);
  const uint32_t tenths = QvGetDiskFreeSpace(folder, 102400);
  const std::string shown = show(QvFormatDiskFreeSpace(folder, text));
  const double value = tenths >= 10000 ? (tenths >> 10) / 10.0 : tenths / 10.0;
  EXPECT_NEAR(value, std::stod(shown), value / 20 + 0.2) << shown;
  EXPECT_TRUE(shown.ends_with(tenths >= 10000 ? " Gigabytes" : " Megabytes")) << shown;
  QvLang_UpdateKernelLCID(qv::kernelLanguage, 0x0411, 0);
  EXPECT_NE(shown.substr(shown.find(' ')), show(QvFormatDiskFreeSpace(folder, text)));
}

}  // namespace
