// Palettes: from a colour to the nearest index.
//
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
