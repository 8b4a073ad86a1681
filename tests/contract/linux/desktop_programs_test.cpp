// What the desktop's own programs are called with: recording ones stand on the path in their place. (On
// Windows no program of a test's own can stand there.)
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "qv/platform/mail.h"
#include "qv/platform/shell.h"

namespace {

constexpr intptr_t kStarted = 42;  // anything above 32

class DesktopPrograms : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/qv-desktop-XXXXXX";
    folder_ = mkdtemp(pattern);
    setenv("PATH", (folder_.string() + ":" + path_).c_str(), 1);
  }
  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }

  // Notes its folder and its words, and then does this.
  void install(const char* name, const std::string& then) const {
    std::ofstream(folder_ / name) << "#!/bin/sh\n(pwd; printf '%s\\n' \"$@\") > '" << called().string()
                                  << "'\n"
                                  << then << "\n";
    chmod((folder_ / name).c_str(), 0755);
  }
  // What was noted since the last look; empty when nothing was called.
  std::string takeCall() const {
    std::stringstream text;
    text << std::ifstream(called()).rdbuf();
    std::filesystem::remove(called());
    return text.str();
  }

 private:
  std::filesystem::path called() const { return folder_ / "called"; }

  const std::string path_ = getenv("PATH");
  std::filesystem::path folder_;
};

intptr_t codeOf(HINSTANCE answer) {
  const auto code = reinterpret_cast<intptr_t>(answer);
  return code > 32 ? kStarted : code;
}

TEST_F(DesktopPrograms, OpensAddressesAndRefusesOptions) {
  const struct {
    LPCWSTR verb, file, parameters, folder;
    intptr_t code;
    const char* call;
  } rows[] = {
      {u"open", u"https://example.org/a?b=$(id)&c", nullptr, nullptr, kStarted,
       "/\nhttps://example.org/a?b=$(id)&c\n"},
      {nullptr, u"caf\u00e9 one.txt", nullptr, u"C:\\tmp", kStarted, "/tmp\ncaf\u00e9 one.txt\n"},
      {u"print", u"a.txt", nullptr, nullptr, SE_ERR_NOASSOC, ""},
      {u"open", u"a.txt", u"b", nullptr, SE_ERR_NOASSOC, ""},
      {u"open", u"--version", nullptr, nullptr, SE_ERR_NOASSOC, ""},
      {u"open", u"", nullptr, nullptr, SE_ERR_NOASSOC, ""},
      {u"open", nullptr, nullptr, nullptr, SE_ERR_NOASSOC, ""},
      {u"open", u"a.txt", nullptr, u"Z:\\none", SE_ERR_FNF, ""},
  };
  install("xdg-open", "exit 0");
  for (size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    EXPECT_EQ(codeOf(ShellExecuteW(nullptr, row.verb, row.file, row.parameters, row.folder, SW_SHOWDEFAULT)),
              row.code)
        << i;
    EXPECT_EQ(takeCall(), row.call) << i;
  }
}

TEST_F(DesktopPrograms, WaitsForAnOpenerNoLongerThanItTakesToFail) {
  const auto open = [] {
    return codeOf(ShellExecuteW(nullptr, nullptr, u"a", nullptr, nullptr, SW_SHOWDEFAULT));
  };
  install("xdg-open", "exit 3");
  EXPECT_EQ(open(), SE_ERR_NOASSOC);
  install("xdg-open", "sleep 3");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(open(), kStarted);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  setenv("PATH", "/nowhere", 1);
  EXPECT_EQ(open(), SE_ERR_FNF);
}

ULONG sendTo(const char* address, const char* file) {
  MapiRecipDesc to = {};
  to.ulRecipClass = MAPI_TO;
  to.lpszAddress = const_cast<char*>(address);
  MapiFileDesc attached = {};
  attached.lpszPathName = const_cast<char*>(file);
  MapiMessage message = {};
  message.lpszSubject = const_cast<char*>("Caf\u00e9 $HOME");
  if (address) message.lpRecips = &to, message.nRecipCount = 1;
  if (file) message.lpFiles = &attached, message.nFileCount = 1;
  HMODULE library = nullptr;
  const qv::MailSend send = qv::mailCalls().open(&library);
  const ULONG result = send(0, 0, &message, MAPI_LOGON_UI | MAPI_DIALOG, 0);
  qv::mailCalls().close(library);
  return result;
}

TEST_F(DesktopPrograms, GivesLettersToTheMailProgram) {
  const struct {
    const char* address;
    const char* file;
    int exitCode;
    ULONG result;
    const char* call;
  } rows[] = {
      {"SMTP:ann@example.org", nullptr, 0, SUCCESS_SUCCESS,
       "/\n--utf8\n--subject\nCaf\u00e9 $HOME\nann@example.org\n"},
      {nullptr, "C:\\tmp\\a b.log", 0, SUCCESS_SUCCESS,
       "/\n--utf8\n--subject\nCaf\u00e9 $HOME\n--attach\n/tmp/a b.log\n"},
      {"--attach", nullptr, 0, MAPI_E_FAILURE, ""},
      {"SMTP:-x", nullptr, 0, MAPI_E_FAILURE, ""},
      {"ann@example.org", nullptr, 4, MAPI_E_FAILURE,
       "/\n--utf8\n--subject\nCaf\u00e9 $HOME\nann@example.org\n"},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    install("xdg-email", "exit " + std::to_string(rows[i].exitCode));
    EXPECT_EQ(sendTo(rows[i].address, rows[i].file), rows[i].result) << i;
    EXPECT_EQ(takeCall(), rows[i].call) << i;
  }
  setenv("PATH", "/nowhere", 1);
  EXPECT_EQ(sendTo("ann@example.org", nullptr), MAPI_E_FAILURE) << "there is none";
}

}  // namespace
