// cpu, os, clock: what the frame knows of the machine, one fact a line.

#include "qv/app/workbench/verbs.h"
#include "qv/frame/clock.h"
#include "qv/frame/cpu.h"
#include "qv/frame/os.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

struct Feature {
  uint32_t bit;
  const WCHAR* name;
};

constexpr Feature kFeatures[] = {
    {0x10, TEXT("mmx")},     {0x20, TEXT("sse")},     {0x40, TEXT("sse2")},   {0x80, TEXT("sse3")},
    {0x100, TEXT("ssse3")},  {0x200, TEXT("sse4_1")}, {0x400, TEXT("sse4_2")}, {0x800, TEXT("avx")},
    {0x1000, TEXT("cmov")},  {0x2000, TEXT("fpu")},   {0x4000, TEXT("tsc")},  {0x20000, TEXT("ftz")},
};

WString featureNames(uint32_t word) {
  WString names;
  for (const Feature& feature : kFeatures) {
    if ((word & feature.bit) == 0) continue;
    if (!names.empty()) names += ' ';
    names += feature.name;
  }
  return names;
}

HRESULT runCpu(Session& session, const Step&) {
  const uint32_t word = QvGetCPUSupport(0);
  session.record({TEXT("cpu"), TEXT("processors"), QvGetProcessorCount()});
  session.record({TEXT("cpu"), TEXT("class"), word & 15});
  session.record({TEXT("cpu"), TEXT("support"), featureNames(word)});
  session.record({TEXT("cpu"), TEXT("system"), featureNames(QvGetOSSupport(0))});
  return kOk;
}

struct VersionTest {
  uint32_t code;
  const WCHAR* name;
};

constexpr VersionTest kVersionTests[] = {
    {6, TEXT("at least 5.1")}, {7, TEXT("at least 6.0")},   {8, TEXT("at least 6.1")},
    {9, TEXT("at least 6.2")}, {10, TEXT("at least 10.0")},
};

HRESULT runOs(Session& session, const Step&) {
  WCHAR name[64] = {};
  QvGetOS(name, 64);
  session.record({TEXT("os"), TEXT("name"), name});
  session.record({TEXT("os"), TEXT("64-bit"), QvIsOS64Bit()});
  for (const VersionTest& test : kVersionTests) {
    session.record({TEXT("os"), test.name, QvOSVersionOK(test.code)});
  }
  session.record({TEXT("os"), TEXT("high colour"), QvIsHighColor()});
  session.record({TEXT("os"), TEXT("high colour everywhere"), QvIsAllMonitorsHighColor()});
  return kOk;
}

// The base word starts at 0, so that the first delta only sets it.
HRESULT runClock(Session& session, const Step&) {
  constexpr DWORD kNapMilliseconds = 20;
  int64_t base = 0;
  QvDeltaMicrosecEx(&base);
  Sleep(kNapMilliseconds);
  const int64_t nap = QvGetMicrosecEx(&base);
  session.record({TEXT("clock"), TEXT("since start, ms"), static_cast<int64_t>(QvGetMillisec())});
  session.record({TEXT("clock"), TEXT("a nap of 20 ms took, us"), nap});
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"cpu", "", 0, 0, "", runCpu},
    {"os", "", 0, 0, "", runOs},
    {"clock", "", 0, 0, "", runClock},
};

}  // namespace

std::span<const Verb> machineVerbs() { return kVerbs; }

}  // namespace qv::workbench
