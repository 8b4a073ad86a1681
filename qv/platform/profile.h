// The user's profile: a text file of sections with entries, which people edit by hand to switch things on.
//
//   [debug]
//   TraceFile=C:\temp\trace.txt
//
//   WCHAR file[260];
//   GetProfileStringW(TEXT("debug"), TEXT("TraceFile"), TEXT(""), file, 260);
//
// On Windows it is win.ini. On Linux it is qv/profile.ini in the user's configuration folder
// (XDG_CONFIG_HOME, else ~/.config), in UTF-8, of at most a mebibyte; a line that begins with ";" is a
// comment.
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

// The text of an entry, blanks and one pair of quotes around it taken off, or the default when there is none;
// names in any case. Cut to the capacity and terminated; gives the characters without the terminator. None of
// the pointers is null. Any thread.
QV_API DWORD GetProfileStringW(LPCWSTR section, LPCWSTR entry, LPCWSTR otherwise, LPWSTR text,
                               DWORD capacity);

#endif
