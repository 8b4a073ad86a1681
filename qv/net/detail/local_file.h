// Files on this side of a transfer.
#pragma once

#include <utility>

#include "qv/files/files.h"
#include "qv/platform/files.h"

namespace qv::net {

// Closed with the object.
class LocalFile {
 public:
  // For reading while others read.
  static LocalFile toRead(const WCHAR* name) { return {name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING}; }
  // For this object alone, replacing what is there.
  static LocalFile toWrite(const WCHAR* name) { return {name, GENERIC_WRITE, 0, CREATE_ALWAYS}; }
  ~LocalFile() { close(); }
  LocalFile(const LocalFile&) = delete;
  LocalFile& operator=(const LocalFile&) = delete;

  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  // In bytes; -1 when the system can't tell.
  int64_t size() const {
    LARGE_INTEGER size = {};
    return GetFileSizeEx(handle_, &size) ? size.QuadPart : -1;
  }
  // Up to so many; 0 at the end.
  bool read(void* to, DWORD bytes, DWORD* done) const {
    return QvReadFile(handle_, to, bytes, done, nullptr);
  }
  // All of them; `left` says how many could not be written.
  bool write(const uint8_t* bytes, DWORD count, DWORD& left) const {
    for (left = count; left > 0;) {
      DWORD done = 0;
      if (!WriteFile(handle_, bytes + (count - left), left, &done, nullptr) || done == 0) return false;
      left -= done;
    }
    return true;
  }
  void close() {
    const HANDLE handle = std::exchange(handle_, INVALID_HANDLE_VALUE);
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }

 private:
  LocalFile(const WCHAR* name, DWORD access, DWORD share, DWORD disposition)
      : handle_(CreateFileW(name, access, share, nullptr, disposition,
                            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr)) {}

  HANDLE handle_;
};

}  // namespace qv::net
