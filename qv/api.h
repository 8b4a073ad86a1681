// The one export macro.
//
// Every function or class that modules may use carries QV_API. The executable that carries the toolkit is
// built without QV_MODULE and exports; a module defines QV_MODULE (the CMake target qv::host does it) and
// imports from the executable that loaded it.
#pragma once

#if defined(_WIN32) && defined(QV_MODULE)
#define QV_API __declspec(dllimport)
#elif defined(_WIN32)
#define QV_API __declspec(dllexport)
#else
#define QV_API __attribute__((visibility("default")))
#endif

// What a module itself exports, whatever it imports.
#if defined(_WIN32)
#define QV_MODULE_EXPORT __declspec(dllexport)
#else
#define QV_MODULE_EXPORT __attribute__((visibility("default")))
#endif
