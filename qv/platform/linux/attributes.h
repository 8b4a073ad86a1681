// What a name stands for, in the terms of file attributes.
#pragma once

#include <sys/stat.h>

#include <string>

#include "qv/platform/files.h"

namespace qv::platform {

// What the system says of a name: of a link itself, not of what it leads to.
struct Entry {
  struct statx facts;
  bool linkToFolder;
};

// False with errno. `folder`: where a relative path starts, or AT_FDCWD.
bool readEntry(int folder, const char* path, Entry* entry);

// The attributes that an entry has by itself, without any that are kept beside it.
DWORD plainAttributes(const Entry& entry, bool dotted);

// The attributes of an entry, those kept in the extended attribute of `keeper` (a path) included.
DWORD attributesOf(const Entry& entry, bool dotted, const char* keeper);

// Whether a path's last name begins with a dot.
bool isDotted(const std::string& path);

bool isLink(const Entry& entry);
bool isFolder(const Entry& entry);
bool isReadOnly(mode_t mode);

// Whether entries of this open folder may keep attributes beside them.
bool keepsAttributes(int folder);

// An entry came to this path: if it keeps attributes, its folder has to know.
void noteKept(const std::string& path);

// Copies what one open file keeps to another, which is then to be archived.
void copyKept(int source, int target);

// Sets what SetFileAttributesW sets. False with errno.
bool setAttributes(const std::string& path, DWORD attributes);

// The file was written: gives it the attribute ARCHIVE again if that was taken.
void noteChange(int file);

// Size and times in the form that listings and queries share.
WIN32_FILE_ATTRIBUTE_DATA dataOf(const Entry& entry, DWORD attributes);

}  // namespace qv::platform
