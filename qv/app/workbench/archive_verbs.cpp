// archive: the toolkit's own archives, made, looked into, taken apart and put together.
#include <algorithm>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/progress.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/files/archive2.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/platform/programs.h"
#include "qv/platform/times.h"

namespace qv::workbench {
namespace {

// Shows how far an operation has come, overwrites what is there, and keeps what was reported.
class Watcher final : public CQvArchiveProgress {
 public:
  HRESULT error(uint32_t code) override {
    if (!failures_.empty()) failures_ += TEXT("; ");
    WCHAR number[16];
    QvCchPrintF(number, 16, nullptr, TEXT("0x%08X "), code);
    failures_ += number;
    failures_ += text();
    return kOk;
  }
  HRESULT status(uint32_t code) override {
    if (code == QVARCHIVE_STATUS_ASKOVERWRITE || code == QVARCHIVE_STATUS_ASKREADONLY) {
      respond(QVARCHIVE_RESPONSE_OVERWRITE);
    }
    files_ += code == QVARCHIVE_STATUS_EXTRACTING || code == QVARCHIVE_STATUS_DELETING ||
              code == QVARCHIVE_STATUS_VALIDATING;
    return kOk;
  }
  HRESULT advance(uint64_t amount) override {
    CQvArchiveProgress::advance(amount);
    const double percent =
        total() > 0 ? 100.0 * static_cast<double>(done()) / static_cast<double>(total()) : 0.0;
    progress_.show(std::min(percent, 100.0), text());
    return kOk;
  }
  // How many files were extracted, validated or deleted.
  int64_t files() const { return files_; }
  // What went wrong, as one sentence.
  WString sentence(const WString& path) const {
    return failures_.empty() ? TEXT("The archive says no: ") + path : failures_;
  }

 private:
  Progress progress_;
  WString failures_;
  int64_t files_ = 0;
};

// A stub that the job's folder doesn't have is the one beside the workbench.
WString stubPath(const WString& given, const WString& word) {
  const bool known = QvDoesFileExist(given.c_str(), 0) || !folderOf(word).empty() || isAbsolutePath(word);
  return known ? given : folderOfExecutable() + word + platform::kProgramSuffix;
}

// A result may be the first of its folder; where that fails, opening says so.
void makeFolderOf(const WString& path) {
  WCHAR folder[kPathCapacity];
  const int32_t length = QvGetPathNameFromFilePath(path.c_str(), folder, kPathCapacity);
  if (length > 0 && length < kPathCapacity) QvCreateDirectory(folder, nullptr);
}

// One step with an archive: opened, worked on, closed.
class Work {
 public:
  Work(Session& session, const Step& step) : session_(session), step_(step) {}

  WString in(size_t word) const { return fullPath(session_.inputPath(step_.words[word])); }
  WString out(size_t word) const { return fullPath(session_.outputPath(step_.words[word])); }
  const WString& word(size_t index) const { return step_.words[index]; }
  bool has(size_t index) const { return step_.words.size() > index; }
  int64_t number(const WCHAR* key, int64_t otherwise) const {
    const WString* given = step_.option(key);
    int64_t value = otherwise;
    return given != nullptr && parseInteger(*given, value) ? value : otherwise;
  }
  const WString* option(const WCHAR* key) const { return step_.option(key); }
  Session& session() { return session_; }
  CArchive2& archive() { return archive_; }
  Watcher& watcher() { return watcher_; }

  // Opens, runs and closes; a failure of either counts.
  template <typename Run>
  HRESULT with(const WString& path, int32_t mode, const Run& run) {
    if (mode == QVARCHIVE_CREATE) makeFolderOf(path);
    HRESULT status = archive_.Open(path.c_str(), mode, &watcher_);
    if (SUCCEEDED(status)) status = run();
    const HRESULT closed = archive_.Close();
    if (SUCCEEDED(status)) status = closed;
    return FAILED(status) ? session_.fail(status, watcher_.sentence(path)) : kOk;
  }
  HRESULT done(const WCHAR* what, int64_t count) {
    session_.record({TEXT("archive"), what, count});
    return kOk;
  }

 private:
  Session& session_;
  const Step& step_;
  CArchive2 archive_;
  Watcher watcher_;
};

HRESULT addFrom(Work& work, size_t word, int32_t mode) {
  const auto method = static_cast<uint32_t>(work.number(TEXT("method"), 1));
  const auto level = static_cast<int32_t>(work.number(TEXT("level"), 6));
  const WString* folder = work.option(TEXT("into"));
  const WString* comment = work.option(TEXT("comment"));
  const WString path = work.out(2);
  const HRESULT status = work.with(path, mode, [&] {
    if (comment != nullptr) work.archive().AddVolumeComment(comment->c_str());
    if (!work.has(word)) return kOk;
    return work.archive().AddEntryToArchive(work.in(word).c_str(), method, level,
                                            QVADD_RECURSE | QVADD_REPLACE,
                                            folder != nullptr ? folder->c_str() : nullptr);
  });
  if (FAILED(status)) return status;
  CArchive2 made;
  made.Open(path.c_str(), QVARCHIVE_READ, nullptr);
  return work.done(work.word(1).c_str(), made.GetArchiveCount());
}

HRESULT create(Work& work) {
  return addFrom(work, 3, QVARCHIVE_CREATE);
}
HRESULT add(Work& work) {
  return addFrom(work, 3, QVARCHIVE_APPEND);
}

WString timeText(const FILETIME& time) {
  SYSTEMTIME fields = {};
  FILETIME local = {};
  FileTimeToLocalFileTime(&time, &local);
  FileTimeToSystemTime(&local, &fields);
  WCHAR text[32];
  QvCchPrintF(text, 32, nullptr, TEXT("%04d-%02d-%02d %02d:%02d:%02d"), fields.wYear, fields.wMonth,
              fields.wDay, fields.wHour, fields.wMinute, fields.wSecond);
  return text;
}

HRESULT list(Work& work) {
  return work.with(work.in(2), QVARCHIVE_READ, [&] {
    CArchive2& archive = work.archive();
    WCHAR name[kPathCapacity], crcText[16];
    for (int32_t i = 0; i < archive.GetArchiveCount(); ++i) {
      uint64_t bytes = 0, stored = 0;
      uint32_t method = 0, crc = 0;
      FILETIME time = {};
      if (archive.GetEntryName(i, name, kPathCapacity) != 1) return kBadFormat;
      archive.GetEntryUncompressedSize(i, bytes);
      archive.GetEntryCompressedSize(i, stored);
      archive.GetEntryCompressionType(i, method);
      archive.GetEntryCRC32(i, crc);
      archive.GetEntryFileTime(i, time);
      QvCchPrintF(crcText, 16, nullptr, TEXT("%08x"), crc);
      work.session().record({TEXT("entry"), name, static_cast<int64_t>(bytes), static_cast<int64_t>(stored),
                             method, timeText(time), crcText});
    }
    return kOk;
  });
}

HRESULT info(Work& work) {
  return work.with(work.in(2), QVARCHIVE_READ, [&] {
    CArchive2& archive = work.archive();
    WCHAR comment[1024] = {};
    uint64_t bytes = 0;
    archive.GetVolumeComment(comment, 1024);
    archive.GetSizeExtractAll(bytes);
    Session& session = work.session();
    session.record({TEXT("archive"), TEXT("entries"), archive.GetArchiveCount()});
    session.record({TEXT("archive"), TEXT("bytes"), archive.GetArchiveSize()});
    session.record({TEXT("archive"), TEXT("bytes of its files"), static_cast<int64_t>(bytes)});
    session.record({TEXT("archive"), TEXT("volumes"), archive.GetMultiVolumeStatus()});
    session.record({TEXT("archive"), TEXT("self-extracting"), int32_t{archive.GetArchiveSEAStatus()}});
    session.record({TEXT("archive"), TEXT("comment"), comment});
    return kOk;
  });
}

HRESULT extract(Work& work) {
  const WString folder = work.out(3);
  const WString* name = work.option(TEXT("name"));
  const HRESULT made = makeFolder(folder);
  if (FAILED(made)) return made;
  const HRESULT status = work.with(work.in(2), QVARCHIVE_READ, [&] {
    if (name == nullptr) return work.archive().ExtractAll(folder.c_str(), QVEXTRACT_OVERWRITE);
    const HRESULT one = work.archive().ExtractEntry(name->c_str(), folder.c_str(), QVEXTRACT_OVERWRITE);
    return one == kNothing ? kNotFound : one;
  });
  return FAILED(status) ? status : work.done(TEXT("extracted"), work.watcher().files());
}

HRESULT validate(Work& work) {
  const HRESULT status = work.with(work.in(2), QVARCHIVE_READ, [&] {
    return work.archive().ValidateEntry(work.has(3) ? work.word(3).c_str() : TEXT("*.*"));
  });
  return FAILED(status) ? status : work.done(TEXT("valid"), work.watcher().files());
}

HRESULT remove(Work& work) {
  const HRESULT status = work.with(work.out(2), QVARCHIVE_DELETE, [&] {
    return work.archive().DeleteEntryFromArchive(work.word(3).c_str(), 0);
  });
  return FAILED(status) ? status : work.done(TEXT("deleted"), work.watcher().files());
}

HRESULT annotate(Work& work) {
  const HRESULT status = work.archive().Annotate(work.out(2).c_str(), work.word(3).c_str());
  if (FAILED(status)) return work.session().fail(status, work.watcher().sentence(work.word(2)));
  return work.done(TEXT("annotated"), 1);
}

HRESULT split(Work& work) {
  int64_t bytes = 0;
  if (!parseInteger(work.word(3), bytes) || bytes < 1) {
    return work.session().fail(kInvalidArgument, TEXT("archive split takes the bytes of a volume."));
  }
  int32_t volumes = 0;
  const HRESULT status = work.with(work.out(2), QVARCHIVE_MULTIVOLUME, [&] {
    const HRESULT done = work.archive().SplitArchive(static_cast<uint64_t>(bytes), 0);
    volumes = work.archive().GetMultiVolumeStatus();
    return done;
  });
  return FAILED(status) ? status : work.done(TEXT("volumes"), volumes);
}

HRESULT merge(Work& work) {
  int32_t volumes = 0;
  const HRESULT status = work.with(work.out(2), QVARCHIVE_MULTIVOLUME, [&] {
    const HRESULT done = work.archive().MergeArchive(0);
    volumes = work.archive().GetMultiVolumeStatus();
    return done;
  });
  return FAILED(status) ? status : work.done(TEXT("volumes"), volumes);
}

HRESULT makeSelfExtracting(Work& work) {
  const WString made = work.out(4);
  const HRESULT status = work.with(work.out(2), QVARCHIVE_SELFEXTRACTING, [&] {
    return work.archive().CreateSEA(made.c_str(), stubPath(work.in(3), work.word(3)).c_str(), 0);
  });
  if (FAILED(status)) return status;
  CArchive2 reader;
  const HRESULT opened = reader.Open(made.c_str(), QVARCHIVE_READ, nullptr);
  if (FAILED(opened)) return work.session().fail(opened, made);
  return work.done(TEXT("self-extracting bytes"), reader.GetArchiveSize());
}

HRESULT takeStubOff(Work& work) {
  const WString folder = work.out(3);
  const HRESULT made = makeFolder(folder);
  if (FAILED(made)) return made;
  const HRESULT status = work.with(work.out(2), QVARCHIVE_READ, [&] {
    return work.archive().SplitSEA(folder.c_str(), QVEXTRACT_OVERWRITE);
  });
  if (FAILED(status)) return status;
  uint64_t stub = 0;
  QvGetFileSizeByName((folder + TEXT("\\Seastub.exe")).c_str(), &stub);
  return work.done(TEXT("stub bytes"), static_cast<int64_t>(stub));
}

struct Operation {
  const WCHAR* name;
  size_t fewest, most;  // words, the verb and the operation among them
  HRESULT (*run)(Work& work);
};
constexpr Operation kOperations[] = {
    {TEXT("create"), 3, 4, create},
    {TEXT("add"), 4, 4, add},
    {TEXT("list"), 3, 3, list},
    {TEXT("info"), 3, 3, info},
    {TEXT("extract"), 4, 4, extract},
    {TEXT("validate"), 3, 4, validate},
    {TEXT("delete"), 4, 4, remove},
    {TEXT("annotate"), 4, 4, annotate},
    {TEXT("split"), 4, 4, split},
    {TEXT("merge"), 3, 3, merge},
    {TEXT("sea"), 5, 5, makeSelfExtracting},
    {TEXT("unsea"), 4, 4, takeStubOff},
};

HRESULT runArchive(Session& session, const Step& step) {
  for (const Operation& operation : kOperations) {
    if (step.words[1] != operation.name) continue;
    if (step.words.size() < operation.fewest || step.words.size() > operation.most) break;
    Work work(session, step);
    return operation.run(work);
  }
  return session.fail(
      kInvalidArgument,
      TEXT("archive takes create, add, list, info, extract, validate, delete, annotate, split, merge, "
           "sea or unsea, and what goes with it."));
}

constexpr Verb kVerbs[] = {
    {"archive", "OPERATION FILE [MORE]", 2, 4, "method level into comment name", runArchive}};

}  // namespace

std::span<const Verb> archiveVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
