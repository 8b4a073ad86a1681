// Frames of YUV layouts: what jobs call the layouts and matrices, and the way to pictures and back.
//
//   ImagePtr frame;
//   HRESULT status = newImage(layoutOfName(TEXT("NV12")), width, height, frame);
//   const QVYUVPARAMS parameters = frameParameters(TEXT("709"), false);
//   if (!FAILED(status)) status = pictureToFrame(&picture->bmiHeader, parameters, frame);
//
// Pictures are of floats here (QVPT_RGBAF128): these run from black at 0 to white at 1, where 8-bit pictures
// would keep the levels of video. Everything here may be called from any thread.
#pragma once

#include "qv/app/workbench/picture_file.h"
#include "qv/video/yuv.h"

namespace qv::workbench {

inline constexpr double kFrameGamma = 20.0 / 9;  // of frames and pictures alike, so that nothing is bent

// The layouts by name, in any case of letters; 0 and null for others.
int32_t layoutOfName(WStringView name);
const WCHAR* layoutName(int32_t layout);
std::span<const WCHAR* const> layoutNames();

// "601", "709" or "2020"; any other name leaves the matrix to the frame's size.
QVYUVPARAMS frameParameters(WStringView matrix, bool interlaced);

// The first byte behind the header of a frame's block.
inline uint8_t* frameSamples(const ImagePtr& frame) {
  return reinterpret_cast<uint8_t*>(frame.get()) + frame->bmiHeader.biSize;
}

// Between a frame and a picture of floats of the same size; the statuses of QvYUV_YUVToRGB and
// QvYUV_RGBToYUV.
HRESULT frameToPicture(const ImagePtr& frame, const QVYUVPARAMS& parameters, const BITMAPINFOHEADER* picture);
HRESULT pictureToFrame(const BITMAPINFOHEADER* picture, const QVYUVPARAMS& parameters, const ImagePtr& frame);

}  // namespace qv::workbench
