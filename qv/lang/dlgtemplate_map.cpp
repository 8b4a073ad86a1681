// Taking dialog templates apart.
#include <algorithm>
#include <cstring>

#include "qv/lang/detail/dlgtemplate.h"
#include "qv/lang/detail/template_reader.h"
#include "qv/lang/texts.h"

namespace qv {
namespace {

constexpr uint16_t kStandInPoints = 8;
constexpr const WCHAR* kStandInFace = TEXT("MS Sans Serif");
// The least that a control takes in a template, so that a count can't ask for more than the bytes hold.
constexpr size_t kSmallestControl = 24;

// The texts of the block, one behind the other.
class Texts {
 public:
  Texts(uint8_t* block, size_t at) : block_(block), at_(at) {}

  // A text that begins like a record must not stand where one can: it would be followed as one.
  const WCHAR* copy(const WCHAR* text, uint32_t length) {
    if (length != 0 && text[0] == kRecordMarker && at_ % 4 == 0) at_ += sizeof(WCHAR);
    return static_cast<const WCHAR*>(copyBytes(text, length * sizeof(WCHAR), sizeof(WCHAR)));
  }
  const WCHAR* copy(const TemplateName& name) {
    return name.isText() ? copy(name.value, name.length) : name.value;
  }
  // Each piece starts at an even address; the block is zeroed, so `zeros` bytes behind it end a text.
  const void* copyBytes(const void* data, size_t size, size_t zeros) {
    uint8_t* to = block_ + at_;
    memcpy(to, data, size);
    at_ += (size + zeros + 1) & ~size_t{1};
    return to;
  }
  size_t used() const { return at_; }

 private:
  uint8_t* block_;
  size_t at_;
};

bool standsForStockFace(const TemplateFont& font) {
  return font.points == kStandInPoints && lstrcmpiW(font.face, kStandInFace) == 0;
}

void mapFont(_qvdlghdrcreateex& header, const TemplateFont& font, Texts& texts) {
  header.pointSize = font.points;
  header.weight = font.weight;
  header.italic = font.italic;
  header.charset = font.charset;
  if (!standsForStockFace(font)) header.face = texts.copy(font.face, font.faceLength);
}

void mapHead(_qvdlghdrcreateex& header, const TemplateHead& head) {
  header.help = head.help;
  header.exStyle = head.exStyle;
  header.style = head.style;
  header.controlCount = head.count;
  header.x = head.x;
  header.y = head.y;
  header.cx = head.cx;
  header.cy = head.cy;
}

void mapControl(_qvdlgctrlcreateex& control, const TemplateControl& read, Texts& texts) {
  control.id = read.id;
  control.x = read.x;
  control.y = read.y;
  control.cx = read.cx;
  control.cy = read.cy;
  control.exStyle = read.exStyle;
  control.style = read.style;
  control.help = read.help;
  control.className = texts.copy(read.className);
  control.title = texts.copy(read.title);
  control.extraSize = read.extraSize;
  if (read.extra != nullptr) control.extra = texts.copyBytes(read.extra, read.extraSize, 0);
}

// Fills the zeroed block; the bytes in use, or 0 when the template is cut short.
uint32_t map(TemplateReader& reader, const TemplateHead& head, uint8_t* block) {
  auto& header = *reinterpret_cast<_qvdlghdrcreateex*>(block);
  const auto controls = reinterpret_cast<_qvdlgctrlcreateex*>(block + sizeof header);
  Texts texts(block, sizeof header + head.count * sizeof *controls);
  mapHead(header, head);
  for (const WCHAR** field : {&header.menu, &header.className, &header.title})
    *field = texts.copy(reader.takeName());
  if (head.hasFont()) {
    const TemplateFont font = reader.takeFont(head);
    if (reader.failed()) return 0;
    mapFont(header, font, texts);
  }
  for (uint16_t i = 0; i < head.count; ++i) {
    const TemplateControl control = reader.takeControl(head.extended);
    if (reader.failed()) return 0;
    mapControl(controls[i], control, texts);
  }
  return reader.failed() ? 0 : static_cast<uint32_t>(texts.used());
}

}  // namespace
}  // namespace qv

using namespace qv;

uint32_t QvMapDialogTemplate(const DLGTEMPLATE* dialog, uint32_t size, _qvdlghdrcreateex** out) {
  if (dialog == nullptr || out == nullptr || size == 0) return 0;
  TemplateReader reader(dialog, size);
  const TemplateHead head = reader.takeHead();
  if (reader.failed() || head.count > size / kSmallestControl + 1) return 0;
  // Twice the template is enough for all but the smallest.
  const size_t needed = sizeof(_qvdlghdrcreateex) +
                        head.count * (sizeof(_qvdlgctrlcreateex) + 3 * sizeof(WCHAR)) + 4 * sizeof(WCHAR) +
                        size;
  const auto block = static_cast<uint8_t*>(allocateBlock(std::max(size_t{size} * 2, needed)));
  if (block == nullptr) return 0;
  const uint32_t used = map(reader, head, block);
  if (used == 0) {
    freeBlock(block);
    return 0;
  }
  *out = reinterpret_cast<_qvdlghdrcreateex*>(block);
  return used;
}
