// The kernels behind the primitives, and the choice among them.
//
// A set of kernels is a record of entry points. The scalar set defines every result; the vector sets give the
// same bytes, except for the transforms, whose rounding differs within the bound that the tests hold all sets
// to (relative RMS error below 1e-6 for floats, 1e-14 for doubles). Arguments are checked before a kernel is
// called.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv::perf {

template <class T>
struct FftPlan;

// One direction-neutral transform: the vectors' width and lane order shape the plan's tables.
template <class T>
struct FftKernel {
  int width;             // points in a vector
  const int* laneOrder;  // lane i of a vector holds point laneOrder[i] of its group
  void (*run)(const FftPlan<T>& plan, const T* src, T* dst, T* work, bool inverse, T scale);
};

struct Kernels {
  void (*conj64)(double* data, size_t length);
  void (*mul64)(const double* src, double* srcDst, size_t length);
  bool (*sqrt32)(const float* src, float* dst, size_t length);  // false: a value was below zero
  void (*minMax32)(const float* src, size_t length, float* min, float* max);
  void (*minMax64)(const double* src, size_t length, double* min, double* max);
  uint32_t (*random32)(float* dst, size_t length, float low, float high, uint32_t seed);
  void (*deinterleave2)(const float* src, size_t frames, float* left, float* right);
  void (*deinterleave4)(const float* src, size_t stride, size_t frames, float* const* dst);
  FftKernel<float> fft32;
  FftKernel<double> fft64;
  void (*split64)(double* data, const double* twiddles, size_t half, bool inverse);
};

extern const Kernels kScalarKernels;
extern const Kernels kSse2Kernels;
extern const Kernels kAvxKernels;

// Two kernels that the AVX set shares with the SSE2 set.
uint32_t random32Sse2(float* dst, size_t length, float low, float high, uint32_t seed);
void deinterleave4Sse2(const float* src, size_t stride, size_t frames, float* const* dst);

// Lanes of a minimum or maximum: element i goes into accumulator i mod kMinMaxLanes, and the accumulators are
// folded in halves. With the order fixed, the sign of a zero doesn't depend on the vector's width.
inline constexpr size_t kMinMaxLanes = 32;

inline constexpr uint32_t kRandomFactor = 69069;
inline constexpr uint32_t kRandomStep = 1;
inline constexpr float kRandomUnit = 1.0f / 16777216.0f;

// The choice: an index into the rows of five sets, and which of its variants the index stands for.
struct Dispatch {
  int index;
  int subIndex;
};
inline constexpr int kDispatchRows = 5;
inline constexpr int kWideVectorIndex = 4;

// Bits of the primitives' own feature word.
inline constexpr uint32_t kFeatureSse2 = 1u << 2;
inline constexpr uint32_t kFeatureSse3 = 1u << 3;
inline constexpr uint32_t kFeatureSsse3 = 1u << 4;
inline constexpr uint32_t kFeatureMovbe = 1u << 5;
inline constexpr uint32_t kFeatureSse41 = 1u << 6;
inline constexpr uint32_t kFeatureAvx = 1u << 8;

Dispatch chooseDispatch(uint32_t features);
uint32_t readFeatures(bool* identified);
int widestRow(Dispatch dispatch, uint32_t features);

// The set in force, and the row that it comes from. setRow is for QvPerf_Initialize and for tests that walk
// through all rows.
const Kernels& kernels();
int currentRow();
void setRow(int row);

}  // namespace qv::perf
