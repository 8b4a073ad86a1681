// Writing dialog templates of both forms.
#include "qv/lang/dlgtemplate.h"

#include <algorithm>
#include <cstring>

#include "qv/lang/detail/dlgtemplate.h"
#include "qv/lang/detail/resources.h"
#include "qv/platform/detail/alloc_seam.h"

namespace qv {
namespace {

constexpr uint16_t kMostControls = 256;
constexpr uintptr_t kFirstAddress = 0x10000;
constexpr uint32_t kPrimaryJapanese = 17;
constexpr const WCHAR* kStockFace = TEXT("MS Shell Dlg");

// Writes where there is room for all, and counts where there is no block yet.
class Writer {
 public:
  explicit Writer(uint8_t* block) : block_(block) {}

  void bytes(const void* data, size_t size) {
    if (block_ != nullptr && size != 0) memcpy(block_ + at_, data, size);
    at_ += size;
  }
  template <typename T>
  void put(T value) {
    bytes(&value, sizeof value);
  }
  void text(const WCHAR* text) { bytes(text, (static_cast<size_t>(lstrlenW(text)) + 1) * sizeof(WCHAR)); }
  // None, a number, or a text.
  void name(const WCHAR* name) {
    const auto value = reinterpret_cast<uintptr_t>(name);
    if (value >= kFirstAddress) return text(name);
    if (value != 0) put<uint16_t>(0xffff);
    put(static_cast<uint16_t>(value));
  }
  void align() { at_ = (at_ + 3) & ~size_t{3}; }
  size_t size() const { return at_; }

 private:
  uint8_t* block_;
  size_t at_ = 0;
};

const WCHAR* textOf(HQVLANG language, const WCHAR* text) {
  const WCHAR* own = QvGetStringSmart(language, text);
  return own != nullptr ? own : kEmptyText;
}

// What both forms are written from.
struct Font {
  const WCHAR* face;
  uint16_t points;
};

template <typename Header>
Font fontOf(HQVLANG language, const Header& header) {
  if (header.face != nullptr) return {textOf(language, header.face), header.pointSize};
  const bool japanese = (QvLang_GetLCID(kernelLanguage) & 0x3ff) == kPrimaryJapanese;
  return {kStockFace, static_cast<uint16_t>(japanese ? 9 : 8)};
}

template <typename Place>
void putPlace(Writer& out, const Place& place) {
  for (const int16_t value : {place.x, place.y, place.cx, place.cy}) out.put(value);
}

const WCHAR* nameOf(uint16_t number) {
  return MAKEINTRESOURCEW(number);
}
const WCHAR* nameOf(const WCHAR* name) {
  return name;
}

template <typename Header>
uint16_t countOf(const Header& header) {
  return std::min(header.controlCount, kMostControls);
}

// Behind the styles: the same in both forms but for the font's looks.
template <typename Header, typename PutLooks>
void putRest(Writer& out, HQVLANG language, const Header& header, PutLooks putLooks) {
  out.put(countOf(header));
  putPlace(out, header);
  out.name(nameOf(header.menu));
  out.name(nameOf(header.className));
  out.text(textOf(language, header.title));
  if ((header.style & DS_SETFONT) == 0) return;
  const Font font = fontOf(language, header);
  out.put(font.points);
  putLooks();
  out.text(font.face);
}

void write(Writer& out, HQVLANG language, const _qvdlghdrcreate& header, const _qvdlgctrlcreate* controls) {
  out.put(header.style);
  out.put(header.exStyle);
  putRest(out, language, header, [] {});
  for (uint16_t i = 0; i < countOf(header); ++i) {
    const _qvdlgctrlcreate& control = controls[i];
    out.align();
    out.put(control.style);
    out.put(control.exStyle);
    putPlace(out, control);
    out.put(control.id);
    out.name(control.className);
    out.text(textOf(language, control.title));
    out.put<uint16_t>(0);
  }
}

void write(Writer& out, HQVLANG language, const _qvdlghdrcreateex& header,
           const _qvdlgctrlcreateex* controls) {
  out.put<uint16_t>(1);
  out.put<uint16_t>(0xffff);
  for (const uint32_t value : {header.help, header.exStyle, header.style}) out.put(value);
  putRest(out, language, header, [&] {
    out.put(header.weight);
    out.put(header.italic);
    out.put(header.charset);
  });
  for (uint16_t i = 0; i < countOf(header); ++i) {
    const _qvdlgctrlcreateex& control = controls[i];
    out.align();
    for (const uint32_t value : {control.help, control.exStyle, control.style}) out.put(value);
    putPlace(out, control);
    out.put(uint32_t{control.id});
    out.name(control.className);
    out.text(textOf(language, control.title));
    const uint16_t extra = control.extra == nullptr ? uint16_t{0} : control.extraSize;
    out.put(extra);
    out.bytes(control.extra, extra);
  }
}

template <typename Header, typename Control>
DLGTEMPLATE* create(HQVLANG language, const Header* header, const Control* controls, uint32_t* size) {
  if (header == nullptr || (controls == nullptr && header->controlCount != 0)) return nullptr;
  Writer counted(nullptr);
  write(counted, language, *header, controls);
  const auto block = static_cast<uint8_t*>(allocateBlock(counted.size()));
  if (block == nullptr) return nullptr;
  Writer out(block);
  write(out, language, *header, controls);
  if (size != nullptr) *size = static_cast<uint32_t>(out.size());
  return reinterpret_cast<DLGTEMPLATE*>(block);
}

template <typename Header>
int32_t sizeOf(HQVLANG language, const Header& header, const DialogFont& looks, SIZE* size) {
  int32_t width = 0, height = 0;
  if ((header.style & DS_SETFONT) != 0 && header.face != nullptr) {
    QvGetDialogUnitsForFont(textOf(language, header.face), header.pointSize, looks.weight, looks.charset,
                            looks.italic, &width, &height);
  }
  *size = dialogPixels(header.cx, header.cy, width, height);
  return 1;
}

}  // namespace

void* allocateBlock(size_t bytes) {
  const HGLOBAL block = platform::globalAlloc(GHND, bytes);
  return block == nullptr ? nullptr : GlobalLock(block);
}

void freeBlock(const void* block) {
  if (block == nullptr) return;
  const HGLOBAL handle = GlobalHandle(block);
  GlobalUnlock(handle);
  GlobalFree(handle);
}

}  // namespace qv

using namespace qv;

DLGTEMPLATE* QvCreateDialogTemplate(HQVLANG language, const _qvdlghdrcreate* header,
                                    const _qvdlgctrlcreate* controls) {
  return create(language, header, controls, nullptr);
}

DLGTEMPLATE* QvCreateDialogTemplateEx(HQVLANG language, const _qvdlghdrcreateex* header,
                                      const _qvdlgctrlcreateex* controls, uint32_t* size) {
  return create(language, header, controls, size);
}

int32_t QvGetDialogSize(HQVLANG language, const _qvdlghdrcreate* header, SIZE* size) {
  return sizeOf(language, *header, {}, size);
}

int32_t QvGetDialogSizeEx(HQVLANG language, const _qvdlghdrcreateex* header, SIZE* size) {
  return sizeOf(language, *header, {nullptr, 0, header->weight, header->charset, header->italic != 0}, size);
}

uint32_t QvDialogTemplateFromRCID(HQVLANG language, const WCHAR* name, const DLGTEMPLATE** dialog) {
  uint32_t size = 0;
  const HGLOBAL loaded = QvLoadResourceCustom(language, name, RT_DIALOG, &size);
  if (loaded == nullptr) return 0;
  *dialog = static_cast<const DLGTEMPLATE*>(LockResource(loaded));
  return size;
}
