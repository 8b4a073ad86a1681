// The user's choice of language among the settings, and the languages that a module speaks.
#include "qv/core/printf.h"
#include "qv/lang/detail/handle.h"
#include "qv/platform/registry.h"
#include "qv/platform/resources.h"

namespace {

constexpr int32_t kPathCapacity = 260;
constexpr int32_t kAbbreviationCapacity = 10;
constexpr const WCHAR* kVendor = TEXT("Halden Media Works");
constexpr const WCHAR* kValueName = TEXT("ULangID");

bool keyPath(WCHAR* path, const WCHAR* vendor, const WCHAR* application, uint32_t version) {
  const uint32_t major = version >> 24;
  const uint32_t minor = version >> 16 & 0xff;
  const HRESULT status =
      major == 0 ? QvCchPrintF(path, kPathCapacity, nullptr, TEXT("Software\\%s\\%s\\Lang"), vendor, application)
                 : QvCchPrintF(path, kPathCapacity, nullptr, TEXT("Software\\%s\\%s\\%d.%d\\Lang"), vendor, application,
                               major, minor);
  return SUCCEEDED(status);
}

bool readLcid(HKEY hive, const WCHAR* path, LCID* lcid) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(hive, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  DWORD value = 0;
  DWORD size = sizeof(value);
  const auto status =
      RegQueryValueExW(key, kValueName, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return false;
  *lcid = value;
  return true;
}

struct LanguageNames {
  WCHAR text[kPathCapacity];
};

BOOL CALLBACK addLanguage(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR parameter) {
  auto& names = *reinterpret_cast<LanguageNames*>(parameter);
  WCHAR name[kAbbreviationCapacity] = {};
  GetLocaleInfoW(language, LOCALE_SABBREVLANGNAME, name, kAbbreviationCapacity);
  LanguageNames before = names;
  QvCchPrintF(names.text, kPathCapacity, nullptr, before.text[0] == 0 ? TEXT("%s%s") : TEXT("%s,%s"), before.text, name);
  return TRUE;
}

}  // namespace

int32_t QvLang_LoadUserLCIDMetricAppReg(const WCHAR* application, uint32_t version, LCID* lcid,
                                        const WCHAR* vendor) {
  WCHAR path[kPathCapacity];
  if (!keyPath(path, vendor, application, version)) return 0;
  return readLcid(HKEY_CURRENT_USER, path, lcid) || readLcid(HKEY_LOCAL_MACHINE, path, lcid) ? 1 : 0;
}

int32_t QvLang_LoadUserLCIDMetric(const WCHAR* application, uint32_t version, LCID* lcid, int32_t ignoreVersion) {
  return QvLang_LoadUserLCIDMetricAppReg(application, ignoreVersion != 0 ? 0 : version, lcid, kVendor);
}

int32_t QvLang_SaveUserLCIDMetricAppReg(const WCHAR* application, uint32_t version, uint16_t lcid,
                                        const WCHAR* vendor) {
  WCHAR path[kPathCapacity];
  HKEY key = nullptr;
  if (!keyPath(path, vendor, application, version)) return 0;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr) != ERROR_SUCCESS) {
    return 0;
  }
  const DWORD value = lcid;
  const auto status = RegSetValueExW(key, kValueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  RegCloseKey(key);
  return status == ERROR_SUCCESS ? 1 : 0;
}

int32_t QvLang_SaveUserLCIDMetric(const WCHAR* application, uint32_t version, uint16_t lcid, int32_t ignoreVersion) {
  return QvLang_SaveUserLCIDMetricAppReg(application, ignoreVersion != 0 ? 0 : version, lcid, kVendor);
}

int32_t QvEnumResourceLanguages(HQVLANG language, uint32_t number, WCHAR* text, int32_t capacity) {
  if (text == nullptr || capacity < 1) return 0;
  text[0] = 0;
  if (language == nullptr || language->languageInstance == nullptr || language->languageActive == 0) return 0;
  LanguageNames names = {};
  EnumResourceLanguagesW(language->languageInstance, RT_VERSION, MAKEINTRESOURCEW(number), addLanguage,
                         reinterpret_cast<LONG_PTR>(&names));
  lstrcpynW(text, names.text, capacity);
  return lstrlenW(text);
}
