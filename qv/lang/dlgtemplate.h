// Dialog templates made from tables and taken apart again, and pools of resources in memory.
//
//   const _qvdlgctrlcreate controls[] = {
//       {MAKEINTRESOURCEW(0x80), TEXT("OK"), 1, 60, 40, 50, 14, 0, 0x50010001}};
//   const _qvdlghdrcreate header = {0x80c80040, 0, 1, 0, 0, 120, 60, 0, 0, TEXT("Name of the take"), 8,
//   nullptr}; DLGTEMPLATE* dialog = QvCreateDialogTemplate(language, &header, controls);
//   ...
//   HGLOBAL block = GlobalHandle(dialog);
//   GlobalUnlock(block);
//   GlobalFree(block);
//
// Blocks that are made here are the caller's, to be freed like this. Titles and faces are string numbers
// (below 0x10000), records (texts.h) or texts, and are looked up in the handle's language. A template has at
// most 256 controls; what is beyond them is left out. Coordinates are dialog units. Any thread.
#pragma once

#include "qv/lang/resources.h"

// A pool: a compiled resource file in memory, on a 4-byte boundary. It stays its owner's.
struct _QVRESPOOL {
  uint32_t reserved;
  uint32_t size;  // bytes of data; fewer than 32 hold nothing
  const void* data;
};
static_assert(sizeof(_QVRESPOOL) == 16 && offsetof(_QVRESPOOL, data) == 8);

// The head of a plain template.
struct _qvdlghdrcreate {
  uint32_t style;
  uint32_t exStyle;
  uint16_t controlCount;
  int16_t x, y, cx, cy;
  uint16_t menu;       // 0: none
  uint16_t className;  // 0: none
  const WCHAR* title;
  uint16_t pointSize;  // counts with a face only
  const WCHAR* face;   // null: the stock face
};
static_assert(sizeof(_qvdlghdrcreate) == 48 && offsetof(_qvdlghdrcreate, menu) == 18 &&
              offsetof(_qvdlghdrcreate, title) == 24 && offsetof(_qvdlghdrcreate, face) == 40);

// One control of it.
struct _qvdlgctrlcreate {
  const WCHAR* className;  // a number below 0x10000 or a text
  const WCHAR* title;      // null: empty
  uint16_t id;
  int16_t x, y, cx, cy;
  uint32_t exStyle;
  uint32_t style;
};
static_assert(sizeof(_qvdlgctrlcreate) == 40 && offsetof(_qvdlgctrlcreate, id) == 16 &&
              offsetof(_qvdlgctrlcreate, style) == 32);

// The head of an extended template, and of what QvMapDialogTemplate makes.
struct _qvdlghdrcreateex {
  const WCHAR* title;
  uint32_t exStyle;
  uint32_t style;
  const WCHAR* menu;       // a number or a text; null: none
  const WCHAR* className;  // the same
  uint16_t controlCount;
  int16_t x, y, cx, cy;
  uint16_t pointSize;
  const WCHAR* face;  // null: the stock face
  uint16_t weight;
  uint8_t italic;
  uint8_t charset;
  uint32_t help;
};
static_assert(sizeof(_qvdlghdrcreateex) == 64 && offsetof(_qvdlghdrcreateex, menu) == 16 &&
              offsetof(_qvdlghdrcreateex, controlCount) == 32 && offsetof(_qvdlghdrcreateex, face) == 48 &&
              offsetof(_qvdlghdrcreateex, help) == 60);

// One control of it. In what is mapped, a title may be a number that means a picture; made into a template
// again it counts as a string number, like any title.
struct _qvdlgctrlcreateex {
  const WCHAR* className;
  const WCHAR* title;
  uint16_t id;
  int16_t x, y, cx, cy;
  uint32_t exStyle;
  uint32_t style;
  uint32_t help;
  uint16_t extraSize;  // bytes
  const void* extra;
};
static_assert(sizeof(_qvdlgctrlcreateex) == 56 && offsetof(_qvdlgctrlcreateex, exStyle) == 28 &&
              offsetof(_qvdlgctrlcreateex, extraSize) == 40 && offsetof(_qvdlgctrlcreateex, extra) == 48);

// Makes a plain template. With DS_SETFONT (0x40) and without a face it is written in "MS Shell Dlg" of 8
// points, 9 where the toolkit speaks Japanese. Null for null arguments or without memory.
QV_API DLGTEMPLATE* QvCreateDialogTemplate(HQVLANG language, const _qvdlghdrcreate* header,
                                           const _qvdlgctrlcreate* controls);

// Makes an extended one. size: receives its bytes; may be null.
QV_API DLGTEMPLATE* QvCreateDialogTemplateEx(HQVLANG language, const _qvdlghdrcreateex* header,
                                             const _qvdlgctrlcreateex* controls, uint32_t* size);

// The size in pixels that such a dialog would have: by its own face, or without one, or without a screen, by
// the interface font. Always 1.
QV_API int32_t QvGetDialogSize(HQVLANG language, const _qvdlghdrcreate* header, SIZE* size);
QV_API int32_t QvGetDialogSizeEx(HQVLANG language, const _qvdlghdrcreateex* header, SIZE* size);

// The template of a dialog resource, in its module; its bytes, or 0 with *dialog untouched.
QV_API uint32_t QvDialogTemplateFromRCID(HQVLANG language, const WCHAR* name, const DLGTEMPLATE** dialog);

// Takes a template of either form apart, into one block: the head, 64 bytes, its controls right behind it,
// then the texts. 8 points of "MS Sans Serif" stand for the stock face.
//   size  bytes of the template, which may be a stranger's: one that is cut short gives 0
//   out   receives the block
// The bytes in use, or 0 with *out untouched.
QV_API uint32_t QvMapDialogTemplate(const DLGTEMPLATE* dialog, uint32_t size, _qvdlghdrcreateex** out);

// Finds a resource of a pool by type and name, exactly.
//   size   receives its bytes; may be null
//   lcid   the language wanted; 0: the toolkit's own. Where it isn't there another one serves: the first, or
//          the one that is the toolkit's to the letter
//   found  receives the language found; may be null
// Its data in the pool, or null.
QV_API const void* QvFindResourceInResPool(const _QVRESPOOL* pool, uint32_t* size, const WCHAR* name,
                                           const WCHAR* type, LCID lcid, LCID* found);
// The same for a dialog.
QV_API const DLGTEMPLATE* QvFindDialogTemplateInResPool(const _QVRESPOOL* pool, uint32_t* size,
                                                        const WCHAR* name, LCID lcid);

// Shows a dialog of the pool until it ends, its bitmaps taken from the pool as well. The answer, -1 when
// there is no such dialog or it can't be shown.
QV_API INT_PTR QvResPoolDialogBox(const _QVRESPOOL* pool, HQVLANG language, const WCHAR* name, HWND parent,
                                  DLGPROC procedure, LPARAM parameter);
