#include "qv/stub/extractor.h"

#include "qv/files/archive2.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"

namespace qv::stub {
namespace {

constexpr uint32_t kNoArchive = 0x8004e0b0u, kNoSpace = 0x8004e0c8u, kMissing = 0x8004e00du;
constexpr uint32_t kDamaged = 0x8004e00bu;

// The question's letters. What has none is asked again.
struct Answer {
  WCHAR letter;
  uint32_t response;
};
constexpr Answer kAnswers[] = {{'y', QVARCHIVE_RESPONSE_OVERWRITE},
                               {'n', QVARCHIVE_RESPONSE_SKIP},
                               {'a', QVARCHIVE_RESPONSE_OVERWRITEALL},
                               {'s', QVARCHIVE_RESPONSE_SKIPALL},
                               {'q', QVARCHIVE_RESPONSE_CANCEL}};

// Shows the files as they come, asks before one is overwritten, and tells what went wrong.
class Dialogue final : public CQvArchiveProgress {
 public:
  explicit Dialogue(bool yes) : yes_(yes), watched_(isWatched()) {}
  ~Dialogue() override { erase(); }

  HRESULT error(uint32_t code) override {
    erase();
    complain(TEXT("%s (0x%08X)\n"), text(), code);
    return kOk;
  }
  HRESULT status(uint32_t code) override {
    const bool readOnly = code == QVARCHIVE_STATUS_ASKREADONLY;
    if (readOnly || code == QVARCHIVE_STATUS_ASKOVERWRITE) respond(askWhether(readOnly));
    files_ += code == QVARCHIVE_STATUS_EXTRACTING;
    return kOk;
  }
  HRESULT advance(uint64_t amount) override {
    CQvArchiveProgress::advance(amount);
    const uint64_t percent = total() > 0 ? (done() < total() ? done() * 100 / total() : 100) : 0;
    if (!watched_ || percent == percent_) return kOk;
    percent_ = percent;
    complain(TEXT("\r%d %%"), static_cast<int32_t>(percent));
    return kOk;
  }
  int32_t files() const { return files_; }

 private:
  uint32_t askWhether(bool readOnly) {
    if (yes_) return QVARCHIVE_RESPONSE_OVERWRITE;
    erase();
    for (Text given;;) {
      say(readOnly ? TEXT("%s is read-only. Overwrite it? (y)es, (n)o, (a)ll, (s)kip all, (q)uit: ")
                   : TEXT("%s is there already. Overwrite it? (y)es, (n)o, (a)ll, (s)kip all, (q)uit: "),
          text());
      if (!stub::ask(given)) return QVARCHIVE_RESPONSE_CANCEL;
      for (const Answer& answer : kAnswers) {
        if (!given.empty() && (given[0] | 0x20) == answer.letter) return answer.response;
      }
    }
  }
  void erase() {
    if (percent_ != kNone) complain(TEXT("\r      \r"));
    percent_ = kNone;
  }

  static constexpr uint64_t kNone = ~uint64_t{0};
  bool yes_, watched_;
  uint64_t percent_ = kNone;
  int32_t files_ = 0;
};

const WCHAR* words(HRESULT status) {
  switch (static_cast<uint32_t>(status)) {
    case kNoArchive:
      return TEXT("There is no archive behind this program, or its end is missing.");
    case kNoSpace:
      return TEXT("There is not enough free space in that folder.");
    case kMissing:
      return TEXT("A volume is missing, or a name leads out of the folder.");
    case kDamaged:
      return TEXT("The archive is damaged, or one of its volumes is missing.");
    default:
      return TEXT("Not everything could be extracted.");
  }
}

int32_t failure(HRESULT status) {
  if (static_cast<uint32_t>(status) == QVARCHIVE_RESPONSE_CANCEL) {
    complain(TEXT("Stopped.\n"));
    return kStopped;
  }
  complain(TEXT("%s (0x%08X)\n"), words(status), static_cast<uint32_t>(status));
  return kFailed;
}

int32_t list(CArchive2& archive) {
  WCHAR name[260];
  for (int32_t i = 0; i < archive.GetArchiveCount(); ++i) {
    uint64_t bytes = 0;
    if (archive.GetEntryName(i, name, 260) != 1) return failure(static_cast<HRESULT>(kDamaged));
    archive.GetEntryUncompressedSize(i, bytes);
    say(TEXT("%12I64u  %s\n"), bytes, name);
  }
  return kDone;
}

void introduce(CArchive2& archive) {
  WCHAR comment[1024] = {};
  uint64_t bytes = 0;
  archive.GetSizeExtractAll(bytes);
  archive.GetVolumeComment(comment, 1024);
  if (comment[0] != 0) say(TEXT("%s\n"), comment);
  say(TEXT("This archive holds %d entries, %I64u bytes in all.\n"), archive.GetArchiveCount(), bytes);
}

// The folder that is offered: called as the program, in the present folder.
Text offeredFolder(const Text& path) {
  const Text file = QvGetFileNamePtrW(path.c_str());
  const size_t dot = file.rfind('.');
  return dot != Text::npos && dot > 0 ? file.substr(0, dot) : file + TEXT(" files");
}

bool chooseFolder(const Text& path, Text& folder) {
  const Text offered = offeredFolder(path);
  say(TEXT("Extract into which folder? [%s] "), offered.c_str());
  if (!ask(folder)) return false;
  if (folder.empty()) folder = offered;
  return true;
}

int32_t extract(CArchive2& archive, Dialogue& dialogue, const Text& folder) {
  WCHAR full[1024] = {};
  if (!QvQualifyPath(folder.c_str(), full, 1024)) return failure(static_cast<HRESULT>(kMissing));
  if (!QvCreateDirectory(full, nullptr)) {
    complain(TEXT("The folder %s can't be made.\n"), full);
    return kFailed;
  }
  const HRESULT status = archive.ExtractAll(full, 0);
  if (FAILED(status)) return failure(status);
  say(TEXT("Files extracted into %s: %d\n"), folder.c_str(), dialogue.files());
  return kDone;
}

}  // namespace

int32_t serve(const Text& path, const Wishes& wishes) {
  Dialogue dialogue(wishes.yes);
  CArchive2 archive;
  const HRESULT opened = archive.Open(path.c_str(), QVARCHIVE_READ, &dialogue);
  if (FAILED(opened)) return failure(opened);
  if (wishes.list) return list(archive);
  introduce(archive);
  Text folder = wishes.folder;
  if (folder.empty() && !chooseFolder(path, folder)) return failure(kCancelled);
  return extract(archive, dialogue, folder);
}

}  // namespace qv::stub
