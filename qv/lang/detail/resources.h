// Looking resources up by the rule of the handle.
#pragma once

#include "qv/lang/detail/handle.h"
#include "qv/lang/resources.h"

namespace qv {

inline constexpr uint16_t kEnglishResources = 1033;

inline bool languageInForce(HQVLANG language) {
  return language != nullptr && language->languageInstance != nullptr && language->languageActive != 0;
}

inline HMODULE mainInstanceOf(HQVLANG language) {
  return language == nullptr ? nullptr : language->mainInstance;
}

// True when one module holds both the program's resources and the language's.
inline bool isOneModule(HQVLANG language) {
  return language != nullptr && language->mainInstance == language->languageInstance;
}

// A resource's bytes; null without it.
struct ResourceBytes {
  const uint8_t* data = nullptr;
  uint32_t size = 0;
  HGLOBAL handle = nullptr;
};
ResourceBytes resourceIn(HMODULE module, const WCHAR* name, const WCHAR* type, uint16_t resourceLanguage);
// Of the language module in the handle's LCID; null without a language in force.
ResourceBytes resourceOfLanguage(HQVLANG language, const WCHAR* name, const WCHAR* type);

// The character size of the interface font of this number, in pixels. Above this subsystem something knows
// the user's fonts; until it says so, those of dialogs serve.
using InterfaceUnits = SIZE (*)(int32_t font);
void setInterfaceUnits(InterfaceUnits units);
SIZE interfaceUnits(int32_t font);

// Dialog units to pixels, by these units or where one is 0 by the interface font's.
SIZE dialogPixels(int32_t cx, int32_t cy, int32_t unitWidth, int32_t unitHeight);

}  // namespace qv
