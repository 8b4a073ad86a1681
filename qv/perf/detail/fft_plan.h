// What a transform knows beforehand: its passes and its twiddle factors.
//
// A transform of N points is a chain of Stockham passes, which leave the result in order without a bit
// reversal. With vectors of W > 1 points the first pass has radix 8 and turns W neighbouring points into W
// lanes that belong to W independent sub-transforms; from there on every pass works on whole vectors, with
// one twiddle for all lanes. Short transforms and the scalar set take the same passes with W = 1.
#pragma once

#include "qv/perf/detail/kernels.h"

namespace qv::perf {

inline constexpr int kMaxOrder = 27;
inline constexpr int kMaxPasses = 14;
inline constexpr size_t kBlockAlignment = 64;

struct FftPass {
  int radixLog;
  size_t twiddles;  // offset in the plan's table, in numbers
};

template <class T>
struct FftPlan {
  uint32_t kind;  // kKind32fc or kKind64f; anything else is not a plan
  int order;      // of the whole transform, as the caller gave it
  int points;     // log2 of the complex points that are transformed: order, or order - 1 for real data
  int flag;
  FftKernel<T> kernel;
  void (*split64)(double* data, const double* twiddles, size_t half, bool inverse);
  bool wide;  // the first pass is the one that turns points into lanes
  int passCount;
  FftPass passes[kMaxPasses];
  const T* table;
  size_t splitTwiddles;  // offset of e^(2 pi i k / N) for the real transform's split, k from 0
};

inline constexpr uint32_t kKind32fc = 0x63663233;
inline constexpr uint32_t kKind64f = 0x00663436;

// Makes a plan with the kernels in force; null when there is no memory.
FftPlan<float>* makePlan32fc(int order, int flag);
FftPlan<double>* makePlan64f(int order, int flag);

// Bytes that a transform of this plan needs beside source and destination, alignment included.
template <class T>
size_t workSize(const FftPlan<T>& plan) {
  return ((sizeof(T) * 2) << plan.points) + kBlockAlignment;
}

void* allocateAligned(size_t size);
void freeAligned(void* block);

}  // namespace qv::perf
