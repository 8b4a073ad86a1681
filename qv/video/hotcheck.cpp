// The broadcast-legal test, in single precision but for powers and the square root.
#include <math.h>

#include <algorithm>

#include "qv/video/colour.h"

namespace qv {
namespace {

struct Weights {
  float b, g, r;
  float of(float blue, float green, float red) const { return b * blue + g * green + r * red; }
};

// How a channel is put together again from luma and the two chroma values. The order of the two additions is
// part of the result's last bit: the larger term of the YIQ rows is the second one and comes first.
struct Rebuild {
  float c1, c2;
  bool c2First;
  float of(float y, float first, float second) const {
    return c2First ? y + c2 * second + c1 * first : y + c1 * first + c2 * second;
  }
};

struct Standard {
  Weights luma, c1, c2;
  float peak;
  bool pedestal;  // black stands at 7.5 of 100
  Rebuild blue, green, red;
};

// The blue weight of luma differs between the first two on purpose: the colour-difference tests were measured
// with 0.144.
constexpr Weights kU = {0.436798f, -0.289391f, -0.147407f}, kV = {-0.099978f, -0.514799f, 0.614777f};
constexpr Rebuild kBlueUv = {2.028398f, 0.0f, false}, kGreenUv = {-0.393931f, -0.580809f, false},
                  kRedUv = {0.0f, 1.140251f, false};
constexpr Weights kYiqLuma = {0.114f, 0.587f, 0.299f}, kYuvLuma = {0.144f, 0.587f, 0.299f};

constexpr Standard kNtscYiq = {kYiqLuma,
                               {0.311878f, -0.523083f, 0.211205f},
                               {-0.321746f, -0.274133f, 0.595879f},
                               1.2162162f,
                               true,
                               {1.701157f, -1.104744f, true},
                               {-0.646709f, -0.272558f, true},
                               {0.621025f, 0.956295f, true}};
constexpr Standard kNtscYuv = {kYuvLuma, kU, kV, 1.2162162f, true, kBlueUv, kGreenUv, kRedUv};
constexpr Standard kPalYuv = {kYuvLuma, kU, kV, 1.2f, false, kBlueUv, kGreenUv, kRedUv};

float encode(float c) {
  if (c < 0.018f) return c * 4.5f;
  return static_cast<float>(pow(static_cast<double>(c), 0.44999998807907104)) * 1.099f - 0.099f;
}

float decode(float c) {
  if (c < 0.081f) return c / 4.5f;
  return static_cast<float>(pow(static_cast<double>((c + 0.099f) / 1.099f), 2.2222222222222223));
}

struct Signal {
  float y, c1, c2;
};

Signal signalOf(const QVDIBPIXEL& pixel, const Standard& s) {
  const float b = encode(pixel.blue), g = encode(pixel.green), r = encode(pixel.red);
  return {s.luma.of(b, g, r), s.c1.of(b, g, r), s.c2.of(b, g, r)};
}

bool isHot(const Signal& v, const Standard& s) {
  const float room = s.peak - v.y;
  return !(room * room >= v.c1 * v.c1 + v.c2 * v.c2);
}

// The part of the chroma that may stay. A negative one turns the chroma over and is left as it is.
float reduction(const Signal& v, const Standard& s) {
  const float chroma = static_cast<float>(sqrt(static_cast<double>(v.c1 * v.c1 + v.c2 * v.c2)));
  float f;
  if (s.pedestal) {
    const float c = chroma * 0.925f;
    f = (c - (v.y * 0.925f + 0.075f + c - 1.15f)) / c;
  } else {
    f = (chroma - (v.y + chroma - 1.15f)) / chroma;
  }
  return f > 1.0f ? 1.0f : f;
}

float clampUnit(float v) {
  v = v > 0.0f ? v : 0.0f;
  return v < 1.0f ? v : 1.0f;
}

float rebuilt(const Signal& v, const Rebuild& weights, float f) {
  return clampUnit(decode(weights.of(v.y, v.c1 * f, v.c2 * f)));
}

int32_t bringBack(QVDIBPIXEL* pixel, const Standard& s) {
  const Signal v = signalOf(*pixel, s);
  if (!isHot(v, s)) return 0;
  const float f = reduction(v, s);
  pixel->blue = rebuilt(v, s.blue, f);
  pixel->green = rebuilt(v, s.green, f);
  pixel->red = rebuilt(v, s.red, f);
  return 1;
}

}  // namespace
}  // namespace qv

int32_t HotCheckNTSCYIQ(const QVDIBPIXEL* pixel) {
  return qv::isHot(qv::signalOf(*pixel, qv::kNtscYiq), qv::kNtscYiq);
}
int32_t HotCheckNTSCYUV(const QVDIBPIXEL* pixel) {
  return qv::isHot(qv::signalOf(*pixel, qv::kNtscYuv), qv::kNtscYuv);
}
int32_t HotCheckPALYUV(const QVDIBPIXEL* pixel) {
  return qv::isHot(qv::signalOf(*pixel, qv::kPalYuv), qv::kPalYuv);
}
int32_t HotCheckNTSCYIQReturn(QVDIBPIXEL* pixel) {
  return qv::bringBack(pixel, qv::kNtscYiq);
}
int32_t HotCheckNTSCYUVReturn(QVDIBPIXEL* pixel) {
  return qv::bringBack(pixel, qv::kNtscYuv);
}
int32_t HotCheckPALYUVReturn(QVDIBPIXEL* pixel) {
  return qv::bringBack(pixel, qv::kPalYuv);
}
