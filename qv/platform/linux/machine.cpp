#include "qv/platform/machine.h"

#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "qv/platform/linux/adapters.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kAddresses = 0x7ffffffeffff;  // what a 64-bit process has, in bytes

// The first line of one of the kernel's files, at most 255 bytes; empty when there is none.
std::string firstLine(const fs::path& path) {
  std::ifstream file(path);
  char line[256] = {};
  file.getline(line, sizeof line);
  return line;
}

// A number at the start of a text, "0x" in front of it or not; 0 for none.
uint32_t number(std::string_view text, int base) {
  if (base == 16 && text.starts_with("0x")) text.remove_prefix(2);
  uint32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  return value;
}

uint32_t hexFile(const fs::path& path) {
  return number(firstLine(path), 16);
}

std::vector<fs::path> entries(const std::string& folder) {
  std::vector<fs::path> found;
  std::error_code fault;
  for (fs::directory_iterator at(folder, fault), end; !fault && at != end; at.increment(fault)) {
    found.push_back(at->path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

// "1920,1080" and "1920x1080"
bool readSize(std::string_view text, char between, ScreenMode* mode) {
  const size_t middle = text.find(between);
  if (middle == text.npos) return false;
  mode->width = static_cast<int32_t>(number(text.substr(0, middle), 10));
  mode->height = static_cast<int32_t>(number(text.substr(middle + 1), 10));
  return mode->width > 0 && mode->height > 0;
}

uint64_t memoryLine(std::string_view text, std::string_view name) {
  const size_t at = text.find(name);
  if (at == text.npos) return 0;
  text.remove_prefix(at + name.size());
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  uint64_t kibibytes = 0;
  std::from_chars(text.data(), text.data() + text.size(), kibibytes);
  return kibibytes << 10;
}

std::string distribution() {
  std::ifstream file("/etc/os-release");
  constexpr std::string_view kKey = "PRETTY_NAME=";
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(kKey)) continue;
    line.erase(0, kKey.size());
    std::erase(line, '"');
    return line;
  }
  return {};
}

void copyText(std::u16string_view text, WCHAR* to, size_t capacity) {
  to[text.copy(to, capacity - 1)] = 0;
}

}  // namespace

std::vector<Adapter> readAdapters(const std::string& folder) {
  constexpr uint32_t kDisplayClass = 3;
  std::vector<Adapter> found;
  for (const fs::path& each : entries(folder)) {
    if (hexFile(each / "class") >> 16 != kDisplayClass) continue;
    const uint32_t subsystem = hexFile(each / "subsystem_device") << 16 | hexFile(each / "subsystem_vendor");
    found.push_back({each.filename().string(), hexFile(each / "vendor"), hexFile(each / "device"), subsystem,
                     hexFile(each / "revision"), firstLine(each / "boot_vga") == "1"});
  }
  const bool marked = std::any_of(found.begin(), found.end(), [](const Adapter& each) { return each.boot; });
  if (!marked && !found.empty()) found.front().boot = true;
  return found;
}

bool readScreenMode(const std::string& graphics, const std::string& drm, ScreenMode* mode) {
  ScreenMode found = {};
  if (readSize(firstLine(fs::path(graphics) / "fb0" / "virtual_size"), ',', &found)) {
    found.bits = static_cast<int32_t>(number(firstLine(fs::path(graphics) / "fb0" / "bits_per_pixel"), 10));
    *mode = found;
    return true;
  }
  for (const fs::path& each : entries(drm)) {
    if (firstLine(each / "status") != "connected" || !readSize(firstLine(each / "modes"), 'x', &found))
      continue;
    *mode = found;
    return true;
  }
  return false;
}

bool screenMode(ScreenMode* mode) {
  return readScreenMode("/sys/class/graphics", "/sys/class/drm", mode);
}

void systemVersion(OSVERSIONINFOEXW* version) {
  *version = {};
  version->dwOSVersionInfoSize = sizeof *version;
  utsname system = {};
  if (uname(&system) == 0) {
    sscanf(system.release, "%u.%u.%u", &version->dwMajorVersion, &version->dwMinorVersion,
           &version->dwBuildNumber);
  }
  copyText(utf16From(distribution()), version->szCSDVersion, 128);
}

}  // namespace qv::platform

using namespace qv::platform;

BOOL GlobalMemoryStatusEx(MEMORYSTATUSEX* status) {
  if (status == nullptr || status->dwLength != sizeof *status) return fail(ERROR_INVALID_PARAMETER);
  struct sysinfo info = {};
  if (sysinfo(&info) != 0) return fail(ERROR_GEN_FAILURE);
  std::ifstream file("/proc/meminfo");
  const std::string lines((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const uint64_t total = uint64_t{info.totalram} * info.mem_unit;
  const uint64_t swap = uint64_t{info.totalswap} * info.mem_unit;
  const uint64_t freeSwap = uint64_t{info.freeswap} * info.mem_unit;
  const uint64_t available =
      std::min(total, std::max(memoryLine(lines, "MemAvailable:"), uint64_t{info.freeram} * info.mem_unit));
  status->ullTotalPhys = total;
  status->ullAvailPhys = available;
  status->ullTotalPageFile = total + swap;
  status->ullAvailPageFile = available + freeSwap;
  status->ullTotalVirtual = status->ullAvailVirtual = kAddresses;
  status->ullAvailExtendedVirtual = 0;
  status->dwMemoryLoad = total != 0 ? static_cast<DWORD>((total - available) * 100 / total) : 0;
  return TRUE;
}

BOOL EnumDisplayDevicesW(LPCWSTR device, DWORD index, DISPLAY_DEVICEW* adapter, DWORD) {
  if (adapter == nullptr || adapter->cb != sizeof *adapter || device != nullptr) return FALSE;
  const std::vector<Adapter> all = readAdapters("/sys/bus/pci/devices");
  if (index >= all.size()) return FALSE;
  const Adapter& found = all[index];
  char id[64];
  snprintf(id, sizeof id, "PCI\\VEN_%04X&DEV_%04X&SUBSYS_%08X&REV_%02X", found.vendor & 0xffff,
           found.device & 0xffff, found.subsystem, found.revision & 0xff);
  *adapter = {};
  adapter->cb = sizeof *adapter;
  adapter->StateFlags = found.boot ? DISPLAY_DEVICE_ATTACHED_TO_DESKTOP | DISPLAY_DEVICE_PRIMARY_DEVICE : 0;
  copyText(utf16From("\\\\.\\DISPLAY" + std::to_string(index + 1)), adapter->DeviceName, 32);
  copyText(utf16From(found.place), adapter->DeviceString, 128);
  copyText(utf16From(id), adapter->DeviceID, 128);
  return TRUE;
}
