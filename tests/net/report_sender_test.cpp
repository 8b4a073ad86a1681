#include "qv/net/detail/report_sender.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/frame/status.h"

namespace {

using namespace qv;
using namespace qv::net;

constexpr HRESULT status(uint32_t code) {
  return static_cast<HRESULT>(code);
}

// What no server can provoke; the rest is shown against one by the workbench's verb.
TEST(ReportSender, TheFirstStepThatFailsDecides) {
  struct Case {
    SendOutcome outcome;
    const WCHAR* start;  // of the text
    uint32_t shown;
    uint32_t status;
    bool cancel, delivered;
  };
  const HRESULT failed = kGeneralFailure, busy = status(0x8004e0ac), late = status(0x8004e02c);
  const Case cases[] = {
      {{.post = failed, .wait = late},
       TEXT("CQvInetHttp::Post failed"),
       0x80004005,
       0x80004005,
       false,
       false},
      {{.post = 0x4e011, .wait = late}, TEXT("Request timed out"), 0x8004e02c, 0, true, false},
      {{.wait = failed}, TEXT("Unknown error while waiting"), 0x80004005, 0x80004005, false, false},
      {{.ask = busy}, TEXT("GetRequestResult returning QV_E_INPROGRESS"), 0x8004e0ac, 0, true, false},
      {{.ask = failed}, TEXT("Could not get status of post"), 0x80004005, 0x80004005, false, false},
      {{.result = failed}, TEXT("Could not post config data"), 0x80004005, 0x8004e0ec, false, false},
      {{.result = failed, .hasResponse = true, .httpStatus = 200},
       TEXT("Could not post config data"),
       0x80004005,
       0x8004e0ec,
       false,
       false},
      {{.hasResponse = true, .httpStatus = 199}, TEXT("Could not post"), 0, 0x8004e0ec, false, false},
      {{.hasResponse = true, .httpStatus = 200}, TEXT("Successfully posted"), 0, 0, false, true},
      {{.hasResponse = true, .httpStatus = 299}, TEXT("Successfully posted"), 0, 0, false, true},
      {{.hasResponse = true, .httpStatus = 300}, TEXT("Could not post"), 0, 0x8004e0ec, false, false},
  };
  for (const Case& each : cases) {
    const SendVerdict verdict = judgeSending(each.outcome);
    const std::basic_string<WCHAR> text = verdict.text;
    EXPECT_TRUE(text.starts_with(each.start)) << testing::PrintToString(text);
    EXPECT_EQ(each.shown, verdict.numbers[0]);
    EXPECT_EQ(status(each.status), verdict.status);
    EXPECT_EQ(each.cancel, verdict.cancel);
    EXPECT_EQ(each.delivered, verdict.delivered);
    EXPECT_EQ(each.delivered ? LOGFLAG_INFORMATION : LOGFLAG_ERRORS, verdict.level);
  }
}

TEST(ReportSender, DebugCopiesWantANameAndData) {
  EXPECT_EQ(kInvalidArgument, writeDebugCopy(nullptr, "x", 1));
  EXPECT_EQ(kInvalidArgument, writeDebugCopy(TEXT(""), "x", 1));
  EXPECT_EQ(kOk, writeDebugCopy(TEXT("QvNoSuchEntry"), nullptr, 0));
  EXPECT_EQ(kOk, writeDebugCopy(TEXT("QvNoSuchEntry"), "x", 1)) << "nobody asked for one";
}

}  // namespace
