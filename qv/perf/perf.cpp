#include "qv/perf/perf.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <x86intrin.h>
#endif

#include "qv/perf/detail/fft_plan.h"
#include "qv/perf/detail/kernels.h"

namespace {

using namespace qv::perf;

// The primitive numbering, as far as it is used here.
constexpr QvPerfStatus kNoError = 0;
constexpr QvPerfStatus kNegativeRoot = 3;
constexpr QvPerfStatus kUnknownProcessor = 20;
constexpr QvPerfStatus kWrongSize = -6;
constexpr QvPerfStatus kNullPointer = -8;
constexpr QvPerfStatus kNoMemory = -9;
constexpr QvPerfStatus kWrongOrder = -15;
constexpr QvPerfStatus kWrongFlag = -16;
constexpr QvPerfStatus kWrongContext = -17;

template <class... P>
QvPerfStatus checkVector(int32_t length, P... pointers) {
  if ((!pointers || ...)) return kNullPointer;
  return length < 1 ? kWrongSize : kNoError;
}

QvPerfStatus checkPlanArguments(void** spec, int32_t order, int32_t flag) {
  if (!spec) return kNullPointer;
  *spec = nullptr;
  if (order < 0 || order > kMaxOrder) return kWrongOrder;
  const bool known = flag == kQvPerfFftDivFwdByN || flag == kQvPerfFftDivInvByN ||
                     flag == kQvPerfFftDivBySqrtN || flag == kQvPerfFftNoDivByAny;
  return known ? kNoError : kWrongFlag;
}

QvPerfStatus checkPlan(const void* spec, uint32_t kind) {
  if (!spec) return kNullPointer;
  uint32_t found;
  std::memcpy(&found, spec, sizeof found);
  return found == kind ? kNoError : kWrongContext;
}

template <class T>
QvPerfStatus makeSpec(void** spec, int32_t order, int32_t flag, FftPlan<T>* (*make)(int, int)) {
  const QvPerfStatus status = checkPlanArguments(spec, order, flag);
  if (status != kNoError) return status;
  *spec = make(order, flag);
  return *spec ? kNoError : kNoMemory;
}

// The mark goes first: a specification that is used after its release is told from a live one for as long as
// nobody else has the memory.
QvPerfStatus freeSpec(void* spec, uint32_t kind) {
  const QvPerfStatus status = checkPlan(spec, kind);
  if (status != kNoError) return status;
  *static_cast<volatile uint32_t*>(spec) = 0;
  freeAligned(spec);
  return kNoError;
}

template <class T>
QvPerfStatus bufferSize(const void* spec, uint32_t kind, int32_t* size) {
  if (!spec || !size) return kNullPointer;
  const QvPerfStatus status = checkPlan(spec, kind);
  if (status == kNoError) *size = static_cast<int32_t>(workSize(*static_cast<const FftPlan<T>*>(spec)));
  return status;
}

template <class T>
T scaleOf(const FftPlan<T>& plan, bool inverse) {
  const double n = std::ldexp(1.0, plan.order);
  if (plan.flag == kQvPerfFftDivBySqrtN) return static_cast<T>(1.0 / std::sqrt(n));
  const bool divides = plan.flag == (inverse ? kQvPerfFftDivInvByN : kQvPerfFftDivFwdByN);
  return static_cast<T>(divides ? 1.0 / n : 1.0);
}

// The caller's buffer from its first aligned byte on, or one that lives as long as the call.
template <class T>
class WorkBuffer {
 public:
  WorkBuffer(const FftPlan<T>& plan, uint8_t* buffer) {
    if (!buffer) buffer = own_ = static_cast<uint8_t*>(allocateAligned(workSize(plan)));
    const uintptr_t past = reinterpret_cast<uintptr_t>(buffer) % kBlockAlignment;
    if (buffer) data_ = reinterpret_cast<T*>(buffer + (past ? kBlockAlignment - past : 0));
  }
  ~WorkBuffer() {
    if (own_) freeAligned(own_);
  }
  WorkBuffer(const WorkBuffer&) = delete;
  WorkBuffer& operator=(const WorkBuffer&) = delete;
  T* data() const { return data_; }

 private:
  uint8_t* own_ = nullptr;
  T* data_ = nullptr;
};

QvPerfStatus transformComplex(const void* src, void* dst, const void* spec, uint8_t* buffer, bool inverse) {
  if (!src || !dst) return kNullPointer;
  const QvPerfStatus status = checkPlan(spec, kKind32fc);
  if (status != kNoError) return status;
  const auto& plan = *static_cast<const FftPlan<float>*>(spec);
  const WorkBuffer<float> work(plan, buffer);
  if (!work.data()) return kNoMemory;
  plan.kernel.run(plan, static_cast<const float*>(src), static_cast<float*>(dst), work.data(), inverse,
                  scaleOf(plan, inverse));
  return kNoError;
}

// A real transform is a complex one of half the length and a step that takes even and odd points apart.
QvPerfStatus transformReal(double* data, const void* spec, uint8_t* buffer, bool inverse) {
  if (!data) return kNullPointer;
  const QvPerfStatus status = checkPlan(spec, kKind64f);
  if (status != kNoError) return status;
  const auto& plan = *static_cast<const FftPlan<double>*>(spec);
  const double scale = scaleOf(plan, inverse);
  if (plan.order == 0) {
    data[0] *= scale;
    return kNoError;
  }
  const WorkBuffer<double> work(plan, buffer);
  if (!work.data()) return kNoMemory;
  const size_t half = size_t{1} << plan.points;
  const double* twiddles = plan.table + plan.splitTwiddles;
  if (inverse) plan.split64(data, twiddles, half, true);
  plan.kernel.run(plan, data, data, work.data(), inverse, inverse ? scale : scale / 2);
  if (!inverse) plan.split64(data, twiddles, half, false);
  return kNoError;
}

template <class T>
QvPerfStatus findMinMax(void (*kernel)(const T*, size_t, T*, T*), const T* src, int32_t length, T* min,
                        T* max) {
  const QvPerfStatus status = checkVector(length, src, min, max);
  if (status != kNoError) return status;
  T low, high;
  kernel(src, static_cast<size_t>(length), &low, &high);
  const bool none = low > high;  // nothing but NaNs
  *min = none ? std::numeric_limits<T>::quiet_NaN() : low;
  *max = none ? std::numeric_limits<T>::quiet_NaN() : high;
  return kNoError;
}

constexpr size_t kStretchSamples = 4096;

void deinterleaveSingle(const float* src, size_t stride, size_t frames, float* dst) {
  for (size_t i = 0; i < frames; ++i) dst[i] = src[i * stride];
}

// Channels go in fours; the last four overlap those before where the number isn't a multiple.
void deinterleaveStretch(const Kernels& set, const float* src, size_t channels, size_t at, size_t frames,
                         float* const* dst) {
  for (size_t c = 0; c < channels;) {
    const size_t first = channels < 4 ? c : std::min(c, channels - 4);
    const size_t count = std::min<size_t>(4, channels - first);
    float* rows[4] = {};
    bool whole = count == 4;
    for (size_t k = 0; k < count; ++k) {
      if (dst[first + k]) rows[k] = dst[first + k] + at;
      whole = whole && rows[k];
    }
    if (whole) set.deinterleave4(src + first, channels, frames, rows);
    for (size_t k = 0; !whole && k < count; ++k) {
      if (rows[k]) deinterleaveSingle(src + first + k, channels, frames, rows[k]);
    }
    c = first + count;
  }
}

}  // namespace

HRESULT QvPerf_Initialize() {
  bool identified = false;
  const uint32_t features = readFeatures(&identified);
  setRow(widestRow(chooseDispatch(features), features));
  return QvPerfMapStatus(identified && (features & kFeatureSse2) ? kNoError : kUnknownProcessor);
}

HRESULT QvPerfMapStatus(int32_t status) {
  constexpr uint32_t kBase = 0x4e600;
  if (status == -9999) status = -255;
  if (status == -9998) status = -256;
  const uint32_t bits = static_cast<uint32_t>(status);
  return static_cast<HRESULT>(status >= 0 ? (bits + kBase) | 0x40000u : (0u - bits + kBase) | 0x80040000u);
}

HRESULT QvPerfStatusToHRESULT(QvPerfStatus status) {
  return QvPerfMapStatus(status);
}

int32_t QvPerfMapHintAlgorithm(QvPerfHintAlgorithm hint) {
  constexpr int32_t kHints[] = {0, 1, 2};
  const uint32_t row = static_cast<uint32_t>(hint);
  return row < std::size(kHints) ? kHints[row] : kHints[0];
}

uint64_t QvPerfGetCpuClocks() {
  return __rdtsc();
}

uint8_t* QvPerfsMalloc_8u(int32_t length) {
  return length < 1 ? nullptr : static_cast<uint8_t*>(allocateAligned(static_cast<size_t>(length)));
}

float* QvPerfsMalloc_32f(int32_t length) {
  return length < 1 ? nullptr
                    : static_cast<float*>(allocateAligned(static_cast<size_t>(length) * sizeof(float)));
}

void QvPerfsFree(void* block) {
  freeAligned(block);
}

HRESULT QvPerfsConj_64fc_I(void* data, int32_t length) {
  const QvPerfStatus status = checkVector(length, data);
  if (status == kNoError) kernels().conj64(static_cast<double*>(data), static_cast<size_t>(length));
  return QvPerfMapStatus(status);
}

HRESULT QvPerfsMul_64fc_I(const void* src, void* srcDst, int32_t length) {
  const QvPerfStatus status = checkVector(length, src, static_cast<const void*>(srcDst));
  if (status == kNoError) {
    kernels().mul64(static_cast<const double*>(src), static_cast<double*>(srcDst),
                    static_cast<size_t>(length));
  }
  return QvPerfMapStatus(status);
}

HRESULT QvPerfsSqrt_32f(const float* src, float* dst, int32_t length) {
  const QvPerfStatus status = checkVector(length, src, dst);
  if (status != kNoError) return QvPerfMapStatus(status);
  const bool valid = kernels().sqrt32(src, dst, static_cast<size_t>(length));
  return QvPerfMapStatus(valid ? kNoError : kNegativeRoot);
}

HRESULT QvPerfsMinMax_32f(const float* src, int32_t length, float* min, float* max) {
  return QvPerfMapStatus(findMinMax(kernels().minMax32, src, length, min, max));
}

HRESULT QvPerfsMinMax_64f(const double* src, int32_t length, double* min, double* max) {
  return QvPerfMapStatus(findMinMax(kernels().minMax64, src, length, min, max));
}

HRESULT QvPerfsRandUniform_Direct_32f(float* dst, int32_t length, float low, float high, uint32_t* seed) {
  const QvPerfStatus status = checkVector(length, dst, seed);
  if (status == kNoError) *seed = kernels().random32(dst, static_cast<size_t>(length), low, high, *seed);
  return QvPerfMapStatus(status);
}

// In stretches that stay in the nearest cache while group after group of channels is taken from them.
HRESULT QvPerfsDeinterleave_32f(const float* src, int32_t channels, int32_t frames, float** dst) {
  if (channels < 1 || frames < 1 || !src || !dst) return 0;
  const Kernels& set = kernels();
  const size_t stride = static_cast<size_t>(channels), count = static_cast<size_t>(frames);
  if (channels == 2 && dst[0] && dst[1]) {
    set.deinterleave2(src, count, dst[0], dst[1]);
    return 0;
  }
  const size_t stretch = (kStretchSamples / stride + 8) / 8 * 8;
  for (size_t at = 0; at < count; at += stretch) {
    deinterleaveStretch(set, src + at * stride, stride, at, std::min(stretch, count - at), dst);
  }
  return 0;
}

HRESULT QvPerfsFFTInitAlloc_C_32fc(void** spec, int32_t order, int32_t flag, QvPerfHintAlgorithm hint) {
  static_cast<void>(QvPerfMapHintAlgorithm(hint));
  return QvPerfMapStatus(makeSpec(spec, order, flag, makePlan32fc));
}

HRESULT QvPerfsFFTInitAlloc_R_64f(void** spec, int32_t order, int32_t flag, QvPerfHintAlgorithm hint) {
  static_cast<void>(QvPerfMapHintAlgorithm(hint));
  return QvPerfMapStatus(makeSpec(spec, order, flag, makePlan64f));
}

HRESULT QvPerfsFFTFree_C_32fc(void* spec) {
  return QvPerfMapStatus(freeSpec(spec, kKind32fc));
}

HRESULT QvPerfsFFTFree_R_64f(void* spec) {
  return QvPerfMapStatus(freeSpec(spec, kKind64f));
}

HRESULT QvPerfsFFTGetBufSize_C_32fc(const void* spec, int32_t* size) {
  return QvPerfMapStatus(bufferSize<float>(spec, kKind32fc, size));
}

HRESULT QvPerfsFFTGetBufSize_R_64f(const void* spec, int32_t* size) {
  return QvPerfMapStatus(bufferSize<double>(spec, kKind64f, size));
}

HRESULT QvPerfsFFTFwd_CToC_32fc(const void* src, void* dst, const void* spec, uint8_t* buffer) {
  return QvPerfMapStatus(transformComplex(src, dst, spec, buffer, false));
}

HRESULT QvPerfsFFTInv_CToC_32fc(const void* src, void* dst, const void* spec, uint8_t* buffer) {
  return QvPerfMapStatus(transformComplex(src, dst, spec, buffer, true));
}

HRESULT QvPerfsFFTFwd_RToPerm_64f_I(double* data, const void* spec, uint8_t* buffer) {
  return QvPerfMapStatus(transformReal(data, spec, buffer, false));
}

HRESULT QvPerfsFFTInv_PermToR_64f_I(double* data, const void* spec, uint8_t* buffer) {
  return QvPerfMapStatus(transformReal(data, spec, buffer, true));
}
