// YUV frames: to RGB and back, from one layout to another, and smaller.
//
// A frame is a header, a pixel pointer and a QVYUVPLANES record (yuvplanes.h), of which every conversion
// takes the absolute figures. RGB images are 32-bit (QVPT_RGB32, QVPT_RGBA32) or float (QVPT_RGBAF128) and
// stand bottom-up, frames top-down: the first row of a frame meets the last memory row of an image. 8-bit RGB
// is studio RGB, black at 16 and white at 235; so are floats of gamma 0, while floats with a gamma run from 0
// to 1.
//
//   QVYUVPLANES planes;
//   QvYUVImageBytesAndOffsets(frameHeader, &planes);
//   QVYUVPARAMS params = {};
//   params.colorMatrix = QVYUV_BT709;
//   HRESULT status = QvYUV_YUVToRGB(&image->bmiHeader, 0.0, nullptr, 0, frameHeader, &params, frame, &planes,
//                                   0, 0);
//
// What a conversion reads and writes is bounded by both headers and by the geometry of the layouts. An odd
// last column or row has no chroma sample of its own: it takes the nearest one, and a frame without any is
// grey. "IYUV" counts as "I420" everywhere. Rows run in parallel; every function may be called from any
// thread. No source may overlap its target.
//
// Three arithmetics stand side by side, never more than one code value apart but for BT.2020's integer
// offsets:
//   - Full size to 8-bit RGB is integer. Planar and semi-planar layouts use QVYUVMATRIX in 2.14 fixed point,
//     "UYVY" and "YUYV" the 12-bit coefficients of QvUYVY2RGBA. A 10-bit sample counts as the sum of four
//     8-bit ones, with chroma centred at 512.
//   - Decimated 8-bit and all float results are computed in floats, red as (Y + c2*rv), green as
//     ((Y + c1*gu) + c2*gv), each operation rounded once. To 8 bits, 10-bit luma is taken times 0.25.
//   - RGB to YUV is computed in floats with an ordered dither, ((wr*R + wg*G) + wb*B) first.
#pragma once

#include "qv/video/dib.h"
#include "qv/video/yuvplanes.h"

// Matrix codes. Any other asks for selection by size: BT.709 for a height of 720 and up or a width outside
// 704 to 720, else BT.601.
enum : uint32_t { QVYUV_BT601 = 515, QVYUV_BT709 = 516, QVYUV_BT2020 = 517 };

// A frame's description.
struct QVYUVPARAMS {
  uint32_t reserved;
  uint32_t colorMatrix;  // QVYUV_BT601 and so on
  uint32_t reserved2;
  uint32_t fieldMode;  // 1, 2: interlaced; 0 and all others: progressive
  uint8_t reserved3[16];
  double gamma;  // 0.0 for unspecified
};
static_assert(sizeof(QVYUVPARAMS) == 40 && offsetof(QVYUVPARAMS, fieldMode) == 12 &&
              offsetof(QVYUVPARAMS, gamma) == 32);

// A matrix in 2.14 fixed point, chroma range included, and as floats. Weights run red, green, blue.
struct QVYUVMATRIX {
  int32_t BU;
  int16_t GU, GV, zero, RV;
  uint32_t zero2;
  int32_t BO, GO, RO;  // centre and rounding
  int32_t scale;       // 256 << 14
  float yWeights[3], uWeights[3], vWeights[3], zeros[3];
  float inverse[4];  // V to red, U to green, V to green, U to blue
};
static_assert(sizeof(QVYUVMATRIX) == 96 && offsetof(QVYUVMATRIX, BO) == 16 &&
              offsetof(QVYUVMATRIX, yWeights) == 32 && offsetof(QVYUVMATRIX, inverse) == 80);

// The same in double precision, chroma range included.
struct QVYUVMATRIX64 {
  double y[3], u[3], v[3];
  double redV, greenV, greenU, blueU;
  double zero;
};
static_assert(sizeof(QVYUVMATRIX64) == 112 && offsetof(QVYUVMATRIX64, redV) == 72);

// What the float kernels of one direction work with.
struct QVYUVDECODESCALE {
  float lumaOffset, lumaScale, chromaCentre;
  float redV, greenU, greenV, blueU;
};
struct QVYUVENCODESCALE {
  float lumaOffset, lumaScale, chromaCentre, chromaScale;
  float yWeights[3], uWeights[3], vWeights[3];  // red, green, blue
};

// The constants of a matrix. colorMatrix: a code above, or any other for selection by size. width, height:
// the frame's, in pixels. Never null.
QV_API const QVYUVMATRIX* QvYuvMatrix(uint32_t colorMatrix, int32_t width, int32_t height);
// standard: 1 BT.601, 2 BT.709, 3 BT.2020, others by size.
QV_API const QVYUVMATRIX64* QvYuvMatrix64(uint32_t standard, int32_t width, int32_t height);

// Scales and offsets from YUV to RGB. yuvType, rgbType: pixel types. gamma: the RGB image's; 0.0 keeps studio
// levels in floats. matrix, scale: not null.
QV_API void QvYuvDecodeScale(int32_t yuvType, int32_t rgbType, double gamma, const QVYUVMATRIX* matrix,
                             QVYUVDECODESCALE* scale);
// And from RGB to YUV. videoRange: not 0 takes floats of gamma 0 as running from 0 to 1 too.
QV_API void QvYuvEncodeScale(int32_t rgbType, double gamma, int32_t yuvType, const QVYUVMATRIX* matrix,
                             uint8_t videoRange, QVYUVENCODESCALE* scale);

// A frame to RGB, full size or by point sampling every 2nd, 4th or 8th pixel of every 2nd, 4th or 8th row;
// "I420" to 8 bits is averaged at half and quarter size instead, or, when interlaced, taken from one field.
// rgbHeader: type 28, 29 or 32; its size bounds what is written. gamma: the image's. rgb: null for the
// block's own pixels. rgbStride: bytes, 0 for packed. params, yuv, planes: not null. shift: 0 to 3, log2 of
// the decimation. flags: not used. Floats are bent from params->gamma to gamma when the two differ.
// 0x80004005 for any other layout, image type or shift, and for a null.
QV_API HRESULT QvYUV_YUVToRGB(const BITMAPINFOHEADER* rgbHeader, double gamma, void* rgb, int32_t rgbStride,
                              const BITMAPINFOHEADER* yuvHeader, const QVYUVPARAMS* params, const void* yuv,
                              const QVYUVPLANES* planes, int32_t shift, uint32_t flags);

// RGB to a frame of the same size; a smaller image fills the frame's top left. Parameters as above; shift: 0
// only. videoRange: as in QvYuvEncodeScale. 8-bit samples lie within 1 and 254, 10-bit samples within 4 and
// 1019. The dither starts at the frame's top left, and again at the first chroma sample. "P010" and "PL10"
// take chroma from the first of the two rows that share it, 8-bit 4:2:0 from both.
QV_API HRESULT QvYUV_RGBToYUV(const BITMAPINFOHEADER* yuvHeader, const QVYUVPARAMS* params, void* yuv,
                              const QVYUVPLANES* planes, const BITMAPINFOHEADER* rgbHeader, double gamma,
                              const void* rgb, uint32_t rgbStride, int32_t shift, uint32_t flags,
                              uint8_t videoRange);

// From layout to layout, samples unchanged. The frames' common size is converted.
// All parameters not null, else 0x80004003. QvYUV_YUVToYUV knows "I420" to "YV12", "NV12" and "UYVY", and
// "NV12" and "YV12" to "I420"; any other pair leaves the target and yields 0. Its "UYVY" has the bytes of a
// pair in the order Y0 U Y1 V. The others go by their names, whatever the headers' compression says.
QV_API HRESULT QvYUV_YUVToYUV(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                              const BITMAPINFOHEADER* srcHeader, const void* src,
                              const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_I420_To_NV12(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_I420_To_YV12(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_NV12_To_I420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_YV12_To_I420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);

// A rectangle of the source to the top left of the target. x, y, width, height: pixels. Chroma comes from
// column x/2 and row y (not y/2) of its plane, height/2 rows of it; rows and columns that the source or the
// target doesn't have are left. Parameters and results otherwise as above.
QV_API HRESULT QvYUV_NV12_To_I420_SubRect(const BITMAPINFOHEADER* dstHeader, void* dst,
                                          const QVYUVPLANES* dstPlanes, const BITMAPINFOHEADER* srcHeader,
                                          const void* src, const QVYUVPLANES* srcPlanes, uint32_t x,
                                          uint32_t y, int32_t width, int32_t height);
QV_API HRESULT QvYUV_YV12_To_I420_SubRect(const BITMAPINFOHEADER* dstHeader, void* dst,
                                          const QVYUVPLANES* dstPlanes, const BITMAPINFOHEADER* srcHeader,
                                          const void* src, const QVYUVPLANES* srcPlanes, uint32_t x,
                                          uint32_t y, int32_t width, int32_t height);
QV_API HRESULT QvYUV_I420_To_I420_SubRect(const BITMAPINFOHEADER* dstHeader, void* dst,
                                          const QVYUVPLANES* dstPlanes, const BITMAPINFOHEADER* srcHeader,
                                          const void* src, const QVYUVPLANES* srcPlanes, uint32_t x,
                                          uint32_t y, int32_t width, int32_t height);
QV_API HRESULT QvYUV_P010_To_P010_SubRect(const BITMAPINFOHEADER* dstHeader, void* dst,
                                          const QVYUVPLANES* dstPlanes, const BITMAPINFOHEADER* srcHeader,
                                          const void* src, const QVYUVPLANES* srcPlanes, uint32_t x,
                                          uint32_t y, int32_t width, int32_t height);
// 4:2:2, so every row has chroma of its own, from row y on.
QV_API HRESULT QvYUV_YV16_To_YUYV_SubRect(const BITMAPINFOHEADER* dstHeader, void* dst,
                                          const QVYUVPLANES* dstPlanes, const BITMAPINFOHEADER* srcHeader,
                                          const void* src, const QVYUVPLANES* srcPlanes, uint32_t x,
                                          uint32_t y, int32_t width, int32_t height);

// 10-bit 4:2:2 packed into 32-bit words, three samples each, and unpacked to the top of 16-bit words. A last
// group of two or four pixels has only the words that it needs, its unused fields being 0; an odd last pixel
// is left. Parameters and results as in the repacking functions.
QV_API HRESULT QvYUV_P210_To_v210(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_v210_To_P210(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);

// 10 bits to 8 by dropping the low bits; chroma from every second row, and of "P410" every second column.
QV_API HRESULT QvYUV_P010_To_I420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_P210_To_I420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);
QV_API HRESULT QvYUV_P410_To_I420(const BITMAPINFOHEADER* dstHeader, void* dst, const QVYUVPLANES* dstPlanes,
                                  const BITMAPINFOHEADER* srcHeader, const void* src,
                                  const QVYUVPLANES* srcPlanes);

// v210 rows to UYVY rows, the top 8 of each 10 bits. Strides in bytes, width in pixels. 0x80004003 for a
// null; 0x80070057 for a target stride below 2 * width, a source stride below width * 8 / 6, either below 1,
// a width of 0 or an odd one, or a height of 0.
QV_API HRESULT QvYUV_v210_TO_UYVY(void* dst, const void* src, int64_t dstStride, uint64_t srcStride,
                                  uint64_t width, int64_t height);

// UYVY rows, 2 * width bytes each, to rows of four bytes a pixel in the order blue, green, red, 255; both
// names do the same. dstStride: bytes, may be negative. standard: as in QvYuvMatrix64. Rows go in the order
// given. 0x80004003 for a null; 0x80070057 for a width or height below 1, an odd width, or a stride that
// can't hold a row.
QV_API HRESULT QvUYVY2RGBA(void* dst, const void* src, int64_t dstStride, int32_t width, int32_t height,
                           uint32_t standard);
QV_API HRESULT QvUYVY2RGB(void* dst, const void* src, int64_t dstStride, int32_t width, int32_t height,
                          uint32_t standard);

// Rows of four bytes a pixel to UYVY rows, without dither; the fourth byte is not read. Both strides in
// bytes, dstStride signed all the same. Samples lie within 1 and 254. Otherwise as above.
QV_API HRESULT QvRGBA2UYVY(void* dst, const void* src, int64_t srcStride, uint64_t dstStride, uint32_t width,
                           int32_t height, uint32_t standard);
QV_API HRESULT QvRGB2UYVY(void* dst, const void* src, int64_t srcStride, uint64_t dstStride, uint32_t width,
                          int32_t height, uint32_t standard);

// Planes to rows of four bytes a pixel, in the order given. Strides in bytes, of any sign. colorMatrix: a
// matrix code. 0x80070057 for an odd width, 0x80004003 for a null; nothing happens for a height below 1.
QV_API HRESULT QvYUV422PlanarToRGBA(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                    const void* y, int32_t yStride, const void* u, int32_t uStride,
                                    const void* v, int32_t vStride, int32_t colorMatrix);

// The same for 4:2:0. fieldMode: with 1 or 2, rows 4k and 4k+2 share a chroma row, and rows 4k+1 and 4k+3; a
// last pair of rows is progressive. 0x80070057 for an odd width or height.
QV_API HRESULT QvYUV420ToRGBA(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                              int32_t yStride, const void* u, int32_t uStride, const void* v, int32_t vStride,
                              int32_t fieldMode, int32_t colorMatrix);

// Smaller 4:2:0. width, height: the source's. Averages of luma and chroma go through the matrix at once.
//   HalfHorz: width/2 by height.
//   Half: width/2 by height/2, averaged; of one field when interlaced.
//   Quarter: width/4 by height/4; of one field, averaged over two of its rows, when interlaced.
//   Half_BlendFields, QuarterHorz_HalfVert_BlendFields: both fields of an interlaced frame mixed; every
//   output row takes chroma from a row of each field, but for a last pair of rows, which is progressive.
//   Quarter_BlendFields: width/4 by height/4; width and height are cut to multiples of 4.
// 0x80070057 for an odd width or height; for QuarterHorz_HalfVert a width that is no multiple of 4. Half and
// Quarter of an interlaced frame ask that of the one field.
QV_API HRESULT QvYUV420ToRGBA_HalfHorz(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                       const void* y, int32_t yStride, const void* u, int32_t uStride,
                                       const void* v, int32_t vStride, int32_t fieldMode,
                                       int32_t colorMatrix);
QV_API HRESULT QvYUV420ToRGBA_Half(int32_t width, int32_t height, void* dst, int32_t dstStride, const void* y,
                                   int32_t yStride, const void* u, int32_t uStride, const void* v,
                                   int32_t vStride, int32_t fieldMode, int32_t colorMatrix);
QV_API HRESULT QvYUV420ToRGBA_Half_BlendFields(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                               const void* y, int32_t yStride, const void* u, int32_t uStride,
                                               const void* v, int32_t vStride, int32_t colorMatrix);
QV_API HRESULT QvYUV420ToRGBA_Quarter(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                      const void* y, int32_t yStride, const void* u, int32_t uStride,
                                      const void* v, int32_t vStride, int32_t fieldMode, int32_t colorMatrix);
QV_API HRESULT QvYUV420ToRGBA_Quarter_BlendFields(int32_t width, int32_t height, void* dst, int32_t dstStride,
                                                  const void* y, int32_t yStride, const void* u,
                                                  int32_t uStride, const void* v, int32_t vStride,
                                                  int32_t colorMatrix);
QV_API HRESULT QvYUV420ToRGBA_QuarterHorz_HalfVert_BlendFields(int32_t width, int32_t height, void* dst,
                                                               int32_t dstStride, const void* y,
                                                               int32_t yStride, const void* u,
                                                               int32_t uStride, const void* v,
                                                               int32_t vStride, int32_t colorMatrix);
