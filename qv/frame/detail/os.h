// Inside the toolkit: the system behind qv/frame/os.h, and what follows its changes.
#pragma once

#include "qv/frame/os.h"

namespace qv {

// Reads both high-colour answers anew.
void refreshHighColor();

// Called for each monitor; bits: a pixel's, or 0 when the monitor does not tell.
using MonitorVisitor = void (*)(int32_t bits, void* context);

// The system that the queries ask. Tests put another one in its place.
struct OsPort {
  bool (*versionAtLeast)(uint32_t major, uint32_t minor);
  uint16_t (*processorArchitecture)();
  int32_t (*screenBits)();
  void (*visitMonitors)(MonitorVisitor visit, void* context);
};
OsPort& osPort();

// As at load: nothing known, the real system.
void resetOs();

}  // namespace qv
