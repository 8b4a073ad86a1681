// Files and folders by their names: attributes, making, deleting, moving.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <mutex>
#include <string>

#include "qv/platform/detail/file_seam.h"
#include "qv/platform/files.h"
#include "qv/platform/linux/attributes.h"
#include "qv/platform/linux/copy.h"
#include "qv/platform/linux/open_files.h"

namespace qv::platform {
namespace {

FileId idOf(const Entry& entry) {
  return {makedev(entry.facts.stx_dev_major, entry.facts.stx_dev_minor), entry.facts.stx_ino};
}

bool readEntry(LPCWSTR path, std::string* native, Entry* entry) {
  if (!nativePath(path, native)) return false;
  return readEntry(AT_FDCWD, native->c_str(), entry) || failOn(*native);
}

// The same for an operation on the name itself: a slash at its end would follow a link.
bool readItself(LPCWSTR path, std::string* native, Entry* entry) {
  if (!nativePath(path, native)) return false;
  std::string bare = native->substr(0, native->find_last_not_of('/') + 1);
  if (bare != *native && !bare.empty() && readEntry(AT_FDCWD, bare.c_str(), entry) &&
      (isFolder(*entry) || entry->linkToFolder)) {
    *native = bare;
    return true;
  }
  return readEntry(AT_FDCWD, native->c_str(), entry) || failOn(*native);
}

DWORD attributesOf(const Entry& entry, const std::string& native) {
  return attributesOf(entry, isDotted(native), native.c_str());
}

bool standsForFolder(const Entry& entry) {
  return isFolder(entry) || entry.linkToFolder;
}

bool isReadOnlyFile(const Entry& entry) {
  return !isLink(entry) && isReadOnly(entry.facts.stx_mode);
}

// What a missing name means where it is to be made.
BOOL failToMake(const std::string& native) {
  DWORD error = errorOfPath(native);
  return fail(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

// What can be said against replacing what `to` names with `from`.
DWORD refusalToReplace(const Entry& from, const Entry& to, DWORD flags) {
  if (idOf(from) == idOf(to)) return ERROR_SUCCESS;
  if (!(flags & MOVEFILE_REPLACE_EXISTING)) return ERROR_ALREADY_EXISTS;
  if (standsForFolder(to) || standsForFolder(from) || isReadOnlyFile(to)) return ERROR_ACCESS_DENIED;
  return openFiles().allowsDeleting(idOf(to)) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// The same link at another place.
bool copyLink(const std::string& from, const std::string& to, bool replace) {
  char target[PATH_MAX];
  ssize_t length = readlink(from.c_str(), target, sizeof target - 1);
  if (length < 0) return false;
  target[length] = 0;
  if (replace && unlink(to.c_str()) != 0 && errno != ENOENT) return false;
  return symlink(target, to.c_str()) == 0;
}

bool copyAcross(const std::string& from, const std::string& to, bool replace, const Entry& entry) {
  bool copied = isLink(entry) ? copyLink(from, to, replace) : copyFile(from, to, replace);
  return copied && unlink(from.c_str()) == 0;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

DWORD GetFileAttributesW(LPCWSTR path) {
  std::string native;
  Entry entry;
  if (isDevice(path)) return FILE_ATTRIBUTE_ARCHIVE;
  return readEntry(path, &native, &entry) ? attributesOf(entry, native) : INVALID_FILE_ATTRIBUTES;
}

BOOL GetFileAttributesExW(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data) {
  std::string native;
  Entry entry;
  if (level != GetFileExInfoStandard) return fail(ERROR_INVALID_PARAMETER);
  if (!readEntry(path, &native, &entry)) return FALSE;
  *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data) = dataOf(entry, attributesOf(entry, native));
  return TRUE;
}

BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes) {
  std::string native;
  if (!nativePath(path, &native)) return FALSE;
  return setAttributes(native, attributes) || failOn(native);
}

BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES*) {
  std::string native;
  if (isDevice(path)) return fail(ERROR_DIRECTORY);
  if (!nativePath(path, &native, kMaxFolderPath)) return FALSE;
  return mkdir(native.c_str(), 0777) == 0 || failToMake(native);
}

BOOL RemoveDirectoryW(LPCWSTR path) {
  std::string native;
  Entry entry;
  if (!readItself(path, &native, &entry)) return FALSE;
  if (!standsForFolder(entry)) return fail(ERROR_DIRECTORY);
  if (isLink(entry)) return unlink(native.c_str()) == 0 || failOn(native);
  if (attributesOf(entry, native) & FILE_ATTRIBUTE_READONLY) return fail(ERROR_ACCESS_DENIED);
  return rmdir(native.c_str()) == 0 || failOn(native);
}

BOOL DeleteFileW(LPCWSTR path) {
  std::string native;
  Entry entry;
  std::lock_guard lock(openFiles().mutex());
  if (!readItself(path, &native, &entry)) return FALSE;
  if (standsForFolder(entry) || isReadOnlyFile(entry)) return fail(ERROR_ACCESS_DENIED);
  if (!openFiles().allowsDeleting(idOf(entry))) return fail(ERROR_SHARING_VIOLATION);
  if (fileOperationFails()) return errno = EIO, failOn({});
  return unlink(native.c_str()) == 0 || failOn(native);
}

BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
  std::string source, target;
  Entry sourceEntry, targetEntry;
  bool replace = flags & MOVEFILE_REPLACE_EXISTING;
  {
    std::lock_guard lock(openFiles().mutex());
    if (!readItself(from, &source, &sourceEntry) || !nativePath(to, &target)) return FALSE;
    if (!openFiles().allowsDeleting(idOf(sourceEntry))) return fail(ERROR_SHARING_VIOLATION);
    if (source == target) return TRUE;
    if (readEntry(AT_FDCWD, target.c_str(), &targetEntry)) {
      if (DWORD refusal = refusalToReplace(sourceEntry, targetEntry, flags)) return fail(refusal);
    }
    if (fileOperationFails(true)) return fail(ERROR_DISK_FULL);
    if (renameTo(source, target, replace)) {
      noteKept(target);
      return TRUE;
    }
  }
  // What takes long is done without the lock.
  bool mayCopy = errno == EXDEV && (flags & MOVEFILE_COPY_ALLOWED) && !isFolder(sourceEntry);
  return (mayCopy && copyAcross(source, target, replace, sourceEntry)) || failToMake(target);
}

BOOL MoveFileW(LPCWSTR from, LPCWSTR to) {
  return MoveFileExW(from, to, MOVEFILE_COPY_ALLOWED);
}
