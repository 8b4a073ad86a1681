#include "qv/frame/cpu.h"

#include <string.h>
#include <xmmintrin.h>

#include <initializer_list>

#include "qv/core/convert.h"
#include "qv/frame/detail/cpu.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/status.h"
#include "qv/platform/processor.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr uint32_t kI486 = 486;
constexpr uint32_t kPentium = 586;
constexpr uint32_t kX64 = 8664;
constexpr uint32_t kIllegalInstruction = 0xc000001d;
constexpr uint32_t kFlushDenormalsInMxcsr = 0x8040;
constexpr uint32_t kOsXsave = 1u << 27;
constexpr uint64_t kWideRegistersSaved = 6;
constexpr uint32_t kRestrictable = 0xff0;

enum Register { kEax, kEbx, kEcx, kEdx };

struct CpuState {
  uint32_t support = 0;  // class and detected features
  uint32_t raw = 0;
  uint32_t os = 0;
  uint32_t processorCount = 0;
  bool detected = false;
  bool avxUsable = false;
  bool avx2Usable = false;
  uint32_t allowed = 0xffffffff;
  uint32_t classOverride = 0;
};

CpuState state;

void realSystemInfo(uint32_t& processorType, uint32_t& processorCount) {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  processorType = info.dwProcessorType;
  processorCount = info.dwNumberOfProcessors;
}

// Volatile at both ends, so that the instruction is really there.
void useVectorRegister(void*) {
  volatile float number = 1;
  number = _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(number)));
}

uint32_t realTryVectorRegister() {
  return platform::guardedCall(useVectorRegister, nullptr);
}

uint32_t realFlushDenormals() {
  return platform::guardedCall(
      [](void*) { platform::writeMxcsr(platform::readMxcsr() | kFlushDenormalsInMxcsr); }, nullptr);
}

constexpr CpuPort kRealPort = {realSystemInfo, platform::cpuid, platform::readXcr0, realTryVectorRegister,
                               realFlushDenormals};
CpuPort port = kRealPort;

struct Cpuid {
  uint32_t registers[4] = {};
  explicit Cpuid(uint32_t leaf) { port.cpuid(leaf, 0, registers); }
  uint32_t operator[](Register which) const { return registers[which]; }
};

bool hasCpuid(uint32_t processorType) {
  return processorType == kPentium || processorType == kX64;
}

// -1 stands for a processor without CPUID.
int32_t highestLeaf(uint32_t processorType) {
  return hasCpuid(processorType) ? static_cast<int32_t>(Cpuid(0)[kEax]) : -1;
}

// One look at the machine. The class and the detected features grow step by step, each on what the earlier
// ones left, so the order of the members' calls in run() matters.
class Detection {
 public:
  CpuState run(CpuState found) {
    identify();
    basicFeatures();
    ErrorReport_StartTrapBypass();  // a processor or system without SSE faults in here, and that is no crash
    probeSse();
    flushDenormals();
    ErrorReport_EndTrapBypass();
    laterFeatures();
    found.support = class_ | detected_;
    found.raw = raw_;
    found.os = os_;
    found.processorCount = processorCount_;
    wideRegisters(found);
    return found;
  }

 private:
  bool edx(int bit) const { return ((edx_ >> bit) & 1) != 0; }
  bool ecx(int bit) const { return ((ecx_ >> bit) & 1) != 0; }
  void rawAndDetected(uint32_t bits) {
    raw_ |= bits;
    detected_ |= bits;
  }

  void identify() {
    uint32_t type = 0;
    port.systemInfo(type, processorCount_);
    class_ = type == kI486 ? 1 : type == kPentium ? 2 : 0;
    highestLeaf_ = highestLeaf(type);
    if (highestLeaf_ < 1) return;
    const Cpuid features(1);
    ecx_ = features[kEcx];
    edx_ = features[kEdx];
  }

  void basicFeatures() {
    if (edx(4)) rawAndDetected(QVCPU_TSC);
    if (edx(15)) rawAndDetected(QVCPU_CMOV);
    if (edx(15) && edx(0)) {
      rawAndDetected(QVCPU_FPU);
      class_ = 3;
    }
    // MMX stays out of the detected word: it shares its registers with the FPU, and nobody should pick it.
    if (edx(23)) {
      raw_ |= QVCPU_MMX;
      os_ |= QVCPU_MMX;
    }
  }

  void probeSse() {
    if (edx(25)) {
      raw_ |= QVCPU_SSE;
      osSavesSse_ = true;
      os_ |= QVCPU_SSE;
      if (port.tryVectorRegister() == kIllegalInstruction) {
        osSavesSse_ = false;
        os_ &= ~QVCPU_SSE;
      }
    }
    if (!osSavesSse_) return;
    detected_ |= QVCPU_SSE;
    if (class_ == 4) class_ = 5;
  }

  void flushDenormals() {
    if (!osSavesSse_) return;
    rawAndDetected(QVCPU_FLUSHDENORMALS);
    if (port.flushDenormals() != 0) detected_ &= ~QVCPU_FLUSHDENORMALS;
  }

  void laterFeatures() {
    if (edx(26)) {
      raw_ |= QVCPU_SSE2;
      if (osSavesSse_) {
        os_ |= QVCPU_SSE2;
        detected_ |= QVCPU_SSE2;
      }
    }
    if ((detected_ & QVCPU_SSE2) != 0 && class_ == 5) class_ = 6;
    struct Feature {
      int ecxBit;
      uint32_t bit;
    };
    constexpr Feature kFeatures[] = {
        {0, QVCPU_SSE3}, {9, QVCPU_SSSE3}, {19, QVCPU_SSE4_1}, {20, QVCPU_SSE4_2}};
    for (const Feature& feature : kFeatures) {
      if (ecx(feature.ecxBit)) raw_ |= feature.bit;
      if (osSavesSse_) os_ |= feature.bit;  // a system that saves the registers can run all that use them
      detected_ |= raw_ & os_ & feature.bit;
    }
    if (ecx(28)) raw_ |= QVCPU_AVX;
  }

  void wideRegisters(CpuState& found) const {
    const bool saved =
        (ecx_ & kOsXsave) != 0 && (port.enabledState() & kWideRegistersSaved) == kWideRegistersSaved;
    found.avxUsable = saved && ecx(28);
    found.avx2Usable = found.avxUsable && highestLeaf_ >= 7 && (Cpuid(7)[kEbx] & (1u << 5)) != 0;
  }

  uint32_t class_ = 0, raw_ = 0, os_ = 0, detected_ = 0, processorCount_ = 0;
  uint32_t ecx_ = 0, edx_ = 0;
  int32_t highestLeaf_ = -1;
  bool osSavesSse_ = false;
};

// Latched last, so that a thread that sees the latch sees the word.
bool detectOnce() {
  if (state.detected) return false;
  state = Detection().run(state);
  state.detected = true;
  return true;
}

uint32_t processorType() {
  uint32_t type = 0;
  uint32_t count = 0;
  port.systemInfo(type, count);
  return type;
}

}  // namespace

uint32_t rawCpuSupport(uint32_t mask) {
  detectOnce();
  return (mask != 0 ? mask : 0xffffffff) & state.allowed & state.raw;
}

bool cpuHasAvx() {
  return rawCpuSupport(QVCPU_AVX) != 0 && state.avxUsable;
}
bool cpuHasAvx2() {
  return rawCpuSupport(QVCPU_AVX) != 0 && state.avx2Usable;
}

HRESULT cpuBrand(WCHAR* text, int32_t capacity) {
  constexpr uint32_t kFirst = 0x80000002;
  constexpr uint32_t kLast = 0x80000004;
  char brand[48];
  if (capacity < static_cast<int32_t>(sizeof brand) + 1 || highestLeaf(processorType()) < 1)
    return kGeneralFailure;
  if (Cpuid(0x80000000)[kEax] < kLast) return kGeneralFailure;
  for (uint32_t leaf = kFirst; leaf <= kLast; ++leaf)
    memcpy(brand + (leaf - kFirst) * 16, Cpuid(leaf).registers, 16);
  WCHAR* out = text;
  for (const char character : brand) {
    if (character >= 0x20 && character <= 0x7e) *out++ = static_cast<WCHAR>(character);
  }
  *out = 0;
  QvStripWhiteSpace(text);
  return kOk;
}

HRESULT cpuVendor(WCHAR* text, int32_t capacity) {
  if (capacity < 13 || highestLeaf(processorType()) < 0) return kGeneralFailure;
  const Cpuid leaf(0);
  for (const Register part : {kEbx, kEdx, kEcx}) {
    for (int shift = 0; shift < 32; shift += 8) *text++ = static_cast<WCHAR>((leaf[part] >> shift) & 0xff);
  }
  *text = 0;
  return kOk;
}

void detectCpu() {
  if (detectOnce()) state.support = (state.allowed & state.support) | state.classOverride;
}

CpuPort& cpuPort() {
  return port;
}

void resetCpu() {
  state = CpuState();
  port = kRealPort;
}

}  // namespace qv

using qv::state;

uint32_t QvGetCPUSupport(uint32_t mask) {
  qv::detectOnce();
  return ((mask != 0 ? mask : 0xffffffff) & state.allowed & state.support) | state.classOverride;
}

uint32_t QvGetOSSupport(uint32_t mask) {
  qv::detectOnce();
  return (mask != 0 ? mask : 0xffffffff) & state.os;
}

uint32_t QvGetProcessorCount() {
  qv::detectOnce();
  return state.processorCount;
}

int32_t QvOnlyAllowCPUSupport(uint32_t bits) {
  if ((bits & ~qv::kRestrictable) != 0) return 0;
  state.allowed = (state.allowed & ~qv::kRestrictable) | bits;
  return 1;
}

int32_t QvDisallowCPUSupport(uint32_t bits) {
  state.allowed &= ~bits;
  return 1;
}

int32_t QvAllowCPUSupport(uint32_t bits) {
  state.allowed |= bits;
  return 1;
}

int32_t QvSetCPUClassBySupport() {
  struct Row {
    uint32_t needs;
    uint32_t cpuClass;
  };
  constexpr Row kClasses[] = {{QVCPU_SSE2, 6}, {QVCPU_SSE, 5}, {QVCPU_MMX, 4}};
  state.allowed &= ~QVCPU_CLASS;
  state.classOverride = 0;
  for (const Row& row : kClasses) {
    if ((state.allowed & row.needs) == 0) continue;
    state.classOverride = row.cpuClass;
    break;
  }
  return 1;
}

void QvFourCCToStringCPU(uint32_t code, WCHAR* text) {
  for (int i = 0; i < 4; ++i) {
    const uint32_t unit = (code >> (8 * i)) & 0xff;
    text[i] = static_cast<WCHAR>(unit >= 0x20 && unit <= 0x7e ? unit : 0);
  }
  text[4] = 0;
}
