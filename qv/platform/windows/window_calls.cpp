#include "qv/platform/window_calls.h"

namespace qv {
namespace {

constexpr WindowCalls kSystem = {
    [](HWND window, LPCWSTR text) { return SetWindowTextW(window, text); },
    [](HWND dialog, int item) { return GetDlgItem(dialog, item); },
    [](HWND window) { return GetWindowTextLengthW(window); },
    [](HWND window, LPWSTR text, int capacity) { return GetWindowTextW(window, text, capacity); },
    [](HWND window, UINT message, WPARAM w, LPARAM l) { return SendMessageW(window, message, w, l); },
    [](HWND window) { return GetWindow(window, GW_CHILD); },
    [](HWND window) { return GetWindow(window, GW_HWNDNEXT); },
    [](HDC context, LPCWSTR text, int count, SIZE* size) {
      return GetTextExtentPoint32W(context, text, count, size);
    },
    [] { return GetACP(); },
    [](HWND window, RECT* client) { return GetClientRect(window, client); },
    [] { return GetDC(nullptr); },
    [](HDC context) { ReleaseDC(nullptr, context); },
    [](HDC context, HFONT font) { return static_cast<HFONT>(SelectObject(context, font)); },
    [](HDC context, LPCWSTR text, int count, RECT* box, UINT flags) {
      return DrawTextW(context, text, count, box, flags);
    },
    [](HWND window, UINT message, WPARAM w, LPARAM l) { return PostMessageW(window, message, w, l); },
};

const WindowCalls* inForce = &kSystem;

}  // namespace

const WindowCalls& windowCalls() {
  return *inForce;
}

void setWindowCalls(const WindowCalls* calls) {
  inForce = calls ? calls : &kSystem;
}

}  // namespace qv
