// A compiled resource file is a run of entries, each on a 4-byte boundary: data size, header size, type, name
// (a number behind 0xffff, or a terminated text), alignment, data version, memory flags, language, version,
// characteristics; then the data. The first entry is empty and marks the file. The format is described with
// the resource-file formats of the Windows documentation.
#include "qv/platform/resources.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qv/platform/linux/resource_file.h"
#include "qv/platform/locale.h"
#include "qv/platform/resource_lists.h"
#include "qv/platform/win32.h"

// What an HRSRC points to.
struct HRSRC__ {
  const uint8_t* data;
  DWORD size;
};

namespace qv::platform {
namespace {

constexpr size_t kLargestFile = 256u << 20;
constexpr uint8_t kFileMark[] = {0, 0, 0, 0, 0x20, 0, 0, 0, 0xff, 0xff, 0, 0, 0xff, 0xff, 0, 0};
constexpr WORD kEnglish = 0x0409;

// A type or a name: a number, or a text when it is not empty.
struct Identifier {
  WORD number = 0;
  std::u16string text;

  bool matches(LPCWSTR wanted) const {
    if (IS_INTRESOURCE(wanted)) return text.empty() && number == reinterpret_cast<ULONG_PTR>(wanted);
    return !text.empty() && lstrcmpiW(text.c_str(), wanted) == 0;
  }
};

struct Entry {
  Identifier type;
  Identifier name;
  WORD language;
  HRSRC__ found;
};

struct ResourceFile {
  std::string path;  // empty for bytes that are no file
  int references = 1;
  std::vector<uint8_t> bytes;
  std::vector<Entry> entries;
};

std::mutex filesLock;
std::vector<std::unique_ptr<ResourceFile>> files;

// The executable's own resources, which the build puts behind these names; absent where it has none.
extern "C" {
[[gnu::weak, gnu::visibility("hidden")]] extern const uint8_t qvProgramResources[];
[[gnu::weak, gnu::visibility("hidden")]] extern const uint8_t qvProgramResourcesEnd[];
}

const ResourceFile* programFile();

const ResourceFile* fileOf(HMODULE module) {
  if (module == nullptr || module == GetModuleHandleW(nullptr)) return programFile();
  const std::lock_guard lock(filesLock);
  for (const auto& file : files) {
    if (reinterpret_cast<HMODULE>(file.get()) == module) return file.get();
  }
  return nullptr;
}

size_t alignUp(size_t offset) {
  return (offset + 3) & ~size_t{3};
}

// Reads within one entry's header; past its end it answers with zeros and stays failed.
class HeaderReader {
 public:
  HeaderReader(const std::vector<uint8_t>& bytes, size_t at, size_t end)
      : bytes_(bytes), at_(at), end_(end) {}

  template <typename T>
  T take() {
    T value{};
    if (failed_ || end_ - at_ < sizeof(T)) {
      failed_ = true;
      return value;
    }
    memcpy(&value, bytes_.data() + at_, sizeof(T));
    at_ += sizeof(T);
    return value;
  }

  Identifier takeIdentifier() {
    Identifier identifier;
    char16_t unit = take<char16_t>();
    if (unit == 0xffff) {
      identifier.number = take<WORD>();
      return identifier;
    }
    for (; unit != 0 && !failed_; unit = take<char16_t>()) identifier.text += unit;
    return identifier;
  }

  void align() { at_ = std::min(alignUp(at_), end_); }
  bool failed() const { return failed_; }

 private:
  const std::vector<uint8_t>& bytes_;
  size_t at_;
  size_t end_;
  bool failed_ = false;
};

bool readEntry(ResourceFile& file, size_t& at) {
  const size_t size = file.bytes.size();
  HeaderReader sizes(file.bytes, at, size);
  const size_t dataSize = sizes.take<DWORD>();
  const size_t headerSize = sizes.take<DWORD>();
  if (sizes.failed() || headerSize < 32 || headerSize > size - at || dataSize > size - at - headerSize)
    return false;
  if (headerSize % 4 != 0) return false;  // the data would lie where no text may be read
  HeaderReader header(file.bytes, at + 8, at + headerSize);
  Entry entry;
  entry.type = header.takeIdentifier();
  entry.name = header.takeIdentifier();
  header.align();
  header.take<DWORD>();  // data version
  header.take<WORD>();   // memory flags
  entry.language = header.take<WORD>();
  if (header.failed()) return false;
  entry.found = {file.bytes.data() + at + headerSize, static_cast<DWORD>(dataSize)};
  file.entries.push_back(std::move(entry));
  at = alignUp(at + headerSize + dataSize);
  return true;
}

bool readEntries(ResourceFile& file) {
  const bool marked =
      file.bytes.size() >= 32 && std::equal(std::begin(kFileMark), std::end(kFileMark), file.bytes.begin());
  size_t at = 32;
  while (marked && at < file.bytes.size()) {
    if (!readEntry(file, at)) return false;
  }
  // A loaded image keeps the languages of a resource in this order, whatever that of the source was.
  std::stable_sort(file.entries.begin(), file.entries.end(),
                   [](const Entry& a, const Entry& b) { return a.language < b.language; });
  return marked;
}

const ResourceFile* programFile() {
  static const ResourceFile* const program = [] {
    const auto file = new ResourceFile;
    // Through volatile: a compiler takes for granted that an array has an address.
    const uint8_t* const volatile begin = qvProgramResources;
    const uint8_t* const start = begin;
    if (start != nullptr) file->bytes.assign(start, static_cast<const uint8_t*>(qvProgramResourcesEnd));
    readEntries(*file);
    return file;
  }();
  return program;
}

bool readBytes(const char* path, std::vector<uint8_t>& bytes) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat facts = {};
  bool good = fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode) &&
              static_cast<size_t>(facts.st_size) <= kLargestFile;
  if (good) bytes.resize(static_cast<size_t>(facts.st_size));
  for (size_t at = 0; good && at < bytes.size();) {
    const ssize_t got = read(descriptor, bytes.data() + at, bytes.size() - at);
    good = got > 0;
    at += static_cast<size_t>(std::max<ssize_t>(got, 0));
  }
  close(descriptor);
  return good;
}

const Entry* findEntry(const ResourceFile& file, LPCWSTR type, LPCWSTR name, WORD language,
                       bool anyLanguage) {
  DWORD error = ERROR_RESOURCE_TYPE_NOT_FOUND;
  for (const Entry& entry : file.entries) {
    if (!entry.type.matches(type)) continue;
    error = std::max<DWORD>(error, ERROR_RESOURCE_NAME_NOT_FOUND);
    if (!entry.name.matches(name)) continue;
    error = ERROR_RESOURCE_LANG_NOT_FOUND;
    if (anyLanguage || entry.language == language) return &entry;
  }
  SetLastError(error);
  return nullptr;
}

// What stands in for a language that isn't there: its neutral form, then what belongs to no language. Asking
// for no language in particular goes on to the user's, English, and any.
const Entry* findInLanguage(const ResourceFile& file, LPCWSTR type, LPCWSTR name, WORD language) {
  const auto neutral = [](WORD full) { return static_cast<WORD>(full & 0x3ff); };
  const WORD users = GetUserDefaultUILanguage();
  const WORD order[] = {language, neutral(language), 0,       LOWORD(GetThreadLocale()),
                        users,    neutral(users),    kEnglish};
  const bool any = neutral(language) == 0;
  for (size_t i = 0; i < (any ? std::size(order) : 3); ++i) {
    if (const Entry* entry = findEntry(file, type, name, order[i], false)) return entry;
  }
  return any ? findEntry(file, type, name, 0, true) : nullptr;
}

HMODULE handleOf(ResourceFile* file) {
  return reinterpret_cast<HMODULE>(file);
}

// Takes a read file among the modules.
HMODULE adopt(std::unique_ptr<ResourceFile> file) {
  const std::lock_guard lock(filesLock);
  files.push_back(std::move(file));
  return handleOf(files.back().get());
}

std::string canonicalPath(const char* path) {
  char resolved[PATH_MAX];
  return realpath(path, resolved) != nullptr ? resolved : path;
}

HMODULE openOnceMore(const std::string& path) {
  const std::lock_guard lock(filesLock);
  for (const auto& file : files) {
    if (file->path != path) continue;
    ++file->references;
    return handleOf(file.get());
  }
  return nullptr;
}

}  // namespace

HMODULE openResourceFile(const char* utf8Path) {
  auto file = std::make_unique<ResourceFile>();
  file->path = canonicalPath(utf8Path);
  if (const HMODULE open = openOnceMore(file->path)) return open;
  if (readBytes(utf8Path, file->bytes) && readEntries(*file)) return adopt(std::move(file));
  SetLastError(ERROR_BAD_EXE_FORMAT);
  return nullptr;
}

HMODULE openResourceBytes(std::vector<uint8_t> bytes) {
  auto file = std::make_unique<ResourceFile>();
  file->bytes = std::move(bytes);
  if (readEntries(*file)) return adopt(std::move(file));
  SetLastError(ERROR_BAD_EXE_FORMAT);
  return nullptr;
}

bool closeResourceFile(HMODULE module) {
  const std::lock_guard lock(filesLock);
  const auto found = std::find_if(files.begin(), files.end(),
                                  [module](const auto& file) { return handleOf(file.get()) == module; });
  if (found == files.end()) return false;
  if (--(*found)->references == 0) files.erase(found);
  return true;
}

bool isResourceFile(HMODULE module) {
  const std::lock_guard lock(filesLock);
  return std::any_of(files.begin(), files.end(),
                     [module](const auto& file) { return handleOf(file.get()) == module; });
}

const uint8_t* resourceEnd(const uint8_t* address) {
  const auto endIn = [address](const ResourceFile& file) -> const uint8_t* {
    for (const Entry& entry : file.entries) {
      const HRSRC__& found = entry.found;
      if (address >= found.data && address < found.data + found.size) return found.data + found.size;
    }
    return nullptr;
  };
  if (const uint8_t* end = endIn(*programFile())) return end;
  const std::lock_guard lock(filesLock);
  for (const auto& file : files) {
    if (const uint8_t* end = endIn(*file)) return end;
  }
  return nullptr;
}

const char* resourceFilePath(HMODULE module) {
  if (!isResourceFile(module)) return nullptr;
  const ResourceFile* file = fileOf(module);
  return file->path.empty() ? nullptr : file->path.c_str();
}

}  // namespace qv::platform

using namespace qv::platform;

HRSRC FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language) {
  const ResourceFile* file = fileOf(module);
  if (file == nullptr) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
  }
  const Entry* entry = findInLanguage(*file, type, name, language);
  return entry == nullptr ? nullptr : const_cast<HRSRC>(&entry->found);
}

HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type) {
  return FindResourceExW(module, type, name, 0);
}

HGLOBAL LoadResource(HMODULE, HRSRC found) {
  return found == nullptr ? nullptr : const_cast<uint8_t*>(found->data);
}

LPVOID LockResource(HGLOBAL data) {
  return data;
}

DWORD SizeofResource(HMODULE, HRSRC found) {
  return found == nullptr ? 0 : found->size;
}

BOOL EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW callback,
                            LONG_PTR parameter) {
  const ResourceFile* file = fileOf(module);
  if (file == nullptr) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
  }
  if (findEntry(*file, type, name, 0, true) == nullptr) return FALSE;
  for (const Entry& entry : file->entries) {
    if (entry.type.matches(type) && entry.name.matches(name) &&
        !callback(module, type, name, entry.language, parameter)) {
      return FALSE;
    }
  }
  return TRUE;
}

namespace {

// Each different identifier once, texts first. The callback may unload nothing, so the texts stand.
std::vector<const Identifier*> listed(std::vector<const Identifier*> all) {
  const auto before = [](const Identifier* a, const Identifier* b) {
    if (a->text.empty() != b->text.empty()) return b->text.empty();
    return a->text.empty() ? a->number < b->number : lstrcmpiW(a->text.c_str(), b->text.c_str()) < 0;
  };
  std::stable_sort(all.begin(), all.end(), before);
  const auto same = [before](const Identifier* a, const Identifier* b) { return !before(a, b); };
  all.erase(std::unique(all.begin(), all.end(), same), all.end());
  return all;
}

LPWSTR nameOf(const Identifier& identifier) {
  const LPCWSTR text =
      identifier.text.empty() ? MAKEINTRESOURCEW(identifier.number) : identifier.text.c_str();
  return const_cast<LPWSTR>(text);
}

}  // namespace

BOOL EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW callback, LONG_PTR parameter) {
  const ResourceFile* file = fileOf(module);
  std::vector<const Identifier*> types;
  if (file != nullptr) {
    for (const Entry& entry : file->entries) types.push_back(&entry.type);
  }
  if (types.empty()) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
  }
  for (const Identifier* type : listed(std::move(types))) {
    if (!callback(module, nameOf(*type), parameter)) return FALSE;
  }
  return TRUE;
}

BOOL EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW callback, LONG_PTR parameter) {
  const ResourceFile* file = fileOf(module);
  std::vector<const Identifier*> names;
  if (file != nullptr) {
    for (const Entry& entry : file->entries) {
      if (entry.type.matches(type)) names.push_back(&entry.name);
    }
  }
  if (names.empty()) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
  }
  for (const Identifier* name : listed(std::move(names))) {
    if (!callback(module, type, nameOf(*name), parameter)) return FALSE;
  }
  return TRUE;
}

int LoadStringW(HMODULE module, UINT number, LPWSTR text, int capacity) {
  const HRSRC block = FindResourceW(module, MAKEINTRESOURCEW((number >> 4) + 1), RT_STRING);
  if (block == nullptr || text == nullptr || capacity < 1) return 0;
  // Sixteen strings a block, each a length and that many characters.
  const uint8_t* at = block->data;
  const uint8_t* end = at + block->size;
  WORD length = 0;
  for (UINT skip = number & 15; end - at >= 2; --skip) {
    memcpy(&length, at, 2);
    at += 2;
    if ((end - at) / 2 < length) return 0;
    if (skip == 0) break;
    at += length * 2;
    length = 0;
  }
  const int copied = std::min<int>(length, capacity - 1);
  memcpy(text, at, static_cast<size_t>(copied) * 2);
  text[copied] = 0;
  return copied;
}
