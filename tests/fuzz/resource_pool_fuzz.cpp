// Any bytes are a pool of resources: what is found lies inside it, and is what a walk over the pool sees.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "qv/lang/detail/dlgtemplate.h"
#include "qv/lang/detail/handle.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

struct Walk {
  const _QVRESPOOL* pool;
  int count = 0;
};

bool findAgain(const qv::PoolResource& resource, void* context) {
  Walk& walk = *static_cast<Walk*>(context);
  const auto begin = static_cast<const uint8_t*>(walk.pool->data);
  require(resource.data >= begin && resource.data + resource.size <= begin + walk.pool->size);
  uint32_t size = 0;
  LCID language = 0;
  const void* found =
      QvFindResourceInResPool(walk.pool, &size, resource.name, resource.type, resource.language, &language);
  require(found >= begin && static_cast<const uint8_t*>(found) + size <= begin + walk.pool->size);
  for (const LCID wanted : {0u, 1033u, 1041u}) {
    require(QvFindResourceInResPool(walk.pool, nullptr, resource.name, resource.type, wanted, nullptr) !=
            nullptr);
  }
  return ++walk.count < 40;
}

INT_PTR showNothing(HINSTANCE, const DLGTEMPLATE* dialog, HWND, DLGPROC, LPARAM) {
  return dialog->cdit;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A copy of whole words and no more, so that reading beyond it is seen.
  const size_t whole = size & ~size_t{3};
  const std::unique_ptr<uint32_t[]> tight(new uint32_t[whole / 4]);
  memcpy(tight.get(), data, whole);
  const _QVRESPOOL pool = {0, static_cast<uint32_t>(whole), tight.get()};
  Walk walk = {&pool};
  qv::forEachPoolResource(pool, findAgain, &walk);

  static const qv::ScreenResourceCalls calls = [] {
    qv::ScreenResourceCalls own = qv::screenResourceCalls();
    own.runDialog = showNothing;
    own.createBitmap = [](const void* image, const void*) {
      return reinterpret_cast<HBITMAP>(const_cast<void*>(image));
    };
    return own;
  }();
  qv::setScreenResourceCalls(&calls);
  QvResPoolDialogBox(&pool, nullptr, MAKEINTRESOURCEW(1), nullptr, nullptr, 0);
  return 0;
}
