// Menus of the language in force, without the items that a program has no use for.
//
//   const uint16_t unwanted[] = {40010, 40011};
//   HMENU menu = QvLoadCulledMenu(language, MAKEINTRESOURCEW(1), unwanted, 2, 1);
//
// A list of command numbers ends at its count or at a zero, whichever comes first; a count below 0 leaves it
// to the zero. A menu is one thread's at a time.
#pragma once

#include "qv/lang/lang.h"
#include "qv/platform/menus.h"

// Loads a menu from the language module, else from the main one, and takes the translators' mark "^*" off its
// texts. The caller destroys it. Null when there is none.
QV_API HMENU QvLoadMenu(HQVLANG language, const WCHAR* name);

// The same, culled as by QvCullMenu.
QV_API HMENU QvLoadCulledMenu(HQVLANG language, const WCHAR* name, const uint16_t* commands, int32_t count,
                              int32_t clean);

// Deletes these commands wherever they stand; with `clean` also the separators and pop-ups that have lost
// their use.
QV_API void QvCullMenu(HMENU menu, const uint16_t* commands, int32_t count, int32_t clean);

// Cleans a menu: no separator first, last or beside another, no empty pop-up. An empty menu is deleted from
// its parent.
//   parent, index  where it hangs; null for the top, which stays even when it is empty
// 1 when it was deleted.
QV_API int32_t QvCleanMenu(HMENU menu, HMENU parent, int32_t index);

// Grays these commands; what EnableMenuItem gave for the last one, 0 without any.
QV_API int32_t QvGrayMenu(HMENU menu, const uint16_t* commands, int32_t count);
// All items of this level.
QV_API int32_t QvGrayAllMenuItems(HMENU menu);
QV_API int32_t QvEnableAllMenuItems(HMENU menu);

// Searches a menu and its pop-ups for a command.
//   found  receives the menu that holds it
//   index  receives the command's position there when that is `menu` itself; otherwise, in `menu`, the
//   position
//          of the pop-up on the way to it
// 1, or 0 with both untouched.
QV_API int32_t QvFindSubMenu(HMENU menu, uint32_t command, HMENU* found, int32_t* index);

// The pop-up of the top level that holds a command: its handle, and in *index (may be null) its position. A
// command of the top level itself gives `menu` and -1; one that isn't in these two levels null and -1.
QV_API HMENU QvGetSubmenuByID(HMENU menu, uint32_t command, int32_t* index);

// Puts the values of the tokens $(...) into the texts of a menu and its pop-ups. A text counts up to 99
// characters and grows to 199.
QV_API void QvMenuReplaceTokens(HMENU menu);
