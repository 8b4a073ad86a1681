// The vector operations, written once over a vector type; included like fft_core.h by each vector set.
//
// Beside what a transform asks of it, a vector type gives: min and max (the second operand where the first is
// NaN), fold (all lanes into one, upper half onto lower half), root, and signs (one bit a lane, set where it
// is below zero).
#pragma once

#include "qv/perf/detail/fft_core.h"

namespace qv::perf {
namespace {

template <class L>
void minMaxOf(const typename L::T* src, size_t length, typename L::T* min, typename L::T* max) {
  using T = typename L::T;
  constexpr size_t W = L::kWidth;
  constexpr int kVectors = kMinMaxLanes / W;
  const T infinity = static_cast<T>(__builtin_inf());
  typename L::V low[kVectors], high[kVectors];
  unroll<kVectors>([&](auto v) QV_LAMBDA_INLINE {
    low[v] = L::all(infinity);
    high[v] = L::all(-infinity);
  });
  size_t i = 0;
  for (; i + kMinMaxLanes <= length; i += kMinMaxLanes) {
    unroll<kVectors>([&](auto v) QV_LAMBDA_INLINE {
      const typename L::V x = L::load(src + i + v * W);
      low[v] = L::min(x, low[v]);
      high[v] = L::max(x, high[v]);
    });
  }
  // What is left takes its lanes too, filled up with values that change nothing.
  if (i < length) {
    T lowTail[kMinMaxLanes], highTail[kMinMaxLanes];
    for (size_t lane = 0; lane < kMinMaxLanes; ++lane) {
      lowTail[lane] = infinity;
      highTail[lane] = -infinity;
    }
    std::memcpy(lowTail, src + i, (length - i) * sizeof(T));
    std::memcpy(highTail, src + i, (length - i) * sizeof(T));
    unroll<kVectors>([&](auto v) QV_LAMBDA_INLINE {
      low[v] = L::min(L::load(lowTail + v * W), low[v]);
      high[v] = L::max(L::load(highTail + v * W), high[v]);
    });
  }
  for (int half = kVectors / 2; half > 0; half /= 2) {
    for (int v = 0; v < half; ++v) {
      low[v] = L::min(low[v + half], low[v]);
      high[v] = L::max(high[v + half], high[v]);
    }
  }
  *min = L::fold(low[0], L::min);
  *max = L::fold(high[0], L::max);
}

// A tail that a whole vector would overrun goes through a copy of one vector.
template <class L>
bool rootsOf(const float* src, float* dst, size_t length) {
  constexpr size_t W = L::kWidth;
  int below = 0;
  size_t i = 0;
  for (; i + 2 * W <= length; i += 2 * W) {
    const typename L::V a = L::load(src + i), b = L::load(src + i + W);
    below |= L::signs(a) | L::signs(b);
    L::store(dst + i, L::root(a));
    L::store(dst + i + W, L::root(b));
  }
  for (; i < length; i += W) {
    const size_t count = length - i < W ? length - i : W;
    float part[W] = {};
    std::memcpy(part, src + i, count * sizeof(float));
    const typename L::V x = L::load(part);
    below |= L::signs(x);
    L::store(part, L::root(x));
    std::memcpy(dst + i, part, count * sizeof(float));
  }
  return below == 0;
}

// The same, with the pairs (re, im) that a vector of doubles holds; L::conjugate and L::product see them so.
template <class L>
void conjugatesOf(double* data, size_t length) {
  constexpr size_t W = L::kWidth;
  size_t i = 0;
  for (; i + 2 * W <= 2 * length; i += 2 * W) {
    L::store(data + i, L::conjugate(L::load(data + i)));
    L::store(data + i + W, L::conjugate(L::load(data + i + W)));
  }
  for (; i < 2 * length; i += 2) data[i + 1] = -data[i + 1];
}

template <class L>
void productsOf(const double* src, double* srcDst, size_t length) {
  constexpr size_t W = L::kWidth;
  size_t i = 0;
  for (; i + W <= 2 * length; i += W) L::store(srcDst + i, L::product(L::load(src + i), L::load(srcDst + i)));
  for (; i < 2 * length; i += 2) {
    const double a = src[i], b = src[i + 1], c = srcDst[i], d = srcDst[i + 1];
    srcDst[i] = a * c - b * d;
    srcDst[i + 1] = a * d + b * c;
  }
}

template <class L>
void deinterleavePairs(const float* src, size_t frames, float* left, float* right) {
  size_t i = 0;
  for (; i + L::kWidth <= frames; i += L::kWidth) {
    typename L::V a, b;
    L::splitInOrder(src + 2 * i, a, b);
    L::store(left + i, a);
    L::store(right + i, b);
  }
  for (; i < frames; ++i) {
    left[i] = src[2 * i];
    right[i] = src[2 * i + 1];
  }
}

}  // namespace
}  // namespace qv::perf
