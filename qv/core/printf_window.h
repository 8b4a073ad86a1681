// Text for windows: formatted into them, shortened to fit them, and the sounds that go with it.
//
//   QvSetDlgItemTextNoFlashF(dialog, kItemLevel, TEXT("$.1f dB"), level);
//
// Windows are used on the thread that owns them. The setters give the text's length, 0 when the system call
// failed. A format without "$" and "%" goes to the window as it is; a formatted text is held to 4095
// characters.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/window_calls.h"

struct HQVLANG__;
using HQVLANG = HQVLANG__*;

// Fills a pattern with positional inserts ("%2 of %1"): FormatMessageW on a string, its grammar and not the
// formatter's. Inserts are wide texts unless the pattern says otherwise. Gives the length, 0 when it didn't
// fit or the pattern is bad. Any thread.
QV_API uint32_t QvComposeStr(WCHAR* destination, uint32_t capacity, const WCHAR* format, ...);

// Formats into a window, or into an item of a dialog. The item form gives 0 for a null format.
QV_API int32_t QvSetWindowTextF(HWND window, const WCHAR* format, ...);
QV_API int32_t QvSetDlgItemTextF(HWND dialog, int32_t item, const WCHAR* format, ...);

// The same for a text that is no format.
QV_API int32_t QvSetWindowTextNoF(HWND window, const WCHAR* text);
QV_API int32_t QvSetDlgItemTextNoF(HWND dialog, int32_t item, const WCHAR* text);

// The same, leaving an item alone that shows the text already, so that a value refreshed often doesn't
// flicker. Texts from 8192 characters on are set without looking.
QV_API int32_t QvSetDlgItemTextNoFlashF(HWND dialog, int32_t item, const WCHAR* format, ...);
QV_API int32_t QvSetDlgItemTextNoFlashNoF(HWND dialog, int32_t item, const WCHAR* text);

// The same with a format by its number in a language.
QV_API int32_t QvSetWindowTextId(HQVLANG language, HWND window, uint32_t id, ...);
QV_API int32_t QvSetDlgItemTextId(HQVLANG language, HWND dialog, int32_t item, uint32_t id, ...);

// Appends a line to a multi-line edit window; at most 2047 characters. Each "~" in front of the format is
// taken off, and one at least suppresses the line end. A null format clears the window and gives 0. Gives the
// length without the line end.
QV_API int32_t QvMEditPrintF(HWND edit, const WCHAR* format, ...);

// On a system whose code page is not Western gives every child of a dialog a font that shows its characters.
//   font  null for the toolkit's own
// 1 when fonts were set, else 0.
QV_API int32_t QvDlgInitFont(HWND dialog, HFONT font);

// Shortens a text to `width` pixels, with "..." for the tail that goes. True when it was shortened; false,
// with the text unchanged, when it fits, can't be measured, or nothing of it would be left.
//   text      changed in place; terminated
//   capacity  characters of `text`; a shortened text that would not fit it with "..." is shortened further
QV_API bool QvCalcStringEllipsis(HDC context, WCHAR* text, int32_t capacity, int32_t width);
// The same with "..." for the head; also true when the text fits.
QV_API bool QvCalcStringEllipsisFromEnd(HDC context, WCHAR* text, int32_t capacity, int32_t width);

// Plays one of the system's sounds without waiting: 1 exclamation, 2 asterisk, 3 question, 4 processing is
// done; any other number the default. What the system answers.
QV_API int32_t QvBeep(int32_t sound);

namespace qv {

// Where QvDlgInitFont gets the toolkit's font from; the palette joins here.
void setDialogFontSource(HFONT (*source)());

}  // namespace qv
