// Work given to what the user has installed: the mail program, and the browser.
//
//   lstrcpynW(Internet_SupportName, TEXT("Cutter support"), QVINET_CONTACT);
//   lstrcpynW(Internet_SupportAddress, TEXT("support@example.org"), QVINET_CONTACT);
//   Internet_WebPages[QVINET_PAGE_HOME - QVINET_PAGE_FIRST] = TEXT("https://example.org/cutter");
//   …
//   Internet_SendFeedback(window, TEXT("Cutter 1.2"));
//   Internet_BrowseWebPage(window, MAKEINTRESOURCEW(QVINET_PAGE_HOME));
//
// The links of message boxes open this way as well.
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

// The product's pages, by number where an address is asked for.
inline constexpr WORD QVINET_PAGE_NEWS = 101, QVINET_PAGE_FAQ = 102, QVINET_PAGE_SUPPORT = 103;
inline constexpr WORD QVINET_PAGE_HOME = 104, QVINET_PAGE_ENCODER = 105, QVINET_PAGE_PRIVACY = 106;
inline constexpr WORD QVINET_PAGE_FIRST = QVINET_PAGE_NEWS;
inline constexpr size_t QVINET_PAGES = QVINET_PAGE_PRIVACY - QVINET_PAGE_FIRST + 1;

// What the application fills in before it calls: where its pages are (not owned, null: no such page), and
// whom feedback goes to. Nobody may be calling meanwhile.
inline constexpr int QVINET_CONTACT = 255;  // characters
extern QV_API const WCHAR* Internet_WebPages[QVINET_PAGES];
extern QV_API WCHAR Internet_SupportName[QVINET_CONTACT];
extern QV_API WCHAR Internet_SupportAddress[QVINET_CONTACT];

// Shows the user's mail program with a new letter and waits until it was sent or put aside.
//   window   is held back meanwhile; null for none. The thread that calls is the window's own.
//   path     the file to attach; name: what it is called in the letter. On Linux it keeps its own name.
//   subject  may be null
// 0, also when the user puts the letter aside. 0x80004005 without a mail program, when that failed, and for
// text that doesn't fit: a path takes 260 bytes in the system's code page, everything else 255. No box is
// shown here.
QV_API HRESULT Internet_MailFile(HWND window, const WCHAR* path, const WCHAR* name, const WCHAR* subject);

// The same with a recipient and no file. On Linux the recipient is the address alone.
QV_API HRESULT Internet_SendMail(HWND window, const WCHAR* subject, const WCHAR* name, const WCHAR* address);

// Internet_SendMail to the support contact.
QV_API HRESULT Internet_SendFeedback(HWND window, const WCHAR* subject);

// Shows a page in the user's browser.
//   window   unused: the browser is nobody's child
//   address  the address, or MAKEINTRESOURCEW of a page's number
// What ShellExecuteW gives: above 32 when it went off; 2 (not found) for a page that the application doesn't
// have. Any thread.
QV_API HINSTANCE Internet_BrowseWebPage(HWND window, const WCHAR* address);
