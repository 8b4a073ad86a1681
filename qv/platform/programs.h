// Other programs, run without a shell: what stands in an argument stays one argument.
//
//   const WCHAR* const arguments[] = {TEXT("--to"), TEXT("a folder")};
//   uint32_t code = 0;
//   if (!qv::platform::callProgram(TEXT("C:\\media\\takes.exe"), arguments, nullptr, &code)) return
//   GetLastError();
#pragma once

#include <span>

#include "qv/api.h"
#include "qv/platform/base.h"

namespace qv::platform {

// What the system's programs end in: ".exe", or nothing.
#ifdef _WIN32
inline constexpr const WCHAR* kProgramSuffix = TEXT(".exe");
#else
inline constexpr const WCHAR* kProgramSuffix = TEXT("");
#endif

// Runs the program at `path` with our standard streams, and waits for its end. `code` gets its exit code; on
// Linux 128 and the signal for one that a signal ended. `folder` becomes its current one, null: ours. False
// with the error code when it can't be started: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED,
// ERROR_BAD_EXE_FORMAT and others. `path` is complete; no argument is null. Any thread.
QV_API bool callProgram(LPCWSTR path, std::span<const LPCWSTR> arguments, LPCWSTR folder, uint32_t* code);

// Lets whoever may read a file run it as a program; on Windows every file allows that. False with the error
// code when the file isn't there or isn't ours. Any thread.
QV_API bool makeExecutable(LPCWSTR path);

}  // namespace qv::platform
