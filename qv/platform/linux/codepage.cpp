#include "qv/platform/codepage.h"

#include <algorithm>
#include <atomic>

#include "qv/platform/ansi.h"

namespace qv::platform {
namespace {

struct ByteRange {
  uint8_t first, last;
  bool holds(uint8_t byte) const { return byte >= first && byte <= last; }
};

// Where the bytes of a pair lie; unused ranges hold nothing.
struct DoubleBytePage {
  int codePage;
  ByteRange lead[2];
  ByteRange trail[3];
};

constexpr ByteRange kNone = {1, 0};
constexpr DoubleBytePage kPages[] = {
    {932, {{0x81, 0x9f}, {0xe0, 0xfc}}, {{0x40, 0x7e}, {0x80, 0xfc}, kNone}},
    {936, {{0x81, 0xfe}, kNone}, {{0x40, 0x7e}, {0x80, 0xfe}, kNone}},
    {949, {{0x81, 0xfe}, kNone}, {{0x41, 0x5a}, {0x61, 0x7a}, {0x81, 0xfe}}},
    {950, {{0x81, 0xfe}, kNone}, {{0x40, 0x7e}, {0xa1, 0xfe}, kNone}},
};

std::atomic<const DoubleBytePage*> processPage{nullptr};

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

int _getmbcp() {
  const DoubleBytePage* page = processPage.load();
  return page == nullptr ? 0 : page->codePage;
}

int _setmbcp(int codePage) {
  const auto* found =
      std::find_if(std::begin(kPages), std::end(kPages),
                   [codePage](const DoubleBytePage& page) { return page.codePage == codePage; });
  if (found == std::end(kPages) && codePage != 0) return -1;
  processPage.store(codePage == 0 ? nullptr : found);
  return 0;
}

int _mbbtype(unsigned char byte, int type) {
  const DoubleBytePage* page = processPage.load();
  const auto holds = [byte](const ByteRange& range) { return range.holds(byte); };
  if (type == 1)
    return page != nullptr && std::any_of(std::begin(page->trail), std::end(page->trail), holds) ? 2 : -1;
  return page != nullptr && std::any_of(std::begin(page->lead), std::end(page->lead), holds) ? 1 : 0;
}

LPSTR CharNextA(LPCSTR text) {
  const bool pair = text[0] != 0 && text[1] != 0 && _mbbtype(static_cast<unsigned char>(text[0]), 0) == 1;
  return const_cast<LPSTR>(text + (pair ? 2 : text[0] != 0 ? 1 : 0));
}
