// The image header and its colour entries under the platform's names.
//
// On Windows this is the SDK. Elsewhere the same records stand with the same layout, so that an image block
// written by one build is read by the other.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <windows.h>

#else

struct RGBQUAD {
  BYTE rgbBlue, rgbGreen, rgbRed, rgbReserved;
};
struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth, biHeight;
  WORD biPlanes, biBitCount;
  DWORD biCompression, biSizeImage;
  LONG biXPelsPerMeter, biYPelsPerMeter;
  DWORD biClrUsed, biClrImportant;
};
struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
};
static_assert(sizeof(BITMAPINFOHEADER) == 40 && sizeof(RGBQUAD) == 4 && sizeof(BITMAPINFO) == 44);

#define BI_RGB 0u
#define BI_BITFIELDS 3u

#endif
