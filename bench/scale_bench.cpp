// Scaling, fields and palettes beside libyuv, swscale, OpenCV and memcpy in one run. Arguments: the target's
// height (width follows at 16:9) and threads. "Up" doubles, "Odd" is from two thirds, "Half" and "Down"
// reduce by 2 and 2.5.
#include <benchmark/benchmark.h>
#include <omp.h>
#include <string.h>

#include <vector>

#include "qv/video/copy.h"
#include "qv/video/interlace.h"
#include "qv/video/quantise.h"
#include "qv/video/scale.h"

#ifdef QV_BENCH_LIBYUV
#include <libyuv/scale_argb.h>
#endif
#ifdef QV_BENCH_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}
#endif
#ifdef QV_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct Plane {
  SIZE size;
  uint32_t pixelBytes;
  std::vector<uint8_t> storage;
  uint8_t* pixels;

  Plane(int32_t width, int32_t height, uint32_t bytes) : size{width, height}, pixelBytes(bytes) {
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height) * bytes;
    storage.resize(count + 64);
    pixels = storage.data() + (64 - reinterpret_cast<uintptr_t>(storage.data()) % 64) % 64;
    // Soft shapes with some noise, as pictures have.
    for (size_t i = 0; i < count; i += bytes / 4) {
      const size_t x = i / bytes % static_cast<size_t>(width), y = i / bytes / static_cast<size_t>(width);
      const uint32_t v = static_cast<uint32_t>(x / 3 + y / 2 + (i * 2654435761u >> 28)) & 255;
      const float f = static_cast<float>(v) / 255.0f;
      if (bytes == 16) {
        memcpy(pixels + i, &f, 4);
      } else {
        pixels[i] = static_cast<uint8_t>(v);
      }
    }
  }
  int32_t stride() const { return size.cx * static_cast<int32_t>(pixelBytes); }
};

int32_t widthOf(int64_t rows) {
  return static_cast<int32_t>(rows * 16 / 9);
}

// What a source has of the target's size.
struct Ratio {
  int64_t times, over;
  SIZE source(int64_t rows) const {
    return {static_cast<int32_t>(widthOf(rows) * times / over), static_cast<int32_t>(rows * times / over)};
  }
};
constexpr Ratio kUp = {1, 2}, kOdd = {2, 3}, kHalf = {2, 1}, kDown = {5, 2};

template <typename Run>
void measure(benchmark::State& state, const Run& run) {
  omp_set_num_threads(static_cast<int>(state.range(1)));
  run();
  for (auto _ : state) run();
  state.SetItemsProcessed(state.iterations() * state.range(0) * widthOf(state.range(0)));
}

using Entry = decltype(&QvDibScale_Bilinear);

void ours(benchmark::State& state, Entry entry, Ratio ratio, uint32_t bytes, bool average) {
  const SIZE size = ratio.source(state.range(0));
  Plane from(size.cx, size.cy, bytes),
      to(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), bytes);
  measure(state, [&] {
    entry(to.pixels, &to.size, to.stride(), nullptr, from.pixels, &from.size, from.stride(), nullptr, bytes,
          average, 0);
  });
}

#define QV_SCALE(name, ...)            \
  void name(benchmark::State& state) { \
    ours(state, __VA_ARGS__);          \
  }                                    \
  BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime()
#define QV_BOTH(name) BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime()
#define QV_ONE(name) BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1}})->UseRealTime()

QV_SCALE(ScaleLinearUp, QvDibScale_Bilinear, kUp, 4, false);
QV_SCALE(ScaleLinearOdd, QvDibScale_Bilinear, kOdd, 4, false);
QV_SCALE(ScaleLinearHalf, QvDibScale_Bilinear, kHalf, 4, false);
QV_SCALE(ScaleLinearDown, QvDibScale_Bilinear, kDown, 4, false);
QV_SCALE(ScaleCubicUp, QvDibScale_BiCubic, kUp, 4, false);
QV_SCALE(ScaleCubicOdd, QvDibScale_BiCubic, kOdd, 4, false);
QV_SCALE(ScaleCubicDown, QvDibScale_BiCubic, kDown, 4, false);
QV_SCALE(ScaleAreaHalf, QvDibScale_Bilinear, kHalf, 4, true);
QV_SCALE(ScaleAreaDown, QvDibScale_Bilinear, kDown, 4, true);
QV_SCALE(ScaleFloatLinearUp, QvDibScale_Bilinear, kUp, 16, false);
QV_SCALE(ScaleFloatLinearDown, QvDibScale_Bilinear, kDown, 16, false);
QV_SCALE(ScaleFloatCubicUp, QvDibScale_BiCubic, kUp, 16, false);
QV_SCALE(ScaleFloatCubicDown, QvDibScale_BiCubic, kDown, 16, false);
QV_SCALE(ScaleFloatAreaDown, QvDibScale_Bilinear, kDown, 16, true);

// What writing the target costs at the least.
void ScaleMemcpy(benchmark::State& state) {
  Plane from(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), 4), to = from;
  to.pixels = to.storage.data();
  measure(state, [&] { memcpy(to.pixels, from.pixels, from.storage.size() - 64); });
}
QV_ONE(ScaleMemcpy);
void ScaleMemcpyFloat(benchmark::State& state) {
  Plane from(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), 16), to = from;
  to.pixels = to.storage.data();
  measure(state, [&] { memcpy(to.pixels, from.pixels, from.storage.size() - 64); });
}
QV_ONE(ScaleMemcpyFloat);

#ifdef QV_BENCH_LIBYUV
void yuv(benchmark::State& state, Ratio ratio, libyuv::FilterMode mode) {
  const SIZE size = ratio.source(state.range(0));
  Plane from(size.cx, size.cy, 4), to(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), 4);
  measure(state, [&] {
    libyuv::ARGBScale(from.pixels, from.stride(), size.cx, size.cy, to.pixels, to.stride(), to.size.cx,
                      to.size.cy, mode);
  });
}
#define QV_LIBYUV(name, ...)           \
  void name(benchmark::State& state) { \
    yuv(state, __VA_ARGS__);           \
  }                                    \
  QV_ONE(name)
QV_LIBYUV(ScaleLinearUp_Libyuv, kUp, libyuv::kFilterBilinear);
QV_LIBYUV(ScaleLinearOdd_Libyuv, kOdd, libyuv::kFilterBilinear);
QV_LIBYUV(ScaleLinearHalf_Libyuv, kHalf, libyuv::kFilterBilinear);
QV_LIBYUV(ScaleLinearDown_Libyuv, kDown, libyuv::kFilterBilinear);
QV_LIBYUV(ScaleAreaHalf_Libyuv, kHalf, libyuv::kFilterBox);
QV_LIBYUV(ScaleAreaDown_Libyuv, kDown, libyuv::kFilterBox);
#endif

#ifdef QV_BENCH_SWSCALE
void sws(benchmark::State& state, Ratio ratio, int flags) {
  const SIZE size = ratio.source(state.range(0));
  Plane from(size.cx, size.cy, 4), to(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), 4);
  SwsContext* context = sws_getContext(size.cx, size.cy, AV_PIX_FMT_BGRA, to.size.cx, to.size.cy,
                                       AV_PIX_FMT_BGRA, flags, nullptr, nullptr, nullptr);
  measure(state, [&] {
    const uint8_t* in[4] = {from.pixels};
    uint8_t* out[4] = {to.pixels};
    const int inStride[4] = {from.stride()}, outStride[4] = {to.stride()};
    sws_scale(context, in, inStride, 0, size.cy, out, outStride);
  });
  sws_freeContext(context);
}
#define QV_SWSCALE(name, ...)          \
  void name(benchmark::State& state) { \
    sws(state, __VA_ARGS__);           \
  }                                    \
  QV_ONE(name)
QV_SWSCALE(ScaleLinearUp_Swscale, kUp, SWS_BILINEAR);
QV_SWSCALE(ScaleCubicUp_Swscale, kUp, SWS_BICUBIC);
QV_SWSCALE(ScaleAreaDown_Swscale, kDown, SWS_AREA);
#endif

#ifdef QV_BENCH_OPENCV
void opencv(benchmark::State& state, Ratio ratio, uint32_t bytes, int mode) {
  cv::setNumThreads(1);
  const SIZE size = ratio.source(state.range(0));
  Plane from(size.cx, size.cy, bytes),
      to(widthOf(state.range(0)), static_cast<int32_t>(state.range(0)), bytes);
  const int type = bytes == 4 ? CV_8UC4 : CV_32FC4;
  const cv::Mat in(size.cy, size.cx, type, from.pixels);
  cv::Mat out(to.size.cy, to.size.cx, type, to.pixels);
  measure(state, [&] { cv::resize(in, out, out.size(), 0, 0, mode); });
}
#define QV_OPENCV(name, ...)           \
  void name(benchmark::State& state) { \
    opencv(state, __VA_ARGS__);        \
  }                                    \
  QV_ONE(name)
QV_OPENCV(ScaleLinearUp_Opencv, kUp, 4, cv::INTER_LINEAR);
QV_OPENCV(ScaleLinearDown_Opencv, kDown, 4, cv::INTER_LINEAR);
QV_OPENCV(ScaleCubicUp_Opencv, kUp, 4, cv::INTER_CUBIC);
QV_OPENCV(ScaleCubicOdd_Opencv, kOdd, 4, cv::INTER_CUBIC);
QV_OPENCV(ScaleCubicDown_Opencv, kDown, 4, cv::INTER_CUBIC);
QV_OPENCV(ScaleAreaHalf_Opencv, kHalf, 4, cv::INTER_AREA);
QV_OPENCV(ScaleAreaDown_Opencv, kDown, 4, cv::INTER_AREA);
QV_OPENCV(ScaleFloatLinearUp_Opencv, kUp, 16, cv::INTER_LINEAR);
QV_OPENCV(ScaleFloatLinearDown_Opencv, kDown, 16, cv::INTER_LINEAR);
QV_OPENCV(ScaleFloatCubicUp_Opencv, kUp, 16, cv::INTER_CUBIC);
QV_OPENCV(ScaleFloatCubicDown_Opencv, kDown, 16, cv::INTER_CUBIC);
QV_OPENCV(ScaleFloatAreaDown_Opencv, kDown, 16, cv::INTER_AREA);
#endif

// ---- Fields and palettes: whole frames

struct Frame {
  alignas(8) uint8_t block[40 + 1024] = {};
  Plane plane;
  Frame(int32_t type, int64_t rows, uint32_t bytes)
      : plane(widthOf(rows), static_cast<int32_t>(rows), bytes) {
    QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(block), type, static_cast<uint32_t>(plane.size.cx),
                           static_cast<uint32_t>(plane.size.cy), nullptr, 0, nullptr);
  }
  BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(block); }
};

void fill(benchmark::State& state, int32_t type, uint32_t bytes) {
  Frame from(type, state.range(0), bytes), to(type, state.range(0), bytes);
  measure(state, [&] {
    QvDibCopyInterlace(to.header(), to.plane.pixels, nullptr, 0, from.header(), from.plane.pixels, nullptr, 0,
                       0, 3);
  });
}
void FieldsFill(benchmark::State& state) {
  fill(state, QVPT_RGB32, 4);
}
QV_BOTH(FieldsFill);
void FieldsFillFloat(benchmark::State& state) {
  fill(state, QVPT_RGBAF128, 16);
}
QV_BOTH(FieldsFillFloat);

void merge(benchmark::State& state, decltype(&QvDibMergeFields) entry) {
  Frame from(QVPT_RGBA32, state.range(0), 4), to(QVPT_RGBA32, state.range(0), 4);
  measure(state, [&] { entry(to.header(), to.plane.pixels, 0, from.header(), from.plane.pixels, 0, 0); });
}
void FieldsMerge(benchmark::State& state) {
  merge(state, QvDibMergeFields);
}
QV_BOTH(FieldsMerge);
void FieldsMergeRotated(benchmark::State& state) {
  merge(state, QvDibMergeFieldsRotated);
}
QV_BOTH(FieldsMergeRotated);

void PaletteBuild(benchmark::State& state) {
  Frame from(QVPT_RGB32, state.range(0), 4), palette(QVPT_PAL8, 9, 4);
  measure(state,
          [&] { QvDibQuantizePalette(palette.header(), from.header(), from.plane.pixels, nullptr, 0, 3); });
}
QV_BOTH(PaletteBuild);
void PaletteMap(benchmark::State& state) {
  Frame from(QVPT_RGB32, state.range(0), 4), to(QVPT_PAL8, state.range(0), 4);
  QvDibQuantizePalette(to.header(), from.header(), from.plane.pixels, nullptr, 0, 3);
  measure(state, [&] {
    QvDibCopy(to.header(), to.plane.pixels, nullptr, 0, from.header(), from.plane.pixels, nullptr, 0, 3, 0.0,
              0.0);
  });
}
QV_BOTH(PaletteMap);
void PaletteInverse(benchmark::State& state) {
  Frame palette(QVPT_PAL8, 9, 4);
  for (size_t i = 40; i < sizeof palette.block; ++i)
    palette.block[i] = static_cast<uint8_t>(i * 2654435761u >> 20);
  for (auto _ : state) {
    void* table = nullptr;
    QvDibCreateColorQuantizer(&table, palette.header());
    GlobalUnlock(GlobalHandle(table));
    GlobalFree(GlobalHandle(table));
  }
}
BENCHMARK(PaletteInverse);

}  // namespace
