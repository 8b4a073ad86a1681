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

#include "qv/platform/find.h"

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
constexpr DWORD ERROR_INTERNET_SEC_CERT_CN_INVALID = 12038, ERROR_INTERNET_SECURITY_CHANNEL_ERROR = 12157;
constexpr DWORD ERROR_HTTP_HEADER_NOT_FOUND = 12150, ERROR_HTTP_INVALID_SERVER_RESPONSE = 12152;
constexpr DWORD ERROR_HTTP_INVALID_HEADER = 12153, ERROR_HTTP_REDIRECT_FAILED = 12156;

enum INTERNET_SCHEME : INT {
  INTERNET_SCHEME_UNKNOWN = -1,
  INTERNET_SCHEME_FTP = 1,
  INTERNET_SCHEME_HTTP = 3,
  INTERNET_SCHEME_HTTPS = 4,
};

// The parts of an address. With a text of the caller's its length is a capacity, and then the characters
// without the terminator; with a null text and a length that is not 0 the text becomes a place in the
// address; a part with neither is left out.
struct URL_COMPONENTSW {
  DWORD dwStructSize;
  LPWSTR lpszScheme;
  DWORD dwSchemeLength;
  INTERNET_SCHEME nScheme;
  LPWSTR lpszHostName;
  DWORD dwHostNameLength;
  INTERNET_PORT nPort;  // the scheme's own where the address has none
  LPWSTR lpszUserName;
  DWORD dwUserNameLength;
  LPWSTR lpszPassword;
  DWORD dwPasswordLength;
  LPWSTR lpszUrlPath;
  DWORD dwUrlPathLength;
  LPWSTR lpszExtraInfo;  // from "?" or "#" on
  DWORD dwExtraInfoLength;
};
static_assert(sizeof(URL_COMPONENTSW) == 104);

constexpr DWORD INTERNET_FLAG_RELOAD = 0x80000000u, INTERNET_FLAG_NO_CACHE_WRITE = 0x04000000;
constexpr DWORD INTERNET_FLAG_SECURE = 0x00800000;
constexpr DWORD HTTP_ADDREQ_FLAG_ADD = 0x20000000, HTTP_ADDREQ_FLAG_REPLACE = 0x80000000u;
constexpr DWORD HSR_INITIATE = 8;
constexpr DWORD HTTP_QUERY_CONTENT_TYPE = 1, HTTP_QUERY_CONTENT_LENGTH = 5, HTTP_QUERY_STATUS_CODE = 19;
constexpr DWORD HTTP_QUERY_RAW_HEADERS = 21, HTTP_QUERY_FLAG_NUMBER = 0x20000000;

constexpr DWORD FTP_TRANSFER_TYPE_ASCII = 1, FTP_TRANSFER_TYPE_BINARY = 2;

// What HttpSendRequestExW takes; dwBufferTotal says how many bytes the body will have.
struct INTERNET_BUFFERSW {
  DWORD dwStructSize;
  INTERNET_BUFFERSW* Next;
  LPCWSTR lpcszHeader;
  DWORD dwHeadersLength;
  DWORD dwHeadersTotal;
  LPVOID lpvBuffer;
  DWORD dwBufferLength;
  DWORD dwBufferTotal;
  DWORD dwOffsetLow;
  DWORD dwOffsetHigh;
};
static_assert(sizeof(INTERNET_BUFFERSW) == 56);

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

// Takes an address apart. `length` in characters, 0 for all of it; `flags` 0: nothing is decoded.
// ERROR_INTERNET_UNRECOGNIZED_SCHEME without one, ERROR_INTERNET_INVALID_URL for a port that is no number,
// ERROR_INSUFFICIENT_BUFFER when a part doesn't fit.
QV_API BOOL InternetCrackUrlW(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTSW* parts);

// A request of a connection; nothing is sent yet. `verb` null is "GET", `object` the path with the query,
// `version` "HTTP/1.1", `accept` media types up to a null or null. Of the flags INTERNET_FLAG_SECURE counts:
// the request goes through TLS. ERROR_INVALID_PARAMETER for control characters.
QV_API HINTERNET HttpOpenRequestW(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                                  LPCWSTR referrer, LPCWSTR* accept, DWORD flags, DWORD_PTR context);

// Adds lines "Name: value", with CR LF between them, or puts them in the place of those of the same name.
// `length` -1 for a terminated text; `flags` both, as there is no other use here. ERROR_INVALID_PARAMETER for
// a line without a name and for a control character in one.
QV_API BOOL HttpAddRequestHeadersW(HINTERNET request, LPCWSTR headers, DWORD length, DWORD flags);

// Sends the request with a body (null and 0 for none), follows redirections, and returns with the header of
// the response. `headers` null, `headersLength` 0. ERROR_INTERNET_TIMEOUT when the server was silent for too
// long.
QV_API BOOL HttpSendRequestW(HINTERNET request, LPCWSTR headers, DWORD headersLength, LPVOID body,
                             DWORD length);

// Begins a request whose body, of exactly buffers->dwBufferTotal bytes, InternetWriteFile sends.
QV_API BOOL HttpSendRequestExW(HINTERNET request, INTERNET_BUFFERSW* buffers, INTERNET_BUFFERSW* out,
                               DWORD flags, DWORD_PTR context);

// Ends it, and waits for the header of the response. False when the body came short.
QV_API BOOL HttpEndRequestW(HINTERNET request, INTERNET_BUFFERSW* out, DWORD flags, DWORD_PTR context);

// What the response's header says: HTTP_QUERY_RAW_HEADERS gives its lines, each terminated, and one
// terminator more. With HTTP_QUERY_FLAG_NUMBER a 32-bit number. `length` in bytes, the terminator not counted
// afterwards; ERROR_INSUFFICIENT_BUFFER with the bytes that it takes, ERROR_HTTP_HEADER_NOT_FOUND when there
// is none.
QV_API BOOL HttpQueryInfoW(HINTERNET request, DWORD what, LPVOID buffer, DWORD* length, DWORD* index);

// FTP. Names of files and folders are the server's, from its current folder on or from its root ("/"). A
// server that refuses gives ERROR_INTERNET_EXTENDED_ERROR; ERROR_INVALID_PARAMETER for control characters in
// a name. On Linux connections are passive, and a data address that the server names is not believed: data
// comes from the host that was connected to.

// Opens a file to read it (GENERIC_READ) or to store it (GENERIC_WRITE). `flags`: FTP_TRANSFER_TYPE_BINARY or
// FTP_TRANSFER_TYPE_ASCII, others don't matter. A stored file is whole when InternetCloseHandle gave true.
QV_API HINTERNET FtpOpenFileW(HINTERNET connection, LPCWSTR name, DWORD access, DWORD flags,
                              DWORD_PTR context);

// The bytes of a file that is open for reading: the low word, and the high one in `high`. 0xffffffff when the
// server doesn't say.
QV_API DWORD FtpGetFileSize(HINTERNET file, DWORD* high);

// Where names begin from now on.
QV_API BOOL FtpSetCurrentDirectoryW(HINTERNET connection, LPCWSTR folder);

// Starts a listing and gives its first name: `pattern` is a name or has wildcards, perhaps with a folder
// before; null is everything. Name, size, time of the last writing and FILE_ATTRIBUTE_DIRECTORY are filled
// in. Null with ERROR_NO_MORE_FILES when nothing matches. Names that no file here could have are left out.
QV_API HINTERNET FtpFindFirstFileW(HINTERNET connection, LPCWSTR pattern, WIN32_FIND_DATAW* found,
                                   DWORD flags, DWORD_PTR context);

// The next name, in a WIN32_FIND_DATAW; false with ERROR_NO_MORE_FILES behind the last.
QV_API BOOL InternetFindNextFileW(HINTERNET find, LPVOID found);

// Make and delete what the names say.
QV_API BOOL FtpCreateDirectoryW(HINTERNET connection, LPCWSTR folder);
QV_API BOOL FtpRemoveDirectoryW(HINTERNET connection, LPCWSTR folder);
QV_API BOOL FtpDeleteFileW(HINTERNET connection, LPCWSTR name);

// Sends a command as it is. With `expectResponse` the answer is data, to be read from *data; else `data` may
// be null. `flags` as for FtpOpenFileW.
QV_API BOOL FtpCommandW(HINTERNET connection, BOOL expectResponse, DWORD flags, LPCWSTR command,
                        DWORD_PTR context, HINTERNET* data);

#endif
