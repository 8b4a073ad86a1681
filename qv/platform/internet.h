// Internet transfers: a session, a connection to a host, and on it requests or files that are read and
// written piece by piece.
//
//   HINTERNET session = InternetOpenW(TEXT("Cutter"), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
//   HINTERNET host = InternetConnectW(session, TEXT("example.org"), 80, nullptr, nullptr,
//                                     INTERNET_SERVICE_HTTP, 0, 0);
//   …
//   InternetCloseHandle(host);
//   InternetCloseHandle(session);
//
// A failure gives false or null and says why in the last error. Every handle goes back through
// InternetCloseHandle, children before their parents. A handle is one thread's at a time.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <wininet.h>

#else

using HINTERNET = LPVOID;
using INTERNET_PORT = WORD;

constexpr DWORD INTERNET_OPEN_TYPE_PRECONFIG = 0;
constexpr INTERNET_PORT INTERNET_INVALID_PORT_NUMBER = 0;
constexpr INTERNET_PORT INTERNET_DEFAULT_FTP_PORT = 21, INTERNET_DEFAULT_HTTP_PORT = 80;
constexpr INTERNET_PORT INTERNET_DEFAULT_HTTPS_PORT = 443;
constexpr DWORD INTERNET_SERVICE_FTP = 1, INTERNET_SERVICE_HTTP = 3;

constexpr DWORD ERROR_INTERNET_TIMEOUT = 12002, ERROR_INTERNET_INTERNAL_ERROR = 12004;
constexpr DWORD ERROR_INTERNET_INVALID_URL = 12005, ERROR_INTERNET_UNRECOGNIZED_SCHEME = 12006;
constexpr DWORD ERROR_INTERNET_NAME_NOT_RESOLVED = 12007, ERROR_INTERNET_LOGIN_FAILURE = 12015;
constexpr DWORD ERROR_INTERNET_OPERATION_CANCELLED = 12017;
constexpr DWORD ERROR_INTERNET_INCORRECT_HANDLE_TYPE = 12018;
constexpr DWORD ERROR_INTERNET_INCORRECT_HANDLE_STATE = 12019, ERROR_INTERNET_CANNOT_CONNECT = 12029;
constexpr DWORD ERROR_INTERNET_CONNECTION_ABORTED = 12030, ERROR_INTERNET_CONNECTION_RESET = 12031;
constexpr DWORD ERROR_INTERNET_EXTENDED_ERROR = 12003;

// Begins a session. `agent` names the program to servers; `access` is INTERNET_OPEN_TYPE_PRECONFIG, the
// proxies are the system's (on Linux those of the environment), and the rest null and 0.
QV_API HINTERNET InternetOpenW(LPCWSTR agent, DWORD access, LPCWSTR proxy, LPCWSTR bypass, DWORD flags);

// A host to work with. `port` 0 is the service's own; user and password may be null; `service` is
// INTERNET_SERVICE_HTTP, which connects with the first request, or INTERNET_SERVICE_FTP, which logs in at
// once. ERROR_INVALID_PARAMETER for an empty host and for control characters in any text.
QV_API HINTERNET InternetConnectW(HINTERNET session, LPCWSTR host, INTERNET_PORT port, LPCWSTR user,
                                  LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context);

// Ends a handle and what is still going on behind it.
QV_API BOOL InternetCloseHandle(HINTERNET handle);

// How many bytes can be read without waiting, after waiting for the first ones; 0 at the end. `flags` and
// `context` are 0.
QV_API BOOL InternetQueryDataAvailable(HINTERNET file, DWORD* available, DWORD flags, DWORD_PTR context);

// Reads up to `bytes`, perhaps fewer than there will be; 0 and true at the end.
QV_API BOOL InternetReadFile(HINTERNET file, LPVOID buffer, DWORD bytes, DWORD* read);

// Sends bytes of a request's body or of a file that is stored.
QV_API BOOL InternetWriteFile(HINTERNET file, LPCVOID buffer, DWORD bytes, DWORD* written);

#endif
