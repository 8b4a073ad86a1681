// A colour table that has as many entries as an index can name. A block's own table may be shorter, so that
// its last indices would read whatever lies behind it; here they are black.
#pragma once

#include <string.h>

#include <algorithm>

#include "qv/video/detail/bits.h"

namespace qv {

class FullPalette {
 public:
  FullPalette(const BITMAPINFOHEADER* header, int32_t type) {
    if (!isPaletteType(type)) return;
    const uint32_t count = std::min<uint32_t>(tableEntries(header), 1u << header->biBitCount);
    memcpy(entries_, colourTable(header), size_t{4} * count);
    memset(entries_ + 4 * count, 0, sizeof entries_ - size_t{4} * count);
  }
  const uint8_t* entries() const { return entries_; }

 private:
  uint8_t entries_[256 * 4];  // left as it is for types without a table
};

}  // namespace qv
