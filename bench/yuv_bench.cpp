// YUV frames to RGB and back beside libyuv, swscale and memcpy of the same traffic in one run. Arguments:
// frame height (width follows at 16:9) and threads; peers run on one.
#include <benchmark/benchmark.h>
#include <omp.h>
#include <string.h>

#include <vector>

#include "qv/video/yuv.h"

#ifdef QV_BENCH_LIBYUV
#include <libyuv.h>
#endif
#ifdef QV_BENCH_SWSCALE
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

// Bytes that begin at a cache line.
class Bytes {
 public:
  Bytes(int64_t count, bool floats) : storage_(static_cast<size_t>(count) + 64) {
    data_ = storage_.data() + (64 - reinterpret_cast<uintptr_t>(storage_.data()) % 64) % 64;
    for (int64_t i = 0; i < count; ++i)
      data_[i] = static_cast<uint8_t>(static_cast<uint32_t>(i) * 2654435761u >> 23);
    for (int64_t i = 0; floats && i + 4 <= count; i += 4) {
      const float v = static_cast<float>(static_cast<uint32_t>(i) * 2654435761u >> 16) / 65536.0f;
      memcpy(data_ + i, &v, 4);
    }
  }
  uint8_t* data() { return data_; }

 private:
  std::vector<uint8_t> storage_;
  uint8_t* data_;
};

struct Yuv {
  BITMAPINFOHEADER header = {};
  QVYUVPLANES planes = {};
  int32_t size;
  Bytes bytes;

  Yuv(const char* name, int32_t rows, int32_t shift = 0)
      : size(describe(name, rows * 16 / 9 >> shift, rows >> shift)), bytes(size, false) {}
  int32_t width() const { return header.biWidth; }
  int32_t height() const { return header.biHeight; }
  uint8_t* y() { return bytes.data(); }
  uint8_t* u() { return bytes.data() + planes.uOffset; }
  uint8_t* v() { return bytes.data() + planes.vOffset; }

 private:
  int32_t describe(const char* name, int32_t width, int32_t height) {
    header.biSize = 40;
    header.biWidth = width;
    header.biHeight = height;
    header.biCompression = QvFourCC(name[0], name[1], name[2], name[3]);
    return QvYUVImageBytesAndOffsets(&header, &planes);
  }
};

struct Rgb {
  alignas(64) uint8_t block[64] = {};
  int64_t size;
  Bytes bytes;

  Rgb(int32_t type, int32_t rows, int32_t shift = 0)
      : size(describe(type, rows * 16 / 9 >> shift, rows >> shift)), bytes(size, type == QVPT_RGBAF128) {}
  BITMAPINFOHEADER* header() { return reinterpret_cast<BITMAPINFOHEADER*>(block); }
  uint8_t* data() { return bytes.data(); }
  int32_t stride() { return header()->biWidth * 4; }

 private:
  int64_t describe(int32_t type, int32_t width, int32_t height) {
    uint32_t count = 0;
    QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(block), type, static_cast<uint32_t>(width),
                           static_cast<uint32_t>(height), nullptr, 0, &count);
    return count;
  }
};

int32_t rowsOf(const benchmark::State& state) {
  return static_cast<int32_t>(state.range(0));
}

// Source pixels a second.
template <typename Run>
void measure(benchmark::State& state, const Run& run) {
  const int64_t rows = state.range(0);
  omp_set_num_threads(static_cast<int>(state.range(1)));
  run();
  for (auto _ : state) {
    run();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * rows * (rows * 16 / 9));
}

void decode(benchmark::State& state, const char* name, int32_t type, int32_t shift) {
  Yuv in(name, rowsOf(state));
  Rgb out(type, rowsOf(state), shift);
  QVYUVPARAMS params = {};
  measure(state, [&] {
    QvYUV_YUVToRGB(out.header(), 2.2222, out.data(), 0, &in.header, &params, in.y(), &in.planes, shift, 0);
  });
}

void encode(benchmark::State& state, const char* name, int32_t type) {
  Rgb in(type, rowsOf(state));
  Yuv out(name, rowsOf(state));
  QVYUVPARAMS params = {};
  measure(state, [&] {
    QvYUV_RGBToYUV(&out.header, &params, out.y(), &out.planes, in.header(), 2.2222, in.data(), 0, 0, 0, 0);
  });
}

void repack(benchmark::State& state, const char* from, const char* to, decltype(&QvYUV_YUVToYUV) function) {
  Yuv in(from, rowsOf(state)), out(to, rowsOf(state));
  measure(state, [&] { function(&out.header, out.y(), &out.planes, &in.header, in.y(), &in.planes); });
}

void copy(benchmark::State& state, int64_t in, int64_t out) {
  Bytes a(std::max(in, out), false), b(std::max(in, out), false);
  measure(state, [&] {  // as much as both together move
    const int64_t half = (in + out) / 2;
    memcpy(b.data(), a.data(), static_cast<size_t>(half));
  });
}

const char* const kLayouts[] = {"UYVY", "YUYV", "v210", "P010", "P210",
                                "P410", "I420", "NV12", "YV12", "YV16"};

std::string title(const char* what, const char* name, const char* rest) {
  return std::string("Yuv/") + what + "/" + name + rest;
}

template <typename Function>
void peer(const std::string& name, const Function& function) {
  benchmark::RegisterBenchmark(name.c_str(), function)->ArgsProduct({{1080, 2160}, {1}})->UseRealTime();
}
template <typename Function>
void ours(const std::string& name, const Function& function) {
  benchmark::RegisterBenchmark(name.c_str(), function)->ArgsProduct({{1080, 2160}, {1, 2}})->UseRealTime();
}

void registerOurs() {
  using State = benchmark::State;
  static const char* const kShifts[] = {"", "/half", "/quarter", "/eighth"};
  for (const char* name : kLayouts) {
    for (int32_t shift = 0; shift < 4; ++shift) {
      ours(title("ToRgb", name, kShifts[shift]), [=](State& s) { decode(s, name, QVPT_RGB32, shift); });
      ours(title("ToFloat", name, kShifts[shift]), [=](State& s) { decode(s, name, QVPT_RGBAF128, shift); });
    }
    ours(title("FromRgb", name, ""), [=](State& s) { encode(s, name, QVPT_RGB32); });
    ours(title("FromFloat", name, ""), [=](State& s) { encode(s, name, QVPT_RGBAF128); });
    for (const int32_t type : {QVPT_RGB32, QVPT_RGBAF128}) {
      peer(title("Copy", name, type == QVPT_RGB32 ? "/rgb" : "/float"),
           [=](State& s) { copy(s, Yuv(name, rowsOf(s)).size, Rgb(type, rowsOf(s)).size); });
    }
    peer(title("Copy", name, "/itself"), [=](State& s) {
      const int64_t size = Yuv(name, rowsOf(s)).size;
      copy(s, size, size);
    });
  }
  ours("Yuv/UYVY2RGBA", [](State& s) {
    Yuv in("UYVY", rowsOf(s));
    Rgb out(QVPT_RGB32, rowsOf(s));
    measure(s, [&] { QvUYVY2RGBA(out.data(), in.y(), out.stride(), in.width(), in.height(), 2); });
  });
  ours("Yuv/RGBA2UYVY", [](State& s) {
    Rgb in(QVPT_RGB32, rowsOf(s));
    Yuv out("UYVY", rowsOf(s));
    measure(s, [&] {
      QvRGBA2UYVY(out.y(), in.data(), in.stride(), static_cast<uint64_t>(2 * out.width()),
                  static_cast<uint32_t>(out.width()), out.height(), 1);
    });
  });
  ours("Yuv/v210ToUYVY", [](State& s) {
    Yuv in("v210", rowsOf(s)), out("UYVY", rowsOf(s));
    measure(s, [&] {
      QvYUV_v210_TO_UYVY(out.y(), in.y(), 2 * out.width(), static_cast<uint64_t>(in.planes.lumaStride),
                         static_cast<uint64_t>(in.width()), in.height());
    });
  });
  struct Repack {
    const char *name, *from, *to;
    decltype(&QvYUV_YUVToYUV) function;
  };
  for (const Repack& r : {Repack{"I420ToNV12", "I420", "NV12", QvYUV_I420_To_NV12},
                          {"I420ToYV12", "I420", "YV12", QvYUV_I420_To_YV12},
                          {"NV12ToI420", "NV12", "I420", QvYUV_NV12_To_I420},
                          {"I420ToUYVY", "I420", "UYVY", QvYUV_YUVToYUV},
                          {"P210ToV210", "P210", "v210", QvYUV_P210_To_v210},
                          {"V210ToP210", "v210", "P210", QvYUV_v210_To_P210},
                          {"P010ToI420", "P010", "I420", QvYUV_P010_To_I420},
                          {"P210ToI420", "P210", "I420", QvYUV_P210_To_I420},
                          {"P410ToI420", "P410", "I420", QvYUV_P410_To_I420}}) {
    ours(std::string("Yuv/") + r.name, [=](State& s) { repack(s, r.from, r.to, r.function); });
  }
}

#ifdef QV_BENCH_LIBYUV
void registerLibyuv() {
  using namespace libyuv;
  using State = benchmark::State;
  const auto both = [](const char* what, const char* layout, bool toRgb, auto run) {
    peer(title(what, layout, "/libyuv"), [=](State& s) {
      Yuv yuv(layout, rowsOf(s));
      Rgb rgb(QVPT_RGB32, rowsOf(s));
      measure(s, [&] { run(yuv, rgb.data(), rgb.stride(), yuv.width(), yuv.height()); });
    });
    (void)toRgb;
  };
  both("ToRgb", "I420", true, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    I420ToARGB(f.y(), w, f.u(), w / 2, f.v(), w / 2, rgb, stride, w, h);
  });
  both("ToRgb", "NV12", true, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    NV12ToARGB(f.y(), w, f.u(), w, rgb, stride, w, h);
  });
  both("ToRgb", "UYVY", true,
       [](Yuv& f, uint8_t* rgb, int stride, int w, int h) { UYVYToARGB(f.y(), 2 * w, rgb, stride, w, h); });
  both("ToRgb", "YUYV", true,
       [](Yuv& f, uint8_t* rgb, int stride, int w, int h) { YUY2ToARGB(f.y(), 2 * w, rgb, stride, w, h); });
  both("ToRgb", "YV16", true, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    I422ToARGB(f.y(), w, f.u(), w / 2, f.v(), w / 2, rgb, stride, w, h);
  });
  const auto words = [](uint8_t* p) { return reinterpret_cast<uint16_t*>(p); };
  both("ToRgb", "P010", true, [words](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    P010ToARGBMatrix(words(f.y()), w, words(f.u()), w, rgb, stride, &kYuvI601Constants, w, h);
  });
  both("ToRgb", "P210", true, [words](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    P210ToARGBMatrix(words(f.y()), w, words(f.u()), w, rgb, stride, &kYuvI601Constants, w, h);
  });
  both("ToRgb", "P410", true, [words](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    I410ToARGBMatrix(words(f.y()), w, words(f.u()), w, words(f.v()), w, rgb, stride, &kYuvI601Constants, w,
                     h);
  });
  both("FromRgb", "I420", false, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    ARGBToI420(rgb, stride, f.y(), w, f.u(), w / 2, f.v(), w / 2, w, h);
  });
  both("FromRgb", "NV12", false, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    ARGBToNV12(rgb, stride, f.y(), w, f.u(), w, w, h);
  });
  both("FromRgb", "UYVY", false,
       [](Yuv& f, uint8_t* rgb, int stride, int w, int h) { ARGBToUYVY(rgb, stride, f.y(), 2 * w, w, h); });
  both("FromRgb", "YV16", false, [](Yuv& f, uint8_t* rgb, int stride, int w, int h) {
    ARGBToI422(rgb, stride, f.y(), w, f.u(), w / 2, f.v(), w / 2, w, h);
  });
  peer("Yuv/I420ToNV12/libyuv", [](State& s) {
    Yuv a("I420", rowsOf(s)), b("NV12", rowsOf(s));
    const int w = a.width();
    measure(s, [&] { I420ToNV12(a.y(), w, a.u(), w / 2, a.v(), w / 2, b.y(), w, b.u(), w, w, a.height()); });
  });
  peer("Yuv/NV12ToI420/libyuv", [](State& s) {
    Yuv a("NV12", rowsOf(s)), b("I420", rowsOf(s));
    const int w = a.width();
    measure(s, [&] { NV12ToI420(a.y(), w, a.u(), w, b.y(), w, b.u(), w / 2, b.v(), w / 2, w, a.height()); });
  });
  peer("Yuv/I420ToUYVY/libyuv", [](State& s) {
    Yuv a("I420", rowsOf(s)), b("UYVY", rowsOf(s));
    const int w = a.width();
    measure(s, [&] { I420ToUYVY(a.y(), w, a.u(), w / 2, a.v(), w / 2, b.y(), 2 * w, w, a.height()); });
  });
}
#endif

#ifdef QV_BENCH_SWSCALE
void scale(benchmark::State& state, AVPixelFormat from, AVPixelFormat to) {
  const int rows = rowsOf(state), width = rows * 16 / 9;
  SwsContext* context =
      sws_getContext(width, rows, from, width, rows, to, SWS_POINT, nullptr, nullptr, nullptr);
  AVFrame* frames[2];
  for (int i = 0; i < 2; ++i) {
    frames[i] = av_frame_alloc();
    frames[i]->format = i == 0 ? from : to;
    frames[i]->width = width;
    frames[i]->height = rows;
    av_frame_get_buffer(frames[i], 64);
    for (int p = 0; p < 4 && frames[i]->buf[p] != nullptr; ++p)
      memset(frames[i]->buf[p]->data, 80, frames[i]->buf[p]->size);
  }
  measure(state, [&] {
    sws_scale(context, frames[0]->data, frames[0]->linesize, 0, rows, frames[1]->data, frames[1]->linesize);
  });
  for (AVFrame* frame : frames) av_frame_free(&frame);
  sws_freeContext(context);
}

// The decoder of v210 files, to planar 10 bits, which is what is nearest to P210 there.
void unpack(benchmark::State& state) {
  Yuv in("v210", rowsOf(state));
  AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_V210));
  context->width = in.width();
  context->height = in.height();
  context->thread_count = 1;
  avcodec_open2(context, nullptr, nullptr);
  AVPacket* packet = av_packet_alloc();
  packet->data = in.y();
  packet->size = in.size;
  AVFrame* frame = av_frame_alloc();
  measure(state, [&] {
    avcodec_send_packet(context, packet);
    if (avcodec_receive_frame(context, frame) != 0) state.SkipWithError("no frame");
    av_frame_unref(frame);
  });
  av_frame_free(&frame);
  packet->data = nullptr;
  av_packet_free(&packet);
  avcodec_free_context(&context);
}

void registerSwscale() {
  using State = benchmark::State;
  struct Pair {
    const char *what, *layout;
    AVPixelFormat from, to;
  };
  for (const Pair& p : {Pair{"ToRgb", "I420", AV_PIX_FMT_YUV420P, AV_PIX_FMT_BGRA},
                        {"ToRgb", "NV12", AV_PIX_FMT_NV12, AV_PIX_FMT_BGRA},
                        {"ToRgb", "UYVY", AV_PIX_FMT_UYVY422, AV_PIX_FMT_BGRA},
                        {"ToRgb", "YV16", AV_PIX_FMT_YUV422P, AV_PIX_FMT_BGRA},
                        {"ToRgb", "P010", AV_PIX_FMT_P010LE, AV_PIX_FMT_BGRA},
                        {"ToRgb", "P210", AV_PIX_FMT_P210LE, AV_PIX_FMT_BGRA},
                        {"FromRgb", "I420", AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV420P},
                        {"FromRgb", "NV12", AV_PIX_FMT_BGRA, AV_PIX_FMT_NV12},
                        {"FromRgb", "UYVY", AV_PIX_FMT_BGRA, AV_PIX_FMT_UYVY422},
                        {"FromRgb", "P010", AV_PIX_FMT_BGRA, AV_PIX_FMT_P010LE},
                        {"FromRgb", "P210", AV_PIX_FMT_BGRA, AV_PIX_FMT_P210LE}}) {
    peer(title(p.what, p.layout, "/swscale"), [=](State& s) { scale(s, p.from, p.to); });
  }
  peer("Yuv/V210ToP210/ffmpeg", unpack);
}
#endif

const bool kRegistered = [] {
  registerOurs();
#ifdef QV_BENCH_LIBYUV
  registerLibyuv();
#endif
#ifdef QV_BENCH_SWSCALE
  registerSwscale();
#endif
  return true;
}();

}  // namespace
