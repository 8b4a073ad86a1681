// Image blocks, the pixel engine, copies and colour checks, beside memcpy, memset, pixman and OpenCV in one
// run. Arguments: frame height (width follows at 16:9) and threads.
#include <benchmark/benchmark.h>
#include <omp.h>
#include <string.h>

#include <vector>

#include "qv/video/colour.h"
#include "qv/video/copy.h"
#include "qv/video/kernels.h"
#include "qv/video/quantise.h"

#ifdef QV_BENCH_PIXMAN
#include <pixman.h>
#endif
#ifdef QV_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct Frame {
  alignas(64) uint8_t block[40 + 1024] = {};
  std::vector<uint8_t> storage;
  uint8_t* pixels;
  int32_t width, height;

  Frame(int32_t type, int32_t rows) : width(rows * 16 / 9), height(rows) {
    uint32_t bytes = 0;
    QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(block), type, static_cast<uint32_t>(width),
                           static_cast<uint32_t>(height), nullptr, 0, &bytes);
    storage.resize(bytes + 64);
    pixels = storage.data() + (64 - reinterpret_cast<uintptr_t>(storage.data()) % 64) % 64;
    const bool floats = type == QVPT_RGBAF128;
    for (uint32_t i = 0; i < bytes; ++i) pixels[i] = static_cast<uint8_t>(i * 2654435761u >> 23);
    for (uint32_t i = 0; floats && i + 4 <= bytes; i += 4) {
      const float v = static_cast<float>(i * 2654435761u >> 16) / 65536.0f;
      memcpy(pixels + i, &v, 4);
    }
    for (uint32_t i = 40; i < sizeof block && type == QVPT_PAL8; ++i) block[i] = static_cast<uint8_t>(i * 37);
  }
  BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(block); }
  uint32_t bytes() { return header()->biSizeImage; }
};

int32_t rowsOf(const benchmark::State& state) {
  return static_cast<int32_t>(state.range(0));
}

template <typename Run>
void measure(benchmark::State& state, const Run& run) {
  const int64_t rows = state.range(0);
  omp_set_num_threads(static_cast<int>(state.range(1)));
  run();
  for (auto _ : state) run();
  state.SetItemsProcessed(state.iterations() * rows * (rows * 16 / 9));
}

void convert(benchmark::State& state, int32_t from, int32_t to, uint32_t flags, double toGamma = 0.0) {
  Frame in(from, rowsOf(state)), out(to, rowsOf(state));
  measure(state, [&] {
    QvDibCopy(out.header(), out.pixels, nullptr, 0, in.header(), in.pixels, nullptr, 0, flags, toGamma, 0.0);
  });
}

#define QV_CONVERT(name, ...)          \
  void name(benchmark::State& state) { \
    convert(state, __VA_ARGS__);       \
  }                                    \
  BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime()

#define QV_FRAMES(name) BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime()
#define QV_PEER(name) BENCHMARK(name)->ArgsProduct({{1080, 2160}, {1}})->UseRealTime()

QV_CONVERT(PixelsCopy32, QVPT_RGB32, QVPT_RGBA32, 3);
QV_CONVERT(PixelsCopyFloat, QVPT_RGBAF128, QVPT_RGBAF128, 3);
QV_CONVERT(Pixels32ToFloat, QVPT_RGB32, QVPT_RGBAF128, 3);
QV_CONVERT(PixelsFloatTo32, QVPT_RGBAF128, QVPT_RGB32, 2);
QV_CONVERT(PixelsFloatTo32Dithered, QVPT_RGBAF128, QVPT_RGB32, 3);
QV_CONVERT(Pixels32ToFloatGamma, QVPT_RGB32, QVPT_RGBAF128, 3, 1.0);
QV_CONVERT(PixelsFloatTo32Gamma, QVPT_RGBAF128, QVPT_RGB32, 3, 1.0);
QV_CONVERT(PixelsFloatTo10, QVPT_RGBAF128, QVPT_RGB10A2, 3);
QV_CONVERT(Pixels24ToFloat, QVPT_RGB24, QVPT_RGBAF128, 3);
QV_CONVERT(Pixels24To32, QVPT_RGB24, QVPT_RGB32, 3);
QV_CONVERT(Pixels32To24, QVPT_RGB32, QVPT_RGB24, 3);
QV_CONVERT(Pixels32To565, QVPT_RGB32, QVPT_RGB565, 3);
QV_CONVERT(Pixels565To32, QVPT_RGB565, QVPT_RGB32, 3);
QV_CONVERT(Pixels32To555, QVPT_RGB32, QVPT_RGB555, 3);
QV_CONVERT(Pixels32To10, QVPT_RGB32, QVPT_RGB10A2, 3);
QV_CONVERT(Pixels10To32, QVPT_RGB10A2, QVPT_RGB32, 3);
QV_CONVERT(Pixels32To64, QVPT_RGB32, QVPT_RGBA64, 3);
QV_CONVERT(Pixels32ToGrey, QVPT_RGB32, QVPT_GRAY8, 3);
QV_CONVERT(PixelsPaletteTo32, QVPT_PAL8, QVPT_RGB32, 3);
QV_CONVERT(Pixels32ToPalette, QVPT_RGB32, QVPT_PAL8, 3);
QV_CONVERT(PixelsFeather32, QVPT_RGB32, QVPT_RGBA32, QVCOPY_FEATHER(40) | 3);

void PixelsFill(benchmark::State& state) {
  Frame frame(QVPT_RGB32, rowsOf(state));
  measure(state, [&] { QvDibSet(frame.header(), frame.pixels, nullptr, 0, 0.3f, 0.6f, 0.9f, 1.0f, 3); });
}
QV_FRAMES(PixelsFill);

void PixelsFade(benchmark::State& state) {
  Frame frame(QVPT_RGB32, rowsOf(state));
  const QVRGBAFLOAT colour = {0.2f, 0.4f, 0.6f, 1.0f};
  measure(state, [&] { QvDibFadeToColor(frame.header(), frame.pixels, nullptr, 0, &colour, 0.01f, 0, 0); });
}
QV_FRAMES(PixelsFade);

void PixelsFadeFloat(benchmark::State& state) {
  Frame frame(QVPT_RGBAF128, rowsOf(state));
  const QVRGBAFLOAT colour = {0.2f, 0.4f, 0.6f, 1.0f};
  measure(state, [&] { QvDibFadeToColor(frame.header(), frame.pixels, nullptr, 0, &colour, 0.01f, 0, 0); });
}
QV_FRAMES(PixelsFadeFloat);

template <int32_t Type, uint32_t Horizontal, uint32_t Vertical>
void PixelsFlip(benchmark::State& state) {
  Frame frame(Type, rowsOf(state));
  measure(state, [&] { QvDibFlip(frame.header(), frame.pixels, nullptr, 0, Horizontal, Vertical); });
}
BENCHMARK_TEMPLATE(PixelsFlip, QVPT_RGB32, 0, 1)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();
BENCHMARK_TEMPLATE(PixelsFlip, QVPT_RGB32, 1, 0)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();
BENCHMARK_TEMPLATE(PixelsFlip, QVPT_RGB24, 1, 0)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();

template <int32_t Type>
void PixelsSwapRedBlue(benchmark::State& state) {
  Frame frame(Type, rowsOf(state));
  measure(state, [&] { QvDibSwapRB(frame.header(), frame.pixels, nullptr, 0); });
}
BENCHMARK_TEMPLATE(PixelsSwapRedBlue, QVPT_RGB32)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();
BENCHMARK_TEMPLATE(PixelsSwapRedBlue, QVPT_RGB24)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();

// A row of a frame through an operator, four pixels a call, as an application would write it.
void PixelsBlendKernels(benchmark::State& state) {
  Frame below(QVPT_RGB32, rowsOf(state)), above(QVPT_RGBA32, rowsOf(state));
  QvBlendRequest request;
  QvBlendRequest_Init(&request, 1, nullptr, 0, 0x8000, 0);
  QvXchgContext context;
  QvXCHGGetFunctionPointers(QVPT_RGB32, QVPT_RGB32, 3, &context, &request, 0.0, 0.0);
  measure(state, [&] {
    context.writePtr = below.pixels;
    for (uint32_t at = 0; at < below.bytes(); at += 16) {
      context.readPtr = above.pixels + at;
      context.read4(&context);
      memcpy(context.pivot.bytes[4], context.pivot.bytes[0], 16);
      context.readPtr = below.pixels + at;
      context.read4(&context);
      context.blend4(&context);
      context.write4(&context);
    }
  });
}
QV_PEER(PixelsBlendKernels);

// The same by whole rows.
template <int32_t Operator>
void PixelsBlendRows(benchmark::State& state) {
  Frame below(QVPT_RGB32, rowsOf(state)), above(QVPT_RGB32, rowsOf(state));
  QvBlendRequest request;
  QvBlendRequest_Init(&request, Operator, nullptr, 0, 0x8000, 0);
  QvXchgContext context;
  QvXCHGGetFunctionPointers(QVPT_RGB32, QVPT_RGB32, 3, &context, &request, 0.0, 0.0);
  measure(state, [&] {
    for (int32_t y = 0; y < below.height; ++y) {
      const int64_t at = int64_t{4} * y * below.width;
      QvXCHGBlendRow(&context, below.pixels + at, above.pixels + at, below.width);
    }
  });
}
BENCHMARK_TEMPLATE(PixelsBlendRows, 1)->ArgsProduct({{1080, 2160}, {1}})->UseRealTime();
BENCHMARK_TEMPLATE(PixelsBlendRows, 3)->ArgsProduct({{1080, 2160}, {1}})->UseRealTime();

void PixelsLegalScan(benchmark::State& state) {
  Frame frame(QVPT_RGBAF128, rowsOf(state));
  int64_t hot = 0;
  measure(state, [&] {
    const QVDIBPIXEL* p = reinterpret_cast<const QVDIBPIXEL*>(frame.pixels);
    for (uint32_t i = 0; i < frame.bytes() / 16; ++i) hot += HotCheckPALYUV(p + i);
  });
  benchmark::DoNotOptimize(hot);
}
QV_PEER(PixelsLegalScan);

void PixelsQuantiser(benchmark::State& state) {
  Frame frame(QVPT_PAL8, 16);
  for (auto _ : state) {
    void* table = nullptr;
    QvDibCreateColorQuantizer(&table, frame.header());
    GlobalUnlock(GlobalHandle(table));
    GlobalFree(GlobalHandle(table));
  }
}
BENCHMARK(PixelsQuantiser);

// Peers.

void PixelsPeerMemcpy32(benchmark::State& state) {
  Frame in(QVPT_RGB32, rowsOf(state)), out(QVPT_RGB32, rowsOf(state));
  measure(state, [&] {
    memcpy(out.pixels, in.pixels, in.bytes());
    benchmark::ClobberMemory();
  });
}
QV_PEER(PixelsPeerMemcpy32);

void PixelsPeerMemcpyFloat(benchmark::State& state) {
  Frame in(QVPT_RGBAF128, rowsOf(state)), out(QVPT_RGBAF128, rowsOf(state));
  measure(state, [&] {
    memcpy(out.pixels, in.pixels, in.bytes());
    benchmark::ClobberMemory();
  });
}
QV_PEER(PixelsPeerMemcpyFloat);

void PixelsPeerMemset(benchmark::State& state) {
  Frame frame(QVPT_RGB32, rowsOf(state));
  measure(state, [&] {
    memset(frame.pixels, 7, frame.bytes());
    benchmark::ClobberMemory();
  });
}
QV_PEER(PixelsPeerMemset);

#ifdef QV_BENCH_PIXMAN
class Pixman {
 public:
  Pixman(pixman_format_code_t format, Frame& frame)
      : image_(pixman_image_create_bits_no_clear(
            format, frame.width, frame.height, reinterpret_cast<uint32_t*>(frame.pixels),
            static_cast<int>(frame.bytes() / static_cast<uint32_t>(frame.height)))) {}
  ~Pixman() { pixman_image_unref(image_); }
  Pixman(const Pixman&) = delete;
  Pixman& operator=(const Pixman&) = delete;
  pixman_image_t* get() const { return image_; }

 private:
  pixman_image_t* image_;
};

void composite(benchmark::State& state, pixman_op_t op, pixman_format_code_t from, int32_t fromType,
               pixman_format_code_t to, int32_t toType) {
  Frame in(fromType, rowsOf(state)), out(toType, rowsOf(state));
  const Pixman source(from, in), target(to, out);
  measure(state, [&] {
    pixman_image_composite32(op, source.get(), nullptr, target.get(), 0, 0, 0, 0, 0, 0, in.width, in.height);
  });
}
#define QV_PIXMAN(name, ...)           \
  void name(benchmark::State& state) { \
    composite(state, __VA_ARGS__);     \
  }                                    \
  QV_PEER(name)
QV_PIXMAN(PixelsPeerPixmanOver, PIXMAN_OP_OVER, PIXMAN_a8r8g8b8, QVPT_RGB32, PIXMAN_a8r8g8b8, QVPT_RGB32);
QV_PIXMAN(PixelsPeerPixman32To565, PIXMAN_OP_SRC, PIXMAN_a8r8g8b8, QVPT_RGB32, PIXMAN_r5g6b5, QVPT_RGB565);
QV_PIXMAN(PixelsPeerPixman565To32, PIXMAN_OP_SRC, PIXMAN_r5g6b5, QVPT_RGB565, PIXMAN_a8r8g8b8, QVPT_RGB32);
QV_PIXMAN(PixelsPeerPixman32To555, PIXMAN_OP_SRC, PIXMAN_a8r8g8b8, QVPT_RGB32, PIXMAN_x1r5g5b5, QVPT_RGB555);
QV_PIXMAN(PixelsPeerPixman32To10, PIXMAN_OP_SRC, PIXMAN_a8r8g8b8, QVPT_RGB32, PIXMAN_a2r10g10b10, QVPT_RGB32);
QV_PIXMAN(PixelsPeerPixman10To32, PIXMAN_OP_SRC, PIXMAN_a2r10g10b10, QVPT_RGB32, PIXMAN_a8r8g8b8, QVPT_RGB32);

void PixelsPeerPixmanFade(benchmark::State& state) {
  Frame frame(QVPT_RGB32, rowsOf(state));
  const Pixman target(PIXMAN_a8r8g8b8, frame);
  const pixman_color_t colour = {0x100, 0x200, 0x300, 0x400};
  pixman_image_t* solid = pixman_image_create_solid_fill(&colour);
  measure(state, [&] {
    pixman_image_composite32(PIXMAN_OP_OVER, solid, nullptr, target.get(), 0, 0, 0, 0, 0, 0, frame.width,
                             frame.height);
  });
  pixman_image_unref(solid);
}
QV_PEER(PixelsPeerPixmanFade);

void PixelsPeerPixmanFill(benchmark::State& state) {
  Frame frame(QVPT_RGB32, rowsOf(state));
  measure(state, [&] {
    pixman_fill(reinterpret_cast<uint32_t*>(frame.pixels), frame.width, 32, 0, 0, frame.width, frame.height,
                0xff4c99e5u);
  });
}
QV_PEER(PixelsPeerPixmanFill);
#endif

#ifdef QV_BENCH_OPENCV
cv::Mat view(Frame& frame, int kind) {
  return {frame.height, frame.width, kind, frame.pixels};
}

template <typename Run>
void opencv(benchmark::State& state, int32_t fromType, int fromKind, int32_t toType, int toKind,
            const Run& run) {
  Frame in(fromType, rowsOf(state)), out(toType, rowsOf(state));
  cv::Mat from = view(in, fromKind), to = view(out, toKind);
  cv::setNumThreads(static_cast<int>(state.range(1)));
  measure(state, [&] { run(from, to); });
}
#define QV_OPENCV(name, fromType, fromKind, toType, toKind, call)      \
  void name(benchmark::State& state) {                                 \
    opencv(state, fromType, fromKind, toType, toKind,                  \
           [](cv::Mat& from, [[maybe_unused]] cv::Mat& to) { call; }); \
  }                                                                    \
  QV_PEER(name)
QV_OPENCV(PixelsPeerOpenCv32ToFloat, QVPT_RGB32, CV_8UC4, QVPT_RGBAF128, CV_32FC4,
          from.convertTo(to, CV_32F, 1.0 / 255));
QV_OPENCV(PixelsPeerOpenCvFloatTo32, QVPT_RGBAF128, CV_32FC4, QVPT_RGB32, CV_8UC4,
          from.convertTo(to, CV_8U, 255));
QV_OPENCV(PixelsPeerOpenCv24To32, QVPT_RGB24, CV_8UC3, QVPT_RGB32, CV_8UC4,
          cv::cvtColor(from, to, cv::COLOR_BGR2BGRA));
QV_OPENCV(PixelsPeerOpenCv32To24, QVPT_RGB32, CV_8UC4, QVPT_RGB24, CV_8UC3,
          cv::cvtColor(from, to, cv::COLOR_BGRA2BGR));
QV_OPENCV(PixelsPeerOpenCvFlipVertical, QVPT_RGB32, CV_8UC4, QVPT_RGB32, CV_8UC4, cv::flip(from, from, 0));
QV_OPENCV(PixelsPeerOpenCvFlipHorizontal, QVPT_RGB32, CV_8UC4, QVPT_RGB32, CV_8UC4, cv::flip(from, from, 1));
QV_OPENCV(PixelsPeerOpenCvFlipHorizontal24, QVPT_RGB24, CV_8UC3, QVPT_RGB24, CV_8UC3,
          cv::flip(from, from, 1));
QV_OPENCV(PixelsPeerOpenCvSwap, QVPT_RGB32, CV_8UC4, QVPT_RGB32, CV_8UC4,
          cv::cvtColor(from, from, cv::COLOR_BGRA2RGBA));
#endif

}  // namespace
