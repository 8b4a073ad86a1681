#include "qv/video/interlace.h"

#include <string.h>

#include "qv/frame/status.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/palette.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/quantiser_block.h"
#include "qv/video/detail/rows.h"

namespace qv {
namespace {

constexpr int64_t kChunk = 512;  // pivot pixels

// Cuts both rectangles by what either loses at its image's edges.
void clipTogether(RECT* a, const RECT& imageA, RECT* b, const RECT& imageB) {
  const auto cutAxis = [](LONG* a0, LONG* a1, LONG endA, LONG* b0, LONG* b1, LONG endB) {
    const int64_t before = std::max({int64_t{0}, -int64_t{*a0}, -int64_t{*b0}});
    const int64_t behind = std::max({int64_t{0}, int64_t{*a1} - endA, int64_t{*b1} - endB});
    if (before + behind >= int64_t{*a1} - *a0) return false;
    *a0 += static_cast<LONG>(before), *b0 += static_cast<LONG>(before);
    *a1 -= static_cast<LONG>(behind), *b1 -= static_cast<LONG>(behind);
    return true;
  };
  if (!cutAxis(&a->left, &a->right, imageA.right, &b->left, &b->right, imageB.right) ||
      !cutAxis(&a->top, &a->bottom, imageA.bottom, &b->top, &b->bottom, imageB.bottom)) {
    *a = *b = {};
  }
}

// One thread's rows.
class FieldRows {
 public:
  FieldRows(const CopyJob& job, const QvXchgContext& context, uint32_t field)
      : job_(job), context_(context), field_(field), forms_(rowForms()) {}

  void make(int64_t y) {
    const int64_t place = job_.sourceRect.top + y;
    const bool kept = static_cast<uint32_t>((place + 1) & 1) == field_;
    const int64_t last = job_.height() - 1;
    const int64_t above = kept || last == 0 ? y : y == 0 ? 1 : y - 1;
    const int64_t below = kept || last == 0 ? y : y == last ? last - 1 : y + 1;
    const uint8_t *a = job_.source.row(job_.sourceRect.top + above),
                  *b = job_.source.row(job_.sourceRect.top + below);
    uint8_t* out = job_.target.row(job_.targetRect.top + y);
    if (isRaw()) {
      makeRaw(out, a, b);
    } else if (context_.route == QVXCHG_ROUTE_BYTES) {
      makeBytes(out, a, b);
    } else {
      makePivot(out, a, b);
    }
  }

 private:
  // Both sides hold the route's channels as they are.
  bool isRaw() const {
    if (context_.route == QVXCHG_ROUTE_FLOAT) return true;
    return context_.route == QVXCHG_ROUTE_BYTES && job_.source.bits == job_.target.bits &&
           job_.source.bits >= 24;
  }
  void makeRaw(uint8_t* out, const uint8_t* a, const uint8_t* b) const {
    const int64_t pixelBytes = job_.target.bits / 8, bytes = job_.width() * pixelBytes;
    out += job_.targetRect.left * pixelBytes;
    a += job_.sourceRect.left * pixelBytes;
    b += job_.sourceRect.left * pixelBytes;
    if (a == b) {
      memmove(out, a, static_cast<size_t>(bytes));
    } else if (context_.route == QVXCHG_ROUTE_FLOAT) {
      forms_.averageFloats(out, a, b, bytes / 4);
    } else {
      forms_.averageBytes(out, a, b, bytes);
    }
  }

  void makeBytes(uint8_t* out, const uint8_t* a, const uint8_t* b) {
    context_.writePtr = out + job_.targetRect.left * int64_t{job_.target.bits} / 8;
    const int64_t offset = job_.sourceRect.left * int64_t{job_.source.bits} / 8;
    const uint8_t *fromA = a + offset, *fromB = b + offset;
    for (int64_t x = 0; x + 4 <= job_.width(); x += 4) {
      average(context_.read4, 4, &fromA, &fromB);
      context_.write4(&context_);
    }
    for (int64_t x = job_.width() & ~int64_t{3}; x < job_.width(); ++x) {
      average(context_.read1, 1, &fromA, &fromB);
      context_.write1(&context_);
    }
  }
  void average(QvXchgKernel read, int pixels, const uint8_t** a, const uint8_t** b) {
    uint8_t first[16];
    *a = readAt(read, *a);
    memcpy(first, context_.pivot.bytes, sizeof first);
    *b = readAt(read, *b);
    uint8_t* second = context_.pivot.bytes[0];
    for (int i = 0; i < 4 * pixels; ++i) second[i] = static_cast<uint8_t>((first[i] + second[i]) >> 1);
  }
  const uint8_t* readAt(QvXchgKernel read, const uint8_t* place) {
    context_.readPtr = place;
    read(&context_);
    return context_.readPtr;
  }

  void makePivot(uint8_t* out, const uint8_t* a, const uint8_t* b) const {
    if (a == b) {
      return copySpan(job_, context_, out, job_.targetRect.left, a, job_.sourceRect.left, job_.width());
    }
    const bool exact = (context_.flags & QVXCHG_EXACT) != 0;
    const ReadRow read = forms_.read[exact][job_.source.type - QVPT_PAL1];
    const WriteRow write = forms_.write[job_.target.type - QVPT_PAL1];
    QVPIXEL64 first[kChunk], second[kChunk];
    for (int64_t done = 0; done < job_.width(); done += kChunk) {
      const int64_t now = std::min(kChunk, job_.width() - done);
      const int64_t from = (job_.sourceRect.left + done) * job_.source.bits;
      const int64_t to = (job_.targetRect.left + done) * job_.target.bits;
      const uint32_t bit = static_cast<uint32_t>(from % 8);
      // Curves between equal gammas do nothing.
      read(first, a + from / 8, bit, now, context_.srcPalette, nullptr);
      read(second, b + from / 8, bit, now, context_.srcPalette, nullptr);
      forms_.averageWords(&first->blue, &second->blue, 4 * now);
      write(out + to / 8, static_cast<uint32_t>(to % 8), first, now, context_.inverseTable, nullptr);
    }
  }

  const CopyJob& job_;
  QvXchgContext context_;
  uint32_t field_;
  const RowForms& forms_;
};

HRESULT copyFields(const CopyJob& job, uint32_t field) {
  QvXchgContext context;
  const HRESULT status = bindForward(job, 0, &context);
  if (FAILED(status)) return status;
  const int64_t rowBytes = job.width() * (job.target.bits + 2 * int64_t{job.source.bits}) / 8;
  const bool upwards = job.target.step < 0;
  parallelRows(job.height(), rowBytes, [&](int64_t first, int64_t end) {
    FieldRows rows(job, context, field);
    for (int64_t i = first; i < end; ++i) rows.make(upwards ? first + end - 1 - i : i);
  });
  return kOk;
}

// Two images whose fields can be merged. Rows are counted as they lie in memory.
struct Merge {
  uint8_t* target;
  int64_t targetStride;
  const uint8_t* source;
  int64_t sourceStride;
  int64_t width, height, bits;

  bool take(const BITMAPINFOHEADER* dst, void* dstPixels, uint32_t dstStride, const BITMAPINFOHEADER* src,
            const void* srcPixels, int32_t srcStride) {
    bits = QvGetPixelBitsPerChannel(QvGetPixelType(dst), nullptr);
    if (bits == 0 || bits != QvGetPixelBitsPerChannel(QvGetPixelType(src), nullptr)) return false;
    target = getBits(dst, dstPixels);
    targetStride = rowStride(dst, dstStride);
    source = getBits(src, srcPixels);
    sourceStride = rowStride(src, srcStride);
    width = dst->biWidth;
    height = dst->biHeight;
    return width == src->biWidth && height == src->biHeight;
  }
  // The first of every second row or column, of so many.
  static int64_t firstOf(uint32_t field, int64_t count) {
    return field == static_cast<uint32_t>(~count & 1) ? 1 : 0;
  }
};

}  // namespace
}  // namespace qv

HRESULT QvDibCopyInterlace(const BITMAPINFOHEADER* dst, void* dstPixels, const RECT* dstRect,
                           uint32_t dstStride, const BITMAPINFOHEADER* src, const void* srcPixels,
                           const RECT* srcRect, uint32_t srcStride, uint32_t field, uint32_t flags) {
  using namespace qv;
  CopyJob job = {};
  const bool fixed = (flags & QVCOPY_SUBPIXEL) != 0;
  const auto pixels = [fixed](const RECT* given, const BITMAPINFOHEADER* header) {
    if (given == nullptr) return wholeImage(header);
    return fixed ? toPixels(*given) : *given;
  };
  job.targetRect = pixels(dstRect, dst);
  job.sourceRect = pixels(srcRect, src);
  job.target = imageOf(dst, dstPixels, dstStride);
  job.source = imageOf(src, srcPixels, srcStride);
  if (!isEngineType(job.target.type) || !isEngineType(job.source.type)) return kUnsupported;
  if (isEmpty(job.targetRect) || isEmpty(job.sourceRect)) return kOk;
  if (job.stretches()) return kUnsupported;
  clipTogether(&job.targetRect, wholeImage(dst), &job.sourceRect, wholeImage(src));
  if (isEmpty(job.targetRect)) return kOk;
  QuantiserBlock quantiser;
  if (isPaletteType(job.target.type) && FAILED(quantiser.build(dst))) return kUnsupported;
  const FullPalette palette(src, job.source.type);
  job.flags = flags;
  job.sourcePalette = palette.entries();
  job.inverse = quantiser.table();
  return copyFields(job, field);
}

HRESULT QvDibMergeFields(const BITMAPINFOHEADER* dst, void* dstPixels, uint32_t dstStride,
                         const BITMAPINFOHEADER* src, const void* srcPixels, int32_t srcStride,
                         uint32_t field) {
  using namespace qv;
  Merge merge;
  if (!merge.take(dst, dstPixels, dstStride, src, srcPixels, srcStride)) return kUnsupported;
  if (merge.width < 1 || merge.height < 1) return kOk;
  const int64_t first = Merge::firstOf(field, merge.height), bytes = merge.width * merge.bits / 8;
  parallelRows((merge.height - first + 1) / 2, 2 * bytes, [&](int64_t from, int64_t end) {
    for (int64_t i = from; i < end; ++i) {
      const int64_t row = first + 2 * i;
      memmove(merge.target + row * merge.targetStride, merge.source + row * merge.sourceStride,
              static_cast<size_t>(bytes));
    }
  });
  return kOk;
}

HRESULT QvDibMergeFieldsRotated(const BITMAPINFOHEADER* dst, void* dstPixels, uint32_t dstStride,
                                const BITMAPINFOHEADER* src, const void* srcPixels, int32_t srcStride,
                                uint32_t field) {
  using namespace qv;
  Merge merge;
  if (!merge.take(dst, dstPixels, dstStride, src, srcPixels, srcStride)) return kUnsupported;
  if (merge.width < 1 || merge.height < 1) return kOk;
  const int64_t first = Merge::firstOf(field, merge.width), rowBytes = (merge.width * merge.bits + 7) / 8;
  parallelRows(merge.height, 2 * rowBytes, [&](int64_t from, int64_t end) {
    for (int64_t y = from; y < end; ++y) {
      uint8_t* out = merge.target + y * merge.targetStride;
      const uint8_t* in = merge.source + y * merge.sourceStride;
      if (merge.bits == 32) {
        rowForms().mergeColumns32(out + 4 * first, in + 4 * first, merge.width - first);
        continue;
      }
      for (int64_t x = first; x < merge.width; x += 2) {
        const int64_t place = x * merge.bits / 8;
        memmove(out + place, in + place, static_cast<size_t>(std::min<int64_t>(16, rowBytes - place)));
      }
    }
  });
  return kOk;
}
