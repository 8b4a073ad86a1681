// Raw deflate streams that end themselves, and begin again: the memory of one costs more than a small file's
// bytes.
#pragma once

#include <zlib.h>

#include <memory>
#include <new>

namespace qv::files {

class ZlibStream {
 public:
  ZlibStream(const ZlibStream&) = delete;
  ZlibStream& operator=(const ZlibStream&) = delete;
  ~ZlibStream() {
    if (good_) end_(&stream);
  }
  bool good() const { return good_; }
  // Back to the beginning, with nothing to read; false when that can't be.
  bool restart() {
    stream.avail_in = 0;
    return good_ && reset_(&stream) == Z_OK;
  }

  z_stream stream = {};

 protected:
  using Step = int (*)(z_stream*);
  ZlibStream(Step reset, Step end) : reset_(reset), end_(end) {}
  void begun(int result) { good_ = result == Z_OK; }

 private:
  Step reset_, end_;
  bool good_ = false;
};

struct Inflate : ZlibStream {
  Inflate() : ZlibStream(inflateReset, inflateEnd) { begun(inflateInit2(&stream, -MAX_WBITS)); }
  bool has() const { return true; }
};

struct Deflate : ZlibStream {
  explicit Deflate(int level) : ZlibStream(deflateReset, deflateEnd), level_(level) {
    begun(deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY));
  }
  bool has(int level) const { return level == level_; }

 private:
  const int level_;
};

// A stream of these settings at its beginning: the kept one, or a new one that is kept from now on. Null
// without memory.
template <typename Stream, typename... Settings>
Stream* fresh(std::unique_ptr<Stream>& kept, Settings... settings) {
  if (kept && kept->has(settings...) && kept->restart()) return kept.get();
  kept.reset(new (std::nothrow) Stream(settings...));
  return kept && kept->good() ? kept.get() : nullptr;
}

}  // namespace qv::files
