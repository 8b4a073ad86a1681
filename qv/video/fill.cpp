// Filling with one colour, and fading towards one.
#include <string.h>

#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/detail/image.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/quantiser_block.h"
#include "qv/video/detail/rows.h"
#include "qv/video/kernels.h"

namespace qv {
namespace {

struct Colour {
  float channel[4];  // blue, green, red, alpha
};

float unitOrZero(float v) {
  v = v > 0.0f ? v : 0.0f;
  return v < 1.0f ? v : 1.0f;
}

// The colour in the pivot form of the context's route, four times for the four-pixel writes.
void loadColour(QvXchgContext* context, const Colour& colour) {
  uint16_t wide[4];
  for (int i = 0; i < 4; ++i) wide[i] = static_cast<uint16_t>(unitOrZero(colour.channel[i]) * 65535.0f);
  for (int pixel = 0; pixel < 4; ++pixel) {
    if (context->route == QVXCHG_ROUTE_FLOAT) {
      memcpy(context->pivot.floats[pixel], colour.channel, sizeof colour.channel);
    } else if (context->route == QVXCHG_ROUTE_PIVOT16) {
      memcpy(&context->pivot.pixels[pixel], wide, sizeof wide);
    } else {
      for (int i = 0; i < 4; ++i) {
        context->pivot.bytes[pixel][i] = static_cast<uint8_t>(unitOrZero(colour.channel[i]) * 255.0f);
      }
    }
  }
}

void writePixels(QvXchgContext* context, uint8_t* row, int64_t x, int64_t count, uint32_t bits) {
  context->writePtr = row + x * bits / 8;
  context->writeBit = static_cast<uint32_t>(x * bits % 8);
  for (; count >= 4; count -= 4) context->write4(context);
  for (; count > 0; --count) context->write1(context);
}

// Types of less than a byte: single pixels up to a whole byte, bytes, and the rest.
void fillPackedRow(QvXchgContext context, uint8_t* row, int64_t left, int64_t right, uint32_t bits) {
  const int64_t perByte = 8 / bits;
  const int64_t firstWhole = std::min(right, (left + perByte - 1) / perByte * perByte);
  const int64_t endWhole = std::max(firstWhole, right / perByte * perByte);
  uint8_t pattern = 0;
  writePixels(&context, &pattern, 0, perByte, bits);
  writePixels(&context, row, left, firstWhole - left, bits);
  memset(row + firstWhole / perByte, pattern, static_cast<size_t>((endWhole - firstWhole) / perByte));
  writePixels(&context, row, endWhole, right - endWhole, bits);
}

void fillRows(const Image& image, const RECT& rect, const QvXchgContext& context) {
  if (image.bits < 8) {
    for (int64_t y = rect.top; y < rect.bottom; ++y) {
      fillPackedRow(context, image.row(y), rect.left, rect.right, image.bits);
    }
    return;
  }
  const int64_t pixelBytes = image.bits / 8, bytes = widthOf(rect) * pixelBytes;
  uint8_t pattern[kPatternBytes];
  QvXchgContext own = context;
  writePixels(&own, pattern, 0, kPatternBytes / pixelBytes, image.bits);
  const auto fill = rowForms().fillPattern;
  parallelRows(heightOf(rect), bytes, [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y)
      fill(image.row(rect.top + y) + rect.left * pixelBytes, bytes, pattern);
  });
}

RECT clippedPixels(const BITMAPINFOHEADER* header, const RECT* rect, uint32_t flags) {
  if (rect == nullptr) return wholeImage(header);
  return intersect((flags & QVCOPY_SUBPIXEL) != 0 ? toPixels(*rect) : *rect, wholeImage(header));
}

// Whole pixels in 18.14; what lies beyond its reach lies outside every image that it can name.
RECT clippedFixed(const BITMAPINFOHEADER* header, const RECT* rect, uint32_t flags) {
  const RECT image = wholeImageFixed(header);
  if (rect == nullptr) return image;
  if ((flags & QVCOPY_SUBPIXEL) != 0) return intersect(*rect, image);
  const RECT inside = intersect(*rect, toPixels(image));
  if (isEmpty(inside)) return {};
  return {inside.left * kOnePixel, inside.top * kOnePixel, inside.right * kOnePixel,
          inside.bottom * kOnePixel};
}

struct Fade {
  Colour colour;
  float amount;
  bool keepAlpha;
};

FadeRow fadeRow(const Fade& fade, int64_t coverX, int64_t coverY) {
  const int64_t whole = static_cast<int32_t>(fade.amount * 16384.0f);
  const int64_t strength = whole * coverX / kOnePixel * coverY / kOnePixel;
  FadeRow row;
  for (int i = 0; i < 4; ++i) {
    row.colour[i] = static_cast<int32_t>(unitOrZero(fade.colour.channel[i]) * 255.0f);
    row.strength[i] = static_cast<int32_t>(strength * 255 / kOnePixel);
  }
  if (fade.keepAlpha) row.strength[3] = 0;
  return row;
}

void fadeBytes(uint8_t* row, const Span& columns, const Fade& fade, int32_t coverY) {
  const auto loop = rowForms().fade32;
  const int64_t inner = int64_t{columns.end} - columns.first - 2;
  loop(row + int64_t{4} * columns.first, 1, fadeRow(fade, columns.firstCover, coverY));
  if (inner > 0) loop(row + int64_t{4} * (columns.first + 1), inner, fadeRow(fade, kOnePixel, coverY));
  if (inner >= 0) loop(row + int64_t{4} * (columns.end - 1), 1, fadeRow(fade, columns.endCover, coverY));
}

void fadeFloats(uint8_t* row, const Span& columns, const Fade& fade, int32_t coverY) {
  constexpr float kPart = 1.0f / kOnePixel;
  const float down = fade.amount * (static_cast<float>(coverY) * kPart);
  const int channels = fade.keepAlpha ? 3 : 4;
  for (int32_t x = columns.first; x < columns.end; ++x) {
    const float weight = down * (static_cast<float>(columns.cover(x)) * kPart);
    float pixel[4];
    memcpy(pixel, row + int64_t{16} * x, sizeof pixel);
    for (int i = 0; i < channels; ++i) pixel[i] += (fade.colour.channel[i] - pixel[i]) * weight;
    memcpy(row + int64_t{16} * x, pixel, sizeof pixel);
  }
}

}  // namespace
}  // namespace qv

HRESULT QvDibSet(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride, float red,
                 float green, float blue, float alpha, uint32_t flags) {
  using namespace qv;
  const Image image = imageOf(header, pixels, stride);
  if (!isEngineType(image.type)) return kUnsupported;
  const RECT inside = clippedPixels(header, rect, flags);
  if (isEmpty(inside)) return kOk;
  QuantiserBlock quantiser;
  if (isPaletteType(image.type)) {
    const HRESULT built = quantiser.build(header);
    if (FAILED(built)) return built;
  }
  QvXchgContext context;
  const HRESULT status = QvXCHGGetFunctionPointers(image.type, image.type, flags & ~QVCOPY_SUBPIXEL, &context,
                                                   nullptr, 0.0, 0.0);
  if (FAILED(status)) return status;
  context.inverseTable = quantiser.table();
  loadColour(&context, {{blue, green, red, alpha}});
  fillRows(image, inside, context);
  return kOk;
}

HRESULT QvDibFillRect(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                      const QVRGBAFLOAT* colour, uint32_t flags) {
  return QvDibSet(header, pixels, rect, stride, colour->red, colour->green, colour->blue, colour->alpha,
                  flags);
}

HRESULT QvDibFillRectChannel() {
  return qv::kUnsupported;
}

HRESULT QvDibFadeToColor(const BITMAPINFOHEADER* header, void* pixels, const RECT* rect, uint32_t stride,
                         const QVRGBAFLOAT* colour, float amount, int32_t keepAlpha, uint32_t flags) {
  using namespace qv;
  const Image image = imageOf(header, pixels, stride);
  const bool floats = image.type == QVPT_RGBAF128;
  if (!floats && image.type != QVPT_RGB32 && image.type != QVPT_RGBA32) return kUnsupported;
  const RECT inside = clippedFixed(header, rect, flags);
  if (isEmpty(inside)) return kOk;
  const Span columns = spanOf(inside.left, inside.right), rows = spanOf(inside.top, inside.bottom);
  const Fade fade = {
      {{colour->blue, colour->green, colour->red, colour->alpha}}, unitOrZero(amount), keepAlpha != 0};
  const auto loop = floats ? fadeFloats : fadeBytes;
  const int64_t rowBytes = (int64_t{columns.end} - columns.first) * image.bits / 8;
  parallelRows(rows.end - rows.first, rowBytes, [&](int64_t first, int64_t end) {
    for (int64_t i = first; i < end; ++i) {
      const int64_t y = rows.first + (image.step < 0 ? first + end - 1 - i : i);
      loop(image.row(y), columns, fade, rows.cover(static_cast<int32_t>(y)));
    }
  });
  return kOk;
}
