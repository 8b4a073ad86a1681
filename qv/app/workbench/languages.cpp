#include "qv/app/workbench/languages.h"

#include <algorithm>

#include "qv/core/convert.h"
#include "qv/lang/lang.h"

namespace qv::workbench {
namespace {

constexpr LCID kLanguages[] = {0x0409, 0x0411, 0x0407, 0x040a, 0x040c, 0x0804, 0x0404, 0x0406, 0x040b,
                               0x0410, 0x0412, 0x0413, 0x0414, 0x0416, 0x0816, 0x0419, 0x041d, 0x0415};

}  // namespace

std::span<const LCID> languages() { return kLanguages; }

bool parseLcid(const WString& text, LCID& lcid) {
  const WCHAR* end = nullptr;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  lcid = hex ? QvHexToDWordToken(text.c_str(), &end) : QvTextToDWordToken(text.c_str(), &end);
  return lcid != 0 && end != nullptr && *end == 0;
}

bool hasTexts(LCID lcid) {
  const LCID wanted = QvLang_GetConditionedLCID(lcid);
  return std::any_of(std::begin(kLanguages), std::end(kLanguages),
                     [wanted](LCID own) { return QvLang_GetConditionedLCID(own) == wanted; });
}

}  // namespace qv::workbench
