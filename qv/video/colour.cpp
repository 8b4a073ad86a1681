#include "qv/video/colour.h"

#include <stdint.h>

#include <algorithm>

namespace qv {
namespace {

constexpr double kSixth = 0.16666666666666666;
constexpr double kPerByte = 0.00392156862745098;
constexpr double kTiny = 9.999999974752427e-7;  // the float 0.000001, widened

struct Rgb {
  double r, g, b;
};

// The six sides of the colour hexagon, in sixths of a turn.
double hueOf(const Rgb& c, double mx, double mn, double d) {
  if (c.r == mx) return c.g == mn ? (mx - c.b) / d + 5.0 : 1.0 - (mx - c.g) / d;
  if (c.g == mx) return c.b == mn ? (mx - c.r) / d + 1.0 : 3.0 - (mx - c.b) / d;
  return c.r == mn ? (mx - c.g) / d + 3.0 : 5.0 - (mx - c.r) / d;
}

QVHSL toHsl(const Rgb& c, double alpha) {
  const double mx = std::max({c.r, c.g, c.b}), mn = std::min({c.r, c.g, c.b});
  QVHSL out = {0.0, 0.0, (mx + mn) * 0.5, alpha};
  if (out.lightness <= 0.0) return out;
  const double d = mx - mn;
  out.saturation = d;
  if (d <= 0.0) return out;
  out.saturation = out.lightness <= 0.5 ? d / (mx + mn) : d / (2.0 - mx - mn);
  out.hue = hueOf(c, mx, mn, d) * kSixth;
  return out;
}

// Keeps the sum of the extremes away from 2 by moving the largest channel.
void leaveWhite(Rgb* c, double* mx, double mn) {
  const double sum = *mx + mn;
  if (sum > 1.9999990000000025 && sum < 2.0) {
    *mx -= kTiny;
  } else if (sum >= 2.0 && sum < 2.0000009999999975) {
    *mx += kTiny;
  } else {
    return;
  }
  if (c->r > c->g && c->r > c->b) {
    c->r = *mx;
  } else if (c->g <= c->b) {
    c->b = *mx;
  } else {
    c->g = *mx;
  }
}

// And away from 0, by the smallest.
void leaveBlack(Rgb* c, double mx, double* mn) {
  const double sum = mx + *mn;
  if (sum > -kTiny && sum < 0.0) {
    *mn -= kTiny;
  } else if (sum >= 0.0 && sum < kTiny) {
    *mn += kTiny;
  } else {
    return;
  }
  if (c->g > c->r && c->b > c->r) {
    c->r = *mn;
  } else if (c->b > c->g) {
    c->g = *mn;
  } else {
    c->b = *mn;
  }
}

// The hexagon's side under a hue. Returns false where there is none.
bool fromHexagon(const QVHSL& in, double v, Rgb* out) {
  const double m = in.lightness + in.lightness - v;
  const double t = in.hue * 6.0;
  if (!(t > -1.0 && t < 7.0)) return false;
  const int32_t side = static_cast<int32_t>(t);
  const double vsf = (v - m) * (t - side), mid1 = m + vsf, mid2 = v - vsf;
  const Rgb sides[7] = {{v, mid1, m}, {mid2, v, m}, {m, v, mid1}, {m, mid2, v},
                        {mid1, m, v}, {v, m, mid2}, {v, mid1, m}};
  *out = sides[side];
  return true;
}

double peakOf(const QVHSL& in) {
  const double s = in.saturation, l = in.lightness;
  return l <= 0.5 ? (s + 1.0) * l : s + l - s * l;
}

uint8_t truncated(double v) {
  return static_cast<uint8_t>(static_cast<int64_t>(v));
}

template <typename Pixel>
void toFloatPixel(Pixel* out, const QVHSL& in) {
  out->alpha = static_cast<float>(in.alpha);
  const double v = peakOf(in);
  Rgb c = {};
  if (v > 0.0 && !fromHexagon(in, v, &c)) return;
  out->red = static_cast<float>(c.r);
  out->green = static_cast<float>(c.g);
  out->blue = static_cast<float>(c.b);
}

}  // namespace
}  // namespace qv

void QVRGBA_To_QVHSL(QVHSL* out, const QVRGBA* in) {
  using qv::kPerByte;
  *out = qv::toHsl({in->red * kPerByte, in->green * kPerByte, in->blue * kPerByte}, in->alpha * kPerByte);
}

void QVRGBAFLOAT_To_QVHSL(QVHSL* out, const QVRGBAFLOAT* in) {
  *out = qv::toHsl({in->red, in->green, in->blue}, in->alpha);
}

void QVDIBPIXEL_To_QVHSL(QVHSL* out, const QVDIBPIXEL* in) {
  *out = qv::toHsl({in->red, in->green, in->blue}, in->alpha);
}

void QVHSL_To_QVRGBA(QVRGBA* out, const QVHSL* in) {
  const double alpha = in->alpha * 255.0;
  out->alpha = alpha > 0.0 ? qv::truncated(std::min(alpha, 255.0)) : 0;
  const double v = qv::peakOf(*in);
  qv::Rgb c = {};
  if (v > 0.0 && !qv::fromHexagon(*in, v, &c)) return;
  out->red = qv::truncated(c.r * 255.0);
  out->green = qv::truncated(c.g * 255.0);
  out->blue = qv::truncated(c.b * 255.0);
}

void QVHSL_To_QVRGBAFLOAT(QVRGBAFLOAT* out, const QVHSL* in) {
  qv::toFloatPixel(out, *in);
}

void QVHSL_To_QVDIBPIXEL(QVDIBPIXEL* out, const QVHSL* in) {
  qv::toFloatPixel(out, *in);
}

void QVDIBPIXEL_To_QVHSL_Float(QVHSL* out, const QVDIBPIXEL* in) {
  using namespace qv;
  Rgb c = {in->red, in->green, in->blue};
  double mx = std::max({c.r, c.g, c.b}), mn = std::min({c.r, c.g, c.b});
  leaveWhite(&c, &mx, mn);
  leaveBlack(&c, mx, &mn);
  const double d = mx - mn;
  *out = {0.0, d, (mx + mn) * 0.5, in->alpha};
  if (d >= -kTiny && d < kTiny) return;
  out->saturation = out->lightness <= 0.5 ? d / (mx + mn) : d / (2.0 - mx - mn);
  if (out->lightness < 0.0 || out->lightness > 1.0) out->saturation = -out->saturation;
  out->hue = hueOf(c, mx, mn, d) * kSixth;
}

void QVHSL_To_QVDIBPIXEL_Float(QVDIBPIXEL* out, QVHSL* in) {
  using namespace qv;
  if (in->lightness < 0.0 || in->lightness > 1.0) in->saturation = -in->saturation;
  out->alpha = static_cast<float>(in->alpha);
  Rgb c;
  if (!fromHexagon(*in, peakOf(*in), &c)) return;
  out->red = static_cast<float>(c.r);
  out->green = static_cast<float>(c.g);
  out->blue = static_cast<float>(c.b);
}
