// Any bytes are a dialog template: one that can be taken apart can be measured, and made again into one that
// comes apart the same way.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "qv/lang/detail/dlgtemplate.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

struct BlockFree {
  void operator()(const void* block) const { qv::freeBlock(block); }
};
using Mapped = std::unique_ptr<_qvdlghdrcreateex, BlockFree>;

Mapped map(const void* dialog, uint32_t size, uint32_t* used) {
  _qvdlghdrcreateex* header = nullptr;
  *used = QvMapDialogTemplate(static_cast<const DLGTEMPLATE*>(dialog), size, &header);
  return Mapped(header);
}

// Numbers stand for strings when a template is made; here they would all be empty ones.
bool hasNumbers(const _qvdlghdrcreateex& header, const _qvdlgctrlcreateex* controls) {
  const auto isNumber = [](const WCHAR* title) {
    return title != nullptr && reinterpret_cast<uintptr_t>(title) < 0x10000;
  };
  bool found = isNumber(header.title);
  for (uint16_t i = 0; i < header.controlCount; ++i) found = found || isNumber(controls[i].title);
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::unique_ptr<uint8_t[]> tight(new uint8_t[size]);
  if (size != 0) memcpy(tight.get(), data, size);
  uint32_t used = 0, usedAgain = 0, made = 0;
  const Mapped header = map(tight.get(), static_cast<uint32_t>(size), &used);
  if (header == nullptr) return 0;
  require(used <= GlobalSize(GlobalHandle(header.get())));
  SIZE measured;
  require(QvGetDialogSizeIndirect(nullptr, reinterpret_cast<DLGTEMPLATE*>(tight.get()), &measured) == 1);
  const auto controls = reinterpret_cast<const _qvdlgctrlcreateex*>(header.get() + 1);
  const std::unique_ptr<DLGTEMPLATE, BlockFree> again(
      QvCreateDialogTemplateEx(nullptr, header.get(), controls, &made));
  require(again != nullptr);
  const Mapped second = map(again.get(), made, &usedAgain);
  require(second != nullptr);
  if (header->controlCount > 256 || hasNumbers(*header, controls)) return 0;
  require(second->controlCount == header->controlCount && memcmp(&second->x, &header->x, 8) == 0);
  const auto controlsAgain = reinterpret_cast<const _qvdlgctrlcreateex*>(second.get() + 1);
  for (uint16_t i = 0; i < header->controlCount; ++i) {
    require(memcmp(&controls[i].id, &controlsAgain[i].id, 10) == 0);
    require(controls[i].extraSize == controlsAgain[i].extraSize);
    require(controls[i].extraSize == 0 ||
            memcmp(controls[i].extra, controlsAgain[i].extra, controls[i].extraSize) == 0);
  }
  return 0;
}
