// Letters given to the user's mail program, and the window that waits for it meanwhile.
//
//   HMODULE library = nullptr;
//   if (const qv::MailSend send = qv::mailCalls().open(&library)) {
//     const ULONG result = send(0, 0, &message, MAPI_LOGON_UI | MAPI_DIALOG, 0);
//     qv::mailCalls().close(library);
//   }
//
// The records and the call are simple MAPI's: 8-bit text in the process's code page. On Linux the call runs
// xdg-email, found along the PATH and without a shell, and waits for its end.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <mapi.h>

#else

using ULONG = uint32_t;
using LHANDLE = ULONG_PTR;

constexpr ULONG MAPI_TO = 1;
constexpr ULONG MAPI_LOGON_UI = 1, MAPI_DIALOG = 8;
constexpr ULONG SUCCESS_SUCCESS = 0, MAPI_USER_ABORT = 1, MAPI_E_FAILURE = 2;

struct MapiFileDesc {
  ULONG ulReserved;
  ULONG flFlags;
  ULONG nPosition;
  char* lpszPathName;
  char* lpszFileName;
  void* lpFileType;
};
struct MapiRecipDesc {
  ULONG ulReserved;
  ULONG ulRecipClass;
  char* lpszName;
  char* lpszAddress;
  ULONG ulEIDSize;
  void* lpEntryID;
};
struct MapiMessage {
  ULONG ulReserved;
  char* lpszSubject;
  char* lpszNoteText;
  char* lpszMessageType;
  char* lpszDateReceived;
  char* lpszConversationID;
  ULONG flFlags;
  MapiRecipDesc* lpOriginator;
  ULONG nRecipCount;
  MapiRecipDesc* lpRecips;
  ULONG nFileCount;
  MapiFileDesc* lpFiles;
};

#endif

namespace qv {

using MailSend = ULONG(CALLBACK*)(LHANDLE session, ULONG_PTR window, MapiMessage* message, ULONG flags,
                                  ULONG reserved);

// As a table, so that a test can stand in for the mail program and watch the window.
struct MailCalls {
  MailSend (*open)(HMODULE* library);         // MAPISendMail of MAPI32.DLL, or null, and nothing stays loaded
  void (*close)(HMODULE library);             // FreeLibrary
  void (*enable)(HWND window, BOOL enabled);  // EnableWindow
  void (*capture)(HWND window);               // SetCapture, ReleaseCapture for null
  void (*activate)(HWND window);              // SetActiveWindow
  void (*focus)(HWND window);                 // SetFocus
  HWND (*desktop)();                          // GetDesktopWindow
};

// The table in use.
const MailCalls& mailCalls();

// Null puts the system's back. Tests': nobody may be sending.
void setMailCalls(const MailCalls* calls);

}  // namespace qv
