// Raw deflate streams that end themselves, and begin again: the memory of one costs more than a small file's bytes.
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

  z_stream stream = {};

 protected:
  explicit ZlibStream(int (*end)(z_stream*)) : end_(end) {}
  void begun(int result) { good_ = result == Z_OK; }

 private:
  int (*end_)(z_stream*);
  bool good_ = false;
};

struct Inflate : ZlibStream {
  Inflate() : ZlibStream(inflateEnd) { begun(inflateInit2(&stream, -MAX_WBITS)); }
  bool restart() {
    stream.avail_in = 0;
    return good() && inflateReset(&stream) == Z_OK;
  }
};

struct Deflate : ZlibStream {
  explicit Deflate(int compressionLevel) : ZlibStream(deflateEnd), level(compressionLevel) {
    begun(deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY));
  }
  bool restart() {
    stream.avail_in = 0;
    return good() && deflateReset(&stream) == Z_OK;
  }
  const int level;
};

// A stream at its beginning: the kept one, or a new one that is kept from now on. Null without memory.
inline Inflate* freshInflate(std::unique_ptr<Inflate>& kept) {
  if (kept && kept->restart()) return kept.get();
  kept.reset(new (std::nothrow) Inflate);
  return kept && kept->good() ? kept.get() : nullptr;
}
inline Deflate* freshDeflate(std::unique_ptr<Deflate>& kept, int level) {
  if (kept && kept->level == level && kept->restart()) return kept.get();
  kept.reset(new (std::nothrow) Deflate(level));
  return kept && kept->good() ? kept.get() : nullptr;
}

}  // namespace qv::files
