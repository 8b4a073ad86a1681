// Compiled resources of a module: texts, versions, menus and whatever else a resource compiler makes.
//
//   HRSRC found = FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(7), 0x0407);
//   const void* data = LockResource(LoadResource(module, found));
//
// On Linux a module with resources is a compiled resource file (what a resource compiler writes as .res),
// loaded with LoadLibraryW under any name. The executable (a null module) carries the resources that its build
// put into it; shared objects have none there.
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

#define IS_INTRESOURCE(name) ((reinterpret_cast<ULONG_PTR>(name) >> 16) == 0)
#define MAKEINTRESOURCEW(number) \
  (reinterpret_cast<LPCWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(number))))
#define RT_STRING MAKEINTRESOURCEW(6)
#define RT_VERSION MAKEINTRESOURCEW(16)

using ENUMRESLANGPROCW = BOOL(CALLBACK*)(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language,
                                         LONG_PTR parameter);

// Finds the resource of this type, name and language. Type and name are numbers (MAKEINTRESOURCEW) or texts
// compared without case. Where the language isn't there, its neutral form (primary language only) stands in,
// then the resource of no language; asking for a neutral one goes on to the thread's language, the user's,
// English, and the first there is. Null with error 1813 (no such type), 1814 (name) or 1815 (language). Any
// thread.
QV_API HRSRC FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language);
// FindResourceExW with language 0.
QV_API HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
// A handle to the data of what was found; nothing to free. Null for null.
QV_API HGLOBAL LoadResource(HMODULE module, HRSRC found);
// The data's address, valid as long as the module is loaded.
QV_API LPVOID LockResource(HGLOBAL data);
// Bytes of the data; 0 for null.
QV_API DWORD SizeofResource(HMODULE module, HRSRC found);
// Calls back for each language of a resource, in ascending order, until the callback answers FALSE.
// FALSE with error 1813 or 1814 when there is none.
QV_API BOOL EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW callback,
                                   LONG_PTR parameter);
// Copies string `number` in the language that FindResourceW would take; the characters copied without the
// terminator, 0 when there is none.
QV_API int LoadStringW(HMODULE module, UINT number, LPWSTR text, int capacity);

#endif
