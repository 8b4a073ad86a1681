// The mail program is stood in for, the browser is a script on the PATH that notes what it was called with.
#include "qv/net/handoff.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/frame/status.h"
#include "qv/platform/mail.h"
#include "qv/platform/screen.h"
#include "qv/platform/text.h"

namespace {

const HWND kWindow = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x10));
const HWND kDesktop = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x20));
const HMODULE kLibrary = reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x30));

std::string steps;
std::string letter;
ULONG answer;
bool installed;

void note(const std::string& step) {
  steps += step + " ";
}
std::string nameOf(HWND window) {
  return window == kWindow ? "window" : window == kDesktop ? "desktop" : "none";
}
std::string orDash(const char* text) {
  return text ? text : "-";
}

ULONG CALLBACK sendMail(LHANDLE session, ULONG_PTR window, MapiMessage* message, ULONG flags, ULONG) {
  note("send");
  const bool wait = GetCursor() == LoadCursorW(nullptr, MAKEINTRESOURCEW(32514));
  letter = std::to_string(session) + "," + nameOf(reinterpret_cast<HWND>(window)) + "," +
           std::to_string(flags) + (wait ? ",wait|" : ",|") + orDash(message->lpszSubject);
  for (ULONG i = 0; i < message->nRecipCount; ++i) {
    const MapiRecipDesc& to = message->lpRecips[i];
    letter +=
        "|to " + std::to_string(to.ulRecipClass) + " " + orDash(to.lpszName) + " " + orDash(to.lpszAddress);
  }
  for (ULONG i = 0; i < message->nFileCount; ++i) {
    const MapiFileDesc& file = message->lpFiles[i];
    letter += "|file " + std::to_string(static_cast<int32_t>(file.nPosition)) + " " +
              orDash(file.lpszPathName) + " " + orDash(file.lpszFileName);
  }
  return answer;
}

qv::MailSend openMail(HMODULE* library) {
  note("open");
  *library = kLibrary;
  return installed ? sendMail : nullptr;
}

constexpr qv::MailCalls kCalls = {
    openMail,
    [](HMODULE library) { note(library == kLibrary ? "close" : "close?"); },
    [](HWND window, BOOL enabled) { note((enabled ? "enable:" : "disable:") + nameOf(window)); },
    [](HWND window) { note("capture:" + nameOf(window)); },
    [](HWND window) { note("activate:" + nameOf(window)); },
    [](HWND window) { note("focus:" + nameOf(window)); },
    [] { return kDesktop; },
};

class Mail : public testing::Test {
 protected:
  void SetUp() override {
    steps.clear(), letter.clear();
    answer = 0, installed = true;
    qv::setMailCalls(&kCalls);
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
  }
  void TearDown() override { qv::setMailCalls(nullptr); }
};

TEST_F(Mail, HoldsTheWindowBackMeanwhile) {
  EXPECT_EQ(Internet_MailFile(kWindow, TEXT("C:\\logs\\a.log"), TEXT("shown.log"), TEXT("The log")), 0);
  EXPECT_EQ(letter, "0,window,9,wait|The log|file -1 C:\\logs\\a.log shown.log");
  EXPECT_EQ(steps,
            "open disable:window capture:window focus:none send capture:none enable:window activate:desktop "
            "activate:window focus:window close ");
  EXPECT_EQ(GetCursor(), LoadCursorW(nullptr, IDC_ARROW));
}

TEST_F(Mail, NamesItsRecipient) {
  EXPECT_EQ(Internet_SendMail(nullptr, nullptr, TEXT("Ann"), TEXT("ann@example.org")), 0);
  EXPECT_EQ(letter, "0,none,9,wait|-|to 1 Ann ann@example.org");
  lstrcpynW(Internet_SupportName, TEXT("Support"), QVINET_CONTACT);
  lstrcpynW(Internet_SupportAddress, TEXT("help@example.org"), QVINET_CONTACT);
  EXPECT_EQ(Internet_SendFeedback(nullptr, TEXT("Hello")), 0);
  EXPECT_EQ(letter, "0,none,9,wait|Hello|to 1 Support help@example.org");
}

TEST_F(Mail, TakesTheUsersNoForSuccess) {
  for (const ULONG result : {0, 1, 2, 3, 4, 26}) {
    answer = result;
    const bool good = result == 0 || result == 1 || result == 3;
    EXPECT_EQ(Internet_SendMail(nullptr, nullptr, nullptr, TEXT("a@b")), good ? 0 : qv::kGeneralFailure)
        << result;
  }
}

TEST_F(Mail, FailsQuietly) {
  const std::basic_string<WCHAR> full(254, 'x'), over(255, 'x'), path(260, 'x');
  EXPECT_EQ(Internet_SendMail(nullptr, full.c_str(), nullptr, TEXT("a@b")), 0);
  steps.clear();
  EXPECT_EQ(Internet_SendMail(nullptr, over.c_str(), nullptr, TEXT("a@b")), qv::kGeneralFailure);
  EXPECT_EQ(Internet_MailFile(nullptr, path.c_str(), nullptr, nullptr), qv::kGeneralFailure);
  EXPECT_EQ(Internet_MailFile(nullptr, nullptr, nullptr, nullptr), qv::kGeneralFailure);
  EXPECT_EQ(steps, "") << "nothing was touched";
  installed = false;
  EXPECT_EQ(Internet_SendMail(kWindow, nullptr, nullptr, TEXT("a@b")), qv::kGeneralFailure);
  EXPECT_EQ(steps, "open ") << "nor the window";
}

TEST(Browse, KnowsNoPageThatTheApplicationHasNot) {
  for (const uintptr_t number : {0, 1, 100, 101, 106, 107, 0xffff}) {
    EXPECT_EQ(
        reinterpret_cast<intptr_t>(Internet_BrowseWebPage(nullptr, reinterpret_cast<const WCHAR*>(number))),
        2)
        << number;
  }
}

}  // namespace
