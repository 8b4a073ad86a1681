// Base types, statuses and literals under the platform's names.
//
// On Windows this is the SDK. Elsewhere the same names stand on fixed-width integers; a handle is an opaque
// pointer, text is UTF-16 in char16_t, and structures have the layout that they have on 64-bit Windows.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef _WIN32

#include <windows.h>

#else

using BOOL = int32_t;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using INT = int32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using SHORT = int16_t;
using USHORT = uint16_t;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using DWORDLONG = uint64_t;
using DWORD64 = uint64_t;
using LONG64 = int64_t;
using INT_PTR = int64_t;
using UINT_PTR = uint64_t;
using LONG_PTR = int64_t;
using ULONG_PTR = uint64_t;
using DWORD_PTR = uint64_t;
using SIZE_T = uint64_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using HRESULT = int32_t;
using LCID = DWORD;
using LANGID = WORD;
using COLORREF = DWORD;
using ATOM = WORD;

using CHAR = char;
using WCHAR = char16_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;

using HANDLE = void*;
using HGLOBAL = void*;
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name can't stand in parentheses
#define QV_DECLARE_HANDLE(name) \
  struct name##__;              \
  using name = name##__*
QV_DECLARE_HANDLE(HINSTANCE);
QV_DECLARE_HANDLE(HWND);
QV_DECLARE_HANDLE(HDC);
QV_DECLARE_HANDLE(HMONITOR);
QV_DECLARE_HANDLE(HRSRC);
#undef QV_DECLARE_HANDLE
using HMODULE = HINSTANCE;
using FARPROC = INT_PTR (*)();

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  };
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};
union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  };
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
struct RECT {
  LONG left, top, right, bottom;
};
struct POINT {
  LONG x, y;
};
struct SIZE {
  LONG cx, cy;
};
struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};

#define TRUE 1
#define FALSE 0
#define WINAPI
#define CALLBACK
#define MAX_PATH 260
#define INFINITE 0xffffffffu
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

#define QV_TEXT_LITERAL(text) u##text
#define TEXT(text) QV_TEXT_LITERAL(text)

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD_PTR>(value) & 0xffff))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD_PTR>(value) >> 16) & 0xffff))
#define MAKELONG(low, high) \
  (static_cast<LONG>(static_cast<WORD>(low) | (static_cast<DWORD>(static_cast<WORD>(high)) << 16)))

// A resource is named by a text, or by a number in the pointer's place.
#define IS_INTRESOURCE(name) ((reinterpret_cast<ULONG_PTR>(name) >> 16) == 0)
#define MAKEINTRESOURCEW(number) \
  (reinterpret_cast<LPCWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(number))))

#define SUCCEEDED(status) (static_cast<HRESULT>(status) >= 0)
#define FAILED(status) (static_cast<HRESULT>(status) < 0)
#define S_OK (static_cast<HRESULT>(0))
#define S_FALSE (static_cast<HRESULT>(1))
#define E_FAIL (static_cast<HRESULT>(0x80004005u))
#define E_INVALIDARG (static_cast<HRESULT>(0x80070057u))
#define E_POINTER (static_cast<HRESULT>(0x80004003u))
#define E_OUTOFMEMORY (static_cast<HRESULT>(0x8007000eu))
#define E_NOTIMPL (static_cast<HRESULT>(0x80004001u))
#define E_UNEXPECTED (static_cast<HRESULT>(0x8000ffffu))

// A last error as a status: 0 and what is a status already stay as they are.
inline constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
  return static_cast<HRESULT>(error) <= 0 ? static_cast<HRESULT>(error)
                                          : static_cast<HRESULT>((error & 0xffffu) | 0x80070000u);
}

// Last errors that the operations of this layer leave, with the platform's values.
constexpr DWORD ERROR_SUCCESS = 0, NO_ERROR = 0;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2, ERROR_PATH_NOT_FOUND = 3, ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5, ERROR_INVALID_HANDLE = 6, ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_DATA = 13, ERROR_OUTOFMEMORY = 14, ERROR_INVALID_DRIVE = 15;
constexpr DWORD ERROR_NOT_SAME_DEVICE = 17, ERROR_NO_MORE_FILES = 18, ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_WRITE_FAULT = 29, ERROR_READ_FAULT = 30, ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32, ERROR_HANDLE_EOF = 38, ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_BAD_NETPATH = 53, ERROR_FILE_EXISTS = 80, ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_BROKEN_PIPE = 109, ERROR_DISK_FULL = 112, ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122, ERROR_INVALID_NAME = 123, ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127, ERROR_NEGATIVE_SEEK = 131, ERROR_DIR_NOT_EMPTY = 145;
constexpr DWORD ERROR_DISCARDED = 157, ERROR_NOT_LOCKED = 158, ERROR_BAD_ARGUMENTS = 160,
                ERROR_BAD_PATHNAME = 161, ERROR_ALREADY_EXISTS = 183, ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203, ERROR_FILENAME_EXCED_RANGE = 206, ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_MORE_ITEMS = 259, ERROR_DIRECTORY = 267, ERROR_TOO_MANY_POSTS = 298;
constexpr DWORD ERROR_INVALID_FLAGS = 1004, ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
constexpr DWORD ERROR_OLD_WIN_VERSION = 1150, ERROR_NOT_FOUND = 1168;
constexpr DWORD ERROR_INVALID_MONITOR_HANDLE = 1461, ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813, ERROR_RESOURCE_LANG_NOT_FOUND = 1815;

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};

#include "qv/api.h"

// The calling thread's last error: what the last operation of this layer that failed left there. A thread
// starts with 0. An operation that succeeds may leave it or change it; look at it after a failure only,
// unless the operation says otherwise.
QV_API DWORD GetLastError();

// Sets the calling thread's last error; no other thread sees it.
QV_API void SetLastError(DWORD error);

#endif
