#include "qv/frame/errors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"
#include "qv/frame/detail/errors.h"
#include "qv/frame/detail/msgbox.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/msgbox.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/detail/startup.h"
#include "qv/lang/texts.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

constexpr uint32_t kUnknown = 0x8004ABCD;
constexpr LCID kGerman = 0x0407;
const HINSTANCE kInstance = reinterpret_cast<HINSTANCE>(static_cast<uintptr_t>(0x1000));

std::string narrow(const WCHAR* text) {
  return text ? std::string(text, text + wcslen(text)) : "(null)";
}

struct Asked {
  int calls = 0;
  HWND window = nullptr;
  uint32_t flags = 0;
  std::string text;
} asked;

int32_t answerEight(uint64_t, HWND window, const WCHAR* text, const WCHAR*, uint32_t flags) {
  ++asked.calls;
  asked.window = window;
  asked.flags = flags;
  asked.text = narrow(text);
  return 8;
}

class Errors : public testing::Test {
 protected:
  void SetUp() override {
    qv::resetErrors();
    qv::initializeTokens();
    ASSERT_EQ(0, qv::startKernelLanguage(GetModuleHandleW(nullptr)));
    QvLang_UpdateKernelLCID(qv::kernelLanguage, 0x0409, 0);
    QvPrintF_AddToken(TEXT("AppName"), TEXT("Mixer"));
    qv::resetMsgBox();
    QvMsgBoxSetAppData(kInstance, nullptr, TEXT("Mixer 2"));
    QvMsgBoxSetHook(answerEight, 0);
    asked = {};
  }
  void TearDown() override {
    qv::resetMsgBox();
    qv::resetErrors();
    qv::stopKernelLanguage();
    qv::terminateTokens();
  }
};

std::string message(const WCHAR* context, uint32_t code, const WCHAR* argument = nullptr) {
  return narrow(QvErrorHandler_GetErrorMessage(context, static_cast<HRESULT>(code), argument));
}

TEST_F(Errors, AMessageJoinsContextAndReason) {
  struct Case {
    const WCHAR* context;
    uint32_t code;
    const WCHAR* argument;
    const char* message;
  };
  const Case cases[] = {
      {QVERRORCONTEXT(5), 0x8004e00b, TEXT("C:\\a.prj"),
       "An error occurred while loading the project file C:\\a.prj."
       "\n\nThe file is most likely corrupted or of an unknown format."},
      {QVERRORCONTEXT(5), 0x8004e00b, nullptr,
       "An error occurred while loading the project file ."
       "\n\nThe file is most likely corrupted or of an unknown format."},
      // A token in the context, a token in the reason, no line ends in front of a starred reason.
      {QVERRORCONTEXT(26), 0x8004e03c, nullptr, "An error occurred starting Mixer.Buffer to small."},
      {nullptr, 0x0004e00e, nullptr,
       "An error occurred during the current operation."
       "\n\nThis project file was created by an older version of Mixer."},
      // A number without a sentence, and the highest number.
      {QVERRORCONTEXT(13), 0x80004005, nullptr,
       "An error occurred during the current operation."
       "\n\nThe reason for the error could not be determined."},
      {QVERRORCONTEXT(0xffff), kUnknown, nullptr,
       "An error occurred during the current operation.\n\nError 0x8004abcd (message missing)"},
      // A context of the caller's own; what is in the argument is no format.
      {TEXT("Take '%s' of $(AppName) is lost."), 0, TEXT("50% $(AppName)"),
       "Take '50% $(AppName)' of Mixer is lost.\n\nError 0x00000000 (message missing)"},
      // A reason that wants what nobody gives.
      {TEXT(""), 0x8004e164, TEXT("gone"), "\n\n file type is unsupported in this version of Mixer."},
      {TEXT("%s %s %s"), 0x8004e03c, TEXT("a"), "a  Buffer to small."},
  };
  for (const Case& each : cases) EXPECT_EQ(each.message, message(each.context, each.code, each.argument));
}

TEST_F(Errors, TheWordsFollowTheKernelsLanguage) {
  QvLang_UpdateKernelLCID(qv::kernelLanguage, kGerman, 0);
  const WText wanted =
      WText(
          QvGetString(qv::kernelLanguage, *static_cast<const qv::TextRecord*>(qv::contextTable()[0].text))) +
      WText(QvGetString(qv::kernelLanguage, *static_cast<const qv::TextRecord*>(qv::statusTable()[0].text)));
  EXPECT_EQ(wanted, QvErrorHandler_GetErrorMessage(nullptr, E_FAIL, nullptr));
  EXPECT_NE(WText::npos, wanted.find(TEXT("Fehler")));
}

// The bound of the message, and a context that uses up the reason's room.
TEST_F(Errors, AMessageIsBounded) {
  struct Case {
    size_t context, message;
  };
  constexpr size_t kReason = 16;  // "Buffer to small."
  for (const Case& each :
       {Case{1947, 1947 + kReason}, Case{1948, 1948}, Case{2047, 2047}, Case{5000, 2047}}) {
    const WText argument(each.context, 'x');
    EXPECT_EQ(each.message, message(TEXT("%s"), 0x8004e03c, argument.c_str()).size()) << each.context;
  }
  // A pair of surrogates at the border goes whole.
  const WText pairs = WText(2046, 'x') + TEXT("\xd83d\xde00");
  EXPECT_EQ(std::string(2046, 'x'), message(TEXT("%s"), 0x8004e03c, pairs.c_str()));
}

TEST_F(Errors, EveryRowHasWords) {
  EXPECT_EQ(159u, qv::statusTable().size());
  EXPECT_EQ(55u, qv::contextTable().size());
  for (const qv::StatusRow& row : qv::statusTable()) {
    const WCHAR* text = QvErrorHandler_GetHresultString(static_cast<HRESULT>(row.code));
    ASSERT_NE(nullptr, text) << row.code;
    EXPECT_NE(0, *text) << row.code;
  }
  for (const qv::ContextRow& row : qv::contextTable()) {
    EXPECT_NE(0, *QvErrorHandler_GetContextString(QVERRORCONTEXT(row.context))) << row.context;
  }
  EXPECT_EQ(nullptr, QvErrorHandler_GetHresultString(static_cast<HRESULT>(kUnknown)));
  EXPECT_EQ(TEXT("own"), WText(QvErrorHandler_GetContextString(TEXT("own"))));
}

TEST_F(Errors, RegisteredTablesComeFirstUpToTheThirtySecond) {
  const WCHAR* record = reinterpret_cast<const WCHAR*>(&qv::kTextCancel);
  const _qverror_table first[] = {{E_FAIL, TEXT("\nOurs, %s.")}, {2, record}, {2, TEXT("never")}};
  const _qverror_table second[] = {{E_FAIL, TEXT("too late")}, {3, TEXT("three")}};
  const _qverror_table_rcid numbers[] = {{4, 17}};
  EXPECT_EQ(0, QvErrorHandler_AddErrorTable(first, 3));
  EXPECT_EQ(0, QvErrorHandler_AddErrorTable(second, 2));
  EXPECT_EQ(0, QvErrorHandler_AddErrorTable(qv::kernelLanguage, numbers, 1));
  EXPECT_EQ("a\nOurs, .", message(TEXT("a"), 0x80004005));
  EXPECT_EQ("aCancel", message(TEXT("a"), 2));
  EXPECT_EQ("athree", message(TEXT("a"), 3));
  // A number without a resource is an empty reason, not a missing one.
  EXPECT_EQ("a", message(TEXT("a"), 4));
  EXPECT_EQ("aBuffer to small.", message(TEXT("a"), 0x8004e03c));
  for (int table = 4; table <= 32; ++table) EXPECT_EQ(0, QvErrorHandler_AddErrorTable(second, 2)) << table;
  const _qverror_table late[] = {{5, TEXT("five")}};
  EXPECT_EQ(1, QvErrorHandler_AddErrorTable(late, 1));
  EXPECT_EQ("a\n\nError 0x00000005 (message missing)", message(TEXT("a"), 5));
  EXPECT_EQ("a\nOurs, .", message(TEXT("a"), 0x80004005));
}

TEST_F(Errors, DetailsAreLinesWithTheLastCode) {
  EXPECT_EQ(nullptr, QvErrorHandler_DetailsInfo(nullptr, nullptr, nullptr));
  EXPECT_EQ(0, QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("block %d of %s"), 7, TEXT("50%")));
  EXPECT_EQ(0, QvErrorHandler_DetailsAddString(qv::kBadFormat, TEXT("as it is")));
  EXPECT_EQ(qv::kNullPointer, QvErrorHandler_DetailsAddString(qv::kOutOfMemory, nullptr));
  HRESULT code = 0;
  uint32_t count = 0;
  DWORD thread = 0;
  EXPECT_EQ("block 7 of 50%\r\nas it is\r\n", narrow(QvErrorHandler_DetailsInfo(&code, &count, &thread)));
  EXPECT_EQ(qv::kBadFormat, code);
  EXPECT_EQ(2u, count);
  EXPECT_EQ(GetCurrentThreadId(), thread);
  EXPECT_EQ(qv::kBadFormat, QvErrorHandler_GetLastError());
  EXPECT_EQ(0, QvErrorHandler_DetailsInit());
  EXPECT_EQ(0, QvErrorHandler_GetLastError());
  EXPECT_EQ(nullptr, QvErrorHandler_DetailsInfo(nullptr, nullptr, nullptr));
}

TEST_F(Errors, DetailsBelongToOneThreadUnlessTheCodeIsTheSame) {
  QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("first"));
  HRESULT other = 0, same = 1, afterClear = 1;
  std::thread([&] {
    other = QvErrorHandler_DetailsAddString(qv::kWriteFailed, TEXT("other"));
    same = QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("same"));
  }).join();
  EXPECT_EQ(qv::kGeneralFailure, other);
  EXPECT_EQ(0, same);
  EXPECT_EQ("first\r\nsame\r\n", narrow(QvErrorHandler_DetailsInfo(nullptr, nullptr, nullptr)));
  QvErrorHandler_DetailsInit();
  std::thread([&] { afterClear = QvErrorHandler_DetailsAddString(qv::kWriteFailed, TEXT("new")); }).join();
  EXPECT_EQ(0, afterClear);
}

TEST_F(Errors, DetailsAreBounded) {
  for (const size_t length : {8189, 8190, 20000}) {
    for (const bool formatted : {false, true}) {
      const WText text(length, 'x');
      QvErrorHandler_DetailsInit();
      const HRESULT status = formatted
                                 ? QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("%s"), text.c_str())
                                 : QvErrorHandler_DetailsAddString(qv::kReadFailed, text.c_str());
      EXPECT_EQ(length == 8189 ? 0 : E_FAIL, status) << length << " " << formatted;
      // Nothing fits behind the most; what didn't fit changed nothing.
      EXPECT_EQ(length == 8189 ? E_FAIL : 0, QvErrorHandler_DetailsAddString(qv::kBadFormat, TEXT("")));
    }
  }
}

TEST_F(Errors, ATextIsComposedWithItsDetails) {
  BSTR plain = QvErrorHandler_ComposeErrorText(TEXT("a"), 0x8004e03c, nullptr);
  EXPECT_EQ("aBuffer to small.", narrow(plain));
  EXPECT_EQ(17u, SysStringLen(plain));
  SysFreeString(plain);
  QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("one"));
  BSTR text = QvErrorHandler_ComposeErrorText(TEXT("a"), 0x8004e03c, nullptr);
  EXPECT_EQ("aBuffer to small.\r\n<Details>\r\none\r\n\r\n</Details>", narrow(text));
  EXPECT_EQ(17u + 5u + 26u, SysStringLen(text));
  SysFreeString(text);
  EXPECT_EQ(qv::kReadFailed, QvErrorHandler_GetLastError());
}

TEST_F(Errors, ABoxShowsAndClears) {
  QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("one"));
  EXPECT_EQ(8, QvErrorHandler_MsgBox(nullptr, 0x10, TEXT("100%% %s"), 0x8004e03c, TEXT("a%s"), 0));
  EXPECT_EQ("100% a%sBuffer to small.\r\n<Details>\r\none\r\n\r\n</Details>", asked.text);
  EXPECT_EQ(0xc010u, asked.flags);
  EXPECT_EQ(0, QvErrorHandler_GetLastError());
  EXPECT_EQ(nullptr, QvErrorHandler_DetailsInfo(nullptr, nullptr, nullptr));
  // Without details no request for them is left, and the prefix stands in front.
  EXPECT_EQ(8, QvErrorHandler_MsgBoxText(nullptr, 0xc030, TEXT("50% done"), 1));
  EXPECT_EQ("Warning: 50% done", asked.text);
  EXPECT_EQ(0x30u, asked.flags);
  // The state's own message may be shown.
  QvErrorHandler_MsgBoxText(nullptr, 0, QvErrorHandler_GetErrorMessage(TEXT("b"), 0x8004e03c, nullptr), 0);
  EXPECT_EQ("bBuffer to small.", asked.text);
}

TEST_F(Errors, CancellingIsNoError) {
  QvErrorHandler_DetailsAddString(qv::kCancelled, TEXT("kept"));
  EXPECT_EQ(1, QvErrorHandler_MsgBox(nullptr, 0x10, nullptr, qv::kCancelled, nullptr, 0));
  EXPECT_EQ(0, asked.calls);
  EXPECT_EQ(qv::kCancelled, QvErrorHandler_GetLastError());
}

TEST_F(Errors, ABoxIsShownWithWhatMemoryAllows) {
  for (int64_t nth = 1; nth <= 2; ++nth) {
    QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("one"));
    qv::platform::failAllocation(nth);
    EXPECT_EQ(8, QvErrorHandler_MsgBoxText(nullptr, 0, TEXT("text"), 0));
    EXPECT_TRUE(qv::platform::allocationFailed()) << nth;
    // Without the first copy there are no details, without the second no link.
    EXPECT_EQ(nth == 1 ? 0u : 0xc000u, asked.flags);
    EXPECT_EQ(0u, asked.text.find("text"));
    EXPECT_EQ(0, QvErrorHandler_GetLastError());
  }
}

struct Dialog {
  std::string link, opened;
} dialog;

int32_t showDialog(qv::MessageDialog& box) {
  dialog.link = box.link ? narrow(box.link) : "-";
  if (box.link) box.followLink(box.context, nullptr);
  return 1;
}

constexpr qv::MessageCalls kCalls = {
    showDialog,
    [](HWND, const WCHAR*, const WCHAR*, uint32_t) { return 1; },
    [](HWND window) { return window; },
    [](const WCHAR* address) { dialog.opened = narrow(address); },
};

TEST_F(Errors, ALinkReachesTheBoxOnce) {
  QvMsgBoxSetHook(nullptr, 0);
  qv::setMessageCalls(&kCalls);
  EXPECT_EQ(qv::kNullPointer, QvErrorHandler_DetailsSetHyperlink(nullptr, TEXT("more")));
  EXPECT_EQ(qv::kNullPointer, QvErrorHandler_DetailsSetHyperlink(TEXT("http://a"), nullptr));
  EXPECT_EQ(0, QvErrorHandler_DetailsSetHyperlink(WText(3000, 'a').c_str(), TEXT("more")));
  QvErrorHandler_MsgBoxText(nullptr, 0, TEXT("text"), 0);
  EXPECT_EQ("more", dialog.link);
  EXPECT_EQ(std::string(2082, 'a'), dialog.opened);
  QvErrorHandler_MsgBoxText(nullptr, 0, TEXT("text"), 0);
  EXPECT_EQ("-", dialog.link);
  qv::setMessageCalls(nullptr);
}

// ---- exceptions and memory as text

std::string hexAddress(uintptr_t address) {
  char text[32];
  snprintf(text, sizeof(text), "%016llX", static_cast<unsigned long long>(address));
  return text;
}

// What `write` puts into a buffer of a size, held against its answer.
template <typename Write>
std::string written(int32_t size, Write write) {
  std::string text(static_cast<size_t>(size) + 1, '#');
  const int32_t length = write(text.data());
  EXPECT_EQ('#', text.back());
  EXPECT_EQ(strlen(text.c_str()), static_cast<size_t>(length));
  return text.c_str();
}

std::string dump(EXCEPTION_RECORD record, uint32_t parts, int32_t size = 4096) {
  EXCEPTION_POINTERS pointers = {&record, nullptr};
  return written(size, [&](char* text) {
    return QvErrorHandler_DumpExceptionRecord(text, size, "Reader", &pointers, parts);
  });
}

EXCEPTION_RECORD exceptionRecord(DWORD code, DWORD parameters, ULONG_PTR kind = 0, ULONG_PTR target = 0) {
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = code;
  record.ExceptionAddress = reinterpret_cast<PVOID>(&hexAddress);
  record.NumberParameters = parameters;
  record.ExceptionInformation[0] = kind;
  record.ExceptionInformation[1] = target;
  return record;
}

TEST_F(Errors, AnExceptionIsDescribed) {
  const std::string ip = " IP:0x" + hexAddress(reinterpret_cast<uintptr_t>(&hexAddress)) + "\r\n";
  struct Case {
    EXCEPTION_RECORD record;
    const char* line;
  };
  const Case cases[] = {
      {exceptionRecord(0xc0000005, 2, 0, 0x10), "C0000005 (access violation) READ:0x0000000000000010"},
      {exceptionRecord(0xc0000005, 2, 1, ~ULONG_PTR{0}),
       "C0000005 (access violation) WRITE:0xFFFFFFFFFFFFFFFF"},
      {exceptionRecord(0xc0000006, 3, 1, 1), "C0000006 (in page error)"},
      {exceptionRecord(0xc0000094, 0), "C0000094 (integer divide by zero)"},
      {exceptionRecord(0xc000013a, 0), "C000013A (control+c exit)"},
      {exceptionRecord(0x17, 0), "17 (Unknown Type)"},
  };
  const auto line = [&](const Case& each) { return std::string("Exception 0x") + each.line + ip; };
  for (const Case& each : cases) EXPECT_EQ(line(each), dump(each.record, QVEXCEPTION_RECORD));

  const std::string module = dump(cases[0].record, QVEXCEPTION_MODULE);
  EXPECT_EQ(0u, module.find("In Module '"));
  EXPECT_NE(std::string::npos, module.find("errors_test"));
  char id[16];
  snprintf(id, sizeof(id), "%X", static_cast<unsigned>(GetCurrentThreadId()));
  const std::string thread = std::string("Thread: Reader ID=0x") + id + " Stack=\r\n";
  EXPECT_EQ(thread, dump(cases[0].record, QVEXCEPTION_THREAD));
  EXPECT_EQ(line(cases[0]) + module + thread, dump(cases[0].record, 0));
}

// Whatever the room: terminated, never beyond it, and nothing begun with fewer than 50 bytes left.
TEST_F(Errors, ADescriptionFitsItsBuffer) {
  const EXCEPTION_RECORD record = exceptionRecord(0xc0000005, 2, 1, 0x10);
  const std::string whole = dump(record, 0), line = dump(record, QVEXCEPTION_RECORD);
  for (int32_t size = 1; size < 400; ++size) {
    const std::string text = dump(record, 0, size);
    EXPECT_EQ(whole.substr(0, text.size()), text);
    EXPECT_LT(text.size(), static_cast<size_t>(size));
  }
  EXPECT_EQ(line, dump(record, 0, static_cast<int32_t>(line.size()) + 49));
  EXPECT_LT(line.size(), dump(record, 0, static_cast<int32_t>(line.size()) + 50).size());
}

void* toldOf = nullptr;

TEST_F(Errors, TheFilterTellsReporterAndUser) {
  QVERRORREPORT reporter = {};
  reporter.unmanagedException = [](void* exception) { toldOf = exception; };
  ErrorReport_SetFunctions(&reporter);
  EXCEPTION_RECORD record = exceptionRecord(0xc0000005, 2, 1, 0x10);
  EXCEPTION_POINTERS pointers = {&record, nullptr};
  QvErrorHandler_DetailsAddString(qv::kReadFailed, TEXT("of an earlier failure"));
  EXPECT_EQ(EXCEPTION_EXECUTE_HANDLER, QvErrorHandler_ExceptionFilter(&pointers, "Reader"));
  EXPECT_EQ(&pointers, toldOf);
  EXPECT_EQ(
      "An error occurred during the current operation.\n\nAn Exception has occurred.\r\n<Details>\r\n"
      "Mixer 2\r\n" +
          dump(record, 0) + "\r\n\r\n</Details>",
      asked.text);
  EXPECT_EQ(QVMSGBOX_NOPARENT, asked.window);
  EXPECT_EQ(0xc030u, asked.flags);
  asked = {};
  record.ExceptionCode = 0x80000002;
  EXPECT_EQ(EXCEPTION_CONTINUE_SEARCH, QvErrorHandler_ExceptionFilter(&pointers, nullptr));
  EXPECT_EQ(0, asked.calls);
  ErrorReport_SetFunctions(nullptr);
}

using HexDump = int32_t (*)(char* buffer, int32_t size, const void* data, int32_t count);

std::string hexDump(HexDump function, const void* data, int32_t count, int32_t size = 4096) {
  return written(size, [&](char* text) { return function(text, size, data, count); });
}

TEST_F(Errors, MemoryInHexadecimalDigits) {
  const uint8_t bytes[] = {0x00, 0x41, 0x7f, 0x20, 0x7e, 0x1f, 0x80, 0xff, 0x5a};
  const uint32_t words[] = {0, 1, 0xdeadbeef, 0x12345678, 5};
  const auto* noAccess = reinterpret_cast<const uint8_t*>(uintptr_t{0x40});
  const auto at = [](const void* place) {
    return " " + hexAddress(reinterpret_cast<uintptr_t>(place)) + ": ";
  };
  struct Case {
    HexDump function;
    const void* data;
    int32_t count;
    std::string text;
  };
  const Case cases[] = {
      {QvErrorHandler_DumpHex, bytes, 3, at(bytes) + "00 41 7F                .A.\r\n"},
      {QvErrorHandler_DumpHex, bytes, 9,
       at(bytes) + "00 41 7F 20 7E 1F 80 FF .A. ~...\r\n" + at(bytes + 8) + "5A                      Z\r\n"},
      {QvErrorHandler_DumpHex, bytes, 0, at(bytes) + "                        \r\n"},
      {QvErrorHandler_DumpHex, noAccess, 2, at(noAccess) + ".. ..                   ..\r\n"},
      {QvErrorHandler_DumpHexDWords, words, 5,
       at(words) + "00000000 00000001 DEADBEEF 12345678 \r\n" + at(words + 4) + "00000005 \r\n"},
      {QvErrorHandler_DumpHexDWords, words, 0, ""},
      {QvErrorHandler_DumpHexDWords, words, -1, ""},
      {QvErrorHandler_DumpHexDWords, noAccess, 1, at(noAccess) + "........ \r\n"},
  };
  for (const Case& each : cases) EXPECT_EQ(each.text, hexDump(each.function, each.data, each.count));
}

TEST_F(Errors, ADumpFitsItsBuffer) {
  std::vector<uint32_t> data(100, 0x41424344);
  for (const HexDump function : {QvErrorHandler_DumpHex, QvErrorHandler_DumpHexDWords}) {
    const std::string whole = hexDump(function, data.data(), 100, 8000);
    for (int32_t size = 1; size < 300; ++size) {
      const std::string text = hexDump(function, data.data(), 100, size);
      EXPECT_EQ(whole.substr(0, size < 50 ? 0 : text.size()), text);
    }
  }
}

// ---- translation

TEST(ErrorTranslation, SystemNumbersBecomeStatuses) {
  struct Case {
    uint32_t status;
    std::vector<DWORD> errors;
  };
  const Case system[] = {{0, {0}},
                         {0x80070057, {1}},
                         {0x8004e00a, {2, 3, 126, 127}},
                         {0x8004e026, {4}},
                         {0x80070005, {5}},
                         {0x80070006, {6}},
                         {0x8007000e, {14, 84}},
                         {0x800404b0, {15}},
                         {0x8004e05a, {32}},
                         {0x8004e002, {39, 112}},
                         {0x8004e032, {80}},
                         {0x8004e007, {110}},
                         {0x80004001, {120}},
                         {0x8004e00d, {123}},
                         {0x8004e005, {170}},
                         {0x8004e170, {183}},
                         {0x80004005, {7, 8, 13, 87, 122, 184, 1000, 0xffffffff}}};
  const Case dialogs[] = {{0, {0}},
                          {0x80070057, {1, 3, 4, 11, 12291, 16385, 65535}},
                          {0x8007000e, {2, 5, 7, 8, 9, 10, 12289}},
                          {0x8004e00e, {6}},
                          {0x8004e00d, {12290}},
                          {0x80004005, {12, 12288, 65536}}};
  const auto expectAll = [](std::span<const Case> cases, HRESULT (*translate)(DWORD)) {
    for (const Case& each : cases) {
      for (const DWORD error : each.errors)
        EXPECT_EQ(static_cast<HRESULT>(each.status), translate(error)) << error;
    }
  };
  expectAll(system, QvErrorHandler_TranslateWin32Error);
  expectAll(dialogs, QvErrorHandler_TranslateCommDlgError);
}

}  // namespace
