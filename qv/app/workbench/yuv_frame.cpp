#include "qv/app/workbench/yuv_frame.h"

#include <algorithm>

#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kLayoutNames[] = {TEXT("I420"), TEXT("YV12"), TEXT("NV12"), TEXT("UYVY"),
                                         TEXT("YUYV"), TEXT("YV16"), TEXT("v210"), TEXT("P010"),
                                         TEXT("PL10"), TEXT("P210"), TEXT("P410")};
constexpr int32_t kLayouts[] = {QVPT_I420, QVPT_YV12, QVPT_NV12, QVPT_UYVY, QVPT_YUYV, QVPT_YV16,
                                QVPT_v210, QVPT_P010, QVPT_PL10, QVPT_P210, QVPT_P410};
static_assert(std::size(kLayoutNames) == std::size(kLayouts));

struct MatrixRow {
  WStringView name;
  uint32_t code;
};
constexpr MatrixRow kMatrices[] = {
    {TEXT("601"), QVYUV_BT601}, {TEXT("709"), QVYUV_BT709}, {TEXT("2020"), QVYUV_BT2020}};

}  // namespace

int32_t layoutOfName(WStringView name) {
  for (size_t i = 0; i < std::size(kLayouts); ++i) {
    if (sameName(name, kLayoutNames[i])) return kLayouts[i];
  }
  return 0;
}

const WCHAR* layoutName(int32_t layout) {
  const auto at = std::ranges::find(kLayouts, layout);
  return at == std::end(kLayouts) ? nullptr : kLayoutNames[at - kLayouts];
}

std::span<const WCHAR* const> layoutNames() {
  return kLayoutNames;
}

QVYUVPARAMS frameParameters(WStringView matrix, bool interlaced) {
  const auto row = std::ranges::find(kMatrices, matrix, &MatrixRow::name);
  const uint32_t code = row == std::end(kMatrices) ? 0 : row->code;
  return {0, code, 0, interlaced ? 1u : 0u, {}, kFrameGamma};
}

HRESULT frameToPicture(const ImagePtr& frame, const QVYUVPARAMS& parameters,
                       const BITMAPINFOHEADER* picture) {
  QVYUVPLANES planes;
  QvYUVImageBytesAndOffsets(&frame->bmiHeader, &planes);
  return QvYUV_YUVToRGB(picture, kFrameGamma, nullptr, 0, &frame->bmiHeader, &parameters, frameSamples(frame),
                        &planes, 0, 0);
}

HRESULT pictureToFrame(const BITMAPINFOHEADER* picture, const QVYUVPARAMS& parameters,
                       const ImagePtr& frame) {
  QVYUVPLANES planes;
  QvYUVImageBytesAndOffsets(&frame->bmiHeader, &planes);
  return QvYUV_RGBToYUV(&frame->bmiHeader, &parameters, frameSamples(frame), &planes, picture, kFrameGamma,
                        nullptr, 0, 0, 0, 0);
}

}  // namespace qv::workbench
