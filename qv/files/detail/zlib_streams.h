// Raw deflate streams that end themselves.
#pragma once

#include <zlib.h>

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
};

struct Deflate : ZlibStream {
  explicit Deflate(int level) : ZlibStream(deflateEnd) {
    begun(deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY));
  }
};

}  // namespace qv::files
