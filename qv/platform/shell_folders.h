// The folders that every user has, under their numbers, and names put behind a path.
//
//   WCHAR path[MAX_PATH];
//   if (SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_PERSONAL | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT,
//   path)))
//     PathAppendW(path, TEXT("Projects"));
//
// On Linux they are the user directories of the desktop convention (user-dirs.dirs in the configuration
// folder; where it says nothing, folders of the usual English names in the home folder) and its base
// directories:
//
// | number                       | on Linux                                                          |
// |------------------------------|-------------------------------------------------------------------|
// | 0, 16 desktop                | XDG_DESKTOP_DIR                                                   |
// | 5, 12 documents              | XDG_DOCUMENTS_DIR                                                 |
// | 13, 14, 39 music, video, pictures | XDG_MUSIC_DIR, XDG_VIDEOS_DIR, XDG_PICTURES_DIR              |
// | 21 templates                 | XDG_TEMPLATES_DIR                                                 |
// | 46, 25, 53, 54, 55 shared    | XDG_PUBLICSHARE_DIR, and Desktop, Music, Pictures, Videos in it   |
// | 40 profile                   | the home folder                                                   |
// | 26 application data          | XDG_CONFIG_HOME, else ~/.config                                   |
// | 28 local application data    | XDG_DATA_HOME, else ~/.local/share; 20 fonts: the folder in it    |
// | 32 cache                     | XDG_CACHE_HOME, else ~/.cache                                     |
// | 35 data of all users         | the first of XDG_DATA_DIRS, else /usr/local/share                 |
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <shlobj.h>
#include <shlwapi.h>

#else

constexpr int CSIDL_DESKTOP = 0, CSIDL_PERSONAL = 5, CSIDL_MYDOCUMENTS = 12, CSIDL_MYMUSIC = 13;
constexpr int CSIDL_MYVIDEO = 14, CSIDL_DESKTOPDIRECTORY = 16, CSIDL_FONTS = 20, CSIDL_TEMPLATES = 21;
constexpr int CSIDL_COMMON_DESKTOPDIRECTORY = 25, CSIDL_APPDATA = 26, CSIDL_LOCAL_APPDATA = 28;
constexpr int CSIDL_INTERNET_CACHE = 32, CSIDL_COMMON_APPDATA = 35, CSIDL_MYPICTURES = 39, CSIDL_PROFILE = 40;
constexpr int CSIDL_COMMON_DOCUMENTS = 46, CSIDL_COMMON_MUSIC = 53, CSIDL_COMMON_PICTURES = 54;
constexpr int CSIDL_COMMON_VIDEO = 55;
constexpr int CSIDL_FLAG_CREATE = 0x8000, CSIDL_FLAG_DONT_VERIFY = 0x4000;
constexpr DWORD SHGFP_TYPE_CURRENT = 0, SHGFP_TYPE_DEFAULT = 1;

// A folder by its number (CSIDL_), without a backslash at the end, in a buffer of 260 characters; `type` 1
// asks for the one that it is unless the user moved it. The number may carry CSIDL_FLAG_CREATE (make it where
// it is missing) and CSIDL_FLAG_DONT_VERIFY (never mind whether it is there). Window and token are null.
// E_INVALIDARG for a number without a folder; 0x80070003 when it isn't there, which for application data
// never happens: it is made.
QV_API HRESULT SHGetFolderPathW(HWND window, int folder, HANDLE token, DWORD type, LPWSTR path);

// The same with truth as its answer; `create` is the flag.
QV_API BOOL SHGetSpecialFolderPathW(HWND window, LPWSTR path, int folder, BOOL create);

// Puts a name behind a path, in a buffer of 260 characters: one backslash between the two, "." and ".." done
// away with, a backslash at the end kept. A full path in the name's place takes the path's. False when it
// doesn't fit or a text is null.
QV_API BOOL PathAppendW(LPWSTR path, LPCWSTR more);

#endif
