// Image blocks: one contiguous block of header, colour table or masks, and pixel rows.
//
// Nothing but the header says what an image is. Bit count and compression word name one of thirty pixel
// types, so an image travels as a plain BITMAPINFO pointer. Rows are stored bottom-up; coordinates at this
// interface run from the top-left corner. Wherever pixels can be passed apart from the header, a null pixel
// pointer means the pixels in the block and a stride of 0 the packed row, rounded up to four bytes.
//
//   BITMAPINFO* image = nullptr;
//   HRESULT status = QvDibAlloc(&image, QVPT_RGBA32, 640, 480, nullptr, 0, QVDIB_ZERO, 0);
//   if (FAILED(status)) return status;
//   QVPIXEL64 orange = {0, 0x8000, 0xffff, 0xffff};  // blue, green, red, alpha
//   QvDibSetPixel(&image->bmiHeader, nullptr, 0, 10, 20, &orange);
//   QvDibFree(image, 0);
//
// Everything here works on the caller's memory alone and may be called from any thread, different images at
// the same time. The counters of live images are exact only where images are allocated on one thread.
#pragma once

#include "qv/api.h"
#include "qv/platform/gdi.h"
#include "qv/platform/win32.h"

// Pixel types. Kernel tables are indexed by these codes, so order and holes stay as they are. 34 to 63 are
// unused. Codes from 64 on are YUV layouts.
enum : int32_t {
  QVPT_UNKNOWN = 0,
  QVPT_PAL1 = 16,      // 1 bit; the most significant bit is leftmost
  QVPT_GRAY1 = 17,     // 1-bit grey
  QVPT_GRAY2 = 18,     // 2-bit grey
  QVPT_GRAY4 = 19,     // 4-bit grey
  QVPT_GRAY8 = 20,     // 8-bit grey
  QVPT_GRAY16 = 21,    // 16-bit grey
  QVPT_GRAYF32 = 22,   // float grey, nominal 0.0 to 1.0
  QVPT_PAL4 = 23,      // 4-bit palette, the high nibble is leftmost
  QVPT_PAL8 = 24,      // 8-bit palette
  QVPT_RGB555 = 25,    // blue in bits 0-4, green 5-9, red 10-14
  QVPT_RGB565 = 26,    // blue in bits 0-4, green 5-10, red 11-15
  QVPT_RGB24 = 27,     // bytes blue, green, red
  QVPT_RGB32 = 28,     // bytes blue, green, red, alpha
  QVPT_RGBA32 = 29,    // the same bytes as 28 under the toolkit's own header word
  QVPT_A2RGB10 = 30,   // blue in bits 0-9, green 10-19, red 20-29, alpha 30-31
  QVPT_RGBA64 = 31,    // four 16-bit channels: blue, green, red, alpha
  QVPT_RGBAF128 = 32,  // four floats: blue, green, red, alpha
  QVPT_RGB10A2 = 33,   // alpha in bits 0-1, blue 2-11, green 12-21, red 22-31
  QVPT_UYVY = 64,
  QVPT_YUYV = 65,
  QVPT_Y41B = 66,
  QVPT_I420 = 67,
  QVPT_v210 = 68,
  QVPT_P010 = 69,
  QVPT_PL10 = 70,
  QVPT_P210 = 71,
  QVPT_P410 = 72,
  QVPT_NV12 = 73,
  QVPT_YV12 = 74,
  QVPT_YV16 = 75,
};

// A compression word from its four characters in memory order.
constexpr uint32_t QvFourCC(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<uint8_t>(a)) |
         static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}
inline constexpr uint32_t QVFOURCC_QVDB = QvFourCC('Q', 'V', 'D', 'B');  // with alpha
inline constexpr uint32_t QVFOURCC_QVGS = QvFourCC('Q', 'V', 'G', 'S');  // grey
inline constexpr uint32_t QVFOURCC_IYUV = QvFourCC('I', 'Y', 'U', 'V');  // another name of I420

// Flags of QvDibAlloc. Negative flags ask for the checked form of allocation and release.
inline constexpr int32_t QVDIB_ZERO = 1;
inline constexpr int32_t QVDIB_CHECKED = INT32_MIN;

// One pixel with four 16-bit channels, full scale 65535.
struct QVPIXEL64 {
  uint16_t blue, green, red, alpha;
};
static_assert(sizeof(QVPIXEL64) == 8);

// What a pixel type says about its values, beyond the header.
struct QVBITATTRIBS {
  uint32_t recordSize;  // 64
  int32_t pixelClass;   // 4096 for grey types, else -1
  uint32_t zero;
  int32_t minusOne;
  double lowest;   // 0.0
  double highest;  // 1.0
  uint8_t reserved[32];
};
static_assert(sizeof(QVBITATTRIBS) == 64 && offsetof(QVBITATTRIBS, lowest) == 16 &&
              offsetof(QVBITATTRIBS, reserved) == 32);

// Keeps its place as an entry point; does nothing.
QV_API void QvDib_Initialize();

// Anchors this code for the linker: zeroes the module's markers and returns 0.
QV_API int32_t QvVideoDSP_ForceExternRef();

// The number of set bits in value.
QV_API uint32_t QvCountBits(uint32_t value);

// A mask of `count` bits from bit `first` upwards; 0 when first + count is not above first (both signed).
QV_API uint32_t QvCreateBitMask(int32_t first, uint32_t count);

// The pixel type that a header describes; 0 when it is none of ours. header: not null.
// Three 10-bit masks always mean QVPT_RGB10A2; QVPT_A2RGB10 is reached only by naming the code.
QV_API int32_t QvGetPixelType(const BITMAPINFOHEADER* header);

// 1 if the header's pixels are not stored plainly. With one of the four plain compression words (0, 3,
// "QVDB", "QVGS") that is so exactly when QvGetPixelType finds no type; with any other it is always so.
QV_API int32_t QvVideo_IsCompressed(const BITMAPINFOHEADER* header);

// Bits per pixel of an RGB-side type, and the widths of its four channels. widths: 4 bytes, may be null.
// 0 and four zero bytes for every other code, YUV layouts included.
QV_API uint32_t QvGetPixelBitsPerChannel(int32_t pixelType, uint8_t* widths);

// What a header of this type carries. Each out pointer may be null. compression: the compression word.
// attribs: filled when attribsSize, its size in bytes, is at least 64; a smaller one gives 0. masks: red,
// green, blue, or three zeros. Returns bits per pixel (nominal for the 10-bit YUV layouts), 0 for a code that
// stands for nothing.
QV_API uint32_t QvPixelTypeToBitAttribs(int32_t pixelType, uint32_t* compression, QVBITATTRIBS* attribs,
                                        uint32_t attribsSize, uint32_t* masks);

// Fills a header, with its masks or colour table behind it.
// info: room for 40 bytes and the masks or table. width, height: pixels. entries: entryCount colour entries,
// or null. imageBytes: takes the bytes of the pixels; may be null. Without entries and with a count of 0, a
// type of at most 8 bits gets a table of one entry fewer than it can index.
// 0x80070057 for a null record, an unusable type, or an image whose stride or size does not fit its field.
QV_API HRESULT QvVideo_InitBitmapInfo(BITMAPINFO* info, int32_t pixelType, uint32_t width, uint32_t height,
                                      const RGBQUAD* entries, uint32_t entryCount, uint32_t* imageBytes);

// Turns `count` 4-byte colour entries from one channel order into the other, the fourth byte becoming zero.
// Nothing happens for a count below 1. The two blocks may be the same.
QV_API void QvVideo_PaletteRGBAFromEntry(uint8_t* destination, const uint8_t* source, int32_t count);
QV_API void QvVideo_PaletteEntryFromRGBA(uint8_t* destination, const uint8_t* source, int32_t count);

// The name of a compression word for display. text: `size` characters, may be null. A word that has no name
// is written as its four characters, which takes five characters whatever the size says. Returns 0.
QV_API HRESULT QvVideo_GetFormatText(uint32_t compression, WCHAR* text, int32_t size);

// "640x480x32": width, height and bits of a header. text: `size` characters, may be null. Returns 0.
QV_API HRESULT QvVideo_GetAttribsText(const BITMAPINFOHEADER* header, WCHAR* text, uint32_t size);
QV_API HRESULT QvVideo_GetAttribsTextEx(const BITMAPINFOHEADER* header, uint64_t unused, WCHAR* text,
                                        uint32_t size);

// QvVideo_InitBitmapInfo, with the bytes of header and table (or masks) reported too. headerBytes,
// imageBytes: may be null.
QV_API HRESULT QvDibInfo(uint32_t* headerBytes, uint32_t* imageBytes, BITMAPINFO* info, int32_t pixelType,
                         uint32_t width, uint32_t height, const RGBQUAD* entries, uint32_t entryCount);

// Allocates an image block. image: takes the block, which the caller gives back through QvDibFree; null after
// a failure. flags: QVDIB_ZERO for zeroed pixels (they hold anything otherwise); negative flags use the
// checked form. tag: names the block in diagnostics; 0 takes the caller's address. 0x80070057 as
// QvVideo_InitBitmapInfo, before anything is allocated; 0x8007000e when there is no memory.
QV_API HRESULT QvDibAlloc(BITMAPINFO** image, int32_t pixelType, uint32_t width, uint32_t height,
                          const RGBQUAD* entries, uint32_t entryCount, int32_t flags, uint64_t tag);

// Gives an image block back. image: from QvDibAlloc, or null, which does nothing. flags: negative for the
// checked form, which leaves a block alone that the heap does not know. Returns 0.
QV_API HRESULT QvDibFree(BITMAPINFO* image, int32_t flags);

// Mirrors a block of pixels in place, left to right and top to bottom as the two truth values say.
// rect: its size counts, clipped to the image, its origin does not: the block is the one at the start of the
// pixels. Null means the whole image. stride: bytes, 0 for packed. Rows are exchanged by whole strides.
// 0x80004001 for types outside 23 to 33, for 30, 32 and 33, and, after the rows have been exchanged, when the
// pixels to be mirrored left to right are not of 24 or 32 bits.
QV_API HRESULT QvDibFlip(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                         uint32_t horizontal, uint32_t vertical);

// Exchanges red and blue in place. rect, stride: as in QvDibFlip. 0x80004001 for types other than 27, 28, 29
// and 32.
QV_API HRESULT QvDibSwapRB(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride);

// Reads or writes one pixel of types 16 to 33. pixels: null for the block's own. stride: bytes, 0 for packed.
// x, y: from the top-left corner. 0x80004001 for other types; outside the image reading gives 0x80004001,
// writing 0x80070057. A palette image (23, 24) can be read only: QvDibSet finds the index of a colour.
QV_API HRESULT QvDibGetPixel(const BITMAPINFOHEADER* header, const void* pixels, uint32_t stride, int32_t x,
                             int32_t y, QVPIXEL64* pixel);
QV_API HRESULT QvDibSetPixel(const BITMAPINFOHEADER* header, void* pixels, uint32_t stride, int32_t x,
                             int32_t y, const QVPIXEL64* pixel);
