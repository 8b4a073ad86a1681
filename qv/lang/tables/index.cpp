// The languages of the columns, and the list of all records.
#include <iterator>

#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"

namespace qv {

// Not constant: it stands between the records, in their writable section.
__attribute__((section("qvlang_t"), used)) uint32_t kLanguageTable[20] = {
    0x0409, 0x0411, 0x0407, 0x040a, 0x040c, 0x0804, 0x0404, 0x0406, 0x040b, 0x0410,
    0x0412, 0x0413, 0x0414, 0x0416, 0x0816, 0x0419, 0x041d, 0x0415, 0,      0,
};

namespace {

#define QV_TEXT_ROW(name, ...) {#name, &name},
constexpr NamedRecord kRecords[] = {
#include "qv/lang/tables/kernel.inc"
#include "qv/lang/tables/pan.inc"
#include "qv/lang/tables/envelope.inc"
#include "qv/lang/tables/colour.inc"
};
#undef QV_TEXT_ROW

}  // namespace

const NamedRecord* textRecords(int32_t* count) {
  *count = static_cast<int32_t>(std::size(kRecords));
  return kRecords;
}

}  // namespace qv
