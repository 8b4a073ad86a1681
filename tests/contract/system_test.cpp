#include "qv/platform/system.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qv/platform/modules.h"
#include "qv/platform/processor.h"
#include "qv/platform/sync.h"

namespace {

using namespace qv::platform;

TEST(System, DescribesTheMachine) {
  SYSTEM_INFO info, native;
  GetSystemInfo(&info);
  GetNativeSystemInfo(&native);
  EXPECT_EQ(PROCESSOR_ARCHITECTURE_AMD64, info.wProcessorArchitecture);
  EXPECT_EQ(8664u, info.dwProcessorType);
  EXPECT_EQ(4096u, info.dwPageSize);
  EXPECT_EQ(65536u, info.dwAllocationGranularity);
  EXPECT_GE(info.dwNumberOfProcessors, 1u);
  EXPECT_TRUE(info.dwActiveProcessorMask & 1);
  EXPECT_EQ(native.dwNumberOfProcessors, info.dwNumberOfProcessors);
  EXPECT_EQ(PROCESSOR_ARCHITECTURE_AMD64, native.wProcessorArchitecture);
  BOOL wow64 = TRUE;
  EXPECT_TRUE(IsWow64Process(GetCurrentProcess(), &wow64));
  EXPECT_FALSE(wow64);
}

// The system is 10.0 without a service pack.
TEST(System, ComparesItsVersion) {
  constexpr DWORD kAll = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;
  struct {
    DWORD major, minor;
    WORD servicePack;
    DWORD types;
    BYTE condition;
    DWORD error;
  } cases[] = {
      {6, 0, 0, kAll, VER_GREATER_EQUAL, 0},
      {6, 3, 9, kAll, VER_GREATER_EQUAL, 0},
      {10, 0, 0, kAll, VER_GREATER_EQUAL, 0},
      {10, 0, 1, kAll, VER_GREATER_EQUAL, ERROR_OLD_WIN_VERSION},
      {10, 1, 0, kAll, VER_GREATER_EQUAL, ERROR_OLD_WIN_VERSION},
      {11, 0, 0, kAll, VER_GREATER_EQUAL, ERROR_OLD_WIN_VERSION},
      {10, 0, 0, kAll, VER_EQUAL, 0},
      {10, 1, 0, kAll, VER_EQUAL, ERROR_OLD_WIN_VERSION},
      {10, 1, 0, VER_MAJORVERSION, VER_EQUAL, 0},
      {9, 9, 9, kAll, VER_GREATER, 0},
      {10, 0, 0, kAll, VER_GREATER, ERROR_OLD_WIN_VERSION},
      {10, 0, 1, kAll, VER_LESS, 0},
      {10, 0, 0, kAll, VER_LESS, ERROR_OLD_WIN_VERSION},
      {10, 0, 0, kAll, VER_LESS_EQUAL, 0},
      {6, 0, 0, kAll, VER_LESS_EQUAL, ERROR_OLD_WIN_VERSION},
      {6, 0, 0, kAll, 0, ERROR_BAD_ARGUMENTS},
      {6, 0, 0, 0, VER_GREATER_EQUAL, ERROR_BAD_ARGUMENTS},
  };
  for (const auto& each : cases) {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = each.major;
    version.dwMinorVersion = each.minor;
    version.wServicePackMajor = each.servicePack;
    ULONGLONG mask = 0;
    for (DWORD type : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR}) {
      mask = VerSetConditionMask(mask, type, each.condition);
    }
    SetLastError(0);
    EXPECT_EQ(each.error == 0, VerifyVersionInfoW(&version, each.types, mask) != FALSE) << (&each - cases);
    EXPECT_EQ(each.error, GetLastError()) << (&each - cases);
  }
  EXPECT_EQ(0x1801bu, VerSetConditionMask(VerSetConditionMask(VerSetConditionMask(0, 2, 3), 1, 3), 0x20, 3));
}

TEST(Clock, RunsForwardAtItsRate) {
  LARGE_INTEGER frequency, before, after;
  ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
  EXPECT_GE(frequency.QuadPart, 1'000'000);
  DWORD ticks = GetTickCount();
  ULONGLONG ticks64 = GetTickCount64();
  QueryPerformanceCounter(&before);
  Sleep(60);
  QueryPerformanceCounter(&after);
  double milliseconds = 1000.0 * static_cast<double>(after.QuadPart - before.QuadPart) /
                        static_cast<double>(frequency.QuadPart);
  EXPECT_GE(milliseconds, 55);
  EXPECT_LT(milliseconds, 30000);
  EXPECT_GE(GetTickCount() - ticks, 40u);
  EXPECT_GE(GetTickCount64() - ticks64, 40u);
  EXPECT_LT(GetTickCount64() - ticks64, 30000u);
}

TEST(Environment, GivesValuesAndTheRoomTheyTake) {
  EXPECT_EQ(0u, GetEnvironmentVariableW(TEXT("QV_NO_SUCH_VARIABLE"), nullptr, 0));
  EXPECT_EQ(ERROR_ENVVAR_NOT_FOUND, GetLastError());
  DWORD room = GetEnvironmentVariableW(TEXT("PATH"), nullptr, 0);
  ASSERT_GT(room, 1u);
  std::vector<WCHAR> value(room, 'x');
  EXPECT_EQ(room, GetEnvironmentVariableW(TEXT("PATH"), value.data(), room - 1));
  EXPECT_EQ(room - 1, GetEnvironmentVariableW(TEXT("path"), value.data(), room)) << "case is ignored";
  EXPECT_EQ(0, value[room - 1]);
  EXPECT_NE(0, value[room - 2]);
}

TEST(Processor, AnswersCpuid) {
  uint32_t regs[4];
  cpuid(0, 0, regs);
  ASSERT_GE(regs[0], 1u);
  cpuid(1, 0, regs);
  EXPECT_TRUE(regs[3] & 1u << 26) << "SSE2 is part of every 64-bit processor";
}

TEST(Processor, SetsMxcsrPerThread) {
  const uint32_t before = readMxcsr();
  EXPECT_EQ(0u, guardedCall([](void*) { writeMxcsr(readMxcsr() | 0x8040); }, nullptr));
  EXPECT_EQ(before | 0x8040, readMxcsr()) << "kept after a call without a fault";
  HANDLE thread = CreateThread(
      nullptr, 0, [](LPVOID) -> DWORD { return readMxcsr(); }, nullptr, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  writeMxcsr(before);
  CloseHandle(thread);
}

struct Fault {
  const char* name;
  void (*cause)(void*);
  DWORD code;
};

// Written in assembler, so that no compiler and no sanitizer has a say in what faults.
constexpr Fault kFaults[] = {
    {"none", [](void*) {}, 0},
    {"illegal", [](void*) { __asm__ volatile("ud2"); }, 0xc000001d},
    {"write", [](void*) { __asm__ volatile("movl $1, (%0)" ::"r"(uintptr_t{16})
                                           : "memory"); }, 0xc0000005},
    {"read", [](void*) { __asm__ volatile("movl (%0), %%eax" ::"r"(uintptr_t{16})
                                          : "eax"); }, 0xc0000005},
    {"divide",
     [](void*) {
       __asm__ volatile("xorl %%ecx, %%ecx; movl $1, %%eax; cdq; idivl %%ecx" ::: "eax", "ecx", "edx");
     },
     0xc0000094},
    {"float",
     [](void*) {
       writeMxcsr(0x1f80 & ~0x200u);
       __asm__ volatile(
           "xorps %%xmm1, %%xmm1; movl $0x3f800000, %%eax; movd %%eax, %%xmm0; divss %%xmm1, %%xmm0" ::
               : "eax", "xmm0", "xmm1");
     },
     0xc000008e},
    {"reserved MXCSR bit", [](void*) { writeMxcsr(0xffffffff); }, 0xc0000005},
};

TEST(Processor, GuardTurnsFaultsIntoCodes) {
  const uint32_t mxcsr = readMxcsr();
  for (int round = 0; round < 3; ++round) {
    for (const Fault& fault : kFaults) {
      EXPECT_EQ(fault.code, guardedCall(fault.cause, nullptr)) << fault.name;
      EXPECT_EQ(mxcsr, readMxcsr()) << fault.name;
    }
  }
}

TEST(Processor, GuardedCallsNestAndBelongToTheirThread) {
  DWORD inner = 0;
  auto outer = [](void* context) {
    *static_cast<DWORD*>(context) = guardedCall(kFaults[1].cause, nullptr);
    kFaults[2].cause(nullptr);
  };
  EXPECT_EQ(0xc0000005u, guardedCall(outer, &inner));
  EXPECT_EQ(0xc000001du, inner);

  auto work = [](LPVOID) -> DWORD {
    for (int i = 0; i < 200; ++i) {
      const Fault& fault = kFaults[static_cast<size_t>(i) % std::size(kFaults)];
      if (guardedCall(fault.cause, nullptr) != fault.code) return 1;
    }
    return 0;
  };
  std::vector<HANDLE> threads;
  for (int i = 0; i < 4; ++i) threads.push_back(CreateThread(nullptr, 0, work, nullptr, 0, nullptr));
  for (HANDLE thread : threads) {
    DWORD code = 99;
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, INFINITE));
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(0u, code);
    CloseHandle(thread);
  }
}

}  // namespace
