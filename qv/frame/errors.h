// Errors in words: what was being done, why it failed, and the details that lower layers added on the way up.
//
//   HRESULT read(const WCHAR* path) {
//     ...
//     QvErrorHandler_DetailsAddString(0x8004e008, TEXT("%s, block %d"), path, block);
//     return 0x8004e008;
//   }
//   ...
//   if (FAILED(status)) QvErrorHandler_MsgBox(window, 0x10, QVERRORCONTEXT(5), status, path, 0);
//   // "An error occurred while loading the project file C:\song.
//   //
//   //  An error occurred reading the file. ..."   and the added lines behind "Details"
//
// A status is an HRESULT: negative for a failure; a positive one tells of a success that the user should hear
// about. 0x8004e00c, the user's own cancelling, is never shown.
//
// Threads. There is one error state for the process, meant for one failing thread at a time: whoever adds the
// first line of details owns them, and until they are shown or cleared another thread may only add to the
// same code. Every function here may be called from any thread at any time; the state is consistent at each
// step. Texts that a function points to are shared, though: the message is good until the next composition or
// clearing on any thread, the details until the next change. Where several threads report at once,
// QvErrorHandler_ComposeErrorText and the message boxes are the ones to use: they work on copies.
#pragma once

#include <cstdint>

#include "qv/api.h"
#include "qv/frame/win32error.h"
#include "qv/lang/lang.h"
#include "qv/platform/base.h"
#include "qv/platform/bstr.h"
#include "qv/platform/exceptions.h"

// A row of an application's own table. text: a text, a multilingual record, or a number of a string resource
// (below 0x10000) in the pointer's place; a format, see qv/core/printf.h.
struct _qverror_table {
  HRESULT code;
  const WCHAR* text;
};
static_assert(sizeof(_qverror_table) == 16 && offsetof(_qverror_table, text) == 8);

// A row whose text is always a number of a string resource.
struct _qverror_table_rcid {
  HRESULT code;
  uint64_t id;  // below 0x10000
};
static_assert(sizeof(_qverror_table_rcid) == 16 && offsetof(_qverror_table_rcid, id) == 8);

// A context by number; any other pointer is the context's own text, a format that takes the argument as %s.
#define QVERRORCONTEXT(number) (reinterpret_cast<const WCHAR*>(static_cast<uintptr_t>(number)))

// The most that the state holds, terminators counted.
inline constexpr int32_t QVERROR_MESSAGE_CAPACITY = 2048;
inline constexpr int32_t QVERROR_DETAILS_CAPACITY = 8192;

// ---- details

// The code that the last line of details was added for; 0 when there is none.
QV_API HRESULT QvErrorHandler_GetLastError();

// Clears the whole error state: message, details, link. Always 0.
QV_API HRESULT QvErrorHandler_DetailsInit();

// Adds a line of details. code: what the caller is going to return; format: see qv/core/printf.h, taken as it
// is when it has neither "%" nor "$". 0; 0x80004003 for a null format; 0x80004005, with nothing added, when
// the details belong to another thread and code, or are full.
QV_API HRESULT QvErrorHandler_DetailsAddString(HRESULT code, const WCHAR* format, ...);

// The details, each line ended by "\r\n"; null when there are none. code, count, thread: receive the last
// line's code, the number of lines, and the id of the thread that began them; each may be null.
QV_API const WCHAR* QvErrorHandler_DetailsInfo(HRESULT* code, uint32_t* count, DWORD* thread);

// What the next message box offers to click: `target` is the address, at most 2082 characters, `text` its
// caption, at most 2047. 0, or 0x80004003 when either is null.
QV_API HRESULT QvErrorHandler_DetailsSetHyperlink(const WCHAR* target, const WCHAR* text);

// ---- words

// The message: the context's sentence with `argument` in it (null: empty), then the reason for `code`, or the
// code in hexadecimal digits when no table has it. At most 2047 characters; a context that takes 1948 or more
// stands alone. Never null; shared, see above.
QV_API const WCHAR* QvErrorHandler_GetErrorMessage(const WCHAR* context, HRESULT code, const WCHAR* argument);

// The message with the details behind it, between "<Details>" and "</Details>" on lines of their own; the
// state stays. One character longer than its text when it has details, which is a second terminator. The
// caller frees it with SysFreeString. Null when memory ran out.
QV_API BSTR QvErrorHandler_ComposeErrorText(const WCHAR* context, HRESULT code, const WCHAR* argument);

// The reason for a code, as a format with its tokens not yet expanded, in the language in force: from the
// registered tables in the order of their registration, then from the toolkit's own. Null when none has it.
// Lives as long as its table; a text by number as long as its language's cache.
QV_API const WCHAR* QvErrorHandler_GetHresultString(HRESULT code);

// The sentence of a context as a format; an unknown number gets that of 0.
QV_API const WCHAR* QvErrorHandler_GetContextString(const WCHAR* context);

// Adds a table whose rows win over the toolkit's own. table: kept, not copied; it must outlive every message.
// language: where its numbers are looked up; without one, numbers have no text and records are in the
// kernel's language. 0, or 1 when 32 tables stand already. There is no way to take a table back.
QV_API int32_t QvErrorHandler_AddErrorTable(const _qverror_table* table, int32_t rowCount);
QV_API int32_t QvErrorHandler_AddErrorTable(HQVLANG language, const _qverror_table_rcid* table,
                                            int32_t rowCount);

// ---- message boxes: window and flags as in qv/frame/msgbox.h, whose answers they give

// Shows the message for a code, with details and link, and clears the error state. warning: not 0 puts
// "Warning: " in front. 1 at once, with nothing shown or cleared, for 0x8004e00c.
QV_API int32_t QvErrorHandler_MsgBox(HWND window, uint32_t flags, const WCHAR* context, HRESULT code,
                                     const WCHAR* argument, int32_t warning);

// The same with a text of the caller's own (null: empty), taken as it is.
QV_API int32_t QvErrorHandler_MsgBoxText(HWND window, uint32_t flags, const WCHAR* text, int32_t warning);

// ---- exceptions and memory as text: 8-bit, always terminated

// What QvErrorHandler_DumpExceptionRecord writes; 0 is all of it.
inline constexpr uint32_t QVEXCEPTION_RECORD = 0x01;  // the code, its name, the addresses
inline constexpr uint32_t QVEXCEPTION_MODULE = 0x02;  // where the address lies
inline constexpr uint32_t QVEXCEPTION_THREAD = 0x20;  // the calling thread

// Tells the crash reporter of the exception, then describes it, a line for each part; stops when fewer than
// 50 bytes are left. buffer: not null; size: in bytes; threadName: may be null; pointers: may be null, for
// the thread's line alone. Gives the bytes written without the terminator. Allocates nothing.
QV_API int32_t QvErrorHandler_DumpExceptionRecord(char* buffer, int32_t size, const char* threadName,
                                                  EXCEPTION_POINTERS* pointers, uint32_t parts);

// Shows an exception as an error message with its description as details. 1 (handled); 0 (keep searching),
// with nothing shown, for a datatype misalignment and under a debugger. The entry routine installs it for the
// whole process. pointers: not null; threadName: may be null.
QV_API int32_t QvErrorHandler_ExceptionFilter(EXCEPTION_POINTERS* pointers, const char* threadName);

// Memory as text, 8 bytes a line in hexadecimal digits and as characters, or 4 words a line; ".." stands for
// what can't be read. size: of the buffer in bytes; the dump stops when fewer than 50 are left. data: any
// address. A count of 0 gives one empty line of bytes, and no line of words. Give the bytes written without
// the terminator.
QV_API int32_t QvErrorHandler_DumpHex(char* buffer, int32_t size, const void* data, int32_t byteCount);
QV_API int32_t QvErrorHandler_DumpHexDWords(char* buffer, int32_t size, const void* data, int32_t wordCount);
