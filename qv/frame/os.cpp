#include "qv/frame/os.h"

#include <memory>
#include <new>

#include "qv/frame/detail/os.h"
#include "qv/frame/status.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

constexpr int32_t kHighColorBits = 16;

struct Cached {
  bool known = false;
  bool value = false;
};

Cached primaryHighColor;
Cached allHighColor;

bool realVersionAtLeast(uint32_t major, uint32_t minor) {
  constexpr DWORD kTypes = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;
  static_assert(kTypes == 35 && VER_GREATER_EQUAL == 3);
  OSVERSIONINFOEXW wanted = {};
  wanted.dwOSVersionInfoSize = sizeof wanted;
  wanted.dwMajorVersion = major;
  wanted.dwMinorVersion = minor;
  ULONGLONG conditions = 0;
  for (const DWORD type : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR}) {
    conditions = VerSetConditionMask(conditions, type, VER_GREATER_EQUAL);
  }
  return VerifyVersionInfoW(&wanted, kTypes, conditions) != 0;
}

uint16_t realProcessorArchitecture() {
  SYSTEM_INFO info = {};
  GetNativeSystemInfo(&info);
  return info.wProcessorArchitecture;
}

int32_t realScreenBits() {
  const HDC screen = GetDC(nullptr);
  const int32_t bits = GetDeviceCaps(screen, BITSPIXEL);
  ReleaseDC(nullptr, screen);
  return bits;
}

int32_t monitorBits(HMONITOR monitor) {
  MONITORINFOEXW info = {};
  info.cbSize = sizeof info;
  if (!GetMonitorInfoW(monitor, reinterpret_cast<MONITORINFO*>(&info))) return 0;
  const HDC device = CreateDCW(TEXT("DISPLAY"), info.szDevice, nullptr, nullptr);
  if (device == nullptr) return 0;
  const int32_t bits = GetDeviceCaps(device, BITSPIXEL);
  DeleteDC(device);
  return bits;
}

void realVisitMonitors(MonitorVisitor visit, void* context) {
  struct Visit {
    MonitorVisitor visit;
    void* context;
  } each = {visit, context};
  EnumDisplayMonitors(
      nullptr, nullptr,
      [](HMONITOR monitor, HDC, RECT*, LPARAM data) -> BOOL {
        const Visit& to = *reinterpret_cast<const Visit*>(data);
        to.visit(monitorBits(monitor), to.context);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&each));
}

constexpr OsPort kRealPort = {realVersionAtLeast, realProcessorArchitecture, realScreenBits,
                              realVisitMonitors};
OsPort port = kRealPort;

// Text that grows in a buffer of somebody else's, cut at its capacity and always terminated.
class BoundedText {
 public:
  BoundedText(WCHAR* text, int32_t capacity) : text_(text), room_(capacity - 1) {
    if (room_ >= 0) *text_ = 0;
  }
  BoundedText& operator<<(const WCHAR* more) {
    while (*more != 0 && room_ > 0) add(*more++);
    return *this;
  }
  BoundedText& operator<<(uint16_t value) {  // four hexadecimal digits
    for (int shift = 12; shift >= 0 && room_ > 0; shift -= 4)
      add(TEXT("0123456789ABCDEF")[(value >> shift) & 15]);
    return *this;
  }

 private:
  void add(WCHAR character) {
    *text_++ = character;
    *text_ = 0;
    --room_;
  }
  WCHAR* text_;
  int32_t room_;
};

struct NamedVersion {
  uint32_t major, minor;
  const WCHAR* name;
};

// The last row repeats the test above it and so never answers; reports are compared with ones from the
// field, where Windows 7 has always been an unknown version.
constexpr NamedVersion kNames[] = {
    {10, 0, TEXT("Windows 10.0")},
    {6, 3, TEXT("Windows 8.1")},
    {6, 2, TEXT("Windows 8")},
    {6, 2, TEXT("Windows 7")},
};

const WCHAR* architectureSuffix(uint16_t architecture) {
  struct Row {
    uint16_t architecture;
    const WCHAR* suffix;
  };
  constexpr Row kSuffixes[] = {{0, TEXT(" (32-bit)")}, {9, TEXT(" (64-bit)")}};
  for (const Row& row : kSuffixes) {
    if (row.architecture == architecture) return row.suffix;
  }
  return TEXT("");
}

bool readPrimary() {
  return port.screenBits() >= kHighColorBits;
}

// A monitor that does not tell is no reason to give up high colour.
bool readAll() {
  bool all = true;
  port.visitMonitors(
      [](int32_t bits, void* context) {
        if (bits != 0 && bits < kHighColorBits) *static_cast<bool*>(context) = false;
      },
      &all);
  return all;
}

bool answer(Cached& cached, bool (*read)()) {
  if (!cached.known) cached = {true, read()};
  return cached.value;
}

// The pair of language and code page that the resource names first.
struct Translation {
  WORD language, codePage;
};

}  // namespace

void refreshHighColor() {
  primaryHighColor = {true, readPrimary()};
  allHighColor = {true, readAll()};
}

OsPort& osPort() {
  return port;
}

void resetOs() {
  primaryHighColor = {};
  allHighColor = {};
  port = kRealPort;
}

}  // namespace qv

int32_t QvGetOS(WCHAR* text, int32_t capacity) {
  for (const qv::NamedVersion& version : qv::kNames) {
    if (!qv::port.versionAtLeast(version.major, version.minor)) continue;
    qv::BoundedText(text, capacity) << version.name
                                    << qv::architectureSuffix(qv::port.processorArchitecture());
    return 1;
  }
  qv::BoundedText(text, capacity) << TEXT("Unknown Versoin");
  return 0;
}

// The 32-bit builds of old asked whether they ran beside a 64-bit system; the question is still put, so that
// a hook on it sees the same calls, but the answer is known.
int32_t QvIsOS64Bit() {
  using IsWow64 = BOOL(WINAPI*)(HANDLE, BOOL*);
  BOOL wow64 = FALSE;
  const auto ask = reinterpret_cast<IsWow64>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(TEXT("kernel32")), "IsWow64Process")));
  if (ask != nullptr) ask(GetCurrentProcess(), &wow64);
  return 1;
}

int32_t QvOSVersionOK(uint32_t code) {
  struct Row {
    uint32_t code, major, minor;
  };
  constexpr Row kVersions[] = {
      {QVOS_XP, 5, 1}, {QVOS_VISTA, 6, 0}, {QVOS_7, 6, 1}, {QVOS_8, 6, 2}, {QVOS_10, 10, 0}};
  for (const Row& row : kVersions) {
    if (row.code == code) return qv::port.versionAtLeast(row.major, row.minor) ? 1 : 0;
  }
  return 0;
}

HRESULT QvVersion_GetString(const WCHAR* path, const WCHAR* name, WCHAR* text, int32_t capacity) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
  if (size == 0) return qv::kNotFound;
  const std::unique_ptr<BYTE[]> block(new (std::nothrow) BYTE[size]);
  if (!block || !GetFileVersionInfoW(path, 0, size, block.get())) return qv::kNotFound;
  void* found = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.get(), TEXT("\\VarFileInfo\\Translation"), &found, &length) ||
      length < sizeof(qv::Translation)) {
    return qv::kNotFound;
  }
  const auto& first = *static_cast<const qv::Translation*>(found);
  WCHAR query[128];
  qv::BoundedText(query, 128) << TEXT("\\StringFileInfo\\") << first.language << first.codePage << TEXT("\\")
                              << name;
  if (!VerQueryValueW(block.get(), query, &found, &length)) return qv::kNotFound;
  qv::BoundedText(text, capacity) << static_cast<const WCHAR*>(found);
  return qv::kOk;
}

int32_t QvIsHighColor() {
  return qv::answer(qv::primaryHighColor, qv::readPrimary) ? 1 : 0;
}
int32_t QvIsAllMonitorsHighColor() {
  return qv::answer(qv::allHighColor, qv::readAll) ? 1 : 0;
}
