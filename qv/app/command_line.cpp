#include "qv/app/detail/command_line.h"

#include <algorithm>

#include "qv/platform/characters.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"

namespace qv {
namespace {

using platform::isWhiteSpace;

constexpr WCHAR kQuote = '"';

// For each character a pointer and a character, rounded up to what leaves room for both terminators. An
// argument takes two characters at least, its own and a blank, so the pointers never reach the text.
constexpr size_t blockSize(size_t length) {
  return length * 12 + 8;
}
constexpr size_t textOffset(size_t length) {
  return (length + 1) * sizeof(WCHAR*);
}

size_t textLength(const WCHAR* text) {
  const WCHAR* end = text;
  while (*end != 0) ++end;
  return static_cast<size_t>(end - text);
}

// Reads arguments out of a text and writes them, without their quotes, into the same place: the writer never
// overtakes the reader.
class Splitter {
 public:
  explicit Splitter(WCHAR* text) : in_(text), out_(text) { skipWhiteSpace(); }

  bool atEnd() const { return *in_ == 0; }

  WCHAR* next() {
    WCHAR* argument = out_;
    bool quoted = false;
    while (*in_ != 0 && (quoted || !isWhiteSpace(*in_))) {
      if (*in_ == kQuote) {
        quoted = passQuote(quoted);
      } else {
        *out_++ = *in_++;
      }
    }
    // Past the white space first: the terminator may land on it.
    if (*in_ != 0) skipWhiteSpace();
    *out_++ = 0;
    return argument;
  }

 private:
  void skipWhiteSpace() {
    while (isWhiteSpace(*in_)) ++in_;
  }

  // Whether the text behind the quote is quoted.
  bool passQuote(bool quoted) {
    ++in_;
    if (!quoted) return true;
    if (*in_ != kQuote) return false;
    *out_++ = *in_++;
    return true;
  }

  const WCHAR* in_;
  WCHAR* out_;
};

}  // namespace

WCHAR** splitCommandLine(const WCHAR* text, int32_t& count) {
  count = 0;
  if (text == nullptr || *text == 0) return nullptr;
  const size_t length = textLength(text);
  auto* block = static_cast<BYTE*>(platform::globalAlloc(GMEM_FIXED, blockSize(length)));
  if (block == nullptr) return nullptr;
  auto** arguments = reinterpret_cast<WCHAR**>(block);
  auto* copy = reinterpret_cast<WCHAR*>(block + textOffset(length));
  std::copy_n(text, length + 1, copy);
  for (Splitter splitter(copy); !splitter.atEnd();) arguments[count++] = splitter.next();
  arguments[count] = nullptr;
  if (count != 0) return arguments;
  GlobalFree(block);
  return nullptr;
}

}  // namespace qv
