// Walking folders: one growing path for the whole walk, and the names in each folder.
#pragma once

#include "qv/files/detail/text.h"
#include "qv/platform/find.h"

namespace qv::files {

// A path that a walk lengthens and shortens as it goes. Each level costs it a name, not a buffer.
class TreePath {
 public:
  explicit TreePath(View folder);
  // False if memory ran out or the path is longer than any system takes.
  bool good() const { return good_; }
  // The folder as it is now, with its backslash.
  const WCHAR* folder() { return with(View()); }
  // A name in the folder; good until the next call.
  const WCHAR* with(View name);
  // The folder itself as a name in the one above, without its backslash.
  const WCHAR* bare();
  // Goes down into a folder; false if its path would get too long. leave() goes back to a length.
  bool enter(View name);
  size_t length() const { return length_; }
  void leave(size_t length) { length_ = length; }

 private:
  PathBlock text_;
  size_t length_ = 0;
  bool good_ = false;
};

// The names in a folder without "." and "..". The record of the name is the walk's: one for all levels, since
// a level needs it only until it goes down.
class Listing {
 public:
  Listing(TreePath& path, const WCHAR* pattern, WIN32_FIND_DATAW& entry);
  ~Listing() { close(); }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  // Moves on to the next name, in the beginning to the first; false behind the last.
  bool next();
  // Whether the system stopped before the last name.
  bool failed() const { return failed_; }
  void close();

 private:
  bool take(bool got, DWORD end);

  HANDLE find_ = INVALID_HANDLE_VALUE;
  WIN32_FIND_DATAW& entry_;
  bool first_ = false;
  bool failed_ = false;
};

// A name that stands for another place: a link, a mounted folder. Other marked names, such as files that a
// service fetches when they are read, are what they seem.
inline bool isLink(const WIN32_FIND_DATAW& entry) {
  constexpr DWORD kStandsForAnother = 0x20000000u;
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (entry.dwReserved0 & kStandsForAnother) != 0;
}

inline bool isFolder(const WIN32_FIND_DATAW& entry) {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// What a walk goes into.
inline bool isOwnFolder(const WIN32_FIND_DATAW& entry) {
  return isFolder(entry) && !isLink(entry);
}

inline uint64_t sizeOf(const WIN32_FIND_DATAW& entry) {
  return (uint64_t{entry.nFileSizeHigh} << 32) | entry.nFileSizeLow;
}

// Whether the path names a link, not what it leads to.
bool isLinkAt(const WCHAR* path);

bool isFolderAt(const WCHAR* path);

// Lets a read-only name be deleted. Never for a link: that would reach what it leads to.
void makeDeletable(const WCHAR* path, DWORD attributes);

inline constexpr const WCHAR* kAllNames = TEXT("*.*");

}  // namespace qv::files
