// How an archive talks to its caller.
#include <algorithm>
#include <atomic>
#include <string>

#include "qv/files/detail/archive.h"
#include "qv/files/detail/text.h"

CQvArchiveProgress::CQvArchiveProgress()
    : semaphore_(CreateSemaphoreW(nullptr, 0, 1, TEXT("QvArchive2.Semaphore"))) {}

CQvArchiveProgress::~CQvArchiveProgress() {
  if (semaphore_ != nullptr) CloseHandle(semaphore_);
}

HRESULT CQvArchiveProgress::begin(const WCHAR* text, uint64_t total) {
  setText(text);
  total_ = total;
  done_ = std::min(done_, total);
  return status(QVARCHIVE_STATUS_BEGIN);
}

HRESULT CQvArchiveProgress::error(uint32_t) {
  return 0;
}
HRESULT CQvArchiveProgress::status(uint32_t) {
  return 0;
}
HRESULT CQvArchiveProgress::advance(uint64_t amount) {
  done_ += amount;
  return 0;
}

void CQvArchiveProgress::setText(const WCHAR* text) {
  const int32_t length = text != nullptr ? qv::files::lengthWithin(text, 259) : 0;
  std::copy_n(text, length, text_);
  text_[length] = 0;
}
void CQvArchiveProgress::setTotal(uint64_t total) {
  total_ = total;
}
void CQvArchiveProgress::setFurther(uint64_t word) {
  further_ = word;
}

void CQvArchiveProgress::ask() {
  std::atomic_ref(response_).store(QVARCHIVE_RESPONSE_PENDING);
}
void CQvArchiveProgress::respond(uint32_t response) {
  const uint32_t before = std::atomic_ref(response_).exchange(response);
  if (before == QVARCHIVE_RESPONSE_PENDING && semaphore_ != nullptr) ReleaseSemaphore(semaphore_, 1, nullptr);
}

// The semaphore has one name for all: a wake that was meant for somebody else finds the question still
// pending.
uint32_t CQvArchiveProgress::takeResponse() {
  const std::atomic_ref response(response_);
  while (response.load() == QVARCHIVE_RESPONSE_PENDING && semaphore_ != nullptr) {
    WaitForSingleObject(semaphore_, INFINITE);
    if (response.load() != QVARCHIVE_RESPONSE_PENDING) break;
    ReleaseSemaphore(semaphore_, 1, nullptr);
    Sleep(1);
  }
  return response.exchange(0);
}

namespace qv::files {
namespace {

// The answers that stand for all, of this process.
std::atomic<HRESULT> overwriteAnswer, readOnlyAnswer;

HRESULT tellAnswer(Archive& archive, HRESULT answer) {
  reportStatus(archive, answer == kOk ? QVARCHIVE_STATUS_OVERWRITTEN : QVARCHIVE_STATUS_SKIPPED);
  return answer;
}

}  // namespace

void reportError(Archive& archive, uint32_t code, const WCHAR* step, const WCHAR* path) {
  if (archive.progress == nullptr) return;
  std::basic_string<WCHAR> text = step;
  if (path != nullptr) text.append(TEXT("|")).append(path);
  archive.progress->setText(text.c_str());
  archive.progress->error(code);
}

HRESULT failed(Archive& archive, uint32_t code, const WCHAR* step, HRESULT status, const WCHAR* path) {
  reportError(archive, code, step, path);
  return status;
}

void reportStatus(Archive& archive, uint32_t code, const WCHAR* text) {
  if (archive.progress == nullptr) return;
  if (text != nullptr) archive.progress->setText(text);
  archive.progress->status(code);
}

void beginTotal(Archive& archive, const WCHAR* text, uint64_t total) {
  if (archive.progress != nullptr) archive.progress->begin(text, total);
}

HRESULT advance(Archive& archive, uint64_t bytes) {
  if (archive.progress == nullptr) return kOk;
  const HRESULT status = archive.progress->advance(bytes);
  if (archive.progress->takeResponse() == QVARCHIVE_RESPONSE_CANCEL) return kCancelled;
  return FAILED(status) ? status : kOk;
}

HRESULT askOverwrite(Archive& archive, const WCHAR* name, bool readOnly) {
  bool& forAll = readOnly ? archive.readOnlyForAll : archive.overwriteForAll;
  std::atomic<HRESULT>& kept = readOnly ? readOnlyAnswer : overwriteAnswer;
  archive.progress->setText(name);
  if (forAll) return tellAnswer(archive, kept);
  archive.progress->status(readOnly ? QVARCHIVE_STATUS_ASKREADONLY : QVARCHIVE_STATUS_ASKOVERWRITE);
  const uint32_t response = archive.progress->takeResponse();
  if (response < QVARCHIVE_RESPONSE_OVERWRITE || response > QVARCHIVE_RESPONSE_SKIPALL) {
    return static_cast<HRESULT>(response);
  }
  forAll = response >= QVARCHIVE_RESPONSE_OVERWRITEALL;
  kept = response % 2 == 1 ? kOk : kNothing;
  return tellAnswer(archive, kept);
}

}  // namespace qv::files
