// Any text is a format, and any text may be read as a value. Formatting must end in time, stay within the
// buffer, terminate, and give with less room the beginning of what it gives with more.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qv/core/convert.h"
#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

// Formats fetch as many arguments as they like, each one 64-bit unit: a list of units stands in for a call's.
class UnitList {
 public:
  explicit UnitList(std::vector<uint64_t>& units) {
    // A Windows list is the address of the next unit. All of a System V list's registers are used up, so that
    // everything comes from the overflow area.
    const Registers registers = {48, 304, units.data(), nullptr};
    const void* next = units.data();
    constexpr bool kPlainAddress = sizeof(va_list) == sizeof next;
    static_assert(kPlainAddress || sizeof(va_list) == sizeof registers);
    std::memcpy(&list_, kPlainAddress ? static_cast<const void*>(&next) : &registers, sizeof list_);
  }
  va_list& get() { return list_; }

 private:
  struct Registers {
    uint32_t general, vector;
    void *overflow, *saved;
  };
  va_list list_;
};

struct Result {
  HRESULT status;
  Text text;
};

Result print(const Text& format, std::vector<uint64_t>& units, uint32_t capacity) {
  // A block of exactly this size, so that the sanitizer sees a write behind it.
  const std::unique_ptr<WCHAR[]> text(new WCHAR[capacity]);
  UnitList list(units);
  uint32_t length = 0;
  const HRESULT status = QvNVPrintF(text.get(), capacity, &length, format.c_str(), list.get());
  require(length < capacity && text[length] == 0 && Text(text.get()).size() == length);
  return {status, Text(text.get(), length)};
}

void checkFormat(const Text& format, std::vector<uint64_t> units, uint32_t capacity) {
  units.resize(format.size() + 1, units.empty() ? 0 : units.front());
  const Result whole = print(format, units, 65536);
  const Result part = print(format, units, capacity);
  require(whole.text.size() < capacity ? part.text == whole.text && part.status == whole.status
                                       : whole.text.starts_with(part.text));
}

void checkValues(const Text& text) {
  const WCHAR* end = nullptr;
  const WCHAR* const last = text.c_str() + text.size();
  const auto within = [&] { require(end >= text.c_str() && end <= last); };
  QvTextToLongTokenEx(text.c_str(), 5, -10, 10, &end), within();
  QvTextToDWordLongToken(text.c_str(), &end), within();
  QvTextToDoubleToken(text.c_str(), &end, 1), within();
  QvTextToDoubleToken(text.c_str(), &end, 0), within();
  QvHexToDWordLongToken(text.c_str(), &end), within();
  QvTextToColorrefToken(text.c_str(), &end), within();
  GUID guid;
  QvGuidFromString(text.c_str(), &guid);
  WCHAR left[40], right[40];
  QvChannelizeStereoName(text.c_str(), left, 40, right, 40);
  QvFormatGroupDecimalNumber(text.c_str(), left, 40, static_cast<int32_t>(text.size() % 20) - 1);
  QvFixNameForMenu(left, text.c_str(), 40);
  QvPrepareName(text.c_str(), right, 40);
}

// Mostly one byte a character, since most of the grammar is ASCII; 0xff takes the next two.
Text textOf(const uint8_t* data, size_t size) {
  Text text;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0xff && i + 2 < size) {
      text += static_cast<WCHAR>(data[i + 1] | data[i + 2] << 8);
      i += 2;
    } else {
      text += data[i];
    }
  }
  return text.substr(0, text.find(WCHAR{0}));
}

// Texts can't be arbitrary bits: with those as arguments every %s becomes a %d.
Text withoutTexts(Text format) {
  for (WCHAR& c : format)
    if (c == TEXT('s')) c = TEXT('d');
  return format;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready = [] {
    qv::initializeTokens();
    qv::defineSeparatorTokens();
    return QvPrintF_AddToken(TEXT("A"), TEXT("\U0001d11e value"));
  }();
  if (!ready || size < 12) return 0;
  static constexpr WCHAR kArgument[] = TEXT("text\U0001d11e\U0001d122");
  uint64_t unit;
  std::memcpy(&unit, data, sizeof unit);
  const uint32_t capacity = 1 + (data[8] | (data[9] & 7) << 8);
  const Text text = textOf(data + 10, size - 10);
  checkFormat(text, {reinterpret_cast<uint64_t>(kArgument)}, capacity);
  checkFormat(withoutTexts(text), {unit}, capacity);
  checkValues(text);
  return 0;
}
