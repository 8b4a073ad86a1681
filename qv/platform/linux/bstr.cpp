#include "qv/platform/bstr.h"

#include <cstdlib>
#include <cstring>

#include "qv/platform/text.h"

namespace {

// In front of the characters: their size in bytes, where the readers of such strings look for it.
struct Header {
  uint32_t padding;
  uint32_t bytes;
};
static_assert(sizeof(Header) == 8);

Header* headerOf(BSTR text) {
  return reinterpret_cast<Header*>(text) - 1;
}

constexpr UINT kLongest = 0x3fffffff;

}  // namespace

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > kLongest) return nullptr;
  const size_t bytes = size_t{length} * sizeof(OLECHAR);
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + bytes + sizeof(OLECHAR)));
  if (!header) return nullptr;
  *header = {0, static_cast<uint32_t>(bytes)};
  BSTR string = reinterpret_cast<BSTR>(header + 1);
  if (text) std::memcpy(string, text, bytes);
  string[length] = 0;
  return string;
}

BSTR SysAllocString(const OLECHAR* text) {
  return text ? SysAllocStringLen(text, static_cast<UINT>(wcslen(text))) : nullptr;
}

UINT SysStringLen(BSTR text) {
  return text ? headerOf(text)->bytes / static_cast<UINT>(sizeof(OLECHAR)) : 0;
}

void SysFreeString(BSTR text) {
  if (text) std::free(headerOf(text));
}
