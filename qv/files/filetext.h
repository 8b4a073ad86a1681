// Files as people read them: names in their order, paths that fit their place, sizes and free space.
//
//   WCHAR shown[260];
//   QvCalcPathEllipsisExCtl(label, path, shown, 260, 4);   // C:\media\...\take 7.wav
//   SetWindowTextW(label, shown);
//
// The sizes, QvGetByteSizeText and its like, stand with the other numbers in qv/core/convert.h. What works
// with a window is for the thread that owns it, the rest for any.
#pragma once

#include "qv/api.h"
#include "qv/core/convert.h"
#include "qv/platform/base.h"
#include "qv/platform/window_calls.h"

// Writes the free space of a path's disk in the language in force, as "12.3 Gigabytes", and gives `text`.
// "-- Megabytes" for an empty path and where nobody can tell. `text`: room for 64 characters.
QV_API WCHAR* QvFormatDiskFreeSpace(const WCHAR* path, WCHAR* text);

// The order of two names as the system's file windows show it: "take 9" before "take 10". Negative, 0 or
// positive.
QV_API int32_t QvFilenameLogicalCompare(const WCHAR* a, const WCHAR* b);

// Shortens a path to `width` pixels by writing "..." for the end of its folder; the last name stays whole,
// with the slash before it. A path that fits, that has no slash or whose last name is too wide is copied as
// it is, cut to `capacity`. Always 0.
QV_API int32_t QvCalcPathEllipsisEx(HDC context, const WCHAR* path, WCHAR* text, int32_t capacity,
                                    int32_t width);

// The same in place, for the first 1299 characters of a text. Always 1.
QV_API int32_t QvCalcPathEllipsis(HDC context, WCHAR* text, int32_t capacity, int32_t width);

// The same in the font of a window and for its width less `margin` pixels. 0, or 0x80004005 without a screen.
QV_API HRESULT QvCalcPathEllipsisExCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity,
                                       int32_t margin);

// Writes a path in one of these styles for `width` pixels: 0 the name only, 1 QvCalcPathEllipsisEx, 2 the
// name, shortened at its end, 3 nothing is written, 4 the first 255 characters, shortened at their end. 0, or
// 0x80070057 for another style and null texts. An empty path gives an empty text, in a capacity of 2 or more.
QV_API HRESULT QvFilenameFormat(HDC context, int32_t width, const WCHAR* path, WCHAR* text, int32_t capacity,
                                uint32_t style);

// The same in the font of a window and for its width less 4. A null window gives 0x0004e001, with nothing
// written; no screen 0x80004005.
QV_API HRESULT QvFilenameFormatForCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity,
                                      uint32_t style);

// The same in a font.
QV_API HRESULT QvFilenameFormatForWidth(HFONT font, int32_t width, const WCHAR* path, WCHAR* text,
                                        int32_t capacity, uint32_t style);

// Fits a path to a window's width less `margin` by halving what is shown before "...\" and the name until it
// fits: quicker than QvCalcPathEllipsisExCtl, and shorter. `text` may be `path`. 0, or 0x80070057 for fewer
// than 260 characters of room; 0x80004005 without a screen. If nothing fits, the shortest stands.
QV_API HRESULT QvFitPathToCtl(HWND window, const WCHAR* path, WCHAR* text, int32_t capacity, int32_t margin);
