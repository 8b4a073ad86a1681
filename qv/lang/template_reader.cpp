#include "qv/lang/detail/template_reader.h"

#include <initializer_list>

namespace qv {
namespace {

constexpr uint16_t kExtendedMark = 0xffff;
constexpr uint16_t kNumberFollows = 0xffff;

}  // namespace

const WCHAR* TemplateReader::takeText(uint32_t* length) {
  const auto text = reinterpret_cast<const WCHAR*>(begin_ + at_);
  *length = 0;
  while (take<WCHAR>() != 0) ++*length;
  if (failed_) *length = 0;
  return failed_ ? nullptr : text;
}

TemplateHead TemplateReader::takeHead() {
  TemplateHead head;
  const uint32_t first = take<uint32_t>();
  head.extended = first >> 16 == kExtendedMark;
  if (head.extended) {
    head.help = take<uint32_t>();
    head.exStyle = take<uint32_t>();
    head.style = take<uint32_t>();
  } else {
    head.style = first;
    head.exStyle = take<uint32_t>();
  }
  head.count = take<uint16_t>();
  for (int16_t* field : {&head.x, &head.y, &head.cx, &head.cy}) *field = take<int16_t>();
  return head;
}

TemplateName TemplateReader::takeName() {
  const size_t start = at_;
  const uint16_t first = take<uint16_t>();
  if (first == 0) return {};
  if (first == kNumberFollows) return {MAKEINTRESOURCEW(take<uint16_t>()), 0};
  at_ = start;
  TemplateName name;
  name.value = takeText(&name.length);
  return name;
}

TemplateFont TemplateReader::takeFont(const TemplateHead& head) {
  TemplateFont font;
  font.points = take<uint16_t>();
  if (head.extended) {
    font.weight = take<uint16_t>();
    font.italic = take<uint8_t>();
    font.charset = take<uint8_t>();
  }
  font.face = takeText(&font.faceLength);
  return font;
}

TemplateControl TemplateReader::takeControl(bool extended) {
  TemplateControl control;
  align();
  if (extended) control.help = take<uint32_t>();
  uint32_t* const order[] = {&control.style, &control.exStyle};
  for (int i = 0; i < 2; ++i) *order[extended ? 1 - i : i] = take<uint32_t>();
  for (int16_t* field : {&control.x, &control.y, &control.cx, &control.cy}) *field = take<int16_t>();
  control.id = extended ? static_cast<uint16_t>(take<uint32_t>()) : take<uint16_t>();
  control.className = takeName();
  control.title = takeName();
  uint16_t extra = take<uint16_t>();
  if (!extended && extra >= 2) extra = static_cast<uint16_t>(extra - 2);  // it counts itself
  if (failed_ || extra > size_ - at_) {
    failed_ = true;
    return control;
  }
  control.extra = extra == 0 ? nullptr : begin_ + at_;
  control.extraSize = extra;
  at_ += extra;
  return control;
}

}  // namespace qv
