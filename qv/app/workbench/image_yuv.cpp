// What is left of a picture that goes through a YUV layout and comes back, by the same matrix or another.
#include "qv/app/workbench/image_job.h"
#include "qv/frame/status.h"
#include "qv/video/yuv.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kLayouts[] = {TEXT("NV12"), TEXT("UYVY"), TEXT("YUYV"), TEXT("I420"),
                                     TEXT("YV12"), TEXT("YV16"), TEXT("v210"), TEXT("P010"),
                                     TEXT("PL10"), TEXT("P210"), TEXT("P410")};
constexpr int32_t kLayoutTypes[] = {QVPT_NV12, QVPT_UYVY, QVPT_YUYV, QVPT_I420, QVPT_YV12, QVPT_YV16,
                                    QVPT_v210, QVPT_P010, QVPT_PL10, QVPT_P210, QVPT_P410};
constexpr const WCHAR* kMatrices[] = {TEXT("709"), TEXT("601"), TEXT("2020")};
constexpr uint32_t kMatrixCodes[] = {QVYUV_BT709, QVYUV_BT601, QVYUV_BT2020};
constexpr double kGamma = 20.0 / 9;  // of frame and picture alike, so that nothing is bent

struct Route {
  int32_t layout;
  QVYUVPARAMS there, back;
};

HRESULT readRoute(const ImageJob& job, Route& route) {
  size_t layout = 0, matrix = 0, back = 0;
  int64_t interlaced = 0;
  HRESULT status = job.choice(TEXT("layout"), kLayouts, layout);
  if (!FAILED(status)) status = job.choice(TEXT("matrix"), kMatrices, matrix);
  if (!FAILED(status)) status = job.choice(TEXT("back"), kMatrices, back);
  if (!FAILED(status)) status = job.integer(TEXT("interlaced"), 0, 1, interlaced);
  if (FAILED(status)) return status;
  if (!job.has(TEXT("back"))) back = matrix;
  route.layout = kLayoutTypes[layout];
  route.there = {0, kMatrixCodes[matrix], 0, static_cast<uint32_t>(interlaced), {}, kGamma};
  route.back = route.there;
  route.back.colorMatrix = kMatrixCodes[back];
  return kOk;
}

// Floats run from black at 0 to white at 1, where 8-bit pictures would keep the levels of video.
HRESULT thereAndBack(const Route& route, const BITMAPINFOHEADER* image) {
  ImagePtr frame;
  HRESULT status = newImage(route.layout, static_cast<uint32_t>(image->biWidth),
                            static_cast<uint32_t>(image->biHeight), frame);
  if (FAILED(status)) return status;
  const BITMAPINFOHEADER* header = &frame->bmiHeader;
  QVYUVPLANES planes;
  QvYUVImageBytesAndOffsets(header, &planes);
  void* samples = reinterpret_cast<uint8_t*>(frame.get()) + header->biSize;
  status = QvYUV_RGBToYUV(header, &route.there, samples, &planes, image, kGamma, nullptr, 0, 0, 0, 0);
  if (FAILED(status)) return status;
  return QvYUV_YUVToRGB(image, kGamma, nullptr, 0, header, &route.back, samples, &planes, 0, 0);
}

}  // namespace

HRESULT goThroughYuv(ImageJob& job) {
  Route route;
  HRESULT status = readRoute(job, route);
  ImagePtr image;
  if (!FAILED(status)) status = job.read(0, image);
  if (FAILED(status)) return status;
  const int32_t type = colourType(QvGetPixelType(&image->bmiHeader));
  status = turnInto(QVPT_RGBAF128, image);
  if (!FAILED(status)) status = thereAndBack(route, &image->bmiHeader);
  if (!FAILED(status)) status = turnInto(QVPT_RGBA64, image);
  if (!FAILED(status)) status = turnInto(type, image);
  if (FAILED(status)) return job.session().fail(status, TEXT("The picture can't go through this layout."));
  return job.write(1, image);
}

}  // namespace qv::workbench
