// Memory between two pages that must not be touched, and the processor levels that a kernel must agree at.
#pragma once

#include <gtest/gtest.h>
#include <string.h>

#include <vector>

#include "qv/frame/cpu.h"
#include "qv/platform/pages.h"

namespace test {

// Bytes that end right before a forbidden page, or begin right behind one. The slack on the other side is
// filled with a pattern, which spoiled() looks at.
class Guarded {
 public:
  enum Side { AtEnd, AtStart };
  Guarded(size_t bytes, Side side) : bytes_(bytes) {
    inner_ = (bytes + kPage - 1) / kPage * kPage;
    if (inner_ == 0) inner_ = kPage;
    pages_ = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, inner_ + 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before;
    memset(pages_ + kPage, kPattern, inner_);
    VirtualProtect(pages_, kPage, PAGE_NOACCESS, &before);
    VirtualProtect(pages_ + kPage + inner_, kPage, PAGE_NOACCESS, &before);
    data_ = side == AtEnd ? pages_ + kPage + inner_ - bytes : pages_ + kPage;
  }
  ~Guarded() { VirtualFree(pages_, 0, MEM_RELEASE); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  uint8_t* data() const { return data_; }
  size_t size() const { return bytes_; }
  bool spoiled() const {
    for (const uint8_t* p = pages_ + kPage; p != pages_ + kPage + inner_; ++p) {
      if ((p < data_ || p >= data_ + bytes_) && *p != kPattern) return true;
    }
    return false;
  }

 private:
  static constexpr size_t kPage = 4096;
  static constexpr uint8_t kPattern = 0xa5;
  uint8_t* pages_;
  uint8_t* data_;
  size_t bytes_, inner_;
};

struct Level {
  const char* name;
  uint32_t allowed;
};
inline constexpr Level kLevels[] = {{"plain", 0x30}, {"sse2", 0x70}, {"all", 0xff0}};

// Restricts the process for a scope.
class AtLevel {
 public:
  explicit AtLevel(const Level& level) { QvOnlyAllowCPUSupport(level.allowed); }
  ~AtLevel() { QvOnlyAllowCPUSupport(0xff0); }
};

// The same bytes in every run.
class Random {
 public:
  explicit Random(uint32_t seed) : state_(seed * 2654435769u + 1) {}
  uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    return state_ ^= state_ << 5;
  }
  uint32_t below(uint32_t limit) { return next() % limit; }
  void fill(uint8_t* p, size_t bytes) {  // p may be null when there is nothing to fill
    for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(next() >> 11);
  }
  std::vector<uint8_t> bytes(size_t count) {
    std::vector<uint8_t> out(count);
    fill(out.data(), count);
    return out;
  }

 private:
  uint32_t state_;
};

}  // namespace test
