// The file work of an archive.
#include <stdlib.h>

#include <algorithm>
#include <new>

#include "qv/files/detail/archive.h"
#include "qv/files/detail/name_set.h"
#include "qv/files/detail/zlib_streams.h"

namespace qv::files {

Archive::Archive() = default;

Archive::~Archive() {
  if (entries != nullptr) QvList_Destroy(entries);
  free(offsets);
  if (write != read) closeFile(write);
  closeFile(read);
  if (ownsTemporary) DeleteFileW(temporary);
}

bool seekTo(HANDLE file, uint64_t offset) {
  if (offset > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
  LARGE_INTEGER to;
  to.QuadPart = static_cast<int64_t>(offset);
  return SetFilePointerEx(file, to, nullptr, FILE_BEGIN) != 0;
}

bool readSome(HANDLE file, void* buffer, uint32_t bytes, uint32_t* done) {
  DWORD now = 0;
  const bool good = ReadFile(file, buffer, bytes, &now, nullptr) != 0;
  *done = now;
  return good;
}

bool readAt(HANDLE file, uint64_t offset, void* buffer, uint32_t bytes) {
  uint32_t done = 0;
  return seekTo(file, offset) && readSome(file, buffer, bytes, &done) && done == bytes;
}

bool writeAll(HANDLE file, const void* buffer, uint32_t bytes) {
  DWORD done = 0;
  return WriteFile(file, buffer, bytes, &done, nullptr) && done == bytes;
}

int64_t sizeOf(HANDLE file) {
  LARGE_INTEGER size;
  return GetFileSizeEx(file, &size) ? size.QuadPart : -1;
}

void closeFile(HANDLE& file) {
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  file = INVALID_HANDLE_VALUE;
}

Block::Block(size_t size) : bytes(static_cast<uint8_t*>(malloc(size))) {}
Block::~Block() {
  free(bytes);
}

WorkBlocks* workBlocks(Archive& archive) {
  if (!archive.blocks) archive.blocks.reset(new (std::nothrow) WorkBlocks);
  const bool whole = archive.blocks && archive.blocks->input.bytes && archive.blocks->output.bytes;
  if (!whole) archive.blocks.reset();
  return archive.blocks.get();
}

HRESULT copyBlocks(Archive& archive, HANDLE from, uint64_t fromOffset, HANDLE to, uint64_t toOffset,
                   uint64_t bytes) {
  WorkBlocks* const blocks = workBlocks(archive);
  if (blocks == nullptr) return failed(archive, QVARCHIVE_ERROR_MEMORY, TEXT("Block Copy"), kOutOfMemory);
  uint8_t* const block = blocks->input.bytes;
  if (!seekTo(from, fromOffset) || !seekTo(to, toOffset))
    return failed(archive, QVARCHIVE_ERROR_COPY, TEXT("Block Copy"), kGeneralFailure);
  while (bytes > 0) {
    const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(bytes, kBlockBytes));
    uint32_t done = 0;
    if (!readSome(from, block, wanted, &done) || done != wanted || !writeAll(to, block, wanted)) {
      return failed(archive, QVARCHIVE_ERROR_COPY, TEXT("Block Copy"), kGeneralFailure);
    }
    bytes -= wanted;
    const HRESULT status = advance(archive, wanted);
    if (status == kCancelled) return status;
  }
  return kOk;
}

}  // namespace qv::files
