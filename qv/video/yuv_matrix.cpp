// Matrices, and what the float kernels compute with.
#include <string.h>

#include "qv/video/detail/yuv_frame.h"

namespace qv {
namespace {

constexpr QVYUVMATRIX kMatrices[] = {
    {28384,
     -5510,
     -11437,
     0,
     22458,
     0,
     -3624960,
     2177408,
     -2866432,
     256 << 14,
     {0.299f, 0.587f, 0.114f},
     {-0.1687f, -0.3313f, 0.5f},
     {0.5f, -0.4187f, -0.0813f},
     {},
     {1.402f, -0.3441f, -0.7141f, 1.772f}},
    {29725,
     -2995,
     -7493,
     0,
     25229,
     0,
     -3796864,
     1350656,
     -3221120,
     256 << 14,
     {0.2126f, 0.7152f, 0.0722f},
     {-0.1146f, -0.3854f, 0.5f},
     {0.5f, -0.4542f, -0.0458f},
     {},
     {1.5748f, -0.1873f, -0.4681f, 1.8556f}},
    // The offsets do not follow from the coefficients as the others do: greys come out tinted. Kept.
    {30137,
     -2636,
     -9152,
     0,
     23621,
     0,
     -3937389,
     1551499,
     -3084268,
     256 << 14,
     {0.2627f, 0.678f, 0.0593f},
     {-0.1396f, -0.3604f, 0.5f},
     {0.5f, -0.4598f, -0.0402f},
     {},
     {1.4746f, -0.1646f, -0.5714f, 1.8814f}},
};

constexpr QVYUVMATRIX64 kMatrices64[] = {
    {{0.299, 0.587, 0.114},
     {-0.17255159817351595, -0.3388639269406392, 0.5114155251141552},
     {0.5114155251141552, -0.4282593607305937, -0.08315616438356163},
     1.370705357142857,
     -0.6981602678571429,
     -0.33641919642857143,
     1.7324464285714285,
     0.0},
    {{0.2126, 0.7152, 0.0722},
     {-0.11721643835616437, -0.39419908675799087, 0.5114155251141552},
     {0.5114155251141552, -0.4645698630136986, -0.04684566210045662},
     1.5396482142857142,
     -0.45765133928571433,
     -0.1831191964285714,
     1.8141803571428572,
     0.0},
    {{0.2627, 0.678, 0.0593},
     {-0.14278721461187216, -0.3686283105022831, 0.5114155251141552},
     {0.5114155251141552, -0.4702977168949772, -0.04111780821917808},
     1.4416848214285714,
     -0.5586455357142858,
     -0.16092589285714284,
     1.8394044642857141,
     0.0},
};

// BT.601 for standard definition, else BT.709.
int bySize(int32_t width, int32_t height) {
  return height >= 720 || width < 704 || width > 720 ? 1 : 0;
}

constexpr YuvLayout kLayouts[] = {
    {QvFourCC('U', 'Y', 'V', 'Y'), QVPT_UYVY, kUyvy, false, false},
    {QvFourCC('Y', 'U', 'Y', 'V'), QVPT_YUYV, kYuyv, false, false},
    {QvFourCC('v', '2', '1', '0'), QVPT_v210, kSemi16, true, false},
    {QvFourCC('P', '0', '1', '0'), QVPT_P010, kSemi16, false, true},
    {QvFourCC('P', 'L', '1', '0'), QVPT_PL10, kSemi16, false, true},
    {QvFourCC('P', '2', '1', '0'), QVPT_P210, kSemi16, false, false},
    {QvFourCC('P', '4', '1', '0'), QVPT_P410, kPlanar16, false, false},
    {QvFourCC('I', '4', '2', '0'), QVPT_I420, kPlanar8, false, true},
    {QVFOURCC_IYUV, QVPT_I420, kPlanar8, false, true},
    {QvFourCC('N', 'V', '1', '2'), QVPT_NV12, kSemi8, false, true},
    {QvFourCC('Y', 'V', '1', '2'), QVPT_YV12, kPlanar8, false, true},
    {QvFourCC('Y', 'V', '1', '6'), QVPT_YV16, kPlanar8, false, false},
};

constexpr bool isTenBit(int32_t type) {
  return type >= QVPT_v210 && type <= QVPT_P410;
}

// How many chroma samples' worth of pixels are summed for one. P010 and PL10 take theirs from one row.
float summedPixels(int32_t type) {
  constexpr uint8_t kSummed[] = {2, 2, 1, 4, 2, 2, 2, 2, 1, 4, 4, 2};  // from QVPT_UYVY on
  return type >= QVPT_UYVY && type <= QVPT_YV16 ? kSummed[type - QVPT_UYVY] : 1.0f;
}

YuvTerms makeTerms(int32_t bu, int32_t gu, int32_t gv, int32_t rv, int32_t centre, int32_t half) {
  return {bu, gu, gv, rv, half - centre * bu, half - centre * (gu + gv), half - centre * rv, 1};
}

}  // namespace

const YuvLayout* findYuvLayout(uint32_t compression) {
  for (const YuvLayout& layout : kLayouts) {
    if (layout.compression == compression) return &layout;
  }
  return nullptr;
}

const float kYuvDither[4][4] = {{0.0f, 0.5f, 0.125f, 0.625f},
                                {0.75f, 0.25f, 0.875f, 0.375f},
                                {0.1875f, 0.6875f, 0.0625f, 0.5625f},
                                {0.9375f, 0.4375f, 0.8125f, 0.3125f}};

YuvTerms termsOf(const QVYUVMATRIX& m, int32_t chromaSum) {
  const bool centred = m.BO == 8192 - 128 * m.BU && m.GO == 8192 - 128 * (m.GU + m.GV) &&
                       m.RO == 8192 - 128 * m.RV && chromaSum == 1;
  return {m.BU, m.GU, m.GV, m.RV, m.BO * chromaSum, m.GO * chromaSum, m.RO * chromaSum, centred};
}

YuvTerms terms10Of(const QVYUVMATRIX& m) {
  return makeTerms(m.BU, m.GU, m.GV, m.RV, 512, 4 * 8192);
}

// Adding 1.5 * 2^52 leaves the nearest whole number in the low bits.
int32_t roundWeight(double value) {
  const double shifted = value + 1.5e-8 + 6755399441055744.0;
  uint64_t bits;
  memcpy(&bits, &shifted, sizeof bits);
  return static_cast<int32_t>(static_cast<uint32_t>(bits));
}

YuvTerms packedTermsOf(const QVYUVMATRIX64& m) {
  const auto coefficient = [](double value) { return 4 * roundWeight(value * 4096); };
  return makeTerms(coefficient(m.blueU), coefficient(m.greenU), coefficient(m.greenV), coefficient(m.redV),
                   128, 8192);
}

PackWeights packWeightsOf(const QVYUVMATRIX64& m) {
  PackWeights w;
  for (int i = 0; i < 3; ++i) {
    w.y[i] = roundWeight(m.y[2 - i] * 4096);
    w.u[i] = roundWeight(m.u[2 - i] * 0.5 * 4096);
    w.v[i] = roundWeight(m.v[2 - i] * 0.5 * 4096);
  }
  return w;
}

}  // namespace qv

const QVYUVMATRIX* QvYuvMatrix(uint32_t colorMatrix, int32_t width, int32_t height) {
  using namespace qv;
  const bool named = colorMatrix >= QVYUV_BT601 && colorMatrix <= QVYUV_BT2020;
  return kMatrices + (named ? static_cast<int>(colorMatrix - QVYUV_BT601) : bySize(width, height));
}

const QVYUVMATRIX64* QvYuvMatrix64(uint32_t standard, int32_t width, int32_t height) {
  using namespace qv;
  const bool named = standard >= 1 && standard <= 3;
  return kMatrices64 + (named ? static_cast<int>(standard - 1) : bySize(width, height));
}

void QvYuvDecodeScale(int32_t yuvType, int32_t rgbType, double gamma, const QVYUVMATRIX* matrix,
                      QVYUVDECODESCALE* scale) {
  float luma = 0.0f, offset = 0.0f, chroma = 0.9776786f;
  if (rgbType == QVPT_RGBAF128) {
    offset = gamma != 0.0 ? 16.0f : 0.0f;
    luma = gamma != 0.0 ? 1.0f / 219.0f : 1.0f / 255.0f;
    chroma = gamma != 0.0 ? 0.004464286f : 0.0038340336f;
  }
  const bool ten = qv::isTenBit(yuvType);
  const float units = ten ? 4.0f : 1.0f;
  const float perUnit = !ten ? 1.0f : gamma != 0.0 ? 0.25f : 0.24926686f;
  const float* inverse = matrix->inverse;
  *scale = {offset * units,
            luma * perUnit,
            128.0f * units,
            inverse[0] * chroma * perUnit,
            inverse[1] * chroma * perUnit,
            inverse[2] * chroma * perUnit,
            inverse[3] * chroma * perUnit};
}

void QvYuvEncodeScale(int32_t rgbType, double gamma, int32_t yuvType, const QVYUVMATRIX* matrix,
                      uint8_t videoRange, QVYUVENCODESCALE* scale) {
  *scale = {0.0f, 0.0f, 128.0f, 1.0228310823f, {}, {}, {}};
  if (rgbType == QVPT_RGBAF128) {
    const bool full = gamma != 0.0 || videoRange != 0;
    scale->lumaOffset = full ? 16.0f : 0.0f;
    scale->lumaScale = full ? 219.0f : 255.0f;
    scale->chromaScale = full ? 224.0f : 260.8219299f;
  }
  scale->chromaScale /= qv::summedPixels(yuvType);
  const bool ten = qv::isTenBit(yuvType);
  const float factor = !ten ? 1.0f : gamma != 0.0 ? 4.0f : 4.0117645f;
  scale->lumaOffset *= factor;
  if (ten) scale->chromaCentre *= 4.0f;
  for (int i = 0; i < 3; ++i) {
    scale->yWeights[i] = matrix->yWeights[i] * factor;
    scale->uWeights[i] = matrix->uWeights[i] * factor;
    scale->vWeights[i] = matrix->vWeights[i] * factor;
  }
}
