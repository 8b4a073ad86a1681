// What resources a module has.
//
//   EnumResourceTypesW(module, [](HMODULE, LPWSTR type, LONG_PTR count) -> BOOL { ... }, parameter);
#pragma once

#include "qv/platform/base.h"

#ifndef _WIN32

using ENUMRESTYPEPROCW = BOOL(CALLBACK*)(HMODULE module, LPWSTR type, LONG_PTR parameter);
using ENUMRESNAMEPROCW = BOOL(CALLBACK*)(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR parameter);

// Calls back once for each type of resource, texts before numbers, each ascending, until the callback answers
// FALSE. False with ERROR_RESOURCE_TYPE_NOT_FOUND (Windows: or DATA_NOT_FOUND) for a module without
// resources.
QV_API BOOL EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW callback, LONG_PTR parameter);

// The same for the names of one type; false with ERROR_RESOURCE_TYPE_NOT_FOUND when it isn't there.
QV_API BOOL EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW callback, LONG_PTR parameter);

#endif
