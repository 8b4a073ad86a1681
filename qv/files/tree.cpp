// Whole folders: sizes, emptiness, deletion.
#include "qv/files/tree.h"

#include "qv/files/detail/tree_path.h"
#include "qv/frame/status.h"

namespace qv::files {
namespace {

class Sizer {
 public:
  explicit Sizer(const WCHAR* folder) : path_(folder) {
    if (path_.good()) add();
  }
  uint64_t total() const { return total_; }

 private:
  void add() {
    Listing names(path_, kAllNames, entry_);
    while (names.next()) {
      if (!isFolder(entry_)) {
        total_ += sizeOf(entry_);
      } else if (!isLink(entry_)) {
        const size_t length = path_.length();
        if (path_.enter(entry_.cFileName)) add();
        path_.leave(length);
      }
    }
  }

  TreePath path_;
  WIN32_FIND_DATAW entry_;
  uint64_t total_ = 0;
};

class FileSearch {
 public:
  enum class Found { nothing, thumbs, file };

  FileSearch(const WCHAR* folder, bool ignoreThumbs) : path_(folder), ignoreThumbs_(ignoreThumbs) {}
  Found run() { return path_.good() ? search() : Found::file; }

 private:
  Found search() {
    Listing names(path_, kAllNames, entry_);
    while (names.next()) {
      const Found found = look();
      if (found != Found::nothing) return found;
    }
    // Nobody knows what is in a folder that can't be read.
    return names.failed() ? Found::file : Found::nothing;
  }
  Found look() {
    if (!isOwnFolder(entry_)) {
      return ignoreThumbs_ && sameInAnyCase(entry_.cFileName, TEXT("thumbs.db")) ? Found::thumbs
                                                                                 : Found::file;
    }
    const size_t length = path_.length();
    const Found found = path_.enter(entry_.cFileName) ? search() : Found::file;
    path_.leave(length);
    return found;
  }

  TreePath path_;
  WIN32_FIND_DATAW entry_;
  const bool ignoreThumbs_;
};

// Deletes what it walks over, and goes on where something stays.
class Deletion {
 public:
  explicit Deletion(const WCHAR* folder) : path_(folder), all_(path_.good()) {}
  bool all() const { return all_; }
  TreePath& path() { return path_; }

  void files(const WCHAR* pattern, bool recurse) {
    if (!path_.good()) return;
    Listing names(path_, pattern, entry_);
    while (names.next())
      if (!isFolder(entry_)) deleteEntry();
    note(!names.failed());
    names.close();
    if (recurse) eachFolder([&] { files(pattern, true); });
  }

  void contents() {
    if (!path_.good()) return;
    Listing names(path_, kAllNames, entry_);
    while (names.next()) {
      if (isOwnFolder(entry_)) {
        deleteFolder();
      } else {
        deleteEntry();
      }
    }
    note(!names.failed());
  }

 private:
  void note(bool good) { all_ = all_ && good; }

  void deleteEntry() {
    const WCHAR* name = path_.with(entry_.cFileName);
    if (!isLink(entry_)) makeDeletable(name, entry_.dwFileAttributes);
    note(isFolder(entry_) ? RemoveDirectoryW(name) : DeleteFileW(name));
  }

  void deleteFolder() {
    const size_t length = path_.length();
    makeDeletable(path_.with(entry_.cFileName), entry_.dwFileAttributes);
    if (path_.enter(entry_.cFileName)) {
      contents();
      note(RemoveDirectoryW(path_.bare()));
    } else {
      note(false);
    }
    path_.leave(length);
  }

  template <typename Visit>
  void eachFolder(Visit visit) {
    Listing names(path_, kAllNames, entry_);
    while (names.next()) {
      if (!isOwnFolder(entry_)) continue;
      const size_t length = path_.length();
      const bool entered = path_.enter(entry_.cFileName);
      if (entered) visit();
      note(entered);
      path_.leave(length);
    }
    note(!names.failed());
  }

  TreePath path_;
  WIN32_FIND_DATAW entry_;
  bool all_;
};

bool hasSeparator(const WCHAR* text) {
  return View(text).find_first_of(TEXT("\\/:")) != View::npos;
}

}  // namespace
}  // namespace qv::files

int32_t QvIsDirectoryEmpty(const WCHAR* folder) {
  qv::files::TreePath path(folder);
  WIN32_FIND_DATAW entry;
  if (!path.good()) return 0;
  qv::files::Listing names(path, qv::files::kAllNames, entry);
  return !names.next() && !names.failed() ? 1 : 0;
}

int32_t QvIsDirectoryEmptyRecursive(const WCHAR* folder, int32_t ignoreThumbs) {
  using qv::files::FileSearch;
  return FileSearch(folder, ignoreThumbs != 0).run() != FileSearch::Found::file ? 1 : 0;
}

HRESULT QvGetDirectorySize(const WCHAR* folder, uint64_t* size) {
  if (size == nullptr) return qv::kInvalidArgument;
  *size = qv::files::Sizer(folder).total();
  return qv::kOk;
}

int32_t QvDeleteFiles(const WCHAR* folder, const WCHAR* pattern, int32_t recurse) {
  if (qv::files::hasSeparator(pattern)) return 0;
  qv::files::Deletion deletion(folder);
  deletion.files(pattern, recurse != 0);
  return deletion.all() ? 1 : 0;
}

int32_t QvDeleteDirectoryTree(const WCHAR* folder, int32_t removeFolder) {
  qv::files::Deletion deletion(folder);
  if (!deletion.path().good()) return 0;
  if (qv::files::isLinkAt(deletion.path().bare()))
    return removeFolder != 0 && RemoveDirectoryW(deletion.path().bare()) ? 1 : 0;
  deletion.contents();
  if (removeFolder == 0) return deletion.all() ? 1 : 0;
  const WCHAR* name = deletion.path().bare();
  qv::files::makeDeletable(name, GetFileAttributesW(name));
  return RemoveDirectoryW(name) && deletion.all() ? 1 : 0;
}
