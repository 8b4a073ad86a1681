// The addressing rule that all pixel code shares: where the pixels of a block start, how long a row is, and
// which memory row a displayed row is.
#pragma once

#include "qv/video/dib.h"

namespace qv {

inline constexpr uint32_t kStrideMask = 0x1ffffffc;

// A row's bytes, rounded up to a multiple of four. The mask is part of the rule.
inline uint32_t packedStride(uint32_t bits, int64_t width) {
  return static_cast<uint32_t>((static_cast<uint64_t>(bits) * static_cast<uint64_t>(width) + 31) >> 3) &
         kStrideMask;
}

// A stride that a caller gives is a signed figure, also where the interface has it unsigned.
inline int64_t rowStride(const BITMAPINFOHEADER* header, int64_t stride) {
  const int64_t given = static_cast<int32_t>(stride);
  return given != 0 ? given : packedStride(header->biBitCount, header->biWidth);
}

// Entries of the colour table that stand in the block. A plain header of up to 8 bits without a count has a
// full table.
inline uint32_t tableEntries(const BITMAPINFOHEADER* header) {
  const bool full = header->biCompression == BI_RGB && header->biClrUsed == 0 && header->biBitCount >= 1 &&
                    header->biBitCount <= 8;
  return full ? 1u << header->biBitCount : header->biClrUsed;
}

inline constexpr size_t kMaskedHeaderBytes = 52;  // a 40-byte header and three masks, whatever biSize says

inline const uint8_t* colourTable(const BITMAPINFOHEADER* header) {
  return reinterpret_cast<const uint8_t*>(header) + header->biSize;
}

template <typename Byte>
Byte* getBits(const BITMAPINFOHEADER* header, Byte* pixels) {
  if (pixels != nullptr) return pixels;
  uint8_t* start = reinterpret_cast<uint8_t*>(const_cast<BITMAPINFOHEADER*>(header));
  if (header->biCompression == BI_BITFIELDS) return start + kMaskedHeaderBytes;
  return start + header->biSize + size_t{4} * tableEntries(header);
}
inline const uint8_t* getBits(const BITMAPINFOHEADER* header, const void* pixels) {
  return getBits(header, static_cast<const uint8_t*>(pixels));
}
inline uint8_t* getBits(const BITMAPINFOHEADER* header, void* pixels) {
  return getBits(header, static_cast<uint8_t*>(pixels));
}

// The memory row of displayed row y; rows further down the picture are at lower addresses.
inline uint8_t* displayedRow(const BITMAPINFOHEADER* header, void* pixels, int64_t stride, int64_t y) {
  return getBits(header, pixels) + (header->biHeight - y - 1) * rowStride(header, stride);
}
inline const uint8_t* displayedRow(const BITMAPINFOHEADER* header, const void* pixels, int64_t stride,
                                   int64_t y) {
  return getBits(header, pixels) + (header->biHeight - y - 1) * rowStride(header, stride);
}

inline constexpr bool isEngineType(int32_t type) {
  return type >= QVPT_PAL1 && type <= QVPT_RGB10A2;
}
inline constexpr bool isPaletteType(int32_t type) {
  return type == QVPT_PAL4 || type == QVPT_PAL8;
}

}  // namespace qv
