// Frames to RGB and back: the layouts' rows, in parallel.
#include <string.h>

#include "qv/frame/status.h"
#include "qv/video/detail/gamma.h"
#include "qv/video/detail/image.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/yuv_frame.h"

namespace qv {
namespace {

constexpr int64_t kPiece = 192;  // pixels of v210 at a time: whole groups, whole chroma, whole dithers

constexpr int64_t kPastBytes = 4 << 20;  // results from here on are stored past the caches

// A piece of a v210 row at the top of 16-bit words.
struct Unpacked {
  uint8_t y[kPiece * 2], uv[kPiece * 2];
};

// Bytes of a v210 row in front of pixel x, a multiple of six.
constexpr int64_t v210Bytes(int64_t x) {
  return x / 6 * 16;
}

// Calls work(first pixel, pixels, unpacked piece) along a row.
template <typename Work>
void alongV210(const uint8_t* row, int64_t width, const Work& work) {
  Unpacked piece;
  for (int64_t x = 0; x < width; x += kPiece) {
    const int64_t n = std::min(kPiece, width - x);
    yuvForms().unpackV210(piece.y, piece.uv, row + v210Bytes(x), (n + 1) / 2);
    work(x, n, piece);
  }
}

// One call's facts.
struct Decode {
  const YuvLayout* layout;
  FrameIn frame;
  Image image;
  bool interlaced;
  int32_t shift;
  int64_t width, height;  // of the result
  QVYUVDECODESCALE scale;
  const QvGammaCurve* curve;
};

int64_t decimated(int64_t size, int32_t shift) {
  return (size + (int64_t{1} << shift) - 1) >> shift;
}

void decodeUnit(const Decode& job, const YuvTerms& terms, int64_t k) {
  const FrameIn& f = job.frame;
  const RowUnit unit = unitAt(k, f.height, job.layout->halfHigh, job.interlaced);
  DecodeRows rows = {};
  rows.width = job.width;
  rows.chroma = f.chromaHeight > 0 ? f.chromaWidth : 0;
  rows.u = f.uRow(unit.chroma);
  rows.v = f.vRow(unit.chroma);
  for (int i = 0; i < unit.rows; ++i) {
    if (unit.row[i] >= job.height) continue;
    rows.out[rows.rows] = job.image.row(unit.row[i]);
    rows.y[rows.rows++] = f.yRow(unit.row[i]);
  }
  const auto convert = yuvForms().bytes[job.layout->shape];
  if (!job.layout->v210) return convert(rows, terms);
  if (rows.rows == 0) return;
  const uint8_t* in = rows.y[0];
  uint8_t* out = rows.out[0];
  alongV210(in, job.width, [&](int64_t x, int64_t n, const Unpacked& piece) {
    convert({{out + 4 * x}, {piece.y}, piece.uv, piece.uv + 2, 1, n, (n + 1) / 2}, terms);
  });
}

YuvTerms fullSizeTerms(const Decode& job, const QVYUVPARAMS* params) {
  const int32_t w = static_cast<int32_t>(job.frame.width), h = static_cast<int32_t>(job.frame.height);
  const YuvShape shape = job.layout->shape;
  if (shape == kUyvy || shape == kYuyv) {
    const QVYUVMATRIX* matrix = QvYuvMatrix(params->colorMatrix, w, h);
    const uint32_t standard = static_cast<uint32_t>(matrix - QvYuvMatrix(QVYUV_BT601, 0, 0)) + 1;
    return packedTermsOf(*QvYuvMatrix64(standard, w, h));
  }
  const QVYUVMATRIX& matrix = *QvYuvMatrix(params->colorMatrix, w, h);
  return shape == kSemi16 || shape == kPlanar16 ? terms10Of(matrix) : termsOf(matrix, 1);
}

void decodeFullSize(const Decode& job, const QVYUVPARAMS* params) {
  const YuvTerms terms = fullSizeTerms(job, params);
  const int64_t units = unitsOf(job.frame.height, job.layout->halfHigh);
  parallelRows(units, job.width * 6 * job.height / std::max<int64_t>(units, 1),
               [&](int64_t first, int64_t end) {
                 for (int64_t k = first; k < end; ++k) decodeUnit(job, terms, k);
               });
}

void sampleRow(const Decode& job, bool floats, int64_t out) {
  const FrameIn& f = job.frame;
  const int64_t y = out << job.shift;
  const int64_t c = job.layout->halfHigh ? chromaRowOf(y, f.height, job.interlaced) : y;
  const bool ten = job.layout->shape == kSemi16 || job.layout->shape == kPlanar16;
  SampleRow row = {job.image.row(out),
                   f.yRow(y),
                   f.uRow(c),
                   f.vRow(c),
                   job.width,
                   f.chromaHeight > 0 ? f.chromaWidth : 0,
                   job.shift,
                   ten ? 0.25f : 1.0f,
                   &job.scale,
                   job.curve,
                   job.width * job.height * (floats ? 16 : 4) > kPastBytes};
  const auto convert = (floats ? yuvForms().floats : yuvForms().samples)[job.layout->shape];
  if (!job.layout->v210) return convert(row);
  uint8_t* const start = row.out;
  const int64_t pixels = std::min(f.width, job.width << job.shift), pixelBytes = floats ? 16 : 4;
  alongV210(f.yRow(y), pixels, [&](int64_t x, int64_t n, const Unpacked& piece) {
    row.out = start + (x >> job.shift) * pixelBytes;
    row.y = piece.y;
    row.u = piece.uv;
    row.v = piece.uv + 2;
    row.width = decimated(n, job.shift);
    row.chroma = (n + 1) / 2;
    convert(row);
  });
}

void decodeSamples(const Decode& job, bool floats) {
  parallelRows(job.height, job.width * (floats ? 18 : 6), [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) sampleRow(job, floats, y);
  });
}

// A curve with its table where the caller stands; nothing is to be freed.
class LocalCurve {
 public:
  LocalCurve(double from, double to) {
    QvGammaCurve_Init(&curve_, from, to);
    if (curve_.active == 0) return;
    for (uint32_t k = 0; k <= kEntries; ++k) {
      table_[k] = bend(curve_, static_cast<float>(k) / static_cast<float>(kEntries - 1));
    }
    curve_.table = table_;
    curve_.tableSizeLessOne = kEntries - 1;
  }
  LocalCurve(const LocalCurve&) = delete;
  LocalCurve& operator=(const LocalCurve&) = delete;
  const QvGammaCurve* get() const { return activeOrNull(curve_); }

 private:
  static constexpr uint32_t kEntries = 256;
  QvGammaCurve curve_;
  float table_[kEntries + 1];
};

void decode(Decode& job, const QVYUVPARAMS* params, double gamma) {
  const QVYUVMATRIX& matrix = *QvYuvMatrix(params->colorMatrix, static_cast<int32_t>(job.frame.width),
                                           static_cast<int32_t>(job.frame.height));
  if (job.image.type == QVPT_RGBAF128) {
    const LocalCurve curve(params->gamma, gamma);
    job.curve = curve.get();
    return decodeSamples(job, true);
  }
  if (job.shift == 0) return decodeFullSize(job, params);
  if (job.layout->type == QVPT_I420 && job.shift <= 2) {
    return shrink420(
        job.shift, {job.frame, job.image.top, job.image.step, job.width, job.height, job.interlaced}, matrix);
  }
  decodeSamples(job, false);
}

bool isFourBytes(int32_t type) {
  return type == QVPT_RGB32 || type == QVPT_RGBA32;
}

// One call's facts in the other direction.
struct Encode {
  const YuvLayout* layout;
  FrameOut frame;
  Image image;
  bool interlaced;
  int64_t width, height;
  QVYUVENCODESCALE scale;
  const QvGammaCurve* curve;
};

bool isPacked(YuvShape shape) {
  return shape == kUyvy || shape == kYuyv;
}

// A v210 row is encoded as words, a piece at a time, and packed.
void encodeV210(EncodeRows rows, bool floats) {
  Unpacked piece;
  const uint8_t* const rgb = rows.rgb[0];
  uint8_t* const out = rows.y[0];
  const int64_t width = rows.width;
  rows.y[0] = piece.y;
  rows.u = piece.uv;
  rows.v = piece.uv + 2;
  for (int64_t x = 0; x < width; x += kPiece) {
    rows.width = std::min(kPiece, width - x);
    rows.chroma = (rows.width + 1) / 2;
    rows.rgb[0] = rgb + x * (floats ? 16 : 4);
    yuvForms().encode[floats][kSemi16](rows);
    if (rows.width & 1) memset(piece.y + 2 * rows.width, 0, 2);
    yuvForms().packV210(out + v210Bytes(x), piece.y, piece.uv, rows.chroma);
  }
}

void encodeUnit(const Encode& job, bool floats, int64_t k) {
  const FrameOut& f = job.frame;
  const RowUnit unit = unitAt(k, f.height, job.layout->halfHigh, job.interlaced);
  EncodeRows rows = {};
  for (int i = 0; i < unit.rows && unit.row[i] < job.height; ++i) {
    rows.rgb[i] = job.image.row(unit.row[i]);
    rows.y[i] = f.yRow(unit.row[i]);
    rows.dither[i] = kYuvDither[unit.row[i] & 3];
    ++rows.rows;
  }
  if (rows.rows == 0) return;
  rows.u = f.uRow(unit.chroma);
  rows.v = f.vRow(unit.chroma);
  rows.width = job.width;
  rows.chromaRows = 1;
  // A last row without chroma of its own leaves that of the rows above it.
  const bool own = unit.rows == 2 || !job.layout->halfHigh;
  const int64_t samples = job.layout->shape == kPlanar16 ? job.width : (job.width + 1) / 2;
  const int64_t exist = isPacked(job.layout->shape) ? (f.width + 1) / 2 : f.chromaWidth;
  rows.chroma = own ? std::min(samples, exist) : 0;
  rows.chromaDither = kYuvDither[unit.chroma & 3];
  rows.scale = &job.scale;
  rows.curve = job.curve;
  if (job.layout->v210) return encodeV210(rows, floats);
  // Four pixels count for a sample of 8-bit 4:2:0; where the image ends between two rows, the last counts
  // twice.
  if (job.layout->halfHigh && job.layout->shape != kSemi16) {
    rows.chromaRows = 2;
    if (rows.rows == 1) rows.rgb[1] = rows.rgb[0];
  }
  yuvForms().encode[floats][job.layout->shape](rows);
}

void encode(const Encode& job) {
  const bool floats = job.image.type == QVPT_RGBAF128;
  const int64_t units = unitsOf(job.frame.height, job.layout->halfHigh);
  parallelRows(units, job.width * (floats ? 18 : 6), [&](int64_t first, int64_t end) {
    for (int64_t k = first; k < end; ++k) encodeUnit(job, floats, k);
  });
}

}  // namespace
}  // namespace qv

HRESULT QvYUV_YUVToRGB(const BITMAPINFOHEADER* rgbHeader, double gamma, void* rgb, int32_t rgbStride,
                       const BITMAPINFOHEADER* yuvHeader, const QVYUVPARAMS* params, const void* yuv,
                       const QVYUVPLANES* planes, int32_t shift, uint32_t) {
  using namespace qv;
  if (rgbHeader == nullptr || yuvHeader == nullptr || params == nullptr || yuv == nullptr ||
      planes == nullptr) {
    return kGeneralFailure;
  }
  const YuvLayout* layout = findYuvLayout(yuvHeader->biCompression);
  if (layout == nullptr || shift < 0 || shift > 3) return kGeneralFailure;
  Decode job = {layout,
                frameOf(yuvHeader, static_cast<const uint8_t*>(yuv), planes, *layout),
                imageOf(rgbHeader, rgb, rgbStride),
                isInterlaced(params->fieldMode),
                shift,
                0,
                0,
                {},
                nullptr};
  if (!isFourBytes(job.image.type) && job.image.type != QVPT_RGBAF128) return kGeneralFailure;
  job.width = std::min<int64_t>(rgbHeader->biWidth, decimated(job.frame.width, shift));
  job.height = std::min<int64_t>(rgbHeader->biHeight, decimated(job.frame.height, shift));
  if (job.width < 1 || job.height < 1) return kOk;
  const QVYUVMATRIX* matrix = QvYuvMatrix(params->colorMatrix, static_cast<int32_t>(job.frame.width),
                                          static_cast<int32_t>(job.frame.height));
  QvYuvDecodeScale(layout->type, job.image.type, gamma, matrix, &job.scale);
  decode(job, params, gamma);
  return kOk;
}

HRESULT QvYUV_RGBToYUV(const BITMAPINFOHEADER* yuvHeader, const QVYUVPARAMS* params, void* yuv,
                       const QVYUVPLANES* planes, const BITMAPINFOHEADER* rgbHeader, double gamma,
                       const void* rgb, uint32_t rgbStride, int32_t shift, uint32_t, uint8_t videoRange) {
  using namespace qv;
  if (rgbHeader == nullptr || yuvHeader == nullptr || params == nullptr || yuv == nullptr ||
      planes == nullptr) {
    return kGeneralFailure;
  }
  const YuvLayout* layout = findYuvLayout(yuvHeader->biCompression);
  if (layout == nullptr || shift != 0) return kGeneralFailure;
  Encode job = {layout,
                frameOf(yuvHeader, static_cast<uint8_t*>(yuv), planes, *layout),
                imageOf(rgbHeader, rgb, rgbStride),
                isInterlaced(params->fieldMode),
                0,
                0,
                {},
                nullptr};
  if (!isFourBytes(job.image.type) && job.image.type != QVPT_RGBAF128) return kGeneralFailure;
  job.width = std::min<int64_t>(rgbHeader->biWidth, job.frame.width);
  job.height = std::min<int64_t>(rgbHeader->biHeight, job.frame.height);
  if (job.width < 1 || job.height < 1) return kOk;
  const QVYUVMATRIX* matrix = QvYuvMatrix(params->colorMatrix, static_cast<int32_t>(job.frame.width),
                                          static_cast<int32_t>(job.frame.height));
  QvYuvEncodeScale(job.image.type, gamma, layout->type, matrix, videoRange, &job.scale);
  const bool floats = job.image.type == QVPT_RGBAF128;
  const LocalCurve curve(floats ? gamma : 1.0, floats ? params->gamma : 1.0);
  job.curve = curve.get();
  encode(job);
  return kOk;
}
