// What a file name, an extension, a root and a relative path are, for the whole toolkit.
//
//   WCHAR path[260] = TEXT("C:\\media\\take 7.wav");
//   QvAddExtensionToPathName(path, 260, TEXT("peak"));           // C:\media\take 7.peak
//   QvGetPathNameFromFilePath(path, folder, 260);                // C:\media\ (9 characters)
//   if (!QvValidateFileName(name, 1)) tellTheUser(name);         // was repaired
//
// Windows's rules on both builds: a backslash and a colon separate, a path has 260 characters as a rule. A
// capacity counts characters with the terminator; 0 and less write nothing. Texts are terminated and never
// null unless said otherwise. Nothing here keeps state: any thread may call.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

namespace qv {

// The usual limit of a path, with its terminator.
inline constexpr int32_t kPathCapacity = 260;

}  // namespace qv

// ---- Name parts

// The name in a path: what stands behind the last ":" or "\", the whole text if there is neither. The A forms
// read 8-bit text of the process's code page.
QV_API const char* QvGetFileNamePtrA(const char* path);
QV_API const WCHAR* QvGetFileNamePtrW(const WCHAR* path);

// The dot of a file name's extension, or the terminator if it has none: the last dot, unless white space
// stands behind it. A dot at the very end counts. Give it a name, not a path: a dot in a folder would count.
QV_API const char* QvGetFileNameExtensionPtrA(const char* name);
QV_API const WCHAR* QvGetFileNameExtensionPtrW(const WCHAR* name);

// Whether a text can be a file's name: none of the characters \ / : * ? " < > |, no line end, no blank or dot
// as its last character. An empty text can. With `repair` nonzero each fault becomes "_" in place, and the
// result is 0 if there was one.
QV_API int32_t QvValidateFileName(WCHAR* name, int32_t repair);

// Ends a path in a backslash. The new length; 0, with nothing changed, for an empty path and where there is
// no room.
QV_API int32_t QvAddSlashToPathName(WCHAR* path, int32_t capacity);

// Takes one backslash off the end. The new length; 0 also for a path that isn't terminated within `capacity`.
QV_API int32_t QvRemoveSlashFromPathNameEnd(WCHAR* path, int32_t capacity);

// Gives the file of a path this extension in place of its own. `extension`: with or without its dot. The
// new length; a path without room for it stays as it is.
QV_API int32_t QvAddExtensionToPathName(WCHAR* path, int32_t capacity, const WCHAR* extension);

// The same, cut to the room that there is. A path that ends in a separator has no file and stays.
QV_API void QvReplaceExtensionOnPathName(WCHAR* path, int32_t capacity, const WCHAR* extension);

// Goes on from a folder to a name in it. `part`: a leading backslash doesn't count; `extension`: null for
// none, else as for QvAddExtensionToPathName. The new length; 0, with nothing changed, where it doesn't fit.
QV_API int32_t QvAppendToPathName(WCHAR* path, int32_t capacity, const WCHAR* part, const WCHAR* extension);

// Writes the name in a path without its extension, cut to `capacity`. Gives the place of the cut, which is
// the terminator in `buffer`; `buffer` itself for a capacity of 0.
QV_API WCHAR* QvGetFileNameWithoutPathOrExtension(const WCHAR* path, WCHAR* buffer, int32_t capacity);

// Writes the folder of a path with its separator; `buffer` may be `path`. Its length, 0 if there is none; too
// long for `capacity`, the length and an empty text. No more than the first 519 characters of `path` count.
QV_API int32_t QvGetPathNameFromFilePath(const WCHAR* path, WCHAR* buffer, int32_t capacity);

// Writes the root of a path: "\\server\share\" of a share, else everything to the first backslash. Length and
// failures as for QvGetPathNameFromFilePath.
QV_API int32_t QvGetRootPathFromFilePath(const WCHAR* path, WCHAR* buffer, int32_t capacity);

// Takes the last name off a path; the backslash before it stays: "C:\a\" becomes "C:\". 1, or 0 and no change
// for a path of fewer than 4 or more than 259 characters, one that isn't terminated within `capacity`, and
// one without a backslash.
QV_API int32_t QvDirectoryUpOneLevel(WCHAR* path, int32_t capacity);

// Whether a name matches a pattern: 1 or 0. A lone "*" matches everything, "?" is any one character, another
// "*" runs to the next dot or to the pattern's next character, whichever comes first, and never back. Case
// counts. Only the low byte of a character is compared; patterns in the field rely on it.
QV_API int32_t QvIsMatchWildCard(const WCHAR* pattern, const WCHAR* name);

// ---- Full paths

// As GetLongPathNameW: the long form and its length. Where the system has none, or it doesn't fit, the path
// itself is written, cut to `capacity`. `buffer` may be `path`.
QV_API int32_t QvGetLongPathName(const WCHAR* path, WCHAR* buffer, int32_t capacity);

// As GetFullPathNameW, in long form: the length; too long for `capacity`, the capacity that it takes and an
// empty text; 0 on failure. `filePart` (null allowed): receives the name in `buffer`, null if there is none.
QV_API int32_t QvGetFullPathName(const WCHAR* path, int32_t capacity, WCHAR* buffer, WCHAR** filePart);

// The long form of the folder for temporary files, with its backslash: the length; 0 and an empty text on
// failure and where it doesn't fit.
QV_API int32_t QvGetTempPath(int32_t capacity, WCHAR* buffer);

// The folder of a module (null: the program), long form, with its separator. Results as for QvGetTempPath.
QV_API int32_t QvGetModulePath(HMODULE module, WCHAR* buffer, int32_t capacity);

// The file of a module (null: the program), long form. Results as for QvGetTempPath.
QV_API int32_t QvGetModuleFileName(HMODULE module, WCHAR* buffer, int32_t capacity);

// Makes a path full and long: 1, or 0 with an empty text if that fails or doesn't fit. `buffer` may be
// `path`.
QV_API int32_t QvQualifyPath(const WCHAR* path, WCHAR* buffer, int32_t capacity);

// ---- Relative paths

// The place in `base` behind which it goes on as `path` does: both are compared from their ends, in any case,
// and what they share is cut at a backslash. "D:\copy\media\a.wav" for "C:\media\a.wav" gives "media\a.wav",
// or the terminator where they share no whole name.
QV_API const WCHAR* QvGetFileNamePtrRelative(const WCHAR* path, const WCHAR* base);

// Writes what stands before that place, with a backslash: the folder that took the place of the path's own.
// 0, or 0x80004005 and an empty text if it doesn't fit.
QV_API HRESULT QvGetBasePathRelative(const WCHAR* path, const WCHAR* base, WCHAR* buffer, int32_t capacity);

// Writes the path with `newBase` in place of `oldBase`, with which it has to begin, in any case. 0, or
// 0x80004005 and an empty text if it doesn't, or if the result has more than 260 characters or doesn't fit.
QV_API HRESULT QvReplaceBasePathRelative(const WCHAR* path, const WCHAR* oldBase, const WCHAR* newBase,
                                         WCHAR* buffer, int32_t capacity);

// The pointers into a text that may be written keep that right.
inline char* QvGetFileNamePtrA(char* path) {
  return const_cast<char*>(QvGetFileNamePtrA(static_cast<const char*>(path)));
}
inline WCHAR* QvGetFileNamePtrW(WCHAR* path) {
  return const_cast<WCHAR*>(QvGetFileNamePtrW(static_cast<const WCHAR*>(path)));
}
inline char* QvGetFileNameExtensionPtrA(char* name) {
  return const_cast<char*>(QvGetFileNameExtensionPtrA(static_cast<const char*>(name)));
}
inline WCHAR* QvGetFileNameExtensionPtrW(WCHAR* name) {
  return const_cast<WCHAR*>(QvGetFileNameExtensionPtrW(static_cast<const WCHAR*>(name)));
}
