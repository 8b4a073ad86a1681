#include "qv/platform/volume_path.h"

#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/paths.h"

namespace qv::platform {
namespace {

std::string folderAbove(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == 0 || slash == path.npos ? "/" : path.substr(0, slash);
}

// The nearest folder that is there, without links on the way.
std::string nearestFolder(std::string path) {
  char real[PATH_MAX];
  struct stat facts;
  while (path != "/" && (stat(path.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode)))
    path = folderAbove(path);
  return realpath(path.c_str(), real) ? real : path;
}

// The highest folder on the same device.
std::string volumeOf(std::string folder) {
  struct stat here, above;
  if (stat(folder.c_str(), &here) != 0) return folder;
  while (folder != "/" && stat(folderAbove(folder).c_str(), &above) == 0 && above.st_dev == here.st_dev)
    folder = folderAbove(folder);
  return folder;
}

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

BOOL GetVolumePathNameW(LPCWSTR path, LPWSTR volume, DWORD capacity) {
  std::string native;
  if (!nativePath(path, &native)) return FALSE;
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  std::u16string root = windowsPath(volumeOf(nearestFolder(native)));
  if (root.back() != '\\') root += u'\\';
  if (root.size() >= capacity) return fail(ERROR_FILENAME_EXCED_RANGE);
  root.copy(volume, root.size());
  volume[root.size()] = 0;
  return TRUE;
}
