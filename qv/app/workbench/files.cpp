#include "qv/app/workbench/files.h"

#include <algorithm>
#include <utility>

#include "qv/files/paths.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr size_t kBlockBytes = 256 * 1024;

bool isSeparator(WCHAR c) {
  return c == '/' || c == '\\';
}

bool writeAll(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const DWORD size = static_cast<DWORD>(std::min(bytes.size(), kBlockBytes));
    if (!WriteFile(file, bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

bool isFolder(const WString& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

InputFile::~InputFile() {
  if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
}

HRESULT InputFile::open(const WString& path) {
  handle_ = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                        FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  return handle_ == INVALID_HANDLE_VALUE ? kCannotOpenFile : kOk;
}

int64_t InputFile::size() const {
  LARGE_INTEGER size;
  return GetFileSizeEx(handle_, &size) ? size.QuadPart : -1;
}

int64_t InputFile::read(char* buffer, size_t capacity) {
  DWORD got = 0;
  const DWORD wanted = static_cast<DWORD>(std::min(capacity, kBlockBytes));
  if (!ReadFile(handle_, buffer, wanted, &got, nullptr)) return kReadFailed;
  return got;
}

HRESULT InputFile::seek(int64_t position) {
  LARGE_INTEGER place;
  place.QuadPart = position;
  return SetFilePointerEx(handle_, place, nullptr, FILE_BEGIN) ? kOk : kReadFailed;
}

HRESULT readFile(const WString& path, uint64_t limit, std::string& bytes) {
  bytes.clear();
  InputFile file;
  if (const HRESULT status = file.open(path); FAILED(status)) return status;
  if (const int64_t size = file.size(); size > 0 && static_cast<uint64_t>(size) <= limit) {
    bytes.reserve(static_cast<size_t>(size));
  }
  // The announced size is a hint only: pipes and files that grow are read to their end, within the limit.
  while (true) {
    const size_t old = bytes.size();
    bytes.resize(old + kBlockBytes);
    const int64_t got = file.read(bytes.data() + old, kBlockBytes);
    bytes.resize(old + static_cast<size_t>(std::max<int64_t>(got, 0)));
    if (got < 0) return static_cast<HRESULT>(got);
    if (got == 0) return kOk;
    if (bytes.size() > limit) return kBadFormat;
  }
}

void PendingFile::drop() {
  if (!temporary_.empty()) DeleteFileW(temporary_.c_str());
  temporary_.clear();
}

HRESULT PendingFile::prepare(const WString& path, const WCHAR* suffix) {
  if (const WStringView folder = folderOf(path); !folder.empty()) {
    if (const HRESULT status = makeFolder(WString(folder)); FAILED(status)) return status;
  }
  path_ = path;
  temporary_ = path + suffix;
  return kOk;
}

HRESULT PendingFile::keep() {
  if (!MoveFileExW(temporary_.c_str(), path_.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    drop();
    return kWriteFailed;
  }
  temporary_.clear();
  return kOk;
}

OutputFile::~OutputFile() {
  if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
}

HRESULT OutputFile::open(const WString& path) {
  if (const HRESULT status = pending_.prepare(path, TEXT(".new")); FAILED(status)) return status;
  handle_ = CreateFileW(pending_.temporary(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                        nullptr);
  if (handle_ != INVALID_HANDLE_VALUE) return kOk;
  pending_.leave();
  return kCannotCreateFile;
}

HRESULT OutputFile::write(std::string_view bytes) {
  return writeAll(handle_, bytes) ? kOk : kWriteFailed;
}

HRESULT OutputFile::keep() {
  CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE));
  return pending_.keep();
}

HRESULT writeFile(const WString& path, std::string_view bytes) {
  OutputFile file;
  HRESULT status = file.open(path);
  if (!FAILED(status)) status = file.write(bytes);
  return FAILED(status) ? status : file.keep();
}

HRESULT makeFolder(const WString& path) {
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at < path.size() && !isSeparator(path[at])) continue;
    const WString part = path.substr(0, at);
    if (!isSeparator(part.back()) && part.back() != ':' && !isFolder(part))
      CreateDirectoryW(part.c_str(), nullptr);
  }
  return isFolder(path) ? kOk : kCannotCreateFile;
}

WString folderOfExecutable() {
  WCHAR path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return WString(folderOf(path));
}

WString fullPath(const WString& path) {
  WCHAR full[kPathCapacity];
  return QvQualifyPath(path.c_str(), full, kPathCapacity) ? full : path;
}

bool isAbsolutePath(WStringView path) {
  return (!path.empty() && isSeparator(path[0])) || (path.size() > 1 && path[1] == ':');
}

WStringView folderOf(WStringView path) {
  const auto last = std::find_if(path.rbegin(), path.rend(), isSeparator);
  return path.substr(0, static_cast<size_t>(path.rend() - last));
}

}  // namespace qv::workbench
