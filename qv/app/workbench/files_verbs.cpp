// Files: what paths say of themselves, whole folders, the room on a disk.
#include <algorithm>
#include <cstring>
#include <map>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/progress.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/files/files.h"
#include "qv/files/filetext.h"
#include "qv/files/paths.h"
#include "qv/files/tree.h"
#include "qv/frame/status.h"
#include "qv/platform/find.h"

namespace qv::workbench {
namespace {

constexpr int32_t kCapacity = 1024;

// ---- path -----------------------------------------------------------------------------------------------

// What a path function writes into a buffer; texts in a job are short enough for it.
template <typename Write>
WString written(Write write) {
  WCHAR text[kCapacity] = {};
  write(text);
  return text;
}

WString changed(const WString& path, int32_t (*change)(WCHAR*, int32_t)) {
  return written([&](WCHAR* text) {
    lstrcpynW(text, path.c_str(), kCapacity);
    change(text, kCapacity);
  });
}

WString nameOf(const WString& path) {
  return QvGetFileNamePtrW(path.c_str());
}

WString validated(const WString& name) {
  WString repaired = name;
  return QvValidateFileName(repaired.data(), 1) ? TEXT("valid") : repaired;
}

// One operation: `with` is what follows the path.
struct PathOperation {
  const WCHAR* name;
  size_t arguments;
  WString (*run)(const WString& path, const WString& with);
};

constexpr PathOperation kPathOperations[] = {
    {TEXT("name"), 1, [](const WString& p, const WString&) { return nameOf(p); }},
    {TEXT("ext"), 1,
     [](const WString& p, const WString&) { return WString(QvGetFileNameExtensionPtrW(nameOf(p).c_str())); }},
    {TEXT("bare"), 1,
     [](const WString& p, const WString&) {
       return written([&](WCHAR* t) { QvGetFileNameWithoutPathOrExtension(p.c_str(), t, kCapacity); });
     }},
    {TEXT("folder"), 1,
     [](const WString& p, const WString&) {
       return written([&](WCHAR* t) { QvGetPathNameFromFilePath(p.c_str(), t, kCapacity); });
     }},
    {TEXT("root"), 1,
     [](const WString& p, const WString&) {
       return written([&](WCHAR* t) { QvGetRootPathFromFilePath(p.c_str(), t, kCapacity); });
     }},
    {TEXT("up"), 1, [](const WString& p, const WString&) { return changed(p, QvDirectoryUpOneLevel); }},
    {TEXT("full"), 1,
     [](const WString& p, const WString&) {
       return written([&](WCHAR* t) { QvQualifyPath(p.c_str(), t, kCapacity); });
     }},
    {TEXT("validate"), 1, [](const WString& p, const WString&) { return validated(p); }},
    {TEXT("match"), 2,
     [](const WString& pattern, const WString& name) {
       return WString(QvIsMatchWildCard(pattern.c_str(), name.c_str()) ? TEXT("1") : TEXT("0"));
     }},
    {TEXT("append"), 2,
     [](const WString& p, const WString& with) {
       return written([&](WCHAR* t) {
         lstrcpynW(t, p.c_str(), kCapacity);
         QvAppendToPathName(t, kCapacity, with.c_str(), nullptr);
       });
     }},
    {TEXT("retype"), 2,
     [](const WString& p, const WString& with) {
       return written([&](WCHAR* t) {
         lstrcpynW(t, p.c_str(), kCapacity);
         QvAddExtensionToPathName(t, kCapacity, with.c_str());
       });
     }},
    {TEXT("relative"), 2,
     [](const WString& p, const WString& base) {
       return WString(QvGetFileNamePtrRelative(p.c_str(), base.c_str()));
     }},
};

HRESULT runPath(Session& session, const Step& step) {
  const size_t arguments = step.words.size() - 2;
  for (const PathOperation& operation : kPathOperations) {
    if (step.words[1] != operation.name) continue;
    if (arguments != operation.arguments) break;
    const WString with = arguments > 1 ? step.words[3] : WString();
    session.record({TEXT("path"), operation.name, step.words[2], operation.run(step.words[2], with)});
    return kOk;
  }
  return session.fail(
      kInvalidArgument,
      TEXT("path takes name, ext, bare, folder, root, up, full or validate and one text, or match, "
           "append, retype or relative and two."));
}

// A folder function wants a whole path; one on a drive that isn't there stays as it is.
WString fromPath(const Session& session, const Step& step) {
  return fullPath(session.inputPath(step.words[2]));
}
WString toPath(const Session& session, const Step& step) {
  return fullPath(session.outputPath(step.words[3]));
}

// ---- tree -----------------------------------------------------------------------------------------------

enum class Kind { file, folder, link };

struct Entry {
  WString name;  // below the folder
  Kind kind;
  uint64_t size;
};

Kind kindOf(const WIN32_FIND_DATAW& found) {
  if (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) return Kind::link;
  return found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY ? Kind::folder : Kind::file;
}

// The names of one folder in the order in which people sort them; false if it can't be listed.
bool listFolder(const WString& folder, const WString& below, std::vector<Entry>& entries) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW((folder + TEXT("\\") + below + TEXT("*")).c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
  do {
    const WStringView name = found.cFileName;
    const uint64_t size = (uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
    if (name != TEXT(".") && name != TEXT(".."))
      entries.push_back({below + found.cFileName, kindOf(found), size});
  } while (FindNextFileW(search, &found));
  const bool whole = GetLastError() == ERROR_NO_MORE_FILES;
  FindClose(search);
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    const int32_t order = QvFilenameLogicalCompare(a.name.c_str(), b.name.c_str());
    return order != 0 ? order < 0 : a.name < b.name;
  });
  return whole;
}

// Everything below a folder, each folder before what is in it.
bool listTree(const WString& folder, const WString& below, std::vector<Entry>& entries) {
  std::vector<Entry> here;
  if (!listFolder(folder, below, here)) return false;
  for (const Entry& entry : here) {
    entries.push_back(entry);
    if (entry.kind == Kind::folder && !listTree(folder, entry.name + TEXT("\\"), entries)) return false;
  }
  return true;
}

HRESULT readTree(Session& session, const WString& folder, std::vector<Entry>& entries) {
  if (listTree(folder, WString(), entries)) return kOk;
  return session.fail(kNotFound, TEXT("The folder, or one below it, could not be listed: ") + folder);
}

WString sizeText(uint64_t size) {
  return written([&](WCHAR* text) { QvGetByteSizeText2(size, text); });
}

WString stampOf(const WString& path) {
  const uint32_t stamp = QvDosGetDateTimeUTC(path.c_str());
  return written([&](WCHAR* text) {
    QvCchPrintF(text, 32, nullptr, TEXT("%04d-%02d-%02d %02d:%02d:%02d"), 1980 + (stamp >> 25),
                (stamp >> 21) & 15, (stamp >> 16) & 31, (stamp >> 11) & 31, (stamp >> 5) & 63,
                (stamp & 31) * 2);
  });
}

HRESULT showSize(Session& session, const Step& step) {
  uint64_t size = 0;
  const WString folder = fromPath(session, step);
  if (GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) {
    return session.fail(kNotFound, TEXT("There is no folder ") + folder);
  }
  if (const HRESULT status = QvGetDirectorySize(folder.c_str(), &size); FAILED(status)) return status;
  session.record({TEXT("tree"), TEXT("size"), static_cast<int64_t>(size), sizeText(size)});
  return kOk;
}

HRESULT showList(Session& session, const Step& step) {
  std::vector<Entry> entries;
  const WString folder = fromPath(session, step);
  if (const HRESULT status = readTree(session, folder, entries); FAILED(status)) return status;
  for (const Entry& entry : entries) {
    if (entry.kind == Kind::file) {
      session.record(
          {entry.name, static_cast<int64_t>(entry.size), stampOf(folder + TEXT("\\") + entry.name)});
    } else {
      session.record({entry.name, entry.kind == Kind::link ? TEXT("link") : TEXT("folder")});
    }
  }
  return kOk;
}

HRESULT showEmpty(Session& session, const Step& step) {
  const WString folder = fromPath(session, step);
  session.record({TEXT("tree"), TEXT("empty"), QvIsDirectoryEmpty(folder.c_str())});
  session.record({TEXT("tree"), TEXT("without files"), QvIsDirectoryEmptyRecursive(folder.c_str(), 0)});
  return kOk;
}

// Copies what was listed; what a link leads to belongs to somebody else.
HRESULT copyEntries(Session& session, const std::vector<Entry>& entries, const WString& from,
                    const WString& to) {
  Progress progress;
  uint64_t all = 1, done = 0;
  int64_t copied = 0, links = 0;
  for (const Entry& entry : entries) all += entry.size;
  for (const Entry& entry : entries) {
    const WString source = from + TEXT("\\") + entry.name, target = to + TEXT("\\") + entry.name;
    progress.show(static_cast<double>(done) * 100 / static_cast<double>(all), entry.name);
    const bool good = entry.kind == Kind::link     ? true
                      : entry.kind == Kind::folder ? QvCreateDirectory(target.c_str(), nullptr) != 0
                                                   : CopyFileW(source.c_str(), target.c_str(), FALSE) != 0;
    if (!good) return session.fail(kWriteFailed, TEXT("This could not be copied: ") + entry.name);
    done += entry.size;
    copied += entry.kind == Kind::file;
    links += entry.kind == Kind::link;
  }
  session.record({TEXT("tree"), TEXT("copied"), copied});
  if (links > 0) session.record({TEXT("tree"), TEXT("links left out"), links});
  return kOk;
}

HRESULT runCopy(Session& session, const Step& step) {
  std::vector<Entry> entries;
  const WString from = fromPath(session, step), to = toPath(session, step);
  if (const HRESULT status = readTree(session, from, entries); FAILED(status)) return status;
  if (!QvCreateDirectory(to.c_str(), nullptr)) {
    return session.fail(kCannotCreateFile, TEXT("The folder could not be made: ") + to);
  }
  return copyEntries(session, entries, from, to);
}

HRESULT showProgress(void* data, double percent, const WCHAR* path) {
  static_cast<Progress*>(data)->show(percent, path != nullptr ? path : TEXT(""));
  return kOk;
}

HRESULT runMove(Session& session, const Step& step) {
  const WString from = fromPath(session, step), to = toPath(session, step);
  uint32_t count = 0;
  HRESULT status = kOk;
  {
    Progress progress;
    status = QvMoveFolder(to.c_str(), from.c_str(), &count, showProgress, &progress);
  }
  session.record({TEXT("tree"), TEXT("moved"), count});
  if (FAILED(status))
    return session.fail(status, TEXT("Not everything could be moved from ") + from + TEXT(" to ") + to);
  if (status == kNothing) session.record({TEXT("tree"), TEXT("left behind"), from});
  return kOk;
}

HRESULT runDelete(Session& session, const Step& step) {
  const WString folder = fromPath(session, step);
  const WString* pattern = step.option(TEXT("pattern"));
  const int32_t all = pattern != nullptr ? QvDeleteFiles(folder.c_str(), pattern->c_str(), 1)
                                         : QvDeleteDirectoryTree(folder.c_str(), 1);
  session.record({TEXT("tree"), TEXT("deleted"), all});
  return all ? kOk : session.fail(kWriteFailed, TEXT("Not everything could be deleted in ") + folder);
}

// ---- tree compare ---------------------------------------------------------------------------------------

// Whether two files of one size hold the same bytes; false also when one can't be read.
bool sameBytes(const WString& one, const WString& other) {
  constexpr size_t kBlock = 256 * 1024;
  InputFile first, second;
  if (FAILED(first.open(one)) || FAILED(second.open(other))) return false;
  std::string mine(kBlock, 0), theirs(kBlock, 0);
  for (;;) {
    const int64_t got = first.read(mine.data(), kBlock);
    if (got < 0 || got != second.read(theirs.data(), kBlock)) return false;
    if (memcmp(mine.data(), theirs.data(), static_cast<size_t>(got)) != 0) return false;
    if (got == 0) return true;
  }
}

class Comparison {
 public:
  Comparison(Session& session, const WString& from, const WString& to)
      : session_(session), from_(from + TEXT("\\")), to_(to + TEXT("\\")) {}

  void compare(const std::vector<Entry>& ours, const std::vector<Entry>& theirs) {
    std::map<WString, Entry> others;
    for (const Entry& entry : theirs) others.emplace(entry.name, entry);
    for (const Entry& entry : ours) {
      const auto found = others.find(entry.name);
      if (found == others.end()) {
        tell(TEXT("only in the first"), entry.name);
        continue;
      }
      compare(entry, found->second);
      others.erase(found);
    }
    for (const auto& [name, entry] : others) tell(TEXT("only in the second"), name);
    session_.record({TEXT("tree"), TEXT("same files"), files_, static_cast<int64_t>(bytes_)});
  }
  bool same() const { return same_; }

 private:
  void compare(const Entry& one, const Entry& other) {
    const bool files = one.kind == Kind::file;
    if (one.kind != other.kind ||
        (files && (one.size != other.size || !sameBytes(from_ + one.name, to_ + other.name)))) {
      tell(TEXT("differs"), one.name);
    } else if (files) {
      ++files_;
      bytes_ += one.size;
    }
  }
  void tell(const WCHAR* how, const WString& name) {
    session_.record({TEXT("tree"), how, name});
    same_ = false;
  }

  Session& session_;
  WString from_, to_;
  int64_t files_ = 0;
  uint64_t bytes_ = 0;
  bool same_ = true;
};

HRESULT runCompare(Session& session, const Step& step) {
  std::vector<Entry> ours, theirs;
  const WString from = fromPath(session, step), to = toPath(session, step);
  HRESULT status = readTree(session, from, ours);
  if (SUCCEEDED(status)) status = readTree(session, to, theirs);
  if (FAILED(status)) return status;
  Comparison comparison(session, from, to);
  comparison.compare(ours, theirs);
  return comparison.same()
             ? kOk
             : session.fail(kGeneralFailure, TEXT("These folders differ: ") + from + TEXT(", ") + to);
}

struct TreeOperation {
  const WCHAR* name;
  size_t arguments;
  HRESULT (*run)(Session& session, const Step& step);
};

constexpr TreeOperation kTreeOperations[] = {
    {TEXT("size"), 1, showSize},      {TEXT("list"), 1, showList}, {TEXT("empty"), 1, showEmpty},
    {TEXT("copy"), 2, runCopy},       {TEXT("move"), 2, runMove},  {TEXT("delete"), 1, runDelete},
    {TEXT("compare"), 2, runCompare},
};

HRESULT runTree(Session& session, const Step& step) {
  for (const TreeOperation& operation : kTreeOperations) {
    if (step.words[1] == operation.name && step.words.size() - 2 == operation.arguments) {
      return operation.run(session, step);
    }
  }
  return session.fail(
      kInvalidArgument,
      TEXT("tree takes size, list, empty or delete and a folder, or copy, move or compare and two folders."));
}

// ---- freespace ------------------------------------------------------------------------------------------

HRESULT runFreeSpace(Session& session, const Step& step) {
  constexpr uint32_t kMiB = 1u << 20;
  WCHAR text[64] = {};
  const WString path = fullPath(session.inputPath(step.words[1]));
  session.record({TEXT("freespace"), step.words[1], QvFormatDiskFreeSpace(path.c_str(), text),
                  QvGetDiskFreeSpace(path.c_str(), kMiB), QvGetDiskTotalSpace(path.c_str(), kMiB)});
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"path", "name|ext|bare|folder|root|up|full|validate TEXT | match|append|retype|relative TEXT TEXT", 2, 3,
     "", runPath},
    {"tree", "size|list|empty|delete FOLDER [pattern=P] | copy|move|compare FROM TO", 2, 3, "pattern",
     runTree},
    {"freespace", "PATH", 1, 1, "", runFreeSpace},
};

}  // namespace

std::span<const Verb> filesVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
