// A place for text of limited room: what doesn't fit is cut, never written.
//
//   TextSink sink(destination, capacity - 1);
//   sink.put(text, length);
//   sink.terminate();
#pragma once

#include <cstdint>
#include <cstring>

#include "qv/platform/base.h"

namespace qv {

constexpr bool isHighSurrogate(WCHAR c) {
  return (c & 0xfc00) == 0xd800;
}
constexpr bool isLowSurrogate(WCHAR c) {
  return (c & 0xfc00) == 0xdc00;
}

class TextSink {
 public:
  // `room` counts characters without the terminator, which needs one place more.
  TextSink(WCHAR* text, uint32_t room) : text_(text), room_(room) {}

  // Each put answers whether everything fitted.
  bool put(const WCHAR* text, size_t count) {
    const size_t fits = take(count);
    copy(text_ + length_, text, fits);
    length_ += static_cast<uint32_t>(fits);
    return fits == count;
  }
  bool put(WCHAR c) {
    if (room_ == 0) return fail();
    --room_;
    text_[length_++] = c;
    return true;
  }
  // A whole NUL-terminated text in one pass.
  bool putTerminated(const WCHAR* text) {
    WCHAR* const start = text_ + length_;
    uint32_t count = 0;
    for (; text[count] && count < room_; ++count) start[count] = text[count];
    length_ += count;
    room_ -= count;
    return text[count] == 0 || fail();
  }
  // The place for `count` characters that surely fit, filled by the caller; null when they don't.
  WCHAR* reserve(uint32_t count) {
    if (count > room_) return nullptr;
    WCHAR* const place = text_ + length_;
    length_ += count;
    room_ -= count;
    return place;
  }
  bool putNarrow(const char* text, size_t count) {
    const size_t fits = take(count);
    for (size_t i = 0; i < fits; ++i)
      text_[length_ + i] = static_cast<WCHAR>(static_cast<unsigned char>(text[i]));
    length_ += static_cast<uint32_t>(fits);
    return fits == count;
  }
  bool fill(WCHAR c, uint64_t count) {
    const size_t fits = take(count);
    for (size_t i = 0; i < fits; ++i) text_[length_ + i] = c;
    length_ += static_cast<uint32_t>(fits);
    return fits == count;
  }

  // A sink on the same place, of at most `limit` characters; hand its length to advance().
  TextSink rest(uint32_t limit) const { return TextSink(text_ + length_, room_ < limit ? room_ : limit); }
  void advance(const TextSink& part) {
    length_ += part.length_;
    room_ -= part.length_;
    cut_ |= part.cut_;
  }

  // The same where the part's limit, not this sink's, did the cutting.
  void advanceUncut(const TextSink& part) {
    length_ += part.length_;
    room_ -= part.length_;
  }

  // Writes the terminator. A text that was cut doesn't end in half a character.
  uint32_t terminate() {
    if (cut_ && length_ && isHighSurrogate(text_[length_ - 1])) --length_;
    text_[length_] = 0;
    return length_;
  }

  const WCHAR* text() const { return text_; }
  uint32_t length() const { return length_; }
  uint32_t room() const { return room_; }
  bool wasCut() const { return cut_; }

 private:
  // Most pieces of a text are a few characters: two overlapping moves of a fixed size beat a call.
  static void copy(WCHAR* to, const WCHAR* from, size_t count) {
    if (count > 16) {
      std::memcpy(to, from, count * sizeof(WCHAR));
    } else if (count >= 8) {
      std::memcpy(to, from, 8 * sizeof(WCHAR));
      std::memcpy(to + count - 8, from + count - 8, 8 * sizeof(WCHAR));
    } else if (count >= 4) {
      std::memcpy(to, from, 4 * sizeof(WCHAR));
      std::memcpy(to + count - 4, from + count - 4, 4 * sizeof(WCHAR));
    } else {
      for (size_t i = 0; i < count; ++i) to[i] = from[i];
    }
  }
  size_t take(uint64_t count) {
    const size_t fits = count < room_ ? static_cast<size_t>(count) : room_;
    if (fits < count) cut_ = true;
    room_ -= static_cast<uint32_t>(fits);
    return fits;
  }
  bool fail() {
    cut_ = true;
    return false;
  }

  WCHAR* text_;
  uint32_t length_ = 0;
  uint32_t room_;
  bool cut_ = false;
};

// The same on a block of its own, as one conversion's rendering needs it.
template <uint32_t Capacity>
class ScratchText {
 public:
  ScratchText() : sink(block_, Capacity - 1) {}
  ScratchText(const ScratchText&) = delete;
  ScratchText& operator=(const ScratchText&) = delete;

 private:
  WCHAR block_[Capacity];

 public:
  TextSink sink;
};

// The characters of one conversion's scratch, with the terminator.
inline constexpr uint32_t kScratchCapacity = 260;

}  // namespace qv
