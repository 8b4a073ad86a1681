// Numeric primitives: FFT and vector operations behind one stable interface.
//
// Callers see the toolkit's statuses and hints only. Every routine that reports a status passes the primitive
// numbering (0 success, negative error, positive warning) through QvPerfMapStatus: success is 0x0004e600,
// which is not 0. Test with FAILED(), never against 0. The kernels behind a routine are chosen once, by
// QvPerf_Initialize; before it the plain scalar ones run.
//
//   QvPerf_Initialize();
//   void* spec = nullptr;
//   if (FAILED(QvPerfsFFTInitAlloc_R_64f(&spec, 12, kQvPerfFftDivInvByN, kQvPerfHintNone))) return;
//   int32_t size = 0;
//   QvPerfsFFTGetBufSize_R_64f(spec, &size);
//   uint8_t* buffer = QvPerfsMalloc_8u(size);
//   QvPerfsFFTFwd_RToPerm_64f_I(data, spec, buffer);   // data: 4096 doubles, now the packed spectrum
//   QvPerfsFFTInv_PermToR_64f_I(data, spec, buffer);   // and back again
//   QvPerfsFree(buffer);
//   QvPerfsFFTFree_R_64f(spec);
//
// Complex data is interleaved: real part, then imaginary part. The "Perm" layout of a real spectrum of N
// points is R[0], R[N/2], R[1], I[1], R[2], I[2] ... R[N/2-1], I[N/2-1]; of one point it is R[0] alone.
//
// Wrong arguments, in this order of checking: a null pointer gives primitive status -8, a length below 1
// gives -6, an order outside 0 to 27 gives -15, a scaling flag that isn't one of the four gives -16, a
// specification of the wrong kind (or one that was freed) gives -17, and no memory gives -9. Nothing is
// written then.
//
// All routines may be called from any thread, QvPerf_Initialize excepted: it runs before the others start. A
// specification is read-only once made and may be shared; a work buffer belongs to one call at a time.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// A status in the primitive numbering: 0 success, negative an error, positive a warning.
using QvPerfStatus = int32_t;

// How an FFT should trade speed for accuracy. The kernels here are accurate at full speed: all three give the
// same result.
enum QvPerfHintAlgorithm : int32_t {
  kQvPerfHintNone = 0,
  kQvPerfHintFast = 1,
  kQvPerfHintAccurate = 2,
};

// The scaling flag of an FFT: which direction divides.
enum QvPerfFftFlag : int32_t {
  kQvPerfFftDivFwdByN = 1,
  kQvPerfFftDivInvByN = 2,
  kQvPerfFftDivBySqrtN = 4,
  kQvPerfFftNoDivByAny = 8,
};

// Chooses the kernels by the CPU word, as the allow mask leaves it. Call again after the mask has changed.
// Gives 0x0004e600, or 0x0004e614 where the processor reports neither its identification nor SSE2 (the scalar
// kernels run then). Not while another thread is in a primitive.
QV_API HRESULT QvPerf_Initialize();

// A primitive status as an HRESULT: 0 and above give (s + 0x4e600) | 0x40000, negatives the failure
// (|s| + 0x4e600) | 0x80040000; -9999 counts as -255 and -9998 as -256.
QV_API HRESULT QvPerfStatusToHRESULT(QvPerfStatus status);
QV_API HRESULT QvPerfMapStatus(int32_t status);

// The primitive hint of a hint value: 0, 1 and 2 for none, fast and accurate; any other value gives 0.
QV_API int32_t QvPerfMapHintAlgorithm(QvPerfHintAlgorithm hint);

// The processor's time stamp counter, in its own ticks. Compare differences on one machine only.
QV_API uint64_t QvPerfGetCpuClocks();

// A block for `length` bytes or floats, aligned to 32 bytes at least; contents undefined. Null when the
// length is below 1 or there is no memory. The caller gives it back through QvPerfsFree.
QV_API uint8_t* QvPerfsMalloc_8u(int32_t length);
QV_API float* QvPerfsMalloc_32f(int32_t length);

// Gives back a block of the two functions above. Null is allowed.
QV_API void QvPerfsFree(void* block);

// Replaces `length` complex doubles at `data` by their conjugates.
QV_API HRESULT QvPerfsConj_64fc_I(void* data, int32_t length);

// Multiplies `length` complex doubles at `srcDst` by those at `src`, in place. The two are the same or apart.
QV_API HRESULT QvPerfsMul_64fc_I(const void* src, void* srcDst, int32_t length);

// Square roots of `length` floats. A value below zero gives NaN, the rest is still done, and the result is
// the warning 3 (0x0004e603). `dst` may be `src`.
QV_API HRESULT QvPerfsSqrt_32f(const float* src, float* dst, int32_t length);

// The least and the greatest of `length` values. NaNs are passed over; with nothing else both results are
// NaN.
QV_API HRESULT QvPerfsMinMax_32f(const float* src, int32_t length, float* min, float* max);
QV_API HRESULT QvPerfsMinMax_64f(const double* src, int32_t length, double* min, double* max);

// `length` uniform random numbers from `low` to `high`. `seed` is the state: it comes back advanced, and a
// run that is cut in pieces gives the same numbers as one call. The generator is the congruential one s =
// 69069 s + 1 (mod 2^32); a number is low + (high - low) * (s >> 8) * 2^-24, in floats.
QV_API HRESULT QvPerfsRandUniform_Direct_32f(float* dst, int32_t length, float low, float high,
                                             uint32_t* seed);

// Splits `frames` interleaved frames of `channels` floats: dst[c][i] = src[c + i * channels]. A null row is
// passed over. Always gives 0; with null pointers or counts below 1 nothing is done.
QV_API HRESULT QvPerfsDeinterleave_32f(const float* src, int32_t channels, int32_t frames, float** dst);

// Makes the specification of an FFT of 2^order points: complex floats, or real doubles. `order` is 0 to 27,
// `flag` one of QvPerfFftFlag. On failure *spec becomes null (where spec itself isn't). The caller frees it
// with the Free of the same kind.
QV_API HRESULT QvPerfsFFTInitAlloc_C_32fc(void** spec, int32_t order, int32_t flag, QvPerfHintAlgorithm hint);
QV_API HRESULT QvPerfsFFTInitAlloc_R_64f(void** spec, int32_t order, int32_t flag, QvPerfHintAlgorithm hint);

// Gives back a specification of the same kind; one of the other kind is left alone.
QV_API HRESULT QvPerfsFFTFree_C_32fc(void* spec);
QV_API HRESULT QvPerfsFFTFree_R_64f(void* spec);

// The size in bytes of the work buffer that the transforms of this specification take.
QV_API HRESULT QvPerfsFFTGetBufSize_C_32fc(const void* spec, int32_t* size);
QV_API HRESULT QvPerfsFFTGetBufSize_R_64f(const void* spec, int32_t* size);

// Forward and inverse transform of 2^order complex floats. `dst` is `src` or apart from it. `buffer` has the
// size that GetBufSize gave, any alignment; with null the call allocates one for itself.
QV_API HRESULT QvPerfsFFTFwd_CToC_32fc(const void* src, void* dst, const void* spec, uint8_t* buffer);
QV_API HRESULT QvPerfsFFTInv_CToC_32fc(const void* src, void* dst, const void* spec, uint8_t* buffer);

// Forward transform of 2^order doubles in place to the "Perm" layout, and its inverse. `buffer` as above.
QV_API HRESULT QvPerfsFFTFwd_RToPerm_64f_I(double* data, const void* spec, uint8_t* buffer);
QV_API HRESULT QvPerfsFFTInv_PermToR_64f_I(double* data, const void* spec, uint8_t* buffer);
