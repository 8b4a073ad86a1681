// Full paths, in the long form of their names, and paths relative to a folder.
#include "qv/files/detail/port.h"
#include "qv/files/detail/text.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"

namespace qv::files {
namespace {

uint32_t realModuleFileName(HMODULE module, WCHAR* path, uint32_t capacity) {
  return GetModuleFileNameW(module, path, capacity);
}

uint32_t realLongPathName(const WCHAR* path, WCHAR* longPath, uint32_t capacity) {
  return GetLongPathNameW(path, longPath, capacity);
}

constexpr Port kRealPort = {realModuleFileName, realLongPathName};
Port port = kRealPort;

// The long form in `block`, or the path as it is.
View longForm(const WCHAR* path, const PathBlock& block) {
  const uint32_t length = block ? port.longPathName(path, block.get(), kLongestPath) : 0;
  return length != 0 && length < kLongestPath ? View(block.get(), length) : View(path);
}

// What a system call wrote in a block; false for a failure and for a path that no block holds.
bool took(uint32_t length) {
  return length != 0 && length < kLongestPath;
}

int32_t writeOrNothing(View text, WCHAR* buffer, int32_t capacity) {
  return write(text, buffer, capacity) ? static_cast<int32_t>(text.size()) : 0;
}

// The folder of a path, or all of it.
enum class Part { whole, folder };

int32_t writeModule(HMODULE module, WCHAR* buffer, int32_t capacity, Part part) {
  if (capacity <= 0) return 0;
  buffer[0] = 0;
  const PathBlock given = newPath(), block = newPath();
  if (!given || !took(port.moduleFileName(module, given.get(), kLongestPath))) return 0;
  const View file = longForm(given.get(), block);
  const size_t end = part == Part::whole ? file.size() : file.find_last_of(TEXT("\\:")) + 1;
  return writeOrNothing(file.substr(0, end), buffer, capacity);
}

}  // namespace

Port& filesPort() {
  return port;
}

void resetFilesPort() {
  port = kRealPort;
}

}  // namespace qv::files

using qv::files::View;

int32_t QvGetLongPathName(const WCHAR* path, WCHAR* buffer, int32_t capacity) {
  if (capacity <= 0) return 0;
  const qv::files::PathBlock block = qv::files::newPath();
  View text = qv::files::longForm(path, block);
  if (text.size() >= static_cast<size_t>(capacity)) text = path;
  return static_cast<int32_t>(qv::files::writeCut(text, buffer, capacity) - buffer);
}

int32_t QvGetFullPathName(const WCHAR* path, int32_t capacity, WCHAR* buffer, WCHAR** filePart) {
  if (filePart != nullptr) *filePart = nullptr;
  const qv::files::PathBlock given = qv::files::newPath(), block = qv::files::newPath();
  const bool good =
      given && qv::files::took(GetFullPathNameW(path, qv::files::kLongestPath, given.get(), nullptr));
  const View full = good ? qv::files::longForm(given.get(), block) : View();
  if (!qv::files::write(full, buffer, capacity)) return static_cast<int32_t>(full.size()) + (good ? 1 : 0);
  const size_t name = full.find_last_of('\\') + 1;
  if (filePart != nullptr && name < full.size()) *filePart = buffer + name;
  return static_cast<int32_t>(full.size());
}

int32_t QvGetTempPath(int32_t capacity, WCHAR* buffer) {
  if (capacity <= 0) return 0;
  buffer[0] = 0;
  const qv::files::PathBlock given = qv::files::newPath(), block = qv::files::newPath();
  if (!given || !qv::files::took(GetTempPathW(qv::files::kLongestPath, given.get()))) return 0;
  return qv::files::writeOrNothing(qv::files::longForm(given.get(), block), buffer, capacity);
}

int32_t QvGetModulePath(HMODULE module, WCHAR* buffer, int32_t capacity) {
  return qv::files::writeModule(module, buffer, capacity, qv::files::Part::folder);
}

int32_t QvGetModuleFileName(HMODULE module, WCHAR* buffer, int32_t capacity) {
  return qv::files::writeModule(module, buffer, capacity, qv::files::Part::whole);
}

int32_t QvQualifyPath(const WCHAR* path, WCHAR* buffer, int32_t capacity) {
  const int32_t length = QvGetFullPathName(path, capacity, buffer, nullptr);
  return length > 0 && length < capacity ? 1 : 0;
}

const WCHAR* QvGetFileNamePtrRelative(const WCHAR* path, const WCHAR* base) {
  const WCHAR* pathAt = path + wcslen(path);
  const WCHAR* at = base + wcslen(base);
  while (pathAt != path && at != base && qv::files::sameCharacter(pathAt[-1], at[-1])) --pathAt, --at;
  while (*at != 0 && *at != '\\') ++at;
  while (*at == '\\') ++at;
  return at;
}

HRESULT QvGetBasePathRelative(const WCHAR* path, const WCHAR* base, WCHAR* buffer, int32_t capacity) {
  const WCHAR* end = QvGetFileNamePtrRelative(path, base);
  const View cut(base, static_cast<size_t>(end - base));
  if (qv::files::write(cut, buffer, capacity) &&
      (cut.empty() || QvAddSlashToPathName(buffer, capacity) != 0)) {
    return qv::kOk;
  }
  if (capacity > 0) buffer[0] = 0;
  return qv::kGeneralFailure;
}

HRESULT QvReplaceBasePathRelative(const WCHAR* path, const WCHAR* oldBase, const WCHAR* newBase,
                                  WCHAR* buffer, int32_t capacity) {
  constexpr size_t kLongestResult = 260;
  if (capacity <= 0) return qv::kGeneralFailure;
  buffer[0] = 0;
  if (!qv::files::startsInAnyCase(path, oldBase)) return qv::kGeneralFailure;
  const View start = newBase, rest = path + wcslen(oldBase);
  const size_t length = start.size() + rest.size();
  if (length > kLongestResult || length >= static_cast<size_t>(capacity)) return qv::kGeneralFailure;
  qv::files::write(start, buffer, capacity);
  qv::files::write(rest, buffer + start.size(), capacity - static_cast<int32_t>(start.size()));
  return qv::kOk;
}
