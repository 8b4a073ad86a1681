// zip: what a ZIP file holds, and its files taken out.
#include <memory>

#include "qv/app/workbench/progress.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/files/paths.h"
#include "qv/files/zipenum.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

struct Zip {
  QVZIP handle = nullptr;
  ~Zip() {
    if (handle != nullptr) QvZip_Close(handle);
  }
};

struct EntryFree {
  void operator()(QVZIPENTRY* entry) const {
    const HGLOBAL block = GlobalHandle(entry);
    GlobalUnlock(block);
    GlobalFree(block);
  }
};
using Entry = std::unique_ptr<QVZIPENTRY, EntryFree>;

// Entries done, as a percentage.
class Shown final : public QvZipProgress {
 public:
  explicit Shown(const WString& name) : name_(name) {}
  HRESULT setRange(uint32_t, uint32_t total) override {
    total_ = total;
    return kOk;
  }
  HRESULT setPosition(uint32_t position) override {
    progress_.show(total_ > 0 ? 100.0 * position / total_ : 100.0, name_);
    return kOk;
  }
  HRESULT poll() override { return kOk; }

 private:
  Progress progress_;
  WString name_;
  uint32_t total_ = 0;
};

WString format(const WCHAR* pattern, uint32_t a, uint32_t b, uint32_t c) {
  WCHAR text[32];
  QvCchPrintF(text, 32, nullptr, pattern, a, b, c);
  return text;
}
WString dateOf(const QVZIPENTRY& e) {
  return format(TEXT("%04u-%02u-%02u"), 1980u + (e.date >> 9), e.date >> 5 & 15u, e.date & 31u);
}
WString timeOf(const QVZIPENTRY& e) {
  return format(TEXT("%02u:%02u:%02u"), e.time >> 11, e.time >> 5 & 63u, (e.time & 31u) * 2);
}
WString crcOf(const QVZIPENTRY& e) {
  return format(TEXT("%08x"), e.crc32, 0, 0);
}

HRESULT listEntries(Session& session, QVZIP zip) {
  QVZIPENUM walk = nullptr;
  HRESULT status = QvZipEnum_Create(zip, &walk);
  if (FAILED(status)) return status;
  const int32_t count = QvZipEnum_GetFileCount(zip);
  for (int32_t i = 0; i < count; ++i) {
    QVZIPENTRY* next = nullptr;
    status = QvZipEnum_Next(walk, &next);
    if (FAILED(status)) break;
    const Entry entry(next);
    session.record({TEXT("entry"), entry->name, entry->uncompressedSize, entry->compressedSize,
                    uint32_t{entry->method}, dateOf(*entry), timeOf(*entry), crcOf(*entry)});
  }
  QvZipEnum_Destroy(walk);
  return status;
}

HRESULT extract(Session& session, QVZIP zip, const Step& step) {
  WCHAR folder[kPathCapacity];
  if (!QvQualifyPath(session.outputPath(step.words[3]).c_str(), folder, kPathCapacity))
    return kInvalidArgument;
  const WString* name = step.option(TEXT("name"));
  Shown shown(step.words[2]);
  if (name == nullptr) {
    const HRESULT status = QvZip_ExtractAll(zip, folder, 1, &shown);
    if (SUCCEEDED(status)) session.record({TEXT("zip"), TEXT("extracted"), QvZipEnum_GetFileCount(zip)});
    return status;
  }
  WCHAR target[kPathCapacity];
  lstrcpynW(target, folder, kPathCapacity);
  QvAppendToPathName(target, kPathCapacity, QvGetFileNamePtrW(name->c_str()), nullptr);
  const HRESULT status = QvZip_ExtractFile(zip, name->c_str(), target, 1, &shown);
  if (SUCCEEDED(status)) session.record({TEXT("zip"), TEXT("extracted"), 1});
  return status;
}

HRESULT runZip(Session& session, const Step& step) {
  const WString& what = step.words[1];
  const bool extracts = what == TEXT("extract");
  if ((!extracts && what != TEXT("list") && what != TEXT("info")) ||
      step.words.size() != (extracts ? 4u : 3u)) {
    return session.fail(kInvalidArgument,
                        TEXT("zip takes list or info and a file, or extract, a file and a folder."));
  }
  Zip zip;
  const HRESULT status = QvZip_Open(session.inputPath(step.words[2]).c_str(), 0, &zip.handle);
  if (FAILED(status))
    return session.fail(status, TEXT("This is no ZIP file that can be read: ") + step.words[2]);
  if (extracts) return extract(session, zip.handle, step);
  if (what == TEXT("list")) return listEntries(session, zip.handle);
  session.record({TEXT("zip"), step.words[2], QvZipEnum_GetFileCount(zip.handle),
                  static_cast<int64_t>(QvZipEnum_GetTotalUncompressedSize(zip.handle))});
  return kOk;
}

constexpr Verb kVerbs[] = {{"zip", "list|info|extract FILE [FOLDER]", 2, 3, "name", runZip}};

}  // namespace

std::span<const Verb> zipVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
