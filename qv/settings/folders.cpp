#include "qv/settings/folders.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "qv/core/printf.h"
#include "qv/files/files.h"
#include "qv/frame/status.h"
#include "qv/platform/registry.h"
#include "qv/platform/text.h"

namespace {

using namespace qv;

constexpr uint32_t kPathCapacity = 260;
constexpr HRESULT kCannotWriteShared = static_cast<HRESULT>(0x8004e142u);
constexpr const WCHAR* kComponentsValue = TEXT("SharedComponentsFolder");
constexpr const WCHAR* kPresetValue = TEXT("VSTPresetPath");

struct ContentFolder {
  const WCHAR* value;
  const WCHAR* defaultName;
};
constexpr ContentFolder kContentFolders[] = {
    {TEXT("BrimmelThemesFolder"), TEXT("Brimmel Themes")},
    {TEXT("BrimmelTransitionsFolder"), TEXT("Brimmel Transitions")},
    {nullptr, nullptr},
};
constexpr uint32_t kContentFolderCount = std::size(kContentFolders) - 1;

const ContentFolder& contentFolder(uint32_t index) {
  return kContentFolders[std::min(index, kContentFolderCount)];
}

// An open key, closed at the end.
class Key {
 public:
  static Key openShared() {
    Key key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, sharedPath().text, 0, KEY_READ, &key.handle_);
    return key;
  }
  static Key createShared() {
    Key key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, sharedPath().text, 0, nullptr, 0, KEY_WRITE, nullptr, &key.handle_,
                    nullptr);
    return key;
  }
  static Key createPresets(uint32_t version, const WCHAR* application) {
    Key key;
    WCHAR path[kPathCapacity];
    const HRESULT status =
        QvCchPrintF(path, kPathCapacity, nullptr, TEXT("Software\\Halden Media Works\\%s\\%d.%d\\Metrics"),
                    application, version >> 24, version >> 16 & 0xff);
    if (application != nullptr && SUCCEEDED(status)) RegCreateKeyW(HKEY_CURRENT_USER, path, &key.handle_);
    return key;
  }
  ~Key() {
    if (handle_ != nullptr) RegCloseKey(handle_);
  }
  Key(Key&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  Key& operator=(Key&&) = delete;

  bool isOpen() const { return handle_ != nullptr; }

  // A text of fewer than `capacity` characters; in the store it need not have its terminator.
  bool readText(const WCHAR* name, WCHAR* text, uint32_t capacity) const {
    DWORD type = REG_NONE;
    DWORD bytes = static_cast<DWORD>(std::min<uint64_t>(uint64_t{capacity} * sizeof(WCHAR), UINT32_MAX - 1));
    if (handle_ == nullptr || RegQueryValueExW(handle_, name, nullptr, &type, reinterpret_cast<BYTE*>(text),
                                               &bytes) != ERROR_SUCCESS) {
      return false;
    }
    uint32_t length = bytes / sizeof(WCHAR);
    if (length != 0 && text[length - 1] == 0) --length;
    if (type != REG_SZ || length >= capacity) return false;
    text[length] = 0;
    return true;
  }
  bool write(const WCHAR* name, DWORD type, const void* data, uint64_t bytes) const {
    return handle_ != nullptr && bytes <= UINT32_MAX &&
           RegSetValueExW(handle_, name, 0, type, static_cast<const BYTE*>(data),
                          static_cast<DWORD>(bytes)) == ERROR_SUCCESS;
  }

 private:
  struct Path {
    WCHAR text[kPathCapacity];
  };
  Key() = default;
  static Path sharedPath() {
    Path path;
    QvCchPrintF(path.text, kPathCapacity, nullptr, TEXT("%s\\%s"), TEXT("Software\\Halden Media Works"),
                TEXT("Shared Information"));
    return path;
  }

  HKEY handle_ = nullptr;
};

uint64_t bytesOf(const WCHAR* text) {
  return static_cast<uint64_t>(lstrlenW(text)) * sizeof(WCHAR);
}

// Whole or not at all.
bool giveText(WCHAR* buffer, uint32_t capacity, std::basic_string_view<WCHAR> text) {
  const bool fits = text.size() < capacity;
  if (fits) text.copy(buffer, text.size());
  buffer[fits ? text.size() : 0] = 0;
  return fits;
}

HRESULT giveSpecialFolder(WCHAR* buffer, uint32_t capacity, int32_t folder, const WCHAR* tail) {
  WCHAR path[kPathCapacity] = {};
  const HRESULT status = SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path);
  if (FAILED(status)) return status;
  if (!PathAppendW(path, tail) || QvCreateDirectory(path, nullptr) == 0) return kGeneralFailure;
  return giveText(buffer, capacity, path) ? kOk : kGeneralFailure;
}

// Whether a special folder can be asked for; if there is a buffer at all, it is cleared.
bool startSpecialFolder(WCHAR* buffer, uint32_t capacity, const WCHAR* subfolder) {
  if (buffer == nullptr || capacity == 0) return false;
  *buffer = 0;
  return capacity >= kPathCapacity && subfolder != nullptr;
}

constexpr int32_t kFolderFlags = 0xff00;
constexpr int32_t kVisibleFolders[] = {5, 12, 16, 25, 40, 46, 53, 54, 55};

}  // namespace

HRESULT QvGetSharedInformationFolder(WCHAR* buffer, uint32_t capacity, const WCHAR* name) {
  if (buffer == nullptr || capacity == 0 || name == nullptr) return kInvalidArgument;
  *buffer = 0;
  WCHAR text[kPathCapacity + 1];  // room for a backslash
  if (!Key::openShared().readText(name, text, kPathCapacity) || *text == 0) return kGeneralFailure;
  const int32_t length = lstrlenW(text);
  if (text[length - 1] != '\\') text[length] = '\\', text[length + 1] = 0;
  return giveText(buffer, capacity, text) ? kOk : kGeneralFailure;
}

HRESULT QvGetSharedComponentsFolder(WCHAR* buffer, uint32_t capacity) {
  return QvGetSharedInformationFolder(buffer, capacity, kComponentsValue);
}

HRESULT QvGetSpecialHaldenFolder(WCHAR* buffer, uint32_t capacity, uint32_t index) {
  const ContentFolder& content = contentFolder(index);
  if (QvGetSharedInformationFolder(buffer, capacity, content.value) == kOk) return kOk;
  if (const HRESULT status = QvGetSharedComponentsFolder(buffer, capacity); FAILED(status)) return status;
  WCHAR path[2 * kPathCapacity];
  const HRESULT status = content.value == nullptr ? kInvalidArgument
                                                  : QvCchPrintF(path, 2 * kPathCapacity, nullptr,
                                                                TEXT("%s%s\\"), buffer, content.defaultName);
  *buffer = 0;
  if (FAILED(status)) return status;
  return giveText(buffer, capacity, path) ? kOk : kGeneralFailure;
}

HRESULT QvGetSpecialHaldenDefaultFolderName(WCHAR* buffer, uint32_t capacity, uint32_t index) {
  if (buffer == nullptr || capacity == 0) return kInvalidArgument;
  *buffer = 0;
  const WCHAR* name = contentFolder(index).defaultName;
  return name != nullptr && giveText(buffer, capacity, name) ? kOk : kInvalidArgument;
}

HRESULT QvSetSpecialHaldenFolder(const WCHAR* path, uint32_t index) {
  return QvSetSharedInformationValue(path, contentFolder(index).value);
}

HRESULT QvSetSharedInformationValue(const WCHAR* text, const WCHAR* name) {
  if (text == nullptr || name == nullptr) return kInvalidArgument;
  const bool written = Key::createShared().write(name, REG_SZ, text, bytesOf(text) + sizeof(WCHAR));
  return written ? kOk : kCannotWriteShared;
}

HRESULT QvGetSpecialFolderVer(WCHAR* buffer, uint32_t capacity, int32_t folder, const WCHAR* subfolder,
                              int32_t major, int32_t minor) {
  if (!startSpecialFolder(buffer, capacity, subfolder)) return kInvalidArgument;
  WCHAR tail[kPathCapacity];
  const HRESULT status =
      QvCchPrintF(tail, kPathCapacity, nullptr, TEXT("%s\\%d.%d\\"), subfolder, major, minor);
  return FAILED(status) ? kGeneralFailure : giveSpecialFolder(buffer, capacity, folder, tail);
}

HRESULT QvGetSpecialFolderNoVer(WCHAR* buffer, uint32_t capacity, int32_t folder, const WCHAR* subfolder) {
  if (!startSpecialFolder(buffer, capacity, subfolder)) return kInvalidArgument;
  WCHAR tail[kPathCapacity];
  const HRESULT status = QvCchPrintF(tail, kPathCapacity, nullptr, TEXT("%s\\"), subfolder);
  return FAILED(status) ? kGeneralFailure : giveSpecialFolder(buffer, capacity, folder, tail);
}

int32_t QvIsHiddenFolderByDefault(int32_t folder) {
  const auto end = std::end(kVisibleFolders);
  return std::find(std::begin(kVisibleFolders), end, folder & ~kFolderFlags) == end ? 1 : 0;
}

HRESULT QvGetPresetFolder(WCHAR* buffer, uint32_t capacity, uint32_t version, const WCHAR* application) {
  if (buffer == nullptr || capacity == 0) return kOk;
  if (Key::createPresets(version, application).readText(kPresetValue, buffer, capacity)) return kOk;
  *buffer = 0;
  WCHAR path[kPathCapacity] = {};
  SHGetSpecialFolderPathW(nullptr, path, CSIDL_PERSONAL, TRUE);
  giveText(buffer, capacity, path);
  return kOk;
}

HRESULT QvSetPresetFolder(const WCHAR* path, uint32_t version, const WCHAR* application) {
  const Key key = Key::createPresets(version, application);
  if (!key.isOpen()) return kNothing;
  return path != nullptr && key.write(kPresetValue, REG_SZ, path, bytesOf(path)) ? kOk : kGeneralFailure;
}

uint32_t QvGetLocale() {
  return 0;
}

HRESULT QvSetLocale(uint32_t locale) {
  return Key::createShared().write(TEXT("Locale"), REG_DWORD, &locale, sizeof(locale)) ? kOk
                                                                                       : kGeneralFailure;
}
