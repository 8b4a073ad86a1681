// Any two texts are a path and something to do with it. Every function ends in time, stays within the buffer,
// terminates, and keeps what the families promise each other.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "qv/files/filetext.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

bool within(const WCHAR* at, const Text& text) {
  return at >= text.c_str() && at <= text.c_str() + text.size();
}

// A block of exactly `capacity` characters, so that the sanitizer sees one too many.
class Room {
 public:
  explicit Room(int32_t capacity, const Text& text = Text())
      : capacity_(capacity), block_(new WCHAR[static_cast<size_t>(capacity)]) {
    const size_t length = text.copy(block_.get(), static_cast<size_t>(capacity) - 1);
    block_[length] = 0;
  }
  WCHAR* data() { return block_.get(); }
  int32_t capacity() const { return capacity_; }
  Text text() const {
    const WCHAR* end = std::find(block_.get(), block_.get() + capacity_, WCHAR{0});
    require(end != block_.get() + capacity_);
    return Text(block_.get(), static_cast<size_t>(end - block_.get()));
  }

 private:
  int32_t capacity_;
  std::unique_ptr<WCHAR[]> block_;
};

void checkParts(const Text& path, int32_t capacity) {
  const WCHAR* name = QvGetFileNamePtrW(path.c_str());
  const WCHAR* extension = QvGetFileNameExtensionPtrW(name);
  require(within(name, path) && within(extension, path) && (*extension == 0 || *extension == '.'));
  const std::string narrow(path.begin(), path.end());
  require(QvGetFileNamePtrA(narrow.c_str()) <= narrow.c_str() + narrow.size());
  require(QvGetFileNameExtensionPtrA(narrow.c_str()) <= narrow.c_str() + narrow.size());

  Text repaired = path;
  const int32_t valid = QvValidateFileName(repaired.data(), 0);
  require(repaired == path && QvValidateFileName(repaired.data(), 1) == valid);
  require(QvValidateFileName(repaired.data(), 0) == 1 && (valid == 1) == (repaired == path));

  using Part = int32_t (*)(const WCHAR*, WCHAR*, int32_t);
  for (const Part part : {QvGetPathNameFromFilePath, QvGetRootPathFromFilePath}) {
    Room room(capacity);
    const int32_t length = part(path.c_str(), room.data(), capacity);
    const Text expected = length < capacity ? path.substr(0, static_cast<size_t>(length)) : Text();
    require(length >= 0 && length <= static_cast<int32_t>(path.size()) && room.text() == expected);
  }
  Room bare(capacity);
  require(QvGetFileNameWithoutPathOrExtension(path.c_str(), bare.data(), capacity) ==
          bare.data() + bare.text().size());
}

void checkEdits(const Text& path, const Text& part, int32_t capacity) {
  Room slash(capacity, path), bare(capacity, path), add(capacity, path), replace(capacity, path);
  const Text before = slash.text();
  const int32_t added = QvAddSlashToPathName(slash.data(), capacity);
  require(added == 0 ? slash.text() == before : slash.text().size() == static_cast<size_t>(added));
  require(QvRemoveSlashFromPathNameEnd(bare.data(), capacity) == static_cast<int32_t>(bare.text().size()));
  require(QvAddExtensionToPathName(add.data(), capacity, part.c_str()) ==
          static_cast<int32_t>(add.text().size()));
  QvReplaceExtensionOnPathName(replace.data(), capacity, part.c_str());
  replace.text();
  for (const WCHAR* extension : {static_cast<const WCHAR*>(nullptr), part.c_str()}) {
    Room append(capacity, path);
    const int32_t length = QvAppendToPathName(append.data(), capacity, part.c_str(), extension);
    require(append.text().size() == (length != 0 ? static_cast<size_t>(length) : before.size()));
  }
  Room up(capacity, path);
  const int32_t went = QvDirectoryUpOneLevel(up.data(), capacity);
  require(went == 1 ? up.text().back() == '\\' && before.starts_with(up.text()) : up.text() == before);
}

void checkRelative(const Text& path, const Text& other, int32_t capacity) {
  require(within(QvGetFileNamePtrRelative(path.c_str(), other.c_str()), other));
  Room folder(capacity), replaced(capacity);
  QvGetBasePathRelative(path.c_str(), other.c_str(), folder.data(), capacity);
  folder.text();
  const HRESULT status =
      QvReplaceBasePathRelative(path.c_str(), other.c_str(), TEXT("C:\\x"), replaced.data(), capacity);
  require(FAILED(status) ? replaced.text().empty() : replaced.text().starts_with(TEXT("C:\\x")));
  QvIsMatchWildCard(path.c_str(), other.c_str());
  require(QvIsMatchWildCard(TEXT("*"), other.c_str()) == 1);
}

void checkFull(const Text& path, int32_t capacity) {
  Room full(capacity, path), longForm(capacity, path);
  const int32_t qualified = QvQualifyPath(path.c_str(), full.data(), capacity);
  require(qualified == 1 || full.text().empty());
  require(QvGetLongPathName(path.c_str(), longForm.data(), capacity) ==
          static_cast<int32_t>(longForm.text().size()));
}

// Ten pixels a character.
constexpr qv::WindowCalls kRuler = {nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    [](HDC, LPCWSTR, int count, SIZE* size) -> BOOL {
                                      size->cx = 10 * count;
                                      return 1;
                                    },
                                    nullptr};

void checkEllipsis(const Text& path, int32_t capacity, int32_t width) {
  Room room(capacity);
  require(QvCalcPathEllipsisEx(nullptr, path.c_str(), room.data(), capacity, width) == 0);
  const Text shown = room.text();
  const bool whole = path.starts_with(shown);
  require(whole || static_cast<int32_t>(shown.size()) * 10 <= width);
  require(whole || path.ends_with(shown.substr(shown.find_last_of(TEXT("\\/")))));
  for (uint32_t style = 0; style < 6; ++style) {
    Room styled(capacity);
    QvFilenameFormat(nullptr, width, path.c_str(), styled.data(), capacity, style);
    styled.text();
  }
  Room same(capacity, path);
  QvCalcPathEllipsis(nullptr, same.data(), capacity, width);
  same.text();
}

// Mostly one byte a character, since the grammar is ASCII; 0xff takes the next two.
Text textOf(const uint8_t* data, size_t size) {
  Text text;
  for (size_t i = 0; i < size; ++i) {
    const bool wide = data[i] == 0xff && i + 2 < size;
    text += static_cast<WCHAR>(wide ? data[i + 1] | data[i + 2] << 8 : data[i]);
    if (wide) i += 2;
  }
  return text.substr(0, text.find(WCHAR{0}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  qv::setWindowCalls(&kRuler);
  const int32_t capacity = 1 + (data[0] | (data[1] & 3) << 8);
  const int32_t width = data[2] * 20 - 40;
  const size_t split = std::min<size_t>(data[3] * 2u, size - 4);
  const Text path = textOf(data + 4, split);
  const Text other = textOf(data + 4 + split, size - 4 - split);
  checkParts(path, capacity);
  checkEdits(path, other, capacity);
  checkRelative(path, other, capacity);
  checkRelative(other, path, capacity);
  checkFull(path, capacity);
  checkEllipsis(path, capacity, width);
  QvFilenameLogicalCompare(path.c_str(), other.c_str());
  qv::setWindowCalls(nullptr);
  return 0;
}
