#include "qv/platform/message_calls.h"

#include <shellapi.h>

#include <algorithm>
#include <cstring>

namespace qv {
namespace {

// Over the parent where there is one to see, else in the middle of the screen; never beyond its work area.
void centre(HWND window, HWND parent) {
  RECT place;
  GetWindowRect(window, &place);
  const SIZE size = {place.right - place.left, place.bottom - place.top};
  const bool over = parent && IsWindowVisible(parent) && !IsIconic(parent);
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromWindow(over ? parent : window, MONITOR_DEFAULTTOPRIMARY), &monitor);
  const RECT& work = monitor.rcWork;
  RECT frame = work;
  if (over) GetWindowRect(parent, &frame);
  const LONG x = (frame.left + frame.right - size.cx) / 2;
  const LONG y = (frame.top + frame.bottom - size.cy) / 2;
  SetWindowPos(window, nullptr, std::max(work.left, std::min(x, work.right - size.cx)),
               std::max(work.top, std::min(y, work.bottom - size.cy)), 0, 0,
               SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

// The children that are no answers.
enum : int { kDetailsButton = 200, kDetailsText = 201, kCheckBox = 300, kLink = 310, kNameless = 0xffff };

// Dialog units.
constexpr LONG kMargin = 7, kGap = 4, kWideGap = 9, kButtonWidth = 50, kButtonHeight = 14,
               kButtonPadding = 12;
constexpr LONG kTextWidth = 260, kCheckMark = 14, kLineHeight = 10, kDetailsHeight = 88;

constexpr WCHAR kLinkClass[] = TEXT("QvKrn_Static_Class");

// One box on the screen: measures its parts, puts them in place, and ends as its owner says.
class BoxWindow {
 public:
  explicit BoxWindow(MessageDialog& box) : box_(box) {}
  ~BoxWindow() {
    if (linkFont_) DeleteObject(linkFont_);
  }
  BoxWindow(const BoxWindow&) = delete;
  BoxWindow& operator=(const BoxWindow&) = delete;

  int32_t run();

 private:
  static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM w, LPARAM l);
  void open(HWND window);
  void measure();
  SIZE sizeOf(const WCHAR* text, LONG width, UINT format) const;
  LONG unitsX(LONG x) const { return across(x).cx; }
  LONG unitsY(LONG y) const { return across(y).cy; }
  SIZE across(LONG units) const;
  LONG buttonWidth(const WCHAR* text) const;
  void placeMessage();
  void placeLink();
  void placeCheckBox();
  void placeButtons();
  void placeDetails();
  HWND add(const WCHAR* type, const WCHAR* text, DWORD style, RECT place, int number, DWORD extended = 0);
  void fitHeight();
  void toggleDetails();
  void command(int number, UINT notification);
  INT_PTR colourLink(HDC context) const;

  MessageDialog& box_;
  HWND window_ = nullptr;
  HFONT font_ = nullptr;
  HFONT linkFont_ = nullptr;
  SIZE text_ = {};
  LONG left_ = 0;  // of the text, behind the icon
  LONG y_ = 0;     // where the next part goes
  LONG width_ = 0;
  LONG rowWidth_ = 0;
  LONG closedHeight_ = 0;
  LONG openHeight_ = 0;
};

// A template without controls: their sizes follow from texts that are known at run time only.
int32_t BoxWindow::run() {
  struct alignas(4) {
    DLGTEMPLATE header;
    WORD noMenu, stockClass, noTitle, points;
    WCHAR face[LF_FACESIZE];
  } plan = {};
  static_assert(sizeof(DLGTEMPLATE) == 18);
  plan.header.style = DS_SETFONT | DS_MODALFRAME | DS_NOIDLEMSG | WS_POPUP | WS_CAPTION | WS_SYSMENU;
  plan.points = static_cast<WORD>(box_.points);
  lstrcpynW(plan.face, box_.face, LF_FACESIZE);
  const INT_PTR answer = DialogBoxIndirectParamW(box_.instance, &plan.header, box_.parent, procedure,
                                                 reinterpret_cast<LPARAM>(this));
  return answer > 0 ? static_cast<int32_t>(answer) : 0;
}

INT_PTR CALLBACK BoxWindow::procedure(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, DWLP_USER, l);
    reinterpret_cast<BoxWindow*>(l)->open(window);
    return FALSE;  // the focus stands on the first button already
  }
  const auto self = reinterpret_cast<BoxWindow*>(GetWindowLongPtrW(window, DWLP_USER));
  if (!self) return FALSE;
  if (message == WM_COMMAND) {
    self->command(LOWORD(w), HIWORD(w));
    return TRUE;
  }
  if (message == WM_CTLCOLORSTATIC && GetDlgCtrlID(reinterpret_cast<HWND>(l)) == kLink) {
    return self->colourLink(reinterpret_cast<HDC>(w));
  }
  if (message == WM_SETCURSOR && GetDlgCtrlID(reinterpret_cast<HWND>(w)) == kLink) {
    SetCursor(LoadCursorW(nullptr, IDC_HAND));
    SetWindowLongPtrW(window, DWLP_MSGRESULT, TRUE);
    return TRUE;
  }
  return FALSE;
}

void BoxWindow::open(HWND window) {
  window_ = window;
  font_ = reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0));
  SetWindowTextW(window, box_.title);
  if (box_.noCancel) EnableMenuItem(GetSystemMenu(window, FALSE), SC_CLOSE, MF_BYCOMMAND | MF_GRAYED);
  measure();
  placeMessage();
  placeLink();
  placeCheckBox();
  placeButtons();
  placeDetails();
  fitHeight();
  centre(window, box_.parent);
  MessageBeep(box_.icon);
}

SIZE BoxWindow::across(LONG units) const {
  RECT place = {0, 0, units, units};
  MapDialogRect(window_, &place);
  return {place.right, place.bottom};
}

SIZE BoxWindow::sizeOf(const WCHAR* text, LONG width, UINT format) const {
  const HDC context = GetDC(window_);
  const HGDIOBJ before = SelectObject(context, font_);
  RECT place = {0, 0, width, 0};
  DrawTextW(context, text, -1, &place, DT_CALCRECT | format);
  SelectObject(context, before);
  ReleaseDC(window_, context);
  return {place.right, place.bottom};
}

LONG BoxWindow::buttonWidth(const WCHAR* text) const {
  return std::max(unitsX(kButtonWidth), sizeOf(text, 0, DT_SINGLELINE).cx + unitsX(kButtonPadding));
}

// The width follows from the widest of text, check box, link and the row of buttons.
void BoxWindow::measure() {
  left_ = unitsX(kMargin) + (box_.icon ? GetSystemMetrics(SM_CXICON) + unitsX(kMargin) : 0);
  for (const MessageButton& button : box_.buttons) rowWidth_ += buttonWidth(button.text) + unitsX(kGap);
  if (box_.details) {
    rowWidth_ += std::max(buttonWidth(box_.showDetails), buttonWidth(box_.hideDetails)) + unitsX(kGap);
  }
  rowWidth_ -= unitsX(kGap);
  text_ = sizeOf(box_.text, std::max(unitsX(kTextWidth), rowWidth_ + unitsX(kMargin) - left_),
                 DT_WORDBREAK | DT_NOPREFIX | DT_EXPANDTABS);
  LONG content = text_.cx;
  if (box_.checkBox)
    content = std::max(content, sizeOf(box_.checkBox, 0, DT_SINGLELINE).cx + unitsX(kCheckMark));
  if (box_.link) content = std::max(content, sizeOf(box_.link, 0, DT_SINGLELINE | DT_NOPREFIX).cx);
  width_ = std::max(left_ + content, unitsX(kMargin) + rowWidth_) + unitsX(kMargin);
  if (box_.details) width_ = std::max(width_, unitsX(kTextWidth));
  const LONG caption =
      sizeOf(box_.title, 0, DT_SINGLELINE | DT_NOPREFIX).cx + 2 * GetSystemMetrics(SM_CXSIZE);
  width_ = std::max(width_, std::min(caption, unitsX(kTextWidth)));
  // A text without end must leave the buttons on the screen.
  text_.cy = std::min(text_.cy, static_cast<LONG>(GetSystemMetrics(SM_CYFULLSCREEN)) * 2 / 3);
}

HWND BoxWindow::add(const WCHAR* type, const WCHAR* text, DWORD style, RECT place, int number,
                    DWORD extended) {
  const HWND child =
      CreateWindowExW(extended, type, text, style | WS_CHILD, place.left, place.top, place.right - place.left,
                      place.bottom - place.top, window_,
                      reinterpret_cast<HMENU>(static_cast<INT_PTR>(number)), box_.instance, nullptr);
  SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font_), FALSE);
  return child;
}

void BoxWindow::placeMessage() {
  const LPCWSTR icons[] = {nullptr, IDI_HAND, IDI_QUESTION, IDI_EXCLAMATION, IDI_ASTERISK};
  const size_t which = box_.icon >> 4;
  const LONG top = unitsY(kMargin);
  LONG height = text_.cy;
  if (which > 0 && which < std::size(icons)) {
    const LONG side = GetSystemMetrics(SM_CYICON);
    height = std::max(height, side);
    const RECT place = {unitsX(kMargin), top, unitsX(kMargin) + GetSystemMetrics(SM_CXICON), top + side};
    const HWND picture = add(TEXT("Static"), nullptr, WS_VISIBLE | SS_ICON, place, kNameless);
    SendMessageW(picture, STM_SETICON, reinterpret_cast<WPARAM>(LoadIconW(nullptr, icons[which])), 0);
  }
  const LONG y = top + (height - text_.cy) / 2;
  add(TEXT("Static"), box_.text, WS_VISIBLE | SS_NOPREFIX, {left_, y, width_ - unitsX(kMargin), y + text_.cy},
      kNameless);
  y_ = top + height + unitsY(kWideGap);
}

// The toolkit's static draws the link itself; where it isn't registered, the system's stands in.
void BoxWindow::placeLink() {
  if (!box_.link) return;
  WNDCLASSEXW known = {};
  known.cbSize = sizeof(known);
  const bool own = GetClassInfoExW(box_.instance, kLinkClass, &known) != 0;
  const LONG right = left_ + sizeOf(box_.link, 0, DT_SINGLELINE | DT_NOPREFIX).cx;
  const HWND link = add(own ? kLinkClass : TEXT("Static"), box_.link, WS_VISIBLE | SS_NOTIFY | SS_NOPREFIX,
                        {left_, y_, right, y_ + unitsY(kLineHeight)}, kLink);
  LOGFONTW face = {};
  GetObjectW(font_, sizeof(face), &face);
  face.lfUnderline = TRUE;
  linkFont_ = CreateFontIndirectW(&face);
  SendMessageW(link, WM_SETFONT, reinterpret_cast<WPARAM>(linkFont_), FALSE);
  y_ += unitsY(kLineHeight) + unitsY(kWideGap);
}

void BoxWindow::placeCheckBox() {
  if (!box_.checkBox) return;
  add(TEXT("Button"), box_.checkBox, WS_VISIBLE | WS_TABSTOP | WS_GROUP | BS_AUTOCHECKBOX,
      {left_, y_, width_ - unitsX(kMargin), y_ + unitsY(kLineHeight)}, kCheckBox);
  CheckDlgButton(window_, kCheckBox, box_.checked ? BST_CHECKED : BST_UNCHECKED);
  y_ += unitsY(kLineHeight) + unitsY(kWideGap);
}

void BoxWindow::placeButtons() {
  LONG x = (width_ - rowWidth_) / 2;
  const LONG bottom = y_ + unitsY(kButtonHeight);
  HWND first = nullptr;
  for (const MessageButton& button : box_.buttons) {
    const LONG right = x + buttonWidth(button.text);
    const DWORD style = first ? BS_PUSHBUTTON : BS_DEFPUSHBUTTON | WS_GROUP;
    const HWND child = add(TEXT("Button"), button.text, style | WS_VISIBLE | WS_TABSTOP,
                           {x, y_, right, bottom}, button.number);
    if (!first) first = child;
    x = right + unitsX(kGap);
  }
  if (box_.details) {
    add(TEXT("Button"), box_.showDetails, BS_PUSHBUTTON | WS_VISIBLE | WS_TABSTOP,
        {x, y_, (width_ + rowWidth_) / 2, bottom}, kDetailsButton);
  }
  if (!box_.buttons.empty())
    SendMessageW(window_, DM_SETDEFID, static_cast<WPARAM>(box_.buttons[0].number), 0);
  SetFocus(first);
  y_ = bottom + unitsY(kMargin);
  closedHeight_ = openHeight_ = y_;
}

void BoxWindow::placeDetails() {
  if (!box_.details) return;
  const LONG height = unitsY(box_.detailsHeight > 0 ? box_.detailsHeight : kDetailsHeight);
  add(TEXT("Edit"), box_.details, WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL,
      {unitsX(kMargin), y_, width_ - unitsX(kMargin), y_ + height}, kDetailsText, WS_EX_CLIENTEDGE);
  openHeight_ = y_ + height + unitsY(kMargin);
}

// Grows or shrinks the window to its parts, and moves it up where it would leave the screen.
void BoxWindow::fitHeight() {
  RECT place = {0, 0, width_, box_.detailsOpen ? openHeight_ : closedHeight_};
  AdjustWindowRectEx(&place, static_cast<DWORD>(GetWindowLongPtrW(window_, GWL_STYLE)), FALSE,
                     static_cast<DWORD>(GetWindowLongPtrW(window_, GWL_EXSTYLE)));
  const LONG height = place.bottom - place.top;
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof(monitor);
  GetMonitorInfoW(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST), &monitor);
  RECT now;
  GetWindowRect(window_, &now);
  const LONG top = std::max(monitor.rcWork.top, std::min(now.top, monitor.rcWork.bottom - height));
  SetWindowPos(window_, nullptr, now.left, top, place.right - place.left, height,
               SWP_NOZORDER | SWP_NOACTIVATE);
  if (!box_.details) return;
  SetDlgItemTextW(window_, kDetailsButton, box_.detailsOpen ? box_.hideDetails : box_.showDetails);
  ShowWindow(GetDlgItem(window_, kDetailsText), box_.detailsOpen ? SW_SHOW : SW_HIDE);
}

void BoxWindow::toggleDetails() {
  box_.detailsOpen = !box_.detailsOpen;
  fitHeight();
}

void BoxWindow::command(int number, UINT notification) {
  if (number == kDetailsButton) {
    toggleDetails();
  } else if (number == kLink) {
    if (notification == STN_CLICKED) box_.followLink(box_.context, window_);
  } else if (const int32_t answer = box_.closing(box_.context, number); answer != 0) {
    if (box_.checkBox) box_.checked = IsDlgButtonChecked(window_, kCheckBox) == BST_CHECKED;
    EndDialog(window_, answer);
  }
}

INT_PTR BoxWindow::colourLink(HDC context) const {
  SetTextColor(context, GetSysColor(COLOR_HOTLIGHT));
  SetBkMode(context, TRANSPARENT);
  return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_BTNFACE));
}

int32_t runDialog(MessageDialog& box) {
  return BoxWindow(box).run();
}

// Centres the next system box of this thread that has the title. The hook is the thread's own, and boxes may
// nest: each waits for its own title.
class Centring {
 public:
  Centring(HWND parent, const WCHAR* title) : parent_(parent), title_(title), outer_(innermost) {
    innermost = this;
    hook_ = SetWindowsHookExW(WH_CBT, procedure, nullptr, GetCurrentThreadId());
  }
  ~Centring() {
    takeOff();
    innermost = outer_;
  }
  Centring(const Centring&) = delete;
  Centring& operator=(const Centring&) = delete;

 private:
  void takeOff() {
    if (hook_) UnhookWindowsHookEx(hook_);
    hook_ = nullptr;
  }

  bool isMine(HWND window) const {
    constexpr int kCapacity = 512;
    WCHAR text[kCapacity] = {};
    GetClassNameW(window, text, kCapacity);
    if (lstrcmpW(text, TEXT("#32770")) != 0) return false;
    GetWindowTextW(window, text, kCapacity);
    return wcsncmp(text, title_, kCapacity - 1) == 0;
  }

  // A box has its title and its size by the time it is activated, not yet when its window is made.
  static LRESULT CALLBACK procedure(int code, WPARAM w, LPARAM l) {
    Centring* self = innermost;
    const HWND window = reinterpret_cast<HWND>(w);
    if (self && code == HCBT_ACTIVATE && self->isMine(window)) {
      centre(window, self->parent_);
      self->takeOff();
    }
    return CallNextHookEx(nullptr, code, w, l);
  }

  static thread_local Centring* innermost;

  HWND parent_;
  const WCHAR* title_;
  Centring* outer_;
  HHOOK hook_ = nullptr;
};
thread_local Centring* Centring::innermost = nullptr;

// The system-modal stop box comes when the system is in trouble: nothing of ours gets into its way.
int32_t systemBox(HWND parent, const WCHAR* text, const WCHAR* title, uint32_t flags) {
  constexpr uint32_t kLastResort = MB_SYSTEMMODAL | MB_ICONHAND;
  if (flags == kLastResort) return MessageBoxW(parent, text, title, flags);
  const Centring centring(parent, title);
  return MessageBoxW(parent, text, title, flags);
}

// From the system's folder, so that the browser doesn't hold the application's.
void openAddress(const WCHAR* address) {
  WCHAR folder[MAX_PATH] = {};
  GetWindowsDirectoryW(folder, MAX_PATH);
  ShellExecuteW(GetDesktopWindow(), TEXT("open"), address, nullptr, folder, SW_SHOWDEFAULT);
}

constexpr MessageCalls kSystem = {
    runDialog,
    systemBox,
    [](HWND window) { return GetLastActivePopup(window); },
    openAddress,
};

const MessageCalls* inForce = &kSystem;

}  // namespace

const MessageCalls& messageCalls() {
  return *inForce;
}

void setMessageCalls(const MessageCalls* calls) {
  inForce = calls ? calls : &kSystem;
}

}  // namespace qv
