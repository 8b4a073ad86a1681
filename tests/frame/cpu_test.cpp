#include "qv/frame/cpu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>

#include "qv/frame/detail/cpu.h"
#include "qv/frame/errorreport.h"
#include "qv/frame/status.h"
#include "qv/platform/processor.h"
#include "qv/platform/win32.h"

namespace {

using WText = std::basic_string<WCHAR>;

constexpr uint32_t kIllegalInstruction = 0xc000001d;
constexpr uint32_t kAccessViolation = 0xc0000005;

// What a processor and its system answer, and the words that follow.
struct Recorded {
  const char* name;
  uint32_t type, highestLeaf, ecx, edx, leaf7Ebx;
  uint64_t xcr0;
  uint32_t sseFault, flushFault;
  uint32_t word, raw, os;
  bool avx, avx2;
};

constexpr Recorded kPentium3 = {"Pentium III", 586,     3,     0,     0x0383f9ff, 0, 0, 0, 0,
                                0x27023,       0x27030, 0x7b0, false, false};
constexpr Recorded kHaswell = {"Haswell", 8664, 13,      0x7ffafbff, 0xbfebfbff, 0x27ab, 7,
                               0,         0,    0x277e3, 0x27ff0,    0x7f0,      true,   true};

constexpr Recorded kRecorded[] = {
    {"486", 486, 0, 0, 0, 0, 0, 0, 0, 0x1, 0, 0, false, false},
    {"another maker's, without CPUID", 386, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, false, false},
    {"586 with leaf 0 only", 586, 0, 0, 0x1bf, 0, 0, 0, 0, 0x2, 0, 0, false, false},
    {"Pentium", 586, 1, 0, 0x1bf, 0, 0, 0, 0, 0x4002, 0x4000, 0, false, false},
    {"Pentium MMX", 586, 1, 0, 0x8001bf, 0, 0, 0, 0, 0x4002, 0x4010, 0x10, false, false},
    kPentium3,
    {"Pentium III, system without SSE", 586, 3, 0, 0x0383f9ff, 0, 0, kIllegalInstruction, 0, 0x7003, 0x7030,
     0x10, false, false},
    {"Pentium III, another fault in the probe", 586, 3, 0, 0x0383f9ff, 0, 0, kAccessViolation, 0, 0x27023,
     0x27030, 0x7b0, false, false},
    {"Pentium III without denormals-are-zero", 586, 3, 0, 0x0383f9ff, 0, 0, 0, kAccessViolation, 0x7023,
     0x27030, 0x7b0, false, false},
    {"Pentium 4", 586, 2, 0x4400, 0xbfebfbff, 0, 0, 0, 0, 0x27063, 0x27070, 0x7f0, false, false},
    {"Pentium 4, system without SSE", 586, 2, 0x4400, 0xbfebfbff, 0, 0, kIllegalInstruction, 0, 0x7003,
     0x7070, 0x10, false, false},
    {"Core 2", 8664, 10, 0x0000e3bd, 0xbfebfbff, 0, 0, 0, 0, 0x271e3, 0x271f0, 0x7f0, false, false},
    {"Nehalem", 8664, 11, 0x009ce3bd, 0xbfebfbff, 0, 0, 0, 0, 0x277e3, 0x277f0, 0x7f0, false, false},
    {"Sandy Bridge", 8664, 13, 0x1fbae3ff, 0xbfebfbff, 0, 7, 0, 0, 0x277e3, 0x27ff0, 0x7f0, true, false},
    kHaswell,
    {"Haswell, AVX2 hidden by a hypervisor", 8664, 13, 0x7ffafbff, 0xbfebfbff, 0xffffffdf, 7, 0, 0, 0x277e3,
     0x27ff0, 0x7f0, true, false},
    {"Haswell, leaves cut by the firmware", 8664, 6, 0x7ffafbff, 0xbfebfbff, 0x27ab, 7, 0, 0, 0x277e3,
     0x27ff0, 0x7f0, true, false},
    {"Haswell, system without XSAVE", 8664, 13, 0x77fafbff, 0xbfebfbff, 0x27ab, 7, 0, 0, 0x277e3, 0x27ff0,
     0x7f0, false, false},
    {"Haswell, wide registers not saved", 8664, 13, 0x7ffafbff, 0xbfebfbff, 0x27ab, 3, 0, 0, 0x277e3, 0x27ff0,
     0x7f0, false, false},
};

Recorded machine;
std::string brand;
uint32_t highestExtendedLeaf;
std::string trace;

void recordedCpuid(uint32_t leaf, uint32_t, uint32_t registers[4]) {
  std::fill_n(registers, 4, 0u);
  if (leaf == 0) {
    const uint32_t genuine[] = {machine.highestLeaf, 0x756e6547, 0x6c65746e, 0x49656e69};
    std::copy_n(genuine, 4, registers);
  } else if (leaf == 1) {
    registers[2] = machine.ecx;
    registers[3] = machine.edx;
  } else if (leaf == 7) {
    registers[1] = machine.leaf7Ebx;
  } else if (leaf == 0x80000000) {
    registers[0] = highestExtendedLeaf;
  } else if (leaf >= 0x80000002 && leaf <= 0x80000004) {
    brand.copy(reinterpret_cast<char*>(registers), 16, (leaf - 0x80000002) * 16);
  }
}

class Cpu : public testing::Test {
 protected:
  void SetUp() override { insert(kHaswell); }
  void TearDown() override {
    ErrorReport_SetFunctions(nullptr);
    qv::resetCpu();
  }

  static void insert(const Recorded& recorded) {
    qv::resetCpu();
    machine = recorded;
    highestExtendedLeaf = 0x80000008;
    brand.assign(48, '\0');
    trace.clear();
    qv::cpuPort() = {[](uint32_t& type, uint32_t& count) {
                       type = machine.type;
                       count = 3;
                     },
                     recordedCpuid, [] { return machine.xcr0; },
                     [] {
                       trace += "sse ";
                       return machine.sseFault;
                     },
                     [] {
                       trace += "flush ";
                       return machine.flushFault;
                     }};
  }
};

TEST_F(Cpu, FindsWhatEachProcessorAndSystemHave) {
  for (const Recorded& recorded : kRecorded) {
    SCOPED_TRACE(recorded.name);
    insert(recorded);
    EXPECT_EQ(recorded.word, QvGetCPUSupport(0));
    EXPECT_EQ(recorded.raw, qv::rawCpuSupport(0));
    EXPECT_EQ(recorded.os, QvGetOSSupport(0));
    EXPECT_EQ(recorded.avx, qv::cpuHasAvx());
    EXPECT_EQ(recorded.avx2, qv::cpuHasAvx2());
    EXPECT_EQ(3u, QvGetProcessorCount());
    EXPECT_EQ(0u, QvGetCPUSupport(0x10));
  }
}

TEST_F(Cpu, LooksOnceAndTellsTheCrashReporterOfTheProbes) {
  QVERRORREPORT reporter = {};
  reporter.startTrapBypass = [] { trace += "start "; };
  reporter.endTrapBypass = [] { trace += "end "; };
  ErrorReport_SetFunctions(&reporter);
  QvGetProcessorCount();
  QvGetCPUSupport(0);
  qv::detectCpu();
  EXPECT_EQ("start sse flush end ", trace);
}

TEST_F(Cpu, QueryMasksAndRestrictions) {
  EXPECT_EQ(0x60u, QvGetCPUSupport(0x60));
  EXPECT_EQ(0x60u, QvGetOSSupport(0x60));
  EXPECT_EQ(0x800u, qv::rawCpuSupport(0x800));

  EXPECT_EQ(0, QvOnlyAllowCPUSupport(0x1000));
  EXPECT_EQ(0, QvOnlyAllowCPUSupport(0x41));
  EXPECT_EQ(0x277e3u, QvGetCPUSupport(0));

  EXPECT_EQ(1, QvOnlyAllowCPUSupport(0x30));
  EXPECT_EQ(0x27023u, QvGetCPUSupport(0));
  EXPECT_EQ(0x27030u, qv::rawCpuSupport(0));
  EXPECT_EQ(0x7f0u, QvGetOSSupport(0));
  EXPECT_FALSE(qv::cpuHasAvx());
  EXPECT_FALSE(qv::cpuHasAvx2());

  EXPECT_EQ(1, QvAllowCPUSupport(0x840));
  EXPECT_EQ(0x27063u, QvGetCPUSupport(0));
  EXPECT_TRUE(qv::cpuHasAvx2());

  EXPECT_EQ(1, QvDisallowCPUSupport(0x1020));
  EXPECT_EQ(0x26043u, QvGetCPUSupport(0));
}

// Start-up keeps the masked word for good; a first query keeps the full one and masks each answer.
TEST_F(Cpu, StartUpAndFirstQueryKeepDifferentWords) {
  QvOnlyAllowCPUSupport(0x20);
  qv::detectCpu();
  QvAllowCPUSupport(0xff0);
  EXPECT_EQ(0x27023u, QvGetCPUSupport(0));

  insert(kHaswell);
  QvOnlyAllowCPUSupport(0x20);
  EXPECT_EQ(0x27023u, QvGetCPUSupport(0));
  qv::detectCpu();
  QvAllowCPUSupport(0xff0);
  EXPECT_EQ(0x277e3u, QvGetCPUSupport(0));
}

TEST_F(Cpu, ClassFollowsTheAllowMask) {
  struct Row {
    uint32_t allowed, cpuClass;
  };
  for (const Row row : {Row{0xff0, 6}, {0x70, 6}, {0x30, 5}, {0x10, 4}, {0xf80, 0}, {0, 0}}) {
    SCOPED_TRACE(row.allowed);
    insert(kPentium3);
    QvOnlyAllowCPUSupport(row.allowed);
    EXPECT_EQ(1, QvSetCPUClassBySupport());
    EXPECT_EQ(row.cpuClass, QvGetCPUSupport(0) & 15);
    EXPECT_EQ(row.cpuClass, QvGetCPUSupport(0x4000) & 15) << "the override shows whatever the mask";
    EXPECT_EQ(0u, qv::rawCpuSupport(0) & 15);
  }
  insert(kRecorded[0]);
  QvSetCPUClassBySupport();
  EXPECT_EQ(6u, QvGetCPUSupport(0)) << "the default mask names the highest class, whatever the machine";
}

WText widen(const std::string& text) {
  return WText(text.begin(), text.end());
}

TEST_F(Cpu, NamesMakerAndModel) {
  WCHAR text[64] = {};
  EXPECT_EQ(qv::kOk, qv::cpuVendor(text, 13));
  EXPECT_EQ(widen("GenuineIntel"), text);
  EXPECT_EQ(qv::kGeneralFailure, qv::cpuVendor(text, 12));

  brand = "   Pentium(R)\x01 III \x7f 500MHz \t ";
  brand.resize(48);
  EXPECT_EQ(qv::kOk, qv::cpuBrand(text, 49));
  EXPECT_EQ(widen("Pentium(R) III  500MHz"), text);
  EXPECT_EQ(qv::kGeneralFailure, qv::cpuBrand(text, 48));
  brand.assign(48, 'x');
  EXPECT_EQ(qv::kOk, qv::cpuBrand(text, 49));
  EXPECT_EQ(WText(48, 'x'), text);

  highestExtendedLeaf = 0x80000001;  // leaves above the highest hold another leaf's bytes
  EXPECT_EQ(qv::kGeneralFailure, qv::cpuBrand(text, 49));
  highestExtendedLeaf = 0x80000004;
  machine.highestLeaf = 0;
  EXPECT_EQ(qv::kGeneralFailure, qv::cpuBrand(text, 49));
  EXPECT_EQ(qv::kOk, qv::cpuVendor(text, 13));
  machine.type = 486;
  EXPECT_EQ(qv::kGeneralFailure, qv::cpuVendor(text, 13));
}

// The compiler's own look at this machine is the judge.
TEST_F(Cpu, AgreesWithTheCompilerOnThisMachine) {
  qv::resetCpu();
  uint32_t word = 0;
  uint32_t mxcsr = 0;
  std::thread([&] {
    word = QvGetCPUSupport(0);
    mxcsr = qv::platform::readMxcsr();
  }).join();
  EXPECT_EQ(0x27063u, word & 0x2706fu);
  EXPECT_EQ(0x8040u, mxcsr & 0x8040u) << "the thread that asks first flushes denormals";
  EXPECT_EQ(__builtin_cpu_supports("sse4.2") != 0, (word & QVCPU_SSE4_2) != 0);
  EXPECT_EQ(__builtin_cpu_supports("avx") != 0, qv::cpuHasAvx());
  EXPECT_EQ(__builtin_cpu_supports("avx2") != 0, qv::cpuHasAvx2());
  EXPECT_GE(QvGetProcessorCount(), 1u);
  WCHAR text[64] = {};
  EXPECT_EQ(qv::kOk, qv::cpuVendor(text, 64));
  EXPECT_EQ(12u, WText(text).size());
}

TEST(FourCC, ShowsPrintableBytesOnly) {
  struct Row {
    uint32_t code;
    WCHAR text[5];
  };
  constexpr Row kRows[] = {{0x32595559, {'Y', 'U', 'Y', '2', 0}},
                           {0x7f7e201f, {0, ' ', '~', 0, 0}},
                           {0x800041ff, {0, 'A', 0, 0, 0}}};
  for (const Row& row : kRows) {
    WCHAR text[5] = {1, 1, 1, 1, 1};
    QvFourCCToStringCPU(row.code, text);
    EXPECT_EQ(WText(row.text, 5), WText(text, 5));
  }
}

}  // namespace
