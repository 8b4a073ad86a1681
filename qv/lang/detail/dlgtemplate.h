// Between the sources of dlgtemplate.h.
#pragma once

#include "qv/lang/dlgtemplate.h"

namespace qv {

inline constexpr const WCHAR* kBitmapStaticClass = TEXT("QvKrn_Static_Class");

// A block for the caller, locked and zeroed; null without memory.
void* allocateBlock(size_t bytes);
void freeBlock(const void* block);

// A resource of a pool; type and name are numbers or texts in the pool.
struct PoolResource {
  const WCHAR* type;
  const WCHAR* name;
  LANGID language;
  const uint8_t* data;
  uint32_t size;
};
// Goes over the pool until `each` says false or an entry doesn't fit.
void forEachPoolResource(const _QVRESPOOL& pool, bool (*each)(const PoolResource& resource, void* context),
                         void* context);

// Turns the bitmap statics of a pool's dialog into controls that carry their bitmap with them.
//   dialog    the template, `size` bytes in a buffer of `capacity`, rewritten in place
// The bytes of the template afterwards; `size` when nothing was to be done or it doesn't fit.
uint32_t replacePoolBitmaps(const _QVRESPOOL* pool, HQVLANG language, DLGTEMPLATE* dialog, uint32_t size,
                            uint32_t capacity);

}  // namespace qv
