#include "qv/platform/linux/attributes.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qv/platform/linux/clock.h"
#include "qv/platform/linux/open_files.h"

namespace qv::platform {
namespace {

// The name and the form that file servers for Windows use, so that both see the same attributes.
constexpr char kAttribute[] = "user.DOSATTRIB";
// On a folder: some of its entries have that.
constexpr char kMark[] = "user.qv.kept";
constexpr DWORD kKept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

mode_t modeOf(const Entry& entry) {
  return entry.facts.stx_mode;
}

// What of the attributes is kept beside the entry; a folder has no other place for READONLY.
DWORD keptOf(const Entry& entry, DWORD attributes) {
  return attributes & (kKept | (isFolder(entry) ? FILE_ATTRIBUTE_READONLY : 0));
}

// The kept attributes from an extended attribute's bytes: a number, perhaps with more behind it.
bool parseKept(const char* bytes, ssize_t length, DWORD* kept) {
  char text[16] = {};
  if (length <= 2) return false;
  memcpy(text, bytes, std::min<size_t>(static_cast<size_t>(length), sizeof text - 1));
  if (text[0] != '0' || text[1] != 'x') return false;
  *kept = static_cast<DWORD>(strtoul(text, nullptr, 16));
  return true;
}

bool writeKept(const char* path, DWORD kept) {
  char text[16];
  int length = snprintf(text, sizeof text, "0x%x", kept);
  return setxattr(path, kAttribute, text, static_cast<size_t>(length), 0) == 0;
}

// A file system without them, or a kind of file that has none: the attributes go nowhere.
bool hasNoPlace(int error) {
  return error == ENOTSUP || error == EPERM;
}

mode_t modeWith(const Entry& entry, DWORD attributes) {
  mode_t mode = modeOf(entry) & 07777;
  if (!(attributes & FILE_ATTRIBUTE_READONLY)) return isReadOnly(mode) ? mode | S_IWUSR : mode;
  return isFolder(entry) ? mode : mode & ~0222u;
}

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

bool readKept(int file, DWORD* kept) {
  char bytes[256];
  return parseKept(bytes, fgetxattr(file, kAttribute, bytes, sizeof bytes), kept);
}

// Keeps these attributes, of which `plain` needn't be kept, for a file. False with errno.
bool keepAttributes(const char* file, DWORD attributes, DWORD plain) {
  if (attributes != plain) return writeKept(file, attributes) || hasNoPlace(errno);
  return removexattr(file, kAttribute) == 0 || errno == ENODATA || hasNoPlace(errno);
}

}  // namespace

bool readEntry(int folder, const char* path, Entry* entry) {
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
  if (statx(folder, path, AT_SYMLINK_NOFOLLOW, kWanted, &entry->facts) != 0) return false;
  entry->linkToFolder = false;
  struct stat target;
  if (isLink(*entry)) entry->linkToFolder = fstatat(folder, path, &target, 0) == 0 && S_ISDIR(target.st_mode);
  return true;
}

bool isLink(const Entry& entry) {
  return S_ISLNK(modeOf(entry));
}

bool isFolder(const Entry& entry) {
  return S_ISDIR(modeOf(entry));
}

bool isReadOnly(mode_t mode) {
  return (mode & 0222) == 0;
}

bool isDotted(const std::string& path) {
  size_t end = path.find_last_not_of('/');
  if (end == path.npos) return false;
  size_t slash = path.find_last_of('/', end);
  return path[slash == path.npos ? 0 : slash + 1] == '.';
}

DWORD plainAttributes(const Entry& entry, bool dotted) {
  DWORD hidden = dotted ? FILE_ATTRIBUTE_HIDDEN : 0;
  if (isLink(entry)) {
    return hidden | FILE_ATTRIBUTE_REPARSE_POINT |
           (entry.linkToFolder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE);
  }
  DWORD attributes = hidden | (isReadOnly(modeOf(entry)) ? FILE_ATTRIBUTE_READONLY : 0);
  if (isFolder(entry)) return attributes | FILE_ATTRIBUTE_DIRECTORY;
  return attributes | (S_ISREG(modeOf(entry)) ? FILE_ATTRIBUTE_ARCHIVE : FILE_ATTRIBUTE_DEVICE);
}

DWORD attributesOf(const Entry& entry, bool dotted, const char* keeper) {
  DWORD attributes = plainAttributes(entry, dotted), kept = 0;
  char bytes[256];
  bool mayKeep = isFolder(entry) || S_ISREG(modeOf(entry));
  if (mayKeep && parseKept(bytes, lgetxattr(keeper, kAttribute, bytes, sizeof bytes), &kept)) {
    attributes = (attributes & ~kKept) | keptOf(entry, kept);
  }
  return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

bool keepsAttributes(int folder) {
  return fgetxattr(folder, kMark, nullptr, 0) >= 0;
}

void noteKept(const std::string& path) {
  if (lgetxattr(path.c_str(), kAttribute, nullptr, 0) < 0) return;
  std::string folder = folderOf(path);
  if (getxattr(folder.c_str(), kMark, nullptr, 0) < 0) setxattr(folder.c_str(), kMark, "1", 1, 0);
}

void copyKept(int source, int target) {
  DWORD kept;
  if (readKept(source, &kept)) writeKept(descriptorPath(target).c_str(), kept | FILE_ATTRIBUTE_ARCHIVE);
}

bool setAttributes(const std::string& path, DWORD attributes) {
  // From here on by descriptor: whatever becomes of the name, no link is followed.
  DescriptorGuard file(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  Entry entry;
  if (file.get() < 0 || statx(file.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS, &entry.facts) != 0)
    return false;
  if (isLink(entry)) return true;
  std::string name = descriptorPath(file.get());
  mode_t now = modeOf(entry) & 07777, later = modeWith(entry, attributes);
  DWORD plain = keptOf(entry, plainAttributes(entry, isDotted(path)) & kKept);
  // An extended attribute can't be changed in a file that can't be written.
  if (isReadOnly(now) && chmod(name.c_str(), now | S_IWUSR) != 0) return false;
  DWORD kept = keptOf(entry, attributes);
  bool done = keepAttributes(name.c_str(), kept, plain);
  int error = errno;
  bool changes = later != (isReadOnly(now) ? now | S_IWUSR : now);
  if (changes && chmod(name.c_str(), done ? later : now) != 0) return false;
  errno = error;
  if (done && kept != plain) noteKept(path);
  return done;
}

void noteChange(int file) {
  DWORD kept;
  if (readKept(file, &kept) && !(kept & FILE_ATTRIBUTE_ARCHIVE))
    writeKept(descriptorPath(file).c_str(), kept | FILE_ATTRIBUTE_ARCHIVE);
}

WIN32_FILE_ATTRIBUTE_DATA dataOf(const Entry& entry, DWORD attributes) {
  const auto& facts = entry.facts;
  FILETIME written = fileTimeOf(facts.stx_mtime), changed = fileTimeOf(facts.stx_ctime);
  bool tellsBirth = facts.stx_mask & STATX_BTIME;
  FILETIME created = tellsBirth                            ? fileTimeOf(facts.stx_btime)
                     : ticksOf(written) < ticksOf(changed) ? written
                                                           : changed;
  uint64_t size = S_ISREG(facts.stx_mode) ? facts.stx_size : 0;
  return {attributes,
          created,
          fileTimeOf(facts.stx_atime),
          written,
          static_cast<DWORD>(size >> 32),
          static_cast<DWORD>(size)};
}

}  // namespace qv::platform
