#include "qv/platform/exceptions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qv/platform/modules.h"
#include "qv/platform/pages.h"
#include "qv/platform/processor.h"
#include "qv/platform/sync.h"

namespace {

int filterCalls = 0;

LONG CALLBACK countingFilter(EXCEPTION_POINTERS*) {
  ++filterCalls;
  return EXCEPTION_CONTINUE_SEARCH;
}

volatile uintptr_t nowhere = 16;

void readNowhere(void*) {
  static_cast<void>(*reinterpret_cast<volatile int*>(nowhere));
}

TEST(Exceptions, AGuardedFaultIsNoBusinessOfTheFilter) {
  const auto before = SetUnhandledExceptionFilter(countingFilter);
  EXPECT_EQ(0xc0000005u, qv::platform::guardedCall(readNowhere, nullptr));
  EXPECT_EQ(0, filterCalls);
  EXPECT_EQ(&countingFilter, SetUnhandledExceptionFilter(before));
}

TEST(Exceptions, AStackGuaranteeGrowsAndTellsWhatWasBefore) {
  const auto body = [](void*) -> DWORD {
    ULONG bytes = 0;
    EXPECT_TRUE(SetThreadStackGuarantee(&bytes));
    const ULONG atFirst = bytes;
    bytes = 65536;
    EXPECT_TRUE(SetThreadStackGuarantee(&bytes));
    EXPECT_EQ(atFirst, bytes);
    bytes = 0;
    EXPECT_TRUE(SetThreadStackGuarantee(&bytes));
    EXPECT_GE(bytes, 65536u);
    return 0;
  };
  HANDLE thread = CreateThread(nullptr, 0, body, nullptr, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

// Lies in this program's code.
int markInCode() {
  return 7;
}

TEST(Exceptions, CodeLiesInTheProgram) {
  const auto place = reinterpret_cast<const char*>(&markInCode);
  MEMORY_BASIC_INFORMATION where = {};
  ASSERT_EQ(sizeof(where), VirtualQuery(place, &where, sizeof(where)));
  EXPECT_EQ(DWORD{MEM_COMMIT}, where.State);
  EXPECT_EQ(DWORD{MEM_IMAGE}, where.Type);
  EXPECT_EQ(0x20u, where.Protect & 0x70);  // execute, and read
  const auto base = static_cast<const char*>(where.BaseAddress);
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(base) % 4096);
  EXPECT_TRUE(base <= place && place < base + where.RegionSize);
  EXPECT_LE(where.AllocationBase, where.BaseAddress);
  char path[MAX_PATH * 4] = {};
  const DWORD length = GetModuleFileNameA(static_cast<HMODULE>(where.AllocationBase), path, sizeof(path));
  EXPECT_EQ(strlen(path), length);
  EXPECT_NE(std::string::npos, std::string(path).find("contract_test"));
  char own[MAX_PATH * 4] = {};
  GetModuleFileNameA(nullptr, own, sizeof(own));
  EXPECT_NE(std::string::npos, std::string(own).find("contract_test"));
}

TEST(Exceptions, PagesTellWhatTheyAre) {
  constexpr SIZE_T kPage = 4096;
  auto* pages =
      static_cast<char*>(VirtualAlloc(nullptr, 3 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  DWORD before = 0;
  VirtualProtect(pages + kPage, kPage, PAGE_READONLY, &before);
  VirtualProtect(pages + 2 * kPage, kPage, PAGE_NOACCESS, &before);
  constexpr DWORD kProtections[] = {PAGE_READWRITE, PAGE_READONLY, PAGE_NOACCESS};
  for (int i = 0; i < 3; ++i) {
    MEMORY_BASIC_INFORMATION where = {};
    EXPECT_EQ(sizeof(where), VirtualQuery(pages + i * kPage + 5, &where, sizeof(where)));
    EXPECT_EQ(kProtections[i], where.Protect) << i;
    EXPECT_EQ(pages + i * kPage, where.BaseAddress);
    EXPECT_EQ(DWORD{MEM_PRIVATE}, where.Type);
  }
  char path[16];
  EXPECT_EQ(0u, GetModuleFileNameA(reinterpret_cast<HMODULE>(pages), path, sizeof(path)));
  VirtualFree(pages, 0, MEM_RELEASE);
  MEMORY_BASIC_INFORMATION none = {};
  EXPECT_EQ(0u, VirtualQuery(reinterpret_cast<void*>(~uintptr_t{0} - 4096), &none, sizeof(none)));
  EXPECT_EQ(0u, VirtualQuery(path, &none, sizeof(none) - 1));
}

TEST(Exceptions, APathThatDoesNotFitGivesTheCapacity) {
  char path[4] = {};
  EXPECT_EQ(sizeof(path), GetModuleFileNameA(nullptr, path, sizeof(path)));
}

}  // namespace
