#include "qv/platform/window_calls.h"

namespace qv {
namespace {

constexpr UINT kWestern = 1252;

// There is no window to reach: every operation fails as on a handle that is gone.
constexpr WindowCalls kNone = {
    [](HWND, LPCWSTR) { return FALSE; },
    [](HWND, int) { return HWND(); },
    [](HWND) { return 0; },
    [](HWND, LPWSTR, int) { return 0; },
    [](HWND, UINT, WPARAM, LPARAM) { return LRESULT(); },
    [](HWND) { return HWND(); },
    [](HWND) { return HWND(); },
    [](HDC, LPCWSTR, int, SIZE*) { return FALSE; },
    [] { return kWestern; },
    [](HWND, RECT*) { return FALSE; },
    [] { return HDC(); },
    [](HDC) {},
    [](HDC, HFONT) { return HFONT(); },
    [](HDC, LPCWSTR, int, RECT*, UINT) { return 0; },
    [](HWND, UINT, WPARAM, LPARAM) { return FALSE; },
};

const WindowCalls* inForce = &kNone;

}  // namespace

const WindowCalls& windowCalls() {
  return *inForce;
}

void setWindowCalls(const WindowCalls* calls) {
  inForce = calls ? calls : &kNone;
}

}  // namespace qv
