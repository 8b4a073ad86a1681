#include "qv/video/quantise.h"

#include <string.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "qv/frame/status.h"
#include "qv/video/detail/bits.h"
#include "qv/video/detail/image.h"
#include "qv/video/detail/palette.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/quantiser_block.h"
#include "qv/video/detail/rows.h"

namespace qv {
namespace {

constexpr int32_t kSide = 32, kCells = kSide * kSide * kSide;
constexpr uint8_t kOpen = 0xff;

// Grows regions outwards from the palette's own cells, one step in every direction at a time. A cell goes to
// whoever reaches it first, in scanning order.
class RegionGrower {
 public:
  RegionGrower(uint8_t* table, uint8_t* generation) : table_(table), generation_(generation) {
    memset(table_, kOpen, kCells);
    memset(generation_, 0, kCells);
    frontier_.reserve(kCells);
    next_.reserve(kCells);
  }

  void seed(const uint8_t* entries, uint32_t count) {
    current_ = 1;
    for (uint32_t i = 0; i < count; ++i, entries += 4) {
      take((entries[2] >> 3) * 1024 + (entries[1] >> 3) * 32 + (entries[0] >> 3), static_cast<uint8_t>(i));
    }
    advance();
  }

  void grow() {
    while (open_ > 0 && !frontier_.empty()) {
      const uint8_t previous = current_++;
      for (const uint16_t cell : frontier_) {
        if (generation_[cell] == previous) spread(cell);
      }
      advance();
    }
  }

 private:
  void take(int32_t cell, uint8_t index) {
    if (table_[cell] != kOpen) return;
    table_[cell] = index;
    generation_[cell] = current_;
    next_.push_back(static_cast<uint16_t>(cell));
    --open_;
  }
  void spread(int32_t cell) {
    const uint8_t index = table_[cell];
    const int32_t r = cell >> 10, g = cell >> 5 & 31, b = cell & 31;
    if (r > 0) take(cell - 1024, index);
    if (g > 0) take(cell - 32, index);
    if (b > 0) take(cell - 1, index);
    if (r < kSide - 1) take(cell + 1024, index);
    if (g < kSide - 1) take(cell + 32, index);
    if (b < kSide - 1) take(cell + 1, index);
  }
  // The next round walks the new cells in the order in which they lie.
  void advance() {
    std::sort(next_.begin(), next_.end());
    next_.erase(std::unique(next_.begin(), next_.end()), next_.end());
    frontier_.swap(next_);
    next_.clear();
  }

  uint8_t* table_;
  uint8_t* generation_;
  uint8_t current_ = 0;
  int32_t open_ = kCells;
  std::vector<uint16_t> frontier_, next_;
};

// ---- Choosing a palette

// Which cells of the colour cube a picture uses.
class UsedColours {
 public:
  bool allocate() {
    cells_.reset(new (std::nothrow) uint8_t[kCells]);
    if (cells_ != nullptr) memset(cells_.get(), kOpen, kCells);
    return cells_ != nullptr;
  }
  uint8_t* cells() { return cells_.get(); }

  void mark(const Image& source, const RECT& rect, const QvXchgContext& context) {
    const int64_t rowBytes = widthOf(rect) * source.bits / 8;
    const bool upwards = source.step < 0;
    parallelRows(heightOf(rect), rowBytes, [&](int64_t first, int64_t end) {
      uint8_t own[kCells];
      memset(own, kOpen, kCells);
      for (int64_t i = first; i < end; ++i) {
        const int64_t y = rect.top + (upwards ? first + end - 1 - i : i);
        markRow(own, source.row(y), rect, source, context);
      }
#pragma omp critical(qvUsedColours)
      for (int32_t i = 0; i < kCells; ++i) cells_[static_cast<size_t>(i)] &= own[i];
    });
  }

 private:
  static constexpr uint8_t kUsed = 10;
  static constexpr int64_t kChunk = 512;

  // The cell is the same whatever the route: the top five bits of each channel.
  static void markRow(uint8_t* cells, const uint8_t* row, const RECT& rect, const Image& source,
                      const QvXchgContext& context) {
    if (context.route == QVXCHG_ROUTE_BYTES && source.bits == 32) {
      return mark32(cells, row + int64_t{rect.left} * 4, widthOf(rect));
    }
    const bool exact = (context.flags & QVXCHG_EXACT) != 0;
    const ReadRow read = rowForms().read[exact][source.type - QVPT_PAL1];
    QVPIXEL64 pixels[kChunk];
    for (int64_t done = 0; done < widthOf(rect); done += kChunk) {
      const int64_t now = std::min(kChunk, widthOf(rect) - done), from = (rect.left + done) * source.bits;
      read(pixels, row + from / 8, static_cast<uint32_t>(from % 8), now, context.srcPalette, nullptr);
      for (int64_t x = 0; x < now; ++x) {
        const QVPIXEL64& p = pixels[x];
        cells[((p.red >> 1) & 0x7c00) + ((p.green >> 6) & 0x3e0) + (p.blue >> 11)] = kUsed;
      }
    }
  }
  static void mark32(uint8_t* cells, const uint8_t* p, int64_t count) {
    for (int64_t x = 0; x < count; ++x, p += 4) {
      cells[(p[2] & 248) * 128 + (p[1] >> 3) * 32 + (p[0] >> 3)] = kUsed;
    }
  }

  std::unique_ptr<uint8_t[]> cells_;
};

// Boxes that grow from the dark corner until few enough of them hold all colours. They are larger where it is
// brighter, since dark colours need finer steps. Each pass leaves its mark in the cells that it has been to,
// so the next one, with another mark, finds them untouched.
class BoxSearch {
 public:
  explicit BoxSearch(uint8_t* cells) : cells_(cells) {}

  struct Shape {
    int32_t r, g, b;
    uint8_t mark;
  };
  // Boxes reach upwards only, so colours of which none is above another in all channels stay apart whatever
  // the shape. Where that takes more boxes than there may be, the largest shape is as good as any.
  Shape find(uint32_t most) {
    for (int32_t s = 2; s <= kSide + 1; ++s) {
      const Shape shapes[7] = {{s, s - 1, s - 1, 1}, {s - 1, s, s - 1, 2}, {s - 1, s - 1, s, 3},
                               {s, s, s - 1, 1},     {s, s - 1, s, 2},     {s - 1, s, s, 3},
                               {s, s, s, 4}};
      Shape best = {};
      uint32_t bestCount = 0;
      for (const Shape& shape : shapes) {
        const uint32_t count = pass(shape, nullptr);
        if (count > bestCount && count <= most) {
          best = shape;
          bestCount = count;
        }
      }
      if (bestCount != 0) return best;
    }
    return {kSide, kSide, kSide, 4};
  }
  // The number of boxes; with a palette, the colours of the first `entries` go there.
  uint32_t pass(const Shape& shape, uint8_t* palette, uint32_t entries = 0) {
    uint32_t boxes = 0;
    for (int32_t cell = 0; cell < kCells; ++cell) {
      if (cells_[cell] == kOpen || cells_[cell] == shape.mark) continue;
      const Colour from = {cell >> 10, cell >> 5 & 31, cell & 31};
      const Colour most = take(from, shape);
      if (boxes < entries) writeEntry(palette + 4 * boxes, from, most);
      ++boxes;
    }
    return boxes;
  }

 private:
  struct Colour {
    int32_t r, g, b;
  };
  Colour take(const Colour& from, const Shape& shape) {
    const int32_t t = 96 + from.r + from.g + from.b;
    const Colour end = {std::min(from.r + t * shape.r / 96, kSide),
                        std::min(from.g + t * shape.g / 96, kSide),
                        std::min(from.b + t * shape.b / 96, kSide)};
    Colour most = from;
    for (int32_t r = from.r; r < end.r; ++r) {
      for (int32_t g = from.g; g < end.g; ++g) {
        for (int32_t b = from.b; b < end.b; ++b) {
          uint8_t& cell = cells_[r * 1024 + g * 32 + b];
          if (cell == kOpen || cell == shape.mark) continue;
          cell = shape.mark;
          most = {std::max(most.r, r), std::max(most.g, g), std::max(most.b, b)};
        }
      }
    }
    return most;
  }
  // The middle of what the box holds, in steps of five bits, scaled to eight.
  static void writeEntry(uint8_t* entry, const Colour& from, const Colour& most) {
    const auto middle = [](int32_t a, int32_t b) { return static_cast<uint8_t>(((a + b) & ~1) * 4); };
    entry[0] = middle(most.b, from.b);
    entry[1] = middle(most.g, from.g);
    entry[2] = middle(most.r, from.r);
    entry[3] = 0;
  }

  uint8_t* cells_;
};

}  // namespace

void QuantiserBlock::release() {
  if (table_ == nullptr) return;
  const HGLOBAL handle = GlobalHandle(table_);
  GlobalUnlock(handle);
  GlobalFree(handle);
  table_ = nullptr;
}

HRESULT QuantiserBlock::build(const BITMAPINFOHEADER* header) {
  release();
  return QvDibCreateColorQuantizer(&table_, header);
}

}  // namespace qv

HRESULT QvDibCreateColorQuantizer(void** table, const BITMAPINFOHEADER* header) {
  using namespace qv;
  *table = nullptr;
  if (header->biClrUsed == 0) return kInvalidArgument;
  const HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE, kCells);
  const HGLOBAL work = GlobalAlloc(GMEM_FIXED, kCells);
  void* block = handle != nullptr ? GlobalLock(handle) : nullptr;
  if (block == nullptr || work == nullptr) {
    if (handle != nullptr) GlobalFree(handle);
    if (work != nullptr) GlobalFree(work);
    return kOutOfMemory;
  }
  RegionGrower grower(static_cast<uint8_t*>(block), static_cast<uint8_t*>(work));
  grower.seed(colourTable(header), std::min<uint32_t>(header->biClrUsed, 256));
  grower.grow();
  GlobalFree(work);
  *table = block;
  return kOk;
}

HRESULT QvDibQuantizePalette(BITMAPINFOHEADER* palette, const BITMAPINFOHEADER* src, const void* srcPixels,
                             const RECT* srcRect, int32_t srcStride, uint32_t mode) {
  using namespace qv;
  const Image source = imageOf(src, srcPixels, srcStride);
  if (!isEngineType(source.type)) return kUnsupported;
  const RECT rect = srcRect != nullptr ? intersect(*srcRect, wholeImage(src)) : wholeImage(src);
  if (isEmpty(rect)) return kOk;
  const int32_t type = QvGetPixelType(palette);
  if (!isPaletteType(type)) return kUnsupported;
  if (palette->biClrUsed == 0) return kInvalidArgument;
  QvXchgContext context;
  const HRESULT status = QvXCHGGetFunctionPointers(type, source.type, mode, &context, nullptr, 0.0, 0.0);
  if (FAILED(status)) return status;
  const FullPalette colours(src, source.type);
  context.srcPalette = colours.entries();
  UsedColours used;
  if (!used.allocate()) return kOutOfMemory;
  used.mark(source, rect, context);
  BoxSearch search(used.cells());
  const uint32_t entries = std::min<uint32_t>(palette->biClrUsed, 1u << palette->biBitCount);
  BoxSearch::Shape shape = search.find(entries);
  shape.mark = 5;
  search.pass(shape, reinterpret_cast<uint8_t*>(palette) + palette->biSize, entries);
  return kOk;
}
