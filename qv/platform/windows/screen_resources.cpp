#include "qv/platform/screen_resources.h"

namespace qv {
namespace {

// A screen context with a font chosen, both gone at the end.
class FontContext {
 public:
  explicit FontContext(const DialogFont& font) : context_(GetDC(nullptr)) {
    if (context_ == nullptr) return;
    const int height = -MulDiv(font.points, GetDeviceCaps(context_, LOGPIXELSY), 72);
    font_ = CreateFontW(height, 0, 0, 0, font.weight, font.italic, FALSE, FALSE, font.charset,
                        OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH, font.face);
    before_ = font_ ? SelectObject(context_, font_) : nullptr;
  }
  ~FontContext() {
    if (before_) SelectObject(context_, before_);
    if (font_) DeleteObject(font_);
    if (context_) ReleaseDC(nullptr, context_);
  }
  FontContext(const FontContext&) = delete;
  FontContext& operator=(const FontContext&) = delete;

  HDC context() const { return font_ ? context_ : nullptr; }

 private:
  HDC context_;
  HFONT font_ = nullptr;
  HGDIOBJ before_ = nullptr;
};

bool measureFont(const DialogFont& font, LPCWSTR text, FontMeasure* measure) {
  const FontContext chosen(font);
  SIZE extent;
  TEXTMETRICW metric;
  if (!chosen.context() || !GetTextExtentPoint32W(chosen.context(), text, lstrlenW(text), &extent) ||
      !GetTextMetricsW(chosen.context(), &metric))
    return false;
  *measure = {extent.cx, metric.tmHeight, metric.tmExternalLeading};
  return true;
}

HBITMAP createBitmap(const void* image, const void* pixels) {
  const HDC screen = GetDC(nullptr);
  if (screen == nullptr) return nullptr;
  const auto info = static_cast<const BITMAPINFO*>(image);
  const HBITMAP bitmap = CreateDIBitmap(screen, &info->bmiHeader, CBM_INIT, pixels, info, DIB_RGB_COLORS);
  ReleaseDC(nullptr, screen);
  return bitmap;
}

// The common controls are asked for when they are wanted: most programs never load an image list.
HIMAGELIST loadImageList(HINSTANCE module, LPCWSTR name, int width, int grow, COLORREF mask, UINT kind,
                         UINT flags) {
  using Load = HIMAGELIST(WINAPI*)(HINSTANCE, LPCWSTR, int, int, COLORREF, UINT, UINT);
  static const HMODULE controls = LoadLibraryW(L"comctl32.dll");
  static const auto load =
      controls ? reinterpret_cast<Load>(GetProcAddress(controls, "ImageList_LoadImageW")) : nullptr;
  return load ? load(module, name, width, grow, mask, kind, flags) : nullptr;
}

constexpr ScreenResourceCalls kSystem = {
    [](HINSTANCE module, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure, LPARAM parameter) {
      return CreateDialogIndirectParamW(module, dialog, parent, procedure, parameter);
    },
    [](HINSTANCE module, LPCWSTR name, HWND parent, DLGPROC procedure, LPARAM parameter) {
      return CreateDialogParamW(module, name, parent, procedure, parameter);
    },
    [](HINSTANCE module, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure, LPARAM parameter) {
      return DialogBoxIndirectParamW(module, dialog, parent, procedure, parameter);
    },
    [](HINSTANCE module, LPCWSTR name, HWND parent, DLGPROC procedure, LPARAM parameter) {
      return DialogBoxParamW(module, name, parent, procedure, parameter);
    },
    [] { return GetDesktopWindow(); },
    [](HWND window, RECT* place) { return GetWindowRect(window, place); },
    [](HWND window) { return DestroyWindow(window); },
    measureFont,
    createBitmap,
    [](HINSTANCE module, LPCWSTR name) { return LoadBitmapW(module, name); },
    [](HINSTANCE module, LPCWSTR name) { return LoadIconW(module, name); },
    [](HINSTANCE module, LPCWSTR name, UINT kind, int width, int height, UINT flags) {
      return LoadImageW(module, name, kind, width, height, flags);
    },
    loadImageList,
};

const ScreenResourceCalls* inForce = &kSystem;

}  // namespace

const ScreenResourceCalls& screenResourceCalls() {
  return *inForce;
}

void setScreenResourceCalls(const ScreenResourceCalls* calls) {
  inForce = calls ? calls : &kSystem;
}

}  // namespace qv
