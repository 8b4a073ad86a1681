#include "qv/platform/installer.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>

#include "qv/platform/linux/package_database.h"
#include "qv/platform/linux/utf.h"

namespace {

using namespace qv::platform;

constexpr const char* kDatabase = "/var/lib/dpkg/status";
constexpr size_t kLargestDatabase = 256 << 20;

using Packages = std::vector<InstalledPackage>;
std::mutex lock;
std::shared_ptr<const Packages> known;

std::string fileText(const char* path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = file.is_open() ? static_cast<std::streamoff>(file.tellg()) : 0;
  if (size <= 0 || static_cast<size_t>(size) > kLargestDatabase) return {};
  std::string text(static_cast<size_t>(size), '\0');
  file.seekg(0);
  file.read(text.data(), size);
  text.resize(static_cast<size_t>(file.gcount()));
  return text;
}

// A walk sees one state of the database: it is read anew only when the walk begins.
std::shared_ptr<const Packages> packages(bool anew) {
  const std::lock_guard<std::mutex> hold(lock);
  if (anew || known == nullptr) known = std::make_shared<Packages>(readPackages(fileText(kDatabase)));
  return known;
}

struct PropertyRow {
  std::u16string_view name;
  std::string InstalledPackage::*place;
};
constexpr PropertyRow kProperties[] = {
    {u"Publisher", &InstalledPackage::publisher},
    {u"VersionString", &InstalledPackage::version},
    {u"InstalledProductName", &InstalledPackage::name},
    {u"ProductName", &InstalledPackage::name},
};

const InstalledPackage* find(const Packages& all, LPCWSTR code) {
  const std::string wanted = utf8From(viewOf(code));
  for (const InstalledPackage& each : all) {
    if (each.code == wanted) return &each;
  }
  return nullptr;
}

// As much as fits, terminated, and how much there is.
UINT giveFact(const std::u16string& text, LPWSTR value, DWORD* capacity) {
  const auto length = static_cast<DWORD>(text.size());
  const DWORD room = capacity != nullptr ? *capacity : 0;
  if (capacity != nullptr) *capacity = length;
  if (value == nullptr) return ERROR_SUCCESS;
  if (room != 0) value[text.copy(value, room - 1)] = 0;
  return room > length ? ERROR_SUCCESS : ERROR_MORE_DATA;
}

}  // namespace

UINT MsiEnumProductsW(DWORD index, LPWSTR code) {
  if (code == nullptr) return ERROR_INVALID_PARAMETER;
  const std::shared_ptr<const Packages> all = packages(index == 0);
  if (index >= all->size()) return ERROR_NO_MORE_ITEMS;
  const std::u16string text = utf16From((*all)[index].code);
  code[text.copy(code, text.size())] = 0;
  return ERROR_SUCCESS;
}

UINT MsiGetProductInfoW(LPCWSTR code, LPCWSTR property, LPWSTR value, DWORD* capacity) {
  if (code == nullptr || property == nullptr || (value != nullptr && capacity == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const std::shared_ptr<const Packages> all = packages(false);
  const InstalledPackage* package = find(*all, code);
  if (package == nullptr) return ERROR_UNKNOWN_PRODUCT;
  for (const PropertyRow& row : kProperties) {
    if (row.name == property) return giveFact(utf16From(package->*row.place), value, capacity);
  }
  return ERROR_UNKNOWN_PROPERTY;
}
