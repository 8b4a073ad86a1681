// The window operations that text helpers use, as a table: on Windows the system's, elsewhere failing ones
// until the window system puts its own in place, and a test's own wherever it wants to watch.
//
//   if (!qv::windowCalls().setText(window, TEXT("Ready"))) return 0;
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32
struct HFONT__;
using HFONT = HFONT__*;
#endif

namespace qv {

struct WindowCalls {
  BOOL (*setText)(HWND window, LPCWSTR text);                         // SetWindowTextW
  HWND (*dialogItem)(HWND dialog, int item);                          // GetDlgItem
  int (*textLength)(HWND window);                                     // GetWindowTextLengthW
  int (*text)(HWND window, LPWSTR text, int capacity);                // GetWindowTextW
  LRESULT (*send)(HWND window, UINT message, WPARAM w, LPARAM l);     // SendMessageW
  HWND (*firstChild)(HWND window);                                    // GetWindow(GW_CHILD)
  HWND (*nextSibling)(HWND window);                                   // GetWindow(GW_HWNDNEXT)
  BOOL (*measure)(HDC context, LPCWSTR text, int count, SIZE* size);  // GetTextExtentPoint32W
  UINT (*ansiCodePage)();                                             // GetACP
  BOOL (*clientRect)(HWND window, RECT* client) = nullptr;            // GetClientRect
  HDC (*screen)() = nullptr;                                          // GetDC(nullptr)
  void (*releaseScreen)(HDC context) = nullptr;                       // ReleaseDC(nullptr, …)
  HFONT (*selectFont)(HDC context, HFONT font) = nullptr;             // SelectObject
  int (*drawText)(HDC context, LPCWSTR text, int count, RECT* box, UINT flags) = nullptr;  // DrawTextW
  BOOL (*post)(HWND window, UINT message, WPARAM w, LPARAM l) = nullptr;                   // PostMessageW
};

// The table in use.
const WindowCalls& windowCalls();

// Null puts the system's back. Start-up's and tests': no other thread may be calling windows.
void setWindowCalls(const WindowCalls* calls);

}  // namespace qv
