// What of a module's resources wants a window system: dialogs, pictures, and how wide a font's characters
// are. A table: on Windows the system's operations, elsewhere failing ones until the window system puts its
// own in place, and a test's own wherever it wants to watch.
//
//   HWND dialog = qv::screenResourceCalls().createDialog(module, bytes, parent, procedure, 0);
#pragma once

#include "qv/platform/base.h"
#include "qv/platform/gdi.h"

#ifdef _WIN32

#include <commctrl.h>

#else

struct HBITMAP__;
using HBITMAP = HBITMAP__*;
struct HICON__;
using HICON = HICON__*;
struct HIMAGELIST__;
using HIMAGELIST = HIMAGELIST__*;
using DLGPROC = INT_PTR(CALLBACK*)(HWND dialog, UINT message, WPARAM w, LPARAM l);

// The head of a plain dialog template; menu, class and title follow it.
#pragma pack(push, 2)
struct DLGTEMPLATE {
  DWORD style;
  DWORD dwExtendedStyle;
  WORD cdit;
  SHORT x, y, cx, cy;
};
#pragma pack(pop)
static_assert(sizeof(DLGTEMPLATE) == 18);

#define RT_ACCELERATOR MAKEINTRESOURCEW(9)
#define RT_BITMAP MAKEINTRESOURCEW(2)
#define RT_DIALOG MAKEINTRESOURCEW(5)
#define RT_MENU MAKEINTRESOURCEW(4)
constexpr DWORD DS_SETFONT = 0x40, SS_TYPEMASK = 0x1f, SS_BITMAP = 14;

#endif

namespace qv {

// A font as a dialog asks for it.
struct DialogFont {
  const WCHAR* face = nullptr;
  int32_t points = 0;
  int32_t weight = 400;
  uint8_t charset = 1;
  bool italic = false;
};

// How the screen shows it: the extent of a text, and a line's height, in pixels.
struct FontMeasure {
  int32_t extent = 0;
  int32_t height = 0;
  int32_t externalLeading = 0;
};

struct ScreenResourceCalls {
  HWND (*createDialog)
  (HINSTANCE module, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure,
   LPARAM parameter);  // CreateDialogIndirectParamW
  HWND (*createNamedDialog)
  (HINSTANCE module, LPCWSTR name, HWND parent, DLGPROC procedure,
   LPARAM parameter);  // CreateDialogParamW
  INT_PTR (*runDialog)
  (HINSTANCE module, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure,
   LPARAM parameter);  // DialogBoxIndirectParamW
  INT_PTR (*runNamedDialog)
  (HINSTANCE module, LPCWSTR name, HWND parent, DLGPROC procedure,
   LPARAM parameter);  // DialogBoxParamW
  HWND (*desktop)();   // GetDesktopWindow
  BOOL (*windowRect)(HWND window, RECT* place);
  BOOL (*destroyWindow)(HWND window);
  // Measures a text in a font of the screen; false without a screen.
  bool (*measureFont)(const DialogFont& font, LPCWSTR text, FontMeasure* measure);
  // A bitmap for the screen from a packed image; `image` begins with the header.
  HBITMAP (*createBitmap)(const void* image, const void* pixels);
  HBITMAP (*loadBitmap)(HINSTANCE module, LPCWSTR name);
  HICON (*loadIcon)(HINSTANCE module, LPCWSTR name);
  HANDLE (*loadImage)(HINSTANCE module, LPCWSTR name, UINT kind, int width, int height, UINT flags);
  HIMAGELIST (*loadImageList)
  (HINSTANCE module, LPCWSTR name, int width, int grow, COLORREF mask, UINT kind, UINT flags);
};

// The table in use.
const ScreenResourceCalls& screenResourceCalls();

// Null puts the system's back. Start-up's and tests': no other thread may be using the table.
void setScreenResourceCalls(const ScreenResourceCalls* calls);

}  // namespace qv
