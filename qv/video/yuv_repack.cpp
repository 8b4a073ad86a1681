// From one layout to another: samples move, or lose their low bits, and nothing is computed.
#include <string.h>

#include "qv/frame/status.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/yuv_frame.h"

namespace qv {
namespace {

// The six parameters that all repacking functions share.
struct Repack {
  const BITMAPINFOHEADER* dstHeader;
  void* dst;
  const QVYUVPLANES* dstPlanes;
  const BITMAPINFOHEADER* srcHeader;
  const void* src;
  const QVYUVPLANES* srcPlanes;

  bool whole() const {
    return dstHeader != nullptr && dst != nullptr && dstPlanes != nullptr && srcHeader != nullptr &&
           src != nullptr && srcPlanes != nullptr;
  }
  FrameOut to() const { return frameOf(dstHeader, static_cast<uint8_t*>(dst), dstPlanes); }
  FrameIn from() const { return frameOf(srcHeader, static_cast<const uint8_t*>(src), srcPlanes); }
};

// The part of the source that is wanted, in pixels; the common size of both frames by default.
struct Area {
  int64_t x, y, width, height;
};
Area common(const FrameIn& from, const FrameOut& to) {
  return {0, 0, std::min(from.width, to.width), std::min(from.height, to.height)};
}

// One plane's rows.
struct PlaneOut {
  uint8_t* rows;
  int64_t stride;
  uint8_t* row(int64_t y) const { return rows + y * stride; }
};
struct PlaneIn {
  const uint8_t* rows;
  int64_t stride;
  const uint8_t* row(int64_t y) const { return rows + y * stride; }
};

template <typename Work>
void eachRow(int64_t rows, int64_t rowBytes, const Work& work) {
  parallelRows(rows, rowBytes, [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) work(y);
  });
}

// Planes without a gap between rows move as one block a thread.
void copyPlane(const PlaneOut& to, const PlaneIn& from, int64_t bytes, int64_t rows) {
  if (bytes < 1) return;
  const bool solid = to.stride == bytes && from.stride == bytes;
  parallelRows(rows, 2 * bytes, [&](int64_t first, int64_t end) {
    if (solid) {
      memcpy(to.row(first), from.row(first), static_cast<size_t>(bytes * (end - first)));
      return;
    }
    for (int64_t y = first; y < end; ++y) memcpy(to.row(y), from.row(y), static_cast<size_t>(bytes));
  });
}

// Three planes to three planes. The record's offsets say which plane is U, whatever the order in memory.
void copyPlanes(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  copyPlane({to.y, to.yStride}, {from.y, from.yStride}, a.width, a.height);
  copyPlane({to.u, to.uStride}, {from.u, from.uStride}, a.width / 2, a.height / 2);
  copyPlane({to.v, to.vStride}, {from.v, from.vStride}, a.width / 2, a.height / 2);
}

void interleavePlanes(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  copyPlane({to.y, to.yStride}, {from.y, from.yStride}, a.width, a.height);
  eachRow(a.height / 2, 2 * a.width,
          [&](int64_t y) { yuvForms().interleave(to.uRow(y), from.uRow(y), from.vRow(y), a.width / 2); });
}

void splitPlanes(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  copyPlane({to.y, to.yStride}, {from.y, from.yStride}, a.width, a.height);
  eachRow(a.height / 2, 2 * a.width,
          [&](int64_t y) { yuvForms().split(to.uRow(y), to.vRow(y), from.uRow(y), a.width / 2); });
}

// The byte order of YUYV under the name of UYVY. Kept.
void packLumaFirst(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  eachRow(from.chromaHeight > 0 ? a.height : 0, 4 * a.width, [&](int64_t y) {
    const int64_t c = std::min(y / 2, from.chromaHeight - 1);
    yuvForms().lumaFirst(to.yRow(y), from.yRow(y), from.uRow(c), from.vRow(c), a.width / 2);
  });
}

struct Pair {
  uint32_t from, to;
  void (*convert)(const Repack& r);
};
constexpr uint32_t kI420 = QvFourCC('I', '4', '2', '0');
constexpr Pair kPairs[] = {{kI420, QvFourCC('Y', 'V', '1', '2'), copyPlanes},
                           {kI420, QvFourCC('N', 'V', '1', '2'), interleavePlanes},
                           {kI420, QvFourCC('U', 'Y', 'V', 'Y'), packLumaFirst},
                           {QvFourCC('N', 'V', '1', '2'), kI420, splitPlanes},
                           {QvFourCC('Y', 'V', '1', '2'), kI420, copyPlanes}};

uint32_t canonical(uint32_t compression) {
  return compression == QVFOURCC_IYUV ? kI420 : compression;
}

HRESULT run(const Repack& r, void (*convert)(const Repack& r)) {
  if (!r.whole()) return kNullPointer;
  convert(r);
  return kOk;
}

// A rectangle cut to what both frames have.
Area cut(const FrameIn& from, const FrameOut& to, uint32_t x, uint32_t y, int32_t width, int32_t height) {
  Area a = {x, y, 0, 0};
  a.width = std::clamp<int64_t>(from.width - a.x, 0, std::min<int64_t>(std::max(width, 0), to.width));
  a.height = std::clamp<int64_t>(from.height - a.y, 0, std::min<int64_t>(std::max(height, 0), to.height));
  return a;
}

// Bytes of a row that lie within both strides.
int64_t rowBytes(int64_t wanted, int64_t x, int64_t fromStride, int64_t toStride) {
  return std::max<int64_t>(0, std::min({wanted, fromStride - x, toStride}));
}

// Chroma is counted from row y of its plane, not y/2, as far as the plane goes.
int64_t chromaRows(const Area& a, const FrameIn& from) {
  return std::clamp<int64_t>(a.height / 2, 0, std::max<int64_t>(from.chromaHeight - a.y, 0));
}

struct SubRect {
  FrameIn from;
  FrameOut to;
  Area area;
};

void copyLuma(const SubRect& s, int64_t sampleBytes) {
  const int64_t x = s.area.x * sampleBytes;
  if (s.area.height < 1) return;
  copyPlane({s.to.y, s.to.yStride}, {s.from.yRow(s.area.y) + x, s.from.yStride},
            rowBytes(s.area.width * sampleBytes, x, s.from.yStride, s.to.yStride), s.area.height);
}

void copyChromaPlanes(const SubRect& s) {
  const int64_t x = s.area.x / 2, rows = chromaRows(s.area, s.from);
  if (rows < 1) return;
  copyPlane({s.to.u, s.to.uStride}, {s.from.uRow(s.area.y) + x, s.from.uStride},
            rowBytes(s.area.width / 2, x, s.from.uStride, s.to.uStride), rows);
  copyPlane({s.to.v, s.to.vStride}, {s.from.vRow(s.area.y) + x, s.from.vStride},
            rowBytes(s.area.width / 2, x, s.from.vStride, s.to.vStride), rows);
}

void subRectPlanar(const SubRect& s) {
  copyLuma(s, 1);
  copyChromaPlanes(s);
}

void subRectSplit(const SubRect& s) {
  copyLuma(s, 1);
  const int64_t x = s.area.x / 2 * 2;
  const int64_t samples =
      rowBytes(s.area.width / 2, x / 2, s.from.uStride / 2, std::min(s.to.uStride, s.to.vStride));
  eachRow(chromaRows(s.area, s.from), 4 * samples, [&](int64_t row) {
    yuvForms().split(s.to.uRow(row), s.to.vRow(row), s.from.uRow(s.area.y + row) + x, samples);
  });
}

void subRectWords(const SubRect& s) {
  copyLuma(s, 2);
  const int64_t x = s.area.x / 2 * 4, rows = chromaRows(s.area, s.from);
  if (rows < 1) return;
  copyPlane({s.to.u, s.to.uStride}, {s.from.uRow(s.area.y) + x, s.from.uStride},
            rowBytes(s.area.width / 2 * 4, x, s.from.uStride, s.to.uStride), rows);
}

void subRectPacked(const SubRect& s) {
  const int64_t x = s.area.x;
  const int64_t pairs = std::min({rowBytes(s.area.width / 2, x / 2, s.from.uStride, s.to.yStride / 4),
                                  rowBytes(s.area.width / 2, x / 2, s.from.vStride, s.to.yStride / 4),
                                  rowBytes(s.area.width, x, s.from.yStride, s.to.yStride) / 2});
  eachRow(s.area.height, 8 * pairs, [&](int64_t row) {
    const int64_t y = s.area.y + row;
    yuvForms().lumaFirst(s.to.yRow(row), s.from.yRow(y) + x, s.from.uRow(y) + x / 2, s.from.vRow(y) + x / 2,
                         pairs);
  });
}

HRESULT runSubRect(const Repack& r, uint32_t x, uint32_t y, int32_t width, int32_t height,
                   void (*convert)(const SubRect& s)) {
  if (!r.whole()) return kNullPointer;
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  convert({from, to, cut(from, to, x, y, width, height)});
  return kOk;
}

// Groups hold pairs: an odd last pixel is left.
void packWords(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  eachRow(a.height, 7 * a.width,
          [&](int64_t y) { yuvForms().packV210(to.yRow(y), from.yRow(y), from.uRow(y), a.width / 2); });
}

void unpackWords(const Repack& r) {
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  eachRow(a.height, 7 * a.width,
          [&](int64_t y) { yuvForms().unpackV210(to.yRow(y), to.uRow(y), from.yRow(y), a.width / 2); });
}

}  // namespace

HRESULT narrowTo420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                    const BITMAPINFOHEADER* srcHeader, const void* src, const QVYUVPLANES* srcPlanes,
                    int32_t srcType, uint8_t mask) {
  const Repack r = {dstHeader, dst, dstPlanes, srcHeader, src, srcPlanes};
  if (!r.whole()) return kNullPointer;
  const FrameIn from = r.from();
  const FrameOut to = r.to();
  const Area a = common(from, to);
  const YuvForms& forms = yuvForms();
  eachRow(a.height, 3 * a.width, [&](int64_t y) { forms.narrow(to.yRow(y), from.yRow(y), a.width, mask); });
  const int64_t step = srcType == QVPT_P010 ? 1 : 2;
  eachRow(a.height / 2, 3 * a.width, [&](int64_t y) {
    if (srcType != QVPT_P410) {
      return forms.narrowSplit(to.uRow(y), to.vRow(y), from.uRow(step * y), a.width / 2, mask);
    }
    forms.narrowSecond(to.uRow(y), from.uRow(step * y), a.width / 2, mask);
    forms.narrowSecond(to.vRow(y), from.vRow(step * y), a.width / 2, mask);
  });
  return kOk;
}

}  // namespace qv

#define QV_SIX                                                                \
  const BITMAPINFOHEADER *dstHeader, void *dst, const QVYUVPLANES *dstPlanes, \
      const BITMAPINFOHEADER *srcHeader, const void *src, const QVYUVPLANES *srcPlanes
#define QV_PASS dstHeader, dst, dstPlanes, srcHeader, src, srcPlanes
#define QV_REPACK(name, convert)            \
  HRESULT name(QV_SIX) {                    \
    return qv::run({QV_PASS}, qv::convert); \
  }
#define QV_SUBRECT(name, convert)                                               \
  HRESULT name(QV_SIX, uint32_t x, uint32_t y, int32_t width, int32_t height) { \
    return qv::runSubRect({QV_PASS}, x, y, width, height, qv::convert);         \
  }
#define QV_NARROW(name, type)                   \
  HRESULT name(QV_SIX) {                        \
    return qv::narrowTo420(QV_PASS, type, 255); \
  }

HRESULT QvYUV_YUVToYUV(QV_SIX) {
  using namespace qv;
  const Repack r = {QV_PASS};
  if (!r.whole()) return kNullPointer;
  for (const Pair& pair : kPairs) {
    if (pair.from == canonical(srcHeader->biCompression) && pair.to == canonical(dstHeader->biCompression)) {
      pair.convert(r);
    }
  }
  return kOk;
}

QV_REPACK(QvYUV_I420_To_NV12, interleavePlanes)
QV_REPACK(QvYUV_I420_To_YV12, copyPlanes)
QV_REPACK(QvYUV_NV12_To_I420, splitPlanes)
QV_REPACK(QvYUV_YV12_To_I420, copyPlanes)
QV_REPACK(QvYUV_P210_To_v210, packWords)
QV_REPACK(QvYUV_v210_To_P210, unpackWords)
QV_SUBRECT(QvYUV_NV12_To_I420_SubRect, subRectSplit)
QV_SUBRECT(QvYUV_YV12_To_I420_SubRect, subRectPlanar)
QV_SUBRECT(QvYUV_I420_To_I420_SubRect, subRectPlanar)
QV_SUBRECT(QvYUV_P010_To_P010_SubRect, subRectWords)
QV_SUBRECT(QvYUV_YV16_To_YUYV_SubRect, subRectPacked)
QV_NARROW(QvYUV_P010_To_I420, QVPT_P010)
QV_NARROW(QvYUV_P210_To_I420, QVPT_P210)
QV_NARROW(QvYUV_P410_To_I420, QVPT_P410)
