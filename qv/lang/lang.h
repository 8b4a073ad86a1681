// Languages: which one is in force, what a text says in it, and short-lived text.
//
//   HQVLANG language = nullptr;
//   if (FAILED(QvLang_Open(&language, module, 0, 0))) return;
//   SetWindowTextW(window, QvGetString(language, kTextCancel));
//   QvLang_Close(language);
//
// Two kinds of text stand side by side. A string number (below 0x10000) is looked up in the string resources
// of a language module, the file beside the executable with the extension LNG, and kept in the handle's
// cache. A record (texts.h) is compiled in and holds all 18 languages.
//
// A handle may be used from any thread: its lock guards the cache and the ring. QvLang_UpdateKernelLCID and
// QvLang_ChangeLangInst are for one thread at a time, while no text from the cache is in use.
#pragma once

#include "qv/api.h"
#include "qv/platform/win32.h"

struct HQVLANG__;
using HQVLANG = HQVLANG__*;

// A record as the string functions take it: 20 entries, the first one a header (see texts.h).
using QVLANGSTRINGID = const WCHAR* const*;

// Opens a handle for the texts of `instance`.
//   out       receives the handle; must hold null before
//   instance  the module whose string resources serve, and beside which the language module is looked for
//   lcid      language to start in; 0: records follow the user's interface language
//   ringSize  characters of the ring for short-lived text; 0: 8192; at least 2048 are taken
// 0, or 0x8007000e. A second open of the same variable changes nothing and gives 0x0004e001, a success.
// A missing language module is no failure. The caller closes the handle.
QV_API HRESULT QvLang_Open(HQVLANG* out, HMODULE instance, LCID lcid, uint32_t ringSize);

// Closes a handle (null allowed) and every text that came from its ring or cache. Always 0.
QV_API HRESULT QvLang_Close(HQVLANG language);

// The language in force; 0 when none was set or for a null handle.
QV_API LCID QvLang_GetLCID(HQVLANG language);

// Puts `lcid` (0: 1033) in force for `language` and for the kernel's own handle, empties their caches, and
// sets the process's reading direction. 1, or 0 when either handle is missing. `reserved` is not looked at.
QV_API int32_t QvLang_UpdateKernelLCID(HQVLANG language, LCID lcid, uint32_t reserved);

// Sets the calling thread's locale, and the interface language of the common controls, to the handle's LCID.
QV_API void QvLang_UpdateThreadLocale(HQVLANG language);

// Makes `module` the language module of `language` and of the kernel's handle; null changes nothing. The old
// one is not freed. 1, or 0 when either handle is missing.
QV_API int32_t QvLang_ChangeLangInst(HQVLANG language, HMODULE module);

// The module to load resources from: the language module while a language other than English is active, else
// the main instance; null for a null handle.
QV_API HMODULE QvLang_InstFromLang(HQVLANG language);

// Folds a regional variant onto the main country of its language. Chinese becomes 0x0404 or 0x0804;
// Portuguese stays as it is, so that Brazil and Portugal remain apart.
QV_API LCID QvLang_GetConditionedLCID(LCID lcid);

// True when the primary language is English.
QV_API int32_t QvLang_IsLCIDEnglish(LCID lcid);

// The platform's three-letter name of the language ("DEU"); 1, or 0 with an empty text. A null handle leaves
// the buffer untouched.
QV_API int32_t QvLang_GetLangAbbrev(HQVLANG language, WCHAR* text, int32_t capacity);

// The language and country of on-line help ("de-DE") for nine languages: 0 when a code was written, 1 when
// the text was left empty.
QV_API int32_t QvLang_GetLangllCC(HQVLANG language, WCHAR* text, int32_t capacity);

// True for Arabic, Hebrew, Urdu and Persian.
QV_API int32_t QvLang_UseRTL(HQVLANG language);

// Switch the reading direction of windows made from now on; what the system answers.
QV_API int32_t QvLang_EnableProcessMirroring();
QV_API int32_t QvLang_DisableProcessMirroring();

// A person's full name in the order of the language. The length written.
QV_API int32_t QvLang_LocalizeUserName(HQVLANG language, const WCHAR* given, const WCHAR* family, WCHAR* text,
                                       int32_t capacity);
// True when the family name comes first.
QV_API int32_t QvLang_IsNameOrderReversed(HQVLANG language);

// The languages that version resource `number` of the active language module comes in, as three-letter names
// separated by commas; empty without an active language module. The length of the list.
QV_API int32_t QvEnumResourceLanguages(HQVLANG language, uint32_t number, WCHAR* text, int32_t capacity);

// The text of a string number, or of a record. Never null: what is missing is an empty text, and a record
// falls back to English. The text of a number lives in the handle's cache until the language changes and is
// cut at 1023 characters; that of a record lives as long as the process.
QV_API const WCHAR* QvGetString(HQVLANG language, uint32_t number);
QV_API const WCHAR* QvGetString(HQVLANG language, QVLANGSTRINGID record);

// Takes a number, a record or a plain text in one pointer; null gives null, a plain text gives itself.
QV_API const WCHAR* QvGetStringSmart(HQVLANG language, const WCHAR* text);

// Copies the text of a number, or of a record, without the translators' mark "^*". The length in characters;
// 0 when there is none. `capacity` counts the terminator.
QV_API int32_t QvLoadString(HQVLANG language, uint32_t number, WCHAR* text, int32_t capacity);
QV_API int32_t QvLoadString(HQVLANG language, QVLANGSTRINGID record, WCHAR* text, int32_t capacity);

// True when the pointer leads to a record rather than to a plain text.
QV_API bool IsQVLANGSTRINGID(HQVLANG language, const WCHAR* text);

// Short-lived text: a piece of the handle's ring, good until the ring wraps; nobody frees it. `characters`
// must stay below 1024; 0 gives an empty text. Null when the handle has no ring.
QV_API WCHAR* QvGetTempStringBuffer(HQVLANG language, uint32_t characters);

// Print strings are wide: both give their argument back, or the shared empty text when the handle has no
// ring.
QV_API const WCHAR* QvGetPrintFromWideString(HQVLANG language, const WCHAR* text);
QV_API const WCHAR* QvGetWideFromPrintString(HQVLANG language, const WCHAR* text);

// Between wide text and the process's 8-bit code page, in the ring. A failure gives an empty text.
QV_API const char* QvGetMultiByteFromPrintString(HQVLANG language, const WCHAR* text);
QV_API const WCHAR* QvGetPrintFromMultiByteString(HQVLANG language, const char* text);

// 1 when the bytes, up to `count` or their first zero, hold a double-byte character of the process's code
// page.
QV_API int32_t QvLang_DetectMultiByteCharacters(const uint8_t* bytes, int32_t count);

// Guesses the code page of 8-bit text. 0, or with code page 0 the failure of making the system's detector or
// 0x8004e1fd when it is not sure.
QV_API HRESULT QvLang_DetectPossibleCodepage(const uint8_t* bytes, int32_t count, uint32_t* codePage);

// The user's choice of language, as a value "ULangID" below Software\VENDOR\APPLICATION\MAJOR.MINOR\Lang
// (without the version when its major number is 0 or `ignoreVersion` is set). `version` holds the major
// number in bits 24 to 31 and the minor one in bits 16 to 23. Reading looks at the user's settings first,
// then at the machine's; writing touches the user's only. 1, or 0 with *lcid untouched.
QV_API int32_t QvLang_LoadUserLCIDMetric(const WCHAR* application, uint32_t version, LCID* lcid,
                                         int32_t ignoreVersion);
QV_API int32_t QvLang_LoadUserLCIDMetricAppReg(const WCHAR* application, uint32_t version, LCID* lcid,
                                               const WCHAR* vendor);
QV_API int32_t QvLang_SaveUserLCIDMetric(const WCHAR* application, uint32_t version, uint16_t lcid,
                                         int32_t ignoreVersion);
QV_API int32_t QvLang_SaveUserLCIDMetricAppReg(const WCHAR* application, uint32_t version, uint16_t lcid,
                                               const WCHAR* vendor);
