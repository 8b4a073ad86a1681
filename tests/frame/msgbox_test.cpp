#include "qv/frame/msgbox.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "qv/frame/detail/msgbox.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

const HINSTANCE kInstance = reinterpret_cast<HINSTANCE>(static_cast<uintptr_t>(0x1000));
const HWND kMain = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x10));
const HWND kPopup = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x20));
const HWND kOther = reinterpret_cast<HWND>(static_cast<uintptr_t>(0x30));

std::string narrow(const WText& text) {
  return std::string(text.begin(), text.end());
}

// What reached the platform, and what the user there does.
struct Shown {
  int dialogs = 0, systemBoxes = 0;
  HWND parent = nullptr;
  std::string title, text, details, checkBox, link, buttons, opened;
  uint32_t icon = 0, flags = 0;
  bool noCancel = false, checked = false;
  int32_t points = 0;
  std::vector<int32_t> presses;  // tried in turn until one closes the dialog
  bool leavesChecked = false, followsLink = false;
} shown;

std::string orDash(const WCHAR* text) {
  return text ? narrow(text) : "-";
}

int32_t showDialog(qv::MessageDialog& box) {
  ++shown.dialogs;
  shown.parent = box.parent;
  shown.title = narrow(box.title);
  shown.text = narrow(box.text);
  shown.details = orDash(box.details);
  shown.checkBox = orDash(box.checkBox);
  shown.link = orDash(box.link);
  shown.buttons.clear();
  for (const auto& button : box.buttons) {
    shown.buttons += std::to_string(button.number) + narrow(button.text) + "|";
  }
  shown.icon = box.icon;
  shown.noCancel = box.noCancel;
  shown.checked = box.checked;
  if (shown.followsLink && box.link) box.followLink(box.context, kPopup);
  box.checked = shown.leavesChecked;
  for (const int32_t press : shown.presses) {
    if (const int32_t answer = box.closing(box.context, press); answer != 0) return answer;
  }
  return 0;
}

int32_t showSystemBox(HWND parent, const WCHAR* text, const WCHAR* title, uint32_t flags) {
  ++shown.systemBoxes;
  shown.parent = parent;
  shown.text = narrow(text);
  shown.title = narrow(title);
  shown.flags = flags;
  return QVANSWER_NO;
}

constexpr qv::MessageCalls kCalls = {
    showDialog,
    showSystemBox,
    [](HWND window) { return window == kMain ? kPopup : window; },
    [](const WCHAR* address) { shown.opened = narrow(address); },
};

struct Asked {
  int calls = 0;
  int32_t answer = -1;
  uint64_t hookData = 0;
  HWND window = nullptr;
  std::string text, application;
  uint32_t flags = 0;
} asked;

int32_t hook(uint64_t hookData, HWND window, const WCHAR* text, const WCHAR* application, uint32_t flags) {
  ++asked.calls;
  asked.hookData = hookData;
  asked.window = window;
  asked.text = narrow(text);
  asked.application = narrow(application);
  asked.flags = flags;
  return asked.answer;
}

class MsgBox : public testing::Test {
 protected:
  void SetUp() override {
    qv::resetMsgBox();
    qv::setMessageCalls(&kCalls);
    shown = {};
    shown.presses = {QVANSWER_OK};
    asked = {};
    ASSERT_EQ(1, QvMsgBoxSetAppData(kInstance, kMain, TEXT("Editor")));
  }
  void TearDown() override {
    qv::setMessageCalls(nullptr);
    qv::resetMsgBox();
  }
};

// The texts and numbers of each set; Escape (2) tried first where it must do nothing.
TEST_F(MsgBox, EachSetHasItsButtonsAndItsWayOut) {
  struct Case {
    uint32_t type;
    const char* buttons;
    int32_t escape;  // 0: Escape does nothing
  };
  const Case cases[] = {
      {0, "1OK|", 1},
      {1, "1OK|2Cancel|", 2},
      {2, "3&Abort|4&Retry|5&Ignore|", 0},
      {3, "6&Yes|7&No|2Cancel|", 2},
      {4, "6&Yes|7&No|", 0},
      {5, "4&Retry|2Cancel|", 2},
      {6, "1OK|", 1},
      {9, "1OK|", 1},
      {10, "6&Yes|100Yes to &All|7&No|2Cancel|", 2},
      {11, "6&Yes|7&No|101D&elete|", 0},
      {12, "6&Yes|7&No|102N&o to All|2Cancel|", 2},
      {13, "6&Yes|100Yes to &All|7&No|102N&o to All|2Cancel|", 2},
      {15, "1OK|", 1},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.type);
    shown.presses = {QVANSWER_CANCEL};
    EXPECT_EQ(each.escape, QvMsgBox_CustomNoF(kOther, each.type | QVMSGBOX_EXCLAMATION, nullptr, TEXT("?")));
    EXPECT_EQ(each.buttons, shown.buttons);
    EXPECT_EQ(each.escape == 0, shown.noCancel);
    EXPECT_EQ(QVMSGBOX_EXCLAMATION, shown.icon);
  }
}

TEST_F(MsgBox, EachButtonEndsTheBoxAndNothingElseDoes) {
  for (const int32_t number : {1, 3, 4, 5, 6, 7, 100, 101, 102}) {
    shown.presses = {0, 8, 200, 201, 300, 310, number};
    EXPECT_EQ(number, QvMsgBox_CustomNoF(kOther, QVMSGBOX_YESNO, nullptr, TEXT("?")));
  }
}

TEST_F(MsgBox, FindsItsParent) {
  const auto parentFor = [](HWND window) {
    QvMsgBox_CustomNoF(window, 0, nullptr, TEXT("?"));
    const HWND own = shown.parent;
    QvMessageBox(window, TEXT("?"), nullptr, 0);
    EXPECT_EQ(own, shown.parent) << "both kinds of box agree";
    return own;
  };
  EXPECT_EQ(kPopup, parentFor(nullptr));
  EXPECT_EQ(nullptr, parentFor(QVMSGBOX_NOPARENT));
  EXPECT_EQ(kOther, parentFor(kOther));
  QvMsgBoxSetAppData(kInstance, nullptr, TEXT("Editor"));
  EXPECT_EQ(nullptr, parentFor(nullptr));
}

TEST_F(MsgBox, CarriesTitleDetailsCheckBoxAndLink) {
  int32_t state = 1;
  shown.leavesChecked = false;
  shown.followsLink = true;
  EXPECT_EQ(1, QvMsgBox_CustomExLinkF(kOther, QVMSGBOX_DETAILS | QVMSGBOX_CHECKBOX, TEXT("line 1"),
                                      TEXT("Never"), &state, TEXT("Export"), TEXT("https://example.org/help"),
                                      TEXT("Help"), TEXT("%d of %d"), 3, 4));
  EXPECT_EQ("Export: 3 of 4 (line 1) Never, Help", shown.title + ": " + shown.text + " (" + shown.details +
                                                       ") " + shown.checkBox + ", " + shown.link);
  EXPECT_TRUE(shown.checked);
  EXPECT_EQ(0, state) << "left unchecked";
  EXPECT_EQ("https://example.org/help", shown.opened);

  shown.leavesChecked = true;
  QvMsgBox_CustomExF(kOther, QVMSGBOX_CHECKBOX, TEXT("not asked for"), nullptr, &state, nullptr,
                     TEXT("plain"));
  EXPECT_EQ(
      "Editor: plain (-) Do no&t show this message again., -",
      shown.title + ": " + shown.text + " (" + shown.details + ") " + shown.checkBox + ", " + shown.link);
  EXPECT_EQ(1, state);

  state = 7;
  QvMsgBox_CustomExF(kOther, 0x3000, nullptr, TEXT("Never"), &state, nullptr, TEXT("plain"));
  EXPECT_EQ("-", shown.checkBox) << "0x3000 is another value of the field";
  EXPECT_EQ(7, state);
}

TEST_F(MsgBox, LinksMayGoElsewhere) {
  static std::string elsewhere;
  qv::setLinkOpener([](HWND window, const WCHAR* address) {
    elsewhere = narrow(address) + (window == kPopup ? " popup" : " ?");
  });
  shown.followsLink = true;
  QvMsgBox_CustomExLinkF(kOther, 0, nullptr, nullptr, nullptr, nullptr, TEXT("a:b"), TEXT("Help"), TEXT("x"));
  EXPECT_EQ("a:b popup", elsewhere);
  EXPECT_EQ("", shown.opened);
}

TEST_F(MsgBox, DetailsThatAreMissingShowNothing) {
  QvMsgBoxSetHook(hook, 0);
  EXPECT_EQ(0, QvMsgBox_CustomF(kOther, QVMSGBOX_DETAILS, nullptr, TEXT("x")));
  EXPECT_EQ(0, asked.calls + shown.dialogs);
  EXPECT_EQ(1, QvMsgBox_CustomF(kOther, 0x4000, nullptr, TEXT("x"))) << "one bit of the two asks for nothing";
}

TEST_F(MsgBox, TheHookAnswersFirst) {
  ASSERT_EQ(1, QvMsgBoxSetHook(hook, 0x123456789aULL));
  asked.answer = QVANSWER_NOTOALL;
  EXPECT_EQ(QVANSWER_NOTOALL, QvMsgBox_TitledF(nullptr, QVMSGBOX_YESNONONE | QVMSGBOX_DETAILS, TEXT("why"),
                                               TEXT("Own title"), TEXT("%s!"), TEXT("Really")));
  EXPECT_EQ("Really!\r\n<Details>\r\nwhy\r\n</Details>", asked.text);
  EXPECT_EQ("Editor", asked.application);
  EXPECT_EQ(0x123456789aULL, asked.hookData);
  EXPECT_EQ(nullptr, asked.window);
  EXPECT_EQ(QVMSGBOX_YESNONONE | QVMSGBOX_DETAILS, asked.flags);
  EXPECT_EQ(0, shown.dialogs);

  asked.answer = 0;
  EXPECT_EQ(0, QvMessageBox(kOther, TEXT("plain"), TEXT("Own title"), QVMSGBOX_OKCANCEL)) << "0 is an answer";
  EXPECT_EQ("plain", asked.text);
  EXPECT_EQ(0, shown.systemBoxes);

  asked.answer = -1;
  EXPECT_EQ(1, QvMsgBox_CustomNoF(kOther, 0, nullptr, TEXT("100% $")));
  EXPECT_EQ(1, shown.dialogs) << "the hook left it";
  EXPECT_EQ("100% $", shown.text);
  EXPECT_EQ(QVANSWER_NO, QvMessageBox(kOther, TEXT("plain"), nullptr, QVMSGBOX_YESNO));
  EXPECT_EQ(1, shown.systemBoxes);
}

TEST_F(MsgBox, OnlyTheApplicationsThreadChangesTheHooks) {
  static const QVMSGBOXNOUI quiet = {};
  ASSERT_EQ(1, QvMsgBoxSetHook(hook, 5));
  std::thread([] {
    EXPECT_EQ(0, QvMsgBoxSetHook(nullptr, 0));
    EXPECT_EQ(0, QvMsgBoxSetNoUIHook(&quiet));
    asked.answer = QVANSWER_YES;
    EXPECT_EQ(QVANSWER_YES, QvMsgBoxNoF(nullptr, QVMSGBOX_YESNO, TEXT("from a worker")));
  }).join();
  EXPECT_EQ(5u, asked.hookData);
  EXPECT_EQ(1, QvMsgBoxSetNoUIHook(nullptr)) << "not the diverter's to take off";
  QvMsgBoxNoF(nullptr, 0, TEXT("again"));
  EXPECT_EQ(2, asked.calls);
  EXPECT_EQ(1, QvMsgBoxSetHook(nullptr, 0));
  QvMsgBoxNoF(nullptr, 0, TEXT("unheard"));
  EXPECT_EQ(2, asked.calls);
}

// Each set's answers by choice; a 0 marks the first choice beyond the set, which must be reported and shown.
TEST_F(MsgBox, TheDiverterAnswersByItsChoice) {
  static std::vector<std::string> written;
  static QVMSGBOXNOUI quiet = {[](void* context, const WCHAR* text) {
                                 EXPECT_EQ(&written, context);
                                 written.push_back(narrow(text));
                               },
                               &written, 0};
  const std::vector<int32_t> sets[] = {{1, 1, 1},
                                       {1, 2, 0},
                                       {3, 4, 5, 0},
                                       {6, 7, 2, 0},
                                       {6, 7, 0},
                                       {4, 2, 0},
                                       {1, 1, 1},
                                       {1, 1},
                                       {1, 1},
                                       {1, 1},
                                       {6, 100, 7, 2, 0},
                                       {6, 7, 101, 0},
                                       {6, 7, 102, 2, 0},
                                       {6, 100, 7, 102, 2, 0},
                                       {1, 1},
                                       {1, 1}};
  ASSERT_EQ(1, QvMsgBoxSetNoUIHook(&quiet));
  for (uint32_t type = 0; type < std::size(sets); ++type) {
    for (size_t choice = 0; choice < sets[type].size(); ++choice) {
      SCOPED_TRACE(testing::Message() << "type " << type << " choice " << choice);
      written.clear();
      shown.dialogs = 0;
      shown.presses = {99, QVANSWER_IGNORE};
      quiet.choice = static_cast<int32_t>(choice);
      const int32_t expected = sets[type][choice];
      EXPECT_EQ(expected != 0 ? expected : QVANSWER_IGNORE,
                QvMsgBox_CustomNoF(nullptr, type, nullptr, TEXT("said")));
      std::vector<std::string> lines = {"said"};
      if (expected == 0) lines.push_back("Invalid Message Box parameter...User intervention is needed!!!!");
      EXPECT_EQ(lines, written);
      EXPECT_EQ(expected == 0 ? 1 : 0, shown.dialogs);
    }
  }
  quiet.choice = -1;
  shown.presses = {QVANSWER_IGNORE};
  EXPECT_EQ(QVANSWER_IGNORE, QvMsgBox_CustomNoF(nullptr, QVMSGBOX_YESNO, nullptr, TEXT("negative")));
  EXPECT_EQ(1, QvMsgBoxSetNoUIHook(nullptr));
  written.clear();
  QvMsgBox_CustomNoF(nullptr, 0, nullptr, TEXT("shown"));
  EXPECT_TRUE(written.empty());
}

TEST_F(MsgBox, PlainBoxesAreTheSystemsWhereItHasTheButtons) {
  EXPECT_EQ(QVANSWER_NO, QvMsgBoxF(kOther, QVMSGBOX_YESNO | QVMSGBOX_STOP, TEXT("%d%%"), 50));
  EXPECT_EQ("Editor: 50%", shown.title + ": " + shown.text);
  EXPECT_EQ(QVMSGBOX_YESNO | QVMSGBOX_STOP, shown.flags);
  EXPECT_EQ(0, shown.dialogs);
  shown.presses = {QVANSWER_YESTOALL};
  EXPECT_EQ(QVANSWER_YESTOALL, QvMsgBoxNoF(kOther, QVMSGBOX_YESALLNO, TEXT("50%")));
  EXPECT_EQ("6&Yes|100Yes to &All|7&No|2Cancel|", shown.buttons);
  EXPECT_EQ(1, shown.systemBoxes);
  QvMsgBoxId(nullptr, kOther, 0, 100);
  EXPECT_EQ("", shown.text) << "a text that no language has is empty";
}

TEST_F(MsgBox, LongTextsAreCutWhereTheyAreFormattedOnly) {
  const WText part(1000, 'x'), whole(9000, 'y');
  QvMsgBox_CustomF(kOther, 0, nullptr, TEXT("%s%s%s"), part.c_str(), part.c_str(), part.c_str());
  EXPECT_EQ(2047u, shown.text.size());
  QvMsgBoxF(kOther, 0, TEXT("%s%s%s%s%s"), part.c_str(), part.c_str(), part.c_str(), part.c_str(),
            part.c_str());
  EXPECT_EQ(4095u, shown.text.size());
  QvMsgBox_CustomF(kOther, 0, nullptr, whole.c_str());
  EXPECT_EQ(9000u, shown.text.size());
  QvMsgBoxSetAppData(kInstance, kMain, whole.c_str());
  QvMsgBox_CustomF(kOther, 0, nullptr, nullptr);
  EXPECT_EQ("", shown.text);
  EXPECT_EQ(135u, shown.title.size());
}

}  // namespace
