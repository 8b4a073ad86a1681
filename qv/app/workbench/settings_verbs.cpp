// setting, settings: an application's metrics, and their copy in a readable file.
#include <algorithm>
#include <cstring>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/settings_file.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
#include "qv/settings/metric.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kPathCapacity = 260;

// ---- setting --------------------------------------------------------------------------------------------

struct Metrics {
  HQVMETRIC handle = nullptr;
  ~Metrics() { QvMetric_Close(handle); }
  HRESULT open(const WString& application, uint32_t version, const WString& subKey) {
    return QvMetric_Open(&handle, application.c_str(), version, subKey.c_str());
  }
};

// What "setting" works on: its words from APP and VERSION to the number and the type.
struct Target {
  const WString& application;
  uint32_t version;
  WString subKey;
  int32_t number;
};

using Words = std::span<const WString>;

HRESULT setNumber(HQVMETRIC metrics, int32_t number, Words words) {
  int64_t value = 0;
  if (words.size() != 1 || !parseInteger(words[0], value) || value < INT32_MIN || value > UINT32_MAX) {
    return kInvalidArgument;
  }
  return QvSetMetric(metrics, number, static_cast<int32_t>(value));
}

HRESULT setText(HQVMETRIC metrics, int32_t number, Words words) {
  return words.size() != 1 ? kInvalidArgument : QvSetMetricString(metrics, number, words[0].c_str());
}

HRESULT setTexts(HQVMETRIC metrics, int32_t number, Words words) {
  for (const WString& word : words) {
    if (word.empty()) return kInvalidArgument;
  }
  const std::string bytes = bytesOfTexts({words.begin(), words.end()});
  return QvSetMetricMultiString(metrics, number, reinterpret_cast<const WCHAR*>(bytes.data()),
                                static_cast<uint32_t>(bytes.size() / sizeof(WCHAR)));
}

HRESULT setBytes(HQVMETRIC metrics, int32_t number, Words words) {
  std::string bytes;
  if (words.size() > 1 || (words.size() == 1 && !parseHex(words[0], bytes))) return kInvalidArgument;
  return QvSetMetricBinary(metrics, number, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

struct MetricType {
  const WCHAR* name;
  int32_t type;
  uint32_t registryType;
  HRESULT (*set)(HQVMETRIC metrics, int32_t number, Words words);
  const WCHAR* usage;
};

constexpr MetricType kMetricTypes[] = {
    {TEXT("number"), kMetricNumber, REG_DWORD, setNumber, TEXT("A number has 32 bits and decimal digits.")},
    {TEXT("text"), kMetricString, REG_SZ, setText, TEXT("A text is one word; quotes hold it together.")},
    {TEXT("texts"), kMetricMultiString, REG_MULTI_SZ, setTexts, TEXT("Texts in a list are not empty.")},
    {TEXT("bytes"), kMetricBinary, REG_BINARY, setBytes,
     TEXT("Bytes are hexadecimal digits, two a byte, without blanks.")},
};

// The bytes of a value, however many. The caller knows the name; for a caller that knows how much it can
// take, QvGetMetricStringEx and its like bring their own default.
bool readValue(HKEY key, StoredValue& value) {
  DWORD size = 0;
  const LSTATUS status = RegQueryValueExW(key, value.name.c_str(), nullptr, nullptr, nullptr, &size);
  value.bytes.resize(size);
  auto* data = reinterpret_cast<BYTE*>(value.bytes.data());
  return status == ERROR_SUCCESS &&
         RegQueryValueExW(key, value.name.c_str(), nullptr, nullptr, data, &size) == ERROR_SUCCESS &&
         size == value.bytes.size();
}

void recordValue(Session& session, const WString& key, const StoredValue& value) {
  session.record({TEXT("setting"), key, value.name, typeOf(value), dataOf(value)});
}

HRESULT getSetting(Session& session, const Target& target, HQVMETRIC metrics, const MetricType& type,
                   Words words) {
  if (!words.empty()) return session.fail(kInvalidArgument, TEXT("There are too many arguments."));
  WCHAR name[16];
  QvMetricGetName(target.number, type.type, name);
  // A number is stored without the letter that it is shown with.
  StoredValue value = {type.type == kMetricNumber ? name + 1 : name, type.registryType, {}};
  if (QvDoesMetricExist(metrics, target.number, type.type) != 0 || !readValue(metrics->key, value)) {
    return session.fail(kNotFound, TEXT("There is no setting of this number and type."));
  }
  recordValue(session, target.subKey, value);
  return kOk;
}

HRESULT setSetting(Session& session, const Target& target, HQVMETRIC metrics, const MetricType& type,
                   Words words) {
  const HRESULT status = type.set(metrics, target.number, words);
  if (status == kInvalidArgument) return session.fail(status, type.usage);
  return FAILED(status) ? session.fail(status, TEXT("The setting could not be written.")) : kOk;
}

HRESULT deleteSetting(Session& session, const Target& target, HQVMETRIC metrics, const MetricType& type,
                      Words) {
  const HRESULT status = QvDeleteMetric(metrics, target.number, type.type);
  return status == kOk ? kOk : session.fail(kNotFound, TEXT("There is no setting of this number and type."));
}

struct Work {
  const WCHAR* name;
  HRESULT(*run)
  (Session& session, const Target& target, HQVMETRIC metrics, const MetricType& type, Words words);
};
constexpr Work kWorks[] = {
    {TEXT("get"), getSetting}, {TEXT("set"), setSetting}, {TEXT("delete"), deleteSetting}};

HRESULT runTyped(Session& session, const Step& step, Target target, HQVMETRIC metrics) {
  int64_t number = 0;
  const auto work = std::find_if(std::begin(kWorks), std::end(kWorks),
                                 [&](const Work& w) { return step.words[3] == w.name; });
  if (work == std::end(kWorks)) {
    return session.fail(kNotFound, TEXT("The work is get, set, delete or list."));
  }
  if (step.words.size() < 6 || !parseInteger(step.words[4], number) || number < INT32_MIN ||
      number > INT32_MAX) {
    return session.fail(kInvalidArgument, TEXT("Behind it stand the setting's number and its type."));
  }
  target.number = static_cast<int32_t>(number);
  for (const MetricType& type : kMetricTypes) {
    if (step.words[5] == type.name)
      return work->run(session, target, metrics, type, Words(step.words).subspan(6));
  }
  return session.fail(kInvalidArgument, TEXT("The type is number, text, texts or bytes."));
}

// ---- all values of a key --------------------------------------------------------------------------------

// The value at an index, with buffers that grow until it fits. False behind the last.
bool readValueAt(HKEY key, DWORD index, StoredValue& value) {
  value.name.resize(16 * 1024);
  value.bytes.resize(std::max<size_t>(value.bytes.size(), 4096));
  while (true) {
    auto length = static_cast<DWORD>(value.name.size());
    auto size = static_cast<DWORD>(value.bytes.size());
    DWORD type = REG_NONE;
    const LSTATUS status = RegEnumValueW(key, index, value.name.data(), &length, nullptr, &type,
                                         reinterpret_cast<BYTE*>(value.bytes.data()), &size);
    if (status == static_cast<LSTATUS>(ERROR_MORE_DATA) && size > value.bytes.size()) {
      value.bytes.resize(size);
      continue;
    }
    if (status != ERROR_SUCCESS) return false;
    value.name.resize(length);
    value.bytes.resize(size);
    value.type = type;
    return true;
  }
}

bool nameBefore(const StoredValue& a, const StoredValue& b) {
  return a.name < b.name;
}

void readKeys(HKEY key, const WString& path, StoredSettings& settings) {
  StoredKey& stored = settings.keys.emplace_back();
  stored.path = path;
  StoredValue value;
  for (DWORD index = 0; readValueAt(key, index, value); ++index) stored.values.push_back(value);
  // The order of the system's own list is no promise.
  std::sort(stored.values.begin(), stored.values.end(), nameBefore);
  for (DWORD index = 0;; ++index) {
    WCHAR name[kPathCapacity];
    DWORD length = kPathCapacity;
    if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return;
    HKEY below = nullptr;
    if (RegOpenKeyExW(key, name, 0, KEY_READ, &below) != ERROR_SUCCESS) continue;
    readKeys(below, path.empty() ? WString(name) : path + TEXT("\\") + name, settings);
    RegCloseKey(below);
  }
}

HRESULT listSettings(Session& session, const WString& subKey, HQVMETRIC metrics) {
  StoredSettings settings;
  readKeys(metrics->key, subKey, settings);
  for (const StoredKey& key : settings.keys) {
    for (const StoredValue& value : key.values) recordValue(session, key.path, value);
  }
  return kOk;
}

HRESULT deleteAll(const Target& target) {
  if (target.subKey.empty()) return QvMetric_DeleteUserMetrics(target.application.c_str(), target.version);
  HQVMETRIC metrics = nullptr;
  QvMetric_Open(&metrics, target.application.c_str(), target.version, target.subKey.c_str());
  return QvMetric_CloseAndDeleteKey(metrics);
}

HRESULT runSetting(Session& session, const Step& step) {
  Target target = {step.words[1], 0, step.optionOr(TEXT("sub"), TEXT("")), 0};
  if (!parseVersion(step.words[2], target.version)) return session.fail(kInvalidArgument, kVersionUsage);
  if (target.application.empty()) return session.fail(kInvalidArgument, TEXT("The application has no name."));
  const bool single = step.words.size() == 4;
  if (step.words[3] == TEXT("delete") && step.words.size() == 5 && step.words[4] == TEXT("all")) {
    const HRESULT status = deleteAll(target);
    return FAILED(status) ? session.fail(status, TEXT("The settings could not be deleted.")) : kOk;
  }
  Metrics metrics;
  if (const HRESULT status = metrics.open(target.application, target.version, target.subKey);
      FAILED(status)) {
    return session.fail(status,
                        TEXT("The settings of ") + target.application + TEXT(" could not be opened."));
  }
  if (step.words[3] == TEXT("list") && single) return listSettings(session, target.subKey, metrics.handle);
  return runTyped(session, step, target, metrics.handle);
}

// ---- settings -------------------------------------------------------------------------------------------

HRESULT exportSettings(Session& session, const Step& step) {
  StoredSettings settings;
  settings.application = step.optionOr(TEXT("app"), TEXT(""));
  if (settings.application.empty()) {
    return session.fail(kInvalidArgument, TEXT("Whose settings? Say app=APPLICATION version=MAJOR.MINOR."));
  }
  if (!parseVersion(step.optionOr(TEXT("version"), TEXT("0")), settings.version)) {
    return session.fail(kInvalidArgument, kVersionUsage);
  }
  Metrics metrics;
  if (const HRESULT status = metrics.open(settings.application, settings.version, WString());
      FAILED(status)) {
    return session.fail(status,
                        TEXT("The settings of ") + settings.application + TEXT(" could not be opened."));
  }
  readKeys(metrics.handle->key, WString(), settings);
  const WString path = session.outputPath(step.words[2]);
  const HRESULT status = writeFile(path, printSettings(settings));
  return FAILED(status) ? session.fail(status, TEXT("The file could not be written: ") + path) : kOk;
}

HRESULT writeKey(HKEY metrics, const StoredKey& stored, int64_t& count) {
  HKEY key = nullptr;
  LSTATUS status =
      RegCreateKeyExW(metrics, stored.path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  for (const StoredValue& value : stored.values) {
    if (status != ERROR_SUCCESS) break;
    status = RegSetValueExW(key, value.name.c_str(), 0, value.type,
                            reinterpret_cast<const BYTE*>(value.bytes.data()),
                            static_cast<DWORD>(value.bytes.size()));
    count += status == ERROR_SUCCESS ? 1 : 0;
  }
  if (key != nullptr) RegCloseKey(key);
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

HRESULT readSettings(Session& session, const Step& step, StoredSettings& settings) {
  const WString path = session.inputPath(step.words[2]);
  std::string text;
  SettingsFault fault;
  if (const HRESULT status = readFile(path, kMaxSettingsBytes, text); FAILED(status)) {
    return session.fail(status, TEXT("The file could not be read: ") + path);
  }
  if (!parseSettings(text, settings, fault)) {
    return session.fail(
        kBadFormat, step.words[2] + TEXT(", line ") + Field(fault.line).text + TEXT(": ") + fault.sentence);
  }
  settings.application = step.optionOr(TEXT("app"), settings.application.c_str());
  const WString* version = step.option(TEXT("version"));
  const bool good = version == nullptr || parseVersion(*version, settings.version);
  return good ? kOk : session.fail(kInvalidArgument, kVersionUsage);
}

HRESULT importSettings(Session& session, const Step& step) {
  StoredSettings settings;
  if (const HRESULT status = readSettings(session, step, settings); FAILED(status)) return status;
  Metrics metrics;
  HRESULT status = metrics.open(settings.application, settings.version, WString());
  int64_t count = 0;
  for (size_t i = 0; i < settings.keys.size() && SUCCEEDED(status); ++i) {
    status = writeKey(metrics.handle->key, settings.keys[i], count);
  }
  session.record({TEXT("settings"), settings.application, count});
  return FAILED(status) ? session.fail(status, TEXT("Not all settings could be written.")) : kOk;
}

HRESULT runSettings(Session& session, const Step& step) {
  if (step.words[1] == TEXT("export")) return exportSettings(session, step);
  if (step.words[1] == TEXT("import")) return importSettings(session, step);
  return session.fail(kNotFound, TEXT("The work is export or import."));
}

constexpr Verb kVerbs[] = {
    {"setting", "APP VERSION get|set|delete NUMBER TYPE [VALUE...] | delete all | list [sub=KEY]", 3, -1,
     "sub", runSetting},
    {"settings", "export|import FILE [app=APP] [version=VERSION]", 2, 2, "app version", runSettings},
};

}  // namespace

std::span<const Verb> settingsVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
