// Opening a ZIP: its sources, its end record and its handle.
#include <string.h>

#include <algorithm>
#include <limits>
#include <new>

#include "qv/files/detail/zip.h"
#include "qv/frame/errors.h"
#include "qv/frame/status.h"
#include "qv/lang/resources.h"

namespace qv::files {
namespace {

bool readFile(void* source, void* buffer, uint32_t bytes, uint32_t* done) {
  DWORD now = 0;
  const bool good = ReadFile(source, buffer, bytes, &now, nullptr) != 0;
  *done = now;
  return good;
}
bool seekFile(void* source, uint32_t offset) {
  LARGE_INTEGER to;
  to.QuadPart = offset;
  return SetFilePointerEx(source, to, nullptr, FILE_BEGIN) != 0;
}
void closeFile(void* source) {
  CloseHandle(source);
}
bool sizeOfFile(void* source, uint64_t* bytes) {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(source, &size)) return false;
  *bytes = static_cast<uint64_t>(size.QuadPart);
  return true;
}

bool readMemory(void* source, void* buffer, uint32_t bytes, uint32_t* done) {
  auto* memory = static_cast<ZipMemory*>(source);
  *done = std::min(bytes, memory->size - memory->position);
  memcpy(buffer, memory->data + memory->position, *done);
  memory->position += *done;
  return true;
}
bool seekMemory(void* source, uint32_t offset) {
  auto* memory = static_cast<ZipMemory*>(source);
  if (offset > memory->size) return false;
  memory->position = offset;
  return true;
}
void closeMemory(void* source) {
  delete static_cast<ZipMemory*>(source);
}
bool sizeOfMemory(void* source, uint64_t* bytes) {
  *bytes = static_cast<ZipMemory*>(source)->size;
  return true;
}

// The longest comment and the record before it. The record is not looked for at the very first byte of what
// is read, hence one more.
constexpr uint32_t kTailBytes = kZipEndBytes + 65535 + 1;

struct TailFree {
  void operator()(uint8_t* tail) const { zipFree(tail); }
};

HRESULT findEndRecord(QVZIP zip) {
  const uint32_t bytes = std::min(zip->size, kTailBytes);
  const std::unique_ptr<uint8_t, TailFree> tail(static_cast<uint8_t*>(zipAlloc(bytes)));
  if (!tail) return kOutOfMemory;
  if (!zipReadAt(zip, zip->size - bytes, tail.get(), bytes)) return kReadFailed;
  uint32_t at = bytes - kZipEndBytes;
  while (at > 0 && zip32(tail.get() + at) != kZipEnd) --at;
  if (at == 0) return kInvalidArgument;
  const uint8_t* end = tail.get() + at;
  zip->commentLength = zip16(end + 20);
  if (zip16(end + 6) != 0 || zip->commentLength > bytes - at - kZipEndBytes) return kInvalidArgument;
  memcpy(zip->end, end, sizeof zip->end);
  zip->directoryOffset = zip32(end + 16);
  memcpy(zip->comment, end + kZipEndBytes, zip->commentLength);
  return kOk;
}

HRESULT readEnds(QVZIP zip) {
  uint64_t size = 0;
  if (!zip->io->size(zip->source, &size)) return kReadFailed;
  if (size <= kZipEndBytes || size > std::numeric_limits<uint32_t>::max()) return kInvalidArgument;
  zip->size = static_cast<uint32_t>(size);
  uint8_t first[4];
  if (!zipReadAt(zip, 0, first, sizeof first)) return kReadFailed;
  if (zip32(first) != kZipLocal && zip32(first) != kZipSpannedOnce) return kInvalidArgument;
  return findEndRecord(zip);
}

// Takes the source over, also on failure.
HRESULT openSource(void* source, const ZipSource& io, uint32_t flags, QVZIP* zip) {
  const auto opened = static_cast<QVZIP>(zipAlloc(sizeof(QVZIP__)));
  if (opened == nullptr) {
    io.close(source);
    return kOutOfMemory;
  }
  opened->references = 1;
  opened->source = source;
  opened->io = &io;
  opened->flags = flags;
  const HRESULT status = readEnds(opened);
  if (FAILED(status)) {
    zipRelease(opened);
    return status;
  }
  *zip = opened;
  return kOk;
}

}  // namespace

HRESULT openZipMemory(const ZipMemory& memory, uint32_t flags, QVZIP* zip) {
  const auto source = new (std::nothrow) ZipMemory(memory);
  return source != nullptr ? openSource(source, kZipMemory, flags, zip) : kOutOfMemory;
}

const ZipSource kZipFile = {readFile, seekFile, closeFile, sizeOfFile};
const ZipSource kZipMemory = {readMemory, seekMemory, closeMemory, sizeOfMemory};

bool zipReadAt(QVZIP zip, uint32_t offset, void* buffer, uint32_t bytes) {
  uint32_t done = 0;
  return zip->io->seek(zip->source, offset) && zip->io->read(zip->source, buffer, bytes, &done) &&
         done == bytes;
}

HRESULT zipRelease(QVZIP zip) {
  if (--zip->references > 0) return kNothing;
  zip->io->close(zip->source);
  zipFree(zip);
  return kOk;
}

void* zipAlloc(size_t bytes) {
  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
  return block != nullptr ? GlobalLock(block) : nullptr;
}

void zipFree(const void* block) {
  if (block == nullptr) return;
  const HGLOBAL handle = GlobalHandle(block);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT QvZip_Open(const WCHAR* path, uint32_t flags, QVZIP* zip) {
  if (path == nullptr || zip == nullptr) return kInvalidArgument;
  const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return kCannotOpenFile;
  return openSource(file, kZipFile, flags, zip);
}

HRESULT QvZip_OpenResource(const WCHAR* name, uint32_t flags, QVZIP* zip, HQVLANG__* language) {
  if (name == nullptr || zip == nullptr) return kInvalidArgument;
  uint32_t size = 0;
  const HGLOBAL loaded = QvLoadResourceCustom(language, name, TEXT("ZIP"), &size);
  const auto data = loaded == nullptr ? nullptr : static_cast<const uint8_t*>(LockResource(loaded));
  if (data != nullptr) return openZipMemory({size, 0, data}, flags, zip);
  const HRESULT reported = QvErrorHandler_GetLastError();
  if (FAILED(reported)) return reported;
  const HRESULT systems = HRESULT_FROM_WIN32(GetLastError());
  return FAILED(systems) ? systems : kNotFound;
}

HRESULT QvZip_Close(QVZIP zip) {
  return zip != nullptr && zip->references > 0 ? zipRelease(zip) : kInvalidArgument;
}
