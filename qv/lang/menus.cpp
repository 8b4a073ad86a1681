// Menus loaded, culled and cleaned.
#include "qv/lang/menus.h"

#include <string>
#include <utility>

#include "qv/core/printf.h"
#include "qv/lang/detail/resources.h"

namespace qv {
namespace {

constexpr int32_t kEndless = 10000;
constexpr UINT kNoItem = UINT(-1);
constexpr int32_t kTokenText = 100;
constexpr int32_t kReplacedText = 200;

// What a changed item keeps of its state; of a pop-up only the low byte is state.
UINT keptState(HMENU menu, int32_t position, HMENU popup) {
  const UINT state = GetMenuState(menu, static_cast<UINT>(position), MF_BYPOSITION);
  return popup != nullptr ? (state & 0xff) | MF_POPUP : state & ~MF_BYPOSITION;
}

void setItemText(HMENU menu, int32_t position, const WCHAR* text) {
  const HMENU popup = GetSubMenu(menu, position);
  const UINT_PTR number =
      popup != nullptr ? reinterpret_cast<UINT_PTR>(popup) : GetMenuItemID(menu, position);
  ModifyMenuW(menu, static_cast<UINT>(position), keptState(menu, position, popup) | MF_BYPOSITION, number,
              text);
}

bool isSeparator(HMENU menu, int32_t position) {
  // A pop-up of eight items has the same bit set: its state counts them.
  if (GetSubMenu(menu, position) != nullptr) return false;
  const UINT state = GetMenuState(menu, static_cast<UINT>(position), MF_BYPOSITION);
  return state != kNoItem && (state & MF_SEPARATOR) != 0;
}

std::basic_string<WCHAR> itemText(HMENU menu, int32_t position) {
  const UINT item = static_cast<UINT>(position);
  const int length = GetMenuStringW(menu, item, nullptr, 0, MF_BYPOSITION);
  std::basic_string<WCHAR> text(static_cast<size_t>(length) + 1, 0);
  GetMenuStringW(menu, item, text.data(), length + 1, MF_BYPOSITION);
  text.resize(static_cast<size_t>(length));
  return text;
}

void removeMarks(HMENU menu) {
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) {
    const std::basic_string<WCHAR> text = itemText(menu, i);
    if (text.starts_with(TEXT("^*"))) setItemText(menu, i, text.c_str() + 2);
    if (const HMENU popup = GetSubMenu(menu, i)) removeMarks(popup);
  }
}

HMENU loadMenu(HQVLANG language, const WCHAR* name) {
  ResourceBytes bytes = resourceOfLanguage(language, name, RT_MENU);
  if (bytes.data != nullptr) {
    if (const HMENU menu = LoadMenuIndirectW(bytes.data)) return menu;
  }
  if (!isOneModule(language)) return LoadMenuW(mainInstanceOf(language), name);
  bytes = resourceIn(mainInstanceOf(language), name, RT_MENU, kEnglishResources);
  return bytes.data == nullptr ? nullptr : LoadMenuIndirectW(bytes.data);
}

template <typename Each>
void forEachCommand(const uint16_t* commands, int32_t count, Each each) {
  if (commands == nullptr) return;
  if (count < 0) count = kEndless;
  for (int32_t i = 0; i < count && commands[i] != 0; ++i) each(commands[i]);
}

void deleteAt(HMENU menu, int32_t position) {
  DeleteMenu(menu, static_cast<UINT>(position), MF_BYPOSITION);
}

// A pop-up that went leaves a separator at the end without use.
void dropLastSeparator(HMENU menu) {
  const int32_t last = GetMenuItemCount(menu) - 1;
  if (last >= 0 && isSeparator(menu, last)) deleteAt(menu, last);
}

bool isIdleSeparator(HMENU menu, int32_t position) {
  if (!isSeparator(menu, position)) return false;
  return position == 0 || position == GetMenuItemCount(menu) - 1 || isSeparator(menu, position - 1) ||
         isSeparator(menu, position + 1);
}

int32_t enableAll(HMENU menu, UINT flags) {
  int32_t last = 0;
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) last = EnableMenuItem(menu, static_cast<UINT>(i), flags);
  return last;
}

// A menu's text is nobody's format string: whatever conversions stand in it find a zero each, in whichever
// way the calling convention hands over integers and doubles.
template <size_t... I>
void formatAlone(WCHAR* text, const WCHAR* format, std::index_sequence<I...>) {
  QvCchPrintF(text, kReplacedText, nullptr, format, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0,
              (static_cast<void>(I), int64_t{0})...);
}

}  // namespace
}  // namespace qv

using namespace qv;

HMENU QvLoadMenu(HQVLANG language, const WCHAR* name) {
  const HMENU menu = loadMenu(language, name);
  if (menu != nullptr) removeMarks(menu);
  return menu;
}

HMENU QvLoadCulledMenu(HQVLANG language, const WCHAR* name, const uint16_t* commands, int32_t count,
                       int32_t clean) {
  const HMENU menu = QvLoadMenu(language, name);
  if (menu != nullptr) QvCullMenu(menu, commands, count, clean);
  return menu;
}

void QvCullMenu(HMENU menu, const uint16_t* commands, int32_t count, int32_t clean) {
  forEachCommand(commands, count, [menu](uint16_t command) { DeleteMenu(menu, command, MF_BYCOMMAND); });
  if (clean != 0) QvCleanMenu(menu, nullptr, 0);
}

int32_t QvCleanMenu(HMENU menu, HMENU parent, int32_t index) {
  for (int32_t i = 0; i < GetMenuItemCount(menu); ++i) {
    if (const HMENU popup = GetSubMenu(menu, i)) {
      if (QvCleanMenu(popup, menu, i) == 0) continue;
      dropLastSeparator(menu);
      --i;
    } else if (isIdleSeparator(menu, i)) {
      deleteAt(menu, i);
      --i;
    }
  }
  if (parent == nullptr || GetMenuItemCount(menu) != 0) return 0;
  deleteAt(parent, index);
  return 1;
}

int32_t QvGrayMenu(HMENU menu, const uint16_t* commands, int32_t count) {
  int32_t last = 0;
  forEachCommand(commands, count,
                 [&](uint16_t command) { last = EnableMenuItem(menu, command, MF_BYCOMMAND | MF_GRAYED); });
  return last;
}

int32_t QvGrayAllMenuItems(HMENU menu) {
  return enableAll(menu, MF_BYPOSITION | MF_GRAYED);
}

int32_t QvEnableAllMenuItems(HMENU menu) {
  return enableAll(menu, MF_BYPOSITION | MF_ENABLED);
}

int32_t QvFindSubMenu(HMENU menu, uint32_t command, HMENU* found, int32_t* index) {
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) {
    if (const HMENU popup = GetSubMenu(menu, i)) {
      if (QvFindSubMenu(popup, command, found, index) == 0) continue;
    } else if (GetMenuItemID(menu, i) == command) {
      *found = menu;
    } else {
      continue;
    }
    *index = i;
    return 1;
  }
  return 0;
}

HMENU QvGetSubmenuByID(HMENU menu, uint32_t command, int32_t* index) {
  int32_t ignored;
  int32_t& place = index != nullptr ? *index : ignored;
  place = -1;
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) {
    const HMENU popup = GetSubMenu(menu, i);
    if (popup == nullptr) {
      if (GetMenuItemID(menu, i) == command) return menu;
      continue;
    }
    const int32_t below = GetMenuItemCount(popup);
    for (int32_t k = 0; k < below; ++k) {
      if (GetSubMenu(popup, k) != nullptr || GetMenuItemID(popup, k) != command) continue;
      place = i;
      return popup;
    }
  }
  return nullptr;
}

void QvMenuReplaceTokens(HMENU menu) {
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) {
    if (isSeparator(menu, i)) continue;
    WCHAR format[kTokenText] = {};
    WCHAR text[kReplacedText] = {};
    GetMenuStringW(menu, static_cast<UINT>(i), format, kTokenText, MF_BYPOSITION);
    formatAlone(text, format, std::make_index_sequence<kTokenText / 2>());
    setItemText(menu, i, text);
    if (const HMENU popup = GetSubMenu(menu, i)) QvMenuReplaceTokens(popup);
  }
}
