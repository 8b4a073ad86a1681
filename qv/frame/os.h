// The system that the process runs on: its name and what it has.
//
//   WCHAR name[64];
//   QvGetOS(name, 64);                     // "Windows 10.0 (64-bit)"
//   if (!QvOSVersionOK(QVOS_VISTA)) return kTooOld;
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// What QvOSVersionOK asks for.
inline constexpr uint32_t QVOS_XP = 6;
inline constexpr uint32_t QVOS_VISTA = 7;
inline constexpr uint32_t QVOS_7 = 8;
inline constexpr uint32_t QVOS_8 = 9;
inline constexpr uint32_t QVOS_10 = 10;

// Writes the system's name, with " (32-bit)" or " (64-bit)" for the processor. text: not null; capacity: in
// characters, the name is cut to it, 0 or less writes nothing. Returns 1, or 0 for a system without a name
// here, Windows 7 among them. Any thread.
QV_API int32_t QvGetOS(WCHAR* text, int32_t capacity);

// Always 1: the toolkit itself is 64-bit. Any thread.
QV_API int32_t QvIsOS64Bit();

// Whether the system is at least this version. code: QVOS_XP to QVOS_10; another gives 0. Any thread.
QV_API int32_t QvOSVersionOK(uint32_t code);

// Reads a text of a file's version resource, in the first language that the resource lists. path: the file;
// name: such as "ProductVersion"; neither null. text: receives it, cut to capacity characters; with capacity
// 0 or less nothing is written. Returns 0, or 0x8004e00a when file, resource or value is missing, with text
// unchanged. Any thread.
QV_API HRESULT QvVersion_GetString(const WCHAR* path, const WCHAR* name, WCHAR* text, int32_t capacity);

// Whether the primary screen, or every monitor, has at least 16 bits a pixel. The answers are kept until
// QvKernel_UserPrefChanges hears of a change. Any thread.
QV_API int32_t QvIsHighColor();
QV_API int32_t QvIsAllMonitorsHighColor();
