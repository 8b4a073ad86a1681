// New folders and files, and names for them.
#include "qv/core/printf.h"
#include "qv/files/detail/tree_path.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/frame/win32error.h"

namespace qv::files {
namespace {

constexpr int32_t kNumberCapacity = 40;

// Makes one folder, or finds it: somebody else may be making it at the same time.
bool makeFolder(const WCHAR* path, SECURITY_ATTRIBUTES* security) {
  return isFolderAt(path) || CreateDirectoryW(path, security) || isFolderAt(path);
}

// ---- Numbered names

struct NameParts {
  View folder, prefix, suffix;
  bool slash;  // between the folder and the rest
};

bool writeName(const NameParts& parts, View number, WCHAR* buffer, int32_t capacity) {
  const size_t length =
      parts.folder.size() + parts.slash + parts.prefix.size() + number.size() + parts.suffix.size();
  if (length >= static_cast<size_t>(capacity)) return false;
  WCHAR* end = buffer;
  for (const View part : {parts.folder, View(TEXT("\\"), parts.slash), parts.prefix, number, parts.suffix})
    end += part.copy(end, part.size());
  *end = 0;
  return true;
}

View viewOf(const WCHAR* text) {
  return text != nullptr ? View(text) : View();
}

// What came of one number.
enum class Attempt { made, taken, failed };

Attempt tryName(const WCHAR* path, HRESULT* status) {
  const HANDLE file =
      CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    CloseHandle(file);
    return Attempt::made;
  }
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_EXISTS || error == ERROR_SHARING_VIOLATION) return Attempt::taken;
  const HRESULT translated = QvErrorHandler_TranslateWin32Error(error);
  *status = FAILED(translated) ? translated : kGeneralFailure;
  return Attempt::failed;
}

HRESULT makeNumbered(const NameParts& parts, const WCHAR* format, WCHAR* buffer, int32_t capacity) {
  HRESULT status = kGeneralFailure;
  WCHAR number[kNumberCapacity], before[kNumberCapacity] = {};
  for (int32_t n = 1; n < INT32_MAX; ++n) {
    QvCchPrintF(number, kNumberCapacity, nullptr, format, n);
    // A format that doesn't show the number would try one name for ever.
    if (n > 1 && View(number) == before) break;
    if (!writeName(parts, number, buffer, capacity)) break;
    const Attempt attempt = tryName(buffer, &status);
    if (attempt == Attempt::made) return kOk;
    if (attempt == Attempt::failed) break;
    write(number, before, kNumberCapacity);
  }
  buffer[0] = 0;
  return status;
}

}  // namespace
}  // namespace qv::files

using namespace qv::files;

int32_t QvCreateDirectory(const WCHAR* path, SECURITY_ATTRIBUTES* security) {
  constexpr int32_t kShortestRoot = 3;
  WCHAR part[kPathCapacity];
  const int32_t root = QvGetRootPathFromFilePath(path, part, kPathCapacity);
  if (root < kShortestRoot || root >= kPathCapacity || !isFolderAt(part)) return 0;
  if (View(path + root).find(TEXT("\\\\")) != View::npos || !write(path, part, kPathCapacity)) return 0;
  if (isFolderAt(part)) return 1;  // one look, where the walk takes one for each folder above
  for (WCHAR* at = part + root; *at != 0; ++at) {
    WCHAR* end = at;
    while (*end != 0 && *end != '\\') ++end;
    const WCHAR separator = *end;
    *end = 0;
    if (!makeFolder(part, security)) return 0;
    if (separator == 0) break;
    *end = separator;
    at = end;
  }
  return 1;
}

HRESULT QvCreateTempFileAndNameEx(const WCHAR* folder, const WCHAR* prefix, const WCHAR* suffix,
                                  const WCHAR* format, WCHAR* buffer, int32_t capacity) {
  if (buffer == nullptr || capacity <= 0) return qv::kInvalidArgument;
  buffer[0] = 0;
  if (folder == nullptr && prefix == nullptr && suffix == nullptr) return qv::kInvalidArgument;
  NameParts parts = {viewOf(folder), viewOf(prefix), viewOf(suffix), false};
  parts.slash = !parts.folder.empty() && parts.folder.back() != '\\';
  return makeNumbered(parts, format != nullptr ? format : TEXT("%d"), buffer, capacity);
}

HRESULT QvCreateTempFileAndName(const WCHAR* prefix, const WCHAR* suffix, WCHAR* buffer, int32_t capacity) {
  return QvCreateTempFileAndNameEx(nullptr, prefix, suffix, nullptr, buffer, capacity);
}

HRESULT QvGetUniqueSubFolder(const WCHAR* folder, const WCHAR* name, WCHAR* buffer, int32_t capacity) {
  constexpr uint32_t kTries = 65536;
  if (folder == nullptr || name == nullptr || buffer == nullptr || capacity < kPathCapacity)
    return qv::kInvalidArgument;
  WCHAR start[kPathCapacity];
  buffer[0] = 0;
  if (!write(folder, start, kPathCapacity)) return qv::kGeneralFailure;
  if (start[0] != 0 && QvAddSlashToPathName(start, kPathCapacity) == 0) return qv::kGeneralFailure;
  HRESULT status = QvCchPrintF(buffer, static_cast<uint32_t>(capacity), nullptr, TEXT("%s%s"), start, name);
  for (uint32_t n = 1; !FAILED(status); ++n) {
    if (!isFolderAt(buffer)) return qv::kOk;
    if (n > kTries) break;
    status = QvCchPrintF(buffer, static_cast<uint32_t>(capacity), nullptr, TEXT("%s%s%lu"), start, name, n);
  }
  buffer[0] = 0;
  return qv::kGeneralFailure;
}

int32_t QvIsDirectoryWritable(const WCHAR* folder) {
  const PathBlock path = newPath();
  if (!path) return 0;
  const HRESULT status =
      QvCreateTempFileAndNameEx(folder, TEXT("~qv"), nullptr, nullptr, path.get(), kLongestPath);
  return !FAILED(status) && DeleteFileW(path.get()) ? 1 : 0;
}
