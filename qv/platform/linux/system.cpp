#include "qv/platform/system.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"
#include "qv/platform/processor.h"

namespace qv::platform {
namespace {

constexpr int64_t kCountsPerSecond = 10'000'000;

int64_t monotonicCount() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kCountsPerSecond + now.tv_nsec / 100;
}

// Family and model as the processor gives them in leaf 1, extended parts added.
void identify(WORD* level, WORD* revision) {
  uint32_t regs[4];
  cpuid(1, 0, regs);
  uint32_t family = regs[0] >> 8 & 15, model = regs[0] >> 4 & 15, stepping = regs[0] & 15;
  if (family == 6 || family == 15) model |= (regs[0] >> 16 & 15) << 4;
  if (family == 15) family += regs[0] >> 20 & 255;
  *level = static_cast<WORD>(family);
  *revision = static_cast<WORD>(model << 8 | stepping);
}

// The version that Linux answers with, most significant first; each with where a question holds it.
struct VersionMember {
  DWORD type;
  int shift;  // Of its condition in the mask.
  DWORD actual;
  DWORD (*wanted)(const OSVERSIONINFOEXW& version);
};
constexpr VersionMember kVersion[] = {
    {VER_MAJORVERSION, 3, 10, [](const OSVERSIONINFOEXW& v) { return v.dwMajorVersion; }},
    {VER_MINORVERSION, 0, 0, [](const OSVERSIONINFOEXW& v) { return v.dwMinorVersion; }},
    {VER_SERVICEPACKMAJOR, 15, 0, [](const OSVERSIONINFOEXW& v) { return DWORD{v.wServicePackMajor}; }},
    {VER_SERVICEPACKMINOR, 12, 0, [](const OSVERSIONINFOEXW& v) { return DWORD{v.wServicePackMinor}; }},
};
constexpr DWORD kKnownTypes = 0x33;
constexpr DWORD kConditionMask = 7;

bool meets(DWORD actual, DWORD wanted, DWORD condition) {
  if (actual == wanted) {
    return condition == VER_EQUAL || condition == VER_GREATER_EQUAL || condition == VER_LESS_EQUAL;
  }
  if (actual > wanted) return condition == VER_GREATER || condition == VER_GREATER_EQUAL;
  return condition == VER_LESS || condition == VER_LESS_EQUAL;
}

// A member decides unless it is equal, and then the next one does, under the same condition unless that was
// equality.
DWORD compareVersion(const OSVERSIONINFOEXW& version, DWORD types, ULONGLONG mask) {
  DWORD condition = 0;
  bool met = false;
  for (const VersionMember& member : kVersion) {
    if (!(types & member.type)) continue;
    auto own = static_cast<DWORD>(mask >> member.shift) & kConditionMask;
    if (own == 0) return ERROR_BAD_ARGUMENTS;
    if (condition == 0 || condition == VER_EQUAL) condition = own;
    DWORD wanted = member.wanted(version);
    met = meets(member.actual, wanted, condition);
    if (member.actual != wanted) break;
  }
  return met ? ERROR_SUCCESS : ERROR_OLD_WIN_VERSION;
}

const char* environmentValue(const std::string& name) {
  for (char** entry = environ; entry && *entry; ++entry) {
    bool same = strncasecmp(*entry, name.c_str(), name.size()) == 0 && (*entry)[name.size()] == '=';
    if (same) return *entry + name.size() + 1;
  }
  return nullptr;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

void GetSystemInfo(SYSTEM_INFO* info) {
  auto processors = static_cast<DWORD>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
  *info = {};
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
  info->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
  info->lpMinimumApplicationAddress = reinterpret_cast<LPVOID>(0x10000);
  info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>(0x7ffffffeffff);
  info->dwNumberOfProcessors = processors;
  info->dwActiveProcessorMask = processors >= 64 ? ~DWORD_PTR{0} : (DWORD_PTR{1} << processors) - 1;
  info->dwProcessorType = PROCESSOR_AMD_X8664;
  info->dwAllocationGranularity = 0x10000;
  identify(&info->wProcessorLevel, &info->wProcessorRevision);
}

void GetNativeSystemInfo(SYSTEM_INFO* info) {
  GetSystemInfo(info);
}

ULONGLONG VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition) {
  for (int bit = 0; bit < 8; ++bit) {
    if (type & (1u << bit)) return mask | static_cast<ULONGLONG>(condition & kConditionMask) << (3 * bit);
  }
  return mask;
}

BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD types, ULONGLONG mask) {
  if (types == 0 || (types & ~kKnownTypes)) return fail(ERROR_BAD_ARGUMENTS);
  DWORD error = compareVersion(*version, types, mask);
  return error == ERROR_SUCCESS ? TRUE : fail(error);
}

BOOL IsWow64Process(HANDLE, BOOL* wow64) {
  *wow64 = FALSE;
  return TRUE;
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
  count->QuadPart = monotonicCount();
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = kCountsPerSecond;
  return TRUE;
}

DWORD GetTickCount() {
  return static_cast<DWORD>(GetTickCount64());
}

ULONGLONG GetTickCount64() {
  return static_cast<ULONGLONG>(monotonicCount() / 10'000);
}

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR value, DWORD capacity) {
  const char* found = environmentValue(utf8From(viewOf(name)));
  if (!found) return failWith(ERROR_ENVVAR_NOT_FOUND, 0);
  SetLastError(ERROR_SUCCESS);
  return giveText(utf16From(found), value, capacity);
}
