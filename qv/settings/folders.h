// Folders that applications share, and the folders of one application below the user's own.
//
//   WCHAR themes[260];
//   if (QvGetSpecialHaldenFolder(themes, 260, 0) == 0) scan(themes);
//   WCHAR mine[260];
//   QvGetSpecialFolderVer(mine, 260, CSIDL_APPDATA, TEXT("Cutter"), 2, 1);       // ...\Cutter\2.1\, made
//
// What is shared stands in the machine's hive, in Software\Halden Media Works\Shared Information:
//
// | value                      | type      | meaning                                                     |
// |----------------------------|-----------|-------------------------------------------------------------|
// | SharedComponentsFolder     | REG_SZ    | the shared components                                       |
// | BrimmelThemesFolder        | REG_SZ    | content folder 0, else "Brimmel Themes" in the folder above |
// | BrimmelTransitionsFolder   | REG_SZ    | content folder 1, else "Brimmel Transitions"                |
// | Locale                     | REG_DWORD | a locale, for whoever reads it                              |
//
// Buffers are wide text with a capacity in characters, terminator included; a failure leaves an empty text.
// Any thread may call any of these.
#pragma once

#include "qv/api.h"
#include "qv/platform/shell_folders.h"

// Read a shared folder, with a backslash at its end.
//   name, index  the value's name; 0 or 1
// 0; 0x80070057 for a null buffer or name, a capacity of 0 or another index; 0x80004005 when it is not set or
// does not fit. A content folder that is not set is the one of its default name in the shared components.
QV_API HRESULT QvGetSharedInformationFolder(WCHAR* buffer, uint32_t capacity, const WCHAR* name);
QV_API HRESULT QvGetSharedComponentsFolder(WCHAR* buffer, uint32_t capacity);
QV_API HRESULT QvGetSpecialHaldenFolder(WCHAR* buffer, uint32_t capacity, uint32_t index);

// The default name of a content folder. 0x80070057 for another index and a null or too small buffer.
QV_API HRESULT QvGetSpecialHaldenDefaultFolderName(WCHAR* buffer, uint32_t capacity, uint32_t index);

// Store a shared folder or text. 0; 0x80070057 for a null text, name or another index; 0x8004e142 when it
// could not be written, which as a rule needs rights over the machine.
QV_API HRESULT QvSetSpecialHaldenFolder(const WCHAR* path, uint32_t index);
QV_API HRESULT QvSetSharedInformationValue(const WCHAR* text, const WCHAR* name);

// A folder of the application's own in a special one, made where it is missing, with a backslash at its end.
//   capacity      at least 260, else 0x80070057
//   folder        a CSIDL number, perhaps with its flags
//   subfolder     not null; with a version the folder is SUBFOLDER\MAJOR.MINOR
// 0; what SHGetFolderPathW gave; 0x80004005 when it could not be made.
QV_API HRESULT QvGetSpecialFolderVer(WCHAR* buffer, uint32_t capacity, int32_t folder, const WCHAR* subfolder,
                                     int32_t major, int32_t minor);
QV_API HRESULT QvGetSpecialFolderNoVer(WCHAR* buffer, uint32_t capacity, int32_t folder,
                                       const WCHAR* subfolder);

// 0 for a special folder that users normally see, else 1; flags of the number don't matter.
QV_API int32_t QvIsHiddenFolderByDefault(int32_t folder);

// The folder of plug-in presets of an application's version, the user's documents if none was set. 0 always.
//   application  not null
QV_API HRESULT QvGetPresetFolder(WCHAR* buffer, uint32_t capacity, uint32_t version,
                                 const WCHAR* application);

// Sets it. 0; 1 when its key could not be made; 0x80004005 when it could not be written or `path` is null.
QV_API HRESULT QvSetPresetFolder(const WCHAR* path, uint32_t version, const WCHAR* application);

// 0 always: the locale that QvSetLocale stores is for others to read.
QV_API uint32_t QvGetLocale();

// Stores a locale among what is shared. 0 or 0x80004005.
QV_API HRESULT QvSetLocale(uint32_t locale);
