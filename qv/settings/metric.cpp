#include "qv/settings/metric.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/text.h"

namespace {

using namespace qv;

constexpr uint32_t kPathCapacity = 260;
constexpr uint32_t kNameCapacity = 16;
constexpr uint64_t kLongestStream = 2048;
constexpr HRESULT kBufferTooSmall = static_cast<HRESULT>(0x8004e03cu);
constexpr const WCHAR* kVendor = TEXT("Halden Media Works");
constexpr const WCHAR* kMetrics = TEXT("\\Metrics");

std::atomic<HQVMETRIC> defaultMetric{nullptr};

// ---- names ----------------------------------------------------------------------------------------------

struct Kind {
  int32_t metricType;
  DWORD registryType;
  const WCHAR* name;
  const WCHAR* shownName;
};

constexpr Kind kKinds[] = {
    {kMetricString, REG_SZ, TEXT("S%d"), TEXT("S%d")},
    {kMetricBinary, REG_BINARY, TEXT("B%d"), TEXT("B%d")},
    {kMetricNumber, REG_DWORD, TEXT("%d"), TEXT("D%d")},
};
constexpr Kind kManyTexts = {kMetricMultiString, REG_MULTI_SZ, TEXT("Z%d"), TEXT("Z%d")};

const Kind& kindOf(int32_t type) {
  const auto found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                  [type](const Kind& kind) { return kind.metricType == type; });
  return found == std::end(kKinds) ? kManyTexts : *found;
}

int32_t printName(const WCHAR* format, int32_t number, WCHAR* text) {
  // The least number has no absolute value: it keeps its sign.
  const uint32_t magnitude = number < 0 ? 0u - static_cast<uint32_t>(number) : static_cast<uint32_t>(number);
  uint32_t length = 0;
  QvCchPrintF(text, kNameCapacity, &length, format, static_cast<int32_t>(magnitude));
  return static_cast<int32_t>(length);
}

struct ValueName {
  WCHAR text[kNameCapacity];
  ValueName(int32_t number, int32_t type) { printName(kindOf(type).name, number, text); }
};

// ---- handles --------------------------------------------------------------------------------------------

// The key behind a handle that may be the default one; null when there is none.
HKEY keyOf(HQVMETRIC metrics) {
  if (metrics == QVMETRIC_DEFAULT) metrics = defaultMetric.load(std::memory_order_acquire);
  return metrics == nullptr ? nullptr : metrics->key;
}

// Large values go to a handle that the caller named, never to the default one.
HKEY namedKeyOf(HQVMETRIC metrics) {
  return metrics == QVMETRIC_DEFAULT ? nullptr : keyOf(metrics);
}

// ---- values ---------------------------------------------------------------------------------------------

// A value as it was read: nothing of it is set when there is none.
struct Value {
  LSTATUS status;
  DWORD type = REG_NONE;
  DWORD bytes = 0;

  Value(HKEY key, const WCHAR* name, void* buffer, DWORD size) : status(ERROR_INVALID_HANDLE) {
    if (key == nullptr) return;
    bytes = size;
    status = RegQueryValueExW(key, name, nullptr, &type, static_cast<BYTE*>(buffer), &bytes);
    if (status == ERROR_SUCCESS || isLarger()) return;
    type = REG_NONE;
    bytes = 0;
  }
  bool isLarger() const { return status == static_cast<LSTATUS>(ERROR_MORE_DATA); }
  bool is(DWORD wanted) const { return status == ERROR_SUCCESS && type == wanted; }
};

LSTATUS writeValue(HKEY key, const WCHAR* name, DWORD type, const void* data, uint64_t bytes) {
  if (key == nullptr || bytes > UINT32_MAX || (data == nullptr && bytes != 0)) return ERROR_INVALID_PARAMETER;
  return RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
}

HRESULT writeMetric(HKEY key, int32_t number, int32_t type, const void* data, uint64_t bytes) {
  const LSTATUS status =
      writeValue(key, ValueName(number, type).text, kindOf(type).registryType, data, bytes);
  return status == ERROR_SUCCESS ? kOk : kGeneralFailure;
}

bool readNumber(HKEY key, const WCHAR* name, int32_t& number) {
  int32_t stored = 0;
  const Value value(key, name, &stored, sizeof(stored));
  if (!value.is(REG_DWORD) || value.bytes != sizeof(stored)) return false;
  number = stored;
  return true;
}

bool readNumber(HKEY key, int32_t metric, int32_t& number) {
  return readNumber(key, ValueName(metric, kMetricNumber).text, number);
}

void clearFrom(void* buffer, uint64_t from, uint64_t size) {
  if (buffer != nullptr && from < size) memset(static_cast<BYTE*>(buffer) + from, 0, size - from);
}

// ---- paths ----------------------------------------------------------------------------------------------

struct Path {
  WCHAR text[kPathCapacity] = {};
  // A path that was cut would lead to another key: then it is empty, and leads to none.
  bool whole = false;
};

bool isEmpty(const WCHAR* text) {
  return text == nullptr || *text == 0;
}

// The application's key, with `tail` behind it. Without a name it would be the key of all its neighbours.
Path applicationPath(const WCHAR* application, uint32_t version, const WCHAR* vendor, const WCHAR* tail) {
  Path path;
  if (isEmpty(application) || isEmpty(vendor)) return path;
  const HRESULT status =
      version >> 16 > 255 ? QvCchPrintF(path.text, kPathCapacity, nullptr, TEXT("Software\\%s\\%s\\%d.%d%s"),
                                        vendor, application, version >> 24, version >> 16 & 0xff, tail)
                          : QvCchPrintF(path.text, kPathCapacity, nullptr, TEXT("Software\\%s\\%s%s"), vendor,
                                        application, tail);
  path.whole = SUCCEEDED(status);
  if (!path.whole) path = {};
  return path;
}

Path joined(const WCHAR* path, const WCHAR* subKey) {
  Path result;
  const WCHAR* format = isEmpty(subKey) ? TEXT("%s%s") : TEXT("%s\\%s");
  result.whole = !isEmpty(path) && SUCCEEDED(QvCchPrintF(result.text, kPathCapacity, nullptr, format, path,
                                                         isEmpty(subKey) ? TEXT("") : subKey));
  if (!result.whole) result = {};
  return result;
}

HRESULT openKey(HQVMETRIC metrics, const Path& path) {
  if (!path.whole) return HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
  memcpy(metrics->keyPath, path.text, sizeof(path.text));
  return HRESULT_FROM_WIN32(static_cast<DWORD>(RegCreateKeyW(HKEY_CURRENT_USER, path.text, &metrics->key)));
}

void closeKeys(HQVMETRIC metrics) {
  if (metrics->key != nullptr) RegCloseKey(metrics->key);
  if (metrics->secondKey != nullptr) RegCloseKey(metrics->secondKey);
}

HRESULT deletePath(const Path& path, std::initializer_list<HKEY> hives) {
  for (const HKEY hive : hives) {
    if (path.whole) QvRegDeleteKey(hive, path.text);
  }
  return kOk;
}

// ---- texts ----------------------------------------------------------------------------------------------

// A text that fills the buffer ends in it, whatever was stored.
void closeText(WCHAR* buffer, uint32_t capacity, DWORD bytes, uint32_t terminators) {
  if (bytes + 1 < uint64_t{capacity} * sizeof(WCHAR)) return;
  for (uint32_t i = 1; i <= std::min(terminators, capacity); ++i) buffer[capacity - i] = 0;
}

uint32_t copyText(WCHAR* buffer, uint32_t capacity, const WCHAR* text) {
  if (text == nullptr) return 0;
  const auto length = std::min(static_cast<uint32_t>(lstrlenW(text)), capacity - 1);
  memcpy(buffer, text, length * sizeof(WCHAR));
  buffer[length] = 0;
  return length;
}

uint32_t readText(HQVMETRIC metrics, int32_t number, int32_t type, WCHAR* buffer, uint32_t capacity,
                  const WCHAR* otherwise, int32_t keepEmpty) {
  if (buffer == nullptr || capacity == 0) return 0;
  const uint64_t size = std::min<uint64_t>(uint64_t{capacity} * sizeof(WCHAR), UINT32_MAX - 1);
  const Value value(keyOf(metrics), ValueName(number, type).text, buffer, static_cast<DWORD>(size));
  const DWORD bytes = value.is(kindOf(type).registryType) ? value.bytes : 0;
  clearFrom(buffer, bytes, size);
  closeText(buffer, static_cast<uint32_t>(size / sizeof(WCHAR)), bytes, type == kMetricString ? 1 : 2);
  if (bytes > sizeof(WCHAR)) return bytes / sizeof(WCHAR) - 1;
  buffer[0] = 0;
  return bytes != 0 && keepEmpty != 0 ? 0 : copyText(buffer, capacity, otherwise);
}

// What was read as text of any type gets a terminator, if need be in the place of its last character.
HRESULT terminate(BYTE* buffer, uint32_t size, DWORD bytes, uint32_t* sizeOut) {
  constexpr uint32_t kUnit = sizeof(WCHAR);
  const uint32_t used = std::min<uint32_t>(bytes, size);
  if (uint64_t{used} + kUnit <= size) {
    memset(buffer + used, 0, kUnit);
    return kOk;
  }
  WCHAR last = 0;
  if (used > kUnit) memcpy(&last, buffer + used - kUnit, kUnit);
  if (last == 0) return kOk;
  memset(buffer + used - kUnit, 0, kUnit);
  if (sizeOut != nullptr) *sizeOut += kUnit;
  return kBufferTooSmall;
}

// ---- streams --------------------------------------------------------------------------------------------

HRESULT writeAll(IStream* stream, const void* data, uint32_t size) {
  ULONG written = 0;
  if (FAILED(stream->Seek({}, STREAM_SEEK_SET, nullptr))) return kUnexpected;
  const HRESULT status = stream->Write(data, size, &written);
  return SUCCEEDED(status) && written == size ? kOk : kUnexpected;
}

// The stream may say more than the block behind it has.
HRESULT writeBlock(HQVMETRIC metrics, int32_t number, HGLOBAL block, uint64_t size) {
  if (GlobalSize(block) < size) return kUnexpected;
  const void* data = GlobalLock(block);
  if (data == nullptr) return kUnexpected;
  const HRESULT status = QvSetMetricBinary(metrics, number, data, static_cast<uint32_t>(size));
  GlobalUnlock(block);
  return status;
}

}  // namespace

HQVMETRIC qv::setDefaultMetric(HQVMETRIC metrics) {
  return defaultMetric.exchange(metrics, std::memory_order_acq_rel);
}

HRESULT QvMetric_Open(HQVMETRIC* metrics, const WCHAR* application, uint32_t version, const WCHAR* subKey) {
  return QvMetric_OpenRegHiveAndVersion(metrics, application, version, kVendor, subKey);
}

HRESULT QvMetric_OpenRegHiveAndVersion(HQVMETRIC* metrics, const WCHAR* application, uint32_t version,
                                       const WCHAR* vendor, const WCHAR* subKey) {
  return QvMetric_OpenAppVersion(metrics, applicationPath(application, version, vendor, kMetrics).text,
                                 subKey);
}

HRESULT QvMetric_OpenAppVersion(HQVMETRIC* metrics, const WCHAR* keyPath, const WCHAR* subKey) {
  if (metrics == nullptr) return kNullPointer;
  *metrics = static_cast<HQVMETRIC>(platform::globalAlloc(GMEM_FIXED | GMEM_ZEROINIT, sizeof(QVMETRIC)));
  return *metrics == nullptr ? kOutOfMemory : openKey(*metrics, joined(keyPath, subKey));
}

HRESULT QvMetric_OpenSubKey(HQVMETRIC* metrics, HQVMETRIC parent, const WCHAR* subKey) {
  if (metrics == nullptr) return kNullPointer;
  *metrics = nullptr;
  if (parent == nullptr || parent == QVMETRIC_DEFAULT) return kGeneralFailure;
  WCHAR path[kPathCapacity];
  memcpy(path, parent->keyPath, sizeof(path));
  WCHAR* end = wcsstr(path, kMetrics);
  if (end == nullptr) return kGeneralFailure;
  end[lstrlenW(kMetrics)] = 0;
  return QvMetric_OpenAppVersion(metrics, path, subKey);
}

HRESULT QvMetric_Close(HQVMETRIC metrics) {
  if (metrics == nullptr || metrics == QVMETRIC_DEFAULT) return kOk;
  closeKeys(metrics);
  GlobalFree(metrics);
  return kOk;
}

HRESULT QvMetric_CloseAndDeleteKey(HQVMETRIC metrics) {
  if (metrics == nullptr || metrics == QVMETRIC_DEFAULT) return kGeneralFailure;
  closeKeys(metrics);
  const int32_t deleted = QvRegDeleteKey(HKEY_CURRENT_USER, metrics->keyPath);
  GlobalFree(metrics);
  return deleted != 0 ? kOk : kGeneralFailure;
}

HRESULT QvMetric_DeleteAll(const WCHAR* application, uint32_t version) {
  return QvMetric_DeleteAllHiveAndVersion(application, version, kVendor);
}

HRESULT QvMetric_DeleteAllHiveAndVersion(const WCHAR* application, uint32_t version, const WCHAR* vendor) {
  return deletePath(applicationPath(application, version, vendor, TEXT("")),
                    {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER});
}

HRESULT QvMetric_DeleteUserMetrics(const WCHAR* application, uint32_t version) {
  return deletePath(applicationPath(application, version, kVendor, TEXT("")), {HKEY_CURRENT_USER});
}

HRESULT QvMetric_DeleteKey(const WCHAR* application, uint32_t version, const WCHAR* subKey) {
  return QvMetric_DeleteKeyHiveAndVersion(application, version, kVendor, subKey);
}

HRESULT QvMetric_DeleteKeyHiveAndVersion(const WCHAR* application, uint32_t version, const WCHAR* vendor,
                                         const WCHAR* subKey) {
  return deletePath(joined(applicationPath(application, version, vendor, kMetrics).text, subKey),
                    {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER});
}

int32_t QvRegDeleteKey(HKEY root, const WCHAR* path) {
  if (isEmpty(path)) return 0;
  if (RegDeleteKeyW(root, path) == ERROR_SUCCESS) return 1;
  HKEY key = nullptr;
  const LSTATUS opened = RegOpenKeyExW(root, path, 0, KEY_READ, &key);
  if (opened != ERROR_SUCCESS) return opened == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ? 1 : 0;
  WCHAR child[kPathCapacity];
  DWORD length = kPathCapacity;
  // Always the first: the list shrinks with each.
  while (RegEnumKeyExW(key, 0, child, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
         QvRegDeleteKey(key, child) != 0) {
    length = kPathCapacity;
  }
  RegCloseKey(key);
  return RegDeleteKeyW(root, path) == ERROR_SUCCESS ? 1 : 0;
}

int32_t QvGetMetric(HQVMETRIC metrics, int32_t number) {
  int32_t value = 0;
  readNumber(keyOf(metrics), number, value);
  return value;
}

int32_t QvGetMetricEx(HQVMETRIC metrics, int32_t number, int32_t minimum, int32_t maximum,
                      int32_t otherwise) {
  int32_t value = otherwise;
  const HKEY key = keyOf(metrics);
  if (key == nullptr) return otherwise;
  readNumber(key, number, value);
  if (minimum == maximum) return value;
  return value < minimum ? minimum : value > maximum ? maximum : value;
}

int32_t QvGetMetricBool(HQVMETRIC metrics, int32_t number, int32_t otherwise) {
  int32_t value = otherwise;
  const HKEY key = keyOf(metrics);
  if (key == nullptr) return otherwise;
  readNumber(key, number, value);
  return value != 0 ? 1 : 0;
}

HRESULT QvSetMetric(HQVMETRIC metrics, int32_t number, int32_t value) {
  return writeMetric(keyOf(metrics), number, kMetricNumber, &value, sizeof(value));
}

int32_t QvGetMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t otherwise) {
  int32_t value = otherwise;
  readNumber(keyOf(metrics), name, value);
  return value;
}

HRESULT QvSetMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t value) {
  const HKEY key = keyOf(metrics);
  if (key == nullptr) return kGeneralFailure;
  return HRESULT_FROM_WIN32(static_cast<DWORD>(writeValue(key, name, REG_DWORD, &value, sizeof(value))));
}

uint32_t QvGetMetricBinary(HQVMETRIC metrics, int32_t number, void* buffer, uint32_t size) {
  if (buffer == nullptr) return 0;
  const Value value(keyOf(metrics), ValueName(number, kMetricBinary).text, buffer, size);
  const DWORD bytes = value.is(REG_BINARY) ? value.bytes : 0;
  clearFrom(buffer, bytes, size);
  return bytes;
}

HRESULT QvGetMetricBinaryEx(HQVMETRIC metrics, int32_t number, void* buffer, uint32_t size,
                            uint32_t* sizeOut) {
  if (sizeOut == nullptr) return kInvalidArgument;
  const HKEY key = keyOf(metrics);
  const Value value(key, ValueName(number, kMetricBinary).text, buffer, size);
  const bool found = value.is(REG_BINARY);
  clearFrom(buffer, found ? value.bytes : 0, size);
  *sizeOut = found || value.isLarger() ? value.bytes : 0;
  if (key == nullptr) return kNotFound;
  return found ? kOk : value.isLarger() ? kBufferTooSmall : kNothing;
}

HRESULT QvSetMetricBinary(HQVMETRIC metrics, int32_t number, const void* data, uint32_t size) {
  return writeMetric(namedKeyOf(metrics), number, kMetricBinary, data, size);
}

HRESULT QvGetMetricStream(HQVMETRIC metrics, int32_t number, IStream* stream) {
  if (stream == nullptr) return kNullPointer;
  uint32_t size = 0;
  QvGetMetricBinaryEx(metrics, number, nullptr, 0, &size);
  if (size == 0) return kUnexpected;
  void* block = platform::globalAlloc(GMEM_FIXED | GMEM_ZEROINIT, size);
  if (block == nullptr) return kOutOfMemory;
  // Another process may have written in between.
  const bool whole = QvGetMetricBinary(metrics, number, block, size) == size;
  const HRESULT status = whole ? writeAll(stream, block, size) : kUnexpected;
  GlobalFree(block);
  return status;
}

HRESULT QvSetMetricStream(HQVMETRIC metrics, int32_t number, IStream* stream) {
  if (stream == nullptr) return kNullPointer;
  if (namedKeyOf(metrics) == nullptr) return kGeneralFailure;
  ULARGE_INTEGER position = {};
  if (FAILED(stream->Seek({}, STREAM_SEEK_CUR, &position)) || position.QuadPart == 0) return kUnexpected;
  if (position.QuadPart > kLongestStream) return kInvalidArgument;
  HGLOBAL block = nullptr;
  const HRESULT status = GetHGlobalFromStream(stream, &block);
  return FAILED(status) ? status : writeBlock(metrics, number, block, position.QuadPart);
}

uint32_t QvGetMetricStringEx(HQVMETRIC metrics, int32_t number, WCHAR* buffer, uint32_t capacity,
                             const WCHAR* otherwise, int32_t keepEmpty) {
  return readText(metrics, number, kMetricString, buffer, capacity, otherwise, keepEmpty);
}

uint32_t QvGetMetricMultiStringEx(HQVMETRIC metrics, int32_t number, WCHAR* buffer, uint32_t capacity,
                                  const WCHAR* otherwise, int32_t keepEmpty) {
  return readText(metrics, number, kMetricMultiString, buffer, capacity, otherwise, keepEmpty);
}

HRESULT QvSetMetricString(HQVMETRIC metrics, int32_t number, const WCHAR* text) {
  if (text == nullptr) return kGeneralFailure;
  const uint64_t units = static_cast<uint64_t>(lstrlenW(text)) + 1;
  return writeMetric(namedKeyOf(metrics), number, kMetricString, text, units * sizeof(WCHAR));
}

HRESULT QvSetMetricMultiString(HQVMETRIC metrics, int32_t number, const WCHAR* data, uint32_t size) {
  return writeMetric(namedKeyOf(metrics), number, kMetricMultiString, data, uint64_t{size} * sizeof(WCHAR));
}

HRESULT QvGetMetricAny(HQVMETRIC metrics, int32_t number, int32_t type, void* buffer, uint32_t size,
                       uint32_t* sizeOut) {
  const HKEY key = keyOf(metrics);
  if (key == nullptr) return kUnexpected;
  const Value value(key, ValueName(number, kMetricNumber).text, buffer, size);
  const bool expected = value.is(static_cast<DWORD>(type));
  if (sizeOut != nullptr && !expected) *sizeOut = value.bytes;
  if (value.isLarger()) return kBufferTooSmall;
  if (expected) return kNotFound;
  if (value.type != REG_SZ || buffer == nullptr) return kOk;
  return terminate(static_cast<BYTE*>(buffer), size, value.bytes, sizeOut);
}

int32_t QvDoesMetricExist(HQVMETRIC metrics, int32_t number, int32_t type) {
  BYTE first = 0;
  const Value value(keyOf(metrics), ValueName(number, type).text, &first, sizeof(first));
  const bool there = value.status == ERROR_SUCCESS || value.isLarger();
  return there && value.type == kindOf(type).registryType ? 0 : 1;
}

HRESULT QvDeleteMetric(HQVMETRIC metrics, int32_t number, int32_t type) {
  return QvDeleteMetricUsingName(metrics, ValueName(number, type).text, type);
}

HRESULT QvDeleteMetricUsingName(HQVMETRIC metrics, const WCHAR* name, int32_t) {
  const HKEY key = keyOf(metrics);
  if (key == nullptr) return kNothing;
  return RegDeleteValueW(key, name) == ERROR_SUCCESS ? kOk : kGeneralFailure;
}

int32_t QvMetricGetName(int32_t number, int32_t type, WCHAR* text) {
  return text == nullptr ? 0 : printName(kindOf(type).shownName, number, text);
}
