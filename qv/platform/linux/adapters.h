// Display adapters and the screen's mode as the kernel's own files tell them.
//
//   for (const Adapter& each : readAdapters("/sys/bus/pci/devices")) use(each.vendor, each.device);
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qv/platform/machine.h"

namespace qv::platform {

struct Adapter {
  std::string place;  // such as 0000:01:00.0
  uint32_t vendor = 0, device = 0, subsystem = 0, revision = 0;
  bool boot = false;  // the system started on it
};

// The PCI devices of display class in a folder of device folders, by place; the boot device, else the first,
// is marked. A folder or file that isn't there, or holds no number, is no adapter.
std::vector<Adapter> readAdapters(const std::string& folder);

// The mode of the first frame buffer in `graphics`, else of the first connected connector in `drm`, whose
// depth isn't known. False when there is neither.
bool readScreenMode(const std::string& graphics, const std::string& drm, ScreenMode* mode);

}  // namespace qv::platform
