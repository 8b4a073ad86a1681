// 8-bit text: the process's multi-byte code page, and guessing the code page of bytes.
//
//   if (_getmbcp() != 0 && _mbbtype(byte, 0) == 1) { /* the first byte of a pair */ }
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

// The run-time's own header defines macros under the names that the C++ library uses for itself.
extern "C" {
__declspec(dllimport) int __cdecl _getmbcp(void);
__declspec(dllimport) int __cdecl _setmbcp(int codePage);
__declspec(dllimport) int __cdecl _mbbtype(unsigned char byte, int type);
}

#else

// The process's double-byte code page, 0 when it has none. On Linux 8-bit text is UTF-8, so it is 0 until
// _setmbcp chooses one.
QV_API int _getmbcp();
// Chooses 932, 936, 949 or 950, or 0 for none; 0, or -1 for any other page.
QV_API int _setmbcp(int codePage);
// With type 1 (the byte before was a lead byte): 2 when `byte` may end a pair, -1 when not. Else: 1 for a
// lead byte, 0 for a single one.
QV_API int _mbbtype(unsigned char byte, int type);

#endif

namespace qv::platform {

// A code page that bytes may be in. Percent is the share of the text in it, confidence 100 or more a sure
// guess.
struct DetectedCodePage {
  uint32_t codePage;
  int32_t documentPercent;
  int32_t confidence;
};

// Guesses the code page of 8-bit text: up to `*found` results, best first, and `*found` becomes their number.
// A failure of making the system's detector is its status; one that can't tell finds none. Any thread that
// initialised COM.
HRESULT detectCodePages(const uint8_t* bytes, int32_t count, DetectedCodePage* results, int32_t* found);

}  // namespace qv::platform
