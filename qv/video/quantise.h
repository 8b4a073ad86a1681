// Palettes: the colours that serve a picture best, and from a colour to the nearest index.
//
//   QvDibQuantizePalette(paletteImage, photograph, nullptr, nullptr, 0, QVCOPY_QUALITY_SMOOTH);
//   void* table = nullptr;
//   HRESULT status = QvDibCreateColorQuantizer(&table, paletteImage);
//   if (FAILED(status)) return status;
//   context.inverseTable = static_cast<const uint8_t*>(table);
//   ...
//   GlobalUnlock(GlobalHandle(table));
//   GlobalFree(GlobalHandle(table));
#pragma once

#include "qv/api.h"
#include "qv/platform/gdi.h"
#include "qv/platform/win32.h"

// Builds the table of 32 by 32 by 32 palette indices that every write to a palette image looks up: the index
// of the entry that is nearest by steps along the three colour axes. table: takes the block, 32,768 bytes
// indexed by (red5 << 10) + (green5 << 5) + blue5, which the caller unlocks and frees; null after a failure.
// header: a palette image's, with its colour table behind it. 0x80070057 when biClrUsed is 0, 0x8007000e
// without memory. Any thread.
// Index 255 also marks an open cell, so the last entry of a full palette loses its cells to its neighbours.
QV_API HRESULT QvDibCreateColorQuantizer(void** table, const BITMAPINFOHEADER* header);

// Chooses a palette for a picture, or a rectangle of it: as many colours as the palette has entries, or
// somewhat fewer, each the middle of a box of a cube with 32 steps a channel. palette: an image of type 23 or
// 24; entries of its colour table are replaced from the first on, and what is not needed stays, as does
// biClrUsed. src: of types 16 to 33; srcPixels, srcRect, srcStride: null, null and 0 for its own pixels, all
// of them, in packed rows. mode: the mode word of the pixel engine. 0, also when the rectangle is empty;
// 0x80004001 for other types; 0x80070057 when biClrUsed is 0; 0x8007000e without memory. Any thread.
QV_API HRESULT QvDibQuantizePalette(BITMAPINFOHEADER* palette, const BITMAPINFOHEADER* src,
                                    const void* srcPixels, const RECT* srcRect, int32_t srcStride,
                                    uint32_t mode);
