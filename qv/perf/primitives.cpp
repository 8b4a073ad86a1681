// The scalar kernels: they define what every other set gives.
#include <cmath>
#include <limits>

#include "qv/perf/detail/fft_core.h"
#include "qv/perf/detail/kernels.h"

namespace qv::perf {
namespace {

void conj64(double* data, size_t length) {
  for (size_t i = 0; i < length; ++i) data[2 * i + 1] = -data[2 * i + 1];
}

void mul64(const double* src, double* srcDst, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const double a = src[2 * i], b = src[2 * i + 1], c = srcDst[2 * i], d = srcDst[2 * i + 1];
    srcDst[2 * i] = a * c - b * d;
    srcDst[2 * i + 1] = a * d + b * c;
  }
}

bool sqrt32(const float* src, float* dst, size_t length) {
  bool valid = true;
  for (size_t i = 0; i < length; ++i) {
    const float value = src[i];
    valid &= !(value < 0.0f);
    dst[i] = value < 0.0f ? -std::numeric_limits<float>::quiet_NaN() : std::sqrt(value);
  }
  return valid;
}

template <class T>
void minMax(const T* src, size_t length, T* min, T* max) {
  T low[kMinMaxLanes], high[kMinMaxLanes];
  for (size_t lane = 0; lane < kMinMaxLanes; ++lane) {
    low[lane] = std::numeric_limits<T>::infinity();
    high[lane] = -std::numeric_limits<T>::infinity();
  }
  for (size_t i = 0; i < length; ++i) {
    T& least = low[i % kMinMaxLanes];
    T& most = high[i % kMinMaxLanes];
    least = src[i] < least ? src[i] : least;
    most = src[i] > most ? src[i] : most;
  }
  for (size_t half = kMinMaxLanes / 2; half > 0; half /= 2) {
    for (size_t lane = 0; lane < half; ++lane) {
      low[lane] = low[lane + half] < low[lane] ? low[lane + half] : low[lane];
      high[lane] = high[lane + half] > high[lane] ? high[lane + half] : high[lane];
    }
  }
  *min = low[0];
  *max = high[0];
}

uint32_t random32(float* dst, size_t length, float low, float high, uint32_t seed) {
  const float range = (high - low) * kRandomUnit;
  for (size_t i = 0; i < length; ++i) {
    seed = seed * kRandomFactor + kRandomStep;
    dst[i] = low + range * static_cast<float>(static_cast<int32_t>(seed >> 8));
  }
  return seed;
}

void deinterleave2(const float* src, size_t frames, float* left, float* right) {
  for (size_t i = 0; i < frames; ++i) {
    left[i] = src[2 * i];
    right[i] = src[2 * i + 1];
  }
}

void deinterleave4(const float* src, size_t stride, size_t frames, float* const* dst) {
  for (size_t i = 0; i < frames; ++i) {
    for (size_t c = 0; c < 4; ++c) dst[c][i] = src[i * stride + c];
  }
}

template <class T>
constexpr FftKernel<T> kFft{1, Single<T>::kLanes, runTransform<Single<T>, Single<T>>};

}  // namespace

const Kernels kScalarKernels{
    conj64,
    mul64,
    sqrt32,
    minMax<float>,
    minMax<double>,
    random32,
    deinterleave2,
    deinterleave4,
    kFft<float>,
    kFft<double>,
    splitReal<Single<double>, Single<double>>,
};

}  // namespace qv::perf
