// What is left of a picture that goes through a YUV layout and comes back, by the same matrix or another.
#include "qv/app/workbench/image_job.h"
#include "qv/app/workbench/yuv_frame.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kMatrices[] = {TEXT("709"), TEXT("601"), TEXT("2020")};

struct Route {
  int32_t layout;
  QVYUVPARAMS there, back;
};

HRESULT readRoute(const ImageJob& job, Route& route) {
  size_t layout = 0, matrix = 0, back = 0;
  int64_t interlaced = 0;
  HRESULT status = job.choice(TEXT("layout"), layoutNames(), layout);
  if (!FAILED(status)) status = job.choice(TEXT("matrix"), kMatrices, matrix);
  if (!FAILED(status)) status = job.choice(TEXT("back"), kMatrices, back);
  if (!FAILED(status)) status = job.integer(TEXT("interlaced"), 0, 1, interlaced);
  if (FAILED(status)) return status;
  if (!job.has(TEXT("back"))) back = matrix;
  route.layout = job.has(TEXT("layout")) ? layoutOfName(layoutNames()[layout]) : QVPT_NV12;
  route.there = frameParameters(kMatrices[matrix], interlaced != 0);
  route.back = frameParameters(kMatrices[back], interlaced != 0);
  return kOk;
}

HRESULT thereAndBack(const Route& route, const BITMAPINFOHEADER* image) {
  ImagePtr frame;
  HRESULT status = newImage(route.layout, static_cast<uint32_t>(image->biWidth),
                            static_cast<uint32_t>(image->biHeight), frame);
  if (!FAILED(status)) status = pictureToFrame(image, route.there, frame);
  return FAILED(status) ? status : frameToPicture(frame, route.back, image);
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
