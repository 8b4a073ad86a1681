// Menus and accelerator tables as data: made, loaded, asked and changed.
//
// On Linux a menu is a list that nobody draws yet; the window system to come shows the same lists.
//
//   HMENU menu = LoadMenuW(module, MAKEINTRESOURCEW(1));
//   EnableMenuItem(menu, 40001, MF_BYCOMMAND | MF_GRAYED);
//   DestroyMenu(menu);
//
// An item is named by its command number (MF_BYCOMMAND, looked for in pop-ups as well) or by its position in
// the menu (MF_BYPOSITION). A menu and what hangs below it is one thread's at a time.
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

struct HMENU__;
using HMENU = HMENU__*;
struct HACCEL__;
using HACCEL = HACCEL__*;

constexpr UINT MF_BYCOMMAND = 0, MF_BYPOSITION = 0x400;
constexpr UINT MF_STRING = 0, MF_ENABLED = 0, MF_UNCHECKED = 0;
constexpr UINT MF_GRAYED = 1, MF_DISABLED = 2, MF_BITMAP = 4, MF_CHECKED = 8, MF_POPUP = 0x10;
constexpr UINT MF_MENUBARBREAK = 0x20, MF_MENUBREAK = 0x40, MF_END = 0x80, MF_OWNERDRAW = 0x100;
constexpr UINT MF_SEPARATOR = 0x800;

// One key of an accelerator table.
struct ACCEL {
  BYTE fVirt;
  WORD key;
  WORD cmd;
};
static_assert(sizeof(ACCEL) == 6);
constexpr BYTE FVIRTKEY = 1, FNOINVERT = 2, FSHIFT = 4, FCONTROL = 8, FALT = 0x10;

// A new empty menu, the bar's or a pop-up's; the caller destroys it unless it is put into another one. Null
// without memory.
QV_API HMENU CreateMenu();
QV_API HMENU CreatePopupMenu();

// Destroys a menu with all pop-ups below it; false for what is no menu.
QV_API BOOL DestroyMenu(HMENU menu);

// Whether the handle is that of a menu that lives.
QV_API BOOL IsMenu(HMENU menu);

// Makes the menu that a module's resource describes; the caller destroys it. Null with the error of finding
// it, or ERROR_INVALID_DATA for a resource that is damaged.
QV_API HMENU LoadMenuW(HINSTANCE module, LPCWSTR name);

// Makes a menu from a template in memory, of either form. A template in the resources of a module is not read
// beyond its end; any other has to be whole.
QV_API HMENU LoadMenuIndirectW(const void* menuTemplate);

// Items of the menu; -1 for what is no menu.
QV_API int GetMenuItemCount(HMENU menu);

// An item's command number; UINT(-1) for a pop-up or a position that isn't there.
QV_API UINT GetMenuItemID(HMENU menu, int position);

// The pop-up at a position, null where none is.
QV_API HMENU GetSubMenu(HMENU menu, int position);

// An item's kind and state; of a pop-up the low byte only, and above it the number of its items. UINT(-1)
// when there is no such item.
QV_API UINT GetMenuState(HMENU menu, UINT item, UINT flags);

// Copies an item's text, cut to the capacity; a null text or a capacity of 0 asks for its length. The
// characters without the terminator; 0 when there is no such item.
QV_API int GetMenuStringW(HMENU menu, UINT item, LPWSTR text, int capacity, UINT flags);

// Adds an item at the end, or before another: a text, a separator (MF_SEPARATOR, or no text), or with
// MF_POPUP the menu whose handle stands in place of the number. The text is copied.
QV_API BOOL AppendMenuW(HMENU menu, UINT flags, UINT_PTR number, LPCWSTR text);
QV_API BOOL InsertMenuW(HMENU menu, UINT before, UINT flags, UINT_PTR number, LPCWSTR text);

// Gives an item another kind, number, text and state; a pop-up that it had is not destroyed.
QV_API BOOL ModifyMenuW(HMENU menu, UINT item, UINT flags, UINT_PTR number, LPCWSTR text);

// Takes an item out; DeleteMenu destroys the pop-up that it opens, RemoveMenu leaves it to the caller.
QV_API BOOL DeleteMenu(HMENU menu, UINT item, UINT flags);
QV_API BOOL RemoveMenu(HMENU menu, UINT item, UINT flags);

// Enables an item or takes it away from the user (MF_GRAYED, MF_DISABLED); the state before, -1 when there is
// no such item.
QV_API BOOL EnableMenuItem(HMENU menu, UINT item, UINT flags);

// Makes a table of `count` keys, at least one, which are copied; the caller destroys it. Null on failure.
QV_API HACCEL CreateAcceleratorTableW(ACCEL* keys, int count);

// The table that a module's resource describes; null with the error of finding it.
QV_API HACCEL LoadAcceleratorsW(HINSTANCE module, LPCWSTR name);

// Copies up to `count` keys and gives how many; without `keys` how many there are.
QV_API int CopyAcceleratorTableW(HACCEL table, ACCEL* keys, int count);

// Destroys a table; false for what is none.
QV_API BOOL DestroyAcceleratorTable(HACCEL table);

#endif
