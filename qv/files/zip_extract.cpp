// Taking entries out: block by block into a file, or whole into memory.
#include <algorithm>
#include <string>

#include "qv/files/detail/contained.h"
#include "qv/files/detail/zip.h"
#include "qv/files/detail/zlib_streams.h"
#include "qv/files/files.h"
#include "qv/files/paths.h"
#include "qv/frame/status.h"
#include "qv/platform/times.h"

namespace qv::files {
namespace {

constexpr uint32_t kBlockBytes = 0x20000;
constexpr uint32_t kInputBytes = kBlockBytes + 4, kOutputBytes = 144179;
constexpr uint16_t kStored = 0, kDeflated = 8;
// What deflate can make of a byte at most, and a little for its frame.
constexpr uint64_t kMostGrowth = 1032, kFrame = 64;
constexpr HRESULT kRefusedName = static_cast<HRESULT>(0x8004e00du);

// A file that closes itself.
class Output {
 public:
  explicit Output(const WCHAR* path)
      : file_(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    if (good()) CloseHandle(file_);
  }
  bool good() const { return file_ != INVALID_HANDLE_VALUE; }
  bool write(const void* bytes, uint32_t count) {
    DWORD written = 0;
    return WriteFile(file_, bytes, count, &written, nullptr) && written == count;
  }
  // Entries have local time, to two seconds.
  void setTime(const QVZIPENTRY& entry) {
    FILETIME local, time;
    if (DosDateTimeToFileTime(entry.date, entry.time, &local) && LocalFileTimeToFileTime(&local, &time)) {
      SetFileTime(file_, &time, &time, &time);
    }
  }

 private:
  HANDLE file_;
};

struct Block {
  explicit Block(uint32_t size) : bytes(static_cast<uint8_t*>(zipAlloc(size))) {}
  std::unique_ptr<uint8_t, ZipFree> bytes;
};

// Where the data of an entry starts. False when the local header isn't there.
bool findData(QVZIP zip, const QVZIPENTRY& entry, uint64_t* offset) {
  uint8_t header[kZipLocalBytes];
  if (!zipReadAt(zip, entry.localHeaderOffset, header, sizeof header) || zip32(header) != kZipLocal) {
    return false;
  }
  *offset = uint64_t{entry.localHeaderOffset} + kZipLocalBytes + zip16(header + 26) + zip16(header + 28);
  return true;
}

bool holds(QVZIP zip, uint64_t offset, uint64_t bytes) {
  return offset <= zip->size && bytes <= zip->size - offset;
}

HRESULT report(QvZipProgress* progress, uint32_t position) {
  if (progress == nullptr) return kOk;
  if (progress->poll() == kCancelled) return kCancelled;
  return progress->setPosition(position);
}

// One entry on its way into a file.
class Stream {
 public:
  Stream(QVZIP zip, const QVZIPENTRY& entry, Output* output, QvZipProgress* progress)
      : zip_(zip), entry_(entry), output_(output), progress_(progress), input_(kInputBytes) {}

  HRESULT run(uint64_t offset) {
    if (!input_.bytes) return kOutOfMemory;
    if (!zip_->io->seek(zip_->source, static_cast<uint32_t>(std::min<uint64_t>(offset, zip_->size)))) {
      return kReadFailed;
    }
    if (progress_ != nullptr) progress_->setRange(0, entry_.compressedSize);
    const HRESULT status = entry_.method == kStored ? copy() : inflateAll();
    if (FAILED(status)) return status;
    if (written_ != entry_.uncompressedSize) return kBadFormat;
    const HRESULT last = progress_ != nullptr ? progress_->setPosition(entry_.compressedSize) : kOk;
    return FAILED(last) ? last : kOk;
  }

 private:
  uint32_t left() const { return entry_.compressedSize - done_; }

  HRESULT next(uint32_t* bytes) {
    const HRESULT status = report(progress_, done_);
    if (FAILED(status)) return status;
    const uint32_t wanted = std::min(left(), kBlockBytes);
    if (!zip_->io->read(zip_->source, input_.bytes.get(), wanted, bytes)) return kReadFailed;
    done_ += *bytes;
    return *bytes == wanted ? kOk : kReadFailed;
  }

  HRESULT put(const uint8_t* bytes, uint32_t count) {
    if (count > entry_.uncompressedSize - written_) return kBadFormat;
    if (!output_->write(bytes, count)) return kWriteFailed;
    written_ += count;
    return kOk;
  }

  HRESULT copy() {
    while (left() > 0) {
      uint32_t bytes = 0;
      HRESULT status = next(&bytes);
      if (SUCCEEDED(status)) status = put(input_.bytes.get(), bytes);
      if (FAILED(status)) return status;
    }
    return kOk;
  }

  HRESULT inflateAll() {
    const Block output(kOutputBytes);
    Inflate inflater;
    if (!output.bytes || !inflater.good()) return kOutOfMemory;
    z_stream& z = inflater.stream;
    for (int result = Z_OK; result != Z_STREAM_END;) {
      if (z.avail_in == 0 && left() > 0) {
        uint32_t bytes = 0;
        const HRESULT status = next(&bytes);
        if (FAILED(status)) return status;
        z.next_in = input_.bytes.get();
        z.avail_in = bytes;
      }
      z.next_out = output.bytes.get();
      z.avail_out = kOutputBytes;
      result = ::inflate(&z, Z_NO_FLUSH);
      if (result < 0 || result > Z_STREAM_END) return kWriteFailed;
      const HRESULT status = put(output.bytes.get(), kOutputBytes - z.avail_out);
      if (FAILED(status)) return status;
    }
    return kOk;
  }

  QVZIP zip_;
  const QVZIPENTRY& entry_;
  Output* output_;
  QvZipProgress* progress_;
  Block input_;
  uint32_t done_ = 0, written_ = 0;
};

bool makeFolderOf(const WCHAR* target) {
  WCHAR folder[kPathCapacity];
  const int32_t length = QvGetPathNameFromFilePath(target, folder, kPathCapacity);
  return length == 0 || (length < kPathCapacity && QvCreateDirectory(folder, nullptr));
}

HRESULT makeFolder(const QVZIPENTRY& entry, const WCHAR* target) {
  const size_t length = std::char_traits<WCHAR>::length(entry.name);
  std::basic_string<WCHAR> folder = target;
  if (length == 0 || entry.name[length - 1] != '\\' || folder.empty()) return kGeneralFailure;
  folder.pop_back();
  return QvCreateDirectory(folder.c_str(), nullptr) ? kOk : kGeneralFailure;
}

HRESULT extractDirect(QVZIP zip, const QVZIPENTRY& entry, const WCHAR* target, QvZipProgress* progress) {
  if (!makeFolderOf(target)) return kCannotCreateFile;
  Output output(target);
  if (!output.good()) return kCannotCreateFile;
  uint64_t offset = 0;
  HRESULT status = kOk;
  if (findData(zip, entry, &offset)) status = Stream(zip, entry, &output, progress).run(offset);
  output.setTime(entry);
  return status;
}

HRESULT extractThroughMemory(QVZIP zip, const QVZIPENTRY& entry, const WCHAR* target) {
  void* data = nullptr;
  const HRESULT status = QvZipEnum_ExtractToMemory(zip, &entry, &data);
  if (FAILED(status)) return status;
  const std::unique_ptr<void, ZipFree> block(data);
  if (!makeFolderOf(target)) return kWriteFailed;
  Output output(target);
  if (!output.good()) return kInvalidArgument;
  if (!output.write(data, entry.uncompressedSize)) return kWriteFailed;
  output.setTime(entry);
  return kOk;
}

// All of an entry's data, inflated in one call.
HRESULT inflateWhole(uint8_t* in, uint32_t inBytes, uint8_t* out, uint32_t outBytes) {
  Inflate inflater;
  if (!inflater.good()) return kOutOfMemory;
  z_stream& z = inflater.stream;
  z.next_in = in;
  z.avail_in = inBytes;
  z.next_out = out;
  z.avail_out = outBytes;
  return ::inflate(&z, Z_FINISH) == Z_STREAM_END ? kOk : kBadFormat;
}

HRESULT decode(const QVZIPENTRY& entry, uint8_t* in, uint8_t* out) {
  if (entry.method == kDeflated) {
    return inflateWhole(in, entry.compressedSize + 4, out, entry.uncompressedSize);
  }
  if (entry.method != kStored || entry.compressedSize < entry.uncompressedSize) return kBadFormat;
  std::copy_n(in, entry.uncompressedSize, out);
  return kOk;
}

// The target of an entry below a folder; empty for a name that leads elsewhere.
std::basic_string<WCHAR> targetBelow(const WCHAR* folder, const WCHAR* name) {
  if (!isContainedName(name, std::char_traits<WCHAR>::length(name)) || leadsThroughLink(folder, name))
    return {};
  std::basic_string<WCHAR> target = folder;
  if (!target.empty() && target.back() != '\\') target += '\\';
  return target + name;
}

// Within one entry of many the position is the caller's business no longer, but a cancel is.
class CancelOnly final : public QvZipProgress {
 public:
  explicit CancelOnly(QvZipProgress* outer) : outer_(outer) {}
  HRESULT setRange(uint32_t, uint32_t) override { return kOk; }
  HRESULT setPosition(uint32_t) override { return kOk; }
  HRESULT poll() override { return outer_ != nullptr ? outer_->poll() : kOk; }

 private:
  QvZipProgress* outer_;
};

// Extracts the next entry of a walk; *refused is set for one that leads out of the folder.
HRESULT extractNext(QVZIP zip, QVZIPENUM walk, const WCHAR* folder, int32_t direct, QvZipProgress* progress,
                    bool* refused) {
  QVZIPENTRY* next = nullptr;
  const HRESULT status = QvZipEnum_Next(walk, &next);
  if (FAILED(status)) return status;
  const ZipEntry entry(next);
  const std::basic_string<WCHAR> target = targetBelow(folder, entry->name);
  if (target.empty()) {
    *refused = true;
    return kOk;
  }
  return QvZipEnum_Extract(zip, entry.get(), target.c_str(), direct, progress);
}

}  // namespace
}  // namespace qv::files

using namespace qv;
using namespace qv::files;

HRESULT QvZipEnum_Extract(QVZIP zip, const QVZIPENTRY* entry, const WCHAR* target, int32_t direct,
                          QvZipProgress* progress) {
  if (zip == nullptr || entry == nullptr || target == nullptr) return kInvalidArgument;
  if (entry->uncompressedSize == 0) return makeFolder(*entry, target);
  return direct != 0 ? extractDirect(zip, *entry, target, progress)
                     : extractThroughMemory(zip, *entry, target);
}

HRESULT QvZipEnum_ExtractToMemory(QVZIP zip, const QVZIPENTRY* entry, void** block) {
  if (zip == nullptr || entry == nullptr || block == nullptr) return kInvalidArgument;
  uint64_t offset = 0;
  if (!findData(zip, *entry, &offset) || !holds(zip, offset, entry->compressedSize)) return kReadFailed;
  if (entry->uncompressedSize == 0) return kOutOfMemory;
  if (entry->uncompressedSize > entry->compressedSize * kMostGrowth + kFrame) return kBadFormat;
  const std::unique_ptr<uint8_t, ZipFree> in(
      static_cast<uint8_t*>(zipAlloc(size_t{entry->compressedSize} + 4)));
  std::unique_ptr<uint8_t, ZipFree> out(static_cast<uint8_t*>(zipAlloc(entry->uncompressedSize)));
  if (!in || !out) return kOutOfMemory;
  if (!zipReadAt(zip, static_cast<uint32_t>(offset), in.get(), entry->compressedSize)) return kReadFailed;
  const HRESULT status = decode(*entry, in.get(), out.get());
  if (SUCCEEDED(status)) *block = out.release();
  return status;
}

HRESULT QvZip_ExtractFile(QVZIP zip, const WCHAR* name, const WCHAR* target, int32_t direct,
                          QvZipProgress* progress) {
  ZipEntry entry;
  const HRESULT status = zipFind(zip, name, &entry);
  return SUCCEEDED(status) ? QvZipEnum_Extract(zip, entry.get(), target, direct, progress) : status;
}

HRESULT QvZip_ExtractToMemory(QVZIP zip, const WCHAR* name, void** block, uint32_t* size) {
  ZipEntry entry;
  HRESULT status = zipFind(zip, name, &entry);
  if (SUCCEEDED(status)) status = QvZipEnum_ExtractToMemory(zip, entry.get(), block);
  if (SUCCEEDED(status) && size != nullptr) *size = entry->uncompressedSize;
  return status;
}

HRESULT QvZip_ExtractAll(QVZIP zip, const WCHAR* folder, int32_t direct, QvZipProgress* progress) {
  if (zip == nullptr || folder == nullptr) return kInvalidArgument;
  const auto count = static_cast<uint32_t>(QvZipEnum_GetFileCount(zip));
  if (progress != nullptr) progress->setRange(0, count);
  QVZIPENUM walk = nullptr;
  HRESULT status = QvZipEnum_Create(zip, &walk);
  if (FAILED(status)) return status;
  CancelOnly within(progress);
  bool refused = false;
  for (uint32_t done = 1; done <= count && SUCCEEDED(status); ++done) {
    status = extractNext(zip, walk, folder, direct, &within, &refused);
    if (SUCCEEDED(status)) status = report(progress, done);
  }
  QvZipEnum_Destroy(walk);
  if (FAILED(status)) return status;
  if (progress != nullptr) progress->setPosition(count);
  return refused ? kRefusedName : kOk;
}
