// The row loops of the YUV conversions in 256-bit vectors: those written out, and those left to the compiler.
#define QV_FORM avx2

#include "qv/video/detail/yuv_avx2.h"

namespace qv {
namespace avx2 {

constexpr YuvForms vectorYuvForms() {
  YuvForms forms = plainYuvForms();
  forms.bytes[kPlanar8] = decode8<kPlanar8>;
  forms.bytes[kSemi8] = decode8<kSemi8>;
  forms.bytes[kUyvy] = decode8<kUyvy>;
  forms.bytes[kYuyv] = decode8<kYuyv>;
  forms.bytes[kSemi16] = decode10<kSemi16>;
  forms.bytes[kPlanar16] = decode10<kPlanar16>;
  forms.reduce[kHalfHorz] = halfHorz;
  forms.reduce[kHalf] = half;
  forms.reduce[kQuarterHalf] = quarterHalf;
  forms.reduce[kQuarter] = quarter;
  forms.pack = packVector;
  forms.interleave = interleaveVector;
  forms.split = splitVector;
  forms.lumaFirst = lumaFirstVector;
  forms.unpackV210 = unpackV210Vector;
  forms.packV210 = packV210Vector;
  forms.highV210 = highV210Vector;
  return forms;
}
template <YuvShape Shape>
constexpr void addShape(YuvForms& forms) {
  forms.samples[Shape] = sampleBytesVector<Shape>;
  forms.floats[Shape] = sampleFloatsVector<Shape>;
  forms.encode[0][Shape] = encodeVector<false, Shape>;
  forms.encode[1][Shape] = encodeVector<true, Shape>;
}
constexpr YuvForms allForms() {
  YuvForms forms = vectorYuvForms();
  addShape<kPlanar8>(forms);
  addShape<kSemi8>(forms);
  addShape<kUyvy>(forms);
  addShape<kYuyv>(forms);
  addShape<kSemi16>(forms);
  addShape<kPlanar16>(forms);
  return forms;
}

}  // namespace avx2

const YuvForms kAvx2Yuv = avx2::allForms();

}  // namespace qv
