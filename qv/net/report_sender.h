// Sends the configuration report to a report server and says in the toolkit's log how it went.
//
//   HKEY key = nullptr;  // the application's own; "RegConfig" in it is the server's address
//   RegOpenKeyExW(HKEY_CURRENT_USER, TEXT("Software\\Halden Media Works\\Cutter"), 0, KEY_READ, &key);
//   qv::sendConfigReport(key, QVCONFIG_PRODUCTS | QVCONFIG_MACHINE, nullptr);
//
// It stands beside the internet clients and not with the report: an application that only writes reports
// needs no network, while the sender needs both.
//
// | value in the key | type   | meaning                                                      |
// |------------------|--------|--------------------------------------------------------------|
// | RegConfig        | REG_SZ | address that takes a POST of XML, at most 2083 characters    |
// | RegUserName      | REG_SZ | the user's name for the report, at most 128; may be missing  |
//
// The user's profile (qv/platform/profile.h) may name files that take copies, in its section [debug]:
// RegXMLFile what is sent, RegXMLResponseFile what the server answered. They are hidden files.
#pragma once

#include "qv/api.h"
#include "qv/platform/registry.h"
#include "qv/settings/configmgr.h"

namespace qv {

// Builds the report, posts it and waits for the answer, at most fifteen seconds.
//   key        open for reading, not null; stays the caller's
//   flags      QVCONFIG_
//   delivered  null allowed; whether the server has said that it took the report
// 0; 0x80004005 when the key has no address; what building the report or the request gave; 0x8004e0ec when
// the server could not be reached or answered with a status outside 200 to 299. A server that doesn't answer
// in time gives 0 as well: reports are not worth a message to the user. Any thread on which COM is
// initialised.
QV_API HRESULT sendConfigReport(HKEY key, uint32_t flags, bool* delivered);

}  // namespace qv
