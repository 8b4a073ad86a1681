#include "qv/video/detail/gamma.h"

#include <math.h>
#include <stdlib.h>

#include "qv/frame/status.h"

namespace qv {
namespace {

constexpr double kUnspecifiedGamma = 2.2222222222222223;
constexpr double kThresholdPower = -0.9418051838874817;
constexpr double kThresholdScale = static_cast<double>(0.038183767f);
constexpr double kSlopePower = 1.8836103677749634;

double clampGamma(double gamma) {
  if (gamma == 0.0) gamma = kUnspecifiedGamma;
  if (!(gamma > 0.5)) return 0.5;
  return gamma < 4.0 ? gamma : 4.0;
}

// pow in double precision, narrowed once, so that every build rounds at the same place.
float power(float base, float exponent) {
  return static_cast<float>(pow(static_cast<double>(base), static_cast<double>(exponent)));
}

float encode(const QvGammaCurve& c, float x) {
  return power(x, c.gamma) * (c.offset + 1.0f) - c.offset;
}
float decode(const QvGammaCurve& c, float x) {
  return power((x + c.offset) * c.scale, c.gamma);
}

}  // namespace

float bend(const QvGammaCurve& curve, float x) {
  const auto bent = curve.kind != 0 ? encode : decode;
  if (x >= curve.threshold) return bent(curve, x);
  if (x <= -curve.threshold) return -bent(curve, -x);
  return x * curve.slope;
}

float bendByTable(const QvGammaCurve& curve, float x) {
  if (!(x >= 0.0f && x <= 1.0f)) return bend(curve, x);
  const float place = x * static_cast<float>(curve.tableSizeLessOne);
  const uint32_t below = static_cast<uint32_t>(place);
  const float* entry = curve.table + below;
  return entry[0] + (entry[1] - entry[0]) * (place - static_cast<float>(below));
}

}  // namespace qv

void QvGammaCurve_Init(QvGammaCurve* curve, double from, double to) {
  using namespace qv;
  *curve = {};
  const double g = clampGamma(from) / clampGamma(to);
  const double inverse = 1.0 / g;
  double t = pow(inverse, kThresholdPower) * kThresholdScale;
  const double s = pow(inverse, kSlopePower);
  double offset = 0.0;
  curve->kind = 1;
  if (g < 1.0) {
    const double p = pow(t, g);
    offset = (s * t - p) / (p - 1.0);
  } else if (g > 1.0) {
    const double p = pow(s * t, inverse);
    offset = (t - p) / (p - 1.0);
    curve->kind = 0;
  } else {
    t = 100.0;
  }
  curve->gamma = static_cast<float>(g);
  curve->threshold = static_cast<float>(t);
  curve->offset = static_cast<float>(offset);
  curve->scale = static_cast<float>(1.0 / (offset + 1.0));
  curve->slope = static_cast<float>(s);
  curve->active = g < 0.999 || g > 1.001;
}

float QvGammaCurve_Apply(const QvGammaCurve* curve, float x) {
  return qv::bend(*curve, x);
}

HRESULT QvGammaCurve_BuildTable(QvGammaCurve* curve, uint32_t entries) {
  QvGammaCurve_Release(curve);
  if (entries < 2) return qv::kInvalidArgument;
  float* table = static_cast<float*>(malloc((size_t{entries} + 1) * sizeof(float)));
  if (table == nullptr) return qv::kOutOfMemory;
  const float last = static_cast<float>(entries - 1);
  for (uint32_t k = 0; k <= entries; ++k) table[k] = qv::bend(*curve, static_cast<float>(k) / last);
  curve->table = table;
  curve->tableSizeLessOne = entries - 1;
  return qv::kOk;
}

void QvGammaCurve_Release(QvGammaCurve* curve) {
  free(curve->table);
  curve->table = nullptr;
  curve->tableSizeLessOne = 0;
}
