// What is installed on the machine: products by their code, and what the installer knows of each.
//
//   WCHAR code[39], name[200];
//   for (DWORD i = 0; MsiEnumProductsW(i, code) == ERROR_SUCCESS; ++i) {
//     DWORD capacity = 200;
//     if (MsiGetProductInfoW(code, TEXT("InstalledProductName"), name, &capacity) == ERROR_SUCCESS)
//     show(name);
//   }
//
// On Linux a product is an installed package of the system's package database: its name, its version, and as
// publisher its maintainer without the address. Its code is made of name and architecture, so that it is the
// same on every machine. The list is read when the walk begins, at index 0. Any thread.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <msi.h>

#else

constexpr DWORD ERROR_UNKNOWN_PRODUCT = 1605, ERROR_UNKNOWN_PROPERTY = 1608;

// The code of the index-th product, 38 characters and the terminator. ERROR_SUCCESS, ERROR_NO_MORE_ITEMS
// behind the last, ERROR_INVALID_PARAMETER for null.
QV_API UINT MsiEnumProductsW(DWORD index, LPWSTR code);

// One fact of a product: "Publisher", "VersionString", "InstalledProductName" (or "ProductName").
//   value     null only asks for the length
//   capacity  of `value` in characters with the terminator; receives the length without it
// ERROR_SUCCESS; ERROR_MORE_DATA when the capacity is too small; ERROR_UNKNOWN_PRODUCT,
// ERROR_UNKNOWN_PROPERTY, ERROR_INVALID_PARAMETER.
QV_API UINT MsiGetProductInfoW(LPCWSTR code, LPCWSTR property, LPWSTR value, DWORD* capacity);

#endif
