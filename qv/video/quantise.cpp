#include "qv/video/quantise.h"

#include <string.h>

#include <algorithm>
#include <vector>

#include "qv/frame/status.h"
#include "qv/video/detail/bits.h"
#include "qv/video/detail/quantiser_block.h"

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
