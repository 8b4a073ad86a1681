#include "qv/platform/volumes.h"

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <string>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/paths.h"

namespace qv::platform {
namespace {

struct KindRow {
  uint32_t magic;
  const WCHAR* name;
};
constexpr KindRow kKinds[] = {
    {0x4d44, TEXT("FAT32")},
    {0x2011bab0, TEXT("exFAT")},
};

const WCHAR* kindOf(const struct statfs& volume) {
  for (const KindRow& row : kKinds) {
    if (row.magic == static_cast<uint32_t>(volume.f_type)) return row.name;
  }
  return TEXT("NTFS");
}

bool isMountPoint(const std::string& folder) {
  struct stat inside, above;
  if (stat(folder.c_str(), &inside) != 0 || stat((folder + "..").c_str(), &above) != 0) return false;
  return inside.st_dev != above.st_dev || inside.st_ino == above.st_ino;
}

BOOL failOnFolder(const std::string& path) {
  DWORD error = errorOfPath(path);
  return fail(error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error);
}

bool give(std::u16string_view text, LPWSTR buffer, DWORD capacity) {
  return !buffer || giveText(text, buffer, capacity) < capacity;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

BOOL GetDiskFreeSpaceExW(LPCWSTR folder, ULARGE_INTEGER* available, ULARGE_INTEGER* total,
                         ULARGE_INTEGER* free) {
  std::string native;
  struct stat facts;
  struct statvfs volume;
  if (!nativePath(folder ? folder : TEXT("."), &native)) return FALSE;
  if (stat(native.c_str(), &facts) != 0) return failOnFolder(native);
  if (!S_ISDIR(facts.st_mode)) return fail(ERROR_DIRECTORY);
  if (statvfs(native.c_str(), &volume) != 0) return failOnFolder(native);
  if (available) available->QuadPart = uint64_t{volume.f_bavail} * volume.f_frsize;
  if (total) total->QuadPart = uint64_t{volume.f_blocks} * volume.f_frsize;
  if (free) free->QuadPart = uint64_t{volume.f_bfree} * volume.f_frsize;
  return TRUE;
}

BOOL GetVolumeInformationW(LPCWSTR root, LPWSTR label, DWORD labelCapacity, DWORD* serial, DWORD* longestName,
                           DWORD* flags, LPWSTR kind, DWORD kindCapacity) {
  std::string native;
  struct statfs volume;
  if (!nativePath(root ? root : TEXT("C:\\"), &native)) return FALSE;
  if (native.back() != '/') return fail(ERROR_INVALID_NAME);
  if (statfs(native.c_str(), &volume) != 0) return failOnFolder(native);
  if (!isMountPoint(native)) return fail(ERROR_DIR_NOT_ROOT);
  if (serial) *serial = static_cast<DWORD>(volume.f_fsid.__val[0] ^ volume.f_fsid.__val[1]);
  if (longestName) *longestName = static_cast<DWORD>(kMaxName);
  if (flags) *flags = FILE_CASE_SENSITIVE_SEARCH | FILE_CASE_PRESERVED_NAMES | FILE_UNICODE_ON_DISK;
  bool fits = give(u"", label, labelCapacity) && give(kindOf(volume), kind, kindCapacity);
  return fits || fail(ERROR_BAD_LENGTH);
}
