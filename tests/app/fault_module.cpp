// A module that fails in the way that the environment variable QV_FAULT names: what a crash of somebody's
// plug-in looks like to the program that loaded it.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "qv/api.h"
#include "qv/platform/win32.h"

namespace {

// In instructions, so that no compiler and no sanitizer has an opinion.
void read() {
  __asm__ volatile("movb 16, %%al" : : : "eax", "memory");
}
void write() {
  __asm__ volatile("movb $1, 24" : : : "memory");
}
void wild() {
  __asm__ volatile("movb (%0), %%al" : : "r"(0x8000000000000000u) : "eax", "memory");
}
void divide() {
  __asm__ volatile("xorl %%ecx, %%ecx\n\tmovl $7, %%eax\n\tcltd\n\tidivl %%ecx" : : : "eax", "ecx", "edx");
}
void illegal() {
  __asm__ volatile("ud2");
}

volatile int depth = 0;
__attribute__((noinline)) int deeper(int level) {
  volatile char room[1024];
  room[0] = static_cast<char>(level);
  depth = level;
  if (depth < 0) return 0;
  return deeper(level + 1) + room[0];
}
void overflow() {
  deeper(0);
}

void thread() {
  const HANDLE worker = CreateThread(
      nullptr, 0,
      [](LPVOID) -> DWORD {
        read();
        return 0;
      },
      nullptr, 0, nullptr);
  WaitForSingleObject(worker, INFINITE);
}

struct Fault {
  std::basic_string_view<WCHAR> name;
  void (*run)();
};
constexpr Fault kFaults[] = {
    {TEXT("read"), read},     {TEXT("write"), write},     {TEXT("wild"), wild},
    {TEXT("divide"), divide}, {TEXT("illegal"), illegal}, {TEXT("overflow"), overflow},
    {TEXT("thread"), thread},
};

}  // namespace

extern "C" QV_MODULE_EXPORT HRESULT QvModule_Run(WCHAR* answer, int32_t) {
  answer[0] = 0;
  WCHAR name[16] = {};
  GetEnvironmentVariableW(TEXT("QV_FAULT"), name, 16);
  const auto* fault = std::find_if(std::begin(kFaults), std::end(kFaults),
                                   [&name](const Fault& each) { return each.name == name; });
  if (fault == std::end(kFaults)) return E_INVALIDARG;
  fault->run();
  return S_OK;
}
