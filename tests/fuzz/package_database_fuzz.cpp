// Any bytes are a package database: what it lists has a name and a code, and nothing is longer than it may be.
#include <cstdlib>

#include "qv/platform/linux/package_database.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto packages = qv::platform::readPackages({reinterpret_cast<const char*>(data), size});
  for (const auto& each : packages) {
    if (each.name.empty() || each.code.size() != 38 || each.version.size() > 4096) abort();
  }
  return 0;
}
