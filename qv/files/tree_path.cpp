#include "qv/files/detail/tree_path.h"

namespace qv::files {
namespace {

bool isSelfOrParent(const WCHAR* name) {
  return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

}  // namespace

TreePath::TreePath(View folder) : text_(newPath()) {
  if (!text_ || folder.empty()) return;
  while (folder.size() > 1 && folder.back() == '\\') folder.remove_suffix(1);
  good_ = enter(folder);
}

const WCHAR* TreePath::with(View name) {
  text_[length_ - 1] = '\\';
  // enter() keeps the room for the longest name.
  writeCut(name, text_.get() + length_, static_cast<int32_t>(kLongestPath - length_));
  return text_.get();
}

const WCHAR* TreePath::bare() {
  // Without it a drive would be its current folder.
  const bool drive = length_ >= 2 && text_[length_ - 2] == ':';
  text_[length_ - 1] = drive ? '\\' : 0;
  text_[length_] = 0;
  return text_.get();
}

bool TreePath::enter(View name) {
  if (length_ + name.size() + 1 + kPathCapacity > kLongestPath) return false;
  if (length_ > 0) text_[length_ - 1] = '\\';
  name.copy(text_.get() + length_, name.size());
  length_ += name.size();
  text_[length_++] = '\\';
  return true;
}

Listing::Listing(TreePath& path, const WCHAR* pattern, WIN32_FIND_DATAW& entry) : entry_(entry) {
  find_ = FindFirstFileW(path.with(pattern), &entry_);
  // The root of an empty disk has not even the two names that others have.
  first_ = take(find_ != INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND);
}

bool Listing::take(bool got, DWORD end) {
  if (!got) failed_ = GetLastError() != end;
  return got;
}

bool Listing::next() {
  bool got = first_;
  if (find_ == INVALID_HANDLE_VALUE) return false;
  if (!first_) got = take(FindNextFileW(find_, &entry_) != 0, ERROR_NO_MORE_FILES);
  first_ = false;
  while (got && isSelfOrParent(entry_.cFileName)) {
    got = take(FindNextFileW(find_, &entry_) != 0, ERROR_NO_MORE_FILES);
  }
  return got;
}

void Listing::close() {
  if (find_ != INVALID_HANDLE_VALUE) FindClose(find_);
  find_ = INVALID_HANDLE_VALUE;
}

bool isLinkAt(const WCHAR* path) {
  WIN32_FIND_DATAW entry;
  const HANDLE find = FindFirstFileW(path, &entry);
  if (find == INVALID_HANDLE_VALUE) return false;
  FindClose(find);
  return isLink(entry);
}

bool isFolderAt(const WCHAR* path) {
  const DWORD attributes = GetFileAttributesW(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void makeDeletable(const WCHAR* path, DWORD attributes) {
  if ((attributes & FILE_ATTRIBUTE_READONLY) == 0) return;
  const DWORD others = attributes & ~(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY);
  SetFileAttributesW(path, others != 0 ? others : FILE_ATTRIBUTE_NORMAL);
}

}  // namespace qv::files
