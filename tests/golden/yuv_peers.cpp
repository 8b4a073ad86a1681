// Makes yuv_peers.inc, what libyuv and FFmpeg make of small frames:
//   g++ -std=c++20 yuv_peers.cpp -lyuv -lavcodec -lavutil -o yuv_peers && ./yuv_peers > yuv_peers.inc
#include <libyuv.h>
#include <stdio.h>
#include <string.h>

#include <vector>
extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kWidth = 8, kHeight = 4;
uint32_t state = 12345;

int random(int low, int high) {
  state = state * 1664525 + 1013904223;
  return low + static_cast<int>((state >> 8) % static_cast<uint32_t>(high - low + 1));
}

void print(const char* what, const Bytes& bytes) {
  printf("    %s", what);
  for (size_t i = 0; i < bytes.size(); ++i) printf("%s%d,", i % 24 == 0 ? "\n     " : " ", bytes[i]);
  printf("},\n");
}
void printCase(const char* layout, int matrix, const Bytes& frame, const Bytes& pixels) {
  printf("{\"%s\", %d,\n", layout, matrix);
  print("{", frame);
  print("{", pixels);
  printf("},\n");
}

// Planes one after the other; samples within the legal range, colours moderate.
Bytes frameOf(int luma, int chroma, int bytes) {
  Bytes frame;
  for (int i = 0; i < luma + chroma; ++i) {
    const int value = i < luma ? random(60, 200) : random(100, 156);
    const int low = i < luma ? random(0, 3) : 0;  // libyuv drops those of chroma
    const int fine = bytes == 2 ? value * 4 + low : value;
    if (bytes == 2) frame.push_back(static_cast<uint8_t>(fine << 6));
    frame.push_back(static_cast<uint8_t>(bytes == 2 ? fine >> 2 : fine));
  }
  return frame;
}
const uint16_t* words(const Bytes& frame, int sample) {
  return reinterpret_cast<const uint16_t*>(frame.data()) + sample;
}

}  // namespace

int main() {
  using namespace libyuv;
  Bytes pixels(kWidth * kHeight * 4);
  printf("// Made by yuv_peers.cpp.\n");
  const YuvConstants* matrices[] = {&kYuvI601Constants, &kYuvH709Constants, &kYuv2020Constants};
  for (int m = 0; m < 3; ++m) {
    Bytes f = frameOf(32, 16, 1);
    I420ToARGBMatrix(&f[0], 8, &f[32], 4, &f[40], 4, &pixels[0], 32, matrices[m], 8, 4);
    printCase("I420", 515 + m, f, pixels);
    f = frameOf(32, 32, 1);
    I422ToARGBMatrix(&f[0], 8, &f[48], 4, &f[32], 4, &pixels[0], 32, matrices[m], 8, 4);
    printCase("YV16", 515 + m, f, pixels);
    f = frameOf(32, 16, 1);
    NV12ToARGBMatrix(&f[0], 8, &f[32], 8, &pixels[0], 32, matrices[m], 8, 4);
    printCase("NV12", 515 + m, f, pixels);
    f = frameOf(32, 16, 2);
    P010ToARGBMatrix(words(f, 0), 8, words(f, 32), 8, &pixels[0], 32, matrices[m], 8, 4);
    printCase("P010", 515 + m, f, pixels);
    f = frameOf(32, 32, 2);
    P210ToARGBMatrix(words(f, 0), 8, words(f, 32), 8, &pixels[0], 32, matrices[m], 8, 4);
    printCase("P210", 515 + m, f, pixels);
  }
  Bytes f = frameOf(64, 0, 1);
  for (int i = 0; i < 64; i += 2) f[static_cast<size_t>(i)] = static_cast<uint8_t>(random(100, 156));
  UYVYToARGB(&f[0], 16, &pixels[0], 32, 8, 4);
  printCase("UYVY", 515, f, pixels);
  // The other direction: libyuv's frame from these pixels.
  for (uint8_t& p : pixels) p = static_cast<uint8_t>(random(0, 255));
  f.assign(48, 0);
  ARGBToI420(&pixels[0], 32, &f[0], 8, &f[32], 4, &f[40], 4, 8, 4);
  printCase("encode", 515, f, pixels);

  // v210: a row whose first 12 pixels are listed as 16-bit words, luma and then U and V.
  AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_V210));
  context->width = 48;
  context->height = 16;
  context->thread_count = 1;
  avcodec_open2(context, nullptr, nullptr);
  AVPacket* packet = av_packet_alloc();
  av_new_packet(packet, 128 * 16);
  for (int i = 0; i < 128 * 16; ++i)
    packet->data[i] = static_cast<uint8_t>(random(0, 255) & (i % 4 == 3 ? 0x3f : 0xff));
  AVFrame* frame = av_frame_alloc();
  avcodec_send_packet(context, packet);
  if (avcodec_receive_frame(context, frame) != 0) return 1;
  Bytes planes;
  for (int p = 0; p < 3; ++p)
    planes.insert(planes.end(), frame->data[p], frame->data[p] + (p == 0 ? 24 : 12));
  printCase("v210", 0, Bytes(packet->data, packet->data + 128), planes);
  return 0;
}
