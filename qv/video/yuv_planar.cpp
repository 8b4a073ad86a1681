// Planes to rows of four bytes a pixel: full size, and averaged to smaller sizes.
#include "qv/frame/status.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/yuv_frame.h"

namespace qv {
namespace {

// What one output row of a reduction covers.
struct ReductionShape {
  int32_t down;       // luma rows
  bool twoChroma;     // two chroma rows, always or when interlaced
  int32_t chromaSum;  // samples summed, for the offsets
};
constexpr ReductionShape kReductionShapes[kReductions] = {
    {1, false, 1}, {2, true, 2}, {2, true, 4}, {4, true, 4}};

// The first chroma row of an output row, and the step to the second.
struct ChromaPair {
  int64_t first, step;
};
ChromaPair chromaPairOf(YuvReduction reduction, const Reduced420& job, int64_t row) {
  if (reduction == kHalfHorz) return {chromaRowOf(row, job.frame.height, job.interlaced), 0};
  if (reduction == kQuarter) return {2 * row, 1};
  if (job.interlaced && row < job.frame.height / 4 * 2) return {row / 2 * 2, 1};
  return {row, 0};
}

void reduceRow(YuvReduction reduction, const Reduced420& job, const YuvTerms& terms, int64_t row) {
  const ReductionShape& shape = kReductionShapes[reduction];
  const ChromaPair chroma = chromaPairOf(reduction, job, row);
  ReduceRows rows = {};
  rows.out = job.out + row * job.outStride;
  rows.width = job.width;
  for (int32_t i = 0; i < shape.down; ++i) rows.y[i] = job.frame.yRow(row * shape.down + i);
  for (int32_t i = 0; i < (shape.twoChroma ? 2 : 1); ++i) {
    rows.u[i] = job.frame.uRow(chroma.first + i * chroma.step);
    rows.v[i] = job.frame.vRow(chroma.first + i * chroma.step);
  }
  yuvForms().reduce[reduction](rows, terms);
}

// The arguments that the planar entry points share.
struct Planar {
  int32_t width, height;
  void* dst;
  int32_t dstStride;
  const void* y;
  int32_t yStride;
  const void* u;
  int32_t uStride;
  const void* v;
  int32_t vStride;
};

HRESULT check(const Planar& p, int32_t across, int32_t down) {
  if (p.width % across != 0 || p.height % down != 0) return kInvalidArgument;
  if (p.dst == nullptr || p.y == nullptr || p.u == nullptr || p.v == nullptr) return kNullPointer;
  return kOk;
}

Reduced420 jobOf(const Planar& p, int32_t across, int32_t down, bool interlaced) {
  const FrameIn frame = {static_cast<const uint8_t*>(p.y),
                         static_cast<const uint8_t*>(p.u),
                         static_cast<const uint8_t*>(p.v),
                         p.yStride,
                         p.uStride,
                         p.vStride,
                         p.width,
                         p.height,
                         p.width / 2,
                         p.height / 2};
  return {frame, static_cast<uint8_t*>(p.dst), p.dstStride, p.width / across, p.height / down, interlaced};
}

HRESULT fullSize(const Planar& p, const QVYUVMATRIX& matrix, bool halfHigh, bool interlaced) {
  const HRESULT status = check(p, 2, halfHigh ? 2 : 1);
  if (status != kOk) return status;
  const Reduced420 job = jobOf(p, 1, 1, interlaced);
  const YuvTerms terms = termsOf(matrix, 1);
  const auto convert = yuvForms().bytes[kPlanar8];
  parallelRows(unitsOf(p.height, halfHigh), int64_t{p.width} * 12, [&](int64_t first, int64_t end) {
    for (int64_t k = first; k < end; ++k) {
      const RowUnit unit = unitAt(k, p.height, halfHigh, interlaced);
      DecodeRows rows = {
          {}, {}, job.frame.uRow(unit.chroma), job.frame.vRow(unit.chroma), unit.rows, p.width, p.width / 2};
      for (int i = 0; i < unit.rows; ++i) {
        rows.out[i] = job.out + unit.row[i] * job.outStride;
        rows.y[i] = job.frame.yRow(unit.row[i]);
      }
      convert(rows, terms);
    }
  });
  return kOk;
}

HRESULT reduced(const Planar& p, YuvReduction reduction, int32_t across, int32_t down, bool interlaced,
                const QVYUVMATRIX& matrix) {
  const HRESULT status = check(p, across, down > 1 ? down : 2);
  if (status == kOk) reduce420(reduction, jobOf(p, across, down, interlaced), matrix);
  return status;
}

// Every second row of luma and of chroma.
Planar oneField(Planar p) {
  p.height /= 2;
  p.yStride *= 2;
  p.uStride *= 2;
  p.vStride *= 2;
  return p;
}

const QVYUVMATRIX& matrixOf(int32_t colorMatrix, int32_t width, int32_t height) {
  return *QvYuvMatrix(static_cast<uint32_t>(colorMatrix), width, height);
}

}  // namespace

void reduce420(YuvReduction reduction, const Reduced420& job, const QVYUVMATRIX& matrix) {
  if (job.width < 1) return;
  const YuvTerms terms = termsOf(matrix, kReductionShapes[reduction].chromaSum);
  parallelRows(job.height, job.width * 8, [&](int64_t first, int64_t end) {
    for (int64_t row = first; row < end; ++row) reduceRow(reduction, job, terms, row);
  });
}

void shrink420(int32_t shift, Reduced420 job, const QVYUVMATRIX& matrix) {
  FrameIn& f = job.frame;
  job.width = std::min(job.width, f.width >> shift);
  job.height = std::min(job.height, f.height >> shift);
  if (!job.interlaced) return reduce420(shift == 1 ? kHalf : kQuarter, job, matrix);
  job.interlaced = false;
  f.height /= 2;
  f.yStride *= 2;
  f.uStride *= 2;
  f.vStride *= 2;
  reduce420(shift == 1 ? kHalfHorz : kQuarterHalf, job, matrix);
}

}  // namespace qv

HRESULT QvYUV422PlanarToRGBA(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                             int32_t yStride, const void* u, int32_t uStride, const void* v, int32_t vStride,
                             int32_t colorMatrix) {
  using namespace qv;
  return fullSize({width, height, dst, dstStride, y, yStride, u, uStride, v, vStride},
                  matrixOf(colorMatrix, width, height), false, false);
}

HRESULT QvYUV420ToRGBA(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                       int32_t yStride, const void* u, int32_t uStride, const void* v, int32_t vStride,
                       int32_t fieldMode, int32_t colorMatrix) {
  using namespace qv;
  return fullSize({width, height, dst, dstStride, y, yStride, u, uStride, v, vStride},
                  matrixOf(colorMatrix, width, height), true, isInterlaced(static_cast<uint32_t>(fieldMode)));
}

HRESULT QvYUV420ToRGBA_HalfHorz(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                                int32_t yStride, const void* u, int32_t uStride, const void* v,
                                int32_t vStride, int32_t fieldMode, int32_t colorMatrix) {
  using namespace qv;
  return reduced({width, height, dst, dstStride, y, yStride, u, uStride, v, vStride}, kHalfHorz, 2, 1,
                 isInterlaced(static_cast<uint32_t>(fieldMode)), matrixOf(colorMatrix, width, height));
}

HRESULT QvYUV420ToRGBA_Half(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                            int32_t yStride, const void* u, int32_t uStride, const void* v, int32_t vStride,
                            int32_t fieldMode, int32_t colorMatrix) {
  using namespace qv;
  const Planar planes = {width, height, dst, dstStride, y, yStride, u, uStride, v, vStride};
  const QVYUVMATRIX& matrix = matrixOf(colorMatrix, width, height);
  if (isInterlaced(static_cast<uint32_t>(fieldMode))) {
    return reduced(oneField(planes), kHalfHorz, 2, 1, false, matrix);
  }
  return reduced(planes, kHalf, 2, 2, false, matrix);
}

HRESULT QvYUV420ToRGBA_Half_BlendFields(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                        const void* y, int32_t yStride, const void* u, int32_t uStride,
                                        const void* v, int32_t vStride, int32_t colorMatrix) {
  using namespace qv;
  return reduced({width, height, dst, dstStride, y, yStride, u, uStride, v, vStride}, kHalf, 2, 2, true,
                 matrixOf(colorMatrix, width, height));
}

HRESULT QvYUV420ToRGBA_Quarter(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                               int32_t yStride, const void* u, int32_t uStride, const void* v,
                               int32_t vStride, int32_t fieldMode, int32_t colorMatrix) {
  using namespace qv;
  const Planar planes = {width, height, dst, dstStride, y, yStride, u, uStride, v, vStride};
  if (isInterlaced(static_cast<uint32_t>(fieldMode))) {
    return reduced(oneField(planes), kQuarterHalf, 4, 2, false, matrixOf(colorMatrix, width, height));
  }
  return QvYUV420ToRGBA_Quarter_BlendFields(width, height, dst, dstStride, y, yStride, u, uStride, v, vStride,
                                            colorMatrix);
}

HRESULT QvYUV420ToRGBA_Quarter_BlendFields(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                           const void* y, int32_t yStride, const void* u, int32_t uStride,
                                           const void* v, int32_t vStride, int32_t colorMatrix) {
  using namespace qv;
  const QVYUVMATRIX& matrix = matrixOf(colorMatrix, width, height);
  return reduced({width / 4 * 4, height / 4 * 4, dst, dstStride, y, yStride, u, uStride, v, vStride},
                 kQuarter, 4, 4, true, matrix);
}

HRESULT QvYUV420ToRGBA_QuarterHorz_HalfVert_BlendFields(int32_t width, int32_t height, void* dst,
                                                        int32_t dstStride, const void* y, int32_t yStride,
                                                        const void* u, int32_t uStride, const void* v,
                                                        int32_t vStride, int32_t colorMatrix) {
  using namespace qv;
  return reduced({width, height, dst, dstStride, y, yStride, u, uStride, v, vStride}, kQuarterHalf, 4, 2,
                 true, matrixOf(colorMatrix, width, height));
}
