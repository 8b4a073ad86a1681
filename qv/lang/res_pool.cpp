// Pools of resources: the search, and dialogs shown from one.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "qv/lang/detail/dlgtemplate.h"
#include "qv/lang/detail/resources.h"
#include "qv/platform/gdi.h"

namespace qv {
namespace {

constexpr uint32_t kSmallestPool = 32;
constexpr uint32_t kSmallestEntry = 13;
constexpr LCID kEnglishLcid = 1033;
constexpr uintptr_t kStaticClass = 130;

template <typename T>
T at(const uint8_t* bytes) {
  T value;
  memcpy(&value, bytes, sizeof value);
  return value;
}

struct PoolEntry {
  const uint8_t* begin = nullptr;
  uint32_t dataSize = 0;
  uint32_t headerSize = 0;
  const uint8_t* data() const { return begin + headerSize; }
};

// Goes over the entries until one doesn't fit the pool.
class PoolWalk {
 public:
  explicit PoolWalk(const _QVRESPOOL& pool)
      : begin_(static_cast<const uint8_t*>(pool.data)), size_(pool.size) {}

  bool next(PoolEntry* entry) {
    if (at_ > size_ || size_ - at_ < kSmallestEntry) return false;
    const uint8_t* here = begin_ + at_;
    const uint64_t dataSize = at<uint32_t>(here), headerSize = at<uint32_t>(here + 4);
    const uint64_t whole = dataSize + headerSize;
    if (whole < kSmallestEntry || whole > size_ - at_) return false;
    *entry = {here, static_cast<uint32_t>(dataSize), static_cast<uint32_t>(headerSize)};
    at_ += (whole + 3) & ~uint64_t{3};
    return true;
  }

 private:
  const uint8_t* begin_;
  uint64_t size_;
  uint64_t at_ = 0;
};

// Steps through the type and the name of an entry's header.
class HeaderReader {
 public:
  explicit HeaderReader(const PoolEntry& entry)
      : at_(entry.begin + 8), begin_(entry.begin), end_(entry.begin + entry.headerSize) {}

  // False when the identifier doesn't end inside the header.
  bool identifier(const WCHAR** own) {
    if (room() < 2) return false;
    if (at<uint16_t>(at_) == 0xffff) {
      if (room() < 4) return false;
      *own = MAKEINTRESOURCEW(at<uint16_t>(at_ + 2));
      at_ += 4;
      return true;
    }
    *own = reinterpret_cast<const WCHAR*>(at_);
    while (room() >= 2 && at<uint16_t>(at_) != 0) at_ += 2;
    at_ += 2;
    return room() >= 0;
  }
  // Behind them: data version, memory flags, language.
  bool language(LANGID* language) {
    at_ = begin_ + ((at_ - begin_ + 3) & ~ptrdiff_t{3});
    if (room() < 8) return false;
    *language = at<LANGID>(at_ + 6);
    return true;
  }

 private:
  ptrdiff_t room() const { return end_ - at_; }

  const uint8_t* at_;
  const uint8_t* begin_;
  const uint8_t* end_;
};

bool isSame(const WCHAR* own, const WCHAR* wanted) {
  constexpr uintptr_t kFirstAddress = 0x10000;
  const auto number = reinterpret_cast<uintptr_t>(wanted);
  if (number < kFirstAddress || reinterpret_cast<uintptr_t>(own) < kFirstAddress) return own == wanted;
  return lstrcmpW(own, wanted) == 0;
}

LCID conditioned(LCID lcid) {
  return lcid == 0 ? 0 : QvLang_GetConditionedLCID(lcid);
}

// What serves best for the wanted language; no data when nothing has this type and name.
struct Search {
  const WCHAR* name;
  const WCHAR* type;
  LCID own;
  LCID wanted;
  PoolResource kept = {};
};

bool consider(const PoolResource& resource, void* context) {
  auto& search = *static_cast<Search*>(context);
  if (!isSame(resource.type, search.type) || !isSame(resource.name, search.name)) return true;
  const bool exact = search.wanted == 0 || conditioned(resource.language) == search.wanted;
  if (exact || search.kept.data == nullptr || resource.language == LOWORD(search.own)) search.kept = resource;
  return !exact;
}

// ---- Bitmap statics ---------------------------------------------------------------------------------------

constexpr uint32_t kCoreHeader = 12;
constexpr uint64_t kLongestSide = 0x8000;

struct Image {
  uint64_t width = 0, height = 0;
  uint32_t bits = 0;
  uint64_t colours = 0;
  uint64_t colourBytes = 4;
};

bool readImage(const uint8_t* data, uint32_t size, Image* image) {
  const uint32_t header = size < kCoreHeader ? 0 : at<uint32_t>(data);
  const bool core = header == kCoreHeader;
  if ((!core && header < sizeof(BITMAPINFOHEADER)) || header > size) return false;
  uint32_t used = 0, compression = BI_RGB;
  if (core) {
    image->width = at<uint16_t>(data + 4);
    image->height = at<uint16_t>(data + 6);
    image->bits = at<uint16_t>(data + 10);
    image->colourBytes = 3;
  } else {
    const auto info = at<BITMAPINFOHEADER>(data);
    image->width = static_cast<uint64_t>(std::max<int64_t>(info.biWidth, 0));
    image->height = static_cast<uint64_t>(std::abs(int64_t{info.biHeight}));
    image->bits = info.biBitCount;
    used = info.biClrUsed;
    compression = info.biCompression;
  }
  const bool indexed = image->bits == 1 || image->bits == 4 || image->bits == 8;
  image->colours = used != 0 ? used : indexed ? uint64_t{1} << image->bits : 0;
  return compression == BI_RGB && image->bits <= 32 && image->width <= kLongestSide &&
         image->height <= kLongestSide;
}

// The pixels of a packed image that is whole; null for any other.
const uint8_t* pixelsOf(const uint8_t* data, uint32_t size) {
  Image image;
  if (!readImage(data, size, &image)) return nullptr;
  const uint64_t stride = (image.width * image.bits + 31) / 32 * 4;
  const uint64_t offset = at<uint32_t>(data) + image.colours * image.colourBytes;
  return offset + stride * image.height <= size ? data + offset : nullptr;
}

HBITMAP bitmapOf(const _QVRESPOOL* pool, const WCHAR* name) {
  uint32_t size = 0;
  const auto* data =
      static_cast<const uint8_t*>(QvFindResourceInResPool(pool, &size, name, RT_BITMAP, 0, nullptr));
  const uint8_t* pixels = data == nullptr ? nullptr : pixelsOf(data, size);
  return pixels == nullptr ? nullptr : screenResourceCalls().createBitmap(data, pixels);
}

bool isBitmapStatic(const _qvdlgctrlcreateex& control) {
  const auto number = reinterpret_cast<uintptr_t>(control.className);
  const bool isStatic =
      number < 0x10000 ? number == kStaticClass : lstrcmpiW(control.className, TEXT("static")) == 0;
  if (!isStatic || (control.style & SS_TYPEMASK) != SS_BITMAP || control.title == nullptr) return false;
  return reinterpret_cast<uintptr_t>(control.title) < 0x10000 || control.title[0] != 0;
}

// What the control finds behind its size: a version and the bitmap's handle.
struct BitmapExtra {
  uint8_t bytes[10];
};

bool replaceBitmaps(const _QVRESPOOL* pool, _qvdlghdrcreateex* header, BitmapExtra* extras) {
  const auto controls = reinterpret_cast<_qvdlgctrlcreateex*>(header + 1);
  bool changed = false;
  for (uint16_t i = 0; i < header->controlCount; ++i) {
    if (!isBitmapStatic(controls[i])) continue;
    changed = true;
    controls[i].className = kBitmapStaticClass;
    const HBITMAP bitmap = bitmapOf(pool, controls[i].title);
    if (bitmap == nullptr) continue;
    const uint16_t version = 1;
    const auto handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(bitmap));
    memcpy(extras[i].bytes, &version, sizeof version);
    memcpy(extras[i].bytes + sizeof version, &handle, sizeof handle);
    controls[i].title = nullptr;
    controls[i].extra = extras[i].bytes;
    controls[i].extraSize = sizeof(BitmapExtra);
  }
  return changed;
}

// A dialog in its pool says what it is; a class by name and the bitmap's handle make each control longer.
uint32_t roomFor(uint32_t size) {
  constexpr uint32_t kMore = 1024;
  return size * 4 + kMore;
}

}  // namespace

void forEachPoolResource(const _QVRESPOOL& pool, bool (*each)(const PoolResource& resource, void* context),
                         void* context) {
  if (pool.data == nullptr || pool.size < kSmallestPool) return;
  PoolWalk walk(pool);
  PoolEntry entry;
  while (walk.next(&entry)) {
    HeaderReader header(entry);
    PoolResource resource = {nullptr, nullptr, 0, entry.data(), entry.dataSize};
    if (!header.identifier(&resource.type) || !header.identifier(&resource.name) ||
        !header.language(&resource.language))
      continue;
    if (!each(resource, context)) return;
  }
}

uint32_t replacePoolBitmaps(const _QVRESPOOL* pool, HQVLANG language, DLGTEMPLATE* dialog, uint32_t size,
                            uint32_t capacity) {
  _qvdlghdrcreateex* header = nullptr;
  if (QvMapDialogTemplate(dialog, size, &header) == 0) return size;
  const std::unique_ptr<BitmapExtra[]> extras(new (std::nothrow) BitmapExtra[header->controlCount]);
  uint32_t rebuiltSize = 0;
  DLGTEMPLATE* rebuilt = nullptr;
  if (extras && replaceBitmaps(pool, header, extras.get())) {
    const auto controls = reinterpret_cast<const _qvdlgctrlcreateex*>(header + 1);
    rebuilt = QvCreateDialogTemplateEx(language, header, controls, &rebuiltSize);
  }
  const bool fits = rebuilt != nullptr && rebuiltSize <= capacity;
  if (fits) memcpy(dialog, rebuilt, rebuiltSize);
  freeBlock(rebuilt);
  freeBlock(header);
  return fits ? rebuiltSize : size;
}

}  // namespace qv

using namespace qv;

const void* QvFindResourceInResPool(const _QVRESPOOL* pool, uint32_t* size, const WCHAR* name,
                                    const WCHAR* type, LCID lcid, LCID* found) {
  if (pool == nullptr) return nullptr;
  const LCID own = QvLang_GetLCID(kernelLanguage);
  Search search = {name, type, own, conditioned(lcid != 0 ? lcid : own)};
  forEachPoolResource(*pool, consider, &search);
  if (search.kept.data == nullptr) return nullptr;
  if (size != nullptr) *size = search.kept.size;
  if (found != nullptr) *found = search.kept.language;
  return search.kept.data;
}

const DLGTEMPLATE* QvFindDialogTemplateInResPool(const _QVRESPOOL* pool, uint32_t* size, const WCHAR* name,
                                                 LCID lcid) {
  return static_cast<const DLGTEMPLATE*>(QvFindResourceInResPool(pool, size, name, RT_DIALOG, lcid, nullptr));
}

INT_PTR QvResPoolDialogBox(const _QVRESPOOL* pool, HQVLANG language, const WCHAR* name, HWND parent,
                           DLGPROC procedure, LPARAM parameter) {
  const LCID own = QvLang_GetLCID(language);
  uint32_t size = 0;
  const DLGTEMPLATE* found = QvFindDialogTemplateInResPool(pool, &size, name, own != 0 ? own : kEnglishLcid);
  constexpr uint32_t kLongestTemplate = 0x1000000;
  if (found == nullptr || size < sizeof(DLGTEMPLATE) || size > kLongestTemplate) return -1;
  const uint32_t capacity = roomFor(size);
  const std::unique_ptr<uint8_t[]> copy(new (std::nothrow) uint8_t[capacity]());
  if (!copy) return -1;
  memcpy(copy.get(), found, size);
  const auto dialog = reinterpret_cast<DLGTEMPLATE*>(copy.get());
  replacePoolBitmaps(pool, language, dialog, size, capacity);
  return QvDialogBoxIndirectParam(language, dialog, parent, procedure, parameter);
}
