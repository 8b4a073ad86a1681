// Resources in the language in force: what the language module holds wins, the main module serves for the
// rest.
//
//   uint32_t size = 0;
//   HGLOBAL data = QvLoadResourceCustom(language, MAKEINTRESOURCEW(7), TEXT("CURVE"), &size);
//   const void* bytes = LockResource(data);
//
// A language is in force while the handle has a language module and a language other than English is active.
// A null handle stands for the executable without a language. Names and types are numbers (MAKEINTRESOURCEW)
// or texts. What is found lives as long as its module; nothing is freed. Any thread.
//
// Dialogs and pictures come through screen_resources.h: on Linux they fail as they do on a machine without a
// screen, until a window system stands there; the order of the look-up is the same on both builds.
#pragma once

#include "qv/lang/lang.h"
#include "qv/platform/menus.h"
#include "qv/platform/screen_resources.h"

// Finds a resource: with a language in force in the language module by the handle's LCID, then in the main
// module. Null when neither has it.
QV_API HRSRC QvFindResource(HQVLANG language, const WCHAR* name, const WCHAR* type);

// The same for the first of several types that serves: all of them in the language module, then all in the
// main one.
//   types  `count` types; a count of 0 finds nothing
//   index  receives the place of the type that served; may be null
QV_API HRSRC QvFindResourceMulti(HQVLANG language, const WCHAR* name, const WCHAR* const* types,
                                 int32_t count, int32_t* index);

// The data of what QvFindResource found, for LockResource; null for null.
QV_API HGLOBAL QvLoadResource(HQVLANG language, HRSRC found);
// Its bytes; 0 for null.
QV_API uint32_t QvSizeofResource(HQVLANG language, HRSRC found);

// Finds and loads in one step. Where one module is both, it is asked for English when the language has
// nothing.
//   size  receives the bytes; may be null; untouched when there is none
// Null when there is none.
QV_API HGLOBAL QvLoadResourceCustom(HQVLANG language, const WCHAR* name, const WCHAR* type, uint32_t* size);

// The module that QvFindResource would find the resource in; the main one when neither has it.
QV_API HMODULE QvFindResInstance(HQVLANG language, const WCHAR* name, const WCHAR* type);

// A dialog from a resource (type 5) of the language module, else of the main one.
//   parent     may be null
//   parameter  goes to the procedure's WM_INITDIALOG
// The window, which the caller destroys; null on failure. The calling thread owns it.
QV_API HWND QvCreateDialogParam(HQVLANG language, const WCHAR* name, HWND parent, DLGPROC procedure,
                                LPARAM parameter);
// The same from a template in memory, of either form.
QV_API HWND QvCreateDialogIndirectParam(HQVLANG language, const DLGTEMPLATE* dialog, HWND parent,
                                        DLGPROC procedure, LPARAM parameter);
// Shows a dialog until it ends and gives its answer; -1 on failure. A dialog of the language module that
// answers -1 counts as a failure: the main module's is then shown.
QV_API INT_PTR QvDialogBoxParam(HQVLANG language, const WCHAR* name, HWND parent, DLGPROC procedure,
                                LPARAM parameter);
QV_API INT_PTR QvDialogBoxIndirectParam(HQVLANG language, const DLGTEMPLATE* dialog, HWND parent,
                                        DLGPROC procedure, LPARAM parameter);

// The average width of a font's letters and the height of its lines, in pixels of the screen: four dialog
// units are a width, eight a height.
//   points  height in points; weight 400 is normal; charset 1 any
//   width, height  receive both; 0 without a screen
// True when both are above 0.
QV_API bool QvGetDialogUnitsForFont(const WCHAR* face, int32_t points, int32_t weight, uint8_t charset,
                                    bool italic, int32_t* width, int32_t* height);

// The size in pixels of the inside of a dialog, from its template alone: by the units of its font, or where
// it has none or the screen doesn't tell, by those of the interface font. The template has to be whole.
// Always 1.
QV_API int32_t QvGetDialogSizeIndirect(HQVLANG language, const DLGTEMPLATE* dialog, SIZE* size);

// The size of a dialog resource. On a screen of 96 dots an inch and with an English interface it is computed;
// elsewhere the dialog is made (never shown), measured with its frame, and destroyed. 1, or 0 on failure.
QV_API int32_t QvGetDialogSize(HQVLANG language, uint32_t number, DLGPROC procedure, LPARAM parameter,
                               SIZE* size);

// A table of one key: the first of the language module's accelerators (type 9) in the language in force, else
// the main module's table whole. The caller destroys it. Null when there is none.
QV_API HACCEL QvLoadAccelerators(HQVLANG language, const WCHAR* name);

// Pictures of the main module; the caller frees them as the platform says. Null on failure.
QV_API HBITMAP QvLoadBitmap(HQVLANG language, const WCHAR* name);
QV_API HICON QvLoadIcon(HQVLANG language, const WCHAR* name);
// With a null handle and a number of 32512 or more a cursor of the system.
QV_API HCURSOR QvLoadCursor(HQVLANG language, const WCHAR* name);
// kind: 0 bitmap, 1 icon, 2 cursor; width and height in pixels, 0: the picture's own; flags: the platform's.
QV_API HANDLE QvLoadImage(HQVLANG language, const WCHAR* name, uint32_t kind, int32_t width, int32_t height,
                          uint32_t flags);
// width: of one image in pixels; grow: images by which the list grows; mask: the colour that becomes
// transparent.
QV_API HIMAGELIST QvImageList_LoadImage(HQVLANG language, const WCHAR* name, int32_t width, int32_t grow,
                                        COLORREF mask, uint32_t kind, uint32_t flags);
