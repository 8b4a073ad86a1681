#include "qv/platform/screen_resources.h"

namespace qv {
namespace {

// Without a window system nothing can be shown or measured.
constexpr ScreenResourceCalls kNone = {
    [](HINSTANCE, const DLGTEMPLATE*, HWND, DLGPROC, LPARAM) { return HWND(); },
    [](HINSTANCE, LPCWSTR, HWND, DLGPROC, LPARAM) { return HWND(); },
    [](HINSTANCE, const DLGTEMPLATE*, HWND, DLGPROC, LPARAM) { return INT_PTR{-1}; },
    [](HINSTANCE, LPCWSTR, HWND, DLGPROC, LPARAM) { return INT_PTR{-1}; },
    [] { return HWND(); },
    [](HWND, RECT*) { return FALSE; },
    [](HWND) { return FALSE; },
    [](const DialogFont&, LPCWSTR, FontMeasure*) { return false; },
    [](const void*, const void*) { return HBITMAP(); },
    [](HINSTANCE, LPCWSTR) { return HBITMAP(); },
    [](HINSTANCE, LPCWSTR) { return HICON(); },
    [](HINSTANCE, LPCWSTR, UINT, int, int, UINT) { return HANDLE(); },
    [](HINSTANCE, LPCWSTR, int, int, COLORREF, UINT, UINT) { return HIMAGELIST(); },
};

const ScreenResourceCalls* inForce = &kNone;

}  // namespace

const ScreenResourceCalls& screenResourceCalls() {
  return *inForce;
}

void setScreenResourceCalls(const ScreenResourceCalls* calls) {
  inForce = calls ? calls : &kNone;
}

}  // namespace qv
