// A heap that goes away as a whole: small blocks are cut from chunks and kept by size, large ones stand
// alone.
//
// A small block costs a header of 16 bytes, and neither a search nor a call of the run-time. Destroying the
// heap frees the chunks, not the blocks.
#pragma once

#include <algorithm>
#include <bit>
#include <mutex>
#include <utility>

#include "qv/platform/base.h"

#if defined(__SANITIZE_ADDRESS__)
#define QV_HEAP_BLOCKS_STAND_ALONE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QV_HEAP_BLOCKS_STAND_ALONE 1
#endif
#endif
#ifndef QV_HEAP_BLOCKS_STAND_ALONE
#define QV_HEAP_BLOCKS_STAND_ALONE 0
#endif

namespace qv::platform {

class Heap {
 public:
  // Stands before the bytes of each block.
  struct alignas(16) Block {
    SIZE_T bytes;     // As asked for.
    SIZE_T capacity;  // Of a small block its class's, of a large one more than any class's.

    void* data() { return this + 1; }
    static Block* of(const void* data) { return static_cast<Block*>(const_cast<void*>(data)) - 1; }
  };

  Heap(bool serialised, SIZE_T initialSize)
      : serialised_(serialised), chunkBytes_(std::clamp(initialSize, kSmallestChunk, kLargestChunk)) {}
  Heap(const Heap&) = delete;
  Heap& operator=(const Heap&) = delete;
  ~Heap();

  void* allocate(SIZE_T bytes, bool zeroed);
  void* resize(void* data, SIZE_T bytes, bool zeroed, bool inPlace);
  void free(void* data);

 private:
  struct Free {
    Free* next;
  };
  struct alignas(16) Chunk {
    Chunk* next;
  };
  struct Large {
    Large* previous;
    Large* next;
    Block block;

    static Large* of(Block* block) {
      return reinterpret_cast<Large*>(reinterpret_cast<char*>(block) - offsetof(Large, block));
    }
  };
  // Holds the lock of a serialised heap for one step.
  struct Guard {
    explicit Guard(Heap& heap) : heap_(heap) {
      if (heap_.serialised_) heap_.mutex_.lock();
    }
    ~Guard() {
      if (heap_.serialised_) heap_.mutex_.unlock();
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    Heap& heap_;
  };

  // Classes: every 16 bytes up to 1024, then four to each doubling up to 32768.
  static constexpr SIZE_T kFineLimit = 1024, kFineStep = 16, kSmallLimit = 32768;
  static constexpr size_t kFineClasses = kFineLimit / kFineStep;
  static constexpr size_t kClasses = kFineClasses + size_t{4} * 5;
  static constexpr SIZE_T kSmallestChunk = 65536, kLargestChunk = 1 << 20;
  // With the address sanitizer every block stands alone, so that it sees each one's ends and its freeing.
  static constexpr SIZE_T kLeastLarge = QV_HEAP_BLOCKS_STAND_ALONE ? 0 : kSmallLimit + 1;

  static bool isLarge(SIZE_T bytes) { return bytes >= kLeastLarge; }
  static size_t classOf(SIZE_T bytes) {
    if (bytes <= kFineLimit) return bytes == 0 ? 0 : (bytes - 1) / kFineStep;
    unsigned top = static_cast<unsigned>(std::bit_width(bytes - 1)) - 1;  // 10 to 14
    return kFineClasses + size_t{4} * (top - 10) + ((bytes - 1) >> (top - 2)) - 4;
  }
  static SIZE_T capacityOf(size_t index) {
    if (index < kFineClasses) return (index + 1) * kFineStep;
    size_t coarse = index - kFineClasses;
    return (5 + coarse % 4) << (8 + coarse / 4);
  }

  Block* newLarge(SIZE_T bytes);
  Block* newSmall(SIZE_T bytes);
  bool newChunk();

  const bool serialised_;
  std::mutex mutex_;
  SIZE_T chunkBytes_;
  Chunk* chunks_ = nullptr;
  Large* larges_ = nullptr;
  char* next_ = nullptr;
  char* end_ = nullptr;
  Free* free_[kClasses] = {};
};

}  // namespace qv::platform
