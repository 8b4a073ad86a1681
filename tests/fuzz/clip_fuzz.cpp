// Any bytes are a clip: the first says whether it is a Y4M file or raw frames of some form. What opens is
// counted, read and skipped without a fault, and no block is larger than what the clip holds.
#include <cstdlib>
#include <cstring>

#include "qv/app/workbench/clip_file.h"
#include "qv/frame/status.h"

namespace {

using namespace qv::workbench;

class Memory final : public ClipSource {
 public:
  Memory(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint64_t size() const override { return size_; }
  HRESULT read(uint64_t position, void* to, size_t bytes) override {
    if (position > size_ || bytes > size_ - position) abort();
    if (bytes > 0) memcpy(to, data_ + position, bytes);
    return qv::kOk;
  }

 private:
  const uint8_t* const data_;
  const size_t size_;
};

std::optional<RawForm> formOf(uint8_t choice) {
  if (choice < 128) return {};
  const auto layout = layoutOfName(layoutNames()[choice % layoutNames().size()]);
  return RawForm{choice % 37u + 1, choice % 19u + 1, layout, 25, 1};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  Memory source(data + 1, size - 1);
  ClipReader clip;
  if (FAILED(clip.open(source, formOf(data[0])))) return 0;
  uint64_t frames = 0, rest = 0, read = 0;
  clip.count(frames, rest);
  ImagePtr frame;
  while (clip.next(frame) == qv::kOk) ++read;
  if (read != frames || rest > source.size()) abort();
  return 0;
}
