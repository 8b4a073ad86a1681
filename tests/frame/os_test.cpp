#include "qv/frame/os.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qv/frame/detail/os.h"
#include "qv/frame/kernel.h"
#include "qv/frame/status.h"
#include "qv/frame/win32error.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

std::pair<uint32_t, uint32_t> version;
std::string asked;
uint16_t architecture;
int32_t screenBits;
std::vector<int32_t> monitors;

class Os : public testing::Test {
 protected:
  void SetUp() override {
    version = {10, 0};
    asked.clear();
    architecture = 9;
    screenBits = 32;
    monitors = {32};
    qv::osPort() = {
        [](uint32_t major, uint32_t minor) {
          asked += std::to_string(major) + "." + std::to_string(minor) + " ";
          return version >= std::pair(major, minor);
        },
        [] { return architecture; },
        [] { return screenBits; },
        [](qv::MonitorVisitor visit, void* context) {
          for (const int32_t bits : monitors) visit(bits, context);
        }};
  }
  void TearDown() override { qv::resetOs(); }
};

TEST_F(Os, NamesTheSystemByTheFirstTestThatHolds) {
  struct Row {
    std::pair<uint32_t, uint32_t> version;
    uint16_t architecture;
    int32_t result;
    const WCHAR* name;
    const char* asked;
  };
  const Row rows[] = {
      {{10, 0}, 9, 1, TEXT("Windows 10.0 (64-bit)"), "10.0 "},
      {{11, 2}, 9, 1, TEXT("Windows 10.0 (64-bit)"), "10.0 "},
      {{6, 3}, 0, 1, TEXT("Windows 8.1 (32-bit)"), "10.0 6.3 "},
      {{6, 2}, 12, 1, TEXT("Windows 8"), "10.0 6.3 6.2 "},
      {{6, 1}, 9, 0, TEXT("Unknown Versoin"), "10.0 6.3 6.2 6.2 "},
      {{5, 1}, 0, 0, TEXT("Unknown Versoin"), "10.0 6.3 6.2 6.2 "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.asked);
    version = row.version;
    architecture = row.architecture;
    asked.clear();
    WCHAR text[64] = {};
    EXPECT_EQ(row.result, QvGetOS(text, 64));
    EXPECT_EQ(WText(row.name), text);
    EXPECT_EQ(row.asked, asked);
  }
}

TEST_F(Os, NameIsCutToTheBuffer) {
  WCHAR text[16] = {};
  EXPECT_EQ(1, QvGetOS(text, 15));
  EXPECT_EQ(WText(TEXT("Windows 10.0 (")), text);
  EXPECT_EQ(1, QvGetOS(text, 1));
  EXPECT_EQ(WText(), text);
  text[0] = 'x';
  EXPECT_EQ(1, QvGetOS(text, 0));
  EXPECT_EQ('x', text[0]);
}

TEST_F(Os, VersionCodes) {
  using Version = std::pair<uint32_t, uint32_t>;
  const Version known[] = {{5, 0}, {5, 1}, {6, 0}, {6, 1}, {6, 2}, {6, 3}, {10, 0}};
  const std::pair<uint32_t, Version> needs[] = {
      {6, {5, 1}}, {7, {6, 0}}, {8, {6, 1}}, {9, {6, 2}}, {10, {10, 0}}};
  for (const Version& running : known) {
    version = running;
    for (const auto& [code, least] : needs) {
      EXPECT_EQ(running >= least ? 1 : 0, QvOSVersionOK(code)) << code << " on " << running.first;
    }
    for (const uint32_t code : {0u, 5u, 11u, 0xffffffffu}) EXPECT_EQ(0, QvOSVersionOK(code));
  }
}

TEST_F(Os, HighColorIsKeptUntilTheUserChangesIt) {
  struct Row {
    int32_t primary;
    std::vector<int32_t> monitors;
    int32_t high, allHigh;
  };
  const Row rows[] = {
      {32, {32, 24}, 1, 1}, {16, {16}, 1, 1}, {15, {32, 8, 32}, 0, 0}, {8, {}, 0, 1}, {32, {0, 32}, 1, 1}};
  constexpr uint32_t kDisplayChange = 126, kSystemColorChange = 21, kPaint = 15;
  for (const Row& row : rows) {
    qv::resetOs();
    SetUp();
    screenBits = row.primary;
    monitors = row.monitors;
    EXPECT_EQ(row.high, QvIsHighColor());
    EXPECT_EQ(row.allHigh, QvIsAllMonitorsHighColor());
    for (const uint32_t message : {kDisplayChange, kSystemColorChange}) {
      screenBits = 4;
      monitors = {4};
      QvKernel_UserPrefChanges(nullptr, message);
      screenBits = row.primary;
      monitors = row.monitors;
      QvKernel_UserPrefChanges(nullptr, kPaint);
      EXPECT_EQ(0, QvIsHighColor());
      EXPECT_EQ(0, QvIsAllMonitorsHighColor());
    }
  }
}

TEST(RealOs, AnswersOnBothBuilds) {
  WCHAR text[300] = {};
  EXPECT_EQ(1, QvIsOS64Bit());
  EXPECT_EQ(1, QvGetOS(text, 64));
  const WText name = text;  // Windows shows itself as 8 to a program without a manifest
  EXPECT_TRUE(name.starts_with(TEXT("Windows ")) && name.ends_with(TEXT(" (64-bit)")))
      << testing::PrintToString(name);
  EXPECT_EQ(1, QvOSVersionOK(QVOS_8));
  EXPECT_EQ(1, QvIsHighColor());
  EXPECT_EQ(1, QvIsAllMonitorsHighColor());
}

TEST(RealOs, VersionText) {
  const WCHAR* library = TEXT("C:\\windows\\system32\\kernel32.dll");
  WCHAR text[64] = {'x'};
  EXPECT_EQ(qv::kNotFound, QvVersion_GetString(TEXT("C:\\no\\such.dll"), TEXT("CompanyName"), text, 64));
  EXPECT_EQ('x', text[0]);
  DWORD ignored = 0;
  if (GetFileVersionInfoSizeW(library, &ignored) == 0) GTEST_SKIP() << "no version resources on this system";
  EXPECT_EQ(qv::kOk, QvVersion_GetString(library, TEXT("CompanyName"), text, 64));
  EXPECT_EQ(WText(TEXT("Microsoft Corporation")), text);
  EXPECT_EQ(qv::kOk, QvVersion_GetString(library, TEXT("CompanyName"), text, 6));
  EXPECT_EQ(WText(TEXT("Micro")), text);
  EXPECT_EQ(qv::kOk, QvVersion_GetString(library, TEXT("CompanyName"), text, 0));
  EXPECT_EQ(WText(TEXT("Micro")), text);
  EXPECT_EQ(qv::kNotFound, QvVersion_GetString(library, TEXT("No such value"), text, 64));
  EXPECT_EQ(qv::kNotFound, QvVersion_GetString(library, WText(500, 'n').c_str(), text, 64));
}

TEST(Win32Error, Translates) {
  EXPECT_EQ(qv::kOk, QvErrorHandler_TranslateWin32Error(0));
  EXPECT_EQ(qv::kNotFound, QvErrorHandler_TranslateWin32Error(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(qv::kOutOfMemory, QvErrorHandler_TranslateWin32Error(ERROR_OUTOFMEMORY));
  EXPECT_EQ(qv::kGeneralFailure, QvErrorHandler_TranslateWin32Error(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(qv::kGeneralFailure, QvErrorHandler_TranslateWin32Error(0xffffffff));
}

}  // namespace
