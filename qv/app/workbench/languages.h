// The languages that the toolkit's texts are in, by LCID.
#pragma once

#include <span>

#include "qv/app/workbench/text.h"

namespace qv::workbench {

// In the order of the columns of the texts.
std::span<const LCID> languages();

// An LCID in decimal digits, or in hexadecimal ones behind "0x"; 0 is none.
bool parseLcid(const WString& text, LCID& lcid);

// Whether the texts are in this language, or in another country's form of it.
bool hasTexts(LCID lcid);

}  // namespace qv::workbench
