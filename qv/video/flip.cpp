// Mirroring and channel exchange in place, on raw pixel bytes.
#include <stdlib.h>

#include <algorithm>

#include "qv/frame/status.h"
#include "qv/video/detail/bits.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/rows.h"
#include "qv/video/dib.h"

namespace qv {
namespace {

struct Block {
  int64_t width, height;
};

// The size that the rectangle keeps inside the image. Its origin is not used: the block starts at the pixels.
Block blockSize(const BITMAPINFOHEADER* header, const RECT* rect) {
  if (rect == nullptr) return {header->biWidth, header->biHeight};
  const int64_t left = std::max<int64_t>(rect->left, 0), top = std::max<int64_t>(rect->top, 0);
  return {std::min<int64_t>(rect->right, header->biWidth) - left,
          std::min<int64_t>(rect->bottom, header->biHeight) - top};
}

bool flips(int32_t type) {
  return type >= QVPT_PAL4 && type <= QVPT_RGB10A2 && type != QVPT_A2RGB10 && type != QVPT_RGBAF128 &&
         type != QVPT_RGB10A2;
}

void exchangeRows(uint8_t* bits, int64_t stride, int64_t height) {
  const auto swapRows = rowForms().swapRows;
  const int64_t bytes = std::abs(stride);
  parallelRows(height / 2, 2 * bytes, [=](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y)
      swapRows(bits + y * stride, bits + (height - 1 - y) * stride, bytes);
  });
}

using RowLoop = void (*)(uint8_t* row, int64_t count);

void eachRow(uint8_t* bits, int64_t stride, Block block, RowLoop loop) {
  parallelRows(block.height, std::abs(stride), [=](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) loop(bits + y * stride, block.width);
  });
}

RowLoop mirrorLoop(uint32_t bitCount) {
  if (bitCount == 24) return rowForms().mirror24;
  return bitCount == 32 ? rowForms().mirror32 : nullptr;
}

RowLoop redBlueLoop(int32_t type) {
  const RowForms& forms = rowForms();
  if (type == QVPT_RGB24) return forms.swapRedBlue24;
  if (type == QVPT_RGB32 || type == QVPT_RGBA32) return forms.swapRedBlue32;
  return type == QVPT_RGBAF128 ? forms.swapRedBlueFloat : nullptr;
}

}  // namespace
}  // namespace qv

HRESULT QvDibFlip(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                  uint32_t horizontal, uint32_t vertical) {
  using namespace qv;
  const int32_t type = QvGetPixelType(header);
  if (type < QVPT_PAL4 || type > QVPT_RGB10A2) return kUnsupported;
  const Block block = blockSize(header, rect);
  if (block.width < 1 || block.height < 1) return kOk;
  if (QvGetPixelBitsPerChannel(type, nullptr) == 0) return kInvalidArgument;
  if (!flips(type)) return kUnsupported;
  uint8_t* bits = getBits(header, pixels);
  const int64_t step = rowStride(header, stride);
  if (vertical != 0) exchangeRows(bits, step, block.height);
  if (horizontal == 0) return kOk;
  const RowLoop loop = mirrorLoop(header->biBitCount);
  if (loop == nullptr) return kUnsupported;
  eachRow(bits, step, block, loop);
  return kOk;
}

HRESULT QvDibSwapRB(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride) {
  using namespace qv;
  const RowLoop loop = redBlueLoop(QvGetPixelType(header));
  if (loop == nullptr) return kUnsupported;
  const Block block = blockSize(header, rect);
  if (block.width < 1 || block.height < 1) return kOk;
  eachRow(getBits(header, pixels), rowStride(header, stride), block, loop);
  return kOk;
}
