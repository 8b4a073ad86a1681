// Whether a name that came out of a container stays below the folder that it is to be extracted to.
#pragma once

#include "qv/platform/base.h"

namespace qv::files {

// A relative name, backslashes between its parts, and one behind a folder's: none of the parts empty, "." or
// "..", none ending in a blank or a dot, none a device's name, with or without an extension, and no colon,
// control character or other character that a file name can't have. `length`: characters without terminator;
// a zero among them refuses the name.
bool isContainedName(const WCHAR* name, size_t length);

// Whether a folder or file on the way from `folder` to `folder\name` is a link, behind which the target would
// lie anywhere. What doesn't exist is no link. `there`, unless it is null, gets the attributes of what stands
// at `folder\name`, INVALID_FILE_ATTRIBUTES for nothing.
bool leadsThroughLink(const WCHAR* folder, const WCHAR* name, DWORD* there = nullptr);

}  // namespace qv::files
