// Whether a name that came out of a container stays below the folder that it is to be extracted to.
#pragma once

#include "qv/platform/files.h"

namespace qv::files {

// A relative name, backslashes between its parts, and one behind a folder's: none of the parts empty, "." or
// "..", none ending in a blank or a dot, none a device's name, with or without an extension, and no colon,
// control character or other character that a file name can't have. `length`: characters without terminator;
// a zero among them refuses the name.
bool isContainedName(const WCHAR* name, size_t length);

struct FoundPath {
  DWORD attributes = INVALID_FILE_ATTRIBUTES;  // of what stands at `folder\name`, if anything does
  bool hasFolder = false;                      // the folder that it is to lie in stands
};
// Whether a folder or file on the way from `folder` to `folder\name` is a link, behind which the target would
// lie anywhere. What doesn't exist is no link. `found`, unless it is null, gets what the walk saw.
bool leadsThroughLink(const WCHAR* folder, const WCHAR* name, FoundPath* found = nullptr);

}  // namespace qv::files
