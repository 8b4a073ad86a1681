// Text as the workbench handles it: UTF-16 inside, UTF-8 in job files and on the standard streams.
#pragma once

#include <string>
#include <string_view>

#include "qv/platform/win32.h"

namespace qv::workbench {

using WString = std::basic_string<WCHAR>;
using WStringView = std::basic_string_view<WCHAR>;

// Strict: false, with `text` empty, when the bytes are not valid UTF-8.
bool decodeUtf8(std::string_view bytes, WString& text);
// An unpaired surrogate becomes U+FFFD.
std::string encodeUtf8(WStringView text);
// Equal but for the case of A to Z.
bool sameName(WStringView a, WStringView b);
// The whole of `text` as a decimal number, with an optional sign; false when anything else stands in it.
bool parseInteger(WStringView text, int64_t& value);
// The same for a finite number with a fraction or an exponent.
bool parseNumber(WStringView text, double& value);
// "1920x1080": two whole numbers, of any size and sign, with an x between.
bool parsePair(WStringView text, int64_t& across, int64_t& down);

}  // namespace qv::workbench
