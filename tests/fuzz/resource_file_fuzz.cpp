// Any bytes are a compiled resource file: what the reader accepts must be readable to its last byte.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "qv/lang/detail/handle.h"
#include "qv/platform/linux/resource_file.h"
#include "qv/platform/resources.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

// Adds up the bytes, so that each is touched.
unsigned sumOf(const void* data, size_t size) {
  unsigned sum = 0;
  for (size_t i = 0; i < size; ++i) sum += static_cast<const uint8_t*>(data)[i];
  return sum;
}

BOOL CALLBACK readOne(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language, LONG_PTR parameter) {
  const HRSRC found = FindResourceExW(module, type, name, language);
  require(found != nullptr);
  *reinterpret_cast<unsigned*>(parameter) +=
      sumOf(LockResource(LoadResource(module, found)), SizeofResource(module, found));
  return TRUE;
}

void readStrings(HMODULE module) {
  WCHAR text[40];
  for (uint32_t number = 0; number < 48; ++number) {
    require(LoadStringW(module, number, text, 40) < 40);
    const qv::StringResource found = qv::findStringResource(module, number, 0x0407);
    if (found.text == nullptr) continue;
    require(found.text + found.length <= found.end);
    sumOf(found.text, found.length * sizeof(WCHAR));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const HMODULE module = qv::platform::openResourceBytes({data, data + size});
  if (module == nullptr) return 0;
  unsigned sum = 0;
  const LPCWSTR types[] = {RT_STRING, RT_VERSION, MAKEINTRESOURCEW(10), u"SHAPE"};
  for (const LPCWSTR type : types) {
    for (const LPCWSTR name : {MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(5), u"PICTURE", MAKEINTRESOURCEW(300)}) {
      EnumResourceLanguagesW(module, type, name, readOne, reinterpret_cast<LONG_PTR>(&sum));
    }
  }
  readStrings(module);
  require(qv::platform::closeResourceFile(module) && !qv::platform::closeResourceFile(module));
  return 0;
}
