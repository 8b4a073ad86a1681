// Reading a dialog template of either form, within its bounds.
#pragma once

#include <cstring>

#include "qv/platform/screen_resources.h"
#include "qv/platform/win32.h"

namespace qv {

// A menu, class or title: none (null), a number below 0x10000, or a text in the template. `length` is the
// text's in characters.
struct TemplateName {
  const WCHAR* value = nullptr;
  uint32_t length = 0;

  bool isText() const { return reinterpret_cast<uintptr_t>(value) >= 0x10000; }
};

struct TemplateHead {
  bool extended = false;
  uint32_t help = 0;
  uint32_t style = 0;
  uint32_t exStyle = 0;
  uint16_t count = 0;
  int16_t x = 0, y = 0, cx = 0, cy = 0;

  bool hasFont() const { return (style & DS_SETFONT) != 0; }
};

struct TemplateFont {
  uint16_t points = 0;
  uint16_t weight = 400;
  uint8_t italic = 0;
  uint8_t charset = 1;
  const WCHAR* face = nullptr;
  uint32_t faceLength = 0;
};

struct TemplateControl {
  uint32_t help = 0;
  uint32_t style = 0;
  uint32_t exStyle = 0;
  int16_t x = 0, y = 0, cx = 0, cy = 0;
  uint16_t id = 0;
  TemplateName className;
  TemplateName title;
  const uint8_t* extra = nullptr;
  uint16_t extraSize = 0;
};

// Past the end it answers with zeros and stays failed. A template stands at an even address.
class TemplateReader {
 public:
  TemplateReader(const void* dialog, size_t size)
      : begin_(static_cast<const uint8_t*>(dialog)), size_(size) {}
  // A template that is known to be whole.
  explicit TemplateReader(const void* dialog) : TemplateReader(dialog, SIZE_MAX / 2) {}

  TemplateHead takeHead();
  TemplateName takeName();
  TemplateFont takeFont(const TemplateHead& head);
  TemplateControl takeControl(bool extended);
  bool failed() const { return failed_; }

 private:
  template <typename T>
  T take() {
    T value{};
    if (failed_ || size_ - at_ < sizeof(T)) {
      failed_ = true;
      return value;
    }
    memcpy(&value, begin_ + at_, sizeof(T));
    at_ += sizeof(T);
    return value;
  }
  void align() { at_ = at_ % 4 == 0 || failed_ ? at_ : (at_ + 3 > size_ ? size_ : (at_ + 3) & ~size_t{3}); }
  const WCHAR* takeText(uint32_t* length);

  const uint8_t* begin_;
  size_t size_;
  size_t at_ = 0;
  bool failed_ = false;
};

}  // namespace qv
