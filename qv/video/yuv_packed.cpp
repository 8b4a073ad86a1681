// UYVY rows to rows of four bytes a pixel and back, in 12-bit fixed point.
#include "qv/frame/status.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/yuv_frame.h"

namespace qv {
namespace {

// Steps are the target's and the source's; the one of four bytes a pixel has to hold a row, and so has the
// other when it is given.
HRESULT check(const void* dst, const void* src, int64_t width, int64_t height, int64_t rgbStep,
              int64_t packedStep) {
  if (dst == nullptr || src == nullptr) return kNullPointer;
  if (width < 1 || height < 1 || width % 2 != 0) return kInvalidArgument;
  return absolute(rgbStep) < 4 * width || absolute(packedStep) < 2 * width ? kInvalidArgument : kOk;
}

HRESULT decode(void* dst, const void* src, int64_t dstStride, int32_t width, int32_t height,
               uint32_t standard) {
  const int64_t step = int64_t{2} * width;
  const HRESULT status = check(dst, src, width, height, dstStride, step);
  if (status != kOk) return status;
  const YuvTerms terms = packedTermsOf(*QvYuvMatrix64(standard, width, height));
  const auto convert = yuvForms().bytes[kUyvy];
  parallelRows(height, 6 * int64_t{width}, [&](int64_t first, int64_t end) {
    for (int64_t row = first; row < end; ++row) {
      const uint8_t* in = static_cast<const uint8_t*>(src) + row * step;
      uint8_t* out = static_cast<uint8_t*>(dst) + row * dstStride;
      convert({{out}, {in + 1}, in, in + 2, 1, width, width / 2}, terms);
    }
  });
  return kOk;
}

HRESULT encode(void* dst, const void* src, int64_t srcStride, int64_t dstStride, uint32_t width,
               int32_t height, uint32_t standard) {
  const HRESULT status = check(dst, src, width, height, srcStride, dstStride);
  if (status != kOk) return status;
  const PackWeights weights = packWeightsOf(*QvYuvMatrix64(standard, static_cast<int32_t>(width), height));
  const auto pack = yuvForms().pack;
  parallelRows(height, 6 * int64_t{width}, [&](int64_t first, int64_t end) {
    for (int64_t row = first; row < end; ++row) {
      pack(static_cast<uint8_t*>(dst) + row * dstStride, static_cast<const uint8_t*>(src) + row * srcStride,
           width / 2, weights);
    }
  });
  return kOk;
}

}  // namespace
}  // namespace qv

HRESULT QvUYVY2RGBA(void* dst, const void* src, int64_t dstStride, int32_t width, int32_t height,
                    uint32_t standard) {
  return qv::decode(dst, src, dstStride, width, height, standard);
}
HRESULT QvUYVY2RGB(void* dst, const void* src, int64_t dstStride, int32_t width, int32_t height,
                   uint32_t standard) {
  return qv::decode(dst, src, dstStride, width, height, standard);
}

HRESULT QvRGBA2UYVY(void* dst, const void* src, int64_t srcStride, uint64_t dstStride, uint32_t width,
                    int32_t height, uint32_t standard) {
  return qv::encode(dst, src, srcStride, static_cast<int64_t>(dstStride), width, height, standard);
}
HRESULT QvRGB2UYVY(void* dst, const void* src, int64_t srcStride, uint64_t dstStride, uint32_t width,
                   int32_t height, uint32_t standard) {
  return qv::encode(dst, src, srcStride, static_cast<int64_t>(dstStride), width, height, standard);
}

HRESULT QvYUV_v210_TO_UYVY(void* dst, const void* src, int64_t dstStride, uint64_t srcStride, uint64_t width,
                           int64_t height) {
  using namespace qv;
  if (dst == nullptr || src == nullptr) return kNullPointer;
  // Wider than any stride can say; the products below stay within 64 bits.
  if (width == 0 || width % 2 != 0 || width > INT64_MAX / 8 || height == 0) return kInvalidArgument;
  if (dstStride < 1 || static_cast<uint64_t>(dstStride) < 2 * width || srcStride < 1 ||
      srcStride < width * 8 / 6) {
    return kInvalidArgument;
  }
  const auto convert = yuvForms().highV210;
  parallelRows(height, static_cast<int64_t>(5 * width), [&](int64_t first, int64_t end) {
    for (int64_t row = first; row < end; ++row) {
      convert(static_cast<uint8_t*>(dst) + row * dstStride,
              static_cast<const uint8_t*>(src) + static_cast<uint64_t>(row) * srcStride,
              static_cast<int64_t>(width / 2));
    }
  });
  return kOk;
}
