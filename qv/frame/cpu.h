// What the processor can do, as one word, and what the process is allowed to use of it.
//
// The machine is looked at once, at start-up or on the first question. Kernels ask for the feature that
// they need; tests and support staff switch features off through the allow mask before the first kernel is
// bound.
//
//   QvOnlyAllowCPUSupport(QVCPU_SSE | QVCPU_SSE2);            // this run does without SSE3 and later
//   if (QvGetCPUSupport(QVCPU_SSE2)) row = scaleRowSse2;
//
// The word's low four bits are the processor's class: 1 i486, 2 Pentium, 3 Pentium Pro, 4 Pentium II,
// 5 Pentium III, 6 Pentium 4, 0 unknown. Detection stops at 3; higher classes come from
// QvSetCPUClassBySupport.
//
// There are no locks: whoever restricts the process does so before it has a second thread. Queries are safe
// on any thread; two that detect at the same time find the same. The thread that detects runs with
// flush-to-zero and denormals-are-zero switched on from then on.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

inline constexpr uint32_t QVCPU_CLASS = 0xf;
inline constexpr uint32_t QVCPU_MMX = 0x10;  // shows in the raw and the system's word only
inline constexpr uint32_t QVCPU_SSE = 0x20;
inline constexpr uint32_t QVCPU_SSE2 = 0x40;
inline constexpr uint32_t QVCPU_SSE3 = 0x80;
inline constexpr uint32_t QVCPU_SSSE3 = 0x100;
inline constexpr uint32_t QVCPU_SSE4_1 = 0x200;
inline constexpr uint32_t QVCPU_SSE4_2 = 0x400;
inline constexpr uint32_t QVCPU_AVX = 0x800;  // shows in the raw word only
inline constexpr uint32_t QVCPU_CMOV = 0x1000;
inline constexpr uint32_t QVCPU_FPU = 0x2000;  // together with CMOV
inline constexpr uint32_t QVCPU_TSC = 0x4000;
inline constexpr uint32_t QVCPU_FLUSHDENORMALS = 0x20000;  // the detecting thread flushes denormals

// The features that processor and system have and the process may use, and the class.
// mask: the bits asked for; 0 means all. The class override shows whatever the mask. Any thread.
QV_API uint32_t QvGetCPUSupport(uint32_t mask);

// The features that the operating system was found to support; restrictions don't show in it.
// mask: the bits asked for; 0 means all. Any thread.
QV_API uint32_t QvGetOSSupport(uint32_t mask);

// The number of processors that the system has. Any thread.
QV_API uint32_t QvGetProcessorCount();

// Restricts the process to these features: bits 4 to 11 (MMX to AVX) of the allow mask become `bits`, the
// others stay. bits: within 0xff0. Returns 1, or 0 with nothing changed when a bit lies outside. Main thread,
// before the first kernel is bound.
QV_API int32_t QvOnlyAllowCPUSupport(uint32_t bits);

// Forbids, or allows again, these bits of the word; any bits will do. Returns 1. Main thread, before the
// first kernel is bound.
QV_API int32_t QvDisallowCPUSupport(uint32_t bits);
QV_API int32_t QvAllowCPUSupport(uint32_t bits);

// Replaces the detected class by one that follows from what is allowed, not from what the machine has: 6 if
// SSE2 is allowed, else 5 for SSE, 4 for MMX, 0. Restrict first. Returns 1. Main thread.
QV_API int32_t QvSetCPUClassBySupport();

// The four bytes of a code as characters, low byte first; a byte outside 0x20 to 0x7e becomes 0.
// text: 5 characters, not null; always terminated. Any thread.
QV_API void QvFourCCToStringCPU(uint32_t code, WCHAR* text);
