// The dialog on the screen, used as a user does: keys and clicks as messages, from a timer of the same
// thread.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "qv/frame/detail/msgbox.h"
#include "qv/frame/kernel.h"
#include "qv/lang/lang.h"
#include "qv/platform/win32.h"

namespace {

constexpr int kDetailsButton = 200, kDetailsText = 201, kCheckBox = 300, kLink = 310;

std::wstring textOf(HWND window) {
  WCHAR text[4096] = {};
  GetWindowTextW(window, text, 4096);
  return text;
}

RECT placeOf(HWND window) {
  RECT place = {};
  GetWindowRect(window, &place);
  return place;
}

// Does `act` on the next dialog of this thread once it stands; null ends with what the answer is.
class User {
 public:
  explicit User(std::function<void(HWND)> act) {
    current = this;
    act_ = std::move(act);
    timer_ = SetTimer(nullptr, 0, 20, look);
  }
  ~User() {
    KillTimer(nullptr, timer_);
    current = nullptr;
    EXPECT_TRUE(met_) << "no dialog came";
  }

 private:
  static BOOL CALLBACK take(HWND window, LPARAM found) {
    WCHAR name[32] = {};
    GetClassNameW(window, name, 32);
    if (lstrcmpW(name, L"#32770") != 0 || !IsWindowVisible(window)) return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
  }
  static void CALLBACK look(HWND, UINT, UINT_PTR, DWORD) {
    HWND found = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), take, reinterpret_cast<LPARAM>(&found));
    if (!found || !current || current->met_) return;
    current->met_ = true;
    current->act_(found);
  }

  static User* current;
  std::function<void(HWND)> act_;
  UINT_PTR timer_ = 0;
  bool met_ = false;
};
User* User::current = nullptr;

void press(HWND dialog, int button) {
  SendMessageW(GetDlgItem(dialog, button), BM_CLICK, 0, 0);
}

void key(HWND dialog, WPARAM code) {
  PostMessageW(GetFocus() ? GetFocus() : dialog, WM_KEYDOWN, code, 1);
}

class Dialog : public testing::Test {
 protected:
  void SetUp() override {
    qv::resetMsgBox();
    ASSERT_EQ(1, QvMsgBoxSetAppData(GetModuleHandleW(nullptr), nullptr, L"Editor"));
  }
  void TearDown() override { qv::resetMsgBox(); }
};

TEST_F(Dialog, ShowsItsPartsInOneColumnAndOneRow) {
  const User user([](HWND dialog) {
    EXPECT_EQ(L"Editor", textOf(dialog));
    RECT client;
    GetClientRect(dialog, &client);
    MapWindowPoints(dialog, nullptr, reinterpret_cast<POINT*>(&client), 2);
    const RECT yes = placeOf(GetDlgItem(dialog, 6)), all = placeOf(GetDlgItem(dialog, 100));
    const RECT no = placeOf(GetDlgItem(dialog, 7)), none = placeOf(GetDlgItem(dialog, 102));
    const RECT cancel = placeOf(GetDlgItem(dialog, 2));
    EXPECT_EQ(L"Yes to &All", textOf(GetDlgItem(dialog, 100)));
    EXPECT_EQ(L"N&o to All", textOf(GetDlgItem(dialog, 102)));
    EXPECT_TRUE(yes.right < all.left && all.right < no.left && no.right < none.left &&
                none.right < cancel.left);
    EXPECT_TRUE(yes.top == cancel.top && yes.bottom == cancel.bottom);
    EXPECT_NEAR(yes.left - client.left, client.right - cancel.right, 1) << "centred";
    EXPECT_LT(cancel.bottom, client.bottom);
    EXPECT_LT(client.bottom - cancel.bottom, 30) << "no empty room below";
    EXPECT_EQ(GetDlgItem(dialog, 6), GetFocus());
    int texts = 0, icons = 0;
    for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
      if (textOf(child) == L"Save & close?\nIt takes a while.") ++texts;
      WCHAR name[32] = {};
      GetClassNameW(child, name, 32);
      if (lstrcmpiW(name, L"Static") == 0 && (GetWindowLongPtrW(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON)
        ++icons;
      const RECT place = placeOf(child);
      EXPECT_TRUE(place.left >= client.left && place.right <= client.right && place.top >= client.top &&
                  place.bottom <= client.bottom);
    }
    EXPECT_EQ(1, texts);
    EXPECT_EQ(1, icons);
    press(dialog, 102);
  });
  EXPECT_EQ(QVANSWER_NOTOALL, QvMsgBox_CustomNoF(nullptr, QVMSGBOX_YESALLNONONE | QVMSGBOX_QUESTION, nullptr,
                                                 L"Save & close?\nIt takes a while."));
}

TEST_F(Dialog, WrapsLongTextsAndLeavesTheIconsPlaceOut) {
  std::wstring text;
  for (int i = 0; i < 200; ++i) text += L"several words ";
  LONG bare = 0;
  {
    const User user([&bare](HWND dialog) {
      RECT client;
      GetClientRect(dialog, &client);
      const HWND message = GetWindow(dialog, GW_CHILD);
      const RECT place = placeOf(message);
      POINT corner = {place.left, place.top};
      ScreenToClient(dialog, &corner);
      bare = corner.x;
      EXPECT_LT(client.right, GetSystemMetrics(SM_CXSCREEN) / 2);
      EXPECT_GT(place.bottom - place.top, 60);
      press(dialog, 1);
    });
    EXPECT_EQ(1, QvMsgBox_CustomNoF(nullptr, 0, nullptr, text.c_str()));
  }
  EXPECT_LT(bare, GetSystemMetrics(SM_CXICON)) << "the text stands where the icon would";
}

TEST_F(Dialog, EscapeAndTheFrameFollowTheWayOut) {
  struct Case {
    uint32_t type;
    int32_t answer;  // 0: nothing happens, and the box is ended by its button 7
  };
  for (const Case& each : {Case{QVMSGBOX_OK, 1}, Case{QVMSGBOX_OKCANCEL, 2}, Case{QVMSGBOX_YESNO, 0}}) {
    for (const bool byFrame : {false, true}) {
      SCOPED_TRACE(testing::Message() << each.type << byFrame);
      const User user([&](HWND dialog) {
        if (byFrame) {
          SendMessageW(dialog, WM_CLOSE, 0, 0);
        } else {
          key(dialog, VK_ESCAPE);
          MSG message;
          while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (!IsDialogMessageW(dialog, &message)) DispatchMessageW(&message);
          }
        }
        if (each.answer != 0) return;
        const UINT close = GetMenuState(GetSystemMenu(dialog, FALSE), SC_CLOSE, MF_BYCOMMAND);
        EXPECT_TRUE(close == UINT(-1) || (close & MF_GRAYED) != 0);
        EXPECT_TRUE(IsWindow(dialog));
        press(dialog, 7);
      });
      const int32_t expected = each.answer != 0 ? each.answer : QVANSWER_NO;
      EXPECT_EQ(expected, QvMsgBox_CustomNoF(nullptr, each.type, nullptr, L"?"));
    }
  }
}

TEST_F(Dialog, EnterPressesTheFirstButton) {
  const User user([](HWND dialog) {
    const LRESULT id = SendMessageW(dialog, DM_GETDEFID, 0, 0);
    EXPECT_EQ(DC_HASDEFID, HIWORD(id));
    EXPECT_EQ(QVANSWER_RETRY, LOWORD(id));
    key(dialog, VK_RETURN);
  });
  EXPECT_EQ(QVANSWER_RETRY, QvMsgBox_CustomNoF(nullptr, QVMSGBOX_RETRYCANCEL, nullptr, L"?"));
}

TEST_F(Dialog, DetailsOpenAndClose) {
  const User user([](HWND dialog) {
    const HWND button = GetDlgItem(dialog, kDetailsButton), details = GetDlgItem(dialog, kDetailsText);
    const RECT closed = placeOf(dialog);
    EXPECT_EQ(L"&Details >>", textOf(button));
    EXPECT_FALSE(IsWindowVisible(details));
    EXPECT_EQ(L"line 1\r\nline 2", textOf(details));
    EXPECT_TRUE(GetWindowLongPtrW(details, GWL_STYLE) & ES_READONLY);
    press(dialog, kDetailsButton);
    const RECT open = placeOf(dialog);
    EXPECT_EQ(L"No &Details", textOf(button));
    EXPECT_TRUE(IsWindowVisible(details));
    EXPECT_GE(open.bottom, placeOf(details).bottom);
    EXPECT_GT(open.bottom - open.top, closed.bottom - closed.top + 40);
    press(dialog, kDetailsButton);
    const RECT again = placeOf(dialog);
    EXPECT_EQ(closed.bottom - closed.top, again.bottom - again.top);
    EXPECT_FALSE(IsWindowVisible(details));
    press(dialog, 1);
  });
  EXPECT_EQ(1, QvMsgBox_CustomF(nullptr, QVMSGBOX_DETAILS, L"line 1\r\nline 2", L"It failed."));
}

TEST_F(Dialog, TheCheckBoxIsReadAtEveryClose) {
  int32_t state = 1;
  for (const int close : {6, 2}) {
    const int32_t before = state;
    const User user([&](HWND dialog) {
      const HWND box = GetDlgItem(dialog, kCheckBox);
      EXPECT_EQ(L"Do no&t show this message again.", textOf(box));
      EXPECT_EQ(before, static_cast<int32_t>(SendMessageW(box, BM_GETCHECK, 0, 0)));
      press(dialog, kCheckBox);
      if (close == 2)
        SendMessageW(dialog, WM_CLOSE, 0, 0);
      else
        press(dialog, close);
    });
    EXPECT_EQ(close, QvMsgBox_CustomExNoF(nullptr, QVMSGBOX_YESNOCANCEL | QVMSGBOX_CHECKBOX, nullptr, nullptr,
                                          &state, L"Own", L"?"));
    EXPECT_EQ(1 - before, state);
  }
}

TEST_F(Dialog, TheLinkOpensItsTarget) {
  static std::wstring opened;
  qv::setLinkOpener([](HWND, const WCHAR* address) { opened = address; });
  const User user([](HWND dialog) {
    EXPECT_EQ(L"Own title", textOf(dialog));
    const HWND link = GetDlgItem(dialog, kLink);
    EXPECT_EQ(L"Get help & more", textOf(link));
    const RECT place = placeOf(link);
    EXPECT_LT(place.bottom, placeOf(GetDlgItem(dialog, 1)).top);
    SendMessageW(link, WM_LBUTTONDOWN, 0, MAKELPARAM(2, 2));
    EXPECT_EQ(L"https://example.org/", opened);
    EXPECT_TRUE(IsWindow(dialog)) << "a link ends nothing";
    press(dialog, 1);
  });
  EXPECT_EQ(1, QvMsgBox_CustomExLinkF(nullptr, 0, nullptr, nullptr, nullptr, L"Own title",
                                      L"https://example.org/", L"Get help & more", L"%d", 1));
}

TEST_F(Dialog, StandsOverItsParentAndDisablesIt) {
  const HWND parent = CreateWindowExW(0, L"Static", L"parent", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 100, 80, 600,
                                      400, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
  ASSERT_NE(nullptr, parent);
  const auto middle = [](HWND window) {
    const RECT place = placeOf(window);
    return POINT{(place.left + place.right) / 2, (place.top + place.bottom) / 2};
  };
  const auto check = [&](HWND dialog) {
    EXPECT_NEAR(middle(parent).x, middle(dialog).x, 1);
    EXPECT_NEAR(middle(parent).y, middle(dialog).y, 1);
    EXPECT_FALSE(IsWindowEnabled(parent));
    SendMessageW(dialog, WM_COMMAND, 1, 0);
  };
  {
    const User user(check);
    EXPECT_EQ(1, QvMsgBox_CustomNoF(parent, 0, nullptr, L"?"));
  }
  QvMsgBoxSetAppData(GetModuleHandleW(nullptr), parent, L"Editor");
  {
    const User user(check);
    EXPECT_EQ(1, QvMsgBox_CustomNoF(nullptr, 0, nullptr, L"main window"));
  }
  {
    const User user([&](HWND dialog) {
      EXPECT_EQ(L"Editor", textOf(dialog));
      check(dialog);
    });
    EXPECT_EQ(1, QvMessageBox(parent, L"the system's", nullptr, 0));
  }
  {
    const User user([&](HWND dialog) {
      EXPECT_TRUE(IsWindowEnabled(parent));
      press(dialog, 1);
    });
    EXPECT_EQ(1, QvMsgBox_CustomNoF(QVMSGBOX_NOPARENT, 0, nullptr, L"?"));
  }
  EXPECT_TRUE(IsWindowEnabled(parent));
  DestroyWindow(parent);
}

// The texts follow the language, and the buttons grow with them.
TEST_F(Dialog, SpeaksTheKernelsLanguage) {
  ASSERT_EQ(1, QvKernel_EarlyInitialize(GetModuleHandleW(nullptr), 0));
  HQVLANG language = nullptr;
  ASSERT_EQ(0, QvLang_Open(&language, GetModuleHandleW(nullptr), 0, 0));
  for (const LCID lcid : {1031u, 1041u}) {
    ASSERT_EQ(1, QvLang_UpdateKernelLCID(language, lcid, 0));
    const User user([lcid](HWND dialog) {
      EXPECT_EQ(lcid == 1031 ? L"Abbrechen" : L"\u30ad\u30e3\u30f3\u30bb\u30eb",
                textOf(GetDlgItem(dialog, 2)));
      press(dialog, 2);
    });
    EXPECT_EQ(2, QvMsgBox_CustomNoF(nullptr, QVMSGBOX_OKCANCEL, nullptr, L"?"));
  }
  QvLang_Close(language);
  QvKernel_LateTerminate();
}

}  // namespace
