#include "qv/video/yuvplanes.h"

#include "qv/video/dib.h"

namespace qv {
namespace {

enum class Chroma : uint8_t { None, Interleaved, UFirst, VFirst };

// One row a layout. Every plane is (units across) * (units down) * bytes; a unit is a group of pixels.
struct PlaneShape {
  uint32_t compression;
  Chroma chroma;
  int8_t lumaBytes;  // per pixel; 0 for v210, whose rows come in groups
  int64_t (*chromaBytes)(int64_t w, int64_t h);
  int64_t (*chromaStride)(int64_t w);
};

int64_t none(int64_t, int64_t) {
  return 0;
}
int64_t none(int64_t) {
  return 0;
}
int64_t quarterFrame(int64_t w, int64_t h) {
  return w * h / 4;
}
int64_t halfFrame(int64_t w, int64_t h) {
  return w * h / 2;
}
int64_t halfWideFrame(int64_t w, int64_t h) {
  return w / 2 * h;
}
int64_t halfHighPairs(int64_t w, int64_t h) {
  return h / 2 * 2 * w;
}
int64_t halfWidePairs(int64_t w, int64_t h) {
  return 4 * (w / 2) * h;
}
int64_t fullWords(int64_t w, int64_t h) {
  return 2 * w * h;
}
int64_t halfWidth(int64_t w) {
  return w / 2;
}
int64_t quarterWidth(int64_t w) {
  return w / 4;
}
int64_t width(int64_t w) {
  return w;
}
int64_t doubleWidth(int64_t w) {
  return 2 * w;
}
int64_t pairWidth(int64_t w) {
  return 4 * (w / 2);
}

constexpr PlaneShape kShapes[] = {
    {QvFourCC('Y', 'U', 'Y', 'V'), Chroma::None, 2, none, none},
    {QvFourCC('U', 'Y', 'V', 'Y'), Chroma::None, 2, none, none},
    {QvFourCC('I', '4', '2', '0'), Chroma::UFirst, 1, quarterFrame, halfWidth},
    {QVFOURCC_IYUV, Chroma::UFirst, 1, quarterFrame, halfWidth},
    {QvFourCC('Y', 'V', '1', '2'), Chroma::VFirst, 1, quarterFrame, halfWidth},
    {QvFourCC('Y', 'V', '1', '6'), Chroma::VFirst, 1, halfWideFrame, halfWidth},
    {QvFourCC('Y', '4', '1', 'B'), Chroma::UFirst, 1, quarterFrame, quarterWidth},
    {QvFourCC('N', 'V', '1', '2'), Chroma::Interleaved, 1, halfFrame, width},
    {QvFourCC('P', '0', '1', '0'), Chroma::Interleaved, 2, halfHighPairs, doubleWidth},
    {QvFourCC('P', 'L', '1', '0'), Chroma::Interleaved, 2, halfHighPairs, doubleWidth},
    {QvFourCC('P', '2', '1', '0'), Chroma::Interleaved, 2, halfWidePairs, pairWidth},
    {QvFourCC('P', '4', '1', '0'), Chroma::UFirst, 2, fullWords, doubleWidth},
    {QvFourCC('v', '2', '1', '0'), Chroma::None, 0, none, none},
};

const PlaneShape* findShape(uint32_t compression) {
  for (const PlaneShape& shape : kShapes) {
    if (shape.compression == compression) return &shape;
  }
  return nullptr;
}

// Far above every real frame, and low enough that no product below leaves 64 bits.
constexpr int64_t kLargestSide = int64_t{1} << 29;

bool fits(int64_t value) {
  return value >= INT32_MIN && value <= INT32_MAX;
}

QVYUVPLANES layOut(const PlaneShape& shape, int64_t w, int64_t h, int64_t luma, int64_t chroma) {
  QVYUVPLANES planes = {};
  planes.lumaStride = h == 0 ? 0 : static_cast<int32_t>(luma / h);
  if (chroma == 0) return planes;
  const int32_t first = static_cast<int32_t>(luma);
  planes.uOffset = first;
  planes.uStride = static_cast<int32_t>(shape.chromaStride(w));
  if (shape.chroma == Chroma::Interleaved) return planes;
  planes.vOffset = static_cast<int32_t>(luma + chroma);
  planes.vStride = planes.uStride;
  if (shape.chroma == Chroma::VFirst) {
    planes.uOffset = planes.vOffset;
    planes.vOffset = first;
  }
  return planes;
}

}  // namespace
}  // namespace qv

int32_t QvYUVImageBytesAndOffsets(const BITMAPINFOHEADER* header, QVYUVPLANES* planes) {
  using namespace qv;
  if (planes != nullptr) *planes = {};
  const PlaneShape* shape = findShape(header->biCompression);
  const int64_t w = header->biWidth;
  const int64_t h = header->biHeight;
  if (shape == nullptr || w < 0 || w > kLargestSide || h < -kLargestSide || h > kLargestSide) return 0;
  const int64_t luma = shape->lumaBytes == 0 ? 128 * ((w + 47) / 48) * h : shape->lumaBytes * w * h;
  const int64_t chroma = shape->chromaBytes(w, h);
  const int64_t total = luma + (shape->chroma == Chroma::Interleaved ? chroma : 2 * chroma);
  if (!fits(total)) return 0;
  if (planes != nullptr) *planes = layOut(*shape, w, h, luma, chroma);
  return static_cast<int32_t>(total);
}
