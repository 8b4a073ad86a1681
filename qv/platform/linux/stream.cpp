#include "qv/platform/stream.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "qv/platform/memory.h"

namespace {

constexpr uint64_t kLargestStream = 0xffffffffu;

class MemoryStream final : public IStream {
 public:
  MemoryStream(HGLOBAL block, bool freeBlock)
      : block_(block), freeBlock_(freeBlock), size_(GlobalSize(block)) {}
  MemoryStream(const MemoryStream&) = delete;
  MemoryStream& operator=(const MemoryStream&) = delete;

  HGLOBAL block() const { return block_; }

  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = id == IID_IUnknown || id == IID_ISequentialStream || id == IID_IStream;
    *object = known ? static_cast<IStream*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  ULONG AddRef() override { return ++references_; }

  ULONG Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT Read(void* data, ULONG bytes, ULONG* read) override {
    const uint64_t left = position_ < size_ ? size_ - position_ : 0;
    const auto taken = static_cast<ULONG>(std::min<uint64_t>(bytes, left));
    if (taken != 0) {
      std::memcpy(data, static_cast<const BYTE*>(GlobalLock(block_)) + position_, taken);
      GlobalUnlock(block_);
    }
    position_ += taken;
    if (read != nullptr) *read = taken;
    return S_OK;
  }

  HRESULT Write(const void* data, ULONG bytes, ULONG* written) override {
    if (written != nullptr) *written = 0;
    if (bytes == 0) return S_OK;
    const uint64_t end = position_ + bytes;
    if (end > size_) {
      if (const HRESULT status = resize(end); FAILED(status)) return status;
    }
    std::memcpy(static_cast<BYTE*>(GlobalLock(block_)) + position_, data, bytes);
    GlobalUnlock(block_);
    position_ = end;
    if (written != nullptr) *written = bytes;
    return S_OK;
  }

  HRESULT Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) override {
    const uint64_t bases[] = {0, position_, size_};
    if (origin > STREAM_SEEK_END) return STG_E_SEEKERROR;
    const int64_t target = static_cast<int64_t>(bases[origin]) +
                           std::clamp<int64_t>(distance.QuadPart, -int64_t{kLargestStream}, kLargestStream);
    if (target < 0 || target > int64_t{kLargestStream}) return STG_E_SEEKERROR;
    position_ = static_cast<uint64_t>(target);
    if (position != nullptr) position->QuadPart = position_;
    return S_OK;
  }

  HRESULT SetSize(ULARGE_INTEGER size) override { return resize(size.QuadPart); }

 private:
  ~MemoryStream() {
    if (freeBlock_) GlobalFree(block_);
  }

  HRESULT resize(uint64_t size) {
    if (size > kLargestStream) return E_OUTOFMEMORY;
    const HGLOBAL grown = GlobalReAlloc(block_, size, GMEM_MOVEABLE | GMEM_ZEROINIT);
    if (grown == nullptr) return E_OUTOFMEMORY;
    block_ = grown;
    size_ = size;
    return S_OK;
  }

  HGLOBAL block_;
  const bool freeBlock_;
  uint64_t size_;
  uint64_t position_ = 0;
  std::atomic<ULONG> references_{1};
};

}  // namespace

HRESULT CreateStreamOnHGlobal(HGLOBAL block, BOOL freeBlock, IStream** stream) {
  if (stream == nullptr) return E_INVALIDARG;
  *stream = nullptr;
  const HGLOBAL used = block != nullptr ? block : GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 0);
  if (used == nullptr) return E_OUTOFMEMORY;
  *stream = new (std::nothrow) MemoryStream(used, freeBlock != FALSE);
  if (*stream != nullptr) return S_OK;
  if (block == nullptr) GlobalFree(used);
  return E_OUTOFMEMORY;
}

HRESULT GetHGlobalFromStream(IStream* stream, HGLOBAL* block) {
  const auto* memory = dynamic_cast<MemoryStream*>(stream);
  if (block == nullptr || memory == nullptr) return E_INVALIDARG;
  *block = memory->block();
  return S_OK;
}
